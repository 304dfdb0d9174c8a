#include "norvane/log/module_loader.h"

#include "norvane/core/platform.h"
#include "norvane/log/path_helper.h"

namespace norvane {

TQModuleLoaderBase::TQModuleLoaderBase() = default;

TQModuleLoaderBase::~TQModuleLoaderBase() {
  SyncObjectLock lock(&m_sync);
  for (auto& entry : modules_) FreeLibrary(entry.second);
  modules_.clear();
}

std::string TQModuleLoaderBase::GetLibraryDirectory() {
  SyncObjectLock lock(&m_sync);
  if (dllDirectory_.empty()) PathHelper::GetDLLDirectory("", dllDirectory_);
  return dllDirectory_;
}

std::string TQModuleLoaderBase::GetExecutableDirectory() {
  SyncObjectLock lock(&m_sync);
  if (exeDirectory_.empty()) PathHelper::GetEXEDirectory(exeDirectory_);
  return exeDirectory_;
}

int TQModuleLoaderBase::LoadModule(const std::string& moduleName, void*& handle, unsigned int, bool,
                                   const char*) {
  const std::string fileName = "lib" + moduleName + ".so";
  std::string directory = GetLibraryDirectory();
  if (!directory.empty()) {
    handle = LoadLibrary((directory + fileName).c_str());
    if (handle != nullptr) return 0;
  }
  directory = GetExecutableDirectory();
  if (!directory.empty()) {
    handle = LoadLibrary((directory + fileName).c_str());
    if (handle != nullptr) return 0;
  }
  handle = LoadLibrary(fileName.c_str());
  return handle != nullptr ? 0 : -1;
}

void* TQModuleLoaderBase::DynamicLoadDllFunc(void*& handle, const char* moduleName,
                                             const char* funcName, unsigned int flags,
                                             bool reserved, const char* option) {
  // Double-checked: threads sharing one handle variable load the module once. The
  // variable is read and written atomically so the unlocked first look is no race.
  void* current = __atomic_load_n(&handle, __ATOMIC_ACQUIRE);
  if (current == nullptr && moduleName != nullptr) {
    SyncObjectLock lock(&m_sync);
    current = __atomic_load_n(&handle, __ATOMIC_ACQUIRE);
    if (current == nullptr) {
      LoadModule(moduleName, current, flags, reserved, option);
      __atomic_store_n(&handle, current, __ATOMIC_RELEASE);
    }
  }
  if (current == nullptr || funcName == nullptr) return nullptr;
  return GetProcAddress(current, funcName);
}

void* TQModuleLoaderBase::loadModuleFunc(const char* libraryPath, const char* funcName) {
  if (libraryPath == nullptr || funcName == nullptr) return nullptr;
  SyncObjectLock lock(&m_sync);
  void*& handle = modules_[libraryPath];
  if (handle == nullptr) {
    handle = LoadLibrary(libraryPath);
    if (handle == nullptr) {
      modules_.erase(libraryPath);
      return nullptr;
    }
  }
  return GetProcAddress(handle, funcName);
}

void* TQModuleLoaderBase::loadModuleFunc(const char* libraryPath, const char* funcName,
                                         void*& handle) {
  if (handle == nullptr) {
    if (libraryPath == nullptr) return nullptr;
    handle = LoadLibrary(libraryPath);
  }
  if (handle == nullptr || funcName == nullptr) return nullptr;
  return GetProcAddress(handle, funcName);
}

void TQModuleLoaderBase::releaseModule(void*& handle) { FreeLibrary(handle); }

void* TQModuleLoaderBaseAuto::DynamicLoadDllFunc(const char* moduleName, const char* funcName,
                                                 unsigned int flags, bool reserved,
                                                 const char* option) {
  if (moduleName == nullptr) return nullptr;
  void* handle = nullptr;
  {
    SyncObjectLock lock(&m_sync);
    auto found = modules_.find(moduleName);
    if (found != modules_.end()) {
      handle = found->second;
    } else if (LoadModule(moduleName, handle, flags, reserved, option) == 0) {
      modules_[moduleName] = handle;
    }
  }
  if (handle == nullptr || funcName == nullptr) return nullptr;
  return GetProcAddress(handle, funcName);
}

}  // namespace norvane
