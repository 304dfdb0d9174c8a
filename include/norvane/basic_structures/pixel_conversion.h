/** \file
 * Pixel-format conversion of images. Exported with C linkage; C callers see the image
 * as an opaque type. Every function validates its input first and never reads
 * outside the given bytes. A returned image is new, belongs to the caller (delete it),
 * owns its bytes, has the minimal stride (width or 3 x width), and carries a clone of
 * the input's tag and its orientation. Safe to call from any thread at once.
 *
 * Grey values of colour pixels are (19562 R + 38550 G + 7424 B) >> 16; 16-bit channels
 * count by their high byte; the YUV formats give their luma plane as grey and their
 * colour by the BT.601 video-range integer formula. Colour output is IPF_RGB_888
 * (bytes B, G, R in memory). */
#ifndef NORVANE_BASIC_STRUCTURES_PIXEL_CONVERSION_H_
#define NORVANE_BASIC_STRUCTURES_PIXEL_CONVERSION_H_

#include "norvane/core/export.h"

#ifdef __cplusplus
#include "norvane/basic_structures/image_data.h"

namespace norvane {
namespace basic_structures {

/// Which channels a consumer wants; any other value acts as CCUT_AUTO.
enum ColourChannelUsageType : int32_t {
  CCUT_AUTO = 0,            ///< 8-bit and 24-bit colour stay, 1-bit becomes grey, others colour
  CCUT_FULL_COLOUR = 1,     ///< everything becomes 24-bit colour (IPF_RGB_888)
  CCUT_LUMINANCE_ONLY = 2,  ///< everything becomes 8-bit grey (IPF_GRAYSCALE)
};

}  // namespace basic_structures
}  // namespace norvane

/** The image the conversion functions take and return: a CImageData in C++. */
typedef norvane::basic_structures::CImageData NorvaneImageData;
#else
/** The image the conversion functions take and return; opaque to C callers. */
typedef struct NorvaneImageData NorvaneImageData;
#endif

NORVANE_BEGIN_C_DECLS

/** 0 when the image is valid; -10002 null image, -10071 format outside 0..15,
 * -10069 null bytes, width or height below 1 or stride below the row size,
 * -10070 fewer bytes than the format needs for that height and stride (height rows of
 * stride bytes; the YUV formats add (height + 1) / 2 chroma rows). The row size of the
 * YUV formats is the width rounded up to even: a chroma row holds (width + 1) / 2 pairs. */
NORVANE_API int TQ_ValidateImageData(const NorvaneImageData* image);
/** A new 8-bit grey image, or null when the input is invalid. */
NORVANE_API NorvaneImageData* TQ_ConvertToGrayscale(const NorvaneImageData* image);
/** A new 24-bit colour image (IPF_RGB_888), or null when the input is invalid. */
NORVANE_API NorvaneImageData* TQ_ConvertToRGB(const NorvaneImageData* image);
/** A new image in the format `usage` asks for (a ColourChannelUsageType value), or
 * null when no conversion is needed or the input is invalid. */
NORVANE_API NorvaneImageData* TQ_ConvertImageData(const NorvaneImageData* image, int usage);

NORVANE_END_C_DECLS

#endif /**< NORVANE_BASIC_STRUCTURES_PIXEL_CONVERSION_H_ */
