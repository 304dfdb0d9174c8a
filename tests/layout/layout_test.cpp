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

}  // namespace
}  // namespace norvane
