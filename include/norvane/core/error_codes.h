/** \file
 * Error codes shared by the whole SDK, their messages, and the small C helpers
 * that sit beside them (square root, C strings across the library boundary, the
 * version). 0 means success; failures are negative. Plain C, usable from C99. */
#ifndef NORVANE_CORE_ERROR_CODES_H_
#define NORVANE_CORE_ERROR_CODES_H_

#include "norvane/core/export.h"

/** The codes this library raises itself; sibling modules use the rest of the table
 * through TC_GetErrorString. */
enum {
  EC_OK = 0,                              /**< "Successful." */
  EC_UNKNOWN = -10000,                    /**< "Unknown error." */
  EC_NO_MEMORY = -10001,                  /**< not enough memory */
  EC_NULL_POINTER = -10002,               /**< "Null pointer." */
  EC_INDEX_INVALID = -10008,              /**< "The index is invalid." */
  EC_TIMEOUT = -10026,                    /**< "Operation timeout." */
  EC_IMAGE_DATA_INVALID = -10069,         /**< an image with invalid parameters */
  EC_IMAGE_SIZE_INVALID = -10070,         /**< an image of an unusable size */
  EC_IMAGE_PIXEL_FORMAT_INVALID = -10071, /**< an image of an unusable pixel format */
  EC_QUADRILATERAL_INVALID = -50057       /**< an invalid quadrilateral */
};

NORVANE_BEGIN_C_DECLS

/** The message of an error code, from constant storage (never freed). Unknown codes
 * give "Unknown error.". */
NORVANE_API const char* TC_GetErrorString(int errorCode);
/** The C library's double-precision square root. */
NORVANE_API double TC_Sqrt(double value);
/** Gives the caller a heap copy of `source` in *target, freeing what *target held;
 * free it with TQ_DeleteCharArray. Does nothing when either pointer is null. */
NORVANE_API void TQ_CopyCharArray(const char* source, char** target);
/** Frees a string made by TQ_CopyCharArray and sets *target to null. */
NORVANE_API void TQ_DeleteCharArray(char** target);
/** "major.minor.patch.build", the build number having five digits. */
NORVANE_API const char* TQ_GetLibVersion(void);

NORVANE_END_C_DECLS

#ifdef __cplusplus
namespace norvane {
/// A signed 32-bit error code: 0 success, negative failure.
typedef int ErrorCode;
}  // namespace norvane
#endif

#endif /**< NORVANE_CORE_ERROR_CODES_H_ */
