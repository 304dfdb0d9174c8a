#include "norvane/log/log.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "core/regular_file.h"
#include "norvane/core/platform.h"
#include "norvane/log/ini_io.h"
#include "norvane/log/path_helper.h"

namespace norvane {
namespace {

const char kConfigFileName[] = "NorvaneLogConfig.ini";
const char kConfigSection[] = "BARCODECONFIG";
const char kTextLogName[] = "NorvaneKestrel.log";
const char kJsonLogName[] = "NorvaneTRX.log";
constexpr int kLibraryLevel = 9;
constexpr size_t kInitialCacheLines = 512;
constexpr size_t kCacheGrowthLines = 1024;

// The longest text line, without its newline; longer lines are cut.
constexpr size_t kMaxLogLineLength = 4095;
// The size of the buffer the image file name is formatted into.
constexpr size_t kImageNameBufferSize = 256;
// The cached text lines are written in pieces of about this size.
constexpr size_t kCacheWriteBytes = 64 << 10;

// Opens a log file for appending: only a regular file, never through a final
// symbolic link, never waiting on a FIFO. A file that cannot be opened so loses
// what was to be written, as any log file that cannot be opened.
internal::FileDescriptor OpenLogFile(const std::string& path) {
  std::string reason;
  return internal::OpenForAppend(path, &reason);
}

// One text line under construction: bounded, always room for a newline and a NUL.
class LineBuilder {
 public:
  static constexpr size_t kCapacity = kMaxLogLineLength;

  LineBuilder() = default;
  LineBuilder(const LineBuilder&) = delete;
  LineBuilder& operator=(const LineBuilder&) = delete;

  // "[TID:%6d][YYYY/MM/DD HH:MM:SS]" of the calling thread and second.
  void AppendHeader() {
    Append(ThreadText());
    Append("[", 1);
    AppendTime();
    Append("]", 1);
  }

  void Append(const char* text) { Append(text, std::strlen(text)); }
  void Append(const char* text, size_t length) {
    size_t room = kCapacity - length_;
    if (length > room) length = room;
    std::memcpy(buffer_ + length_, text, length);
    length_ += length;
  }

  void AppendFormat(const char* format, va_list args) {
    size_t room = kCapacity - length_;
    // vsnprintf always terminates within room + 1 bytes and reports the full length.
    int written = std::vsnprintf(buffer_ + length_, room + 1, format, args);
    if (written < 0) return;
    length_ += static_cast<size_t>(written) < room ? static_cast<size_t>(written) : room;
  }

  char* data() { return buffer_; }
  size_t length() const { return length_; }

 private:
  // The thread's id never changes, so its text is made once per thread.
  static const char* ThreadText() {
    thread_local char text[24] = {0};
    if (text[0] == 0) std::snprintf(text, sizeof(text), "[TID:%6d]", GetCurrentThreadId());
    return text;
  }

  // Local time changes once a second: each thread keeps the text of the last
  // second it logged in, and only a new second costs a localtime_r/strftime.
  void AppendTime() {
    struct TimeCache {
      time_t second = static_cast<time_t>(-1);
      size_t length = 0;
      char text[128];
    };
    thread_local TimeCache cache;
    time_t now = time(nullptr);
    if (now != cache.second) {
      struct tm local;
      if (localtime_r(&now, &local) == nullptr) std::memset(&local, 0, sizeof(local));
      cache.length = std::strftime(cache.text, sizeof(cache.text), "%Y/%m/%d %H:%M:%S", &local);
      cache.second = now;
    }
    Append(cache.text, cache.length);
  }

