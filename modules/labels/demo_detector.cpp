// libNorvaneDemoDetector.so: the sample sibling module of norvane-capture. It finds
// dark rectangular labels on a light background and measures them; see
// demo_detector.h for the tasks and their options.
//
// The pixel work is plain C++: an Otsu threshold, 4-connected components by flood
// fill, the convex hull of each component's pixel corners and its minimum-area
// rectangle by rotating calipers.
#include "demo_detector.h"

#include <time.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "norvane/router/capture_module.h"
#include "norvane/NorvaneCore.h"
#include "synthetic_labels.h"

namespace norvane {
namespace demo {
namespace {

using basic_structures::CImageData;
using basic_structures::CQuadrilateral;
using basic_structures::TQImageData;
typedef basic_structures::TQPoint_<int> Point;

// Components smaller than this many pixels are noise, not labels.
constexpr int kMinLabelPixels = 150;
// The two classes of the threshold must differ at least this much in mean grey.
constexpr double kMinContrast = 30.0;

// The CPU time the calling thread has used, in nanoseconds: time during which a
// worker was preempted does not count as its work.
int64_t ThreadCpuNanoseconds() {
  timespec now;
  if (clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now) != 0) return 0;
  return static_cast<int64_t>(now.tv_sec) * 1000000000 + now.tv_nsec;
}

// The calling thread's CPU time in pixel work.
thread_local int64_t threadPixelNanoseconds = 0;

// Adds the CPU time from its construction to its destruction to the thread's pixel
// time.
class PixelTimer {
 public:
  PixelTimer() : start_(ThreadCpuNanoseconds()) {}
  ~PixelTimer() { threadPixelNanoseconds += ThreadCpuNanoseconds() - start_; }
  PixelTimer(const PixelTimer&) = delete;
  PixelTimer& operator=(const PixelTimer&) = delete;

