#include "norvane/core/hash_algorithm.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <regex>
#include <string>
#include <utility>
#include <vector>

#include "core/bkdr_hash.h"
#include "norvane/core/core_module.h"
#include "norvane/core/error_codes.h"
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

// ---- Error texts, owned C strings and the version.

TEST(TC_GetErrorString, KnownAndUnknownCodes) {
  // -10003 is a gap in the table.
  const std::pair<int, const char*> known[] = {
      {0, "Successful."},
      {-10000, "Unknown error."},
      {12345, "Unknown error."},
      {-10003, "Unknown error."},
      {-10002, "Null pointer."},
      {-10026, "Operation timeout."},
      {-10034, "The mandatory key \"Name\" is missing."},
      {-10036, "The template name invalid."},
      {-10071, "The pixel format of the input image does not meet the requirements."},
      {-50057, "The quardrilateral is invalid."},
      {-90005, "Failed to preprocess the full code string."}};
  for (const auto& k : known) EXPECT_STREQ(TC_GetErrorString(k.first), k.second) << k.first;
  // The text comes from constant storage: the same pointer every time.
  EXPECT_EQ(TC_GetErrorString(-10002), TC_GetErrorString(-10002));
}

TEST(TQ_CopyCharArray, CopiesReplacesAndFrees) {
  char* text = nullptr;
  TQ_CopyCharArray("hello", &text);
  ASSERT_NE(text, nullptr);
  EXPECT_STREQ(text, "hello");

  char* previous = text;
  TQ_CopyCharArray(nullptr, &text);  // null source leaves the old string alone
  EXPECT_EQ(text, previous);
  TQ_CopyCharArray("x", nullptr);

  TQ_CopyCharArray("", &text);  // frees the old one (AddressSanitizer checks the leak)
  ASSERT_NE(text, nullptr);
  EXPECT_EQ(text[0], '\0');

  TQ_DeleteCharArray(&text);
  EXPECT_EQ(text, nullptr);
  TQ_DeleteCharArray(&text);
  TQ_DeleteCharArray(nullptr);
}

TEST(TQ_GetLibVersion, FourNumbersWithFiveDigitBuild) {
  const std::string version = TQ_GetLibVersion();
  EXPECT_TRUE(std::regex_match(version, std::regex("[0-9]+\\.[0-9]+\\.[0-9]+\\.[0-9]{5}")))
      << version;
  EXPECT_STREQ(basic_structures::CCoreModule::GetVersion(), TQ_GetLibVersion());
}

}  // namespace
}  // namespace norvane
