// TQ_LineSegment and TQ_LineSegmentEnhanced: the library's working segments.
//
// TQ_LineSegment is the public CLineSegment made into a counted object.
// TQ_LineSegmentEnhanced adds lazily computed data (length, angle in whole degrees,
// normalised line equation, midpoint, axis intercepts, pixel count) and the
// operations edge-based detection needs: moving, rotating and stretching, angles
// between lines, point-side tests, intersections and rasterising into pixels.
//
// Coordinates are image coordinates (x right, y down); angles are degrees 0..359
// from +x toward +y, so they grow clockwise on screen. Every change made through
// SetStartPoint/SetEndPoint/SetVertices resets the caches; the other mutators reset
// exactly the groups their data depends on. The caches are written by const
// operations and are not synchronised: one segment must not be used from two
// threads at once.
#ifndef NORVANE_GEOMETRY_LINE_SEGMENT_H_
#define NORVANE_GEOMETRY_LINE_SEGMENT_H_

#include <type_traits>
#include <vector>

#include "norvane/basic_structures/line_segment.h"
#include "norvane/basic_structures/point.h"
#include "norvane/core/export.h"
#include "norvane/core/object_base.h"
#include "norvane/geometry/math_utils.h"

namespace norvane {

enum TQ_LS_Point_Alignment { LSPA_START = 0, LSPA_END = 1, LSPA_MIDDLE = 2 };

enum TQ_LS_Translating_Direction {
  LSTD_FORWARD = 0,     // along start -> end
  LSTD_RIGHT_SIDE = 1,  // perpendicular, to the right of the direction of travel on screen
  LSTD_BACKWARD = 2,
  LSTD_LEFT_SIDE = 3,
  LSTD_UP = 4,    // -y
  LSTD_DOWN = 5,  // +y
  LSTD_LEFT = 6,  // -x
  LSTD_RIGHT = 7  // +x
};

// LSLTM_BY_LENGTH: amounts are pixels; any other value: a fraction of the length.
enum TQ_LS_Length_Transform_Mode { LSLTM_BY_LENGTH = 0, LSLTM_BY_RATIO = 1 };

enum TQ_Angle_Domain { AD_90 = 90, AD_180 = 180, AD_360 = 360 };

enum TQ_Coordinates_Axis { CA_X = 0, CA_Y = 1 };

// 0: Bresenham samples; 1 (any non-zero value for quads): a 4-connected chain.
enum TQ_Pixelate_Mode { PM_BRESENHAM = 0, PM_FOUR_CONNECTED = 1 };

class NORVANE_API TQ_LineSegment : public basic_structures::CLineSegment, public TQObjectBase {
 public:
  TQ_LineSegment() {}
  TQ_LineSegment(const basic_structures::TQPoint_<int>& start,
                 const basic_structures::TQPoint_<int>& end)
      : CLineSegment(start, end) {}
  TQ_LineSegment(const TQ_LineSegment& other) = default;
  TQ_LineSegment& operator=(const TQ_LineSegment& other) = default;

  void Init() override;
  ~TQ_LineSegment() override;
  // Exchanges start and end.
  virtual void SwapVertices();

  // Store both points, then call Init().
  void SetVertices(const basic_structures::TQPoint_<int>& start,
                   const basic_structures::TQPoint_<int>& end);
  void SetVertices(const basic_structures::TQPoint_<int>* two);
};

class NORVANE_API TQ_LineSegmentEnhanced : public TQ_LineSegment {
 public:
  typedef basic_structures::TQPoint_<int> Point;

  TQ_LineSegmentEnhanced();
  TQ_LineSegmentEnhanced(const Point& start, const Point& end);
  // Copies the points and the object base, then resets every cache.
  explicit TQ_LineSegmentEnhanced(const TQ_LineSegment& segment);
  // Copy and assignment take the points and every cache as they are.
  TQ_LineSegmentEnhanced(const TQ_LineSegmentEnhanced& other) = default;
  TQ_LineSegmentEnhanced& operator=(const TQ_LineSegmentEnhanced& other) = default;
  // The segment from `start` in direction `angle` (degrees) of the given length; the
  // angle and length caches are preset to the values given.
  TQ_LineSegmentEnhanced(const Point& start, int angle, float length);

  // Resets every cache.
  void Init() override;
  ~TQ_LineSegmentEnhanced() override;
  // Swaps the end points; a computed angle turns by 180 degrees, the length is kept.
  void SwapVertices() override;

  // Resets the chosen cache groups; pixel count and midpoint are always reset.
  void InitEnhanced(bool resetLength, bool resetAngle, bool resetEquation);

