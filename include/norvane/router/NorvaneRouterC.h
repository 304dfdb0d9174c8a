/** \file
 * The router's C interface (C99), for C callers and other languages: a reader loads
 * one recognition module by name ("barcode", "labels", or any "lib" + name + ".so"
 * on the module path, see norvane/router/reader.h) and reads images with it, one at a
 * time or as a stream.
 *
 * Every function returns 0 or one of the library's error codes (TC_GetErrorString
 * gives its message) and never throws: -10002 for a null handle or argument,
 * -10065 an unknown module, -30009 an unknown format, -10038 a bad option, -10005 a
 * file not found, -10012 an unreadable file, -10069/-10070/-10071 an invalid image,
 * -10062 a call that a running stream forbids. Bad input changes nothing.
 *
 * Ownership: results and messages come from the library and go back to it
 * (TXP_RTR_FreeResult, TQ_DeleteCharArray). Images are only read during the call;
 * TXP_RTR_PushImage copies the image. Thread safety: a reader may be used from
 * several threads; its calls are serialised, except TXP_RTR_PushImage. */
#ifndef NORVANE_ROUTER_NORVANE_ROUTER_C_H_
#define NORVANE_ROUTER_NORVANE_ROUTER_C_H_

#include "norvane/NorvaneCoreC.h"

#pragma pack(push, 1)

/** How a reader reads. Zero-filled, it reads every format thoroughly with 2 workers. */
typedef struct TXP_RTR_ReaderOptions {
  const char* formats; /**< comma-separated symbologies ("QRCode,EAN-13"); null or "": all */
  int fast; /**< non-zero: fewer attempts, less time */
  int workers; /**< 1..64; 0: 2 */
  const char* moduleOptions; /**< the module's own options; null: none */
  int dropOldest; /**< streams: drop the oldest image rather than wait for room */
} TXP_RTR_ReaderOptions;

/** One code (or thing) a module found. Corners clockwise on screen, in pixels. */
typedef struct TXP_RTR_Finding {
  const char* format;         /**< its symbology, by the module's name */
  const char* text;           /**< what it reads, UTF-8 */
  const unsigned char* bytes; /**< the bytes it holds */
  int bytesLength;            /**< how many */
  int x[4];                   /**< the corners' x */
  int y[4];                   /**< the corners' y */
} TXP_RTR_Finding;

/** What became of one image. */
typedef struct TXP_RTR_Result {
  int imageId; /**< the image tag's id; -1 without a tag */
  int errorCode; /**< a task's error for this image (e.g. -10026 time-out); 0: none */
  double milliseconds; /**< from the image's start in the reader to its result */
  int findingCount;                /**< how many findings */
  const TXP_RTR_Finding* findings; /**< the findings; null when there are none */
} TXP_RTR_Result;

#pragma pack(pop)

/** Called on the reader's own thread for each image of a stream, in the order images
 * finish. `result` is valid during the call only. */
typedef void (*TXP_RTR_ResultCallback)(const TXP_RTR_Result* result, void* userData);

NORVANE_BEGIN_C_DECLS

/** Creates a reader for module `module`. `options` may be null. On failure *reader is
 * null and, when `errorMessage` is not null, *errorMessage says why (free it with
 * TQ_DeleteCharArray; null on success). */
NORVANE_API int TXP_RTR_CreateReader(const char* module, const TXP_RTR_ReaderOptions* options,
                                     void** reader, char** errorMessage);
/** Ends a running stream (as TXP_RTR_FinishStream) and frees the reader; null is ignored. */
NORVANE_API void TXP_RTR_DestroyReader(void* reader);

/** Reads one image record (any pixel format of the library). */
NORVANE_API int TXP_RTR_ReadImage(void* reader, const TXP_ImageData* image,
                                  TXP_RTR_Result** result);
/** Reads one PNG, JPEG, PGM/PPM or WebP file. */
NORVANE_API int TXP_RTR_ReadFile(void* reader, const char* path, TXP_RTR_Result** result);
/** Reads such a file from its bytes in memory. */
NORVANE_API int TXP_RTR_ReadEncoded(void* reader, const unsigned char* data,
                                    unsigned long long size, TXP_RTR_Result** result);
/** Frees a result; null is ignored. */
NORVANE_API void TXP_RTR_FreeResult(TXP_RTR_Result* result);

/** Starts a stream whose results go to `callback`. */
NORVANE_API int TXP_RTR_StartStream(void* reader, TXP_RTR_ResultCallback callback,
                                    void* userData);
/** Copies an image into the stream; waits for room unless the reader drops the oldest. */
NORVANE_API int TXP_RTR_PushImage(void* reader, const TXP_ImageData* image);
/** Waits until every pushed image has its result, then ends the stream. `dropped`
 * (may be null) receives how many pushed images were dropped unread. Must not be
 * called from the callback. */
NORVANE_API int TXP_RTR_FinishStream(void* reader, int* dropped);

/** The module names found on the module path, comma-separated (free it with
 * TQ_DeleteCharArray). */
NORVANE_API char* TXP_RTR_GetAvailableModules(void);

NORVANE_END_C_DECLS

#endif /**< NORVANE_ROUTER_NORVANE_ROUTER_C_H_ */
