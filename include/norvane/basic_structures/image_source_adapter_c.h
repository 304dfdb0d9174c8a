/** \file
 * The image-source adapter for callers in C and other languages.
 *
 * TXP_ISA_CreateBaseImageSourceAdapter makes an adapter whose producer side is a set
 * of C callbacks, and returns a handle record; every other function takes the
 * handle's `adapter` pointer. Images go in and out as TXP_ImageData records
 * (image_data_c.h). No function throws. With a null adapter, functions that return
 * an int return -10002 (EC_NULL_POINTER), those that return a bool or a pointer
 * return false or null, and the others do nothing. Every operation is as
 * thread-safe as those of the C++ adapter, the callback setter included: a call
 * runs either the callbacks set before or those set after a concurrent change,
 * each with its own user data, never a mix.
 *
 * Ownership: a record given to TXP_ISA_AddImageToBuffer is copied and then handed
 * back through its release function (only on success: on an error the record stays
 * with the caller). A record returned by TXP_ISA_GetImage belongs to the caller,
 * who gives it back with record->release(record, record->userData); it points at
 * the library's own copy of the pixels and tag, valid until then. */
#ifndef NORVANE_BASIC_STRUCTURES_IMAGE_SOURCE_ADAPTER_C_H_
#define NORVANE_BASIC_STRUCTURES_IMAGE_SOURCE_ADAPTER_C_H_

#ifndef __cplusplus
#include <stdbool.h>
#endif

#include "norvane/basic_structures/image_data_c.h"
#include "norvane/core/export.h"

/** What adding to a full buffer does (the adapter's overflow protection mode). */
enum { TXP_BOPM_BLOCK = 0, TXP_BOPM_APPEND = 1 };
/** Which channels the consumer wants (the adapter's colour-channel usage type). */
enum { TXP_CCUT_AUTO = 0, TXP_CCUT_FULL_COLOUR = 1, TXP_CCUT_LUMINANCE_ONLY = 2 };

/** The adapter; opaque to C callers. */
typedef struct TXP_ImageSourceAdapter TXP_ImageSourceAdapter;
/** An error listener made by TXP_IEL_CreateImageSourceErrorListener; opaque. */
typedef struct TXP_ImageSourceErrorListener TXP_ImageSourceErrorListener;

#pragma pack(push, 1)
/** What TXP_ISA_CreateBaseImageSourceAdapter returns: a reserved word (0), then the
 * adapter. */
typedef struct TXP_ImageSourceAdapterHandle {
  int reserved;                    /**< 0 */
  TXP_ImageSourceAdapter* adapter; /**< the adapter the other functions take */
} TXP_ImageSourceAdapterHandle;
#pragma pack(pop)

/** Whether the producer will deliver more images. */
typedef bool (*TXP_ISA_HasNextImageToFetchFunc)(void* userData);
/** Starts or stops the producer. */
typedef void (*TXP_ISA_FetchingFunc)(void* userData);
/** The producer's next image, or null; the library copies it and then calls its
 * release function. */
typedef TXP_ImageData* (*TXP_ISA_GetImageFunc)(void* userData);
/** Receives an error code and its message (valid only during the call). */
typedef void (*TXP_IEL_ErrorReceivedFunc)(int errorCode, const char* errorMessage);

NORVANE_BEGIN_C_DECLS

/** A new adapter (not fetching, at most 1 image, the oldest dropped when full) whose
 * HasNextImageToFetch answers with `hasNextImageToFetch`; null when that callback
 * is null or memory runs out. */
NORVANE_API TXP_ImageSourceAdapterHandle* TXP_ISA_CreateBaseImageSourceAdapter(
    TXP_ISA_HasNextImageToFetchFunc hasNextImageToFetch, void* userData);
/** Deletes the adapter with its buffered images, and the handle. Nothing for null. */
NORVANE_API void TXP_ISA_DestroyBaseImageSourceAdapter(TXP_ImageSourceAdapterHandle* handle);
/** Replaces the four callbacks and their user data; a null callback means the
 * built-in behaviour (the buffer) for start, stop and get image. The fifth and
 * sixth arguments are ignored. */
NORVANE_API void TXP_ISA_SetBaseImageSourceAdapterFunc(
    TXP_ImageSourceAdapter* adapter, TXP_ISA_FetchingFunc startFetching, void* startUserData,
    TXP_ISA_FetchingFunc stopFetching, void* stopUserData, void* unused1, void* unused2,
    TXP_ISA_GetImageFunc getImage, void* getImageUserData,
    TXP_ISA_HasNextImageToFetchFunc hasNextImageToFetch, void* hasNextUserData);

