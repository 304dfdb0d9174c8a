// norvane-capture: the main job. Captures images (24 synthetic frames by default, or
// the PNG, JPEG, PGM and WebP files of a directory tree), runs a recognition module's
// tasks on them through the task-graph runtime (the barcode reader by default) and
// prints one line per frame and a summary, scored against the ground truth of the
// synthetic frames or the expected texts beside the files. Run with --help for the
// options.
#include <sys/stat.h>
#include <unistd.h>
#ifdef __GLIBC__
#include <malloc.h>
#endif

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "geometry2d.h"
#include "ground_truth.h"
#include "image_io.h"
#include "norvane/NorvaneCore.h"
#include "pipeline.h"

namespace capture {
namespace {

using norvane::TQLog;
using norvane::basic_structures::CImageData;
using norvane::basic_structures::CQuadrilateral;

constexpr char kProgram[] = "norvane-capture";
constexpr int kFrameWidth = 1280, kFrameHeight = 720;

// The modules the program knows, by name: each is a library loaded at run time.
struct ModuleName {
  const char* name;
  const char* library;  // loaded as "lib" + library + ".so"
};
const ModuleName kModules[] = {
    {"barcode", "NorvaneBarcodeReader"},
    {"labels", "NorvaneDemoDetector"},
};

const char kUsage[] =
    "usage: norvane-capture [options]\n"
    "  --module NAME          the recognition module: barcode (default) or labels\n"
    "  --module-options S     the module's options (labels: delay-ms=N, noop)\n"
    "  --input DIR            read the PNG, JPEG, PGM and WebP files below DIR, scored\n"
    "                         against the text in NAME.txt beside each (default: 24\n"
    "                         synthetic 1280x720 frames, scored against their ground truth)\n"
    "  --by-folder            with --input, a table of files read per folder\n"
    "  --max-pixels N         with --input, refuse images above N pixels before decoding\n"
    "                         them (1..2147483647, default 67108864)\n"
    "  --frames N             number of synthetic frames (1..100000, default 24); up to\n"
    "                         1 GiB of them are drawn before the run's clock starts\n"
    "  --workers N            task worker threads (1..64, default 2)\n"
    "  --timeout-ticks N      time-out count of each image, in ticks (0..2147483647,\n"
    "                         default 100000)\n"
    "  --tick-ms N            milliseconds between time-keeping ticks (1..10000, default 10)\n"
    "  --drop-oldest          drop the oldest buffered image when the buffer is full\n"
    "                         (default: the producer waits, no image is lost)\n"
    "  --json                 print the results as JSON on standard output (the frame lines\n"
    "                         are left out and the summary goes to standard error)\n"
    "  --log-dir DIR          write the text, JSON and image logs into DIR\n"
    "  --log-config FILE      configure the log from an INI file instead\n"
    "  --help                 show this text\n";

struct Options {
  std::string module = "barcode";
  std::string moduleOptions;
  bool byFolder = false;
  std::string input;
  int frames = 24;
  int maxPixels = static_cast<int>(kDefaultMaxPixels);
  bool json = false;
  std::string logDir;
  std::string logConfig;
  PipelineOptions pipeline;
};

int Fail(const std::string& message) {
  std::fprintf(stderr, "%s: %s\n", kProgram, message.c_str());
  return 2;
}

bool ParseInt(const char* text, long low, long high, int* out) {
  if (text == nullptr || *text == '\0') return false;
  errno = 0;
  char* end = nullptr;
  const long value = std::strtol(text, &end, 10);
  if (errno != 0 || *end != '\0' || value < low || value > high) return false;
  *out = static_cast<int>(value);
  return true;
}

// Returns 0 when parsed, 1 for --help, 2 after an error message.
int ParseOptions(int argc, char** argv, Options* options) {
  struct IntOption {
    const char* name;
    int* target;
    long low, high;
  };
  const IntOption ints[] = {
      {"--frames", &options->frames, 1, 100000},
      {"--max-pixels", &options->maxPixels, 1, 2147483647L},
      {"--workers", &options->pipeline.workers, 1, 64},
      {"--timeout-ticks", &options->pipeline.timeoutTicks, 0, 2147483647L},
      {"--tick-ms", &options->pipeline.tickMs, 1, 10000},
  };
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    const char* value = i + 1 < argc ? argv[i + 1] : nullptr;
    bool handled = false;
    for (const IntOption& option : ints) {
      if (arg != option.name) continue;
      if (!ParseInt(value, option.low, option.high, option.target)) {
        Fail("bad value '" + std::string(value != nullptr ? value : "") + "' for " + arg +
             " (expected a whole number from " + std::to_string(option.low) + " to " +
             std::to_string(option.high) + ")");
        return 2;
      }
      ++i;
      handled = true;
    }
    if (handled) continue;
    if (arg == "--help" || arg == "-h") {
      std::fputs(kUsage, stdout);
      return 1;
    } else if (arg == "--drop-oldest") {
      options->pipeline.dropOldest = true;
    } else if (arg == "--json") {
      options->json = true;
    } else if (arg == "--by-folder") {
      options->byFolder = true;
    } else if (arg == "--input" || arg == "--log-dir" || arg == "--log-config" ||
               arg == "--module" || arg == "--module-options") {
      if (value == nullptr || (*value == '\0' && arg != "--module-options")) {
        Fail("missing value for " + arg);
        return 2;
      }
      std::string* target = arg == "--input"        ? &options->input
                            : arg == "--log-dir"    ? &options->logDir
                            : arg == "--log-config" ? &options->logConfig
                            : arg == "--module"     ? &options->module
                                                    : &options->moduleOptions;
      *target = value;
      ++i;
    } else {
      Fail("unknown option '" + arg + "' (see --help)");
      return 2;
    }
  }
  return 0;
}

// Synthetic frames drawn by the module, with their ground truth. The first ones, up
// to kPreparedBytes of them, are drawn when the producer is made, before the run
// starts, and handed to the buffer as they are, as a capture source hands over the
// frames it allocated: the run's time measures the pipeline rather than drawing its
// test input. Any further frames are drawn as the buffer takes them.
class SyntheticProducer : public FrameProducer {
 public:
  static constexpr unsigned long long kPreparedBytes =
      sizeof(void*) >= 8 ? 1ull << 30 : 256ull << 20;

