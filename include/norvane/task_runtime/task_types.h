// Enumerations shared across the task-graph runtime. Their full value sets belong to
// the sibling modules that build and drive task graphs; this library names the values
// it acts on, and every other 32-bit value passes through unchanged.
#ifndef NORVANE_TASK_RUNTIME_TASK_TYPES_H_
#define NORVANE_TASK_RUNTIME_TASK_TYPES_H_

#include <cstdint>

namespace norvane {

class TQDataManagerPool;
class TQTaskOutput;

// The kind of a task. Activation by "atomic type" looks at the three atomic kinds.
enum TaskType : int32_t {
  TT_UNDEFINED = -1,
  TT_ATOMIC_0 = 0,
  TT_ATOMIC_1 = 1,
  TT_ATOMIC_2 = 2,
  TT_NON_ATOMIC = 3,
};

// The kind of element a region stands for. Regions of the two plain kinds carry no
// element that regions derived from them may take over.
enum RegionObjectElementType : int32_t {
  ROET_PLAIN_REGION = 7,
  ROET_PLAIN_IMAGE = 8,
};

// The completion state of a task output.
enum TaskOutputStatus : int32_t {
  TOS_NOT_COMPLETED = 0,
  TOS_COMPLETED = 1,            // set when a unit's task has finished
  TOS_COMPLETED_AND_FLAGGED = 2,  // also sets the output's finish flag
};

// Events that target ROI definitions send to their listeners.
enum TargetROIDefEventType : int32_t {
  TRDET_SINGLE_REGION_COMPLETE = 0,
  TRDET_TASK_UNIT_OUTPUT_COMPLETE = 1,
};

// The payload of an event's output; defined by the sibling modules.
struct EventOutputStruct;

}  // namespace norvane

#endif  // NORVANE_TASK_RUNTIME_TASK_TYPES_H_
