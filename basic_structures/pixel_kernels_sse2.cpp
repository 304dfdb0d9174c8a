// SSE2 row kernels, the x86-64 baseline.
#include "basic_structures/pixel_kernels.h"

namespace norvane {
namespace internal {

const PixelRowKernels* Sse2RowKernels() { return nullptr; }

}  // namespace internal
}  // namespace norvane
