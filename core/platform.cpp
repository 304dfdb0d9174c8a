#include "norvane/core/platform.h"

#include <dlfcn.h>
#include <sys/syscall.h>
#include <unistd.h>

int InterlockedIncrement(int* target) { return __atomic_add_fetch(target, 1, __ATOMIC_SEQ_CST); }

int InterlockedDecrement(int* target) { return __atomic_sub_fetch(target, 1, __ATOMIC_SEQ_CST); }

void* LoadLibrary(const char* path) { return dlopen(path, RTLD_NOW); }

void FreeLibrary(void* handle) {
  if (handle != nullptr) dlclose(handle);
}

void* GetProcAddress(void* handle, const char* symbolName) {
  if (handle == nullptr) return nullptr;
  return dlsym(handle, symbolName);
}

int GetCurrentThreadId() {
  // A thread's id never changes, so the system call is made once per thread.
  thread_local const int id = static_cast<int>(syscall(SYS_gettid));
  return id;
}