  SyntheticProducer(const CaptureModule* module, int frames) : module_(module), truth_(frames) {
    unsigned long long bytes = 0;
    for (int i = 0; i < frames && bytes < kPreparedBytes; ++i) {
      prepared_.emplace_back(Render(i));
      if (prepared_.back() != nullptr) bytes += prepared_.back()->GetBytesLength();
    }
  }
  void Produce(const Offer& offer) override {
    for (size_t i = 0; i < truth_.size(); ++i) {
      CImageData* image =
          i < prepared_.size() ? prepared_[i].release() : Render(static_cast<int>(i));
      if (image == nullptr) continue;
      offer(image);
      ++offered_;
    }
  }
  int Offered() const override { return offered_; }
  // How many frames are drawn while the run is timed.
  int DrawnDuringRun() const { return static_cast<int>(truth_.size() - prepared_.size()); }
  // The truth of frame `index`; read after the producer thread was joined or, for a
  // frame that has been offered, on the router thread.
  const std::vector<TruthItem>* Truth(int index) const {
    return index >= 0 && index < static_cast<int>(truth_.size()) ? &truth_[index] : nullptr;
  }

 private:
  CImageData* Render(int index) {
    return module_->RenderSyntheticFrame(index, kFrameWidth, kFrameHeight, &truth_[index]);
  }

