// TQ_Quad: vertex order, measures, point tests, overlap, clipping and pixels.
#include "norvane/geometry/quad.h"

#include <cfloat>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdio>

#include "basic_structures/quad_points.h"
#include "core/wrap_math.h"
#include "norvane/basic_structures/transform_matrix.h"
#include "norvane/core/hash_algorithm.h"

namespace norvane {

using basic_structures::TQPoint_;
using internal::TruncToInt;
using internal::WrapAdd;
using internal::WrapSub;

TQ_Quad::TQ_Quad() : isClockwise(1) { ResetCaches(); }

TQ_Quad::TQ_Quad(const Point* points) : isClockwise(1) {
  for (int k = 0; k < 4; ++k) vertices[k] = points[k];
  SetEdges();
  ResetCaches();
}

TQ_Quad::TQ_Quad(const TQ_LineSegmentEnhanced* lines) : isClockwise(1) {
  for (int k = 0; k < 4; ++k) edges[k] = lines[k];
  InitQuad();
}

TQ_Quad::TQ_Quad(const TQ_Quad& other) : TQObjectBase() { CloneQuad(other); }

TQ_Quad::TQ_Quad(const TQ_Quad& other, TQ_Quad_Vertex_Index start) : TQObjectBase() {
  const int s = static_cast<int>(start);
  CopyRotated(other, s < 1 || s > 3 ? 0 : s);
}

TQ_Quad& TQ_Quad::operator=(const TQ_Quad& other) {
  CloneQuad(other);
  return *this;
}

TQ_Quad::~TQ_Quad() {}

void TQ_Quad::CloneQuad(const TQ_Quad& other) {
  if (this == &other) return;
  CopyRotated(other, 0);
}

void TQ_Quad::CopyRotated(const TQ_Quad& other, int start) {
  for (int k = 0; k < 4; ++k) {
    const int j = (k + start) & 3;
    vertices[k] = other.vertices[j];
    edges[k] = other.edges[j];
    interiorAngles[k] = other.interiorAngles[j];
  }
  center = other.center;
  area = other.area;
  isClockwise = other.isClockwise;
}

void TQ_Quad::ResetCaches() {
  for (int k = 0; k < 4; ++k) interiorAngles[k] = INT_MAX;
  center.x = INT_MAX;
  area = INT_MIN;
}

void TQ_Quad::Init() {}

void TQ_Quad::InitQuad() {
  CalcIntersectionsOfEdges();
  ResetCaches();
  Init();
}

void TQ_Quad::SetVertices(const Point* points) {
  for (int k = 0; k < 4; ++k) vertices[k] = points[k];
  SetEdges();
  ResetCaches();
}

void TQ_Quad::SetEdges() {
  for (int i = 0; i < 4; ++i) edges[i].SetVertices(vertices[i], vertices[(i + 1) & 3]);
  isClockwise = IsPointsClockWise(vertices) ? 1 : 0;
}

void TQ_Quad::CalcIntersectionsOfEdges() {
  for (int i = 0; i < 4; ++i) {
    edges[i].CalcIntersectionOfTwoLines<int>(edges[(i + 3) & 3], vertices[i], -1, -1, 0.0f);
  }
  SetEdges();
}

int TQ_Quad::CalcLeftUpPtIndex(const Point* points) { return internal::LeftUpPointIndex(points); }

void TQ_Quad::SetVerticesToClockWise(Point* points, int start) {
  internal::SetQuadPointsToClockWise(points, start);
}

void TQ_Quad::ReorderVertices(TQ_Quad_Vertex_Index start) {
  const int s = static_cast<int>(start);
  if (s < 1 || s > 3) return;
  Point oldVertices[4];
  int oldAngles[4];
  TQ_LineSegment oldEdges[4];
  for (int k = 0; k < 4; ++k) {
    oldVertices[k] = vertices[k];
    oldAngles[k] = interiorAngles[k];
    oldEdges[k].SetVertices(edges[k].GetStartPoint(), edges[k].GetEndPoint());
  }
  for (int k = 0; k < 4; ++k) {
    const int j = (k + s) & 3;
    vertices[k] = oldVertices[j];
    interiorAngles[k] = oldAngles[j];
    edges[k] = TQ_LineSegmentEnhanced(oldEdges[j]);
  }
}

void TQ_Quad::TranslateEdge(TQ_Quad_Edge_Index edge, TQ_Quad_Edge_Translating_Direction direction,
                            int distance) {
  const int e = static_cast<int>(edge);
  if (e < 0 || e > 3) return;
  const bool inward = direction == QETD_INWARD;
  const bool right = isClockwise ? inward : !inward;
  edges[e].TranslateBasedOnDirection(right ? LSTD_RIGHT_SIDE : LSTD_LEFT_SIDE, distance);
}

void TQ_Quad::ExpandQuad(int distance) { ExpandQuad(distance, distance); }

void TQ_Quad::ExpandQuad(int horizontal, int vertical) {
  for (int i = 0; i < 4; ++i) {
    edges[i].TranslateBasedOnDirection(LSTD_LEFT_SIDE, (i & 1) ? horizontal : vertical);
  }
  CalcIntersectionsOfEdges();
  center.x = INT_MAX;
  area = INT_MIN;
}

void TQ_Quad::CalcInteriorAngles() const {
  for (int i = 0; i < 4; ++i) {
    const int current = edges[i].CalcAngle() % 360;
    const int previous = edges[(i + 3) & 3].CalcAngle() % 360;
    const int diff = current - previous;
    interiorAngles[i] = diff > 0 ? (540 - diff) % 360 : (180 - diff) % 360;
  }
}

const int* TQ_Quad::GetInteriorAngles() const {
  if (interiorAngles[0] == INT_MAX) CalcInteriorAngles();
  return interiorAngles;
}

bool TQ_Quad::IsConvex() const { return internal::IsConvexQuadPoints(vertices); }

int TQ_Quad::CalcPointPositionRelation(const Point& p, int tolerance) const {
  for (int i = 0; i < 4; ++i) {
    const int status = edges[i].CalcPointPositionStatus(p, tolerance);
    if (status == 3) return kQuadPointOutside;
    if (status == 1) continue;
    const Point& a = vertices[i];
    const Point& b = vertices[(i + 1) & 3];
    const int64_t px = static_cast<int64_t>(WrapSub(p.x, a.x)) * WrapSub(p.x, b.x);
    const int64_t py = static_cast<int64_t>(WrapSub(p.y, a.y)) * WrapSub(p.y, b.y);
    if (tolerance == 1) return (px > 0 || py > 0) ? kQuadPointOutside : i;
    return (px < 0 || py < 0) ? i : kQuadPointOutside;
  }
  return kQuadPointInside;
}

bool TQ_Quad::IsPointInQuadrilateral(const Point* point) const {
  return CalcPointPositionRelation(*point, 1) == kQuadPointInside;
}

void TQ_Quad::BoundingBox(int& minX, int& minY, int& maxX, int& maxY) const {
  minX = maxX = vertices[0].x;
  minY = maxY = vertices[0].y;
  for (int k = 1; k < 4; ++k) {
    if (vertices[k].x < minX) minX = vertices[k].x;
    if (vertices[k].x > maxX) maxX = vertices[k].x;
    if (vertices[k].y < minY) minY = vertices[k].y;
    if (vertices[k].y > maxY) maxY = vertices[k].y;
  }
}

int TQ_Quad::GetArea(int width, int height) const {
  if (area != INT_MIN) return area;
  int minX, minY, maxX, maxY;
  BoundingBox(minX, minY, maxX, maxY);
  if (width != -1 && height != -1 && (maxX < 0 || maxY < 0 || minX > width || minY > height)) {
    return 0;
  }
  const TQ_LineSegmentEnhanced diagonal(vertices[0], vertices[2]);
  const double d = diagonal.GetRealLength();
  double lengths[4];
  for (int i = 0; i < 4; ++i) {
    if (edges[i].GetPixelCount() == 1) return 0;
    lengths[i] = edges[i].GetRealLength();
  }
  const double s1 = (lengths[0] + d + lengths[1]) * 0.5;
  const double a1 = std::sqrt((s1 - d) * s1 * (s1 - lengths[0]) * (s1 - lengths[1]));
  const double s2 = (lengths[2] + d + lengths[3]) * 0.5;
  const double a2 = std::sqrt((s2 - d) * s2 * (s2 - lengths[2]) * (s2 - lengths[3]));
  const int t1 = TruncToInt(a1);
  const int t2 = TruncToInt(a2);
  const int side1 = diagonal.CalcPointPositionStatus(vertices[1], 0);
  const int side3 = diagonal.CalcPointPositionStatus(vertices[3], 0);
  if (side1 != side3) {
    area = WrapAdd(t1, t2);
  } else {
    const int64_t diff = static_cast<int64_t>(t1) - t2;
    area = static_cast<int>(diff < 0 ? -diff : diff);
  }
  return area;
}

const TQ_Quad::Point& TQ_Quad::GetCenterPoint() const {
  if (center.x == INT_MAX) {
    int sx = 0;
    int sy = 0;
    for (int k = 0; k < 4; ++k) {
      sx = WrapAdd(sx, vertices[k].x);
      sy = WrapAdd(sy, vertices[k].y);
    }
    center.x = MathUtils::round(0.25f * static_cast<float>(sx));
    center.y = MathUtils::round(0.25f * static_cast<float>(sy));
  }
  return center;
}

float TQ_Quad::GetOrientationLength() const {
  const TQ_LineSegmentEnhanced across(edges[3].GetMiddlePoint(), edges[1].GetMiddlePoint());
  return across.GetRealLength();
}

float TQ_Quad::GetVerticalLength() const {
  const TQ_LineSegmentEnhanced across(edges[0].GetMiddlePoint(), edges[2].GetMiddlePoint());
  return across.GetRealLength();
}

bool TQ_Quad::IsOverlapWithOtherQuad(const TQ_Quad& other, float ratio) const {
  TQ_Quad scratchA;
  TQ_Quad scratchB;
  const TQ_Quad* a = this;
  const TQ_Quad* b = &other;
  if (ratio > 0.001f || ratio < -0.001f) {
    scratchA.SetVertices(vertices);
    scratchB.SetVertices(other.vertices);
    const float wa = scratchA.GetOrientationLength();
    const float wb = scratchB.GetOrientationLength();
    const float ha = scratchA.GetVerticalLength();
    const float hb = scratchB.GetVerticalLength();
    const int w = TruncToInt(wa < wb ? wa : wb);
    const int h = TruncToInt(ha < hb ? ha : hb);
    const int dx = MathUtils::round(static_cast<float>(w) * ratio);
    const int dy = MathUtils::round(static_cast<float>(h) * ratio);
    scratchA.ExpandQuad(dx, dy);
    scratchB.ExpandQuad(dx, dy);
    a = &scratchA;
    b = &scratchB;
  }
  for (int k = 0; k < 4; ++k) {
    if (a->CalcPointPositionRelation(b->vertices[k], 1) != kQuadPointOutside) return true;
  }
  if (a->CalcPointPositionRelation(b->GetCenterPoint(), 1) != kQuadPointOutside) return true;
  if (b->CalcPointPositionRelation(a->GetCenterPoint(), 1) != kQuadPointOutside) return true;
  for (int k = 0; k < 4; ++k) {
    if (b->CalcPointPositionRelation(a->vertices[k], 1) != kQuadPointOutside) return true;
  }
  return false;
}

float TQ_Quad::CalcOverlappingAreaWithOtherQuad(const TQ_Quad* other) const {
  std::vector<Point> subject;
  std::vector<Point> output;
  subject.reserve(20);
  output.reserve(20);
  for (int k = 0; k < 4; ++k) subject.push_back(other->vertices[k]);
  for (int e = 0; e < 4; ++e) {
    const size_t n = subject.size();
    if (n < 3) break;
    const TQ_LineSegmentEnhanced& edge = edges[e];
    int s = edge.CalcPointPositionStatus(subject[0], 1);
    for (size_t k = 0; k < n; ++k) {
      if (s != 3) output.push_back(subject[k]);
      const Point& next = subject[k + 1 == n ? 0 : k + 1];
      const int t = edge.CalcPointPositionStatus(next, 1);
      if ((s == 3 && t == 1) || (s == 1 && t == 3)) {
        const TQ_LineSegment crossing(subject[k], next);
        Point point;
        if (edge.CalcIntersectionOfTwoLines<int>(crossing, point, -1, -1, 0.0f)) {
          output.push_back(point);
        }
      }
      s = t;
    }
    subject.swap(output);
    output.clear();
  }
  const size_t n = subject.size();
  if (n < 3) return 0.0f;
  using internal::WrapMul;
  int32_t sum = WrapMul(WrapSub(subject[n - 1].x, subject[1].x), subject[0].y);
  for (size_t k = 1; k < n; ++k) {
    const Point& next = subject[k + 1 == n ? 0 : k + 1];
    sum = WrapAdd(sum, WrapMul(subject[k].y, WrapSub(subject[k - 1].x, next.x)));
  }
  return static_cast<float>(std::fabs(sum * 0.5));
}

int TQ_Quad::GetAllPixelsReserveSize(int shift, int width, int height) const {
  if (shift < 0 || shift > 30) return 0;
  int minX, minY, maxX, maxY;
  BoundingBox(minX, minY, maxX, maxY);
  if (width != -1 && height != -1 && (maxX < 0 || maxY < 0 || minX > width || minY > height)) {
    return 0;
  }
  const int rows = WrapAdd(WrapSub(maxY >> shift, minY >> shift), 1);
  const int columns = WrapAdd(WrapSub(maxX >> shift, minX >> shift), 1);
  return internal::WrapMul(rows, columns);
}

std::string TQ_Quad::toString() const {
  char buffer[128];
  std::snprintf(buffer, sizeof(buffer), "(%d,%d) (%d,%d) (%d,%d) (%d,%d)", vertices[0].x,
                vertices[0].y, vertices[1].x, vertices[1].y, vertices[2].x, vertices[2].y,
                vertices[3].x, vertices[3].y);
  text = buffer;
  return text;
}

void TQ_Quad::CalcHashID() {
  if (id.isSet) return;
  const std::string corners = toString();
  TQRef<TQArray<char>> hash =
      TQHashAlgorithm::GenerateHash(corners.data(), static_cast<unsigned int>(corners.size()));
  id.value = hash->GetData();
  id.isSet = !id.value.empty();
}

}  // namespace norvane
