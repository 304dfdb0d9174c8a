// Loading of sibling modules (separate shared libraries) at run time.
//
// A module named Foo is the file "libFoo.so". LoadModule looks for it beside this
// library first, then beside the running executable, then through the dynamic
// linker's own search (its path and cache). Handles recorded in the loader's map
// (by loadModuleFunc with a library path, by the automatic DynamicLoadDllFunc with
// a module name) are closed when the loader is destroyed; handles kept in a
// caller's variable belong to the caller, who gives them back with releaseModule.
//
// Thread safety: the map and the directory caches are guarded by the loader's lock;
// DynamicLoadDllFunc loads each module once even when threads race for it. The
// handle-taking functions leave the caller's variable to the caller.
#ifndef NORVANE_LOG_MODULE_LOADER_H_
#define NORVANE_LOG_MODULE_LOADER_H_

#include <map>
#include <string>

#include "norvane/core/export.h"
#include "norvane/core/sync_object.h"
#include "norvane/core/thread_annotations.h"

namespace norvane {

class NORVANE_API TQModuleLoaderBase {
 public:
  TQModuleLoaderBase();
  // Closes every handle recorded in the map.
  virtual ~TQModuleLoaderBase();
  TQModuleLoaderBase(const TQModuleLoaderBase&) = delete;
  TQModuleLoaderBase& operator=(const TQModuleLoaderBase&) = delete;

  // Opens "lib" + moduleName + ".so" from the first place that has it (this
  // library's directory, the executable's, the dynamic linker's search) into
  // `handle`: 0 when loaded, -1 when not. The last three arguments are accepted
  // for compatibility and not used.
  int LoadModule(const std::string& moduleName, void*& handle, unsigned int flags = 0,
                 bool reserved = false, const char* option = nullptr);
  // Loads the module into `handle` once (when it is null) and looks up `funcName`
  // in it; null when either fails.
  void* DynamicLoadDllFunc(void*& handle, const char* moduleName, const char* funcName,
                           unsigned int flags = 0, bool reserved = false,
                           const char* option = nullptr);
  // Looks up `funcName` in the library at `libraryPath`, opened once and recorded
  // in the map under that path; null when either fails.
  void* loadModuleFunc(const char* libraryPath, const char* funcName);
  // The same with the caller's own handle (opened when null), outside the map.
  void* loadModuleFunc(const char* libraryPath, const char* funcName, void*& handle);
  // Closes a caller's handle (null is ignored); the variable keeps its value.
  void releaseModule(void*& handle);

 protected:
  SyncObject m_sync;

 private:
  // Fills the directory caches on first need.
  std::string GetLibraryDirectory();
  std::string GetExecutableDirectory();

  std::string dllDirectory_ GUARDED_BY(m_sync);
  std::string exeDirectory_ GUARDED_BY(m_sync);
  std::map<std::string, void*> modules_ GUARDED_BY(m_sync);

  friend class TQModuleLoaderBaseAuto;
};

// A loader that keeps the module handles itself, recorded by module name.
class NORVANE_API TQModuleLoaderBaseAuto : public TQModuleLoaderBase {
 public:
  using TQModuleLoaderBase::DynamicLoadDllFunc;

  // Loads `moduleName` once per loader and looks up `funcName` in it; null for a
  // null module name or when loading or the lookup fails.
  void* DynamicLoadDllFunc(const char* moduleName, const char* funcName, unsigned int flags = 0,
                           bool reserved = false, const char* option = nullptr);
};

}  // namespace norvane

#endif  // NORVANE_LOG_MODULE_LOADER_H_
