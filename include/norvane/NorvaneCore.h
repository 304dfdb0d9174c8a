// The whole public C++ surface of libNorvaneCore. Applications and sibling modules
// include this one header; the C functions are also declared in NorvaneCoreC.h.
#ifndef NORVANE_NORVANECORE_H_
#define NORVANE_NORVANECORE_H_

#include "norvane/NorvaneCoreC.h"

// Object model and runtime foundations.
#include "norvane/core/core_module.h"
#include "norvane/core/export.h"
#include "norvane/core/hash_algorithm.h"
#include "norvane/core/mutex.h"
#include "norvane/core/object_base.h"
#include "norvane/core/platform.h"
#include "norvane/core/safe_string.h"
#include "norvane/core/sync_object.h"
#include "norvane/core/tq_vector.h"

// Logging, configuration and module loading.
#include "norvane/log/ini_io.h"
#include "norvane/log/log.h"
#include "norvane/log/module_loader.h"
#include "norvane/log/path_helper.h"

#endif  // NORVANE_NORVANECORE_H_
