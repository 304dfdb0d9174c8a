#include "norvane/task_runtime/data_manager_pool.h"

#include <gtest/gtest.h>

#include <climits>
#include <thread>
#include <vector>

#include "norvane/task_runtime/dependency_graph.h"
#include "task_runtime/test_image.h"

namespace norvane {
namespace {

using testing_support::NamedImage;

TQRef<TQSourceImageObject> MakeSource(const std::string& name, unsigned int priority,
                                      int timeOut = 10) {
  return new TQSourceImageObject(new NamedImage(name), priority, timeOut);
}

TEST(TQSourceImageObject, ErrorsTimeOutAndCheckPoints) {
  TQDataManagerPool pool;
  TQRef<TQSourceImageObject> image = MakeSource("BKDR_7", 3, 1);
  image->SetManagerPool(&pool);
  // Time-out after more checks than allowed (1 < 1 is false); a stop wins over it.
  int code = 123;
  EXPECT_FALSE(image->IsCheckPointNeedExit(&code));
  EXPECT_EQ(code, 123);
  image->AddTimeCheckCount();
  EXPECT_FALSE(image->IsTimeOut());
  image->AddTimeCheckCount();
  EXPECT_TRUE(image->IsTimeOut() && image->IsCheckPointNeedExit(&code));
  EXPECT_EQ(code, -10026);
  pool.GetTaskEffectTimeManager()->SetTimePointToTaskEffect(5);
  EXPECT_TRUE(image->IsCheckPointNeedExit(&code) && image->IsCheckPointNeedExit(nullptr));
  EXPECT_EQ(code, 0);
  EXPECT_TRUE(MakeSource("x", 0, -1)->IsTimeOut());  // negative: timed out at once

  // Errors from several task threads: none lost, the newest code answers.
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&image, t] {
      for (int i = 0; i < 250; ++i)
        image->AddErrorCodeInfo(-10000 - t, "def", nullptr, nullptr, "e");
    });
  }
  for (auto& thread : threads) thread.join();
  const auto errors = image->GetErrorCodeInfos();
  EXPECT_EQ(errors.size(), 1000u);
  EXPECT_EQ(errors.front().targetROIDefName, "def");
  EXPECT_EQ(errors.front().taskName, "");
  image->AddErrorCodeInfo(-10026, nullptr, nullptr, nullptr, nullptr);
  EXPECT_EQ(image->GetErrorCode(), -10026);
}

TEST(DataCacheManager, CacheEntriesAndPriorityRenumbering) {
  DataCacheManager cache;
  EXPECT_EQ(cache.UpdatePriority(5), 0u);  // empty cache
  TQRef<TQSourceImageObject> a = MakeSource("a", 12), b = MakeSource("b", 20);
  a->SetTargetDefPriority("frame", 14);
  b->SetTargetDefPriority("label", 25);
  TQRef<SourceImageCacheBase> cacheA(new SourceImageCacheBase(a.get()));
  cache.AddToCacheMap(cacheA.get());
  cache.AddToCacheMap(new SourceImageCacheBase(b.get()));
  cache.AddToCacheMap(nullptr);
  EXPECT_EQ(cache.GetSourceImage("a"), a.get());
  EXPECT_EQ(cache.GetSourceImage(nullptr), nullptr);
  EXPECT_EQ(cache.GetSourceImage("zz"), nullptr);
  EXPECT_TRUE(cache.GetFromCacheMap("zz").IsNull());

  // Everything moves down by the lowest priority's distance from the base, once.
  EXPECT_EQ(cache.UpdatePriority(5), 7u);
  EXPECT_EQ(std::make_pair(a->GetPriority(), b->GetPriority()), std::make_pair(5u, 13u));
  EXPECT_EQ(
      std::make_pair(a->GetTargetDefPriorityMap()["frame"], b->GetTargetDefPriorityMap()["label"]),
      std::make_pair(7u, 18u));
  EXPECT_EQ(cache.UpdatePriority(5), 0u);  // already at the base
  a->SetPriority(3);
  EXPECT_EQ(cache.UpdatePriority(5), 0u);
  EXPECT_EQ(b->GetPriority(), 13u);

  EXPECT_FALSE(cache.UpdateCacheMap());
  cacheA->SetDone();
  EXPECT_TRUE(cache.UpdateCacheMap());
  EXPECT_EQ(cache.GetCacheCount(), 1);
  cache.CleanAllCacheMap();
  EXPECT_EQ(cache.GetCacheCount(), 0);
}

