/// \file
/// The router's C++ interface: a Reader loads one recognition module by name and runs
/// its task graph over images, one at a time (Read, ReadFile) or as a stream (Start,
/// Push, Finish), on a pool of worker threads of its own.
///
/// Modules are found as "lib" + name + ".so" on the module path: the folders named in
/// the environment variable NORVANE_MODULE_PATH (separated by ':'), then the folder
/// "norvane/modules" beside libNorvaneRouter (where the packages install them), then
/// "../modules" beside it (the build tree), and last the core library's own search
/// (beside libNorvaneCore, beside the program, the system's library path).
///
/// Ownership: the Reader owns the module and the library it came from; results are
/// plain values. Thread safety: a Reader may be shared between threads; its calls are
/// serialised, except Push, which may be called from any thread while a stream runs.
#ifndef NORVANE_ROUTER_READER_H_
#define NORVANE_ROUTER_READER_H_

#include <json/json.h>

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "norvane/core/export.h"
#include "norvane/router/capture_module.h"

namespace norvane {
namespace router {

/// How a Reader reads; the defaults read every format thoroughly with 2 workers.
struct ReaderOptions {
  std::string moduleOptions;  ///< the module's own options
  std::vector<std::string> formats;  ///< symbologies to report (any case, '-' and '_' ignored)
  bool fast = false;  ///< fewer attempts per image: less time, fewer hard codes
  int workers = 2;  ///< 1..64
  int timeoutTicks = 100000;  ///< an image's time-out count, in ticks
  int tickMs = 10;  ///< milliseconds per tick
  bool dropOldest = false;  ///< a stream drops its oldest image rather than wait
  unsigned long long maxPixels = 64ull << 20;  ///< larger image files are refused
};

/// One thing a module found in an image.
struct Finding {
  std::string format;                     ///< its symbology, by the module's name
  std::string text;                       ///< what it reads
  std::vector<unsigned char> bytes;       ///< the bytes it holds
  basic_structures::CQuadrilateral quad;  ///< its corners in image coordinates
  Json::Value json;  ///< the module's own JSON form of the item
};

/// What became of one image.
struct ImageResult {
  int imageId = -1;  ///< the id of the image's tag; -1 without a tag
  std::string file;  ///< the image's file, where it came from one
  int width = 0;   ///< the image's size in pixels
  int height = 0;  ///< the image's size in pixels
  int errorCode = 0;  ///< the newest task error of the image; 0 when none
  std::string errorString;  ///< the message of errorCode
  bool timedOut = false;  ///< a task reported -10026
  int taskErrors = 0;  ///< other failing task codes
  int units = 0;  ///< task units run
  double milliseconds = 0;        ///< from taken out of the buffer to finished
  std::vector<Finding> findings;  ///< what the module found, in the formats asked for
  /// The regions each task output, by task name, for image logs.
  std::map<std::string, std::vector<basic_structures::CQuadrilateral>> taskRegions;
};

/// Totals of a stream.
struct StreamTotals {
  int images = 0;  ///< results delivered
  int pushed = 0;  ///< images accepted by Push
  int dropped = 0;  ///< pushed images dropped unread (dropOldest)
  int units = 0;  ///< task units run
  double seconds = 0;  ///< wall time of the stream
  double pixelSeconds = -1;  ///< the module's pixel work in the workers; -1: unknown
  double routerCpuSeconds = 0;  ///< CPU time of the router's thread, callbacks included
  long semaphoreLeft = 0;  ///< 0 when every task unit signalled once
};

/// Called on the router's thread for every finished image, with the grey image its
/// tasks saw (valid during the call).
typedef std::function<void(const ImageResult&, const basic_structures::CImageData* grey)>
    ResultCallback;

/// Reads images with one recognition module, loaded by name (see the file's
/// description for the module path and thread safety).
class NORVANE_API Reader {
 public:
  /// Loads module `name` and creates it with `options`. Null with the library's error
  /// code in `code` (-10065 no such module, -30009 an unknown format, -10038 a bad
  /// option or a module refused for its interface) and a message in `message`.
  static std::unique_ptr<Reader> Create(const std::string& name, const ReaderOptions& options,
                                        int* code, std::string* message);
  ~Reader();
  Reader(const Reader&) = delete;
  Reader& operator=(const Reader&) = delete;

  /// Reads one image (any pixel format the library converts); 0, or -10069/-10070/
  /// -10071 for an invalid image, -10062 while a stream runs.
  int Read(const basic_structures::CImageData& image, ImageResult* result);
  /// Reads one PNG, JPEG, PGM/PPM or WebP file: -10005 not found or not a regular
  /// file, -10012 unreadable, -10070 above maxPixels.
  int ReadFile(const std::string& path, ImageResult* result);
  /// The same from the file's bytes in memory.
  int ReadEncoded(const unsigned char* data, size_t size, ImageResult* result);

  /// Starts a stream: results come through `onResult` as images finish, not always in
  /// the order they were pushed. -10062 when one runs already.
  int Start(const ResultCallback& onResult);
  /// Hands an image to the stream, which takes ownership (also on failure). Waits for
  /// room unless dropOldest. -10062 without a stream.
  int Push(basic_structures::CImageData* image);
  /// Ends the stream after every pushed image has its result; `totals` may be null.
  int Finish(StreamTotals* totals);

  /// The module the reader drives.
  const capture::CaptureModule& module() const;
  /// The options it was created with.
  const ReaderOptions& options() const;

  /// The module names found on the module path, sorted.
  static std::vector<std::string> AvailableModules();

 private:
  struct State;
  explicit Reader(std::unique_ptr<State> state);
  std::unique_ptr<State> state_;
};

/// Whether a decoded format is one of `wanted` (empty: all), by the rule of
/// ReaderOptions::formats.
NORVANE_API bool FormatWanted(const std::vector<std::string>& wanted, const std::string& format);

}  ///< namespace router
}  ///< namespace norvane

#endif  ///< NORVANE_ROUTER_READER_H_
