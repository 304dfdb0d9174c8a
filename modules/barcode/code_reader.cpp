// Hazards of Debian's ZXing-cpp 1.4, which keeps its assertions compiled in:
//  - Its linear-code reader compares a new finding with earlier ones through
//    Result::operator==, which asserts `lineCount() == 1` and so aborts the process
//    when a finding arrives already counted (seen with DataBar, and with EAN-13 plus
//    an add-on when enlarged). The comparison runs only against findings of the same
//    scan, so linear codes are read with at most one symbol and a line count of one:
//    the scan stops at its first finding and never compares. Matrix codes return
//    from operator== before the assertion and are read several at a time.
//  - Some readers fill tables on their first use without a lock (PDF417's codeword
//    decoder was seen to), so WarmUpDecoder reads one code of each matrix symbology
//    before the workers start.
//  - Several linear codes of one image are therefore found through the candidate
//    regions, one per region, not by the whole-image attempt. A region is read with
//    all symbologies at once and stops at its first symbol, for the same reason.
#include "code_reader.h"

#define ZX_USE_UTF8
#include <ZXing/BitMatrix.h>
#include <ZXing/MultiFormatWriter.h>
#include <ZXing/ReadBarcode.h>

#include <algorithm>
#include <cmath>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include "norvane/basic_structures/geometry_c.h"
#include "norvane/basic_structures/transform_matrix.h"
#include "norvane/geometry/quad.h"

