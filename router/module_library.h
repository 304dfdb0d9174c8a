// Finding and loading a recognition module's library by name (see
// include/norvane/router/reader.h for the module path). A ModuleLibrary keeps the
// library loaded until it is destroyed, so it must outlive the module it created.
#ifndef NORVANE_ROUTER_MODULE_LIBRARY_H_
#define NORVANE_ROUTER_MODULE_LIBRARY_H_

#include <string>
#include <vector>

#include "norvane/NorvaneCore.h"
#include "norvane/router/capture_module.h"

namespace norvane {
namespace router {

class ModuleLibrary {
 public:
  // Loads "lib" + name + ".so" from the first folder of the module path that has it,
  // else through the core library's own search, and checks its entry points. 0, or
  // -10065 with a message (no such module, or no entry point), -10038 for another
  // interface version.
  int Load(const std::string& name, std::string* message);
  // Valid after a successful Load.
  capture::CreateModuleFunction create() const { return create_; }
  const std::string& path() const { return path_; }

  // The folders searched, in order.
  static std::vector<std::string> SearchPath();
  // The module names found in them, sorted, each once.
  static std::vector<std::string> Available();

 private:
  TQModuleLoaderBaseAuto loader_;
  capture::CreateModuleFunction create_ = nullptr;
  std::string path_;
};

}  // namespace router
}  // namespace norvane

#endif  // NORVANE_ROUTER_MODULE_LIBRARY_H_
