// AVX2 row kernels, chosen at run time on processors that have AVX2. Only the
// functions marked NORVANE_TARGET_AVX2 use AVX2 instructions; the rest of the library
// keeps the x86-64 baseline. The arithmetic is that of the SSE2 kernels, on twice as
// many pixels at a time, with pshufb to spread and gather 24-bit pixels.
#include "basic_structures/pixel_kernels.h"
#include "core/cpu_features.h"

#if defined(NORVANE_X86)
#include <immintrin.h>

namespace norvane {
namespace internal {
namespace {

constexpr short kHalfR = static_cast<short>(kGreyWeightR / 2);
constexpr short kHalfG = static_cast<short>(kGreyWeightG / 2);
constexpr short kHalfB = static_cast<short>(kGreyWeightB / 2);

// Grey values of eight pixels held as 32-bit lanes with the channel bytes in memory
// order (see the SSE2 kernels): (9781 R + 19275 G + 3712 B) >> 15.
template <bool RedFirst>
NORVANE_TARGET_AVX2 inline __m256i GreyOfDwords(__m256i pixels) {
  const __m256i evenWeights = RedFirst ? _mm256_set1_epi32((kHalfB << 16) | kHalfR)
                                       : _mm256_set1_epi32((kHalfR << 16) | kHalfB);
  const __m256i even = _mm256_and_si256(pixels, _mm256_set1_epi32(0x00FF00FF));
  const __m256i odd = _mm256_srli_epi16(pixels, 8);
  const __m256i sum = _mm256_add_epi32(_mm256_madd_epi16(even, evenWeights),
                                       _mm256_madd_epi16(odd, _mm256_set1_epi32(kHalfG)));
  return _mm256_srli_epi32(sum, 15);
}

// 32 grey bytes, in pixel order, from four vectors of eight 32-bit grey values.
NORVANE_TARGET_AVX2 inline __m256i PackDwordsToBytes(__m256i a, __m256i b, __m256i c, __m256i d) {
  const __m256i bytes = _mm256_packus_epi16(_mm256_packs_epi32(a, b), _mm256_packs_epi32(c, d));
  // Each 128-bit half packed its own four pixels of a, b, c, d.
  return _mm256_permutevar8x32_epi32(bytes, _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7));
}

template <bool RedFirst>
NORVANE_TARGET_AVX2 void GreyFrom32(const uint8_t* src, uint8_t* dst, int width) {
  int x = 0;
  for (; x + 32 <= width; x += 32) {
    const __m256i* p = reinterpret_cast<const __m256i*>(src + 4 * x);
    const __m256i g0 = GreyOfDwords<RedFirst>(_mm256_loadu_si256(p));
    const __m256i g1 = GreyOfDwords<RedFirst>(_mm256_loadu_si256(p + 1));
    const __m256i g2 = GreyOfDwords<RedFirst>(_mm256_loadu_si256(p + 2));
    const __m256i g3 = GreyOfDwords<RedFirst>(_mm256_loadu_si256(p + 3));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst + x), PackDwordsToBytes(g0, g1, g2, g3));
  }
  GreyFrom32TailReference<RedFirst>(src, dst, x, width);
}

// Eight 3-byte pixels from the 24 bytes at p, spread into 32-bit lanes. The two
// 16-byte loads cover exactly those 24 bytes: pixels 0..3 are bytes 0..11 of the
// first, pixels 4..7 bytes 4..15 of the second.
NORVANE_TARGET_AVX2 inline __m256i LoadPixels24(const uint8_t* p) {
  const __m128i low = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
  const __m128i high = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 8));
  const __m256i both = _mm256_inserti128_si256(_mm256_castsi128_si256(low), high, 1);
  const __m256i spread = _mm256_setr_epi8(0, 1, 2, -1, 3, 4, 5, -1, 6, 7, 8, -1, 9, 10, 11, -1,  //
                                          4, 5, 6, -1, 7, 8, 9, -1, 10, 11, 12, -1, 13, 14, 15, -1);
  return _mm256_shuffle_epi8(both, spread);
}

template <bool RedFirst>
NORVANE_TARGET_AVX2 void GreyFrom24(const uint8_t* src, uint8_t* dst, int width) {
  int x = 0;
  for (; x + 32 <= width; x += 32) {
    const uint8_t* p = src + 3 * x;
    const __m256i g0 = GreyOfDwords<RedFirst>(LoadPixels24(p));
    const __m256i g1 = GreyOfDwords<RedFirst>(LoadPixels24(p + 24));
    const __m256i g2 = GreyOfDwords<RedFirst>(LoadPixels24(p + 48));
    const __m256i g3 = GreyOfDwords<RedFirst>(LoadPixels24(p + 72));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst + x), PackDwordsToBytes(g0, g1, g2, g3));
  }
  GreyFrom24TailReference<RedFirst>(src, dst, x, width);
}

