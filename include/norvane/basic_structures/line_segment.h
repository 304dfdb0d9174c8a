// CLineSegment: the public segment between two integer points.
//
// Polymorphic so that derived classes can keep data computed from the end points:
// SetStartPoint/SetEndPoint call the virtual Init() hook after storing the point;
// the constructors, operator= and the writable accessors do not. Its layout (the
// vtable pointer, then start and end) is shared with sibling modules.
#ifndef NORVANE_BASIC_STRUCTURES_LINE_SEGMENT_H_
#define NORVANE_BASIC_STRUCTURES_LINE_SEGMENT_H_

#include "norvane/basic_structures/point.h"
#include "norvane/core/export.h"

namespace norvane {
namespace basic_structures {

#pragma pack(push, 1)
class NORVANE_API CLineSegment {
 public:
  CLineSegment() {}
  CLineSegment(const TQPoint_<int>& start, const TQPoint_<int>& end)
      : startPoint(start), endPoint(end) {}
  CLineSegment(const CLineSegment& other) = default;
  CLineSegment& operator=(const CLineSegment& other) {
    startPoint = other.startPoint;
    endPoint = other.endPoint;
    return *this;
  }

  // Recomputes data derived from the end points; nothing to do in this class.
  virtual void Init();
  virtual ~CLineSegment();

  void SetStartPoint(const TQPoint_<int>& point);
  void SetEndPoint(const TQPoint_<int>& point);

  const TQPoint_<int>& GetStartPoint() const { return startPoint; }
  const TQPoint_<int>& GetEndPoint() const { return endPoint; }
  // Writable access that bypasses Init(); the caller refreshes derived data.
  TQPoint_<int>& GetStartPoint() { return startPoint; }
  TQPoint_<int>& GetEndPoint() { return endPoint; }

 protected:
  TQPoint_<int> startPoint;
  TQPoint_<int> endPoint;
};
#pragma pack(pop)

}  // namespace basic_structures
}  // namespace norvane

#endif  // NORVANE_BASIC_STRUCTURES_LINE_SEGMENT_H_
