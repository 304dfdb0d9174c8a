// Thin wrappers over the platform: interlocked counters with the contract of their
// Windows namesakes, the dynamic loader, and the calling thread's kernel id.
// All are safe to call from any thread.
#ifndef NORVANE_CORE_PLATFORM_H_
#define NORVANE_CORE_PLATFORM_H_

#include "norvane/core/export.h"

// Atomically adds 1 (sequentially consistent) and returns the new value.
NORVANE_API int InterlockedIncrement(int* target);
// Atomically subtracts 1 (sequentially consistent) and returns the new value.
NORVANE_API int InterlockedDecrement(int* target);

// dlopen with immediate binding; null on failure.
NORVANE_API void* LoadLibrary(const char* path);
// dlclose unless the handle is null.
NORVANE_API void FreeLibrary(void* handle);
// dlsym; null for a null handle.
NORVANE_API void* GetProcAddress(void* handle, const char* symbolName);
// The calling thread's kernel thread id (gettid), looked up once per thread.
NORVANE_API int GetCurrentThreadId();

#endif  // NORVANE_CORE_PLATFORM_H_
