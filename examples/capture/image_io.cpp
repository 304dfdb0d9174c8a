#include "image_io.h"

#include <webp/decode.h>

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <memory>

#include "norvane/basic_structures/pixel_conversion.h"

#ifdef NORVANE_CAPTURE_HAVE_ZLIB
#include <zlib.h>

// PNG data is deflated by zlib at its fastest level: stb's own deflate takes
// several times as long on noisy camera frames.
namespace {
unsigned char* DeflateWithZlib(unsigned char* data, int length, int* outLength, int) {
  uLongf size = compressBound(static_cast<uLong>(length));
  unsigned char* out = static_cast<unsigned char*>(std::malloc(size));
  if (out == nullptr) return nullptr;
  if (compress2(out, &size, data, static_cast<uLong>(length), Z_BEST_SPEED) != Z_OK) {
    std::free(out);
    return nullptr;
  }
  *outLength = static_cast<int>(size);
  return out;
}
}  // namespace
#define STBIW_ZLIB_COMPRESS DeflateWithZlib
#endif

// stb_image and stb_image_write are header-only; this file holds their code.
#define STB_IMAGE_IMPLEMENTATION
#define STB_IMAGE_WRITE_IMPLEMENTATION
#define STBI_ONLY_PNG
#define STBI_ONLY_JPEG
#define STBI_ONLY_PNM
#if defined(__GNUC__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"
#pragma GCC diagnostic ignored "-Wsign-compare"
#pragma GCC diagnostic ignored "-Wunused-parameter"
#pragma GCC diagnostic ignored "-Wunused-function"
#pragma GCC diagnostic ignored "-Wimplicit-fallthrough"
#pragma GCC diagnostic ignored "-Wdouble-promotion"
#endif
#include <stb_image.h>
#include <stb_image_write.h>
#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif

namespace capture {
namespace {

using norvane::basic_structures::CFileImageTag;
using norvane::basic_structures::CImageData;

// WebP files above this size are refused rather than read into memory.
constexpr std::streamoff kMaxWebpFileBytes = 256 << 20;

void FreeStbBytes(const unsigned char* bytes) {
  stbi_image_free(const_cast<unsigned char*>(bytes));
}

void FreeWebpBytes(const unsigned char* bytes) { std::free(const_cast<unsigned char*>(bytes)); }

std::string LowerExtension(const std::string& path) {
  const size_t dot = path.find_last_of('.');
  const size_t slash = path.find_last_of('/');
  if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) return "";
  std::string ext = path.substr(dot + 1);
  std::transform(ext.begin(), ext.end(), ext.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return ext;
}

// The whole file is read first; libwebp decodes from memory.
CImageData* ReadWebpFile(const std::string& path, int imageId, std::string* error) {
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    *error = "cannot open file";
    return nullptr;
  }
  in.seekg(0, std::ios::end);
  const std::streamoff size = in.tellg();
  if (size <= 0 || size > kMaxWebpFileBytes) {
    *error = size <= 0 ? "empty or unreadable file" : "file too large";
    return nullptr;
  }
  std::vector<uint8_t> data(static_cast<size_t>(size));
  in.seekg(0, std::ios::beg);
  if (!in.read(reinterpret_cast<char*>(data.data()), size) || in.gcount() != size) {
    *error = "cannot read file";
    return nullptr;
  }
  int w = 0, h = 0;
  if (WebPGetInfo(data.data(), data.size(), &w, &h) == 0 || w <= 0 || h <= 0) {
    *error = "not a WebP image";
    return nullptr;
  }
  const size_t stride = static_cast<size_t>(w) * 3;
  const size_t length = stride * static_cast<size_t>(h);
  unsigned char* bytes = static_cast<unsigned char*>(std::malloc(length));
  if (bytes == nullptr) {
    *error = "out of memory";
    return nullptr;
  }
  if (WebPDecodeRGBInto(data.data(), data.size(), bytes, length, static_cast<int>(stride)) ==
      nullptr) {
    std::free(bytes);
    *error = "cannot decode WebP";
    return nullptr;
  }
  CFileImageTag tag(path.c_str(), 0, 1);
  tag.SetImageId(imageId);
  return new CImageData(length, bytes, &FreeWebpBytes, w, h, static_cast<int>(stride),
                        norvane::basic_structures::IPF_BGR_888,  // memory R, G, B
                        0, &tag);
}

void PutPixel(std::vector<unsigned char>& rgb, int w, int h, int x, int y, const LogPicture& pic) {
  if (x < 0 || y < 0 || x >= w || y >= h) return;
  unsigned char* p = &rgb[(static_cast<size_t>(y) * w + x) * 3];
  p[0] = pic.red;
  p[1] = pic.green;
  p[2] = pic.blue;
}

// A line two pixels wide (Bresenham, doubled to the right and below).
void DrawLine(std::vector<unsigned char>& rgb, int w, int h, int x0, int y0, int x1, int y1,
              const LogPicture& pic) {
  const int dx = std::abs(x1 - x0), dy = -std::abs(y1 - y0);
  const int sx = x0 < x1 ? 1 : -1, sy = y0 < y1 ? 1 : -1;
  int err = dx + dy;
  for (int guard = 0; guard <= dx - dy; ++guard) {
    PutPixel(rgb, w, h, x0, y0, pic);
    PutPixel(rgb, w, h, x0 + 1, y0, pic);
    PutPixel(rgb, w, h, x0, y0 + 1, pic);
    if (x0 == x1 && y0 == y1) break;
    const int e2 = 2 * err;
    if (e2 >= dy) {
      err += dy;
      x0 += sx;
    }
    if (e2 <= dx) {
      err += dx;
      y0 += sy;
    }
  }
}

}  // namespace

