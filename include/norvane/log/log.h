// The process-wide log: text lines, a JSON document and image files, all under one
// log directory, configured once from "/etc/NorvaneLogConfig.ini" (section
// "BARCODECONFIG": Path, Level, Mode, OutputMode) or by InitLogFromSetting.
//
// A request at level L passes when the configured level is at least L; text lines
// also need LOG_MODE_TEXT, image files and directory layers LOG_MODE_IMAGE, the JSON
// log only the level. Until configured, level and mode are 0 and nothing is written.
// The library itself logs at level 9, always behind the cheap inline guard:
//   if (AllowLogging(9, LOG_MODE_TEXT)) TQLog::m_instance.WriteTextLog(9, "...", ...);
//
// Text lines read "[TID:%6d][YYYY/MM/DD HH:MM:SS]" + message, at most 4 KiB
// (longer ones are cut). Output mode 0 appends each line to the text log file at
// once; any other output mode caches lines until OutputCacheLog(). Log files are
// written only when they are regular files (or missing: then made), never through
// a final symbolic link and never waiting on a FIFO. The instance
// lives as long as the library: when it is unloaded, the collected JSON is written
// and, in output mode 1, the cached lines too.
//
// Thread safety: any thread may log. File writes, the cache, the JSON document, the
// paths and the layer stack are guarded by the log's own lock; level, mode and
// output mode are atomic, so the guard is two relaxed loads and two compares. The
// directory layers form one stack for the whole process and are meant for one
// processing thread at a time.
#ifndef NORVANE_LOG_LOG_H_
#define NORVANE_LOG_LOG_H_

#include <json/json.h>

#include <atomic>
#include <deque>
#include <string>
#include <vector>

#include "norvane/core/export.h"
#include "norvane/core/sync_object.h"
#include "norvane/core/thread_annotations.h"

#if defined(__GNUC__) || defined(__clang__)
#define NORVANE_PRINTF_FORMAT(format_index, first_arg) \
  __attribute__((format(printf, format_index, first_arg)))
#else
#define NORVANE_PRINTF_FORMAT(format_index, first_arg)
#endif

namespace norvane {

// Bit mask of the kinds of output that are switched on; 3 enables both.
enum LogMode : int { LOG_MODE_IMAGE = 1, LOG_MODE_TEXT = 2 };

// Writes the image `data` to the file `path`; its result is ignored.
typedef bool (*LogImageWriter)(const void* data, const char* path);

class NORVANE_API TQLog : public SyncObject {
 public:
  // The process-wide log that the library and its sibling modules write to.
  static TQLog m_instance;

  TQLog();
  // Writes the collected JSON and, in output mode 1, the cached text lines.
  ~TQLog();
  TQLog(const TQLog&) = delete;
  TQLog& operator=(const TQLog&) = delete;

  // Configures from the INI file unless already configured. A file that INI_IO::Load
  // refuses (missing, unreadable, not a regular file, larger than
  // INI_IO::kMaxFileSize) leaves the log unconfigured, IsInitialized() false, so a
  // later call may try again.
  void InitLog(const char* iniPath);
  // InitLog with "/etc/NorvaneLogConfig.ini" unless already configured; the
  // library path is not used.
  void InitLogFromDLL(const std::string& libraryPath);
  // Configures directly, whether configured before or not. The JSON log path is
  // left as it was (empty unless InitLog set it).
  void InitLogFromSetting(LogMode mode, int level, const char* savePath);

  void SetMode(LogMode mode) { mode_.store(mode, std::memory_order_relaxed); }
  void SetLevel(int level) { level_.store(level, std::memory_order_relaxed); }
  // The save path is a prefix: file names are appended with no separator.
  void SetSavePath(std::string& path);
  std::string GetSavePath() const;
  int GetLevel() const { return level_.load(std::memory_order_relaxed); }
  LogMode GetMode() const { return static_cast<LogMode>(mode_.load(std::memory_order_relaxed)); }
  int GetOutputMode() const { return outputMode_.load(std::memory_order_relaxed); }
  bool IsInitialized() const { return initialized_.load(std::memory_order_acquire) != 0; }

