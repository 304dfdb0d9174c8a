// Validation of images and the choice of conversion; the per-row work is done by the
// kernels of pixel_kernels.h.
#include "norvane/basic_structures/pixel_conversion.h"

#include <cstdint>
#include <cstring>
#include <new>
#include <typeinfo>

#include "basic_structures/grey_in_place.h"
#include "basic_structures/pixel_kernels.h"

namespace norvane {
namespace basic_structures {
namespace {

using internal::ActiveRowKernels;
using internal::PixelRowKernels;

constexpr int kNullPointer = -10002;
constexpr int kInvalidImage = -10069;
constexpr int kImageTooShort = -10070;
constexpr int kUnknownFormat = -10071;

bool IsYuv(ImagePixelFormat f) { return f == IPF_NV21 || f == IPF_NV12; }
bool IsEightBit(ImagePixelFormat f) {
  return f == IPF_GRAYSCALE || f == IPF_BINARY_8 || f == IPF_BINARY_8_INVERTED;
}
bool IsOneBit(ImagePixelFormat f) { return f == IPF_BINARY || f == IPF_BINARY_INVERTED; }

// Bytes one row of `width` pixels occupies. A YUV row also carries the chroma of
// (width + 1) / 2 pixel pairs, two bytes each, so its row is the width rounded up to
// an even number.
int64_t RowBytes(ImagePixelFormat f, int64_t width) {
  switch (f) {
    case IPF_BINARY:
    case IPF_BINARY_INVERTED:
      return (width + 7) / 8;
    case IPF_NV21:
    case IPF_NV12:
      return (width + 1) / 2 * 2;
    case IPF_RGB_565:
    case IPF_RGB_555:
      return 2 * width;
    case IPF_RGB_888:
    case IPF_BGR_888:
      return 3 * width;
    case IPF_ARGB_8888:
    case IPF_ABGR_8888:
      return 4 * width;
    case IPF_RGB_161616:
      return 6 * width;
    case IPF_ARGB_16161616:
    case IPF_ABGR_16161616:
      return 8 * width;
    default:
      return width;
  }
}

// Rows of `stride` bytes: the luma plane and, for YUV, the chroma plane after it.
uint64_t RowCount(ImagePixelFormat f, int height) {
  const uint64_t h = static_cast<uint64_t>(height);
  return IsYuv(f) ? h + (h + 1) / 2 : h;
}

// A valid image whose bytes fit in the address space, as the kernels see it.
struct Source {
  const CImageData* image;
  const uint8_t* bytes;
  size_t stride;
  int width;
  int height;
  ImagePixelFormat format;

