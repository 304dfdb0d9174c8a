#include "norvane/basic_structures/line_segment.h"

namespace norvane {
namespace basic_structures {

void CLineSegment::Init() {}

CLineSegment::~CLineSegment() {}

void CLineSegment::SetStartPoint(const TQPoint_<int>& point) {
  startPoint = point;
  Init();
}

void CLineSegment::SetEndPoint(const TQPoint_<int>& point) {
  endPoint = point;
  Init();
}

}  // namespace basic_structures
}  // namespace norvane
