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

TEST(CImageSourceAdapter, ServesNewestFirstAndReordersOnRequest) {
  ResetFreed();
  TestAdapter adapter;
  // Not fetching yet: offered images are deleted and the buffer stays empty.
  adapter.AddImageToBuffer(MakeImage(1), false);
  EXPECT_EQ(g_freed[1].load(), 1);
  EXPECT_TRUE(adapter.IsBufferEmpty());

  adapter.StartFetching();
  // A new adapter holds one image and drops the older one.
  adapter.AddImageToBuffer(MakeImage(2), false);
  adapter.AddImageToBuffer(MakeImage(3), false);
  EXPECT_EQ(g_freed[2].load(), 1);
  EXPECT_EQ(adapter.GetImageCount(), 1);
  EXPECT_EQ(Drain(adapter), (std::vector<int>{3}));

  adapter.SetMaxImageCount(5);
  for (int id = 10; id <= 13; ++id) adapter.AddImageToBuffer(MakeImage(id), false);
  EXPECT_FALSE(adapter.SetNextImageToReturn(99, true));
  EXPECT_FALSE(adapter.HasImage(99));
  EXPECT_TRUE(adapter.HasImage(12));
  // 12 moves to the oldest place; those before it move one towards the back.
  EXPECT_TRUE(adapter.SetNextImageToReturn(12, false));
  EXPECT_EQ(Drain(adapter), (std::vector<int>{13, 11, 10, 12}));
  EXPECT_TRUE(adapter.IsBufferEmpty());
  EXPECT_EQ(adapter.GetImage(), nullptr);

  // Shrinking keeps the oldest images.
  for (int id = 20; id <= 23; ++id) adapter.AddImageToBuffer(MakeImage(id), false);
  adapter.SetMaxImageCount(2);
  EXPECT_EQ(g_freed[22].load() + g_freed[23].load(), 2);
  EXPECT_EQ(Drain(adapter), (std::vector<int>{21, 20}));

  // Stopped again: offers are deleted, the buffer is left as it is.
  adapter.AddImageToBuffer(MakeImage(30), false);
  adapter.StopFetching();
  adapter.AddImageToBuffer(MakeImage(31), false);
  EXPECT_EQ(g_freed[31].load(), 1);
  EXPECT_EQ(Drain(adapter), (std::vector<int>{30}));

  for (int id : {1, 2, 3, 10, 11, 12, 13, 20, 21, 22, 23, 30, 31}) EXPECT_EQ(g_freed[id], 1) << id;
}

TEST(CImageSourceAdapter, ProtectedImageSurvivesAppendMode) {
  ResetFreed();
  TestAdapter adapter;
  adapter.StartFetching();
  // Maximum 1: the protected image stays and the newcomer is deleted.
  adapter.AddImageToBuffer(MakeImage(1), false);
  EXPECT_TRUE(adapter.SetNextImageToReturn(1, true));
  adapter.AddImageToBuffer(MakeImage(2), false);
  EXPECT_EQ(g_freed[2].load(), 1);
  EXPECT_TRUE(adapter.HasImage(1));

  // Taking an image lifts the protection.
  EXPECT_EQ(Drain(adapter), (std::vector<int>{1}));
  adapter.AddImageToBuffer(MakeImage(3), false);
  adapter.AddImageToBuffer(MakeImage(4), false);
  EXPECT_EQ(g_freed[3].load(), 1);

  // Larger buffer: the protected front image swaps with the second, which goes.
  adapter.SetMaxImageCount(3);
  adapter.AddImageToBuffer(MakeImage(5), false);
  adapter.AddImageToBuffer(MakeImage(6), false);       // 4, 5, 6
  EXPECT_TRUE(adapter.SetNextImageToReturn(5, true));  // 5, 4, 6
  adapter.AddImageToBuffer(MakeImage(7), false);       // 4 goes: 5, 6, 7
  EXPECT_EQ(g_freed[4].load(), 1);
  adapter.AddImageToBuffer(MakeImage(8), false);  // 6 goes: 5, 7, 8
  EXPECT_EQ(g_freed[6].load(), 1);
  EXPECT_TRUE(adapter.HasImage(5));

  // Clearing keeps the protected id: an image with that id is shielded again.
  adapter.ClearBuffer();
  EXPECT_EQ(g_freed[5].load() + g_freed[7].load() + g_freed[8].load(), 3);
  adapter.SetMaxImageCount(2);
  CImageData* again = MakeImage(9);
  const_cast<CImageTag*>(again->GetImageTag())->SetImageId(5);
  adapter.AddImageToBuffer(again, false);
  adapter.AddImageToBuffer(MakeImage(10), false);
  adapter.AddImageToBuffer(MakeImage(11), false);  // 10 goes, not the image with id 5
  EXPECT_EQ(g_freed[10].load(), 1);
  EXPECT_EQ(Drain(adapter), (std::vector<int>{11, 5}));
}

