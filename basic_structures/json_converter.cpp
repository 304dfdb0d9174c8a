#include "norvane/basic_structures/json_converter.h"

namespace norvane {
namespace basic_structures {

const char* JsonConverter::GetStyledString(const Json::Value& value) {
  text = value.toStyledString();
  return text.c_str();
}

}  // namespace basic_structures
}  // namespace norvane
