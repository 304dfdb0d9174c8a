// libNorvaneBarcodeReader.so: a sibling module that reads 1D and 2D codes with
// ZXing-cpp on the task graph of norvane-capture.
//
// Definition "image" runs two tasks on the whole image: "whole" decodes all of it as
// the decoder alone would, and "locate" finds candidate code regions. Each finding of
// either becomes a region of definition "code", whose task "decode" keeps what
// "whole" read, skips candidates where "whole" read a code already, and decodes the
// others rectified, enlarged and inverted (code_reader.h). Where "whole" read
// nothing, the whole image is one more region of "code", on which "decode" tries it
// again with other binarisations. Duplicates of one code are dropped when the frame's
// items are made.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <opencv2/core.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "norvane/router/capture_module.h"
#include "code_reader.h"
#include "norvane/NorvaneCore.h"
#include "synthetic_codes.h"

namespace norvane {
namespace barcode {
namespace {

using basic_structures::CImageData;
using basic_structures::CQuadrilateral;
using basic_structures::TQImageData;
typedef basic_structures::TQPoint_<int> Point;

const char kImageDef[] = "image";
const char kCodeDef[] = "code";
const char kWholeTask[] = "whole";
const char kLocateTask[] = "locate";
const char kDecodeTask[] = "decode";

// Keys of a code region's module map, set once the code is read.
const char kKeyFormat[] = "format";
const char kKeyText[] = "text";
// Key of the whole-image region's map: the centres of the codes "whole" read, as
// "x y;" pairs. Only "whole" writes it; "decode" reads it after the router has seen
// every task of "image" finish.
const char kKeyWholeCentres[] = "whole-centres";
// Key of the region of the whole image that "whole" hands on when it read nothing:
// "decode" tries the whole image again there.
const char kKeyRetry[] = "retry";

constexpr RegionObjectElementType kCodeRegionType = static_cast<RegionObjectElementType>(2);
// Candidates tried per image, largest first.
constexpr int kMaxCandidates = 8;

// The public face of a read code.
class BarcodeItem : public basic_structures::CCapturedResultItem {
 public:
  std::string format;
  std::string text;
  CQuadrilateral quad;
};

// One read code in a frame's result.
class BarcodeResultItem : public capture::ModuleItem {
 public:
  BarcodeResultItem() { publicItem = &code_; }
  BarcodeResultItem(const BarcodeResultItem& other) : ModuleItem(other), code_(other.code_) {
    publicItem = &code_;
  }
  TXPItemBase* Clone() const override { return new BarcodeResultItem(*this); }
  CQuadrilateral Quad() const override { return code_.quad; }
  std::string Format() const override { return code_.format; }
  std::string Text() const override { return code_.text; }
  Json::Value ToJson() const override {
    Json::Value item;
    item["format"] = code_.format;
    item["text"] = code_.text;
    item["quad"] = capture::QuadToJson(code_.quad);
    return item;
  }
  BarcodeItem& code() { return code_; }

 private:
  BarcodeItem code_;
};

GreyView ViewOf(const CImageData* image) {
  GreyView view;
  if (image == nullptr || image->GetImagePixelFormat() != basic_structures::IPF_GRAYSCALE) {
    return view;
  }
  view.data = image->GetBytes();
  view.width = image->GetWidth();
  view.height = image->GetHeight();
  view.stride = image->GetStride();
  return view;
}

CQuadrilateral QuadOf(const TQ_Quad& quad) {
  CQuadrilateral out;
  for (int c = 0; c < 4; ++c) out.points[c] = quad.GetVertex(c);
  return out;
}

// The base of the module's tasks: the check-point on entry, the finish flag on exit,
// and a new region of definition "code" for each finding.
class BarcodeTask : public TQ_TaskObjectBase {
 public:
  ErrorCode RunTask(TQTaskOutput* output, TQSemaphore*) override {
    TQRef<TQRegionObject> region = output->GetRegion();
    ErrorCode code = EC_NULL_POINTER;
    if (!region.IsNull() && !region->GetSourceImageObject().IsNull()) {
      TQSourceImageObject* source = region->GetSourceImageObject().get();
      if (!source->IsCheckPointNeedExit(&code)) code = Run(output, region.get(), source);
    }
    SetTaskFinished();
    return code;
  }

