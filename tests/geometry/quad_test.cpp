// The working quadrilateral: vertex order, measures, caches, overlap and pixels.
// Interior angles are checked with the caches.
#include "norvane/geometry/quad.h"

#include <gtest/gtest.h>

#include <climits>
#include <sstream>
#include <string>
#include <vector>

#include "norvane/basic_structures/transform_matrix.h"
#include "norvane/core/hash_algorithm.h"
#include "test_support/geometry_util.h"

namespace norvane {
namespace {

using testing_util::Points;
using testing_util::Pt;

TQ_Quad MakeQuad(Pt a, Pt b, Pt c, Pt d) {
  const Pt p[4] = {a, b, c, d};
  return TQ_Quad(p);
}

TQ_Quad Square(int x, int y, int side) {
  return MakeQuad(Pt(x, y), Pt(x + side, y), Pt(x + side, y + side), Pt(x, y + side));
}

TQ_Quad Slanted() { return MakeQuad(Pt(0, 0), Pt(10, 0), Pt(15, 10), Pt(5, 10)); }

std::vector<Pt> Vertices(const TQ_Quad& q) {
  return std::vector<Pt>(q.GetVertices(), q.GetVertices() + 4);
}

// Vertices and every cached measure, in one line.
std::string State(const TQ_Quad& q) {
  std::ostringstream out;
  for (int k = 0; k < 4; ++k) out << q.GetVertex(k).x << "," << q.GetVertex(k).y << " ";
  out << "area " << q.GetArea() << " centre " << q.GetCenterPoint().x << "," << q.GetCenterPoint().y
      << " angles";
  for (int k = 0; k < 4; ++k) out << " " << q.GetInteriorAngles()[k];
  return out.str();
}

// Clockwise reordering of shuffled convex quads is checked in quad_property_test.cpp.
TEST(QuadOrder, LeftUpCornerTiesAndTheSumLimit) {
  const struct {
    Pt p[4];
    int index;
  } cases[] = {{{Pt(0, 10), Pt(10, 0), Pt(20, 20), Pt(3, 3)}, 3},
               {{Pt(0, 10), Pt(10, 0), Pt(20, 20), Pt(30, 30)}, 0},  // lowest index on ties
               {{Pt(50000, 49999), Pt(50000, 50000), Pt(99999, 0), Pt(0, 99999)}, -1}};
  for (const auto& c : cases) EXPECT_EQ(TQ_Quad::CalcLeftUpPtIndex(c.p), c.index);
}

TEST(QuadShape, ConvexityAnglesAndPointPositions) {
  const TQ_Quad square = Square(0, 0, 10);
  const TQ_Quad ccw = MakeQuad(Pt(0, 10), Pt(10, 10), Pt(10, 0), Pt(0, 0));
  EXPECT_TRUE(square.IsConvex() && square.IsClockwise());
  EXPECT_TRUE(ccw.IsConvex() && !ccw.IsClockwise());
  // Collinear corner, bow tie, arrow head.
  EXPECT_FALSE(MakeQuad(Pt(0, 0), Pt(5, 0), Pt(10, 0), Pt(10, 10)).IsConvex());
  EXPECT_FALSE(MakeQuad(Pt(0, 0), Pt(10, 10), Pt(10, 0), Pt(0, 10)).IsConvex());
  EXPECT_FALSE(MakeQuad(Pt(0, 0), Pt(10, 5), Pt(0, 10), Pt(3, 5)).IsConvex());

  // {x, y, tolerance, relation}: 0-3 on that edge, 4 inside, 5 outside. At (0,0)
  // with tolerance 2 both products are 0; (5,1) lies strictly between in x.
  const int relations[][4] = {{5, 5, 1, 4},  {5, 0, 1, 0},  {10, 5, 1, 1},
                              {15, 0, 1, 5}, {0, 0, 1, 0},  {0, 0, 2, 5},
                              {5, 1, 2, 0},  {-3, 5, 1, 5}, {5, 11, 3, 2}};
  for (const auto& r : relations) {
    const Pt p(r[0], r[1]);
    EXPECT_EQ(square.CalcPointPositionRelation(p, r[2]), r[3]) << r[0] << "," << r[1];
    EXPECT_EQ(square.IsPointInQuadrilateral(&p), square.CalcPointPositionRelation(p, 1) == 4);
  }
  EXPECT_EQ(ccw.CalcPointPositionRelation(Pt(5, 5), 1), 5);  // no inside
  // Centres round half away from zero; lengths run between edge middles.
  EXPECT_EQ(MakeQuad(Pt(0, 0), Pt(3, 0), Pt(3, 1), Pt(0, 1)).GetCenterPoint(), Pt(2, 1));
  EXPECT_EQ(MakeQuad(Pt(0, 0), Pt(-3, 0), Pt(-3, -1), Pt(0, -1)).GetCenterPoint(), Pt(-2, -1));
  const TQ_Quad wide = MakeQuad(Pt(0, 0), Pt(20, 0), Pt(20, 10), Pt(0, 10));
  EXPECT_FLOAT_EQ(wide.GetOrientationLength(), 20.0f);
  EXPECT_FLOAT_EQ(wide.GetVerticalLength(), 10.0f);
}

TEST(QuadArea, RealLengthHeronWithBoundsAndDegenerateEdges) {
  // {quad, width, height, area}: outside the image gives 0; touching x = 0 does not.
  const struct {
    TQ_Quad quad;
    int width, height, area;
  } cases[] = {{Square(0, 0, 10), -1, -1, 100},
               {MakeQuad(Pt(0, 0), Pt(40, 0), Pt(40, 30), Pt(0, 30)), -1, -1, 1200},
               {Square(0, 0, 1000), -1, -1, 999998},  // 499999.999.. truncated, twice
               {MakeQuad(Pt(0, 0), Pt(0, 0), Pt(10, 10), Pt(0, 10)), -1, -1, 0},   // zero edge
               {MakeQuad(Pt(0, 0), Pt(10, 10), Pt(10, 0), Pt(0, 10)), -1, -1, 0},  // folded
               {Square(-20, 5, 10), 50, 50, 0},
               {Square(-10, 5, 10), 50, 50, 100}};
  for (const auto& c : cases) EXPECT_EQ(c.quad.GetArea(c.width, c.height), c.area);
  const TQ_Quad away = Square(100, 100, 10);  // outside the image: 0, and not cached
  EXPECT_EQ(away.GetArea(50, 50), 0);
  EXPECT_EQ(away.GetArea(-1, 50), 100);
  EXPECT_EQ(away.GetArea(50, 50), 100);  // now cached
}

TEST(QuadCaches, MutationsResetExactlyTheirCaches) {
  // TranslateEdge and CalcIntersectionsOfEdges reset nothing: area and centre are
  // stale until InitQuad; the diagonal's float length then rounds the area down.
  TQ_Quad q = Square(0, 0, 10);
  EXPECT_EQ(State(q), "0,0 10,0 10,10 0,10 area 100 centre 5,5 angles 90 90 90 90");
  q.TranslateEdge(QEI_1, QETD_OUTWARD, 10);
  q.CalcIntersectionsOfEdges();
  EXPECT_EQ(State(q), "0,0 20,0 20,10 0,10 area 100 centre 5,5 angles 90 90 90 90");
  q.InitQuad();
  EXPECT_EQ(State(q), "0,0 20,0 20,10 0,10 area 198 centre 10,5 angles 90 90 90 90");
  q.TranslateEdge(QEI_2, QETD_INWARD, 4);
  q.CalcIntersectionsOfEdges();
  EXPECT_EQ(State(q), "0,0 20,0 20,6 0,6 area 198 centre 10,5 angles 90 90 90 90");
  // A counter-clockwise quad keeps the meaning of inward, and ExpandQuad shrinks it.
  TQ_Quad ccw = MakeQuad(Pt(0, 10), Pt(10, 10), Pt(10, 0), Pt(0, 0));
  ccw.TranslateEdge(QEI_0, QETD_INWARD, 3);
  ccw.CalcIntersectionsOfEdges();
  ccw.ExpandQuad(2);
  EXPECT_EQ(Vertices(ccw), Points({{2, 5}, {8, 5}, {8, 2}, {2, 2}}));

  // ExpandQuad moves each side line out by the rounded normal offset (across, then
  // along if given), resets centre and area and keeps the angles.
  TQ_Quad grown = Slanted();
  EXPECT_EQ(State(grown), "0,0 10,0 15,10 5,10 area 100 centre 8,5 angles 63 117 63 117");
  grown.ExpandQuad(5);
  EXPECT_EQ(State(grown), "-8,-5 13,-5 23,15 3,15 area 408 centre 8,5 angles 63 117 63 117");
  grown.ExpandQuad(-5, 2);
  EXPECT_EQ(State(grown), "-4,-7 7,-7 19,17 9,17 area 252 centre 8,5 angles 63 117 63 117");

  // ReorderVertices rotates vertices, angles and edges and keeps area and centre;
  // an index out of range does nothing. SetVertices resets all caches.
  TQ_Quad slanted = Slanted();
  State(slanted);
  slanted.ReorderVertices(QVI_1);
  slanted.ReorderVertices(static_cast<TQ_Quad_Vertex_Index>(4));
  EXPECT_EQ(State(slanted), "10,0 15,10 5,10 0,0 area 100 centre 8,5 angles 117 63 117 63");
  EXPECT_EQ(slanted.GetEdge(0).CalcAngle(), 63);
  EXPECT_EQ(slanted.GetEdge(3).GetEndPoint(), Pt(10, 0));
  slanted.SetVertices(Square(0, 0, 20).GetVertices());
  EXPECT_EQ(State(slanted), "0,0 20,0 20,20 0,20 area 400 centre 10,10 angles 90 90 90 90");
}

TEST(QuadConstruction, LinesCopiesAndRotatedCopies) {
  const TQ_LineSegmentEnhanced lines[4] = {TQ_LineSegmentEnhanced(Pt(-100, 2), Pt(100, 2)),
                                           TQ_LineSegmentEnhanced(Pt(30, -50), Pt(30, 70)),
                                           TQ_LineSegmentEnhanced(Pt(90, 20), Pt(-90, 20)),
                                           TQ_LineSegmentEnhanced(Pt(1, 99), Pt(1, -99))};
  const TQ_Quad fromLines(lines);
  EXPECT_EQ(Vertices(fromLines), Points({{1, 2}, {30, 2}, {30, 20}, {1, 20}}));
  EXPECT_EQ(fromLines.GetEdge(0).GetEndPoint(), Pt(30, 2));

  // Copies do not take the id, nor the text.
  TQ_Quad original = Square(0, 0, 10);
  original.CalcHashID();
  original.GetArea();
  EXPECT_FALSE(TQ_Quad(original).GetIdStruct().isSet);
  TQ_Quad assigned = Square(5, 5, 1);
  assigned.toString();
  assigned = original;
  EXPECT_FALSE(assigned.GetIdStruct().isSet);
  EXPECT_EQ(assigned.GetText(), "(5,5) (6,5) (6,6) (5,6)");
  EXPECT_EQ(Vertices(assigned), Vertices(original));

  const TQ_Quad rotated(Slanted(), QVI_2);
  EXPECT_EQ(Vertices(rotated), Points({{15, 10}, {5, 10}, {0, 0}, {10, 0}}));
  EXPECT_EQ(rotated.GetEdge(0).GetEndPoint(), Pt(5, 10));
}

TEST(QuadOverlap, VertexAndCentreTestsWithExpansion) {
  // {x of the other square, expansion ratio, overlapping}: both grow by ratio * 10.
  const struct {
    int x;
    float ratio;
    bool overlap;
  } cases[] = {
      {10, 0.0f, true}, {13, 0.0f, false}, {13, 0.5f, true}, {13, 0.1f, false}, {8, -0.3f, false}};
  for (const auto& c : cases) {
    EXPECT_EQ(Square(0, 0, 10).IsOverlapWithOtherQuad(Square(c.x, 0, 10), c.ratio), c.overlap)
        << c.x << " " << c.ratio;
  }
  EXPECT_TRUE(Square(0, 0, 10).IsOverlapWithOtherQuad(Square(2, 2, 4), 0.0f));  // contained
  // A thin cross has no vertex or centre in the other: not overlapping, though the
  // areas overlap (random quads are checked against exact clipping elsewhere).
  const TQ_Quad wide = MakeQuad(Pt(0, 10), Pt(100, 10), Pt(100, 12), Pt(0, 12));
  const TQ_Quad tall = MakeQuad(Pt(30, 0), Pt(32, 0), Pt(32, 100), Pt(30, 100));
  EXPECT_FALSE(wide.IsOverlapWithOtherQuad(tall, 0.0f));
  EXPECT_FLOAT_EQ(wide.CalcOverlappingAreaWithOtherQuad(&tall), 4.0f);
}

TEST(QuadPixels, ReserveSizeDegenerateAndCoarseGrid) {
  // Reserve sizes bound the output (checked on random quads elsewhere); they are not
  // limited to the image, except that a quad wholly outside it reserves nothing.
  EXPECT_EQ(Square(0, 0, 9).GetAllPixelsReserveSize(0, 5, 5), 100);
  EXPECT_EQ(Square(20, 0, 9).GetAllPixelsReserveSize(0, 10, 10), 0);
  std::vector<Pt> out;
  EXPECT_EQ(Square(20, 0, 9).GetAllPixels(out, PM_BRESENHAM, 0, 10, 10), 0);
  EXPECT_EQ(
      MakeQuad(Pt(7, 9), Pt(7, 9), Pt(7, 9), Pt(7, 9)).GetAllPixels(out, PM_BRESENHAM, 1, -1, -1),
      1);
  EXPECT_EQ(out, Points({{3, 4}}));
  // An axis-aligned square on a grid of 4: rows 0, 4 and 8, columns 0 to 2.
  out.clear();
  EXPECT_EQ(Square(0, 0, 10).GetAllPixels(out, PM_BRESENHAM, 2, -1, -1), 3);
  EXPECT_EQ(out, Points({{0, 0}, {1, 0}, {2, 0}, {0, 1}, {1, 1}, {2, 1}, {0, 2}, {1, 2}, {2, 2}}));
  // A wide quad scans columns: the first points share x = 0.
  out.clear();
  MakeQuad(Pt(0, 0), Pt(20, 0), Pt(20, 3), Pt(0, 3)).GetAllPixels(out, PM_BRESENHAM, 0, -1, -1);
  EXPECT_EQ(out[4], Pt(1, 0));
  // Mode 1 widens the spans: on row 1 the crossing 1.9 starts at 1 (mode 0 rounds
  // to 2); row 0 is the top edge, x 2..7.
  const TQ_Quad thin = MakeQuad(Pt(2, 0), Pt(7, 0), Pt(8, 10), Pt(1, 10));
  std::vector<Pt> narrow, wide;
  thin.GetAllPixels(narrow, PM_BRESENHAM, 0, -1, -1);
  thin.GetAllPixels(wide, PM_FOUR_CONNECTED, 0, -1, -1);
  EXPECT_EQ(narrow[6], Pt(2, 1));
  EXPECT_EQ(wide[6], Pt(1, 1));
}

TEST(QuadText, ToStringAndHashId) {
  TQ_Quad q = Square(0, 0, 10);
  const std::string text = "(0,0) (10,0) (10,10) (0,10)";
  EXPECT_EQ(q.toString(), text);
  EXPECT_EQ(q.GetText(), text);
  q.CalcHashID();
  TQRef<TQArray<char>> expected = TQHashAlgorithm::GenerateHash(text.data(), text.size());
  EXPECT_EQ(q.GetIdStruct().GetValue(), expected->GetData());
  q.SetVertices(Square(-1, -2, 3).GetVertices());
  q.CalcHashID();
  EXPECT_EQ(q.GetIdStruct().GetValue(), expected->GetData());  // kept once set
  EXPECT_EQ(q.toString(), "(-1,-2) (2,-2) (2,1) (-1,1)");
}

}  // namespace
}  // namespace norvane
