#include "norvane/core/error_codes.h"

#include <gtest/gtest.h>

#include <regex>
#include <string>
#include <utility>

#include "norvane/core/core_module.h"

namespace {

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
  EXPECT_STREQ(norvane::basic_structures::CCoreModule::GetVersion(), TQ_GetLibVersion());
}

}  // namespace
