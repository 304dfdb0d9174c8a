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
  if (x < width) {
    (RedFirst ? GreyFromRgba32RowReference : GreyFromBgra32RowReference)(src + 4 * x, dst + x,
                                                                         width - x);
  }
}

template <bool RedFirst>
void GreyFrom24(const uint8_t* src, uint8_t* dst, int width) {
  int x = 0;
  for (; x + 16 <= width; x += 16) {
    const uint8x16x3_t p = vld3q_u8(src + 3 * x);
    vst1q_u8(dst + x, RedFirst ? Grey16(p.val[0], p.val[1], p.val[2])
                               : Grey16(p.val[2], p.val[1], p.val[0]));
  }
  if (x < width) {
    (RedFirst ? GreyFromRgb24RowReference : GreyFromBgr24RowReference)(src + 3 * x, dst + x,
                                                                       width - x);
  }
}

// One channel of four pixels: clip((base + d * D + e * E) >> 8), where base holds
// 298 C + 128, and D, E the chroma of each pixel.
inline int16x4_t Channel4(int32x4_t base, int16x4_t dValues, int16_t d, int16x4_t eValues,
                          int16_t e) {
  const int32x4_t sum = vmlal_n_s16(vmlal_n_s16(base, dValues, d), eValues, e);
  return vqmovn_s32(vshrq_n_s32(sum, 8));
}

struct Bgr8 {
  uint8x8_t b, g, r;
};

// Eight pixels from their luma bytes and the D and E values of their four pairs.
inline Bgr8 YuvToBgr8(uint8x8_t luma, int16x4_t d4, int16x4_t e4) {
  const int16x8_t c = vreinterpretq_s16_u16(vsubl_u8(luma, vdup_n_u8(16)));
  const int16x4x2_t d = vzip_s16(d4, d4);  // each pair's value for both of its pixels
  const int16x4x2_t e = vzip_s16(e4, e4);
  const int32x4_t rounding = vdupq_n_s32(128);
  const int32x4_t baseLow = vmlal_n_s16(rounding, vget_low_s16(c), 298);
  const int32x4_t baseHigh = vmlal_n_s16(rounding, vget_high_s16(c), 298);
  Bgr8 out;
  out.r = vqmovun_s16(vcombine_s16(Channel4(baseLow, d.val[0], 0, e.val[0], 409),
                                   Channel4(baseHigh, d.val[1], 0, e.val[1], 409)));
  out.g = vqmovun_s16(vcombine_s16(Channel4(baseLow, d.val[0], -100, e.val[0], -208),
                                   Channel4(baseHigh, d.val[1], -100, e.val[1], -208)));
  out.b = vqmovun_s16(vcombine_s16(Channel4(baseLow, d.val[0], 516, e.val[0], 0),
                                   Channel4(baseHigh, d.val[1], 516, e.val[1], 0)));
  return out;
}

template <bool VFirst>
void Bgr24FromSemiPlanar(const uint8_t* y, const uint8_t* chroma, uint8_t* dst, int width) {
  int x = 0;
  for (; x + 16 <= width; x += 16) {
    const uint8x16_t luma = vld1q_u8(y + x);
    const uint8x8x2_t pairs = vld2_u8(chroma + x);
    const uint8x8_t u = VFirst ? pairs.val[1] : pairs.val[0];
    const uint8x8_t v = VFirst ? pairs.val[0] : pairs.val[1];
    const int16x8_t d = vreinterpretq_s16_u16(vsubl_u8(u, vdup_n_u8(128)));
    const int16x8_t e = vreinterpretq_s16_u16(vsubl_u8(v, vdup_n_u8(128)));
    const Bgr8 low = YuvToBgr8(vget_low_u8(luma), vget_low_s16(d), vget_low_s16(e));
    const Bgr8 high = YuvToBgr8(vget_high_u8(luma), vget_high_s16(d), vget_high_s16(e));
    uint8x16x3_t out;
    out.val[0] = vcombine_u8(low.b, high.b);
    out.val[1] = vcombine_u8(low.g, high.g);
    out.val[2] = vcombine_u8(low.r, high.r);
    vst3q_u8(dst + 3 * x, out);
  }
  if (x < width) {
    (VFirst ? Bgr24FromNv21RowReference : Bgr24FromNv12RowReference)(y + x, chroma + x, dst + 3 * x,
                                                                     width - x);
  }
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
