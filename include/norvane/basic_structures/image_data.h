// Image data and image tags: the one image type that crosses every boundary of the
// library. Producers hand CImageData to the image-source adapter, the pixel-format
// conversion reads and makes it, and the task runtime wraps it.
//
// A CImageData owns its pixel bytes when it has a deleter (the copying constructor
// installs one) and always owns its tag, a clone of the tag it was given. The
// classes here are declared with one-byte packing: sibling modules compiled
// separately share their layout, so no member is aligned.
//
// Not synchronised: an image is built by one thread and then handed over.
#ifndef NORVANE_BASIC_STRUCTURES_IMAGE_DATA_H_
#define NORVANE_BASIC_STRUCTURES_IMAGE_DATA_H_

#include <cstdint>

#include "norvane/core/export.h"

namespace norvane {
namespace internal {
class ImageDataEditor;
}  // namespace internal
namespace basic_structures {

// Pixel formats, named after their layout in memory (see the conversion functions
// for the exact byte orders).
enum ImagePixelFormat : int32_t {
  IPF_BINARY = 0,              // 1 bit per pixel, MSB first, 0 is black
  IPF_BINARY_INVERTED = 1,     // 1 bit per pixel, MSB first, 0 is white
  IPF_GRAYSCALE = 2,           // 8 bits
  IPF_NV21 = 3,                // YUV 4:2:0, luma plane then interleaved V, U
  IPF_RGB_565 = 4,             // 16 bits
  IPF_RGB_555 = 5,             // 16 bits
  IPF_RGB_888 = 6,             // 24 bits, memory B, G, R
  IPF_ARGB_8888 = 7,           // 32 bits, memory B, G, R, A
  IPF_RGB_161616 = 8,          // 48 bits
  IPF_ARGB_16161616 = 9,       // 64 bits
  IPF_ABGR_8888 = 10,          // 32 bits, memory R, G, B, A
  IPF_ABGR_16161616 = 11,      // 64 bits
  IPF_BGR_888 = 12,            // 24 bits, memory R, G, B
  IPF_BINARY_8 = 13,           // 8 bits
  IPF_NV12 = 14,               // YUV 4:2:0, luma plane then interleaved U, V
  IPF_BINARY_8_INVERTED = 15,  // 8 bits
};

// How far the camera was from the subject; only stored and copied.
enum ImageCaptureDistanceMode : int32_t {
  ICDM_UNKNOWN = 0,
  ICDM_NEAR = 1,
  ICDM_FAR = 2,
};

// The quality a video source reported for a frame; only stored and copied.
enum VideoFrameQuality : int32_t {
  VFQ_UNKNOWN = 0,
  VFQ_HIGH = 1,
  VFQ_LOW = 2,
};

#pragma pack(push, 1)

class NORVANE_API CRect {
 public:
  CRect() : left(0), top(0), right(0), bottom(0) {}
  CRect(int l, int t, int r, int b) : left(l), top(t), right(r), bottom(b) {}

  int left;
  int top;
  int right;
  int bottom;
};

// Where an image came from; carries the image id by which buffers find images.
class NORVANE_API CImageTag {
 public:
  CImageTag();
  virtual ~CImageTag();
  // 0 for a file page, 1 for a video frame.
  virtual int GetType() const = 0;
  // A new heap copy owned by the caller.
  virtual CImageTag* Clone() const = 0;

  int GetImageId() const { return imageId; }
  void SetImageId(int id) { imageId = id; }
  ImageCaptureDistanceMode GetImageCaptureDistanceMode() const { return imageCaptureDistanceMode; }
  void SetImageCaptureDistanceMode(ImageCaptureDistanceMode mode) { imageCaptureDistanceMode = mode; }

 protected:
  CImageTag(const CImageTag&) = default;
  CImageTag& operator=(const CImageTag&) = default;

  int imageId;
  ImageCaptureDistanceMode imageCaptureDistanceMode;
};

class NORVANE_API CFileImageTag : public CImageTag {
 public:
  // Copies the path; a null path stays null.
  CFileImageTag(const char* filePath, int pageNumber, int totalPages);
  ~CFileImageTag() override;
  CFileImageTag(const CFileImageTag&) = delete;
  CFileImageTag& operator=(const CFileImageTag&) = delete;

  int GetType() const override;
  CImageTag* Clone() const override;
  const char* GetFilePath() const { return filePath; }
  int GetPageNumber() const { return pageNumber; }
  int GetTotalPages() const { return totalPages; }

 private:
  char* filePath;
  int pageNumber;
  int totalPages;
};

class NORVANE_API CVideoFrameTag : public CImageTag {
 public:
  // Copies the crop rectangle when it is not null.
  CVideoFrameTag(VideoFrameQuality quality, bool isCropped, const CRect* cropRegion,
                 int originalWidth, int originalHeight);
  ~CVideoFrameTag() override;
  CVideoFrameTag(const CVideoFrameTag&) = delete;
  CVideoFrameTag& operator=(const CVideoFrameTag&) = delete;

  int GetType() const override;
  CImageTag* Clone() const override;
  VideoFrameQuality GetVideoFrameQuality() const { return videoFrameQuality; }
  bool IsCropped() const { return isCropped; }
  const CRect* GetCropRegion() const { return cropRegion; }
  int GetOriginalWidth() const { return originalWidth; }
  int GetOriginalHeight() const { return originalHeight; }

 private:
  VideoFrameQuality videoFrameQuality;
  bool isCropped;
  CRect* cropRegion;
  int originalWidth;
  int originalHeight;
};

class NORVANE_API CImageData {
 public:
  typedef void (*BytesDeleter)(const unsigned char* bytes);

  CImageData();
  // Copies `bytesLength` bytes (when `bytes` is not null) into storage the image owns;
  // clones the tag when it is not null.
  CImageData(unsigned long long bytesLength, const unsigned char* bytes, int width, int height,
             int stride, ImagePixelFormat format, int orientation = 0,
             const CImageTag* tag = nullptr);
  // Takes `bytes` as they are; the image owns them when `deleter` is not null and
  // frees them with it. Clones the tag when it is not null.
  CImageData(unsigned long long bytesLength, const unsigned char* bytes,
             BytesDeleter deleter, int width, int height, int stride,
             ImagePixelFormat format, int orientation = 0, const CImageTag* tag = nullptr);
  virtual ~CImageData();
  CImageData(const CImageData&) = delete;
  CImageData& operator=(const CImageData&) = delete;

  const unsigned char* GetBytes() const { return bytes; }
  unsigned long long GetBytesLength() const { return bytesLength; }
  int GetWidth() const { return width; }
  int GetHeight() const { return height; }
  int GetStride() const { return stride; }
  ImagePixelFormat GetImagePixelFormat() const { return format; }
  int GetOrientation() const { return orientation; }
  const CImageTag* GetImageTag() const { return tag; }
  // Replaces the tag by a clone of `tag` (null removes it); the tag already held
  // is kept when it is passed again.
  void SetImageTag(const CImageTag* tag);

  // The deleter the copying constructor installs: array delete.
  static void DeleteByteArray(const unsigned char* bytes);

 protected:
  // The library's own conversion rewrites an image it owns in place.
  friend class internal::ImageDataEditor;

  unsigned long long bytesLength;
  const unsigned char* bytes;
  int width;
  int height;
  int stride;
  ImagePixelFormat format;
  int orientation;
  CImageTag* tag;
  BytesDeleter deleter;
};

#pragma pack(pop)

}  // namespace basic_structures
}  // namespace norvane

#endif  // NORVANE_BASIC_STRUCTURES_IMAGE_DATA_H_
