// The 31-multiplier hash behind TQHashAlgorithm::GenerateHash, in a plain reference
// form and a fast form that must agree with it bit for bit.
#ifndef NORVANE_CORE_BKDR_HASH_H_
#define NORVANE_CORE_BKDR_HASH_H_

#include <cstdint>

namespace norvane {
namespace internal {

// h = h * 31 + (signed char)byte over every step-th byte, step = (length >> 15) + 1,
// all in wrapping 32-bit arithmetic.
uint32_t BkdrHashReference(const void* data, unsigned int length);

// The same value, computed 16 samples at a time with precomputed powers of 31, with
// the fastest kernel this processor runs (AVX2 where available).
uint32_t BkdrHash(const void* data, unsigned int length);

// The block kernel in its baseline build, which every processor runs.
uint32_t BkdrHashBaseline(const void* data, unsigned int length);

}  // namespace internal
}  // namespace norvane

#endif  // NORVANE_CORE_BKDR_HASH_H_
