// SSE2 row kernels, the x86-64 baseline. Each loop converts whole blocks whose bytes
// lie inside the row and leaves the remaining pixels to the reference kernel.
//
// The grey sum is taken with halved weights, (9781 R + 19275 G + 3712 B) >> 15, which
// is the same value (all weights are even) and lets pmaddwd multiply signed 16-bit
// lanes.
#include "basic_structures/pixel_kernels.h"

#if defined(__SSE2__)
#include <emmintrin.h>

namespace norvane {
namespace internal {
namespace {

constexpr short kHalfR = static_cast<short>(kGreyWeightR / 2);
constexpr short kHalfG = static_cast<short>(kGreyWeightG / 2);
constexpr short kHalfB = static_cast<short>(kGreyWeightB / 2);

// Grey values (0..255, one per 32-bit lane) of four pixels held as 32-bit lanes with
// the channel bytes c0, c1, c2 (and an ignored c3) in memory order: c1 is green, c0
// is red when RedFirst, else blue.
template <bool RedFirst>
inline __m128i GreyOfDwords(__m128i pixels) {
  const __m128i evenWeights =
      RedFirst ? _mm_set1_epi32((kHalfB << 16) | kHalfR) : _mm_set1_epi32((kHalfR << 16) | kHalfB);
  const __m128i greenWeight = _mm_set1_epi32(kHalfG);
  const __m128i even = _mm_and_si128(pixels, _mm_set1_epi32(0x00FF00FF));  // c0, c2
  const __m128i odd = _mm_srli_epi16(pixels, 8);                           // c1, c3
  const __m128i sum =
      _mm_add_epi32(_mm_madd_epi16(even, evenWeights), _mm_madd_epi16(odd, greenWeight));
  return _mm_srli_epi32(sum, 15);
}

inline __m128i PackDwordsToBytes(__m128i a, __m128i b, __m128i c, __m128i d) {
  return _mm_packus_epi16(_mm_packs_epi32(a, b), _mm_packs_epi32(c, d));
}

template <bool RedFirst>
void GreyFrom32(const uint8_t* src, uint8_t* dst, int width) {
  int x = 0;
  for (; x + 16 <= width; x += 16) {
    const __m128i* p = reinterpret_cast<const __m128i*>(src + 4 * x);
    const __m128i g0 = GreyOfDwords<RedFirst>(_mm_loadu_si128(p));
    const __m128i g1 = GreyOfDwords<RedFirst>(_mm_loadu_si128(p + 1));
    const __m128i g2 = GreyOfDwords<RedFirst>(_mm_loadu_si128(p + 2));
    const __m128i g3 = GreyOfDwords<RedFirst>(_mm_loadu_si128(p + 3));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + x), PackDwordsToBytes(g0, g1, g2, g3));
  }
  GreyFrom32TailReference<RedFirst>(src, dst, x, width);
}

// Spreads four 3-byte pixels from bytes 0..11 into four 32-bit lanes.
inline __m128i SpreadPixels24(__m128i v) {
  const __m128i m0 = _mm_setr_epi32(0x00FFFFFF, 0, 0, 0);
  const __m128i m1 = _mm_setr_epi32(0, 0x00FFFFFF, 0, 0);
  const __m128i m2 = _mm_setr_epi32(0, 0, 0x00FFFFFF, 0);
  const __m128i m3 = _mm_setr_epi32(0, 0, 0, 0x00FFFFFF);
  return _mm_or_si128(_mm_or_si128(_mm_and_si128(v, m0), _mm_and_si128(_mm_slli_si128(v, 1), m1)),
                      _mm_or_si128(_mm_and_si128(_mm_slli_si128(v, 2), m2),
                                   _mm_and_si128(_mm_slli_si128(v, 3), m3)));
}

template <bool RedFirst>
void GreyFrom24(const uint8_t* src, uint8_t* dst, int width) {
  int x = 0;
  for (; x + 16 <= width; x += 16) {
    const __m128i* p = reinterpret_cast<const __m128i*>(src + 3 * x);
    const __m128i v0 = _mm_loadu_si128(p);
    const __m128i v1 = _mm_loadu_si128(p + 1);
    const __m128i v2 = _mm_loadu_si128(p + 2);
    const __m128i q0 = v0;
    const __m128i q1 = _mm_or_si128(_mm_srli_si128(v0, 12), _mm_slli_si128(v1, 4));
    const __m128i q2 = _mm_or_si128(_mm_srli_si128(v1, 8), _mm_slli_si128(v2, 8));
    const __m128i q3 = _mm_srli_si128(v2, 4);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + x),
                     PackDwordsToBytes(GreyOfDwords<RedFirst>(SpreadPixels24(q0)),
                                       GreyOfDwords<RedFirst>(SpreadPixels24(q1)),
                                       GreyOfDwords<RedFirst>(SpreadPixels24(q2)),
                                       GreyOfDwords<RedFirst>(SpreadPixels24(q3))));
  }
  GreyFrom24TailReference<RedFirst>(src, dst, x, width);
}

