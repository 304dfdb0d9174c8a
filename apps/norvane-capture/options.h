// The command line of norvane-capture.
#ifndef NORVANE_APPS_CAPTURE_OPTIONS_H_
#define NORVANE_APPS_CAPTURE_OPTIONS_H_

#include <string>
#include <vector>

#include "norvane/router/reader.h"

namespace capture {

struct Options {
  std::string module = "barcode";
  norvane::router::ReaderOptions reader;
  std::vector<std::string> inputs;  // files, directories and "-" (paths on standard input)
  bool score = false;
  bool byFolder = false;
  bool json = false;
  int frames = 24;  // synthetic frames, without inputs
  std::string logDir;
  std::string logConfig;
};

// Parses the arguments. 0: run; 1: done (help or version printed); 2: a usage error,
// with its message printed.
int ParseOptions(int argc, char** argv, Options* options);

// Prints "norvane-capture: MESSAGE" on standard error; returns 2.
int Fail(const std::string& message);

}  // namespace capture

#endif  // NORVANE_APPS_CAPTURE_OPTIONS_H_
