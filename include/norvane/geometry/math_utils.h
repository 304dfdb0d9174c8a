// The library's rounding rule.
#ifndef NORVANE_GEOMETRY_MATH_UTILS_H_
#define NORVANE_GEOMETRY_MATH_UTILS_H_

#include "norvane/core/export.h"

namespace norvane {

class NORVANE_API MathUtils {
 public:
  // Half away from zero: 0.5 -> 1, -0.5 -> -1, 2.5 -> 3. The value is widened to
  // double before 0.5 is added or subtracted; the result is truncated toward zero
  // (saturating at the int range, NaN giving 0).
  static int round(float value);
};

}  // namespace norvane

#endif  // NORVANE_GEOMETRY_MATH_UTILS_H_