// Packs the low three bytes of each 32-bit lane into bytes 0..11; bytes 12..15 are 0.
inline __m128i SqueezePixels24(__m128i v) {
  const __m128i low = _mm_set_epi32(0, -1, 0, -1);
  const __m128i high = _mm_set_epi32(0x0000FFFF, static_cast<int>(0xFF000000), 0x0000FFFF,
                                     static_cast<int>(0xFF000000));
  const __m128i pairs =
      _mm_or_si128(_mm_and_si128(v, low), _mm_and_si128(_mm_srli_epi64(v, 8), high));
  const __m128i first = _mm_setr_epi32(-1, 0x0000FFFF, 0, 0);
  const __m128i second = _mm_setr_epi32(0, static_cast<int>(0xFFFF0000), -1, 0);
  return _mm_or_si128(_mm_and_si128(pairs, first), _mm_and_si128(_mm_srli_si128(pairs, 2), second));
}

// Stores 16 pixels given as blue, green and red bytes as 48 bytes B, G, R.
inline void StoreBgr24(uint8_t* dst, __m128i b, __m128i g, __m128i r) {
  const __m128i zero = _mm_setzero_si128();
  const __m128i bgLow = _mm_unpacklo_epi8(b, g);
  const __m128i bgHigh = _mm_unpackhi_epi8(b, g);
  const __m128i rLow = _mm_unpacklo_epi8(r, zero);
  const __m128i rHigh = _mm_unpackhi_epi8(r, zero);
  const __m128i c0 = SqueezePixels24(_mm_unpacklo_epi16(bgLow, rLow));
  const __m128i c1 = SqueezePixels24(_mm_unpackhi_epi16(bgLow, rLow));
  const __m128i c2 = SqueezePixels24(_mm_unpacklo_epi16(bgHigh, rHigh));
  const __m128i c3 = SqueezePixels24(_mm_unpackhi_epi16(bgHigh, rHigh));
  __m128i* out = reinterpret_cast<__m128i*>(dst);
  _mm_storeu_si128(out, _mm_or_si128(c0, _mm_slli_si128(c1, 12)));
  _mm_storeu_si128(out + 1, _mm_or_si128(_mm_srli_si128(c1, 4), _mm_slli_si128(c2, 8)));
  _mm_storeu_si128(out + 2, _mm_or_si128(_mm_srli_si128(c2, 8), _mm_slli_si128(c3, 4)));
}

// Eight pixels from their C = Y - 16 and the D = U - 128, E = V - 128 of each pixel,
// as 16-bit channels before clipping. The products of the colour formula do not fit
// 16 bits, so each one is split at a multiple of 256, whose part passes the shift
// unchanged: 298 C = 256 C + 42 C, 409 E = 256 E + 153 E, -208 E = -256 E + 48 E,
// 516 D = 512 D + 4 D. What is left fits 16 bits for every input:
//   R = C + E + ((42 C + 153 E + 128) >> 8)
//   G = C - E + ((42 C - 100 D + 48 E + 128) >> 8)
//   B = C + 2 D + ((42 C + 4 D + 128) >> 8)
// These equal the 32-bit formula exactly, for all Y, U and V.
struct Bgr16 {
  __m128i b, g, r;
};