struct Graph : TQDependencyGraph {
  int BuildGraph(const std::string&) override { return 0; }
  unsigned int NextPriority() override {
    MutexLock lock(&priorityMutex);
    const unsigned int next = static_cast<unsigned int>(priorityCounter);
    priorityCounter = static_cast<int>(next + 1000u);  // wraps past 2^31 - 1 on purpose
    return next;
  }
  int StartSourceImage(TQSourceImageObject*) override { return 0; }
  int FinishSourceImage(TQSourceImageObject*) override { return 0; }
  void ResetGraph() override {}
  void Start(unsigned int base, int counter) {
    basePriority = base;
    MutexLock lock(&priorityMutex);
    priorityCounter = counter;
  }
};

TEST(TQDependencyGraph, PriorityOverflowKeepsTheCachedOrder) {
  TQDataManagerPool pool;
  TQRef<Graph> graph(new Graph);
  graph->SetManagerPool(&pool);
  graph->Start(100, -5);
  graph->CheckPriorityOverflow();  // negative, but nothing cached: nothing happens
  EXPECT_EQ(graph->GetPriorityCounter(), -5);

  graph->Start(100, INT_MAX - 2500);
  std::vector<TQRef<TQSourceImageObject>> images;
  for (int i = 0; i < 6; ++i) {
    images.push_back(MakeSource("img" + std::to_string(i), graph->NextPriority()));
    pool.GetCacheManager()->AddToCacheMap(new SourceImageCacheBase(images.back().get()));
    images.back()->SetTargetDefPriority("frame", images.back()->GetPriority() + 1);
    graph->CheckPriorityOverflow();
  }
  EXPECT_GE(graph->GetPriorityCounter(), 0);  // brought back under 2^31
  // Renumbered from the base, spacing and per-definition offsets kept.
  for (size_t i = 0; i < images.size(); ++i) {
    EXPECT_EQ(images[i]->GetPriority(), 100u + 1000u * i);
    EXPECT_EQ(images[i]->GetTargetDefPriorityMap()["frame"], images[i]->GetPriority() + 1);
  }
  // The next priority handed out still sorts after every cached image.
  EXPECT_GT(graph->NextPriority(), images.back()->GetPriority());

  EXPECT_FALSE(graph->AddTargetROIDefNode("", nullptr));
  EXPECT_TRUE(graph->AddTargetROIDefNode("frame", nullptr));
  EXPECT_FALSE(graph->AddTargetROIDefNode("frame", nullptr));
}

struct Buffered : BufferedItemBase {
  Buffered(int type, int n) : type(type), n(n) {}
  basic_structures::BufferedItemType GetBufferedItemType() const override {
    return static_cast<basic_structures::BufferedItemType>(type);
  }
  int type, n;
};

struct Collect : basic_structures::BufferedItemSetBase {
  void CopyFromBufferedItemManager(const BufferedItemManager* manager) override
      NO_THREAD_SAFETY_ANALYSIS {
    const auto* items =
        manager->GetBufferedItems(static_cast<basic_structures::BufferedItemType>(1));
    if (items == nullptr) return;
    for (const auto& item : *items) seen.push_back(static_cast<Buffered*>(item.get())->n);
  }
  std::vector<int> seen;
};

TEST(BufferedItemManager, KeepsTheNewestItemsPerRegisteredType) {
  const auto kType = static_cast<basic_structures::BufferedItemType>(1);
  const auto kOther = static_cast<basic_structures::BufferedItemType>(2);
  BufferedItemManager manager;
  EXPECT_NE(manager.GetManagerID(), BufferedItemManager().GetManagerID());

  manager.SetMaxBufferedItems(kType, 3);  // unregistered: ignored, not registered
  EXPECT_EQ(manager.GetMaxBufferedItems(kType), 0);
  manager.RegisterBufferedItemType(kType);
  manager.AppendItem(new Buffered(1, 0));  // max still 0: not kept
  manager.SetMaxBufferedItems(kType, 3);
  manager.SetMaxBufferedItems(kType, -1);
  EXPECT_EQ(manager.GetMaxBufferedItems(kType), 3);
  for (int n = 1; n <= 5; ++n) manager.AppendItem(new Buffered(1, n));
  manager.AppendItem(new Buffered(2, 99));  // type never registered
  TQRef<Collect> set(new Collect);
  manager.CopyBufferToItemSet(set.get());
  EXPECT_EQ(set->seen, (std::vector<int>{3, 4, 5}));

  manager.SetMaxBufferedItems(kType, 1);  // trims to the newest
  manager.CopyBufferToItemSet(set.get());
  EXPECT_EQ(set->seen, (std::vector<int>{3, 4, 5, 5}));

  manager.RegisterBufferedItemType(kType);  // again: empty, maximum 0
  EXPECT_EQ(manager.GetMaxBufferedItems(kType), 0);
  manager.RegisterBufferedItemType(kOther);
  manager.SetMaxBufferedItems(kOther, 2);
  manager.ClearBuffer();
  EXPECT_EQ(manager.GetMaxBufferedItems(kOther), 0);
}

}  // namespace
}  // namespace norvane
