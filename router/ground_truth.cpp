#include "ground_truth.h"

#include <cctype>
#include <cerrno>
#include <cstdio>

#include "core/regular_file.h"

namespace capture {
namespace {

std::string Reduce(const std::string& text) {
  std::string out;
  for (unsigned char c : text) {
    if (std::isalnum(c) && c < 0x80) out += static_cast<char>(std::toupper(c));
  }
  return out;
}

bool AllDigits(const std::string& text) {
  for (unsigned char c : text) {
    if (!std::isdigit(c)) return false;
  }
  return !text.empty();
}

// The 12-digit UPC-A form of an 8-digit UPC-E code (number system, six digits, check).
std::string ExpandUpcE(const std::string& upce) {
  const std::string& d = upce;
  const std::string head = d.substr(0, 1), body = d.substr(1, 6), check = d.substr(7, 1);
  std::string middle;
  switch (body[5]) {
    case '0':
    case '1':
    case '2':
      middle = body.substr(0, 2) + body[5] + "0000" + body.substr(2, 3);
      break;
    case '3':
      middle = body.substr(0, 3) + "00000" + body.substr(3, 2);
      break;
    case '4':
      middle = body.substr(0, 4) + "00000" + body.substr(4, 1);
      break;
    default:
      middle = body.substr(0, 5) + "0000" + body[5];
      break;
  }
  return head + middle + check;
}

// The forms a UPC-E number may be written in: 8 digits, 12 or 13 digits.
std::vector<std::string> UpcEForms(const std::string& digits) {
  if (digits.size() == 8 && AllDigits(digits)) {
    const std::string expanded = ExpandUpcE(digits);
    return {digits, expanded, "0" + expanded};
  }
  return {digits};
}

bool IsCodabarGuard(char c) { return c >= 'A' && c <= 'D'; }

}  // namespace

ExpectedText ReadExpectedText(const std::string& imagePath) {
  ExpectedText expected;
  const size_t dot = imagePath.find_last_of('.');
  const size_t slash = imagePath.find_last_of('/');
  if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) return expected;
  const std::string path = imagePath.substr(0, dot) + ".txt";
  std::string reason;
  int openError = 0;
  if (norvane::internal::ReadRegularFile(path, kMaxExpectedTextBytes, &expected.text, &reason,
                                         &openError)) {
    expected.present = true;
  } else {
    expected.text.clear();
    // A missing file is the usual way of expecting nothing; anything else is named.
    if (openError != ENOENT) expected.problem = path + ": " + reason;
  }
  return expected;
}

bool CodeMatches(const std::string& expectedText, const DecodedCode& code) {
  const std::string expected = Reduce(expectedText);
  const std::string decoded = Reduce(code.text);
  if (expected.empty()) return false;
  if (decoded == expected) return true;
  const std::string format = Reduce(code.format);
  if (format == "CODABAR" && expected.size() >= 2 && IsCodabarGuard(expected.front()) &&
      IsCodabarGuard(expected.back())) {
    return decoded == expected.substr(1, expected.size() - 2);
  }
  if (format == "UPCE") {
    for (const std::string& a : UpcEForms(decoded)) {
      for (const std::string& b : UpcEForms(expected)) {
        if (a == b) return true;
      }
    }
  }
  return false;
}

bool FileRead(const ExpectedText& expected, const std::vector<DecodedCode>& codes) {
  if (!expected.present) return codes.empty();
  for (const DecodedCode& code : codes) {
    if (CodeMatches(expected.text, code)) return true;
  }
  return false;
}

void FolderScore::Add(const std::string& folder, bool read) {
  Count& count = folders_[folder];
  ++count.files;
  if (read) ++count.read;
}

FolderScore::Count FolderScore::total() const {
  Count sum;
  for (const auto& entry : folders_) {
    sum.files += entry.second.files;
    sum.read += entry.second.read;
  }
  return sum;
}

std::string FolderScore::Table() const {
  std::string table = "by folder: files read\n";
  char line[256];
  for (const auto& entry : folders_) {
    std::snprintf(line, sizeof(line), "  %-28s %5d %5d\n", entry.first.c_str(), entry.second.files,
                  entry.second.read);
    table += line;
  }
  return table;
}

std::string FolderOf(const std::string& root, const std::string& path) {
  std::string relative = path;
  if (path.compare(0, root.size(), root) == 0) {
    relative = path.substr(root.size());
    while (!relative.empty() && relative.front() == '/') relative.erase(0, 1);
  }
  const size_t slash = relative.find_last_of('/');
  return slash == std::string::npos ? "." : relative.substr(0, slash);
}

}  // namespace capture
