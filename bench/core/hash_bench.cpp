// GenerateHash's block kernel next to the plain byte-by-byte loop.
#include <benchmark/benchmark.h>

#include <vector>

#include "core/bkdr_hash.h"

namespace {

std::vector<unsigned char> Input(size_t size) {
  std::vector<unsigned char> data(size);
  for (size_t i = 0; i < size; ++i) data[i] = static_cast<unsigned char>(i * 131 + 7);
  return data;
}

void BM_HashBlock(benchmark::State& state) {
  const auto data = Input(static_cast<size_t>(state.range(0)));
  for (auto _ : state) {
    benchmark::DoNotOptimize(norvane::internal::BkdrHash(data.data(), static_cast<unsigned>(data.size())));
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * state.range(0));
}
BENCHMARK(BM_HashBlock)->Arg(64)->Arg(4096)->Arg(32768)->Arg(1280 * 720);

void BM_HashPlainLoop(benchmark::State& state) {
  const auto data = Input(static_cast<size_t>(state.range(0)));
  for (auto _ : state) {
    benchmark::DoNotOptimize(
        norvane::internal::BkdrHashReference(data.data(), static_cast<unsigned>(data.size())));
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * state.range(0));
}
BENCHMARK(BM_HashPlainLoop)->Arg(64)->Arg(4096)->Arg(32768)->Arg(1280 * 720);

}  // namespace
