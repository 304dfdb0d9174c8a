// Layouts that sibling modules compiled separately rely on. The checks run on every
// platform; the fixed sizes and offsets are those of the 32-bit ARM target.
#include <gtest/gtest.h>

#include <cstddef>

#include "norvane/NorvaneCore.h"

#if defined(__arm__)
static_assert(sizeof(void*) == 4, "the ARM target is 32-bit");
#if !defined(__ARM_PCS_VFP)
#error "the ARM target is built for the hard-float calling convention"
#endif
#endif

namespace norvane {
namespace {

struct Counted : TQObjectBase {};

TEST(Layout, CountedHoldersArePlainPointers) {
  static_assert(sizeof(TQRef<Counted>) == sizeof(void*), "TQRef holds one pointer");
  static_assert(sizeof(TQRef<TQObjectBase>) == sizeof(void*), "TQRef holds one pointer");
  TQRef<Counted> refs[3] = {new Counted, nullptr, new Counted};
  // A sequence of holders is an array of pointers.
  const void* const* raw = reinterpret_cast<const void* const*>(refs);
  EXPECT_EQ(raw[0], refs[0].get());
  EXPECT_EQ(raw[1], nullptr);
  EXPECT_EQ(raw[2], refs[2].get());
}

TEST(Layout, GeometryValueTypesArePacked) {
  using basic_structures::CContour;
  using basic_structures::CLineSegment;
  using basic_structures::CQuadrilateral;
  using basic_structures::CVector4;
  using basic_structures::TQPoint_;
  static_assert(sizeof(TQPoint_<int>) == 8, "x, y");
  static_assert(sizeof(CQuadrilateral) == 32, "four points, no vtable");
  static_assert(sizeof(CVector4) == 16, "four ints");
  static_assert(sizeof(CLineSegment) == sizeof(void*) + 16, "vtable pointer, start, end");
  static_assert(sizeof(CContour) == sizeof(int) + 2 * sizeof(void*), "count, points, deleter");
  static_assert(sizeof(TXP_Point) == sizeof(TQPoint_<int>), "C point mirrors TQPoint_<int>");
#if defined(__arm__)
  static_assert(sizeof(CLineSegment) == 20, "32-bit segment");
  static_assert(sizeof(CContour) == 12, "32-bit contour");
#endif
  // The start point follows the vtable pointer directly.
  CLineSegment segment(TQPoint_<int>(1, 2), TQPoint_<int>(3, 4));
  const unsigned char* raw = reinterpret_cast<const unsigned char*>(&segment);
  EXPECT_EQ(raw + sizeof(void*), reinterpret_cast<const unsigned char*>(&segment.GetStartPoint()));
  EXPECT_EQ(raw + sizeof(void*) + 8,
            reinterpret_cast<const unsigned char*>(&segment.GetEndPoint()));
}

}  // namespace
}  // namespace norvane
