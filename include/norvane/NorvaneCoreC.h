/** \file
 * Every exported C function of libNorvaneCore and the C records they take.
 * Compiles on its own with a C99 compiler. */
#ifndef NORVANE_NORVANECOREC_H_
#define NORVANE_NORVANECOREC_H_

#include "norvane/basic_structures/geometry_c.h"
#include "norvane/core/error_codes.h"
#include "norvane/basic_structures/image_data_c.h"
#include "norvane/basic_structures/image_source_adapter_c.h"
#include "norvane/basic_structures/pixel_conversion.h"

#endif /**< NORVANE_NORVANECOREC_H_ */
