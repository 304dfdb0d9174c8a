#include "norvane/task_runtime/task_setting.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "norvane/task_runtime/dependency_graph.h"
#include "norvane/task_runtime/target_roi_def.h"

namespace norvane {
namespace {

struct Task : TQ_TaskObjectBase {
  ErrorCode RunTask(TQTaskOutput*, TQSemaphore*) override { return 0; }
  const char* GetTaskDescription() const override { return "test"; }
};

struct Def : TQTargetROIDef {
  using TQTargetROIDef::TQTargetROIDef;
  int OnSourceImageStart(TQSourceImageObject*) override { return 0; }
  int OnSourceImageEnd(TQSourceImageObject*) override { return 0; }
  void ResetRun() override {}
};

TEST(TQTargetROIDef, ActivationRules) {
  TQRef<Def> def(new Def(nullptr, "label", 1));
  TargetROIDefSetting& setting = def->GetTargetDefSetting();
  const TaskType types[] = {TT_ATOMIC_0, TT_ATOMIC_1, TT_ATOMIC_2, TT_NON_ATOMIC, TT_UNDEFINED};
  for (int i = 0; i < 5; ++i) {
    const std::string name = "t" + std::to_string(i);
    setting.AddTaskSetting(name, new TQTargetTaskSetting("label", name, types[i]));
  }
  setting.AddOutputTaskSetting("out", new TQTargetTaskSetting("label", "out", TT_NON_ATOMIC));
  EXPECT_EQ(setting.GetAllTaskNameMap()["t2"], "{label}[t2]");
  EXPECT_EQ(setting.GetAllTaskNameMap()["out"], "{label}[out]");

  const bool flags[3] = {true, false, true};
  def->ActivateTaskByNameArrayAndAtomicTypeFlag({"t0", "t1", "t2", "t3", "t4", "out"}, flags);
  // Atomic types follow their flags; others never; outputs whatever the flags.
  auto active = [&] {
    std::string out;
    for (const char* name : {"t0", "t1", "t2", "t3", "t4"}) {
      out += setting.GetTaskMap()[name]->IsActivatedTask() ? '1' : '0';
    }
    return out + (setting.GetOutputTaskMap()["out"]->IsActivatedTask() ? '1' : '0');
  };
  EXPECT_EQ(active(), "101001");
  def->ActivateCertainTasks({"t3"});
  EXPECT_EQ(active(), "101101");
  def->ActivateAllTask();
  EXPECT_EQ(active(), "111111");

  TQRef<TQTargetTaskSetting> task = setting.GetTaskMap()["t0"];
  EXPECT_FALSE(task->AlreadySetTaskObject());
  TQRef<Task> object(new Task);
  task->SetTaskObject(object);
  task->SetTaskObject(TQRef<TQ_TaskObjectBase>());  // empty: the object stays
  EXPECT_EQ(task->GetTaskObject().get(), object.get());

  def->RegisterListener(def.get());
  def->RegisterListener(def.get());
  EXPECT_EQ(def->GetListeners().size(), 1u);
}

std::vector<TQTaskOutput*> g_visited;
void Visit(TQTaskOutput* output, TargetROIDefEvent*) { g_visited.push_back(output); }

TEST(TQDependencyFinishFlag, LatchChildrenAndWaitingOutputs) {
  TQRef<TQDependencyFinishFlag> flag(new TQDependencyFinishFlag("{frame}[localize]"));
  EXPECT_FALSE(flag->IsFinished());
  flag->SetFinished();
  flag->SetFinished();  // a latch: twice is once
  EXPECT_TRUE(flag->IsFinished());

  flag->AddChildFlag(new TQDependencyFinishFlag("{label}[measure]"));
  flag->AddChildFlag(new TQDependencyFinishFlag("{label}[measure]"));
  EXPECT_EQ(flag->GetChildFlags("{label}[measure]").size(), 2u);
  EXPECT_TRUE(flag->GetChildFlags("{none}[x]").empty());

  // Outputs are only compared by address here; they are never dereferenced.
  auto* a = reinterpret_cast<TQTaskOutput*>(0x3000);
  auto* b = reinterpret_cast<TQTaskOutput*>(0x1000);
  auto* c = reinterpret_cast<TQTaskOutput*>(0x2000);
  for (TQTaskOutput* output : {a, b, c, a}) flag->AddRelatedOutputTask(output);
  EXPECT_EQ(flag->GetRelatedOutputTaskCount(), 3);
  g_visited.clear();
  flag->LoopAllRelatedOutputTasks(&Visit, nullptr);
  EXPECT_EQ(g_visited, (std::vector<TQTaskOutput*>{b, c, a}));  // ascending addresses
  flag->RemoveAllRelatedOutputTasks(nullptr);                   // the argument is not consulted
  EXPECT_EQ(flag->GetRelatedOutputTaskCount(), 0);
}

}  // namespace
}  // namespace norvane
