// The router's files that a user or another program may have replaced: the expected
// text beside an image, read on the router's thread, and the image logs it writes.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "ground_truth.h"
#include "image_io.h"
#include "test_support/occupied_name.h"
#include "test_support/temp_dir.h"

namespace capture {
namespace {

using norvane::testing_util::TempDir;
using norvane::testing_util::WriteFile;

void Sparse(const std::string& path, off_t size) {
  WriteFile(path, "");
  ASSERT_EQ(truncate(path.c_str(), size), 0);
}

// Each row puts something at NAME.txt beside NAME.png. What is read must be exactly
// the file's content, up to the limit; anything else is no expected text, named with
// its reason, and never blocks (a FIFO without a writer) or runs on (/dev/zero).
TEST(ExpectedText, OnlyRegularFilesUpToTheLimitAreRead) {
  TempDir dir;
  const std::string full(kMaxExpectedTextBytes, '7');
  struct Row {
    const char* name;
    std::function<void(const std::string& txt)> make;
    bool present;
    std::string text;
    const char* problem;  // a part of the reason; null when none is given
  };
  const std::vector<Row> rows = {
      {"normal", [](const std::string& p) { WriteFile(p, "EAN 4006381333931\n"); }, true,
       "EAN 4006381333931\n", nullptr},
      {"missing", [](const std::string&) {}, false, "", nullptr},
      {"empty", [](const std::string& p) { WriteFile(p, ""); }, true, "", nullptr},
      {"at-limit", [&](const std::string& p) { WriteFile(p, full); }, true, full, nullptr},
      {"above-limit", [&](const std::string& p) { WriteFile(p, full + "7"); }, false, "",
       "larger than"},
      {"huge", [](const std::string& p) { Sparse(p, 300 << 20); }, false, "", "larger than"},
      {"fifo", [](const std::string& p) { mkfifo(p.c_str(), 0600); }, false, "",
       "not a regular file"},
      {"zero", [](const std::string& p) { std::filesystem::create_symlink("/dev/zero", p); }, false,
       "", "not a regular file"},
      {"linked",
       [&](const std::string& p) {
         WriteFile(dir / "target", "QR");
         std::filesystem::create_symlink(dir / "target", p);
       },
       true, "QR", nullptr},
      {"folder", [](const std::string& p) { std::filesystem::create_directory(p); }, false, "",
       "a directory"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    row.make(dir / (std::string(row.name) + ".txt"));
    const ExpectedText expected = ReadExpectedText(dir / (std::string(row.name) + ".png"));
    EXPECT_EQ(expected.present, row.present);
    EXPECT_EQ(expected.text, row.text);
    if (row.problem == nullptr) {
      EXPECT_EQ(expected.problem, "");
    } else {
      EXPECT_NE(expected.problem.find(dir / (std::string(row.name) + ".txt: ")), std::string::npos)
          << expected.problem;
      EXPECT_NE(expected.problem.find(row.problem), std::string::npos) << expected.problem;
      // Scored as an image without expected text.
      EXPECT_TRUE(FileRead(expected, {}));
      EXPECT_FALSE(FileRead(expected, {{"QRCode", "7"}}));
    }
  }
}

// An image log goes only into a regular file; a FIFO, a link or a directory under
// its name gets nothing and stays.
TEST(ImageLog, WrittenOnlyToARegularFile) {
  TempDir dir;
  const unsigned char pixels[8 * 6] = {};
  const norvane::basic_structures::CImageData grey(sizeof(pixels), pixels, 8, 6, 8,
                                                   norvane::basic_structures::IPF_GRAYSCALE);
  LogPicture picture;
  picture.grey = &grey;
  picture.outlines.push_back({{1, 1}, {6, 1}, {6, 4}, {1, 4}});
  for (norvane::testing_util::Occupant occupant : norvane::testing_util::kOccupants) {
    SCOPED_TRACE(Describe(occupant));
    const std::string path = dir / (std::string(Describe(occupant)) + "/frame_0000.png");
    norvane::testing_util::OccupiedName name(path, occupant);
    EXPECT_EQ(WriteLogPicturePng(&picture, path.c_str()),
              occupant == norvane::testing_util::Occupant::kRegularFile);
    EXPECT_EQ(name.Intrusion(), "");
    if (occupant != norvane::testing_util::Occupant::kRegularFile) continue;
    // Read back: the grey frame with the outline drawn in red (R, G, B in memory).
    const ImageFile file = ReadImageFile(path, 0, kDefaultMaxPixels);
    ASSERT_NE(file.image, nullptr) << file.error;
    const std::unique_ptr<norvane::basic_structures::CImageData> image(file.image);
    ASSERT_EQ(image->GetWidth() * 10 + image->GetHeight(), 86);
    const auto pixel = [&](int x, int y) {
      const unsigned char* p = image->GetBytes() + y * image->GetStride() + x * 3;
      return std::vector<int>{p[0], p[1], p[2]};
    };
    EXPECT_EQ(pixel(3, 1), (std::vector<int>{255, 0, 0}));
    EXPECT_EQ(pixel(3, 3), (std::vector<int>{0, 0, 0}));
  }
}

}  // namespace
}  // namespace capture
