// The enhanced line segment: caches, angles, tests, moves and rasterising.
#include "norvane/geometry/line_segment.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <climits>
#include <cmath>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "geometry/angle_table.h"
#include "test_support/geometry_util.h"

namespace norvane {
namespace {

using testing_util::Pt;
typedef TQ_LineSegmentEnhanced Seg;

// The angle rule written out with the C library's arctangent.
int AngleByAtan2(int dx, int dy) {
  const float degrees =
      static_cast<float>(std::atan2(static_cast<double>(dy), dx) / 3.141592653 * 180.0);
  const double wide = degrees;
  const int value = static_cast<int>(degrees > 0 ? wide + 0.5 : wide - 0.5);
  return value < 0 ? value + 360 : value;
}

TEST(MathUtils, RoundsHalfAwayFromZeroAndSaturates) {
  const std::pair<float, int> cases[] = {{0.5f, 1},   {-0.5f, -1},      {2.5f, 3},
                                         {-2.5f, -3}, {2.4999f, 2},     {-0.49f, 0},
                                         {NAN, 0},    {1e20f, INT_MAX}, {-1e20f, INT_MIN}};
  for (const auto& c : cases) EXPECT_EQ(MathUtils::round(c.first), c.second) << c.first;
}

TEST(SegmentAngle, TableMatchesArctangentRuleEverywhere) {
  for (int dx = -10; dx <= 10; ++dx) {
    for (int dy = -10; dy <= 10; ++dy) {
      const int expected = (dx == 0 && dy == 0) ? 0 : AngleByAtan2(dx, dy);
      EXPECT_EQ(internal::kAngleTable[(dx + 10) * 21 + (dy + 10)], expected) << dx << "," << dy;
      // The segment's answer does not depend on where it starts.
      EXPECT_EQ(Seg(Pt(100 - dx, -7), Pt(100, dy - 7)).CalcAngle(),
                Seg(Pt(0, 0), Pt(dx, dy)).CalcAngle());
    }
  }
  std::mt19937 random(3);
  std::uniform_int_distribution<int> d(-5000, 5000);
  for (int i = 0; i < 2000; ++i) {
    const int dx = d(random), dy = d(random);
    EXPECT_EQ(Seg(Pt(0, 0), Pt(dx, dy)).CalcAngle(),
              (dx == 0 && dy == 0) ? 0 : AngleByAtan2(dx, dy));
  }
}

// Everything a segment answers from its caches: start end angle length pixels middle.
std::string State(const Seg& s) {
  std::ostringstream out;
  const Pt &a = s.GetStartPoint(), &b = s.GetEndPoint(), &m = s.GetMiddlePoint();
  out << a.x << "," << a.y << " " << b.x << "," << b.y << " " << s.CalcAngle() << " "
      << s.GetRealLength() << " " << s.GetPixelCount() << " " << m.x << "," << m.y;
  return out.str();
}

TEST(SegmentCaches, EachMutationResetsExactlyItsGroups) {
  // A point changed through the writable accessor leaves the caches stale, which
  // shows which caches an operation keeps: swapping turns the cached angle and keeps
  // the length and pixels, and recomputes the middle and the equation.
  Seg s(Pt(0, 0), Pt(10, 0));
  EXPECT_EQ(State(s), "0,0 10,0 0 10 11 5,0");
  s.GetEndPoint() = Pt(0, 10);
  s.SwapVertices();
  EXPECT_EQ(State(s), "0,10 0,0 180 10 11 0,5");  // a fresh angle would be 270
  EXPECT_EQ(s.CalcX(5), 0.0f);
  // Copies take the caches as they are; the base-class constructor starts afresh.
  EXPECT_EQ(Seg(s).CalcAngle(), 180);
  EXPECT_EQ(Seg(static_cast<const TQ_LineSegment&>(s)).CalcAngle(), 270);
  s.SetVertices(Pt(0, 0), Pt(-3, 0));  // setters reset everything
  EXPECT_EQ(State(s), "0,0 -3,0 180 3 4 -2,0");
  s.SetEndPoint(Pt(10, 0));
  EXPECT_EQ(State(s), "0,0 10,0 0 10 11 5,0");

  // Moves, turns and stretches recompute what they change.
  EXPECT_EQ(s.CalcY(3), 0.0f);
  s.TranslateBasedOnDirection(LSTD_DOWN, 4);
  EXPECT_EQ(s.CalcY(3), 4.0f);
  EXPECT_EQ(State(s), "0,4 10,4 0 10 11 5,4");
  EXPECT_TRUE(s.Rotate(LSPA_START, 90));
  EXPECT_FALSE(s.Rotate(LSPA_START, 0) || s.Rotate(LSPA_MIDDLE, 360));
  EXPECT_EQ(State(s), "0,4 0,14 90 10 11 0,9");
  s.StretchLength(LSPA_MIDDLE, 10, LSLTM_BY_LENGTH);
  EXPECT_EQ(State(s), "0,-1 0,19 90 20 21 0,9");
  s.StretchLength(LSPA_END, -0.5f, LSLTM_BY_RATIO);
  EXPECT_EQ(s.GetEndPoint(), Pt(0, 9));
}

TEST(SegmentConstruction, FromAngleAndLengthPresetsCaches) {
  EXPECT_EQ(Seg(Pt(3, 4), 90, 10.0f).GetEndPoint(), Pt(3, 14));
  Seg diagonal(Pt(0, 0), 405, 10.0f);                  // the angle is kept as given, not reduced
  EXPECT_EQ(State(diagonal), "0,0 7,7 405 10 8 3,3");  // middles floor the half sums
  diagonal.SwapVertices();
  EXPECT_EQ(diagonal.CalcAngle(), 225);
}

TEST(SegmentMoves, TranslationsAndSidewaysTurns) {
  // Each step acts on the segment the previous one left: {direction, distance, new start}.
  // Left is -y for a segment pointing +x; an unknown direction does nothing.
  Seg s(Pt(0, 0), Pt(10, 0));
  const struct {
    int direction, distance;
    Pt start;
  } moves[] = {{LSTD_LEFT_SIDE, 5, Pt(0, -5)},
               {LSTD_RIGHT_SIDE, 7, Pt(0, 2)},
               {LSTD_BACKWARD, 3, Pt(-3, 2)},
               {9, 3, Pt(-3, 2)}};
  for (const auto& m : moves) {
    s.TranslateBasedOnDirection(static_cast<TQ_LS_Translating_Direction>(m.direction), m.distance);
    EXPECT_EQ(s.GetStartPoint(), m.start) << m.direction;
    EXPECT_EQ(s.GetEndPoint(), Pt(m.start.x + 10, m.start.y)) << m.direction;  // rigid
  }
  // Translated points start from the end (forward), the start (backward) or the middle.
  const struct {
    TQ_LS_Translating_Direction direction;
    Pt expected;
  } points[] = {{LSTD_FORWARD, Pt(11, 2)}, {LSTD_BACKWARD, Pt(-7, 2)}, {LSTD_RIGHT_SIDE, Pt(2, 6)}};
  for (const auto& t : points) {
    Pt out;
    s.CalcTranslatedPoint(t.direction, 4, out);
    EXPECT_EQ(out, t.expected) << t.direction;
  }
  s.TranslateToPoint(Pt(100, 100), LSPA_MIDDLE);
  EXPECT_EQ(s.GetStartPoint(), Pt(95, 100));
  s.TranslateToPoint(Pt(0, 0), LSPA_END);
  s.SetOrigin(Pt(-10, 5));
  EXPECT_EQ(s.GetStartPoint(), Pt(0, -5));
  EXPECT_FALSE(s.TranslateBasedOnAngle(90, 0));
  EXPECT_TRUE(s.TranslateBasedOnAngle(90, 4));
  EXPECT_EQ(s.GetStartPoint(), Pt(0, -1));  // cos(pi/2) * 4 truncates to 0

  // Sideways turns move the far end (or both ends, about the middle) by the distance.
  Seg turned(Pt(0, 0), Pt(10, 0)), both(Pt(0, 0), Pt(10, 0));
  turned.RotateBasedOnDistance(5, true, LSPA_START);
  both.RotateBasedOnDistance(2, false, LSPA_MIDDLE);
  EXPECT_EQ(State(turned),
            "0,0 10,-5 " + std::to_string(AngleByAtan2(10, -5)) + " 11.1803 11 5,-3");
  EXPECT_EQ(State(both), "0,-2 10,2 " + std::to_string(AngleByAtan2(10, 4)) + " 10.7703 11 5,0");
}

TEST(SegmentLines, EquationInterceptsAndSides) {
  // Parallel to the asked axis: FLT_MAX and not ok (random lines below cover the rest).
  bool ok = true;
  EXPECT_EQ(Seg(Pt(0, 3), Pt(10, 3)).CalcX(5, ok), FLT_MAX);
  EXPECT_FALSE(ok);
  EXPECT_EQ(Seg(Pt(4, 0), Pt(4, 9)).CalcY(1), FLT_MAX);

  // {start, end, axis, intercept}: x + y = 2 either way round, angle 135 (mod 180);
  // an unknown axis leaves the intercept alone.
  const struct {
    Pt a, b;
    int axis;
    float intercept;
  } equations[] = {{Pt(2, 0), Pt(-8, 10), CA_X, 2.0f},
                   {Pt(-8, 10), Pt(2, 0), CA_Y, 2.0f},
                   {Pt(-8, 10), Pt(2, 0), 5, 42.0f}};
  for (const auto& e : equations) {
    float intercept = 42.0f;
    int angle = -1;
    Seg(e.a, e.b).GetLineEquation(intercept, angle, static_cast<TQ_Coordinates_Axis>(e.axis));
    EXPECT_FLOAT_EQ(intercept, e.intercept) << e.axis;
    EXPECT_EQ(angle, 135);
  }

  // The line equation is divided by B: y + A x + C, signed as that expression.
  Seg base(Pt(0, 0), Pt(10, 0));
  EXPECT_FLOAT_EQ(base.CalcDistanceToPoint(Pt(3, 4)), 4.0f);
  const int sides[][3] = {{3, 4, 1}, {3, -4, -1}, {-30, 0, 0}};
  for (const auto& p : sides) EXPECT_EQ(base.CalcPointStatusOnLineEquation(Pt(p[0], p[1])), p[2]);

  // Random lines against the closed forms in double precision.
  std::mt19937 random(5);
  std::uniform_int_distribution<int> c(-2000, 2000);
  for (int i = 0; i < 3000; ++i) {
    const Pt a(c(random), c(random)), b(c(random), c(random));
    const Pt p(c(random), c(random));
    if (a == b) continue;
    const Seg s(a, b);
    const double dx = b.x - a.x, dy = b.y - a.y;
    const double cross = dx * (p.y - a.y) - dy * (p.x - a.x);
    const double distance = std::fabs(cross) / std::hypot(dx, dy);
    const int tolerance = i % 7;
    const int expected = tolerance > distance ? 0 : (cross < 0 ? 3 : 1);
    EXPECT_EQ(s.CalcPointPositionStatus(p, tolerance), expected) << i;
    if (std::fabs(dy) > std::fabs(dx) * 0.01) {
      const double x = a.x + (p.y - a.y) * dx / dy;
      EXPECT_NEAR(s.CalcX(p.y), x, 1e-3 * (1 + std::fabs(x))) << i;
    }
    if (std::fabs(dx) > std::fabs(dy) * 0.01) {
      const double y = a.y + (p.x - a.x) * dy / dx;
      EXPECT_NEAR(s.CalcY(p.x), y, 1e-3 * (1 + std::fabs(y))) << i;
    }
  }
}

TEST(SegmentAngles, BetweenLinesAndPositionStatus) {
  // {angle a, angle b, domain, angle from a to b}; an unknown domain gives 0.
  const int between[][4] = {{10, 350, AD_360, 340}, {10, 350, AD_180, 20}, {10, 350, AD_90, 20},
                            {10, 350, 45, 0},       {350, 10, AD_360, 20}, {10, 200, AD_90, 10},
                            {10, 130, AD_90, 60}};
  for (const auto& b : between) {
    EXPECT_EQ(
        Seg(Pt(0, 0), b[0], 5.0f)
            .CalcAngleBetweenLines(Seg(Pt(0, 0), b[1], 5.0f), static_cast<TQ_Angle_Domain>(b[2])),
        b[3])
        << b[0] << " " << b[1] << " " << b[2];
  }
  const TQ_LineSegment plain(Pt(0, 0), Pt(0, 10));
  EXPECT_EQ(Seg(Pt(0, 0), Pt(10, 0)).CalcAngleBetweenLines(plain, AD_360), 90);

  // {angle of the input line, status against a line at 0 with tolerance 5}.
  const int status[][2] = {{182, 0}, {176, 0}, {93, 1}, {45, -1}, {5, -1}};
  for (const auto& st : status) {
    EXPECT_EQ(Seg(Pt(0, 0), 0, 5.0f).CalcPositionStatusOfInputLine(Seg(Pt(0, 0), st[0], 5.0f), 5),
              st[1])
        << st[0];
  }
}

TEST(SegmentIntersection, LinesMeetInsideOrOutsideTheImage) {
  const Seg horizontal(Pt(0, 0), Pt(10, 0));
  const TQ_LineSegment vertical(Pt(5, -5), Pt(5, 5));
  Pt out(-1, -1);
  EXPECT_TRUE(horizontal.CalcIntersectionOfTwoLines<int>(vertical, out, -1, -1, 0.0f));
  EXPECT_EQ(out, Pt(5, 0));
  out = Pt(-1, -1);
  EXPECT_FALSE(horizontal.CalcIntersectionOfTwoLines<int>(vertical, out, 4, 4, 0.0f));
  EXPECT_EQ(out, Pt(5, 0));  // written anyway
  EXPECT_TRUE(horizontal.CalcIntersectionOfTwoLines<int>(vertical, out, 4, 4, 0.5f));
  out = Pt(-1, -1);
  EXPECT_FALSE(horizontal.CalcIntersectionOfTwoLines<int>(TQ_LineSegment(Pt(0, 3), Pt(7, 3)), out,
                                                          -1, -1, 0.0f));
  EXPECT_EQ(out, Pt(-1, -1));  // parallel: untouched

  std::mt19937 random(9);
  std::uniform_int_distribution<int> c(-3000, 3000);
  for (int i = 0; i < 3000; ++i) {
    const Pt a(c(random), c(random)), b(c(random), c(random));
    const Pt p(c(random), c(random)), q(c(random), c(random));
    const double d1x = b.x - a.x, d1y = b.y - a.y, d2x = q.x - p.x, d2y = q.y - p.y;
    const double det = d1x * d2y - d1y * d2x;
    if (std::fabs(det) < 1e5) continue;  // nearly parallel lines meet far away
    const double t = ((p.x - a.x) * d2y - (p.y - a.y) * d2x) / det;
    const double x = a.x + t * d1x, y = a.y + t * d1y;
    if (std::fabs(x) > 1e6 || std::fabs(y) > 1e6) continue;
    Pt r;
    ASSERT_TRUE(Seg(a, b).CalcIntersectionOfTwoLines<int>(TQ_LineSegment(p, q), r, -1, -1, 0.0f));
    EXPECT_LE(std::fabs(r.x - x), 0.5 + 1e-6 * std::fabs(x)) << i;
    EXPECT_LE(std::fabs(r.y - y), 0.5 + 1e-6 * std::fabs(y)) << i;
  }
}

TEST(SegmentPixelate, ChainsFollowTheLineInBothModes) {
  const Seg s(Pt(0, 0), Pt(4, 2));
  std::vector<Pt> out(1, Pt(9, 9));  // points already present count toward the limit
  s.Pixelate(out, PM_BRESENHAM, 1, 2);
  EXPECT_EQ(out, testing_util::Points({{9, 9}, {0, 0}}));
  out.clear();
  s.Pixelate(out, PM_BRESENHAM, 0, -1);
  s.Pixelate(out, static_cast<TQ_Pixelate_Mode>(7), 1, -1);
  EXPECT_TRUE(out.empty());
  Seg(Pt(0, 0), Pt(2, 1)).Pixelate(out, PM_FOUR_CONNECTED, 0, 0);
  EXPECT_EQ(out, testing_util::Points({{0, 0}, {1, 0}, {1, 1}, {2, 1}}));

  // Bresenham with step 1 visits one pixel per major-axis step, 8-connected, within
  // half a diagonal of the true line; larger steps take every step-th of those, then
  // the end. The four-connected chain moves one pixel at a time within one pixel.
  std::mt19937 random(13);
  std::uniform_int_distribution<int> c(-300, 300);
  for (int i = 0; i < 2000; ++i) {
    // The four-connected chain is defined on non-negative coordinates.
    const bool four = i % 2 == 1;
    const int shift = four ? 310 : 0;
    const Pt a(c(random) + shift, c(random) + shift);
    const Pt b =
        i % 8 < 2 ? Pt(a.x + i % 9, a.y + c(random) % 5) : Pt(c(random) + shift, c(random) + shift);
    const Seg seg(a, b);
    std::vector<Pt> all;
    seg.Pixelate(all, four ? PM_FOUR_CONNECTED : PM_BRESENHAM, four ? 0 : 1, four ? 0 : -1);
    const int major = std::max(std::abs(b.x - a.x), std::abs(b.y - a.y));
    ASSERT_FALSE(all.empty());
    if (!four) {
      ASSERT_EQ(static_cast<int>(all.size()), major + 1) << i;
    }
    EXPECT_EQ(all.front(), a) << i;
    EXPECT_EQ(all.back(), b) << i;
    const double length = std::hypot(b.x - a.x, b.y - a.y);
    for (size_t k = 0; k < all.size(); ++k) {
      const int dx = k > 0 ? std::abs(all[k].x - all[k - 1].x) : 0;
      const int dy = k > 0 ? std::abs(all[k].y - all[k - 1].y) : 0;
      ASSERT_TRUE(four ? k == 0 || dx + dy == 1 : dx <= 1 && dy <= 1) << i << " at " << k;
      const double cross =
          (b.x - a.x) * double(all[k].y - a.y) - (b.y - a.y) * double(all[k].x - a.x);
      if (length > 0) {
        EXPECT_LE(std::fabs(cross) / length, four ? 1.0 : 0.5 * std::sqrt(2.0) + 1e-9) << i;
      }
    }
    if (four) continue;
    const int step = 1 + i % 5;
    std::vector<Pt> sampled;
    seg.Pixelate(sampled, PM_BRESENHAM, step, -1);
    std::vector<Pt> expected;
    for (size_t k = 0; k < all.size(); k += step) expected.push_back(all[k]);
    if (!(expected.back() == b)) expected.push_back(b);
    EXPECT_EQ(sampled, expected) << i;
  }
}

}  // namespace
}  // namespace norvane
