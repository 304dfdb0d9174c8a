// CImageSourceAdapter: the base class through which an image producer (a camera, a
// file reader, the caller's own code) feeds images to the processing pipeline.
//
// The adapter owns a bounded buffer of CImageData. Producers derive from it, answer
// HasNextImageToFetch, and call AddImageToBuffer from their own threads; the consumer
// calls GetImage, which hands out the newest image first and gives it to the caller.
// When the buffer is full, BOPM_APPEND drops the oldest image (never one protected by
// SetNextImageToReturn while anything else can go) and BOPM_BLOCK makes the producer
// wait until GetImage takes an image or StopFetching is called. While not fetching
// (the initial state), offered images are deleted at once.
//
// Thread safety: every operation may be called from any thread. The buffer, the
// maximum, the fetching state and the protected id are guarded by one internal mutex
// wherever they decide what happens to an image; the getters of the mode, colour
// usage, maximum and count read without it and may be a moment out of date. Images
// are deleted outside the lock, so a deleter may call back into the adapter. The
// error listener is not owned.
#ifndef NORVANE_BASIC_STRUCTURES_IMAGE_SOURCE_ADAPTER_H_
#define NORVANE_BASIC_STRUCTURES_IMAGE_SOURCE_ADAPTER_H_

#include <atomic>
#include <cstdint>

#include "norvane/basic_structures/image_data.h"
#include "norvane/basic_structures/pixel_conversion.h"
#include "norvane/core/export.h"

namespace norvane {
namespace basic_structures {

// What AddImageToBuffer does when the buffer is full.
enum BufferOverflowProtectionMode : int32_t {
  BOPM_BLOCK = 0,   // the producer waits for room
  BOPM_APPEND = 1,  // the oldest image is dropped for the new one
};

#pragma pack(push, 1)

// Receives the errors a producer reports while fetching images.
class NORVANE_API CImageSourceErrorListener {
 public:
  CImageSourceErrorListener();
  virtual ~CImageSourceErrorListener();
  // `errorMessage` is only valid during the call.
  virtual void OnErrorReceived(int errorCode, const char* errorMessage) = 0;
};

class NORVANE_API CImageSourceAdapter {
 public:
  // Not fetching, overflow mode BOPM_APPEND, at most 1 image, no error listener.
  CImageSourceAdapter();
  // Deletes every buffered image. No producer may be inside AddImageToBuffer.
  virtual ~CImageSourceAdapter();
  CImageSourceAdapter(const CImageSourceAdapter&) = delete;
  CImageSourceAdapter& operator=(const CImageSourceAdapter&) = delete;

  // Whether the producer will deliver more images.
  virtual bool HasNextImageToFetch() const = 0;
  // Producers that run their own threads override these and call the base versions.
  virtual void StartFetching();
  // Also releases every producer waiting in AddImageToBuffer; their images are deleted.
  virtual void StopFetching();
  // The newest buffered image, converted for the colour-channel usage when it needs
  // to be; the caller owns it. Null when the buffer is empty.
  virtual CImageData* GetImage();

  // Buffers a copy of `image` (bytes and tag), or with copyImage false the image
  // itself, which the adapter then owns with its bytes (it may be deleted before this
  // returns; under CCUT_LUMINANCE_ONLY its bytes may be overwritten with its grey).
  // Null is ignored.
  void AddImageToBuffer(const CImageData* image, bool copyImage = true);
  // Whether an image whose tag has id `imageId` is buffered; false for -1.
  bool HasImage(int imageId) const;
  // Moves the image with that id to the oldest place, where it is the last one
  // served; with keepInBuffer it is also shielded from BOPM_APPEND until the next
  // GetImage. False when no such image is buffered.
  bool SetNextImageToReturn(int imageId, bool keepInBuffer = true);
  // Deletes the newest images beyond `count`, then keeps `count` as the maximum
  // (taken as unsigned: a negative count means no practical limit).
  void SetMaxImageCount(int count);
  int GetMaxImageCount() const;
  void SetBufferOverflowProtectionMode(BufferOverflowProtectionMode mode);
  BufferOverflowProtectionMode GetBufferOverflowProtectionMode() const;
  void SetColourChannelUsageType(ColourChannelUsageType type);
  ColourChannelUsageType GetColourChannelUsageType() const;
  int GetImageCount() const;
  bool IsBufferEmpty() const;
  // Deletes every buffered image; a protected id stays.
  void ClearBuffer();
  void SetErrorListener(CImageSourceErrorListener* listener);
  CImageSourceErrorListener* GetErrorListener() const;

 private:
  class CImageSourceAdapterInner;

  CImageSourceAdapterInner* inner;
  std::atomic<CImageSourceErrorListener*> errorListener;
};

#pragma pack(pop)

}  // namespace basic_structures
}  // namespace norvane

#endif  // NORVANE_BASIC_STRUCTURES_IMAGE_SOURCE_ADAPTER_H_
