#include "norvane/basic_structures/quadrilateral.h"

#include <cmath>
#include <cstdint>

#include "core/wrap_math.h"

namespace norvane {
namespace basic_structures {

using internal::TruncToInt;
using internal::WrapCross;
using internal::WrapSquaredLength;
using internal::WrapSub;

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

}  // namespace basic_structures
}  // namespace norvane
