#include "basic_structures/pixel_kernels.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <random>
#include <vector>

#include "core/cpu_features.h"
#include "test_support/guarded_buffer.h"

namespace norvane {
namespace internal {
namespace {

using test_support::GuardedBuffer;

std::vector<const PixelRowKernels*> SimdKernelSets() {
  std::vector<const PixelRowKernels*> sets;
  for (const PixelRowKernels* k : {Sse2RowKernels(), Avx2RowKernels(), NeonRowKernels()}) {
    if (k != nullptr) sets.push_back(k);
  }
  return sets;
}

std::vector<int> Widths() {
  std::vector<int> widths;
  for (int w = 1; w <= 70; ++w) widths.push_back(w);
  for (int w : {127, 128, 129, 255, 1919, 1920, 4097}) widths.push_back(w);
  return widths;
}

void Fill(unsigned char* p, size_t n, std::mt19937& random, int pattern) {
  for (size_t i = 0; i < n; ++i) {
    const unsigned r = static_cast<unsigned>(random());
    // 0: uniform bytes; 1: only the extremes, which drive the sums and clips hardest.
    p[i] = pattern == 0 ? static_cast<unsigned char>(r) : ((r & 1) ? 255 : (r & 2) ? 0 : 16);
  }
}

// Every input and output ends exactly at an inaccessible page, so a kernel that
// reads or writes one byte too many faults; the output is then compared with the
// reference kernel's, byte for byte.
void CompareGrey(GreyRowKernel simd, GreyRowKernel reference, int bytesPerPixel, const char* what,
                 const char* set) {
  std::mt19937 random(7);
  for (int w : Widths()) {
    for (int pattern = 0; pattern < 2; ++pattern) {
      const size_t inBytes = static_cast<size_t>(w) * bytesPerPixel;
      GuardedBuffer in(inBytes), out(static_cast<size_t>(w));
      Fill(in.data(), inBytes, random, pattern);
      std::vector<unsigned char> expected(static_cast<size_t>(w));
      reference(in.data(), expected.data(), w);
      std::memset(out.data(), 0xCC, static_cast<size_t>(w));
      simd(in.data(), out.data(), w);
      ASSERT_EQ(std::memcmp(out.data(), expected.data(), static_cast<size_t>(w)), 0)
          << set << " " << what << " width " << w;
    }
  }
}

void CompareYuv(YuvRowKernel simd, YuvRowKernel reference, const char* what, const char* set) {
  std::mt19937 random(11);
  for (int w : Widths()) {
    for (int pattern = 0; pattern < 2; ++pattern) {
      const size_t chromaBytes = static_cast<size_t>((w + 1) / 2 * 2);
      const size_t outBytes = static_cast<size_t>(w) * 3;
      GuardedBuffer y(static_cast<size_t>(w)), chroma(chromaBytes), out(outBytes);
      Fill(y.data(), static_cast<size_t>(w), random, pattern);
      Fill(chroma.data(), chromaBytes, random, pattern);
      std::vector<unsigned char> expected(outBytes);
      reference(y.data(), chroma.data(), expected.data(), w);
      std::memset(out.data(), 0xCC, outBytes);
      simd(y.data(), chroma.data(), out.data(), w);
      ASSERT_EQ(std::memcmp(out.data(), expected.data(), outBytes), 0)
          << set << " " << what << " width " << w;
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
  const PixelRowKernels& ref = ReferenceRowKernels();
  for (const PixelRowKernels* k : SimdKernelSets()) {
    std::printf("comparing the %s kernels\n", k->name);
    CompareGrey(k->greyFromBgr24, ref.greyFromBgr24, 3, "grey from BGR24", k->name);
    CompareGrey(k->greyFromRgb24, ref.greyFromRgb24, 3, "grey from RGB24", k->name);
    CompareGrey(k->greyFromBgra32, ref.greyFromBgra32, 4, "grey from BGRA32", k->name);
    CompareGrey(k->greyFromRgba32, ref.greyFromRgba32, 4, "grey from RGBA32", k->name);
    CompareYuv(k->bgr24FromNv21, ref.bgr24FromNv21, "BGR24 from NV21", k->name);
    CompareYuv(k->bgr24FromNv12, ref.bgr24FromNv12, "BGR24 from NV12", k->name);
  }
}

}  // namespace
}  // namespace internal
}  // namespace norvane
