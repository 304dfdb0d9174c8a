// CContour: a counted array of points whose ownership travels with a release
// function.
//
// A contour owns its array exactly when `deleter` is set; the destructor calls
// deleter(points). SetPoints stores what it is given and releases nothing (replace an
// owned array only after releasing it). A copy always owns a fresh array released by
// the library's own function; a move hands over the three fields and does not release
// what the target held. Not thread-safe.
#ifndef NORVANE_BASIC_STRUCTURES_CONTOUR_H_
#define NORVANE_BASIC_STRUCTURES_CONTOUR_H_

#include "norvane/basic_structures/point.h"
#include "norvane/core/export.h"

namespace norvane {
namespace basic_structures {

#pragma pack(push, 1)
class NORVANE_API CContour {
 public:
  typedef void (*PointsDeleter)(const TQPoint_<int>* points);

  CContour() : pointsCount(0), points(nullptr), deleter(nullptr) {}
  CContour(const CContour& other);
  CContour(CContour&& other) noexcept;
  ~CContour();
  CContour& operator=(const CContour& other);
  CContour& operator=(CContour&& other) noexcept;

  void SetPoints(int count, const TQPoint_<int>* pointArray, PointsDeleter pointsDeleter);
  int GetPointsCount() const { return pointsCount; }
  const TQPoint_<int>* GetPoints() const { return points; }

 private:
  int pointsCount;
  const TQPoint_<int>* points;
  PointsDeleter deleter;
};
#pragma pack(pop)

}  // namespace basic_structures
}  // namespace norvane

#endif  // NORVANE_BASIC_STRUCTURES_CONTOUR_H_
