#include "norvane/basic_structures/pixel_conversion.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>
#include <random>
#include <thread>
#include <vector>

#include "basic_structures/pixel_kernels.h"
#include "core/cpu_features.h"
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

// A `bits`-bit value widened to 8 bits by repeating its top bits below it.
int Widen(int value, int bits) { return (value << (8 - bits)) | (value << (8 - bits) >> bits); }
// v / 256 rounded down, clipped to 0..255.
int Clip(int v) { return std::min(255, std::max(0, static_cast<int>(std::floor(v / 256.0)))); }

// Byte offsets of R, G and B within a pixel of {bytes per pixel} for the plain formats
// (the high byte for 16-bit channels); 8-bit formats repeat the one byte.
const int kChannels[16][4] = {{0},          {0},          {1, 0, 0, 0}, {0},
                              {0},          {0},          {3, 2, 1, 0}, {4, 2, 1, 0},
                              {6, 5, 3, 1}, {8, 5, 3, 1}, {4, 0, 1, 2}, {8, 1, 3, 5},
                              {3, 0, 1, 2}, {1, 0, 0, 0}, {0},          {1, 0, 0, 0}};

Colour OracleColour(const CImageData& image, int x, int y) {
  const unsigned char* row = image.GetBytes() + static_cast<size_t>(y) * image.GetStride();
  const int f = image.GetImagePixelFormat();
  auto word = [&] { return row[2 * x] + 256 * row[2 * x + 1]; };  // 16-bit formats
  if (f == 0 || f == 1) {
    const int v = ((row[x / 8] & (0x80 >> (x % 8))) != 0) == (f == 0) ? 255 : 0;
    return {v, v, v};
  }
  if (f == 3 || f == 14) {
    const unsigned char* chroma =
        image.GetBytes() + static_cast<size_t>(image.GetHeight() + y / 2) * image.GetStride() +
        (x / 2) * 2;
    const int c = row[x] - 16, d = chroma[f == 14 ? 0 : 1] - 128, e = chroma[f == 14 ? 1 : 0] - 128;
    return {Clip(298 * c + 409 * e + 128), Clip(298 * c - 100 * d - 208 * e + 128),
            Clip(298 * c + 516 * d + 128)};
  }
  if (f == 4 || f == 5) {
    const int w = word(), greenBits = f == 4 ? 6 : 5;
    return {Widen((w >> (5 + greenBits)) % 32, 5), Widen((w >> 5) % (1 << greenBits), greenBits),
            Widen(w % 32, 5)};
  }
  const int* k = kChannels[f];
  return {row[x * k[0] + k[1]], row[x * k[0] + k[2]], row[x * k[0] + k[3]]};
}

int OracleGrey(const CImageData& image, int x, int y) {
  const int f = image.GetImagePixelFormat();
  if (f == 3 || f == 14) return image.GetBytes()[static_cast<size_t>(y) * image.GetStride() + x];
  const Colour c = OracleColour(image, x, y);
  return (19562 * c.r + 38550 * c.g + 7424 * c.b) / 65536;
}

