// A file name that something other than a regular file has taken, for tests of code
// that writes to a fixed name: a FIFO that someone reads (so that an open for writing
// would succeed at once instead of waiting), a symbolic link to a file of the test's
// (the victim), a directory, and, to compare, a plain regular file.
#ifndef NORVANE_TESTS_TEST_SUPPORT_OCCUPIED_NAME_H_
#define NORVANE_TESTS_TEST_SUPPORT_OCCUPIED_NAME_H_

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "test_support/temp_dir.h"

namespace norvane {
namespace testing_util {

enum class Occupant { kRegularFile, kFifo, kLinkToFile, kDirectory };
constexpr Occupant kOccupants[] = {Occupant::kRegularFile, Occupant::kFifo, Occupant::kLinkToFile,
                                   Occupant::kDirectory};

inline const char* Describe(Occupant occupant) {
  switch (occupant) {
    case Occupant::kRegularFile: return "regular file";
    case Occupant::kFifo: return "FIFO";
    case Occupant::kLinkToFile: return "link to a file";
    default: return "directory";
  }
}

// Puts `occupant` at `path`, with the victim file `victim` beside it, and undoes it.
class OccupiedName {
 public:
  static constexpr const char* kVictimText = "untouched\n";

  OccupiedName(const std::string& path, Occupant occupant)
      : path_(path), victim_(path + ".victim"), occupant_(occupant) {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    WriteFile(victim_, kVictimText);
    switch (occupant) {
      case Occupant::kRegularFile: WriteFile(path, ""); break;
      case Occupant::kFifo:
        mkfifo(path.c_str(), 0600);
        reader_ = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
        break;
      case Occupant::kLinkToFile: std::filesystem::create_symlink(victim_, path); break;
      case Occupant::kDirectory: std::filesystem::create_directory(path); break;
    }
  }
  ~OccupiedName() {
    if (reader_ >= 0) close(reader_);
  }
  OccupiedName(const OccupiedName&) = delete;
  OccupiedName& operator=(const OccupiedName&) = delete;

  // Empty when the occupant is as it was and nothing was written into it or through
  // it; otherwise what went wrong. A regular file is expected to have been written.
  std::string Intrusion() const {
    if (ReadFile(victim_) != kVictimText) return "written through the link";
    struct stat status;
    if (lstat(path_.c_str(), &status) != 0) return "removed";
    switch (occupant_) {
      case Occupant::kRegularFile:
        return status.st_size > 0 ? "" : "the regular file was not written";
      case Occupant::kFifo: {
        if (!S_ISFIFO(status.st_mode)) return "the FIFO was replaced";
        // Nothing to read: end of file (no writer left) or EAGAIN (one still open).
        char byte;
        return read(reader_, &byte, 1) <= 0 ? "" : "written into the FIFO";
      }
      case Occupant::kLinkToFile: return S_ISLNK(status.st_mode) ? "" : "the link was replaced";
      default: return S_ISDIR(status.st_mode) ? "" : "the directory was replaced";
    }
  }

 private:
  std::string path_, victim_;
  Occupant occupant_;
  int reader_ = -1;
};

}  // namespace testing_util
}  // namespace norvane

#endif  // NORVANE_TESTS_TEST_SUPPORT_OCCUPIED_NAME_H_