bool IsSupportedImageFile(const std::string& path) {
  const std::string ext = LowerExtension(path);
  return ext == "png" || ext == "jpg" || ext == "jpeg" || ext == "pgm" || ext == "webp";
}

CImageData* ReadImageFile(const std::string& path, int imageId, std::string* error) {
  if (LowerExtension(path) == "webp") return ReadWebpFile(path, imageId, error);
  int w = 0, h = 0, channels = 0;
  if (stbi_info(path.c_str(), &w, &h, &channels) == 0) {
    *error = stbi_failure_reason() != nullptr ? stbi_failure_reason() : "unknown format";
    return nullptr;
  }
  const int wanted = channels <= 2 ? 1 : 3;  // grey (alpha dropped) or colour
  unsigned char* bytes = stbi_load(path.c_str(), &w, &h, &channels, wanted);
  if (bytes == nullptr) {
    *error = stbi_failure_reason() != nullptr ? stbi_failure_reason() : "cannot decode";
    return nullptr;
  }
  CFileImageTag tag(path.c_str(), 0, 1);
  tag.SetImageId(imageId);
  const int stride = w * wanted;
  return new CImageData(static_cast<unsigned long long>(stride) * h, bytes, &FreeStbBytes, w, h,
                        stride,
                        wanted == 1 ? norvane::basic_structures::IPF_GRAYSCALE
                                    : norvane::basic_structures::IPF_BGR_888,  // memory R, G, B
                        0, &tag);
}

bool WriteLogPicturePng(const void* data, const char* path) {
  const LogPicture& pic = *static_cast<const LogPicture*>(data);
  std::unique_ptr<CImageData> converted;
  const CImageData* grey = pic.grey;
  if (grey == nullptr) return false;
  if (grey->GetImagePixelFormat() != norvane::basic_structures::IPF_GRAYSCALE) {
    converted.reset(TQ_ConvertToGrayscale(grey));
    grey = converted.get();
    if (grey == nullptr) return false;
  }
  const int w = grey->GetWidth(), h = grey->GetHeight();
  std::vector<unsigned char> rgb(static_cast<size_t>(w) * h * 3);
  for (int y = 0; y < h; ++y) {
    const unsigned char* row = grey->GetBytes() + static_cast<size_t>(y) * grey->GetStride();
    for (int x = 0; x < w; ++x) std::fill_n(&rgb[(static_cast<size_t>(y) * w + x) * 3], 3, row[x]);
  }
  for (const auto& outline : pic.outlines) {
    for (size_t i = 0; i < outline.size(); ++i) {
      const auto& a = outline[i];
      const auto& b = outline[(i + 1) % outline.size()];
      DrawLine(rgb, w, h, a.x, a.y, b.x, b.y, pic);
    }
  }
  stbi_write_force_png_filter = 1;  // "sub" for every row, instead of trying all five
  return stbi_write_png(path, w, h, 3, rgb.data(), w * 3) != 0;
}

}  // namespace capture
