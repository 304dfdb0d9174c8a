// NEON row kernels, chosen at run time. On 32-bit ARM this file alone is compiled
// with NEON enabled (the armhf baseline lacks it), so it defines nothing but the
// kernels, which run only after the processor reported NEON; it must not define
// inline functions shared with other files, whose single copy could then carry NEON
// instructions into code that runs everywhere.
#include "basic_structures/pixel_kernels.h"

#if defined(__ARM_NEON) || defined(__ARM_NEON__)
#include <arm_neon.h>

#include "core/cpu_features.h"

namespace norvane {
namespace internal {
namespace {

// Grey values of 16 pixels from their red, green and blue bytes:
// (19562 R + 38550 G + 7424 B) >> 16, in 32-bit lanes.
inline uint8x8_t Grey8(uint8x8_t r, uint8x8_t g, uint8x8_t b) {
  const uint16x8_t r16 = vmovl_u8(r), g16 = vmovl_u8(g), b16 = vmovl_u8(b);
  uint32x4_t low = vmull_n_u16(vget_low_u16(r16), static_cast<uint16_t>(kGreyWeightR));
  low = vmlal_n_u16(low, vget_low_u16(g16), static_cast<uint16_t>(kGreyWeightG));
  low = vmlal_n_u16(low, vget_low_u16(b16), static_cast<uint16_t>(kGreyWeightB));
  uint32x4_t high = vmull_n_u16(vget_high_u16(r16), static_cast<uint16_t>(kGreyWeightR));
  high = vmlal_n_u16(high, vget_high_u16(g16), static_cast<uint16_t>(kGreyWeightG));
  high = vmlal_n_u16(high, vget_high_u16(b16), static_cast<uint16_t>(kGreyWeightB));
  return vmovn_u16(vcombine_u16(vshrn_n_u32(low, 16), vshrn_n_u32(high, 16)));
}

inline uint8x16_t Grey16(uint8x16_t r, uint8x16_t g, uint8x16_t b) {
  return vcombine_u8(Grey8(vget_low_u8(r), vget_low_u8(g), vget_low_u8(b)),
                     Grey8(vget_high_u8(r), vget_high_u8(g), vget_high_u8(b)));
}

template <bool RedFirst>
void GreyFrom32(const uint8_t* src, uint8_t* dst, int width) {
  int x = 0;
  for (; x + 16 <= width; x += 16) {
    const uint8x16x4_t p = vld4q_u8(src + 4 * x);
    vst1q_u8(dst + x, RedFirst ? Grey16(p.val[0], p.val[1], p.val[2])
                               : Grey16(p.val[2], p.val[1], p.val[0]));
  }
  GreyFrom32TailReference<RedFirst>(src, dst, x, width);
}

template <bool RedFirst>
void GreyFrom24(const uint8_t* src, uint8_t* dst, int width) {
  int x = 0;
  for (; x + 16 <= width; x += 16) {
    const uint8x16x3_t p = vld3q_u8(src + 3 * x);
    vst1q_u8(dst + x, RedFirst ? Grey16(p.val[0], p.val[1], p.val[2])
                               : Grey16(p.val[2], p.val[1], p.val[0]));
  }
  GreyFrom24TailReference<RedFirst>(src, dst, x, width);
}

// One channel of eight pixels, clipped: c + base + ((t + term) >> 8).
inline uint8x8_t Value(int16x8_t c, int16x8_t base, int16x8_t t, int16x8_t term) {
  return vqmovun_s16(vaddq_s16(vaddq_s16(c, base), vshrq_n_s16(vaddq_s16(t, term), 8)));
}

// Sixteen pixels at a time, even and odd pixels apart, each in 16-bit lanes beside the
// chroma pair that serves it. The products of the colour formula do not fit 16 bits,
// so each is split at a multiple of 256, whose part passes the shift unchanged:
//   R = C + E + ((42 C + 153 E + 128) >> 8), G = C - E + ((42 C - 100 D + 48 E + 128) >> 8),
//   B = C + 2 D + ((42 C + 4 D + 128) >> 8),
// which equals the 32-bit formula for every Y, U and V.
template <bool VFirst>
void Bgr24FromSemiPlanar(const uint8_t* y, const uint8_t* chroma, uint8_t* dst, int width) {
  int x = 0;
  for (; x + 16 <= width; x += 16) {
    const uint8x8x2_t luma = vld2_u8(y + x);  // even and odd pixels
    const uint8x8x2_t pairs = vld2_u8(chroma + x);
    const uint8x8_t u = VFirst ? pairs.val[1] : pairs.val[0];
    const uint8x8_t v = VFirst ? pairs.val[0] : pairs.val[1];
    const int16x8_t d = vreinterpretq_s16_u16(vsubl_u8(u, vdup_n_u8(128)));
    const int16x8_t e = vreinterpretq_s16_u16(vsubl_u8(v, vdup_n_u8(128)));
    const int16x8_t rChroma = vmulq_n_s16(e, 153);
    const int16x8_t gChroma = vmlsq_n_s16(vmulq_n_s16(e, 48), d, 100);
    const int16x8_t bChroma = vshlq_n_s16(d, 2);
    const int16x8_t bBase = vaddq_s16(d, d);
    const int16x8_t gBase = vnegq_s16(e);
    const int16x8_t cEven = vreinterpretq_s16_u16(vsubl_u8(luma.val[0], vdup_n_u8(16)));
    const int16x8_t cOdd = vreinterpretq_s16_u16(vsubl_u8(luma.val[1], vdup_n_u8(16)));
    const int16x8_t tEven = vmlaq_n_s16(vdupq_n_s16(128), cEven, 42);
    const int16x8_t tOdd = vmlaq_n_s16(vdupq_n_s16(128), cOdd, 42);
    const uint8x8x2_t b =
        vzip_u8(Value(cEven, bBase, tEven, bChroma), Value(cOdd, bBase, tOdd, bChroma));
    const uint8x8x2_t g =
        vzip_u8(Value(cEven, gBase, tEven, gChroma), Value(cOdd, gBase, tOdd, gChroma));
    const uint8x8x2_t r = vzip_u8(Value(cEven, e, tEven, rChroma), Value(cOdd, e, tOdd, rChroma));
    uint8x16x3_t out;
    out.val[0] = vcombine_u8(b.val[0], b.val[1]);
    out.val[1] = vcombine_u8(g.val[0], g.val[1]);
    out.val[2] = vcombine_u8(r.val[0], r.val[1]);
    vst3q_u8(dst + 3 * x, out);
  }
  Bgr24FromSemiPlanarTailReference<VFirst>(y, chroma, dst, x, width);
}

const PixelRowKernels kNeon = {
    "NEON",
    &GreyFrom24<false>,
    &GreyFrom24<true>,
    &GreyFrom32<false>,
    &GreyFrom32<true>,
    &Bgr24FromSemiPlanar<true>,
    &Bgr24FromSemiPlanar<false>,
};

}  // namespace

const PixelRowKernels* NeonRowKernels() { return CpuHasNeon() ? &kNeon : nullptr; }

}  // namespace internal
}  // namespace norvane

#else  // no NEON in this build

namespace norvane {
namespace internal {

const PixelRowKernels* NeonRowKernels() { return nullptr; }

}  // namespace internal
}  // namespace norvane

#endif
