#include "geometry2d.h"

#include <cmath>

namespace capture {
namespace {

double SignedArea(const Polygon& polygon) {
  double twice = 0;
  for (size_t i = 0; i < polygon.size(); ++i) {
    const Vec2& a = polygon[i];
    const Vec2& b = polygon[(i + 1) % polygon.size()];
    twice += a.x * b.y - b.x * a.y;
  }
  return twice / 2;
}

// Positive when `p` lies to the left of a->b, in the orientation of positive areas.
double Side(const Vec2& a, const Vec2& b, const Vec2& p) {
  return (b.x - a.x) * (p.y - a.y) - (b.y - a.y) * (p.x - a.x);
}

}  // namespace

double PolygonArea(const Polygon& polygon) { return std::fabs(SignedArea(polygon)); }

Polygon ConvexIntersection(const Polygon& subject, const Polygon& clip) {
  if (subject.size() < 3 || clip.size() < 3) return {};
  Polygon clipper = clip;
  if (SignedArea(clipper) < 0) clipper.assign(clip.rbegin(), clip.rend());
  Polygon output = subject;
  for (size_t i = 0; i < clipper.size() && !output.empty(); ++i) {
    const Vec2& a = clipper[i];
    const Vec2& b = clipper[(i + 1) % clipper.size()];
    Polygon input;
    input.swap(output);
    for (size_t j = 0; j < input.size(); ++j) {
      const Vec2& p = input[j];
      const Vec2& q = input[(j + 1) % input.size()];
      const double sp = Side(a, b, p);
      const double sq = Side(a, b, q);
      if (sp >= 0) output.push_back(p);
      if ((sp >= 0) != (sq >= 0)) {
        const double t = sp / (sp - sq);
        output.push_back({p.x + t * (q.x - p.x), p.y + t * (q.y - p.y)});
      }
    }
  }
  return output.size() >= 3 ? output : Polygon();
}

double IntersectionOverUnion(const Polygon& a, const Polygon& b) {
  const double areaA = PolygonArea(a);
  const double areaB = PolygonArea(b);
  if (areaA <= 0 || areaB <= 0) return 0;
  const double intersection = PolygonArea(ConvexIntersection(a, b));
  return intersection / (areaA + areaB - intersection);
}

}  // namespace capture
