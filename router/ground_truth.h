// Scoring of read codes against the expected texts kept beside sample images
// (NAME.txt next to NAME.png). Shared by norvane-capture and the decoder-alone
// benchmark so that both count a file as read by the same rule:
//  - a decoded text equals the expected text once both are reduced to upper-case
//    letters and digits;
//  - for Codabar, the expected text's start and stop letters may be left out;
//  - a UPC-E code may be given in its 8-digit form or expanded to 12 or 13 digits;
//  - a file without an expected text counts as read when nothing is decoded.
#ifndef NORVANE_ROUTER_GROUND_TRUTH_H_
#define NORVANE_ROUTER_GROUND_TRUTH_H_

#include <map>
#include <string>
#include <vector>

namespace capture {

struct DecodedCode {
  std::string format;  // the decoder's name of the symbology ("UPC-E", "Codabar", ...)
  std::string text;
};

// The expected text of an image file: the content of the .txt file beside it, and
// whether there is one. Only a regular file of at most kMaxExpectedTextBytes is
// read, without ever blocking (a FIFO, a link to /dev/zero, a huge file); such a
// file counts as no expected text, and `problem` names it with the reason for the
// caller to report. A missing file is no problem.
constexpr size_t kMaxExpectedTextBytes = 64 << 10;
struct ExpectedText {
  bool present = false;
  std::string text;
  std::string problem;  // "PATH.txt: reason", or empty
};
ExpectedText ReadExpectedText(const std::string& imagePath);

// Whether one decoded code reads `expected`.
bool CodeMatches(const std::string& expected, const DecodedCode& code);

// Whether a file counts as read: one of `codes` reads the expected text, or nothing
// was decoded where no text is expected.
bool FileRead(const ExpectedText& expected, const std::vector<DecodedCode>& codes);

// Files read per folder (the image's directory relative to the input root).
class FolderScore {
 public:
  struct Count {
    int files = 0;
    int read = 0;
  };
  void Add(const std::string& folder, bool read);
  const std::map<std::string, Count>& folders() const { return folders_; }
  Count total() const;
  // One line per folder, "  FOLDER  FILES  READ", after a heading line.
  std::string Table() const;

 private:
  std::map<std::string, Count> folders_;
};

// The folder of `path` below `root` ("." for files directly in it).
std::string FolderOf(const std::string& root, const std::string& path);

}  // namespace capture

#endif  // NORVANE_ROUTER_GROUND_TRUTH_H_
