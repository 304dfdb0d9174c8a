#include "norvane/core/hash_algorithm.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "core/bkdr_hash.h"
#include "test_support/guarded_buffer.h"

namespace norvane {
namespace {

std::string HashText(const void* data, unsigned int length) {
  TQRef<TQArray<char>> text = TQHashAlgorithm::GenerateHash(data, length);
  EXPECT_EQ(text->GetLength(), std::strlen(text->GetData()) + 1);
  return text->GetData();
}

TEST(GenerateHash, KnownValues) {
  EXPECT_EQ(HashText(nullptr, 0), "BKDR_0");
  const unsigned char ff = 0xFF;  // -1 as a signed char: h = 0xFFFFFFFF, masked
  EXPECT_EQ(HashText(&ff, 1), "BKDR_2147483647");
  // 'a' * 31^2 + 'b' * 31 + 'c' = 97 * 961 + 98 * 31 + 99
  EXPECT_EQ(HashText("abc", 3), "BKDR_96354");
  EXPECT_EQ(HashText("abcd", 4), "BKDR_" + std::to_string(96354u * 31u + 100u));
}

using test_support::GuardedBuffer;

TEST(GenerateHash, FastKernelMatchesReferenceAroundStrideSteps) {
  std::mt19937 random(12345);
  const unsigned int sizes[] = {0,     1,     15,    16,     17,     31,     33,     4095,
                                4096,  4097,  32767, 32768,  32769,  65535,  65536,  65537,
                                98303, 98304, 98305, 131071, 131072, 200003, 1000003};
  for (unsigned int size : sizes) {
    // Random bytes, then all 0xFF, which exercises the sign extension on every lane.
    for (bool ones : {false, true}) {
      GuardedBuffer buffer(size);
      for (unsigned int i = 0; i < size; ++i)
        buffer.data()[i] = ones ? 0xFF : static_cast<unsigned char>(random());
      const uint32_t expected = internal::BkdrHashReference(buffer.data(), size);
      EXPECT_EQ(internal::BkdrHash(buffer.data(), size), expected) << size << " " << ones;
      EXPECT_EQ(internal::BkdrHashBaseline(buffer.data(), size), expected) << size << " " << ones;
    }
  }
}

TEST(GenerateHash, SamplesEverySecondByteFrom32KiB) {
  std::vector<unsigned char> data(40000, 1);
  const std::string before = HashText(data.data(), 40000);
  data[1] = 2;  // an odd offset is skipped at this size
  EXPECT_EQ(HashText(data.data(), 40000), before);
  data[2] = 2;
  EXPECT_NE(HashText(data.data(), 40000), before);
}

}  // namespace
}  // namespace norvane