 protected:
  virtual ErrorCode Run(TQTaskOutput* output, TQRegionObject* region,
                        TQSourceImageObject* source) = 0;

  // Adds a region of `quad` in the image of `parent` to the output. The decoder's
  // corners are not always a convex quadrilateral: a code read on one scan line has
  // no area, and a PDF417 read may come back with corners at the origin. Such a
  // finding keeps the box around its corners, grown by a pixel. Returns the region,
  // or null when not even the box is one.
  TQRegionObject* AddRegion(TQTaskOutput* output, TQRegionObject* parent,
                            const CQuadrilateral& quad, const Code* read) {
    TQRegionObject* region = AddRegionAt(output, parent, quad, read);
    return region != nullptr ? region : AddRegionAt(output, parent, BoxAround(quad), read);
  }

 private:
  static CQuadrilateral BoxAround(const CQuadrilateral& quad) {
    int left = quad.points[0].x, right = left, top = quad.points[0].y, bottom = top;
    for (const Point& p : quad.points) {
      left = std::min(left, p.x);
      right = std::max(right, p.x);
      top = std::min(top, p.y);
      bottom = std::max(bottom, p.y);
    }
    CQuadrilateral box;
    box.points[0] = Point(left - 1, top - 1);
    box.points[1] = Point(right + 1, top - 1);
    box.points[2] = Point(right + 1, bottom + 1);
    box.points[3] = Point(left - 1, bottom + 1);
    return box;
  }

  TQRegionObject* AddRegionAt(TQTaskOutput* output, TQRegionObject* parent,
                              const CQuadrilateral& quad, const Code* read) {
    TQRef<TQRegionObject> region(new TQRegionObject(kCodeRegionType, parent->GetRegionImage()));
    region->SetSourceImageObject(parent->GetSourceImageObject());
    TQRef<TQRegionObject> reference(parent->GetReferenceRegion().IsNull()
                                        ? TQRef<TQRegionObject>(parent)
                                        : parent->GetReferenceRegion());
    region->SetReferenceRegion(reference);
    region->SetTargetROIDefName(kCodeDef);
    region->SetProductTaskName(GetTaskName());
    if (region->SetLocationWithQuadrilateral(quad) != 0) return nullptr;
    if (read != nullptr) {
      region->GetModuleMap()[kKeyFormat] = read->format;
      region->GetModuleMap()[kKeyText] = read->text;
    }
    output->AddTaskResult(new TQTaskOutputAtomResult(region));
    return region.get();
  }
};

class WholeTask : public BarcodeTask {
 public:
  // `retry`: hand the whole image on for another attempt where nothing was read.
  explicit WholeTask(bool retry) : retry_(retry) {}
  const char* GetTaskDescription() const override { return "decodes the whole image"; }

 protected:
  ErrorCode Run(TQTaskOutput* output, TQRegionObject* whole, TQSourceImageObject*) override {
    const GreyView image = ViewOf(whole->GetRegionImage());
    const std::vector<Code> codes = DecodeWholeImage(image);
    if (codes.empty() && image.data != nullptr && retry_) {  // the whole region's quad is the frame
      TQRegionObject* retry = AddRegion(output, whole, QuadOf(*whole), nullptr);
      if (retry != nullptr) retry->GetModuleMap()[kKeyRetry] = "1";
    }
    std::string centres;
    for (const Code& code : codes) {
      long x = 0, y = 0;
      for (const Point& p : code.quad.points) {
        x += p.x;
        y += p.y;
      }
      centres += std::to_string(x / 4) + " " + std::to_string(y / 4) + ";";
      AddRegion(output, whole, code.quad, &code);
    }
    whole->GetModuleMap()[kKeyWholeCentres] = centres;
    return 0;
  }

