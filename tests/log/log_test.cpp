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

#include "log/log_internal.h"
#include "norvane/core/platform.h"
#include "test_support/temp_dir.h"

namespace norvane {
namespace {

using internal::LogTestAccess;
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
  ParsedLine parsed;
  std::smatch match;
  if (!std::regex_match(line, match, kShape) || match[1].length() < 6) return parsed;
  parsed.ok = true;
  parsed.tid = std::atoi(match[1].str().c_str());
  parsed.message = match[2].str();
  return parsed;
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

// The process-wide log starts every case unconfigured and ends it so.
class LogTest : public ::testing::Test {
 protected:
  void SetUp() override { LogTestAccess::Reset(&TQLog::m_instance); }
  void TearDown() override {
    LogTestAccess::Reset(&TQLog::m_instance);
    LogTestAccess::SetConfigPathRedirect(nullptr);
  }

  std::string WriteConfig(const std::string& body) {
    std::string path = dir_ / "NorvaneLogConfig.ini";
    WriteFile(path, body);
    return path;
  }
  std::string SavePath() const { return dir_.path() + "/"; }
  std::string TextLog() const { return dir_ / "NorvaneKestrel.log"; }
  std::string JsonLog() const { return dir_ / "NorvaneTRX.log"; }

  TempDir dir_;
};

TEST_F(LogTest, InitLogReadsItsSectionOnceAndOnlyWhenTheFileOpens) {
  TQLog& log = TQLog::m_instance;
  // A missing file leaves everything off, and nothing of any kind is written.
  InitLog((dir_ / "missing.ini").c_str());
  EXPECT_FALSE(log.IsInitialized());
  EXPECT_EQ(log.GetLevel(), 0);
  EXPECT_EQ(log.GetMode(), 0);
  EXPECT_FALSE(AllowLogging(0, kBoth));
  log.WriteTextLog(0, "hidden");
  Json::Value value(1);
  log.WriteJsonLog(0, value);
  log.OutputJsonLog();
  static bool called = false;
  EXPECT_EQ(
      log.WriteImgLog([](const void*, const char*) { return called = true; }, nullptr, "x.png", 0),
      "");
  EXPECT_FALSE(called);
  EXPECT_TRUE(std::filesystem::is_empty(dir_.path()));

  // Keys before the section header are not the section's; the later file is read.
  std::string config = WriteConfig("Level = 99\nMode = 3\n[BARCODECONFIG]\nPath = " + SavePath() +
                                   "\nMode = 2\nOutputMode = 1\n");
  InitLog(config.c_str());
  EXPECT_TRUE(log.IsInitialized());
  EXPECT_EQ(log.GetLevel(), 0);  // missing Level: 0
  EXPECT_EQ(log.GetMode(), LOG_MODE_TEXT);
  EXPECT_EQ(log.GetOutputMode(), 1);
  EXPECT_EQ(GetSavePath(), SavePath());
  EXPECT_EQ(LogTestAccess::GetTextLogPath(&log), TextLog());
  EXPECT_EQ(LogTestAccess::GetJsonLogPath(&log), JsonLog());
  EXPECT_EQ(LogTestAccess::CacheCapacity(&log), 512u);

  // Once configured, InitLog changes nothing; the setters still do.
  WriteConfig("[BARCODECONFIG]\nLevel = 5\nMode = 1\n");
  InitLog(config.c_str());
  EXPECT_EQ(log.GetLevel(), 0);
  EXPECT_EQ(log.GetMode(), LOG_MODE_TEXT);
  log.SetLevel(4);
  log.SetMode(LOG_MODE_IMAGE);
  EXPECT_TRUE(AllowLogging(4, LOG_MODE_IMAGE));
  EXPECT_FALSE(AllowLogging(5, LOG_MODE_IMAGE));
  EXPECT_FALSE(AllowLogging(4, LOG_MODE_TEXT));

  // A non-numeric level reads as 0; a path without '/' prefixes the file names.
  LogTestAccess::Reset(&log);
  WriteConfig("[BARCODECONFIG]\nLevel = abc\nMode = 2\nPath = " + dir_.path() + "/pre\n");
  InitLog(config.c_str());
  EXPECT_EQ(log.GetLevel(), 0);
  EXPECT_EQ(log.GetOutputMode(), 0);
  EXPECT_EQ(LogTestAccess::CacheCapacity(&log), 0u);
  log.WriteTextLog(0, "at level zero");
  EXPECT_EQ(Messages(dir_ / "preNorvaneKestrel.log"), std::vector<std::string>{"at level zero"});
}

std::string g_requestedConfig;
std::string g_redirectedConfig;

std::string RedirectConfig(const std::string& requested) {
  g_requestedConfig = requested;
  return g_redirectedConfig;
}

TEST_F(LogTest, InitLogFromDLLAsksForTheEtcConfigurationOnly) {
  g_redirectedConfig = WriteConfig("[BARCODECONFIG]\nLevel = 9\nMode = 3\nPath = " + SavePath());
  g_requestedConfig.clear();
  LogTestAccess::SetConfigPathRedirect(&RedirectConfig);
  InitLogFromDLL("/some/library/dir/libSibling.so");
  EXPECT_EQ(g_requestedConfig, "/etc/NorvaneLogConfig.ini");
  EXPECT_EQ(TQLog::m_instance.GetLevel(), 9);
  EXPECT_EQ(GetSavePath(), SavePath());

  // Configured: the file is not asked for again.
  g_requestedConfig.clear();
  InitLogFromDLL("");
  EXPECT_EQ(g_requestedConfig, "");
}

TEST_F(LogTest, TextLinesCarryThreadIdAndTimeAndNamesAreLiteral) {
  TQLog log;
  log.InitLogFromSetting(LOG_MODE_TEXT, 9, SavePath().c_str());
  EXPECT_TRUE(log.IsInitialized());
  EXPECT_EQ(LogTestAccess::GetJsonLogPath(&log), "");
  log.WriteTextLog(9, "value %d of %s", 42, "x");
  log.WriteTextLog(10, "too detailed");
  log.WriteFuncStartLog(9, "Process");
  log.WriteFuncEndLog(9, "Process", 1234, "ignored", 5);
  log.WriteFuncStartLog(9, "100%s %n %d%%");  // never read as conversions
  log.WriteFuncEndLog(9, "%s%s%s", -7);
  log.WriteFuncStartLog(10, "too detailed");
  log.SetMode(LOG_MODE_IMAGE);
  log.WriteTextLog(0, "text is off");
  log.WriteFuncStartLog(0, "text is off");

  std::vector<std::string> lines = ReadLines(TextLog());
  ASSERT_EQ(lines.size(), 5u);
  const int tid = GetCurrentThreadId();
  for (const std::string& line : lines) EXPECT_EQ(Parse(line).tid, tid) << line;
  char header[16];
  std::snprintf(header, sizeof(header), "[TID:%6d][", tid);
  EXPECT_EQ(lines[0].rfind(header, 0), 0u);
  EXPECT_EQ(Messages(TextLog()),
            (std::vector<std::string>{"value 42 of x", "FuncStart Process",
                                      "FuncEnd Process, duration 1234", "FuncStart 100%s %n %d%%",
                                      "FuncEnd %s%s%s, duration -7"}));
}

TEST_F(LogTest, OverlongLinesAreCutNotOverflowed) {
  TQLog log;
  log.InitLogFromSetting(kBoth, 9, SavePath().c_str());
  const std::string huge(10000, 'h');
  log.WriteTextLog(9, "%s", huge.c_str());
  log.WriteFuncStartLog(9, huge.c_str());
  log.WriteFuncEndLog(9, huge.c_str(), 1);
  log.AddDirLayer(huge.c_str());
  log.WriteTextLog(9, "short");
  std::vector<std::string> lines = ReadLines(TextLog());
  ASSERT_EQ(lines.size(), 5u);
  for (size_t i = 0; i < 4; ++i) {
    EXPECT_EQ(lines[i].size(), internal::kMaxLogLineLength);
    EXPECT_TRUE(Parse(lines[i]).ok);
  }
  EXPECT_EQ(Parse(lines[4]).message, "short");

  // The image file name is cut to 255 bytes by the free function.
  LogTestAccess::Reset(&TQLog::m_instance);
  TQLog::m_instance.InitLogFromSetting(LOG_MODE_IMAGE, 1, SavePath().c_str());
  static std::string written;
  WriteImgLog(
      [](const void*, const char* path) {
        written = path;
        return true;
      },
      nullptr, 1, "%s.png", huge.c_str());
  EXPECT_EQ(written, SavePath() + std::string(255, 'h'));
}

// Several threads write numbered lines of varied length at once; every line must
// arrive whole, exactly once, in its thread's order, with its thread's id.
void CheckConcurrentWriters(TQLog& log, const std::string& textLog, bool cached) {
  constexpr int kThreads = 4;
  constexpr int kLines = 250;
  std::vector<int> tids(kThreads);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      tids[t] = GetCurrentThreadId();
      for (int i = 0; i < kLines; ++i) {
        log.WriteTextLog(9, "w%d n%d %s", t, i, std::string((t * 37 + i * 11) % 300, 'p').c_str());
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  if (cached) {
    EXPECT_FALSE(Exists(textLog));
    EXPECT_EQ(LogTestAccess::CachedLineCount(&log), size_t{kThreads * kLines});
    log.OutputCacheLog();
    EXPECT_EQ(LogTestAccess::CachedLineCount(&log), 0u);
  }

  std::vector<int> next(kThreads, 0);
  std::vector<std::string> lines = ReadLines(textLog);
  ASSERT_EQ(lines.size(), size_t{kThreads * kLines});
  for (const std::string& line : lines) {
    ParsedLine parsed = Parse(line);
    int t = -1;
    int i = -1;
    int consumed = 0;
    ASSERT_TRUE(parsed.ok) << line;
    ASSERT_EQ(std::sscanf(parsed.message.c_str(), "w%d n%d %n", &t, &i, &consumed), 2) << line;
    ASSERT_TRUE(t >= 0 && t < kThreads) << line;
    std::string padding = parsed.message.substr(static_cast<size_t>(consumed));
    EXPECT_EQ(parsed.tid, tids[t]) << line;
    EXPECT_EQ(i, next[t]) << line;
    EXPECT_EQ(padding, std::string((t * 37 + i * 11) % 300, 'p')) << line;
    next[t] = i + 1;
  }
  for (int t = 0; t < kThreads; ++t) EXPECT_EQ(next[t], kLines);
}

TEST_F(LogTest, ConcurrentWritersLoseNothingInBothOutputModes) {
  {
    TQLog log;
    log.InitLogFromSetting(LOG_MODE_TEXT, 9, SavePath().c_str());
    CheckConcurrentWriters(log, TextLog(), false);
  }
  std::remove(TextLog().c_str());
  std::string config =
      WriteConfig("[BARCODECONFIG]\nLevel=9\nMode=2\nOutputMode=1\nPath=" + SavePath());
  TQLog log;
  log.InitLog(config.c_str());
  CheckConcurrentWriters(log, TextLog(), true);
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
        if (AllowLogging(9, LOG_MODE_TEXT)) log.WriteTextLog(9, "line %d", i);
        log.WriteFuncStartLog(9, "F");
      }
    });
  }
  for (std::thread& writer : writers) writer.join();
  stop = true;
  setter.join();
  for (const std::string& line : ReadLines(TextLog())) EXPECT_TRUE(Parse(line).ok) << line;
}

