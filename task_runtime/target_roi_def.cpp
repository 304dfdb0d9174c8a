#include "norvane/task_runtime/target_roi_def.h"

#include <algorithm>

#include "norvane/task_runtime/dependency_graph.h"

namespace norvane {

void TargetROIDefEventListener::HandleSingleRegionCompeleteEvent(TargetROIDefEvent*) {}
void TargetROIDefEventListener::HandleTaskUnitOutputCompeleteEvent(TargetROIDefEvent*) {}

TargetROIDefEvent::TargetROIDefEvent(TargetROIDefEventType eventType, TQTargetROIDef* sourceDef,
                                     void* eventPayload, EventOutputStruct* eventOutput)
    : type(eventType), source(sourceDef), payload(eventPayload), output(eventOutput) {}

TargetROIDefEvent::~TargetROIDefEvent() = default;

TQTargetROIDef::TQTargetROIDef(TQDependencyGraph* ownerGraph, const std::string& name, int level)
    : graph(ownerGraph), priorityLevel(level) {
  setting.SetTargetDefName(name);
}

TQTargetROIDef::~TQTargetROIDef() = default;

void TQTargetROIDef::HandleSingleRegionCompeleteEvent(TargetROIDefEvent*) {}
void TQTargetROIDef::HandleTaskUnitOutputCompeleteEvent(TargetROIDefEvent*) {}

TQDataManagerPool* TQTargetROIDef::GetManagerPool() const {
  return graph != nullptr ? graph->GetManagerPool() : nullptr;
}

void TQTargetROIDef::ActivateAllTask() {
  for (auto& entry : setting.GetTaskMap()) entry.second->ActivateTask();
  for (auto& entry : setting.GetOutputTaskMap()) entry.second->ActivateTask();
}

void TQTargetROIDef::ActivateCertainTasks(const std::set<std::string>& names) {
  for (auto* map : {&setting.GetTaskMap(), &setting.GetOutputTaskMap()}) {
    for (auto& entry : *map) {
      if (names.count(entry.first) != 0) entry.second->ActivateTask();
    }
  }
}

void TQTargetROIDef::ActivateTaskByNameArrayAndAtomicTypeFlag(const std::vector<std::string>& names,
                                                              const bool* flags) {
  auto listed = [&names](const std::string& name) {
    return std::find(names.begin(), names.end(), name) != names.end();
  };
  for (auto& entry : setting.GetTaskMap()) {
    TQTargetTaskSetting* task = entry.second.get();
    if (task->IsActivatedTask() || !listed(entry.first)) continue;
    const TaskType type = task->GetTaskType();
    // Only the three atomic kinds are activated here, each by its own flag.
    if (type >= TT_ATOMIC_0 && type <= TT_ATOMIC_2 && flags != nullptr && flags[type]) {
      task->ActivateTask();
    }
  }
  for (auto& entry : setting.GetOutputTaskMap()) {
    if (!entry.second->IsActivatedTask() && listed(entry.first)) entry.second->ActivateTask();
  }
}

}  // namespace norvane
