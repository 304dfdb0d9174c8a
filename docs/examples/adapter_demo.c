/* The image-source adapter from C: a producer adds records, a consumer takes them
 * out, and the library hands each record back through its release function. Built
 * and run by the tests; docs/c-interface.md quotes it. */
#include <norvane/NorvaneCoreC.h>

#include <stdio.h>
#include <string.h>

/* The library is done with a record it was given: count it, then free the record
 * (its bytes belong to the producer). */
static void ReleaseRecord(TXP_ImageData* record, void* userData) {
  int* released = (int*)userData;
  ++*released;
  TXP_DestoryImageData(record);
}

static bool HasNext(void* userData) {
  (void)userData;
  return true;
}

int main(void) {
  /* [errors] */
  printf("libNorvaneCore %s\n", TQ_GetLibVersion());
  int code = TXP_ISA_GetImageCount(NULL);
  printf("%d: %s\n", code, TC_GetErrorString(code)); /* -10002: Null pointer. */
  /* [errors] */
  if (code != EC_NULL_POINTER) return 1;

  /* [create] */
  TXP_ImageSourceAdapterHandle* handle = TXP_ISA_CreateBaseImageSourceAdapter(&HasNext, NULL);
  if (handle == NULL) return 2;
  TXP_ImageSourceAdapter* adapter = handle->adapter;
  TXP_ISA_SetMaxImageCount(adapter, 4);
  TXP_ISA_SetBufferOverflowProtectionMode(adapter, TXP_BOPM_APPEND); /* full: drop the oldest */
  TXP_ISA_StartFetching(adapter);
  /* [create] */

  /* [add] */
  unsigned char pixels[3][4 * 2];
  TXP_ImageTag tags[3];
  int released = 0;
  for (int i = 0; i < 3; ++i) {
    memset(pixels[i], 10 * i, sizeof pixels[i]);
    memset(&tags[i], 0, sizeof tags[i]);
    tags[i].type = 0; /* a file page */
    tags[i].imageId = i;
    tags[i].filePath = "page.png";
    TXP_ImageData* record = TXP_CreateImageData(sizeof pixels[i], pixels[i], 4, 2, 4,
                                                TXP_IPF_GRAYSCALE, 0, &tags[i], &released,
                                                &ReleaseRecord);
    if (record == NULL || TXP_ISA_AddImageToBuffer(adapter, record) != EC_OK) return 3;
  }
  /* [add] */
  if (released != 3 || TXP_ISA_GetImageCount(adapter) != 3) return 4;

  /* [get] */
  TXP_ImageData* image;
  while ((image = TXP_ISA_GetImage(adapter)) != NULL) { /* newest first */
    printf("image %d: %dx%d, first byte %d\n", image->tag->imageId, image->width,
           image->height, image->bytes[0]);
    image->release(image, image->userData);
  }
  TXP_ISA_DestroyBaseImageSourceAdapter(handle);
  /* [get] */
  return 0;
}