TEST_F(LogTest, CacheGrowsByBlocksAndFlushesInOrder) {
  std::string config =
      WriteConfig("[BARCODECONFIG]\nLevel=9\nMode=2\nOutputMode=1\nPath=" + SavePath());
  TQLog log;
  log.InitLog(config.c_str());
  EXPECT_EQ(LogTestAccess::CacheCapacity(&log), 512u);
  for (int i = 0; i < 511; ++i) log.WriteTextLog(9, "%d", i);
  EXPECT_EQ(LogTestAccess::CacheCapacity(&log), 512u);
  log.WriteTextLog(9, "%d", 511);  // the cache is full: room for 1024 more
  EXPECT_EQ(LogTestAccess::CacheCapacity(&log), 512u + 1024u);
  for (int i = 512; i < 1600; ++i) log.WriteTextLog(9, "%d", i);
  EXPECT_GE(LogTestAccess::CacheCapacity(&log), 1601u);
  EXPECT_FALSE(Exists(TextLog()));

  log.OutputCacheLog();
  log.OutputCacheLog();  // nothing left: nothing written twice
  std::vector<std::string> messages = Messages(TextLog());
  ASSERT_EQ(messages.size(), 1600u);
  for (int i = 0; i < 1600; ++i) EXPECT_EQ(messages[i], std::to_string(i));
}

