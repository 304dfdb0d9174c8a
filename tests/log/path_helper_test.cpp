#include "norvane/log/path_helper.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "test_support/temp_dir.h"

namespace norvane {
namespace {

namespace fs = std::filesystem;
using testing_util::TempDir;
using testing_util::WriteFile;

TEST(PathHelper, JudgePathTypeTestsTheModeBitsOneByOne) {
  TempDir dir;
  WriteFile(dir / "file", "x");
  fs::create_directory(dir / "sub");
  fs::create_symlink(dir / "sub", dir / "link-to-dir");
  fs::create_symlink(dir / "gone", dir / "dangling");
  ASSERT_EQ(mkfifo((dir / "fifo").c_str(), 0600), 0);

  // "file/child" fails other than with "does not exist"; /dev/null is a character device.
  const std::map<std::string, int> types = {{dir / "file", PT_FILE},
                                            {dir.path(), PT_DIRECTORY},
                                            {dir / "link-to-dir", PT_DIRECTORY},
                                            {dir / "dangling", PT_NOT_FOUND},
                                            {dir / "missing", PT_NOT_FOUND},
                                            {"", PT_NOT_FOUND},
                                            {dir / "fifo", PT_OTHER},
                                            {"/dev/null", PT_OTHER},
                                            {dir / "file/child", PT_OTHER}};
  for (const auto& t : types)
    EXPECT_EQ(PathHelper::JudgePathType(t.first.c_str()), t.second) << t.first;
  EXPECT_EQ(PathHelper::JudgePathType(nullptr), PT_OTHER);

  // A socket's mode carries bit 0x4000, so it answers "directory".
  std::string socketPath = dir / "sock";
  int fd = socket(AF_UNIX, SOCK_STREAM, 0);
  ASSERT_GE(fd, 0);
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  ASSERT_LT(socketPath.size(), sizeof(address.sun_path));
  socketPath.copy(address.sun_path, socketPath.size());
  ASSERT_EQ(bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
  EXPECT_EQ(PathHelper::JudgePathType(socketPath.c_str()), PT_DIRECTORY);
  close(fd);
}

TEST(PathHelper, IsPDFFileNeedsAllFourMagicBytes) {
  TempDir dir;
  for (const char* content : {"%PD", "%PDF-1.7\n...", "%PDF", "%PDX-1.7", ""}) {
    WriteFile(dir / "file", content);
    EXPECT_EQ(PathHelper::IsPDFFile((dir / "file").c_str()),
              std::string(content).rfind("%PDF", 0) == 0)
        << content;
  }
  EXPECT_FALSE(PathHelper::IsPDFFile((dir / "missing").c_str()));
  EXPECT_FALSE(PathHelper::IsPDFFile(static_cast<const char*>(nullptr)));

  const unsigned char buffer[] = {'%', 'P', 'D', 'F', '-', '1', '.', '7'};
  for (int length : {-1, 3, 4, 8}) EXPECT_EQ(PathHelper::IsPDFFile(buffer, length), length >= 4);
  EXPECT_FALSE(PathHelper::IsPDFFile(static_cast<const unsigned char*>(nullptr), 8));
  EXPECT_FALSE(PathHelper::IsPDFFile(buffer + 1, 4));
}

TEST(PathHelper, FixedAndDerivedPaths) {
  std::string out = "old";
  EXPECT_TRUE(PathHelper::GetINIPath("NorvaneLogConfig.ini", "/opt/lib/libX.so", out));
  EXPECT_EQ(out, "/etc/NorvaneLogConfig.ini");

  // GetEXEDirectory is checked where the module loader stages copies beside the executable.

  const std::map<std::string, std::string> names = {{"C:\\dir\\scan.final.tif", "scan.final"},
                                                    {"plainname", "plainname"},
                                                    {"/a.b/c", "c"},
                                                    {"/a/b.c\\d.e", "d"},
                                                    {"dir/.hidden", ""},
                                                    {"dir/", ""},
                                                    {"", ""},
                                                    {"x.", "x"}};
  for (const auto& entry : names) {
    std::string path = entry.first;
    EXPECT_EQ(PathHelper::GetFileNameFromFilePath(path), entry.second) << entry.first;
    EXPECT_EQ(path, entry.first);
  }
}

// What GetAllFiles should list, worked out with std::filesystem.
std::vector<std::string> ExpectedFiles(const std::string& directory, bool recursive,
                                       const std::string& filter) {
  std::vector<std::string> files;
  for (const fs::directory_entry& entry : fs::directory_iterator(directory)) {
    std::string path = directory + "/" + entry.path().filename().string();
    if (entry.is_symlink()) continue;
    if (entry.is_directory()) {
      if (!recursive) continue;
      std::vector<std::string> inner = ExpectedFiles(path, recursive, filter);
      files.insert(files.end(), inner.begin(), inner.end());
    } else if (entry.is_regular_file()) {
      bool dotted = entry.path().filename().string().find('.') != std::string::npos;
      if (dotted || (!filter.empty() && path.find(filter) != std::string::npos)) {
        files.push_back(path);
      }
    }
  }
  return files;
}

TEST(GetAllFiles, RandomTreesMatchAFilesystemWalk) {
  std::mt19937 rng(77);
  const std::vector<std::string> names = {"a.png", "b", "c.tar.gz", "README", "d.", "note.txt"};
  for (int round = 0; round < 20; ++round) {
    TempDir dir;
    std::vector<std::string> directories = {dir.path()};
    for (int i = 0; i < 40; ++i) {
      std::string parent = directories[rng() % directories.size()];
      std::string name = names[rng() % names.size()] + std::to_string(rng() % 5);
      if (fs::exists(fs::symlink_status(parent + "/" + name))) continue;
      if (rng() % 4 == 0) {
        fs::create_directory(parent + "/" + name);
        directories.push_back(parent + "/" + name);
      } else if (rng() % 6 == 0) {  // links are never listed
        fs::create_symlink(dir / "a.png0", parent + "/" + name);
      } else {
        WriteFile(parent + "/" + name, "");
      }
    }
    // Backslashes are read as separators.
    std::string root = dir.path();
    if (round % 2 == 1) std::replace(root.begin(), root.end(), '/', '\\');
    for (bool recursive : {false, true}) {
      for (const char* filter : {static_cast<const char*>(nullptr), "", "READ", "b"}) {
        std::vector<std::string> listed = GetAllFiles(root, recursive, filter)->GetVector();
        std::vector<std::string> expected =
            ExpectedFiles(dir.path(), recursive, filter == nullptr ? "" : filter);
        // Both follow the directory order, which need not be the same for two reads.
        std::vector<std::string> sortedListed = listed;
        std::sort(sortedListed.begin(), sortedListed.end());
        std::sort(expected.begin(), expected.end());
        EXPECT_EQ(sortedListed, expected);
        // A subdirectory's files come together, where the subdirectory was met.
        std::map<fs::path, size_t> last;
        for (size_t i = 0; i < listed.size(); ++i) {
          for (fs::path p = fs::path(listed[i]).parent_path();
               p.string().size() > dir.path().size(); p = p.parent_path()) {
            if (last.count(p) != 0) {
              EXPECT_EQ(last[p], i - 1) << listed[i];
            }
            last[p] = i;
          }
        }
      }
    }
  }
  // A directory that cannot be read gives an empty list, not null.
  TempDir dir;
  TQRef<TQVector<std::string>> none = GetAllFiles(dir / "missing", true, nullptr);
  ASSERT_FALSE(none.IsNull());
  EXPECT_TRUE(none->empty());
  EXPECT_EQ(none->GetRefCount(), 1);
}

}  // namespace
}  // namespace norvane
