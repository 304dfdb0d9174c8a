#include "options.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "norvane/NorvaneCore.h"

namespace capture {
namespace {

constexpr char kProgram[] = "norvane-capture";

const char kUsage[] =
    "usage: norvane-capture [options] [FILE|DIR|-]...\n"
    "Reads the codes in image files (PNG, JPEG, PGM/PPM, WebP), in the directories given\n"
    "(recursively), or in the files named one per line on standard input ('-'), and prints\n"
    "one line per file, in the order given: its name and each code's symbology and text.\n"
    "Without inputs it reads 24 synthetic 1280x720 frames and scores them against what they\n"
    "show. Exit status: 0 when some code was read, 1 when none, 2 for a usage error, 130\n"
    "when interrupted.\n"
    "\n"
    "  --formats LIST         report only these symbologies (comma-separated, e.g.\n"
    "                         QRCode,EAN-13; case, '-' and '_' do not matter)\n"
    "  --fast                 fewer attempts per image: faster, reads fewer hard codes\n"
    "  --score                score each file against the text in NAME.txt beside it; files\n"
    "                         without one are counted apart\n"
    "  --by-folder            with --score, a table of files read per folder\n"
    "  --input DIR            the same as DIR with --score\n"
    "  --json                 one JSON object per file (or frame) per line, as each is done;\n"
    "                         the summary goes to standard error\n"
    "  --module NAME          the recognition module (default barcode); --help lists those\n"
    "                         found. NORVANE_MODULE_PATH adds folders to look in\n"
    "  --module-options S     the module's own options (labels: delay-ms=N, noop)\n"
    "  --max-pixels N         refuse images above N pixels before decoding them\n"
    "                         (1..2147483647, default 67108864)\n"
    "  --frames N             number of synthetic frames (1..100000, default 24)\n"
    "  --workers N            task worker threads (1..64, default 2)\n"
    "  --timeout-ticks N      time-out count of each image, in ticks (0..2147483647,\n"
    "                         default 100000)\n"
    "  --tick-ms N            milliseconds between time-keeping ticks (1..10000, default 10)\n"
    "  --drop-oldest          drop the oldest buffered image when the buffer is full\n"
    "                         (default: wait, no image is lost)\n"
    "  --log-dir DIR          write the text, JSON and image logs into DIR\n"
    "  --log-config FILE      configure the log from an INI file instead\n"
    "  --version              print the version\n"
    "  --help                 show this text\n";

bool ParseInt(const char* text, long low, long high, int* out) {
  if (text == nullptr || *text == '\0') return false;
  errno = 0;
  char* end = nullptr;
  const long value = std::strtol(text, &end, 10);
  if (errno != 0 || *end != '\0' || value < low || value > high) return false;
  *out = static_cast<int>(value);
  return true;
}

std::vector<std::string> SplitList(const std::string& list) {
  std::vector<std::string> items;
  for (size_t begin = 0; begin <= list.size();) {
    const size_t end = std::min(list.find(',', begin), list.size());
    if (end > begin) items.push_back(list.substr(begin, end - begin));
    begin = end + 1;
  }
  return items;
}

void PrintUsage() {
  std::fputs(kUsage, stdout);
  std::string found;
  for (const std::string& name : norvane::router::Reader::AvailableModules()) {
    found += (found.empty() ? "" : ", ") + name;
  }
  std::printf("\nmodules found: %s\n", found.empty() ? "none" : found.c_str());
}

}  // namespace

int Fail(const std::string& message) {
  std::fprintf(stderr, "%s: %s\n", kProgram, message.c_str());
  return 2;
}

int ParseOptions(int argc, char** argv, Options* options) {
  int maxPixels = static_cast<int>(options->reader.maxPixels);
  struct IntOption {
    const char* name;
    int* target;
    long low, high;
  };
  const IntOption ints[] = {
      {"--frames", &options->frames, 1, 100000},
      {"--max-pixels", &maxPixels, 1, 2147483647L},
      {"--workers", &options->reader.workers, 1, 64},
      {"--timeout-ticks", &options->reader.timeoutTicks, 0, 2147483647L},
      {"--tick-ms", &options->reader.tickMs, 1, 10000},
  };
  bool inputsOnly = false;
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    const char* value = i + 1 < argc ? argv[i + 1] : nullptr;
    if (inputsOnly || arg == "-" || arg.empty() || arg[0] != '-') {
      options->inputs.push_back(arg);
      continue;
    }
    const IntOption* number = nullptr;
    for (const IntOption& option : ints) {
      if (arg == option.name) number = &option;
    }
    if (number != nullptr) {
      if (!ParseInt(value, number->low, number->high, number->target)) {
        return Fail("bad value '" + std::string(value != nullptr ? value : "") + "' for " + arg +
                    " (expected a whole number from " + std::to_string(number->low) + " to " +
                    std::to_string(number->high) + ")");
      }
      ++i;
    } else if (arg == "--") {
      inputsOnly = true;
    } else if (arg == "--help" || arg == "-h") {
      PrintUsage();
      return 1;
    } else if (arg == "--version") {
      std::printf("norvane-capture %s\n", TQ_GetLibVersion());
      return 1;
    } else if (arg == "--drop-oldest") {
      options->reader.dropOldest = true;
    } else if (arg == "--fast") {
      options->reader.fast = true;
    } else if (arg == "--json") {
      options->json = true;
    } else if (arg == "--score") {
      options->score = true;
    } else if (arg == "--by-folder") {
      options->byFolder = true;
    } else if (arg == "--input" || arg == "--log-dir" || arg == "--log-config" ||
               arg == "--module" || arg == "--module-options" || arg == "--formats") {
      if (value == nullptr || (*value == '\0' && arg != "--module-options")) {
        return Fail("missing value for " + arg);
      }
      if (arg == "--input") {
        options->inputs.push_back(value);
        options->score = true;
      } else if (arg == "--formats") {
        options->reader.formats = SplitList(value);
      } else {
        std::string* target = arg == "--log-dir"      ? &options->logDir
                              : arg == "--log-config" ? &options->logConfig
                              : arg == "--module"     ? &options->module
                                                      : &options->reader.moduleOptions;
        *target = value;
      }
      ++i;
    } else {
      return Fail("unknown option '" + arg + "' (see --help)");
    }
  }
  options->reader.maxPixels = static_cast<unsigned long long>(maxPixels);
  return 0;
}

}  // namespace capture
