// Which intermediate results a receiver wants to see.
//
// CObservationParametersImp filters by unit type (a 64-bit mask, all types at first)
// and by task name (no names: every task), and keeps a mask of types that are only
// for input, which sibling modules act on. Its function and time marks are bits that
// any thread may set (never clear) and read at once. The masks and the task set are
// set up before processing starts and are not locked.
//
// CAbstractIntermediateResultReceiver is the base of receivers; it owns its filter.
#ifndef NORVANE_INTERMEDIATE_RESULTS_OBSERVATION_PARAMETERS_H_
#define NORVANE_INTERMEDIATE_RESULTS_OBSERVATION_PARAMETERS_H_

#include <atomic>
#include <set>
#include <string>

#include "norvane/core/export.h"
#include "norvane/intermediate_results/intermediate_result_unit.h"

namespace norvane {
namespace intermediate_results {

class NORVANE_API CObservationParameters {
 public:
  virtual ~CObservationParameters();
  virtual void SetObservedResultUnitTypes(unsigned long long types) = 0;
  virtual unsigned long long GetObservedResultUnitTypes() const = 0;
  virtual bool IsResultUnitTypeObserved(IntermediateResultUnitType type) const = 0;
  virtual void AddObservedTask(const char* taskName) = 0;
  virtual void RemoveObservedTask(const char* taskName) = 0;
  virtual bool IsTaskObserved(const char* taskName) const = 0;
  virtual void SetResultUnitTypesOnlyForInput(unsigned long long types) = 0;
  virtual unsigned long long GetResultUnitTypesOnlyForInput() const = 0;
  virtual bool IsResultUnitTypeOnlyForInput(IntermediateResultUnitType type) const = 0;
};

class NORVANE_API CObservationParametersImp : public CObservationParameters {
 public:
  CObservationParametersImp();
  ~CObservationParametersImp() override;

  void SetObservedResultUnitTypes(unsigned long long types) override;
  unsigned long long GetObservedResultUnitTypes() const override;
  bool IsResultUnitTypeObserved(IntermediateResultUnitType type) const override;
  // Null is ignored; a name already present stays once.
  void AddObservedTask(const char* taskName) override;
  void RemoveObservedTask(const char* taskName) override;
  // True for every task while no name is set; otherwise whether the name is set.
  bool IsTaskObserved(const char* taskName) const override;
  void SetResultUnitTypesOnlyForInput(unsigned long long types) override;
  unsigned long long GetResultUnitTypesOnlyForInput() const override;
  bool IsResultUnitTypeOnlyForInput(IntermediateResultUnitType type) const override;

  // OR the bits into the mark (bits are never cleared).
  void SetFunctionMark(unsigned long long bits);
  void SetTimeMark(unsigned long long bits);
  // (mark & mask), from one atomic read.
  unsigned long long GetFunctionMark(unsigned long long mask) const;
  unsigned long long GetTimeMark(unsigned long long mask) const;

 private:
  unsigned long long observedResultUnitTypes;
  std::set<std::string> observedTasks;
  unsigned long long resultUnitTypesOnlyForInput;
  std::atomic<unsigned long long> functionMark;
  std::atomic<unsigned long long> timeMark;
};

class NORVANE_API CAbstractIntermediateResultReceiver {
 public:
  CAbstractIntermediateResultReceiver();
  virtual ~CAbstractIntermediateResultReceiver();
  CAbstractIntermediateResultReceiver(const CAbstractIntermediateResultReceiver&) = delete;
  CAbstractIntermediateResultReceiver& operator=(const CAbstractIntermediateResultReceiver&) =
      delete;

  // A unit that passed the filter.
  virtual void OnIntermediateResultUnitReceived(CIntermediateResultUnit* unit) = 0;
  // A task of the run started or finished.
  virtual void OnTaskStarted(const char* taskName) = 0;
  virtual void OnTaskFinished(const char* taskName) = 0;

  // The receiver's filter; the receiver keeps ownership.
  CObservationParameters* GetObservationParameters() { return observationParameters; }

 private:
  CObservationParameters* observationParameters;
};

}  // namespace intermediate_results
}  // namespace norvane

#endif  // NORVANE_INTERMEDIATE_RESULTS_OBSERVATION_PARAMETERS_H_
