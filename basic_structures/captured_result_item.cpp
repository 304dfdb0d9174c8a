#include "norvane/basic_structures/captured_result_item.h"

namespace norvane {
namespace basic_structures {

CCapturedResultItem::~CCapturedResultItem() = default;

}  // namespace basic_structures
}  // namespace norvane
