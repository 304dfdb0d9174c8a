// libtiles.so, the smallest useful recognition module: it cuts each image into four
// tiles and reports the mean grey value of each. docs/writing-a-module.md walks
// through it; it builds outside the source tree against the installed package.
#include <norvane/NorvaneCore.h>
#include <norvane/router/capture_module.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <string>
#include <vector>

namespace {

using norvane::ErrorCode;
using norvane::TQRef;
using norvane::TQRegionObject;
using norvane::TQSemaphore;
using norvane::TQTaskOutput;
using norvane::TQTaskOutputAtomResult;
using norvane::basic_structures::CImageData;
using norvane::basic_structures::CQuadrilateral;

// Any type value of the module's own, other than the whole image's.
const auto kTileRegion = static_cast<norvane::RegionObjectElementType>(3);

// The corners of tile `index` (0..3, row by row) of a width x height image.
CQuadrilateral TileQuad(int index, int width, int height) {
  const int left = index % 2 == 0 ? 0 : width / 2, right = index % 2 == 0 ? width / 2 : width;
  const int top = index < 2 ? 0 : height / 2, bottom = index < 2 ? height / 2 : height;
  CQuadrilateral quad;
  quad.points[0] = {left, top};
  quad.points[1] = {right - 1, top};
  quad.points[2] = {right - 1, bottom - 1};
  quad.points[3] = {left, bottom - 1};
  return quad;
}

// A region's corners.
CQuadrilateral QuadOf(const TQRegionObject& region) {
  CQuadrilateral quad;
  for (int c = 0; c < 4; ++c) quad.points[c] = region.GetVertex(c);
  return quad;
}

// Task "split" of definition "image": runs on the whole image and outputs four
// regions for definition "tile".
class SplitTask : public norvane::TQ_TaskObjectBase {
 public:
  ErrorCode RunTask(TQTaskOutput* output, TQSemaphore*) override {
    TQRef<TQRegionObject> whole = output->GetRegion();
    const CImageData* image = whole->GetRegionImage();  // 8-bit grey
    for (int i = 0; i < 4 && image != nullptr; ++i) {
      TQRef<TQRegionObject> tile(new TQRegionObject(kTileRegion, whole->GetRegionImage()));
      tile->SetSourceImageObject(whole->GetSourceImageObject());
      tile->SetReferenceRegion(whole);
      tile->SetTargetROIDefName("tile");  // the definition whose tasks run on it next
      if (tile->SetLocationWithQuadrilateral(
              TileQuad(i, image->GetWidth(), image->GetHeight())) != 0) {
        continue;  // too small an image to have four tiles
      }
      output->AddTaskResult(new TQTaskOutputAtomResult(tile));
    }
    SetTaskFinished();
    return 0;
  }
  const char* GetTaskDescription() const override { return "cuts the image into four tiles"; }
};

// Task "measure" of definition "tile": the mean grey value of its tile, asking the
// image's check-point between rows whether it must stop (time-out or end of run).
class MeasureTask : public norvane::TQ_TaskObjectBase {
 public:
  ErrorCode RunTask(TQTaskOutput* output, TQSemaphore*) override {
    TQRef<TQRegionObject> tile = output->GetRegion();
    const CImageData* image = tile->GetRegionImage();
    int left = image->GetWidth(), top = image->GetHeight(), right = -1, bottom = -1;
    for (int c = 0; c < 4; ++c) {  // the tile's box, inside the image
      left = std::max(0, std::min(left, tile->GetVertex(c).x));
      top = std::max(0, std::min(top, tile->GetVertex(c).y));
      right = std::min(image->GetWidth() - 1, std::max(right, tile->GetVertex(c).x));
      bottom = std::min(image->GetHeight() - 1, std::max(bottom, tile->GetVertex(c).y));
    }
    ErrorCode code = 0;
    unsigned long long sum = 0, count = 0;
    for (int y = top; y <= bottom; ++y) {
      if (tile->GetSourceImageObject()->IsCheckPointNeedExit(&code)) break;
      const unsigned char* row = image->GetBytes() + static_cast<size_t>(y) * image->GetStride();
      for (int x = left; x <= right; ++x, ++count) sum += row[x];
    }
    if (code == 0 && count > 0) {
      tile->GetModuleMap()["mean"] = std::to_string(sum / count);
      output->AddTaskResult(new TQTaskOutputAtomResult(tile));  // a finding
    }
    SetTaskFinished();
    return code;
  }
  const char* GetTaskDescription() const override { return "measures one tile"; }
};

// What the module reports of a tile.
class TileItem : public capture::ModuleItem {
 public:
  TileItem(const CQuadrilateral& quad, const std::string& mean) : quad_(quad), text_(mean) {}
  norvane::basic_structures::TXPItemBase* Clone() const override { return new TileItem(*this); }
  CQuadrilateral Quad() const override { return quad_; }
  std::string Format() const override { return "tile"; }
  std::string Text() const override { return text_; }
  Json::Value ToJson() const override {
    Json::Value item;
    item["mean"] = text_;
    item["quad"] = capture::QuadToJson(quad_);
    return item;
  }

