// NEON row kernels for 32-bit ARM, chosen at run time.
#include "basic_structures/pixel_kernels.h"

namespace norvane {
namespace internal {

const PixelRowKernels* NeonRowKernels() { return nullptr; }

}  // namespace internal
}  // namespace norvane
