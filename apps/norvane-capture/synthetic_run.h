// norvane-capture without inputs: synthetic frames drawn by the module, read as a
// stream and scored against what they show.
#ifndef NORVANE_APPS_CAPTURE_SYNTHETIC_RUN_H_
#define NORVANE_APPS_CAPTURE_SYNTHETIC_RUN_H_

#include "norvane/router/reader.h"
#include "options.h"

namespace capture {

// Returns the exit status: 0 when something was found, 1 when nothing was, 130 when
// interrupted.
int RunSyntheticFrames(norvane::router::Reader* reader, const Options& options);

}  // namespace capture

#endif  // NORVANE_APPS_CAPTURE_SYNTHETIC_RUN_H_
