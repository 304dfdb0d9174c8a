#include "norvane/basic_structures/image_source_adapter.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <memory>
#include <thread>
#include <vector>

namespace norvane {
namespace basic_structures {
namespace {

constexpr int kMaxIds = 40000;
// How often the bytes of each image id were freed.
std::atomic<int> g_freed[kMaxIds];

void ResetFreed() {
  for (auto& f : g_freed) f.store(0);
}

// Every test image is 8 grey pixels whose first four bytes hold its id.
int BytesId(const unsigned char* bytes) {
  int id;
  std::memcpy(&id, bytes, sizeof(id));
  return id;
}

void CountingDelete(const unsigned char* bytes) {
  g_freed[BytesId(bytes)].fetch_add(1);
  delete[] bytes;
}

// An image that owns its bytes (freed through CountingDelete) and carries `id` in
// its tag and its bytes.
CImageData* MakeImage(int id) {
  unsigned char* bytes = new unsigned char[8];
  std::memcpy(bytes, &id, sizeof(id));
  std::memset(bytes + 4, id & 0xFF, 4);
  CFileImageTag tag(nullptr, 0, 1);
  tag.SetImageId(id);
  return new CImageData(8, bytes, &CountingDelete, 8, 1, 8, IPF_GRAYSCALE, 0, &tag);
}

int IdOf(const CImageData* image) { return image->GetImageTag()->GetImageId(); }

class TestAdapter : public CImageSourceAdapter {
 public:
  bool HasNextImageToFetch() const override { return true; }
};

// Takes every image out, newest first, and returns their ids.
std::vector<int> Drain(CImageSourceAdapter& adapter) {
  std::vector<int> ids;
  while (CImageData* image = adapter.GetImage()) {
    ids.push_back(IdOf(image));
    delete image;
  }
  return ids;
}

// The buffer's rules (order, maximum, modes, protection, stopping) are checked against
// a model by fuzz/adapter_fuzz.cpp, replayed with the tests; here, real threads.

// Channel c of pixel i of the colour frame `id`.
unsigned char Channel(int id, int i, int c) {
  return static_cast<unsigned char>(id * (7 + 6 * c) + i * (1 + 2 * c) + c);
}
constexpr int kColourWidth = 37, kColourHeight = 5;

// A colour frame with new[] bytes, freed by the image.
CImageData* MakeColourImage(int id) {
  const size_t length = 3u * kColourWidth * kColourHeight;
  auto* bytes = new unsigned char[length];
  for (size_t i = 0; i < length; ++i) bytes[i] = Channel(id, static_cast<int>(i / 3), i % 3);
  CFileImageTag tag(nullptr, 0, 1);
  tag.SetImageId(id);
  return new CImageData(length, bytes, &CImageData::DeleteByteArray, kColourWidth, kColourHeight,
                        3 * kColourWidth, IPF_RGB_888, 90, &tag);
}

// True when `image` is the grey form of colour frame `id`, by the published weights.
bool IsGreyOfColourImage(const CImageData& image, int id) {
  bool right = image.GetImagePixelFormat() == IPF_GRAYSCALE && image.GetStride() == kColourWidth &&
               image.GetHeight() == kColourHeight && image.GetOrientation() == 90;
  for (int i = 0; right && i < kColourWidth * kColourHeight; ++i) {
    const uint32_t grey =
        (7424u * Channel(id, i, 0) + 38550u * Channel(id, i, 1) + 19562u * Channel(id, i, 2)) >> 16;
    right = image.GetBytes()[i] == grey;
  }
  return right;
}

// Producers and one consumer over real threads, optionally with a third thread that
// keeps changing the maximum (0 included) while they run. Each image's bytes must be
// freed exactly once, whether the consumer got the image or the buffer dropped it.
// Colour frames under luminance-only use become grey on the consumer's thread, in
// their own bytes or in the adapter's copy, which the sanitizers watch cross threads.
struct ThreadedRun {
  BufferOverflowProtectionMode mode;
  int maxCount;
  bool changingMaximum;
  bool colour;
};

void RunProducersAndConsumer(const ThreadedRun& run) {
  constexpr int kProducers = 4;
  constexpr int kFramesEach = 3000;
  constexpr int kTotal = kProducers * kFramesEach;
  static_assert(kTotal <= kMaxIds, "");
  ResetFreed();
  std::vector<std::atomic<int>> delivered(kTotal);
  TestAdapter adapter;
  adapter.SetBufferOverflowProtectionMode(run.mode);
  adapter.SetMaxImageCount(run.maxCount);
  if (run.colour) adapter.SetColourChannelUsageType(CCUT_LUMINANCE_ONLY);
  adapter.StartFetching();
  std::atomic<int> producersLeft(kProducers);
  std::vector<std::thread> threads;
  for (int p = 0; p < kProducers; ++p) {
    threads.emplace_back([&, p] {
      for (int i = 0; i < kFramesEach; ++i) {
        const int id = p * kFramesEach + i;
        std::unique_ptr<CImageData> image(run.colour ? MakeColourImage(id) : MakeImage(id));
        if (i % 2 == 0) {
          adapter.AddImageToBuffer(image.release(), false);
        } else {
          // The copy gets its own bytes; the original is freed here, once.
          adapter.AddImageToBuffer(image.get(), true);
        }
      }
      producersLeft.fetch_sub(1);
    });
  }
  if (run.changingMaximum) {
    // Runs until the producers are done: a producer blocked on a maximum of 0 is let
    // in by a later change.
    threads.emplace_back([&] {
      for (unsigned n = 0; producersLeft.load() > 0; ++n) adapter.SetMaxImageCount(n % 4);
      adapter.SetMaxImageCount(run.maxCount);
    });
  }
  int gotCount = 0;
  for (;;) {
    const bool finished = producersLeft.load() == 0;
    CImageData* image = adapter.GetImage();
    if (image == nullptr) {
      if (finished) break;
      std::this_thread::yield();
      continue;
    }
    const int id = IdOf(image);
    // not ASSERT: the threads must be joined
    EXPECT_TRUE(run.colour ? IsGreyOfColourImage(*image, id) : BytesId(image->GetBytes()) == id);
    delivered[id].fetch_add(1);
    ++gotCount;
    delete image;
  }
  for (auto& t : threads) t.join();
  EXPECT_TRUE(Drain(adapter).empty());
  for (int id = 0; id < kTotal; ++id) {
    ASSERT_LE(delivered[id].load(), 1) << id;
    // One owner freed every image exactly once.
    ASSERT_EQ(g_freed[id].load(), run.colour ? 0 : 1) << id;
  }
  // Blocking never drops an image while fetching, unless the maximum shrinks.
  if (run.mode == BOPM_BLOCK && !run.changingMaximum) {
    EXPECT_EQ(gotCount, kTotal);
  }
}

TEST(CImageSourceAdapter, ProducersAndConsumerInBothModes) {
  const ThreadedRun runs[] = {
      {BOPM_APPEND, 3, false, false}, {BOPM_BLOCK, 2, false, false}, {BOPM_APPEND, 1, true, false},
      {BOPM_BLOCK, 1, true, false},   {BOPM_BLOCK, 3, false, true},
  };
  for (const ThreadedRun& run : runs) {
    SCOPED_TRACE(testing::Message()
                 << "mode " << run.mode << ", maximum " << run.maxCount
                 << (run.changingMaximum ? ", changing" : "") << (run.colour ? ", colour" : ""));
    RunProducersAndConsumer(run);
  }
}

TEST(CImageSourceAdapter, StopFetchingAndGetImageReleaseBlockedProducers) {
  ResetFreed();
  TestAdapter adapter;
  adapter.SetBufferOverflowProtectionMode(BOPM_BLOCK);
  adapter.StartFetching();
  adapter.AddImageToBuffer(nullptr);  // ignored
  adapter.AddImageToBuffer(MakeImage(1), false);

  // GetImage makes room for one blocked producer.
  std::thread one([&] { adapter.AddImageToBuffer(MakeImage(2), false); });
  // Give the producer a chance to reach its wait; correct either way.
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  std::unique_ptr<CImageData> first(adapter.GetImage());
  one.join();
  EXPECT_EQ(IdOf(first.get()), 1);
  EXPECT_TRUE(adapter.HasImage(2));

  // Several producers wait on the full buffer; stopping releases all of them and
  // deletes their images.
  std::vector<std::thread> waiting;
  for (int id = 3; id <= 6; ++id) {
    waiting.emplace_back([&adapter, id] { adapter.AddImageToBuffer(MakeImage(id), false); });
  }
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  adapter.StopFetching();
  for (auto& t : waiting) t.join();
  for (int id = 3; id <= 6; ++id) EXPECT_EQ(g_freed[id].load(), 1) << id;
  EXPECT_EQ(adapter.GetImageCount(), 1);

  // Clearing the buffer also lets a blocked producer in.
  adapter.StartFetching();
  std::thread late([&] { adapter.AddImageToBuffer(MakeImage(7), false); });
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  adapter.ClearBuffer();
  late.join();
  EXPECT_EQ(Drain(adapter), (std::vector<int>{7}));
}

}  // namespace
}  // namespace basic_structures
}  // namespace norvane
