// One capture run driven the way a driving module drives the runtime: images become
// source objects with priorities and time-out counts, a first task ("localize") adds
// regions on the whole image, a second ("measure") consumes each region, worker
// threads process units from a queue, a time-keeping thread raises the time-out
// clocks, and the run's semaphore counts one signal per completed unit.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <mutex>
#include <thread>
#include <vector>

#include "norvane/NorvaneCore.h"
#include "task_runtime/test_image.h"
#include "test_support/geometry_util.h"

namespace norvane {
namespace {

using testing_support::NamedImage;

constexpr RegionObjectElementType kLabelRegion = static_cast<RegionObjectElementType>(1);

// Puts `labels` square regions on the whole image; a slow image's task waits at its
// check-points until it is told to stop.
struct LocalizeTask : TQ_TaskObjectBase {
  LocalizeTask(int labels, bool slow) : labels(labels), slow(slow) {}
  ErrorCode RunTask(TQTaskOutput* output, TQSemaphore*) override {
    TQRef<TQRegionObject>& whole = const_cast<TQRef<TQRegionObject>&>(output->GetRegion());
    TQSourceImageObject* source = whole->GetSourceImageObject().get();
    int code = 0;
    while (slow && !source->IsCheckPointNeedExit(&code)) {
      std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
    for (int i = 0; i < labels && !slow; ++i) {
      TQRef<TQRegionObject> region(new TQRegionObject(kLabelRegion, source->GetImage()));
      region->SetSourceImageObject(whole->GetSourceImageObject());
      region->SetReferenceRegion(whole);
      region->SetTargetROIDefName("label");
      region->SetProductTaskName("localize");
      const int x = 2 + 12 * i;
      EXPECT_EQ(region->SetLocationWithQuadrilateral(
                    testing_util::CQuad({x, 2}, {x + 10, 2}, {x + 10, 12}, {x, 12})),
                0);
      output->AddTaskResult(new TQTaskOutputAtomResult(region));
    }
    SetTaskFinished();
    return code;
  }
  const char* GetTaskDescription() const override { return "finds labels"; }
  int labels;
  bool slow;
};

struct MeasureTask : TQ_TaskObjectBase {
  explicit MeasureTask(std::atomic<int>* measured) : measured(measured) {}
  ErrorCode RunTask(TQTaskOutput* output, TQSemaphore*) override {
    int code = 0;
    if (!output->GetRegion()->GetSourceImageObject()->IsCheckPointNeedExit(&code) &&
        output->GetRegion()->GetArea() > 0) {
      measured->fetch_add(1);
    }
    SetTaskFinished();
    return code;
  }
  const char* GetTaskDescription() const override { return "measures labels"; }
  std::atomic<int>* measured;
};

// The pieces one unit needs, kept alive by the driver.
struct UnitParts {
  TQRef<TQTargetTaskSetting> setting;
  TQRef<TQTaskOutput> output;
  TQRef<TQTargetTaskUnit> unit;
};

struct Driver {
  explicit Driver(TQDataManagerPool* pool) : pool_(pool) {}
  UnitParts MakeUnit(const std::string& def, const std::string& task, TQ_TaskObjectBase* object,
                     TQRef<TQRegionObject> reference, TQRef<TQRegionObject> region,
                     const unsigned int* priority) {
    object->SetManagerPool(pool_);
    object->SetTaskName(task);
    object->SetTargetDefName(def);
    UnitParts parts{new TQTargetTaskSetting(def, task, TT_ATOMIC_0),
                    new TQTaskOutput(reference, region, task, TT_ATOMIC_0), nullptr};
    parts.setting->SetTaskObject(object);
    parts.unit =
        new TQTargetTaskUnit(parts.output.get(), parts.setting.get(), &semaphore_, priority);
    return parts;
  }

  // Queues the units, lets `workers` threads process them while a time keeper ticks,
  // and waits for one semaphore signal per unit.
  void Run(std::vector<UnitParts>& parts, int workers) {
    for (auto& part : parts) {
      part.unit->LogPush();
      queue_.push(part.unit);
    }
    std::atomic<bool> done{false};
    std::thread keeper([&] {
      while (!done.load()) {
        pool_->GetActiveTaskUnitManager()->AddTimeCheckCountForActiveTaskUnit();
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
      }
    });
    std::vector<std::thread> threads;
    for (int w = 0; w < workers; ++w) {
      threads.emplace_back([&] {
        while (true) {
          TQRef<TQTargetTaskUnit> unit;
          {
            std::lock_guard<std::mutex> lock(queueMutex_);
            if (queue_.empty()) return;
            unit = queue_.front();
            queue_.pop();
          }
          unit->LogPop();
          unit->Process();
          EXPECT_TRUE(unit->FinishTask());
          EXPECT_TRUE(unit->FinishTask());  // a unit completes once
        }
      });
    }
    for (size_t i = 0; i < parts.size(); ++i) semaphore_.Consume();
    for (auto& thread : threads) thread.join();
    done = true;
    keeper.join();
    EXPECT_EQ(semaphore_.GetValue(), 0);  // exactly one signal per unit
  }

