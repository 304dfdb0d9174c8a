#include "norvane/task_runtime/task_setting.h"

#include <utility>

namespace norvane {

TQ_TaskObjectBase::TQ_TaskObjectBase() : managerPool(nullptr), finished(false) {}

TQ_TaskObjectBase::~TQ_TaskObjectBase() = default;

bool TQ_TaskObjectBase::IsTaskFinished() {
  MutexLock lock(&finishedMutex);
  return finished;
}

void TQ_TaskObjectBase::SetTaskFinished() {
  MutexLock lock(&finishedMutex);
  finished = true;
}

std::string MakeTaskFullName(const std::string& targetDefName, const std::string& taskName) {
  return "{" + targetDefName + "}[" + taskName + "]";
}

TQTargetTaskSetting::TQTargetTaskSetting(const std::string& targetDefName,
                                         const std::string& name, TaskType type)
    : taskName(name),
      taskType(type),
      activated(false),
      taskFullName(MakeTaskFullName(targetDefName, name)) {}

TQTargetTaskSetting::~TQTargetTaskSetting() = default;

void TQTargetTaskSetting::SetTaskObject(TQRef<TQ_TaskObjectBase> object) {
  if (object.IsNull()) return;
  taskObject = std::move(object);
}

TargetROIDefSetting::TargetROIDefSetting() : outputTaskChecked(false) {}

void TargetROIDefSetting::AddTaskSetting(const std::string& name,
                                         TQRef<TQTargetTaskSetting> setting) {
  if (setting) allTaskNameMap[name] = setting->GetTaskFullName();
  taskMap[name] = std::move(setting);
}

void TargetROIDefSetting::AddOutputTaskSetting(const std::string& name,
                                               TQRef<TQTargetTaskSetting> setting) {
  if (setting) allTaskNameMap[name] = setting->GetTaskFullName();
  outputTaskMap[name] = std::move(setting);
}

}  // namespace norvane
