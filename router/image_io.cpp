#include "image_io.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <turbojpeg.h>
#include <unistd.h>
#include <webp/decode.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>

#include "core/regular_file.h"
#include "norvane/basic_structures/pixel_conversion.h"
#include "norvane/log/log.h"

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

// Files above this size are refused rather than read into memory.
constexpr off_t kMaxFileBytes = 256 << 20;

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

ImageFile Unreadable(const std::string& reason) {
  ImageFile file;
  file.error = reason;
  return file;
}

bool AboveLimit(int w, int h, unsigned long long maxPixels) {
  return static_cast<unsigned long long>(w) * static_cast<unsigned long long>(h) > maxPixels;
}

ImageFile Refused(int w, int h, unsigned long long maxPixels) {
  ImageFile file;
  file.refused = true;
  file.error = std::to_string(w) + "x" + std::to_string(h) + " pixels, above the limit of " +
               std::to_string(maxPixels);
  return file;
}

CImageData* NewImage(const std::string& path, int imageId, unsigned char* bytes,
                     void (*release)(const unsigned char*), int w, int h, int channels) {
  CFileImageTag tag(path.c_str(), 0, 1);
  tag.SetImageId(imageId);
  const int stride = w * channels;
  return new CImageData(static_cast<unsigned long long>(stride) * h, bytes, release, w, h, stride,
                        channels == 1 ? norvane::basic_structures::IPF_GRAYSCALE
                                      : norvane::basic_structures::IPF_BGR_888,  // memory R, G, B
                        0, &tag);
}

bool IsJpeg(const unsigned char* data, size_t size) {
  return size >= 3 && data[0] == 0xff && data[1] == 0xd8 && data[2] == 0xff;
}

void FreeTurboJpegBytes(const unsigned char* bytes) { tjFree(const_cast<unsigned char*>(bytes)); }

// JPEG's CMYK as the decoder gives it (stored inverted, as Adobe writes it: 255 is no
// ink) to R, G, B: each colour is its own channel times K, rounded.
void CmykToRgb(const unsigned char* cmyk, size_t pixels, unsigned char* rgb) {
  for (size_t i = 0; i < pixels; ++i, cmyk += 4, rgb += 3) {
    const unsigned k = cmyk[3];
    for (int c = 0; c < 3; ++c) rgb[c] = static_cast<unsigned char>((cmyk[c] * k + 127) / 255);
  }
}

// JPEG through libjpeg-turbo, which stands up to damaged files better than
// stb_image's decoder (whose Huffman tables overflow on some).
ImageFile DecodeJpeg(const unsigned char* data, size_t size, const std::string& path, int imageId,
                     unsigned long long maxPixels) {
  std::unique_ptr<void, int (*)(tjhandle)> decoder(tjInitDecompress(), &tjDestroy);
  if (decoder == nullptr) return Unreadable("out of memory");
  const unsigned long length = static_cast<unsigned long>(size);
  int w = 0, h = 0, subsampling = 0, colourspace = 0;
  if (tjDecompressHeader3(decoder.get(), data, length, &w, &h, &subsampling, &colourspace) != 0 ||
      w <= 0 || h <= 0) {
    return Unreadable(std::string("bad JPEG: ") + tjGetErrorStr2(decoder.get()));
  }
  if (AboveLimit(w, h, maxPixels)) return Refused(w, h, maxPixels);
  const bool grey = colourspace == TJCS_GRAY;
  // CMYK and YCCK come out as CMYK, four bytes a pixel, and are turned into RGB here.
  const bool cmyk = colourspace == TJCS_CMYK || colourspace == TJCS_YCCK;
  const int channels = grey ? 1 : 3;
  const int decoded = cmyk ? 4 : channels;
  if (static_cast<unsigned long long>(w) * static_cast<unsigned long long>(h) * decoded >
      static_cast<unsigned long long>(INT_MAX))
    return Unreadable("too large to decode");
  std::unique_ptr<unsigned char, void (*)(const unsigned char*)> bytes(
      tjAlloc(w * h * decoded), &FreeTurboJpegBytes);
  if (bytes == nullptr) return Unreadable("out of memory");
  if (tjDecompress2(decoder.get(), data, length, bytes.get(), w, w * decoded, h,
                    grey ? TJPF_GRAY : cmyk ? TJPF_CMYK : TJPF_RGB, 0) != 0 &&
      tjGetErrorCode(decoder.get()) == TJERR_FATAL) {
    return Unreadable(std::string("bad JPEG: ") + tjGetErrorStr2(decoder.get()));
  }
  if (cmyk) {
    std::unique_ptr<unsigned char, void (*)(const unsigned char*)> rgb(tjAlloc(w * h * 3),
                                                                       &FreeTurboJpegBytes);
    if (rgb == nullptr) return Unreadable("out of memory");
    CmykToRgb(bytes.get(), static_cast<size_t>(w) * static_cast<size_t>(h), rgb.get());
    bytes = std::move(rgb);
  }
  ImageFile file;
  file.image = NewImage(path, imageId, bytes.release(), &FreeTurboJpegBytes, w, h, channels);
  return file;
}

