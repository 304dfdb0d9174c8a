// The public face of a result item. Sibling modules define the full interface of
// their items on top of this class; this library only stores and compares pointers
// to it (see TXPItemBase::publicItem).
#ifndef NORVANE_BASIC_STRUCTURES_CAPTURED_RESULT_ITEM_H_
#define NORVANE_BASIC_STRUCTURES_CAPTURED_RESULT_ITEM_H_

#include "norvane/core/export.h"

namespace norvane {
namespace basic_structures {

class NORVANE_API CCapturedResultItem {
 public:
  virtual ~CCapturedResultItem();
};

}  // namespace basic_structures
}  // namespace norvane

#endif  // NORVANE_BASIC_STRUCTURES_CAPTURED_RESULT_ITEM_H_
