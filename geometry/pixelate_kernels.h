// Rasterising kernels of TQ_LineSegmentEnhanced::Pixelate.
//
// Each mode has a plain reference, written step by step as the rule reads, and the
// fast kernel the library uses: it sizes the output once, writes through a pointer
// and replaces the data-dependent branches by selects. Both append exactly the same
// points (the tests compare them on random and extreme segments).
#ifndef NORVANE_GEOMETRY_PIXELATE_KERNELS_H_
#define NORVANE_GEOMETRY_PIXELATE_KERNELS_H_

#include <vector>

#include "norvane/basic_structures/point.h"

namespace norvane {
namespace internal {

typedef basic_structures::TQPoint_<int> PixelPoint;

// Mode 1: a 4-connected chain, a corner pixel at every change of the minor
// coordinate, on the side where the true line passes at the half step.
void PixelateFourConnectedReference(const PixelPoint& start, const PixelPoint& end,
                                    std::vector<PixelPoint>& out);
void PixelateFourConnectedFast(const PixelPoint& start, const PixelPoint& end,
                               std::vector<PixelPoint>& out);

// Mode 0: Bresenham, sampled every `step` pixels, stopping once `out` holds
// `maxCount` points (-1: no limit); the end point closes the chain.
void PixelateBresenhamReference(const PixelPoint& start, const PixelPoint& end, int step,
                                int maxCount, std::vector<PixelPoint>& out);
void PixelateBresenhamFast(const PixelPoint& start, const PixelPoint& end, int step, int maxCount,
                           std::vector<PixelPoint>& out);

}  // namespace internal
}  // namespace norvane

#endif  // NORVANE_GEOMETRY_PIXELATE_KERNELS_H_
