// The label detector, libNorvaneDemoDetector.so: norvane-capture's module "labels"
// (see include/norvane/router/capture_module.h). Its options, comma-separated:
//   delay-ms=N  the tasks wait N milliseconds at their check-points before working
//   noop        "localize" skips its pixel work and finds nothing
//
// "localize" runs on the whole-image region of a grey frame and adds one label region
// per dark label it finds; "measure" runs on one label region and keeps it in its
// output (with its measurements in the region's module map) unless it duplicates a
// larger label of the same frame.
#ifndef NORVANE_MODULES_LABELS_DEMO_DETECTOR_H_
#define NORVANE_MODULES_LABELS_DEMO_DETECTOR_H_

#include "norvane/task_runtime/region_object.h"
#include "norvane/task_runtime/task_setting.h"
#include "norvane/task_runtime/task_types.h"

namespace norvane {
namespace demo {

// The element type of label regions.
constexpr RegionObjectElementType kLabelRegionType = static_cast<RegionObjectElementType>(1);

// Keys of a label region's module map. "measure" writes area, angle and darkness.
constexpr const char kKeyIndex[] = "label-index";
constexpr const char kKeyArea[] = "area";
constexpr const char kKeyAngle[] = "angle";
constexpr const char kKeyDarkness[] = "darkness";
// Key of the whole-image region's module map: every label quad that "localize" found,
// as "x0 y0 x1 y1 x2 y2 x3 y3;" per label in index order.
constexpr const char kKeyAllLabels[] = "label-quads";

}  // namespace demo
}  // namespace norvane

#endif  // NORVANE_MODULES_LABELS_DEMO_DETECTOR_H_
