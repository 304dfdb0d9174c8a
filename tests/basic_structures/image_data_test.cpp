#include "norvane/basic_structures/image_data.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <vector>

#include "norvane/basic_structures/image_data_c.h"
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
  EXPECT_EQ(g_freed, 1);

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

}  // namespace
}  // namespace basic_structures
}  // namespace norvane