bool IsWebp(const unsigned char* data, size_t size) {
  return size >= 12 && std::memcmp(data, "RIFF", 4) == 0 && std::memcmp(data + 8, "WEBP", 4) == 0;
}

ImageFile DecodeWebp(const unsigned char* data, size_t size, const std::string& path, int imageId,
                     unsigned long long maxPixels) {
  int w = 0, h = 0;
  if (WebPGetInfo(data, size, &w, &h) == 0 || w <= 0 || h <= 0) return Unreadable("bad WebP");
  if (AboveLimit(w, h, maxPixels)) return Refused(w, h, maxPixels);
  const size_t stride = static_cast<size_t>(w) * 3;
  const size_t length = stride * static_cast<size_t>(h);
  unsigned char* bytes = static_cast<unsigned char*>(std::malloc(length));
  if (bytes == nullptr) return Unreadable("out of memory");
  if (WebPDecodeRGBInto(data, size, bytes, length, static_cast<int>(stride)) == nullptr) {
    std::free(bytes);
    return Unreadable("cannot decode WebP");
  }
  ImageFile file;
  file.image = NewImage(path, imageId, bytes, &FreeWebpBytes, w, h, 3);
  return file;
}

// What is wrong with a binary PGM or PPM file, or empty (also for other formats).
// stb_image reads a short file's missing pixels as whatever its buffer held, and
// its header numbers overflow past nine digits, so both are checked here first.
std::string PnmProblem(const unsigned char* data, size_t size) {
  if (size < 2 || data[0] != 'P' || (data[1] != '5' && data[1] != '6')) return std::string();
  size_t at = 2;
  unsigned long long values[3] = {0, 0, 0};  // width, height, largest value
  for (unsigned long long& value : values) {
    while (at < size && (std::isspace(data[at]) || data[at] == '#')) {
      if (data[at] == '#') {
        while (at < size && data[at] != '\n' && data[at] != '\r') ++at;
      } else {
        ++at;
      }
    }
    const size_t first = at;
    while (at < size && std::isdigit(data[at]) && at - first < 10) {
      value = value * 10 + static_cast<unsigned>(data[at++] - '0');
    }
    if (at == first || at - first > 9) return "bad PNM header";
  }
  if (at >= size || !std::isspace(data[at])) return "bad PNM header";
  const size_t pixels = size - at - 1;
  const unsigned long long needed =
      values[0] * values[1] * (data[1] == '6' ? 3 : 1) * (values[2] > 255 ? 2 : 1);
  if (pixels < needed) {
    return "truncated file: " + std::to_string(pixels) + " of " + std::to_string(needed) +
           " pixel bytes";
  }
  return std::string();
}

// Whether every chunk of a PNG file lies within it. stb_image grows its buffer to a
// chunk's stated length before it reads the chunk, so a few bytes that state a
// gigabyte would cost a gigabyte.
bool PngChunksFit(const unsigned char* data, size_t size) {
  static const unsigned char kSignature[8] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1a, '\n'};
  if (size < 8 || std::memcmp(data, kSignature, 8) != 0) return true;  // not a PNG
  for (size_t at = 8; at + 8 <= size;) {
    const unsigned long long length = (static_cast<unsigned long long>(data[at]) << 24) |
                                      (static_cast<unsigned long long>(data[at + 1]) << 16) |
                                      (static_cast<unsigned long long>(data[at + 2]) << 8) |
                                      data[at + 3];
    if (length + 12 > size - at) return false;
    if (std::memcmp(data + at + 4, "IEND", 4) == 0) return true;
    at += static_cast<size_t>(length) + 12;
  }
  return false;
}

