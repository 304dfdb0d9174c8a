// Renders a JSON value as styled text. The returned characters stay valid until the
// next call on the same converter or its destruction. Not thread-safe: use one
// converter per thread.
#ifndef NORVANE_BASIC_STRUCTURES_JSON_CONVERTER_H_
#define NORVANE_BASIC_STRUCTURES_JSON_CONVERTER_H_

#include <json/json.h>

#include <string>

#include "norvane/core/export.h"

namespace norvane {
namespace basic_structures {

class NORVANE_API JsonConverter {
 public:
  const char* GetStyledString(const Json::Value& value);

 private:
  std::string text;
};

}  // namespace basic_structures
}  // namespace norvane

#endif  // NORVANE_BASIC_STRUCTURES_JSON_CONVERTER_H_
