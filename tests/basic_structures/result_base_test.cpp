#include "norvane/basic_structures/result_base.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <memory>
#include <random>
#include <thread>
#include <vector>

#include "norvane/basic_structures/object_ref_pool.h"

namespace norvane {
namespace basic_structures {
namespace {

struct Face : CCapturedResultItem {};

// An item whose destruction is counted; its public face lives inside it.
struct Item : TXPItemBase {
  explicit Item(std::atomic<int>* deaths) : deaths(deaths) { publicItem = &face; }
  Item(const Item& other) : TXPItemBase(other), deaths(other.deaths) { publicItem = &face; }
  ~Item() override { deaths->fetch_add(1); }
  TXPItemBase* Clone() const override { return new Item(*this); }
  Face face;
  std::atomic<int>* deaths;
};

TEST(ResultImpBase, ItemsPropagateToTheParent) {
  std::atomic<int> deaths{0};
  CFileImageTag tag("f.png", 0, 1);
  TQRef<ResultImpBase> parent(new ResultImpBase("BKDR_1", &tag));
  TQRef<ResultImpBase> child(new ResultImpBase(nullptr, nullptr));
  child->SetCaptureResultPointer(parent.get());
  EXPECT_EQ(child->AddResultItemExternal(nullptr), -10002);

  Item* a = new Item(&deaths);
  Item* b = new Item(&deaths);
  EXPECT_EQ(child->AddResultItemExternal(a), 0);
  child->AddResultItem(b);  // only the child
  child->AddResultItem(nullptr);
  EXPECT_TRUE(parent->HasResultItem(&a->face));
  EXPECT_FALSE(parent->HasResultItem(&b->face));
  EXPECT_FALSE(parent->HasResultItem(nullptr));

  // Twice the same public item in the parent: a removal takes only the first.
  parent->AddResultItem(a);
  parent->AddResultItem(b);
  EXPECT_EQ(child->RemoveResultItem(&b->face), 0);  // child and parent
  EXPECT_FALSE(child->HasResultItem(&b->face));
  EXPECT_FALSE(parent->HasResultItem(&b->face));
  EXPECT_EQ(deaths.load(), 1);  // b had no other holder

  TQRef<ResultImpBase> other(new ResultImpBase(nullptr, nullptr));
  other->SetCaptureResultPointer(parent.get());
  other->RemoveResultItem(&a->face);  // not held by `other`, still removed upstream
  ASSERT_EQ(parent->GetResultItemCount(), 1);
  EXPECT_EQ(parent->GetResultItems()[0].get(), a);

  // A copy takes the error, hash id, a copy of the tag and the matrix, not the items.
  double m[9] = {2, 0, 0, 0, 2, 0, 0, 0, 1}, back[9];
  parent->SetSourceImageRotationMatrix(m);
  parent->SetErrorCode(-10002);
  TQRef<ResultImpBase> copy(new ResultImpBase(parent.get()));
  EXPECT_EQ(copy->GetResultItemCount(), 0);
  EXPECT_EQ(copy->GetErrorCode(), -10002);
  EXPECT_EQ(copy->GetOriginalImageHashId(), "BKDR_1");
  ASSERT_NE(copy->GetOriginalImageTag(), nullptr);
  EXPECT_NE(copy->GetOriginalImageTag(), parent->GetOriginalImageTag());
  copy->GetSourceImageRotationMatrix(back);
  EXPECT_EQ(std::vector<double>(back, back + 9), std::vector<double>(m, m + 9));

  child = nullptr;
  parent = nullptr;
  EXPECT_EQ(deaths.load(), 2);
}

TEST(ResultImpBase, ChildrenAndParentFilledAndEmptiedFromThreads) {
  std::atomic<int> deaths{0};
  constexpr int kThreads = 4;
  constexpr int kItems = 500;
  TQRef<ResultImpBase> parent(new ResultImpBase("p", nullptr));
  std::vector<TQRef<ResultImpBase>> children;
  for (int t = 0; t < kThreads; ++t) {
    children.push_back(new ResultImpBase("c", nullptr));
    children.back()->SetCaptureResultPointer(parent.get());
  }
  std::atomic<int> kept{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      std::mt19937 random(static_cast<unsigned>(t));
      for (int i = 0; i < kItems; ++i) {
        Item* item = new Item(&deaths);
        children[t]->AddResultItemExternal(item);
        const unsigned action = random() % 3;
        kept += action != 0;
        if (action == 0) children[t]->RemoveResultItem(&item->face);  // gone from both
        if (action == 1) parent->RemoveResultItem(&item->face);       // the child keeps it
        if (action == 2) {
          EXPECT_TRUE(parent->HasResultItem(&item->face));
        }
      }
    });
  }
  // A reader on the parent at the same time.
  threads.emplace_back([&] {
    for (int i = 0; i < 2000; ++i) parent->HasResultItem(nullptr), parent->GetResultItemCount();
  });
  for (auto& thread : threads) thread.join();

