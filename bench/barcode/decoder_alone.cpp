// decoder_alone: the barcode decoder on its own, the baseline the project's barcode
// module is compared against (scripts/barcode-compare.sh runs both). Every image file
// below DIR is read, made grey and decoded whole, once, with the decoder's default
// hints, and scored by the rule norvane-capture uses (../../router/
// ground_truth.h).
//
// Debian's build of the decoder keeps its assertions and aborts on some images, so
// each file is decoded in a child process that sends its codes back through a pipe;
// a file whose child dies is counted as crashed and not read.
//
//   decoder_alone DIR [--by-folder]
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#define ZX_USE_UTF8
#include <ZXing/BarcodeFormat.h>
#include <ZXing/DecodeHints.h>
#include <ZXing/ImageView.h>
#include <ZXing/ReadBarcode.h>
#include <ZXing/Result.h>

#include "ground_truth.h"
#include "image_io.h"
#include "norvane/basic_structures/pixel_conversion.h"
#include "norvane/log/path_helper.h"

namespace {

using capture::DecodedCode;
using norvane::basic_structures::CImageData;

constexpr char kProgram[] = "decoder_alone";

enum class Outcome { kDecoded, kCrashed };

int Usage() {
  std::fprintf(stderr, "usage: %s DIR [--by-folder]\n", kProgram);
  return 2;
}

int Fail(const std::string& message) {
  std::fprintf(stderr, "%s: %s\n", kProgram, message.c_str());
  return 2;
}

// The pipe's encoding: for each code, its format and its text, each as a 4-byte
// length in host order followed by the bytes.
void AppendField(const std::string& field, std::string* out) {
  const uint32_t length = static_cast<uint32_t>(field.size());
  out->append(reinterpret_cast<const char*>(&length), sizeof(length));
  out->append(field);
}

bool TakeField(const std::string& in, size_t* at, std::string* field) {
  uint32_t length = 0;
  if (in.size() - *at < sizeof(length)) return false;
  std::memcpy(&length, in.data() + *at, sizeof(length));
  *at += sizeof(length);
  if (in.size() - *at < length) return false;
  field->assign(in, *at, length);
  *at += length;
  return true;
}

bool WriteAll(int fd, const std::string& bytes) {
  size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t n = write(fd, bytes.data() + done, bytes.size() - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    done += static_cast<size_t>(n);
  }
  return true;
}

std::string ReadAll(int fd) {
  std::string bytes;
  char buffer[4096];
  for (;;) {
    const ssize_t n = read(fd, buffer, sizeof(buffer));
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return bytes;
    bytes.append(buffer, static_cast<size_t>(n));
  }
}

// Runs in the child: decodes and writes the codes to `fd`. Never returns.
[[noreturn]] void DecodeInChild(const CImageData& grey, int fd) {
  const rlimit noCore = {0, 0};
  setrlimit(RLIMIT_CORE, &noCore);
  const ZXing::ImageView view(grey.GetBytes(), grey.GetWidth(), grey.GetHeight(),
                              ZXing::ImageFormat::Lum, grey.GetStride());
  std::string message;
  for (const ZXing::Result& result : ZXing::ReadBarcodes(view, ZXing::DecodeHints())) {
    if (!result.isValid()) continue;
    AppendField(ZXing::ToString(result.format()), &message);
    AppendField(result.text(), &message);
  }
  _exit(WriteAll(fd, message) ? 0 : 1);
}

// Decodes `grey` in a child process; `codes` gets what it read.
Outcome Decode(const CImageData& grey, std::vector<DecodedCode>* codes) {
  int fds[2];
  if (pipe(fds) != 0) {
    std::perror("pipe");
    std::exit(1);
  }
  const pid_t child = fork();
  if (child < 0) {
    std::perror("fork");
    std::exit(1);
  }
  if (child == 0) {
    close(fds[0]);
    DecodeInChild(grey, fds[1]);
  }
  close(fds[1]);
  const std::string message = ReadAll(fds[0]);
  close(fds[0]);
  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) return Outcome::kCrashed;
  size_t at = 0;
  DecodedCode code;
  while (TakeField(message, &at, &code.format) && TakeField(message, &at, &code.text)) {
    codes->push_back(code);
  }
  return Outcome::kDecoded;
}

}  // namespace

int main(int argc, char** argv) {
  std::string root;
  bool byFolder = false;
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    if (arg == "--by-folder") {
      byFolder = true;
    } else if (root.empty() && !arg.empty() && arg[0] != '-') {
      root = arg;
    } else {
      return Usage();
    }
  }
  if (root.empty()) return Usage();
  if (norvane::PathHelper::JudgePathType(root.c_str()) != norvane::PT_DIRECTORY)
    return Fail("not a directory: " + root);
  const auto start = std::chrono::steady_clock::now();

  const capture::ImageFileList list = capture::ListImageFiles(root);
  const std::vector<std::string>& files = list.files;
  for (const std::string& skipped : list.skipped) Fail("skipped " + skipped);
  if (files.empty()) return Fail("no image files in " + root);

  capture::FolderScore score;
  int crashed = 0, unreadable = 0;
  for (size_t i = 0; i < files.size(); ++i) {
    const std::string& path = files[i];
    const std::string folder = capture::FolderOf(root, path);
    capture::ImageFile file =
        capture::ReadImageFile(path, static_cast<int>(i), capture::kDefaultMaxPixels);
    std::unique_ptr<CImageData> image(file.image);
    std::string error = file.error;
    if (image != nullptr &&
        image->GetImagePixelFormat() != norvane::basic_structures::IPF_GRAYSCALE) {
      image.reset(TQ_ConvertToGrayscale(image.get()));
      if (image == nullptr) error = "cannot convert to grey";
    }
    if (image == nullptr) {
      std::fprintf(stderr, "%s: unreadable file %s: %s\n", kProgram, path.c_str(), error.c_str());
      ++unreadable;
      score.Add(folder, false);
      continue;
    }
    std::vector<DecodedCode> codes;
    if (Decode(*image, &codes) == Outcome::kCrashed) {
      std::fprintf(stderr, "%s: the decoder crashed on %s\n", kProgram, path.c_str());
      ++crashed;
      score.Add(folder, false);
      continue;
    }
    score.Add(folder, capture::FileRead(capture::ReadExpectedText(path), codes));
  }

  const double seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  if (byFolder) std::fputs(score.Table().c_str(), stdout);
  const capture::FolderScore::Count total = score.total();
  std::printf("ground truth: %d of %d files read\n", total.read, total.files);
  std::printf("decoder alone: %zu files, %d crashed, %d unreadable, %.2f s\n", files.size(),
              crashed, unreadable, seconds);
  return 0;
}
