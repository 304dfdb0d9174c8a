#include "file_run.h"

#include <iostream>
#include <map>
#include <string>
#include <vector>

#include "ground_truth.h"
#include "image_io.h"
#include "norvane/NorvaneCore.h"
#include "run_output.h"

namespace capture {
namespace {

using norvane::Mutex;
using norvane::MutexLock;
using norvane::router::ImageResult;

// What became of one file: read (with its result), or why not.
struct FileOutcome {
  std::string path;
  std::string problem;  // "unreadable: ...", "refused: ..."; empty when read
  ImageResult result;
};

// Prints the outcomes in input order as they come in, from any thread, and scores
// them. Everything is read by the main thread after the stream has finished.
class OrderedReport {
 public:
  OrderedReport(const Options& options, const char* itemsKey)
      : options_(options), itemsKey_(itemsKey) {}

  void Add(int index, FileOutcome outcome) {
    MutexLock lock(&mu_);
    waiting_[index] = std::move(outcome);
    while (!waiting_.empty() && waiting_.begin()->first == next_) {
      Print(waiting_.begin()->second);
      waiting_.erase(waiting_.begin());
      ++next_;
    }
  }

  // What was counted, read after the stream has finished.
  struct Counts {
    Tally tally;
    FolderScore folders;
    int withoutText = 0;      // files without an expected text
    int withoutTextRead = 0;  // of them, those with a code read
  };
  Counts counts() {
    MutexLock lock(&mu_);
    return counts_;
  }

 private:
  void Print(const FileOutcome& outcome) EXCLUSIVE_LOCKS_REQUIRED(mu_) {
    const ImageResult& result = outcome.result;
    if (outcome.problem.empty()) counts_.tally.Add(result);
    std::string scored;
    if (options_.score) {
      std::vector<DecodedCode> codes;
      for (const auto& finding : result.findings) codes.push_back({finding.format, finding.text});
      const ExpectedText expected = ReadExpectedText(outcome.path);
      if (!expected.problem.empty()) Fail("expected text ignored: " + expected.problem);
      if (!expected.present) {
        ++counts_.withoutText;
        if (!codes.empty()) ++counts_.withoutTextRead;
        scored = " [no expected text]";
      } else {
        const bool read = FileRead(expected, codes);
        counts_.folders.Add(FolderOf(options_.inputs.size() == 1 ? options_.inputs[0] : std::string(),
                              outcome.path),
                     read);
        std::string shown = expected.text;
        while (!shown.empty() && (shown.back() == '\n' || shown.back() == '\r')) shown.pop_back();
        scored = read ? " [read]" : " [not read, expected " + Quote(shown) + "]";
      }
    }
    if (options_.json) {
      Json::Value line = outcome.problem.empty() ? LogResult(result, itemsKey_, true)
                                                 : Json::Value(Json::objectValue);
      line["file"] = outcome.path;
      if (!outcome.problem.empty()) line["problem"] = outcome.problem;
      if (options_.score) line["score"] = scored.empty() ? "" : scored.substr(2, scored.size() - 3);
      PrintJsonLine(stdout, line);
      return;
    }
    std::string text;
    for (const auto& finding : result.findings) {
      text += (text.empty() ? " " : ", ") + finding.format;
      if (!finding.text.empty()) text += " " + Quote(finding.text);
    }
    if (!outcome.problem.empty()) {
      text = " " + outcome.problem;
    } else if (result.findings.empty()) {
      text = " no code";
    }
    if (result.errorCode != 0)
      text += ", error " + std::to_string(result.errorCode) + " " + result.errorString;
    std::printf("%s:%s%s\n", outcome.path.c_str(), text.c_str(), scored.c_str());
    std::fflush(stdout);
  }

  const Options& options_;
  const char* itemsKey_;
  Mutex mu_;
  std::map<int, FileOutcome> waiting_ GUARDED_BY(mu_);
  int next_ GUARDED_BY(mu_) = 0;
  Counts counts_ GUARDED_BY(mu_);
};

// Calls `onFile` with every image file the inputs name, in order: a file as it is, a
// directory's image files sorted, '-' the lines of standard input. What cannot be
// read is reported and counted in `skipped`.
template <typename OnFile>
void ForEachInput(const std::vector<std::string>& inputs, int* skipped, OnFile onFile) {
  for (const std::string& input : inputs) {
    if (Interrupted()) return;
    if (input == "-") {
      std::string line;
      while (!Interrupted() && std::getline(std::cin, line)) {
        if (!line.empty()) onFile(line);
      }
      continue;
    }
    const int type = norvane::PathHelper::JudgePathType(input.c_str());
    if (type == norvane::PT_NOT_FOUND) {
      Fail("skipped " + input + ": not found");
      ++*skipped;
    } else if (type == norvane::PT_DIRECTORY) {
      const ImageFileList list = ListImageFiles(input);
      for (const std::string& entry : list.skipped) Fail("skipped " + entry);
      *skipped += static_cast<int>(list.skipped.size());
      if (list.files.empty() && list.skipped.empty())
        Fail("no PNG, JPEG, PGM or WebP files in " + input);
      for (const std::string& file : list.files) {
        if (Interrupted()) return;
        onFile(file);
      }
    } else {
      onFile(input);
    }
  }
}

}  // namespace

int RunFiles(norvane::router::Reader* reader, const Options& options) {
  const CaptureModule& module = reader->module();
  OrderedReport report(options, module.ItemsKey());
  reader->Start([&report](const ImageResult& result, const norvane::basic_structures::CImageData*
                                                         grey) {
    WriteImageLogs(result, grey);
    report.Add(result.imageId, FileOutcome{result.file, std::string(), result});
  });
  int index = 0, unreadable = 0, refused = 0, skipped = 0, offered = 0;
  ForEachInput(options.inputs, &skipped, [&](const std::string& path) {
    const ImageFile file = ReadImageFile(path, index, options.reader.maxPixels);
    if (file.image == nullptr) {
      ++(file.refused ? refused : unreadable);
      Fail(std::string(file.refused ? "refused image " : "skipped unreadable file ") + path +
           ": " + file.error);
      report.Add(index, FileOutcome{
                            path, (file.refused ? "refused: " : "unreadable: ") + file.error, {}});
    } else {
      reader->Push(file.image);
      ++offered;
    }
    ++index;
  });
  norvane::router::StreamTotals totals;
  reader->Finish(&totals);

  OrderedReport::Counts counts = report.counts();
  Tally& tally = counts.tally;
  tally.unreadable = unreadable;
  tally.refused = refused;
  tally.skipped = skipped;
  FILE* lines = options.json ? stderr : stdout;
  PrintSummary(lines, tally, module.ItemsNoun(), totals, options.reader.workers);
  if (options.score) {
    if (options.byFolder) std::fputs(counts.folders.Table().c_str(), lines);
    std::fprintf(lines, "ground truth: %d of %d files read\n", counts.folders.total().read,
                 counts.folders.total().files);
    if (counts.withoutText > 0) {
      std::fprintf(lines, "no expected text: %d files, %d of them with a code read\n",
                   counts.withoutText, counts.withoutTextRead);
    }
  }
  if (Interrupted()) return 130;
  if (offered == 0) {
    Fail("no file could be read");
    return 1;
  }
  return tally.items > 0 ? 0 : 1;
}

}  // namespace capture
