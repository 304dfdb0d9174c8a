// Intermediate results: what inner stages of a task hand to a receiver registered by
// the application.
//
// CIntermediateResultUnit is the base of every unit: its hash id, the hash id and tag
// of the original image, and two coordinate transforms (3x3, row-major), both the
// identity at first. Only the forward matrices are stored; inverses are computed on
// each call (a singular matrix leaves the destination as it was). The unit owns its
// strings and its tag clone. Not synchronised: a unit is filled by one thread before
// it is handed out.
#ifndef NORVANE_INTERMEDIATE_RESULTS_INTERMEDIATE_RESULT_UNIT_H_
#define NORVANE_INTERMEDIATE_RESULTS_INTERMEDIATE_RESULT_UNIT_H_

#include "norvane/basic_structures/image_data.h"
#include "norvane/core/export.h"

namespace norvane {
namespace intermediate_results {

// One bit per kind of unit; the bit values are the sibling modules'.
enum IntermediateResultUnitType : unsigned long long {
  IRUT_NULL = 0,
  IRUT_ALL = 0xFFFFFFFFFFFFFFFFull,
};

enum TransformMatrixType : int {
  TMT_FIRST = 0,
  TMT_FIRST_INVERSE = 1,
  TMT_SECOND = 2,
  TMT_SECOND_INVERSE = 3,
};

class NORVANE_API CIntermediateResultUnit {
 public:
  CIntermediateResultUnit();
  virtual ~CIntermediateResultUnit();
  CIntermediateResultUnit(const CIntermediateResultUnit&) = delete;
  CIntermediateResultUnit& operator=(const CIntermediateResultUnit&) = delete;

  // The kind of unit: one bit of IntermediateResultUnitType.
  virtual IntermediateResultUnitType GetType() const = 0;
  // A new unit with the same content, owned by the caller.
  virtual CIntermediateResultUnit* Clone() const = 0;
  // How many elements the unit holds.
  virtual int GetCount() const = 0;
  // Reference counting of units handed across module boundaries.
  virtual void Retain() = 0;
  virtual void Release() = 0;

  const char* GetHashId() const { return hashId; }
  const char* GetOriginalImageHashId() const { return originalImageHashId; }
  const basic_structures::CImageTag* GetOriginalImageTag() const { return originalImageTag; }
  // Replace the owned copies (null clears).
  void SetHashId(const char* id);
  void SetOriginalImageHashId(const char* id);
  // Stores a clone of `tag` (deleting the one held); null keeps the current tag.
  void SetOriginalImageTag(const basic_structures::CImageTag* tag);
  // Stores `matrix` (or its inverse) into the chosen transform; other types do nothing.
  void SetTransformMatrix(TransformMatrixType type, const double matrix[9]);
  // Writes the chosen transform (or its inverse) into `matrix`; other types leave it.
  void GetTransformMatrix(TransformMatrixType type, double matrix[9]) const;

 protected:
  char* hashId;
  char* originalImageHashId;
  basic_structures::CImageTag* originalImageTag;
  double firstTransform[9];
  double secondTransform[9];
};

}  // namespace intermediate_results
}  // namespace norvane

#endif  // NORVANE_INTERMEDIATE_RESULTS_INTERMEDIATE_RESULT_UNIT_H_
