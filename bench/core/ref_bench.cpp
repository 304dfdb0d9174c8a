// TQRef copy + destruction next to std::shared_ptr copy + destruction, on one
// object, single-threaded and with two threads sharing it.
#include <benchmark/benchmark.h>

#include <memory>

#include "norvane/core/object_base.h"

namespace {

struct Payload : norvane::TQObjectBase {
  int value = 0;
};
struct PlainPayload {
  int value = 0;
};

norvane::TQRef<Payload> g_ref(new Payload);
std::shared_ptr<PlainPayload> g_shared = std::make_shared<PlainPayload>();

void BM_TQRefCopyDestroy(benchmark::State& state) {
  for (auto _ : state) {
    norvane::TQRef<Payload> copy(g_ref);
    benchmark::DoNotOptimize(copy);
  }
}
BENCHMARK(BM_TQRefCopyDestroy)->Threads(1)->Threads(2)->UseRealTime();

void BM_SharedPtrCopyDestroy(benchmark::State& state) {
  for (auto _ : state) {
    std::shared_ptr<PlainPayload> copy(g_shared);
    benchmark::DoNotOptimize(copy);
  }
}
BENCHMARK(BM_SharedPtrCopyDestroy)->Threads(1)->Threads(2)->UseRealTime();

}  // namespace