// Checks everything about a converted image: null exactly when expected, the format
// and minimal stride, the tag (a copy) and orientation of the source, every pixel.
void ExpectConverted(const CImageData& source, const CImageData* out, int expectedFormat) {
  std::unique_ptr<const CImageData> owned(out);
  ASSERT_EQ(out == nullptr, expectedFormat < 0);
  if (out == nullptr) return;
  const int w = source.GetWidth(), h = source.GetHeight();
  const int bpp = expectedFormat == IPF_GRAYSCALE ? 1 : 3;
  ASSERT_EQ(std::vector<long long>({out->GetImagePixelFormat(), out->GetWidth(), out->GetHeight(),
                                    out->GetStride(), static_cast<long long>(out->GetBytesLength()),
                                    out->GetOrientation()}),
            std::vector<long long>(
                {expectedFormat, w, h, w * bpp, 1LL * w * bpp * h, source.GetOrientation()}));
  const CImageTag* tag = source.GetImageTag();
  ASSERT_EQ(out->GetImageTag() == nullptr, tag == nullptr);
  if (tag != nullptr) {
    EXPECT_NE(out->GetImageTag(), tag);
    EXPECT_EQ(out->GetImageTag()->GetImageId(), tag->GetImageId());
  }
  int mismatches = 0;
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) {
      const Colour c = OracleColour(source, x, y);
      const unsigned char* p =
          out->GetBytes() + static_cast<size_t>(y) * out->GetStride() + bpp * x;
      const bool same =
          bpp == 1 ? p[0] == OracleGrey(source, x, y) : p[0] == c.b && p[1] == c.g && p[2] == c.r;
      if (!same && ++mismatches < 4) ADD_FAILURE() << "pixel " << x << "," << y;
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

// Calls `check(format, w, h, stride, length)` for every format and size given.
template <typename Check>
void ForEachShape(std::initializer_list<int> widths, std::initializer_list<int> heights,
                  std::initializer_list<int> paddings, Check check) {
  for (int format = 0; format < 16; ++format)
    for (int w : widths)
      for (int h : heights)
        for (int padding : paddings) {
          const int stride = BytesPerRow(format, w) + padding;
          SCOPED_TRACE(::testing::Message() << "format " << format << " width " << w << " height "
                                            << h << " stride " << stride);
          check(format, w, h, stride, static_cast<size_t>(stride) * Rows(format, h));
        }
}

TEST(PixelConversion, EveryFormatAndUsageMatchesPerPixelOracle) {
  std::mt19937 random(2024);
  CVideoFrameTag tag(VFQ_HIGH, false, nullptr, 640, 480);
  tag.SetImageId(77);
  ForEachShape({1, 2, 3, 5, 7, 9, 15, 16, 17, 31, 33, 47, 63, 65, 101}, {1, 2, 3, 6}, {0, 1, 5, 32},
               [&](int format, int w, int h, int stride, size_t length) {
                 // The bytes end exactly at an inaccessible page: a read past them faults.
                 GuardedBuffer buffer(length);
                 // Extremes of the YUV range (width 17) hit the clipping on both sides.
                 const bool extremes = (format == 3 || format == 14) && w == 17;
                 for (size_t i = 0; i < length; ++i) {
                   const unsigned r = static_cast<unsigned>(random());
                   buffer.data()[i] = static_cast<unsigned char>(extremes ? (r & 1) * 255 : r);
                 }
                 const CImageData image(length, buffer.data(), nullptr, w, h, stride,
                                        static_cast<ImagePixelFormat>(format), 90 * (w % 4),
                                        stride % 4 == 1 ? nullptr : &tag);
                 ASSERT_EQ(TQ_ValidateImageData(&image), 0);
                 for (int usage : {0, 1, 2, 3, -1}) {
                   ExpectConverted(image, TQ_ConvertImageData(&image, usage),
                                   ExpectedFormat(format, usage));
                 }
                 ExpectConverted(image, TQ_ConvertToGrayscale(&image), IPF_GRAYSCALE);
                 ExpectConverted(image, TQ_ConvertToRGB(&image), IPF_RGB_888);
               });
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
        mismatches += out == nullptr || std::memcmp(out->GetBytes(), expected->GetBytes(),
                                                    expected->GetBytesLength()) != 0;
      }
    });
  }
  for (std::thread& t : threads) t.join();
  EXPECT_EQ(mismatches.load(), 0);
}

