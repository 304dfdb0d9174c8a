// The log's costs next to baselines measured in the same run:
//  - the disabled guard AllowLogging(9, LOG_MODE_TEXT) at level 0, next to an empty
//    inlined function call;
//  - one text line in output mode 1 (cached, written out every 4096 lines) and in
//    output mode 0 (open, append, close per line), next to spdlog's basic file sink
//    writing the same line with the same header.
// The log files live in a scratch directory and are truncated now and then so a
// long run does not fill the disk; that work is part of every figure alike.
#include <benchmark/benchmark.h>
#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "norvane/log/log.h"

#if defined(NORVANE_HAVE_SPDLOG)
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>
#endif

namespace {

constexpr int kFlushEvery = 4096;
constexpr int kTruncateEvery = 1 << 16;

class ScratchDir {
 public:
  ScratchDir() {
    char pattern[] = "/tmp/norvane_log_bench_XXXXXX";
    if (mkdtemp(pattern) != nullptr) path_ = pattern;
  }
  ~ScratchDir() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  std::string SavePath() const { return path_ + "/"; }

 private:
  std::string path_;
};

void Truncate(const std::string& path) {
  if (truncate(path.c_str(), 0) != 0) {
    // The file may not exist yet; nothing to do.
  }
}

__attribute__((always_inline)) inline bool EmptyCheck(int level, norvane::LogMode mode) {
  (void)level;
  (void)mode;
  return false;
}

void BM_EmptyInlinedCall(benchmark::State& state) {
  for (auto _ : state) {
    int level = 9;
    benchmark::DoNotOptimize(level);
    bool allowed = EmptyCheck(level, norvane::LOG_MODE_TEXT);
    benchmark::DoNotOptimize(allowed);
  }
}
BENCHMARK(BM_EmptyInlinedCall);

void BM_DisabledGuard(benchmark::State& state) {
  // The process-wide log is never configured here: level 0, mode 0.
  for (auto _ : state) {
    int level = 9;
    benchmark::DoNotOptimize(level);
    bool allowed = norvane::AllowLogging(level, norvane::LOG_MODE_TEXT);
    benchmark::DoNotOptimize(allowed);
  }
}
BENCHMARK(BM_DisabledGuard);

void BM_TextLineCached(benchmark::State& state) {
  ScratchDir dir;
  std::string config = dir.SavePath() + "config.ini";
  std::ofstream(config) << "[BARCODECONFIG]\nLevel=9\nMode=2\nOutputMode=1\nPath=" << dir.SavePath()
                        << "\n";
  const std::string textLog = dir.SavePath() + "NorvaneKestrel.log";
  norvane::TQLog log;
  log.InitLog(config.c_str());
  int count = 0;
  for (auto _ : state) {
    log.WriteTextLog(9, "FuncStart %s", "Process");
    if (++count % kFlushEvery == 0) log.OutputCacheLog();
    if (count % kTruncateEvery == 0) Truncate(textLog);
  }
  log.OutputCacheLog();
}
BENCHMARK(BM_TextLineCached);

void BM_TextLineFilePerLine(benchmark::State& state) {
  ScratchDir dir;
  const std::string textLog = dir.SavePath() + "NorvaneKestrel.log";
  norvane::TQLog log;
  log.InitLogFromSetting(norvane::LOG_MODE_TEXT, 9, dir.SavePath().c_str());
  int count = 0;
  for (auto _ : state) {
    log.WriteTextLog(9, "FuncStart %s", "Process");
    if (++count % kTruncateEvery == 0) Truncate(textLog);
  }
}
BENCHMARK(BM_TextLineFilePerLine);

#if defined(NORVANE_HAVE_SPDLOG)
void BM_SpdlogBasicFileLine(benchmark::State& state) {
  ScratchDir dir;
  const std::string textLog = dir.SavePath() + "spdlog.log";
  auto logger = spdlog::basic_logger_mt("bench", textLog);
  logger->set_pattern("[TID:%6t][%Y/%m/%d %H:%M:%S]%v");
  int count = 0;
  for (auto _ : state) {
    logger->info("FuncStart {}", "Process");
    if (++count % kTruncateEvery == 0) Truncate(textLog);
  }
  logger->flush();
  spdlog::drop("bench");
}
BENCHMARK(BM_SpdlogBasicFileLine);
#endif

}  // namespace
