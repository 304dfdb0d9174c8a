#include "run_output.h"

#include <signal.h>
#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <fstream>

#include "image_io.h"
#include "norvane/NorvaneCore.h"

namespace capture {
namespace {

using norvane::TQLog;
using norvane::basic_structures::CQuadrilateral;

std::atomic<bool> interrupted{false};

void OnInterrupt(int) { interrupted.store(true); }

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

}  // namespace

int SetUpLog(const Options& options) {
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
  return 0;
}

void WriteImageLogs(const norvane::router::ImageResult& result,
                    const norvane::basic_structures::CImageData* grey) {
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

Json::Value LogResult(const norvane::router::ImageResult& result, const char* itemsKey,
                      bool withFile) {
  Json::Value frame;
  frame["imageId"] = result.imageId;
  if (withFile) frame["file"] = result.file;
  frame["width"] = result.width;
  frame["height"] = result.height;
  frame["errorCode"] = result.errorCode;
  frame["errorString"] = result.errorCode != 0 ? result.errorString : "Successful.";
  frame["units"] = result.units;
  frame["milliseconds"] = result.milliseconds;
  Json::Value items(Json::arrayValue);
  for (const norvane::router::Finding& finding : result.findings) items.append(finding.json);
  frame[itemsKey] = items;
  TQLog::m_instance.WriteJsonLog(9, frame);
  return frame;
}

std::string Quote(const std::string& text) {
  std::string quoted = "\"";
  for (unsigned char c : text) {
    if (c == '"' || c == '\\') {
      quoted += '\\';
      quoted += static_cast<char>(c);
    } else if (c < 0x20 || c == 0x7f) {
      char escaped[8];
      std::snprintf(escaped, sizeof(escaped), "\\x%02x", c);
      quoted += escaped;
    } else {
      quoted += static_cast<char>(c);
    }
  }
  return quoted + "\"";
}

void PrintJsonLine(FILE* out, const Json::Value& value) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "";
  std::fprintf(out, "%s\n", Json::writeString(builder, value).c_str());
  std::fflush(out);
}

void Tally::Add(const norvane::router::ImageResult& result) {
  ++frames;
  items += static_cast<int>(result.findings.size());
  if (result.timedOut) ++timeOuts;
  taskErrors += result.taskErrors;
}

void PrintSummary(FILE* out, const Tally& tally, const char* noun,
                  const norvane::router::StreamTotals& totals, int workers) {
  std::fprintf(out,
               "summary: frames %d, %s found %d, time-outs %d, task errors %d, unreadable "
               "files %d, refused %d, skipped %d, dropped %d, units %d, %d worker%s, %.2f s, "
               "%.1f frames/s\n",
               tally.frames, noun, tally.items, tally.timeOuts, tally.taskErrors, tally.unreadable,
               tally.refused, tally.skipped, totals.dropped, totals.units, workers,
               workers == 1 ? "" : "s", totals.seconds,
               totals.seconds > 0 ? tally.frames / totals.seconds : 0.0);
}

void CatchInterrupts() {
  struct sigaction action;
  std::memset(&action, 0, sizeof(action));
  action.sa_handler = &OnInterrupt;
  sigemptyset(&action.sa_mask);
  // No SA_RESTART: a read of standard input ends at the interruption.
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
}

bool Interrupted() { return interrupted.load(); }

}  // namespace capture
