#include "norvane/basic_structures/result_base.h"

#include <algorithm>
#include <cstring>

#include "norvane/basic_structures/object_ref_pool.h"
#include "norvane/core/error_codes.h"

namespace norvane {
namespace basic_structures {

TXPItemBase::TXPItemBase() : isModified(false), isValid(true), itemType(0), publicItem(nullptr) {}

TXPItemBase::TXPItemBase(const TXPItemBase& other)
    : TQObjectBase(other),
      isModified(other.isModified),
      isValid(other.isValid),
      itemType(other.itemType),
      publicItem(nullptr),
      targetROIDefName(other.targetROIDefName),
      taskName(other.taskName) {}

TXPItemBase::~TXPItemBase() = default;

CCapturedResultItem* TXPItemBase::RetainCache() {
  TQObjectRefPool::GetInstance()->RetainCache(this);
  return publicItem;
}

void TXPItemBase::ReleaseCache() { TQObjectRefPool::GetInstance()->ReleaseCache(this); }

namespace {
const double kIdentity[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
}  // namespace

ResultImpBase::ResultImpBase(const char* hashId, const CImageTag* tag)
    : originalImageHashId(hashId != nullptr ? hashId : ""),
      originalImageTag(tag != nullptr ? tag->Clone() : nullptr),
      errorCode(0),
      errorString(TC_GetErrorString(0)),
      productResultPtr(nullptr),
      captureResult(nullptr) {
  // The creating module writes the real matrix; start from a defined one.
  std::memcpy(sourceImageRotationMatrix, kIdentity, sizeof(kIdentity));
}

ResultImpBase::ResultImpBase(const ResultImpBase* other)
    : originalImageHashId(other->originalImageHashId),
      originalImageTag(other->originalImageTag != nullptr ? other->originalImageTag->Clone()
                                                          : nullptr),
      errorCode(other->errorCode),
      errorString(other->errorString),
      productResultPtr(nullptr),
      captureResult(nullptr) {
  std::memcpy(sourceImageRotationMatrix, other->sourceImageRotationMatrix,
              sizeof(sourceImageRotationMatrix));
}

ResultImpBase::~ResultImpBase() { delete originalImageTag; }

void ResultImpBase::SetErrorCode(int code) {
  errorCode = code;
  errorString = TC_GetErrorString(code);
}

void ResultImpBase::SetErrorString(const std::string& text) { errorString = text; }

void ResultImpBase::GetSourceImageRotationMatrix(double* out) const {
  std::memcpy(out, sourceImageRotationMatrix, sizeof(sourceImageRotationMatrix));
}

void ResultImpBase::SetSourceImageRotationMatrix(const double* in) {
  std::memcpy(sourceImageRotationMatrix, in, sizeof(sourceImageRotationMatrix));
}

TQRef<TXPItemBase> ResultImpBase::GetResultItem(int index) const NO_THREAD_SAFETY_ANALYSIS {
  return items[static_cast<size_t>(index)];
}

const std::vector<TQRef<TXPItemBase>>& ResultImpBase::GetResultItems() const
    NO_THREAD_SAFETY_ANALYSIS {
  return items;
}

int ResultImpBase::GetResultItemCount() {
  MutexLock lock(&mutex);
  return static_cast<int>(items.size());
}

void ResultImpBase::AddResultItem(TQRef<TXPItemBase> item) {
  MutexLock lock(&mutex);
  items.push_back(std::move(item));
}

void ResultImpBase::AddResultItems(const std::vector<TQRef<TXPItemBase>>& added) {
  MutexLock lock(&mutex);
  items.insert(items.end(), added.begin(), added.end());
}

int ResultImpBase::AddResultItemExternal(TXPItemBase* item) {
  if (item == nullptr) return EC_NULL_POINTER;
  MutexLock lock(&mutex);
  items.emplace_back(item);
  // Child first, then parent: the parent's lock is taken while this one is held.
  if (captureResult != nullptr) captureResult->AddResultItemExternal(item);
  return EC_OK;
}

bool ResultImpBase::HasResultItem(const CCapturedResultItem* item) {
  if (item == nullptr) return false;
  MutexLock lock(&mutex);
  return std::any_of(items.begin(), items.end(), [item](const TQRef<TXPItemBase>& held) {
    return held && held->GetPublicItem() == item;
  });
}

int ResultImpBase::RemoveResultItem(const CCapturedResultItem* item) {
  if (item == nullptr) return EC_OK;
  TQRef<TXPItemBase> removed;  // dropped after the locks are released
  MutexLock lock(&mutex);
  auto found = std::find_if(items.begin(), items.end(), [item](const TQRef<TXPItemBase>& held) {
    return held && held->GetPublicItem() == item;
  });
  if (found != items.end()) {
    removed = std::move(*found);
    items.erase(found);
  }
  if (captureResult != nullptr) captureResult->RemoveResultItem(item);
  return EC_OK;
}

void ResultImpBase::RetainCache() { TQObjectRefPool::GetInstance()->RetainCache(this); }

void ResultImpBase::ReleaseCache() { TQObjectRefPool::GetInstance()->ReleaseCache(this); }

BufferedItemSetBase::~BufferedItemSetBase() = default;

TXPParameterBase::~TXPParameterBase() = default;

void TXPParameterBase::CopyStringToBuffer(const std::string& text, char* buffer, int size) {
  if (buffer == nullptr || size < 1) return;
  std::memset(buffer, 0, static_cast<size_t>(size));
  std::memcpy(buffer, text.data(), std::min(text.size(), static_cast<size_t>(size)));
}

}  // namespace basic_structures
}  // namespace norvane
