#include "norvane/basic_structures/image_source_adapter_c.h"

#include <memory>
#include <new>

#include "basic_structures/callback_image_source_adapter.h"
#include "norvane/core/error_codes.h"

namespace norvane {
namespace internal {

using basic_structures::CFileImageTag;
using basic_structures::CImageData;
using basic_structures::CImageSourceAdapter;
using basic_structures::CImageSourceErrorListener;
using basic_structures::CImageTag;
using basic_structures::CRect;
using basic_structures::CVideoFrameTag;

CallbackImageSourceAdapter::CallbackImageSourceAdapter(TXP_ISA_HasNextImageToFetchFunc hasNext,
                                                       void* hasNextUserData)
    : delegate_(nullptr),
      hasNext_(hasNext),
      hasNextUserData_(hasNextUserData),
      start_(nullptr),
      startUserData_(nullptr),
      stop_(nullptr),
      stopUserData_(nullptr),
      getImage_(nullptr),
      getImageUserData_(nullptr) {}

CallbackImageSourceAdapter::~CallbackImageSourceAdapter() = default;

bool CallbackImageSourceAdapter::HasNextImageToFetch() const {
  CImageSourceAdapter* delegate;
  Slot<TXP_ISA_HasNextImageToFetchFunc> hasNext;
  {
    MutexLock lock(&slotsMutex_);
    delegate = delegate_;
    hasNext = {hasNext_, hasNextUserData_};
  }
  if (delegate != nullptr) return delegate->HasNextImageToFetch();
  return hasNext.function != nullptr && hasNext.function(hasNext.userData);
}

void CallbackImageSourceAdapter::StartFetching() {
  CImageSourceAdapter* delegate;
  Slot<TXP_ISA_FetchingFunc> start;
  {
    MutexLock lock(&slotsMutex_);
    delegate = delegate_;
    start = {start_, startUserData_};
  }
  if (delegate != nullptr) {
    delegate->StartFetching();
  } else if (start.function != nullptr) {
    start.function(start.userData);
  } else {
    CImageSourceAdapter::StartFetching();
  }
}

void CallbackImageSourceAdapter::StopFetching() {
  CImageSourceAdapter* delegate;
  Slot<TXP_ISA_FetchingFunc> stop;
  {
    MutexLock lock(&slotsMutex_);
    delegate = delegate_;
    stop = {stop_, stopUserData_};
  }
  if (delegate != nullptr) {
    delegate->StopFetching();
  } else if (stop.function != nullptr) {
    stop.function(stop.userData);
  } else {
    CImageSourceAdapter::StopFetching();
  }
}

CImageData* CallbackImageSourceAdapter::GetImage() {
  CImageSourceAdapter* delegate;
  Slot<TXP_ISA_GetImageFunc> getImage;
  {
    MutexLock lock(&slotsMutex_);
    delegate = delegate_;
    getImage = {getImage_, getImageUserData_};
  }
  if (delegate != nullptr) return delegate->GetImage();
  if (getImage.function == nullptr) return CImageSourceAdapter::GetImage();
  TXP_ImageData* record = getImage.function(getImage.userData);
  if (record == nullptr) return nullptr;
  // The record was handed over: it goes back through its release function even when
  // the copy fails.
  struct Release {
    TXP_ImageData* record;
    ~Release() {
      if (record->release != nullptr) record->release(record, record->userData);
    }
  } release{record};
  return ImageFromRecord(*record);
}

void CallbackImageSourceAdapter::SetDelegate(CImageSourceAdapter* delegate) {
  MutexLock lock(&slotsMutex_);
  delegate_ = delegate;
}

CImageSourceAdapter* CallbackImageSourceAdapter::GetDelegate() const {
  MutexLock lock(&slotsMutex_);
  return delegate_;
}

void CallbackImageSourceAdapter::SetCallbacks(TXP_ISA_FetchingFunc start, void* startUserData,
                                              TXP_ISA_FetchingFunc stop, void* stopUserData,
                                              TXP_ISA_GetImageFunc getImage, void* getImageUserData,
                                              TXP_ISA_HasNextImageToFetchFunc hasNext,
                                              void* hasNextUserData) {
  MutexLock lock(&slotsMutex_);
  start_ = start;
  startUserData_ = startUserData;
  stop_ = stop;
  stopUserData_ = stopUserData;
  getImage_ = getImage;
  getImageUserData_ = getImageUserData;
  hasNext_ = hasNext;
  hasNextUserData_ = hasNextUserData;
}

CImageTag* TagFromRecord(const TXP_ImageTag* record) {
  if (record == nullptr) return nullptr;
  CImageTag* tag = nullptr;
  if (record->type == 0) {
    tag = new CFileImageTag(record->filePath, record->pageNumber, record->totalPages);
  } else if (record->type == 1) {
    CRect crop;
    if (record->cropRegion != nullptr) {
      crop = CRect(record->cropRegion->left, record->cropRegion->top, record->cropRegion->right,
                   record->cropRegion->bottom);
    }
    tag = new CVideoFrameTag(
        static_cast<basic_structures::VideoFrameQuality>(record->videoFrameQuality),
        record->isCropped != 0, record->cropRegion != nullptr ? &crop : nullptr,
        record->originalWidth, record->originalHeight);
  } else {
    return nullptr;
  }
  tag->SetImageId(record->imageId);
  tag->SetImageCaptureDistanceMode(
      static_cast<basic_structures::ImageCaptureDistanceMode>(record->imageCaptureDistanceMode));
  return tag;
}

void TagToRecord(const CImageTag& tag, TXP_ImageTag* record, TXP_Rect* cropRegion) {
  *record = TXP_ImageTag();
  record->type = tag.GetType();
  record->imageId = tag.GetImageId();
  record->imageCaptureDistanceMode = tag.GetImageCaptureDistanceMode();
  if (const auto* file = dynamic_cast<const CFileImageTag*>(&tag)) {
    record->filePath = file->GetFilePath();
    record->pageNumber = file->GetPageNumber();
    record->totalPages = file->GetTotalPages();
  } else if (const auto* video = dynamic_cast<const CVideoFrameTag*>(&tag)) {
    record->videoFrameQuality = video->GetVideoFrameQuality();
    record->isCropped = video->IsCropped() ? 1 : 0;
    if (const CRect* crop = video->GetCropRegion()) {
      cropRegion->left = crop->left;
      cropRegion->top = crop->top;
      cropRegion->right = crop->right;
      cropRegion->bottom = crop->bottom;
      record->cropRegion = cropRegion;
    }
    record->originalWidth = video->GetOriginalWidth();
    record->originalHeight = video->GetOriginalHeight();
  }
}

CImageData* ImageFromRecord(const TXP_ImageData& record) {
  std::unique_ptr<CImageTag> tag(TagFromRecord(record.tag));
  return new CImageData(record.bytesLength, record.bytes, record.width, record.height,
                        record.stride,
                        static_cast<basic_structures::ImagePixelFormat>(record.format),
                        record.orientation, tag.get());
}

namespace {

// One allocation holds a record handed out by the library, its tag record and crop
// rectangle, and the image whose bytes and path they point at.
struct LibraryRecord {
  TXP_ImageData record;  // first: the record's address is the block's
  TXP_ImageTag tag;
  TXP_Rect cropRegion;
  CImageData* image;
};

void ReleaseLibraryRecord(TXP_ImageData* record, void*) {
  if (record == nullptr) return;
  LibraryRecord* block = reinterpret_cast<LibraryRecord*>(record);
  delete block->image;
  delete block;
}

}  // namespace

TXP_ImageData* RecordFromImage(CImageData* image) {
  LibraryRecord* block = new (std::nothrow) LibraryRecord();
  if (block == nullptr) return nullptr;
  block->image = image;
  TXP_ImageData& record = block->record;
  record.bytesLength = image->GetBytesLength();
  record.bytes = image->GetBytes();
  record.width = image->GetWidth();
  record.height = image->GetHeight();
  record.stride = image->GetStride();
  record.format = image->GetImagePixelFormat();
  record.orientation = image->GetOrientation();
  record.tag = nullptr;
  if (const CImageTag* tag = image->GetImageTag()) {
    TagToRecord(*tag, &block->tag, &block->cropRegion);
    record.tag = &block->tag;
  }
  record.userData = image;
  record.release = &ReleaseLibraryRecord;
  return &record;
}

namespace {

// Passes errors on to a C callback.
class CallbackErrorListener : public CImageSourceErrorListener {
 public:
  explicit CallbackErrorListener(TXP_IEL_ErrorReceivedFunc callback) : callback_(callback) {}
  void OnErrorReceived(int errorCode, const char* errorMessage) override {
    if (callback_ != nullptr) callback_(errorCode, errorMessage);
  }