TEST_F(LogTest, JsonLogFollowsTheLevelOnlyAndStartsOverAfterOutput) {
  std::string config = WriteConfig("[BARCODECONFIG]\nLevel=5\nMode=0\nPath=" + SavePath());
  TQLog log;
  log.InitLog(config.c_str());
  Json::Value first;
  first["stage"] = "locate";
  first["count"] = 3;
  Json::Value second(Json::arrayValue);
  second.append(1.5);
  Json::Value null;
  log.WriteJsonLog(5, first);  // mode 0 does not matter
  log.WriteJsonLog(6, second);
  log.WriteJsonLog(0, null);
  log.WriteJsonLog(-3, second);
  log.OutputJsonLog();
  log.OutputJsonLog();  // null again: writes nothing

  Json::Value expected(Json::arrayValue);
  expected.append(first);
  expected.append(second);
  EXPECT_EQ(ReadFile(JsonLog()), expected.toStyledString() + "\n");

  log.WriteJsonLog(1, first);
  log.OutputJsonLog();
  Json::Value again(Json::arrayValue);
  again.append(first);
  EXPECT_EQ(ReadFile(JsonLog()), expected.toStyledString() + "\n" + again.toStyledString() + "\n");

  // Configured without InitLog there is no JSON file to write to: the document is
  // still cleared, so it is not written later either.
  TQLog direct;
  direct.InitLogFromSetting(kBoth, 9, SavePath().c_str());
  direct.WriteJsonLog(1, first);
  direct.OutputJsonLog();
  EXPECT_EQ(ReadFile(JsonLog()), expected.toStyledString() + "\n" + again.toStyledString() + "\n");
}

