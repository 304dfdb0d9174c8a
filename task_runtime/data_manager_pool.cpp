#include "norvane/task_runtime/data_manager_pool.h"

#include <ctime>
#include <sstream>

#include "norvane/core/platform.h"

namespace norvane {

void TaskEffectTimeManager::SetTimePointToTaskEffect(int value) {
  MutexLock lock(&mutex);
  timePoint = value;
}

bool TaskEffectTimeManager::IsTimePointOpen() {
  MutexLock lock(&mutex);
  return timePoint > 0;
}

void ActiveTaskUnitManager::LoadActiveTaskUnit(TQTargetTaskUnit* unit) {
  MutexLock lock(&mutex);
  if (units.insert(unit).second) ++unitCount;
}

void ActiveTaskUnitManager::UnloadActiveTaskUnit(TQTargetTaskUnit* unit) {
  MutexLock lock(&mutex);
  if (units.erase(unit) != 0) --unitCount;
}

int ActiveTaskUnitManager::GetActiveTaskUnitCount() {
  MutexLock lock(&mutex);
  return unitCount;
}

SourceImageCacheBase::SourceImageCacheBase(TQSourceImageObject* image)
    : sourceImage(image), isDone(false) {}

SourceImageCacheBase::~SourceImageCacheBase() = default;

void DataCacheManager::AddToCacheMap(SourceImageCacheBase* cache) {
  if (cache == nullptr) return;
  TQRef<SourceImageCacheBase> held(cache);
  const std::string hashId = cache->GetSourceImage()->GetHashID();
  MutexLock lock(&mutex);
  cacheMap[hashId] = held;
}

TQRef<SourceImageCacheBase> DataCacheManager::GetFromCacheMap(const std::string& hashId) {
  MutexLock lock(&mutex);
  auto found = cacheMap.find(hashId);
  return found == cacheMap.end() ? TQRef<SourceImageCacheBase>() : found->second;
}

TQSourceImageObject* DataCacheManager::GetSourceImage(const char* hashId) {
  if (hashId == nullptr) return nullptr;
  MutexLock lock(&mutex);
  auto found = cacheMap.find(hashId);
  return found == cacheMap.end() ? nullptr : found->second->GetSourceImage();
}

bool DataCacheManager::UpdateCacheMap() {
  std::list<TQRef<SourceImageCacheBase>> removed;  // released after the lock
  MutexLock lock(&mutex);
  for (auto it = cacheMap.begin(); it != cacheMap.end();) {
    if (it->second && it->second->IsDone()) {
      removed.push_back(std::move(it->second));
      it = cacheMap.erase(it);
    } else {
      ++it;
    }
  }
  return !removed.empty();
}

void DataCacheManager::CleanAllCacheMap() {
  std::map<std::string, TQRef<SourceImageCacheBase>> removed;  // released after the lock
  MutexLock lock(&mutex);
  removed.swap(cacheMap);
}

int DataCacheManager::GetCacheCount() {
  MutexLock lock(&mutex);
  return static_cast<int>(cacheMap.size());
}

unsigned int DataCacheManager::UpdatePriority(unsigned int base) {
  MutexLock lock(&mutex);
  if (cacheMap.empty()) return 0;
  unsigned int smallest = 0x7FFFFFFFu;
  for (const auto& entry : cacheMap) {
    const unsigned int priority = entry.second->GetSourceImage()->GetPriority();
    if (priority < smallest) smallest = priority;
  }
  if (base >= smallest) return 0;
  const unsigned int amount = smallest - base;
  for (const auto& entry : cacheMap) {
    TQSourceImageObject* image = entry.second->GetSourceImage();
    image->SetPriority(image->GetPriority() - amount);
    for (auto& defPriority : image->GetTargetDefPriorityMap()) defPriority.second -= amount;
  }
  return amount;
}

BufferedItemBase::~BufferedItemBase() = default;

namespace {
int g_bufferedItemManagerCount = 0;
}  // namespace

BufferedItemManager::BufferedItemManager() {
  std::ostringstream id;
  id << static_cast<long long>(std::time(nullptr)) << "-" << static_cast<const void*>(this) << "-"
     << InterlockedIncrement(&g_bufferedItemManagerCount);
  managerId = id.str();
}

void BufferedItemManager::RegisterBufferedItemType(basic_structures::BufferedItemType type) {
  Entry fresh;
  MutexLock lock(&mutex);
  std::swap(buffers[type], fresh);  // the old items are released after the lock
}

void BufferedItemManager::SetMaxBufferedItems(basic_structures::BufferedItemType type, int count) {
  if (count < 0) return;
  MutexLock lock(&mutex);
  auto found = buffers.find(type);
  if (found == buffers.end()) return;
  found->second.maxCount = count;
  UpdateIfExceedMaxCount(type);
}

int BufferedItemManager::GetMaxBufferedItems(basic_structures::BufferedItemType type) {
  MutexLock lock(&mutex);
  auto found = buffers.find(type);
  return found == buffers.end() ? 0 : found->second.maxCount;
}

void BufferedItemManager::AppendItem(BufferedItemBase* item) {
  if (item == nullptr) return;
  TQRef<BufferedItemBase> held(item);  // an item that is not kept is released here
  const basic_structures::BufferedItemType type = item->GetBufferedItemType();
  MutexLock lock(&mutex);
  auto found = buffers.find(type);
  if (found == buffers.end() || found->second.maxCount == 0) return;
  found->second.items.push_back(held);
  UpdateIfExceedMaxCount(type);
}

void BufferedItemManager::UpdateIfExceedMaxCount(basic_structures::BufferedItemType type) {
  Entry& entry = buffers[type];
  while (static_cast<int>(entry.items.size()) > entry.maxCount) entry.items.pop_front();
}

void BufferedItemManager::CopyBufferToItemSet(basic_structures::BufferedItemSetBase* itemSet) const {
  if (itemSet == nullptr) return;
  MutexLock lock(&mutex);
  itemSet->CopyFromBufferedItemManager(this);
}

void BufferedItemManager::ClearBuffer() {
  std::map<basic_structures::BufferedItemType, Entry> removed;
  MutexLock lock(&mutex);
  removed.swap(buffers);
}

const std::list<TQRef<BufferedItemBase>>* BufferedItemManager::GetBufferedItems(
    basic_structures::BufferedItemType type) const {
  auto found = buffers.find(type);
  return found == buffers.end() ? nullptr : &found->second.items;
}

}  // namespace norvane