inline Bgr16 YuvToBgr8(__m128i c, __m128i d, __m128i e) {
  const __m128i t = _mm_add_epi16(_mm_mullo_epi16(c, _mm_set1_epi16(42)), _mm_set1_epi16(128));
  Bgr16 out;
  out.r =
      _mm_add_epi16(_mm_add_epi16(c, e),
                    _mm_srai_epi16(_mm_add_epi16(t, _mm_mullo_epi16(e, _mm_set1_epi16(153))), 8));
  const __m128i gSum = _mm_add_epi16(_mm_sub_epi16(t, _mm_mullo_epi16(d, _mm_set1_epi16(100))),
                                     _mm_mullo_epi16(e, _mm_set1_epi16(48)));
  out.g = _mm_add_epi16(_mm_sub_epi16(c, e), _mm_srai_epi16(gSum, 8));
  out.b = _mm_add_epi16(_mm_add_epi16(c, _mm_add_epi16(d, d)),
                        _mm_srai_epi16(_mm_add_epi16(t, _mm_slli_epi16(d, 2)), 8));
  return out;
}

template <bool VFirst>
void Bgr24FromSemiPlanar(const uint8_t* y, const uint8_t* chroma, uint8_t* dst, int width) {
  const __m128i zero = _mm_setzero_si128();
  const __m128i sixteen = _mm_set1_epi16(16);
  const __m128i half = _mm_set1_epi16(128);
  int x = 0;
  for (; x + 16 <= width; x += 16) {
    const __m128i luma = _mm_loadu_si128(reinterpret_cast<const __m128i*>(y + x));
    const __m128i pairs = _mm_loadu_si128(reinterpret_cast<const __m128i*>(chroma + x));
    // The first and second byte of each of the eight pairs, less 128.
    const __m128i first = _mm_sub_epi16(_mm_and_si128(pairs, _mm_set1_epi16(0x00FF)), half);
    const __m128i second = _mm_sub_epi16(_mm_srli_epi16(pairs, 8), half);
    const __m128i d = VFirst ? second : first;
    const __m128i e = VFirst ? first : second;
    // Each pair serves two neighbouring pixels.
    const Bgr16 low = YuvToBgr8(_mm_sub_epi16(_mm_unpacklo_epi8(luma, zero), sixteen),
                                _mm_unpacklo_epi16(d, d), _mm_unpacklo_epi16(e, e));
    const Bgr16 high = YuvToBgr8(_mm_sub_epi16(_mm_unpackhi_epi8(luma, zero), sixteen),
                                 _mm_unpackhi_epi16(d, d), _mm_unpackhi_epi16(e, e));
    StoreBgr24(dst + 3 * x, _mm_packus_epi16(low.b, high.b), _mm_packus_epi16(low.g, high.g),
               _mm_packus_epi16(low.r, high.r));
  }
  Bgr24FromSemiPlanarTailReference<VFirst>(y, chroma, dst, x, width);
}

const PixelRowKernels kSse2 = {
    "SSE2",
    &GreyFrom24<false>,
    &GreyFrom24<true>,
    &GreyFrom32<false>,
    &GreyFrom32<true>,
    &Bgr24FromSemiPlanar<true>,
    &Bgr24FromSemiPlanar<false>,
};

}  // namespace

const PixelRowKernels* Sse2RowKernels() { return &kSse2; }

}  // namespace internal
}  // namespace norvane

#else  // no SSE2 in this build

namespace norvane {
namespace internal {

const PixelRowKernels* Sse2RowKernels() { return nullptr; }

}  // namespace internal
}  // namespace norvane

#endif
