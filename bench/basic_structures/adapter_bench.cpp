// The image-source adapter's round trip (copy a frame in, take it out, delete it)
// against the plain copy it cannot avoid: malloc, memcpy and free of the same bytes.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <cstring>
#include <vector>

#include "norvane/basic_structures/image_source_adapter.h"

namespace {

using norvane::basic_structures::CImageData;
using norvane::basic_structures::CImageSourceAdapter;

constexpr int kWidth = 1920;
constexpr int kHeight = 1080;
constexpr size_t kFrameBytes = static_cast<size_t>(kWidth) * kHeight;

class BenchAdapter : public CImageSourceAdapter {
 public:
  bool HasNextImageToFetch() const override { return true; }
};

std::vector<unsigned char> MakeFrame() {
  std::vector<unsigned char> frame(kFrameBytes);
  for (size_t i = 0; i < frame.size(); ++i) frame[i] = static_cast<unsigned char>(i * 7 + 3);
  return frame;
}

void BM_AdapterAddGetDelete(benchmark::State& state) {
  std::vector<unsigned char> pixels = MakeFrame();
  CImageData frame(kFrameBytes, pixels.data(), nullptr, kWidth, kHeight, kWidth,
                   norvane::basic_structures::IPF_GRAYSCALE);
  BenchAdapter adapter;
  adapter.StartFetching();
  for (auto _ : state) {
    adapter.AddImageToBuffer(&frame, true);
    CImageData* image = adapter.GetImage();
    benchmark::DoNotOptimize(image->GetBytes());
    delete image;
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * kFrameBytes);
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

}  // namespace
