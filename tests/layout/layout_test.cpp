// Layouts that sibling modules compiled separately rely on. The checks run on every
// platform; the fixed sizes and offsets are those of the 32-bit ARM target.
#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>

#include "norvane/NorvaneCore.h"

using norvane::basic_structures::CImageData;
using norvane::basic_structures::CRect;
using norvane::basic_structures::CVideoFrameTag;

// The C image record: 44 bytes on the 32-bit target, fields at fixed offsets.
static_assert(offsetof(TXP_ImageData, bytesLength) == 0, "");
static_assert(offsetof(TXP_ImageData, bytes) == 8, "");
static_assert(offsetof(TXP_ImageData, width) == 8 + sizeof(void*), "");
static_assert(sizeof(TXP_ImageData) == 8 + 4 * sizeof(void*) + 5 * 4, "no padding");
#if defined(__arm__)
static_assert(sizeof(TXP_ImageData) == 44, "");
static_assert(offsetof(TXP_ImageData, width) == 12 && offsetof(TXP_ImageData, height) == 16 &&
                  offsetof(TXP_ImageData, stride) == 20 && offsetof(TXP_ImageData, format) == 24 &&
                  offsetof(TXP_ImageData, orientation) == 28 && offsetof(TXP_ImageData, tag) == 32 &&
                  offsetof(TXP_ImageData, userData) == 36 && offsetof(TXP_ImageData, release) == 40,
              "");
static_assert(sizeof(CImageData) == 44, "vtable pointer + the packed members");
#endif

// Packed public classes: the members follow each other with no padding at all.
static_assert(sizeof(CRect) == 16, "");
static_assert(sizeof(CImageData) == sizeof(void*) + 8 + sizeof(void*) + 5 * 4 + 2 * sizeof(void*),
              "");
static_assert(sizeof(CVideoFrameTag) == sizeof(void*) + 4 + 4 + 4 + 1 + sizeof(void*) + 4 + 4, "");
static_assert(sizeof(TXP_Rect) == sizeof(CRect), "the C rectangle mirrors CRect");

// The image-source adapter: a virtual table, its inner object and its listener.
static_assert(sizeof(norvane::basic_structures::CImageSourceAdapter) == 3 * sizeof(void*), "");
// The C adapter handle: a reserved word, then the adapter.
static_assert(offsetof(TXP_ImageSourceAdapterHandle, adapter) == 4, "");
static_assert(sizeof(TXP_ImageSourceAdapterHandle) == 4 + sizeof(void*), "");
#if defined(__arm__)
static_assert(sizeof(TXP_ImageSourceAdapterHandle) == 8, "");
#endif

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

// The log, its INI reader and the module loader are derived from and embedded by
// sibling modules: their sizes on the target follow from the field lists.
TEST(Layout, LogAndLoaderObjects) {
  static_assert(sizeof(LogMode) == sizeof(int), "LogMode is stored as an int");
  static_assert(sizeof(std::atomic<int>) == sizeof(int), "atomic fields keep the int layout");
#if defined(__arm__)
  static_assert(sizeof(SyncObject) == 24, "a pthread mutex");
  // vptr, path, section map.
  static_assert(sizeof(INI_IO) == 4 + 24 + 24, "INI_IO layout");
  // vptr, SyncObject, library and executable directories, module map.
  static_assert(sizeof(TQModuleLoaderBase) == 4 + 24 + 24 + 24 + 24, "loader layout");
  static_assert(sizeof(TQModuleLoaderBaseAuto) == sizeof(TQModuleLoaderBase), "no own fields");
  // SyncObject, five strings, four ints, deque, vector (212 bytes), 4 bytes of padding
  // before the 8-aligned Json::Value (24), the image name.
  static_assert(sizeof(Json::Value) == 24 && alignof(Json::Value) == 8, "JsonCpp's value");
  static_assert(sizeof(TQLog) == 24 + 5 * 24 + 4 * 4 + 40 + 12 + 4 + 24 + 24, "TQLog layout");
  static_assert(sizeof(TQSafeString) == 24, "one std::string");
#endif
  EXPECT_EQ(PT_FILE, 0);
  EXPECT_EQ(PT_DIRECTORY, 1);
  EXPECT_EQ(PT_OTHER, 2);
  EXPECT_EQ(PT_NOT_FOUND, 3);
  EXPECT_EQ(LOG_MODE_IMAGE | LOG_MODE_TEXT, 3);
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
