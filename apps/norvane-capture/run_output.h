// What both of norvane-capture's runs (files, synthetic frames) share: the log set-up
// and the image logs, the text and JSON forms of a result, the summary line, and the
// interruption by SIGINT or SIGTERM.
#ifndef NORVANE_APPS_CAPTURE_RUN_OUTPUT_H_
#define NORVANE_APPS_CAPTURE_RUN_OUTPUT_H_

#include <json/json.h>

#include <cstdio>
#include <string>

#include "log_setup.h"
#include "norvane/router/reader.h"
#include "options.h"

namespace capture {

// Configures the log from --log-config or --log-dir, for as long as `log` lives.
// 0, or 2 after a message.
int SetUpLog(const Options& options, RunLog* log);
// One picture per task, in a layer named after it, with the regions it output.
void WriteImageLogs(const norvane::router::ImageResult& result,
                    const norvane::basic_structures::CImageData* grey);
// Hands the result to the JSON log (level 9) and returns its JSON form.
Json::Value LogResult(const norvane::router::ImageResult& result, const char* itemsKey,
                      bool withFile);

// `text` in double quotes, with C escapes for quotes, backslashes and control bytes.
std::string Quote(const std::string& text);
// `value` on one line.
void PrintJsonLine(FILE* out, const Json::Value& value);

// Counts of a run for its summary line.
struct Tally {
  int frames = 0;  // results
  int items = 0;   // findings
  int timeOuts = 0;
  int taskErrors = 0;
  int unreadable = 0;
  int refused = 0;
  int skipped = 0;
  void Add(const norvane::router::ImageResult& result);
};
void PrintSummary(FILE* out, const Tally& tally, const char* noun,
                  const norvane::router::StreamTotals& totals, int workers);

// SIGINT and SIGTERM set a flag that the runs read between images.
void CatchInterrupts();
bool Interrupted();

}  // namespace capture

#endif  // NORVANE_APPS_CAPTURE_RUN_OUTPUT_H_