  char buffer_[kCapacity + 2];
  size_t length_ = 0;
};

}  // namespace

TQLog TQLog::m_instance;

TQLog::TQLog() : level_(0), mode_(0), outputMode_(0), initialized_(0) {}

TQLog::~TQLog() {
  OutputJsonLog();
  bool flushCache = false;
  {
    SyncObjectLock lock(this);
    flushCache = outputMode_.load(std::memory_order_relaxed) == 1 && !cache_.empty();
  }
  if (flushCache) OutputCacheLog();
  // Whatever logs after this point (other static objects being destroyed) is
  // turned away by the guard instead of touching destroyed members.
  level_.store(0, std::memory_order_relaxed);
  mode_.store(0, std::memory_order_relaxed);
}

void TQLog::InitLog(const char* iniPath) {
  SyncObjectLock lock(this);
  if (initialized_.load(std::memory_order_relaxed) != 0 || iniPath == nullptr) return;
  INI_IO ini;
  if (!ini.Load(iniPath)) return;
  m_savePath = ini.GetString(kConfigSection, "Path", "");
  textLogPath_ = m_savePath + kTextLogName;
  jsonLogPath_ = m_savePath + kJsonLogName;
  level_.store(ini.GetInt(kConfigSection, "Level", 0), std::memory_order_relaxed);
  mode_.store(ini.GetInt(kConfigSection, "Mode", 0), std::memory_order_relaxed);
  int outputMode = ini.GetInt(kConfigSection, "OutputMode", 0);
  outputMode_.store(outputMode, std::memory_order_relaxed);
  if (outputMode == 1) cache_.reserve(kInitialCacheLines);
  initialized_.store(1, std::memory_order_release);
}

void TQLog::InitLogFromDLL(const std::string& libraryPath) {
  if (IsInitialized()) return;
  std::string path;
  PathHelper::GetINIPath(kConfigFileName, libraryPath, path);
  InitLog(path.c_str());
}

void TQLog::InitLogFromSetting(LogMode mode, int level, const char* savePath) {
  level_.store(level, std::memory_order_relaxed);
  mode_.store(mode, std::memory_order_relaxed);
  {
    // The paths are strings that a writer may be reading: they change under the lock.
    SyncObjectLock lock(this);
    m_savePath = savePath != nullptr ? savePath : "";
    textLogPath_ = m_savePath + kTextLogName;
  }
  initialized_.store(1, std::memory_order_release);
}

void TQLog::SetSavePath(std::string& path) {
  SyncObjectLock lock(this);
  m_savePath = path;
  textLogPath_ = m_savePath + kTextLogName;
}

std::string TQLog::GetSavePath() const {
  SyncObjectLock lock(this);
  return m_savePath;
}

void TQLog::WriteTextLog(int level, const char* format, ...) {
  if (!AllowLogging(level, LOG_MODE_TEXT)) return;
  LineBuilder line;
  line.AppendHeader();
  if (format != nullptr) {
    va_list args;
    va_start(args, format);
    line.AppendFormat(format, args);
    va_end(args);
  }
  StoreLine(line.data(), line.length());
}

void TQLog::WriteLiteralLine(int level, const char* prefix, const char* text) {
  if (!AllowLogging(level, LOG_MODE_TEXT)) return;
  LineBuilder line;
  line.AppendHeader();
  line.Append(prefix);
  line.Append(text != nullptr ? text : "(null)");
  StoreLine(line.data(), line.length());
}

void TQLog::WriteFuncStartLog(int level, const char* funcName) {
  WriteLiteralLine(level, "FuncStart ", funcName);
}

void TQLog::WriteFuncEndLog(int level, const char* funcName, int duration, ...) {
  if (!AllowLogging(level, LOG_MODE_TEXT)) return;
  char tail[32];
  std::snprintf(tail, sizeof(tail), ", duration %d", duration);
  LineBuilder line;
  line.AppendHeader();
  line.Append("FuncEnd ");
  line.Append(funcName != nullptr ? funcName : "(null)");
  line.Append(tail);
  StoreLine(line.data(), line.length());
}

void TQLog::StoreLine(char* line, size_t length) {
  SyncObjectLock lock(this);
  if (outputMode_.load(std::memory_order_relaxed) != 0) {
    cache_.emplace_back(line, length);
    if (cache_.size() >= cache_.capacity()) cache_.reserve(cache_.size() + kCacheGrowthLines);
    return;
  }
  const internal::FileDescriptor file = OpenLogFile(textLogPath_);
  if (!file.valid()) return;
  line[length] = '\n';
  internal::WriteAll(file.get(), line, length + 1);
}

void TQLog::WriteJsonLog(int level, Json::Value& value) {
  if (level_.load(std::memory_order_relaxed) < level || value.isNull()) return;
  SyncObjectLock lock(this);
  jsonLog_.append(value);
}

void TQLog::OutputJsonLog() {
  SyncObjectLock lock(this);
  if (jsonLog_.isNull()) return;
  const internal::FileDescriptor file = OpenLogFile(jsonLogPath_);
  if (file.valid()) {
    std::string text = jsonLog_.toStyledString();
    text += '\n';
    internal::WriteAll(file.get(), text.data(), text.size());
  }
  // Cleared under the lock too, so a value appended meanwhile is never lost unseen.
  jsonLog_ = Json::Value();
}

void TQLog::OutputCacheLog() {
  SyncObjectLock lock(this);
  if (cache_.empty()) return;
  const internal::FileDescriptor file = OpenLogFile(textLogPath_);
  if (file.valid()) {
    // Written in pieces of about kCacheWriteBytes: few system calls, little memory.
    std::string piece;
    for (const std::string& line : cache_) {
      piece += line;
      piece += '\n';
      if (piece.size() >= kCacheWriteBytes) {
        internal::WriteAll(file.get(), piece.data(), piece.size());
        piece.clear();
      }
    }
    internal::WriteAll(file.get(), piece.data(), piece.size());
  }
  cache_.clear();
}

void TQLog::AddDirLayer(const char* name) {
  if ((mode_.load(std::memory_order_relaxed) & LOG_MODE_IMAGE) == 0) return;
  if (name == nullptr) name = "";
  WriteLiteralLine(kLibraryLevel, "enter logDir ", name);
  SyncObjectLock lock(this);
  layers_.push_back(name);
}

void TQLog::PopDirLayer() {
  if ((mode_.load(std::memory_order_relaxed) & LOG_MODE_IMAGE) == 0) return;
  SyncObjectLock lock(this);
  if (layers_.empty()) return;
  WriteLiteralLine(kLibraryLevel, "exist logDir ", layers_.back().c_str());
  layers_.pop_back();
}

std::string TQLog::WriteImgLog(LogImageWriter writer, void* data, const char* fileName, int level) {
  if (!AllowLogging(level, LOG_MODE_IMAGE)) return std::string();
  std::deque<std::string> layers;
  std::string directory;
  {
    SyncObjectLock lock(this);
    layers = layers_;
    directory = m_savePath;
  }
  for (const std::string& layer : layers) {
    directory += layer;
    directory += '/';
    CreatDir(directory);
  }
  std::string path = directory + (fileName != nullptr ? fileName : "");
  if (writer != nullptr) writer(data, path.c_str());
  return path;
}

bool TQLog::CreatDir(std::string path) {
  // Non-blocking, so that a FIFO under this name is answered at once.
  const int fd = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
  if (fd >= 0) {
    close(fd);
    return false;
  }
  mkdir(path.c_str(), 0755);
  return true;
}

void TQLog::SetLogImgName(const char* name) {
  SyncObjectLock lock(this);
  imgName_ = name != nullptr ? name : "";
}

std::string TQLog::GetLogImgName() const {
  SyncObjectLock lock(this);
  return imgName_;
}

void InitLog(const char* iniPath) { TQLog::m_instance.InitLog(iniPath); }

void InitLogFromDLL(const std::string& libraryPath) {
  TQLog::m_instance.InitLogFromDLL(libraryPath);
}

std::string GetSavePath() { return TQLog::m_instance.GetSavePath(); }

void SetLogImgName(const char* name) { TQLog::m_instance.SetLogImgName(name); }

void WriteImgLog(LogImageWriter writer, void* data, int level, const char* format, ...) {
  // Checked first so that a disabled image log costs no formatting.
  if (!TQLog::m_instance.AllowLogging(level, LOG_MODE_IMAGE)) return;
  char name[kImageNameBufferSize] = {0};
  if (format != nullptr) {
    va_list args;
    va_start(args, format);
    std::vsnprintf(name, sizeof(name), format, args);
    va_end(args);
  }
  TQLog::m_instance.WriteImgLog(writer, data, name, level);
}

int TQPrintf(const char* format, ...) {
  va_list args;
  va_start(args, format);
  int count = std::vprintf(format, args);
  va_end(args);
  return count;
}

}  // namespace norvane