 private:
  CQuadrilateral quad_;
  std::string text_;
};

class TilesModule : public capture::CaptureModule {
 public:
  std::vector<capture::ModuleDefinition> Definitions() const override {
    return {{"image", {"split"}}, {"tile", {"measure"}}};
  }
  norvane::TQ_TaskObjectBase* CreateTask(const std::string& task) const override {
    if (task == "split") return new SplitTask();
    if (task == "measure") return new MeasureTask();
    return nullptr;
  }
  std::vector<capture::ModuleItem*> MakeItems(
      const std::vector<TQRef<TQRegionObject>>& findings) const override {
    std::vector<capture::ModuleItem*> items;
    for (const TQRef<TQRegionObject>& tile : findings) {
      items.push_back(new TileItem(QuadOf(*tile), tile->GetModuleMap()["mean"]));
    }
    return items;
  }
  std::vector<std::string> Formats() const override { return {"tile"}; }
  const char* ItemsKey() const override { return "tiles"; }
  const char* ItemsNoun() const override { return "tiles"; }

  // Frame `index` has four flat tiles of grey 40 * (index % 4 + tile + 1).
  CImageData* RenderSyntheticFrame(int index, int width, int height,
                                   std::vector<capture::TruthItem>* truth) const override {
    std::vector<unsigned char> grey(static_cast<size_t>(width) * height);
    truth->clear();
    for (int i = 0; i < 4; ++i) {
      const CQuadrilateral quad = TileQuad(i, width, height);
      const int value = 40 * (index % 4 + i + 1) % 256;
      for (int y = quad.points[0].y; y <= quad.points[2].y; ++y) {
        std::memset(&grey[static_cast<size_t>(y) * width + quad.points[0].x], value,
                    static_cast<size_t>(quad.points[2].x - quad.points[0].x + 1));
      }
      capture::TruthItem item{};
      for (int c = 0; c < 4; ++c) {  // pixel-edge coordinates
        item.corners[c][0] = quad.points[c].x + (c == 1 || c == 2 ? 1 : 0);
        item.corners[c][1] = quad.points[c].y + (c >= 2 ? 1 : 0);
      }
      item.format = "tile";
      item.text = std::to_string(value);
      truth->push_back(item);
    }
    norvane::basic_structures::CVideoFrameTag tag(norvane::basic_structures::VFQ_HIGH, false,
                                                  nullptr, width, height);
    tag.SetImageId(index);
    return new CImageData(grey.size(), grey.data(), width, height, width,
                          norvane::basic_structures::IPF_GRAYSCALE, 0, &tag);
  }
  double MatchIoU() const override { return 0.9; }
};

capture::CaptureModule* CreateTiles(const capture::ModuleSettings& settings, std::string* error) {
  if (!settings.options.empty()) {
    *error = "the tiles module has no options";
    return nullptr;
  }
  return new TilesModule();
}

}  // namespace

NORVANE_CAPTURE_MODULE(CreateTiles)
