#include "module_library.h"

#include <dirent.h>
#include <dlfcn.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <set>

namespace norvane {
namespace router {
namespace {

bool IsRegularFile(const std::string& path) {
  struct stat info;
  return stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode);
}

// The folder of this library, with its trailing '/'; empty when unknown.
std::string RouterDirectory() {
  Dl_info info;
  if (dladdr(reinterpret_cast<void*>(&RouterDirectory), &info) == 0 || info.dli_fname == nullptr)
    return std::string();
  const std::string file = info.dli_fname;
  const size_t slash = file.rfind('/');
  return slash == std::string::npos ? std::string() : file.substr(0, slash + 1);
}

std::string LastError() {
  const char* error = dlerror();
  return error != nullptr ? error : "unknown reason";
}

}  // namespace

std::vector<std::string> ModuleLibrary::SearchPath() {
  std::vector<std::string> folders;
  const char* variable = std::getenv("NORVANE_MODULE_PATH");
  if (variable != nullptr) {
    const std::string list = variable;
    for (size_t begin = 0; begin <= list.size();) {
      const size_t end = std::min(list.find(':', begin), list.size());
      if (end > begin) folders.push_back(list.substr(begin, end - begin));
      begin = end + 1;
    }
  }
  const std::string own = RouterDirectory();
  if (!own.empty()) {
    folders.push_back(own + "norvane/modules");
    folders.push_back(own + "../modules");
  }
  return folders;
}

std::vector<std::string> ModuleLibrary::Available() {
  std::set<std::string> names;
  for (const std::string& folder : SearchPath()) {
    DIR* dir = opendir(folder.c_str());
    if (dir == nullptr) continue;
    while (const dirent* entry = readdir(dir)) {
      const std::string file = entry->d_name;
      if (file.size() > 6 && file.compare(0, 3, "lib") == 0 &&
          file.compare(file.size() - 3, 3, ".so") == 0 && IsRegularFile(folder + "/" + file)) {
        names.insert(file.substr(3, file.size() - 6));
      }
    }
    closedir(dir);
  }
  return std::vector<std::string>(names.begin(), names.end());
}

int ModuleLibrary::Load(const std::string& name, std::string* message) {
  const bool plainName = !name.empty() && name.find('/') == std::string::npos;
  void* version = nullptr;
  if (plainName) {
    for (const std::string& folder : SearchPath()) {
      const std::string candidate = folder + "/lib" + name + ".so";
      if (!IsRegularFile(candidate)) continue;
      path_ = candidate;
      version = loader_.loadModuleFunc(candidate.c_str(), capture::kInterfaceVersionName);
      break;
    }
    if (path_.empty()) {
      version = loader_.DynamicLoadDllFunc(name.c_str(), capture::kInterfaceVersionName);
      if (version != nullptr) path_ = "lib" + name + ".so";
    }
  }
  if (version == nullptr) {
    std::string known;
    for (const std::string& module : Available()) known += (known.empty() ? "" : ", ") + module;
    if (path_.empty()) {
      *message = "unknown module '" + name + "' (modules found: " +
                 (known.empty() ? std::string("none") : known) +
                 "; NORVANE_MODULE_PATH adds folders)";
    } else {
      *message = "cannot use " + path_ + " as a module: " + LastError() +
                 " (a module defines its entry points with NORVANE_CAPTURE_MODULE)";
    }
    return -10065;
  }
  const int built = reinterpret_cast<capture::InterfaceVersionFunction>(version)();
  if (built != capture::kInterfaceVersion) {
    *message = path_ + " was built against module interface " + std::to_string(built) +
               ", this router has interface " + std::to_string(capture::kInterfaceVersion) +
               ": rebuild the module";
    return -10038;
  }
  create_ = reinterpret_cast<capture::CreateModuleFunction>(
      path_.find('/') != std::string::npos
          ? loader_.loadModuleFunc(path_.c_str(), capture::kCreateModuleName)
          : loader_.DynamicLoadDllFunc(name.c_str(), capture::kCreateModuleName));
  if (create_ == nullptr) {
    *message = path_ + " has no entry point " + capture::kCreateModuleName;
    return -10065;
  }
  return 0;
}

}  // namespace router
}  // namespace norvane