TEST(CImageSourceAdapter, UnusualLimitsModesAndIds) {
  ResetFreed();
  TestAdapter adapter;
  adapter.StartFetching();
  adapter.SetMaxImageCount(0);
  adapter.AddImageToBuffer(MakeImage(1), false);
  EXPECT_EQ(g_freed[1].load(), 1);
  adapter.AddImageToBuffer(nullptr);  // ignored

  // An unknown mode appends past the maximum once; then the buffer is over it.
  adapter.SetMaxImageCount(1);
  adapter.SetBufferOverflowProtectionMode(static_cast<BufferOverflowProtectionMode>(7));
  adapter.AddImageToBuffer(MakeImage(2), false);
  adapter.AddImageToBuffer(MakeImage(3), false);
  EXPECT_EQ(adapter.GetImageCount(), 2);
  adapter.AddImageToBuffer(MakeImage(4), false);
  EXPECT_EQ(g_freed[4].load(), 1);
  EXPECT_EQ(adapter.GetImageCount(), 2);
  adapter.ClearBuffer();

  // -1 never matches, neither a default tag's id nor an untagged image.
  adapter.SetBufferOverflowProtectionMode(BOPM_APPEND);
  adapter.SetMaxImageCount(3);
  CFileImageTag untouched(nullptr, 0, 0);
  const unsigned char pixels[4] = {1, 2, 3, 4};
  adapter.AddImageToBuffer(new CImageData(4, pixels, 4, 1, 4, IPF_GRAYSCALE, 0, &untouched), false);
  adapter.AddImageToBuffer(new CImageData(4, pixels, 4, 1, 4, IPF_GRAYSCALE), false);
  EXPECT_FALSE(adapter.HasImage(-1));
  EXPECT_FALSE(adapter.SetNextImageToReturn(-1, true));

  // A negative maximum is taken as unsigned: no practical limit.
  adapter.SetMaxImageCount(-1);
  EXPECT_EQ(adapter.GetMaxImageCount(), -1);
  EXPECT_EQ(adapter.GetImageCount(), 2);
}

TEST(CImageSourceAdapter, CopiesOfferedImagesWithBytesAndTag) {
  TestAdapter adapter;
  adapter.StartFetching();
  std::vector<unsigned char> pixels(3 * 5 * 2);
  for (size_t i = 0; i < pixels.size(); ++i) pixels[i] = static_cast<unsigned char>(i * 7);
  const CRect crop(1, 2, 3, 4);
  CVideoFrameTag tag(VFQ_HIGH, true, &crop, 640, 480);
  tag.SetImageId(42);
  {
    CImageData original(pixels.size(), pixels.data(), nullptr, 5, 2, 15, IPF_RGB_888, 180, &tag);
    adapter.AddImageToBuffer(&original);
  }  // the caller's image is gone; the buffered copy is independent of it
  std::memset(pixels.data(), 0, 4);
  std::unique_ptr<CImageData> got(adapter.GetImage());
  ASSERT_NE(got, nullptr);
  EXPECT_NE(got->GetBytes(), pixels.data());
  for (size_t i = 4; i < pixels.size(); ++i) EXPECT_EQ(got->GetBytes()[i], pixels[i]);
  EXPECT_EQ(got->GetBytes()[1], 7);
  EXPECT_EQ(got->GetBytesLength(), pixels.size());
  EXPECT_EQ(std::vector<int>({got->GetWidth(), got->GetHeight(), got->GetStride(),
                              got->GetImagePixelFormat(), got->GetOrientation()}),
            std::vector<int>({5, 2, 15, IPF_RGB_888, 180}));
  const auto* gotTag = dynamic_cast<const CVideoFrameTag*>(got->GetImageTag());
  ASSERT_NE(gotTag, nullptr);
  EXPECT_EQ(gotTag->GetImageId(), 42);
  EXPECT_EQ(gotTag->GetCropRegion()->right, 3);
}

