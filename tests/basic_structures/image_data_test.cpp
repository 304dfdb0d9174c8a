#include "norvane/basic_structures/image_data.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "norvane/basic_structures/image_data_c.h"
#include "norvane/basic_structures/tq_hashed_image_data.h"
#include "norvane/basic_structures/tq_image_data.h"

namespace norvane {
namespace basic_structures {
namespace {

int g_freed = 0;
void CountingDelete(const unsigned char* bytes) {
  ++g_freed;
  delete[] bytes;
}

TEST(CImageData, OwnershipOfBytesAndTag) {
  const unsigned char pixels[6] = {1, 2, 3, 4, 5, 6};
  CFileImageTag tag("scan.png", 2, 5);
  tag.SetImageId(17);
  {
    CImageData copy(6, pixels, 3, 2, 3, IPF_GRAYSCALE, 90, &tag);
    ASSERT_NE(copy.GetBytes(), pixels);
    EXPECT_EQ(std::memcmp(copy.GetBytes(), pixels, 6), 0);
    ASSERT_NE(copy.GetImageTag(), nullptr);
    EXPECT_NE(copy.GetImageTag(), &tag);
    EXPECT_EQ(copy.GetImageTag()->GetImageId(), 17);
    CImageData none(100, nullptr, 10, 10, 10, IPF_GRAYSCALE);  // nothing to copy, nothing freed
    EXPECT_EQ(none.GetBytes(), nullptr);
  }
  g_freed = 0;
  { CImageData adopted(4, new unsigned char[4](), &CountingDelete, 2, 2, 2, IPF_GRAYSCALE); }
  { CImageData borrowed(6, pixels, nullptr, 3, 2, 3, IPF_GRAYSCALE); }
  {  // A counted hashed image frees adopted bytes once, with its last reference.
    TQRef<TQImageData> ref(
        new TQHashedImageData(4, new unsigned char[4](), &CountingDelete, 2, 2, 2, IPF_GRAYSCALE));
    TQRef<TQImageData> second = ref;
    ref = nullptr;
    EXPECT_EQ(g_freed, 1);
  }
  EXPECT_EQ(g_freed, 2);

  // SetImageTag clones, keeps the tag it already holds, replaces and removes.
  CImageData image;
  CVideoFrameTag video(VFQ_HIGH, true, nullptr, 640, 480);
  image.SetImageTag(&video);
  const CImageTag* held = image.GetImageTag();
  ASSERT_NE(held, nullptr);
  EXPECT_EQ(held->GetType(), 1);
  image.SetImageTag(held);
  EXPECT_EQ(image.GetImageTag(), held);
  image.SetImageTag(&tag);
  EXPECT_EQ(image.GetImageTag()->GetType(), 0);
  image.SetImageTag(nullptr);
  EXPECT_EQ(image.GetImageTag(), nullptr);
}

TEST(CImageTag, ClonesAreDeepAndKeepEveryField) {
  CFileImageTag file("a/b.tif", 3, 7);
  file.SetImageId(5);
  file.SetImageCaptureDistanceMode(ICDM_FAR);
  std::unique_ptr<CImageTag> fileClone(file.Clone());
  const auto* f = static_cast<const CFileImageTag*>(fileClone.get());
  EXPECT_STREQ(f->GetFilePath(), "a/b.tif");
  EXPECT_NE(f->GetFilePath(), file.GetFilePath());
  EXPECT_EQ(std::vector<int>({f->GetPageNumber(), f->GetTotalPages(), f->GetImageId(),
                              f->GetImageCaptureDistanceMode()}),
            std::vector<int>({3, 7, 5, ICDM_FAR}));

  const CRect crop(1, 2, 30, 40);
  CVideoFrameTag video(VFQ_LOW, true, &crop, 1920, 1080);
  video.SetImageId(9);
  std::unique_ptr<CImageTag> videoClone(video.Clone());
  const auto* v = static_cast<const CVideoFrameTag*>(videoClone.get());
  ASSERT_NE(v->GetCropRegion(), nullptr);
  EXPECT_NE(v->GetCropRegion(), video.GetCropRegion());
  EXPECT_EQ(std::vector<int>({v->GetCropRegion()->right, v->IsCropped(), v->GetVideoFrameQuality(),
                              v->GetOriginalHeight(), v->GetImageId()}),
            std::vector<int>({30, 1, VFQ_LOW, 1080, 9}));
}

TEST(TQImageData, InnerImagesAndWrappers) {
  TQImageDataInner owned(3, 2, 4, IPF_GRAYSCALE);
  EXPECT_EQ(owned.GetBytesLength(), 8u);
  EXPECT_EQ(owned.GetBytes()[7], 0);
  owned.GetBytes()[7] = 9;
  unsigned char caller[8] = {};
  { TQImageDataInner borrowed(caller, 3, 2, 4, IPF_GRAYSCALE); }  // must not free caller's bytes

  CFileImageTag tag("x", 0, 1);
  TQRef<CImageDataWrapper> wrapper(
      new CImageDataWrapper(new CImageData(8, owned.GetBytes(), 3, 2, 4, IPF_GRAYSCALE, 0, &tag)));
  TQRef<CImageDataWrapper> deep(wrapper->DeepCopy());
  ASSERT_NE(deep->GetImageData(), nullptr);
  EXPECT_NE(deep->GetImageData()->GetBytes(), wrapper->GetImageData()->GetBytes());
  EXPECT_EQ(deep->GetImageData()->GetBytes()[7], 9);
  EXPECT_NE(deep->GetImageData()->GetImageTag(), wrapper->GetImageData()->GetImageTag());
  TQRef<CImageDataWrapper> empty(new CImageDataWrapper(nullptr));
  EXPECT_EQ(TQRef<CImageDataWrapper>(empty->DeepCopy())->GetImageData(), nullptr);
}

TEST(TXP_CreateImageData, FillsRecordAndDefaultReleaseFreesOnlyTheRecord) {
  unsigned char bytes[4] = {1, 2, 3, 4};
  TXP_ImageData* record =
      TXP_CreateImageData(4, bytes, 2, 2, 2, IPF_GRAYSCALE, 180, nullptr, bytes, nullptr);
  ASSERT_NE(record, nullptr);
  EXPECT_EQ(record->bytes, bytes);
  EXPECT_EQ(record->orientation, 180);
  // Packed members are read by value: on 64-bit hosts the pointers are unaligned.
  void* userData = record->userData;
  TXP_ImageDataReleaseFunc release = record->release;
  EXPECT_EQ(userData, bytes);
  ASSERT_NE(release, nullptr);
  release(record, userData);  // frees the record, not the bytes; AddressSanitizer checks
  TXP_DestoryImageData(nullptr);
}

// The id text computed the slow, obvious way, for buffers read byte by byte.
std::string SlowId(const std::vector<unsigned char>& bytes) {
  uint32_t h = 0;
  for (unsigned char b : bytes) {
    h = h * 31u + static_cast<uint32_t>(static_cast<int32_t>(static_cast<signed char>(b)));
  }
  return "BKDR_" + std::to_string(h & 0x7FFFFFFFu);
}

std::string IdOf(TQHashedImageData& image) {
  image.CalcHashID();
  EXPECT_TRUE(image.GetIdStruct().isSet);
  return image.GetIdStruct().GetValue();
}

TEST(TQHashedImageData, IdFollowsTheBytesOnly) {
  std::mt19937 rng(7);
  for (int round = 0; round < 200; ++round) {
    const int width = 1 + static_cast<int>(rng() % 40), height = 1 + static_cast<int>(rng() % 20);
    std::vector<unsigned char> bytes(static_cast<size_t>(width) * height);
    for (auto& b : bytes) b = static_cast<unsigned char>(rng());

    TQHashedImageData copied(bytes.size(), bytes.data(), width, height, width, IPF_GRAYSCALE);
    // Same buffer, other geometry, format, orientation and tag: same id.
    CFileImageTag tag("page.tif", 1, 2);
    TQHashedImageData borrowed(bytes.size(), bytes.data(), nullptr, height, width, height,
                               IPF_BINARY_8, 90, &tag);
    const std::string id = IdOf(copied);
    EXPECT_EQ(id, SlowId(bytes));
    EXPECT_EQ(IdOf(borrowed), id);
  }

  TQHashedImageData empty(100, nullptr, 10, 10, 10, IPF_GRAYSCALE);
  EXPECT_EQ(IdOf(empty), "BKDR_0");
}

TEST(TQHashedImageData, IdIsComputedOnceEvenWhenAskedConcurrently) {
  // Large enough to be sampled, so each computation takes a while.
  std::vector<unsigned char> bytes(1 << 20);
  for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<unsigned char>(i * 131u >> 3);
  TQHashedImageData image(bytes.size(), bytes.data(), 1024, 1024, 1024, IPF_GRAYSCALE);
  std::vector<std::string> ids(4);
  std::vector<std::thread> threads;
  for (auto& id : ids) {
    threads.emplace_back([&image, &id] {
      image.CalcHashID();
      id = image.GetIdStruct().GetValue();
    });
  }
  for (auto& t : threads) t.join();
  for (const auto& id : ids) EXPECT_EQ(id, ids[0]);
  EXPECT_EQ(ids[0].compare(0, 5, "BKDR_"), 0);

  // A set id is kept, as the object base's contract has it.
  image.GetIdStruct().SetValue("kept");
  image.CalcHashID();
  EXPECT_EQ(image.GetIdStruct().GetValue(), "kept");
}

}  // namespace
}  // namespace basic_structures
}  // namespace norvane
