// Image files for norvane-capture: reading PNG, JPEG and PGM input through
// stb_image and WebP input through libwebp, and the PNG writer of the image logs,
// which draws quadrilaterals on a grey frame.
#ifndef NORVANE_ROUTER_IMAGE_IO_H_
#define NORVANE_ROUTER_IMAGE_IO_H_

#include <string>
#include <vector>

#include "norvane/basic_structures/image_data.h"
#include "norvane/basic_structures/point.h"

namespace capture {

// Whether the file name ends in .png, .jpg, .jpeg, .pgm or .webp (any case).
bool IsSupportedImageFile(const std::string& path);

// The image files below `root`, sorted, and every entry that had to be left out
// (an image name that is no regular file, a directory that cannot be read, a
// symbolic link to a directory), each with the reason in `skipped`.
struct ImageFileList {
  std::vector<std::string> files;
  std::vector<std::string> skipped;  // "PATH: reason"
};
ImageFileList ListImageFiles(const std::string& root);

// Images above this many pixels are refused before they are decoded.
constexpr unsigned long long kDefaultMaxPixels = 64ull << 20;

// What became of one image file. `image` is new, grey or 24-bit colour, with a file
// tag naming `path`; it is null when the file is unreadable (`error` says why) or
// refused for its size.
struct ImageFile {
  norvane::basic_structures::CImageData* image = nullptr;
  bool refused = false;
  std::string error;
};

// Reads a PNG, JPEG, PGM/PPM or WebP file, known by its content, not its name.
// Only regular files are opened (never blocking on a FIFO), and only up to 256 MiB.
ImageFile ReadImageFile(const std::string& path, int imageId, unsigned long long maxPixels);

// The same from bytes in memory; `path` only names the image in its tag.
ImageFile DecodeImage(const unsigned char* data, size_t size, const std::string& path, int imageId,
                      unsigned long long maxPixels);

// What an image log shows: a grey frame and the outlines to draw on it.
struct LogPicture {
  const norvane::basic_structures::CImageData* grey = nullptr;
  std::vector<std::vector<norvane::basic_structures::TQPoint_<int>>> outlines;
  unsigned char red = 255, green = 0, blue = 0;
};

// A LogImageWriter: `data` is a LogPicture; writes it as a colour PNG to `path`.
bool WriteLogPicturePng(const void* data, const char* path);

}  // namespace capture

#endif  // NORVANE_ROUTER_IMAGE_IO_H_
