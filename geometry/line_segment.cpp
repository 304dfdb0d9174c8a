// TQ_LineSegment and TQ_LineSegmentEnhanced.
#include "norvane/geometry/line_segment.h"

#include <cfloat>
#include <climits>
#include <cmath>
#include <cstdint>

#include "core/wrap_math.h"
#include "geometry/angle_table.h"
#include "geometry/line_equation.h"
#include "geometry/pixelate_kernels.h"

namespace norvane {

using basic_structures::TQPoint_;
using internal::AbsU;
using internal::TruncToInt;
using internal::WrapAdd;
using internal::WrapSub;

void TQ_LineSegment::Init() {}

TQ_LineSegment::~TQ_LineSegment() {}

void TQ_LineSegment::SwapVertices() {
  const TQPoint_<int> start = startPoint;
  startPoint = endPoint;
  endPoint = start;
}

void TQ_LineSegment::SetVertices(const TQPoint_<int>& start, const TQPoint_<int>& end) {
  startPoint = start;
  endPoint = end;
  Init();
}

void TQ_LineSegment::SetVertices(const TQPoint_<int>* two) { SetVertices(two[0], two[1]); }

namespace {

constexpr float kNotComputed = FLT_MAX;

// (angle / 180.0f) * 3.141592653, in double.
double DegreesToRadians(int angle) {
  return static_cast<double>(static_cast<float>(angle) / 180.0f) * internal::kLibraryPi;
}

}  // namespace

TQ_LineSegmentEnhanced::TQ_LineSegmentEnhanced() {
  InitEnhanced(true, true, true);
  middlePoint = Point(0, 0);
}

TQ_LineSegmentEnhanced::TQ_LineSegmentEnhanced(const Point& start, const Point& end)
    : TQ_LineSegment(start, end) {
  InitEnhanced(true, true, true);
}

TQ_LineSegmentEnhanced::TQ_LineSegmentEnhanced(const TQ_LineSegment& segment)
    : TQ_LineSegment(segment) {
  InitEnhanced(true, true, true);
}

TQ_LineSegmentEnhanced::TQ_LineSegmentEnhanced(const Point& start, int angleDegrees, float length)
    : TQ_LineSegment(start, start) {
  const double r = DegreesToRadians(angleDegrees);
  const int dx = MathUtils::round(static_cast<float>(std::cos(r) * length));
  const int dy = MathUtils::round(static_cast<float>(std::sin(r) * length));
  endPoint = Point(WrapAdd(start.x, dx), WrapAdd(start.y, dy));
  InitEnhanced(true, true, true);
  angle = angleDegrees;
  realLength = length;
}

void TQ_LineSegmentEnhanced::Init() { InitEnhanced(true, true, true); }

TQ_LineSegmentEnhanced::~TQ_LineSegmentEnhanced() {}

void TQ_LineSegmentEnhanced::InitEnhanced(bool resetLength, bool resetAngle, bool resetEquation) {
  if (resetLength) realLength = -1.0f;
  if (resetAngle) angle = INT_MAX;
  if (resetEquation) {
    A = 0.0f;
    B = kNotComputed;
    C = 0.0f;
    xIntercept = kNotComputed;
    yIntercept = kNotComputed;
    norm = kNotComputed;
  }
  pixelCount = 0;
  middlePoint.x = INT_MAX;
}

void TQ_LineSegmentEnhanced::SwapVertices() {
  TQ_LineSegment::SwapVertices();
  const int oldAngle = angle;
  InitEnhanced(false, false, true);
  if (oldAngle != INT_MAX) angle = WrapAdd(oldAngle, 180) % 360;
}

void TQ_LineSegmentEnhanced::MoveBy(int dx, int dy) {
  startPoint.x = WrapAdd(startPoint.x, dx);
  startPoint.y = WrapAdd(startPoint.y, dy);
  endPoint.x = WrapAdd(endPoint.x, dx);
  endPoint.y = WrapAdd(endPoint.y, dy);
}

void TQ_LineSegmentEnhanced::SetOrigin(Point origin) {
  MoveBy(WrapSub(0, origin.x), WrapSub(0, origin.y));
  InitEnhanced(false, false, true);
}

void TQ_LineSegmentEnhanced::TranslateToPoint(const Point& point, TQ_LS_Point_Alignment alignment) {
  Point reference;
  switch (alignment) {
    case LSPA_START:
      reference = startPoint;
      break;
    case LSPA_END:
      reference = endPoint;
      break;
    case LSPA_MIDDLE:
      CalcMiddlePointCoord();
      reference = middlePoint;
      break;
    default:
      return;
  }
  MoveBy(WrapSub(point.x, reference.x), WrapSub(point.y, reference.y));
  InitEnhanced(false, false, true);
}

namespace {

// The unit vector of a translation direction for a segment (dx, dy) of length L.
void DirectionUnit(TQ_LS_Translating_Direction direction, float dx, float dy, float length,
                   float& ux, float& uy) {
  switch (direction) {
    case LSTD_FORWARD:
      ux = dx / length;
      uy = dy / length;
      break;
    case LSTD_RIGHT_SIDE:
      ux = -dy / length;
      uy = dx / length;
      break;
    case LSTD_BACKWARD:
      ux = -dx / length;
      uy = -dy / length;
      break;
    case LSTD_LEFT_SIDE:
      ux = dy / length;
      uy = -dx / length;
      break;
    case LSTD_UP:
      ux = 0.0f;
      uy = -1.0f;
      break;
    case LSTD_DOWN:
      ux = 0.0f;
      uy = 1.0f;
      break;
    case LSTD_LEFT:
      ux = -1.0f;
      uy = 0.0f;
      break;
    case LSTD_RIGHT:
      ux = 1.0f;
      uy = 0.0f;
      break;
    default:
      ux = 0.0f;
      uy = 0.0f;
      break;
  }
}

}  // namespace

void TQ_LineSegmentEnhanced::TranslateBasedOnDirection(TQ_LS_Translating_Direction direction,
                                                       int distance) {
  const float length = GetRealLength();
  const float dx = static_cast<float>(WrapSub(endPoint.x, startPoint.x));
  const float dy = static_cast<float>(WrapSub(endPoint.y, startPoint.y));
  float ux = 0.0f;
  float uy = 0.0f;
  DirectionUnit(direction, dx, dy, length, ux, uy);
  const float d = static_cast<float>(distance);
  MoveBy(MathUtils::round(d * ux), MathUtils::round(d * uy));
  InitEnhanced(false, false, true);
}

void TQ_LineSegmentEnhanced::CalcTranslatedPoint(TQ_LS_Translating_Direction direction,
                                                 int distance, Point& out) const {
  Point reference = startPoint;
  float ux = 0.0f;
  float uy = 0.0f;
  if (direction >= LSTD_FORWARD && direction <= LSTD_LEFT_SIDE) {
    const float length = GetRealLength();
    const float dx = static_cast<float>(WrapSub(endPoint.x, startPoint.x));
    const float dy = static_cast<float>(WrapSub(endPoint.y, startPoint.y));
    DirectionUnit(direction, dx, dy, length, ux, uy);
    if (direction == LSTD_FORWARD) {
      reference = endPoint;
    } else if (direction != LSTD_BACKWARD) {
      CalcMiddlePointCoord();
      reference = middlePoint;
    }
  }
  const float d = static_cast<float>(distance);
  out.x = WrapAdd(reference.x, MathUtils::round(d * ux));
  out.y = WrapAdd(reference.y, MathUtils::round(d * uy));
}

bool TQ_LineSegmentEnhanced::TranslateBasedOnAngle(int angleDegrees, int distance) {
  const double r = DegreesToRadians(angleDegrees);
  const int dx = TruncToInt(distance * std::cos(r));
  const int dy = TruncToInt(distance * std::sin(r));
  if (dx == 0 && dy == 0) return false;
  MoveBy(dx, dy);
  InitEnhanced(false, false, true);
  return true;
}

namespace {

// Rotates p about pivot by an angle given as its (float) cosine and sine.
TQPoint_<int> RotatePoint(const TQPoint_<int>& p, const TQPoint_<int>& pivot, float c, float s) {
  const float u = static_cast<float>(WrapSub(p.x, pivot.x));
  const float v = static_cast<float>(WrapSub(p.y, pivot.y));
  return TQPoint_<int>(WrapAdd(pivot.x, MathUtils::round(u * c - v * s)),
                       WrapAdd(pivot.y, MathUtils::round(u * s + v * c)));
}

}  // namespace

void TQ_LineSegmentEnhanced::Rotate(const Point& centre, int angleDegrees) {
  const double r = angleDegrees * internal::kLibraryPi / 180.0;
  const float s = static_cast<float>(std::sin(r));
  const float c = static_cast<float>(std::cos(r));
  const Point start = RotatePoint(startPoint, centre, c, s);
  const Point end = RotatePoint(endPoint, centre, c, s);
  if (start == startPoint && end == endPoint) return;
  startPoint = start;
  endPoint = end;
  InitEnhanced(false, true, true);
}

bool TQ_LineSegmentEnhanced::Rotate(TQ_LS_Point_Alignment pivot, int angleDegrees) {
  Point centre;
  switch (pivot) {
    case LSPA_START:
      centre = startPoint;
      break;
    case LSPA_END:
      centre = endPoint;
      break;
    case LSPA_MIDDLE:
      CalcMiddlePointCoord();
      centre = middlePoint;
      break;
    default:
      break;
  }
  const Point oldStart = startPoint;
  const Point oldEnd = endPoint;
  Rotate(centre, angleDegrees);
  return !(oldStart == startPoint && oldEnd == endPoint);
}

void TQ_LineSegmentEnhanced::RotateBasedOnDistance(int distance, bool sense,
                                                   TQ_LS_Point_Alignment alignment) {
  const float length = GetRealLength();
  const int sigma = sense ? 1 : -1;
  const float d = static_cast<float>(distance);
  const float ny = static_cast<float>(WrapSub(startPoint.y, endPoint.y)) * sigma;
  const float nx = static_cast<float>(WrapSub(endPoint.x, startPoint.x)) * sigma;
  const int ox = MathUtils::round(ny / length * d);
  const int oy = MathUtils::round(d * nx / length);
  if (alignment == LSPA_START) {
    endPoint.x = WrapSub(endPoint.x, ox);
    endPoint.y = WrapSub(endPoint.y, oy);
  } else if (alignment == LSPA_END) {
    startPoint.x = WrapAdd(startPoint.x, ox);
    startPoint.y = WrapAdd(startPoint.y, oy);
  } else {
    startPoint.x = WrapAdd(startPoint.x, ox);
    startPoint.y = WrapAdd(startPoint.y, oy);
    endPoint.x = WrapSub(endPoint.x, ox);
    endPoint.y = WrapSub(endPoint.y, oy);
  }
  InitEnhanced(true, true, true);
}

void TQ_LineSegmentEnhanced::StretchLength(TQ_LS_Point_Alignment alignment, float amount,
                                           TQ_LS_Length_Transform_Mode mode) {
  float fs = 0.0f;
  float fe = 0.0f;
  switch (alignment) {
    case LSPA_START:
      fs = 1.0f;
      break;
    case LSPA_END:
      fe = 1.0f;
      break;
    case LSPA_MIDDLE:
      fs = 0.5f;
      fe = 0.5f;
      break;
    default:
      break;
  }
  if (mode == LSLTM_BY_LENGTH) amount /= GetRealLength();
  const float dx = static_cast<float>(WrapSub(endPoint.x, startPoint.x));
  const float dy = static_cast<float>(WrapSub(endPoint.y, startPoint.y));
  const Point start(WrapAdd(startPoint.x, MathUtils::round(-dx * amount * fs)),
                    WrapAdd(startPoint.y, MathUtils::round(-dy * amount * fs)));
  const Point end(WrapAdd(endPoint.x, MathUtils::round(dx * amount * fe)),
                  WrapAdd(endPoint.y, MathUtils::round(dy * amount * fe)));
  startPoint = start;
  endPoint = end;
  InitEnhanced(true, false, false);
}

void TQ_LineSegmentEnhanced::CalcEquation() const {
  if (std::fabs(B - FLT_MAX) >= 0.01f) return;
  const internal::LineEquation e = internal::MakeLineEquation(startPoint, endPoint);
  A = e.a;
  B = e.b;
  C = e.c;
  norm = std::sqrt(A * A + B * B);
}

void TQ_LineSegmentEnhanced::GetEquation(float& a, float& b, float& c) const {
  CalcEquation();
  a = A;
  b = B;
  c = C;
}

float TQ_LineSegmentEnhanced::CalcX(int y, bool& ok) const {
  CalcEquation();
  return internal::CrossingX({A, B, C}, y, ok);
}

float TQ_LineSegmentEnhanced::CalcY(int x, bool& ok) const {
  CalcEquation();
  return internal::CrossingY({A, B, C}, x, ok);
}

float TQ_LineSegmentEnhanced::CalcX(int y) const {
  bool ok;
  return CalcX(y, ok);
}

float TQ_LineSegmentEnhanced::CalcY(int x) const {
  bool ok;
  return CalcY(x, ok);
}

void TQ_LineSegmentEnhanced::GetLineEquation(float& intercept, int& lineAngle,
                                             TQ_Coordinates_Axis axis) const {
  lineAngle = CalcAngle() % 180;
  if (axis == CA_X) {
    if (xIntercept == kNotComputed) xIntercept = CalcX(0);
    intercept = xIntercept;
  } else if (axis == CA_Y) {
    if (yIntercept == kNotComputed) yIntercept = CalcY(0);
    intercept = yIntercept;
  }
}

int TQ_LineSegmentEnhanced::CalcAngle() const {
  if (angle != INT_MAX) return angle;
  const int dx = WrapSub(endPoint.x, startPoint.x);
  const int dy = WrapSub(endPoint.y, startPoint.y);
  if (dx >= -internal::kAngleTableRadius && dx <= internal::kAngleTableRadius &&
      dy >= -internal::kAngleTableRadius && dy <= internal::kAngleTableRadius) {
    angle = internal::kAngleTable[(dx + internal::kAngleTableRadius) * internal::kAngleTableSide +
                                  (dy + internal::kAngleTableRadius)];
  } else {
    const float degrees =
        static_cast<float>(std::atan2(static_cast<double>(dy), static_cast<double>(dx)) /
                           internal::kLibraryPi * 180.0);
    const int value = MathUtils::round(degrees);
    angle = value < 0 ? value + 360 : value;
  }
  return angle;
}

int TQ_LineSegmentEnhanced::CalcAngleBetweenLines(const TQ_LineSegmentEnhanced& other,
                                                  TQ_Angle_Domain domain) const {
  int diff = WrapSub(other.CalcAngle() % 360, CalcAngle());
  if (diff < 0) diff += 360;
  switch (domain) {
    case AD_360:
      return diff;
    case AD_180:
      return diff <= 180 ? diff : 360 - diff;
    case AD_90:
      if (diff <= 90) return diff;
      if (diff <= 180) return 180 - diff;
      if (diff <= 270) return diff - 180;
      return 360 - diff;
    default:
      return 0;
  }
}

int TQ_LineSegmentEnhanced::CalcAngleBetweenLines(const TQ_LineSegment& other,
                                                  TQ_Angle_Domain domain) const {
  const TQ_LineSegmentEnhanced enhanced(other);
  return CalcAngleBetweenLines(enhanced, domain);
}

int TQ_LineSegmentEnhanced::CalcPositionStatusOfInputLine(const TQ_LineSegmentEnhanced& other,
                                                          int tolerance) const {
  const int a = CalcAngle() % 180;
  const int b = other.CalcAngle() % 180;
  int d = a > b ? a - b : b - a;
  if (d > 90) d = 180 - d;
  if (d < tolerance) return 0;
  if (90 - d < tolerance) return 1;
  return -1;
}

int TQ_LineSegmentEnhanced::CalcPointPositionStatus(const Point& point, int tolerance) const {
  const int dx = WrapSub(endPoint.x, startPoint.x);
  const int dy = WrapSub(endPoint.y, startPoint.y);
  const int cross =
      internal::WrapCross(dx, dy, WrapSub(point.x, startPoint.x), WrapSub(point.y, startPoint.y));
  const double length = std::sqrt(static_cast<double>(internal::WrapSquaredLength(dx, dy)));
  if (static_cast<double>(tolerance) > std::fabs(static_cast<double>(cross)) / length) return 0;
  return cross < 0 ? 3 : 1;
}

int TQ_LineSegmentEnhanced::CalcPointStatusOnLineEquation(const Point& point) const {
  CalcEquation();
  const float v = A * static_cast<float>(point.x) + B * static_cast<float>(point.y) + C;
  if (std::fabs(v) < 1.0f) return 0;
  return v > 0 ? 1 : -1;
}

float TQ_LineSegmentEnhanced::CalcDistanceToPoint(const Point& point) const {
  CalcEquation();
  return (A * static_cast<float>(point.x) + B * static_cast<float>(point.y) + C) / norm;
}

bool TQ_LineSegmentEnhanced::IntersectLines(const TQ_LineSegment& other, double& x,
                                            double& y) const {
  using internal::WrapMul64;
  using internal::WrapSub64;
  const Point& s1 = startPoint;
  const Point& e1 = endPoint;
  const Point& s2 = other.GetStartPoint();
  const Point& e2 = other.GetEndPoint();
  const int64_t a1 = WrapSub(s1.y, e1.y);
  const int64_t b1 = WrapSub(e1.x, s1.x);
  const int64_t c1 = internal::WrapCross(e1.x, e1.y, s1.x, s1.y);
  const int64_t a2 = WrapSub(s2.y, e2.y);
  const int64_t b2 = WrapSub(e2.x, s2.x);
  const int64_t c2 = internal::WrapCross(e2.x, e2.y, s2.x, s2.y);
  const int64_t det = WrapSub64(WrapMul64(a1, b2), WrapMul64(b1, a2));
  if (det == 0) return false;
  x = static_cast<double>(WrapSub64(WrapMul64(b2, c1), WrapMul64(b1, c2))) / det;
  y = static_cast<double>(WrapSub64(WrapMul64(a1, c2), WrapMul64(a2, c1))) / det;
  return true;
}

bool TQ_LineSegmentEnhanced::InsideEnlargedImage(float x, float y, int width, int height,
                                                 float margin) {
  const float w = static_cast<float>(width);
  const float h = static_cast<float>(height);
  return -w * margin <= x && x < w * (margin + 1.0f) && -h * margin <= y && y < h * (margin + 1.0f);
}

float TQ_LineSegmentEnhanced::GetRealLength() const {
  if (realLength < 0.0f) {
    const int32_t squared = internal::WrapSquaredLength(WrapSub(endPoint.x, startPoint.x),
                                                        WrapSub(endPoint.y, startPoint.y));
    realLength = static_cast<float>(std::sqrt(static_cast<double>(squared)));
  }
  return realLength;
}

int TQ_LineSegmentEnhanced::GetPixelCount() const {
  if (pixelCount == 0) {
    const uint32_t adx = AbsU(WrapSub(endPoint.x, startPoint.x));
    const uint32_t ady = AbsU(WrapSub(endPoint.y, startPoint.y));
    pixelCount = static_cast<int>((adx > ady ? adx : ady) + 1u);
  }
  return pixelCount;
}

void TQ_LineSegmentEnhanced::CalcMiddlePointCoord() const {
  if (middlePoint.x != INT_MAX) return;
  middlePoint.x = WrapAdd(startPoint.x, endPoint.x) >> 1;
  middlePoint.y = WrapAdd(startPoint.y, endPoint.y) >> 1;
}

void TQ_LineSegmentEnhanced::Pixelate(std::vector<Point>& out, TQ_Pixelate_Mode mode, int step,
                                      int maxCount) const {
  if (mode == PM_FOUR_CONNECTED) {
    PixelateFourConnected(out);
  } else if (mode == PM_BRESENHAM) {
    PixelateBresenham(out, step, maxCount);
  }
}

void TQ_LineSegmentEnhanced::PixelateFourConnected(std::vector<Point>& out) const {
  internal::PixelateFourConnectedFast(startPoint, endPoint, out);
}

void TQ_LineSegmentEnhanced::PixelateBresenham(std::vector<Point>& out, int step,
                                               int maxCount) const {
  internal::PixelateBresenhamFast(startPoint, endPoint, step, maxCount, out);
}

template bool TQ_LineSegmentEnhanced::CalcIntersectionOfTwoLines<int>(const TQ_LineSegment&,
                                                                      TQPoint_<int>&, int, int,
                                                                      float) const;

}  // namespace norvane
