// The library's version, as a C++ query. Returns the same static text as
// TQ_GetLibVersion.
#ifndef NORVANE_CORE_CORE_MODULE_H_
#define NORVANE_CORE_CORE_MODULE_H_

#include "norvane/core/export.h"

namespace norvane {
namespace basic_structures {

class NORVANE_API CCoreModule {
 public:
  static const char* GetVersion();
};

}  // namespace basic_structures
}  // namespace norvane

#endif  // NORVANE_CORE_CORE_MODULE_H_