  // True when the configured level is at least `level` and `mode` shares a bit
  // with the configured mode.
  bool AllowLogging(int level, LogMode mode) const {
    return level_.load(std::memory_order_relaxed) >= level &&
           (mode_.load(std::memory_order_relaxed) & mode) != 0;
  }

  // Formats one text line (printf rules) and writes or caches it.
  void WriteTextLog(int level, const char* format, ...) NORVANE_PRINTF_FORMAT(3, 4);
  // "FuncStart <name>"; the name is written as it is, never read as a format.
  void WriteFuncStartLog(int level, const char* funcName);
  // "FuncEnd <name>, duration <duration>"; the trailing arguments are ignored.
  void WriteFuncEndLog(int level, const char* funcName, int duration, ...);

  // Appends `value` to the JSON array when the level passes and `value` is not null.
  void WriteJsonLog(int level, Json::Value& value);
  // Appends the styled JSON array to the JSON log file and starts a new array.
  void OutputJsonLog();
  // Appends the cached text lines to the text log file and empties the cache.
  void OutputCacheLog();

  // With LOG_MODE_IMAGE: logs "enter logDir <name>" at level 9 and pushes `name`
  // (null counts as empty) onto the directory layers.
  void AddDirLayer(const char* name);
  // With LOG_MODE_IMAGE and a layer to pop: logs "exist logDir <name>" at level 9
  // and pops it.
  void PopDirLayer();
  // When the level passes and LOG_MODE_IMAGE is on: creates the layer directories
  // below the save path one by one, calls `writer(data, path)` with
  // path = save path + layers + `fileName` and returns that path; otherwise
  // returns the empty string without calling `writer`.
  std::string WriteImgLog(LogImageWriter writer, void* data, const char* fileName, int level);
  // Makes the directory `path` (mode 0755) unless `path` can be opened for
  // reading; true when it tried to make it.
  bool CreatDir(std::string path);

  void SetLogImgName(const char* name);
  std::string GetLogImgName() const;

 private:
  // Writes "<prefix><text>" as a text line at `level`, both taken literally.
  void WriteLiteralLine(int level, const char* prefix, const char* text);
  // Caches the line or appends it, with a newline, to the text log file.
  // `line` has room for one byte after `length`.
  void StoreLine(char* line, size_t length);

  std::string m_savePath GUARDED_BY(this);
  std::string textLogPath_ GUARDED_BY(this);
  std::string jsonLogPath_ GUARDED_BY(this);
  std::string unusedPath1_;
  std::string unusedPath2_;
  std::atomic<int> level_;
  std::atomic<int> mode_;
  std::atomic<int> outputMode_;
  std::atomic<int> initialized_;
  std::deque<std::string> layers_ GUARDED_BY(this);
  std::vector<std::string> cache_ GUARDED_BY(this);
  Json::Value jsonLog_ GUARDED_BY(this);
  std::string imgName_ GUARDED_BY(this);
};

NORVANE_API void InitLog(const char* iniPath);
NORVANE_API void InitLogFromDLL(const std::string& libraryPath);
NORVANE_API std::string GetSavePath();
NORVANE_API void SetLogImgName(const char* name);
// Formats the file name into 256 bytes (longer names are cut) and calls the
// member WriteImgLog of the process-wide log; the path it returns is dropped.
NORVANE_API void WriteImgLog(LogImageWriter writer, void* data, int level, const char* format, ...)
    NORVANE_PRINTF_FORMAT(4, 5);
// printf to standard output, bypassing the log; returns printf's count.
NORVANE_API int TQPrintf(const char* format, ...) NORVANE_PRINTF_FORMAT(1, 2);

// The guard in front of every log write: inline, two loads and two compares.
inline bool AllowLogging(int level, LogMode mode) {
  return TQLog::m_instance.AllowLogging(level, mode);
}

}  // namespace norvane

#endif  // NORVANE_LOG_LOG_H_
