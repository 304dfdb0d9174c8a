// Transform-matrix arithmetic and the quadrilateral conversions.
#include "norvane/basic_structures/transform_matrix.h"

#include "basic_structures/quad_points.h"
#include "core/wrap_math.h"
#include "norvane/basic_structures/geometry_c.h"

namespace norvane {

using basic_structures::CQuadrilateral;
using basic_structures::TQPoint_;

bool IsPointsClockWise(const TQPoint_<int>* p) {
  using internal::WrapSub;
  for (int i = 0; i < 4; ++i) {
    const TQPoint_<int>& p0 = p[i];
    const TQPoint_<int>& p1 = p[(i + 1) & 3];
    const TQPoint_<int>& p2 = p[(i + 2) & 3];
    const int32_t turn = internal::WrapCross(WrapSub(p1.x, p0.x), WrapSub(p1.y, p0.y),
                                             WrapSub(p2.x, p1.x), WrapSub(p2.y, p1.y));
    if (turn <= 0) return false;
  }
  return true;
}

bool IsIdentityTransformMatrix(const double* m) {
  double identity[9];
  ResetTransformMatrix(identity);
  for (int k = 0; k < 9; ++k) {
    if (identity[k] - m[k] >= 1e-5) return false;
  }
  return true;
}

bool IsInverseTransformMatrices(const double* a, const double* b) {
  double product[9];
  MultiplyTransformMatrices(a, b, product);
  return IsIdentityTransformMatrix(product);
}

void ResetTransformMatrix(double* m) {
  for (int k = 0; k < 9; ++k) m[k] = 0.0;
  m[0] = m[4] = m[8] = 1.0;
}

void MultiplyTransformMatrices(const double* a, const double* b, double* out) {
  double c[9];
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 3; ++j) {
      double sum = 0.0;
      for (int k = 0; k < 3; ++k) sum += a[i * 3 + k] * b[k * 3 + j];
      c[i * 3 + j] = sum;
    }
  }
  for (int k = 0; k < 9; ++k) out[k] = c[k];
}

void InvertTransformMatrix(const double* in, double* out) {
  const double a = in[0], b = in[1], c = in[2];
  const double d = in[3], e = in[4], f = in[5];
  const double g = in[6], h = in[7], i = in[8];
  const double det = a * (e * i - f * h) - b * (d * i - f * g) + c * (d * h - e * g);
  if (det == 0.0) return;
  const double r = 1.0 / det;
  const double inv[9] = {(e * i - f * h) * r, (c * h - b * i) * r, (b * f - c * e) * r,
                         (f * g - d * i) * r, (a * i - c * g) * r, (c * d - a * f) * r,
                         (d * h - e * g) * r, (b * g - a * h) * r, (a * e - b * d) * r};
  for (int k = 0; k < 9; ++k) out[k] = inv[k];
}

void ConvertQuadrilateralToClockWisePoints(const CQuadrilateral& quad, TQPoint_<int>* out) {
  for (int k = 0; k < 4; ++k) out[k] = quad.points[k];
  if (IsPointsClockWise(out)) return;
  internal::SetQuadPointsToClockWise(out, -1);
}

bool ConvertQuadrilateralWithTransformMat(const CQuadrilateral& quad, const double* matrix,
                                          TQPoint_<int>* out) {
  ConvertQuadrilateralToClockWisePoints(quad, out);
  if (!IsIdentityTransformMatrix(matrix)) {
    for (int k = 0; k < 4; ++k) out[k] = TXP_TransformCoordinates(out[k], matrix);
  }
  return internal::IsConvexQuadPoints(out);
}

bool ConvertQuadrilateralWithDiffCoordinates(const CQuadrilateral& quad, const double* first,
                                             const double* second, TQPoint_<int>* out) {
  ConvertQuadrilateralToClockWisePoints(quad, out);
  if (!IsInverseTransformMatrices(second, first)) {
    const bool firstIsIdentity = IsIdentityTransformMatrix(first);
    const bool secondIsIdentity = IsIdentityTransformMatrix(second);
    for (int k = 0; k < 4; ++k) {
      if (!firstIsIdentity) out[k] = TXP_TransformCoordinates(out[k], first);
      if (!secondIsIdentity) out[k] = TXP_TransformCoordinates(out[k], second);
    }
  }
  return internal::IsConvexQuadPoints(out);
}

}  // namespace norvane
