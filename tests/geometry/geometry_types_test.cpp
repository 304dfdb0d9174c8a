// Value types, transform matrices and the quadrilateral conversions.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "norvane/NorvaneCore.h"
#include "test_support/geometry_util.h"

namespace norvane {
namespace {

using basic_structures::CContour;
using basic_structures::CLineSegment;
using basic_structures::CQuadrilateral;
using testing_util::CQuad;
using testing_util::Pt;

TEST(TransformMatrix, IdentityToleranceIsOneSided) {
  // One element changed from the identity: accepted when the element is above the
  // identity's value or below it by less than 1e-5 (in double arithmetic).
  const struct {
    int index;
    double value;
    bool identity;
  } cases[] = {{5, 1000.0, true},  {5, -0.00001, false}, {0, 0.9999, false},
               {0, 0.99999, true}, {8, 7.0, true},       {7, -1.0, false}};
  for (const auto& c : cases) {
    double m[9];
    ResetTransformMatrix(m);
    EXPECT_TRUE(IsIdentityTransformMatrix(m));
    m[c.index] = c.value;
    EXPECT_EQ(IsIdentityTransformMatrix(m), c.identity) << c.index << " " << c.value;
  }
}

TEST(TransformMatrix, InverseAndProductAgreeOnRandomMatrices) {
  std::mt19937 random(7);
  std::uniform_real_distribution<double> value(-3.0, 3.0);
  for (int trial = 0; trial < 500; ++trial) {
    double m[9], inverse[9], product[9], expected[9];
    for (double& v : m) v = value(random);
    const double det = m[0] * (m[4] * m[8] - m[5] * m[7]) - m[1] * (m[3] * m[8] - m[5] * m[6]) +
                       m[2] * (m[3] * m[7] - m[4] * m[6]);
    if (std::fabs(det) < 1e-3) continue;
    InvertTransformMatrix(m, inverse);
    MultiplyTransformMatrices(m, inverse, product);
    // Two-sided check of the product: the library's own test is one-sided.
    ResetTransformMatrix(expected);
    for (int k = 0; k < 9; ++k) EXPECT_NEAR(product[k], expected[k], 1e-9) << trial << " " << k;
    EXPECT_TRUE(IsInverseTransformMatrices(m, inverse) && IsInverseTransformMatrices(inverse, m));
    // In-place forms give the same results.
    double a[9], b[9];
    std::copy(m, m + 9, a);
    std::copy(m, m + 9, b);
    InvertTransformMatrix(a, a);
    MultiplyTransformMatrices(b, inverse, b);
    EXPECT_TRUE(std::equal(a, a + 9, inverse) && std::equal(b, b + 9, product)) << trial;
  }
  // A non-commuting pair fixes the order of the product: row i of a times column j of b.
  const double a[9] = {1, 2, 0, 0, 1, 0, 0, 0, 1}, b[9] = {1, 0, 0, 3, 1, 0, 0, 0, 1};
  const double ab[9] = {7, 2, 0, 3, 1, 0, 0, 0, 1};
  double out[9];
  MultiplyTransformMatrices(a, b, out);
  EXPECT_TRUE(std::equal(out, out + 9, ab));
  // A singular matrix leaves the output untouched.
  const double singular[9] = {1, 2, 3, 2, 4, 6, 0, 0, 1};
  std::copy(ab, ab + 9, out);
  InvertTransformMatrix(singular, out);
  EXPECT_TRUE(std::equal(out, out + 9, ab));
}

TEST(TransformCoordinates, TruncatesTowardZeroThroughTheProjection) {
  const double shiftBack[9] = {1, 0, -0.7, 0, 1, -1.3, 0, 0, 1};
  EXPECT_EQ(TXP_TransformCoordinates(Pt(0, 0), shiftBack), Pt(0, -1));  // -0.7 -> 0, -1.3 -> -1
  const double projective[9] = {2, 0, 1, 0, 3, -1, 0.5, 0, 0.5};
  // w = 0.5 * 3 + 0.5 = 2: X = (6 + 1) / 2 = 3.5, Y = (15 - 1) / 2 = 7.
  EXPECT_EQ(TXP_TransformCoordinates(Pt(3, 5), projective), Pt(3, 7));
}

TEST(Distance, EuclideanWithWrappingSquare) {
  EXPECT_EQ(TXP_Distance(Pt(-3, 7), Pt(0, 3)), 5.0);
  EXPECT_DOUBLE_EQ(TXP_Distance(Pt(0, 0), Pt(46340, 0)), 46340.0);
  // 46341^2 exceeds 2^31 - 1: the 32-bit square wraps negative; 65536^2 wraps to 0.
  EXPECT_TRUE(std::isnan(TXP_Distance(Pt(0, 0), Pt(46341, 0))));
  EXPECT_EQ(TXP_Distance(Pt(0, 0), Pt(65536, 0)), 0.0);
}

TEST(ConvertQuadrilateral, ClockWisePointsKeptOrReordered) {
  // Strict turns only: collinear points and a bow tie are not clockwise.
  const Pt collinear[4] = {Pt(0, 0), Pt(5, 0), Pt(10, 0), Pt(10, 10)};
  const Pt bowTie[4] = {Pt(0, 0), Pt(10, 10), Pt(10, 0), Pt(0, 10)};
  EXPECT_FALSE(IsPointsClockWise(collinear) || IsPointsClockWise(bowTie));
  // Already clockwise (on screen): kept as given, not rotated to the top-left corner.
  // Otherwise reordered as TQ_Quad::SetVerticesToClockWise does (quad_property_test.cpp).
  Pt out[4];
  ConvertQuadrilateralToClockWisePoints(CQuad(Pt(10, 10), Pt(0, 10), Pt(0, 0), Pt(10, 0)), out);
  EXPECT_EQ(std::vector<Pt>(out, out + 4),
            testing_util::Points({{10, 10}, {0, 10}, {0, 0}, {10, 0}}));
  ConvertQuadrilateralToClockWisePoints(CQuad(Pt(10, 10), Pt(0, 0), Pt(0, 10), Pt(10, 0)), out);
  EXPECT_EQ(std::vector<Pt>(out, out + 4),
            testing_util::Points({{0, 0}, {10, 0}, {10, 10}, {0, 10}}));
}

TEST(ConvertQuadrilateral, ThroughMatricesWithIdentityAndInverseShortcuts) {
  const CQuadrilateral ccw = CQuad(Pt(0, 30), Pt(30, 30), Pt(30, 0), Pt(0, 0));
  Pt out[4];
  double identity[9], almost[9];
  ResetTransformMatrix(identity);
  EXPECT_TRUE(ConvertQuadrilateralWithTransformMat(ccw, identity, out));
  EXPECT_EQ(out[1], Pt(30, 0));
  const double mirror[9] = {-1, 0, 0, 0, 1, 0, 0, 0, 1};
  EXPECT_TRUE(ConvertQuadrilateralWithTransformMat(ccw, mirror, out));
  EXPECT_EQ(out[1], Pt(-30, 0));
  EXPECT_FALSE(IsPointsClockWise(out));  // not re-sorted after mirroring
  // An element above the identity's value still counts as identity: no shift.
  ResetTransformMatrix(almost);
  almost[2] = 250.0;
  ConvertQuadrilateralWithTransformMat(ccw, almost, out);
  EXPECT_EQ(out[2], Pt(30, 30));
  const CQuadrilateral arrow = CQuad(Pt(0, 0), Pt(10, 5), Pt(0, 10), Pt(3, 5));
  EXPECT_FALSE(ConvertQuadrilateralWithTransformMat(arrow, identity, out));

  // {first, second, index, point}. second * first = identity keeps the points exactly,
  // whereas mapping through both would truncate 31 / 3 * 3 to 30. A scale above 1
  // would itself count as identity (one-sided test); halve instead. A matrix that
  // counts as identity is skipped.
  const double third[9] = {1.0 / 3, 0, 0, 0, 1.0 / 3, 0, 0, 0, 1};
  const double triple[9] = {3, 0, 0, 0, 3, 0, 0, 0, 1};
  const double half[9] = {0.5, 0, 0, 0, 0.5, 0, 0, 0, 1};
  const struct {
    const double *first, *second;
    int index;
    Pt point;
  } cases[] = {{third, triple, 1, Pt(31, 10)},
               {third, half, 0, Pt(1, 1)},  // 10 / 3 -> 3, then 1.5 -> 1
               {third, half, 1, Pt(5, 1)},  // 31 / 3 -> 10, then 5
               {almost, half, 1, Pt(15, 5)},
               {half, almost, 2, Pt(15, 10)}};
  const CQuadrilateral q = CQuad(Pt(10, 10), Pt(31, 10), Pt(31, 20), Pt(10, 20));
  for (const auto& c : cases) {
    EXPECT_TRUE(ConvertQuadrilateralWithDiffCoordinates(q, c.first, c.second, out));
    EXPECT_EQ(out[c.index], c.point) << c.index;
  }
}

TEST(Quadrilateral, ContainsIsStrictAndNeedsClockwiseOrder) {
  const CQuadrilateral square = CQuad(Pt(0, 0), Pt(10, 0), Pt(10, 10), Pt(0, 10));
  for (Pt p : {Pt(5, 5), Pt(1, 9), Pt(0, 5), Pt(10, 10), Pt(11, 5)}) {
    EXPECT_EQ(square.Contains(&p), p.x > 0 && p.x < 10 && p.y > 0 && p.y < 10) << p.x << "," << p.y;
  }
  Pt p(5, 5);
  EXPECT_FALSE(CQuad(Pt(0, 10), Pt(10, 10), Pt(10, 0), Pt(0, 0)).Contains(&p));
}

TEST(Quadrilateral, AreaFromRoundedHeronTriangles) {
  EXPECT_EQ(CQuad(Pt(0, 0), Pt(10, 0), Pt(10, 10), Pt(0, 10)).GetArea(), 98);
  EXPECT_EQ(CQuad(Pt(0, 0), Pt(1, 0), Pt(1, 1), Pt(0, 1)).GetArea(), 0);
  EXPECT_EQ(CQuad(Pt(0, 0), Pt(1000, 0), Pt(1000, 1000), Pt(0, 1000)).GetArea(), 999998);
  EXPECT_EQ(CQuad(Pt(0, 0), Pt(300, -40), Pt(410, 260), Pt(-20, 200)).GetArea(), 47383 + 43587);
  // Folded: both outer points on one side of the diagonal give the difference.
  EXPECT_EQ(CQuad(Pt(0, 0), Pt(10, 10), Pt(10, 0), Pt(0, 10)).GetArea(), 0);
  EXPECT_EQ(CQuad(Pt(0, 0), Pt(20, 0), Pt(20, 20), Pt(10, 5)).GetArea(),
            CQuad(Pt(0, 0), Pt(20, 0), Pt(20, 20), Pt(0, 0)).GetArea() -
                CQuad(Pt(10, 5), Pt(0, 0), Pt(20, 20), Pt(10, 5)).GetArea());
}

int g_released = 0;
const Pt* g_lastReleased = nullptr;
void CountingDeleter(const Pt* points) {
  ++g_released;
  g_lastReleased = points;
  delete[] points;
}

TEST(Contour, CopyOwnsAndMoveHandsOver) {
  g_released = 0;
  Pt* owned = new Pt[3]{Pt(1, 2), Pt(3, 4), Pt(5, 6)};
  {
    CContour source;
    source.SetPoints(3, owned, &CountingDeleter);
    CContour copy(source);
    EXPECT_NE(copy.GetPoints(), owned);
    EXPECT_EQ(std::vector<Pt>(copy.GetPoints(), copy.GetPoints() + copy.GetPointsCount()),
              std::vector<Pt>(owned, owned + 3));

    // Copying an empty contour releases what the target owned; copying a borrowed
    // array makes an owned one.
    CContour target;
    target.SetPoints(3, new Pt[3], &CountingDeleter);
    const Pt* targetArray = target.GetPoints();
    const CContour empty;
    target = empty;
    EXPECT_EQ(g_released, 1);
    EXPECT_EQ(g_lastReleased, targetArray);
    EXPECT_TRUE(target.GetPointsCount() == 0 && target.GetPoints() == nullptr);
    const Pt borrowed[2] = {Pt(7, 8), Pt(9, 10)};
    CContour view;
    view.SetPoints(2, borrowed, nullptr);
    target = view;
    EXPECT_EQ(target.GetPoints()[1], Pt(9, 10));
    EXPECT_NE(target.GetPoints(), borrowed);

    // Moving into a contour that owns an array does not release that array.
    Pt* kept = new Pt[1];
    CContour holder;
    holder.SetPoints(1, kept, &CountingDeleter);
    holder = std::move(source);
    EXPECT_EQ(g_released, 1);
    EXPECT_EQ(holder.GetPoints(), owned);
    EXPECT_TRUE(source.GetPointsCount() == 0 && source.GetPoints() == nullptr);
    delete[] kept;  // the caller's responsibility, as documented
    CContour moved(std::move(holder));
    EXPECT_EQ(moved.GetPoints(), owned);
    EXPECT_EQ(holder.GetPoints(), nullptr);
  }
  // Only `moved` released `owned`; the copies freed their own arrays.
  EXPECT_EQ(g_released, 2);
  EXPECT_EQ(g_lastReleased, owned);
}

class InitCounter : public CLineSegment {
 public:
  void Init() override { ++inits; }
  int inits = 0;
};

TEST(LineSegmentBase, OnlySettersCallInit) {
  InitCounter segment;
  segment.SetStartPoint(Pt(1, 2));
  segment.SetEndPoint(Pt(3, 4));
  EXPECT_EQ(segment.inits, 2);
  CLineSegment other(Pt(5, 6), Pt(7, 8));
  static_cast<CLineSegment&>(segment) = other;
  EXPECT_EQ(segment.inits, 2);
  EXPECT_EQ(segment.GetStartPoint(), Pt(5, 6));
  EXPECT_EQ(segment.GetEndPoint(), Pt(7, 8));
}

}  // namespace
}  // namespace norvane
