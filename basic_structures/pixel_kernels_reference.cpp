// Plain C++ row kernels: the definition of every conversion result, and the
// conversions of the less common formats.
#include <cstring>

#include "basic_structures/pixel_kernels.h"

namespace norvane {
namespace internal {
namespace {

using basic_structures::ImagePixelFormat;

struct Rgb {
  uint32_t r, g, b;
};

inline uint8_t Grey(Rgb c) {
  return static_cast<uint8_t>((kGreyWeightR * c.r + kGreyWeightG * c.g + kGreyWeightB * c.b) >> 16);
}

inline uint32_t Widen5(uint32_t v) { return (v << 3) | (v >> 2); }
inline uint32_t Widen6(uint32_t v) { return (v << 2) | (v >> 4); }

// Colour of pixel x of a row in format F. 16-bit channels are little-endian; their
// high byte counts.
template <int F>
inline Rgb PixelAt(const uint8_t* row, int x) {
  const size_t i = static_cast<size_t>(x);
  switch (F) {
    case basic_structures::IPF_BINARY:
    case basic_structures::IPF_BINARY_INVERTED: {
      const uint32_t bit = (row[i >> 3] >> (7 - (i & 7))) & 1u;
      const uint32_t v = (bit != 0) == (F == basic_structures::IPF_BINARY) ? 255u : 0u;
      return {v, v, v};
    }
    case basic_structures::IPF_RGB_565: {
      const uint32_t w = row[2 * i] | (static_cast<uint32_t>(row[2 * i + 1]) << 8);
      return {Widen5(w >> 11), Widen6((w >> 5) & 63u), Widen5(w & 31u)};
    }
    case basic_structures::IPF_RGB_555: {
      const uint32_t w = row[2 * i] | (static_cast<uint32_t>(row[2 * i + 1]) << 8);
      return {Widen5((w >> 10) & 31u), Widen5((w >> 5) & 31u), Widen5(w & 31u)};
    }
    case basic_structures::IPF_RGB_888: {
      const uint8_t* p = row + 3 * i;
      return {p[2], p[1], p[0]};
    }
    case basic_structures::IPF_BGR_888: {
      const uint8_t* p = row + 3 * i;
      return {p[0], p[1], p[2]};
    }
    case basic_structures::IPF_ARGB_8888: {
      const uint8_t* p = row + 4 * i;
      return {p[2], p[1], p[0]};
    }
    case basic_structures::IPF_ABGR_8888: {
      const uint8_t* p = row + 4 * i;
      return {p[0], p[1], p[2]};
    }
    case basic_structures::IPF_RGB_161616: {
      const uint8_t* p = row + 6 * i;
      return {p[5], p[3], p[1]};
    }
    case basic_structures::IPF_ARGB_16161616: {
      const uint8_t* p = row + 8 * i;
      return {p[5], p[3], p[1]};
    }
    case basic_structures::IPF_ABGR_16161616: {
      const uint8_t* p = row + 8 * i;
      return {p[1], p[3], p[5]};
    }
    default: {  // the 8-bit formats
      const uint32_t v = row[i];
      return {v, v, v};
    }
  }
}

template <int F>
void GreyRow(const uint8_t* src, uint8_t* dst, int width) {
  for (int x = 0; x < width; ++x) dst[x] = Grey(PixelAt<F>(src, x));
}

template <int F>
void Bgr24Row(const uint8_t* src, uint8_t* dst, int width) {
  for (int x = 0; x < width; ++x) {
    const Rgb c = PixelAt<F>(src, x);
    dst[3 * x] = static_cast<uint8_t>(c.b);
    dst[3 * x + 1] = static_cast<uint8_t>(c.g);
    dst[3 * x + 2] = static_cast<uint8_t>(c.r);
  }
}

inline uint8_t Clip(int32_t v) { return static_cast<uint8_t>(v < 0 ? 0 : (v > 255 ? 255 : v)); }

// v / 256 rounded toward minus infinity, for |v| < 2^24: shifted while non-negative,
// so that the result does not depend on how the compiler shifts negative values.
inline int32_t Shift8(int32_t v) { return ((v + (1 << 24)) >> 8) - (1 << 16); }

template <bool VFirst>
void Bgr24FromSemiPlanarRow(const uint8_t* y, const uint8_t* chroma, uint8_t* dst, int width) {
  for (int x = 0; x < width; ++x) {
    const uint8_t* pair = chroma + 2 * (x >> 1);
    const int32_t c = static_cast<int32_t>(y[x]) - 16;
    const int32_t d = static_cast<int32_t>(VFirst ? pair[1] : pair[0]) - 128;
    const int32_t e = static_cast<int32_t>(VFirst ? pair[0] : pair[1]) - 128;
    dst[3 * x] = Clip(Shift8(298 * c + 516 * d + 128));
    dst[3 * x + 1] = Clip(Shift8(298 * c - 100 * d - 208 * e + 128));
    dst[3 * x + 2] = Clip(Shift8(298 * c + 409 * e + 128));
  }
}

const PixelRowKernels kReference = {
    "reference",
    &GreyFromBgr24RowReference,
    &GreyFromRgb24RowReference,
    &GreyFromBgra32RowReference,
    &GreyFromRgba32RowReference,
    &Bgr24FromNv21RowReference,
    &Bgr24FromNv12RowReference,
};

}  // namespace

void GreyFromBgr24RowReference(const uint8_t* src, uint8_t* dst, int width) {
  GreyRow<basic_structures::IPF_RGB_888>(src, dst, width);
}
void GreyFromRgb24RowReference(const uint8_t* src, uint8_t* dst, int width) {
  GreyRow<basic_structures::IPF_BGR_888>(src, dst, width);
}
void GreyFromBgra32RowReference(const uint8_t* src, uint8_t* dst, int width) {
  GreyRow<basic_structures::IPF_ARGB_8888>(src, dst, width);
}
void GreyFromRgba32RowReference(const uint8_t* src, uint8_t* dst, int width) {
  GreyRow<basic_structures::IPF_ABGR_8888>(src, dst, width);
}
void Bgr24FromNv21RowReference(const uint8_t* y, const uint8_t* chroma, uint8_t* dst, int width) {
  Bgr24FromSemiPlanarRow<true>(y, chroma, dst, width);
}
void Bgr24FromNv12RowReference(const uint8_t* y, const uint8_t* chroma, uint8_t* dst, int width) {
  Bgr24FromSemiPlanarRow<false>(y, chroma, dst, width);
}

void GreyRowReference(ImagePixelFormat format, const uint8_t* src, uint8_t* dst, int width) {
  switch (format) {
    case basic_structures::IPF_BINARY:
      return GreyRow<basic_structures::IPF_BINARY>(src, dst, width);
    case basic_structures::IPF_BINARY_INVERTED:
      return GreyRow<basic_structures::IPF_BINARY_INVERTED>(src, dst, width);
    case basic_structures::IPF_RGB_565:
      return GreyRow<basic_structures::IPF_RGB_565>(src, dst, width);
    case basic_structures::IPF_RGB_555:
      return GreyRow<basic_structures::IPF_RGB_555>(src, dst, width);
    case basic_structures::IPF_RGB_888:
      return GreyFromBgr24RowReference(src, dst, width);
    case basic_structures::IPF_BGR_888:
      return GreyFromRgb24RowReference(src, dst, width);
    case basic_structures::IPF_ARGB_8888:
      return GreyFromBgra32RowReference(src, dst, width);
    case basic_structures::IPF_ABGR_8888:
      return GreyFromRgba32RowReference(src, dst, width);
    case basic_structures::IPF_RGB_161616:
      return GreyRow<basic_structures::IPF_RGB_161616>(src, dst, width);
    case basic_structures::IPF_ARGB_16161616:
      return GreyRow<basic_structures::IPF_ARGB_16161616>(src, dst, width);
    case basic_structures::IPF_ABGR_16161616:
      return GreyRow<basic_structures::IPF_ABGR_16161616>(src, dst, width);
    default:
      std::memcpy(dst, src, static_cast<size_t>(width));
      return;
  }
}

void Bgr24RowReference(ImagePixelFormat format, const uint8_t* src, uint8_t* dst, int width) {
  switch (format) {
    case basic_structures::IPF_BINARY:
      return Bgr24Row<basic_structures::IPF_BINARY>(src, dst, width);
    case basic_structures::IPF_BINARY_INVERTED:
      return Bgr24Row<basic_structures::IPF_BINARY_INVERTED>(src, dst, width);
    case basic_structures::IPF_RGB_565:
      return Bgr24Row<basic_structures::IPF_RGB_565>(src, dst, width);
    case basic_structures::IPF_RGB_555:
      return Bgr24Row<basic_structures::IPF_RGB_555>(src, dst, width);
    case basic_structures::IPF_RGB_888:
      std::memcpy(dst, src, 3 * static_cast<size_t>(width));
      return;
    case basic_structures::IPF_BGR_888:
      return Bgr24Row<basic_structures::IPF_BGR_888>(src, dst, width);
    case basic_structures::IPF_ARGB_8888:
      return Bgr24Row<basic_structures::IPF_ARGB_8888>(src, dst, width);
    case basic_structures::IPF_ABGR_8888:
      return Bgr24Row<basic_structures::IPF_ABGR_8888>(src, dst, width);
    case basic_structures::IPF_RGB_161616:
      return Bgr24Row<basic_structures::IPF_RGB_161616>(src, dst, width);
    case basic_structures::IPF_ARGB_16161616:
      return Bgr24Row<basic_structures::IPF_ARGB_16161616>(src, dst, width);
    case basic_structures::IPF_ABGR_16161616:
      return Bgr24Row<basic_structures::IPF_ABGR_16161616>(src, dst, width);
    default:
      return Bgr24Row<basic_structures::IPF_GRAYSCALE>(src, dst, width);
  }
}

const PixelRowKernels& ReferenceRowKernels() { return kReference; }

}  // namespace internal
}  // namespace norvane
