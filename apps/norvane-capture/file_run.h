// norvane-capture with inputs: image files, directories and lists on standard input,
// read as a stream; one line (or JSON object) per file, in the order given, each
// printed as soon as it and every file before it are done.
#ifndef NORVANE_APPS_CAPTURE_FILE_RUN_H_
#define NORVANE_APPS_CAPTURE_FILE_RUN_H_

#include "norvane/router/reader.h"
#include "options.h"

namespace capture {

// Returns the exit status: 0 when some code was read, 1 when none was (or no file
// could be read), 130 when interrupted.
int RunFiles(norvane::router::Reader* reader, const Options& options);

}  // namespace capture

#endif  // NORVANE_APPS_CAPTURE_FILE_RUN_H_