  const uint8_t* Row(int y) const { return bytes + static_cast<size_t>(y) * stride; }
  // The chroma row that serves luma row y of a YUV image.
  const uint8_t* ChromaRow(int y) const {
    return bytes + (static_cast<size_t>(height) + static_cast<size_t>(y >> 1)) * stride;
  }
};

bool Prepare(const CImageData* image, Source* source) {
  if (TQ_ValidateImageData(image) != 0) return false;
  const uint64_t needed = static_cast<uint64_t>(image->GetStride()) *
                          RowCount(image->GetImagePixelFormat(), image->GetHeight());
  // A 32-bit process cannot hold more; the image's length claims the impossible.
  if (needed > static_cast<uint64_t>(PTRDIFF_MAX)) return false;
  source->image = image;
  source->bytes = image->GetBytes();
  source->stride = static_cast<size_t>(image->GetStride());
  source->width = image->GetWidth();
  source->height = image->GetHeight();
  source->format = image->GetImagePixelFormat();
  return true;
}

// A new image of the source's size, tag and orientation, with `bytesPerPixel` bytes
// per pixel and the minimal stride, whose rows `fill(dst, stride)` writes; null when
// the output cannot be represented or allocated.
template <typename Fill>
CImageData* MakeImage(const Source& source, int bytesPerPixel, ImagePixelFormat format, Fill fill) {
  const int64_t stride = static_cast<int64_t>(source.width) * bytesPerPixel;
  if (stride > INT32_MAX) return nullptr;
  const uint64_t length = static_cast<uint64_t>(stride) * static_cast<uint64_t>(source.height);
  if (length > static_cast<uint64_t>(PTRDIFF_MAX)) return nullptr;
  unsigned char* bytes = new (std::nothrow) unsigned char[static_cast<size_t>(length)];
  if (bytes == nullptr) return nullptr;
  fill(bytes, static_cast<size_t>(stride));
  try {
    return new CImageData(length, bytes, &CImageData::DeleteByteArray, source.width, source.height,
                          static_cast<int>(stride), format, source.image->GetOrientation(),
                          source.image->GetImageTag());
  } catch (...) {  // the C interface reports failure as null, never as an exception
    delete[] bytes;
    return nullptr;
  }
}

// Writes the grey rows of `s` to `dst`, `stride` bytes apart. `dst` may also be the
// source's own bytes when `stride` is at most the source's: a grey row is never longer
// than the row it is made from, and every kernel reads a run of pixels before it
// writes their grey values, which lie at or before them, so converting from the first
// row on overwrites only bytes already read.
void FillGrey(const Source& s, uint8_t* dst, size_t stride) {
  const int w = s.width;
  if (IsEightBit(s.format) || IsYuv(s.format)) {
    // The grey of a YUV image is its luma plane, which comes first.
    if (s.stride == stride) {
      if (dst != s.bytes) std::memcpy(dst, s.bytes, stride * static_cast<size_t>(s.height));
    } else {
      for (int y = 0; y < s.height; ++y) std::memmove(dst + y * stride, s.Row(y), stride);
    }
    return;
  }
  const PixelRowKernels& k = ActiveRowKernels();
  internal::GreyRowKernel kernel = nullptr;
  switch (s.format) {
    case IPF_RGB_888:
      kernel = k.greyFromBgr24;
      break;
    case IPF_BGR_888:
      kernel = k.greyFromRgb24;
      break;
    case IPF_ARGB_8888:
      kernel = k.greyFromBgra32;
      break;
    case IPF_ABGR_8888:
      kernel = k.greyFromRgba32;
      break;
    default:
      break;
  }
  if (kernel != nullptr) {
    for (int y = 0; y < s.height; ++y) kernel(s.Row(y), dst + y * stride, w);
  } else {
    for (int y = 0; y < s.height; ++y) {
      internal::GreyRowReference(s.format, s.Row(y), dst + y * stride, w);
    }
  }
}

CImageData* ToGrey(const Source& s) {
  return MakeImage(s, 1, IPF_GRAYSCALE,
                   [&s](uint8_t* dst, size_t stride) { FillGrey(s, dst, stride); });
}

CImageData* ToBgr24(const Source& s) {
  return MakeImage(s, 3, IPF_RGB_888, [&s](uint8_t* dst, size_t stride) {
    const int w = s.width;
    if (IsYuv(s.format)) {
      const PixelRowKernels& k = ActiveRowKernels();
      const internal::YuvRowKernel kernel =
          s.format == IPF_NV21 ? k.bgr24FromNv21 : k.bgr24FromNv12;
      for (int y = 0; y < s.height; ++y) kernel(s.Row(y), s.ChromaRow(y), dst + y * stride, w);
    } else if (s.format == IPF_RGB_888) {
      for (int y = 0; y < s.height; ++y) std::memcpy(dst + y * stride, s.Row(y), stride);
    } else {
      for (int y = 0; y < s.height; ++y) {
        internal::Bgr24RowReference(s.format, s.Row(y), dst + y * stride, w);
      }
    }
  });
}

}  // namespace
}  // namespace basic_structures

namespace internal {

bool ImageDataEditor::ConvertToGreyInPlace(basic_structures::CImageData* image) {
  using namespace basic_structures;
  // Only a plain image whose bytes came from new[] is known to have writable bytes
  // and no other reader of them; a derived class may keep its own view. Eight-bit
  // images need no conversion; one-bit rows grow when they become grey.
  if (image == nullptr || typeid(*image) != typeid(CImageData) ||
      image->deleter != &CImageData::DeleteByteArray || IsEightBit(image->format) ||
      IsOneBit(image->format)) {
    return false;
  }
  Source source;
  if (!Prepare(image, &source)) return false;
  const size_t stride = static_cast<size_t>(source.width);
  FillGrey(source, const_cast<uint8_t*>(source.bytes), stride);
  image->bytesLength = static_cast<unsigned long long>(stride) * source.height;
  image->stride = source.width;
  image->format = IPF_GRAYSCALE;
  return true;
}

}  // namespace internal
}  // namespace norvane

extern "C" {

int TQ_ValidateImageData(const NorvaneImageData* image) {
  using namespace norvane::basic_structures;
  if (image == nullptr) return kNullPointer;
  const int32_t format = static_cast<int32_t>(image->GetImagePixelFormat());
  if (format < 0 || format > 15) return kUnknownFormat;
  const ImagePixelFormat f = static_cast<ImagePixelFormat>(format);
  if (image->GetBytes() == nullptr || image->GetWidth() < 1 || image->GetHeight() < 1 ||
      image->GetStride() < RowBytes(f, image->GetWidth())) {
    return kInvalidImage;
  }
  const uint64_t needed =
      static_cast<uint64_t>(image->GetStride()) * RowCount(f, image->GetHeight());
  if (image->GetBytesLength() < needed) return kImageTooShort;
  return 0;
}

NorvaneImageData* TQ_ConvertToGrayscale(const NorvaneImageData* image) {
  using namespace norvane::basic_structures;
  Source source;
  if (!Prepare(image, &source)) return nullptr;
  return ToGrey(source);
}

NorvaneImageData* TQ_ConvertToRGB(const NorvaneImageData* image) {
  using namespace norvane::basic_structures;
  Source source;
  if (!Prepare(image, &source)) return nullptr;
  return ToBgr24(source);
}

NorvaneImageData* TQ_ConvertImageData(const NorvaneImageData* image, int usage) {
  using namespace norvane::basic_structures;
  Source source;
  if (!Prepare(image, &source)) return nullptr;
  const ImagePixelFormat f = source.format;
  if (usage == CCUT_LUMINANCE_ONLY) return IsEightBit(f) ? nullptr : ToGrey(source);
  if (usage == CCUT_FULL_COLOUR) return f == IPF_RGB_888 ? nullptr : ToBgr24(source);
  // Automatic: 8-bit grey and 24-bit colour stay, 1-bit images become grey.
  if (IsEightBit(f) || f == IPF_RGB_888) return nullptr;
  return IsOneBit(f) ? ToGrey(source) : ToBgr24(source);
}

}  // extern "C"
