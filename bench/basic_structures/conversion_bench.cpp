// Pixel-format conversion of a 1920x1080 frame, next to a plain memcpy of the same
// input bytes and next to libyuv's nearest conversion, all in the same run. libyuv's
// grey formula differs from ours: it only anchors the speed. Bytes per second count
// the input image's bytes throughout, so every rate compares with memcpy's.
//
// The public functions include allocating and freeing the output image; the
// rows/... benchmarks run the row kernels of each kernel set this processor has over
// the frame, into a buffer allocated once.
#include <benchmark/benchmark.h>
#include <libyuv.h>

#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "basic_structures/pixel_kernels.h"
#include "norvane/basic_structures/pixel_conversion.h"

namespace {

using norvane::basic_structures::CCUT_FULL_COLOUR;
using norvane::basic_structures::CCUT_LUMINANCE_ONLY;
using norvane::basic_structures::CImageData;
using norvane::basic_structures::ImagePixelFormat;
using norvane::basic_structures::IPF_ARGB_8888;
using norvane::basic_structures::IPF_NV21;
using norvane::basic_structures::IPF_RGB_888;
using norvane::internal::PixelRowKernels;

constexpr int kWidth = 1920;
constexpr int kHeight = 1080;

struct Frame {
  std::vector<uint8_t> bytes;
  int stride;
  std::unique_ptr<CImageData> image;
};

Frame MakeFrame(ImagePixelFormat format) {
  Frame f;
  const int bytesPerPixel = format == IPF_RGB_888 ? 3 : (format == IPF_ARGB_8888 ? 4 : 1);
  const int rows = format == IPF_NV21 ? kHeight + kHeight / 2 : kHeight;
  f.stride = kWidth * bytesPerPixel;
  f.bytes.resize(static_cast<size_t>(f.stride) * rows);
  std::mt19937 random(1);
  for (uint8_t& b : f.bytes) b = static_cast<uint8_t>(random());
  f.image.reset(
      new CImageData(f.bytes.size(), f.bytes.data(), nullptr, kWidth, kHeight, f.stride, format));
  return f;
}

const Frame& FrameOf(ImagePixelFormat format) {
  static const Frame bgr24 = MakeFrame(IPF_RGB_888);
  static const Frame bgra32 = MakeFrame(IPF_ARGB_8888);
  static const Frame nv21 = MakeFrame(IPF_NV21);
  return format == IPF_RGB_888 ? bgr24 : (format == IPF_ARGB_8888 ? bgra32 : nv21);
}

void SetRate(benchmark::State& state, const Frame& f) {
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                          static_cast<int64_t>(f.bytes.size()));
}

template <ImagePixelFormat Format>
void BM_Memcpy(benchmark::State& state) {
  const Frame& f = FrameOf(Format);
  std::vector<uint8_t> out(f.bytes.size());
  for (auto _ : state) {
    std::memcpy(out.data(), f.bytes.data(), f.bytes.size());
    benchmark::ClobberMemory();
  }
  SetRate(state, f);
}

template <ImagePixelFormat Format, int Usage>
void BM_Convert(benchmark::State& state) {
  const Frame& f = FrameOf(Format);
  for (auto _ : state) {
    CImageData* out = TQ_ConvertImageData(f.image.get(), Usage);
    benchmark::DoNotOptimize(out);
    delete out;
  }
  SetRate(state, f);
}

// libyuv's nearest conversion of the same frame, into a buffer allocated once.
template <ImagePixelFormat Format, int Usage>
void BM_Libyuv(benchmark::State& state) {
  const Frame& f = FrameOf(Format);
  const int outStride = Usage == CCUT_FULL_COLOUR ? 3 * kWidth : kWidth;
  std::vector<uint8_t> out(static_cast<size_t>(outStride) * kHeight);
  const uint8_t* src = f.bytes.data();
  for (auto _ : state) {
    if (Format == IPF_RGB_888) {
      libyuv::RGB24ToJ400(src, f.stride, out.data(), outStride, kWidth, kHeight);
    } else if (Format == IPF_ARGB_8888) {
      libyuv::ARGBToJ400(src, f.stride, out.data(), outStride, kWidth, kHeight);
    } else if (Usage == CCUT_FULL_COLOUR) {
      libyuv::NV21ToRGB24(src, f.stride, src + static_cast<size_t>(f.stride) * kHeight, f.stride,
                          out.data(), outStride, kWidth, kHeight);
    } else {
      libyuv::CopyPlane(src, f.stride, out.data(), outStride, kWidth, kHeight);
    }
    benchmark::ClobberMemory();
  }
  SetRate(state, f);
}

