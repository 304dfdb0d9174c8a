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

// Image data.
#include "norvane/basic_structures/image_data.h"
#include "norvane/basic_structures/pixel_conversion.h"
#include "norvane/basic_structures/tq_hashed_image_data.h"
#include "norvane/basic_structures/tq_image_data.h"

// Image sources.
#include "norvane/basic_structures/image_source_adapter.h"

// Captured results.
#include "norvane/basic_structures/captured_result_item.h"
#include "norvane/basic_structures/json_converter.h"
#include "norvane/basic_structures/object_ref_pool.h"
#include "norvane/basic_structures/result_base.h"

// Task-graph runtime.
#include "norvane/task_runtime/data_manager_pool.h"
#include "norvane/task_runtime/dependency_graph.h"
#include "norvane/task_runtime/region_object.h"
#include "norvane/task_runtime/semantic_processor.h"
#include "norvane/task_runtime/source_image_object.h"
#include "norvane/task_runtime/target_roi_def.h"
#include "norvane/task_runtime/task_output.h"
#include "norvane/task_runtime/task_setting.h"
#include "norvane/task_runtime/task_types.h"
#include "norvane/task_runtime/task_unit.h"

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

// Intermediate results.
#include "norvane/intermediate_results/intermediate_result_unit.h"
#include "norvane/intermediate_results/observation_parameters.h"
#include "norvane/intermediate_results/text_zone.h"

#endif  // NORVANE_NORVANECORE_H_
