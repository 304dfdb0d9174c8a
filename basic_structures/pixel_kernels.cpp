#include "basic_structures/pixel_kernels.h"

#include "core/cpu_features.h"

namespace norvane {
namespace internal {

const PixelRowKernels& ActiveRowKernels() {
  static const PixelRowKernels& kActive =
      FirstAvailable({Avx2RowKernels(), Sse2RowKernels(), NeonRowKernels()}, ReferenceRowKernels());
  return kActive;
}

}  // namespace internal
}  // namespace norvane
