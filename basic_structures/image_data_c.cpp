#include "norvane/basic_structures/image_data_c.h"

#include <cstdlib>

namespace {
void FreeRecordOnly(TXP_ImageData* record, void*) { TXP_DestoryImageData(record); }
}  // namespace

extern "C" {

TXP_ImageData* TXP_CreateImageData(unsigned long long bytesLength, const unsigned char* bytes,
                                   int width, int height, int stride, int format, int orientation,
                                   TXP_ImageTag* tag, void* userData,
                                   TXP_ImageDataReleaseFunc releaseFunction) {
  TXP_ImageData* record = static_cast<TXP_ImageData*>(std::malloc(sizeof(TXP_ImageData)));
  if (record == nullptr) return nullptr;
  record->bytesLength = bytesLength;
  record->bytes = bytes;
  record->width = width;
  record->height = height;
  record->stride = stride;
  record->format = format;
  record->orientation = orientation;
  record->tag = tag;
  record->userData = userData;
  record->release = releaseFunction != nullptr ? releaseFunction : &FreeRecordOnly;
  return record;
}

void TXP_DestoryImageData(TXP_ImageData* record) { std::free(record); }

}  // extern "C"