// The bytes of b, g and r that the masks select.
NORVANE_TARGET_AVX2 inline __m256i Pick(__m256i b, __m256i bMask, __m256i g, __m256i gMask,
                                        __m256i r, __m256i rMask) {
  return _mm256_or_si256(_mm256_or_si256(_mm256_and_si256(b, bMask), _mm256_and_si256(g, gMask)),
                         _mm256_and_si256(r, rMask));
}

// One colour channel of 32 pixels, from its values for the even and the odd pixels
// (16-bit lanes), clipped to bytes and placed for StoreBgr24: packing leaves each
// 16-pixel half as 8 even then 8 odd pixels, and one byte shuffle both restores the
// pixel order and moves each value to where the output needs it.
NORVANE_TARGET_AVX2 inline __m256i PlaceChannel(__m256i even, __m256i odd, __m256i places) {
  return _mm256_shuffle_epi8(_mm256_packus_epi16(even, odd), places);
}

// Stores 32 pixels as 96 bytes B, G, R. Byte k of each 16-byte block j of the 48
// bytes of 16 pixels is channel (j + k) % 3; the channels come placed so that every
// value already sits at the byte of the block that needs it, and masks pick the
// channel of each byte.
NORVANE_TARGET_AVX2 inline void StoreBgr24(uint8_t* dst, __m256i b, __m256i g, __m256i r) {
  // Bytes k with k % 3 == 0, 1, 2.
  const __m256i p0 = _mm256_setr_epi8(-1, 0, 0, -1, 0, 0, -1, 0, 0, -1, 0, 0, -1, 0, 0, -1,  //
                                      -1, 0, 0, -1, 0, 0, -1, 0, 0, -1, 0, 0, -1, 0, 0, -1);
  const __m256i p1 = _mm256_setr_epi8(0, -1, 0, 0, -1, 0, 0, -1, 0, 0, -1, 0, 0, -1, 0, 0,  //
                                      0, -1, 0, 0, -1, 0, 0, -1, 0, 0, -1, 0, 0, -1, 0, 0);
  const __m256i p2 = _mm256_setr_epi8(0, 0, -1, 0, 0, -1, 0, 0, -1, 0, 0, -1, 0, 0, -1, 0,  //
                                      0, 0, -1, 0, 0, -1, 0, 0, -1, 0, 0, -1, 0, 0, -1, 0);
  // Block j of the first 16 pixels in the low half, of the next 16 in the high half.
  const __m256i block0 = Pick(b, p0, g, p1, r, p2);
  const __m256i block1 = Pick(b, p2, g, p0, r, p1);
  const __m256i block2 = Pick(b, p1, g, p2, r, p0);
  __m256i* out = reinterpret_cast<__m256i*>(dst);
  _mm256_storeu_si256(out, _mm256_permute2x128_si256(block0, block1, 0x20));
  _mm256_storeu_si256(out + 1, _mm256_permute2x128_si256(block2, block0, 0x30));
  _mm256_storeu_si256(out + 2, _mm256_permute2x128_si256(block1, block2, 0x31));
}

// One channel before clipping: c + base + ((t + term) >> 8).
NORVANE_TARGET_AVX2 inline __m256i Value(__m256i c, __m256i base, __m256i t, __m256i term) {
  return _mm256_add_epi16(_mm256_add_epi16(c, base),
                          _mm256_srai_epi16(_mm256_add_epi16(t, term), 8));
}

// A 16-bit constant in every lane, kept opaque to the compiler, which would otherwise
// replace each multiplication by it with a longer chain of shifts and additions.
NORVANE_TARGET_AVX2 inline __m256i Factor(short value) {
  __m256i v = _mm256_set1_epi16(value);
  __asm__("" : "+x"(v));
  return v;
}