  int held = 0;
  for (auto& child : children) held += child->GetResultItemCount();
  EXPECT_EQ(held, kept.load());
  EXPECT_EQ(deaths.load(), kThreads * kItems - kept.load());
  children.clear();
  parent = nullptr;
  EXPECT_EQ(deaths.load(), kThreads * kItems);
}

TEST(TQObjectRefPool, RetainsAndReleasesPairUp) {
  std::atomic<int> deaths{0};
  constexpr int kObjects = 200;
  std::vector<TQRef<Item>> objects;
  for (int i = 0; i < kObjects; ++i) objects.push_back(new Item(&deaths));
  EXPECT_EQ(objects[0]->RetainCache(), &objects[0]->face);
  objects[0]->ReleaseCache();
  TQObjectRefPool::GetInstance()->ReleaseCache(objects[0].get());  // nothing stored: no-op
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&, t] {
      std::mt19937 random(static_cast<unsigned>(t + 10));
      std::vector<int> order(kObjects);
      for (int i = 0; i < kObjects; ++i) order[i] = i;
      for (int round = 0; round < 3; ++round) {
        std::shuffle(order.begin(), order.end(), random);
        for (int i : order) objects[i]->RetainCache();
        std::shuffle(order.begin(), order.end(), random);
        for (int i : order) objects[i]->ReleaseCache();
      }
    });
  }
  for (auto& thread : threads) thread.join();
  for (auto& object : objects) {
    EXPECT_EQ(object->GetRefCount(), 1);
    EXPECT_FALSE(TQObjectRefPool::GetInstance()->IsCached(object.get()));
  }
  // The pool keeps objects alive; they die exactly when the last stored reference goes.
  std::vector<Item*> raw;
  for (auto& object : objects)
    raw.push_back(object.get()), object->RetainCache(), object->RetainCache();
  objects.clear();
  for (Item* object : raw) object->ReleaseCache();
  EXPECT_EQ(deaths.load(), 0);
  for (Item* object : raw) object->ReleaseCache();
  EXPECT_EQ(deaths.load(), kObjects);
}

TEST(TXPParameterBase, CopyStringToBufferFillsWithoutOverrun) {
  // No terminator when the text fills the size; nothing at all for size 0 or no buffer.
  const struct {
    const char* text;
    int size;
    const char expected[6];
  } cases[] = {
      {"abc", 3, "abcxx"}, {"abc", 4, "abc\0x"}, {"toolong", 5, "toolo"}, {"q", 0, "xxxxx"}};
  for (const auto& c : cases) {
    char buffer[5] = {'x', 'x', 'x', 'x', 'x'};
    TXPParameterBase::CopyStringToBuffer(c.text, buffer, c.size);
    EXPECT_EQ(std::memcmp(buffer, c.expected, 5), 0) << c.text << " " << c.size;
  }
  TXPParameterBase::CopyStringToBuffer("q", nullptr, 5);
}

}  // namespace
}  // namespace basic_structures
}  // namespace norvane
