#include "norvane/basic_structures/object_ref_pool.h"

namespace norvane {
namespace basic_structures {

TQObjectRefPool TQObjectRefPool::m_instance;

TQObjectRefPool* TQObjectRefPool::GetInstance() { return &m_instance; }

void TQObjectRefCache::RetainCache(TQObjectBase* object) {
  MutexLock lock(&mutex_);
  references_.emplace_back(object);
}

void TQObjectRefCache::ReleaseCache() {
  TQRef<TQObjectBase> oldest;  // released after the lock, so a destructor may use the pool
  MutexLock lock(&mutex_);
  if (references_.empty()) return;
  oldest = std::move(references_.front());
  references_.pop_front();
}

bool TQObjectRefCache::IsEmpty() {
  MutexLock lock(&mutex_);
  return references_.empty();
}

TQObjectRefCache* TQObjectRefPool::FindOrCreate(TQObjectBase* object) {
  // On the 32-bit target this is the sign-extended 32-bit address; on 64-bit hosts
  // the full address, so that two objects never share one cache.
  const int64_t key = static_cast<int64_t>(reinterpret_cast<intptr_t>(object));
  MutexLock lock(&mutex_);
  // Map nodes never move, so the cache outlives the lock.
  return &caches_.try_emplace(key).first->second;
}

void TQObjectRefPool::RetainCache(TQObjectBase* object) {
  FindOrCreate(object)->RetainCache(object);
}

void TQObjectRefPool::ReleaseCache(TQObjectBase* object) { FindOrCreate(object)->ReleaseCache(); }

bool TQObjectRefPool::IsCached(TQObjectBase* object) { return !FindOrCreate(object)->IsEmpty(); }

}  // namespace basic_structures
}  // namespace norvane
