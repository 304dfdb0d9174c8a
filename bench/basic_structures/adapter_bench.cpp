// The image-source adapter's round trip (copy a frame in, take it out, delete it)
// against the plain copy it cannot avoid: malloc, memcpy and free of the same bytes.
// And a colour frame taken out as grey, which the adapter converts in its own copy,
// against the same copy converted into a second buffer.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <cstring>
#include <vector>

#include "norvane/basic_structures/image_source_adapter.h"
#include "norvane/basic_structures/pixel_conversion.h"

namespace {

using norvane::basic_structures::CImageData;
using norvane::basic_structures::CImageSourceAdapter;
using norvane::basic_structures::ColourChannelUsageType;

constexpr int kWidth = 1920;
constexpr int kHeight = 1080;
constexpr size_t kFrameBytes = static_cast<size_t>(kWidth) * kHeight;

class BenchAdapter : public CImageSourceAdapter {
 public:
  bool HasNextImageToFetch() const override { return true; }
};

std::vector<unsigned char> MakeFrame(size_t bytes = kFrameBytes) {
  std::vector<unsigned char> frame(bytes);
  for (size_t i = 0; i < frame.size(); ++i) frame[i] = static_cast<unsigned char>(i * 7 + 3);
  return frame;
}

// Copies `frame` into an adapter and takes it out under `usage`, once an iteration.
void AdapterRoundTrip(benchmark::State& state, const CImageData& frame, int usage) {
  BenchAdapter adapter;
  adapter.SetColourChannelUsageType(static_cast<ColourChannelUsageType>(usage));
  adapter.StartFetching();
  for (auto _ : state) {
    adapter.AddImageToBuffer(&frame, true);
    CImageData* image = adapter.GetImage();
    benchmark::DoNotOptimize(image->GetBytes());
    delete image;
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * frame.GetBytesLength()));
}

void BM_AdapterAddGetDelete(benchmark::State& state) {
  std::vector<unsigned char> pixels = MakeFrame();
  CImageData frame(kFrameBytes, pixels.data(), nullptr, kWidth, kHeight, kWidth,
                   norvane::basic_structures::IPF_GRAYSCALE);
  AdapterRoundTrip(state, frame, norvane::basic_structures::CCUT_AUTO);
}
BENCHMARK(BM_AdapterAddGetDelete);

void BM_MallocMemcpyFree(benchmark::State& state) {
  std::vector<unsigned char> pixels = MakeFrame();
  for (auto _ : state) {
    void* copy = std::malloc(kFrameBytes);
    std::memcpy(copy, pixels.data(), kFrameBytes);
    benchmark::DoNotOptimize(copy);
    benchmark::ClobberMemory();
    std::free(copy);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * kFrameBytes);
}
BENCHMARK(BM_MallocMemcpyFree);

// A frame of the format state.range(0) (24-bit colour or NV21) and its length.
CImageData MakeColourFrame(const benchmark::State& state, std::vector<unsigned char>* pixels) {
  const auto format = static_cast<norvane::basic_structures::ImagePixelFormat>(state.range(0));
  const bool nv21 = format == norvane::basic_structures::IPF_NV21;
  *pixels = MakeFrame(nv21 ? kFrameBytes * 3 / 2 : 3 * kFrameBytes);
  return CImageData(pixels->size(), pixels->data(), nullptr, kWidth, kHeight,
                    nv21 ? kWidth : 3 * kWidth, format);
}

void BM_AdapterColourToGrey(benchmark::State& state) {
  std::vector<unsigned char> pixels;
  const CImageData frame = MakeColourFrame(state, &pixels);
  AdapterRoundTrip(state, frame, norvane::basic_structures::CCUT_LUMINANCE_ONLY);
}
BENCHMARK(BM_AdapterColourToGrey)
    ->Arg(norvane::basic_structures::IPF_RGB_888)
    ->Arg(norvane::basic_structures::IPF_NV21);

void BM_CopyThenConvertToGrey(benchmark::State& state) {
  std::vector<unsigned char> pixels;
  const CImageData frame = MakeColourFrame(state, &pixels);
  for (auto _ : state) {
    CImageData copy(pixels.size(), pixels.data(), kWidth, kHeight, frame.GetStride(),
                    frame.GetImagePixelFormat());
    CImageData* grey = TQ_ConvertToGrayscale(&copy);
    benchmark::DoNotOptimize(grey->GetBytes());
    delete grey;
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * pixels.size());
}
BENCHMARK(BM_CopyThenConvertToGrey)
    ->Arg(norvane::basic_structures::IPF_RGB_888)
    ->Arg(norvane::basic_structures::IPF_NV21);

}  // namespace
