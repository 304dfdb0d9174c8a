// The dependency graph of one capture template and the finish flags of its tasks.
//
// TQDependencyGraph stores the target ROI definitions by name with a begin and an end
// node, and the priority counter from which the driving module hands out ever-growing
// priorities. When that signed counter has passed 2,147,483,647 (turned negative),
// CheckPriorityOverflow has the run's cache manager renumber every cached image down
// to the graph's base priority and takes the same amount off the counter. The graph
// is abstract: the sibling module that builds graphs supplies its operations.
//
// TQDependencyFinishFlag is a one-way latch for one task (by full name), with the flags
// of the tasks below it and the outputs that wait on it.
//
// Locks: the graph's mutex guards the counter and is taken before the cache manager's
// mutex. A finish flag has one mutex for its latch and one for its waiting outputs;
// no operation takes both. Node maps and child flags are built before tasks run.
#ifndef NORVANE_TASK_RUNTIME_DEPENDENCY_GRAPH_H_
#define NORVANE_TASK_RUNTIME_DEPENDENCY_GRAPH_H_

#include <list>
#include <map>
#include <set>
#include <string>

#include "norvane/core/export.h"
#include "norvane/core/mutex.h"
#include "norvane/core/object_base.h"
#include "norvane/core/sync_object.h"
#include "norvane/core/thread_annotations.h"
#include "norvane/task_runtime/target_roi_def.h"
#include "norvane/task_runtime/task_types.h"

namespace norvane {

class NORVANE_API TQDependencyGraph : public TQObjectBase {
 public:
  TQDependencyGraph();
  ~TQDependencyGraph() override;

  // Builds the nodes and links of the graph from a template's description.
  virtual int BuildGraph(const std::string& templateDescription) = 0;
  // The next priority to hand out; advances the counter.
  virtual unsigned int NextPriority() = 0;
  // Called when a source image enters the graph at the begin node.
  virtual int StartSourceImage(TQSourceImageObject* image) = 0;
  // Called when a source image has left the graph at the end node.
  virtual int FinishSourceImage(TQSourceImageObject* image) = 0;
  // Forgets the graph's run state between captures.
  virtual void ResetGraph() = 0;

  TQTargetROIDef* GetBeginNode() const { return beginNode; }
  TQTargetROIDef* GetEndNode() const { return endNode; }
  std::map<std::string, TQRef<TQTargetROIDef>>& GetTargetDefNodesMap() { return targetDefNodes; }
  // False (and no change) for an empty or existing name; a null definition is stored
  // as an empty holder.
  bool AddTargetROIDefNode(const std::string& name, TQTargetROIDef* node);
  // Under the graph's mutex: when the counter is negative, renumbers the cached images
  // down to the base priority and takes the same amount off the counter.
  void CheckPriorityOverflow();

  TQDataManagerPool* GetManagerPool() const { return managerPool; }
  void SetManagerPool(TQDataManagerPool* pool) { managerPool = pool; }
  unsigned int GetBasePriority() const { return basePriority; }
  int GetPriorityCounter();

 protected:
  TQTargetROIDef* beginNode;
  TQTargetROIDef* endNode;
  unsigned int basePriority;
  int priorityCounter GUARDED_BY(priorityMutex);
  Mutex priorityMutex;
  TQDataManagerPool* managerPool;
  std::string graphName;
  std::map<std::string, TQRef<TQTargetROIDef>> targetDefNodes;
};

class NORVANE_API TQDependencyFinishFlag : public TQObjectBase {
 public:
  typedef std::list<TQRef<TQDependencyFinishFlag>> FlagList;

  explicit TQDependencyFinishFlag(const std::string& taskFullName);
  ~TQDependencyFinishFlag() override;

  const std::string& GetTaskFullName() const { return taskFullName; }
  // One way: a finished flag stays finished.
  void SetFinished();
  bool IsFinished();

  // Files `child` under its own task full name. Not locked: children are added while
  // the graph is built.
  void AddChildFlag(TQRef<TQDependencyFinishFlag> child);
  // The children filed under `taskFullName` (an empty list for an unknown name).
  FlagList& GetChildFlags(const std::string& taskFullName);

  void AddRelatedOutputTask(TQTaskOutput* output);
  // Empties the whole set, whatever output is given.
  void RemoveAllRelatedOutputTasks(TQTaskOutput* output);
  // Calls `callback` for every waiting output in ascending pointer order, with the set's
  // mutex held: the callback must not add or remove outputs of this flag.
  void LoopAllRelatedOutputTasks(void (*callback)(TQTaskOutput*, TargetROIDefEvent*),
                                 TargetROIDefEvent* event);
  int GetRelatedOutputTaskCount();

 private:
  std::string taskFullName;
  bool finished GUARDED_BY(finishedMutex);
  std::map<std::string, FlagList> childFlags;
  std::set<TQTaskOutput*> relatedOutputs GUARDED_BY(relatedMutex);
  int relatedOutputCount GUARDED_BY(relatedMutex);
  Mutex relatedMutex;
  Mutex finishedMutex;
};

}  // namespace norvane

#endif  // NORVANE_TASK_RUNTIME_DEPENDENCY_GRAPH_H_
