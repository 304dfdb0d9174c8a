// TQPoint_<T>: a position in image coordinates (x grows to the right, y downwards).
//
// Only TQPoint_<int> is used by the library: two 32-bit signed fields, x then y,
// with no padding, shared by value with sibling modules. A plain value; no thread
// safety beyond that of an int pair.
#ifndef NORVANE_BASIC_STRUCTURES_POINT_H_
#define NORVANE_BASIC_STRUCTURES_POINT_H_

namespace norvane {
namespace basic_structures {

#pragma pack(push, 1)
template <typename T>
class TQPoint_ {
 public:
  TQPoint_() : x(0), y(0) {}
  TQPoint_(T px, T py) : x(px), y(py) {}

  T x;
  T y;
};
#pragma pack(pop)

static_assert(sizeof(TQPoint_<int>) == 2 * sizeof(int), "points are two ints without padding");

}  // namespace basic_structures

// Exact equality of both coordinates; points have no ordering.
template <typename T>
inline bool operator==(const basic_structures::TQPoint_<T>& a,
                       const basic_structures::TQPoint_<T>& b) {
  return a.x == b.x && a.y == b.y;
}

namespace basic_structures {
using norvane::operator==;
}  // namespace basic_structures

}  // namespace norvane

#endif  // NORVANE_BASIC_STRUCTURES_POINT_H_
