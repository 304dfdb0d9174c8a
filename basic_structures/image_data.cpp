#include "norvane/basic_structures/image_data.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>


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

}  // namespace basic_structures
}  // namespace norvane
