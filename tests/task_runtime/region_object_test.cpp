#include "norvane/task_runtime/region_object.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "norvane/log/log.h"
#include "norvane/task_runtime/task_output.h"
#include "norvane/task_runtime/task_unit.h"
#include "task_runtime/test_image.h"
#include "test_support/geometry_util.h"
#include "test_support/temp_dir.h"

namespace norvane {
namespace {

using basic_structures::CQuadrilateral;
using testing_support::NamedImage;
typedef basic_structures::TQPoint_<int> Point;

// The 31-multiplier text hash, written out plainly for inputs below 32 KiB.
std::string PlainHash(const std::string& text) {
  uint32_t h = 0;
  for (char c : text)
    h = h * 31u + static_cast<uint32_t>(static_cast<int32_t>(static_cast<signed char>(c)));
  return "BKDR_" + std::to_string(h & 0x7FFFFFFFu);
}

using testing_util::CQuad;

TEST(TQRegionObject, HashIdsAndWholeFrame) {
  TQRef<TQSourceImageObject> source(
      new TQSourceImageObject(new NamedImage("BKDR_42", 20, 10), 1, 5));
  TQRef<TQRegionObject> region(new TQRegionObject(source, ROET_PLAIN_IMAGE));
  EXPECT_TRUE(region->RegionIsWholeImage());
  EXPECT_EQ(region->GetRegionHashId(), "BKDR_42");
  EXPECT_EQ(region->GetVertices()[2], Point(19, 9));

  // The same corners listed clockwise from another corner: not the whole frame.
  EXPECT_EQ(region->SetLocationWithQuadrilateral(CQuad({19, 0}, {19, 9}, {0, 9}, {0, 0})), 0);
  EXPECT_EQ(region->GetVertices()[0].x, 19);  // already clockwise: kept as listed
  EXPECT_FALSE(region->RegionIsWholeImage());
  const std::string quadId = PlainHash("(19,0) (19,9) (0,9) (0,0)");
  EXPECT_EQ(region->GetRegionHashId(), PlainHash("BKDR_42" + quadId));
  // Counter-clockwise input is put in clockwise order from the top-left corner.
  EXPECT_EQ(region->SetLocationWithQuadrilateral(CQuad({0, 9}, {19, 9}, {19, 0}, {0, 0})), 0);
  EXPECT_TRUE(region->RegionIsWholeImage());
  EXPECT_EQ(region->GetRegionHashId(), "BKDR_42");

  const Point rotated[4] = {{19, 0}, {19, 9}, {0, 9}, {0, 0}};
  TQ_Quad quad(rotated);
  const auto kLabel = static_cast<RegionObjectElementType>(1);
  TQRef<TQRegionObject> other(new TQRegionObject(kLabel, source->GetImage(), quad));
  EXPECT_EQ(other->GetRegionHashId(), "");  // no source image yet
  other->SetSourceImageObject(source);
  other->CalcRegionHashId();
  EXPECT_FALSE(other->RegionIsWholeImage());
  EXPECT_EQ(other->GetRegionHashId(), PlainHash("BKDR_42" + quadId));

  // A quad that is not convex is refused and changes nothing.
  const std::string before = region->GetRegionHashId();
  EXPECT_EQ(region->SetLocationWithQuadrilateral(CQuad({0, 0}, {10, 0}, {5, 5}, {0, 10})), -50057);
  EXPECT_EQ(region->SetLocationWithQuadrilateral(CQuad({0, 0}, {5, 0}, {10, 0}, {10, 10})), -50057);
  EXPECT_EQ(region->GetRegionHashId(), before);
  EXPECT_EQ(region->SetLocationWithQuadrilateral(CQuad({2, 2}, {8, 2}, {8, 6}, {2, 6})), 0);
  EXPECT_FALSE(region->RegionIsWholeImage());
  EXPECT_EQ(region->GetRegionHashId(), PlainHash("BKDR_42" + PlainHash("(2,2) (8,2) (8,6) (2,6)")));

  // Reference chains end in an empty holder.
  EXPECT_TRUE(region->GetCertainReferenceRegionByTargetName("frame").IsNull());
  TQRef<TQRegionObject> root(new TQRegionObject(source, ROET_PLAIN_IMAGE));
  root->SetTargetROIDefName("frame");
  other->SetReferenceRegion(root);
  other->SetTargetROIDefName("label");
  region->SetReferenceRegion(other);
  EXPECT_EQ(region->GetCertainReferenceRegionByTargetName("frame").get(), root.get());
  EXPECT_EQ(region->GetCertainReferenceRegionByTargetName("label").get(), other.get());
  EXPECT_TRUE(region->GetCertainReferenceRegionByTargetName("none").IsNull());

  int element = 0;
  other->SetCRegionObjectElementPtr(&element);
  EXPECT_EQ(region->ConvertReferenceRegionToElement(), &element);
  root->SetCRegionObjectElementPtr(&element);
  EXPECT_EQ(other->ConvertReferenceRegionToElement(), nullptr);  // a plain image carries none

  TQRegionObject copy(*region);
  EXPECT_EQ(copy.GetRegionHashId(), region->GetRegionHashId());
  EXPECT_EQ(copy.GetReferenceRegion().get(), other.get());
  int w = 7;  // no crop without an image
  EXPECT_EQ(copy.GetCropROITransMat(nullptr, w, w), nullptr);
  EXPECT_EQ(w, 7);
}

TEST(TQTaskOutput, StatusFlagResultsAndReferences) {
  TQRef<TQSourceImageObject> source(new TQSourceImageObject(new NamedImage("BKDR_1"), 1, 5));
  TQRef<TQRegionObject> whole(new TQRegionObject(source, ROET_PLAIN_IMAGE));
  whole->SetTargetROIDefName("frame");
  TQRef<TQRegionObject> label(new TQRegionObject(*whole));
  label->SetTargetROIDefName("label");
  TQRef<TQTaskOutput> output(new TQTaskOutput(whole, label, "measure", TT_ATOMIC_1));
  EXPECT_EQ(output->GetFinishFlag()->GetTaskFullName(), "{label}[measure]");
  // Only the flagged completion finishes the flag.
  output->SetResultStatus(TOS_COMPLETED);
  EXPECT_FALSE(output->GetFinishFlag()->IsFinished());
  output->SetResultStatus(TOS_COMPLETED_AND_FLAGGED);
  EXPECT_TRUE(output->GetFinishFlag()->IsFinished());

  output->AddTaskResult(new TQTaskOutputAtomResult(TQRef<TQRegionObject>()));
  EXPECT_FALSE(output->AlreadyExistObject(nullptr));
  output->AddTaskResult(new TQTaskOutputAtomResult(label));
  EXPECT_TRUE(output->AlreadyExistObject(label.get()));
  EXPECT_FALSE(output->AlreadyExistObject(whole.get()));
  EXPECT_EQ(output->GetReferenceRegionByTargetName("frame").get(), whole.get());
  EXPECT_TRUE(output->GetReferenceRegionByTargetName("label").IsNull());

  TQRegionObjectManager manager;
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 100; ++i) manager.AddRegionObject(new TQRegionObject(*label));
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(manager.GetCertainTypeRegions(ROET_PLAIN_IMAGE)->size(), 400u);  // copies of `label`
  EXPECT_TRUE(manager.GetCertainTypeRegions(ROET_PLAIN_REGION)->empty());
}

struct Done : TQ_TaskObjectBase {
  ErrorCode RunTask(TQTaskOutput*, TQSemaphore*) override { return -10000; }
  const char* GetTaskDescription() const override { return ""; }
};

TEST(TQTargetTaskUnit, LabelAndPriorityLinesWithLoggingOn) {
  testing_util::TempDir dir;
  const std::string path = dir.path() + "/";
  TQLog::m_instance.InitLogFromSetting(LOG_MODE_TEXT, 9, path.c_str());

  TQRef<TQSourceImageObject> source(new TQSourceImageObject(new NamedImage("BKDR_9"), 7, 5));
  TQRef<TQTargetTaskSetting> setting(new TQTargetTaskSetting("frame", "localize", TT_ATOMIC_0));
  TQRef<Done> task(new Done);
  task->SetTargetDefName("frame");
  task->SetTaskName("localize");
  setting->SetTaskObject(task);
  TQRef<TQTaskOutput> output(new TQTaskOutput(nullptr, new TQRegionObject(source, ROET_PLAIN_IMAGE),
                                              "localize", TT_ATOMIC_0));
  TQSemaphore semaphore(0);
  TQRef<TQTargetTaskUnit> unit(
      new TQTargetTaskUnit(output.get(), setting.get(), &semaphore, source->GetPriorityPointer()));
  const std::string label = "[SourceId:BKDR_9][TargetROI:frame][Task:localize][Priority:7]";
  EXPECT_EQ(unit->GetLabel(), label);
  unit->LogPush();
  unit->LogPop();
  unit->Process();  // no manager pool: runs without the active set, records the failure
  EXPECT_EQ(source->GetErrorCode(), -10000);
  task->SetTaskFinished();
  EXPECT_TRUE(unit->FinishTask());
  EXPECT_EQ(semaphore.GetValue(), 1);
  TQLog::m_instance.SetLevel(0);
  TQLog::m_instance.SetMode(static_cast<LogMode>(0));

  // Each line is "[TID:%6d][time]message": keep the message.
  std::vector<std::string> lines;
  for (const std::string& line : testing_util::ReadLines(path + "NorvaneKestrel.log")) {
    lines.push_back(line.substr(line.find("]TaskPriorityInfo ") + 18));
  }
  EXPECT_EQ(lines, (std::vector<std::string>{"AppendTask: " + label, "TakeTask: " + label,
                                             "TaskStart: " + label, "TaskEnd: " + label}));
}

}  // namespace
}  // namespace norvane
