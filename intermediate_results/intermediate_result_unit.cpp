#include "norvane/intermediate_results/intermediate_result_unit.h"

#include <cstring>

#include "norvane/basic_structures/transform_matrix.h"
#include "norvane/core/error_codes.h"

namespace norvane {
namespace intermediate_results {

CIntermediateResultUnit::CIntermediateResultUnit()
    : hashId(nullptr), originalImageHashId(nullptr), originalImageTag(nullptr) {
  ResetTransformMatrix(firstTransform);
  ResetTransformMatrix(secondTransform);
}

CIntermediateResultUnit::~CIntermediateResultUnit() {
  TQ_DeleteCharArray(&hashId);
  TQ_DeleteCharArray(&originalImageHashId);
  delete originalImageTag;
}

void CIntermediateResultUnit::SetHashId(const char* id) {
  TQ_DeleteCharArray(&hashId);
  TQ_CopyCharArray(id, &hashId);
}

void CIntermediateResultUnit::SetOriginalImageHashId(const char* id) {
  TQ_DeleteCharArray(&originalImageHashId);
  TQ_CopyCharArray(id, &originalImageHashId);
}

void CIntermediateResultUnit::SetOriginalImageTag(const basic_structures::CImageTag* tag) {
  if (tag == nullptr || tag == originalImageTag) return;
  basic_structures::CImageTag* clone = tag->Clone();
  delete originalImageTag;
  originalImageTag = clone;
}

void CIntermediateResultUnit::SetTransformMatrix(TransformMatrixType type, const double matrix[9]) {
  switch (type) {
    case TMT_FIRST:
      std::memcpy(firstTransform, matrix, sizeof(firstTransform));
      break;
    case TMT_FIRST_INVERSE:
      InvertTransformMatrix(matrix, firstTransform);
      break;
    case TMT_SECOND:
      std::memcpy(secondTransform, matrix, sizeof(secondTransform));
      break;
    case TMT_SECOND_INVERSE:
      InvertTransformMatrix(matrix, secondTransform);
      break;
  }
}

void CIntermediateResultUnit::GetTransformMatrix(TransformMatrixType type, double matrix[9]) const {
  switch (type) {
    case TMT_FIRST:
      std::memcpy(matrix, firstTransform, sizeof(firstTransform));
      break;
    case TMT_FIRST_INVERSE:
      InvertTransformMatrix(firstTransform, matrix);
      break;
    case TMT_SECOND:
      std::memcpy(matrix, secondTransform, sizeof(secondTransform));
      break;
    case TMT_SECOND_INVERSE:
      InvertTransformMatrix(secondTransform, matrix);
      break;
  }
}

}  // namespace intermediate_results
}  // namespace norvane
