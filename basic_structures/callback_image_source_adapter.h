// The adapter behind the C interface: its producer side is a set of C callbacks, and
// every virtual operation can be handed to a delegate adapter instead. Also the
// conversions between the C records and the C++ image types.
#ifndef NORVANE_BASIC_STRUCTURES_CALLBACK_IMAGE_SOURCE_ADAPTER_H_
#define NORVANE_BASIC_STRUCTURES_CALLBACK_IMAGE_SOURCE_ADAPTER_H_

#include "norvane/basic_structures/image_source_adapter.h"
#include "norvane/basic_structures/image_source_adapter_c.h"
#include "norvane/core/mutex.h"
#include "norvane/core/thread_annotations.h"

namespace norvane {
namespace internal {

// The callbacks and the delegate may be changed while other threads use the
// adapter: each call reads the slot it needs (function and user data together)
// under a lock of its own and runs the callback after releasing it, so a callback
// may call back into the adapter.
class CallbackImageSourceAdapter : public basic_structures::CImageSourceAdapter {
 public:
  CallbackImageSourceAdapter(TXP_ISA_HasNextImageToFetchFunc hasNext, void* hasNextUserData);
  ~CallbackImageSourceAdapter() override;

  bool HasNextImageToFetch() const override;
  void StartFetching() override;
  void StopFetching() override;
  // The get-image callback's record turned into an image (the record is released),
  // or the buffer's newest image when no callback is set.
  basic_structures::CImageData* GetImage() override;

  // Not owned; null hands nothing on.
  void SetDelegate(basic_structures::CImageSourceAdapter* delegate) LOCKS_EXCLUDED(slotsMutex_);
  basic_structures::CImageSourceAdapter* GetDelegate() const LOCKS_EXCLUDED(slotsMutex_);
  void SetCallbacks(TXP_ISA_FetchingFunc start, void* startUserData, TXP_ISA_FetchingFunc stop,
                    void* stopUserData, TXP_ISA_GetImageFunc getImage, void* getImageUserData,
                    TXP_ISA_HasNextImageToFetchFunc hasNext, void* hasNextUserData)
      LOCKS_EXCLUDED(slotsMutex_);

 private:
  // A callback slot as read at one moment: the function with its own user data.
  template <typename F>
  struct Slot {
    F function;
    void* userData;
  };

  basic_structures::CImageSourceAdapter* delegate_ GUARDED_BY(slotsMutex_);
  TXP_ISA_HasNextImageToFetchFunc hasNext_ GUARDED_BY(slotsMutex_);
  void* hasNextUserData_ GUARDED_BY(slotsMutex_);
  TXP_ISA_FetchingFunc start_ GUARDED_BY(slotsMutex_);
  void* startUserData_ GUARDED_BY(slotsMutex_);
  TXP_ISA_FetchingFunc stop_ GUARDED_BY(slotsMutex_);
  void* stopUserData_ GUARDED_BY(slotsMutex_);
  TXP_ISA_GetImageFunc getImage_ GUARDED_BY(slotsMutex_);
  void* getImageUserData_ GUARDED_BY(slotsMutex_);
  mutable Mutex slotsMutex_;  // a leaf lock: never held while calling out
};

// A new tag built from the record (null for a null record or an unknown type).
basic_structures::CImageTag* TagFromRecord(const TXP_ImageTag* record);
// Fills `record` from `tag`; its string and rectangle pointers point into `tag`, or
// into `cropRegion` for the rectangle.
void TagToRecord(const basic_structures::CImageTag& tag, TXP_ImageTag* record,
                 TXP_Rect* cropRegion);
// A new image with a copy of the record's bytes and tag. The record is not released.
basic_structures::CImageData* ImageFromRecord(const TXP_ImageData& record);
// A new record that takes ownership of `image` and points at its bytes and tag; its
// release function deletes both. Null (and `image` still the caller's) when memory
// runs out.
TXP_ImageData* RecordFromImage(basic_structures::CImageData* image);

}  // namespace internal
}  // namespace norvane

#endif  // NORVANE_BASIC_STRUCTURES_CALLBACK_IMAGE_SOURCE_ADAPTER_H_