const PixelRowKernels* KernelSet(int64_t index) {
  switch (index) {
    case 0:
      return &norvane::internal::ReferenceRowKernels();
    case 1:
      return norvane::internal::Sse2RowKernels();
    case 2:
      return norvane::internal::Avx2RowKernels();
    default:
      return norvane::internal::NeonRowKernels();
  }
}

template <ImagePixelFormat Format>
void BM_Rows(benchmark::State& state) {
  const PixelRowKernels* k = KernelSet(state.range(0));
  const Frame& f = FrameOf(Format);
  const size_t outStride = Format == IPF_NV21 ? 3 * kWidth : kWidth;
  std::vector<uint8_t> out(outStride * kHeight);
  const uint8_t* src = f.bytes.data();
  const size_t stride = static_cast<size_t>(f.stride);
  for (auto _ : state) {
    for (int y = 0; y < kHeight; ++y) {
      uint8_t* dst = out.data() + y * outStride;
      if (Format == IPF_RGB_888) {
        k->greyFromBgr24(src + y * stride, dst, kWidth);
      } else if (Format == IPF_ARGB_8888) {
        k->greyFromBgra32(src + y * stride, dst, kWidth);
      } else {
        k->bgr24FromNv21(src + y * stride, src + (kHeight + y / 2) * stride, dst, kWidth);
      }
    }
    benchmark::ClobberMemory();
  }
  SetRate(state, f);
}

// Format 6 (B, G, R) to grey.
BENCHMARK(BM_Memcpy<IPF_RGB_888>)->Name("format_6/memcpy");
BENCHMARK(BM_Convert<IPF_RGB_888, CCUT_LUMINANCE_ONLY>)->Name("format_6/to_grey");
BENCHMARK(BM_Libyuv<IPF_RGB_888, CCUT_LUMINANCE_ONLY>)->Name("format_6/libyuv_RGB24ToJ400");
// Format 7 (B, G, R, A) to grey.
BENCHMARK(BM_Memcpy<IPF_ARGB_8888>)->Name("format_7/memcpy");
BENCHMARK(BM_Convert<IPF_ARGB_8888, CCUT_LUMINANCE_ONLY>)->Name("format_7/to_grey");
BENCHMARK(BM_Libyuv<IPF_ARGB_8888, CCUT_LUMINANCE_ONLY>)->Name("format_7/libyuv_ARGBToJ400");
// Format 3 (NV21) to grey (its luma plane) and to full colour (format 6).
BENCHMARK(BM_Memcpy<IPF_NV21>)->Name("format_3/memcpy");
BENCHMARK(BM_Convert<IPF_NV21, CCUT_LUMINANCE_ONLY>)->Name("format_3/to_grey");
BENCHMARK(BM_Libyuv<IPF_NV21, CCUT_LUMINANCE_ONLY>)->Name("format_3/libyuv_CopyPlane");
BENCHMARK(BM_Convert<IPF_NV21, CCUT_FULL_COLOUR>)->Name("format_3/to_colour");
BENCHMARK(BM_Libyuv<IPF_NV21, CCUT_FULL_COLOUR>)->Name("format_3/libyuv_NV21ToRGB24");

}  // namespace

int main(int argc, char** argv) {
  // The library lives in multi-threaded processes; start one thread so that the C++
  // runtime behaves as it does there.
  std::thread([] {}).join();
  // The row kernels of every set this processor runs.
  for (int64_t set = 0; set < 4; ++set) {
    const PixelRowKernels* k = KernelSet(set);
    if (k == nullptr) continue;
    const std::string name = k->name;
    benchmark::RegisterBenchmark(("rows/format_6_to_grey/" + name).c_str(), &BM_Rows<IPF_RGB_888>)
        ->Arg(set);
    benchmark::RegisterBenchmark(("rows/format_7_to_grey/" + name).c_str(), &BM_Rows<IPF_ARGB_8888>)
        ->Arg(set);
    benchmark::RegisterBenchmark(("rows/format_3_to_colour/" + name).c_str(), &BM_Rows<IPF_NV21>)
        ->Arg(set);
  }
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
