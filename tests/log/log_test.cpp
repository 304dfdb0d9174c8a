#include "norvane/log/log.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "norvane/core/platform.h"
#include "test_support/occupied_name.h"
#include "test_support/temp_dir.h"

namespace norvane {
namespace {

using testing_util::Exists;
using testing_util::ReadFile;
using testing_util::ReadLines;
using testing_util::TempDir;
using testing_util::WriteFile;

const LogMode kBoth = static_cast<LogMode>(LOG_MODE_IMAGE | LOG_MODE_TEXT);

struct ParsedLine {
  bool ok = false;
  int tid = 0;
  std::string message;
};

// Splits "[TID:%6d][YYYY/MM/DD HH:MM:SS]message"; ok is false for any other shape.
ParsedLine Parse(const std::string& line) {
  static const std::regex kShape(
      R"(\[TID:( *-?[0-9]+)\]\[[0-9]{4}/[0-9]{2}/[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}\](.*))");
  std::smatch match;
  if (!std::regex_match(line, match, kShape) || match[1].length() < 6) return {};
  return {true, std::atoi(match[1].str().c_str()), match[2].str()};
}

std::vector<std::string> Messages(const std::string& path) {
  std::vector<std::string> messages;
  for (const std::string& line : ReadLines(path)) {
    ParsedLine parsed = Parse(line);
    EXPECT_TRUE(parsed.ok) << line;
    messages.push_back(parsed.message);
  }
  return messages;
}

// Each case writes through logs of its own; the process-wide log is used only in a
// child process, so that it starts unconfigured there and its exit flush is seen.
class LogTest : public ::testing::Test {
 protected:
  // A config file of the [BARCODECONFIG] section with `body`.
  std::string WriteConfig(const std::string& body) {
    WriteFile(dir_ / "NorvaneLogConfig.ini", "[BARCODECONFIG]\n" + body);
    return dir_ / "NorvaneLogConfig.ini";
  }
  // The JSON log holding the given documents, one after the other.
  static std::string JsonText(std::initializer_list<Json::Value> documents) {
    std::string text;
    for (const Json::Value& document : documents) text += document.toStyledString() + "\n";
    return text;
  }
  static Json::Value Array(std::initializer_list<Json::Value> values) {
    Json::Value array(Json::arrayValue);
    for (const Json::Value& value : values) array.append(value);
    return array;
  }
  std::string SavePath() const { return dir_.path() + "/"; }
  std::string TextLog() const { return dir_ / "NorvaneKestrel.log"; }
  std::string JsonLog() const { return dir_ / "NorvaneTRX.log"; }

