// Point and quadrilateral helpers shared by the tests that work with geometry.
#ifndef NORVANE_TESTS_TEST_SUPPORT_GEOMETRY_UTIL_H_
#define NORVANE_TESTS_TEST_SUPPORT_GEOMETRY_UTIL_H_

#include <ostream>
#include <vector>

#include "norvane/basic_structures/point.h"
#include "norvane/basic_structures/quadrilateral.h"

namespace norvane {
namespace basic_structures {

inline void PrintTo(const TQPoint_<int>& p, std::ostream* os) {
  *os << "(" << p.x << "," << p.y << ")";
}

}  // namespace basic_structures

namespace testing_util {

typedef basic_structures::TQPoint_<int> Pt;

inline std::vector<Pt> Points(std::initializer_list<std::pair<int, int>> list) {
  std::vector<Pt> out;
  for (const auto& p : list) out.push_back(Pt(p.first, p.second));
  return out;
}

inline basic_structures::CQuadrilateral CQuad(Pt a, Pt b, Pt c, Pt d) {
  basic_structures::CQuadrilateral q;
  q.points[0] = a;
  q.points[1] = b;
  q.points[2] = c;
  q.points[3] = d;
  return q;
}

}  // namespace testing_util
}  // namespace norvane

#endif  // NORVANE_TESTS_TEST_SUPPORT_GEOMETRY_UTIL_H_
