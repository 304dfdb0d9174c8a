// Task units: one execution of one task of one target ROI definition on one region of
// one source image.
//
// The driving module builds a unit when a task becomes ready for a region, pushes it
// to a TaskUnitQueue (LogPush), takes it (LogPop), lets one worker Process it, and
// completes it with FinishTask once its task object has finished: the output then has
// status 1 and the run's shared semaphore has been signalled exactly once for it.
// While a task runs its unit sits in the run's ActiveTaskUnitManager, whose time
// keeping raises the time-out clock of the unit's image.
//
// Thread safety: several workers Process units at once; the active set has its own
// lock, never held while a task runs. A TaskUnitQueue has no lock: its users lock
// around it.
#ifndef NORVANE_TASK_RUNTIME_TASK_UNIT_H_
#define NORVANE_TASK_RUNTIME_TASK_UNIT_H_

#include <deque>
#include <string>

#include "norvane/core/export.h"
#include "norvane/core/object_base.h"
#include "norvane/core/sync_object.h"
#include "norvane/task_runtime/task_output.h"
#include "norvane/task_runtime/task_setting.h"

namespace norvane {

class NORVANE_API TQTargetTaskUnit : public TQObjectBase {
 public:
  // Stores the four pointers (none owned; the caller keeps them alive for the unit's
  // life). When task-priority logging is on, builds the unit's label.
  TQTargetTaskUnit(TQTaskOutput* output, TQTargetTaskSetting* setting, TQSemaphore* semaphore,
                   const unsigned int* priority);
  ~TQTargetTaskUnit() override;

  // "TaskPriorityInfo AppendTask: <label>", when the unit is queued.
  void LogPush();
  // "TaskPriorityInfo TakeTask: <label>", when the unit is taken from a queue.
  void LogPop();
  // Runs the task unless the image timed out or the run was stopped; records a failing
  // code on the source image.
  void Process();
  // Completes the unit once its task has finished: false (no change) while it has not.
  bool FinishTask();

  const std::string& GetLabel() const { return label; }
  TQTaskOutput* GetTaskOutput() const { return taskOutput; }
  TQTargetTaskSetting* GetTaskSetting() const { return taskSetting; }
  unsigned int GetPriority() const { return priority != nullptr ? *priority : 0; }
  // The source image of the output's region (may be null).
  TQSourceImageObject* GetSourceImage() const;

 private:
  const unsigned int* priority;
  TQTargetTaskSetting* taskSetting;
  TQTaskOutput* taskOutput;
  TQSemaphore* semaphore;
  std::string label;
};

// A first-in first-out queue of units, without a lock of its own.
class NORVANE_API TaskUnitQueue {
 public:
  void push(TQRef<TQTargetTaskUnit>& unit) { units.push_back(unit); }
  void pop() { units.pop_front(); }
  TQRef<TQTargetTaskUnit>& front() { return units.front(); }
  TQRef<TQTargetTaskUnit>& back() { return units.back(); }
  size_t size() const { return units.size(); }
  bool empty() const { return units.empty(); }

 private:
  std::deque<TQRef<TQTargetTaskUnit>> units;
};

}  // namespace norvane

#endif  // NORVANE_TASK_RUNTIME_TASK_UNIT_H_
