#include "norvane/log/ini_io.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <map>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "norvane/log/log.h"
#include "test_support/temp_dir.h"

namespace norvane {
namespace {

using testing_util::TempDir;
using testing_util::WriteFile;
using Entries = std::vector<std::pair<std::string, std::string>>;

INI_IO LoadText(const TempDir& dir, const std::string& text) {
  WriteFile(dir / "config.ini", text);
  INI_IO ini;
  EXPECT_TRUE(ini.Load(dir / "config.ini"));
  return ini;
}

TEST(IniIo, TypedGettersUseDefaultsOnlyForAbsentKeys) {
  TempDir dir;
  INI_IO ini = LoadText(dir,
                        "[s]\n"
                        "abc = abc\n"
                        "num = 42\n"
                        "neg = -17\n"
                        "lead = 12abc\n"
                        "huge = 99999999999999999999\n"
                        "real = 2.5e3\n"
                        "empty =\n"
                        "t1 = true\n"
                        "t2 = TRUE\n"
                        "t3 = yes\n"
                        "t4 = 1\n"
                        "t5 = false\n"
                        "t6 = -3\n"
                        "t7 = 0\n");
  // Present but not a number (or out of range): 0, not the default.
  const std::map<std::string, int> ints = {{"abc", 0},   {"empty", 0}, {"num", 42}, {"neg", -17},
                                           {"lead", 12}, {"huge", 0},  {"real", 2}, {"missing", 5}};
  for (const auto& e : ints) EXPECT_EQ(ini.GetInt("s", e.first, 5), e.second) << e.first;
  EXPECT_EQ(ini.GetInt("nosection", "num", 5), 5);

  EXPECT_DOUBLE_EQ(ini.GetDouble("s", "real", 1.5), 2500.0);
  EXPECT_DOUBLE_EQ(ini.GetDouble("s", "abc", 1.5), 0.0);
  EXPECT_DOUBLE_EQ(ini.GetDouble("s", "missing", 1.5), 1.5);

  // Only "true" and non-zero numbers are true; the default only for absent keys.
  const std::map<std::string, bool> bools = {{"t1", true}, {"t2", false}, {"t3", false},
                                             {"t4", true}, {"t5", false}, {"t6", true},
                                             {"t7", false}};
  for (const auto& e : bools) {
    EXPECT_EQ(ini.GetBool("s", e.first, false), e.second) << e.first;
    EXPECT_EQ(ini.GetBool("s", e.first, true), e.second) << e.first;
  }
  EXPECT_TRUE(ini.GetBool("s", "missing", true));
  EXPECT_FALSE(ini.GetBool("s", "missing", false));
}

// Whatever the path names, Load() ends at once with false, reads no more than the
// bound, keeps what an earlier load read, and the log stays unconfigured. A file of
// exactly the bound still loads.
TEST(IniIo, RefusesWhatIsNotABoundedRegularFile) {
  TempDir dir;
  const std::string fifo = dir / "fifo.ini";  // no writer: a blocking open would hang
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  // "[s]\nk = 2\n" padded with a comment line to `size` bytes.
  auto paddedFile = [&](const std::string& name, size_t size) {
    const std::string head = "[s]\nk = 2\n;";
    WriteFile(dir / name, head + std::string(size - head.size(), 'c'));
    return dir / name;
  };
  const std::string atBound = paddedFile("at_bound.ini", INI_IO::kMaxFileSize);
  const std::string overBound = paddedFile("over_bound.ini", INI_IO::kMaxFileSize + 1);
  WriteFile(dir / "first.ini", "[s]\nk = 1\n");

  const struct {
    std::string path;
    bool loads;
  } cases[] = {
      {dir.path(), false},   // a directory
      {"/dev/zero", false},  // one endless line
      {fifo, false},        {overBound, false}, {dir / "does-not-exist.ini", false},
      {atBound, true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.path);
    INI_IO ini;
    ASSERT_TRUE(ini.Load(dir / "first.ini"));
    EXPECT_EQ(ini.Load(c.path), c.loads);
    EXPECT_EQ(ini.GetPath(), c.path);
    EXPECT_EQ(ini.GetSectionEntries("s"), (Entries{{"k", c.loads ? "2" : "1"}}));
    EXPECT_EQ(ini.GetSectionEntries("").size(), 0u);

    TQLog log;
    log.InitLog(c.path.c_str());
    EXPECT_EQ(log.IsInitialized(), c.loads);
  }
}

// Random files written the way people write them (padding, CRLF, comments, lines
// without '=' or without a key, unclosed or trailing section headers, NUL bytes,
// long lines, repeated sections and keys) against a model of what each line means.
TEST(IniIo, MatchesModelOnRandomFiles) {
  std::mt19937 rng(20240501);
  const std::vector<std::string> sections = {"", "A", "BARCODECONFIG", "x y", "; no comment"};
  const std::vector<std::string> keys = {"Level", "# hash", "two words", "",
                                         std::string(3000, 'k')};
  const std::vector<std::string> pads = {"", " ", "\t", "  \t "};
  const std::vector<std::string> values = {
      "", "1", "a b  c = d", "/tmp/", "; not comment", std::string(5000, 'v')};
  auto pick = [&](const std::vector<std::string>& from) {
    return from[std::uniform_int_distribution<size_t>(0, from.size() - 1)(rng)];
  };
  TempDir dir;
  for (int round = 0; round < 300; ++round) {
    std::map<std::string, std::map<std::string, std::string>> model;
    std::string current;
    std::string text;
    int lines = std::uniform_int_distribution<int>(0, 30)(rng);
    for (int i = 0; i < lines; ++i) {
      std::string line = pick(pads);
      const std::string key = pick(keys), value = pick(values);
      switch (std::uniform_int_distribution<int>(0, 6)(rng)) {
        case 0:  // the name ends at ']', or with the line; text after ']' is ignored
          current = pick(sections);
          model[current];
          line += "[" + pick(pads) + current + pick(pads) + (rng() % 3 ? "]" + pick(pads) : "");
          if (rng() % 4 == 0) line += "] trailing";
          break;
        case 1:  // a comment stays one comment however long it is
          line += ";" + key + "=" + value;
          break;
        case 2:
          break;
        case 3:  // a line is text: a NUL byte ends it
          model[current][key] = "a";
          line += key + "=a" + std::string(1, '\0') + "b=c";
          break;
        case 4:  // a line without '=' is a key without value
          if (key.empty() || key[0] == ';') break;
          model[current][key] = "";
          line += key + pick(pads);
          break;
        default:
          model[current][key] = value;
          line += key + pick(pads) + "=" + pick(pads) + value + pick(pads);
      }
      text += line + (rng() % 2 ? "\r\n" : "\n");
    }
    if (rng() % 2 && !text.empty()) text.pop_back();  // no final newline
    INI_IO ini = LoadText(dir, text);
    for (const std::string& section : sections) {
      const auto& expected = model[section];
      EXPECT_EQ(ini.GetSectionEntries(section), Entries(expected.begin(), expected.end()))
          << "section [" << section << "] of:\n"
          << text;
    }
  }
}

}  // namespace
}  // namespace norvane
