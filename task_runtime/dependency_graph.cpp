#include "norvane/task_runtime/dependency_graph.h"

#include "norvane/task_runtime/data_manager_pool.h"

namespace norvane {

TQDependencyGraph::TQDependencyGraph()
    : beginNode(nullptr), endNode(nullptr), basePriority(0), priorityCounter(0), managerPool(nullptr) {}

TQDependencyGraph::~TQDependencyGraph() = default;

bool TQDependencyGraph::AddTargetROIDefNode(const std::string& name, TQTargetROIDef* node) {
  if (name.empty() || targetDefNodes.count(name) != 0) return false;
  targetDefNodes[name] = node;
  return true;
}

void TQDependencyGraph::CheckPriorityOverflow() {
  MutexLock lock(&priorityMutex);
  if (priorityCounter >= 0 || managerPool == nullptr) return;
  const unsigned int amount = managerPool->GetCacheManager()->UpdatePriority(basePriority);
  // The counter wrapped past 2^31 - 1; subtracting in unsigned arithmetic brings it
  // back down by the same amount the cached images were lowered.
  priorityCounter = static_cast<int>(static_cast<unsigned int>(priorityCounter) - amount);
}

int TQDependencyGraph::GetPriorityCounter() {
  MutexLock lock(&priorityMutex);
  return priorityCounter;
}

TQDependencyFinishFlag::TQDependencyFinishFlag(const std::string& fullName)
    : taskFullName(fullName), finished(false), relatedOutputCount(0) {}

TQDependencyFinishFlag::~TQDependencyFinishFlag() = default;

void TQDependencyFinishFlag::SetFinished() {
  MutexLock lock(&finishedMutex);
  finished = true;
}

bool TQDependencyFinishFlag::IsFinished() {
  MutexLock lock(&finishedMutex);
  return finished;
}

void TQDependencyFinishFlag::AddChildFlag(TQRef<TQDependencyFinishFlag> child) {
  if (child.IsNull()) return;
  childFlags[child->GetTaskFullName()].push_back(std::move(child));
}

TQDependencyFinishFlag::FlagList& TQDependencyFinishFlag::GetChildFlags(const std::string& name) {
  return childFlags[name];
}

void TQDependencyFinishFlag::AddRelatedOutputTask(TQTaskOutput* output) {
  MutexLock lock(&relatedMutex);
  if (relatedOutputs.insert(output).second) ++relatedOutputCount;
}

void TQDependencyFinishFlag::RemoveAllRelatedOutputTasks(TQTaskOutput*) {
  MutexLock lock(&relatedMutex);
  relatedOutputs.clear();
  relatedOutputCount = 0;
}

void TQDependencyFinishFlag::LoopAllRelatedOutputTasks(
    void (*callback)(TQTaskOutput*, TargetROIDefEvent*), TargetROIDefEvent* event) {
  if (callback == nullptr) return;
  MutexLock lock(&relatedMutex);
  for (TQTaskOutput* output : relatedOutputs) callback(output, event);
}

int TQDependencyFinishFlag::GetRelatedOutputTaskCount() {
  MutexLock lock(&relatedMutex);
  return relatedOutputCount;
}

}  // namespace norvane
