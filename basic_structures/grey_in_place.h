// Luminance conversion of an image in its own buffer, for the image-source adapter:
// it owns every image it hands out, so it can turn a colour or YUV image into grey
// without a second buffer and a copy of every pixel.
#ifndef NORVANE_BASIC_STRUCTURES_GREY_IN_PLACE_H_
#define NORVANE_BASIC_STRUCTURES_GREY_IN_PLACE_H_

#include "norvane/basic_structures/image_data.h"

namespace norvane {
namespace internal {

// A friend of CImageData, so that the conversion can rewrite the image's fields.
class ImageDataEditor {
 public:
  // When `image` is a plain CImageData that owns bytes allocated with new[]
  // (CImageData::DeleteByteArray) and TQ_ConvertImageData(image, CCUT_LUMINANCE_ONLY)
  // would convert it, writes that conversion's result into the image's own bytes,
  // makes the image describe it (grey, minimal stride and length) and returns true.
  // Otherwise changes nothing and returns false. The caller must own the image.
  static bool ConvertToGreyInPlace(basic_structures::CImageData* image);
};

}  // namespace internal
}  // namespace norvane

#endif  // NORVANE_BASIC_STRUCTURES_GREY_IN_PLACE_H_
