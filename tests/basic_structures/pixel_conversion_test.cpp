#include "norvane/basic_structures/pixel_conversion.h"

#include <gtest/gtest.h>

#include <atomic>
#include <climits>
#include <cmath>
#include <cstring>
#include <memory>
#include <random>
#include <thread>
#include <vector>

#include "norvane/basic_structures/image_source_adapter.h"
#include "test_support/guarded_buffer.h"

namespace norvane {
namespace basic_structures {
namespace {

using test_support::GuardedBuffer;

// ---- The oracle: one pixel at a time, straight from the description of each format.

struct Colour {
  int r, g, b;
};

int BytesPerRow(int format, int width) {
  static const int kBitsPerPixel[16] = {1, 1, 8, 8, 16, 16, 24, 32, 48, 64, 32, 64, 24, 8, 8, 8};
  if (format == 3 || format == 14) return width % 2 == 0 ? width : width + 1;
  return (width * kBitsPerPixel[format] + 7) / 8;
}

int Rows(int format, int height) {
  return (format == 3 || format == 14) ? height + (height + 1) / 2 : height;
}

int Widen(int value, int bits) {  // repeat the top bits below the value
  int wide = value << (8 - bits);
  return wide | (wide >> bits);
}

int FloorDiv256(int v) { return static_cast<int>(std::floor(v / 256.0)); }
int Clamp(int v) { return v < 0 ? 0 : (v > 255 ? 255 : v); }

Colour OracleColour(const CImageData& image, int x, int y) {
  const unsigned char* row = image.GetBytes() + static_cast<size_t>(y) * image.GetStride();
  const int f = image.GetImagePixelFormat();
  auto at = [&](int bytesPerPixel, int index) { return row[x * bytesPerPixel + index]; };
  switch (f) {
    case 0:
    case 1: {
      const bool set = (row[x / 8] & (0x80 >> (x % 8))) != 0;
      const int v = (set == (f == 0)) ? 255 : 0;
      return {v, v, v};
    }
    case 3:
    case 14: {
      const unsigned char* chroma =
          image.GetBytes() + static_cast<size_t>(image.GetHeight() + y / 2) * image.GetStride() +
          (x / 2) * 2;
      const int u = f == 14 ? chroma[0] : chroma[1];
      const int v = f == 14 ? chroma[1] : chroma[0];
      const int c = row[x] - 16, d = u - 128, e = v - 128;
      return {Clamp(FloorDiv256(298 * c + 409 * e + 128)),
              Clamp(FloorDiv256(298 * c - 100 * d - 208 * e + 128)),
              Clamp(FloorDiv256(298 * c + 516 * d + 128))};
    }
    case 4: {
      const int w = at(2, 0) + 256 * at(2, 1);
      return {Widen(w / 2048, 5), Widen((w / 32) % 64, 6), Widen(w % 32, 5)};
    }
    case 5: {
      const int w = at(2, 0) + 256 * at(2, 1);
      return {Widen((w / 1024) % 32, 5), Widen((w / 32) % 32, 5), Widen(w % 32, 5)};
    }
    case 6:
      return {at(3, 2), at(3, 1), at(3, 0)};
    case 7:
      return {at(4, 2), at(4, 1), at(4, 0)};
    case 8:
      return {at(6, 5), at(6, 3), at(6, 1)};
    case 9:
      return {at(8, 5), at(8, 3), at(8, 1)};
    case 10:
      return {at(4, 0), at(4, 1), at(4, 2)};
    case 11:
      return {at(8, 1), at(8, 3), at(8, 5)};
    case 12:
      return {at(3, 0), at(3, 1), at(3, 2)};
    default:
      return {row[x], row[x], row[x]};  // 2, 13, 15
  }
}

int OracleGrey(const CImageData& image, int x, int y) {
  const int f = image.GetImagePixelFormat();
  if (f == 3 || f == 14) return image.GetBytes()[static_cast<size_t>(y) * image.GetStride() + x];
  const Colour c = OracleColour(image, x, y);
  return (19562 * c.r + 38550 * c.g + 7424 * c.b) / 65536;
}

// Checks everything about a converted image: null exactly when expected, the format
// and minimal stride, the tag and orientation of the source, every pixel.
void ExpectConverted(const CImageData& source, const CImageData* out, int expectedFormat) {
  std::unique_ptr<const CImageData> owned(out);
  if (expectedFormat < 0) {
    EXPECT_EQ(out, nullptr);
    return;
  }
  ASSERT_NE(out, nullptr);
  const int w = source.GetWidth(), h = source.GetHeight();
  const int bytesPerPixel = expectedFormat == IPF_GRAYSCALE ? 1 : 3;
  ASSERT_EQ(out->GetImagePixelFormat(), expectedFormat);
  ASSERT_EQ(out->GetWidth(), w);
  ASSERT_EQ(out->GetHeight(), h);
  ASSERT_EQ(out->GetStride(), w * bytesPerPixel);
  ASSERT_EQ(out->GetBytesLength(), static_cast<unsigned long long>(w) * bytesPerPixel * h);
  EXPECT_EQ(out->GetOrientation(), source.GetOrientation());
  if (source.GetImageTag() == nullptr) {
    EXPECT_EQ(out->GetImageTag(), nullptr);
  } else {
    ASSERT_NE(out->GetImageTag(), nullptr);
    EXPECT_NE(out->GetImageTag(), source.GetImageTag());
    EXPECT_EQ(out->GetImageTag()->GetImageId(), source.GetImageTag()->GetImageId());
  }
  int mismatches = 0;
  for (int y = 0; y < h; ++y) {
    const unsigned char* row = out->GetBytes() + static_cast<size_t>(y) * out->GetStride();
    for (int x = 0; x < w; ++x) {
      const Colour c = OracleColour(source, x, y);
      const unsigned char* p = row + bytesPerPixel * x;
      const bool same = bytesPerPixel == 1 ? p[0] == OracleGrey(source, x, y)
                                           : p[0] == c.b && p[1] == c.g && p[2] == c.r;
      if (!same && ++mismatches < 4) {
        ADD_FAILURE() << "pixel " << x << "," << y << " of format " << source.GetImagePixelFormat()
                      << " width " << w;
      }
    }
  }
  EXPECT_EQ(mismatches, 0);
}

// What each usage makes of each format: -1 for no conversion.
int ExpectedFormat(int format, int usage) {
  const bool eightBit = format == 2 || format == 13 || format == 15;
  if (usage == CCUT_LUMINANCE_ONLY) return eightBit ? -1 : IPF_GRAYSCALE;
  if (usage == CCUT_FULL_COLOUR) return format == 6 ? -1 : IPF_RGB_888;
  if (eightBit || format == 6) return -1;
  return (format == 0 || format == 1) ? IPF_GRAYSCALE : IPF_RGB_888;
}

TEST(PixelConversion, EveryFormatAndUsageMatchesPerPixelOracle) {
  std::mt19937 random(2024);
  const int widths[] = {1, 2, 3, 5, 7, 9, 15, 16, 17, 31, 33, 47, 63, 65, 101};
  const int heights[] = {1, 2, 3, 6};
  const int paddings[] = {0, 1, 5, 32};
  CVideoFrameTag tag(VFQ_HIGH, false, nullptr, 640, 480);
  tag.SetImageId(77);
  for (int format = 0; format < 16; ++format) {
    for (int w : widths) {
      for (int h : heights) {
        for (int padding : paddings) {
          const int stride = BytesPerRow(format, w) + padding;
          const size_t length = static_cast<size_t>(stride) * Rows(format, h);
          // The bytes end exactly at an inaccessible page: a read past them faults.
          GuardedBuffer buffer(length);
          for (size_t i = 0; i < length; ++i)
            buffer.data()[i] = static_cast<unsigned char>(random());
          // Extremes of the YUV range hit the clipping on both sides.
          if ((format == 3 || format == 14) && w == 17) {
            for (size_t i = 0; i < length; ++i) buffer.data()[i] = (random() & 1) ? 0 : 255;
          }
          const CImageData image(length, buffer.data(), nullptr, w, h, stride,
                                 static_cast<ImagePixelFormat>(format), 90 * (w % 4),
                                 padding == 5 ? nullptr : &tag);
          ASSERT_EQ(TQ_ValidateImageData(&image), 0);
          SCOPED_TRACE(::testing::Message() << "format " << format << " width " << w << " height "
                                            << h << " stride " << stride);
          for (int usage : {0, 1, 2, 3, -1}) {
            ExpectConverted(image, TQ_ConvertImageData(&image, usage),
                            ExpectedFormat(format, usage));
          }
          ExpectConverted(image, TQ_ConvertToGrayscale(&image), IPF_GRAYSCALE);
          ExpectConverted(image, TQ_ConvertToRGB(&image), IPF_RGB_888);
        }
      }
    }
  }
}

// The first calls from several threads at once also race to choose the kernels.
TEST(PixelConversion, ConcurrentCallsGiveEqualResults) {
  const int w = 301, h = 7, stride = 305;
  std::vector<unsigned char> pixels(static_cast<size_t>(stride) * (h + (h + 1) / 2));
  std::mt19937 random(5);
  for (unsigned char& p : pixels) p = static_cast<unsigned char>(random());
  const CImageData image(pixels.size(), pixels.data(), nullptr, w, h, stride, IPF_NV21);
  std::unique_ptr<CImageData> expected(TQ_ConvertToRGB(&image));
  ASSERT_NE(expected, nullptr);
  std::vector<std::thread> threads;
  std::atomic<int> mismatches{0};
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 50; ++i) {
        std::unique_ptr<CImageData> out(TQ_ConvertImageData(&image, i % 2));
        if (out == nullptr ||
            std::memcmp(out->GetBytes(), expected->GetBytes(), expected->GetBytesLength()) != 0) {
          ++mismatches;
        }
      }
    });
  }
  for (std::thread& t : threads) t.join();
  EXPECT_EQ(mismatches.load(), 0);
}

