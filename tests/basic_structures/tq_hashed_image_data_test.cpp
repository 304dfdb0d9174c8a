#include "norvane/basic_structures/tq_hashed_image_data.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace norvane {
namespace basic_structures {
namespace {

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
  std::set<std::string> seen;
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
    seen.insert(id);
  }
  EXPECT_EQ(seen.size(), 200u);  // random images, in practice all different

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

TEST(TQHashedImageData, CountedLifetimeFreesAdoptedBytes) {
  static int freed = 0;
  auto deleter = [](const unsigned char* b) { ++freed, delete[] b; };
  {
    TQRef<TQImageData> ref(
        new TQHashedImageData(16, new unsigned char[16](), deleter, 4, 4, 4, IPF_GRAYSCALE));
    TQRef<TQImageData> second = ref;
    ref = nullptr;
    EXPECT_EQ(freed, 0);
  }
  EXPECT_EQ(freed, 1);
}

}  // namespace
}  // namespace basic_structures
}  // namespace norvane
