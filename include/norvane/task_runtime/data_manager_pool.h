// The managers one capture run shares. A TQDataManagerPool belongs to one run and
// holds, by value: the cache of source images in progress (DataCacheManager), the set
// of running task units (ActiveTaskUnitManager), the stop time point
// (TaskEffectTimeManager) and the buffers of recent items by type
// (BufferedItemManager). Source images, task objects and dependency graphs keep a raw
// pointer to their run's pool, which must outlive them.
//
// Thread safety: every manager has its own mutex and holds it only for its own
// container work. The one nesting: a dependency graph's mutex, then the cache
// manager's (priority renumbering).
#ifndef NORVANE_TASK_RUNTIME_DATA_MANAGER_POOL_H_
#define NORVANE_TASK_RUNTIME_DATA_MANAGER_POOL_H_

#include <atomic>
#include <list>
#include <map>
#include <set>
#include <string>

#include "norvane/basic_structures/result_base.h"
#include "norvane/core/export.h"
#include "norvane/core/mutex.h"
#include "norvane/core/object_base.h"
#include "norvane/core/thread_annotations.h"
#include "norvane/task_runtime/source_image_object.h"

namespace norvane {

class TQTargetTaskUnit;

// The stop time point of a run: above 0 it tells every running task to stop at its
// next check-point.
class NORVANE_API TaskEffectTimeManager {
 public:
  void SetTimePointToTaskEffect(int timePoint);
  bool IsTimePointOpen();

 private:
  int timePoint GUARDED_BY(mutex) = 0;
  Mutex mutex;
};

// The units whose task is running right now, and the time-out clock of their images.
class NORVANE_API ActiveTaskUnitManager {
 public:
  void LoadActiveTaskUnit(TQTargetTaskUnit* unit);
  void UnloadActiveTaskUnit(TQTargetTaskUnit* unit);
  // Raises by one the time-check count of every distinct source image that has at
  // least one active unit.
  void AddTimeCheckCountForActiveTaskUnit();
  int GetActiveTaskUnitCount();

 private:
  std::set<TQTargetTaskUnit*> units GUARDED_BY(mutex);
  int unitCount GUARDED_BY(mutex) = 0;
  Mutex mutex;
};

// A sibling module's cache of one source image's work. `isDone` is set when the
// image's work is done and its entry may go.
class NORVANE_API SourceImageCacheBase : public TQObjectBase {
 public:
  explicit SourceImageCacheBase(TQSourceImageObject* sourceImage);
  ~SourceImageCacheBase() override;

  TQSourceImageObject* GetSourceImage() const { return sourceImage.get(); }
  bool IsDone() const { return isDone.load(); }
  void SetDone() { isDone.store(true); }

 protected:
  TQRef<TQSourceImageObject> sourceImage;
  std::atomic<bool> isDone;
};

// The source images in progress, by hash id.
class NORVANE_API DataCacheManager {
 public:
  // Stores `cache` under its image's hash id (replacing); null is ignored.
  void AddToCacheMap(SourceImageCacheBase* cache);
  TQRef<SourceImageCacheBase> GetFromCacheMap(const std::string& hashId);
  // The cached image (no new reference), or null for a null or unknown id.
  TQSourceImageObject* GetSourceImage(const char* hashId);
  // Removes the entries whose work is done; true when one was removed.
  bool UpdateCacheMap();
  void CleanAllCacheMap();
  int GetCacheCount();
  // Lowers every cached image's priority and target-def priorities by the same
  // amount, so that the smallest image priority (counted from 0x7FFFFFFF) becomes
  // `base`; returns the amount, 0 when nothing changes.
  unsigned int UpdatePriority(unsigned int base);

 private:
  std::map<std::string, TQRef<SourceImageCacheBase>> cacheMap GUARDED_BY(mutex);
  Mutex mutex;
};

// An item kept in a BufferedItemManager; it says which buffer it belongs to.
class NORVANE_API BufferedItemBase : public TQObjectBase {
 public:
  ~BufferedItemBase() override;
  virtual basic_structures::BufferedItemType GetBufferedItemType() const = 0;
};

// The newest items of each registered type, up to a count per type.
class NORVANE_API BufferedItemManager {
 public:
  // Identified by the time, its own address and a process-wide counter.
  BufferedItemManager();
  BufferedItemManager(const BufferedItemManager&) = delete;
  BufferedItemManager& operator=(const BufferedItemManager&) = delete;

  const std::string& GetManagerID() const { return managerId; }
  // Starts (or restarts) the type with no items and a maximum of 0.
  void RegisterBufferedItemType(basic_structures::BufferedItemType type);
  // Ignored for a negative count or an unregistered type; trims at once.
  void SetMaxBufferedItems(basic_structures::BufferedItemType type, int count);
  int GetMaxBufferedItems(basic_structures::BufferedItemType type);
  // Kept when its type is registered with a maximum above 0; the oldest go first.
  void AppendItem(BufferedItemBase* item);
  // Lets the set copy what it wants, under this manager's lock.
  void CopyBufferToItemSet(basic_structures::BufferedItemSetBase* itemSet) const;
  // Forgets every type, registrations and limits included.
  void ClearBuffer();
  // The items of a type, oldest first (for item sets, under the manager's lock).
  const std::list<TQRef<BufferedItemBase>>* GetBufferedItems(
      basic_structures::BufferedItemType type) const EXCLUSIVE_LOCKS_REQUIRED(mutex);

 private:
  struct Entry {
    std::list<TQRef<BufferedItemBase>> items;
    int maxCount = 0;
  };
  void UpdateIfExceedMaxCount(basic_structures::BufferedItemType type)
      EXCLUSIVE_LOCKS_REQUIRED(mutex);

  std::map<basic_structures::BufferedItemType, Entry> buffers GUARDED_BY(mutex);
  mutable Mutex mutex;
  std::string managerId;
};

class NORVANE_API TQDataManagerPool {
 public:
  TQDataManagerPool() = default;
  TQDataManagerPool(const TQDataManagerPool&) = delete;
  TQDataManagerPool& operator=(const TQDataManagerPool&) = delete;

  DataCacheManager* GetCacheManager() { return &cacheManager; }
  ActiveTaskUnitManager* GetActiveTaskUnitManager() { return &activeTaskUnitManager; }
  TaskEffectTimeManager* GetTaskEffectTimeManager() { return &taskEffectTimeManager; }
  BufferedItemManager* GetBufferedItemManager() { return &bufferedItemManager; }

 private:
  DataCacheManager cacheManager;
  ActiveTaskUnitManager activeTaskUnitManager;
  TaskEffectTimeManager taskEffectTimeManager;
  BufferedItemManager bufferedItemManager;
};

}  // namespace norvane

#endif  // NORVANE_TASK_RUNTIME_DATA_MANAGER_POOL_H_
