// Access to the log's state for the library's own tests: the log is process-wide,
// so tests bring it back to its first state between cases, and they redirect the
// configuration file that InitLogFromDLL asks for so that /etc is never read.
// Not exported.
#ifndef NORVANE_LOG_LOG_INTERNAL_H_
#define NORVANE_LOG_LOG_INTERNAL_H_

#include <string>

#include "norvane/log/log.h"

namespace norvane {
namespace internal {

// Gives the path to read instead of `requested`.
typedef std::string (*ConfigPathRedirect)(const std::string& requested);

class LogTestAccess {
 public:
  // Unconfigured, with empty paths, layers, cache, JSON document and image name.
  static void Reset(TQLog* log);
  // Null restores the real path.
  static void SetConfigPathRedirect(ConfigPathRedirect redirect);
  static ConfigPathRedirect GetConfigPathRedirect();
  static size_t CachedLineCount(TQLog* log);
  static size_t CacheCapacity(TQLog* log);
  static std::string GetTextLogPath(TQLog* log);
  static std::string GetJsonLogPath(TQLog* log);
  static size_t LayerCount(TQLog* log);
};

// The longest text line, without its newline; longer lines are cut.
constexpr size_t kMaxLogLineLength = 4095;
// The size of the buffer the image file name is formatted into.
constexpr size_t kImageNameBufferSize = 256;

}  // namespace internal
}  // namespace norvane

#endif  // NORVANE_LOG_LOG_INTERNAL_H_
