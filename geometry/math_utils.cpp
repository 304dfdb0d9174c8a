#include "norvane/geometry/math_utils.h"

#include "core/wrap_math.h"

namespace norvane {

int MathUtils::round(float value) {
  const double wide = value;
  return internal::TruncToInt(value > 0 ? wide + 0.5 : wide - 0.5);
}

}  // namespace norvane