 private:
  TXP_IEL_ErrorReceivedFunc callback_;
};

CallbackImageSourceAdapter* FromHandle(TXP_ImageSourceAdapter* adapter) {
  return reinterpret_cast<CallbackImageSourceAdapter*>(adapter);
}

// The adapter the buffer operations act on: the delegate when one is set.
CImageSourceAdapter* Target(TXP_ImageSourceAdapter* adapter) {
  CallbackImageSourceAdapter* self = FromHandle(adapter);
  CImageSourceAdapter* delegate = self->GetDelegate();
  return delegate != nullptr ? delegate : self;
}

// Runs `f` and maps any exception to an error code; nothing crosses into C.
template <typename F>
int Guarded(TXP_ImageSourceAdapter* adapter, F f) {
  if (adapter == nullptr) return EC_NULL_POINTER;
  try {
    return f();
  } catch (const std::bad_alloc&) {
    return EC_NO_MEMORY;
  } catch (...) {
    return EC_UNKNOWN;
  }
}

// As Guarded, for results that are not error codes: `fallback` on any failure.
template <typename R, typename F>
R GuardedValue(TXP_ImageSourceAdapter* adapter, R fallback, F f) {
  if (adapter == nullptr) return fallback;
  try {
    return f();
  } catch (...) {
    return fallback;
  }
}

TXP_ImageData* GetImageRecord(TXP_ImageSourceAdapter* adapter, bool native) {
  return GuardedValue<TXP_ImageData*>(adapter, nullptr, [&]() -> TXP_ImageData* {
    CallbackImageSourceAdapter* self = FromHandle(adapter);
    norvane::basic_structures::CImageSourceAdapter* delegate = self->GetDelegate();  // read once
    CImageData* image;
    if (delegate != nullptr) {
      image = delegate->GetImage();
    } else if (native) {
      image = self->CImageSourceAdapter::GetImage();
    } else {
      image = self->GetImage();
    }
    if (image == nullptr) return nullptr;
    TXP_ImageData* record = RecordFromImage(image);
    if (record == nullptr) delete image;
    return record;
  });
}

int AddRecord(TXP_ImageSourceAdapter* adapter, TXP_ImageData* record) {
  if (record == nullptr) return EC_NULL_POINTER;
  return Guarded(adapter, [&] {
    {
      // The temporary borrows the caller's bytes; the buffer gets the one copy.
      std::unique_ptr<CImageTag> tag(TagFromRecord(record->tag));
      CImageData borrowed(record->bytesLength, record->bytes, nullptr, record->width,
                          record->height, record->stride,
                          static_cast<basic_structures::ImagePixelFormat>(record->format),
                          record->orientation, tag.get());
      FromHandle(adapter)->AddImageToBuffer(&borrowed, true);
    }
    if (record->release != nullptr) record->release(record, record->userData);
    return static_cast<int>(EC_OK);
  });
}

}  // namespace
}  // namespace internal
}  // namespace norvane