namespace norvane {
namespace barcode {
namespace {

using basic_structures::CQuadrilateral;
typedef basic_structures::TQPoint_<int> Point;

// Candidate search works on a copy whose longer side is at most this long.
constexpr int kSearchSide = 640;
// Rectified candidates whose shorter side is below this are enlarged to it.
constexpr int kMinDecodeSide = 160;
// ... and none is larger than this on either side (OpenCV's warp takes at most
// 32767).
constexpr double kMaxDecodeSide = 4096;
// How far a candidate is grown on each side, as a share of its size: the blob of
// edges ends at the outer bars, and the decoder needs the quiet zone beyond them.
constexpr double kCandidateMargin = 0.12;

cv::Mat WrapGrey(const GreyView& image) {
  return cv::Mat(image.height, image.width, CV_8UC1, const_cast<unsigned char*>(image.data),
                 static_cast<size_t>(image.stride));
}

ZXing::ImageView ViewOf(const cv::Mat& grey) {
  return ZXing::ImageView(grey.data, grey.cols, grey.rows, ZXing::ImageFormat::Lum,
                          static_cast<int>(grey.step[0]));
}

void AddValid(const ZXing::Result& result, std::vector<Code>* codes) {
  if (!result.isValid()) return;
  Code code;
  code.format = ZXing::ToString(result.format());
  code.text = result.text();
  const ZXing::Position& position = result.position();
  for (int c = 0; c < 4; ++c) code.quad.points[c] = Point(position[c].x, position[c].y);
  codes->push_back(code);
}

// The whole image: every matrix code, then at most one linear code (see the
// hazards above), both with the decoder's try-harder defaults.
std::vector<Code> DecodeAll(const cv::Mat& grey) {
  std::vector<Code> codes;
  const ZXing::ImageView view = ViewOf(grey);
  ZXing::DecodeHints matrix;
  matrix.setFormats(ZXing::BarcodeFormat::MatrixCodes);
  for (const ZXing::Result& result : ZXing::ReadBarcodes(view, matrix)) AddValid(result, &codes);
  ZXing::DecodeHints linear;
  linear.setFormats(ZXing::BarcodeFormat::LinearCodes).setMinLineCount(1).setMaxNumberOfSymbols(1);
  AddValid(ZXing::ReadBarcode(view, linear), &codes);
  return codes;
}

// One region: the first symbol of any symbology. One binarisation serves all
// readers, and the scan stops at the first finding.
std::vector<Code> DecodeFirst(const cv::Mat& grey) {
  std::vector<Code> codes;
  ZXing::DecodeHints hints;
  hints.setMinLineCount(1).setMaxNumberOfSymbols(1);
  AddValid(ZXing::ReadBarcode(ViewOf(grey), hints), &codes);
  return codes;
}

// Whether a rectified candidate looks like a light code on dark ground: its margin,
// where the quiet zone should be, darker than what it surrounds.
bool DarkMargin(const cv::Mat& rectified) {
  const int mx = std::max(1, static_cast<int>(rectified.cols * kCandidateMargin / 2));
  const int my = std::max(1, static_cast<int>(rectified.rows * kCandidateMargin / 2));
  const cv::Rect inner(mx, my, rectified.cols - 2 * mx, rectified.rows - 2 * my);
  if (inner.width <= 0 || inner.height <= 0) return false;
  const double innerArea = static_cast<double>(inner.area());
  const double totalArea = static_cast<double>(rectified.total());
  const double innerSum = cv::sum(rectified(inner))[0];
  const double marginMean = (cv::sum(rectified)[0] - innerSum) / (totalArea - innerArea);
  return marginMean < innerSum / innerArea;
}

// Maps the corners of codes read in a warped image back through `toImage`.
void MapBack(const double toImage[9], std::vector<Code>* codes) {
  for (Code& code : *codes) {
    for (Point& point : code.quad.points) point = TXP_TransformCoordinates(point, toImage);
  }
}

double Distance(const cv::Point2f& a, const cv::Point2f& b) {
  return std::hypot(static_cast<double>(a.x - b.x), static_cast<double>(a.y - b.y));
}

// OpenCV reports bad arguments, and both libraries a failed allocation, by
// exceptions; they end here as "nothing found", never in a worker thread's task.
template <typename Work>
auto Guarded(Work work, decltype(work()) nothing) -> decltype(work()) {
  try {
    return work();
  } catch (const std::exception&) {
    return nothing;
  }
}

std::vector<Candidate> FindCandidatesIn(const GreyView& image, int maxCandidates) {
  std::vector<Candidate> candidates;
  const cv::Mat grey = WrapGrey(image);
  const double scale =
      std::min(1.0, static_cast<double>(kSearchSide) / std::max(image.width, image.height));
  cv::Mat small;
  if (scale < 1.0) {
    cv::resize(grey, small, cv::Size(), scale, scale, cv::INTER_AREA);
  } else {
    small = grey;
  }
  // Strong local contrast: the morphological gradient, kept where Otsu's threshold
  // puts it with the edges.
  cv::Mat gradient, edges;
  const cv::Mat cross = cv::getStructuringElement(cv::MORPH_CROSS, cv::Size(3, 3));
  cv::morphologyEx(small, gradient, cv::MORPH_GRADIENT, cross);
  cv::threshold(gradient, edges, 0, 255, cv::THRESH_BINARY | cv::THRESH_OTSU);
  // Bars and modules merge into one blob; thin lines and specks go.
  const int side = std::max(small.cols, small.rows);
  const int close = std::max(5, side / 64) | 1;
  cv::morphologyEx(edges, edges, cv::MORPH_CLOSE,
                   cv::getStructuringElement(cv::MORPH_RECT, cv::Size(close, close)));
  cv::morphologyEx(edges, edges, cv::MORPH_OPEN,
                   cv::getStructuringElement(cv::MORPH_RECT, cv::Size(5, 5)));

  std::vector<std::vector<cv::Point>> contours;
  cv::findContours(edges, contours, cv::RETR_EXTERNAL, cv::CHAIN_APPROX_SIMPLE);
  std::vector<std::pair<double, cv::RotatedRect>> boxes;
  const double minArea = std::max(100.0, 0.002 * small.cols * small.rows);
  const double maxArea = 0.9 * small.cols * small.rows;
  for (const auto& contour : contours) {
    const cv::RotatedRect box = cv::minAreaRect(contour);
    const double area = static_cast<double>(box.size.area());
    if (area < minArea || area > maxArea) continue;
    // A blob that fills little of its box is clutter, not a code.
    if (cv::contourArea(contour) < 0.5 * area) continue;
    boxes.emplace_back(area, box);
  }
  std::sort(boxes.begin(), boxes.end(),
            [](const auto& a, const auto& b) { return a.first > b.first; });
  if (static_cast<int>(boxes.size()) > maxCandidates) boxes.resize(maxCandidates);
  for (const auto& entry : boxes) {
    cv::RotatedRect box = entry.second;
    const float grow = static_cast<float>(1.0 + 2 * kCandidateMargin);
    box.size = cv::Size2f(box.size.width * grow + 4, box.size.height * grow + 4);
    cv::Point2f corners[4];
    box.points(corners);  // bottom-left, top-left, top-right, bottom-right when upright
    Candidate candidate;
    for (int c = 0; c < 4; ++c) {
      const double x = corners[(c + 1) % 4].x / scale, y = corners[(c + 1) % 4].y / scale;
      candidate.points[c] =
          Point(static_cast<int>(std::lround(std::min(std::max(x, 0.0), image.width - 1.0))),
                static_cast<int>(std::lround(std::min(std::max(y, 0.0), image.height - 1.0))));
    }
    candidates.push_back(candidate);
  }
  return candidates;
}

bool DecodeCandidateIn(const GreyView& image, const Candidate& candidate, const StopRequested& stop,
                       std::vector<Code>* codes) {
  Point clockwise[4];
  ConvertQuadrilateralToClockWisePoints(candidate, clockwise);
  cv::Point2f from[4];
  for (int c = 0; c < 4; ++c) from[c] = cv::Point2f(clockwise[c].x, clockwise[c].y);
  const double width = std::max(Distance(from[0], from[1]), Distance(from[3], from[2]));
  const double height = std::max(Distance(from[1], from[2]), Distance(from[0], from[3]));
  if (width < 8 || height < 8) return true;
  const cv::Mat grey = WrapGrey(image);

  // Small codes are enlarged: the decoder needs a few pixels per module.
  const double scale = std::min({4.0, std::max(1.0, kMinDecodeSide / std::min(width, height)),
                                 kMaxDecodeSide / std::max(width, height)});
  const cv::Size size(static_cast<int>(width * scale), static_cast<int>(height * scale));
  const cv::Point2f to[4] = {{0, 0},
                             {static_cast<float>(size.width), 0},
                             {static_cast<float>(size.width), static_cast<float>(size.height)},
                             {0, static_cast<float>(size.height)}};
  const cv::Mat warp = cv::getPerspectiveTransform(from, to);  // image -> rectified
  cv::Mat rectified;
  cv::warpPerspective(WrapGrey(image), rectified, warp, size, cv::INTER_LINEAR,
                      cv::BORDER_REPLICATE);
  double toRectified[9], toImage[9];
  for (int i = 0; i < 9; ++i) toRectified[i] = warp.at<double>(i / 3, i % 3);
  ResetTransformMatrix(toImage);
  InvertTransformMatrix(toRectified, toImage);

  // The first attempt as the image is, then inverted where the code looks light on
  // dark ground.
  for (int attempt = 0; attempt < 2; ++attempt) {
    if (stop && stop()) return false;
    if (attempt == 1) {
      if (!DarkMargin(rectified)) break;
      cv::bitwise_not(rectified, rectified);
    }
    std::vector<Code> found = DecodeFirst(rectified);
    if (found.empty()) continue;
    MapBack(toImage, &found);
    for (Code& code : found) {
      NormaliseText(&code);
      codes->push_back(code);
    }
    break;
  }
  return true;
}

}  // namespace

void WarmUpDecoder() {
  const ZXing::BarcodeFormat formats[] = {
      ZXing::BarcodeFormat::Aztec, ZXing::BarcodeFormat::DataMatrix, ZXing::BarcodeFormat::PDF417,
      ZXing::BarcodeFormat::QRCode};
  for (ZXing::BarcodeFormat format : formats) {
    Guarded(
        [format] {
          const ZXing::BitMatrix matrix =
              ZXing::MultiFormatWriter(format).setMargin(8).encode("warm up", 200, 200);
          cv::Mat grey(matrix.height(), matrix.width(), CV_8UC1);
          for (int y = 0; y < grey.rows; ++y)
            for (int x = 0; x < grey.cols; ++x) grey.at<uchar>(y, x) = matrix.get(x, y) ? 0 : 255;
          return DecodeAll(grey).size();
        },
        size_t{0});
  }
}

std::vector<Code> DecodeWholeImage(const GreyView& image) {
  if (image.data == nullptr || image.width <= 0 || image.height <= 0) return {};
  std::vector<Code> codes = Guarded([&] { return DecodeAll(WrapGrey(image)); }, {});
  for (Code& code : codes) NormaliseText(&code);
  return codes;
}

bool RetryWholeImage(const GreyView& image, const StopRequested& stop, std::vector<Code>* codes) {
  if (image.data == nullptr || image.width <= 0 || image.height <= 0) return true;
  std::vector<Code> found;
  const bool done = Guarded(
      [&] {
        const cv::Mat grey = WrapGrey(image);
        ZXing::DecodeHints global;
        global.setMinLineCount(1).setMaxNumberOfSymbols(1).setBinarizer(
            ZXing::Binarizer::GlobalHistogram);
        AddValid(ZXing::ReadBarcode(ViewOf(grey), global), &found);
        if (!found.empty()) return true;
        if (stop && stop()) return false;
        cv::Mat smooth;
        cv::GaussianBlur(grey, smooth, cv::Size(3, 3), 0);
        found = DecodeFirst(smooth);
        return true;
      },
      true);
  for (Code& code : found) {
    NormaliseText(&code);
    codes->push_back(code);
  }
  return done;
}

std::vector<Candidate> FindCandidates(const GreyView& image, int maxCandidates) {
  if (image.data == nullptr || image.width < 8 || image.height < 8) return {};
  return Guarded([&] { return FindCandidatesIn(image, maxCandidates); }, {});
}

bool DecodeCandidate(const GreyView& image, const Candidate& candidate, const StopRequested& stop,
                     std::vector<Code>* codes) {
  if (image.data == nullptr || !TQ_Quad(candidate.points).IsConvex()) return true;
  std::vector<Code> found;
  const bool done =
      Guarded([&] { return DecodeCandidateIn(image, candidate, stop, &found); }, true);
  codes->insert(codes->end(), found.begin(), found.end());
  return done;
}

CQuadrilateral FitToCandidate(const CQuadrilateral& code, const Candidate& candidate) {
  double cx = 0, cy = 0;
  for (const Point& p : candidate.points) {
    cx += p.x / 4.0;
    cy += p.y / 4.0;
  }
  const double shrink = 1.0 / (1.0 + 2 * kCandidateMargin);
  CQuadrilateral box;
  for (int c = 0; c < 4; ++c) {
    box.points[c] =
        Point(static_cast<int>(std::lround(cx + (candidate.points[c].x - cx) * shrink)),
              static_cast<int>(std::lround(cy + (candidate.points[c].y - cy) * shrink)));
  }
  const TQ_Quad codeQuad(code.points), boxQuad(box.points);
  const double boxArea = boxQuad.GetArea();
  if (codeQuad.IsConvex() && codeQuad.GetArea() >= 0.25 * boxArea) return code;
  long x = 0, y = 0;
  for (const Point& p : code.points) {
    x += p.x;
    y += p.y;
  }
  const Point centre(static_cast<int>(x / 4), static_cast<int>(y / 4));
  return TQ_Quad(candidate.points).CalcPointPositionRelation(centre, 0) != 5 ? box : code;
}

void NormaliseText(Code* code) {
  if (code->format == "UPC-A" && code->text.size() == 12) {
    code->text = "0" + code->text;
  } else if (code->format == "DataBar" && code->text.size() == 14) {
    code->text = "(01)" + code->text;
  }
}

}  // namespace barcode
}  // namespace norvane
