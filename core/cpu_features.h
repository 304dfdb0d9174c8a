// Run-time CPU feature checks for the library's fast kernels. Each kernel keeps a
// baseline version that runs on every processor of its architecture; a faster one
// is chosen only when the processor reports the feature. Results are computed once.
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

namespace norvane {
namespace internal {

bool CpuHasAvx2();
// NEON on 32-bit ARM (always present on 64-bit ARM).
bool CpuHasNeon();

}  // namespace internal
}  // namespace norvane

#endif  // NORVANE_CORE_CPU_FEATURES_H_
