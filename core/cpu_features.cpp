#include "core/cpu_features.h"

#if defined(__arm__)
#include <asm/hwcap.h>
#include <sys/auxv.h>
#endif

namespace norvane {
namespace internal {

bool CpuHasAvx2() {
#if defined(NORVANE_X86)
  static const bool has = __builtin_cpu_supports("avx2");
  return has;
#else
  return false;
#endif
}

bool CpuHasNeon() {
#if defined(__aarch64__)
  return true;
#elif defined(__arm__)
  static const bool has = (getauxval(AT_HWCAP) & HWCAP_NEON) != 0;
  return has;
#else
  return false;
#endif
}

}  // namespace internal
}  // namespace norvane
