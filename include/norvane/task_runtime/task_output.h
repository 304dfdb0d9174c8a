// What one task, run on one region for one target ROI definition, produced.
//
// A TQTaskOutput collects atom results (each wrapping one region the task found),
// owns the finish flag of its task ("{definition}[task]") and carries a status that
// the unit machinery and the tasks set (0 not completed, 1 completed, 2 completed and
// flagged). It is filled by the worker running the task and read by other threads:
// the result list is locked, the status is an atomic word.
#ifndef NORVANE_TASK_RUNTIME_TASK_OUTPUT_H_
#define NORVANE_TASK_RUNTIME_TASK_OUTPUT_H_

#include <atomic>
#include <string>
#include <vector>

#include "norvane/core/export.h"
#include "norvane/core/mutex.h"
#include "norvane/core/object_base.h"
#include "norvane/core/thread_annotations.h"
#include "norvane/task_runtime/dependency_graph.h"
#include "norvane/task_runtime/region_object.h"
#include "norvane/task_runtime/task_types.h"

namespace norvane {

// One region a task produced; an empty one marks the completion of a task that
// produced nothing.
class NORVANE_API TQTaskOutputAtomResult : public TQObjectBase {
 public:
  explicit TQTaskOutputAtomResult(TQRef<TQRegionObject> region);
  ~TQTaskOutputAtomResult() override;

  const TQRef<TQRegionObject>& GetRegion() const { return region; }
  bool GetFlag() const { return flag; }
  void SetFlag(bool value) { flag = value; }

 private:
  TQRef<TQRegionObject> region;
  bool flag;
};

class NORVANE_API TQTaskOutput : public TQObjectBase {
 public:
  // Takes both regions, copies the region's definition name, and creates the task's
  // finish flag.
  TQTaskOutput(TQRef<TQRegionObject> referenceRegion, TQRef<TQRegionObject> region,
               const std::string& taskName, TaskType taskType);
  ~TQTaskOutput() override;

  // Stores the status; 2 also finishes the task's finish flag.
  void SetResultStatus(TaskOutputStatus status);
  TaskOutputStatus GetResultStatus() const { return resultStatus.load(); }

  void AddTaskResult(TQRef<TQTaskOutputAtomResult> result);
  int GetResultCount();
  // Result `index`, which the caller keeps below GetResultCount().
  TQRef<TQTaskOutputAtomResult> GetTaskResult(int index);
  // Whether an atom result holds exactly this region (empty results never match).
  bool AlreadyExistObject(TQRegionObject* region);
  // The reference region when its definition is `name`, else the first region of that
  // definition along its reference chain, else an empty holder.
  TQRef<TQRegionObject>& GetReferenceRegionByTargetName(const std::string& name);

  const TQRef<TQRegionObject>& GetReferenceRegion() const { return referenceRegion; }
  const TQRef<TQRegionObject>& GetRegion() const { return region; }
  const TQRef<TQDependencyFinishFlag>& GetFinishFlag() const { return finishFlag; }
  const std::string& GetTargetROIDefName() const { return targetROIDefName; }
  const std::string& GetTaskName() const { return taskName; }
  TaskType GetTaskType() const { return taskType; }

 private:
  TQRef<TQRegionObject> referenceRegion;
  TQRef<TQRegionObject> region;
  TQRef<TQDependencyFinishFlag> finishFlag;
  std::string targetROIDefName;
  std::string taskName;
  TaskType taskType;
  std::atomic<TaskOutputStatus> resultStatus;
  std::vector<TQRef<TQTaskOutputAtomResult>> results GUARDED_BY(mutex);
  Mutex mutex;
};

}  // namespace norvane

#endif  // NORVANE_TASK_RUNTIME_TASK_OUTPUT_H_