  TempDir dir_;
};

bool RecordImage(const void* data, const char* path) {
  testing_util::WriteFile(path, static_cast<const char*>(data));
  return false;  // a failing writer changes nothing
}

TEST_F(LogTest, InitLogReadsItsSectionOnceAndOnlyWhenTheFileOpens) {
  TQLog log;
  // A missing file leaves everything off, and nothing of any kind is written.
  log.InitLog((dir_ / "missing.ini").c_str());
  EXPECT_FALSE(log.IsInitialized());
  EXPECT_FALSE(log.AllowLogging(0, kBoth));
  log.WriteTextLog(0, "hidden");
  Json::Value value(1);
  log.WriteJsonLog(0, value);
  log.OutputJsonLog();
  char pixels[] = "PIXELS";
  EXPECT_EQ(log.WriteImgLog(&RecordImage, pixels, "x.png", 0), "");
  EXPECT_TRUE(std::filesystem::is_empty(dir_.path()));

  // The INI reading itself is tested in ini_io_test.cpp; here what the log takes from it.
  std::string config = WriteConfig("Path = " + SavePath() + "\nMode = 2\nOutputMode = 1\n");
  log.InitLog(config.c_str());
  EXPECT_TRUE(log.IsInitialized());
  EXPECT_EQ(std::vector<int>({log.GetLevel(), log.GetMode(), log.GetOutputMode()}),
            std::vector<int>({0, LOG_MODE_TEXT, 1}));  // missing Level: 0
  EXPECT_EQ(log.GetSavePath(), SavePath());
  log.WriteTextLog(0, "cached");
  EXPECT_FALSE(Exists(TextLog()));
  log.OutputCacheLog();
  EXPECT_EQ(Messages(TextLog()), std::vector<std::string>{"cached"});

  // Once configured, InitLog changes nothing.
  WriteConfig("Level = 5\nMode = 1\n");
  log.InitLog(config.c_str());
  EXPECT_EQ(std::vector<int>({log.GetLevel(), log.GetMode()}),
            std::vector<int>({0, LOG_MODE_TEXT}));

  // A path without '/' prefixes the file names; output mode 0 writes at once.
  TQLog other;
  WriteConfig("Mode = 2\nPath = " + dir_.path() + "/pre\n");
  other.InitLog(config.c_str());
  other.WriteTextLog(0, "at level zero");
  EXPECT_EQ(Messages(dir_ / "preNorvaneKestrel.log"), std::vector<std::string>{"at level zero"});
}

TEST_F(LogTest, TextLinesCarryThreadIdAndTimeNamesAreLiteralAndLongLinesAreCut) {
  TQLog log;
  log.InitLogFromSetting(kBoth, 9, SavePath().c_str());
  log.WriteTextLog(9, "value %d of %s", 42, "x");
  log.WriteTextLog(10, "too detailed");
  log.WriteFuncStartLog(9, "Process");
  log.WriteFuncEndLog(9, "Process", 1234, "ignored", 5);
  log.WriteFuncStartLog(9, "100%s %n %d%%");  // never read as conversions
  log.WriteFuncEndLog(9, "%s%s%s", -7);
  log.WriteFuncStartLog(10, "too detailed");
  const std::string huge(10000, 'h');  // lines 5 to 8: cut, not overflowed
  log.WriteTextLog(9, "%s", huge.c_str());
  log.WriteFuncStartLog(9, huge.c_str());
  log.WriteFuncEndLog(9, huge.c_str(), 1);
  log.AddDirLayer(huge.c_str());
  log.WriteTextLog(9, "short");
  log.SetMode(LOG_MODE_IMAGE);
  log.WriteTextLog(0, "text is off");
  log.WriteFuncStartLog(0, "text is off");

  std::vector<std::string> lines = ReadLines(TextLog());
  ASSERT_EQ(lines.size(), 10u);
  for (size_t i = 0; i < lines.size(); ++i) {
    EXPECT_EQ(Parse(lines[i]).tid, GetCurrentThreadId()) << lines[i];
    if (i >= 5 && i < 9) {
      EXPECT_EQ(lines[i].size(), 4095u);  // 4 KiB with the newline
    }
  }
  std::vector<std::string> messages = Messages(TextLog());
  messages.erase(messages.begin() + 5, messages.begin() + 9);
  EXPECT_EQ(messages, (std::vector<std::string>{
                          "value 42 of x", "FuncStart Process", "FuncEnd Process, duration 1234",
                          "FuncStart 100%s %n %d%%", "FuncEnd %s%s%s, duration -7", "short"}));
}

// Several threads write numbered lines of varied length at once; every line must
// arrive whole, exactly once, in its thread's order, with its thread's id.
std::string Line(int t, int i) {
  return "w" + std::to_string(t) + " n" + std::to_string(i) + " " +
         std::string((t * 37 + i * 11) % 300, 'p');
}

void CheckConcurrentWriters(TQLog& log, const std::string& textLog, bool cached) {
  constexpr int kThreads = 4, kLines = 250;
  std::vector<int> tids(kThreads), next(kThreads, 0);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      tids[t] = GetCurrentThreadId();
      for (int i = 0; i < kLines; ++i) log.WriteTextLog(9, "%s", Line(t, i).c_str());
    });
  }
  for (std::thread& thread : threads) thread.join();
  if (cached) {
    EXPECT_FALSE(Exists(textLog));
    log.OutputCacheLog();
    log.OutputCacheLog();  // nothing left: nothing written twice
  }

  std::vector<std::string> lines = ReadLines(textLog);
  ASSERT_EQ(lines.size(), size_t{kThreads * kLines});
  for (const std::string& line : lines) {
    ParsedLine parsed = Parse(line);
    int t = -1, i = -1;
    ASSERT_TRUE(parsed.ok) << line;
    ASSERT_EQ(std::sscanf(parsed.message.c_str(), "w%d n%d", &t, &i), 2) << line;
    ASSERT_TRUE(t >= 0 && t < kThreads) << line;
    EXPECT_EQ(parsed.tid, tids[t]) << line;
    EXPECT_EQ(parsed.message, Line(t, next[t]++)) << line;  // in order, whole
  }
  for (int t = 0; t < kThreads; ++t) EXPECT_EQ(next[t], kLines);
}

TEST_F(LogTest, ConcurrentWritersLoseNothingInBothOutputModes) {
  std::string config = WriteConfig("Level=9\nMode=2\nOutputMode=1\nPath=" + SavePath());
  for (bool cached : {false, true}) {
    TQLog log;
    cached ? log.InitLog(config.c_str())
           : log.InitLogFromSetting(LOG_MODE_TEXT, 9, SavePath().c_str());
    CheckConcurrentWriters(log, TextLog(), cached);
    std::remove(TextLog().c_str());
  }
}

