// norvane-capture: the main job. Captures images (24 synthetic frames by default, or
// the PNG, JPEG and PGM files of a directory tree), runs the sample detector module's
// tasks on them through the task-graph runtime and prints one line per frame and a
// summary; synthetic frames are scored against their ground truth. Run with --help
// for the options.
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
#include "image_io.h"
#include "norvane/NorvaneCore.h"
#include "pipeline.h"
#include "synthetic.h"

namespace capture {
namespace {

using norvane::TQLog;
using norvane::basic_structures::CImageData;
using norvane::basic_structures::CQuadrilateral;

constexpr char kProgram[] = "norvane-capture";
constexpr double kFoundIoU = 0.8;

const char kUsage[] =
    "usage: norvane-capture [options]\n"
    "  --input DIR            read the PNG, JPEG and PGM files below DIR (default: 24\n"
    "                         synthetic 1280x720 frames, scored against their ground truth)\n"
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
    "  --detector-options S   options of the detector module (delay-ms=N, noop)\n"
    "  --help                 show this text\n";

struct Options {
  std::string input;
  int frames = 24;
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
    } else if (arg == "--input" || arg == "--log-dir" || arg == "--log-config" ||
               arg == "--detector-options") {
      if (value == nullptr || (*value == '\0' && arg != "--detector-options")) {
        Fail("missing value for " + arg);
        return 2;
      }
      std::string* target = arg == "--input"        ? &options->input
                            : arg == "--log-dir"    ? &options->logDir
                            : arg == "--log-config" ? &options->logConfig
                                                    : &options->pipeline.detectorOptions;
      *target = value;
      ++i;
    } else {
      Fail("unknown option '" + arg + "' (see --help)");
      return 2;
    }
  }
  return 0;
}

// Synthetic frames. The first ones, up to kPreparedBytes of them, are drawn when the
// producer is made, before the run starts, and handed to the buffer as they are, as a
// capture source hands over the frames it allocated: the run's time measures the
// pipeline rather than drawing its test input. Any further frames are drawn as the
// buffer takes them.
class SyntheticProducer : public FrameProducer {
 public:
  static constexpr unsigned long long kPreparedBytes =
      sizeof(void*) >= 8 ? 1ull << 30 : 256ull << 20;

  explicit SyntheticProducer(const std::vector<SyntheticFramePlan>& plans) : plans_(plans) {
    unsigned long long bytes = 0;
    for (size_t i = 0; i < plans_.size() && bytes < kPreparedBytes; ++i) {
      prepared_.emplace_back(RenderSyntheticFrame(plans_[i]));
      bytes += prepared_.back()->GetBytesLength();
    }
  }
  void Produce(const Offer& offer) override {
    for (size_t i = 0; i < plans_.size(); ++i) {
      if (i < prepared_.size()) {
        offer(prepared_[i].release());
      } else {
        offer(RenderSyntheticFrame(plans_[i]));
      }
      ++offered_;
    }
  }
  int Offered() const override { return offered_; }
  // How many frames are drawn while the run is timed.
  int DrawnDuringRun() const { return static_cast<int>(plans_.size() - prepared_.size()); }

 private:
  const std::vector<SyntheticFramePlan>& plans_;
  std::vector<std::unique_ptr<CImageData>> prepared_;
  int offered_ = 0;
};

// The image files of a directory tree; unreadable ones are reported and skipped.
class FileProducer : public FrameProducer {
 public:
  explicit FileProducer(std::vector<std::string> files) : files_(std::move(files)) {}
  void Produce(const Offer& offer) override {
    for (size_t i = 0; i < files_.size(); ++i) {
      std::string error;
      CImageData* image = ReadImageFile(files_[i], static_cast<int>(i), &error);
      if (image == nullptr) {
        std::fprintf(stderr, "%s: skipped unreadable file %s: %s\n", kProgram, files_[i].c_str(),
                     error.c_str());
        ++unreadable_;
        continue;
      }
      offer(image);
      ++offered_;
    }
  }
  int Offered() const override { return offered_; }
  // Read after the producer thread was joined.
  int Unreadable() const { return unreadable_; }

