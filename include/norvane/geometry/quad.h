// TQ_Quad: the library's working quadrilateral.
//
// Four integer vertices plus their edges as enhanced segments (edge i runs from
// vertex i to vertex i+1), with lazily computed area, interior angles and centre.
// It orders corners clockwise, tests where points lie, moves edges, tests overlap,
// clips against another quad and enumerates the pixels inside, optionally on a
// coarser grid. A counted object whose identifier is a hash of its corners
// (CalcHashID).
//
// Clockwise means clockwise on screen, in image coordinates (x right, y down). Every
// mutator resets exactly the caches its change invalidates. The caches are written
// by const operations and nothing is synchronised: even concurrent readers of one
// quad must be serialised by the owner.
#ifndef NORVANE_GEOMETRY_QUAD_H_
#define NORVANE_GEOMETRY_QUAD_H_

#include <string>
#include <vector>

#include "norvane/basic_structures/point.h"
#include "norvane/core/export.h"
#include "norvane/core/object_base.h"
#include "norvane/geometry/line_segment.h"

namespace norvane {

enum TQ_Quad_Vertex_Index { QVI_0 = 0, QVI_1 = 1, QVI_2 = 2, QVI_3 = 3 };
enum TQ_Quad_Edge_Index { QEI_0 = 0, QEI_1 = 1, QEI_2 = 2, QEI_3 = 3 };
enum TQ_Quad_Edge_Translating_Direction { QETD_INWARD = 0, QETD_OUTWARD = 1 };

// Codes of CalcPointPositionRelation besides the edge index 0..3.
constexpr int kQuadPointInside = 4;
constexpr int kQuadPointOutside = 5;

class NORVANE_API TQ_Quad : public TQObjectBase {
 public:
  typedef basic_structures::TQPoint_<int> Point;

  TQ_Quad();
  // The four points in the given order; caches empty.
  explicit TQ_Quad(const Point* points);
  // Vertices are the intersections of consecutive lines (see InitQuad); the
  // segments contribute their lines, not their end points.
  explicit TQ_Quad(const TQ_LineSegmentEnhanced* lines);
  // As CloneQuad; the copy has its own (unset) identifier.
  TQ_Quad(const TQ_Quad& other);
  // A copy whose vertex 0 is other's vertex `start` (vertices, edges and interior
  // angles rotated; area, centre and orientation copied as they are).
  TQ_Quad(const TQ_Quad& other, TQ_Quad_Vertex_Index start);
  // As CloneQuad.
  TQ_Quad& operator=(const TQ_Quad& other);

  ~TQ_Quad() override;
  // Heron area of both triangles on the diagonal 0-2 in real lengths, cached. With
  // both bounds given, a quad wholly outside the image has area 0 (not cached).
  virtual int GetArea(int width = -1, int height = -1) const;
  virtual bool IsPointInQuadrilateral(const Point* point) const;
  // Hook for derived classes, called at the end of InitQuad.
  virtual void Init();
  // "(x0,y0) (x1,y1) (x2,y2) (x3,y3)", also kept as the last text.
  virtual std::string toString() const;
  // Each vertex becomes the intersection of its two edges' lines (a parallel pair
  // leaves it); then the edges are rebuilt.
  virtual void CalcIntersectionsOfEdges();

  // Copies vertices, edges and caches; the identifier and text stay.
  void CloneQuad(const TQ_Quad& other);
  // CalcIntersectionsOfEdges, all caches reset, then Init().
  void InitQuad();
  void SetVertices(const Point* points);
  // Rebuilds the edges from the vertices and takes the orientation.
  void SetEdges();
  // Reorders four points in place into clockwise order starting at points[start]
  // (start -1: the corner with the smallest x + y). Correct for convex input only.
  static void SetVerticesToClockWise(Point* points, int start);
  // Index of the smallest x + y (lowest index on ties), -1 when every sum is 99999
  // or more.
  static int CalcLeftUpPtIndex(const Point* points);
  // Makes old vertex `start` (1..3) vertex 0; other values do nothing.
  void ReorderVertices(TQ_Quad_Vertex_Index start);
  // Moves one edge sideways, inward or outward whichever the orientation; neither
  // vertices nor caches follow until CalcIntersectionsOfEdges is called.
  void TranslateEdge(TQ_Quad_Edge_Index edge, TQ_Quad_Edge_Translating_Direction direction,
                     int distance);
  // Moves every edge to its left (outward for a clockwise quad) and recomputes the
  // vertices; negative distances shrink.
  void ExpandQuad(int distance);
  // Edges 1 and 3 move by `horizontal`, edges 0 and 2 by `vertical`.
  void ExpandQuad(int horizontal, int vertical);

  // The four interior angles in degrees, cached.
  const int* GetInteriorAngles() const;
  // True when all four turns are non-zero and of one sign (either orientation).
  bool IsConvex() const;
  // 0..3 on that edge (within `tolerance`), 4 inside, 5 outside.
  int CalcPointPositionRelation(const Point& point, int tolerance) const;
  // Whether a vertex or centre of one lies in or on the other, after growing (ratio
  // > 0) or shrinking both by `ratio` of the smaller one's size.
  bool IsOverlapWithOtherQuad(const TQ_Quad& other, float ratio) const;
  // Area of the intersection with `other`, clipped against this (clockwise) quad.
  float CalcOverlappingAreaWithOtherQuad(const TQ_Quad* other) const;
  // Distance between the midpoints of edges 3 and 1 (the width across).
  float GetOrientationLength() const;
  // Distance between the midpoints of edges 0 and 2 (the height across).
  float GetVerticalLength() const;
  // An upper bound of the points GetAllPixels produces with these arguments.
  int GetAllPixelsReserveSize(int shift, int width, int height) const;
  // Appends the grid points of step 2^shift covered by the quad, in coordinates
  // divided by 2^shift, scan line by scan line; returns the longest run of one scan
  // line (0 if nothing). Mode 0 rounds span starts and truncates ends; another mode
  // widens spans outward. width/height -1: no image bounds. Shifts outside 0..30
  // produce nothing.
  int GetAllPixels(std::vector<Point>& out, TQ_Pixelate_Mode mode, int shift, int width,
                   int height) const;
  // Sets the identifier to the hash of toString() unless it is already set.
  void CalcHashID();

  const Point* GetVertices() const { return vertices; }
  const Point& GetVertex(int index) const { return vertices[index & 3]; }
  const TQ_LineSegmentEnhanced* GetEdges() const { return edges; }
  const TQ_LineSegmentEnhanced& GetEdge(int index) const { return edges[index & 3]; }
  bool IsClockwise() const { return isClockwise != 0; }
  // The rounded mean of the vertices, cached.
  const Point& GetCenterPoint() const;
  const std::string& GetText() const { return text; }

 private:
  // Vertex k, edge k and angle k take `other`'s element (k + start) mod 4; the area,
  // centre and orientation are copied as they are.
  void CopyRotated(const TQ_Quad& other, int start);
  void ResetCaches();
  void CalcInteriorAngles() const;
  void BoundingBox(int& minX, int& minY, int& maxX, int& maxY) const;

 protected:
  Point vertices[4];
  int isClockwise;
  TQ_LineSegmentEnhanced edges[4];
  mutable int area;
  mutable int interiorAngles[4];
  mutable Point center;
  mutable std::string text;
};

}  // namespace norvane

#endif  // NORVANE_GEOMETRY_QUAD_H_
