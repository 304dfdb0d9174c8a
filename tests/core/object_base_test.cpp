#include "norvane/core/object_base.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

namespace norvane {
namespace {

// Counts destructions so that tests can tell "destroyed exactly once".
struct Counted : TQObjectBase {
  explicit Counted(std::atomic<int>* deaths) : deaths(deaths) {}
  ~Counted() override { deaths->fetch_add(1); }
  std::atomic<int>* deaths;
};

struct CountedSingle : TQSingleThreadObjectBase {
  explicit CountedSingle(int* deaths) : deaths(deaths) {}
  ~CountedSingle() override { ++*deaths; }
  int* deaths;
};

// Installs its own deleter hook, which copies carry along.
struct Hooked : TQObjectBase {
  static int hookCalls;
  static int Hook(TQObjectBase* object) {
    ++hookCalls;
    delete object;
    return 7;
  }
  Hooked() { deleter = &Hook; }
};
int Hooked::hookCalls = 0;

TEST(TQObjectBase, CountLifecycleAndReleasePastZero) {
  std::atomic<int> deaths{0};
  Counted* object = new Counted(&deaths);
  EXPECT_EQ(object->GetRefCount(), 0);

  // Release at 0 throws 4711, keeps the count at 0 and destroys nothing.
  try {
    object->release();
    FAIL() << "release past zero did not throw";
  } catch (int value) {
    EXPECT_EQ(value, 4711);
  }
  EXPECT_EQ(object->GetRefCount(), 0);
  EXPECT_EQ(deaths.load(), 0);

  object->retain();
  object->retain();
  object->release();
  EXPECT_EQ(deaths.load(), 0);
  object->release();
  EXPECT_EQ(deaths.load(), 1);
}

TEST(TQObjectBase, CopyStartsUnownedAndCopiesIdAndDeleter) {
  std::atomic<int> deaths{0};
  Counted source(&deaths);
  source.retain();
  source.retain();
  source.retain();
  source.GetIdStruct().SetValue("BKDR_1");
  source.GetIdStruct().isSet = true;

  Counted copy(source);
  EXPECT_EQ(copy.GetRefCount(), 0);
  EXPECT_EQ(source.GetRefCount(), 3);
  EXPECT_TRUE(copy.GetIdStruct().isSet);
  EXPECT_EQ(copy.GetIdStruct().GetValue(), "BKDR_1");

  // An unset id clears isSet but leaves the target's text as it was.
  Counted unset(&deaths);
  copy.retain();
  copy = unset;
  EXPECT_EQ(copy.GetRefCount(), 0);
  EXPECT_FALSE(copy.GetIdStruct().isSet);
  EXPECT_EQ(copy.GetIdStruct().GetValue(), "BKDR_1");

  Hooked::hookCalls = 0;
  Hooked hooked;
  Counted* heap = new Counted(&deaths);
  static_cast<TQObjectBase&>(*heap) = hooked;  // takes the hook along
  EXPECT_EQ(heap->GetDeleter(), &Hooked::Hook);
  heap->retain();
  heap->release();
  EXPECT_EQ(Hooked::hookCalls, 1);
  EXPECT_EQ(deaths.load(), 1);
}

TEST(TQSingleThreadObjectBase, CountLifecycle) {
  int deaths = 0;
  CountedSingle* object = new CountedSingle(&deaths);
  EXPECT_THROW(object->release(), int);
  object->retain();
  object->retain();
  CountedSingle copy(*object);
  EXPECT_EQ(copy.GetRefCount(), 0);
  object->release();
  EXPECT_EQ(object->GetRefCount(), 1);
  object->release();
  EXPECT_EQ(deaths, 1);
}

TEST(TQRef, AssignmentRetainsBeforeReleasing) {
  static_assert(sizeof(TQRef<Counted>) == sizeof(void*), "TQRef holds only a pointer");
  std::atomic<int> deaths{0};
  TQRef<Counted> a(new Counted(&deaths));
  EXPECT_EQ(a->GetRefCount(), 1);

  TQRef<Counted>& alias = a;
  a = alias;  // self-assignment with the only reference keeps the object
  a = a.get();
  EXPECT_EQ(deaths.load(), 0);
  EXPECT_EQ(a->GetRefCount(), 1);

  TQRef<Counted> b = a;
  TQRef<TQObjectBase> base = b;  // converting copy takes its own reference
  EXPECT_EQ(a->GetRefCount(), 3);
  TQRef<Counted> moved = std::move(b);
  EXPECT_TRUE(b.IsNull());
  EXPECT_EQ(a->GetRefCount(), 3);

  a = nullptr;
  EXPECT_TRUE(a.IsNull());
  moved = nullptr;
  EXPECT_EQ(deaths.load(), 0);
  base = nullptr;
  EXPECT_EQ(deaths.load(), 1);

  std::vector<TQRef<Counted>> many;
  for (int i = 0; i < 100; ++i) many.push_back(new Counted(&deaths));
  many.clear();
  EXPECT_EQ(deaths.load(), 101);
}

TEST(TQRefDeathTest, DestructorHittingReleasePastZeroTerminates) {
  EXPECT_DEATH(
      {
        std::atomic<int> deaths{0};
        Counted* object = new Counted(&deaths);
        TQRef<Counted> holder(object);
        Counted fresh(&deaths);
        *object = fresh;  // assignment sets the count to 0 behind the holder's back
        // `holder` is destroyed here: release at 0 throws inside a noexcept destructor.
      },
      "");
}

TEST(TQObjectBase, SharedAcrossThreadsIsDestroyedOnceAfterLastHolder) {
  std::atomic<int> deaths{0};
  constexpr int kObjects = 64;
  constexpr int kThreads = 4;
  std::vector<TQRef<Counted>> shared;
  for (int i = 0; i < kObjects; ++i) shared.push_back(new Counted(&deaths));

  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&shared, t] {
      std::vector<TQRef<Counted>> mine(shared.begin(), shared.end());
      for (int round = 0; round < 2000; ++round) {
        TQRef<Counted> copy = mine[(round * 7 + t) % kObjects];
        mine[(round + t) % kObjects] = copy;
      }
      for (auto& ref : mine) ref = nullptr;
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(deaths.load(), 0);
  for (auto& ref : shared) EXPECT_EQ(ref->GetRefCount(), 1);
  shared.clear();
  EXPECT_EQ(deaths.load(), kObjects);
}

}  // namespace
}  // namespace norvane