/** The buffer operations; the int-returning setters return 0 or -10002. */
/**@{*/
NORVANE_API int TXP_ISA_SetMaxImageCount(TXP_ImageSourceAdapter* adapter, int count);
NORVANE_API int TXP_ISA_GetMaxImageCount(TXP_ImageSourceAdapter* adapter);
NORVANE_API bool TXP_ISA_HasImage(TXP_ImageSourceAdapter* adapter, int imageId);
NORVANE_API bool TXP_ISA_SetNextImageToReturn(TXP_ImageSourceAdapter* adapter, int imageId,
                                              int keepInBuffer);
NORVANE_API int TXP_ISA_GetImageCount(TXP_ImageSourceAdapter* adapter);
NORVANE_API bool TXP_ISA_IsBufferEmpty(TXP_ImageSourceAdapter* adapter);
NORVANE_API int TXP_ISA_ClearBuffer(TXP_ImageSourceAdapter* adapter);
/**@}*/
/** `type`: 0 automatic, 1 full colour, 2 luminance only. */
NORVANE_API int TXP_ISA_SetColourChannelUsageType(TXP_ImageSourceAdapter* adapter, int type);
/** The colour-channel usage type (a TXP_CCUT_ value). */
NORVANE_API int TXP_ISA_GetColourChannelUsageType(TXP_ImageSourceAdapter* adapter);
/** `mode`: 0 the producer blocks while the buffer is full, 1 the oldest is dropped. */
NORVANE_API int TXP_ISA_SetBufferOverflowProtectionMode(TXP_ImageSourceAdapter* adapter, int mode);
/** The overflow protection mode (a TXP_BOPM_ value). */
NORVANE_API int TXP_ISA_GetBufferOverflowProtectionMode(TXP_ImageSourceAdapter* adapter);
/** The listener is not owned; nothing happens when either pointer is null. */
NORVANE_API void TXP_ISA_SetErrorListener(TXP_ImageSourceAdapter* adapter,
                                          TXP_ImageSourceErrorListener* listener);

/** Through the callbacks when set, else the built-in behaviour. */
/**@{*/
NORVANE_API int TXP_ISA_StartFetching(TXP_ImageSourceAdapter* adapter);
NORVANE_API int TXP_ISA_StopFetching(TXP_ImageSourceAdapter* adapter);
NORVANE_API bool TXP_ISA_HasNextImageToFetch(TXP_ImageSourceAdapter* adapter);
/**@}*/
/** The next image (through the get-image callback when set, else the newest buffered
 * one), or null. */
NORVANE_API TXP_ImageData* TXP_ISA_GetImage(TXP_ImageSourceAdapter* adapter);

/** The built-in behaviour, bypassing the callbacks: lets a callback fall back on the
 * buffer. */
/**@{*/
NORVANE_API int TXP_ISA_NativeStartFetching(TXP_ImageSourceAdapter* adapter);
NORVANE_API int TXP_ISA_NativeStopFetching(TXP_ImageSourceAdapter* adapter);
NORVANE_API TXP_ImageData* TXP_ISA_NativeGetImage(TXP_ImageSourceAdapter* adapter);
/**@}*/

/** Buffers a copy of the record's image (bytes and tag), then calls its release
 * function. 0, -10002 for a null adapter or record, -10001 when memory runs out. */
NORVANE_API int TXP_ISA_AddImageToBuffer(TXP_ImageSourceAdapter* adapter, TXP_ImageData* record);
/** The same as TXP_ISA_AddImageToBuffer. */
NORVANE_API int TXP_ISA_NativeAddImageToBuffer(TXP_ImageSourceAdapter* adapter,
                                               TXP_ImageData* record);

/** A listener that passes every error to `callback` (when not null); null when memory
 * runs out. */
NORVANE_API TXP_ImageSourceErrorListener* TXP_IEL_CreateImageSourceErrorListener(
    TXP_IEL_ErrorReceivedFunc callback);
/** Nothing for null. */
NORVANE_API void TXP_IEL_DestroyImageSourceErrorListener(TXP_ImageSourceErrorListener* listener);

NORVANE_END_C_DECLS

#endif /**< NORVANE_BASIC_STRUCTURES_IMAGE_SOURCE_ADAPTER_C_H_ */
