// Tasks and their settings.
//
// A TQ_TaskObjectBase is the object a sibling module supplies to do one task's work;
// a TQTargetTaskSetting names a task of a target ROI definition ("{definition}[task]")
// with its type, activation and task object; a TargetROIDefSetting lists the tasks and
// output tasks of one definition by name.
//
// Settings are built and activated on one thread before tasks run and are not
// locked; only a task object's finished flag is, because workers set it.
#ifndef NORVANE_TASK_RUNTIME_TASK_SETTING_H_
#define NORVANE_TASK_RUNTIME_TASK_SETTING_H_

#include <map>
#include <string>

#include "norvane/core/error_codes.h"
#include "norvane/core/export.h"
#include "norvane/core/mutex.h"
#include "norvane/core/object_base.h"
#include "norvane/core/sync_object.h"
#include "norvane/core/thread_annotations.h"
#include "norvane/task_runtime/task_types.h"

namespace norvane {

class NORVANE_API TQ_TaskObjectBase : public TQObjectBase {
 public:
  TQ_TaskObjectBase();
  ~TQ_TaskObjectBase() override;

  // Runs the task on the output's region, putting what it finds into `output`;
  // `semaphore` is the run's shared one. 0 for success, else an error code, which the
  // unit records on the source image.
  virtual ErrorCode RunTask(TQTaskOutput* output, TQSemaphore* semaphore) = 0;
  // A short text that says what the task does, for logs and tools.
  virtual const char* GetTaskDescription() const = 0;

  TQDataManagerPool* GetManagerPool() const { return managerPool; }
  void SetManagerPool(TQDataManagerPool* pool) { managerPool = pool; }
  const std::string& GetTaskName() const { return taskName; }
  void SetTaskName(const std::string& name) { taskName = name; }
  const std::string& GetTargetDefName() const { return targetDefName; }
  void SetTargetDefName(const std::string& name) { targetDefName = name; }
  bool IsTaskFinished();
  // One way: a finished task stays finished.
  void SetTaskFinished();

 protected:
  TQDataManagerPool* managerPool;
  bool finished GUARDED_BY(finishedMutex);
  Mutex finishedMutex;
  std::string taskName;
  std::string targetDefName;
};

class NORVANE_API TQTargetTaskSetting : public TQObjectBase {
 public:
  // The full name is "{" + definition name + "}[" + task name + "]".
  TQTargetTaskSetting(const std::string& targetDefName, const std::string& taskName,
                      TaskType type);
  ~TQTargetTaskSetting() override;

  TaskType GetTaskType() const { return taskType; }
  const std::string& GetTaskName() const { return taskName; }
  const std::string& GetTaskFullName() const { return taskFullName; }
  // An empty reference is ignored: the previous task object stays.
  void SetTaskObject(TQRef<TQ_TaskObjectBase> object);
  const TQRef<TQ_TaskObjectBase>& GetTaskObject() const { return taskObject; }
  bool AlreadySetTaskObject() const { return !taskObject.IsNull(); }
  // There is no way back: an activated task stays activated.
  void ActivateTask() { activated = true; }
  bool IsActivatedTask() const { return activated; }

 private:
  std::string taskName;
  TaskType taskType;
  TQRef<TQ_TaskObjectBase> taskObject;
  bool activated;
  std::string taskFullName;
};

// "{" + definition name + "}[" + task name + "]", the name under which finish flags
// and settings know a task.
NORVANE_API std::string MakeTaskFullName(const std::string& targetDefName,
                                         const std::string& taskName);

class NORVANE_API TargetROIDefSetting {
 public:
  typedef std::map<std::string, TQRef<TQTargetTaskSetting>> TaskMap;

  TargetROIDefSetting();

  void SetTargetDefName(const std::string& name) { targetDefName = name; }
  const std::string& GetTargetDefName() const { return targetDefName; }
  TaskMap& GetTaskMap() { return taskMap; }
  TaskMap& GetOutputTaskMap() { return outputTaskMap; }
  std::map<std::string, std::string>& GetAllTaskNameMap() { return allTaskNameMap; }
  // Stores (replacing) the setting under `name` and records its full name.
  void AddTaskSetting(const std::string& name, TQRef<TQTargetTaskSetting> setting);
  void AddOutputTaskSetting(const std::string& name, TQRef<TQTargetTaskSetting> setting);
  void SetOutputTaskChecked() { outputTaskChecked = true; }
  bool IsOutputTaskChecked() const { return outputTaskChecked; }

 private:
  std::string targetDefName;
  TaskMap taskMap;
  TaskMap outputTaskMap;
  std::map<std::string, std::string> allTaskNameMap;
  bool outputTaskChecked;
};

}  // namespace norvane

#endif  // NORVANE_TASK_RUNTIME_TASK_SETTING_H_
