#include "norvane/core/sync_object.h"

#include <cerrno>
#include <chrono>
#include <cstdio>

namespace norvane {

// The POSIX calls report through their return value; what is printed is errno,
// the library's long-standing diagnostic, and the failure is otherwise ignored.
SyncObject::SyncObject() {
  pthread_mutexattr_t attr;
  if (pthread_mutexattr_init(&attr) != 0) {
    printf("pthread_mutexattr_init failed %d\n", errno);
    printf("pthread_mutex_init failed %d\n", errno);
    return;
  }
  if (pthread_mutexattr_settype(&attr, PTHREAD_MUTEX_RECURSIVE) != 0) {
    printf("pthread_mutexattr_settype failed %d\n", errno);
    printf("pthread_mutex_init failed %d\n", errno);
    return;
  }
  if (pthread_mutex_init(&mutex_, &attr) != 0) {
    printf("pthread_mutex_init failed %d\n", errno);
  }
  pthread_mutexattr_destroy(&attr);
}

SyncObject::~SyncObject() {
  if (pthread_mutex_destroy(&mutex_) != 0) printf("pthread_mutex_destroy failed %d\n", errno);
}

void SyncObject::lock() const {
  if (pthread_mutex_lock(&mutex_) != 0) printf("pthread_mutex_lock failed %d\n", errno);
}

void SyncObject::unlock() const {
  if (pthread_mutex_unlock(&mutex_) != 0) printf("pthread_mutex_unlock failed %d\n", errno);
}

TQSemaphore::TQSemaphore(long initialValue) : condition_(&mutex_), value_(initialValue) {}

void TQSemaphore::Reset(long value) { value_.store(value, std::memory_order_relaxed); }

long TQSemaphore::GetValue() {
  MutexLock lock(&mutex_);
  return value_.load(std::memory_order_relaxed);
}

bool TQSemaphore::IsEmpty() {
  MutexLock lock(&mutex_);
  return value_.load(std::memory_order_relaxed) < 1;
}

void TQSemaphore::Produce() {
  MutexLock lock(&mutex_);
  value_.fetch_add(1, std::memory_order_relaxed);
  condition_.Signal();
}

void TQSemaphore::Consume() {
  MutexLock lock(&mutex_);
  while (value_.load(std::memory_order_relaxed) <= 0) condition_.Wait();
  value_.fetch_sub(1, std::memory_order_relaxed);
}

void TQSemaphore::SleepIfEmpty(int milliseconds) {
  MutexLock lock(&mutex_);
  if (value_.load(std::memory_order_relaxed) < 1) {
    condition_.WaitUntil(std::chrono::system_clock::now() +
                         std::chrono::milliseconds(milliseconds));
  }
}

}  // namespace norvane
