// 3x3 projective transform matrices and the conversions of quadrilaterals through
// them.
//
// A matrix is nine doubles in row-major order, owned by the caller, mapping
// (x, y) to ((m0 x + m1 y + m2) / w, (m3 x + m4 y + m5) / w) with
// w = m6 x + m7 y + m8; mapped coordinates are truncated toward zero. All functions
// are pure: they touch only the memory they are given, and nothing is checked for
// null.
#ifndef NORVANE_BASIC_STRUCTURES_TRANSFORM_MATRIX_H_
#define NORVANE_BASIC_STRUCTURES_TRANSFORM_MATRIX_H_

#include "norvane/basic_structures/point.h"
#include "norvane/basic_structures/quadrilateral.h"
#include "norvane/core/export.h"

namespace norvane {

// True when each of the four turns of points[0..3] is strictly clockwise on screen
// (positive cross product with y pointing down). Collinear corners give false.
NORVANE_API bool IsPointsClockWise(const basic_structures::TQPoint_<int>* points);

// True unless some element falls short of the identity's by 1e-5 or more. The test is
// one-sided on purpose: elements above the identity's value are accepted.
NORVANE_API bool IsIdentityTransformMatrix(const double* matrix);

// IsIdentityTransformMatrix(a * b).
NORVANE_API bool IsInverseTransformMatrices(const double* a, const double* b);

// Sets the identity.
NORVANE_API void ResetTransformMatrix(double* matrix);
// out = a * b; out may alias a or b.
NORVANE_API void MultiplyTransformMatrices(const double* a, const double* b, double* out);
// The inverse by cofactors; a singular input (determinant exactly 0) leaves out
// untouched. out may alias in.
NORVANE_API void InvertTransformMatrix(const double* in, double* out);

// Copies the quadrilateral's points to out[0..3], reordered into a clockwise order
// that starts at the corner with the smallest x + y when they are not clockwise.
NORVANE_API void ConvertQuadrilateralToClockWisePoints(const basic_structures::CQuadrilateral& quad,
                                                       basic_structures::TQPoint_<int>* out);

// The clockwise points mapped through the matrix (skipped for an identity);
// returns whether the mapped quadrilateral is convex.
NORVANE_API bool ConvertQuadrilateralWithTransformMat(const basic_structures::CQuadrilateral& quad,
                                                      const double* matrix,
                                                      basic_structures::TQPoint_<int>* out);

// The clockwise points mapped through `first` and then `second`, each step skipped
// when its matrix is the identity and both skipped when second * first is; returns
// whether the result is convex.
NORVANE_API bool ConvertQuadrilateralWithDiffCoordinates(
    const basic_structures::CQuadrilateral& quad, const double* first, const double* second,
    basic_structures::TQPoint_<int>* out);

}  // namespace norvane

#endif  // NORVANE_BASIC_STRUCTURES_TRANSFORM_MATRIX_H_
