/** \file
 * The plain C image record and image tag record, the C counterparts of CImageData
 * and CImageTag, for callers in C and other languages. Both are packed to one byte:
 * on the 32-bit target the image record is 44 bytes. */
#ifndef NORVANE_BASIC_STRUCTURES_IMAGE_DATA_C_H_
#define NORVANE_BASIC_STRUCTURES_IMAGE_DATA_C_H_

#include "norvane/core/export.h"

/** The values C callers give the `format` of an image record: the pixel formats of the
 * C++ ImagePixelFormat, with the same numbers. Colour bytes are named in memory
 * order: TXP_IPF_RGB_888 is B, G, R; TXP_IPF_BGR_888 is R, G, B. */
enum {
  TXP_IPF_BINARY = 0, /**< 1 bit per pixel, MSB first, 0 is black */
  TXP_IPF_BINARY_INVERTED = 1, /**< 1 bit per pixel, MSB first, 0 is white */
  TXP_IPF_GRAYSCALE = 2, /**< 8 bits */
  TXP_IPF_NV21 = 3, /**< YUV 4:2:0, luma plane then interleaved V, U */
  TXP_IPF_RGB_565 = 4, /**< 16 bits */
  TXP_IPF_RGB_555 = 5, /**< 16 bits */
  TXP_IPF_RGB_888 = 6, /**< 24 bits, memory B, G, R */
  TXP_IPF_ARGB_8888 = 7, /**< 32 bits, memory B, G, R, A */
  TXP_IPF_RGB_161616 = 8, /**< 48 bits */
  TXP_IPF_ARGB_16161616 = 9, /**< 64 bits */
  TXP_IPF_ABGR_8888 = 10, /**< 32 bits, memory R, G, B, A */
  TXP_IPF_ABGR_16161616 = 11, /**< 64 bits */
  TXP_IPF_BGR_888 = 12, /**< 24 bits, memory R, G, B */
  TXP_IPF_BINARY_8 = 13, /**< 8 bits */
  TXP_IPF_NV12 = 14, /**< YUV 4:2:0, luma plane then interleaved U, V */
  TXP_IPF_BINARY_8_INVERTED = 15 /**< 8 bits */
};

/** The `type` of an image tag record, and the values of its other enumerated fields. */
enum { TXP_IT_FILE = 0, TXP_IT_VIDEO_FRAME = 1 };
enum { TXP_ICDM_UNKNOWN = 0, TXP_ICDM_NEAR = 1, TXP_ICDM_FAR = 2 };
enum { TXP_VFQ_UNKNOWN = 0, TXP_VFQ_HIGH = 1, TXP_VFQ_LOW = 2 };

#pragma pack(push, 1)

/** A rectangle: left, top, right, bottom. Same layout as CRect. */
typedef struct TXP_Rect {
  int left;   /**< first column inside */
  int top;    /**< first row inside */
  int right;  /**< last column inside */
  int bottom; /**< last row inside */
} TXP_Rect;

/** Where an image came from. type 0: a file page (filePath, pageNumber, totalPages);
 * type 1: a video frame (videoFrameQuality, isCropped, cropRegion, originalWidth,
 * originalHeight). The fields of the other variant are ignored. Strings and the
 * rectangle are only read; the library copies what it keeps. */
typedef struct TXP_ImageTag {
  int type;                     /**< TXP_IT_FILE or TXP_IT_VIDEO_FRAME */
  int imageId;                  /**< the caller's id of the image; -1 for none */
  int imageCaptureDistanceMode; /**< a TXP_ICDM_ value */
  const char* filePath;         /**< file page: the file's path */
  int pageNumber;               /**< file page: the page */
  int totalPages;               /**< file page: the file's pages */
  int videoFrameQuality;        /**< video frame: a TXP_VFQ_ value */
  int isCropped;                /**< video frame: non-zero when cropped */
  const TXP_Rect* cropRegion;   /**< video frame: the crop, or null */
  int originalWidth;            /**< video frame: the width before cropping */
  int originalHeight;           /**< video frame: the height before cropping */
} TXP_ImageTag;

/** An image record; see struct TXP_ImageData. */
typedef struct TXP_ImageData TXP_ImageData;

/** Called with the record and its user data when the library is done with a record. */
typedef void (*TXP_ImageDataReleaseFunc)(TXP_ImageData* record, void* userData);

/** Image bytes with their geometry; `format` is a TXP_IPF_ value. */
struct TXP_ImageData {
  unsigned long long bytesLength;   /**< how many bytes `bytes` holds */
  const unsigned char* bytes;       /**< the pixels, row by row */
  int width;                        /**< in pixels */
  int height;                       /**< in pixels */
  int stride;                       /**< bytes from one row to the next */
  int format;                       /**< a TXP_IPF_ value */
  int orientation;                  /**< the image's rotation in degrees */
  TXP_ImageTag* tag;                /**< where the image came from, or null */
  void* userData;                   /**< handed to `release` */
  TXP_ImageDataReleaseFunc release; /**< called when the library is done with the record */
};

#pragma pack(pop)

NORVANE_BEGIN_C_DECLS

/** Allocates a record and fills it field by field. With a null release function the
 * record gets one that frees the record itself (never the bytes or the tag). */
NORVANE_API TXP_ImageData* TXP_CreateImageData(unsigned long long bytesLength,
                                               const unsigned char* bytes, int width,
                                               int height, int stride, int format,
                                               int orientation, TXP_ImageTag* tag,
                                               void* userData,
                                               TXP_ImageDataReleaseFunc releaseFunction);
/** Frees the record only (not its bytes or tag); nothing for null. */
NORVANE_API void TXP_DestoryImageData(TXP_ImageData* record);

NORVANE_END_C_DECLS

#endif /**< NORVANE_BASIC_STRUCTURES_IMAGE_DATA_C_H_ */
