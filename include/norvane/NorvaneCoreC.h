/* Every exported C function of libNorvaneCore and the C records they take.
 * Compiles on its own with a C99 compiler. */
#ifndef NORVANE_NORVANECOREC_H_
#define NORVANE_NORVANECOREC_H_

#include "norvane/basic_structures/geometry_c.h"
#include "norvane/core/error_codes.h"

#endif /* NORVANE_NORVANECOREC_H_ */
