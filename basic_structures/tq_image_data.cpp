#include "norvane/basic_structures/tq_image_data.h"

#include <cstddef>
#include <cstring>

namespace norvane {
namespace basic_structures {

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
    : CImageData(static_cast<unsigned long long>(static_cast<long long>(h) * s), source, nullptr, w,
                 h, s, f),
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
