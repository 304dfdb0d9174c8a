#include "norvane/basic_structures/image_source_adapter.h"

#include <algorithm>
#include <deque>
#include <memory>
#include <utility>

#include "basic_structures/grey_in_place.h"
#include "norvane/core/mutex.h"
#include "norvane/core/thread_annotations.h"

namespace norvane {
namespace basic_structures {

namespace {
constexpr int kNoImageId = -1;

// The id of the image's tag, or kNoImageId when it has no tag.
int TagId(const CImageData* image) {
  const CImageTag* tag = image->GetImageTag();
  return tag != nullptr ? tag->GetImageId() : kNoImageId;
}
}  // namespace

// The buffer proper. Values that getters read without the lock are relaxed atomics:
// they carry no ordering, only freedom from torn reads. Everything that must be
// consistent with the queue (the maximum, the fetching flag, the protected id) is
// read under `mutex` wherever it decides what happens to an image.
class CImageSourceAdapter::CImageSourceAdapterInner {
 public:
  CImageSourceAdapterInner(BufferOverflowProtectionMode mode, uint32_t maxCount)
      : condition(&mutex),
        overflowMode(mode),
        maxImageCount(maxCount),
        isFetching(false),
        protectedImageId(kNoImageId),
        colourChannelUsageType(CCUT_AUTO),
        imageCount(0) {}

  ~CImageSourceAdapterInner() { ClearBuffer(); }

  // Takes ownership of `image`.
  void AddImageToBuffer(CImageData* image) LOCKS_EXCLUDED(mutex) {
    std::unique_ptr<CImageData> incoming(image);
    std::unique_ptr<CImageData> dropped;  // deleted after the lock is released
    MutexLock lock(&mutex);
    // The maximum and the flag are read once, under the lock, and decide everything
    // below: read before it, a maximum changed to 0 in between would reach the full
    // buffer branch with an empty queue.
    const size_t m = maxImageCount.load(std::memory_order_relaxed);
    if (m == 0 || !isFetching.load(std::memory_order_relaxed)) return;
    const size_t n = images.size();
    if (n > m) return;
    if (n < m) {
      PushBack(incoming.release());
      return;
    }
    switch (overflowMode.load(std::memory_order_relaxed)) {
      case BOPM_APPEND:
        if (protectedImageId != kNoImageId && TagId(images.front()) == protectedImageId) {
          if (m < 2) return;  // the protected image is never dropped
          std::swap(images[0], images[1]);
        }
        dropped.reset(images.front());
        images.pop_front();
        PushBack(incoming.release());
        return;
      case BOPM_BLOCK:
        for (;;) {
          if (images.size() < maxImageCount.load(std::memory_order_relaxed)) break;
          if (!IsFetching()) return;
          WaitForChange();
        }
        if (IsFetching()) PushBack(incoming.release());
        return;
      default:
        PushBack(incoming.release());
        return;
    }
  }

  CImageData* GetImage() LOCKS_EXCLUDED(mutex) {
    std::unique_ptr<CImageData> taken;
    {
      MutexLock lock(&mutex);
      if (images.empty()) return nullptr;
      taken.reset(images.back());
      images.pop_back();
      imageCount.store(images.size(), std::memory_order_relaxed);
      protectedImageId = kNoImageId;
    }
    // Producers block only in BOPM_BLOCK, but one may still be waiting after the mode
    // was changed; waking it in every mode costs nothing when nobody waits.
    condition.SignalAll();
    const int usage = colourChannelUsageType.load(std::memory_order_relaxed);
    // The buffer owns the image, so grey can take the place of its colours, saving a
    // second buffer and a pass over it; what the caller gets is the same.
    if (usage == CCUT_LUMINANCE_ONLY &&
        internal::ImageDataEditor::ConvertToGreyInPlace(taken.get())) {
      return taken.release();
    }
    CImageData* converted = TQ_ConvertImageData(taken.get(), usage);
    return converted != nullptr ? converted : taken.release();
  }

  bool HasImage(int imageId) LOCKS_EXCLUDED(mutex) {
    MutexLock lock(&mutex);
    return Find(imageId) != images.end();
  }

  bool SetNextImageToReturn(int imageId, bool keepInBuffer) LOCKS_EXCLUDED(mutex) {
    MutexLock lock(&mutex);
    auto found = Find(imageId);
    if (found == images.end()) return false;
    if (keepInBuffer) protectedImageId = imageId;
    // The images in front of it move one place towards the back.
    std::rotate(images.begin(), found, found + 1);
    return true;
  }

  void SetMaxImageCount(uint32_t count) LOCKS_EXCLUDED(mutex) {
    std::deque<CImageData*> removed;
    {
      MutexLock lock(&mutex);
      if (images.size() > count) {
        removed.assign(images.begin() + count, images.end());
        images.erase(images.begin() + count, images.end());
        imageCount.store(images.size(), std::memory_order_relaxed);
      }
      maxImageCount.store(count, std::memory_order_relaxed);
    }
    // A raised maximum makes room too; waiters re-check and wait again otherwise.
    condition.SignalAll();
    for (CImageData* image : removed) delete image;
  }

  bool IsBufferEmpty() LOCKS_EXCLUDED(mutex) {
    MutexLock lock(&mutex);
    return images.empty();
  }

