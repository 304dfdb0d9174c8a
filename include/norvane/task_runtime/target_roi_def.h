// Target ROI definitions: a named kind of region of interest with the tasks that run
// on it. Definitions are the nodes of a dependency graph (they know their parents,
// children and priority level) and tell their listeners when work completes.
//
// Built, linked and activated on one thread before tasks run; not synchronised.
#ifndef NORVANE_TASK_RUNTIME_TARGET_ROI_DEF_H_
#define NORVANE_TASK_RUNTIME_TARGET_ROI_DEF_H_

#include <set>
#include <string>
#include <vector>

#include "norvane/core/export.h"
#include "norvane/core/object_base.h"
#include "norvane/task_runtime/task_setting.h"
#include "norvane/task_runtime/task_types.h"

namespace norvane {

class TQDependencyGraph;
class TQSourceImageObject;
class TQTargetROIDef;
class TargetROIDefEvent;

// Receives completion events of a definition; both operations do nothing by default.
class NORVANE_API TargetROIDefEventListener {
 public:
  virtual void HandleSingleRegionCompeleteEvent(TargetROIDefEvent* event);
  virtual void HandleTaskUnitOutputCompeleteEvent(TargetROIDefEvent* event);

 protected:
  ~TargetROIDefEventListener() = default;
};

// Carries an event's type, source definition, payload and output to listeners.
class NORVANE_API TargetROIDefEvent {
 public:
  TargetROIDefEvent(TargetROIDefEventType type, TQTargetROIDef* source, void* payload,
                    EventOutputStruct* output);
  virtual ~TargetROIDefEvent();

  TargetROIDefEventType GetType() const { return type; }
  TQTargetROIDef* GetSource() const { return source; }
  void* GetPayload() const { return payload; }
  EventOutputStruct* GetOutput() const { return output; }

 private:
  TargetROIDefEventType type;
  TQTargetROIDef* source;
  void* payload;
  EventOutputStruct* output;
};

class NORVANE_API TQTargetROIDef : public TQObjectBase, public TargetROIDefEventListener {
 public:
  // `graph` is the dependency graph the definition belongs to (not owned).
  TQTargetROIDef(TQDependencyGraph* graph, const std::string& name, int priorityLevel);
  ~TQTargetROIDef() override;

  // Called when a source image enters the definition's part of the graph.
  virtual int OnSourceImageStart(TQSourceImageObject* image) = 0;
  // Called when the definition's work on a source image is done.
  virtual int OnSourceImageEnd(TQSourceImageObject* image) = 0;
  // Called when the run is reset between captures.
  virtual void ResetRun() = 0;
  // Listener operations of the definition itself; both do nothing here.
  void HandleSingleRegionCompeleteEvent(TargetROIDefEvent* event) override;
  void HandleTaskUnitOutputCompeleteEvent(TargetROIDefEvent* event) override;

  TargetROIDefSetting& GetTargetDefSetting() { return setting; }
  const std::vector<TQTargetROIDef*>& GetParentDefNodes() const { return parents; }
  const std::vector<TQTargetROIDef*>& GetChildDefNodes() const { return children; }
  const std::set<TargetROIDefEventListener*>& GetListeners() const { return listeners; }
  int GetPriorityLevel() const { return priorityLevel; }
  TQDependencyGraph* GetDependencyGraph() const { return graph; }
  // The manager pool of the definition's graph (null without a graph).
  TQDataManagerPool* GetManagerPool() const;

  void AddParentDefNode(TQTargetROIDef* parent) { parents.push_back(parent); }
  void AddChildDefNode(TQTargetROIDef* child) { children.push_back(child); }
  void SetParentDefNodes(const std::vector<TQTargetROIDef*>& nodes) { parents = nodes; }
  void RegisterListener(TargetROIDefEventListener* listener) { listeners.insert(listener); }

  // Activates every task and output task.
  void ActivateAllTask();
  // Activates the tasks and output tasks whose names are in `names`.
  void ActivateCertainTasks(const std::set<std::string>& names);
  // Activates the tasks named in `names` whose type is an atomic type (0, 1, 2) with
  // its flag set in flags[0..2], and every output task named in `names`.
  void ActivateTaskByNameArrayAndAtomicTypeFlag(const std::vector<std::string>& names,
                                                const bool* flags);

 private:
  TQDependencyGraph* graph;
  TargetROIDefSetting setting;
  int priorityLevel;
  std::vector<TQTargetROIDef*> parents;
  std::vector<TQTargetROIDef*> children;
  std::set<TargetROIDefEventListener*> listeners;
};

}  // namespace norvane

#endif  // NORVANE_TASK_RUNTIME_TARGET_ROI_DEF_H_
