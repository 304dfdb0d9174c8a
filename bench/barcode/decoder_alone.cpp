// decoder_alone: the barcode decoder on its own, the baseline the project's barcode
// module is compared against (scripts/barcode-compare.sh runs both). Each image file
// named on the command line (or, for '-', on standard input, one per line) is read
// as norvane-capture reads it, made grey and decoded whole with the decoder's
// single-symbol call and default hints (trying hard, rotated and downscaled), and
// printed as one JSON object per line as soon as it is done:
//   {"file": PATH, "barcodes": [{"format": ..., "text": ...}]}
// or {"file": PATH, "problem": REASON} for a file that cannot be read.
//
// Debian's build of the decoder keeps its assertions and aborts on a few images:
// the comparison script starts it again after the file it died on.
#include <cstdio>
#include <iostream>
#include <memory>
#include <string>

#define ZX_USE_UTF8
#include <ZXing/BarcodeFormat.h>
#include <ZXing/DecodeHints.h>
#include <ZXing/ImageView.h>
#include <ZXing/ReadBarcode.h>
#include <ZXing/Result.h>
#include <json/json.h>

#include "image_io.h"
#include "norvane/basic_structures/pixel_conversion.h"

namespace {

using norvane::basic_structures::CImageData;

void Decode(const std::string& path) {
  Json::Value line;
  line["file"] = path;
  line["barcodes"] = Json::Value(Json::arrayValue);
  const capture::ImageFile file = capture::ReadImageFile(path, 0, capture::kDefaultMaxPixels);
  std::unique_ptr<CImageData> image(file.image);
  std::unique_ptr<CImageData> grey(image != nullptr ? TQ_ConvertToGrayscale(image.get()) : nullptr);
  if (grey == nullptr) {
    line["problem"] = file.error.empty() ? "cannot be made grey" : file.error;
  } else {
    const ZXing::ImageView view(grey->GetBytes(), grey->GetWidth(), grey->GetHeight(),
                                ZXing::ImageFormat::Lum, grey->GetStride());
    const ZXing::Result result = ZXing::ReadBarcode(view, ZXing::DecodeHints());
    if (result.isValid()) {
      Json::Value code;
      code["format"] = ZXing::ToString(result.format());
      code["text"] = result.text();
      line["barcodes"].append(code);
    }
  }
  Json::StreamWriterBuilder writer;
  writer["indentation"] = "";
  std::printf("%s\n", Json::writeString(writer, line).c_str());
  std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: decoder_alone FILE... (or - for a list on standard input)\n");
    return 2;
  }
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    if (arg != "-") {
      Decode(arg);
      continue;
    }
    for (std::string path; std::getline(std::cin, path);) {
      if (!path.empty()) Decode(path);
    }
  }
  return 0;
}
