#include "norvane/basic_structures/geometry_c.h"

#include <cstdint>

#include "core/wrap_math.h"
#include "norvane/core/error_codes.h"

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
