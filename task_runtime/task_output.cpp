#include "norvane/task_runtime/task_output.h"

#include <algorithm>

namespace norvane {

TQTaskOutputAtomResult::TQTaskOutputAtomResult(TQRef<TQRegionObject> resultRegion)
    : region(std::move(resultRegion)), flag(false) {}

TQTaskOutputAtomResult::~TQTaskOutputAtomResult() = default;

TQTaskOutput::TQTaskOutput(TQRef<TQRegionObject> reference, TQRef<TQRegionObject> workRegion,
                           const std::string& name, TaskType type)
    : referenceRegion(std::move(reference)),
      region(std::move(workRegion)),
      targetROIDefName(region ? region->GetTargetROIDefName() : std::string()),
      taskName(name),
      taskType(type),
      resultStatus(TOS_NOT_COMPLETED) {
  finishFlag = new TQDependencyFinishFlag(MakeTaskFullName(targetROIDefName, taskName));
}

TQTaskOutput::~TQTaskOutput() = default;

void TQTaskOutput::SetResultStatus(TaskOutputStatus status) {
  resultStatus.store(status);
  if (status == TOS_COMPLETED_AND_FLAGGED) finishFlag->SetFinished();
}

void TQTaskOutput::AddTaskResult(TQRef<TQTaskOutputAtomResult> result) {
  MutexLock lock(&mutex);
  results.push_back(std::move(result));
}

int TQTaskOutput::GetResultCount() {
  MutexLock lock(&mutex);
  return static_cast<int>(results.size());
}

TQRef<TQTaskOutputAtomResult> TQTaskOutput::GetTaskResult(int index) {
  MutexLock lock(&mutex);
  return results[static_cast<size_t>(index)];
}

bool TQTaskOutput::AlreadyExistObject(TQRegionObject* object) {
  if (object == nullptr) return false;
  MutexLock lock(&mutex);
  return std::any_of(results.begin(), results.end(), [object](const auto& result) {
    return result && result->GetRegion().get() == object;
  });
}

TQRef<TQRegionObject>& TQTaskOutput::GetReferenceRegionByTargetName(const std::string& name) {
  if (!referenceRegion || referenceRegion->GetTargetROIDefName() == name) return referenceRegion;
  return referenceRegion->GetCertainReferenceRegionByTargetName(name);
}

}  // namespace norvane
