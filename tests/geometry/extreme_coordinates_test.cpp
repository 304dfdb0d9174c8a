// Coordinates up to +-(2^31 - 1): products and differences wrap in 32 bits by
// definition, and these values show the wrap. That every operation stays defined on
// any coordinates is checked by fuzz/geometry_fuzz.cpp, replayed with the tests.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <vector>

#include "norvane/NorvaneCore.h"
#include "test_support/geometry_util.h"

namespace norvane {
namespace {

using testing_util::Pt;

constexpr int kMax = INT_MAX;
constexpr int kMin = -INT_MAX;

TEST(ExtremeCoordinates, WrapAroundValues) {
  // Each difference wraps to 2, so the squared distance is 8.
  EXPECT_DOUBLE_EQ(TXP_Distance(Pt(kMin, kMin), Pt(kMax, kMax)), std::sqrt(8.0));
  const double huge[9] = {1e12, 0, 0, 0, -1e12, 0, 0, 0, 1};
  EXPECT_EQ(TXP_TransformCoordinates(Pt(kMax, kMax), huge), Pt(INT_MAX, INT_MIN));
  const double vanishing[9] = {1, 0, 0, 0, 1, 0, 0, 0, 0};
  EXPECT_EQ(TXP_TransformCoordinates(Pt(0, 0), vanishing), Pt(0, 0));  // 0 / 0

  // The wrapped length is 1 but the step direction comes from comparing the
  // coordinates: one step to the left, then the end point. The angle follows the
  // wrapped difference: (kMax, 0) -> (INT_MIN, 0) is one pixel to the right.
  std::vector<Pt> out;
  const TQ_LineSegmentEnhanced across(Pt(kMax, 0), Pt(INT_MIN, 0));
  across.Pixelate(out, PM_BRESENHAM, 1, -1);
  EXPECT_EQ(out, std::vector<Pt>({Pt(kMax, 0), Pt(kMax - 1, 0), Pt(INT_MIN, 0)}));
  EXPECT_EQ(across.CalcAngle(), 0);
  EXPECT_FLOAT_EQ(across.GetRealLength(), 1.0f);

  // The square spanning the whole range covers the whole image, row by row.
  const Pt corners[4] = {Pt(kMin, kMin), Pt(kMax, kMin), Pt(kMax, kMax), Pt(kMin, kMax)};
  const TQ_Quad whole(corners);
  std::vector<Pt> pixels;
  EXPECT_EQ(whole.GetAllPixels(pixels, PM_BRESENHAM, 0, 64, 48), 64);
  EXPECT_EQ(pixels.size(), 64u * 48u);
  // ((kMax >> 0) - (kMin >> 0) + 1)^2 wraps: (2^32 - 1)^2 = 1 mod 2^32.
  EXPECT_EQ(whole.GetAllPixelsReserveSize(0, -1, -1), 1);
  EXPECT_EQ(whole.toString(),
            "(-2147483647,-2147483647) (2147483647,-2147483647) "
            "(2147483647,2147483647) (-2147483647,2147483647)");
}

}  // namespace
}  // namespace norvane