struct TestAdapter : CImageSourceAdapter {
  bool HasNextImageToFetch() const override { return true; }
};
struct DerivedImage : CImageData {
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
  ForEachShape(
      {1, 2, 17, 33, 67}, {1, 3}, {0, 5, 32},
      [&](int format, int w, int h, int stride, size_t length) {
        std::vector<unsigned char> pixels(length);
        for (unsigned char& p : pixels) p = static_cast<unsigned char>(random());
        const auto pf = static_cast<ImagePixelFormat>(format);
        const CImageData source(length, pixels.data(), nullptr, w, h, stride, pf, 90, &tag);
        // The adapter's own copy; an image handed over with new[] bytes; one of a derived
        // class; bytes owned by somebody else (a deleter that keeps them).
        adapter.AddImageToBuffer(&source, true);
        auto* owned = new unsigned char[length];
        std::memcpy(owned, pixels.data(), length);
        adapter.AddImageToBuffer(
            new CImageData(length, owned, &CImageData::DeleteByteArray, w, h, stride, pf, 90, &tag),
            false);
        adapter.AddImageToBuffer(
            new DerivedImage(length, pixels.data(), w, h, stride, pf, 90, &tag), false);
        GuardedBuffer foreign(length);
        std::memcpy(foreign.data(), pixels.data(), length);
        adapter.AddImageToBuffer(
            new CImageData(length, foreign.data(), &KeepBytes, w, h, stride, pf, 90, &tag), false);
        const int expected = ExpectedFormat(format, CCUT_LUMINANCE_ONLY);
        for (int i = 0; i < 4; ++i) {
          CImageData* out = adapter.GetImage();
          ASSERT_NE(out, nullptr);
          if (expected >= 0) {
            ExpectConverted(source, out, expected);
            continue;
          }
          EXPECT_EQ(out->GetImagePixelFormat(),
                    format);  // eight-bit images come out as they went in
          EXPECT_EQ(std::memcmp(out->GetBytes(), pixels.data(), length), 0);
          delete out;
        }
        EXPECT_EQ(std::memcmp(foreign.data(), pixels.data(), length), 0);
      });
}

// Null, or rejected with `code` by the validator and every conversion.
void ExpectRejected(unsigned long long length, bool nullBytes, int w, int h, int stride, int format,
                    int code) {
  // Exactly `length` heap bytes: AddressSanitizer reports any read beyond them.
  std::vector<unsigned char> storage(static_cast<size_t>(length) + (length == 0), 0x5A);
  const CImageData image(length, nullBytes ? nullptr : storage.data(), nullptr, w, h, stride,
                         static_cast<ImagePixelFormat>(format));
  SCOPED_TRACE(::testing::Message() << "format " << format << " " << w << "x" << h << " stride "
                                    << stride << " length " << length);
  EXPECT_EQ(TQ_ValidateImageData(&image), code);
  EXPECT_EQ(TQ_ConvertToGrayscale(&image), nullptr);
  EXPECT_EQ(TQ_ConvertToRGB(&image), nullptr);
  for (int usage = 0; usage < 3; ++usage) EXPECT_EQ(TQ_ConvertImageData(&image, usage), nullptr);
}

TEST(PixelConversion, InvalidImagesAreRejectedWithTheirCode) {
  EXPECT_EQ(TQ_ValidateImageData(nullptr), -10002);
  EXPECT_EQ(TQ_ConvertToGrayscale(nullptr), nullptr);
  EXPECT_EQ(TQ_ConvertToRGB(nullptr), nullptr);
  EXPECT_EQ(TQ_ConvertImageData(nullptr, 1), nullptr);

  for (int format : {-1, 16, 1000, INT_MIN}) ExpectRejected(64, false, 4, 4, 4, format, -10071);
  ExpectRejected(0, true, 0, 0, 0, 16, -10071);  // a bad format wins over bad sizes

  // Each size wrong in turn, with the minimal and with a padded stride.
  ForEachShape(
      {1, 5, 8, 13}, {1, 3, 4}, {0, 3}, [](int format, int w, int h, int stride, size_t length) {
        auto reject = [&](size_t bytes, bool nullBytes, int w2, int h2, int stride2, int code) {
          ExpectRejected(bytes, nullBytes, w2, h2, stride2, format, code);
        };
        reject(length, true, w, h, stride, -10069);
        for (int bad : {0, -w}) reject(length, false, bad, h, stride, -10069);
        for (int bad : {0, -h}) reject(length, false, w, bad, stride, -10069);
        for (int bad : {BytesPerRow(format, w) - 1, -stride})
          reject(length, false, w, h, bad, -10069);
        for (size_t bad : {length - 1, size_t{0}}) reject(bad, false, w, h, stride, -10070);
      });
  // Rows too wide for any stride: the row size must not wrap around.
  ExpectRejected(64, false, INT_MAX, 1, INT_MAX, IPF_ARGB_16161616, -10069);
  ExpectRejected(64, false, INT_MAX, 1, INT_MAX, IPF_NV21, -10069);
  // Sizes whose product overflows 32 bits still need that many bytes.
  ExpectRejected(64, false, 1, 65536, 65536, IPF_GRAYSCALE, -10070);
  ExpectRejected(64, false, 1, INT_MAX, INT_MAX, IPF_NV12, -10070);
}