 private:
  bool retry_;
};

class LocateTask : public BarcodeTask {
 public:
  const char* GetTaskDescription() const override { return "finds candidate code regions"; }

 protected:
  ErrorCode Run(TQTaskOutput* output, TQRegionObject* whole, TQSourceImageObject*) override {
    for (const Candidate& candidate :
         FindCandidates(ViewOf(whole->GetRegionImage()), kMaxCandidates)) {
      AddRegion(output, whole, candidate, nullptr);
    }
    return 0;
  }
};

class DecodeTask : public BarcodeTask {
 public:
  const char* GetTaskDescription() const override { return "decodes one code region"; }

 protected:
  ErrorCode Run(TQTaskOutput* output, TQRegionObject* region,
                TQSourceImageObject* source) override {
    if (region->GetModuleMap().count(kKeyText) != 0) {  // read by "whole" already
      output->AddTaskResult(new TQTaskOutputAtomResult(TQRef<TQRegionObject>(region)));
      return 0;
    }
    if (HoldsWholeImageCode(region)) {  // kept to give a linear code its box
      output->AddTaskResult(new TQTaskOutputAtomResult(TQRef<TQRegionObject>(region)));
      return 0;
    }
    std::vector<Code> codes;
    ErrorCode code = 0;
    const StopRequested stop = [source, &code] { return source->IsCheckPointNeedExit(&code); };
    if (region->GetModuleMap().count(kKeyRetry) != 0) {
      if (!RetryWholeImage(ViewOf(region->GetRegionImage()), stop, &codes)) return code;
      for (const Code& read : codes) AddRegion(output, region, read.quad, &read);
      return 0;
    }
    if (!DecodeCandidate(ViewOf(region->GetRegionImage()), QuadOf(*region), stop, &codes))
      return code;
    for (const Code& read : codes) {
      AddRegion(output, region, FitToCandidate(read.quad, QuadOf(*region)), &read);
    }
    return 0;
  }

 private:
  // Whether a code that "whole" read lies in this candidate.
  static bool HoldsWholeImageCode(TQRegionObject* region) {
    const TQRef<TQRegionObject>& whole = region->GetReferenceRegion();
    if (whole.IsNull()) return false;
    const auto found = whole->GetModuleMap().find(kKeyWholeCentres);
    if (found == whole->GetModuleMap().end()) return false;
    std::istringstream centres(found->second);
    int x = 0, y = 0;
    char separator = 0;
    while (centres >> x >> y >> separator) {
      if (region->CalcPointPositionRelation(Point(x, y), 0) != 5) return true;
    }
    return false;
  }
};

// The symbologies the decoder reads, by the names it gives them.
const char* const kFormats[] = {"Aztec",   "Codabar", "Code39",     "Code93", "Code128",
                                "DataBar", "DataBarExpanded",      "DataMatrix", "EAN-8",
                                "EAN-13",  "ITF",     "MaxiCode",   "PDF417", "QRCode",
                                "UPC-A",   "UPC-E",   "MicroQRCode"};

// Fast: only the whole-image attempt, no candidates and no retries.
class BarcodeModule : public capture::CaptureModule {
 public:
  explicit BarcodeModule(bool fast) : fast_(fast) {}

  std::vector<capture::ModuleDefinition> Definitions() const override {
    if (fast_) return {{kImageDef, {kWholeTask}}, {kCodeDef, {kDecodeTask}}};
    return {{kImageDef, {kWholeTask, kLocateTask}}, {kCodeDef, {kDecodeTask}}};
  }

  TQ_TaskObjectBase* CreateTask(const std::string& task) const override {
    if (task == kWholeTask) return new WholeTask(!fast_);
    if (task == kLocateTask) return new LocateTask();
    if (task == kDecodeTask) return new DecodeTask();
    return nullptr;
  }

