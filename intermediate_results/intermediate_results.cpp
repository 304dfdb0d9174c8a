#include <algorithm>
#include <cstring>

#include "norvane/basic_structures/transform_matrix.h"
#include "norvane/core/error_codes.h"
#include "norvane/intermediate_results/intermediate_result_unit.h"
#include "norvane/intermediate_results/observation_parameters.h"
#include "norvane/intermediate_results/text_zone.h"

namespace norvane {
namespace intermediate_results {

// --- CIntermediateResultUnit ---

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

// --- observation parameters ---

CObservationParameters::~CObservationParameters() = default;

CObservationParametersImp::CObservationParametersImp()
    : observedResultUnitTypes(~0ull), resultUnitTypesOnlyForInput(0), functionMark(0), timeMark(0) {}

CObservationParametersImp::~CObservationParametersImp() = default;

void CObservationParametersImp::SetObservedResultUnitTypes(unsigned long long types) {
  observedResultUnitTypes = types;
}

unsigned long long CObservationParametersImp::GetObservedResultUnitTypes() const {
  return observedResultUnitTypes;
}

bool CObservationParametersImp::IsResultUnitTypeObserved(IntermediateResultUnitType type) const {
  return (type & observedResultUnitTypes) != 0;
}

void CObservationParametersImp::AddObservedTask(const char* taskName) {
  if (taskName != nullptr) observedTasks.insert(taskName);
}

void CObservationParametersImp::RemoveObservedTask(const char* taskName) {
  if (taskName != nullptr) observedTasks.erase(taskName);
}

bool CObservationParametersImp::IsTaskObserved(const char* taskName) const {
  if (observedTasks.empty()) return true;
  return taskName != nullptr && observedTasks.count(taskName) != 0;
}

void CObservationParametersImp::SetResultUnitTypesOnlyForInput(unsigned long long types) {
  resultUnitTypesOnlyForInput = types;
}

unsigned long long CObservationParametersImp::GetResultUnitTypesOnlyForInput() const {
  return resultUnitTypesOnlyForInput;
}

bool CObservationParametersImp::IsResultUnitTypeOnlyForInput(IntermediateResultUnitType type) const {
  return (type & resultUnitTypesOnlyForInput) != 0;
}

namespace {
void OrInto(std::atomic<unsigned long long>& mark, unsigned long long bits) {
  unsigned long long old = mark.load();
  while (!mark.compare_exchange_weak(old, old | bits)) {
  }
}
}  // namespace

void CObservationParametersImp::SetFunctionMark(unsigned long long bits) { OrInto(functionMark, bits); }
void CObservationParametersImp::SetTimeMark(unsigned long long bits) { OrInto(timeMark, bits); }

unsigned long long CObservationParametersImp::GetFunctionMark(unsigned long long mask) const {
  return functionMark.load() & mask;
}

unsigned long long CObservationParametersImp::GetTimeMark(unsigned long long mask) const {
  return timeMark.load() & mask;
}

CAbstractIntermediateResultReceiver::CAbstractIntermediateResultReceiver()
    : observationParameters(new CObservationParametersImp) {}

CAbstractIntermediateResultReceiver::~CAbstractIntermediateResultReceiver() {
  delete observationParameters;
}

// --- CTextZone ---

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
