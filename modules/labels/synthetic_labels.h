// Deterministic synthetic frames of the label detector: a light, slightly noisy
// background with one to six dark rotated rectangles ("labels") that do not touch,
// in a mix of pixel formats and tags. The ground truth of every frame is known
// before any pixel is drawn, so the run can score itself.
#ifndef NORVANE_MODULES_LABELS_SYNTHETIC_LABELS_H_
#define NORVANE_MODULES_LABELS_SYNTHETIC_LABELS_H_

#include <vector>

#include "geometry2d.h"
#include "norvane/basic_structures/image_data.h"

namespace capture {

struct SyntheticLabel {
  Polygon corners;  // four corners, in pixel-edge coordinates
  int grey = 0;     // the label's mean grey value
};

struct SyntheticFramePlan {
  int index = 0;
  int width = 0;
  int height = 0;
  unsigned int seed = 0;
  std::vector<SyntheticLabel> labels;
};

// The plan of frame `index` of the given size; the same for the same arguments.
SyntheticFramePlan PlanSyntheticFrame(int index, int width, int height);

// Draws a frame: grey, 24-bit colour or YUV 4:2:0 by its index, with a video-frame or
// file tag whose image id is the frame index. A pixel is dark when its centre lies in
// a label. The caller owns the image.
norvane::basic_structures::CImageData* RenderSyntheticFrame(const SyntheticFramePlan& plan);

}  // namespace capture

#endif  // NORVANE_MODULES_LABELS_SYNTHETIC_LABELS_H_
