#include "log_setup.h"

#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "core/regular_file.h"
#include "norvane/core/mutex.h"
#include "norvane/log/ini_io.h"
#include "norvane/log/log.h"

namespace capture {
namespace {

using norvane::TQLog;

const char kTextLogName[] = "NorvaneKestrel.log";
const char kJsonLogName[] = "NorvaneTRX.log";

bool HasControlCharacter(const std::string& text) {
  return std::any_of(text.begin(), text.end(),
                     [](unsigned char c) { return c < 0x20 || c == 0x7f; });
}

// The size of the regular file at `path`, or -1.
long long FileSize(const std::string& path) {
  struct stat info;
  if (lstat(path.c_str(), &info) != 0 || !S_ISREG(info.st_mode)) return -1;
  return static_cast<long long>(info.st_size);
}

// Makes `dir` and its missing parents (mode 0755); false with errno set on failure.
bool MakeDirectories(const std::string& dir) {
  for (size_t at = 0; at != std::string::npos;) {
    at = dir.find('/', at + 1);
    const std::string path = dir.substr(0, at);
    if (!path.empty() && mkdir(path.c_str(), 0755) != 0 && errno != EEXIST) return false;
  }
  struct stat info;
  if (stat(dir.c_str(), &info) != 0) return false;
  if (!S_ISDIR(info.st_mode)) {
    errno = ENOTDIR;
    return false;
  }
  return true;
}

// The folder the files of a save path (a prefix) go to.
std::string FolderOf(const std::string& savePath) {
  const size_t slash = savePath.find_last_of('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : savePath.substr(0, slash);
}

// Configures the process-wide log from `text` through a private INI file: a new file
// of the temporary directory that no one else can write, removed once read.
std::string InitLogPrivately(const std::string& text) {
  const char* tmp = std::getenv("TMPDIR");
  std::string name = std::string(tmp != nullptr && *tmp != '\0' ? tmp : "/tmp") +
                     "/norvane-capture-XXXXXX.ini";
  const norvane::internal::FileDescriptor file(mkostemps(&name[0], 4, O_CLOEXEC));
  if (!file.valid()) {
    return "cannot create a private log configuration in " + name.substr(0, name.rfind('/')) +
           ": " + std::strerror(errno);
  }
  const bool written = norvane::internal::WriteAll(file.get(), text.data(), text.size());
  if (written) TQLog::m_instance.InitLog(name.c_str());
  unlink(name.c_str());
  if (!written) return "cannot write a private log configuration: " + std::string(std::strerror(errno));
  return std::string();
}

}  // namespace

RunLog::~RunLog() {
  if (lockFd_ >= 0) close(lockFd_);
}

std::string RunLog::LockFolder(const std::string& savePath) {
  const std::string folder = FolderOf(savePath);
  lockFd_ = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (lockFd_ < 0) return "cannot use log folder " + folder + ": " + std::strerror(errno);
  // A file system without flock cannot tell whether another run writes here; the
  // run goes on then, as it would without the lock.
  if (flock(lockFd_, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
    return "log folder " + folder +
           " is in use by another run (each run needs a log folder of its own)";
  }
  return std::string();
}

std::string RunLog::Configure(const std::string& logDir, const std::string& logConfig) {
  TQLog& log = TQLog::m_instance;
  if (!logConfig.empty()) {
    std::string content, reason;
    if (!norvane::internal::ReadRegularFile(logConfig, norvane::INI_IO::kMaxFileSize, &content,
                                            &reason)) {
      return "cannot use log configuration " + logConfig + ": " + reason;
    }
    log.InitLog(logConfig.c_str());
    if (!log.IsInitialized()) return "cannot read log configuration " + logConfig;
    if (log.GetLevel() < 1) {
      return "log configuration " + logConfig +
             " writes no log (section BARCODECONFIG needs a Level of 1 or more)";
    }
    savePath_ = log.GetSavePath();
    const std::string locked = LockFolder(savePath_);
    if (!locked.empty()) return locked;
  } else if (!logDir.empty()) {
    if (HasControlCharacter(logDir))
      return "the log directory's name must not hold control characters such as a newline";
    if (!MakeDirectories(logDir))
      return "cannot create log directory " + logDir + ": " + std::strerror(errno);
    // Absolute: the INI reader trims what it reads, and the folder is the same
    // whatever the working directory later is.
    std::unique_ptr<char, decltype(&std::free)> absolute(realpath(logDir.c_str(), nullptr),
                                                        &std::free);
    if (absolute == nullptr) return "cannot use log directory " + logDir + ": " + std::strerror(errno);
    savePath_ = absolute.get();
    if (savePath_.back() != '/') savePath_ += '/';
    if (HasControlCharacter(savePath_)) {
      return "the log directory's path " + savePath_ +
             " must not hold control characters such as a newline";
    }
    const std::string locked = LockFolder(savePath_);
    if (!locked.empty()) return locked;
    const std::string failed = InitLogPrivately("[BARCODECONFIG]\nPath=" + savePath_ +
                                                "\nLevel=9\nMode=3\nOutputMode=0\n");
    if (!failed.empty()) return failed;
    if (!log.IsInitialized() || log.GetSavePath() != savePath_)
      return "cannot configure the log for " + logDir;
  } else {
    return std::string();
  }
  active_ = true;
  textLogSize_ = FileSize(savePath_ + kTextLogName);
  jsonLogSize_ = FileSize(savePath_ + kJsonLogName);
  return std::string();
}

void PaceJsonLog() {
  struct Pace {
    norvane::Mutex mu;
    int frames GUARDED_BY(mu) = 0;
    std::chrono::steady_clock::time_point last GUARDED_BY(mu) = std::chrono::steady_clock::now();
  };
  static Pace pace;
  const auto now = std::chrono::steady_clock::now();
  {
    norvane::MutexLock lock(&pace.mu);
    if (++pace.frames < kJsonLogFrames && now - pace.last < std::chrono::seconds(1)) return;
    pace.frames = 0;
    pace.last = now;
  }
  TQLog::m_instance.OutputJsonLog();
}

void FlushLogs() {
  TQLog::m_instance.OutputJsonLog();
  TQLog::m_instance.OutputCacheLog();
}

std::string RunLog::NoLogWritten() const {
  if (!active_) return std::string();
  const bool textGrew = FileSize(savePath_ + kTextLogName) > std::max(textLogSize_, 0LL);
  const bool jsonGrew = FileSize(savePath_ + kJsonLogName) > std::max(jsonLogSize_, 0LL);
  if (textGrew || jsonGrew) return std::string();
  return "no log was written to " + FolderOf(savePath_) + " (neither " + savePath_ + kTextLogName +
         " nor " + savePath_ + kJsonLogName + " grew)";
}

}  // namespace capture