TEST_F(LogTest, SettersRaceWithWritersWithoutTornLines) {
  TQLog log;
  log.InitLogFromSetting(LOG_MODE_TEXT, 9, SavePath().c_str());
  std::atomic<bool> stop{false};
  std::thread setter([&] {
    std::string path = SavePath();
    for (int i = 0; !stop.load(); ++i) {
      log.SetLevel(i % 2 == 0 ? 9 : 0);
      log.SetMode(i % 3 == 0 ? LOG_MODE_IMAGE : kBoth);
      log.SetSavePath(path);
      log.InitLogFromSetting(LOG_MODE_TEXT, 9, path.c_str());
      std::this_thread::yield();
    }
  });
  std::vector<std::thread> writers;
  for (int t = 0; t < 2; ++t) {
    writers.emplace_back([&] {
      for (int i = 0; i < 300; ++i) {
        if (log.AllowLogging(9, LOG_MODE_TEXT)) log.WriteTextLog(9, "line %d", i);
        log.WriteFuncStartLog(9, "F");
      }
    });
  }
  for (std::thread& writer : writers) writer.join();
  stop = true;
  setter.join();
  for (const std::string& line : ReadLines(TextLog())) EXPECT_TRUE(Parse(line).ok) << line;
}

TEST_F(LogTest, JsonLogFollowsTheLevelOnlyAndStartsOverAfterOutput) {
  std::string config = WriteConfig("Level=5\nMode=0\nPath=" + SavePath());
  TQLog log;
  log.InitLog(config.c_str());
  Json::Value first;
  first["stage"] = "locate";
  first["count"] = 3;
  Json::Value second = Array({1.5}), null;
  log.WriteJsonLog(5, first);  // mode 0 does not matter
  log.WriteJsonLog(6, second);
  log.WriteJsonLog(0, null);
  log.WriteJsonLog(-3, second);
  log.OutputJsonLog();
  log.OutputJsonLog();  // null again: writes nothing
  log.WriteJsonLog(1, first);
  log.OutputJsonLog();
  const std::string expected = JsonText({Array({first, second}), Array({first})});
  EXPECT_EQ(ReadFile(JsonLog()), expected);

  // Configured without InitLog there is no JSON file to write to: the document is
  // still cleared, so it is not written later either.
  TQLog direct;
  direct.InitLogFromSetting(kBoth, 9, SavePath().c_str());
  direct.WriteJsonLog(1, first);
  direct.OutputJsonLog();
  EXPECT_EQ(ReadFile(JsonLog()), expected);
}

TEST_F(LogTest, DirectoryLayersNestImageFiles) {
  TQLog log;
  log.InitLogFromSetting(kBoth, 9, SavePath().c_str());
  char pixels[] = "PIXELS";
  // Writes an image; the path returned must be the one the writer was given.
  auto image = [&](const char* name, int level) {
    std::string path = log.WriteImgLog(&RecordImage, pixels, name, level);
    if (!path.empty()) {
      EXPECT_EQ(ReadFile(path), "PIXELS") << path;
    }
    return path;
  };
  log.PopDirLayer();  // empty: no line
  log.AddDirLayer("a");
  log.AddDirLayer("b");
  EXPECT_EQ(image("x.png", 1), SavePath() + "a/b/x.png");
  EXPECT_EQ(image("too-detailed.png", 10), "");
  log.PopDirLayer();
  EXPECT_EQ(image("y.png", 9), SavePath() + "a/y.png");
  log.PopDirLayer();
  log.PopDirLayer();
  EXPECT_EQ(image("z.png", 9), SavePath() + "z.png");

  // Without the image mode, layers are neither pushed nor logged nor popped; the
  // enter/exit lines need the text mode, the layers do not.
  log.SetMode(LOG_MODE_TEXT);
  log.AddDirLayer("c");
  EXPECT_EQ(image("w.png", 1), "");
  log.SetMode(LOG_MODE_IMAGE);
  log.AddDirLayer("quiet");
  log.SetMode(LOG_MODE_TEXT);
  log.PopDirLayer();
  log.SetMode(LOG_MODE_IMAGE);
  EXPECT_EQ(image("v.png", 1), SavePath() + "quiet/v.png");
  EXPECT_EQ(Messages(TextLog()), (std::vector<std::string>{"enter logDir a", "enter logDir b",
                                                           "exist logDir b", "exist logDir a"}));

  // CreatDir makes what is missing and leaves what can be opened.
  EXPECT_TRUE(log.CreatDir(SavePath() + "fresh"));
  EXPECT_EQ(std::filesystem::status(SavePath() + "fresh").permissions() &
                std::filesystem::perms::owner_all,
            std::filesystem::perms::owner_all);
  EXPECT_FALSE(log.CreatDir(SavePath() + "fresh"));
  EXPECT_FALSE(log.CreatDir(SavePath() + "a/b/x.png"));
}