// Producers and one consumer over real threads, optionally with a third thread that
// keeps changing the maximum (0 included) while they run. Each image's bytes must be
// freed exactly once, whether the consumer got the image or the buffer dropped it.
struct ThreadedRun {
  BufferOverflowProtectionMode mode;
  int maxCount;
  bool changingMaximum;
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
  adapter.StartFetching();
  std::atomic<int> producersLeft(kProducers);
  std::vector<std::thread> threads;
  for (int p = 0; p < kProducers; ++p) {
    threads.emplace_back([&, p] {
      for (int i = 0; i < kFramesEach; ++i) {
        const int id = p * kFramesEach + i;
        if (i % 2 == 0) {
          adapter.AddImageToBuffer(MakeImage(id), false);
        } else {
          // The copy gets its own bytes; the original is freed here, once.
          std::unique_ptr<CImageData> original(MakeImage(id));
          adapter.AddImageToBuffer(original.get(), true);
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
    EXPECT_EQ(BytesId(image->GetBytes()), id);  // not ASSERT: the threads must be joined
    delivered[id].fetch_add(1);
    ++gotCount;
    delete image;
  }
  for (auto& t : threads) t.join();
  EXPECT_TRUE(Drain(adapter).empty());
  for (int id = 0; id < kTotal; ++id) {
    ASSERT_LE(delivered[id].load(), 1) << id;
    ASSERT_EQ(g_freed[id].load(), 1) << id;  // one owner freed every image exactly once
  }
  // Blocking never drops an image while fetching, unless the maximum shrinks.
  if (run.mode == BOPM_BLOCK && !run.changingMaximum) {
    EXPECT_EQ(gotCount, kTotal);
  }
}

TEST(CImageSourceAdapter, ProducersAndConsumerInBothModes) {
  const ThreadedRun runs[] = {
      {BOPM_APPEND, 3, false},
      {BOPM_BLOCK, 2, false},
      {BOPM_APPEND, 1, true},
      {BOPM_BLOCK, 1, true},
  };
  for (const ThreadedRun& run : runs) {
    SCOPED_TRACE(testing::Message() << "mode " << run.mode << ", maximum " << run.maxCount
                                    << (run.changingMaximum ? ", changing" : ""));
    RunProducersAndConsumer(run);
  }
}

TEST(CImageSourceAdapter, StopFetchingAndGetImageReleaseBlockedProducers) {
  ResetFreed();
  TestAdapter adapter;
  adapter.SetBufferOverflowProtectionMode(BOPM_BLOCK);
  adapter.StartFetching();
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

// Colour frames made on producer threads become grey on the consumer's: handed over
// with new[] bytes, or copied by the adapter, they are converted in their own bytes,
// which the sanitizers watch cross threads. Every frame comes out once, correct.
TEST(CImageSourceAdapter, ColourFramesComeOutGreyAcrossThreads) {
  constexpr int kWidth = 37, kHeight = 5, kProducers = 2, kFramesEach = 300;
  // Channel c of pixel i of frame `id`; the grey oracle below is the published formula.
  auto channel = [](int id, int i, int c) {
    return static_cast<unsigned char>(id * (7 + 6 * c) + i * (1 + 2 * c) + c);
  };
  TestAdapter adapter;
  adapter.SetBufferOverflowProtectionMode(BOPM_BLOCK);
  adapter.SetMaxImageCount(3);
  adapter.SetColourChannelUsageType(CCUT_LUMINANCE_ONLY);
  adapter.StartFetching();
  std::vector<std::thread> producers;
  for (int p = 0; p < kProducers; ++p) {
    producers.emplace_back([&, p] {
      for (int n = 0; n < kFramesEach; ++n) {
        const int id = p * kFramesEach + n;
        const size_t length = 3u * kWidth * kHeight;
        auto* bytes = new unsigned char[length];
        for (size_t i = 0; i < length; ++i) bytes[i] = channel(id, static_cast<int>(i / 3), i % 3);
        CFileImageTag tag(nullptr, 0, 1);
        tag.SetImageId(id);
        std::unique_ptr<CImageData> frame(
            new CImageData(length, bytes, &CImageData::DeleteByteArray, kWidth, kHeight, 3 * kWidth,
                           IPF_RGB_888, 0, &tag));
        if (n % 2 == 0) {
          adapter.AddImageToBuffer(frame.release(), false);
        } else {
          adapter.AddImageToBuffer(frame.get(), true);
        }
      }
    });
  }
  std::vector<int> seen(kProducers * kFramesEach, 0);
  int wrong = 0;  // counted, not asserted: the producers must still be joined
  for (int got = 0; got < kProducers * kFramesEach;) {
    std::unique_ptr<CImageData> image(adapter.GetImage());
    if (image == nullptr) {
      std::this_thread::yield();
      continue;
    }
    ++got;
    const int id = IdOf(image.get());
    ++seen[id];
    bool right = image->GetImagePixelFormat() == IPF_GRAYSCALE && image->GetStride() == kWidth;
    for (int i = 0; right && i < kWidth * kHeight; ++i) {
      const uint32_t grey =
          (7424u * channel(id, i, 0) + 38550u * channel(id, i, 1) + 19562u * channel(id, i, 2)) >>
          16;
      right = image->GetBytes()[i] == grey;
    }
    if (!right) ++wrong;
  }
  for (auto& t : producers) t.join();
  EXPECT_EQ(wrong, 0);
  for (int count : seen) EXPECT_EQ(count, 1);
}

}  // namespace
}  // namespace basic_structures
}  // namespace norvane
