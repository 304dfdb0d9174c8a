/* The plain C image record and image tag record, the C counterparts of CImageData
 * and CImageTag, for callers in C and other languages. Both are packed to one byte:
 * on the 32-bit target the image record is 44 bytes. */
#ifndef NORVANE_BASIC_STRUCTURES_IMAGE_DATA_C_H_
#define NORVANE_BASIC_STRUCTURES_IMAGE_DATA_C_H_

#include "norvane/core/export.h"

#pragma pack(push, 1)

/* A rectangle: left, top, right, bottom. Same layout as CRect. */
typedef struct TXP_Rect {
  int left;
  int top;
  int right;
  int bottom;
} TXP_Rect;

/* Where an image came from. type 0: a file page (filePath, pageNumber, totalPages);
 * type 1: a video frame (videoFrameQuality, isCropped, cropRegion, originalWidth,
 * originalHeight). The fields of the other variant are ignored. Strings and the
 * rectangle are only read; the library copies what it keeps. */
typedef struct TXP_ImageTag {
  int type;
  int imageId;
  int imageCaptureDistanceMode;
  const char* filePath;
  int pageNumber;
  int totalPages;
  int videoFrameQuality;
  int isCropped;
  const TXP_Rect* cropRegion;
  int originalWidth;
  int originalHeight;
} TXP_ImageTag;

typedef struct TXP_ImageData TXP_ImageData;

/* Called with the record and its user data when the library is done with a record. */
typedef void (*TXP_ImageDataReleaseFunc)(TXP_ImageData* record, void* userData);

/* Image bytes with their geometry; `format` is an ImagePixelFormat value (0 to 15). */
struct TXP_ImageData {
  unsigned long long bytesLength;
  const unsigned char* bytes;
  int width;
  int height;
  int stride;
  int format;
  int orientation;
  TXP_ImageTag* tag;
  void* userData;
  TXP_ImageDataReleaseFunc release;
};

#pragma pack(pop)

NORVANE_BEGIN_C_DECLS

/* Allocates a record and fills it field by field. With a null release function the
 * record gets one that frees the record itself (never the bytes or the tag). */
NORVANE_API TXP_ImageData* TXP_CreateImageData(unsigned long long bytesLength,
                                               const unsigned char* bytes, int width,
                                               int height, int stride, int format,
                                               int orientation, TXP_ImageTag* tag,
                                               void* userData,
                                               TXP_ImageDataReleaseFunc releaseFunction);
/* Frees the record only (not its bytes or tag); nothing for null. */
NORVANE_API void TXP_DestoryImageData(TXP_ImageData* record);

NORVANE_END_C_DECLS

#endif /* NORVANE_BASIC_STRUCTURES_IMAGE_DATA_C_H_ */