ImageFile DecodeWithStb(const unsigned char* data, size_t size, const std::string& path,
                        int imageId, unsigned long long maxPixels) {
  const int length = static_cast<int>(size);
  if (!PngChunksFit(data, size)) return Unreadable("truncated PNG file");
  const std::string pnm = PnmProblem(data, size);
  if (!pnm.empty()) return Unreadable(pnm);
  int w = 0, h = 0, channels = 0;
  if (stbi_info_from_memory(data, length, &w, &h, &channels) == 0 || w <= 0 || h <= 0) {
    return Unreadable(stbi_failure_reason() != nullptr ? stbi_failure_reason() : "unknown format");
  }
  if (AboveLimit(w, h, maxPixels)) return Refused(w, h, maxPixels);
  const int wanted = channels <= 2 ? 1 : 3;  // grey (alpha dropped) or colour
  unsigned char* bytes = stbi_load_from_memory(data, length, &w, &h, &channels, wanted);
  if (bytes == nullptr)
    return Unreadable(stbi_failure_reason() != nullptr ? stbi_failure_reason() : "cannot decode");
  ImageFile file;
  file.image = NewImage(path, imageId, bytes, &FreeStbBytes, w, h, wanted);
  return file;
}

namespace fs = std::filesystem;

void ListBelow(const fs::path& dir, ImageFileList* list) {
  std::error_code error;
  fs::directory_iterator entry(dir, error);
  for (; !error && entry != fs::directory_iterator(); entry.increment(error)) {
    const fs::path& path = entry->path();
    // An entry that cannot be looked at (a path longer than the system allows, a
    // folder without search permission) is named with the reason, whatever it is.
    std::error_code failed;
    const fs::file_status own = entry->symlink_status(failed);
    if (failed) {
      list->skipped.push_back(path.string() + ": " + failed.message());
      continue;
    }
    if (fs::is_directory(own)) {
      ListBelow(path, list);
      continue;
    }
    const fs::file_status target = fs::status(path, failed);
    if (failed && failed != std::errc::no_such_file_or_directory) {
      if (IsSupportedImageFile(path.string()) || fs::is_symlink(own))
        list->skipped.push_back(path.string() + ": " + failed.message());
    } else if (fs::is_symlink(own) && fs::is_directory(target)) {
      list->skipped.push_back(path.string() + ": symbolic link to a directory, not followed");
    } else if (IsSupportedImageFile(path.string())) {
      if (fs::is_regular_file(target)) {
        list->files.push_back(path.string());
      } else {
        list->skipped.push_back(path.string() + (fs::exists(target) ? ": not a regular file"
                                                                    : ": broken symbolic link"));
      }
    }
  }
  if (error) list->skipped.push_back(dir.string() + ": cannot read directory: " + error.message());
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

ImageFileList ListImageFiles(const std::string& root) {
  ImageFileList list;
  ListBelow(fs::path(root), &list);
  std::sort(list.files.begin(), list.files.end());
  std::sort(list.skipped.begin(), list.skipped.end());
  return list;
}

ImageFile DecodeImage(const unsigned char* data, size_t size, const std::string& path, int imageId,
                      unsigned long long maxPixels) {
  if (data == nullptr || size == 0) return Unreadable("empty file");
  if (size > static_cast<size_t>(kMaxFileBytes)) return Unreadable("too large");
  if (IsWebp(data, size)) return DecodeWebp(data, size, path, imageId, maxPixels);
  if (IsJpeg(data, size)) return DecodeJpeg(data, size, path, imageId, maxPixels);
  return DecodeWithStb(data, size, path, imageId, maxPixels);
}

ImageFile ReadImageFile(const std::string& path, int imageId, unsigned long long maxPixels) {
  std::string content, reason;
  if (!norvane::internal::ReadRegularFile(path, static_cast<size_t>(kMaxFileBytes), &content,
                                          &reason)) {
    return Unreadable(reason);
  }
  return DecodeImage(reinterpret_cast<const unsigned char*>(content.data()), content.size(), path,
                     imageId, maxPixels);
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
  std::string png;
  const auto append = [](void* context, void* bytes, int size) {
    static_cast<std::string*>(context)->append(static_cast<const char*>(bytes),
                                               static_cast<size_t>(size));
  };
  if (stbi_write_png_to_func(append, &png, w, h, 3, rgb.data(), w * 3) == 0) return false;
  // The log folder may hold a FIFO or a link under this name, or a link in place of
  // a layer folder: nothing is written into or through them.
  const int flags = O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW;
  const std::string save = norvane::GetSavePath();
  const size_t slash = save.find_last_of('/');
  const std::string root = slash == std::string::npos ? std::string() : save.substr(0, slash + 1);
  std::string reason;
  const norvane::internal::FileDescriptor file =
      !root.empty() && std::strncmp(path, root.c_str(), root.size()) == 0
          ? norvane::internal::OpenBelow(root, path + root.size(), flags, 0666, &reason)
          : norvane::internal::OpenRegularFile(path, flags, 0666, &reason);
  return file.valid() && norvane::internal::WriteAll(file.get(), png.data(), png.size());
}

}  // namespace capture
