// libFuzzer target: image records of any shape into TQ_ValidateImageData and
// TQ_ConvertImageData. Every field comes from the input; the pixel bytes are the rest
// of it, copied so that they end exactly where an inaccessible page begins, so a read
// past the claimed length faults. Each result is checked against a plain per-pixel
// model written here, slowly and obviously, from the documented rules; a mismatch
// traps.
//
// Input: width, height, stride, format, orientation (int32 each, little-endian), usage
// (int8), flags (bit 0: null bytes, bit 1: a tag), tag id (int32), claimed length
// (uint64, taken modulo the pixel bytes present plus one), then the pixel bytes.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>

#include "fuzz_input.h"
#include "norvane/basic_structures/image_data.h"
#include "norvane/basic_structures/pixel_conversion.h"
#include "test_support/guarded_buffer.h"

namespace {

using norvane::basic_structures::CFileImageTag;
using norvane::basic_structures::CImageData;
using norvane::basic_structures::ImagePixelFormat;

using norvane_fuzz::Check;
using norvane_fuzz::Fields;

bool IsYuv(int f) { return f == 3 || f == 14; }
bool IsEightBit(int f) { return f == 2 || f == 13 || f == 15; }
bool IsOneBit(int f) { return f == 0 || f == 1; }

// Bits per pixel of each format; the YUV formats count their luma plane only.
int BitsPerPixel(int f) {
  static const int kBits[16] = {1, 1, 8, 8, 16, 16, 24, 32, 48, 64, 32, 64, 24, 8, 8, 8};
  return kBits[f];
}

int ExpectedValidation(int width, int height, int stride, int format, bool nullBytes,
                       uint64_t length) {
  if (format < 0 || format > 15) return -10071;
  if (nullBytes || width < 1 || height < 1) return -10069;
  int64_t rowBytes = (static_cast<int64_t>(width) * BitsPerPixel(format) + 7) / 8;
  if (IsYuv(format)) rowBytes = (width + int64_t{1}) / 2 * 2;  // whole chroma pairs
  if (stride < rowBytes) return -10069;
  uint64_t rows = static_cast<uint64_t>(height);
  if (IsYuv(format)) rows += (rows + 1) / 2;
  if (length < static_cast<uint64_t>(stride) * rows) return -10070;
  return 0;
}

struct Colour {
  int r, g, b;
};

int FloorDiv256(int v) { return v >= 0 ? v / 256 : -((-v + 255) / 256); }
int Clip(int v) { return v < 0 ? 0 : (v > 255 ? 255 : v); }
int Widen5(int v) { return v * 8 + v / 4; }  // the 5 bits repeated into 8
int Widen6(int v) { return v * 4 + v / 16; }

// What pixel (x, y) of a valid image is.
Colour PixelColour(const CImageData& image, int x, int y) {
  const int f = image.GetImagePixelFormat();
  const uint8_t* row = image.GetBytes() + static_cast<size_t>(y) * image.GetStride();
  const uint8_t* p = row + static_cast<size_t>(x) * BitsPerPixel(f) / 8;
  switch (f) {
    case 0:
    case 1: {
      const bool set = (row[x / 8] & (0x80 >> (x % 8))) != 0;
      const int v = set == (f == 0) ? 255 : 0;
      return {v, v, v};
    }
    case 3:
    case 14: {
      const uint8_t* pair = image.GetBytes() +
                            static_cast<size_t>(image.GetHeight() + y / 2) * image.GetStride() +
                            2 * (x / 2);
      const int u = f == 14 ? pair[0] : pair[1];
      const int v = f == 14 ? pair[1] : pair[0];
      const int c = row[x] - 16, d = u - 128, e = v - 128;
      return {Clip(FloorDiv256(298 * c + 409 * e + 128)),
              Clip(FloorDiv256(298 * c - 100 * d - 208 * e + 128)),
              Clip(FloorDiv256(298 * c + 516 * d + 128))};
    }
    case 4: {
      const int w = p[0] + 256 * p[1];
      return {Widen5(w / 2048), Widen6(w / 32 % 64), Widen5(w % 32)};
    }
    case 5: {
      const int w = p[0] + 256 * p[1];
      return {Widen5(w / 1024 % 32), Widen5(w / 32 % 32), Widen5(w % 32)};
    }
    case 6:
    case 7:
      return {p[2], p[1], p[0]};  // memory B, G, R (, A)
    case 10:
    case 12:
      return {p[0], p[1], p[2]};  // memory R, G, B (, A)
    case 8:
    case 9:
      return {p[5], p[3], p[1]};  // 16-bit B, G, R (, A), high bytes
    case 11:
      return {p[1], p[3], p[5]};  // 16-bit R, G, B, A
    default:
      return {row[x], row[x], row[x]};
  }
}

int PixelGrey(const CImageData& image, int x, int y) {
  const int f = image.GetImagePixelFormat();
  if (IsYuv(f) || IsEightBit(f))
    return image.GetBytes()[static_cast<size_t>(y) * image.GetStride() + x];
  const Colour c = PixelColour(image, x, y);
  return (19562 * c.r + 38550 * c.g + 7424 * c.b) >> 16;
}

// The converted image must be `input` in grey (8 bits) or in 24-bit colour, pixel
// for pixel, with the input's size, orientation and tag.
void CheckConverted(const CImageData& input, const CImageData& output, bool grey) {
  const int w = input.GetWidth(), h = input.GetHeight();
  const int bytesPerPixel = grey ? 1 : 3;
  Check(output.GetWidth() == w && output.GetHeight() == h);
  Check(output.GetImagePixelFormat() == (grey ? 2 : 6));
  Check(output.GetStride() == w * bytesPerPixel);
  Check(output.GetBytesLength() == static_cast<uint64_t>(w) * bytesPerPixel * h);
  Check(output.GetOrientation() == input.GetOrientation());
  Check(output.GetBytes() != nullptr && output.GetBytes() != input.GetBytes());
  if (input.GetImageTag() == nullptr) {
    Check(output.GetImageTag() == nullptr);
  } else {
    Check(output.GetImageTag() != nullptr && output.GetImageTag() != input.GetImageTag());
    Check(output.GetImageTag()->GetType() == 0);
    Check(output.GetImageTag()->GetImageId() == input.GetImageTag()->GetImageId());
  }
  for (int y = 0; y < h; ++y) {
    const uint8_t* out = output.GetBytes() + static_cast<size_t>(y) * output.GetStride();
    for (int x = 0; x < w; ++x) {
      if (grey) {
        Check(out[x] == PixelGrey(input, x, y));
      } else {
        const Colour c = PixelColour(input, x, y);
        Check(out[3 * x] == c.b && out[3 * x + 1] == c.g && out[3 * x + 2] == c.r);
      }
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Fields fields(data, size);
  const int width = fields.Next<int32_t>();
  const int height = fields.Next<int32_t>();
  const int stride = fields.Next<int32_t>();
  const int format = fields.Next<int32_t>();
  const int orientation = fields.Next<int32_t>();
  const int usage = fields.Next<int8_t>();
  const uint8_t flags = fields.Next<uint8_t>();
  const int tagId = fields.Next<int32_t>();
  const uint64_t claimed = fields.Next<uint64_t>();
  const bool nullBytes = (flags & 1) != 0;
  const uint64_t length = claimed % (fields.restSize() + uint64_t{1});

  norvane::test_support::GuardedBuffer pixels(static_cast<size_t>(length));
  if (length != 0) std::memcpy(pixels.data(), fields.rest(), static_cast<size_t>(length));
  CFileImageTag tag("fuzz", 1, 2);
  tag.SetImageId(tagId);
  const CImageData image(length, nullBytes ? nullptr : pixels.data(), nullptr, width, height,
                         stride, static_cast<ImagePixelFormat>(format), orientation,
                         (flags & 2) != 0 ? &tag : nullptr);

  const int validation = TQ_ValidateImageData(&image);
  Check(validation == ExpectedValidation(width, height, stride, format, nullBytes, length));

  // Which conversion each usage asks for: none (null), grey or colour.
  enum { kNone, kGrey, kColour } expected = kNone;
  if (validation == 0) {
    if (usage == 2) {
      expected = IsEightBit(format) ? kNone : kGrey;
    } else if (usage == 1) {
      expected = format == 6 ? kNone : kColour;
    } else if (!IsEightBit(format) && format != 6) {
      expected = IsOneBit(format) ? kGrey : kColour;
    }
  }
  std::unique_ptr<CImageData> converted(TQ_ConvertImageData(&image, usage));
  Check((converted != nullptr) == (expected != kNone));
  if (converted != nullptr) CheckConverted(image, *converted, expected == kGrey);
  if (validation == 0) {
    // The two direct conversions always convert.
    std::unique_ptr<CImageData> grey(TQ_ConvertToGrayscale(&image));
    Check(grey != nullptr);
    CheckConverted(image, *grey, true);
    std::unique_ptr<CImageData> colour(TQ_ConvertToRGB(&image));
    Check(colour != nullptr);
    CheckConverted(image, *colour, false);
  } else {
    Check(TQ_ConvertToGrayscale(&image) == nullptr && TQ_ConvertToRGB(&image) == nullptr);
  }
  return 0;
}
