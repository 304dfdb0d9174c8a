#include "norvane/basic_structures/image_data.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>

#include "norvane/basic_structures/image_data_c.h"
#include "norvane/basic_structures/tq_image_data.h"

namespace norvane {
namespace basic_structures {

namespace {

char* CopyString(const char* text) {
  if (text == nullptr) return nullptr;
  const size_t length = std::strlen(text);
  char* copy = new char[length + 1];
  std::memcpy(copy, text, length + 1);
  return copy;
}

}  // namespace

CImageTag::CImageTag() : imageId(-1), imageCaptureDistanceMode(ICDM_UNKNOWN) {}
CImageTag::~CImageTag() = default;

CFileImageTag::CFileImageTag(const char* path, int page, int pages)
    : filePath(CopyString(path)), pageNumber(page), totalPages(pages) {}

CFileImageTag::~CFileImageTag() { delete[] filePath; }

int CFileImageTag::GetType() const { return 0; }

CImageTag* CFileImageTag::Clone() const {
  CFileImageTag* copy = new CFileImageTag(filePath, pageNumber, totalPages);
  copy->imageId = imageId;
  copy->imageCaptureDistanceMode = imageCaptureDistanceMode;
  return copy;
}

CVideoFrameTag::CVideoFrameTag(VideoFrameQuality quality, bool cropped, const CRect* region,
                               int width, int height)
    : videoFrameQuality(quality),
      isCropped(cropped),
      cropRegion(region != nullptr ? new CRect(*region) : nullptr),
      originalWidth(width),
      originalHeight(height) {}

CVideoFrameTag::~CVideoFrameTag() { delete cropRegion; }

int CVideoFrameTag::GetType() const { return 1; }

CImageTag* CVideoFrameTag::Clone() const {
  CVideoFrameTag* copy =
      new CVideoFrameTag(videoFrameQuality, isCropped, cropRegion, originalWidth, originalHeight);
  copy->imageId = imageId;
  copy->imageCaptureDistanceMode = imageCaptureDistanceMode;
  return copy;
}

CImageData::CImageData()
    : bytesLength(0),
      bytes(nullptr),
      width(0),
      height(0),
      stride(0),
      format(IPF_BINARY),
      orientation(0),
      tag(nullptr),
      deleter(nullptr) {}

CImageData::CImageData(unsigned long long length, const unsigned char* source, int w, int h,
                       int s, ImagePixelFormat f, int o, const CImageTag* t)
    : CImageData(length, nullptr, nullptr, w, h, s, f, o, t) {
  if (source != nullptr) {
    // A length the address space cannot hold is an allocation failure, not a cut.
    if (length > static_cast<unsigned long long>(SIZE_MAX)) throw std::bad_alloc();
    // Every byte is overwritten by the copy, so the buffer needs no zero fill first.
    unsigned char* copy = new unsigned char[static_cast<size_t>(length)];
    if (length != 0) std::memcpy(copy, source, static_cast<size_t>(length));
    bytes = copy;
    deleter = &DeleteByteArray;
  }
}

CImageData::CImageData(unsigned long long length, const unsigned char* source,
                       BytesDeleter bytesDeleter, int w, int h, int s, ImagePixelFormat f,
                       int o, const CImageTag* t)
    : bytesLength(length),
      bytes(source),
      width(w),
      height(h),
      stride(s),
      format(f),
      orientation(o),
      tag(t != nullptr ? t->Clone() : nullptr),
      deleter(bytesDeleter) {}

CImageData::~CImageData() {
  if (deleter != nullptr) deleter(bytes);
  delete tag;
}

void CImageData::SetImageTag(const CImageTag* newTag) {
  if (newTag == tag) return;
  delete tag;
  tag = nullptr;
  if (newTag != nullptr) tag = newTag->Clone();
}

void CImageData::DeleteByteArray(const unsigned char* data) { delete[] data; }

TQImageDataInner::TQImageDataInner(int w, int h, int s, ImagePixelFormat f)
    : CImageData(static_cast<unsigned long long>(static_cast<long long>(s) * h), nullptr, w, h, s,
                 f),
      isBorrowed(false) {
  const long long size = static_cast<long long>(s) * h;
  bytes = new unsigned char[size > 0 ? static_cast<size_t>(size) : 0]();
  deleter = &DeleteByteArray;
}

TQImageDataInner::TQImageDataInner(const unsigned char* source, int w, int h, int s,
                                   ImagePixelFormat f)
    : CImageData(static_cast<unsigned long long>(static_cast<long long>(h) * s), source, nullptr,
                 w, h, s, f),
      isBorrowed(true) {}

TQImageDataInner::~TQImageDataInner() {
  if (isBorrowed) bytes = nullptr;
}

namespace {
const double kIdentity[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
}  // namespace

TQImageData::TQImageData() { SetRotationTransformMatrix(kIdentity); }

TQImageData::TQImageData(unsigned long long length, const unsigned char* source, int w, int h,
                         int s, ImagePixelFormat f, int o, const CImageTag* t)
    : CImageData(length, source, w, h, s, f, o, t) {
  SetRotationTransformMatrix(kIdentity);
}

TQImageData::TQImageData(unsigned long long length, const unsigned char* source,
                         BytesDeleter bytesDeleter, int w, int h, int s, ImagePixelFormat f, int o,
                         const CImageTag* t)
    : CImageData(length, source, bytesDeleter, w, h, s, f, o, t) {
  SetRotationTransformMatrix(kIdentity);
}

TQImageData::~TQImageData() = default;

void TQImageData::GetRotationTransformMatrix(double out[9]) const {
  std::memcpy(out, rotationTransformMatrix, sizeof(rotationTransformMatrix));
}

void TQImageData::SetRotationTransformMatrix(const double in[9]) {
  std::memcpy(rotationTransformMatrix, in, sizeof(rotationTransformMatrix));
}

CImageDataWrapper::CImageDataWrapper(CImageData* image) : imageData(image) {}

CImageDataWrapper::~CImageDataWrapper() { delete imageData; }

CImageDataWrapper* CImageDataWrapper::DeepCopy() const {
  if (imageData == nullptr) return new CImageDataWrapper(nullptr);
  return new CImageDataWrapper(new CImageData(
      imageData->GetBytesLength(), imageData->GetBytes(), imageData->GetWidth(),
      imageData->GetHeight(), imageData->GetStride(), imageData->GetImagePixelFormat(),
      imageData->GetOrientation(), imageData->GetImageTag()));
}

}  // namespace basic_structures
}  // namespace norvane

namespace {
void FreeRecordOnly(TXP_ImageData* record, void*) { TXP_DestoryImageData(record); }
}  // namespace

extern "C" {

TXP_ImageData* TXP_CreateImageData(unsigned long long bytesLength, const unsigned char* bytes,
                                   int width, int height, int stride, int format,
                                   int orientation, TXP_ImageTag* tag, void* userData,
                                   TXP_ImageDataReleaseFunc releaseFunction) {
  TXP_ImageData* record = static_cast<TXP_ImageData*>(std::malloc(sizeof(TXP_ImageData)));
  if (record == nullptr) return nullptr;
  record->bytesLength = bytesLength;
  record->bytes = bytes;
  record->width = width;
  record->height = height;
  record->stride = stride;
  record->format = format;
  record->orientation = orientation;
  record->tag = tag;
  record->userData = userData;
  record->release = releaseFunction != nullptr ? releaseFunction : &FreeRecordOnly;
  return record;
}

void TXP_DestoryImageData(TXP_ImageData* record) { std::free(record); }

}  // extern "C"
