#include "norvane/core/sync_object.h"

#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include "norvane/core/platform.h"

#if defined(__SANITIZE_THREAD__)
#define NORVANE_TSAN 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define NORVANE_TSAN 1
#endif
#endif

namespace norvane {
namespace {

TEST(SyncObject, RecursiveAndMutuallyExclusive) {
  SyncObject sync;
  int counter = 0;
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 20000; ++i) {
        SyncObjectLock outer(&sync);
        SyncObjectLock inner(&sync);  // the owner may lock again
        ++counter;
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(counter, 80000);
}

#ifndef NORVANE_TSAN  // ThreadSanitizer itself aborts on an unlock by a non-owner.
TEST(SyncObject, UnlockByNonOwnerIsPrintedAndIgnored) {
  SyncObject sync;
  sync.lock();
  testing::internal::CaptureStdout();
  std::thread([&] { sync.unlock(); }).join();
  const std::string out = testing::internal::GetCapturedStdout();
  EXPECT_EQ(out.rfind("pthread_mutex_unlock failed ", 0), 0u) << out;
  sync.unlock();  // the owner still holds it
}
#endif

TEST(TQSemaphore, ValuesAndBoundedSleep) {
  TQSemaphore semaphore(2);
  semaphore.SleepIfEmpty(60000);  // not empty: returns at once
  EXPECT_EQ(semaphore.GetValue(), 2);
  semaphore.Reset(-3);
  EXPECT_TRUE(semaphore.IsEmpty());
  semaphore.Reset(0);
  semaphore.SleepIfEmpty(20);  // empty: times out and changes nothing
  EXPECT_EQ(semaphore.GetValue(), 0);

  // A Produce wakes a sleeper long before its deadline.
  std::thread sleeper([&] { semaphore.SleepIfEmpty(600000); });
  while (true) {
    semaphore.Produce();
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
    if (semaphore.GetValue() > 20) break;
  }
  sleeper.join();
}

TEST(TQSemaphore, ConsumersWaitForProducersAndBalance) {
  TQSemaphore semaphore(0);
  constexpr int kPerThread = 5000;
  std::atomic<int> consumed{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 3; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < kPerThread; ++i) semaphore.Consume(), ++consumed;
    });
  }
  std::this_thread::sleep_for(std::chrono::milliseconds(30));
  EXPECT_EQ(consumed.load(), 0);  // nothing produced yet
  for (int t = 0; t < 3; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < kPerThread; ++i) semaphore.Produce();
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(consumed.load(), 3 * kPerThread);
  EXPECT_EQ(semaphore.GetValue(), 0);
}

TEST(Interlocked, CountsExactlyAcrossThreads) {
  int counter = 0;
  EXPECT_EQ(InterlockedIncrement(&counter), 1);  // the new value is returned
  EXPECT_EQ(InterlockedDecrement(&counter), 0);
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&counter, t] {
      for (int i = 0; i < 50000; ++i) {
        InterlockedIncrement(&counter);
        if (t % 2 == 1) InterlockedIncrement(&counter), InterlockedDecrement(&counter);
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(counter, 200000);
}

TEST(Platform, DynamicLoaderAndThreadId) {
  FreeLibrary(nullptr);
  EXPECT_EQ(GetProcAddress(nullptr, "cos"), nullptr);
  EXPECT_EQ(LoadLibrary("libDoesNotExist.so"), nullptr);
  void* libm = LoadLibrary("libm.so.6");
  ASSERT_NE(libm, nullptr);
  auto cosine = reinterpret_cast<double (*)(double)>(GetProcAddress(libm, "cos"));
  ASSERT_NE(cosine, nullptr);
  EXPECT_DOUBLE_EQ(cosine(0.0), 1.0);
  EXPECT_EQ(GetProcAddress(libm, "no_such_symbol_here"), nullptr);
  FreeLibrary(libm);

  int other = 0;
  std::thread([&] { other = GetCurrentThreadId(); }).join();
  EXPECT_EQ(GetCurrentThreadId(), static_cast<int>(syscall(SYS_gettid)));
  EXPECT_NE(other, GetCurrentThreadId());
  EXPECT_GT(other, 0);
}

}  // namespace
}  // namespace norvane
