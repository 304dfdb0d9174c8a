#include "norvane/core/core_module.h"

#include "norvane/core/error_codes.h"

namespace norvane {
namespace basic_structures {

const char* CCoreModule::GetVersion() { return TQ_GetLibVersion(); }

}  // namespace basic_structures
}  // namespace norvane
