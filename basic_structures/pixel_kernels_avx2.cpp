// AVX2 row kernels, chosen at run time.
#include "basic_structures/pixel_kernels.h"

namespace norvane {
namespace internal {

const PixelRowKernels* Avx2RowKernels() { return nullptr; }

}  // namespace internal
}  // namespace norvane