  std::vector<capture::ModuleItem*> MakeItems(
      const std::vector<TQRef<TQRegionObject>>& findings) const override {
    std::vector<capture::ModuleItem*> items;
    std::vector<TQRegionObject*> kept;
    std::vector<CQuadrilateral> candidates;  // those that hold a code "whole" read
    for (const TQRef<TQRegionObject>& region : findings) {
      if (region->GetModuleMap().count(kKeyText) == 0) candidates.push_back(QuadOf(*region));
    }
    for (const TQRef<TQRegionObject>& region : findings) {
      const std::map<std::string, std::string>& values = region->GetModuleMap();
      const auto text = values.find(kKeyText);
      const auto format = values.find(kKeyFormat);
      if (text == values.end() || format == values.end()) continue;
      if (IsDuplicate(region.get(), kept)) continue;
      kept.push_back(region.get());
      auto* item = new BarcodeResultItem();
      item->code().format = format->second;
      item->code().text = text->second;
      item->code().quad = QuadOf(*region);
      for (const CQuadrilateral& candidate : candidates) {
        item->code().quad = FitToCandidate(item->code().quad, candidate);
      }
      item->SetTargetROIDefName(kCodeDef);
      item->SetTaskName(region->GetProductTaskName());
      items.push_back(item);
    }
    return items;
  }

  const char* ItemsKey() const override { return "barcodes"; }
  const char* ItemsNoun() const override { return "codes"; }

  CImageData* RenderSyntheticFrame(int index, int width, int height,
                                   std::vector<capture::TruthItem>* truth) const override {
    std::vector<unsigned char> grey;
    std::vector<SyntheticCode> codes;
    if (!RenderSyntheticCodeFrame(index, width, height, &grey, &codes)) return nullptr;
    truth->clear();
    for (const SyntheticCode& code : codes) {
      capture::TruthItem item;
      std::memcpy(item.corners, code.corners, sizeof(item.corners));
      item.format = code.format;
      item.text = code.text;
      truth->push_back(item);
    }
    unsigned char* bytes = new unsigned char[grey.size()];
    std::memcpy(bytes, grey.data(), grey.size());
    basic_structures::CVideoFrameTag tag(basic_structures::VFQ_HIGH, false, nullptr, width, height);
    tag.SetImageId(index);
    return new CImageData(grey.size(), bytes, &CImageData::DeleteByteArray, width, height, width,
                          basic_structures::IPF_GRAYSCALE, 0, &tag);
  }

  double MatchIoU() const override { return 0.5; }

  std::vector<std::string> Formats() const override {
    return std::vector<std::string>(std::begin(kFormats), std::end(kFormats));
  }

 private:
  bool fast_;

  // The same code read twice: same symbology and text, and quadrilaterals that
  // overlap.
  static bool IsDuplicate(TQRegionObject* region, const std::vector<TQRegionObject*>& kept) {
    const std::map<std::string, std::string>& values = region->GetModuleMap();
    for (TQRegionObject* other : kept) {
      const std::map<std::string, std::string>& otherValues = other->GetModuleMap();
      if (otherValues.at(kKeyText) != values.at(kKeyText) ||
          otherValues.at(kKeyFormat) != values.at(kKeyFormat)) {
        continue;
      }
      if (region->IsOverlapWithOtherQuad(other->GetRegionQuad(), 0.0f)) return true;
    }
    return false;
  }
};

}  // namespace
}  // namespace barcode
}  // namespace norvane

namespace {

capture::CaptureModule* CreateBarcodeModule(const capture::ModuleSettings& settings,
                                            std::string* error) {
  if (!settings.options.empty()) {
    if (error != nullptr) *error = "the barcode module has no options: " + settings.options;
    return nullptr;
  }
  // The router's workers run the tasks in parallel; OpenCV's own thread pool would
  // only compete with them.
  cv::setNumThreads(0);
  norvane::barcode::WarmUpDecoder();
  return new norvane::barcode::BarcodeModule(settings.fast);
}

}  // namespace

NORVANE_CAPTURE_MODULE(CreateBarcodeModule)
