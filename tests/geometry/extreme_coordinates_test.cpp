// The main operations on coordinates up to +-(2^31 - 1). Products and differences
// wrap in 32 bits by definition; run under UndefinedBehaviorSanitizer this shows that
// they do so without undefined behaviour, and the pinned values show the wrap.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <vector>

#include "norvane/NorvaneCore.h"
#include "test_support/geometry_util.h"

namespace norvane {
namespace {

using basic_structures::CQuadrilateral;
using testing_util::Pt;

constexpr int kMax = INT_MAX;
constexpr int kMin = -INT_MAX;

const Pt kQuads[][4] = {
    {Pt(kMin, kMin), Pt(kMax, kMin), Pt(kMax, kMax), Pt(kMin, kMax)},
    {Pt(kMax, kMax), Pt(kMin, kMax), Pt(kMin, kMin), Pt(kMax, kMin)},
    {Pt(0, kMin), Pt(kMax, 0), Pt(0, kMax), Pt(kMin, 0)},
    {Pt(kMax - 10, kMax - 10), Pt(kMax, kMax - 10), Pt(kMax, kMax), Pt(kMax - 10, kMax)},
    {Pt(kMin, kMin), Pt(kMin + 7, kMin), Pt(kMin + 7, kMin + 9), Pt(kMin, kMin + 9)},
    {Pt(kMin, 5), Pt(kMax, 3), Pt(kMin, 60), Pt(kMax, kMin)},
    {Pt(INT_MIN, INT_MIN), Pt(INT_MIN, INT_MIN), Pt(kMax, kMax), Pt(kMax, kMax)}};

TEST(ExtremeCoordinates, ValueTypesAndTransformsStayDefined) {
  // Each difference wraps to 2, so the squared distance is 8.
  EXPECT_DOUBLE_EQ(TXP_Distance(Pt(kMin, kMin), Pt(kMax, kMax)), std::sqrt(8.0));
  const double huge[9] = {1e12, 0, 0, 0, -1e12, 0, 0, 0, 1};
  EXPECT_EQ(TXP_TransformCoordinates(Pt(kMax, kMax), huge), Pt(INT_MAX, INT_MIN));
  const double vanishing[9] = {1, 0, 0, 0, 1, 0, 0, 0, 0};
  EXPECT_EQ(TXP_TransformCoordinates(Pt(0, 0), vanishing), Pt(0, 0));  // 0 / 0
  for (const auto& q : kQuads) {
    const CQuadrilateral quad = testing_util::CQuad(q[0], q[1], q[2], q[3]);
    IsPointsClockWise(q);
    Pt probe(kMax, kMin);
    quad.Contains(&probe);
    quad.GetArea();
    Pt out[4];
    ConvertQuadrilateralToClockWisePoints(quad, out);
    ConvertQuadrilateralWithTransformMat(quad, huge, out);
    ConvertQuadrilateralWithDiffCoordinates(quad, huge, vanishing, out);
  }
}

TEST(ExtremeCoordinates, SegmentOperationsStayDefined) {
  const Pt ends[][2] = {{Pt(kMin, kMin), Pt(kMax, kMax)},
                        {Pt(kMax, 0), Pt(kMin, 1)},
                        {Pt(INT_MIN, INT_MIN), Pt(kMax, INT_MIN)},
                        {Pt(kMax, kMax), Pt(kMax, kMax)},
                        {Pt(kMax - 3, kMin), Pt(kMax, kMin + 5)}};
  for (const auto& e : ends) {
    TQ_LineSegmentEnhanced s(e[0], e[1]);
    s.CalcAngle();
    s.GetRealLength();
    s.GetPixelCount();
    s.CalcMiddlePointCoord();
    s.CalcX(kMax);
    s.CalcY(kMin);
    float intercept;
    int angle;
    s.GetLineEquation(intercept, angle, CA_X);
    s.CalcPointPositionStatus(Pt(kMin, kMax), 1);
    s.CalcPointStatusOnLineEquation(Pt(kMax, kMax));
    s.CalcDistanceToPoint(Pt(kMin, 0));
    Pt meet;
    s.CalcIntersectionOfTwoLines<int>(TQ_LineSegment(Pt(kMin, kMax), Pt(kMax, kMin)), meet, 100,
                                      100, 0.5f);
    Pt moved;
    s.CalcTranslatedPoint(LSTD_RIGHT_SIDE, kMax, moved);
    TQ_LineSegmentEnhanced t(s);
    t.TranslateBasedOnDirection(LSTD_FORWARD, kMax);
    t.TranslateBasedOnAngle(45, kMax);
    t.Rotate(LSPA_MIDDLE, 33);
    t.RotateBasedOnDistance(kMax, true, LSPA_MIDDLE);
    t.StretchLength(LSPA_MIDDLE, 1e9f, LSLTM_BY_RATIO);
    t.SetOrigin(Pt(kMin, kMax));
    t.TranslateToPoint(Pt(kMax, kMax), LSPA_MIDDLE);
    t.SwapVertices();
    t.CalcAngleBetweenLines(s, AD_90);
    t.CalcPositionStatusOfInputLine(s, 3);
  }
  // Short segments at the edges of the range rasterise across the wrap-around.
  std::vector<Pt> out;
  const TQ_LineSegmentEnhanced corner(Pt(kMax - 3, kMin), Pt(kMax, kMin + 5));
  const TQ_LineSegmentEnhanced across(Pt(kMax, 0), Pt(INT_MIN, 0));
  corner.Pixelate(out, PM_FOUR_CONNECTED, 0, 0);
  corner.Pixelate(out, PM_BRESENHAM, 2, -1);
  across.Pixelate(out, PM_BRESENHAM, 1, -1);
  // The wrapped length is 1 but the step direction comes from comparing the
  // coordinates: one step to the left, then the end point.
  ASSERT_GE(out.size(), 3u);
  EXPECT_EQ(std::vector<Pt>(out.end() - 3, out.end()),
            std::vector<Pt>({Pt(kMax, 0), Pt(kMax - 1, 0), Pt(INT_MIN, 0)}));
  // Angles of far-apart points follow the wrapped difference: (kMax, 0) -> (INT_MIN, 0)
  // is one pixel to the right.
  EXPECT_EQ(across.CalcAngle(), 0);
  EXPECT_FLOAT_EQ(across.GetRealLength(), 1.0f);
}

TEST(ExtremeCoordinates, QuadOperationsStayDefined) {
  for (const auto& q : kQuads) {
    TQ_Quad quad(q);
    quad.IsConvex();
    quad.GetArea(-1, -1);
    quad.GetInteriorAngles();
    quad.GetCenterPoint();
    quad.GetOrientationLength();
    quad.GetVerticalLength();
    quad.CalcPointPositionRelation(Pt(kMax, kMin), 1);
    quad.CalcPointPositionRelation(Pt(0, 0), 3);
    quad.GetAllPixelsReserveSize(0, -1, -1);
    quad.GetAllPixelsReserveSize(2, 64, 64);
    std::vector<Pt> pixels;
    quad.GetAllPixels(pixels, PM_BRESENHAM, 0, 64, 48);
    quad.GetAllPixels(pixels, PM_FOUR_CONNECTED, 3, 64, 48);
    for (const Pt& p : pixels) ASSERT_TRUE(p.x >= 0 && p.x < 64 && p.y >= 0 && p.y < 64);
    for (const auto& other : kQuads) {
      const TQ_Quad o(other);
      quad.CalcOverlappingAreaWithOtherQuad(&o);
      quad.IsOverlapWithOtherQuad(o, 0.0f);
      quad.IsOverlapWithOtherQuad(o, 0.25f);
    }
    TQ_Quad moved(quad);
    moved.ExpandQuad(kMax);
    moved.ExpandQuad(kMin, 17);
    moved.TranslateEdge(QEI_2, QETD_INWARD, kMax);
    moved.CalcIntersectionsOfEdges();
    moved.ReorderVertices(QVI_3);
    moved.CalcHashID();
    Pt sorted[4] = {q[0], q[1], q[2], q[3]};
    TQ_Quad::SetVerticesToClockWise(sorted, -1);
    TQ_Quad::SetVerticesToClockWise(sorted, 3);
    TQ_Quad fromLines(quad.GetEdges());
    fromLines.GetArea(10, 10);
  }
  // The square spanning the whole range covers the whole image, row by row.
  std::vector<Pt> pixels;
  const TQ_Quad whole(kQuads[0]);
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
