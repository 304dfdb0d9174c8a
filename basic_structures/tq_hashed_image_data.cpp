#include "norvane/basic_structures/tq_hashed_image_data.h"

#include <climits>

#include "norvane/core/hash_algorithm.h"

namespace norvane {
namespace basic_structures {

TQHashedImageData::TQHashedImageData(unsigned long long length, const unsigned char* source, int w,
                                     int h, int s, ImagePixelFormat f, int o, const CImageTag* t)
    : TQImageData(length, source, w, h, s, f, o, t) {}

TQHashedImageData::TQHashedImageData(unsigned long long length, const unsigned char* source,
                                     BytesDeleter bytesDeleter, int w, int h, int s,
                                     ImagePixelFormat f, int o, const CImageTag* t)
    : TQImageData(length, source, bytesDeleter, w, h, s, f, o, t) {}

TQHashedImageData::~TQHashedImageData() = default;

void TQHashedImageData::CalcHashID() {
  MutexLock lock(&hashMutex_);
  if (id.isSet) return;
  unsigned int length = 0;
  if (bytes != nullptr) {
    length = bytesLength > UINT_MAX ? UINT_MAX : static_cast<unsigned int>(bytesLength);
  }
  TQRef<TQArray<char>> text = TQHashAlgorithm::GenerateHash(bytes, length);
  id.value.assign(text->GetData());
  id.isSet = !id.value.empty();
}

}  // namespace basic_structures
}  // namespace norvane
