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
}  // namespace internal
}  // namespace norvane
