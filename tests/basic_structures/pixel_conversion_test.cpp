#include "norvane/basic_structures/pixel_conversion.h"

#include <gtest/gtest.h>

#include <atomic>
#include <climits>
#include <cstdio>
#include <cstring>
#include <memory>
#include <random>
#include <thread>
#include <vector>

#include "basic_structures/pixel_kernels.h"
#include "core/cpu_features.h"
#include "fuzz_input.h"
#include "norvane/basic_structures/image_source_adapter.h"
#include "test_support/guarded_buffer.h"

namespace norvane {
namespace basic_structures {
namespace {

using test_support::GuardedBuffer;

int BytesPerRow(int format, int width) {
  static const int kBitsPerPixel[16] = {1, 1, 8, 8, 16, 16, 24, 32, 48, 64, 32, 64, 24, 8, 8, 8};
  if (format == 3 || format == 14) return width % 2 == 0 ? width : width + 1;
  return (width * kBitsPerPixel[format] + 7) / 8;
}

int Rows(int format, int height) {
  return (format == 3 || format == 14) ? height + (height + 1) / 2 : height;
}

// One image record through the checks of the image-record fuzz target: its validation
// code and every conversion against the target's per-pixel model, with the bytes
// ending exactly at an inaccessible page. A failed check traps.
struct Record {
  int width, height, stride, format, orientation = 0;
  bool nullBytes = false, tagged = false;
};

void CheckRecord(const Record& r, int usage, const std::vector<unsigned char>& bytes) {
  std::vector<uint8_t> input;
  auto put = [&input](auto value) {
    const auto* p = reinterpret_cast<const uint8_t*>(&value);
    input.insert(input.end(), p, p + sizeof(value));
  };
  const int32_t fields[] = {r.width, r.height, r.stride, r.format, r.orientation};
  for (int32_t field : fields) put(field);
  put(static_cast<int8_t>(usage));
  put(static_cast<uint8_t>((r.nullBytes ? 1 : 0) | (r.tagged ? 2 : 0)));
  put(int32_t{77});                          // the tag's id
  put(static_cast<uint64_t>(bytes.size()));  // the claimed length: all bytes given
  input.insert(input.end(), bytes.begin(), bytes.end());
  static const bool named = (norvane_fuzz::NameInputsOnCrash(), true);
  (void)named;
  norvane_fuzz::NameInput("%dx%d stride %d format %d usage %d", r.width, r.height, r.stride,
                          r.format, usage);
  LLVMFuzzerTestOneInput(input.data(), input.size());
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

TEST(PixelConversion, EveryFormatAndUsageMatchesPerPixelModel) {
  std::mt19937 random(2024);
  ForEachShape({1, 2, 3, 5, 7, 9, 15, 16, 17, 31, 33, 47, 63, 65, 101}, {1, 2, 3, 6}, {0, 1, 5, 32},
               [&](int format, int w, int h, int stride, size_t length) {
                 // Extremes of the YUV range (width 17) hit the clipping on both sides.
                 const bool extremes = (format == 3 || format == 14) && w == 17;
                 std::vector<unsigned char> bytes(length);
                 for (unsigned char& b : bytes) {
                   const unsigned r = static_cast<unsigned>(random());
                   b = static_cast<unsigned char>(extremes ? (r & 1) * 255 : r);
                 }
                 const Record record{w, h, stride, format, 90 * (w % 4), false, stride % 4 != 1};
                 for (int usage : {0, 1, 2, 3, -1}) CheckRecord(record, usage, bytes);
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
TEST(PixelConversion, AdapterGreyMatchesCopyingConversionWhateverOwnsTheBytes) {
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
        // Eight-bit images come out as they went in.
        std::unique_ptr<CImageData> grey(TQ_ConvertImageData(&source, CCUT_LUMINANCE_ONLY));
        const CImageData& expected = grey != nullptr ? *grey : source;
        for (int i = 0; i < 4; ++i) {
          std::unique_ptr<CImageData> out(adapter.GetImage());
          ASSERT_NE(out, nullptr);
          EXPECT_EQ(
              std::vector<long long>({out->GetImagePixelFormat(), out->GetStride(),
                                      static_cast<long long>(out->GetBytesLength()),
                                      out->GetOrientation(), out->GetImageTag()->GetImageId()}),
              std::vector<long long>({expected.GetImagePixelFormat(), expected.GetStride(),
                                      static_cast<long long>(expected.GetBytesLength()), 90, 5}));
          EXPECT_EQ(std::memcmp(out->GetBytes(), expected.GetBytes(), expected.GetBytesLength()),
                    0);
        }
        EXPECT_EQ(std::memcmp(foreign.data(), pixels.data(), length), 0);
      });
}

// The codes themselves come from the model: a bad format wins over bad sizes, and
// sizes must not wrap around in 32 bits.
TEST(PixelConversion, InvalidImagesAreRejectedWithTheirCode) {
  EXPECT_EQ(TQ_ValidateImageData(nullptr), -10002);
  EXPECT_EQ(TQ_ConvertToGrayscale(nullptr), nullptr);
  EXPECT_EQ(TQ_ConvertToRGB(nullptr), nullptr);
  EXPECT_EQ(TQ_ConvertImageData(nullptr, 1), nullptr);

  const std::vector<unsigned char> bytes64(64, 0x5A);
  for (int format : {-1, 16, 1000, INT_MIN}) CheckRecord({4, 4, 4, format}, 1, bytes64);
  CheckRecord({0, 0, 0, 16, 0, true}, 1, {});
  CheckRecord({INT_MAX, 1, INT_MAX, IPF_ARGB_16161616}, 1, bytes64);
  CheckRecord({INT_MAX, 1, INT_MAX, IPF_NV21}, 1, bytes64);
  CheckRecord({1, 65536, 65536, IPF_GRAYSCALE}, 1, bytes64);
  CheckRecord({1, INT_MAX, INT_MAX, IPF_NV12}, 1, bytes64);
  // Each size wrong in turn, with the minimal and with a padded stride.
  ForEachShape(
      {1, 5, 8, 13}, {1, 3, 4}, {0, 3}, [](int format, int w, int h, int stride, size_t length) {
        const std::vector<unsigned char> bytes(length, 0x5A);
        CheckRecord({w, h, stride, format, 0, true}, 1, bytes);
        for (int bad : {0, -w}) CheckRecord({bad, h, stride, format}, 1, bytes);
        for (int bad : {0, -h}) CheckRecord({w, bad, stride, format}, 1, bytes);
        for (int bad : {BytesPerRow(format, w) - 1, -stride})
          CheckRecord({w, h, bad, format}, 1, bytes);
        CheckRecord({w, h, stride, format}, 1, std::vector<unsigned char>(length - 1, 0x5A));
        CheckRecord({w, h, stride, format}, 1, {});
      });
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