class TestAdapter : public CImageSourceAdapter {
 public:
  bool HasNextImageToFetch() const override { return true; }
};

class DerivedImage : public CImageData {
 public:
  using CImageData::CImageData;
};

void KeepBytes(const unsigned char*) {}

// Under luminance-only use the adapter turns the images it owns into grey in their own
// buffers; what GetImage returns must not differ from the copying conversion, and
// bytes the adapter cannot know to be its own must stay untouched.
TEST(PixelConversion, AdapterGreyMatchesOracleWhateverOwnsTheBytes) {
  std::mt19937 random(99);
  CFileImageTag tag("page.png", 1, 2);
  tag.SetImageId(5);
  TestAdapter adapter;
  adapter.SetColourChannelUsageType(CCUT_LUMINANCE_ONLY);
  adapter.SetMaxImageCount(4);
  adapter.StartFetching();
  for (int format = 0; format < 16; ++format) {
    for (int w : {1, 2, 17, 33, 67}) {
      for (int h : {1, 3}) {
        for (int padding : {0, 5, 32}) {
          const int stride = BytesPerRow(format, w) + padding;
          const size_t length = static_cast<size_t>(stride) * Rows(format, h);
          std::vector<unsigned char> pixels(length);
          for (unsigned char& p : pixels) p = static_cast<unsigned char>(random());
          const CImageData source(length, pixels.data(), nullptr, w, h, stride,
                                  static_cast<ImagePixelFormat>(format), 90, &tag);
          SCOPED_TRACE(::testing::Message() << "format " << format << " width " << w << " height "
                                            << h << " stride " << stride);
          const int expected = ExpectedFormat(format, CCUT_LUMINANCE_ONLY);
          // The adapter's own copy; an image handed over with new[] bytes; one of a
          // derived class; bytes owned by somebody else (a deleter that keeps them).
          adapter.AddImageToBuffer(&source, true);
          auto* owned = new unsigned char[length];
          std::memcpy(owned, pixels.data(), length);
          adapter.AddImageToBuffer(new CImageData(length, owned, &CImageData::DeleteByteArray, w, h,
                                                  stride, source.GetImagePixelFormat(), 90, &tag),
                                   false);
          adapter.AddImageToBuffer(new DerivedImage(length, pixels.data(), w, h, stride,
                                                    source.GetImagePixelFormat(), 90, &tag),
                                   false);
          GuardedBuffer foreign(length);
          std::memcpy(foreign.data(), pixels.data(), length);
          adapter.AddImageToBuffer(new CImageData(length, foreign.data(), &KeepBytes, w, h, stride,
                                                  source.GetImagePixelFormat(), 90, &tag),
                                   false);
          for (int i = 0; i < 4; ++i) {
            CImageData* out = adapter.GetImage();
            ASSERT_NE(out, nullptr);
            if (expected < 0) {  // eight-bit images come out as they went in
              EXPECT_EQ(out->GetImagePixelFormat(), format);
              EXPECT_EQ(std::memcmp(out->GetBytes(), pixels.data(), length), 0);
              delete out;
            } else {
              ExpectConverted(source, out, expected);
            }
          }
          EXPECT_EQ(std::memcmp(foreign.data(), pixels.data(), length), 0);
        }
      }
    }
  }
}

