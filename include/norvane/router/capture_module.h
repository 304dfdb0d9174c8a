/// \file
/// What the router knows of a recognition module, and all it knows: the module's
/// definitions and tasks, how it makes their task objects, how the regions its last
/// tasks output become result items, and its synthetic test frames. A module is a
/// shared library named "lib" + module name + ".so" that exports two functions,
/// defined by NORVANE_CAPTURE_MODULE: kInterfaceVersionName, which returns the
/// kInterfaceVersion it was built against, and kCreateModuleName, of type
/// CreateModuleFunction. The router refuses a library without them or with another
/// interface version.
///
/// The graph: the first definition runs on the region of the whole image; each of its
/// tasks outputs regions whose target ROI definition names the child definition whose
/// tasks run on them next, once every task of the parent definition has finished for
/// the image. Regions output by the tasks of the last definition (or named for no
/// definition) are the module's findings.
///
/// Thread safety: CreateTask and PixelSeconds are called on any thread; the other
/// functions on the router's thread only. The router owns the module and destroys it
/// before unloading the library.
#ifndef NORVANE_ROUTER_CAPTURE_MODULE_H_
#define NORVANE_ROUTER_CAPTURE_MODULE_H_

#include <json/json.h>

#include <string>
#include <vector>

#include "norvane/NorvaneCore.h"

namespace capture {

/// A result item of a module: where it is and what it reads.
class ModuleItem : public norvane::basic_structures::TXPItemBase {
 public:
  /// Corners in image coordinates.
  virtual norvane::basic_structures::CQuadrilateral Quad() const = 0;
  /// Its symbology.
  virtual std::string Format() const = 0;
  /// The text it reads; empty for modules that read none.
  virtual std::string Text() const = 0;
  /// The bytes the code holds; by default the text's.
  virtual std::vector<unsigned char> Bytes() const {
    const std::string text = Text();
    return std::vector<unsigned char>(text.begin(), text.end());
  }
  /// The item as one JSON object.
  virtual Json::Value ToJson() const = 0;
};

/// A quadrilateral as JSON: [[x, y] x4].
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

/// The ground truth of one thing drawn into a synthetic frame.
struct TruthItem {
  double corners[4][2];  ///< x, y in pixel-edge coordinates
  std::string format;  ///< its symbology, as the module's items name it
  std::string text;  ///< empty where the module reads no text
};

/// What the router asks of a module when it creates it.
struct ModuleSettings {
  std::string options;  ///< the module's own options, comma-separated
  std::vector<std::string> formats;  ///< the symbologies to report, from Formats(); empty: all
  bool fast = false;  ///< fewer attempts: fewer reads, less time
};

/// A target ROI definition of the module's graph: its name and its tasks' names.
struct ModuleDefinition {
  std::string name;                ///< the definition's name, which regions name
  std::vector<std::string> tasks;  ///< the tasks that run on each of its regions
};

/// A recognition module, as the router drives it (see the file's description).
class CaptureModule {
 public:
  virtual ~CaptureModule() = default;

  /// The definitions in graph order: the first runs on the whole image, each next one
  /// on the regions of the one before.
  virtual std::vector<ModuleDefinition> Definitions() const = 0;
  /// A new task object for one unit of `task`; null for an unknown name. The caller
  /// keeps it in a TQRef.
  virtual norvane::TQ_TaskObjectBase* CreateTask(const std::string& task) const = 0;
  /// Turns the findings of one image into result items (dropping duplicates); the
  /// caller keeps them in TQRefs.
  virtual std::vector<ModuleItem*> MakeItems(
      const std::vector<norvane::TQRef<norvane::TQRegionObject>>& findings) const = 0;
  /// The JSON key under which a frame lists its items ("barcodes", "labels").
  virtual const char* ItemsKey() const = 0;
  /// What a summary calls the items ("codes", "labels").
  virtual const char* ItemsNoun() const = 0;

  /// Synthetic frame `index` (the same every time) of the given size, with the truth
  /// of what it shows; the caller owns the image. Null when it cannot be drawn.
  virtual norvane::basic_structures::CImageData* RenderSyntheticFrame(
      int index, int width, int height, std::vector<TruthItem>* truth) const = 0;
  /// How well a found item must overlap a truth item (intersection over union) to
  /// count, besides reading its text.
  virtual double MatchIoU() const = 0;

  /// The CPU seconds the calling thread has spent in the module's pixel work; -1 when
  /// the module does not count it.
  virtual double PixelSeconds() const { return -1; }

  /// The symbologies the module can report, by the names its items' Format() gives;
  /// empty for modules that read none.
  virtual std::vector<std::string> Formats() const { return {}; }
};

/// The version of this interface. A module built against another one is refused.
constexpr int kInterfaceVersion = 2;
/// Creates the module with its settings; null with a message in `error` for a bad
/// option. The router has checked `formats` against Formats().
typedef CaptureModule* (*CreateModuleFunction)(const ModuleSettings* settings, std::string* error);
/// The type of the entry point that tells a module's interface version.
typedef int (*InterfaceVersionFunction)();
/// The exported name of the entry point of type CreateModuleFunction.
constexpr const char kCreateModuleName[] = "NorvaneCreateCaptureModule";
/// The exported name of the entry point of type InterfaceVersionFunction.
constexpr const char kInterfaceVersionName[] = "NorvaneCaptureModuleInterfaceVersion";

}  ///< namespace capture

/// Defines a module's two entry points around `factory`, a function
/// `capture::CaptureModule* factory(const capture::ModuleSettings&, std::string* error)`.
/// Use it once, at global scope, in the module's library.
#define NORVANE_CAPTURE_MODULE(factory)                                                    \
  extern "C" __attribute__((visibility("default"))) int                                    \
  NorvaneCaptureModuleInterfaceVersion() {                                                 \
    return ::capture::kInterfaceVersion;                                                   \
  }                                                                                        \
  extern "C" __attribute__((visibility("default"))) ::capture::CaptureModule*              \
  NorvaneCreateCaptureModule(const ::capture::ModuleSettings* settings, std::string* error) { \
    return settings != nullptr ? factory(*settings, error) : nullptr;                      \
  }

#endif  ///< NORVANE_ROUTER_CAPTURE_MODULE_H_
