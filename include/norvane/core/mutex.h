// Annotated wrappers around std::mutex and std::condition_variable, so that clang's
// -Wthread-safety can check the GUARDED_BY annotations of the library's locked state
// (the standard library's own mutex carries no annotations). Same size and
// behaviour as the standard types; failures are thrown as std::system_error.
#ifndef NORVANE_CORE_MUTEX_H_
#define NORVANE_CORE_MUTEX_H_

#include <chrono>
#include <condition_variable>
#include <mutex>

#include "norvane/core/thread_annotations.h"

namespace norvane {

class LOCKABLE Mutex {
 public:
  Mutex() = default;
  Mutex(const Mutex&) = delete;
  Mutex& operator=(const Mutex&) = delete;

  void Lock() EXCLUSIVE_LOCK_FUNCTION() { mu_.lock(); }
  void Unlock() UNLOCK_FUNCTION() { mu_.unlock(); }
  void AssertHeld() ASSERT_EXCLUSIVE_LOCK() {}

 private:
  friend class CondVar;
  std::mutex mu_;
};

// Holds a Mutex for the lifetime of the scope.
class SCOPED_LOCKABLE MutexLock {
 public:
  explicit MutexLock(Mutex* mu) EXCLUSIVE_LOCK_FUNCTION(mu) : mu_(mu) { mu_->Lock(); }
  ~MutexLock() UNLOCK_FUNCTION() { mu_->Unlock(); }
  MutexLock(const MutexLock&) = delete;
  MutexLock& operator=(const MutexLock&) = delete;

 private:
  Mutex* const mu_;
};

// A condition variable bound to one Mutex, which must be held around every wait.
// (The waits carry no lock annotation: the analysis cannot see that the bound mutex
// is the caller's.)
class CondVar {
 public:
  explicit CondVar(Mutex* mu) : mu_(mu) {}
  CondVar(const CondVar&) = delete;
  CondVar& operator=(const CondVar&) = delete;

  void Wait() {
    std::unique_lock<std::mutex> lock(mu_->mu_, std::adopt_lock);
    cv_.wait(lock);
    lock.release();
  }
  // Waits once, until woken or until the deadline; true when woken before it.
  template <typename Clock, typename Duration>
  bool WaitUntil(const std::chrono::time_point<Clock, Duration>& deadline) {
    std::unique_lock<std::mutex> lock(mu_->mu_, std::adopt_lock);
    std::cv_status status = cv_.wait_until(lock, deadline);
    lock.release();
    return status == std::cv_status::no_timeout;
  }
  void Signal() { cv_.notify_one(); }
  void SignalAll() { cv_.notify_all(); }

 private:
  Mutex* const mu_;
  std::condition_variable cv_;
};

}  // namespace norvane

#endif  // NORVANE_CORE_MUTEX_H_