  void ClearBuffer() LOCKS_EXCLUDED(mutex) {
    std::deque<CImageData*> removed;
    {
      MutexLock lock(&mutex);
      removed.swap(images);
      imageCount.store(0, std::memory_order_relaxed);
    }
    // Without this a producer blocked on a full buffer would wait for a GetImage
    // that finds nothing to take and so wakes nobody.
    condition.SignalAll();
    for (CImageData* image : removed) delete image;
  }

  void SetFetching(bool fetching) LOCKS_EXCLUDED(mutex) {
    {
      // Stored under the lock so that a producer between its check of the flag and
      // its wait cannot miss the wake-up below.
      MutexLock lock(&mutex);
      isFetching.store(fetching, std::memory_order_relaxed);
    }
    if (!fetching) condition.SignalAll();
  }

  bool IsFetching() const { return isFetching.load(std::memory_order_relaxed); }

 private:
  // CondVar::Wait names its own pointer to `mutex`, which the analysis cannot match
  // with `mutex`; the requirement is stated here instead.
  void WaitForChange() EXCLUSIVE_LOCKS_REQUIRED(mutex) NO_THREAD_SAFETY_ANALYSIS {
    condition.Wait();
  }

  void PushBack(CImageData* image) EXCLUSIVE_LOCKS_REQUIRED(mutex) {
    images.push_back(image);
    imageCount.store(images.size(), std::memory_order_relaxed);
  }

  std::deque<CImageData*>::iterator Find(int imageId) EXCLUSIVE_LOCKS_REQUIRED(mutex) {
    if (imageId == kNoImageId) return images.end();
    return std::find_if(images.begin(), images.end(),
                        [imageId](const CImageData* image) { return TagId(image) == imageId; });
  }

 public:
  std::deque<CImageData*> images GUARDED_BY(mutex);  // front = oldest, back = newest
  Mutex mutex;
  CondVar condition;  // waited on only by BOPM_BLOCK producers
  std::atomic<int32_t> overflowMode;
  std::atomic<uint32_t> maxImageCount;  // written under the lock; unlocked only by getters
  std::atomic<bool> isFetching;         // written under the lock; unlocked only by getters
  int protectedImageId GUARDED_BY(mutex);
  std::atomic<int32_t> colourChannelUsageType;
  std::atomic<size_t> imageCount;  // images.size(), for readers that do not lock
};

CImageSourceErrorListener::CImageSourceErrorListener() = default;
CImageSourceErrorListener::~CImageSourceErrorListener() = default;

CImageSourceAdapter::CImageSourceAdapter()
    : inner(new CImageSourceAdapterInner(BOPM_APPEND, 1)), errorListener(nullptr) {}

CImageSourceAdapter::~CImageSourceAdapter() { delete inner; }

void CImageSourceAdapter::StartFetching() { inner->SetFetching(true); }

void CImageSourceAdapter::StopFetching() { inner->SetFetching(false); }

CImageData* CImageSourceAdapter::GetImage() { return inner->GetImage(); }

void CImageSourceAdapter::AddImageToBuffer(const CImageData* image, bool copyImage) {
  if (image == nullptr) return;
  CImageData* owned = copyImage ? new CImageData(image->GetBytesLength(), image->GetBytes(),
                                                 image->GetWidth(), image->GetHeight(),
                                                 image->GetStride(), image->GetImagePixelFormat(),
                                                 image->GetOrientation(), image->GetImageTag())
                                : const_cast<CImageData*>(image);
  inner->AddImageToBuffer(owned);
}

bool CImageSourceAdapter::HasImage(int imageId) const { return inner->HasImage(imageId); }

bool CImageSourceAdapter::SetNextImageToReturn(int imageId, bool keepInBuffer) {
  return inner->SetNextImageToReturn(imageId, keepInBuffer);
}

void CImageSourceAdapter::SetMaxImageCount(int count) {
  inner->SetMaxImageCount(static_cast<uint32_t>(count));
}

int CImageSourceAdapter::GetMaxImageCount() const {
  return static_cast<int>(inner->maxImageCount.load(std::memory_order_relaxed));
}

void CImageSourceAdapter::SetBufferOverflowProtectionMode(BufferOverflowProtectionMode mode) {
  inner->overflowMode.store(mode, std::memory_order_relaxed);
}

BufferOverflowProtectionMode CImageSourceAdapter::GetBufferOverflowProtectionMode() const {
  return static_cast<BufferOverflowProtectionMode>(
      inner->overflowMode.load(std::memory_order_relaxed));
}

void CImageSourceAdapter::SetColourChannelUsageType(ColourChannelUsageType type) {
  inner->colourChannelUsageType.store(type, std::memory_order_relaxed);
}

ColourChannelUsageType CImageSourceAdapter::GetColourChannelUsageType() const {
  return static_cast<ColourChannelUsageType>(
      inner->colourChannelUsageType.load(std::memory_order_relaxed));
}

int CImageSourceAdapter::GetImageCount() const {
  return static_cast<int>(inner->imageCount.load(std::memory_order_relaxed));
}

bool CImageSourceAdapter::IsBufferEmpty() const { return inner->IsBufferEmpty(); }

void CImageSourceAdapter::ClearBuffer() { inner->ClearBuffer(); }

void CImageSourceAdapter::SetErrorListener(CImageSourceErrorListener* listener) {
  errorListener.store(listener, std::memory_order_relaxed);
}

CImageSourceErrorListener* CImageSourceAdapter::GetErrorListener() const {
  return errorListener.load(std::memory_order_relaxed);
}

}  // namespace basic_structures
}  // namespace norvane