  TQDataManagerPool* pool_;
  TQSemaphore semaphore_{0};
  std::mutex queueMutex_;
  TaskUnitQueue queue_;
};

TEST(TaskRuntime, WholeRunWithTimeOutsAndAStopTimePoint) {
  TQDataManagerPool pool;
  Driver driver(&pool);
  std::atomic<int> measured{0};

  constexpr int kImages = 8;
  std::vector<TQRef<TQSourceImageObject>> images;
  std::vector<TQRef<TQRegionObject>> wholes;
  std::vector<UnitParts> firstStage;
  for (int i = 0; i < kImages; ++i) {
    const bool slow = i % 4 == 3;  // these time out: count 0 with a task that waits
    images.push_back(
        new TQSourceImageObject(new NamedImage("BKDR_" + std::to_string(100 + i), 64, 16),
                                static_cast<unsigned>(10 + i), slow ? 0 : 1000000));
    images.back()->SetManagerPool(&pool);
    pool.GetCacheManager()->AddToCacheMap(new SourceImageCacheBase(images.back().get()));
    wholes.push_back(new TQRegionObject(images.back(), ROET_PLAIN_IMAGE));
    wholes.back()->SetTargetROIDefName("frame");
    EXPECT_TRUE(wholes.back()->RegionIsWholeImage());
    EXPECT_EQ(wholes.back()->GetRegionHashId(), images.back()->GetHashID());
    firstStage.push_back(driver.MakeUnit("frame", "localize", new LocalizeTask(1 + i % 3, slow),
                                         nullptr, wholes.back(),
                                         images.back()->GetPriorityPointer()));
  }
  driver.Run(firstStage, 2);

  int expectedLabels = 0;
  std::vector<UnitParts> secondStage;
  for (int i = 0; i < kImages; ++i) {
    TQTaskOutput* output = firstStage[i].output.get();
    EXPECT_EQ(output->GetResultStatus(), TOS_COMPLETED);
    const bool slow = i % 4 == 3;
    EXPECT_EQ(images[i]->GetErrorCode(), slow ? -10026 : 0) << i;
    if (slow) {
      EXPECT_EQ(images[i]->GetErrorCodeInfos().front().targetROIDefName, "frame");
      EXPECT_EQ(images[i]->GetErrorCodeInfos().front().taskName, "localize");
      continue;
    }
    EXPECT_EQ(output->GetResultCount(), 2 + i % 3);  // the regions and the empty marker
    expectedLabels += 1 + i % 3;
    for (int r = 0; r < output->GetResultCount(); ++r) {
      TQRef<TQRegionObject> region = output->GetTaskResult(r)->GetRegion();
      if (!region) continue;
      EXPECT_FALSE(region->RegionIsWholeImage());
      EXPECT_EQ(region->GetRegionHashId().rfind("BKDR_", 0), 0u);
      EXPECT_NE(region->GetRegionHashId(), images[i]->GetHashID());
      EXPECT_EQ(region->GetCertainReferenceRegionByTargetName("frame").get(), wholes[i].get());
      secondStage.push_back(driver.MakeUnit("label", "measure", new MeasureTask(&measured),
                                            wholes[i], region, images[i]->GetPriorityPointer()));
      EXPECT_EQ(secondStage.back().output->GetReferenceRegionByTargetName("frame").get(),
                wholes[i].get());
    }
  }
  driver.Run(secondStage, 2);
  EXPECT_EQ(measured.load(), expectedLabels);
  for (auto& part : secondStage) EXPECT_EQ(part.output->GetResultStatus(), TOS_COMPLETED);

  // A stop time point: every unit stops at its check-point without running its task.
  pool.GetTaskEffectTimeManager()->SetTimePointToTaskEffect(1);
  std::vector<UnitParts> stopped;
  for (int i = 0; i < kImages; ++i) {
    stopped.push_back(driver.MakeUnit("label", "measure", new MeasureTask(&measured), wholes[i],
                                      wholes[i], images[i]->GetPriorityPointer()));
  }
  driver.Run(stopped, 2);
  EXPECT_EQ(measured.load(), expectedLabels);
  EXPECT_EQ(pool.GetActiveTaskUnitManager()->GetActiveTaskUnitCount(), 0);
}

TEST(ActiveTaskUnitManager, CountsEachImageOncePerTick) {
  TQDataManagerPool pool;
  TQSemaphore semaphore(0);
  TQRef<TQSourceImageObject> image(new TQSourceImageObject(new NamedImage("BKDR_1"), 1, 5));
  TQRef<TQRegionObject> whole(new TQRegionObject(image, ROET_PLAIN_IMAGE));
  TQRef<TQTargetTaskSetting> setting(new TQTargetTaskSetting("frame", "t", TT_ATOMIC_0));
  TQRef<TQTaskOutput> output(new TQTaskOutput(nullptr, whole, "t", TT_ATOMIC_0));
  std::vector<TQRef<TQTargetTaskUnit>> units;
  const unsigned int priority = 3;
  for (int i = 0; i < 3; ++i) {
    units.push_back(new TQTargetTaskUnit(output.get(), setting.get(), &semaphore, &priority));
  }
  ActiveTaskUnitManager* active = pool.GetActiveTaskUnitManager();
  active->AddTimeCheckCountForActiveTaskUnit();
  EXPECT_EQ(image->GetTimeCheckCount(), 0);
  for (auto& unit : units) active->LoadActiveTaskUnit(unit.get());
  active->LoadActiveTaskUnit(units[0].get());
  EXPECT_EQ(active->GetActiveTaskUnitCount(), 3);
  active->AddTimeCheckCountForActiveTaskUnit();
  EXPECT_EQ(image->GetTimeCheckCount(), 1);
  for (auto& unit : units) active->UnloadActiveTaskUnit(unit.get());
  EXPECT_EQ(active->GetActiveTaskUnitCount(), 0);

  // Without a finished task object FinishTask changes nothing.
  EXPECT_FALSE(units[0]->FinishTask());
  EXPECT_EQ(output->GetResultCount(), 0);
  EXPECT_EQ(units[0]->GetLabel(), "");  // logging was off when it was built
}

}  // namespace
}  // namespace norvane
