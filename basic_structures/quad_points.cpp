#include "basic_structures/quad_points.h"

#include <cstdint>

#include "core/wrap_math.h"

namespace norvane {
namespace internal {

using Point = basic_structures::TQPoint_<int>;

int LeftUpPointIndex(const Point* points) {
  int64_t best = 99999;
  int index = -1;
  for (int k = 0; k < 4; ++k) {
    const int64_t sum = static_cast<int64_t>(points[k].x) + points[k].y;
    if (sum < best) {
      best = sum;
      index = k;
    }
  }
  return index;
}

void SetQuadPointsToClockWise(Point* points, int start) {
  if (start == -1) start = LeftUpPointIndex(points);
  // Out-of-range starts (also -1 from LeftUpPointIndex) leave the first point.
  if (start > 0 && start < 4) {
    const Point first = points[0];
    points[0] = points[start];
    points[start] = first;
  }
  Point d[4];
  for (int k = 1; k < 4; ++k) {
    d[k] = Point(WrapSub(points[k].x, points[0].x), WrapSub(points[k].y, points[0].y));
  }
  auto cross = [](const Point& a, const Point& b) { return WrapCross(a.x, a.y, b.x, b.y); };
  auto swap = [](Point& a, Point& b) {
    const Point t = a;
    a = b;
    b = t;
  };
  if (cross(d[1], d[2]) < 0) {
    swap(points[1], points[2]);
    swap(d[1], d[2]);
  }
  if (cross(d[2], d[3]) >= 0) return;
  if (cross(d[1], d[3]) < 0) swap(points[1], points[3]);
  swap(points[2], points[3]);
}

bool IsConvexQuadPoints(const Point* points) {
  int32_t z[4];
  for (int i = 0; i < 4; ++i) {
    const Point& a = points[i];
    const Point& b = points[(i + 1) & 3];
    const Point& c = points[(i + 2) & 3];
    z[i] = WrapCross(WrapSub(b.x, a.x), WrapSub(b.y, a.y), WrapSub(c.x, b.x), WrapSub(c.y, b.y));
    if (z[i] == 0) return false;
  }
  for (int i = 0; i < 4; ++i) {
    if ((z[i] < 0) != (z[(i + 1) & 3] < 0)) return false;
  }
  return true;
}

}  // namespace internal
}  // namespace norvane
