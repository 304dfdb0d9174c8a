#include "core/bkdr_hash.h"

#include <cstddef>

#include "core/cpu_features.h"

namespace norvane {
namespace internal {
namespace {

constexpr unsigned kBlock = 16;

// Coefficients of one block of kBlock samples taken every Step bytes, laid over the
// kBlock * Step contiguous bytes the block spans: the sampled byte k gets
// 31^(kBlock - 1 - k), the bytes in between get 0. kFactor = 31^kBlock (mod 2^32).
// Reading the block contiguously keeps the multiply-add loop vectorisable.
template <unsigned Step>
struct BlockCoefficients {
  uint32_t value[kBlock * Step] = {};
  constexpr BlockCoefficients() {
    uint32_t p = 1;
    for (unsigned k = kBlock; k-- > 0;) {
      value[k * Step] = p;
      p *= 31u;
    }
  }
};
constexpr uint32_t PowerOf31(unsigned n) { return n == 0 ? 1u : 31u * PowerOf31(n - 1); }
constexpr uint32_t kFactor = PowerOf31(kBlock);

// Bytes count as signed chars: 0x80..0xFF add negative values.
inline uint32_t Term(unsigned char byte) {
  return static_cast<uint32_t>(static_cast<int32_t>(static_cast<signed char>(byte)));
}

// Hashes the bytes p[0], p[Step], p[2 * Step], ... below p + length.
template <unsigned Step>
inline __attribute__((always_inline)) uint32_t HashWithStep(const unsigned char* p,
                                                            unsigned int length) {
  static constexpr BlockCoefficients<Step> kCoefficients;
  constexpr unsigned kSpan = kBlock * Step;
  uint32_t h = 0;
  const unsigned char* end = p + length;
  for (; static_cast<size_t>(end - p) >= kSpan; p += kSpan) {
    uint32_t sum = 0;
    for (size_t k = 0; k < kSpan; ++k) sum += Term(p[k]) * kCoefficients.value[k];
    h = h * kFactor + sum;
  }
  for (; p < end; p += Step) h = h * 31u + Term(*p);
  return h;
}

typedef uint32_t (*StepKernel)(const unsigned char*, unsigned int);

// The block kernels of steps 1 to 3 in one build: the baseline, and on x86-64 an AVX2
// build of the same loop, offered only when the processor has AVX2.
struct StepKernels {
  StepKernel step[3];
};

template <unsigned Step>
uint32_t HashBaseline(const unsigned char* p, unsigned int length) {
  return HashWithStep<Step>(p, length);
}

const StepKernels kBaseline = {{&HashBaseline<1>, &HashBaseline<2>, &HashBaseline<3>}};

#if defined(NORVANE_X86)
template <unsigned Step>
NORVANE_TARGET_AVX2 uint32_t HashAvx2(const unsigned char* p, unsigned int length) {
  return HashWithStep<Step>(p, length);
}

const StepKernels kAvx2 = {{&HashAvx2<1>, &HashAvx2<2>, &HashAvx2<3>}};

const StepKernels* Avx2Kernels() { return CpuHasAvx2() ? &kAvx2 : nullptr; }
#else
const StepKernels* Avx2Kernels() { return nullptr; }
#endif

// From 96 KiB on the samples lie far apart. Gathering kBlock of them and summing their
// products with the powers of 31 still breaks the serial multiply-add chain of the
// plain loop, which is what bounds its speed.
uint32_t HashWithLargeStep(const unsigned char* p, unsigned int length, unsigned int step) {
  static constexpr BlockCoefficients<1> kCoefficients;
  const size_t count = length == 0 ? 0 : (static_cast<size_t>(length) - 1) / step + 1;
  uint32_t h = 0;
  size_t i = 0;
  for (; i + kBlock <= count; i += kBlock) {
    uint32_t sum = 0;
    for (size_t k = 0; k < kBlock; ++k) sum += Term(p[(i + k) * step]) * kCoefficients.value[k];
    h = h * kFactor + sum;
  }
  for (; i < count; ++i) h = h * 31u + Term(p[i * step]);
  return h;
}

}  // namespace

uint32_t BkdrHashReference(const void* data, unsigned int length) {
  const unsigned char* p = static_cast<const unsigned char*>(data);
  const unsigned char* end = p + length;
  const unsigned int step = (length >> 15) + 1;
  uint32_t h = 0;
  for (; p < end; p += step) h = h * 31u + Term(*p);
  return h;
}

uint32_t BkdrHash(const void* data, unsigned int length) {
  const unsigned char* p = static_cast<const unsigned char*>(data);
  const unsigned int step = (length >> 15) + 1;
  static const StepKernels& kActive = FirstAvailable({Avx2Kernels()}, kBaseline);
  if (step <= 3) return kActive.step[step - 1](p, length);
  return HashWithLargeStep(p, length, step);
}

uint32_t BkdrHashBaseline(const void* data, unsigned int length) {
  const unsigned char* p = static_cast<const unsigned char*>(data);
  const unsigned int step = (length >> 15) + 1;
  if (step <= 3) return kBaseline.step[step - 1](p, length);
  return HashWithLargeStep(p, length, step);
}

}  // namespace internal
}  // namespace norvane
