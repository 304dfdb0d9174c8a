// Integer and float helpers shared by the geometry value types and the working geometry.
//
// Coordinate arithmetic is defined as 32-bit two's-complement wrap-around: sums,
// differences, products and cross products are done in uint32_t and converted back,
// so huge coordinates give the wrapped value without undefined behaviour. Floating
// values become ints by truncation that saturates like the ARM conversion
// instructions: NaN gives 0, values beyond the int range give INT_MIN or INT_MAX.
#ifndef NORVANE_CORE_WRAP_MATH_H_
#define NORVANE_CORE_WRAP_MATH_H_

#include <climits>
#include <cstdint>

namespace norvane {
namespace internal {

inline int32_t WrapAdd(int32_t a, int32_t b) {
  return static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b));
}
inline int32_t WrapSub(int32_t a, int32_t b) {
  return static_cast<int32_t>(static_cast<uint32_t>(a) - static_cast<uint32_t>(b));
}
inline int32_t WrapMul(int32_t a, int32_t b) {
  return static_cast<int32_t>(static_cast<uint32_t>(a) * static_cast<uint32_t>(b));
}
// a.x * b.y - b.x * a.y, wrapped to 32 bits.
inline int32_t WrapCross(int32_t ax, int32_t ay, int32_t bx, int32_t by) {
  return static_cast<int32_t>(static_cast<uint32_t>(ax) * static_cast<uint32_t>(by) -
                              static_cast<uint32_t>(bx) * static_cast<uint32_t>(ay));
}
// dx * dx + dy * dy, wrapped to 32 bits.
inline int32_t WrapSquaredLength(int32_t dx, int32_t dy) {
  return static_cast<int32_t>(static_cast<uint32_t>(dx) * static_cast<uint32_t>(dx) +
                              static_cast<uint32_t>(dy) * static_cast<uint32_t>(dy));
}
inline int64_t WrapMul64(int64_t a, int64_t b) {
  return static_cast<int64_t>(static_cast<uint64_t>(a) * static_cast<uint64_t>(b));
}
inline int64_t WrapSub64(int64_t a, int64_t b) {
  return static_cast<int64_t>(static_cast<uint64_t>(a) - static_cast<uint64_t>(b));
}
// |v| as an unsigned value; |INT_MIN| is 2^31.
inline uint32_t AbsU(int32_t v) {
  return v < 0 ? 0u - static_cast<uint32_t>(v) : static_cast<uint32_t>(v);
}

// Truncation toward zero, saturating (see above).
inline int32_t TruncToInt(double v) {
  if (v != v) return 0;
  if (v >= 2147483648.0) return INT_MAX;
  if (v <= -2147483649.0) return INT_MIN;
  return static_cast<int32_t>(v);
}

}  // namespace internal
}  // namespace norvane

#endif  // NORVANE_CORE_WRAP_MATH_H_
