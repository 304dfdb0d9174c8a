// The log of one run of norvane-capture: configures the process-wide log for a log
// folder (--log-dir) or from the user's INI file (--log-config), keeps the folder to
// this run, writes the collected JSON log as the run goes, and tells when the run
// left no log behind.
//
//  - A log folder's configuration is private: it is written to a new file of the
//    temporary directory (mkstemp, mode 0600), read and removed at once, never to the
//    folder. The folder's path is written out absolute and ends in "/", so no white
//    space at its ends is lost to the INI reader's trimming.
//  - One run at a time per folder: the run holds an exclusive flock on the folder for
//    its life; a second run on the same folder is refused with a message, because the
//    log's file names are fixed and two runs would mix or overwrite their logs.
//  - A configuration that can write nothing (Level below 1) is refused; after the run,
//    NoLogWritten() names a folder whose text and JSON logs did not grow.
//
// Thread safety: a RunLog on the program's main thread; PaceJsonLog and FlushLogs on
// any thread, at once too, but not in a signal handler (they take locks): a program
// that stops on SIGINT or SIGTERM notes the signal and calls FlushLogs afterwards.
#ifndef NORVANE_ROUTER_LOG_SETUP_H_
#define NORVANE_ROUTER_LOG_SETUP_H_

#include <string>

namespace capture {

// The JSON log is written after this many frames, or after a second, whichever comes first.
constexpr int kJsonLogFrames = 64;

class RunLog {
 public:
  RunLog() = default;
  // Releases the folder (the lock); writes nothing.
  ~RunLog();
  RunLog(const RunLog&) = delete;
  RunLog& operator=(const RunLog&) = delete;

  // Configures the process-wide log once: with `logDir` (made when missing) to write
  // everything there, else from the INI file `logConfig`, else not at all. Returns
  // the message to stop the program with, or empty.
  std::string Configure(const std::string& logDir, const std::string& logConfig);

  // After the final FlushLogs: a message when the run was to write logs and neither
  // the text log nor the JSON log grew, else empty.
  std::string NoLogWritten() const;

 private:
  std::string LockFolder(const std::string& savePath);

  int lockFd_ = -1;
  bool active_ = false;
  std::string savePath_;
  long long textLogSize_ = -1, jsonLogSize_ = -1;  // before the run; -1 when missing
};

// After each frame handed to the JSON log: writes the collected JSON log when
// kJsonLogFrames frames or a second have passed since it was last written, so that
// it never holds more than that in memory.
void PaceJsonLog();

// Writes the collected JSON log and any cached text lines now: at the end of a run,
// also an interrupted one.
void FlushLogs();

}  // namespace capture

#endif  // NORVANE_ROUTER_LOG_SETUP_H_
