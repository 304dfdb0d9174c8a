// Properties of the quadrilateral on many random convex quads, against independent
// double-precision geometry written here.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <random>
#include <vector>

#include "norvane/basic_structures/transform_matrix.h"
#include "norvane/geometry/quad.h"
#include "test_support/geometry_util.h"

namespace norvane {
namespace {

using testing_util::Pt;

struct DPoint {
  double x, y;
};

// (b - a) x (p - a): positive when p is on the inner side of the edge a -> b of a
// clockwise (on screen) polygon.
double Cross(const DPoint& a, const DPoint& b, const DPoint& p) {
  return (b.x - a.x) * (p.y - a.y) - (b.y - a.y) * (p.x - a.x);
}

bool StrictlyConvexClockwise(const Pt* p) {
  for (int i = 0; i < 4; ++i) {
    const Pt &a = p[i], &b = p[(i + 1) % 4], &c = p[(i + 2) % 4];
    const long long turn =
        (long long)(b.x - a.x) * (c.y - b.y) - (long long)(c.x - b.x) * (b.y - a.y);
    if (turn <= 0) return false;
  }
  return true;
}

// A random strictly convex quad, clockwise on screen: four increasing angles on an
// ellipse (angles grow clockwise when y points down).
void RandomConvexQuad(std::mt19937& random, int centreRange, int minRadius, int maxRadius,
                      Pt* out) {
  // Centres keep the whole quad at non-negative coordinates.
  std::uniform_int_distribution<int> centre(maxRadius + 1, maxRadius + 1 + centreRange);
  std::uniform_int_distribution<int> radius(minRadius, maxRadius);
  std::uniform_real_distribution<double> angle(0.0, 2 * M_PI);
  for (;;) {
    const double cx = centre(random), cy = centre(random);
    const double rx = radius(random), ry = radius(random);
    double a[4];
    for (double& v : a) v = angle(random);
    std::sort(a, a + 4);
    for (int k = 0; k < 4; ++k) {
      out[k] = Pt(static_cast<int>(std::lround(cx + rx * std::cos(a[k]))),
                  static_cast<int>(std::lround(cy + ry * std::sin(a[k]))));
    }
    if (StrictlyConvexClockwise(out)) return;
  }
}

std::vector<DPoint> ToDouble(const Pt* p) {
  return {{double(p[0].x), double(p[0].y)},
          {double(p[1].x), double(p[1].y)},
          {double(p[2].x), double(p[2].y)},
          {double(p[3].x), double(p[3].y)}};
}

// Exact clipping of a convex polygon by a convex clockwise one.
std::vector<DPoint> Intersect(std::vector<DPoint> subject, const std::vector<DPoint>& clip) {
  for (size_t e = 0; e < clip.size() && !subject.empty(); ++e) {
    const DPoint &a = clip[e], &b = clip[(e + 1) % clip.size()];
    std::vector<DPoint> next;
    for (size_t k = 0; k < subject.size(); ++k) {
      const DPoint &p = subject[k], &q = subject[(k + 1) % subject.size()];
      const double cp = Cross(a, b, p), cq = Cross(a, b, q);
      if (cp >= 0) next.push_back(p);
      if ((cp >= 0) != (cq >= 0)) {
        const double t = cp / (cp - cq);
        next.push_back({p.x + t * (q.x - p.x), p.y + t * (q.y - p.y)});
      }
    }
    subject.swap(next);
  }
  return subject;
}

// Area and perimeter of a polygon with at least three points, else zeros.
std::pair<double, double> AreaAndPerimeter(const std::vector<DPoint>& p) {
  double twice = 0, perimeter = 0;
  for (size_t k = 0; k < p.size() && p.size() >= 3; ++k) {
    const DPoint &a = p[k], &b = p[(k + 1) % p.size()];
    twice += a.x * b.y - b.x * a.y;
    perimeter += std::hypot(b.x - a.x, b.y - a.y);
  }
  return {std::fabs(twice) / 2, perimeter};
}

// How far inside the quad the point lies: the smallest distance to an edge line,
// negative outside.
double Depth(const Pt* q, const Pt& p) {
  const std::vector<DPoint> d = ToDouble(q);
  double depth = 1e300;
  for (int i = 0; i < 4; ++i) {
    const DPoint &a = d[i], &b = d[(i + 1) % 4];
    depth =
        std::min(depth, Cross(a, b, {double(p.x), double(p.y)}) / std::hypot(b.x - a.x, b.y - a.y));
  }
  return depth;
}

bool Less(const Pt& a, const Pt& b) { return a.y != b.y ? a.y < b.y : a.x < b.x; }

std::vector<Pt> Sorted(std::vector<Pt> v) {
  std::sort(v.begin(), v.end(), Less);
  return v;
}

// The quad's pixels, sorted; within the reserve size and without duplicates.
std::vector<Pt> Pixels(const TQ_Quad& quad, TQ_Pixelate_Mode mode, int shift, int width = -1,
                       int height = -1, int* longest = nullptr) {
  std::vector<Pt> out;
  const int runs = quad.GetAllPixels(out, mode, shift, width, height);
  if (longest != nullptr) *longest = runs;
  EXPECT_LE(out.size(), static_cast<size_t>(quad.GetAllPixelsReserveSize(shift, width, height)));
  out = Sorted(out);
  EXPECT_TRUE(std::adjacent_find(out.begin(), out.end()) == out.end()) << "duplicate point";
  return out;
}

TEST(QuadProperty, SetVerticesToClockWiseOrdersShuffledConvexQuads) {
  std::mt19937 random(21);
  for (int trial = 0; trial < 5000; ++trial) {
    Pt q[4];
    RandomConvexQuad(random, 4000, 1, 2000, q);
    Pt sorted[4];
    std::copy(q, q + 4, sorted);
    std::shuffle(sorted, sorted + 4, random);
    const int start = trial % 5 - 1;  // -1, 0, 1, 2, 3
    int expectedFirst = std::max(start, 0);
    for (int k = 1; k < 4 && start == -1; ++k) {
      if (sorted[k].x + sorted[k].y < sorted[expectedFirst].x + sorted[expectedFirst].y) {
        expectedFirst = k;
      }
    }
    const Pt first = sorted[expectedFirst];
    TQ_Quad::SetVerticesToClockWise(sorted, start);
    ASSERT_TRUE(StrictlyConvexClockwise(sorted)) << trial;
    EXPECT_EQ(sorted[0], first) << trial;
    EXPECT_EQ(Sorted(std::vector<Pt>(sorted, sorted + 4)), Sorted(std::vector<Pt>(q, q + 4)));
  }
}

TEST(QuadProperty, OverlappingAreaMatchesExactIntersection) {
  std::mt19937 random(23);
  int overlapping = 0;
  for (int trial = 0; trial < 4000; ++trial) {
    Pt a[4], b[4];
    RandomConvexQuad(random, 3000, 1, 1500, a);
    RandomConvexQuad(random, 3000, 1, 1500, b);
    const auto exact = AreaAndPerimeter(Intersect(ToDouble(b), ToDouble(a)));
    const TQ_Quad qa(a), qb(b);
    // Intersection points are rounded to whole pixels and points within one pixel
    // of a clip line are kept: the boundary may move by up to about a pixel.
    EXPECT_NEAR(qa.CalcOverlappingAreaWithOtherQuad(&qb), exact.first, 4.0 + exact.second) << trial;
    overlapping += exact.first > 0;
  }
  EXPECT_GT(overlapping, 500);
}

TEST(QuadProperty, AllPixelsCoverTheInteriorAtEveryGrid) {
  std::mt19937 random(29);
  long long missing = 0, fineTotal = 0;
  for (int trial = 0; trial < 300; ++trial) {
    Pt q[4];
    RandomConvexQuad(random, 4000, 1, trial < 30 ? 8 : 150, q);
    const TQ_Quad quad(q);
    int longest = 0;
    const std::vector<Pt> sorted = Pixels(quad, PM_BRESENHAM, 0, -1, -1, &longest);
    for (const Pt& p : sorted) ASSERT_GE(Depth(q, p), -1.0) << trial << " " << p.x << "," << p.y;

    int minX = INT_MAX, maxX = INT_MIN, minY = INT_MAX, maxY = INT_MIN;
    for (const Pt& v : q) minX = std::min(minX, v.x), maxX = std::max(maxX, v.x);
    for (const Pt& v : q) minY = std::min(minY, v.y), maxY = std::max(maxY, v.y);
    int required = 0;
    for (int y = minY; y <= maxY; ++y) {
      for (int x = minX; x <= maxX; ++x) {
        if (Depth(q, Pt(x, y)) < 1.0) continue;
        ++required;
        ASSERT_TRUE(std::binary_search(sorted.begin(), sorted.end(), Pt(x, y), Less))
            << "missing " << x << "," << y << " trial " << trial;
      }
    }
    EXPECT_TRUE(required == 0 || longest >= 1) << trial;

    // Coarser grids (cells of 2, 4, 8): within the reserve, no duplicates, each cell
    // with its band up to the next scan line touches the quad grown by one pixel, and
    // nearly every fine point's cell is listed.
    for (int shift = 1; shift <= 3 && trial >= 30; ++shift) {
      const std::vector<Pt> cells = Pixels(quad, PM_BRESENHAM, shift);
      const int cell = 1 << shift;
      for (const Pt& p : cells) {
        double best = -1e300;
        for (int dy = 0; dy <= cell; ++dy) {
          for (int dx = 0; dx <= cell; ++dx) {
            best = std::max(best, Depth(q, Pt(p.x * cell + dx, p.y * cell + dy)));
          }
        }
        ASSERT_GE(best, -1.0) << trial << " shift " << shift;
      }
      for (const Pt& p : sorted) {
        ++fineTotal;
        const Pt c(p.x >> shift, p.y >> shift);
        if (!std::binary_search(cells.begin(), cells.end(), c, Less)) ++missing;
      }
    }

    // Mode 1 only widens the spans, by less than a pixel beyond the boundary.
    const std::vector<Pt> wide = Pixels(quad, PM_FOUR_CONNECTED, 0);
    ASSERT_TRUE(std::includes(wide.begin(), wide.end(), sorted.begin(), sorted.end(), Less))
        << trial;
    for (const Pt& p : wide) ASSERT_GE(Depth(q, p), -1.0) << trial;

    // Image bounds keep every in-image point and nothing outside the image.
    const int width = std::uniform_int_distribution<int>(1, maxX + 2)(random);
    const int height = std::uniform_int_distribution<int>(1, maxY + 2)(random);
    const std::vector<Pt> bounded = Pixels(quad, PM_BRESENHAM, 0, width, height);
    for (const Pt& p : bounded) {
      ASSERT_TRUE(p.x >= 0 && p.x < width && p.y >= 0 && p.y < height) << trial;
    }
    for (const Pt& p : sorted) {
      if (p.x < width && p.y < height) {
        ASSERT_TRUE(std::binary_search(bounded.begin(), bounded.end(), p, Less)) << trial;
      }
    }
  }
  // Bands cover nearly everything: only corners whose edges begin and end within one
  // band can be missed.
  EXPECT_LT(missing * 10000, fineTotal);
}

}  // namespace
}  // namespace norvane
