// Run-time CPU feature checks and the one rule by which the library picks its fast
// kernels. Each kernel keeps a baseline version that runs on every processor of its
// architecture; each faster set is offered by a function that returns null when this
// build or this processor lacks its instructions, and FirstAvailable takes the first
// one offered. Callers keep the choice in a function-local static, so it is made once.
#ifndef NORVANE_CORE_CPU_FEATURES_H_
#define NORVANE_CORE_CPU_FEATURES_H_

#if defined(__x86_64__) || defined(__i386__)
#define NORVANE_X86 1
// Compiles one function for AVX2; call it only when CpuHasAvx2() is true.
#define NORVANE_TARGET_AVX2 __attribute__((target("avx2")))
#endif
#if defined(__arm__) || defined(__aarch64__)
#define NORVANE_ARM 1
#endif

#include <initializer_list>

namespace norvane {
namespace internal {

bool CpuHasAvx2();
// NEON on 32-bit ARM (always present on 64-bit ARM).
bool CpuHasNeon();

// The first non-null set of `offered` (fastest first), else `baseline`.
template <typename KernelSet>
const KernelSet& FirstAvailable(std::initializer_list<const KernelSet*> offered,
                                const KernelSet& baseline) {
  for (const KernelSet* set : offered) {
    if (set != nullptr) return *set;
  }
  return baseline;
}

}  // namespace internal
}  // namespace norvane

#endif  // NORVANE_CORE_CPU_FEATURES_H_
