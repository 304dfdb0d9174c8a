// Synthetic test frames for the barcode module: a deterministic renderer of grey
// frames holding several codes of mixed symbologies, with their texts and corners
// as ground truth. The symbols come from ZXing-cpp's writers; the placement, the
// background, the lighting and the noise are drawn here from generators seeded by
// the frame index, with integer arithmetic wherever a pixel value depends on it, so
// that frames agree across platforms (for one ZXing version).
//
// Every code sits on its own light card (symbol plus quiet zone), fully inside the
// frame and at least 24 pixels from any other card, and is drawn so that ZXing-cpp
// 1.4 reads it from a crop around its card. Its limits shape the frames: 2D codes
// turn freely, except that Aztec, PDF417 and rectangular Data Matrix stay near a
// quarter turn (within 3, 5 and 10 to 20 degrees); 1D codes tilt up to about 40
// degrees from a quarter turn where their height lets a scan line cross all bars.
//
// The renderer keeps no state and may run on several threads at once; the caller
// owns the output vectors.
#ifndef NORVANE_MODULES_BARCODE_SYNTHETIC_CODES_H_
#define NORVANE_MODULES_BARCODE_SYNTHETIC_CODES_H_

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

#endif  // NORVANE_MODULES_BARCODE_SYNTHETIC_CODES_H_
