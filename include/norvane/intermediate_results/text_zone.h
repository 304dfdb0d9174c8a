// A located text region: its quadrilateral and the indices of its character contours.
// The zone owns its index array; copies copy it. Not synchronised.
#ifndef NORVANE_INTERMEDIATE_RESULTS_TEXT_ZONE_H_
#define NORVANE_INTERMEDIATE_RESULTS_TEXT_ZONE_H_

#include "norvane/basic_structures/quadrilateral.h"
#include "norvane/core/export.h"

namespace norvane {
namespace intermediate_results {

class NORVANE_API CTextZone {
 public:
  CTextZone();
  explicit CTextZone(const basic_structures::CQuadrilateral& location);
  CTextZone(const basic_structures::CQuadrilateral& location, const int* indices, int count);
  CTextZone(const CTextZone& other);
  CTextZone& operator=(const CTextZone& other);
  ~CTextZone();

  basic_structures::CQuadrilateral GetLocation() const { return location; }
  void SetLocation(const basic_structures::CQuadrilateral& quad) { location = quad; }
  // The internal array (the zone keeps it) and its count; nothing when either
  // pointer is null.
  void GetCharContoursIndices(int** indices, int* count) const;
  // Replaces the indices with a copy of `count` of them; a count below 1 or null
  // indices leave none.
  void SetCharContoursIndices(const int* indices, int count);

 private:
  basic_structures::CQuadrilateral location;
  int charContoursCount;
  int* charContoursIndices;
};

}  // namespace intermediate_results
}  // namespace norvane

#endif  // NORVANE_INTERMEDIATE_RESULTS_TEXT_ZONE_H_
