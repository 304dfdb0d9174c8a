// TQHashedImageData: the concrete counted image of the task runtime, whose hash id is
// derived from its pixel bytes.
//
// The id is TQHashAlgorithm::GenerateHash over the `bytesLength` bytes at `bytes`, as
// they are stored, padding at the row ends included: two images with the same
// buffer get the same id, whatever their width, height or format, and producers that
// leave row padding uninitialised get differing ids for the same picture. Hashing the
// stored buffer in one pass keeps the cost at one read of (a sample of) the bytes;
// hashing only each row's pixels would need a contiguous copy first, because large
// inputs are sampled across the whole buffer. A null buffer hashes as an empty one.
// Buffers of 4 GiB and more hash their first 4 GiB - 1 bytes.
//
// CalcHashID computes the id once; later calls keep it (the bytes of a CImageData
// never change after construction). It may be called from several threads at once:
// the first call computes, the others wait for it, and every caller then reads the
// id from GetIdStruct() without further locking.
#ifndef NORVANE_BASIC_STRUCTURES_TQ_HASHED_IMAGE_DATA_H_
#define NORVANE_BASIC_STRUCTURES_TQ_HASHED_IMAGE_DATA_H_

#include "norvane/basic_structures/tq_image_data.h"
#include "norvane/core/export.h"
#include "norvane/core/mutex.h"

namespace norvane {
namespace basic_structures {

class NORVANE_API TQHashedImageData : public TQImageData {
 public:
  // Copies `bytesLength` bytes (when `bytes` is not null) and clones the tag.
  TQHashedImageData(unsigned long long bytesLength, const unsigned char* bytes, int width,
                    int height, int stride, ImagePixelFormat format, int orientation = 0,
                    const CImageTag* tag = nullptr);
  // Adopts `bytes`; they are freed with `deleter` when it is not null.
  TQHashedImageData(unsigned long long bytesLength, const unsigned char* bytes,
                    BytesDeleter deleter, int width, int height, int stride,
                    ImagePixelFormat format, int orientation = 0, const CImageTag* tag = nullptr);
  ~TQHashedImageData() override;
  TQHashedImageData(const TQHashedImageData&) = delete;
  TQHashedImageData& operator=(const TQHashedImageData&) = delete;

  void CalcHashID() override;

 private:
  Mutex hashMutex_;
};

}  // namespace basic_structures
}  // namespace norvane

#endif  // NORVANE_BASIC_STRUCTURES_TQ_HASHED_IMAGE_DATA_H_