  // Moves both points by -origin.
  void SetOrigin(Point origin);
  // Moves the segment so that its start, end or middle lands on `point`.
  void TranslateToPoint(const Point& point, TQ_LS_Point_Alignment alignment);
  void TranslateBasedOnDirection(TQ_LS_Translating_Direction direction, int distance);
  // Where the direction's reference point (end for forward, start for backward, the
  // middle for the sides) would move; other directions give the start point.
  void CalcTranslatedPoint(TQ_LS_Translating_Direction direction, int distance, Point& out) const;
  // False, and no move, when both offsets truncate to 0.
  bool TranslateBasedOnAngle(int angle, int distance);
  // Rotation about the start, end or middle point (other values: the origin); false
  // and no change when no coordinate changes.
  bool Rotate(TQ_LS_Point_Alignment pivot, int angle);
  void Rotate(const Point& centre, int angle);
  // Turns the segment by moving one end (or both ends, in opposite directions)
  // sideways by `distance`; `sense` picks the right-hand normal.
  void RotateBasedOnDistance(int distance, bool sense, TQ_LS_Point_Alignment alignment);
  // Lengthens (positive amount) or shortens the segment along its own line.
  void StretchLength(TQ_LS_Point_Alignment alignment, float amount,
                     TQ_LS_Length_Transform_Mode mode);

  void CalcEquation() const;
  // The cached normalised equation a x + b y + c = 0 (computed if needed).
  void GetEquation(float& a, float& b, float& c) const;
  // The line's x at y (y at x); FLT_MAX when the line is parallel to that axis.
  float CalcX(int y) const;
  float CalcY(int x) const;
  float CalcX(int y, bool& ok) const;
  float CalcY(int x, bool& ok) const;
  // angle = CalcAngle() mod 180; intercept = x at y = 0 (CA_X) or y at x = 0 (CA_Y).
  void GetLineEquation(float& intercept, int& angle, TQ_Coordinates_Axis axis) const;
  int CalcAngle() const;
  int CalcAngleBetweenLines(const TQ_LineSegmentEnhanced& other, TQ_Angle_Domain domain) const;
  int CalcAngleBetweenLines(const TQ_LineSegment& other, TQ_Angle_Domain domain) const;
  // 0 parallel, 1 perpendicular (both within `tolerance` degrees), -1 neither.
  int CalcPositionStatusOfInputLine(const TQ_LineSegmentEnhanced& other, int tolerance) const;
  // 0 closer than `tolerance` pixels to the line, 1 right side, 3 left side.
  int CalcPointPositionStatus(const Point& point, int tolerance) const;
  // Sign of the line equation at the point, 0 when its magnitude is below 1.
  int CalcPointStatusOnLineEquation(const Point& point) const;
  float CalcDistanceToPoint(const Point& point) const;
  // The intersection of both (infinite) lines; false when they are parallel (out
  // unchanged) or when the point lies outside the image enlarged by `margin` times
  // its size on each side (out written). width or height -1: no bounds.
  template <typename T>
  bool CalcIntersectionOfTwoLines(const TQ_LineSegment& other, basic_structures::TQPoint_<T>& out,
                                  int width, int height, float margin) const;
  float GetRealLength() const;
  int GetPixelCount() const;
  void CalcMiddlePointCoord() const;
  const Point& GetMiddlePoint() const {
    CalcMiddlePointCoord();
    return middlePoint;
  }
  // Appends the segment's pixels, start first; see TQ_Pixelate_Mode. Mode 0 samples
  // every `step` pixels and stops once `out` holds `maxCount` points (-1: no limit).
  void Pixelate(std::vector<Point>& out, TQ_Pixelate_Mode mode, int step, int maxCount) const;

 private:
  // Solves for the intersection; false for parallel or degenerate lines.
  bool IntersectLines(const TQ_LineSegment& other, double& x, double& y) const;
  static bool InsideEnlargedImage(float x, float y, int width, int height, float margin);
  void PixelateFourConnected(std::vector<Point>& out) const;
  void PixelateBresenham(std::vector<Point>& out, int step, int maxCount) const;
  void MoveBy(int dx, int dy);

 protected:
  mutable Point middlePoint;
  mutable float realLength;
  mutable int pixelCount;
  mutable int angle;
  mutable float A;
  mutable float B;
  mutable float C;
  mutable float xIntercept;
  mutable float yIntercept;
  mutable float norm;
};

template <typename T>
bool TQ_LineSegmentEnhanced::CalcIntersectionOfTwoLines(const TQ_LineSegment& other,
                                                        basic_structures::TQPoint_<T>& out,
                                                        int width, int height, float margin) const {
  double x = 0.0;
  double y = 0.0;
  if (!IntersectLines(other, x, y)) return false;
  float fx;
  float fy;
  if (std::is_integral<T>::value) {
    out.x = static_cast<T>(MathUtils::round(static_cast<float>(x)));
    out.y = static_cast<T>(MathUtils::round(static_cast<float>(y)));
    fx = static_cast<float>(out.x);
    fy = static_cast<float>(out.y);
  } else {
    out.x = static_cast<T>(x);
    out.y = static_cast<T>(y);
    fx = static_cast<float>(x);
    fy = static_cast<float>(y);
  }
  if (width == -1 || height == -1) return true;
  return InsideEnlargedImage(fx, fy, width, height, margin);
}

}  // namespace norvane

#endif  // NORVANE_GEOMETRY_LINE_SEGMENT_H_
