// What norvane-capture knows of a recognition module, and all it knows: the module's
// definitions and tasks, how it makes their task objects, how the regions its last
// tasks output become result items, and its synthetic test frames. A module is a
// shared library loaded by name that exports one function, kCreateModuleName, of
// type CreateModuleFunction.
//
// The graph: the first definition runs on the region of the whole image; each of its
// tasks outputs regions whose target ROI definition names the child definition whose
// tasks run on them next, once every task of the parent definition has finished for
// the image. Regions output by the tasks of the last definition (or named for no
// definition) are the module's findings.
//
// Thread safety: CreateTask and PixelSeconds are called on any thread; the other
// functions on the program's router thread only. The program owns the module and
// destroys it before unloading the library.
#ifndef NORVANE_ROUTER_CAPTURE_MODULE_H_
#define NORVANE_ROUTER_CAPTURE_MODULE_H_

#include <json/json.h>

#include <string>
#include <vector>

#include "norvane/NorvaneCore.h"

namespace capture {

// A result item of a module: where it is and what it reads.
class ModuleItem : public norvane::basic_structures::TXPItemBase {
 public:
  // Corners in image coordinates.
  virtual norvane::basic_structures::CQuadrilateral Quad() const = 0;
  // The symbology and the text it reads; empty for modules that read none.
  virtual std::string Format() const = 0;
  virtual std::string Text() const = 0;
  // The item as one JSON object.
  virtual Json::Value ToJson() const = 0;
};

// A quadrilateral as JSON: [[x, y] x4].
inline Json::Value QuadToJson(const norvane::basic_structures::CQuadrilateral& quad) {
  Json::Value points(Json::arrayValue);
  for (const auto& p : quad.points) {
    Json::Value point(Json::arrayValue);
    point.append(p.x);
    point.append(p.y);
    points.append(point);
  }
  return points;
}

// The ground truth of one thing drawn into a synthetic frame.
struct TruthItem {
  double corners[4][2];  // x, y in pixel-edge coordinates
  std::string format;
  std::string text;  // empty where the module reads no text
};

struct ModuleDefinition {
  std::string name;
  std::vector<std::string> tasks;
};

class CaptureModule {
 public:
  virtual ~CaptureModule() = default;

  // The definitions in graph order: the first runs on the whole image, each next one
  // on the regions of the one before.
  virtual std::vector<ModuleDefinition> Definitions() const = 0;
  // A new task object for one unit of `task`; null for an unknown name. The caller
  // keeps it in a TQRef.
  virtual norvane::TQ_TaskObjectBase* CreateTask(const std::string& task) const = 0;
  // Turns the findings of one image into result items (dropping duplicates); the
  // caller keeps them in TQRefs.
  virtual std::vector<ModuleItem*> MakeItems(
      const std::vector<norvane::TQRef<norvane::TQRegionObject>>& findings) const = 0;
  // The JSON key under which a frame lists its items ("barcodes", "labels"), and
  // what the summary calls them ("codes", "labels").
  virtual const char* ItemsKey() const = 0;
  virtual const char* ItemsNoun() const = 0;

  // Synthetic frame `index` (the same every time) of the given size, with the truth
  // of what it shows; the caller owns the image. Null when it cannot be drawn.
  virtual norvane::basic_structures::CImageData* RenderSyntheticFrame(
      int index, int width, int height, std::vector<TruthItem>* truth) const = 0;
  // How well a found item must overlap a truth item (intersection over union) to
  // count, besides reading its text.
  virtual double MatchIoU() const = 0;

  // The CPU seconds the calling thread has spent in the module's pixel work; -1 when
  // the module does not count it.
  virtual double PixelSeconds() const { return -1; }
};

// Creates the module with its options (comma-separated, the module's own); null with
// a message in `error` for a bad option.
typedef CaptureModule* (*CreateModuleFunction)(const char* options, std::string* error);
constexpr const char kCreateModuleName[] = "NorvaneCreateCaptureModule";

}  // namespace capture

#endif  // NORVANE_ROUTER_CAPTURE_MODULE_H_
