// A scratch directory for one test, removed with everything in it at the end.
#ifndef NORVANE_TESTS_TEST_SUPPORT_TEMP_DIR_H_
#define NORVANE_TESTS_TEST_SUPPORT_TEMP_DIR_H_

#include <stdlib.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace norvane {
namespace testing_util {

class TempDir {
 public:
  TempDir() {
    std::string pattern = (std::filesystem::temp_directory_path() / "norvane_test_XXXXXX").string();
    std::vector<char> buffer(pattern.begin(), pattern.end());
    buffer.push_back('\0');
    if (mkdtemp(buffer.data()) != nullptr) path_ = buffer.data();
  }
  ~TempDir() {
    std::error_code ignored;
    if (!path_.empty()) std::filesystem::remove_all(path_, ignored);
  }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  // The directory, without a trailing '/'.
  const std::string& path() const { return path_; }
  // A path inside the directory.
  std::string operator/(const std::string& name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

inline void WriteFile(const std::string& path, const std::string& content) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << content;
}

inline std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

// The '\n'-separated lines of a file; a final newline does not start a new line.
inline std::vector<std::string> ReadLines(const std::string& path) {
  std::vector<std::string> lines;
  std::ifstream in(path, std::ios::binary);
  std::string line;
  while (std::getline(in, line)) lines.push_back(line);
  return lines;
}

inline bool Exists(const std::string& path) { return std::filesystem::exists(path); }

}  // namespace testing_util
}  // namespace norvane

#endif  // NORVANE_TESTS_TEST_SUPPORT_TEMP_DIR_H_
