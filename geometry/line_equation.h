// The normalised line equation of a segment and the crossings derived from it,
// shared by TQ_LineSegmentEnhanced (which caches them) and the quad's pixel scan
// (which evaluates them in its inner loop without touching the edge caches).
#ifndef NORVANE_GEOMETRY_LINE_EQUATION_H_
#define NORVANE_GEOMETRY_LINE_EQUATION_H_

#include <cfloat>
#include <cmath>

#include "core/wrap_math.h"
#include "norvane/basic_structures/point.h"

namespace norvane {
namespace internal {

struct LineEquation {
  float a;
  float b;
  float c;
};

// A x + B y + C = 0 through both points, divided by B (then B = 1) or, for a
// vertical line, by A (then A = 1); a zero-length segment gives (0, 0, 0).
inline LineEquation MakeLineEquation(const basic_structures::TQPoint_<int>& start,
                                     const basic_structures::TQPoint_<int>& end) {
  float a = static_cast<float>(WrapSub(end.y, start.y));
  float b = static_cast<float>(WrapSub(start.x, end.x));
  float c = static_cast<float>(end.x) * static_cast<float>(start.y) -
            static_cast<float>(start.x) * static_cast<float>(end.y);
  if (b != 0.0f) {
    a /= b;
    c /= b;
    b = 1.0f;
  } else if (a != 0.0f) {
    c /= a;
    a = 1.0f;
  }
  return {a, b, c};
}

// The line's x at y; FLT_MAX with ok = false for a (nearly) horizontal line.
inline float CrossingX(const LineEquation& e, int y, bool& ok) {
  ok = true;
  if (std::fabs(e.a) < 0.001f) {
    ok = false;
    return FLT_MAX;
  }
  return -(e.b * static_cast<float>(y) + e.c) / e.a;
}

// The line's y at x; FLT_MAX with ok = false for a (nearly) vertical line.
inline float CrossingY(const LineEquation& e, int x, bool& ok) {
  ok = true;
  if (std::fabs(e.b) < 0.001f) {
    ok = false;
    return FLT_MAX;
  }
  return -(e.a * static_cast<float>(x) + e.c) / e.b;
}

}  // namespace internal
}  // namespace norvane

#endif  // NORVANE_GEOMETRY_LINE_EQUATION_H_
