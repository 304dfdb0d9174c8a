// Image files for norvane-capture: reading PNG, JPEG and PGM input through
// stb_image and WebP input through libwebp, and the PNG writer of the image logs,
// which draws quadrilaterals on a grey frame.
#ifndef NORVANE_EXAMPLES_CAPTURE_IMAGE_IO_H_
#define NORVANE_EXAMPLES_CAPTURE_IMAGE_IO_H_

#include <string>
#include <vector>

#include "norvane/basic_structures/image_data.h"
#include "norvane/basic_structures/point.h"

namespace capture {

// Whether the file name ends in .png, .jpg, .jpeg, .pgm or .webp (any case).
bool IsSupportedImageFile(const std::string& path);

// Reads an image file into a new grey or 24-bit colour image with a file tag whose
// image id is `imageId`; null with a reason in `error` when it cannot be read.
norvane::basic_structures::CImageData* ReadImageFile(const std::string& path, int imageId,
                                                     std::string* error);

// What an image log shows: a grey frame and the outlines to draw on it.
struct LogPicture {
  const norvane::basic_structures::CImageData* grey = nullptr;
  std::vector<std::vector<norvane::basic_structures::TQPoint_<int>>> outlines;
  unsigned char red = 255, green = 0, blue = 0;
};

// A LogImageWriter: `data` is a LogPicture; writes it as a colour PNG to `path`.
bool WriteLogPicturePng(const void* data, const char* path);

}  // namespace capture

#endif  // NORVANE_EXAMPLES_CAPTURE_IMAGE_IO_H_