// ---- The row kernels behind the conversions (white-box).

using namespace internal;  // NOLINT

std::vector<int> Widths() {
  std::vector<int> widths;
  for (int w = 1; w <= 70; ++w) widths.push_back(w);
  for (int w : {127, 128, 129, 255, 1919, 1920, 4097}) widths.push_back(w);
  return widths;
}

void Fill(GuardedBuffer& buffer, size_t n, std::mt19937& random, int pattern) {
  for (size_t i = 0; i < n; ++i) {
    const unsigned r = static_cast<unsigned>(random());
    // 0: uniform bytes; 1: only the extremes, which drive the sums and clips hardest.
    buffer.data()[i] = pattern == 0 ? static_cast<unsigned char>(r)
                                    : ((r & 1)   ? 255
                                       : (r & 2) ? 0
                                                 : 16);
  }
}

// Every input and output ends exactly at an inaccessible page, so a kernel that
// reads or writes one byte too many faults; the output of `set` is then compared with
// the reference kernels', byte for byte, for every row kernel and width.
void CompareWithReference(const PixelRowKernels& set, const PixelRowKernels& ref) {
  const struct {
    GreyRowKernel PixelRowKernels::*grey;
    YuvRowKernel PixelRowKernels::*yuv;
    int bytesPerPixel;
    const char* what;
  } kernels[] = {{&PixelRowKernels::greyFromBgr24, nullptr, 3, "grey from BGR24"},
                 {&PixelRowKernels::greyFromRgb24, nullptr, 3, "grey from RGB24"},
                 {&PixelRowKernels::greyFromBgra32, nullptr, 4, "grey from BGRA32"},
                 {&PixelRowKernels::greyFromRgba32, nullptr, 4, "grey from RGBA32"},
                 {nullptr, &PixelRowKernels::bgr24FromNv21, 1, "BGR24 from NV21"},
                 {nullptr, &PixelRowKernels::bgr24FromNv12, 1, "BGR24 from NV12"}};
  std::mt19937 random(7);
  for (const auto& k : kernels) {
    for (int w : Widths()) {
      for (int pattern = 0; pattern < 2; ++pattern) {
        const size_t inBytes = static_cast<size_t>(w) * k.bytesPerPixel;
        const size_t chromaBytes = static_cast<size_t>((w + 1) / 2 * 2);
        const size_t outBytes = static_cast<size_t>(w) * (k.grey != nullptr ? 1 : 3);
        GuardedBuffer in(inBytes), chroma(chromaBytes), out(outBytes);
        Fill(in, inBytes, random, pattern);
        Fill(chroma, chromaBytes, random, pattern);
        std::vector<unsigned char> expected(outBytes);
        std::memset(out.data(), 0xCC, outBytes);
        if (k.grey != nullptr) {
          (ref.*k.grey)(in.data(), expected.data(), w);
          (set.*k.grey)(in.data(), out.data(), w);
        } else {
          (ref.*k.yuv)(in.data(), chroma.data(), expected.data(), w);
          (set.*k.yuv)(in.data(), chroma.data(), out.data(), w);
        }
        ASSERT_EQ(std::memcmp(out.data(), expected.data(), outBytes), 0)
            << set.name << " " << k.what << " width " << w;
      }
    }
  }
}

TEST(PixelKernels, SimdKernelsMatchReferenceBitForBit) {
#if defined(__SSE2__)
  ASSERT_NE(Sse2RowKernels(), nullptr);
#endif
#if defined(NORVANE_X86)
  EXPECT_EQ(Avx2RowKernels() != nullptr, CpuHasAvx2());
#endif
#if defined(__arm__) || defined(__aarch64__)
  EXPECT_EQ(NeonRowKernels() != nullptr, CpuHasNeon());
#endif
  std::printf("conversions use the %s kernels\n", ActiveRowKernels().name);
  for (const PixelRowKernels* k : {Sse2RowKernels(), Avx2RowKernels(), NeonRowKernels()}) {
    if (k == nullptr) continue;
    std::printf("comparing the %s kernels\n", k->name);
    CompareWithReference(*k, ReferenceRowKernels());
  }
}

}  // namespace
}  // namespace basic_structures
}  // namespace norvane