std::vector<std::string> g_writtenImages;

bool RecordImage(const void* data, const char* path) {
  g_writtenImages.push_back(path);
  testing_util::WriteFile(path, static_cast<const char*>(data));
  return false;  // a failing writer changes nothing
}

TEST_F(LogTest, DirectoryLayersNestImageFiles) {
  g_writtenImages.clear();
  TQLog log;
  log.InitLogFromSetting(kBoth, 9, SavePath().c_str());
  char pixels[] = "PIXELS";
  log.PopDirLayer();  // empty: no line
  log.AddDirLayer("a");
  log.AddDirLayer("b");
  EXPECT_EQ(log.WriteImgLog(&RecordImage, pixels, "x.png", 1), SavePath() + "a/b/x.png");
  EXPECT_EQ(ReadFile(SavePath() + "a/b/x.png"), "PIXELS");
  EXPECT_EQ(log.WriteImgLog(&RecordImage, pixels, "too-detailed.png", 10), "");
  log.PopDirLayer();
  EXPECT_EQ(log.WriteImgLog(&RecordImage, pixels, "y.png", 9), SavePath() + "a/y.png");
  log.PopDirLayer();
  log.PopDirLayer();
  EXPECT_EQ(log.WriteImgLog(&RecordImage, pixels, "z.png", 9), SavePath() + "z.png");
  EXPECT_EQ(g_writtenImages,
            (std::vector<std::string>{SavePath() + "a/b/x.png", SavePath() + "a/y.png",
                                      SavePath() + "z.png"}));
  EXPECT_EQ(Messages(TextLog()), (std::vector<std::string>{"enter logDir a", "enter logDir b",
                                                           "exist logDir b", "exist logDir a"}));

  // Without the image mode, layers are neither pushed nor logged nor popped.
  log.SetMode(LOG_MODE_TEXT);
  log.AddDirLayer("c");
  EXPECT_EQ(LogTestAccess::LayerCount(&log), 0u);
  EXPECT_EQ(log.WriteImgLog(&RecordImage, pixels, "w.png", 1), "");
  log.SetMode(LOG_MODE_IMAGE);
  log.AddDirLayer("quiet");  // the line needs the text mode; the layer does not
  EXPECT_EQ(LogTestAccess::LayerCount(&log), 1u);
  log.SetMode(LOG_MODE_TEXT);
  log.PopDirLayer();
  EXPECT_EQ(LogTestAccess::LayerCount(&log), 1u);
  EXPECT_EQ(Messages(TextLog()).size(), 4u);
  EXPECT_EQ(g_writtenImages.size(), 3u);

  // CreatDir makes what is missing and leaves what can be opened.
  EXPECT_TRUE(log.CreatDir(SavePath() + "fresh"));
  EXPECT_EQ(std::filesystem::status(SavePath() + "fresh").permissions() &
                std::filesystem::perms::owner_all,
            std::filesystem::perms::owner_all);
  EXPECT_FALSE(log.CreatDir(SavePath() + "fresh"));
  EXPECT_FALSE(log.CreatDir(SavePath() + "a/b/x.png"));

  // The free function formats the name and writes under the process-wide log.
  TQLog::m_instance.InitLogFromSetting(LOG_MODE_IMAGE, 3, SavePath().c_str());
  WriteImgLog(&RecordImage, pixels, 3, "frame_%03d.%s", 7, "bmp");
  WriteImgLog(&RecordImage, pixels, 4, "frame_%03d.%s", 8, "bmp");
  EXPECT_EQ(g_writtenImages.back(), SavePath() + "frame_007.bmp");
  EXPECT_EQ(g_writtenImages.size(), 4u);
}

