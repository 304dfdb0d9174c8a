#include "norvane/task_runtime/task_unit.h"

#include <set>

#include "norvane/log/log.h"
#include "norvane/task_runtime/data_manager_pool.h"

namespace norvane {

namespace {

// Task-priority lines are text lines at level 9, like every line the library writes.
bool TaskPriorityLoggingAllowed() { return AllowLogging(9, LOG_MODE_TEXT); }

}  // namespace

TQTargetTaskUnit::TQTargetTaskUnit(TQTaskOutput* output, TQTargetTaskSetting* setting,
                                   TQSemaphore* sharedSemaphore, const unsigned int* unitPriority)
    : priority(unitPriority),
      taskSetting(setting),
      taskOutput(output),
      semaphore(sharedSemaphore) {
  if (!TaskPriorityLoggingAllowed()) return;
  TQSourceImageObject* source = GetSourceImage();
  const TQ_TaskObjectBase* task = setting->GetTaskObject().get();
  label = "[SourceId:" + (source != nullptr ? source->GetHashID() : std::string()) +
          "][TargetROI:" + (task != nullptr ? task->GetTargetDefName() : std::string()) +
          "][Task:" + setting->GetTaskName() + "][Priority:" + std::to_string(GetPriority()) +
          "]";
}

TQTargetTaskUnit::~TQTargetTaskUnit() = default;

TQSourceImageObject* TQTargetTaskUnit::GetSourceImage() const {
  if (taskOutput == nullptr || !taskOutput->GetRegion()) return nullptr;
  return taskOutput->GetRegion()->GetSourceImageObject().get();
}

void TQTargetTaskUnit::LogPush() {
  if (TaskPriorityLoggingAllowed()) {
    TQLog::m_instance.WriteTextLog(9, "TaskPriorityInfo AppendTask: %s", label.c_str());
  }
}

void TQTargetTaskUnit::LogPop() {
  if (TaskPriorityLoggingAllowed()) {
    TQLog::m_instance.WriteTextLog(9, "TaskPriorityInfo TakeTask: %s", label.c_str());
  }
}

void TQTargetTaskUnit::Process() {
  if (TaskPriorityLoggingAllowed()) {
    TQLog::m_instance.WriteTextLog(9, "TaskPriorityInfo TaskStart: %s", label.c_str());
  }
  TQ_TaskObjectBase* task = taskSetting->GetTaskObject().get();
  if (task == nullptr) return;
  TQSourceImageObject* source = GetSourceImage();
  if (source != nullptr && source->IsCheckPointNeedExit(nullptr)) {
    // Not run; marked finished so that FinishTask completes it and nobody waits.
    task->SetTaskFinished();
    return;
  }
  TQDataManagerPool* pool = task->GetManagerPool();
  ActiveTaskUnitManager* active = pool != nullptr ? pool->GetActiveTaskUnitManager() : nullptr;
  if (active != nullptr) active->LoadActiveTaskUnit(this);
  const ErrorCode code = task->RunTask(taskOutput, semaphore);
  if (code != EC_OK && source != nullptr) {
    source->AddErrorCodeInfo(code, task->GetTargetDefName().c_str(), task->GetTaskName().c_str(),
                             "", "");
  }
  if (active != nullptr) active->UnloadActiveTaskUnit(this);
}

bool TQTargetTaskUnit::FinishTask() {
  TQ_TaskObjectBase* task = taskSetting->GetTaskObject().get();
  if (task == nullptr || !task->IsTaskFinished()) return false;
  if (taskOutput->GetResultStatus() != TOS_NOT_COMPLETED) return true;  // completed once
  taskOutput->AddTaskResult(new TQTaskOutputAtomResult(TQRef<TQRegionObject>()));
  taskOutput->SetResultStatus(TOS_COMPLETED);
  if (semaphore != nullptr) semaphore->Produce();
  if (TaskPriorityLoggingAllowed()) {
    TQLog::m_instance.WriteTextLog(9, "TaskPriorityInfo TaskEnd: %s", label.c_str());
  }
  return true;
}

void ActiveTaskUnitManager::AddTimeCheckCountForActiveTaskUnit() {
  MutexLock lock(&mutex);
  std::set<TQSourceImageObject*> images;
  for (TQTargetTaskUnit* unit : units) {
    TQSourceImageObject* image = unit->GetSourceImage();
    if (image != nullptr) images.insert(image);
  }
  for (TQSourceImageObject* image : images) image->AddTimeCheckCount();
}

}  // namespace norvane
