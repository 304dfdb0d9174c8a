#include "norvane/log/path_helper.h"

#include <dirent.h>
#include <dlfcn.h>
#include <errno.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

namespace norvane {
namespace {

constexpr unsigned kModeDirectoryBit = 0x4000;
constexpr unsigned kModeRegularBit = 0x8000;
constexpr size_t kExePathBufferSize = 512;

// The text up to and including the last '/', or empty when there is none.
std::string DirectoryOf(const char* path) {
  const char* slash = std::strrchr(path, '/');
  if (slash == nullptr) return std::string();
  return std::string(path, static_cast<size_t>(slash - path) + 1);
}

// The file this library was loaded from, as the dynamic loader names it; null when
// the loader does not know.
const char* LoadedLibraryFileName() {
  Dl_info info;
  std::memset(&info, 0, sizeof(info));
  if (dladdr(reinterpret_cast<void*>(&PathHelper::GetTKRDLLDirectory), &info) == 0) {
    return nullptr;
  }
  return info.dli_fname;
}

void ListFiles(const std::string& directory, bool recursive, const char* filter,
               TQVector<std::string>* out) {
  DIR* dir = opendir(directory.c_str());
  if (dir == nullptr) {
    std::perror("opendir");
    return;
  }
  bool useFilter = filter != nullptr && filter[0] != '\0';
  while (struct dirent* entry = readdir(dir)) {
    const char* name = entry->d_name;
    if (std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0) continue;
    std::string path = directory + "/" + name;
    if (entry->d_type == DT_DIR) {
      if (recursive) ListFiles(path, recursive, filter, out);
    } else if (entry->d_type == DT_REG) {
      if ((useFilter && path.find(filter) != std::string::npos) ||
          std::strchr(name, '.') != nullptr) {
        out->push_back(path);
      }
    }
  }
  closedir(dir);
}

}  // namespace

int PathHelper::JudgePathType(const char* path) {
  if (path == nullptr) return PT_OTHER;
  struct stat info;
  if (stat(path, &info) != 0) return errno == ENOENT ? PT_NOT_FOUND : PT_OTHER;
  unsigned mode = static_cast<unsigned>(info.st_mode);
  if ((mode & kModeDirectoryBit) != 0) return PT_DIRECTORY;
  if ((mode & kModeRegularBit) != 0) return PT_FILE;
  return PT_OTHER;
}

bool PathHelper::IsPDFFile(const char* path) {
  if (path == nullptr) return false;
  FILE* file = std::fopen(path, "rb");
  if (file == nullptr) return false;
  unsigned char head[4] = {0, 0, 0, 0};
  size_t read = std::fread(head, 1, sizeof(head), file);
  std::fclose(file);
  return read == sizeof(head) && std::memcmp(head, "%PDF", 4) == 0;
}

bool PathHelper::IsPDFFile(const unsigned char* data, int size) {
  if (data == nullptr || size < 4) return false;
  return data[0] == '%' && data[1] == 'P' && data[2] == 'D' && data[3] == 'F';
}

bool PathHelper::GetINIPath(const std::string& fileName, const std::string&, std::string& out) {
  out = "/etc/" + fileName;
  return true;
}

bool PathHelper::GetEXEDirectory(std::string& out) {
  char path[kExePathBufferSize] = {0};
  ssize_t length = readlink("/proc/self/exe", path, sizeof(path) - 1);
  // A path that fills the buffer may have been cut: no directory is better than a
  // wrong one.
  if (length <= 0 || static_cast<size_t>(length) >= sizeof(path) - 1) {
    out.clear();
    return true;
  }
  out = DirectoryOf(path);
  return true;
}

bool PathHelper::GetDLLDirectory(const std::string&, std::string& out) {
  const char* fileName = LoadedLibraryFileName();
  if (fileName == nullptr) return false;
  std::string directory = DirectoryOf(fileName);
  if (directory.empty()) return false;
  out = directory;
  return true;
}

bool PathHelper::GetDLLDirectory(const std::string& libraryName, TQSafeString& out) {
  std::string directory;
  if (!GetDLLDirectory(libraryName, directory)) return false;
  out.assign(directory);
  return true;
}

bool PathHelper::GetTKRDLLDirectory(std::string& out) {
  return GetDLLDirectory("NorvaneKestrel", out);
}

std::string PathHelper::GetFileNameFromFilePath(std::string& path) {
  std::string name = path;
  size_t separator = name.find_last_of("\\/");
  if (separator != std::string::npos) name.erase(0, separator + 1);
  size_t dot = name.rfind('.');
  if (dot != std::string::npos) name.erase(dot);
  return name;
}

TQRef<TQVector<std::string>> GetAllFiles(const std::string& directory, bool recursive,
                                         const char* filter) {
  TQRef<TQVector<std::string>> files(new TQVector<std::string>());
  std::string normalized = directory;
  for (char& c : normalized) {
    if (c == '\\') c = '/';
  }
  ListFiles(normalized, recursive, filter, files.get());
  return files;
}

}  // namespace norvane
