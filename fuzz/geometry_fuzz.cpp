// libFuzzer target: the geometry operations on coordinates of any value, up to the
// ends of the 32-bit range, where products and differences wrap by definition. The
// sanitizers check that every operation stays defined and in bounds; the pixel lists
// must lie inside the image they are clipped to.
//
// Input: eight points (int32 x, y each, little-endian): quad a, quad b, and the first
// two points of a also serve as a segment's ends; then a distance and an angle
// (int32 each), a ratio (float) and a grid shift (uint8).
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "fuzz_input.h"
#include "norvane/NorvaneCore.h"

namespace {

using norvane::TQ_LineSegment;
using norvane::TQ_LineSegmentEnhanced;
using norvane::TQ_Quad;
using norvane::basic_structures::CQuadrilateral;
using Point = norvane::basic_structures::TQPoint_<int>;
using norvane_fuzz::Check;

// The larger of the two coordinate distances, in 64 bits.
int64_t Span(const Point& a, const Point& b) {
  const int64_t dx = int64_t{b.x} - a.x, dy = int64_t{b.y} - a.y;
  return std::max(dx < 0 ? -dx : dx, dy < 0 ? -dy : dy);
}

void Segments(const Point& a, const Point& b, int distance, int angle, float ratio) {
  TQ_LineSegmentEnhanced s(a, b);
  s.CalcAngle();
  s.GetRealLength();
  s.GetPixelCount();
  s.CalcMiddlePointCoord();
  s.CalcX(distance);
  s.CalcY(angle);
  float intercept;
  int lineAngle;
  s.GetLineEquation(intercept, lineAngle, norvane::CA_X);
  s.CalcPointPositionStatus(b, 1);
  s.CalcPointStatusOnLineEquation(Point(distance, angle));
  s.CalcDistanceToPoint(a);
  Point meet;
  s.CalcIntersectionOfTwoLines<int>(TQ_LineSegment(Point(a.x, b.y), Point(b.x, a.y)), meet, 100,
                                    100, 0.5f);
  Point moved;
  s.CalcTranslatedPoint(norvane::LSTD_RIGHT_SIDE, distance, moved);
  TQ_LineSegmentEnhanced t(s);
  t.TranslateBasedOnDirection(norvane::LSTD_FORWARD, distance);
  t.TranslateBasedOnAngle(angle, distance);
  t.Rotate(norvane::LSPA_MIDDLE, angle);
  t.RotateBasedOnDistance(distance, true, norvane::LSPA_MIDDLE);
  t.StretchLength(norvane::LSPA_MIDDLE, ratio, norvane::LSLTM_BY_RATIO);
  t.SetOrigin(b);
  t.TranslateToPoint(a, norvane::LSPA_MIDDLE);
  t.SwapVertices();
  t.CalcAngleBetweenLines(s, norvane::AD_90);
  t.CalcPositionStatusOfInputLine(s, 3);

  // Bresenham stops at its count; the four-connected chain is walked in full, so only
  // short ones.
  std::vector<Point> out;
  s.Pixelate(out, norvane::PM_BRESENHAM, 1 + (angle & 3), 4096);
  Check(out.size() <= 4096);
  if (Span(a, b) <= 2048) s.Pixelate(out, norvane::PM_FOUR_CONNECTED, 0, 0);
}

void Quads(const Point* a, const Point* b, int distance, int shift, float ratio) {
  const CQuadrilateral plain = [a] {
    CQuadrilateral q;
    for (int k = 0; k < 4; ++k) q.points[k] = a[k];
    return q;
  }();
  norvane::IsPointsClockWise(a);
  plain.Contains(&b[0]);
  plain.GetArea();
  const double huge[9] = {1e12, 0, 0, 0, -1e12, 0, 0, 0, 1};
  const double vanishing[9] = {1, 0, 0, 0, 1, 0, 0, 0, 0};
  Point out[4];
  norvane::ConvertQuadrilateralToClockWisePoints(plain, out);
  norvane::ConvertQuadrilateralWithTransformMat(plain, huge, out);
  norvane::ConvertQuadrilateralWithDiffCoordinates(plain, huge, vanishing, out);
  TXP_Distance(a[0], b[0]);
  TXP_TransformCoordinates(a[1], huge);

  TQ_Quad quad(a), other(b);
  quad.IsConvex();
  quad.GetArea(-1, -1);
  quad.GetInteriorAngles();
  quad.GetCenterPoint();
  quad.GetOrientationLength();
  quad.GetVerticalLength();
  quad.CalcPointPositionRelation(b[0], 1);
  quad.GetAllPixelsReserveSize(shift, -1, -1);
  quad.GetAllPixelsReserveSize(shift, 64, 64);
  std::vector<Point> pixels;
  quad.GetAllPixels(pixels, norvane::PM_BRESENHAM, 0, 64, 48);
  quad.GetAllPixels(pixels, norvane::PM_FOUR_CONNECTED, shift, 64, 48);
  for (const Point& p : pixels) Check(p.x >= 0 && p.x < 64 && p.y >= 0 && p.y < 48);
  quad.CalcOverlappingAreaWithOtherQuad(&other);
  quad.IsOverlapWithOtherQuad(other, ratio);
  TQ_Quad moved(quad);
  moved.ExpandQuad(distance);
  moved.ExpandQuad(~distance, shift);
  moved.TranslateEdge(norvane::QEI_2, norvane::QETD_INWARD, distance);
  moved.CalcIntersectionsOfEdges();
  moved.ReorderVertices(norvane::QVI_3);
  moved.CalcHashID();
  moved.toString();
  Point sorted[4] = {a[0], a[1], a[2], a[3]};
  TQ_Quad::SetVerticesToClockWise(sorted, -1);
  TQ_Quad::SetVerticesToClockWise(sorted, shift & 3);
  TQ_Quad fromLines(quad.GetEdges());
  fromLines.GetArea(10, 10);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  norvane_fuzz::Fields in(data, size);
  Point points[8];
  for (Point& p : points) {
    p.x = in.Next<int32_t>();
    p.y = in.Next<int32_t>();
  }
  const int distance = in.Next<int32_t>();
  const int angle = in.Next<int32_t>();
  const float ratio = in.Next<float>();
  const int shift = in.Next<uint8_t>() % 4;
  Segments(points[0], points[1], distance, angle, ratio);
  Quads(points, points + 4, distance, shift, ratio);
  return 0;
}