// Colour of 32 pixels from 32 luma bytes and 16 chroma pairs. Even and odd pixels are
// computed apart, each in 16-bit lanes beside the pair that serves it, with the 16-bit
// split of the colour formula that the SSE2 kernels explain:
//   R = C + E + ((42 C + 153 E + 128) >> 8), G = C - E + ((42 C - 100 D + 48 E + 128) >> 8),
//   B = C + 2 D + ((42 C + 4 D + 128) >> 8).
template <bool VFirst>
NORVANE_TARGET_AVX2 void Bgr24FromSemiPlanar(const uint8_t* y, const uint8_t* chroma, uint8_t* dst,
                                             int width) {
  const __m256i lowBytes = _mm256_set1_epi16(0x00FF);
  const __m256i sixteen = _mm256_set1_epi16(16);
  const __m256i half = _mm256_set1_epi16(128);
  const __m256i k42 = Factor(42), k48 = Factor(48), k100 = Factor(100), k153 = Factor(153);
  const __m256i bPlaces = _mm256_setr_epi8(0, 13, 3, 8, 6, 11, 1, 14, 4, 9, 7, 12, 2, 15, 5, 10,  //
                                           0, 13, 3, 8, 6, 11, 1, 14, 4, 9, 7, 12, 2, 15, 5, 10);
  const __m256i gPlaces = _mm256_setr_epi8(10, 0, 13, 3, 8, 6, 11, 1, 14, 4, 9, 7, 12, 2, 15, 5,  //
                                           10, 0, 13, 3, 8, 6, 11, 1, 14, 4, 9, 7, 12, 2, 15, 5);
  const __m256i rPlaces = _mm256_setr_epi8(5, 10, 0, 13, 3, 8, 6, 11, 1, 14, 4, 9, 7, 12, 2, 15,  //
                                           5, 10, 0, 13, 3, 8, 6, 11, 1, 14, 4, 9, 7, 12, 2, 15);
  int x = 0;
  for (; x + 32 <= width; x += 32) {
    const __m256i luma = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(y + x));
    const __m256i pairs = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(chroma + x));
    const __m256i first = _mm256_sub_epi16(_mm256_and_si256(pairs, lowBytes), half);
    const __m256i second = _mm256_sub_epi16(_mm256_srli_epi16(pairs, 8), half);
    const __m256i d = VFirst ? second : first;
    const __m256i e = VFirst ? first : second;
    // The chroma terms, shared by both pixels of a pair; t adds 42 C + 128.
    const __m256i rChroma = _mm256_mullo_epi16(e, k153);
    const __m256i gChroma =
        _mm256_sub_epi16(_mm256_mullo_epi16(e, k48), _mm256_mullo_epi16(d, k100));
    const __m256i bChroma = _mm256_slli_epi16(d, 2);
    const __m256i cEven = _mm256_sub_epi16(_mm256_and_si256(luma, lowBytes), sixteen);
    const __m256i cOdd = _mm256_sub_epi16(_mm256_srli_epi16(luma, 8), sixteen);
    const __m256i tEven = _mm256_add_epi16(_mm256_mullo_epi16(cEven, k42), half);
    const __m256i tOdd = _mm256_add_epi16(_mm256_mullo_epi16(cOdd, k42), half);
    // B = C + 2 D + ..., G = C - E + ..., R = C + E + ...: the chroma part of each.
    const __m256i bBase = _mm256_add_epi16(d, d);
    const __m256i gBase = _mm256_sub_epi16(_mm256_setzero_si256(), e);
    const __m256i b = PlaceChannel(Value(cEven, bBase, tEven, bChroma),
                                   Value(cOdd, bBase, tOdd, bChroma), bPlaces);
    const __m256i g = PlaceChannel(Value(cEven, gBase, tEven, gChroma),
                                   Value(cOdd, gBase, tOdd, gChroma), gPlaces);
    const __m256i r =
        PlaceChannel(Value(cEven, e, tEven, rChroma), Value(cOdd, e, tOdd, rChroma), rPlaces);
    StoreBgr24(dst + 3 * x, b, g, r);
  }
  Bgr24FromSemiPlanarTailReference<VFirst>(y, chroma, dst, x, width);
}

const PixelRowKernels kAvx2 = {
    "AVX2",
    &GreyFrom24<false>,
    &GreyFrom24<true>,
    &GreyFrom32<false>,
    &GreyFrom32<true>,
    &Bgr24FromSemiPlanar<true>,
    &Bgr24FromSemiPlanar<false>,
};

}  // namespace

const PixelRowKernels* Avx2RowKernels() { return CpuHasAvx2() ? &kAvx2 : nullptr; }

}  // namespace internal
}  // namespace norvane

#else  // not x86

namespace norvane {
namespace internal {

const PixelRowKernels* Avx2RowKernels() { return nullptr; }

}  // namespace internal
}  // namespace norvane

#endif
