// Exact polygon areas and intersections in double, used to score found labels
// against the ground truth.
#ifndef NORVANE_ROUTER_GEOMETRY2D_H_
#define NORVANE_ROUTER_GEOMETRY2D_H_

#include <vector>

namespace capture {

struct Vec2 {
  double x;
  double y;
};
typedef std::vector<Vec2> Polygon;

// Absolute area of a simple polygon (shoelace formula).
double PolygonArea(const Polygon& polygon);
// The intersection of two convex polygons of either orientation (Sutherland-Hodgman,
// clipping `subject` by each edge of `clip`); empty when they do not overlap.
Polygon ConvexIntersection(const Polygon& subject, const Polygon& clip);
// Intersection over union of two convex polygons; 0 when either has no area.
double IntersectionOverUnion(const Polygon& a, const Polygon& b);

}  // namespace capture

#endif  // NORVANE_ROUTER_GEOMETRY2D_H_
