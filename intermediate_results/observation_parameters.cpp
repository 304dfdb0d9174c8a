#include "norvane/intermediate_results/observation_parameters.h"

namespace norvane {
namespace intermediate_results {

CObservationParameters::~CObservationParameters() = default;

CObservationParametersImp::CObservationParametersImp()
    : observedResultUnitTypes(~0ull),
      resultUnitTypesOnlyForInput(0),
      functionMark(0),
      timeMark(0) {}

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

bool CObservationParametersImp::IsResultUnitTypeOnlyForInput(
    IntermediateResultUnitType type) const {
  return (type & resultUnitTypesOnlyForInput) != 0;
}

namespace {
void OrInto(std::atomic<unsigned long long>& mark, unsigned long long bits) {
  unsigned long long old = mark.load();
  while (!mark.compare_exchange_weak(old, old | bits)) {
  }
}
}  // namespace

void CObservationParametersImp::SetFunctionMark(unsigned long long bits) {
  OrInto(functionMark, bits);
}
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

}  // namespace intermediate_results
}  // namespace norvane
