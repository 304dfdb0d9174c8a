// Helpers shared by the geometry tests.
#ifndef NORVANE_TESTS_GEOMETRY_GEOMETRY_TEST_UTIL_H_
#define NORVANE_TESTS_GEOMETRY_GEOMETRY_TEST_UTIL_H_

#include <ostream>
#include <vector>

#include "norvane/basic_structures/point.h"

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

}  // namespace testing_util
}  // namespace norvane

#endif  // NORVANE_TESTS_GEOMETRY_GEOMETRY_TEST_UTIL_H_
