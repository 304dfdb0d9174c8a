// Small file-system questions the library asks: where this library and the
// running executable lie, what kind of thing a path names, whether a file is a PDF
// document, where the log configuration lives; and GetAllFiles, which lists the
// files of a directory tree. All operations are stateless and thread-safe.
#ifndef NORVANE_LOG_PATH_HELPER_H_
#define NORVANE_LOG_PATH_HELPER_H_

#include <string>

#include "norvane/core/export.h"
#include "norvane/core/object_base.h"
#include "norvane/core/safe_string.h"
#include "norvane/core/tq_vector.h"

namespace norvane {

// The answers of PathHelper::JudgePathType.
enum PathType {
  PT_FILE = 0,       // a regular file
  PT_DIRECTORY = 1,  // a directory (and anything else whose mode has bit 0x4000)
  PT_OTHER = 2,      // a null path, another kind of file, or a failure other than ENOENT
  PT_NOT_FOUND = 3   // the path does not exist
};

class NORVANE_API PathHelper {
 public:
  // stat() with links followed. The mode bits 0x4000 (directory) and 0x8000
  // (regular file) are tested one by one, so block devices and sockets, which
  // carry 0x4000, answer PT_DIRECTORY.
  static int JudgePathType(const char* path);
  // True when the file starts with the four bytes "%PDF".
  static bool IsPDFFile(const char* path);
  // True when `size` >= 4 and `data` starts with "%PDF".
  static bool IsPDFFile(const unsigned char* data, int size);
  // `out` = "/etc/" + `fileName`; always true.
  static bool GetINIPath(const std::string& fileName, const std::string& libraryPath,
                         std::string& out);
  // `out` = the running executable's directory with its trailing '/'; empty when
  // the executable's path is unknown or longer than 511 bytes. Always true.
  static bool GetEXEDirectory(std::string& out);
  // `out` = the directory this library was loaded from, with its trailing '/'.
  // False, leaving `out` unchanged, when the loader gives no name with a '/'.
  static bool GetDLLDirectory(const std::string& libraryName, std::string& out);
  static bool GetDLLDirectory(const std::string& libraryName, TQSafeString& out);
  static bool GetTKRDLLDirectory(std::string& out);
  // The base name of `path` without its last extension ("C:\\d\\a.b.tif" -> "a.b").
  static std::string GetFileNameFromFilePath(std::string& path);
};

// The files below `directory` ('\\' read as '/'), each as directory + "/" + name,
// in the order the file system lists them; the files of a subdirectory (when
// `recursive`) are inserted where the subdirectory is met. A regular file is
// listed when its name contains '.', or when a non-empty `filter` occurs in its
// path. Symbolic links and other kinds of entries are left out. An unreadable
// `directory` gives an empty list and a perror("opendir") message.
NORVANE_API TQRef<TQVector<std::string>> GetAllFiles(const std::string& directory, bool recursive,
                                                     const char* filter);

}  // namespace norvane

#endif  // NORVANE_LOG_PATH_HELPER_H_
