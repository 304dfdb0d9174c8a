// One captured image as the task-graph runtime sees it.
//
// A TQSourceImageObject holds its image (a counted TQImageData), the image's
// scheduling priority and, per target ROI definition, the priority it was given; the
// errors that tasks reported for it; and its time-out counter. Its hash id is its
// image's hash id. It lives as long as any region, output or unit holds it.
//
// Thread safety: the error list is guarded by the object's SyncObject; the time-check
// count is atomic (raised by the time-keeping thread, read by task threads). The
// priorities and the manager pool are set up before task threads run, and the
// priorities are changed later only by the renumbering of the run's cache manager.
#ifndef NORVANE_TASK_RUNTIME_SOURCE_IMAGE_OBJECT_H_
#define NORVANE_TASK_RUNTIME_SOURCE_IMAGE_OBJECT_H_

#include <atomic>
#include <list>
#include <map>
#include <string>

#include "norvane/basic_structures/tq_image_data.h"
#include "norvane/core/error_codes.h"
#include "norvane/core/export.h"
#include "norvane/core/object_base.h"
#include "norvane/core/sync_object.h"
#include "norvane/task_runtime/task_types.h"

namespace norvane {

// One error a task reported for an image: the code, the target ROI definition and
// task that reported it, and two further texts this library leaves empty.
struct NORVANE_API TQErrorCodeInfo {
  ErrorCode code = 0;
  std::string targetROIDefName;
  std::string taskName;
  std::string detail;
  std::string extra;
};

class NORVANE_API TQSourceImageObject : public TQObjectBase {
 public:
  // Takes a reference to `image`.
  TQSourceImageObject(basic_structures::TQImageData* image, unsigned int priority,
                      int timeOutCount);
  ~TQSourceImageObject() override;
  TQSourceImageObject(const TQSourceImageObject&) = delete;
  TQSourceImageObject& operator=(const TQSourceImageObject&) = delete;

  // The image's hash id, computed by the image when it is not yet known.
  const std::string& GetHashID();
  basic_structures::TQImageData* GetImage() const { return image.get(); }

  unsigned int GetPriority() const { return priority; }
  // Points at the stored priority, for units that read it later.
  const unsigned int* GetPriorityPointer() const { return &priority; }
  void SetPriority(unsigned int value) { priority = value; }
  int GetTimeOutCount() const { return timeOutCount; }
  int GetTimeCheckCount() const { return timeCheckCount.load(std::memory_order_seq_cst); }
  // Raises the time-check count by one (the time-keeping thread does this).
  void AddTimeCheckCount() { timeCheckCount.fetch_add(1, std::memory_order_seq_cst); }

  // True when the time-out count is below the time-check count.
  bool IsTimeOut() const;
  // Called by tasks at their check-points: true when the run's stop time point is open
  // (*errorCode = 0) or the image timed out (*errorCode = -10026); `errorCode` may be
  // null and is left alone when the answer is false.
  bool IsCheckPointNeedExit(int* errorCode) const;

  // Appends an error record; null texts stay empty.
  void AddErrorCodeInfo(ErrorCode code, const char* targetROIDefName, const char* taskName,
                        const char* detail, const char* extra);
  // The code of the newest record, 0 when there is none.
  ErrorCode GetErrorCode() const;
  std::list<TQErrorCodeInfo> GetErrorCodeInfos() const;

  // Inserts or overwrites the priority of a target ROI definition (no lock).
  void SetTargetDefPriority(const std::string& name, unsigned int value);
  std::map<std::string, unsigned int>& GetTargetDefPriorityMap() { return targetDefPriorityMap; }

  TQDataManagerPool* GetManagerPool() const { return managerPool; }
  void SetManagerPool(TQDataManagerPool* pool) { managerPool = pool; }

 private:
  TQRef<basic_structures::TQImageData> image;
  unsigned int priority;
  int timeOutCount;
  std::atomic<int> timeCheckCount;
  std::list<TQErrorCodeInfo> errors GUARDED_BY(mutex);
  SyncObject mutex;
  std::map<std::string, unsigned int> targetDefPriorityMap;
  TQDataManagerPool* managerPool;
};

}  // namespace norvane

#endif  // NORVANE_TASK_RUNTIME_SOURCE_IMAGE_OBJECT_H_