  const CaptureModule* module_;
  std::vector<std::vector<TruthItem>> truth_;
  std::vector<std::unique_ptr<CImageData>> prepared_;
  int offered_ = 0;
};

// The image files of a directory tree; unreadable and refused ones are reported and
// counted.
class FileProducer : public FrameProducer {
 public:
  FileProducer(std::vector<std::string> files, unsigned long long maxPixels)
      : files_(std::move(files)), maxPixels_(maxPixels) {}
  void Produce(const Offer& offer) override {
    for (size_t i = 0; i < files_.size(); ++i) {
      const ImageFile file = ReadImageFile(files_[i], static_cast<int>(i), maxPixels_);
      if (file.image == nullptr) {
        std::fprintf(stderr, "%s: %s %s: %s\n", kProgram,
                     file.refused ? "refused image" : "skipped unreadable file", files_[i].c_str(),
                     file.error.c_str());
        ++(file.refused ? refused_ : unreadable_);
        continue;
      }
      offer(file.image);
      ++offered_;
    }
  }
  int Offered() const override { return offered_; }
  // Read after the producer thread was joined.
  int Unreadable() const { return unreadable_; }
  int Refused() const { return refused_; }

 private:
  std::vector<std::string> files_;
  unsigned long long maxPixels_;
  int offered_ = 0;
  int unreadable_ = 0;
  int refused_ = 0;
};

Polygon ToPolygon(const CQuadrilateral& quad) {
  Polygon polygon;
  for (const auto& p : quad.points)
    polygon.push_back({static_cast<double>(p.x), static_cast<double>(p.y)});
  return polygon;
}

const ModuleItem& ItemOf(const norvane::TQRef<norvane::basic_structures::TXPItemBase>& item) {
  return static_cast<const ModuleItem&>(*item.get());
}

// Scores one synthetic frame: a truth item is read when an item that reads its text
// (where it has one) overlaps it with an IoU of at least `minIoU`; items that read
// no truth item are extra.
struct Score {
  int truth = 0;
  int found = 0;
  int extra = 0;
};

void ScoreFrame(const std::vector<TruthItem>& truth, const FrameResult& result, double minIoU,
                Score* score) {
  std::vector<bool> matched(result.GetResultItems().size(), false);
  for (const TruthItem& item : truth) {
    ++score->truth;
    Polygon corners;
    for (const auto& corner : item.corners) corners.push_back({corner[0], corner[1]});
    for (size_t i = 0; i < matched.size(); ++i) {
      const ModuleItem& found = ItemOf(result.GetResultItems()[i]);
      if (matched[i] || (!item.text.empty() && found.Text() != item.text)) continue;
      if (IntersectionOverUnion(corners, ToPolygon(found.Quad())) >= minIoU) {
        matched[i] = true;
        ++score->found;
        break;
      }
    }
  }
  score->extra += static_cast<int>(std::count(matched.begin(), matched.end(), false));
}

std::string FilePathOf(const FrameResult& result) {
  const auto* tag = result.GetOriginalImageTag();
  if (tag == nullptr || tag->GetType() != 0) return std::string();
  const char* path =
      static_cast<const norvane::basic_structures::CFileImageTag*>(tag)->GetFilePath();
  return path != nullptr ? path : "";
}

Json::Value FrameToJson(const FrameResult& result, const CaptureModule& module, bool withFile) {
  Json::Value frame;
  frame["imageId"] = result.imageId;
  frame["hashId"] = result.GetOriginalImageHashId();
  if (withFile) frame["file"] = FilePathOf(result);
  frame["width"] = result.width;
  frame["height"] = result.height;
  frame["errorCode"] = result.GetErrorCode();
  frame["errorString"] = result.GetErrorString();
  frame["units"] = result.units;
  Json::Value items(Json::arrayValue);
  for (const auto& item : result.GetResultItems()) items.append(ItemOf(item).ToJson());
  frame[module.ItemsKey()] = items;
  return frame;
}

// Why `path` cannot serve as the log's INI file, or empty: it must be a regular
// file of a sensible size (a FIFO would block the reader, /dev/zero never end).
std::string CheckLogConfigFile(const std::string& path) {
  constexpr off_t kMaxConfigBytes = 1 << 20;
  struct stat info;
  if (stat(path.c_str(), &info) != 0) return std::strerror(errno);
  if (S_ISDIR(info.st_mode)) return "it is a directory";
  if (!S_ISREG(info.st_mode)) return "not a regular file";
  if (info.st_size > kMaxConfigBytes) return "larger than 1 MiB";
  return std::string();
}

// Configures the log to write everything (mode 3, level 9) into `dir`, which has no
// control characters: a line break would end the INI file's path line early.
bool ConfigureLogDir(const std::string& dir) {
  std::string path;
  for (size_t at = 0; at != std::string::npos;) {
    at = dir.find('/', at + 1);
    path = dir.substr(0, at);
    if (!path.empty() && mkdir(path.c_str(), 0755) != 0 && errno != EEXIST) return false;
  }
  struct stat info;
  if (stat(dir.c_str(), &info) != 0 || !S_ISDIR(info.st_mode)) return false;
  const std::string ini = dir + "/NorvaneLogConfig.ini";
  {
    std::ofstream out(ini);
    out << "[BARCODECONFIG]\nPath=" << dir << "/\nLevel=9\nMode=3\nOutputMode=0\n";
    if (!out) return false;
  }
  TQLog::m_instance.InitLog(ini.c_str());
  return TQLog::m_instance.IsInitialized();
}

// One picture per task, in a layer named after it, with the regions it output.
void WriteImageLogs(const FrameResult& result, const CImageData* grey) {
  if (!norvane::AllowLogging(9, norvane::LOG_MODE_IMAGE)) return;
  for (const auto& task : result.taskRegions) {
    LogPicture picture;
    picture.grey = grey;
    for (const CQuadrilateral& quad : task.second) {
      picture.outlines.emplace_back(std::begin(quad.points), std::end(quad.points));
    }
    TQLog::m_instance.AddDirLayer(task.first.c_str());
    norvane::WriteImgLog(&WriteLogPicturePng, &picture, 9, "frame_%04d.png", result.imageId);
    TQLog::m_instance.PopDirLayer();
  }
}

int Main(int argc, char** argv) {
  Options options;
  const int parsed = ParseOptions(argc, argv, &options);
  if (parsed == 1) return 0;
  if (parsed != 0) return 2;

  // The input first: a wrong directory is the most likely mistake.
  ImageFileList input;
  if (!options.input.empty()) {
    const int type = norvane::PathHelper::JudgePathType(options.input.c_str());
    if (type == norvane::PT_NOT_FOUND) return Fail("input directory not found: " + options.input);
    if (type != norvane::PT_DIRECTORY) return Fail("input is not a directory: " + options.input);
    input = ListImageFiles(options.input);
    for (const std::string& skipped : input.skipped) Fail("skipped " + skipped);
    if (input.files.empty() && input.skipped.empty())
      return Fail("no PNG, JPEG, PGM or WebP files in " + options.input);
  }

  if (!options.logConfig.empty()) {
    const std::string problem = CheckLogConfigFile(options.logConfig);
    if (!problem.empty())
      return Fail("cannot use log configuration " + options.logConfig + ": " + problem);
    TQLog::m_instance.InitLog(options.logConfig.c_str());
    if (!TQLog::m_instance.IsInitialized())
      return Fail("cannot read log configuration " + options.logConfig);
  } else if (!options.logDir.empty()) {
    if (std::any_of(options.logDir.begin(), options.logDir.end(),
                    [](unsigned char c) { return c < 0x20 || c == 0x7f; })) {
      return Fail("the log directory's name must not hold control characters such as a newline");
    }
    if (!ConfigureLogDir(options.logDir))
      return Fail("cannot create log directory " + options.logDir + ": " + std::strerror(errno));
  }

  const ModuleName* known = nullptr;
  for (const ModuleName& module : kModules) {
    if (options.module == module.name) known = &module;
  }
  if (known == nullptr) return Fail("unknown module '" + options.module + "' (barcode, labels)");
  // The loader keeps the library loaded until the module is gone.
  norvane::TQModuleLoaderBaseAuto loader;
  const auto create = reinterpret_cast<CreateModuleFunction>(
      loader.DynamicLoadDllFunc(known->library, kCreateModuleName));
  if (create == nullptr) {
    Fail(std::string("cannot load the module library lib") + known->library +
         ".so (it must lie beside the program or on the library path)");
    return 1;
  }
  std::string moduleError;
  std::unique_ptr<CaptureModule> module(create(options.moduleOptions.c_str(), &moduleError));
  if (module == nullptr) return Fail(moduleError);
  options.pipeline.module = module.get();

  std::unique_ptr<FrameProducer> producer;
  SyntheticProducer* synthetic = nullptr;
  FileProducer* fileProducer = nullptr;
  if (options.input.empty()) {
    synthetic = new SyntheticProducer(module.get(), options.frames);
    producer.reset(synthetic);
  } else {
    fileProducer =
        new FileProducer(input.files, static_cast<unsigned long long>(options.maxPixels));
    producer.reset(fileProducer);
  }

  FILE* lines = options.json ? stderr : stdout;
  const bool progress = isatty(STDERR_FILENO) != 0;
  const int expected =
      options.input.empty() ? options.frames : static_cast<int>(input.files.size());
  const char* noun = module->ItemsNoun();
  norvane::basic_structures::JsonConverter converter;
  Json::Value allFrames(Json::arrayValue);
  Score score;
  FolderScore folders;
  int items = 0, timeOuts = 0, taskErrors = 0, done = 0;

  auto onFrame = [&](FrameResult* result, const CImageData* grey) {
    ++done;
    const int count = result->GetResultItemCount();
    items += count;
    if (result->timedOut) ++timeOuts;
    taskErrors += result->taskErrors;
    std::string scored;
    if (synthetic != nullptr && synthetic->Truth(result->imageId) != nullptr) {
      Score frameScore;
      ScoreFrame(*synthetic->Truth(result->imageId), *result, module->MatchIoU(), &frameScore);
      scored = ", " + std::to_string(frameScore.found) + "/" + std::to_string(frameScore.truth) +
               " read";
      score.truth += frameScore.truth;
      score.found += frameScore.found;
      score.extra += frameScore.extra;
    } else if (fileProducer != nullptr) {
      const std::string path = FilePathOf(*result);
      std::vector<DecodedCode> codes;
      for (const auto& item : result->GetResultItems()) {
        codes.push_back({ItemOf(item).Format(), ItemOf(item).Text()});
      }
      const bool read = FileRead(ReadExpectedText(path), codes);
      folders.Add(FolderOf(options.input, path), read);
      scored = read ? ", read" : ", not read";
    }
    if (progress) std::fprintf(stderr, "\r\033[K");
    if (!options.json) {
      std::fprintf(
          lines, "frame %4d: %d %s, %dx%d, %d units, %.1f ms%s%s%s\n", result->imageId, count, noun,
          result->width, result->height, result->units, result->milliseconds, scored.c_str(),
          result->GetErrorCode() != 0 ? ", error " : "",
          result->GetErrorCode() != 0
              ? (std::to_string(result->GetErrorCode()) + " " + result->GetErrorString()).c_str()
              : "");
    }
    if (progress) {
      std::fprintf(stderr, "%d/%d frames, %d %s", done, expected, items, noun);
      std::fflush(stderr);
    }
    // The JSON form of a frame is built only for those who read it.
    if (options.json || TQLog::m_instance.GetLevel() >= 9) {
      Json::Value frame = FrameToJson(*result, *module, fileProducer != nullptr);
      TQLog::m_instance.WriteJsonLog(9, frame);
      if (options.json) allFrames.append(frame);
    }
    WriteImageLogs(*result, grey);
  };

  bool ok = true;
  const RunTotals totals = RunPipeline(options.pipeline, producer.get(), onFrame, &ok);
  if (progress) std::fprintf(stderr, "\r\033[K");
  TQLog::m_instance.OutputJsonLog();
  TQLog::m_instance.OutputCacheLog();
  if (!ok) {
    Fail("the module could not create a task object");
    return 1;
  }

  if (options.json) std::fputs(converter.GetStyledString(allFrames), stdout);
  const int unreadable = fileProducer != nullptr ? fileProducer->Unreadable() : 0;
  const int refused = fileProducer != nullptr ? fileProducer->Refused() : 0;
  const int skipped = static_cast<int>(input.skipped.size());
  std::fprintf(lines,
               "summary: frames %d, %s found %d, time-outs %d, task errors %d, unreadable "
               "files %d, refused %d, skipped %d, dropped %d, units %d, %d worker%s, %.2f s, "
               "%.1f frames/s\n",
               totals.frames, noun, items, timeOuts, taskErrors, unreadable, refused, skipped,
               totals.offered - totals.frames, totals.units, options.pipeline.workers,
               options.pipeline.workers == 1 ? "" : "s", totals.seconds,
               totals.seconds > 0 ? totals.frames / totals.seconds : 0.0);
  // The module's pixel work (CPU time) against the workers' wall time: the rest is
  // what the pipeline itself costs the workers' cores, including the router's and the
  // producer's turns on them, reading files and drawing frames during the run.
  if (totals.pixelSeconds >= 0 && totals.seconds > 0) {
    const double workerSeconds = totals.seconds * options.pipeline.workers;
    const int drawnDuringRun = synthetic != nullptr ? synthetic->DrawnDuringRun() : 0;
    std::fprintf(
        lines,
        "time: %.3f s wall, detector pixel work %.3f s CPU in %d worker%s (%.1f%% of "
        "their wall time, %.1f%% outside it), router %.3f ms CPU per frame%s\n",
        totals.seconds, totals.pixelSeconds, options.pipeline.workers,
        options.pipeline.workers == 1 ? "" : "s", 100.0 * totals.pixelSeconds / workerSeconds,
        100.0 * (1.0 - totals.pixelSeconds / workerSeconds),
        totals.frames > 0 ? 1000.0 * totals.routerCpuSeconds / totals.frames : 0.0,
        drawnDuringRun > 0
            ? (", " + std::to_string(drawnDuringRun) + " frames drawn during the run").c_str()
            : "");
  }
  if (synthetic != nullptr) {
    std::fprintf(lines, "ground truth: %d of %d %s read (IoU >= %.1f), %d extra\n", score.found,
                 score.truth, noun, module->MatchIoU(), score.extra);
  } else {
    if (options.byFolder) std::fputs(folders.Table().c_str(), lines);
    const FolderScore::Count total = folders.total();
    std::fprintf(lines, "ground truth: %d of %d files read\n", total.read,
                 total.files + unreadable + refused + skipped);
  }
  if (totals.semaphoreLeft != 0) {
    Fail("internal error: " + std::to_string(totals.semaphoreLeft) + " unit signals left over");
    return 1;
  }
  if (fileProducer != nullptr && totals.offered == 0) {
    Fail("no file could be read in " + options.input);
    return 1;
  }
  return 0;
}

}  // namespace
}  // namespace capture

int main(int argc, char** argv) {
#ifdef __GLIBC__
  // Every frame brings buffers of the same few sizes (frames, the detector's masks),
  // allocated and freed in turn: keep freed ones in the heap for the next frame
  // rather than giving them back to the kernel and faulting fresh zeroed pages in
  // again. The frames drawn before the run, freed as they are done with, would
  // otherwise be given back all at once at the end of the run. (A 32-bit C library
  // refuses an mmap threshold this high and keeps its own.)
  mallopt(M_MMAP_THRESHOLD, 32 << 20);
  mallopt(M_TRIM_THRESHOLD, -1);
#endif
  return capture::Main(argc, argv);
}