 private:
  int64_t start_;
};

struct Options {
  int delayMs = 0;
  bool noop = false;
};

bool ParseOptions(const char* text, Options* options) {
  if (text == nullptr) return true;
  std::stringstream stream(text);
  std::string item;
  while (std::getline(stream, item, ',')) {
    if (item.empty()) continue;
    if (item == "noop") {
      options->noop = true;
    } else if (item.rfind("delay-ms=", 0) == 0) {
      const std::string value = item.substr(9);
      char* end = nullptr;
      const long ms = std::strtol(value.c_str(), &end, 10);
      if (value.empty() || *end != '\0' || ms < 0 || ms > 600000) return false;
      options->delayMs = static_cast<int>(ms);
    } else {
      return false;
    }
  }
  return true;
}

// Waits `delayMs` milliseconds in steps of one, asking the check-point each time.
// True (with its code) when the task must stop.
bool DelayAtCheckPoints(const TQSourceImageObject* source, int delayMs, int* code) {
  for (int i = 0; i < delayMs; ++i) {
    if (source->IsCheckPointNeedExit(code)) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return source->IsCheckPointNeedExit(code);
}

// A grey view of an image; converts when the image is not 8-bit grey.
class GreyView {
 public:
  explicit GreyView(const CImageData* image) {
    if (image->GetImagePixelFormat() == basic_structures::IPF_GRAYSCALE) {
      image_ = image;
    } else {
      converted_.reset(TQ_ConvertToGrayscale(image));
      image_ = converted_.get();
    }
  }
  bool valid() const { return image_ != nullptr && image_->GetBytes() != nullptr; }
  int width() const { return image_->GetWidth(); }
  int height() const { return image_->GetHeight(); }
  const unsigned char* row(int y) const {
    return image_->GetBytes() + static_cast<size_t>(y) * static_cast<size_t>(image_->GetStride());
  }

 private:
  const CImageData* image_ = nullptr;
  std::unique_ptr<CImageData> converted_;
};

// Otsu's threshold: grey values at or below it are dark. -1 when the image has no
// two classes that differ enough to be labels on a background.
int OtsuThreshold(const GreyView& grey) {
  uint64_t histogram[256] = {};
  for (int y = 0; y < grey.height(); ++y) {
    const unsigned char* row = grey.row(y);
    for (int x = 0; x < grey.width(); ++x) ++histogram[row[x]];
  }
  const double total = static_cast<double>(grey.width()) * grey.height();
  double sumAll = 0;
  for (int v = 0; v < 256; ++v) sumAll += v * static_cast<double>(histogram[v]);
  double below = 0, sumBelow = 0, bestScore = -1;
  int best = -1;
  double bestContrast = 0;
  for (int t = 0; t < 255; ++t) {
    below += static_cast<double>(histogram[t]);
    sumBelow += t * static_cast<double>(histogram[t]);
    const double above = total - below;
    if (below == 0 || above == 0) continue;
    const double meanBelow = sumBelow / below;
    const double meanAbove = (sumAll - sumBelow) / above;
    const double score = below * above * (meanAbove - meanBelow) * (meanAbove - meanBelow);
    if (score > bestScore) {
      bestScore = score;
      best = t;
      bestContrast = meanAbove - meanBelow;
    }
  }
  return bestContrast >= kMinContrast ? best : -1;
}

struct Vec {
  double x, y;
};

double Cross(const Vec& o, const Vec& a, const Vec& b) {
  return (a.x - o.x) * (b.y - o.y) - (a.y - o.y) * (b.x - o.x);
}

// Andrew's monotone chain; the hull runs counter-clockwise in x-right/y-up terms.
std::vector<Vec> ConvexHull(std::vector<Vec> points) {
  std::sort(points.begin(), points.end(),
            [](const Vec& a, const Vec& b) { return a.x < b.x || (a.x == b.x && a.y < b.y); });
  points.erase(std::unique(points.begin(), points.end(),
                           [](const Vec& a, const Vec& b) { return a.x == b.x && a.y == b.y; }),
               points.end());
  if (points.size() < 3) return points;
  std::vector<Vec> hull(2 * points.size());
  size_t k = 0;
  for (size_t i = 0; i < points.size(); ++i) {
    while (k >= 2 && Cross(hull[k - 2], hull[k - 1], points[i]) <= 0) --k;
    hull[k++] = points[i];
  }
  for (size_t i = points.size() - 1, lower = k + 1; i > 0; --i) {
    while (k >= lower && Cross(hull[k - 2], hull[k - 1], points[i - 1]) <= 0) --k;
    hull[k++] = points[i - 1];
  }
  hull.resize(k - 1);
  return hull;
}

// The minimum-area rectangle around a convex hull: one of its sides lies on a hull
// edge, so every edge direction is tried. False for a degenerate hull.
bool MinAreaRectangle(const std::vector<Vec>& hull, Vec corners[4]) {
  if (hull.size() < 3) return false;
  double bestArea = -1;
  for (size_t i = 0; i < hull.size(); ++i) {
    const Vec& a = hull[i];
    const Vec& b = hull[(i + 1) % hull.size()];
    const double length = std::hypot(b.x - a.x, b.y - a.y);
    if (length == 0) continue;
    const Vec u{(b.x - a.x) / length, (b.y - a.y) / length};
    const Vec v{-u.y, u.x};
    double minU = 1e300, maxU = -1e300, minV = 1e300, maxV = -1e300;
    for (const Vec& p : hull) {
      const double pu = p.x * u.x + p.y * u.y;
      const double pv = p.x * v.x + p.y * v.y;
      minU = std::min(minU, pu);
      maxU = std::max(maxU, pu);
      minV = std::min(minV, pv);
      maxV = std::max(maxV, pv);
    }
    const double area = (maxU - minU) * (maxV - minV);
    if (bestArea < 0 || area < bestArea) {
      bestArea = area;
      const double us[4] = {minU, maxU, maxU, minU};
      const double vs[4] = {minV, minV, maxV, maxV};
      for (int c = 0; c < 4; ++c) {
        corners[c] = {us[c] * u.x + vs[c] * v.x, us[c] * u.y + vs[c] * v.y};
      }
    }
  }
  return bestArea > 0;
}

// One dark component: its pixel count and the corners of its boundary pixels.
struct Component {
  int pixels = 0;
  std::vector<Vec> corners;
};

class LocalizeTask : public TQ_TaskObjectBase {
 public:
  explicit LocalizeTask(const Options& options) : options_(options) {}

  ErrorCode RunTask(TQTaskOutput* output, TQSemaphore*) override {
    TQRef<TQRegionObject> whole = output->GetRegion();
    int code = 0;
    if (whole.IsNull() || whole->GetSourceImageObject().IsNull()) return Finish(EC_NULL_POINTER);
    TQSourceImageObject* source = whole->GetSourceImageObject().get();
    if (DelayAtCheckPoints(source, options_.delayMs, &code)) return Finish(code);
    if (options_.noop) return Finish(0);
    const PixelTimer timer;

    TQImageData* image = whole->GetRegionImage();
    if (image == nullptr) return Finish(EC_NULL_POINTER);
    const GreyView grey(image);
    if (!grey.valid()) return Finish(EC_NULL_POINTER);
    const int threshold = OtsuThreshold(grey);
    if (threshold < 0) return Finish(0);

    std::vector<Component> components;
    if (!FindComponents(grey, threshold, source, &components, &code)) return Finish(code);

    std::string allQuads;
    int index = 0;
    for (const Component& component : components) {
      Vec corners[4];
      if (!MinAreaRectangle(ConvexHull(component.corners), corners)) continue;
      CQuadrilateral quad;
      for (int c = 0; c < 4; ++c) {
        quad.points[c].x = static_cast<int>(std::lround(corners[c].x));
        quad.points[c].y = static_cast<int>(std::lround(corners[c].y));
      }
      TQRef<TQRegionObject> region(new TQRegionObject(kLabelRegionType, image));
      region->SetSourceImageObject(whole->GetSourceImageObject());
      region->SetReferenceRegion(whole);
      region->SetTargetROIDefName("label");
      region->SetProductTaskName(GetTaskName());
      if (region->SetLocationWithQuadrilateral(quad) != 0) continue;  // degenerate
      region->GetModuleMap()[kKeyIndex] = std::to_string(index++);
      for (int c = 0; c < 4; ++c) {
        const Point& p = region->GetVertex(c);
        allQuads += std::to_string(p.x) + " " + std::to_string(p.y) + (c == 3 ? ";" : " ");
      }
      output->AddTaskResult(new TQTaskOutputAtomResult(region));
    }
    whole->GetModuleMap()[kKeyAllLabels] = allQuads;
    return Finish(0);
  }

  const char* GetTaskDescription() const override {
    return "finds dark rectangular labels on the whole image";
  }

 private:
  ErrorCode Finish(ErrorCode code) {
    SetTaskFinished();
    return code;
  }

  // Flood-fills the 4-connected dark components. False (with the check-point's code)
  // when the task must stop.
  static bool FindComponents(const GreyView& grey, int threshold, const TQSourceImageObject* source,
                             std::vector<Component>* out, int* code) {
    const int w = grey.width(), h = grey.height();
    std::vector<uint8_t> dark(static_cast<size_t>(w) * h);
    for (int y = 0; y < h; ++y) {
      const unsigned char* row = grey.row(y);
      uint8_t* d = &dark[static_cast<size_t>(y) * w];
      for (int x = 0; x < w; ++x) d[x] = row[x] <= threshold ? 1 : 0;
    }
    auto isDark = [&](int x, int y) {
      return x >= 0 && y >= 0 && x < w && y < h && dark[static_cast<size_t>(y) * w + x] != 0;
    };
    std::vector<int> stack;
    for (int y = 0; y < h; ++y) {
      if ((y & 63) == 0 && source->IsCheckPointNeedExit(code)) return false;
      for (int x = 0; x < w; ++x) {
        if (dark[static_cast<size_t>(y) * w + x] != 1) continue;
        Component component;
        dark[static_cast<size_t>(y) * w + x] = 2;  // 2: visited
        stack.assign(1, y * w + x);
        while (!stack.empty()) {
          const int at = stack.back();
          stack.pop_back();
          const int px = at % w, py = at / w;
          ++component.pixels;
          static const int kDx[4] = {1, -1, 0, 0}, kDy[4] = {0, 0, 1, -1};
          bool boundary = false;
          for (int n = 0; n < 4; ++n) {
            const int nx = px + kDx[n], ny = py + kDy[n];
            if (!isDark(nx, ny)) {
              boundary = true;
              continue;
            }
            uint8_t& mark = dark[static_cast<size_t>(ny) * w + nx];
            if (mark == 1) {
              mark = 2;
              stack.push_back(ny * w + nx);
            }
          }
          if (boundary) {
            // The pixel covers [px, px + 1] x [py, py + 1]: its corners bound the label.
            component.corners.push_back({static_cast<double>(px), static_cast<double>(py)});
            component.corners.push_back({px + 1.0, static_cast<double>(py)});
            component.corners.push_back({static_cast<double>(px), py + 1.0});
            component.corners.push_back({px + 1.0, py + 1.0});
          }
        }
        if (component.pixels >= kMinLabelPixels) out->push_back(std::move(component));
      }
    }
    return true;
  }

  Options options_;
};

// Parses "x0 y0 x1 y1 x2 y2 x3 y3;" groups.
std::vector<TQ_Quad> ParseQuads(const std::string& text) {
  std::vector<TQ_Quad> quads;
  std::stringstream stream(text);
  std::string group;
  while (std::getline(stream, group, ';')) {
    std::stringstream numbers(group);
    Point points[4];
    int read = 0;
    for (int x = 0, y = 0; read < 4 && (numbers >> x >> y); ++read) points[read] = Point(x, y);
    if (read == 4) quads.emplace_back(points);
  }
  return quads;
}

class MeasureTask : public TQ_TaskObjectBase {
 public:
  explicit MeasureTask(const Options& options) : options_(options) {}

  ErrorCode RunTask(TQTaskOutput* output, TQSemaphore*) override {
    TQRef<TQRegionObject> region = output->GetRegion();
    int code = 0;
    if (region.IsNull() || region->GetSourceImageObject().IsNull()) return Finish(EC_NULL_POINTER);
    if (DelayAtCheckPoints(region->GetSourceImageObject().get(), options_.delayMs, &code)) {
      return Finish(code);
    }
    const PixelTimer timer;
    if (IsDuplicate(output, region.get())) return Finish(0);

    TQImageData* image = region->GetRegionImage();
    if (image == nullptr) return Finish(EC_NULL_POINTER);
    const GreyView grey(image);
    if (!grey.valid()) return Finish(EC_NULL_POINTER);
    std::vector<Point> pixels;
    pixels.reserve(
        static_cast<size_t>(region->GetAllPixelsReserveSize(0, grey.width(), grey.height())));
    region->GetAllPixels(pixels, PM_BRESENHAM, 0, grey.width(), grey.height());
    uint64_t darkness = 0;
    for (const Point& p : pixels) darkness += 255u - grey.row(p.y)[p.x];
    const double meanDarkness =
        pixels.empty() ? 0.0 : static_cast<double>(darkness) / pixels.size();

    // The label's angle is that of its longer side, in 0..179.
    const TQ_LineSegmentEnhanced& e0 = region->GetEdge(0);
    const TQ_LineSegmentEnhanced& e1 = region->GetEdge(1);
    const int angle = (e0.GetRealLength() >= e1.GetRealLength() ? e0 : e1).CalcAngle() % 180;

    std::map<std::string, std::string>& values = region->GetModuleMap();
    values[kKeyArea] = std::to_string(region->GetArea());
    values[kKeyAngle] = std::to_string(angle);
    char text[32];
    std::snprintf(text, sizeof(text), "%.1f", meanDarkness);
    values[kKeyDarkness] = text;
    output->AddTaskResult(new TQTaskOutputAtomResult(region));
    return Finish(0);
  }

  const char* GetTaskDescription() const override {
    return "measures a label's area, angle and darkness and drops duplicates";
  }

 private:
  ErrorCode Finish(ErrorCode code) {
    SetTaskFinished();
    return code;
  }

  // A label duplicates another of its frame when they overlap and the other is larger
  // (or as large and found first). The frame region, written once by "localize",
  // lists every label; it is only read here.
  static bool IsDuplicate(TQTaskOutput* output, TQRegionObject* region) {
    const TQRef<TQRegionObject>& frame = output->GetReferenceRegion();
    if (frame.IsNull()) return false;
    const std::map<std::string, std::string>& frameValues = frame->GetModuleMap();
    const std::map<std::string, std::string>& values = region->GetModuleMap();
    const auto all = frameValues.find(kKeyAllLabels);
    const auto own = values.find(kKeyIndex);
    if (all == frameValues.end() || own == values.end()) return false;
    const int ownIndex = std::atoi(own->second.c_str());
    const int ownArea = region->GetArea();
    const std::vector<TQ_Quad> others = ParseQuads(all->second);
    for (size_t i = 0; i < others.size(); ++i) {
      if (static_cast<int>(i) == ownIndex) continue;
      const int area = others[i].GetArea();
      const bool outranks = area > ownArea || (area == ownArea && static_cast<int>(i) < ownIndex);
      if (outranks && region->IsOverlapWithOtherQuad(others[i], 0.0f)) return true;
    }
    return false;
  }

  Options options_;
};

// The public face of one found label.
class LabelItem : public basic_structures::CCapturedResultItem {
 public:
  CQuadrilateral quad;
  int area = 0;
  int angle = 0;
  double darkness = 0;
};

// One label in a frame's result.
class LabelResultItem : public capture::ModuleItem {
 public:
  LabelResultItem() { publicItem = &label_; }
  LabelResultItem(const LabelResultItem& other) : ModuleItem(other), label_(other.label_) {
    publicItem = &label_;
  }
  TXPItemBase* Clone() const override { return new LabelResultItem(*this); }
  CQuadrilateral Quad() const override { return label_.quad; }
  std::string Format() const override { return "label"; }
  std::string Text() const override { return std::string(); }
  Json::Value ToJson() const override {
    Json::Value entry;
    entry["quad"] = capture::QuadToJson(label_.quad);
    entry["area"] = label_.area;
    entry["angle"] = label_.angle;
    entry["darkness"] = label_.darkness;
    return entry;
  }
  LabelItem& label() { return label_; }

 private:
  LabelItem label_;
};

class LabelsModule : public capture::CaptureModule {
 public:
  explicit LabelsModule(const Options& options) : options_(options) {}

  std::vector<capture::ModuleDefinition> Definitions() const override {
    return {{"frame", {"localize"}}, {"label", {"measure"}}};
  }

  TQ_TaskObjectBase* CreateTask(const std::string& task) const override {
    if (task == "localize") return new LocalizeTask(options_);
    if (task == "measure") return new MeasureTask(options_);
    return nullptr;
  }

  std::vector<capture::ModuleItem*> MakeItems(
      const std::vector<TQRef<TQRegionObject>>& findings) const override {
    std::vector<capture::ModuleItem*> items;
    for (const TQRef<TQRegionObject>& region : findings) {
      auto* item = new LabelResultItem();
      LabelItem& label = item->label();
      for (int c = 0; c < 4; ++c) label.quad.points[c] = region->GetVertex(c);
      const std::map<std::string, std::string>& values = region->GetModuleMap();
      auto number = [&values](const char* key) {
        auto it = values.find(key);
        return it == values.end() ? 0.0 : std::atof(it->second.c_str());
      };
      label.area = static_cast<int>(number(kKeyArea));
      label.angle = static_cast<int>(number(kKeyAngle));
      label.darkness = number(kKeyDarkness);
      item->SetTargetROIDefName("label");
      item->SetTaskName("measure");
      items.push_back(item);
    }
    return items;
  }

  std::vector<std::string> Formats() const override { return {"label"}; }
  const char* ItemsKey() const override { return "labels"; }
  const char* ItemsNoun() const override { return "labels"; }

  CImageData* RenderSyntheticFrame(int index, int width, int height,
                                   std::vector<capture::TruthItem>* truth) const override {
    const capture::SyntheticFramePlan plan = capture::PlanSyntheticFrame(index, width, height);
    truth->clear();
    for (const capture::SyntheticLabel& label : plan.labels) {
      capture::TruthItem item;
      for (int c = 0; c < 4; ++c) {
        item.corners[c][0] = label.corners[c].x;
        item.corners[c][1] = label.corners[c].y;
      }
      truth->push_back(item);
    }
    return capture::RenderSyntheticFrame(plan);
  }

  double MatchIoU() const override { return 0.8; }

  double PixelSeconds() const override {
    return static_cast<double>(threadPixelNanoseconds) * 1e-9;
  }

 private:
  Options options_;
};

}  // namespace
}  // namespace demo
}  // namespace norvane

namespace {

capture::CaptureModule* CreateLabelsModule(const capture::ModuleSettings& settings,
                                           std::string* error) {
  norvane::demo::Options parsed;
  if (!norvane::demo::ParseOptions(settings.options.c_str(), &parsed)) {
    if (error != nullptr) {
      *error = "bad options '" + settings.options + "' (expected delay-ms=N, noop)";
    }
    return nullptr;
  }
  return new norvane::demo::LabelsModule(parsed);
}

}  // namespace

NORVANE_CAPTURE_MODULE(CreateLabelsModule)
