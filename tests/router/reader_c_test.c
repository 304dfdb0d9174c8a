/* The router's C interface from C99: bad input gets its code and a message, images
 * of any pixel format and files are read, a stream fed from two threads returns every
 * image once, and (where the barcode module is built) real samples read with their
 * expected texts, from files and from their bytes.
 *
 * usage: reader_c_test DATA_DIR (tests/data/barcodes) */
#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "norvane/router/NorvaneRouterC.h"

static int failures = 0;
#define CHECK(condition)                                                 \
  do {                                                                   \
    if (!(condition)) {                                                  \
      fprintf(stderr, "%s:%d: failed: %s\n", __FILE__, __LINE__, #condition); \
      ++failures;                                                        \
    }                                                                    \
  } while (0)

enum { kWidth = 161, kHeight = 121 };

/* A light image (bytes per pixel 1 or 3) with one dark rectangle [30, 90) x [20, 70). */
static unsigned char* DrawLabel(int channels) {
  unsigned char* bytes = malloc((size_t)kWidth * kHeight * channels);
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth * channels; ++x) {
      const int dark = x / channels >= 30 && x / channels < 90 && y >= 20 && y < 70;
      bytes[(size_t)y * kWidth * channels + x] = (unsigned char)(dark ? 35 : 210 + (x + y) % 7);
    }
  }
  return bytes;
}

static void CheckLabel(const TXP_RTR_Result* result) {
  CHECK(result != NULL && result->errorCode == 0 && result->findingCount == 1);
  if (result == NULL || result->findingCount != 1) return;
  const TXP_RTR_Finding* label = &result->findings[0];
  CHECK(strcmp(label->format, "label") == 0);
  int left = 1000, right = -1, top = 1000, bottom = -1;
  for (int c = 0; c < 4; ++c) {
    left = label->x[c] < left ? label->x[c] : left;
    right = label->x[c] > right ? label->x[c] : right;
    top = label->y[c] < top ? label->y[c] : top;
    bottom = label->y[c] > bottom ? label->y[c] : bottom;
  }
  CHECK(abs(left - 30) <= 2 && abs(right - 90) <= 2 && abs(top - 20) <= 2 && abs(bottom - 70) <= 2);
}

static void CheckBadInput(void) {
  void* reader = NULL;
  char* message = NULL;
  TXP_RTR_Result* result = NULL;
  CHECK(TXP_RTR_CreateReader("nothere", NULL, &reader, &message) == -10065 && reader == NULL);
  CHECK(message != NULL && strstr(message, "labels") != NULL); /* lists what exists */
  TQ_DeleteCharArray(&message);
  TXP_RTR_ReaderOptions options = {"QRCode", 0, 0, NULL, 0};
  CHECK(TXP_RTR_CreateReader("labels", &options, &reader, &message) == -30009 && message != NULL);
  TQ_DeleteCharArray(&message);
  options.formats = NULL;
  options.workers = 65;
  CHECK(TXP_RTR_CreateReader("labels", &options, &reader, NULL) == -10038 && reader == NULL);
  CHECK(TXP_RTR_CreateReader(NULL, NULL, &reader, NULL) == -10002);
  CHECK(TXP_RTR_ReadFile(NULL, "x.png", &result) == -10002 && result == NULL);
  CHECK(TXP_RTR_PushImage(NULL, NULL) == -10002 && TXP_RTR_FinishStream(NULL, NULL) == -10002);
  TXP_RTR_DestroyReader(NULL);
  TXP_RTR_FreeResult(NULL);

  CHECK(TXP_RTR_CreateReader("labels", NULL, &reader, &message) == 0 && message == NULL);
  CHECK(TXP_RTR_ReadFile(reader, "/nonexistent.png", &result) == -10005 && result == NULL);
  CHECK(TXP_RTR_ReadFile(reader, "/dev/null", &result) == -10005);
  const unsigned char junk[] = "not an image at all";
  CHECK(TXP_RTR_ReadEncoded(reader, junk, sizeof(junk), &result) == -10012 && result == NULL);
  unsigned char* bytes = DrawLabel(1);
  TXP_ImageData image = {(unsigned long long)kWidth * kHeight, bytes, kWidth, kHeight, kWidth,
                         TXP_IPF_GRAYSCALE, 0, NULL, NULL, NULL};
  image.stride = kWidth - 1;
  CHECK(TXP_RTR_ReadImage(reader, &image, &result) == -10069 && result == NULL);
  image.stride = kWidth;
  image.format = 99;
  CHECK(TXP_RTR_ReadImage(reader, &image, &result) == -10071);
  image.format = TXP_IPF_GRAYSCALE;
  image.bytesLength = 100;
  CHECK(TXP_RTR_ReadImage(reader, &image, &result) == -10070);
  CHECK(TXP_RTR_PushImage(reader, &image) == -10070); /* no stream either way */
  free(bytes);
  TXP_RTR_DestroyReader(reader);
}

