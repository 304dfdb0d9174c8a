// A process-wide store of extra references, for callers that hold only a raw pointer
// to a counted object (for example across a C-style interface) and want to keep it
// alive. RetainCache stores one strong reference for the object; each ReleaseCache
// drops the oldest one stored for it; a release with nothing stored does nothing.
//
// The pool keys objects by address (as intptr_t: the sign-extended 32-bit address on
// the 32-bit target). A key's cache is created on first use and never removed; a
// later object at the same address reuses it. Thread-safe: the map and each cache
// have their own mutex.
#ifndef NORVANE_BASIC_STRUCTURES_OBJECT_REF_POOL_H_
#define NORVANE_BASIC_STRUCTURES_OBJECT_REF_POOL_H_

#include <cstdint>
#include <deque>
#include <map>

#include "norvane/core/export.h"
#include "norvane/core/mutex.h"
#include "norvane/core/object_base.h"
#include "norvane/core/thread_annotations.h"

namespace norvane {
namespace basic_structures {

class NORVANE_API TQObjectRefCache {
 public:
  TQObjectRefCache() = default;
  TQObjectRefCache(const TQObjectRefCache&) = delete;
  TQObjectRefCache& operator=(const TQObjectRefCache&) = delete;

  // Stores one more reference to `object` at the back.
  void RetainCache(TQObjectBase* object);
  // Drops the oldest stored reference, if any (which may destroy the object).
  void ReleaseCache();
  bool IsEmpty();

 private:
  std::deque<TQRef<TQObjectBase>> references_ GUARDED_BY(mutex_);
  Mutex mutex_;
};

class NORVANE_API TQObjectRefPool {
 public:
  TQObjectRefPool() = default;
  TQObjectRefPool(const TQObjectRefPool&) = delete;
  TQObjectRefPool& operator=(const TQObjectRefPool&) = delete;

  static TQObjectRefPool* GetInstance();

  void RetainCache(TQObjectBase* object);
  void ReleaseCache(TQObjectBase* object);
  // Whether references to `object` are stored (creates its cache like the others).
  bool IsCached(TQObjectBase* object);

  static TQObjectRefPool m_instance;

 private:
  TQObjectRefCache* FindOrCreate(TQObjectBase* object) LOCKS_EXCLUDED(mutex_);

  std::map<int64_t, TQObjectRefCache> caches_ GUARDED_BY(mutex_);
  Mutex mutex_;
};

}  // namespace basic_structures
}  // namespace norvane

#endif  // NORVANE_BASIC_STRUCTURES_OBJECT_REF_POOL_H_
