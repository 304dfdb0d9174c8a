#include "norvane/basic_structures/image_source_adapter_c.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "basic_structures/callback_image_source_adapter.h"
#include "norvane/basic_structures/pixel_conversion.h"
#include "norvane/core/error_codes.h"

namespace norvane {
namespace basic_structures {
// The names C callers use are the C++ enumerations' values, frozen.
namespace bs = norvane::basic_structures;
#define SAME(c, cpp) static_assert(static_cast<int>(c) == static_cast<int>(bs::cpp), #c)
SAME(TXP_IPF_BINARY, IPF_BINARY);
SAME(TXP_IPF_BINARY_INVERTED, IPF_BINARY_INVERTED);
SAME(TXP_IPF_GRAYSCALE, IPF_GRAYSCALE);
SAME(TXP_IPF_NV21, IPF_NV21);
SAME(TXP_IPF_RGB_565, IPF_RGB_565);
SAME(TXP_IPF_RGB_555, IPF_RGB_555);
SAME(TXP_IPF_RGB_888, IPF_RGB_888);
SAME(TXP_IPF_ARGB_8888, IPF_ARGB_8888);
SAME(TXP_IPF_RGB_161616, IPF_RGB_161616);
SAME(TXP_IPF_ARGB_16161616, IPF_ARGB_16161616);
SAME(TXP_IPF_ABGR_8888, IPF_ABGR_8888);
SAME(TXP_IPF_ABGR_16161616, IPF_ABGR_16161616);
SAME(TXP_IPF_BGR_888, IPF_BGR_888);
SAME(TXP_IPF_BINARY_8, IPF_BINARY_8);
SAME(TXP_IPF_NV12, IPF_NV12);
SAME(TXP_IPF_BINARY_8_INVERTED, IPF_BINARY_8_INVERTED);
SAME(TXP_ICDM_UNKNOWN, ICDM_UNKNOWN);
SAME(TXP_ICDM_NEAR, ICDM_NEAR);
SAME(TXP_ICDM_FAR, ICDM_FAR);
SAME(TXP_VFQ_UNKNOWN, VFQ_UNKNOWN);
SAME(TXP_VFQ_HIGH, VFQ_HIGH);
SAME(TXP_VFQ_LOW, VFQ_LOW);
SAME(TXP_BOPM_BLOCK, BOPM_BLOCK);
SAME(TXP_BOPM_APPEND, BOPM_APPEND);
SAME(TXP_CCUT_AUTO, CCUT_AUTO);
SAME(TXP_CCUT_FULL_COLOUR, CCUT_FULL_COLOUR);
SAME(TXP_CCUT_LUMINANCE_ONLY, CCUT_LUMINANCE_ONLY);
#undef SAME

namespace {

using internal::CallbackImageSourceAdapter;

class CountingAdapter : public CImageSourceAdapter {
 public:
  bool HasNextImageToFetch() const override { return true; }
  void StartFetching() override {
    ++starts;
    CImageSourceAdapter::StartFetching();
  }
  int starts = 0;
};

TEST(ImageSourceAdapterC, TagRecordsConvertBothWaysWithoutLoss) {
  const TXP_Rect crop = {-3, 4, 500, 600};
  TXP_ImageTag records[3] = {};
  records[0].type = 0;
  records[0].imageId = 77;
  records[0].imageCaptureDistanceMode = 2;
  records[0].filePath = "dir/scan 1.tif";
  records[0].pageNumber = 3;
  records[0].totalPages = 9;
  records[1].type = 1;
  records[1].imageId = -5;
  records[1].imageCaptureDistanceMode = 1;
  records[1].videoFrameQuality = 2;
  records[1].isCropped = 1;
  records[1].cropRegion = &crop;
  records[1].originalWidth = 1920;
  records[1].originalHeight = 1080;
  records[2] = records[1];
  records[2].cropRegion = nullptr;  // a cropped frame without a rectangle stays so
  records[2].isCropped = 0;
  // The fields a record of each type carries, as one comparable list.
  auto fields = [](const TXP_ImageTag& t) {
    std::vector<long long> v = {t.type, t.imageId, t.imageCaptureDistanceMode};
    if (t.type == 0) {
      v.insert(v.end(), {t.pageNumber, t.totalPages});
    } else {
      v.insert(v.end(), {t.videoFrameQuality, t.isCropped, t.originalWidth, t.originalHeight,
                         t.cropRegion != nullptr});
      if (t.cropRegion != nullptr) {
        v.insert(v.end(), {t.cropRegion->left, t.cropRegion->top, t.cropRegion->right,
                           t.cropRegion->bottom});
      }
    }
    return v;
  };
  for (const TXP_ImageTag& in : records) {
    std::unique_ptr<CImageTag> tag(internal::TagFromRecord(&in));
    ASSERT_NE(tag, nullptr);
    TXP_ImageTag out;
    TXP_Rect outCrop;
    internal::TagToRecord(*tag, &out, &outCrop);
    EXPECT_EQ(fields(out), fields(in));
    if (in.type == 0) {
      const char* path = in.filePath;  // a packed member cannot be bound to a reference
      EXPECT_STREQ(out.filePath, path);
    }
  }
  TXP_ImageTag unknown = {};
  unknown.type = 2;
  EXPECT_EQ(internal::TagFromRecord(&unknown), nullptr);
  EXPECT_EQ(internal::TagFromRecord(nullptr), nullptr);
}

TEST(ImageSourceAdapterC, DelegateReceivesForwardedCalls) {
  TXP_ImageSourceAdapterHandle* handle =
      TXP_ISA_CreateBaseImageSourceAdapter([](void*) { return false; }, nullptr);
  ASSERT_NE(handle, nullptr);
  EXPECT_EQ(handle->reserved, 0);
  TXP_ImageSourceAdapter* adapter = handle->adapter;
  CountingAdapter delegate;
  reinterpret_cast<CallbackImageSourceAdapter*>(adapter)->SetDelegate(&delegate);

  EXPECT_TRUE(TXP_ISA_HasNextImageToFetch(adapter));  // the delegate's answer
  EXPECT_EQ(TXP_ISA_StartFetching(adapter), 0);
  EXPECT_EQ(TXP_ISA_NativeStartFetching(adapter), 0);
  EXPECT_EQ(delegate.starts, 2);
  EXPECT_EQ(TXP_ISA_SetMaxImageCount(adapter, 4), 0);
  EXPECT_EQ(delegate.GetMaxImageCount(), 4);
  EXPECT_EQ(TXP_ISA_GetMaxImageCount(adapter), 4);

  // Mode and colour usage stay with the adapter itself.
  EXPECT_EQ(TXP_ISA_SetBufferOverflowProtectionMode(adapter, 0), 0);
  EXPECT_EQ(delegate.GetBufferOverflowProtectionMode(), BOPM_APPEND);
  EXPECT_EQ(TXP_ISA_GetBufferOverflowProtectionMode(adapter), 0);

  const unsigned char pixels[4] = {9, 8, 7, 6};
  CFileImageTag tag("f", 0, 1);
  tag.SetImageId(12);
  delegate.AddImageToBuffer(new CImageData(4, pixels, 2, 2, 2, IPF_GRAYSCALE, 0, &tag), false);
  EXPECT_TRUE(TXP_ISA_HasImage(adapter, 12));
  EXPECT_EQ(TXP_ISA_GetImageCount(adapter), 1);
  EXPECT_FALSE(TXP_ISA_IsBufferEmpty(adapter));
  TXP_ImageData* record = TXP_ISA_NativeGetImage(adapter);
  ASSERT_NE(record, nullptr);
  EXPECT_EQ(std::memcmp(record->bytes, pixels, 4), 0);
  EXPECT_EQ(record->tag->imageId, 12);
  EXPECT_STREQ(record->tag->filePath, "f");
  record->release(record, record->userData);
  EXPECT_TRUE(delegate.IsBufferEmpty());

  TXP_ISA_DestroyBaseImageSourceAdapter(handle);  // the delegate is not owned
  EXPECT_EQ(delegate.GetMaxImageCount(), 4);
}

int g_lastError = 0;
std::string g_lastMessage;

TEST(ImageSourceAdapterC, ErrorListenerForwardsToItsCallback) {
  TXP_ImageSourceErrorListener* listener =
      TXP_IEL_CreateImageSourceErrorListener([](int code, const char* message) {
        g_lastError = code;
        g_lastMessage = message;
      });
  TXP_ImageSourceAdapterHandle* handle =
      TXP_ISA_CreateBaseImageSourceAdapter([](void*) { return true; }, nullptr);
  TXP_ISA_SetErrorListener(handle->adapter, nullptr);  // ignored
  TXP_ISA_SetErrorListener(handle->adapter, listener);
  CImageSourceErrorListener* held =
      reinterpret_cast<CImageSourceAdapter*>(handle->adapter)->GetErrorListener();
  ASSERT_NE(held, nullptr);
  held->OnErrorReceived(EC_TIMEOUT, "Operation timeout.");
  EXPECT_EQ(g_lastError, EC_TIMEOUT);
  EXPECT_EQ(g_lastMessage, "Operation timeout.");
  TXP_ISA_DestroyBaseImageSourceAdapter(handle);
  TXP_IEL_DestroyImageSourceErrorListener(listener);
  TXP_IEL_DestroyImageSourceErrorListener(nullptr);
  TXP_ISA_DestroyBaseImageSourceAdapter(nullptr);

  // A listener without a callback swallows errors.
  TXP_ImageSourceErrorListener* mute = TXP_IEL_CreateImageSourceErrorListener(nullptr);
  reinterpret_cast<CImageSourceErrorListener*>(mute)->OnErrorReceived(-1, "");
  TXP_IEL_DestroyImageSourceErrorListener(mute);
}

// The maximum flips between 0 and 1 while producers add records and a consumer takes
// them, in both overflow modes. Every record handed in comes back through its
// release function once; the copies the buffer drops or hands out are freed once
// (the sanitizers see to that).
TEST(ImageSourceAdapterC, MaximumChangingUnderProducersAndConsumer) {
  constexpr int kProducers = 2;
  constexpr int kRecordsEach = 4000;
  for (int mode : {1, 0}) {
    SCOPED_TRACE(mode);
    TXP_ImageSourceAdapterHandle* handle =
        TXP_ISA_CreateBaseImageSourceAdapter([](void*) { return true; }, nullptr);
    ASSERT_NE(handle, nullptr);
    TXP_ImageSourceAdapter* adapter = handle->adapter;
    EXPECT_EQ(TXP_ISA_SetBufferOverflowProtectionMode(adapter, mode), 0);
    EXPECT_EQ(TXP_ISA_StartFetching(adapter), 0);
    std::atomic<int> released(0);
    std::atomic<int> failedAdds(0);
    std::atomic<int> producersLeft(kProducers);
    std::vector<std::thread> threads;
    for (int p = 0; p < kProducers; ++p) {
      threads.emplace_back([&] {
        const unsigned char pixels[6] = {1, 2, 3, 4, 5, 6};
        for (int i = 0; i < kRecordsEach; ++i) {
          TXP_ImageData* record = TXP_CreateImageData(
              sizeof(pixels), pixels, 3, 2, 3, 2, 0, nullptr, &released,
              [](TXP_ImageData* r, void* counter) {
                static_cast<std::atomic<int>*>(counter)->fetch_add(1);
                TXP_DestoryImageData(r);
              });
          if (TXP_ISA_AddImageToBuffer(adapter, record) != 0) failedAdds.fetch_add(1);
        }
        producersLeft.fetch_sub(1);
      });
    }
    threads.emplace_back([&] {
      // A producer blocked on a maximum of 0 is let in by the next change.
      for (int n = 0; producersLeft.load() > 0; ++n) TXP_ISA_SetMaxImageCount(adapter, n & 1);
    });
    int wrong = 0;  // records handed out whose pixels are not the ones added
    while (producersLeft.load() > 0 || !TXP_ISA_IsBufferEmpty(adapter)) {
      TXP_ImageData* record = TXP_ISA_GetImage(adapter);
      if (record == nullptr) {
        std::this_thread::yield();
        continue;
      }
      wrong += std::memcmp(record->bytes, "\1\2\3\4\5\6", 6) == 0 ? 0 : 1;
      record->release(record, record->userData);
    }
    for (auto& t : threads) t.join();
    EXPECT_EQ(failedAdds.load(), 0);
    EXPECT_EQ(released.load(), kProducers * kRecordsEach);
    EXPECT_EQ(wrong, 0);
    TXP_ISA_DestroyBaseImageSourceAdapter(handle);
  }
}

// One thread swaps the callbacks while another calls through them: every call sees a
// function together with the user data set with it.
TEST(ImageSourceAdapterC, CallbacksSwappedWhileInUse) {
  static int a = 0, b = 0;
  const TXP_ISA_HasNextImageToFetchFunc isA = [](void* data) { return data == &a; };
  const TXP_ISA_HasNextImageToFetchFunc isB = [](void* data) { return data == &b; };
  TXP_ImageSourceAdapterHandle* handle = TXP_ISA_CreateBaseImageSourceAdapter(isA, &a);
  ASSERT_NE(handle, nullptr);
  TXP_ImageSourceAdapter* adapter = handle->adapter;
  std::atomic<bool> done(false);
  std::thread swapper([&] {
    for (int n = 0; !done.load(); ++n) {
      TXP_ISA_SetBaseImageSourceAdapterFunc(adapter, nullptr, nullptr, nullptr, nullptr, nullptr,
                                            nullptr, nullptr, nullptr, n % 2 ? isB : isA,
                                            n % 2 ? &b : &a);
    }
  });
  int mixed = 0;
  for (int i = 0; i < 20000; ++i) mixed += TXP_ISA_HasNextImageToFetch(adapter) ? 0 : 1;
  done.store(true);
  swapper.join();
  EXPECT_EQ(mixed, 0);
  // No start callback is set: fetching starts in the buffer itself.
  EXPECT_EQ(TXP_ISA_StartFetching(adapter), 0);
  TXP_ISA_DestroyBaseImageSourceAdapter(handle);
}

}  // namespace
}  // namespace basic_structures
}  // namespace norvane
