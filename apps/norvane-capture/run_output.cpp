#include "run_output.h"

#include <signal.h>

#include <atomic>
#include <cstring>

#include "image_io.h"
#include "norvane/NorvaneCore.h"

namespace capture {
namespace {

using norvane::TQLog;
using norvane::basic_structures::CQuadrilateral;

std::atomic<bool> interrupted{false};

void OnInterrupt(int) { interrupted.store(true); }

}  // namespace

int SetUpLog(const Options& options, RunLog* log) {
  const std::string problem = log->Configure(options.logDir, options.logConfig);
  return problem.empty() ? 0 : Fail(problem);
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
  PaceJsonLog();
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
