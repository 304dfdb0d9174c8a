// Renderer of the synthetic barcode frames declared in synthetic_codes.h.
//
// A frame is built from three independent random streams, all seeded by the frame
// index: the codes and their placement, the background clutter, and the lighting and
// noise. Every random choice reduces 32-bit std::mt19937 output by ratio arithmetic,
// and no trigonometry is used. A code's homography is worked out in doubles once and
// then frozen into fixed point; per sample the renderer takes exact integer sums and
// only single, correctly rounded IEEE operations (no sum of products a compiler could
// fuse). Frames therefore agree across platforms and standard libraries, unless a
// layout double lands within a rounding error of a fixed-point step. The modules
// themselves come from ZXing's writers: another ZXing version may draw other ones.
//
// Limits of ZXing-cpp 1.4's readers shape some choices below (module sizes, tilts,
// blur, perspective per symbology): every code drawn here is meant to be read back
// by it from a crop around the code's card.
#include "synthetic_codes.h"

#include <ZXing/BarcodeFormat.h>
#include <ZXing/BitMatrix.h>
#include <ZXing/MultiFormatWriter.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <exception>
#include <random>

namespace norvane {
namespace barcode {
namespace {

typedef std::int64_t i64;
typedef std::uint32_t u32;
typedef std::uint64_t u64;

// Draws happen one per statement, never two in one expression, whose order of evaluation
// compilers may choose.
class Random {
 public:
  explicit Random(u32 seed) : engine_(seed) {}

  u32 Next() { return static_cast<u32>(engine_() & 0xffffffffu); }

  // lo..hi, both included.
  int Int(int lo, int hi) {
    const u64 span = static_cast<u64>(static_cast<i64>(hi) - lo + 1);
    return static_cast<int>(lo + static_cast<i64>((static_cast<u64>(Next()) * span) >> 32));
  }

  // [lo, hi)
  double Real(double lo, double hi) { return lo + (hi - lo) * (Next() * (1.0 / 4294967296.0)); }

  bool Percent(int percent) { return Int(0, 99) < percent; }

 private:
  std::mt19937 engine_;
};

// Cheap per-pixel source for the sensor noise.
class NoiseSource {
 public:
  explicit NoiseSource(u64 seed) : state_(seed * 2 + 1) {}

  u32 Next() {
    state_ = state_ * 6364136223846793005ULL + 1442695040888963407ULL;
    const u32 x = static_cast<u32>(((state_ >> 18) ^ state_) >> 27);
    const u32 rot = static_cast<u32>(state_ >> 59);
    return (x >> rot) | (x << ((32u - rot) & 31u));
  }

