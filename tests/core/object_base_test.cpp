#include "norvane/core/object_base.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

namespace norvane {
namespace {

// Counts destructions so that tests can tell "destroyed exactly once".
template <typename Base>
struct CountedOf : Base {
  explicit CountedOf(std::atomic<int>* deaths) : deaths(deaths) {}
  ~CountedOf() override { deaths->fetch_add(1); }
  std::atomic<int>* deaths;
};
using Counted = CountedOf<TQObjectBase>;

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

// Release at 0 throws 4711 and destroys nothing; the last release destroys; a copy
// starts unowned.
template <typename Base>
void CheckCountLifecycle() {
  std::atomic<int> deaths{0};
  auto* object = new CountedOf<Base>(&deaths);
  int thrown = 0;
  try {
    object->release();
  } catch (int value) {
    thrown = value;
  }
  EXPECT_EQ(thrown, 4711);
  EXPECT_EQ(object->GetRefCount(), 0);
  object->retain();
  object->retain();
  CountedOf<Base> copy(*object);
  EXPECT_EQ(copy.GetRefCount(), 0);
  object->release();
  EXPECT_EQ(object->GetRefCount(), 1);
  EXPECT_EQ(deaths.load(), 0);
  object->release();
  EXPECT_EQ(deaths.load(), 1);
}

TEST(TQObjectBase, CountLifecycleAndReleasePastZero) {
  CheckCountLifecycle<TQObjectBase>();
  CheckCountLifecycle<TQSingleThreadObjectBase>();
}

TEST(TQObjectBase, CopyStartsUnownedAndCopiesIdAndDeleter) {
  std::atomic<int> deaths{0};
  Counted source(&deaths);
  source.retain();
  source.GetIdStruct().SetValue("BKDR_1");
  source.GetIdStruct().isSet = true;
  Counted copy(source);
  EXPECT_EQ(source.GetRefCount(), 1);
  EXPECT_TRUE(copy.GetIdStruct().isSet);
  EXPECT_EQ(copy.GetIdStruct().GetValue(), "BKDR_1");

  // An unset id clears isSet but leaves the target's text as it was.
  copy.retain();
  copy = Counted(&deaths);
  EXPECT_EQ(copy.GetRefCount(), 0);
  EXPECT_FALSE(copy.GetIdStruct().isSet);
  EXPECT_EQ(copy.GetIdStruct().GetValue(), "BKDR_1");

  Hooked::hookCalls = 0;
  Counted* heap = new Counted(&deaths);
  static_cast<TQObjectBase&>(*heap) = Hooked();  // takes the hook along
  heap->retain();
  heap->release();
  EXPECT_EQ(Hooked::hookCalls, 1);
  EXPECT_EQ(deaths.load(), 2);  // the temporary and `heap`
}

TEST(TQRef, AssignmentRetainsBeforeReleasing) {
  static_assert(sizeof(TQRef<Counted>) == sizeof(void*), "TQRef holds only a pointer");
  std::atomic<int> deaths{0};
  TQRef<Counted> a(new Counted(&deaths));
  TQRef<Counted>& alias = a;
  a = alias;  // self-assignment with the only reference keeps the object
  a = a.get();
  EXPECT_EQ(a->GetRefCount(), 1);

  TQRef<Counted> b = a;
  TQRef<TQObjectBase> base = b;  // converting copy takes its own reference
  TQRef<Counted> moved = std::move(b);
  EXPECT_TRUE(b.IsNull());
  EXPECT_EQ(a->GetRefCount(), 3);
  a = nullptr;
  EXPECT_TRUE(a.IsNull());
  moved = nullptr;
  EXPECT_EQ(deaths.load(), 0);
  base = nullptr;
  EXPECT_EQ(deaths.load(), 1);
}

TEST(TQRefDeathTest, DestructorHittingReleasePastZeroTerminates) {
  EXPECT_DEATH(
      {
        std::atomic<int> deaths{0};
        Counted* object = new Counted(&deaths);
        TQRef<Counted> holder(object);
        *object = Counted(&deaths);  // assignment sets the count to 0 behind the holder's back
        // `holder` is destroyed here: release at 0 throws inside a noexcept destructor.
      },
      "");
}

TEST(TQObjectBase, SharedAcrossThreadsIsDestroyedOnceAfterLastHolder) {
  std::atomic<int> deaths{0};
  constexpr int kObjects = 64;
  std::vector<TQRef<Counted>> shared;
  for (int i = 0; i < kObjects; ++i) shared.push_back(new Counted(&deaths));
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&shared, t] {
      std::vector<TQRef<Counted>> mine(shared.begin(), shared.end());
      for (int round = 0; round < 2000; ++round) {
        TQRef<Counted> copy = mine[(round * 7 + t) % kObjects];
        mine[(round + t) % kObjects] = copy;
      }
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
