#include "synthetic_run.h"

#include <algorithm>
#include <memory>
#include <vector>

#include "geometry2d.h"
#include "run_output.h"

namespace capture {
namespace {

using norvane::basic_structures::CImageData;
using norvane::router::ImageResult;

constexpr int kFrameWidth = 1280, kFrameHeight = 720;
// Frames drawn before the stream starts, handed over as a capture source hands over
// the frames it allocated: the run's time measures the reading, not the drawing.
constexpr unsigned long long kPreparedBytes = sizeof(void*) >= 8 ? 1ull << 30 : 256ull << 20;

struct Score {
  int truth = 0;
  int found = 0;
  int extra = 0;
};

Polygon ToPolygon(const norvane::basic_structures::CQuadrilateral& quad) {
  Polygon polygon;
  for (const auto& p : quad.points)
    polygon.push_back({static_cast<double>(p.x), static_cast<double>(p.y)});
  return polygon;
}

// A truth item is read when a finding that reads its text (where it has one)
// overlaps it with an IoU of at least `minIoU`; findings that read no truth item
// are extra.
Score ScoreFrame(const std::vector<TruthItem>& truth, const ImageResult& result, double minIoU) {
  Score score;
  std::vector<bool> matched(result.findings.size(), false);
  for (const TruthItem& item : truth) {
    ++score.truth;
    Polygon corners;
    for (const auto& corner : item.corners) corners.push_back({corner[0], corner[1]});
    for (size_t i = 0; i < matched.size(); ++i) {
      const auto& found = result.findings[i];
      if (matched[i] || (!item.text.empty() && found.text != item.text)) continue;
      if (IntersectionOverUnion(corners, ToPolygon(found.quad)) >= minIoU) {
        matched[i] = true;
        ++score.found;
        break;
      }
    }
  }
  score.extra = static_cast<int>(std::count(matched.begin(), matched.end(), false));
  return score;
}

}  // namespace

int RunSyntheticFrames(norvane::router::Reader* reader, const Options& options) {
  const CaptureModule& module = reader->module();
  std::vector<std::vector<TruthItem>> truth(static_cast<size_t>(options.frames));
  auto render = [&](int index) {
    return module.RenderSyntheticFrame(index, kFrameWidth, kFrameHeight, &truth[index]);
  };
  std::vector<std::unique_ptr<CImageData>> prepared;
  unsigned long long bytes = 0;
  for (int i = 0; i < options.frames && bytes < kPreparedBytes; ++i) {
    prepared.emplace_back(render(i));
    if (prepared.back() != nullptr) bytes += prepared.back()->GetBytesLength();
  }

  FILE* lines = options.json ? stderr : stdout;
  Tally tally;
  Score score;
  reader->Start([&](const ImageResult& result, const CImageData* grey) {
    tally.Add(result);
    std::string scored;
    if (result.imageId >= 0 && result.imageId < options.frames) {
      const Score frame = ScoreFrame(truth[result.imageId], result, module.MatchIoU());
      scored = ", " + std::to_string(frame.found) + "/" + std::to_string(frame.truth) + " read";
      score.truth += frame.truth;
      score.found += frame.found;
      score.extra += frame.extra;
    }
    const Json::Value json = LogResult(result, module.ItemsKey(), false);
    if (options.json) {
      PrintJsonLine(stdout, json);
    } else {
      std::string error;
      if (result.errorCode != 0)
        error = ", error " + std::to_string(result.errorCode) + " " + result.errorString;
      std::fprintf(lines, "frame %4d: %zu %s, %dx%d, %d units, %.1f ms%s%s\n", result.imageId,
                   result.findings.size(), module.ItemsNoun(), result.width, result.height,
                   result.units, result.milliseconds, scored.c_str(), error.c_str());
      std::fflush(lines);
    }
    WriteImageLogs(result, grey);
  });
  int drawnDuringRun = 0;
  for (int i = 0; i < options.frames && !Interrupted(); ++i) {
    CImageData* image = nullptr;
    if (static_cast<size_t>(i) < prepared.size()) {
      image = prepared[i].release();
    } else {
      image = render(i);
      ++drawnDuringRun;
    }
    if (image != nullptr) reader->Push(image);
  }
  norvane::router::StreamTotals totals;
  const int finished = reader->Finish(&totals);
  if (finished != 0) {
    Fail("the module could not create a task object");
    return 1;
  }

  PrintSummary(lines, tally, module.ItemsNoun(), totals, options.reader.workers);
  // The module's pixel work (CPU time) against the workers' wall time: the rest is
  // what the pipeline itself costs the workers' cores.
  const int workers = options.reader.workers;
  if (totals.pixelSeconds >= 0 && totals.seconds > 0) {
    const double workerSeconds = totals.seconds * workers;
    std::fprintf(
        lines,
        "time: %.3f s wall, detector pixel work %.3f s CPU in %d worker%s (%.1f%% of "
        "their wall time, %.1f%% outside it), router %.3f ms CPU per frame%s\n",
        totals.seconds, totals.pixelSeconds, workers, workers == 1 ? "" : "s",
        100.0 * totals.pixelSeconds / workerSeconds,
        100.0 * (1.0 - totals.pixelSeconds / workerSeconds),
        tally.frames > 0 ? 1000.0 * totals.routerCpuSeconds / tally.frames : 0.0,
        drawnDuringRun > 0
            ? (", " + std::to_string(drawnDuringRun) + " frames drawn during the run").c_str()
            : "");
  }
  std::fprintf(lines, "ground truth: %d of %d %s read (IoU >= %.1f), %d extra\n", score.found,
               score.truth, module.ItemsNoun(), module.MatchIoU(), score.extra);
  if (totals.semaphoreLeft != 0) {
    Fail("internal error: " + std::to_string(totals.semaphoreLeft) + " unit signals left over");
    return 1;
  }
  if (Interrupted()) return 130;
  return tally.items > 0 ? 0 : 1;
}

}  // namespace capture
