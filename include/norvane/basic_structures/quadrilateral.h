// CQuadrilateral: four corner points, meant to run clockwise on screen.
//
// A plain value type without a vtable; the order of the points is not enforced,
// but Contains only finds points inside a clockwise quadrilateral.
#ifndef NORVANE_BASIC_STRUCTURES_QUADRILATERAL_H_
#define NORVANE_BASIC_STRUCTURES_QUADRILATERAL_H_

#include "norvane/basic_structures/point.h"
#include "norvane/core/export.h"

namespace norvane {
namespace basic_structures {

#pragma pack(push, 1)
class NORVANE_API CQuadrilateral {
 public:
  CQuadrilateral() {}
  CQuadrilateral(const CQuadrilateral& other) { *this = other; }
  CQuadrilateral& operator=(const CQuadrilateral& other) {
    for (int i = 0; i < 4; ++i) points[i] = other.points[i];
    return *this;
  }

  // True when the point lies strictly on the inner side of all four edges of a
  // clockwise quadrilateral; points on an edge or a vertex are outside.
  bool Contains(const TQPoint_<int>* point) const;
  // The area as two Heron triangles over the diagonal points[0]-points[2], using
  // side lengths rounded to whole pixels (so small shapes come out coarse).
  int GetArea() const;

  TQPoint_<int> points[4];
};
#pragma pack(pop)

}  // namespace basic_structures
}  // namespace norvane

#endif  // NORVANE_BASIC_STRUCTURES_QUADRILATERAL_H_
