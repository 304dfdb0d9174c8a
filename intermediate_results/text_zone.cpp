#include "norvane/intermediate_results/text_zone.h"

#include <algorithm>
#include <cstddef>

namespace norvane {
namespace intermediate_results {

CTextZone::CTextZone() : charContoursCount(0), charContoursIndices(nullptr) {}

CTextZone::CTextZone(const basic_structures::CQuadrilateral& quad)
    : location(quad), charContoursCount(0), charContoursIndices(nullptr) {}

CTextZone::CTextZone(const basic_structures::CQuadrilateral& quad, const int* indices, int count)
    : location(quad), charContoursCount(0), charContoursIndices(nullptr) {
  SetCharContoursIndices(indices, count);
}

CTextZone::CTextZone(const CTextZone& other)
    : location(other.location), charContoursCount(0), charContoursIndices(nullptr) {
  SetCharContoursIndices(other.charContoursIndices, other.charContoursCount);
}

CTextZone& CTextZone::operator=(const CTextZone& other) {
  if (this != &other) {
    location = other.location;
    SetCharContoursIndices(other.charContoursIndices, other.charContoursCount);
  }
  return *this;
}

CTextZone::~CTextZone() { delete[] charContoursIndices; }

void CTextZone::GetCharContoursIndices(int** indices, int* count) const {
  if (indices == nullptr || count == nullptr) return;
  *indices = charContoursIndices;
  *count = charContoursCount;
}

void CTextZone::SetCharContoursIndices(const int* indices, int count) {
  int* copy = nullptr;
  if (count >= 1 && indices != nullptr) {
    copy = new int[static_cast<size_t>(count)];
    std::copy(indices, indices + count, copy);
  } else {
    count = 0;
  }
  delete[] charContoursIndices;
  charContoursIndices = copy;
  charContoursCount = count;
}

}  // namespace intermediate_results
}  // namespace norvane