static void CheckImages(void) {
  void* reader = NULL;
  CHECK(TXP_RTR_CreateReader("labels", NULL, &reader, NULL) == 0);
  const int channels[] = {1, 3};
  for (int i = 0; i < 2; ++i) {
    unsigned char* bytes = DrawLabel(channels[i]);
    TXP_ImageTag tag = {1, 77, 0, NULL, 0, 0, 0, 0, NULL, kWidth, kHeight};
    TXP_ImageData image = {(unsigned long long)kWidth * kHeight * channels[i], bytes, kWidth,
                           kHeight, kWidth * channels[i], channels[i] == 1 ? TXP_IPF_GRAYSCALE : TXP_IPF_BGR_888,
                           0, &tag, NULL, NULL};
    TXP_RTR_Result* result = NULL;
    CHECK(TXP_RTR_ReadImage(reader, &image, &result) == 0 && result->imageId == 77);
    CheckLabel(result);
    TXP_RTR_FreeResult(result);
    free(bytes);
  }
  TXP_RTR_DestroyReader(reader);
}

/* A stream fed by two threads at once. */
enum { kPerThread = 12 };
typedef struct {
  pthread_mutex_t mutex;
  int seen[2 * kPerThread];
  int bad;
} Seen;
typedef struct {
  void* reader;
  int first;
} Feeder;

static void OnResult(const TXP_RTR_Result* result, void* userData) {
  Seen* seen = userData;
  pthread_mutex_lock(&seen->mutex);
  if (result->imageId < 0 || result->imageId >= 2 * kPerThread || result->findingCount != 1)
    ++seen->bad;
  else
    ++seen->seen[result->imageId];
  pthread_mutex_unlock(&seen->mutex);
}

static void* Feed(void* argument) {
  Feeder* feeder = argument;
  unsigned char* bytes = DrawLabel(1);
  for (int i = 0; i < kPerThread; ++i) {
    TXP_ImageTag tag = {1, feeder->first + i, 0, NULL, 0, 0, 0, 0, NULL, kWidth, kHeight};
    TXP_ImageData image = {(unsigned long long)kWidth * kHeight, bytes, kWidth, kHeight, kWidth,
                           TXP_IPF_GRAYSCALE, 0, &tag, NULL, NULL};
    CHECK(TXP_RTR_PushImage(feeder->reader, &image) == 0);
    bytes[0] ^= 1; /* the stream copied the image */
  }
  free(bytes);
  return NULL;
}

static void CheckStream(void) {
  void* reader = NULL;
  CHECK(TXP_RTR_CreateReader("labels", NULL, &reader, NULL) == 0);
  Seen seen;
  memset(&seen, 0, sizeof(seen));
  pthread_mutex_init(&seen.mutex, NULL);
  CHECK(TXP_RTR_StartStream(reader, OnResult, &seen) == 0);
  CHECK(TXP_RTR_StartStream(reader, OnResult, &seen) == -10062);
  TXP_RTR_Result* result = NULL;
  CHECK(TXP_RTR_ReadFile(reader, "/nonexistent.png", &result) == -10005);
  Feeder feeders[2] = {{reader, 0}, {reader, kPerThread}};
  pthread_t threads[2];
  for (int i = 0; i < 2; ++i) pthread_create(&threads[i], NULL, Feed, &feeders[i]);
  for (int i = 0; i < 2; ++i) pthread_join(threads[i], NULL);
  int dropped = -1;
  CHECK(TXP_RTR_FinishStream(reader, &dropped) == 0 && dropped == 0);
  CHECK(TXP_RTR_FinishStream(reader, &dropped) == -10062);
  CHECK(seen.bad == 0);
  for (int i = 0; i < 2 * kPerThread; ++i) CHECK(seen.seen[i] == 1);
  pthread_mutex_destroy(&seen.mutex);
  TXP_RTR_DestroyReader(reader);
}

