#include "norvane/core/object_base.h"

namespace norvane {

TQObjectBase::~TQObjectBase() = default;

int TQObjectBase::DefaultDeleter(TQObjectBase* object) {
  delete object;
  return 0;
}

TQSingleThreadObjectBase::~TQSingleThreadObjectBase() = default;

}  // namespace norvane