using norvane::internal::CallbackImageSourceAdapter;
using norvane::internal::FromHandle;
using norvane::internal::Guarded;
using norvane::internal::GuardedValue;
using norvane::internal::Target;

extern "C" {

TXP_ImageSourceAdapterHandle* TXP_ISA_CreateBaseImageSourceAdapter(
    TXP_ISA_HasNextImageToFetchFunc hasNextImageToFetch, void* userData) {
  if (hasNextImageToFetch == nullptr) return nullptr;
  try {
    std::unique_ptr<CallbackImageSourceAdapter> adapter(
        new CallbackImageSourceAdapter(hasNextImageToFetch, userData));
    TXP_ImageSourceAdapterHandle* handle = new TXP_ImageSourceAdapterHandle();
    handle->reserved = 0;
    handle->adapter = reinterpret_cast<TXP_ImageSourceAdapter*>(adapter.release());
    return handle;
  } catch (...) {
    return nullptr;
  }
}

void TXP_ISA_DestroyBaseImageSourceAdapter(TXP_ImageSourceAdapterHandle* handle) {
  if (handle == nullptr) return;
  delete FromHandle(handle->adapter);
  delete handle;
}

void TXP_ISA_SetBaseImageSourceAdapterFunc(TXP_ImageSourceAdapter* adapter,
                                           TXP_ISA_FetchingFunc startFetching, void* startUserData,
                                           TXP_ISA_FetchingFunc stopFetching, void* stopUserData,
                                           void* /*unused1*/, void* /*unused2*/,
                                           TXP_ISA_GetImageFunc getImage, void* getImageUserData,
                                           TXP_ISA_HasNextImageToFetchFunc hasNextImageToFetch,
                                           void* hasNextUserData) {
  if (adapter == nullptr) return;
  FromHandle(adapter)->SetCallbacks(startFetching, startUserData, stopFetching, stopUserData,
                                    getImage, getImageUserData, hasNextImageToFetch,
                                    hasNextUserData);
}

int TXP_ISA_SetMaxImageCount(TXP_ImageSourceAdapter* adapter, int count) {
  return Guarded(adapter, [&] {
    Target(adapter)->SetMaxImageCount(count);
    return 0;
  });
}

int TXP_ISA_GetMaxImageCount(TXP_ImageSourceAdapter* adapter) {
  return Guarded(adapter, [&] { return Target(adapter)->GetMaxImageCount(); });
}

bool TXP_ISA_HasImage(TXP_ImageSourceAdapter* adapter, int imageId) {
  return GuardedValue(adapter, false, [&] { return Target(adapter)->HasImage(imageId); });
}

bool TXP_ISA_SetNextImageToReturn(TXP_ImageSourceAdapter* adapter, int imageId, int keepInBuffer) {
  return GuardedValue(adapter, false, [&] {
    return Target(adapter)->SetNextImageToReturn(imageId, keepInBuffer != 0);
  });
}

int TXP_ISA_GetImageCount(TXP_ImageSourceAdapter* adapter) {
  return Guarded(adapter, [&] { return Target(adapter)->GetImageCount(); });
}

bool TXP_ISA_IsBufferEmpty(TXP_ImageSourceAdapter* adapter) {
  return GuardedValue(adapter, false, [&] { return Target(adapter)->IsBufferEmpty(); });
}

int TXP_ISA_ClearBuffer(TXP_ImageSourceAdapter* adapter) {
  return Guarded(adapter, [&] {
    Target(adapter)->ClearBuffer();
    return 0;
  });
}

int TXP_ISA_SetColourChannelUsageType(TXP_ImageSourceAdapter* adapter, int type) {
  return Guarded(adapter, [&] {
    FromHandle(adapter)->SetColourChannelUsageType(
        static_cast<norvane::basic_structures::ColourChannelUsageType>(type));
    return 0;
  });
}

int TXP_ISA_GetColourChannelUsageType(TXP_ImageSourceAdapter* adapter) {
  return Guarded(
      adapter, [&] { return static_cast<int>(FromHandle(adapter)->GetColourChannelUsageType()); });
}

int TXP_ISA_SetBufferOverflowProtectionMode(TXP_ImageSourceAdapter* adapter, int mode) {
  return Guarded(adapter, [&] {
    FromHandle(adapter)->SetBufferOverflowProtectionMode(
        static_cast<norvane::basic_structures::BufferOverflowProtectionMode>(mode));
    return 0;
  });
}

int TXP_ISA_GetBufferOverflowProtectionMode(TXP_ImageSourceAdapter* adapter) {
  return Guarded(adapter, [&] {
    return static_cast<int>(FromHandle(adapter)->GetBufferOverflowProtectionMode());
  });
}

void TXP_ISA_SetErrorListener(TXP_ImageSourceAdapter* adapter,
                              TXP_ImageSourceErrorListener* listener) {
  if (adapter == nullptr || listener == nullptr) return;
  FromHandle(adapter)->SetErrorListener(
      reinterpret_cast<norvane::basic_structures::CImageSourceErrorListener*>(listener));
}

int TXP_ISA_StartFetching(TXP_ImageSourceAdapter* adapter) {
  return Guarded(adapter, [&] {
    Target(adapter)->StartFetching();
    return 0;
  });
}

int TXP_ISA_StopFetching(TXP_ImageSourceAdapter* adapter) {
  return Guarded(adapter, [&] {
    Target(adapter)->StopFetching();
    return 0;
  });
}

bool TXP_ISA_HasNextImageToFetch(TXP_ImageSourceAdapter* adapter) {
  return GuardedValue(adapter, false, [&] { return Target(adapter)->HasNextImageToFetch(); });
}

TXP_ImageData* TXP_ISA_GetImage(TXP_ImageSourceAdapter* adapter) {
  return norvane::internal::GetImageRecord(adapter, false);
}

int TXP_ISA_NativeStartFetching(TXP_ImageSourceAdapter* adapter) {
  return Guarded(adapter, [&] {
    CallbackImageSourceAdapter* self = FromHandle(adapter);
    norvane::basic_structures::CImageSourceAdapter* delegate = self->GetDelegate();  // read once
    if (delegate != nullptr) {
      delegate->StartFetching();
    } else {
      self->CImageSourceAdapter::StartFetching();
    }
    return 0;
  });
}

int TXP_ISA_NativeStopFetching(TXP_ImageSourceAdapter* adapter) {
  return Guarded(adapter, [&] {
    CallbackImageSourceAdapter* self = FromHandle(adapter);
    norvane::basic_structures::CImageSourceAdapter* delegate = self->GetDelegate();  // read once
    if (delegate != nullptr) {
      delegate->StopFetching();
    } else {
      self->CImageSourceAdapter::StopFetching();
    }
    return 0;
  });
}

TXP_ImageData* TXP_ISA_NativeGetImage(TXP_ImageSourceAdapter* adapter) {
  return norvane::internal::GetImageRecord(adapter, true);
}

int TXP_ISA_AddImageToBuffer(TXP_ImageSourceAdapter* adapter, TXP_ImageData* record) {
  return norvane::internal::AddRecord(adapter, record);
}

int TXP_ISA_NativeAddImageToBuffer(TXP_ImageSourceAdapter* adapter, TXP_ImageData* record) {
  return norvane::internal::AddRecord(adapter, record);
}

TXP_ImageSourceErrorListener* TXP_IEL_CreateImageSourceErrorListener(
    TXP_IEL_ErrorReceivedFunc callback) {
  auto* listener = new (std::nothrow) norvane::internal::CallbackErrorListener(callback);
  return reinterpret_cast<TXP_ImageSourceErrorListener*>(
      static_cast<norvane::basic_structures::CImageSourceErrorListener*>(listener));
}

void TXP_IEL_DestroyImageSourceErrorListener(TXP_ImageSourceErrorListener* listener) {
  delete reinterpret_cast<norvane::basic_structures::CImageSourceErrorListener*>(listener);
}

}  // extern "C"