struct InvalidCase {
  unsigned long long length;  // bytes the image claims, all of them allocated
  bool nullBytes;
  int width, height, stride, format;
  int code;
};

void ExpectRejected(const InvalidCase& c) {
  // Exactly `length` heap bytes: AddressSanitizer reports any read beyond them.
  std::vector<unsigned char> storage(static_cast<size_t>(c.length) + (c.length == 0 ? 1 : 0), 0x5A);
  const CImageData image(c.length, c.nullBytes ? nullptr : storage.data(), nullptr, c.width,
                         c.height, c.stride, static_cast<ImagePixelFormat>(c.format));
  SCOPED_TRACE(::testing::Message() << "format " << c.format << " " << c.width << "x" << c.height
                                    << " stride " << c.stride << " length " << c.length);
  EXPECT_EQ(TQ_ValidateImageData(&image), c.code);
  EXPECT_EQ(TQ_ConvertToGrayscale(&image), nullptr);
  EXPECT_EQ(TQ_ConvertToRGB(&image), nullptr);
  for (int usage = 0; usage < 3; ++usage) EXPECT_EQ(TQ_ConvertImageData(&image, usage), nullptr);
}

TEST(PixelConversion, InvalidImagesAreRejectedWithTheirCode) {
  EXPECT_EQ(TQ_ValidateImageData(nullptr), -10002);
  EXPECT_EQ(TQ_ConvertToGrayscale(nullptr), nullptr);
  EXPECT_EQ(TQ_ConvertToRGB(nullptr), nullptr);
  EXPECT_EQ(TQ_ConvertImageData(nullptr, 1), nullptr);

  for (int format : {-1, 16, 1000, INT_MIN}) ExpectRejected({64, false, 4, 4, 4, format, -10071});
  // A bad format wins over bad sizes.
  ExpectRejected({0, true, 0, 0, 0, 16, -10071});

  for (int format = 0; format < 16; ++format) {
    for (int w : {1, 5, 8, 13}) {
      for (int h : {1, 3, 4}) {
        const int row = BytesPerRow(format, w);
        const unsigned long long needed = static_cast<unsigned long long>(row) * Rows(format, h);
        ExpectRejected({needed, true, w, h, row, format, -10069});
        ExpectRejected({needed, false, 0, h, row, format, -10069});
        ExpectRejected({needed, false, -w, h, row, format, -10069});
        ExpectRejected({needed, false, w, 0, row, format, -10069});
        ExpectRejected({needed, false, w, -h, row, format, -10069});
        ExpectRejected({needed, false, w, h, row - 1, format, -10069});
        ExpectRejected({needed, false, w, h, -row, format, -10069});
        // One byte short, with the minimal and with a padded stride.
        ExpectRejected({needed - 1, false, w, h, row, format, -10070});
        const int padded = row + 3;
        const unsigned long long paddedNeeded =
            static_cast<unsigned long long>(padded) * Rows(format, h);
        ExpectRejected({paddedNeeded - 1, false, w, h, padded, format, -10070});
        ExpectRejected({0, false, w, h, row, format, -10070});
      }
    }
  }
  // Rows too wide for any stride: the row size must not wrap around.
  ExpectRejected({64, false, INT_MAX, 1, INT_MAX, IPF_ARGB_16161616, -10069});
  ExpectRejected({64, false, INT_MAX, 1, INT_MAX, IPF_NV21, -10069});
  // Sizes whose product overflows 32 bits still need that many bytes.
  ExpectRejected({64, false, 1, 65536, 65536, IPF_GRAYSCALE, -10070});
  ExpectRejected({64, false, 1, INT_MAX, INT_MAX, IPF_NV12, -10070});
}

}  // namespace
}  // namespace basic_structures
}  // namespace norvane
