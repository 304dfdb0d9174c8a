// The whole-degree angles of all short vectors, built at compile time.
//
// CalcAngle turns (dx, dy) into round(atan2(dy, dx) / 3.141592653 * 180) degrees,
// shifted into 0..359. For |dx|, |dy| <= 10 the answer comes from this table, indexed
// by (dx + 10) * 21 + (dy + 10), so that short edges need no arctangent. The table
// is computed by the same rule with a constexpr arctangent accurate to a few units in
// the last place of a double, far finer than the distance of any entry from a
// rounding boundary (the tests compare every entry with the C library's atan2).
#ifndef NORVANE_GEOMETRY_ANGLE_TABLE_H_
#define NORVANE_GEOMETRY_ANGLE_TABLE_H_

#include <array>

namespace norvane {
namespace internal {

constexpr int kAngleTableRadius = 10;
constexpr int kAngleTableSide = 2 * kAngleTableRadius + 1;
// The value of pi in every angle rule of the library.
constexpr double kLibraryPi = 3.141592653;

// atan(t) for 0 <= t <= 1.
constexpr double ConstexprAtanUnit(double t) {
  constexpr double kPi = 3.14159265358979323846;
  constexpr double kSqrt3 = 1.73205080756887729353;
  constexpr double kTan15 = 0.26794919243112270647;  // 2 - sqrt(3)
  double base = 0.0;
  if (t > kTan15) {
    // atan(t) = pi/6 + atan((t*sqrt3 - 1) / (t + sqrt3)); the new argument is
    // at most tan(15 degrees).
    t = (t * kSqrt3 - 1.0) / (t + kSqrt3);
    base = kPi / 6.0;
  }
  const double t2 = t * t;
  // Taylor series; the terms fall by at least t2 < 0.072 each, 24 terms suffice.
  double term = t;
  double sum = 0.0;
  for (int n = 0; n < 24; ++n) {
    sum += term / (2 * n + 1);
    term *= -t2;
  }
  return base + sum;
}

constexpr double ConstexprAtan2(double y, double x) {
  constexpr double kPi = 3.14159265358979323846;
  if (x == 0.0 && y == 0.0) return 0.0;
  const double ax = x < 0 ? -x : x;
  const double ay = y < 0 ? -y : y;
  double a = ay <= ax ? ConstexprAtanUnit(ay / ax) : kPi / 2.0 - ConstexprAtanUnit(ax / ay);
  if (x < 0) a = kPi - a;
  return y < 0 ? -a : a;
}

constexpr int AngleFromArctangent(double radians) {
  const float degrees = static_cast<float>(radians / kLibraryPi * 180.0);
  const double wide = degrees;
  int value = static_cast<int>(degrees > 0 ? wide + 0.5 : wide - 0.5);
  return value < 0 ? value + 360 : value;
}

constexpr std::array<int, kAngleTableSide * kAngleTableSide> MakeAngleTable() {
  std::array<int, kAngleTableSide * kAngleTableSide> table{};
  for (int dx = -kAngleTableRadius; dx <= kAngleTableRadius; ++dx) {
    for (int dy = -kAngleTableRadius; dy <= kAngleTableRadius; ++dy) {
      table[(dx + kAngleTableRadius) * kAngleTableSide + (dy + kAngleTableRadius)] =
          AngleFromArctangent(ConstexprAtan2(dy, dx));
    }
  }
  return table;
}

constexpr std::array<int, kAngleTableSide* kAngleTableSide> kAngleTable = MakeAngleTable();

static_assert(kAngleTable[(10 + 10) * kAngleTableSide + 10] == 0, "right is 0 degrees");
static_assert(kAngleTable[10 * kAngleTableSide + 20] == 90, "down is 90 degrees");
static_assert(kAngleTable[0 * kAngleTableSide + 10] == 180, "left is 180 degrees");
static_assert(kAngleTable[10 * kAngleTableSide + 0] == 270, "up is 270 degrees");
static_assert(kAngleTable[11 * kAngleTableSide + 9] == 315, "(1, -1) is 315 degrees");

}  // namespace internal
}  // namespace norvane

#endif  // NORVANE_GEOMETRY_ANGLE_TABLE_H_
