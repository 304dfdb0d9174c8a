/** \file
 * The C functions of the geometry value types. Compiles on its own with a C99
 * compiler; C++ callers may also pass TQPoint_<int>, whose layout is the same. */
#ifndef NORVANE_BASIC_STRUCTURES_GEOMETRY_C_H_
#define NORVANE_BASIC_STRUCTURES_GEOMETRY_C_H_

#include "norvane/core/export.h"

/** A point in image coordinates, laid out as TQPoint_<int>. */
typedef struct TXP_Point {
  int x; /**< column, growing to the right */
  int y; /**< row, growing downwards */
} TXP_Point;

NORVANE_BEGIN_C_DECLS

/** The Euclidean distance. The squared distance is a 32-bit integer that wraps for
 * distances beyond about 46340 pixels. */
NORVANE_API double TXP_Distance(TXP_Point a, TXP_Point b);
/** The point mapped through a 3x3 row-major projective matrix, each coordinate
 * truncated toward zero. The matrix must keep the point in front of the projection
 * (no guard against a zero divisor); a null matrix is not checked. */
NORVANE_API TXP_Point TXP_TransformCoordinates(TXP_Point point, const double* matrix);

NORVANE_END_C_DECLS

#ifdef __cplusplus
#include <cstddef>

#include "norvane/basic_structures/point.h"

static_assert(sizeof(TXP_Point) == sizeof(norvane::basic_structures::TQPoint_<int>) &&
                  offsetof(TXP_Point, x) == 0 && offsetof(TXP_Point, y) == sizeof(int),
              "TXP_Point and TQPoint_<int> share their layout");

inline double TXP_Distance(const norvane::basic_structures::TQPoint_<int>& a,
                           const norvane::basic_structures::TQPoint_<int>& b) {
  const TXP_Point ca = {a.x, a.y};
  const TXP_Point cb = {b.x, b.y};
  return TXP_Distance(ca, cb);
}

inline norvane::basic_structures::TQPoint_<int> TXP_TransformCoordinates(
    const norvane::basic_structures::TQPoint_<int>& point, const double* matrix) {
  const TXP_Point cp = {point.x, point.y};
  const TXP_Point r = TXP_TransformCoordinates(cp, matrix);
  return norvane::basic_structures::TQPoint_<int>(r.x, r.y);
}
#endif

#endif /**< NORVANE_BASIC_STRUCTURES_GEOMETRY_C_H_ */