 private:
  std::vector<std::string> files_;
  int offered_ = 0;
  int unreadable_ = 0;
};

Polygon ToPolygon(const CQuadrilateral& quad) {
  Polygon polygon;
  for (const auto& p : quad.points)
    polygon.push_back({static_cast<double>(p.x), static_cast<double>(p.y)});
  return polygon;
}

// Scores the labels of one synthetic frame: each ground-truth label is found by the
// result label that overlaps it best, when their IoU reaches kFoundIoU. `truth`, when
// not null, gets each ground-truth label with its best IoU.
struct Score {
  int truth = 0;
  int found = 0;
  int extra = 0;
  double worstIoU = 1.0;
};

void ScoreFrame(const SyntheticFramePlan& plan, const FrameResult& result, Score* score,
                Json::Value* truth) {
  std::vector<Polygon> foundPolygons;
  for (const auto& item : result.GetResultItems()) {
    foundPolygons.push_back(
        ToPolygon(static_cast<const LabelResultItem*>(item.get())->label().quad));
  }
  std::vector<bool> matched(foundPolygons.size(), false);
  for (const SyntheticLabel& label : plan.labels) {
    ++score->truth;
    double best = 0;
    size_t bestIndex = 0;
    for (size_t i = 0; i < foundPolygons.size(); ++i) {
      const double iou = IntersectionOverUnion(label.corners, foundPolygons[i]);
      if (iou > best) {
        best = iou;
        bestIndex = i;
      }
    }
    if (best >= kFoundIoU) {
      ++score->found;
      matched[bestIndex] = true;
      score->worstIoU = std::min(score->worstIoU, best);
    }
    if (truth == nullptr) continue;
    Json::Value entry;
    Json::Value quad(Json::arrayValue);
    for (const Vec2& corner : label.corners) {
      Json::Value point(Json::arrayValue);
      point.append(corner.x);
      point.append(corner.y);
      quad.append(point);
    }
    entry["quad"] = quad;
    entry["iou"] = best;
    truth->append(entry);
  }
  score->extra += static_cast<int>(std::count(matched.begin(), matched.end(), false));
}

Json::Value FrameToJson(const FrameResult& result) {
  Json::Value frame;
  frame["imageId"] = result.imageId;
  frame["hashId"] = result.GetOriginalImageHashId();
  const auto* tag = result.GetOriginalImageTag();
  if (tag != nullptr && tag->GetType() == 0) {
    const char* path =
        static_cast<const norvane::basic_structures::CFileImageTag*>(tag)->GetFilePath();
    frame["file"] = path != nullptr ? path : "";
  }
  frame["width"] = result.width;
  frame["height"] = result.height;
  frame["errorCode"] = result.GetErrorCode();
  frame["errorString"] = result.GetErrorString();
  frame["units"] = result.units;
  Json::Value labels(Json::arrayValue);
  for (const auto& item : result.GetResultItems()) {
    const LabelItem& label = static_cast<const LabelResultItem*>(item.get())->label();
    Json::Value entry;
    Json::Value quad(Json::arrayValue);
    for (const auto& p : label.quad.points) {
      Json::Value point(Json::arrayValue);
      point.append(p.x);
      point.append(p.y);
      quad.append(point);
    }
    entry["quad"] = quad;
    entry["area"] = label.area;
    entry["angle"] = label.angle;
    entry["darkness"] = label.darkness;
    labels.append(entry);
  }
  frame["labels"] = labels;
  return frame;
}

// Configures the log to write everything (mode 3, level 9) into `dir`.
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