TEST_F(LogTest, DestructionFlushesOnlyOutputModeOne) {
  for (int outputMode : {1, 2}) {
    TempDir dir;
    {
      TQLog log;
      std::string config = dir / "config.ini";
      WriteFile(config, "[BARCODECONFIG]\nLevel=9\nMode=2\nOutputMode=" +
                            std::to_string(outputMode) + "\nPath=" + dir.path() + "/\n");
      log.InitLog(config.c_str());
      log.WriteTextLog(9, "cached %d", outputMode);
      Json::Value value(outputMode);
      log.WriteJsonLog(9, value);
      EXPECT_FALSE(Exists(dir / "NorvaneKestrel.log"));
    }
    Json::Value expected(Json::arrayValue);
    expected.append(outputMode);
    EXPECT_EQ(ReadFile(dir / "NorvaneTRX.log"), expected.toStyledString() + "\n");
    if (outputMode == 1) {
      EXPECT_EQ(Messages(dir / "NorvaneKestrel.log"), std::vector<std::string>{"cached 1"});
    } else {
      EXPECT_FALSE(Exists(dir / "NorvaneKestrel.log"));  // lost without OutputCacheLog
    }
  }
}

TEST_F(LogTest, ProcessExitFlushesTheProcessWideLog) {
  std::string config =
      WriteConfig("[BARCODECONFIG]\nLevel=9\nMode=3\nOutputMode=1\nPath=" + SavePath());
  std::fflush(nullptr);
  pid_t child = fork();
  ASSERT_NE(child, -1);
  if (child == 0) {
    InitLog(config.c_str());
    TQLog::m_instance.WriteFuncStartLog(9, "Child");
    TQLog::m_instance.WriteFuncEndLog(9, "Child", 3);
    Json::Value value("done");
    TQLog::m_instance.WriteJsonLog(9, value);
    std::exit(0);  // runs the static destructors, as unloading the library does
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  EXPECT_EQ(Messages(TextLog()),
            (std::vector<std::string>{"FuncStart Child", "FuncEnd Child, duration 3"}));
  Json::Value expected(Json::arrayValue);
  expected.append("done");
  EXPECT_EQ(ReadFile(JsonLog()), expected.toStyledString() + "\n");
}

}  // namespace
}  // namespace norvane
