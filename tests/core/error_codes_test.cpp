#include "norvane/core/error_codes.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "norvane/core/core_module.h"

namespace {

TEST(TC_GetErrorString, KnownAndUnknownCodes) {
  EXPECT_STREQ(TC_GetErrorString(0), "Successful.");
  EXPECT_STREQ(TC_GetErrorString(-10000), "Unknown error.");
  EXPECT_STREQ(TC_GetErrorString(12345), "Unknown error.");
  EXPECT_STREQ(TC_GetErrorString(-10003), "Unknown error.");  // a gap in the table
  EXPECT_STREQ(TC_GetErrorString(-10002), "Null pointer.");
  EXPECT_STREQ(TC_GetErrorString(-10026), "Operation timeout.");
  EXPECT_STREQ(TC_GetErrorString(-10034), "The mandatory key \"Name\" is missing.");
  EXPECT_STREQ(TC_GetErrorString(-10036), "The template name invalid.");
  EXPECT_STREQ(TC_GetErrorString(-10071),
               "The pixel format of the input image does not meet the requirements.");
  EXPECT_STREQ(TC_GetErrorString(-50057), "The quardrilateral is invalid.");
  EXPECT_STREQ(TC_GetErrorString(-90005), "Failed to preprocess the full code string.");
  // The text comes from constant storage: the same pointer every time.
  EXPECT_EQ(TC_GetErrorString(-10002), TC_GetErrorString(-10002));
}

TEST(TC_Sqrt, IsTheLibrarySquareRoot) {
  EXPECT_DOUBLE_EQ(TC_Sqrt(25.0), 5.0);
  EXPECT_TRUE(std::isnan(TC_Sqrt(-1.0)));
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
  // Four dot-separated numbers, the last one of exactly five digits.
  std::vector<std::string> parts(1);
  for (char c : version) {
    if (c == '.') {
      parts.emplace_back();
    } else {
      ASSERT_TRUE(c >= '0' && c <= '9') << version;
      parts.back() += c;
    }
  }
  ASSERT_EQ(parts.size(), 4u) << version;
  for (const std::string& part : parts) EXPECT_FALSE(part.empty()) << version;
  EXPECT_EQ(parts[3].size(), 5u) << version;
  EXPECT_STREQ(norvane::basic_structures::CCoreModule::GetVersion(), TQ_GetLibVersion());
}

}  // namespace