 private:
  u64 state_;
};

u32 StreamSeed(int index, u32 stream) {
  return static_cast<u32>(index) * 2654435761u + stream * 40503u + 0x5bd1e995u;
}

// ---------------------------------------------------------------------------------------------
// Symbols

struct Symbol {
  ZXing::BarcodeFormat format = ZXing::BarcodeFormat::None;
  std::string text;  // what the reader returns
  bool linear = false;
  int cols = 0;
  int rows = 0;                     // 1 for linear codes
  std::vector<unsigned char> dark;  // rows x cols
};

const ZXing::BarcodeFormat kFormats[] = {
    ZXing::BarcodeFormat::QRCode, ZXing::BarcodeFormat::Code128, ZXing::BarcodeFormat::DataMatrix,
    ZXing::BarcodeFormat::EAN13,  ZXing::BarcodeFormat::Aztec,   ZXing::BarcodeFormat::Code39,
    ZXing::BarcodeFormat::PDF417, ZXing::BarcodeFormat::UPCA,    ZXing::BarcodeFormat::Code93,
    ZXing::BarcodeFormat::EAN8,   ZXing::BarcodeFormat::ITF,     ZXing::BarcodeFormat::UPCE,
    ZXing::BarcodeFormat::Codabar};
const int kFormatCount = static_cast<int>(sizeof(kFormats) / sizeof(kFormats[0]));

const char kDigits[] = "0123456789";
const char kUpperDigits[] = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ";
const char kMixed[] = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";

// `length` characters of `body`, with now and then one of `separators` inside (never first,
// last or twice in a row).
std::string RandomText(Random& random, const char* body, const char* separators, int length) {
  const int bodyCount = static_cast<int>(std::strlen(body));
  const int separatorCount = static_cast<int>(std::strlen(separators));
  std::string text;
  bool lastWasSeparator = true;
  for (int i = 0; i < length; ++i) {
    const bool inside = i > 0 && i + 1 < length;
    if (separatorCount > 0 && inside && !lastWasSeparator && random.Percent(15)) {
      text += separators[random.Int(0, separatorCount - 1)];
      lastWasSeparator = true;
    } else {
      text += body[random.Int(0, bodyCount - 1)];
      lastWasSeparator = false;
    }
  }
  return text;
}

std::string RandomDigits(Random& random, int length) {
  return RandomText(random, kDigits, "", length);
}

// Texts for the matrix codes: digits only, upper case, or mixed case.
std::string MatrixText(Random& random, int minLength, int maxLength) {
  const int length = random.Int(minLength, maxLength);
  switch (random.Int(0, 2)) {
    case 0:
      return RandomDigits(random, length);
    case 1:
      return RandomText(random, kUpperDigits, " -./:", length);
    default:
      return RandomText(random, kMixed, " -./:_", length);
  }
}

// The GTIN check digit of `digits` (weights 3, 1, 3, ... from the right).
char GtinCheck(const std::string& digits) {
  int sum = 0;
  bool three = true;
  for (auto it = digits.rbegin(); it != digits.rend(); ++it) {
    sum += (*it - '0') * (three ? 3 : 1);
    three = !three;
  }
  return static_cast<char>('0' + (10 - sum % 10) % 10);
}

// The UPC-A digits (without check) a 7-digit UPC-E body stands for.
std::string ExpandUpce(const std::string& e) {
  const char last = e[6];
  std::string a = e.substr(0, 1);
  if (last <= '2') {
    a += e.substr(1, 2) + last + "0000" + e.substr(3, 3);
  } else if (last == '3') {
    a += e.substr(1, 3) + "00000" + e.substr(4, 2);
  } else if (last == '4') {
    a += e.substr(1, 4) + "00000" + e.substr(5, 1);
  } else {
    a += e.substr(1, 5) + "0000" + last;
  }
  return a;
}

bool Encode(ZXing::BarcodeFormat format, const std::string& input, bool linear, Symbol* symbol) {
  try {
    const ZXing::BitMatrix matrix =
        ZXing::MultiFormatWriter(format).setMargin(0).encode(input, 1, 1);
    if (matrix.width() <= 0 || matrix.height() <= 0) return false;
    symbol->format = format;
    symbol->linear = linear;
    if (linear) {
      int first = matrix.width();
      int last = -1;
      for (int x = 0; x < matrix.width(); ++x) {
        if (matrix.get(x, 0)) {
          first = std::min(first, x);
          last = x;
        }
      }
      if (last < first) return false;
      symbol->cols = last - first + 1;
      symbol->rows = 1;
      symbol->dark.resize(symbol->cols);
      for (int x = 0; x < symbol->cols; ++x) symbol->dark[x] = matrix.get(first + x, 0) ? 1 : 0;
    } else {
      symbol->cols = matrix.width();
      symbol->rows = matrix.height();
      symbol->dark.resize(static_cast<size_t>(symbol->cols) * symbol->rows);
      for (int y = 0; y < symbol->rows; ++y) {
        for (int x = 0; x < symbol->cols; ++x) {
          symbol->dark[static_cast<size_t>(y) * symbol->cols + x] = matrix.get(x, y) ? 1 : 0;
        }
      }
    }
  } catch (const std::exception&) {
    return false;
  }
  return true;
}

bool MakeSymbol(Random& random, ZXing::BarcodeFormat format, Symbol* symbol) {
  using ZXing::BarcodeFormat;
  std::string input;
  std::string text;
  bool linear = true;
  switch (format) {
    case BarcodeFormat::QRCode:
      input = text = MatrixText(random, 6, 40);
      linear = false;
      break;
    case BarcodeFormat::DataMatrix:
    case BarcodeFormat::Aztec:
      input = text = MatrixText(random, 6, 28);
      linear = false;
      break;
    case BarcodeFormat::PDF417:
      input = text = MatrixText(random, 5, 20);
      linear = false;
      break;
    case BarcodeFormat::Code128: {
      const bool digitsOnly = random.Percent(40);
      const int length = digitsOnly ? random.Int(6, 14) : random.Int(4, 10);
      input = text =
          digitsOnly ? RandomDigits(random, length) : RandomText(random, kMixed, "-./", length);
      break;
    }
    case BarcodeFormat::Code39:
      input = text = RandomText(random, kUpperDigits, "-.", random.Int(3, 8));
      break;
    case BarcodeFormat::Code93:
      input = text = RandomText(random, kUpperDigits, "-.", random.Int(3, 10));
      break;
    case BarcodeFormat::EAN13: {
      // A leading zero would be read as UPC-A.
      std::string digits(1, static_cast<char>('1' + random.Int(0, 8)));
      digits += RandomDigits(random, 11);
      input = text = digits + GtinCheck(digits);
      break;
    }
    case BarcodeFormat::EAN8: {
      const std::string digits = RandomDigits(random, 7);
      input = text = digits + GtinCheck(digits);
      break;
    }
    case BarcodeFormat::UPCA: {
      const std::string digits = RandomDigits(random, 11);
      input = text = digits + GtinCheck(digits);
      break;
    }
    case BarcodeFormat::UPCE: {
      const std::string digits = "0" + RandomDigits(random, 6);
      input = text = digits + GtinCheck(ExpandUpce(digits));
      break;
    }
    case BarcodeFormat::ITF:
      input = text = RandomDigits(random, 2 * random.Int(3, 7));
      break;
    case BarcodeFormat::Codabar: {
      const char* const guards = "ABCD";
      text = RandomText(random, kDigits, "-$:/.+", random.Int(4, 12));
      const char start = guards[random.Int(0, 3)];
      const char stop = guards[random.Int(0, 3)];
      input = start + text + stop;
      break;
    }
    default:
      return false;
  }
  if (!Encode(format, input, linear, symbol)) return false;
  symbol->text = text;
  return true;
}

// ---------------------------------------------------------------------------------------------
// Placement

// A code's card (symbol plus quiet zone) in cells of `cell` pixels, and its homography from
// card cells to frame pixels. The card's centre lands on the integer pixel (cx, cy).
struct Layout {
  int symbolCols = 0;  // symbol size in cells
  int symbolRows = 0;
  int quietCols = 0;  // quiet zone on each side, in cells
  int quietRows = 0;
  int cardCols = 0;
  int cardRows = 0;
  double cell = 0;
  double forward[3][3] = {};  // card cells -> pixels relative to the centre
  i64 inverse[3][3] = {};     // quarter pixels relative to the centre -> card cells, fixed point
  double outline[4][2] = {};  // card corners relative to the centre
  double minX = 0, maxX = 0, minY = 0, maxY = 0;
  int cx = 0;
  int cy = 0;
  int ink = 0;
  int paper = 0;
  int blurPasses = 0;
};

const double kInverseScale = 1099511627776.0;  // 2^40

void Project(const double h[3][3], double u, double v, double* x, double* y) {
  const double w = h[2][0] * u + h[2][1] * v + h[2][2];
  *x = (h[0][0] * u + h[0][1] * v + h[0][2]) / w;
  *y = (h[1][0] * u + h[1][1] * v + h[1][2]) / w;
}

// Fills the homographies and the outline of `layout` for the given cell size, rotation
// (cosine, sine) and perspective vector (applied to pixels relative to the centre).
bool FinishLayout(double cosine, double sine, double kx, double ky, Layout* layout) {
  const double m = layout->cell;
  const double a00 = m * cosine, a01 = -m * sine, a10 = m * sine, a11 = m * cosine;
  const double hu = 0.5 * layout->cardCols, hv = 0.5 * layout->cardRows;
  double(&f)[3][3] = layout->forward;
  f[0][0] = a00;
  f[0][1] = a01;
  f[0][2] = -(a00 * hu + a01 * hv);
  f[1][0] = a10;
  f[1][1] = a11;
  f[1][2] = -(a10 * hu + a11 * hv);
  for (int c = 0; c < 3; ++c) f[2][c] = kx * f[0][c] + ky * f[1][c];
  f[2][2] += 1.0;

  const double corners[4][2] = {
      {0, 0},
      {static_cast<double>(layout->cardCols), 0},
      {static_cast<double>(layout->cardCols), static_cast<double>(layout->cardRows)},
      {0, static_cast<double>(layout->cardRows)}};
  for (int i = 0; i < 4; ++i) {
    const double w = f[2][0] * corners[i][0] + f[2][1] * corners[i][1] + f[2][2];
    if (!(w > 0.5)) return false;
    Project(f, corners[i][0], corners[i][1], &layout->outline[i][0], &layout->outline[i][1]);
  }
  layout->minX = layout->maxX = layout->outline[0][0];
  layout->minY = layout->maxY = layout->outline[0][1];
  for (int i = 1; i < 4; ++i) {
    layout->minX = std::min(layout->minX, layout->outline[i][0]);
    layout->maxX = std::max(layout->maxX, layout->outline[i][0]);
    layout->minY = std::min(layout->minY, layout->outline[i][1]);
    layout->maxY = std::max(layout->maxY, layout->outline[i][1]);
  }

  // Inverse by the adjugate, taking quarter-pixel input and scaled so that the weight row
  // ends in 1 before going to fixed point.
  double g[3][3];
  g[0][0] = f[1][1] * f[2][2] - f[1][2] * f[2][1];
  g[0][1] = f[0][2] * f[2][1] - f[0][1] * f[2][2];
  g[0][2] = f[0][1] * f[1][2] - f[0][2] * f[1][1];
  g[1][0] = f[1][2] * f[2][0] - f[1][0] * f[2][2];
  g[1][1] = f[0][0] * f[2][2] - f[0][2] * f[2][0];
  g[1][2] = f[0][2] * f[1][0] - f[0][0] * f[1][2];
  g[2][0] = f[1][0] * f[2][1] - f[1][1] * f[2][0];
  g[2][1] = f[0][1] * f[2][0] - f[0][0] * f[2][1];
  g[2][2] = f[0][0] * f[1][1] - f[0][1] * f[1][0];
  const double norm = g[2][2];
  if (!(std::fabs(norm) > 1e-12)) return false;
  // Bounds that keep every sum of DrawCode inside 63 bits: quarter-pixel offsets below 2^15,
  // their coefficients below 2^46, the constant terms below 2^52.
  const double extent =
      std::max(std::max(-layout->minX, layout->maxX), std::max(-layout->minY, layout->maxY));
  if (!(extent < 4000.0)) return false;
  for (int r = 0; r < 3; ++r) {
    for (int c = 0; c < 3; ++c) {
      const double value = g[r][c] / norm * (c < 2 ? 0.25 : 1.0) * kInverseScale;
      if (!(std::fabs(value) < (c < 2 ? 7.0e13 : 4.5e15))) return false;
      layout->inverse[r][c] = std::llround(value);
    }
  }
  return true;
}

// Chooses cell size, quiet zone, rotation, perspective, look and blur of a code. False when
// the code cannot fit a frame of this size.
bool MakeLayout(Random& random, const Symbol& symbol, int width, int height, Layout* layout) {
  using ZXing::BarcodeFormat;
  const double maxSide = 0.92 * std::min(width, height);
  const double maxLength = 0.92 * std::max(width, height);
  layout->symbolCols = symbol.cols;
  double cosine = 1.0;
  double sine = 0.0;
  if (symbol.linear) {
    layout->quietCols = 12;
    // Code 39, Code 93 and Codabar fail in ZXing 1.4 at narrow bars of about two pixels.
    const bool wideOnly = symbol.format == BarcodeFormat::Code39 ||
                          symbol.format == BarcodeFormat::Code93 ||
                          symbol.format == BarcodeFormat::Codabar;
    const double minCell = wideOnly ? 2.4 : 2.0;
    double cell = random.Real(minCell, 4.0);
    const double maxCell = maxLength / (symbol.cols + 2.0 * layout->quietCols);
    if (cell > maxCell) cell = maxCell;
    if (cell < minCell) return false;
    layout->cell = cell;
    const double barWidth = cell * symbol.cols;
    const double barHeight = std::max(60.0, std::min(barWidth * random.Real(0.2, 0.9), 220.0));
    layout->symbolRows = static_cast<int>(std::ceil(barHeight / cell));
    // A horizontal scan line must cross every bar: tan(tilt) below height / length. A tilt
    // that shifts the bars by a pixel or more over their height puts their edges at every
    // phase of the pixel grid on some row; the reader needs that at two pixels a bar.
    const double maxTan =
        std::min(0.84, 0.75 * layout->symbolRows / static_cast<double>(layout->symbolCols));
    const double minTan = std::min(maxTan, 1.5 / (cell * layout->symbolRows));
    const double magnitude = random.Real(minTan, maxTan);
    const double tangent = random.Percent(50) ? magnitude : -magnitude;
    cosine = 1.0 / std::sqrt(1.0 + tangent * tangent);
    sine = tangent * cosine;
    // Tall enough quiet zone that such a line stays on the card across the side quiet zones.
    layout->quietRows =
        std::max(3, static_cast<int>(std::ceil(layout->quietCols * std::fabs(tangent))) + 2);
  } else {
    const bool qr = symbol.format == BarcodeFormat::QRCode;
    layout->quietCols = layout->quietRows = (qr ? 4 : 3) + random.Int(0, 1);
    layout->symbolRows = symbol.rows;
    // ZXing 1.4 finds Aztec surely only within a few degrees of upright and with modules
    // of 5 pixels or more, PDF417 within about 6 degrees of upright, rectangular Data
    // Matrix only while the tilt stays below its diagonal's, and small QR codes more
    // surely from 3.6 pixels a module; the first three stay near a quarter turn.
    const bool aztec = symbol.format == BarcodeFormat::Aztec;
    const bool pdf = symbol.format == BarcodeFormat::PDF417;
    const bool oblong = symbol.format == BarcodeFormat::DataMatrix && symbol.cols != symbol.rows;
    const double minCell = aztec ? 5.0 : (qr ? 3.6 : 3.0);
    double cell = random.Real(minCell, pdf ? 4.0 : 6.0);
    const double longest = std::max(symbol.cols, symbol.rows) + 2.0 * layout->quietCols;
    const double limit = (pdf ? maxLength : maxSide) / longest;
    if (cell > limit) cell = limit;
    if (cell < minCell) return false;
    layout->cell = cell;
    if (aztec || pdf || oblong) {
      // 3 degrees, 5 degrees, and three quarters of the short to long side ratio.
      const double maxTan = aztec ? 0.0524
                                  : (pdf ? 0.0875
                                         : 0.75 * std::min(symbol.cols, symbol.rows) /
                                               std::max(symbol.cols, symbol.rows));
      const double tangent = random.Real(-maxTan, maxTan);
      cosine = 1.0 / std::sqrt(1.0 + tangent * tangent);
      sine = tangent * cosine;
    } else {
      // Any angle: the tangent of half of it within [-1, 1], then maybe a half turn.
      const double t = random.Real(-1.0, 1.0);
      cosine = (1.0 - t * t) / (1.0 + t * t);
      sine = 2.0 * t / (1.0 + t * t);
    }
  }
  const int quarterTurns = random.Int(0, 3);
  for (int i = 0; i < quarterTurns; ++i) {
    const double c = -sine;
    sine = cosine;
    cosine = c;
  }
  layout->cardCols = layout->symbolCols + 2 * layout->quietCols;
  layout->cardRows = layout->symbolRows + 2 * layout->quietRows;

  double kx = 0.0;
  double ky = 0.0;
  // Neither the Aztec reader nor that of QR codes without an alignment pattern (version 1)
  // models perspective.
  const bool flat = symbol.format == BarcodeFormat::Aztec ||
                    (symbol.format == BarcodeFormat::QRCode && symbol.rows < 25);
  if (!flat && random.Percent(40)) {
    const double strength = random.Real(0.03, symbol.linear ? 0.08 : 0.12);
    const double t = random.Real(-1.0, 1.0);
    const double dx = (1.0 - t * t) / (1.0 + t * t);
    const double dy = (random.Percent(50) ? 2.0 : -2.0) * t / (1.0 + t * t);
    const double halfDiagonal = 0.5 * layout->cell *
                                std::sqrt(static_cast<double>(layout->cardCols) * layout->cardCols +
                                          static_cast<double>(layout->cardRows) * layout->cardRows);
    kx = strength * dx / halfDiagonal;
    ky = strength * dy / halfDiagonal;
  }
  layout->ink = random.Int(8, 70);
  layout->paper = random.Int(195, 250);
  // Blur costs Aztec most: one light pass only, and more rarely.
  const int blur = random.Int(0, 99);
  const double strongBlurCell = symbol.linear ? 3.2 : 4.0;
  if (symbol.format == BarcodeFormat::Aztec) {
    layout->blurPasses = blur < 15 ? 1 : 0;
  } else {
    layout->blurPasses = blur < 30 ? 1 : (blur < 42 && layout->cell >= strongBlurCell ? 2 : 0);
  }
  return FinishLayout(cosine, sine, kx, ky, layout);
}

// Whether two convex outlines are at least `gap` apart along one of their edge normals.
bool Separated(const Layout& a, const Layout& b, double gap) {
  double pa[4][2], pb[4][2];
  for (int i = 0; i < 4; ++i) {
    pa[i][0] = a.outline[i][0] + a.cx;
    pa[i][1] = a.outline[i][1] + a.cy;
    pb[i][0] = b.outline[i][0] + b.cx;
    pb[i][1] = b.outline[i][1] + b.cy;
  }
  for (int shape = 0; shape < 2; ++shape) {
    const double(*p)[2] = shape == 0 ? pa : pb;
    for (int i = 0; i < 4; ++i) {
      const double nx = -(p[(i + 1) % 4][1] - p[i][1]);
      const double ny = p[(i + 1) % 4][0] - p[i][0];
      const double length = std::sqrt(nx * nx + ny * ny);
      if (!(length > 0)) continue;
      double minA = 1e300, maxA = -1e300, minB = 1e300, maxB = -1e300;
      for (int k = 0; k < 4; ++k) {
        const double da = (pa[k][0] * nx + pa[k][1] * ny) / length;
        const double db = (pb[k][0] * nx + pb[k][1] * ny) / length;
        minA = std::min(minA, da);
        maxA = std::max(maxA, da);
        minB = std::min(minB, db);
        maxB = std::max(maxB, db);
      }
      if (minB - maxA >= gap || minA - maxB >= gap) return true;
    }
  }
  return false;
}

// Picks a centre for `layout` that keeps its card inside the frame and away from the others.
bool PlaceLayout(Random& random, int width, int height, const std::vector<Layout>& placed,
                 Layout* layout) {
  const double margin = 4.0;
  const double gap = 24.0;
  const int xLow = static_cast<int>(std::ceil(margin - layout->minX));
  const int xHigh = static_cast<int>(std::floor(width - margin - layout->maxX));
  const int yLow = static_cast<int>(std::ceil(margin - layout->minY));
  const int yHigh = static_cast<int>(std::floor(height - margin - layout->maxY));
  if (xLow > xHigh || yLow > yHigh) return false;
  for (int attempt = 0; attempt < 60; ++attempt) {
    layout->cx = random.Int(xLow, xHigh);
    layout->cy = random.Int(yLow, yHigh);
    bool free = true;
    for (const Layout& other : placed) {
      if (!Separated(*layout, other, gap)) {
        free = false;
        break;
      }
    }
    if (free) return true;
  }
  return false;
}

// ---------------------------------------------------------------------------------------------
// Pixels

inline unsigned char ClampGrey(int value) {
  return static_cast<unsigned char>(value < 0 ? 0 : (value > 255 ? 255 : value));
}

void AddToRect(unsigned char* frame, int width, int height, int x0, int y0, int x1, int y1,
               int delta) {
  x0 = std::max(x0, 0);
  y0 = std::max(y0, 0);
  x1 = std::min(x1, width);
  y1 = std::min(y1, height);
  for (int y = y0; y < y1; ++y) {
    unsigned char* row = frame + static_cast<size_t>(y) * width;
    for (int x = x0; x < x1; ++x) row[x] = ClampGrey(row[x] + delta);
  }
}

// A segment of the given thickness, tested exactly at pixel centres in doubled coordinates.
void AddToSegment(unsigned char* frame, int width, int height, int ax, int ay, int bx, int by,
                  int thickness, int delta) {
  const int x0 = std::max(std::min(ax, bx) - thickness, 0);
  const int x1 = std::min(std::max(ax, bx) + thickness, width - 1);
  const int y0 = std::max(std::min(ay, by) - thickness, 0);
  const int y1 = std::min(std::max(ay, by) + thickness, height - 1);
  const i64 dx = 2 * static_cast<i64>(bx - ax), dy = 2 * static_cast<i64>(by - ay);
  const i64 length2 = dx * dx + dy * dy;
  const i64 reach2 = static_cast<i64>(thickness) * thickness;
  for (int y = y0; y <= y1; ++y) {
    unsigned char* row = frame + static_cast<size_t>(y) * width;
    const i64 py = 2 * static_cast<i64>(y) + 1 - 2 * static_cast<i64>(ay);
    for (int x = x0; x <= x1; ++x) {
      const i64 px = 2 * static_cast<i64>(x) + 1 - 2 * static_cast<i64>(ax);
      const i64 along = px * dx + py * dy;
      bool on;
      if (length2 == 0 || along <= 0) {
        on = px * px + py * py <= reach2;
      } else if (along >= length2) {
        const i64 qx = px - dx, qy = py - dy;
        on = qx * qx + qy * qy <= reach2;
      } else {
        const i64 across = px * dy - py * dx;
        on = across * across <= reach2 * length2;
      }
      if (on) row[x] = ClampGrey(row[x] + delta);
    }
  }
}

void AddToDisc(unsigned char* frame, int width, int height, int cx, int cy, int radius, int delta) {
  const i64 r2 = static_cast<i64>(radius) * radius;
  for (int y = std::max(cy - radius, 0); y <= std::min(cy + radius, height - 1); ++y) {
    unsigned char* row = frame + static_cast<size_t>(y) * width;
    const i64 dy = y - cy;
    for (int x = std::max(cx - radius, 0); x <= std::min(cx + radius, width - 1); ++x) {
      const i64 dx = x - cx;
      if (dx * dx + dy * dy <= r2) row[x] = ClampGrey(row[x] + delta);
    }
  }
}

// A smooth gradient with faint rectangles, frames, discs and lines on it.
void DrawBackground(Random& random, int width, int height, unsigned char* frame) {
  const int base = random.Int(70, 190);
  const int slopeX = random.Int(-60, 60);
  const int slopeY = random.Int(-60, 60);
  const i64 w2 = 2 * static_cast<i64>(width), h2 = 2 * static_cast<i64>(height);
  for (int y = 0; y < height; ++y) {
    const int rowPart = static_cast<int>(slopeY * (2 * static_cast<i64>(y) - height) / h2);
    unsigned char* row = frame + static_cast<size_t>(y) * width;
    for (int x = 0; x < width; ++x) {
      const int colPart = static_cast<int>(slopeX * (2 * static_cast<i64>(x) - width) / w2);
      row[x] = ClampGrey(base + rowPart + colPart);
    }
  }
  const int rects = random.Int(8, 20);
  for (int i = 0; i < rects; ++i) {
    const int w = random.Int(10, std::max(10, width / 4));
    const int h = random.Int(10, std::max(10, height / 4));
    const int x = random.Int(-w / 2, width - w / 2);
    const int y = random.Int(-h / 2, height - h / 2);
    const int delta = random.Int(-25, 25);
    if (random.Percent(70)) {
      AddToRect(frame, width, height, x, y, x + w, y + h, delta);
    } else {
      const int t = random.Int(1, 3);
      AddToRect(frame, width, height, x, y, x + w, y + t, delta);
      AddToRect(frame, width, height, x, y + h - t, x + w, y + h, delta);
      AddToRect(frame, width, height, x, y + t, x + t, y + h - t, delta);
      AddToRect(frame, width, height, x + w - t, y + t, x + w, y + h - t, delta);
    }
  }
  const int discs = random.Int(2, 6);
  for (int i = 0; i < discs; ++i) {
    const int x = random.Int(0, width - 1);
    const int y = random.Int(0, height - 1);
    const int r = random.Int(8, 60);
    AddToDisc(frame, width, height, x, y, r, random.Int(-20, 20));
  }
  const int lines = random.Int(3, 10);
  for (int i = 0; i < lines; ++i) {
    const int ax = random.Int(0, width - 1);
    const int ay = random.Int(0, height - 1);
    const int bx = std::min(std::max(ax + random.Int(-200, 200), 0), width - 1);
    const int by = std::min(std::max(ay + random.Int(-200, 200), 0), height - 1);
    const int strength = random.Int(10, 35);
    const int delta = random.Percent(50) ? strength : -strength;
    AddToSegment(frame, width, height, ax, ay, bx, by, random.Int(1, 3), delta);
  }
}

// One [1 2 1] pass along rows and one along columns over a w x h block.
void BlurBlock(std::vector<int>* block, std::vector<int>* scratch, int w, int h) {
  std::vector<int>& b = *block;
  std::vector<int>& s = *scratch;
  for (int y = 0; y < h; ++y) {
    const int* in = &b[static_cast<size_t>(y) * w];
    int* out = &s[static_cast<size_t>(y) * w];
    for (int x = 0; x < w; ++x) {
      const int left = in[x > 0 ? x - 1 : x];
      const int right = in[x + 1 < w ? x + 1 : x];
      out[x] = (left + 2 * in[x] + right + 2) >> 2;
    }
  }
  for (int y = 0; y < h; ++y) {
    const int* up = &s[static_cast<size_t>(y > 0 ? y - 1 : y) * w];
    const int* mid = &s[static_cast<size_t>(y) * w];
    const int* down = &s[static_cast<size_t>(y + 1 < h ? y + 1 : y) * w];
    int* out = &b[static_cast<size_t>(y) * w];
    for (int x = 0; x < w; ++x) out[x] = (up[x] + 2 * mid[x] + down[x] + 2) >> 2;
  }
}

// Draws the card and the symbol with 2x2 samples per pixel, mapping every sample back to the
// card's cells through the fixed-point inverse homography; blurs the card and its rim when
// the layout asks for it.
void DrawCode(const Symbol& symbol, const Layout& layout, int width, int height,
              unsigned char* frame) {
  const int pad = 4;
  const int x0 = std::max(static_cast<int>(std::floor(layout.cx + layout.minX)) - pad, 0);
  const int x1 = std::min(static_cast<int>(std::ceil(layout.cx + layout.maxX)) + pad, width - 1);
  const int y0 = std::max(static_cast<int>(std::floor(layout.cy + layout.minY)) - pad, 0);
  const int y1 = std::min(static_cast<int>(std::ceil(layout.cy + layout.maxY)) + pad, height - 1);
  if (x0 > x1 || y0 > y1) return;
  const int bw = x1 - x0 + 1;
  const int bh = y1 - y0 + 1;
  std::vector<unsigned char> inside(static_cast<size_t>(bw) * bh, 0);
  std::vector<unsigned char> dark(static_cast<size_t>(bw) * bh, 0);
  const i64(&g)[3][3] = layout.inverse;
  const double cardCols = layout.cardCols;
  const double cardRows = layout.cardRows;
  for (int y = y0; y <= y1; ++y) {
    unsigned char* insideRow = &inside[static_cast<size_t>(y - y0) * bw];
    unsigned char* darkRow = &dark[static_cast<size_t>(y - y0) * bw];
    for (int sub = 1; sub <= 3; sub += 2) {
      const i64 yq = 4 * static_cast<i64>(y - layout.cy) + sub;
      const i64 xq = 4 * static_cast<i64>(x0 - layout.cx) + 1;
      i64 nu = g[0][0] * xq + g[0][1] * yq + g[0][2];
      i64 nv = g[1][0] * xq + g[1][1] * yq + g[1][2];
      i64 nw = g[2][0] * xq + g[2][1] * yq + g[2][2];
      const i64 su = 2 * g[0][0], sv = 2 * g[1][0], sw = 2 * g[2][0];
      for (int s = 0; s < 2 * bw; ++s, nu += su, nv += sv, nw += sw) {
        if (nw <= 0) continue;
        const double reciprocal = 1.0 / static_cast<double>(nw);
        const double u = static_cast<double>(nu) * reciprocal;
        const double v = static_cast<double>(nv) * reciprocal;
        if (!(u >= 0.0 && u < cardCols && v >= 0.0 && v < cardRows)) continue;
        const int iu = std::min(static_cast<int>(u), layout.cardCols - 1);
        const int iv = std::min(static_cast<int>(v), layout.cardRows - 1);
        ++insideRow[s >> 1];
        const int cu = iu - layout.quietCols;
        const int cv = iv - layout.quietRows;
        if (cu < 0 || cu >= layout.symbolCols || cv < 0 || cv >= layout.symbolRows) continue;
        const int row = symbol.linear ? 0 : cv;
        if (symbol.dark[static_cast<size_t>(row) * symbol.cols + cu]) ++darkRow[s >> 1];
      }
    }
  }
  for (int y = 0; y < bh; ++y) {
    unsigned char* row = frame + static_cast<size_t>(y + y0) * width + x0;
    for (int x = 0; x < bw; ++x) {
      const size_t i = static_cast<size_t>(y) * bw + x;
      const int in = inside[i];
      if (in == 0) continue;
      const int dk = dark[i];
      row[x] = ClampGrey((row[x] * (4 - in) + layout.ink * dk + layout.paper * (in - dk) + 2) >> 2);
    }
  }
  if (layout.blurPasses == 0) return;

  // The blur reaches the card and two pixels around it, nothing of any other card.
  std::vector<unsigned char> mask(static_cast<size_t>(bw) * bh, 0);
  const int reach = 2;
  for (int y = 0; y < bh; ++y) {
    for (int x = 0; x < bw; ++x) {
      if (inside[static_cast<size_t>(y) * bw + x] == 0) continue;
      for (int my = std::max(y - reach, 0); my <= std::min(y + reach, bh - 1); ++my) {
        for (int mx = std::max(x - reach, 0); mx <= std::min(x + reach, bw - 1); ++mx) {
          mask[static_cast<size_t>(my) * bw + mx] = 1;
        }
      }
    }
  }
  std::vector<int> block(static_cast<size_t>(bw) * bh);
  std::vector<int> scratch(block.size());
  for (int y = 0; y < bh; ++y) {
    const unsigned char* row = frame + static_cast<size_t>(y + y0) * width + x0;
    for (int x = 0; x < bw; ++x) block[static_cast<size_t>(y) * bw + x] = row[x];
  }
  for (int pass = 0; pass < layout.blurPasses; ++pass) BlurBlock(&block, &scratch, bw, bh);
  for (int y = 0; y < bh; ++y) {
    unsigned char* row = frame + static_cast<size_t>(y + y0) * width + x0;
    for (int x = 0; x < bw; ++x) {
      const size_t i = static_cast<size_t>(y) * bw + x;
      if (mask[i]) row[x] = ClampGrey(block[i]);
    }
  }
}

// Multiplies in uneven lighting (a tilted plane plus a soft bright spot) and adds noise
// made of the sum of three uniform bytes.
void ApplyLightAndNoise(Random& random, int width, int height, unsigned char* frame) {
  const int level = random.Int(800, 1000);  // 1024 is unchanged
  const int slopeX = random.Int(-300, 300);
  const int slopeY = random.Int(-300, 300);
  const int spot = random.Int(0, 260);
  const int spotX = random.Int(0, width - 1);
  const int spotY = random.Int(0, height - 1);
  const int spotRadius =
      random.Int(std::max(1, std::min(width, height) / 3), std::max(1, std::max(width, height)));
  const int sigma16 = random.Int(16, 64);  // noise deviation in 1/16 grey levels
  const u64 noiseLow = random.Next();
  NoiseSource noise(noiseLow | (static_cast<u64>(random.Next()) << 32));

  const i64 radius2 = static_cast<i64>(spotRadius) * spotRadius;
  const i64 spotScale = (static_cast<i64>(spot) << 32) / radius2;
  std::vector<int> colPart(width);
  for (int x = 0; x < width; ++x) {
    colPart[x] = static_cast<int>(slopeX * (2 * static_cast<i64>(x) - width) /
                                  (2 * static_cast<i64>(width)));
  }
  for (int y = 0; y < height; ++y) {
    const int rowPart = static_cast<int>(slopeY * (2 * static_cast<i64>(y) - height) /
                                         (2 * static_cast<i64>(height)));
    const i64 dy = y - spotY;
    unsigned char* row = frame + static_cast<size_t>(y) * width;
    for (int x = 0; x < width; ++x) {
      const i64 dx = x - spotX;
      const i64 rest = radius2 - dx * dx - dy * dy;
      i64 light = level + rowPart + colPart[x];
      if (rest > 0) light += (rest * spotScale) >> 32;
      light = std::min<i64>(std::max<i64>(light, 460), 1300);
      const u32 bits = noise.Next();
      const int sum =
          static_cast<int>((bits & 0xff) + ((bits >> 8) & 0xff) + ((bits >> 16) & 0xff));
      i64 value = row[x] * light + (static_cast<i64>(2 * sum - 765) * sigma16) / 4 + 512;
      value = std::min<i64>(std::max<i64>(value, 0), 255 * 1024 + 1023);
      row[x] = static_cast<unsigned char>(value >> 10);
    }
  }
}

}  // namespace

bool RenderSyntheticCodeFrame(int index, int width, int height, std::vector<unsigned char>* grey,
                              std::vector<SyntheticCode>* truth) {
  if (grey == nullptr || truth == nullptr) return false;
  truth->clear();
  if (width < 1 || height < 1 || width > 32768 || height > 32768) return false;

  Random codeRandom(StreamSeed(index, 1));
  std::vector<Symbol> symbols;
  std::vector<Layout> layouts;
  const int wanted = codeRandom.Int(1, 6);
  const int firstFormat = ((index % kFormatCount) + kFormatCount) % kFormatCount;
  for (int slot = 0; slot < wanted; ++slot) {
    for (int attempt = 0; attempt < 3; ++attempt) {
      const int pick =
          slot == 0 && attempt == 0 ? firstFormat : codeRandom.Int(0, kFormatCount - 1);
      Symbol symbol;
      Layout layout;
      if (!MakeSymbol(codeRandom, kFormats[pick], &symbol)) continue;
      if (!MakeLayout(codeRandom, symbol, width, height, &layout)) continue;
      if (!PlaceLayout(codeRandom, width, height, layouts, &layout)) continue;
      symbols.push_back(std::move(symbol));
      layouts.push_back(layout);
      break;
    }
  }
  if (symbols.empty()) {
    // A small upright QR code in the middle, when nothing else fitted.
    Symbol symbol;
    Layout layout;
    if (!MakeSymbol(codeRandom, ZXing::BarcodeFormat::QRCode, &symbol)) return false;
    layout.symbolCols = symbol.cols;
    layout.symbolRows = symbol.rows;
    layout.quietCols = layout.quietRows = 4;
    layout.cardCols = symbol.cols + 8;
    layout.cardRows = symbol.rows + 8;
    layout.cell = 4.0;
    layout.ink = 30;
    layout.paper = 230;
    if (!FinishLayout(1.0, 0.0, 0.0, 0.0, &layout)) return false;
    layout.cx = width / 2;
    layout.cy = height / 2;
    if (layout.cx + layout.minX < 0 || layout.cx + layout.maxX > width ||
        layout.cy + layout.minY < 0 || layout.cy + layout.maxY > height) {
      return false;
    }
    symbols.push_back(std::move(symbol));
    layouts.push_back(layout);
  }

  grey->assign(static_cast<size_t>(width) * height, 0);
  Random backgroundRandom(StreamSeed(index, 2));
  DrawBackground(backgroundRandom, width, height, grey->data());
  for (size_t i = 0; i < symbols.size(); ++i) {
    DrawCode(symbols[i], layouts[i], width, height, grey->data());
  }
  Random lightRandom(StreamSeed(index, 3));
  ApplyLightAndNoise(lightRandom, width, height, grey->data());

  for (size_t i = 0; i < symbols.size(); ++i) {
    const Layout& layout = layouts[i];
    SyntheticCode code;
    code.format = ZXing::ToString(symbols[i].format);
    code.text = symbols[i].text;
    const double u0 = layout.quietCols, v0 = layout.quietRows;
    const double u1 = u0 + layout.symbolCols, v1 = v0 + layout.symbolRows;
    const double corners[4][2] = {{u0, v0}, {u1, v0}, {u1, v1}, {u0, v1}};
    for (int k = 0; k < 4; ++k) {
      double x, y;
      Project(layout.forward, corners[k][0], corners[k][1], &x, &y);
      code.corners[k][0] = x + layout.cx;
      code.corners[k][1] = y + layout.cy;
    }
    truth->push_back(code);
  }
  return true;
}

}  // namespace barcode
}  // namespace norvane
