// CLineSegment, CQuadrilateral, CContour and the C point functions.
#include <cmath>
#include <cstdint>
#include <utility>

#include "basic_structures/wrap_math.h"
#include "norvane/basic_structures/contour.h"
#include "norvane/basic_structures/geometry_c.h"
#include "norvane/basic_structures/line_segment.h"
#include "norvane/basic_structures/quadrilateral.h"
#include "norvane/core/error_codes.h"

namespace norvane {
namespace basic_structures {

using internal::TruncToInt;
using internal::WrapCross;
using internal::WrapSquaredLength;
using internal::WrapSub;

void CLineSegment::Init() {}

CLineSegment::~CLineSegment() {}

void CLineSegment::SetStartPoint(const TQPoint_<int>& point) {
  startPoint = point;
  Init();
}

void CLineSegment::SetEndPoint(const TQPoint_<int>& point) {
  endPoint = point;
  Init();
}

namespace {

// Strictly on the inner (right-hand, on screen) side of the directed line a -> b.
bool StrictlyRightOf(const TQPoint_<int>& a, const TQPoint_<int>& b, const TQPoint_<int>& p) {
  return WrapCross(WrapSub(b.x, a.x), WrapSub(b.y, a.y), WrapSub(p.x, a.x), WrapSub(p.y, a.y)) > 0;
}

// A side length rounded half away from zero, through float as the area rule wants.
int RoundedLength(const TQPoint_<int>& u, const TQPoint_<int>& v) {
  const int32_t squared = WrapSquaredLength(WrapSub(u.x, v.x), WrapSub(u.y, v.y));
  const float length = static_cast<float>(std::sqrt(static_cast<double>(squared)));
  return TruncToInt(length > 0 ? length + 0.5f : length - 0.5f);
}

int HeronArea(int s0, int s1, int d) {
  const int h = (s0 + d + s1) >> 1;
  int64_t product = internal::WrapMul64(h, h - d);
  product = internal::WrapMul64(product, h - s0);
  product = internal::WrapMul64(product, h - s1);
  return TruncToInt(std::sqrt(static_cast<double>(product)));
}

}  // namespace

bool CQuadrilateral::Contains(const TQPoint_<int>* point) const {
  for (int i = 0; i < 4; ++i) {
    if (!StrictlyRightOf(points[i], points[(i + 1) & 3], *point)) return false;
  }
  return true;
}

int CQuadrilateral::GetArea() const {
  const int d = RoundedLength(points[0], points[2]);
  int s[4];
  for (int k = 0; k < 4; ++k) s[k] = RoundedLength(points[k], points[(k + 1) & 3]);
  const int a1 = HeronArea(s[0], s[1], d);
  const int a2 = HeronArea(s[2], s[3], d);
  const bool side1 = StrictlyRightOf(points[0], points[2], points[1]);
  const bool side3 = StrictlyRightOf(points[0], points[2], points[3]);
  if (side1 != side3) return a1 + a2;
  return a1 > a2 ? a1 - a2 : a2 - a1;
}

namespace {

// The release function of arrays that copied contours allocate.
void DeleteCopiedPoints(const TQPoint_<int>* points) { delete[] points; }

}  // namespace

CContour::CContour(const CContour& other) : CContour() { *this = other; }

CContour::CContour(CContour&& other) noexcept : CContour() { *this = std::move(other); }

CContour::~CContour() {
  if (deleter != nullptr) deleter(points);
}

CContour& CContour::operator=(const CContour& other) {
  if (this == &other) return *this;
  if (deleter != nullptr) deleter(points);
  pointsCount = 0;
  points = nullptr;
  deleter = nullptr;
  if (other.pointsCount < 1) return *this;
  TQPoint_<int>* copy = new TQPoint_<int>[other.pointsCount];
  for (int i = 0; i < other.pointsCount; ++i) copy[i] = other.points[i];
  pointsCount = other.pointsCount;
  points = copy;
  deleter = &DeleteCopiedPoints;
  return *this;
}

CContour& CContour::operator=(CContour&& other) noexcept {
  if (this == &other) return *this;
  // What this contour held is deliberately not released: the caller owns that.
  pointsCount = other.pointsCount;
  points = other.points;
  deleter = other.deleter;
  other.pointsCount = 0;
  other.points = nullptr;
  other.deleter = nullptr;
  return *this;
}

void CContour::SetPoints(int count, const TQPoint_<int>* pointArray, PointsDeleter pointsDeleter) {
  pointsCount = count;
  points = pointArray;
  deleter = pointsDeleter;
}

}  // namespace basic_structures
}  // namespace norvane

NORVANE_BEGIN_C_DECLS

double TXP_Distance(TXP_Point a, TXP_Point b) {
  using namespace norvane::internal;
  const int32_t squared = WrapSquaredLength(WrapSub(a.x, b.x), WrapSub(a.y, b.y));
  return TC_Sqrt(static_cast<double>(squared));
}

TXP_Point TXP_TransformCoordinates(TXP_Point point, const double* m) {
  const double x = point.x;
  const double y = point.y;
  const double r = 1.0 / (y * m[7] + x * m[6] + m[8]);
  TXP_Point out;
  out.x = norvane::internal::TruncToInt((y * m[1] + x * m[0] + m[2]) * r);
  out.y = norvane::internal::TruncToInt((y * m[4] + x * m[3] + m[5]) * r);
  return out;
}

NORVANE_END_C_DECLS
