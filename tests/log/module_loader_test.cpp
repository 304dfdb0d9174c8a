// Loads the real sibling module libNorvaneTestModule.so through the shared library,
// so that "beside the library" and "beside the executable" are different places.
#include "norvane/log/module_loader.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "norvane/log/path_helper.h"

namespace norvane {
namespace {

namespace fs = std::filesystem;
typedef int (*ValueFunction)();

const char kModule[] = "NorvaneTestModule";
const char kFunction[] = "NorvaneTestModuleValue";

int CallValue(void* function) {
  return function == nullptr ? -1 : reinterpret_cast<ValueFunction>(function)();
}

// True when the file at `path` is loaded in this process (takes no reference).
bool IsLoaded(const std::string& path) {
  void* handle = dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD);
  if (handle != nullptr) dlclose(handle);
  return handle != nullptr;
}

std::string LibraryDirectory() {
  std::string directory;
  EXPECT_TRUE(PathHelper::GetDLLDirectory("", directory));
  return directory;
}
std::string ExecutableDirectory() {
  std::string directory;
  EXPECT_TRUE(PathHelper::GetEXEDirectory(directory));
  return directory;
}

// Copies of the module put beside the library and the executable for one test.
struct StagedCopies {
  StagedCopies() {
    fs::copy_file(NORVANE_TEST_MODULE_COPY1, besideLibrary, fs::copy_options::overwrite_existing);
    fs::copy_file(NORVANE_TEST_MODULE_COPY2, besideExecutable,
                  fs::copy_options::overwrite_existing);
  }
  ~StagedCopies() {
    std::error_code ignored;
    fs::remove(besideLibrary, ignored);
    fs::remove(besideExecutable, ignored);
  }
  const std::string besideLibrary = LibraryDirectory() + "libNorvaneTestModule.so";
  const std::string besideExecutable = ExecutableDirectory() + "libNorvaneTestModule.so";
};

TEST(PathHelper, LibraryDirectoryIsWhereTheSharedLibraryLies) {
  std::string directory = LibraryDirectory();
  ASSERT_FALSE(directory.empty());
  EXPECT_EQ(directory.back(), '/');
  EXPECT_TRUE(fs::equivalent(directory, fs::path(NORVANE_CORE_LIBRARY).parent_path()));
  TQSafeString safe;  // the other flavours give the same
  std::string tkr = "unchanged";
  EXPECT_TRUE(PathHelper::GetDLLDirectory("ignored", safe) && PathHelper::GetTKRDLLDirectory(tkr));
  EXPECT_EQ(safe.c_str() + std::string("|") + tkr, directory + "|" + directory);
  EXPECT_FALSE(fs::equivalent(directory, ExecutableDirectory()));
}

TEST(ModuleLoader, PrefersLibraryDirectoryThenExecutableDirectoryThenSearch) {
  StagedCopies copies;
  // Copy 1 beside the library wins; once removed, copy 2 beside the executable; then 3.
  for (const std::string* staged : {&copies.besideLibrary, &copies.besideExecutable}) {
    {
      TQModuleLoaderBaseAuto loader;
      void* function = loader.DynamicLoadDllFunc(kModule, kFunction);
      EXPECT_EQ(CallValue(function), staged == &copies.besideLibrary ? 1 : 2);
      EXPECT_EQ(loader.DynamicLoadDllFunc(kModule, kFunction), function);  // recorded once
      EXPECT_EQ(loader.DynamicLoadDllFunc(kModule, "NoSuchFunction"), nullptr);
      EXPECT_TRUE(IsLoaded(*staged));
    }
    // The loader closed its handle, so the copy can be replaced by the next in line.
    ASSERT_FALSE(IsLoaded(*staged));
    fs::remove(*staged);
  }
  {
    TQModuleLoaderBaseAuto loader;
    EXPECT_EQ(CallValue(loader.DynamicLoadDllFunc(kModule, kFunction)), 3);
    // The caller-owned flavour follows the same order and leaves the map alone.
    TQModuleLoaderBase base;
    void* handle = nullptr;
    EXPECT_EQ(base.LoadModule(kModule, handle), 0);
    ASSERT_NE(handle, nullptr);
    EXPECT_EQ(CallValue(dlsym(handle, kFunction)), 3);
    base.releaseModule(handle);
    EXPECT_NE(handle, nullptr);  // the caller's variable keeps its value

    void* missing = nullptr;
    EXPECT_EQ(base.LoadModule("NorvaneNoSuchModule", missing, 7, true, "unused"), -1);
    EXPECT_EQ(missing, nullptr);
    EXPECT_EQ(loader.DynamicLoadDllFunc("NorvaneNoSuchModule", kFunction), nullptr);
    EXPECT_EQ(loader.DynamicLoadDllFunc(nullptr, kFunction), nullptr);
  }
}

TEST(ModuleLoader, LoadModuleFuncRecordsLibraryPathsUntilDestroyed) {
  const std::string path = NORVANE_TEST_MODULE_COPY2;
  {
    TQModuleLoaderBase loader;
    void* function = loader.loadModuleFunc(path.c_str(), kFunction);
    EXPECT_EQ(CallValue(function), 2);
    EXPECT_EQ(loader.loadModuleFunc(path.c_str(), kFunction), function);
    EXPECT_EQ(loader.loadModuleFunc(path.c_str(), "NoSuchFunction"), nullptr);
    EXPECT_EQ(loader.loadModuleFunc("/nonexistent/libX.so", kFunction), nullptr);
    EXPECT_TRUE(IsLoaded(path));
  }
  // One dlopen was recorded and closed: nothing keeps the module.
  EXPECT_FALSE(IsLoaded(path));

  TQModuleLoaderBase loader;
  void* handle = nullptr;
  EXPECT_EQ(CallValue(loader.loadModuleFunc(path.c_str(), kFunction, handle)), 2);
  ASSERT_NE(handle, nullptr);
  void* same = handle;
  EXPECT_NE(loader.loadModuleFunc(nullptr, kFunction, handle), nullptr);  // opened already
  EXPECT_EQ(handle, same);
  loader.releaseModule(handle);
  EXPECT_FALSE(IsLoaded(path));
  void* failed = nullptr;
  EXPECT_EQ(loader.loadModuleFunc("/nonexistent/libX.so", kFunction, failed), nullptr);
  EXPECT_EQ(failed, nullptr);
  loader.releaseModule(failed);
}

TEST(ModuleLoader, RacingThreadsLoadAModuleOnce) {
  constexpr int kThreads = 6;
  std::vector<void*> automatic(kThreads), shared(kThreads);
  void* sharedHandle = nullptr;
  {
    TQModuleLoaderBaseAuto loader;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
      threads.emplace_back([&, t] {
        automatic[t] = loader.DynamicLoadDllFunc(kModule, kFunction);
        shared[t] = loader.DynamicLoadDllFunc(sharedHandle, kModule, kFunction);
      });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(std::set<void*>(automatic.begin(), automatic.end()).size(), 1u);
    EXPECT_EQ(std::set<void*>(shared.begin(), shared.end()).size(), 1u);
    EXPECT_EQ(CallValue(automatic[0]), 3);
    ASSERT_NE(sharedHandle, nullptr);
    loader.releaseModule(sharedHandle);                // the caller's one reference
    EXPECT_TRUE(IsLoaded(NORVANE_TEST_MODULE_COPY3));  // the loader's own reference remains
  }
  // Exactly one reference each: after both are given back the module is gone.
  EXPECT_FALSE(IsLoaded(NORVANE_TEST_MODULE_COPY3));
}

}  // namespace
}  // namespace norvane
