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
  if (x < width) {
    (RedFirst ? GreyFromRgba32RowReference : GreyFromBgra32RowReference)(src + 4 * x, dst + x,
                                                                         width - x);
  }
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
  if (x < width) {
    (RedFirst ? GreyFromRgb24RowReference : GreyFromBgr24RowReference)(src + 3 * x, dst + x,
                                                                       width - x);
  }
}

// Stores 16 pixels given as blue, green and red bytes as 48 bytes B, G, R.
NORVANE_TARGET_AVX2 inline void StoreBgr24(uint8_t* dst, __m128i b, __m128i g, __m128i r) {
  const __m128i b0 = _mm_setr_epi8(0, -1, -1, 1, -1, -1, 2, -1, -1, 3, -1, -1, 4, -1, -1, 5);
  const __m128i g0 = _mm_setr_epi8(-1, 0, -1, -1, 1, -1, -1, 2, -1, -1, 3, -1, -1, 4, -1, -1);
  const __m128i r0 = _mm_setr_epi8(-1, -1, 0, -1, -1, 1, -1, -1, 2, -1, -1, 3, -1, -1, 4, -1);
  const __m128i b1 = _mm_setr_epi8(-1, -1, 6, -1, -1, 7, -1, -1, 8, -1, -1, 9, -1, -1, 10, -1);
  const __m128i g1 = _mm_setr_epi8(5, -1, -1, 6, -1, -1, 7, -1, -1, 8, -1, -1, 9, -1, -1, 10);
  const __m128i r1 = _mm_setr_epi8(-1, 5, -1, -1, 6, -1, -1, 7, -1, -1, 8, -1, -1, 9, -1, -1);
  const __m128i b2 = _mm_setr_epi8(-1, 11, -1, -1, 12, -1, -1, 13, -1, -1, 14, -1, -1, 15, -1, -1);
  const __m128i g2 = _mm_setr_epi8(-1, -1, 11, -1, -1, 12, -1, -1, 13, -1, -1, 14, -1, -1, 15, -1);
  const __m128i r2 = _mm_setr_epi8(10, -1, -1, 11, -1, -1, 12, -1, -1, 13, -1, -1, 14, -1, -1, 15);
  __m128i* out = reinterpret_cast<__m128i*>(dst);
  _mm_storeu_si128(out, _mm_or_si128(_mm_or_si128(_mm_shuffle_epi8(b, b0), _mm_shuffle_epi8(g, g0)),
                                     _mm_shuffle_epi8(r, r0)));
  _mm_storeu_si128(out + 1,
                   _mm_or_si128(_mm_or_si128(_mm_shuffle_epi8(b, b1), _mm_shuffle_epi8(g, g1)),
                                _mm_shuffle_epi8(r, r1)));
  _mm_storeu_si128(out + 2,
                   _mm_or_si128(_mm_or_si128(_mm_shuffle_epi8(b, b2), _mm_shuffle_epi8(g, g2)),
                                _mm_shuffle_epi8(r, r2)));
}

// One colour channel of 16 pixels as 16-bit values in pixel order: (luma + chroma) >> 8.
// In each 128-bit half, `lumaLow` holds 298 C + 128 of that half's pixels 0..3,
// `lumaHigh` of pixels 4..7, and `chroma` the chroma term of its four pixel pairs.
NORVANE_TARGET_AVX2 inline __m256i Channel(__m256i lumaLow, __m256i lumaHigh, __m256i chroma) {
  const __m256i low =
      _mm256_srai_epi32(_mm256_add_epi32(lumaLow, _mm256_unpacklo_epi32(chroma, chroma)), 8);
  const __m256i high =
      _mm256_srai_epi32(_mm256_add_epi32(lumaHigh, _mm256_unpackhi_epi32(chroma, chroma)), 8);
  return _mm256_packs_epi32(low, high);
}

struct Rgb16 {
  __m256i r, g, b;
};

// The pmaddwd weights of one chroma pair for the terms d * D + e * E, in the order of
// the pair's bytes: V, U when VFirst, else U, V.
template <bool VFirst>
constexpr int ChromaWeights(int16_t d, int16_t e) {
  return static_cast<int>((static_cast<uint32_t>(static_cast<uint16_t>(VFirst ? d : e)) << 16) |
                          static_cast<uint16_t>(VFirst ? e : d));
}

// Sixteen pixels from 16 luma bytes and 8 chroma pairs, as signed 16-bit channels
// before clipping.
template <bool VFirst>
NORVANE_TARGET_AVX2 inline Rgb16 YuvToRgb16(const uint8_t* y, const uint8_t* chroma) {
  const __m256i c =
      _mm256_sub_epi16(_mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(y))),
                       _mm256_set1_epi16(16));
  const __m256i lumaWeights = _mm256_set1_epi32((128 << 16) | 298);
  const __m256i one = _mm256_set1_epi16(1);
  const __m256i lumaLow = _mm256_madd_epi16(_mm256_unpacklo_epi16(c, one), lumaWeights);
  const __m256i lumaHigh = _mm256_madd_epi16(_mm256_unpackhi_epi16(c, one), lumaWeights);
  const __m256i pairs = _mm256_sub_epi16(
      _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(chroma))),
      _mm256_set1_epi16(128));
  Rgb16 out;
  out.r = Channel(lumaLow, lumaHigh,
                  _mm256_madd_epi16(pairs, _mm256_set1_epi32(ChromaWeights<VFirst>(0, 409))));
  out.g = Channel(lumaLow, lumaHigh,
                  _mm256_madd_epi16(pairs, _mm256_set1_epi32(ChromaWeights<VFirst>(-100, -208))));
  out.b = Channel(lumaLow, lumaHigh,
                  _mm256_madd_epi16(pairs, _mm256_set1_epi32(ChromaWeights<VFirst>(516, 0))));
  return out;
}

// Clipped bytes of 32 pixels in pixel order from two vectors of 16 signed 16-bit values.
NORVANE_TARGET_AVX2 inline __m256i PackChannel(__m256i first, __m256i second) {
  return _mm256_permute4x64_epi64(_mm256_packus_epi16(first, second), 0xD8);
}

template <bool VFirst>
NORVANE_TARGET_AVX2 void Bgr24FromSemiPlanar(const uint8_t* y, const uint8_t* chroma, uint8_t* dst,
                                             int width) {
  int x = 0;
  for (; x + 32 <= width; x += 32) {
    const Rgb16 first = YuvToRgb16<VFirst>(y + x, chroma + x);
    const Rgb16 second = YuvToRgb16<VFirst>(y + x + 16, chroma + x + 16);
    const __m256i b = PackChannel(first.b, second.b);
    const __m256i g = PackChannel(first.g, second.g);
    const __m256i r = PackChannel(first.r, second.r);
    StoreBgr24(dst + 3 * x, _mm256_castsi256_si128(b), _mm256_castsi256_si128(g),
               _mm256_castsi256_si128(r));
    StoreBgr24(dst + 3 * x + 48, _mm256_extracti128_si256(b, 1), _mm256_extracti128_si256(g, 1),
               _mm256_extracti128_si256(r, 1));
  }
  if (x < width) {
    (VFirst ? Bgr24FromNv21RowReference : Bgr24FromNv12RowReference)(y + x, chroma + x, dst + 3 * x,
                                                                     width - x);
  }
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