void WriteImageLogs(const FrameResult& result, const CImageData* grey) {
  if (!norvane::AllowLogging(9, norvane::LOG_MODE_IMAGE)) return;
  LogPicture localized;
  localized.grey = grey;
  for (const CQuadrilateral& quad : result.localized) {
    localized.outlines.emplace_back(std::begin(quad.points), std::end(quad.points));
  }
  TQLog::m_instance.AddDirLayer("localize");
  norvane::WriteImgLog(&WriteLogPicturePng, &localized, 9, "frame_%04d.png", result.imageId);
  TQLog::m_instance.PopDirLayer();

  LogPicture measured;
  measured.grey = grey;
  measured.red = 0;
  measured.green = 200;
  for (const auto& item : result.GetResultItems()) {
    const CQuadrilateral& quad = static_cast<const LabelResultItem*>(item.get())->label().quad;
    measured.outlines.emplace_back(std::begin(quad.points), std::end(quad.points));
  }
  TQLog::m_instance.AddDirLayer("measure");
  norvane::WriteImgLog(&WriteLogPicturePng, &measured, 9, "frame_%04d.png", result.imageId);
  TQLog::m_instance.PopDirLayer();
}

int Main(int argc, char** argv) {
  Options options;
  const int parsed = ParseOptions(argc, argv, &options);
  if (parsed == 1) return 0;
  if (parsed != 0) return 2;

  // The input first: a wrong directory is the most likely mistake.
  std::vector<std::string> files;
  if (!options.input.empty()) {
    const int type = norvane::PathHelper::JudgePathType(options.input.c_str());
    if (type == norvane::PT_NOT_FOUND) return Fail("input directory not found: " + options.input);
    if (type != norvane::PT_DIRECTORY) return Fail("input is not a directory: " + options.input);
    norvane::TQRef<norvane::TQVector<std::string>> all =
        norvane::GetAllFiles(options.input, true, nullptr);
    for (size_t i = 0; i < all->size(); ++i) {
      if (IsSupportedImageFile((*all)[i])) files.push_back((*all)[i]);
    }
    std::sort(files.begin(), files.end());
    if (files.empty()) return Fail("no PNG, JPEG or PGM files in " + options.input);
  }

  if (!options.logConfig.empty()) {
    TQLog::m_instance.InitLog(options.logConfig.c_str());
    if (!TQLog::m_instance.IsInitialized())
      return Fail("cannot read log configuration " + options.logConfig);
  } else if (!options.logDir.empty() && !ConfigureLogDir(options.logDir)) {
    return Fail("cannot create log directory " + options.logDir + ": " + std::strerror(errno));
  }

  // The loader keeps the module loaded until every task object is gone.
  norvane::TQModuleLoaderBaseAuto loader;
  options.pipeline.createTask = reinterpret_cast<norvane::demo::CreateTaskFunction>(
      loader.DynamicLoadDllFunc(norvane::demo::kModuleName, norvane::demo::kCreateTaskName));
  if (options.pipeline.createTask == nullptr) {
    Fail(std::string("cannot load the detector module lib") + norvane::demo::kModuleName +
         ".so (it must lie beside the program or on the library path)");
    return 1;
  }
  options.pipeline.pixelSeconds = reinterpret_cast<norvane::demo::PixelSecondsFunction>(
      loader.DynamicLoadDllFunc(norvane::demo::kModuleName, norvane::demo::kPixelSecondsName));
  {
    norvane::TQRef<norvane::TQ_TaskObjectBase> probe(
        options.pipeline.createTask("localize", options.pipeline.detectorOptions.c_str()));
    if (probe.IsNull())
      return Fail("bad --detector-options '" + options.pipeline.detectorOptions + "'");
  }

  std::vector<SyntheticFramePlan> plans;
  std::unique_ptr<FrameProducer> producer;
  FileProducer* fileProducer = nullptr;
  int drawnDuringRun = 0;
  if (files.empty()) {
    plans = PlanSyntheticFrames(options.frames, 1280, 720);
    auto* synthetic = new SyntheticProducer(plans);
    drawnDuringRun = synthetic->DrawnDuringRun();
    producer.reset(synthetic);
  } else {
    fileProducer = new FileProducer(files);
    producer.reset(fileProducer);
  }

  FILE* lines = options.json ? stderr : stdout;
  const bool progress = isatty(STDERR_FILENO) != 0;
  const int expected = files.empty() ? options.frames : static_cast<int>(files.size());
  norvane::basic_structures::JsonConverter converter;
  Json::Value allFrames(Json::arrayValue);
  Score score;
  int labels = 0, timeOuts = 0, taskErrors = 0, done = 0;

  auto onFrame = [&](FrameResult* result, const CImageData* grey) {
    ++done;
    const int count = result->GetResultItemCount();
    labels += count;
    if (result->timedOut) ++timeOuts;
    taskErrors += result->taskErrors;
    std::string scored;
    // The JSON form of a frame is built only for those who read it.
    const bool wantJson = options.json || TQLog::m_instance.GetLevel() >= 9;
    Json::Value frame = wantJson ? FrameToJson(*result) : Json::Value();
    if (files.empty() && result->imageId >= 0 && result->imageId < static_cast<int>(plans.size())) {
      Score frameScore;
      Json::Value truth(Json::arrayValue);
      ScoreFrame(plans[result->imageId], *result, &frameScore, wantJson ? &truth : nullptr);
      if (wantJson) frame["truth"] = truth;
      scored = ", " + std::to_string(frameScore.found) + "/" + std::to_string(frameScore.truth) +
               " found";
      score.truth += frameScore.truth;
      score.found += frameScore.found;
      score.extra += frameScore.extra;
      score.worstIoU = std::min(score.worstIoU, frameScore.worstIoU);
    }
    if (progress) std::fprintf(stderr, "\r\033[K");
    if (!options.json) {
      std::fprintf(
          lines, "frame %4d: %d label%s, %dx%d, %d units, %.1f ms%s%s%s\n", result->imageId, count,
          count == 1 ? "" : "s", result->width, result->height, result->units, result->milliseconds,
          scored.c_str(), result->GetErrorCode() != 0 ? ", error " : "",
          result->GetErrorCode() != 0
              ? (std::to_string(result->GetErrorCode()) + " " + result->GetErrorString()).c_str()
              : "");
    }
    if (progress) {
      std::fprintf(stderr, "%d/%d frames, %d labels", done, expected, labels);
      std::fflush(stderr);
    }
    if (wantJson) TQLog::m_instance.WriteJsonLog(9, frame);
    if (options.json) allFrames.append(frame);
    WriteImageLogs(*result, grey);
  };

  bool ok = true;
  const RunTotals totals = RunPipeline(options.pipeline, producer.get(), onFrame, &ok);
  if (progress) std::fprintf(stderr, "\r\033[K");
  TQLog::m_instance.OutputJsonLog();
  TQLog::m_instance.OutputCacheLog();
  if (!ok) {
    Fail("the detector module could not create a task object");
    return 1;
  }

  if (options.json) std::fputs(converter.GetStyledString(allFrames), stdout);
  const int unreadable = fileProducer != nullptr ? fileProducer->Unreadable() : 0;
  std::fprintf(lines,
               "summary: frames %d, labels found %d, time-outs %d, task errors %d, unreadable "
               "files %d, dropped %d, units %d, %d worker%s, %.2f s, %.1f frames/s\n",
               totals.frames, labels, timeOuts, taskErrors, unreadable,
               totals.offered - totals.frames, totals.units, options.pipeline.workers,
               options.pipeline.workers == 1 ? "" : "s", totals.seconds,
               totals.seconds > 0 ? totals.frames / totals.seconds : 0.0);
  // The detector's pixel work (CPU time) against the workers' wall time: the rest is
  // what the pipeline itself costs the workers' cores, including the router's and the
  // producer's turns on them, reading files and drawing frames during the run.
  if (totals.pixelSeconds >= 0 && totals.seconds > 0) {
    const double workerSeconds = totals.seconds * options.pipeline.workers;
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
  if (files.empty()) {
    std::fprintf(lines,
                 "ground truth: %d of %d labels found with IoU >= %.1f (lowest IoU %.3f), %d "
                 "extra\n",
                 score.found, score.truth, kFoundIoU, score.found > 0 ? score.worstIoU : 0.0,
                 score.extra);
  }
  if (totals.semaphoreLeft != 0) {
    Fail("internal error: " + std::to_string(totals.semaphoreLeft) + " unit signals left over");
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
