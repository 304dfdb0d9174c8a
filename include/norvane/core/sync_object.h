// Synchronisation building blocks shared by the whole library.
//
// SyncObject is a recursive POSIX mutex: its owner may lock it again. Failures of
// the POSIX calls are printed to standard output with errno and otherwise ignored.
// TQSemaphore is a counting semaphore used to signal finished task units: Produce
// adds one and wakes one waiter, Consume waits for a positive value and takes one.
#ifndef NORVANE_CORE_SYNC_OBJECT_H_
#define NORVANE_CORE_SYNC_OBJECT_H_

#include <pthread.h>

#include <atomic>

#include "norvane/core/export.h"
#include "norvane/core/mutex.h"
#include "norvane/core/thread_annotations.h"

namespace norvane {

class NORVANE_API LOCKABLE SyncObject {
 public:
  SyncObject();
  ~SyncObject();
  SyncObject(const SyncObject&) = delete;
  SyncObject& operator=(const SyncObject&) = delete;

  void lock() const EXCLUSIVE_LOCK_FUNCTION();
  void unlock() const UNLOCK_FUNCTION();

 private:
  mutable pthread_mutex_t mutex_;
};

// Holds a SyncObject for the lifetime of the scope.
class SCOPED_LOCKABLE SyncObjectLock {
 public:
  explicit SyncObjectLock(const SyncObject* sync) EXCLUSIVE_LOCK_FUNCTION(sync)
      : sync_(sync) {
    sync_->lock();
  }
  ~SyncObjectLock() UNLOCK_FUNCTION() { sync_->unlock(); }
  SyncObjectLock(const SyncObjectLock&) = delete;
  SyncObjectLock& operator=(const SyncObjectLock&) = delete;

 private:
  const SyncObject* const sync_;
};

class NORVANE_API TQSemaphore {
 public:
  explicit TQSemaphore(long initialValue);
  TQSemaphore(const TQSemaphore&) = delete;
  TQSemaphore& operator=(const TQSemaphore&) = delete;

  // Stores the value without taking the lock and without waking anyone.
  void Reset(long value);
  long GetValue();
  // True when the value is below 1.
  bool IsEmpty();
  void Produce();
  // Waits while the value is 0 or less, then takes one.
  void Consume();
  // A bounded pause while no work is ready: if the value is below 1, waits once
  // until woken or until `milliseconds` have passed. Does not change the value.
  void SleepIfEmpty(int milliseconds);

 private:
  Mutex mutex_;
  CondVar condition_;
  // Atomic because Reset stores it without the lock; every other access holds
  // mutex_, which is what orders the waits.
  std::atomic<long> value_;
};

}  // namespace norvane

#endif  // NORVANE_CORE_SYNC_OBJECT_H_
