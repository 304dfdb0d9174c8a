// norvane-capture: reads the codes in image files, directories and lists of files
// with a recognition module (the barcode reader by default) through the router, and
// prints what it read, one line per file. Without inputs it reads synthetic frames
// and scores them. Run with --help for the options.
#include <cstdio>
#include <memory>
#include <string>
#ifdef __GLIBC__
#include <malloc.h>
#endif

#include "file_run.h"
#include "norvane/NorvaneCore.h"
#include "norvane/router/reader.h"
#include "options.h"
#include "run_output.h"
#include "synthetic_run.h"

int main(int argc, char** argv) {
#ifdef __GLIBC__
  // Every frame brings buffers of the same few sizes, allocated and freed in turn:
  // keep freed ones in the heap for the next frame rather than giving them back to
  // the kernel and faulting fresh zeroed pages in again. (A 32-bit C library refuses
  // an mmap threshold this high and keeps its own.)
  mallopt(M_MMAP_THRESHOLD, 32 << 20);
  mallopt(M_TRIM_THRESHOLD, -1);
#endif
  capture::Options options;
  const int parsed = capture::ParseOptions(argc, argv, &options);
  if (parsed != 0) return parsed == 1 ? 0 : 2;
  capture::RunLog log;
  if (capture::SetUpLog(options, &log) != 0) return 2;

  int code = 0;
  std::string message;
  std::unique_ptr<norvane::router::Reader> reader =
      norvane::router::Reader::Create(options.module, options.reader, &code, &message);
  if (reader == nullptr) return capture::Fail(message);

  capture::CatchInterrupts();
  int status = options.inputs.empty() ? capture::RunSyntheticFrames(reader.get(), options)
                                      : capture::RunFiles(reader.get(), options);
  capture::FlushLogs();
  if (status == 130) std::fprintf(stderr, "norvane-capture: interrupted\n");
  const std::string noLog = log.NoLogWritten();
  if (!noLog.empty()) {
    capture::Fail(noLog);
    if (status == 0) status = 1;
  }
  return status;
}
