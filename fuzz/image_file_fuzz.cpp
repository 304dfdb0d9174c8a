// libFuzzer target: arbitrary bytes as an image file through norvane-capture's own
// reading path (PNG, JPEG, PGM/PPM, WebP, known by their content), and what decodes
// through the barcode module's decoding of one region. No file a user can give may
// crash either. The region's corners come from the input's last bytes, so warps of
// every shape are tried.
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "code_reader.h"
#include "image_io.h"
#include "norvane/basic_structures/pixel_conversion.h"

namespace {

using norvane::basic_structures::CImageData;

// Keeps each run short: larger images are refused as the program refuses images
// above its --max-pixels.
constexpr unsigned long long kMaxPixels = 1 << 18;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  capture::ImageFile file = capture::DecodeImage(data, size, "fuzz", 0, kMaxPixels);
  if (file.image == nullptr) return 0;
  std::unique_ptr<CImageData> image(file.image);
  if (image->GetImagePixelFormat() != norvane::basic_structures::IPF_GRAYSCALE) {
    image.reset(TQ_ConvertToGrayscale(image.get()));
    if (image == nullptr) return 0;
  }
  norvane::barcode::GreyView view;
  view.data = image->GetBytes();
  view.width = image->GetWidth();
  view.height = image->GetHeight();
  view.stride = image->GetStride();

  norvane::barcode::Candidate region;
  for (int c = 0; c < 4; ++c) {
    const uint8_t x = size >= 8 ? data[size - 8 + 2 * c] : 0;
    const uint8_t y = size >= 8 ? data[size - 7 + 2 * c] : 0;
    region.points[c].x = static_cast<int>(x * static_cast<unsigned>(view.width) / 256u);
    region.points[c].y = static_cast<int>(y * static_cast<unsigned>(view.height) / 256u);
  }
  std::vector<norvane::barcode::Code> codes;
  norvane::barcode::DecodeCandidate(view, region, nullptr, &codes);
  return 0;
}