/* Upper-case letters and digits only, as the samples are scored. */
static void Reduce(const char* text, char* out, size_t size) {
  size_t n = 0;
  for (; *text != '\0' && n + 1 < size; ++text) {
    const char c = *text >= 'a' && *text <= 'z' ? (char)(*text - 'a' + 'A') : *text;
    if ((c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9')) out[n++] = c;
  }
  out[n] = '\0';
}

static char* ReadWhole(const char* path, long* size) {
  FILE* file = fopen(path, "rb");
  if (file == NULL) return NULL;
  fseek(file, 0, SEEK_END);
  *size = ftell(file);
  fseek(file, 0, SEEK_SET);
  char* data = malloc((size_t)*size + 1);
  *size = (long)fread(data, 1, (size_t)*size, file);
  data[*size] = '\0';
  fclose(file);
  return data;
}

static void CheckSamples(const char* dataDir) {
  char* modules = TXP_RTR_GetAvailableModules();
  const int haveBarcode = modules != NULL && strstr(modules, "barcode") != NULL;
  TQ_DeleteCharArray(&modules);
  if (!haveBarcode) return;
  const char* samples[] = {"qrcode-2/4", "ean13-1/10", "code128-1/5", "datamatrix-1/readerinit",
                           "pdf417-1/13-readerinit"};
  void* reader = NULL;
  CHECK(TXP_RTR_CreateReader("barcode", NULL, &reader, NULL) == 0);
  for (size_t i = 0; i < sizeof(samples) / sizeof(samples[0]); ++i) {
    char image[512], text[512], want[256], got[256];
    long size = 0, textSize = 0;
    snprintf(image, sizeof(image), "%s/%s.png", dataDir, samples[i]);
    snprintf(text, sizeof(text), "%s/%s.txt", dataDir, samples[i]);
    char* expected = ReadWhole(text, &textSize);
    char* encoded = ReadWhole(image, &size);
    CHECK(expected != NULL && encoded != NULL);
    if (expected == NULL || encoded == NULL) continue;
    Reduce(expected, want, sizeof(want));
    for (int fromBytes = 0; fromBytes < 2; ++fromBytes) {
      TXP_RTR_Result* result = NULL;
      const int code = fromBytes ? TXP_RTR_ReadEncoded(reader, (const unsigned char*)encoded,
                                                       (unsigned long long)size, &result)
                                 : TXP_RTR_ReadFile(reader, image, &result);
      CHECK(code == 0 && result->findingCount >= 1);
      if (code != 0 || result->findingCount < 1) continue;
      Reduce(result->findings[0].text, got, sizeof(got));
      if (strcmp(got, want) != 0) fprintf(stderr, "%s: read %s, want %s\n", image, got, want);
      CHECK(strcmp(got, want) == 0);
      CHECK(result->findings[0].bytesLength == (int)strlen(result->findings[0].text));
      TXP_RTR_FreeResult(result);
    }
    free(expected);
    free(encoded);
  }
  TXP_RTR_DestroyReader(reader);
}

int main(int argc, char** argv) {
  if (argc != 2) {
    fprintf(stderr, "usage: reader_c_test DATA_DIR\n");
    return 2;
  }
  CheckBadInput();
  CheckImages();
  CheckStream();
  CheckSamples(argv[1]);
  printf("%s\n", failures == 0 ? "reader C interface: all checks passed" : "FAILED");
  return failures == 0 ? 0 : 1;
}
