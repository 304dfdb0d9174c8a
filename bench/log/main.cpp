#include <benchmark/benchmark.h>

#include <thread>

int main(int argc, char** argv) {
  // libstdc++ drops the atomic operations of std::shared_ptr while a process has
  // never started a thread. The library always lives in a multi-threaded process,
  // so a thread is started first to compare like with like.
  std::thread([] {}).join();
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
