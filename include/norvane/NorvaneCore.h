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
#include "norvane/core/sync_object.h"

// Geometry: value types, transforms, segments and the working quadrilateral.
#include "norvane/basic_structures/contour.h"
#include "norvane/basic_structures/geometry_c.h"
#include "norvane/basic_structures/line_segment.h"
#include "norvane/basic_structures/point.h"
#include "norvane/basic_structures/quadrilateral.h"
#include "norvane/basic_structures/transform_matrix.h"
#include "norvane/basic_structures/vector4.h"
#include "norvane/geometry/line_segment.h"
#include "norvane/geometry/math_utils.h"
#include "norvane/geometry/quad.h"

#endif  // NORVANE_NORVANECORE_H_
