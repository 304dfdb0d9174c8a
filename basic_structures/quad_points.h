// Corner-order rules of a four-point polygon, shared by the quadrilateral
// conversions of the transform-matrix functions and by the working quadrilateral
// (TQ_Quad), which keeps them as its static members. Pure functions over the four
// points they are given; all turn tests use 32-bit wrap-around cross products.
#ifndef NORVANE_BASIC_STRUCTURES_QUAD_POINTS_H_
#define NORVANE_BASIC_STRUCTURES_QUAD_POINTS_H_

#include "norvane/basic_structures/point.h"

namespace norvane {
namespace internal {

// Index of the smallest x + y (lowest index on ties), -1 when every sum is 99999
// or more.
int LeftUpPointIndex(const basic_structures::TQPoint_<int>* points);

// Reorders four points in place into clockwise order starting at points[start]
// (start -1: the corner with the smallest x + y). Correct for convex input only.
void SetQuadPointsToClockWise(basic_structures::TQPoint_<int>* points, int start);

// True when all four turns are non-zero and of one sign (either orientation).
bool IsConvexQuadPoints(const basic_structures::TQPoint_<int>* points);

}  // namespace internal
}  // namespace norvane

#endif  // NORVANE_BASIC_STRUCTURES_QUAD_POINTS_H_
