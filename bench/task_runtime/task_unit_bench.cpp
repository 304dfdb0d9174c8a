// The unit machinery with a task that does nothing, logging off: build a unit (and the
// output it completes), Process it, FinishTask, consume the run's semaphore. Next to
// it, the parts of that cost that are locking: the active-set load and unload, the
// semaphore signal and wait, and the task object's finished flag.
#include <benchmark/benchmark.h>

#include "norvane/NorvaneCore.h"

namespace norvane {
namespace {

struct NopImage : basic_structures::TQImageData {
  NopImage() : TQImageData(0, nullptr, nullptr, 64, 64, 64, basic_structures::IPF_GRAYSCALE) {}
  void CalcHashID() override {
    id.SetValue("BKDR_1");
    id.isSet = true;
  }
};

struct NopTask : TQ_TaskObjectBase {
  ErrorCode RunTask(TQTaskOutput*, TQSemaphore*) override {
    SetTaskFinished();
    return 0;
  }
  const char* GetTaskDescription() const override { return "nothing"; }
};

// Shared by all benchmark threads, as the units of one run share them.
struct Run {
  Run() : semaphore(0) {
    source = new TQSourceImageObject(new NopImage, 1, 1 << 30);
    source->SetManagerPool(&pool);
    region = new TQRegionObject(source, ROET_PLAIN_IMAGE);
    region->SetTargetROIDefName("frame");
    setting = new TQTargetTaskSetting("frame", "nop", TT_ATOMIC_0);
    TQRef<NopTask> task(new NopTask);
    task->SetManagerPool(&pool);
    setting->SetTaskObject(task);
  }
  TQDataManagerPool pool;
  TQSemaphore semaphore;
  TQRef<TQSourceImageObject> source;
  TQRef<TQRegionObject> region;
  TQRef<TQTargetTaskSetting> setting;
};

Run& SharedRun() {
  static Run* run = new Run;  // outlives every benchmark thread
  return *run;
}

void BM_UnitLifecycle(benchmark::State& state) {
  Run& run = SharedRun();
  const unsigned int priority = 1;
  for (auto _ : state) {
    TQRef<TQTaskOutput> output(new TQTaskOutput(nullptr, run.region, "nop", TT_ATOMIC_0));
    TQRef<TQTargetTaskUnit> unit(
        new TQTargetTaskUnit(output.get(), run.setting.get(), &run.semaphore, &priority));
    unit->Process();
    unit->FinishTask();
    run.semaphore.Consume();
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_UnitLifecycle)->Threads(1)->Threads(2)->UseRealTime();

void BM_ActiveSetLoadUnload(benchmark::State& state) {
  ActiveTaskUnitManager* active = SharedRun().pool.GetActiveTaskUnitManager();
  // Only the address is stored: a stand-in pointer per thread is enough.
  auto* unit = reinterpret_cast<TQTargetTaskUnit*>(static_cast<uintptr_t>(0x1000 + state.thread_index() * 64));
  for (auto _ : state) {
    active->LoadActiveTaskUnit(unit);
    active->UnloadActiveTaskUnit(unit);
  }
}
BENCHMARK(BM_ActiveSetLoadUnload)->Threads(1)->Threads(2)->UseRealTime();

void BM_SemaphoreProduceConsume(benchmark::State& state) {
  TQSemaphore& semaphore = SharedRun().semaphore;
  for (auto _ : state) {
    semaphore.Produce();
    semaphore.Consume();
  }
}
BENCHMARK(BM_SemaphoreProduceConsume)->Threads(1)->Threads(2)->UseRealTime();

void BM_FinishedFlagLocks(benchmark::State& state) {
  TQ_TaskObjectBase* task = SharedRun().setting->GetTaskObject().get();
  for (auto _ : state) {
    // Process and FinishTask take the flag's lock three times per unit.
    task->SetTaskFinished();
    benchmark::DoNotOptimize(task->IsTaskFinished());
    benchmark::DoNotOptimize(task->IsTaskFinished());
  }
}
BENCHMARK(BM_FinishedFlagLocks)->Threads(1)->Threads(2)->UseRealTime();

}  // namespace
}  // namespace norvane
