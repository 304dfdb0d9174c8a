// Per-row kernels of the pixel-format conversion.
//
// Every kernel converts one row of `width` pixels (width >= 1) and reads only the
// bytes of that row's pixels: `width` times the pixel size, and for the semi-planar
// YUV rows the luma row plus 2 * ((width + 1) / 2) chroma bytes. The reference
// kernels are plain C++ and define the results; each SIMD kernel set must match them
// bit for bit (the tests compare them on every width and alignment).
//
// Grey value of a colour pixel: (19562 R + 38550 G + 7424 B) >> 16.
// YUV to colour, BT.601 video range: C = Y - 16, D = U - 128, E = V - 128,
//   R = clip((298 C + 409 E + 128) >> 8), G = clip((298 C - 100 D - 208 E + 128) >> 8),
//   B = clip((298 C + 516 D + 128) >> 8), clip to 0..255.
// Colour output is 24-bit with the bytes B, G, R in memory (IPF_RGB_888).
#ifndef NORVANE_BASIC_STRUCTURES_PIXEL_KERNELS_H_
#define NORVANE_BASIC_STRUCTURES_PIXEL_KERNELS_H_

#include <cstdint>

#include "norvane/basic_structures/image_data.h"

namespace norvane {
namespace internal {

constexpr uint32_t kGreyWeightR = 19562;
constexpr uint32_t kGreyWeightG = 38550;
constexpr uint32_t kGreyWeightB = 7424;

typedef void (*GreyRowKernel)(const uint8_t* src, uint8_t* dst, int width);
// `y` is the luma row, `chroma` the interleaved chroma row that serves it.
typedef void (*YuvRowKernel)(const uint8_t* y, const uint8_t* chroma, uint8_t* dst, int width);

// The kernels of the hot paths, one set per instruction set.
struct PixelRowKernels {
  const char* name;
  GreyRowKernel greyFromBgr24;   // IPF_RGB_888, memory B, G, R
  GreyRowKernel greyFromRgb24;   // IPF_BGR_888, memory R, G, B
  GreyRowKernel greyFromBgra32;  // IPF_ARGB_8888, memory B, G, R, A
  GreyRowKernel greyFromRgba32;  // IPF_ABGR_8888, memory R, G, B, A
  YuvRowKernel bgr24FromNv21;    // chroma V, U
  YuvRowKernel bgr24FromNv12;    // chroma U, V
};

// Plain C++; every processor.
const PixelRowKernels& ReferenceRowKernels();
// The SIMD sets, or null when this build or this processor lacks the instructions.
const PixelRowKernels* Sse2RowKernels();
const PixelRowKernels* Avx2RowKernels();
const PixelRowKernels* NeonRowKernels();
// The fastest set this processor runs, chosen once.
const PixelRowKernels& ActiveRowKernels();

// Reference kernels of the hot paths, also used by the SIMD kernels for row tails.
void GreyFromBgr24RowReference(const uint8_t* src, uint8_t* dst, int width);
void GreyFromRgb24RowReference(const uint8_t* src, uint8_t* dst, int width);
void GreyFromBgra32RowReference(const uint8_t* src, uint8_t* dst, int width);
void GreyFromRgba32RowReference(const uint8_t* src, uint8_t* dst, int width);
void Bgr24FromNv21RowReference(const uint8_t* y, const uint8_t* chroma, uint8_t* dst, int width);
void Bgr24FromNv12RowReference(const uint8_t* y, const uint8_t* chroma, uint8_t* dst, int width);

// The reference kernel of one channel order, for the pixels a SIMD kernel leaves at the
// end of a row: the `width - x` pixels from pixel x on (nothing when x >= width).
template <bool RedFirst>
inline void GreyFrom24TailReference(const uint8_t* src, uint8_t* dst, int x, int width) {
  if (x < width) {
    (RedFirst ? GreyFromRgb24RowReference : GreyFromBgr24RowReference)(src + 3 * x, dst + x,
                                                                       width - x);
  }
}
template <bool RedFirst>
inline void GreyFrom32TailReference(const uint8_t* src, uint8_t* dst, int x, int width) {
  if (x < width) {
    (RedFirst ? GreyFromRgba32RowReference : GreyFromBgra32RowReference)(src + 4 * x, dst + x,
                                                                         width - x);
  }
}
template <bool VFirst>
inline void Bgr24FromSemiPlanarTailReference(const uint8_t* y, const uint8_t* chroma, uint8_t* dst,
                                             int x, int width) {
  if (x < width) {
    (VFirst ? Bgr24FromNv21RowReference : Bgr24FromNv12RowReference)(y + x, chroma + x,
                                                                     dst + 3 * x, width - x);
  }
}

// Grey and colour rows of the packed formats 0, 1, 2, 4 to 13 and 15 (not the YUV
// formats 3 and 14), in plain C++.
void GreyRowReference(basic_structures::ImagePixelFormat format, const uint8_t* src, uint8_t* dst,
                      int width);
void Bgr24RowReference(basic_structures::ImagePixelFormat format, const uint8_t* src, uint8_t* dst,
                       int width);

}  // namespace internal
}  // namespace norvane

#endif  // NORVANE_BASIC_STRUCTURES_PIXEL_KERNELS_H_
