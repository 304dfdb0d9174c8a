// The pixel work of the barcode module: finding candidate code regions in a grey
// image and decoding whole images and single regions with ZXing-cpp. Nothing here
// knows the task graph; the tasks in barcode_module.cpp call these functions.
//
// All functions are pure (they keep no state between calls) and may run on several
// threads at once. Images are borrowed 8-bit grey views; results are copied out.
#ifndef NORVANE_MODULES_BARCODE_CODE_READER_H_
#define NORVANE_MODULES_BARCODE_CODE_READER_H_

#include <functional>
#include <string>
#include <vector>

#include "norvane/basic_structures/quadrilateral.h"

namespace norvane {
namespace barcode {

struct GreyView {
  const unsigned char* data = nullptr;
  int width = 0;
  int height = 0;
  int stride = 0;
};

// One decoded code; its corners in image coordinates, in the decoder's order
// (top-left, top-right, bottom-right, bottom-left of the symbol as read).
struct Code {
  std::string format;  // ZXing's name of the symbology
  std::string text;
  basic_structures::CQuadrilateral quad;
};

// A candidate region: four corners clockwise on screen, in image coordinates.
typedef basic_structures::CQuadrilateral Candidate;

// Asked between decoding attempts; true when the work must stop.
typedef std::function<bool()> StopRequested;

// Decodes one small code of each matrix symbology, so that the decoder fills the
// tables it builds on first use (without a lock) before threads share it. Call once,
// before any other function here runs on more than one thread.
void WarmUpDecoder();

// Decodes the whole image the way the decoder alone does (trying hard, rotated and
// downscaled), without the hazards of Debian's build (see code_reader.cpp).
std::vector<Code> DecodeWholeImage(const GreyView& image);

// Tries the whole image again where the first attempt read nothing: with the global
// histogram binariser, then smoothed against noise and halftone, each stopping at
// the first code. Returns false when `stop` ended the work.
bool RetryWholeImage(const GreyView& image, const StopRequested& stop, std::vector<Code>* codes);

// Finds regions that look like codes: dense strong edges, grouped into blobs and
// boxed by their minimum-area rectangles, largest first, at most `maxCandidates`.
std::vector<Candidate> FindCandidates(const GreyView& image, int maxCandidates);

// Decodes one candidate: rectifies it by a perspective warp (enlarging small ones),
// tries the decoder on it and, when nothing is read, on its inverse. Corners come back in image
// coordinates. Returns false when `stop` ended the work.
bool DecodeCandidate(const GreyView& image, const Candidate& candidate, const StopRequested& stop,
                     std::vector<Code>* codes);

// A linear code read on one scan line has the line for its corners: where it lies
// in `candidate`, the candidate's box without its margin stands for it instead.
basic_structures::CQuadrilateral FitToCandidate(const basic_structures::CQuadrilateral& code,
                                                const Candidate& candidate);

// Reports UPC-A codes in their 13-digit EAN form and DataBar as its GS1 element
// string, the forms product databases key on.
void NormaliseText(Code* code);

}  // namespace barcode
}  // namespace norvane

#endif  // NORVANE_MODULES_BARCODE_CODE_READER_H_