// Whatever has taken a log file's name (a FIFO someone reads, a link to another
// file, a directory) gets nothing and stays as it was, from every way of writing;
// a regular file gets what was written.
TEST_F(LogTest, OutputsWriteOnlyRegularFilesNeverThroughALink) {
  struct Output {
    const char* file;
    int outputMode;
    void (*write)(TQLog&);
  };
  const Output outputs[] = {
      {"NorvaneKestrel.log", 0, [](TQLog& log) { log.WriteTextLog(9, "at once"); }},
      {"NorvaneKestrel.log", 1,
       [](TQLog& log) {
         log.WriteTextLog(9, "cached");
         log.OutputCacheLog();
       }},
      {"NorvaneTRX.log", 0,
       [](TQLog& log) {
         Json::Value value(7);
         log.WriteJsonLog(9, value);
         log.OutputJsonLog();
       }},
  };
  int folder = 0;
  for (const Output& output : outputs) {
    for (testing_util::Occupant occupant : testing_util::kOccupants) {
      const std::string prefix = dir_ / (std::to_string(++folder) + "/");
      testing_util::OccupiedName name(prefix + output.file, occupant);
      {
        TQLog log;
        log.InitLog(WriteConfig("Level=9\nMode=2\nOutputMode=" +
                                std::to_string(output.outputMode) + "\nPath=" + prefix)
                        .c_str());
        output.write(log);
      }
      EXPECT_EQ(name.Intrusion(), "") << output.file << " (output mode " << output.outputMode
                                      << ") as " << Describe(occupant);
    }
  }
}

TEST_F(LogTest, DestructionFlushesOnlyOutputModeOne) {
  for (int outputMode : {1, 2}) {
    const std::string prefix = dir_ / ("m" + std::to_string(outputMode));
    {
      TQLog log;
      log.InitLog(WriteConfig("Level=9\nMode=2\nOutputMode=" + std::to_string(outputMode) +
                              "\nPath=" + prefix)
                      .c_str());
      log.WriteTextLog(9, "cached %d", outputMode);
      Json::Value value(outputMode);
      log.WriteJsonLog(9, value);
      EXPECT_FALSE(Exists(prefix + "NorvaneKestrel.log"));
    }
    EXPECT_EQ(ReadFile(prefix + "NorvaneTRX.log"), JsonText({Array({outputMode})}));
    // Mode 2 loses the text without OutputCacheLog.
    EXPECT_EQ(Messages(prefix + "NorvaneKestrel.log"),
              std::vector<std::string>(outputMode == 1 ? 1 : 0, "cached 1"));
  }
}

// The free functions act on the process-wide log, which flushes when the process
// (or the library) goes away. InitLogFromDLL asks for /etc/NorvaneLogConfig.ini only.
TEST_F(LogTest, ProcessWideLogFreeFunctionsAndExitFlush) {
  if (Exists("/etc/NorvaneLogConfig.ini")) GTEST_SKIP() << "this host has a log configuration";
  std::string config = WriteConfig("Level=9\nMode=3\nOutputMode=1\nPath=" + SavePath());
  std::fflush(nullptr);
  pid_t child = fork();
  ASSERT_NE(child, -1);
  if (child == 0) {
    InitLogFromDLL(config);  // the library path plays no part
    if (TQLog::m_instance.IsInitialized()) std::_Exit(3);
    InitLog(config.c_str());
    if (GetSavePath() != SavePath() || !AllowLogging(9, LOG_MODE_TEXT)) std::_Exit(4);
    TQLog::m_instance.WriteFuncStartLog(9, "Child");
    TQLog::m_instance.WriteFuncEndLog(9, "Child", 3);
    Json::Value value("done");
    TQLog::m_instance.WriteJsonLog(9, value);
    char pixels[] = "PIXELS";
    WriteImgLog(&RecordImage, pixels, 9, "frame_%03d.%s", 7, "bmp");
    WriteImgLog(&RecordImage, pixels, 10, "frame_%03d.%s", 8, "bmp");             // level too high
    WriteImgLog(&RecordImage, pixels, 9, "%s", std::string(10000, 'h').c_str());  // cut to 255
    std::exit(0);  // runs the static destructors, as unloading the library does
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFEXITED(status)) << status;
  ASSERT_EQ(WEXITSTATUS(status), 0);
  EXPECT_EQ(Messages(TextLog()),
            (std::vector<std::string>{"FuncStart Child", "FuncEnd Child, duration 3"}));
  EXPECT_EQ(ReadFile(JsonLog()), JsonText({Array({"done"})}));
  EXPECT_EQ(ReadFile(SavePath() + "frame_007.bmp"), "PIXELS");
  EXPECT_FALSE(Exists(SavePath() + "frame_008.bmp"));
  EXPECT_TRUE(Exists(SavePath() + std::string(255, 'h')));
}

}  // namespace
}  // namespace norvane
