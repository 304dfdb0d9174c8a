// Synthetic test frames for the barcode module: a deterministic renderer of grey
// frames holding several codes of mixed symbologies, with their texts and corners
// as ground truth. The symbols come from ZXing-cpp's writers; the placement, the
// background, the lighting and the noise are drawn here from a generator seeded by
// the frame index, with integer arithmetic wherever a pixel value depends on it, so
// that a frame is the same on every platform.
//
// The renderer keeps no state and may run on several threads at once; the caller
// owns the output vectors.
#ifndef NORVANE_EXAMPLES_BARCODE_SYNTHETIC_CODES_H_
#define NORVANE_EXAMPLES_BARCODE_SYNTHETIC_CODES_H_

#include <string>
#include <vector>

namespace norvane {
namespace barcode {

struct SyntheticCode {
  std::string format;    // ZXing's name of the symbology, as ZXing::ToString(BarcodeFormat) gives
                         // it ("QRCode", "EAN-13", "UPC-E", ...)
  std::string text;      // the text a decoder reads from it with default hints (EAN/UPC: all
                         // digits including the check digit; Codabar: without start and stop)
  double corners[4][2];  // the symbol's outer corners (without quiet zone) in frame pixel
                         // coordinates (pixel edges: x in [0,width]), clockwise on screen (y
                         // down), starting at the symbol's own top-left
};

// Draws synthetic frame `index` (the same index always gives the same frame): an 8-bit grey
// image of width x height, stride == width, into `grey` (resized), with one to six codes of mixed
// symbologies, and their ground truth into `truth` (cleared first). False if it cannot render.
bool RenderSyntheticCodeFrame(int index, int width, int height, std::vector<unsigned char>* grey,
                              std::vector<SyntheticCode>* truth);

}  // namespace barcode
}  // namespace norvane

#endif  // NORVANE_EXAMPLES_BARCODE_SYNTHETIC_CODES_H_
