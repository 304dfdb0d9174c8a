#include "norvane/basic_structures/contour.h"

#include <utility>

namespace norvane {
namespace basic_structures {

namespace {

// The release function of arrays that copied contours allocate.
void DeleteCopiedPoints(const TQPoint_<int>* points) { delete[] points; }

}  // namespace

CContour::CContour(const CContour& other) : CContour() { *this = other; }

CContour::CContour(CContour&& other) noexcept : CContour() { *this = std::move(other); }

CContour::~CContour() {
  if (deleter != nullptr) deleter(points);
}

CContour& CContour::operator=(const CContour& other) {
  if (this == &other) return *this;
  if (deleter != nullptr) deleter(points);
  pointsCount = 0;
  points = nullptr;
  deleter = nullptr;
  if (other.pointsCount < 1) return *this;
  TQPoint_<int>* copy = new TQPoint_<int>[other.pointsCount];
  for (int i = 0; i < other.pointsCount; ++i) copy[i] = other.points[i];
  pointsCount = other.pointsCount;
  points = copy;
  deleter = &DeleteCopiedPoints;
  return *this;
}

CContour& CContour::operator=(CContour&& other) noexcept {
  if (this == &other) return *this;
  // What this contour held is deliberately not released: the caller owns that.
  pointsCount = other.pointsCount;
  points = other.points;
  deleter = other.deleter;
  other.pointsCount = 0;
  other.points = nullptr;
  other.deleter = nullptr;
  return *this;
}

void CContour::SetPoints(int count, const TQPoint_<int>* pointArray, PointsDeleter pointsDeleter) {
  pointsCount = count;
  points = pointArray;
  deleter = pointsDeleter;
}

}  // namespace basic_structures
}  // namespace norvane
