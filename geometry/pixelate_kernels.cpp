#include "geometry/pixelate_kernels.h"

#include <cmath>
#include <cstddef>
#include <cstdint>

#include "core/wrap_math.h"

namespace norvane {
namespace internal {

typedef PixelPoint Point;

void PixelateFourConnectedReference(const Point& start, const Point& end, std::vector<Point>& out) {
  const int dx = WrapSub(end.x, start.x);
  const int dy = WrapSub(end.y, start.y);
  const uint32_t adx = AbsU(dx);
  const uint32_t ady = AbsU(dy);
  out.reserve(out.size() + (adx > ady ? adx : ady) + 1);
  out.push_back(start);
  // The major axis steps one pixel at a time; ties go to y.
  const bool xMajor = adx > ady;
  const int major = xMajor ? dx : dy;
  const int minor = xMajor ? dy : dx;
  const uint32_t count = xMajor ? adx : ady;
  if (count == 0) return;
  const int majorStart = xMajor ? start.x : start.y;
  const int minorStart = xMajor ? start.y : start.x;
  const int s = major < 1 ? -1 : 1;
  const float k = static_cast<float>(s) * static_cast<float>(minor) / static_cast<float>(major);
  const float minorStartF = static_cast<float>(minorStart);
  auto emit = [&](int majorCoord, int minorCoord) {
    out.push_back(xMajor ? Point(majorCoord, minorCoord) : Point(minorCoord, majorCoord));
  };
  int previous = TruncToInt(minorStartF + 0.5);
  for (uint32_t i = 1; i <= count; ++i) {
    const int current = TruncToInt(minorStartF + static_cast<float>(i) * k + 0.5);
    const int majorHere = WrapAdd(majorStart, static_cast<int>(static_cast<uint32_t>(s) * i));
    const int majorBefore =
        WrapAdd(majorStart, static_cast<int>(static_cast<uint32_t>(s) * (i - 1)));
    if (current != previous) {
      const double mid = (static_cast<double>(current) + previous) * 0.5;
      const double e = minorStart + (i - 0.5) * k;
      bool nextMajor;  // the corner takes the new major and the old minor coordinate
      if (minor >= 1) {
        nextMajor = e < mid;
      } else {
        nextMajor = minor != 0 && e > mid;
      }
      if (nextMajor) {
        emit(majorHere, previous);
      } else {
        emit(majorBefore, current);
      }
    }
    emit(majorHere, current);
    previous = current;
  }
}

namespace {

template <bool kXMajor>
inline void Put(Point* p, int majorCoord, int minorCoord) {
  if (kXMajor) {
    p->x = majorCoord;
    p->y = minorCoord;
  } else {
    p->x = minorCoord;
    p->y = majorCoord;
  }
}

// Truncation of a minor coordinate; the range checks are left out when the whole
// chain is known to lie inside the int range.
template <bool kChecked>
inline int TruncMinor(double v) {
  return kChecked ? TruncToInt(v) : static_cast<int>(v);
}

template <bool kXMajor, bool kChecked>
void FourConnectedChain(const Point& start, int minor, uint32_t count, int s, float k,
                        std::vector<Point>& out) {
  const int majorStart = kXMajor ? start.x : start.y;
  const int minorStart = kXMajor ? start.y : start.x;
  const float minorStartF = static_cast<float>(minorStart);
  const int first = TruncToInt(minorStartF + 0.5);
  const int last = TruncToInt(minorStartF + static_cast<float>(count) * k + 0.5);
  // The minor coordinate is monotonic, so it changes (and a corner is added) at most
  // |last - first| times, and at most once per step.
  uint32_t corners = AbsU(WrapSub(last, first));
  if (corners > count) corners = count;
  const size_t base = out.size();
  out.resize(base + 1 + count + corners);
  Point* p = out.data() + base;
  *p++ = start;
  const bool positiveMinor = minor >= 1;
  const bool zeroMinor = minor == 0;
  int previous = first;
  uint32_t majorBefore = static_cast<uint32_t>(majorStart);
  const uint32_t step = static_cast<uint32_t>(s);
  for (uint32_t i = 1; i <= count; ++i) {
    const int current = TruncMinor<kChecked>(minorStartF + static_cast<float>(i) * k + 0.5);
    const uint32_t majorHere = majorBefore + step;
    const double mid = (static_cast<double>(current) + previous) * 0.5;
    const double e = minorStart + (i - 0.5) * k;
    const bool nextMajor = positiveMinor ? e < mid : (!zeroMinor && e > mid);
    // The corner is written always and kept only when the minor coordinate moved.
    Put<kXMajor>(p, static_cast<int>(nextMajor ? majorHere : majorBefore),
                 nextMajor ? previous : current);
    p += current != previous;
    Put<kXMajor>(p, static_cast<int>(majorHere), current);
    ++p;
    previous = current;
    majorBefore = majorHere;
  }
  out.resize(static_cast<size_t>(p - out.data()));
}

}  // namespace

void PixelateFourConnectedFast(const Point& start, const Point& end, std::vector<Point>& out) {
  const int dx = WrapSub(end.x, start.x);
  const int dy = WrapSub(end.y, start.y);
  const uint32_t adx = AbsU(dx);
  const uint32_t ady = AbsU(dy);
  const bool xMajor = adx > ady;
  const int major = xMajor ? dx : dy;
  const int minor = xMajor ? dy : dx;
  const uint32_t count = xMajor ? adx : ady;
  if (count == 0) {
    out.push_back(start);
    return;
  }
  const int s = major < 1 ? -1 : 1;
  const float k = static_cast<float>(s) * static_cast<float>(minor) / static_cast<float>(major);
  // The minor coordinate is monotonic along the chain: when both ends lie well inside
  // the int range, so does every value between them.
  const float minorStartF = static_cast<float>(xMajor ? start.y : start.x);
  const double first = minorStartF + 0.5;
  const double last = minorStartF + static_cast<float>(count) * k + 0.5;
  const bool inRange = std::fabs(first) < 2147483520.0 && std::fabs(last) < 2147483520.0;
  if (xMajor) {
    if (inRange) {
      FourConnectedChain<true, false>(start, minor, count, s, k, out);
    } else {
      FourConnectedChain<true, true>(start, minor, count, s, k, out);
    }
  } else if (inRange) {
    FourConnectedChain<false, false>(start, minor, count, s, k, out);
  } else {
    FourConnectedChain<false, true>(start, minor, count, s, k, out);
  }
}

void PixelateBresenhamReference(const Point& start, const Point& end, int step, int maxCount,
                                std::vector<Point>& out) {
  if (step < 1) return;
  const int dx = WrapSub(end.x, start.x);
  const int dy = WrapSub(end.y, start.y);
  const int sx = end.x > start.x ? 1 : -1;
  const int sy = end.y > start.y ? 1 : -1;
  const int64_t adx = AbsU(dx);
  const int64_t ady = AbsU(dy);
  const bool yMajor = adx < ady;  // ties step along x
  const int64_t major = yMajor ? ady : adx;
  const int64_t minor = yMajor ? adx : ady;
  out.reserve(out.size() + static_cast<size_t>(major) + 1);
  int64_t err = 2 * minor - major;
  Point current = start;
  const int64_t samples = major / step;
  const bool limited = maxCount != -1;
  const size_t limit = maxCount < 0 ? 0 : static_cast<size_t>(maxCount);
  for (int64_t k = 0; k <= samples; ++k) {
    out.push_back(current);
    if (limited && out.size() >= limit) return;
    // The walk after the last sample would only be thrown away.
    if (k == samples) break;
    for (int i = 0; i < step; ++i) {
      if (err > 0) {
        if (yMajor) {
          current.x = WrapAdd(current.x, sx);
        } else {
          current.y = WrapAdd(current.y, sy);
        }
        err -= 2 * major;
      }
      if (yMajor) {
        current.y = WrapAdd(current.y, sy);
      } else {
        current.x = WrapAdd(current.x, sx);
      }
      err += 2 * minor;
    }
  }
  if (limited && out.size() >= limit) return;
  if (!(out.back() == end)) out.push_back(end);
}

namespace {

template <bool kYMajor>
void BresenhamSamples(const Point& start, const Point& end, int64_t major, int64_t minor, int step,
                      int maxCount, std::vector<Point>& out) {
  const uint32_t majorSign =
      static_cast<uint32_t>(kYMajor ? (end.y > start.y ? 1 : -1) : (end.x > start.x ? 1 : -1));
  const uint32_t minorSign =
      static_cast<uint32_t>(kYMajor ? (end.x > start.x ? 1 : -1) : (end.y > start.y ? 1 : -1));
  uint32_t majorCoord = static_cast<uint32_t>(kYMajor ? start.y : start.x);
  uint32_t minorCoord = static_cast<uint32_t>(kYMajor ? start.x : start.y);
  const int64_t samples = major / step;
  const size_t base = out.size();
  // Stop at whichever comes first: the last sample or the point limit.
  size_t stop = base + static_cast<size_t>(samples) + 1;
  const bool limited = maxCount != -1;
  const size_t limit = maxCount < 0 ? 0 : static_cast<size_t>(maxCount);
  if (limited) {
    const size_t atLeastOne = limit > base ? limit : base + 1;
    if (atLeastOne < stop) stop = atLeastOne;
  }
  out.resize(stop + 1);
  Point* const data = out.data();
  int64_t err = 2 * minor - major;
  const int64_t twiceMajor = 2 * major;
  const int64_t twiceMinor = 2 * minor;
  size_t n = base;
  for (;;) {
    Put<!kYMajor>(data + n, static_cast<int>(majorCoord), static_cast<int>(minorCoord));
    if (++n == stop) break;
    for (int i = 0; i < step; ++i) {
      const int64_t mask = -static_cast<int64_t>(err > 0);
      minorCoord += minorSign & static_cast<uint32_t>(mask);
      err -= twiceMajor & mask;
      majorCoord += majorSign;
      err += twiceMinor;
    }
  }
  if (!(limited && n >= limit) && !(data[n - 1] == end)) data[n++] = end;
  out.resize(n);
}

}  // namespace

void PixelateBresenhamFast(const Point& start, const Point& end, int step, int maxCount,
                           std::vector<Point>& out) {
  if (step < 1) return;
  const int64_t adx = AbsU(WrapSub(end.x, start.x));
  const int64_t ady = AbsU(WrapSub(end.y, start.y));
  if (adx < ady) {
    BresenhamSamples<true>(start, end, ady, adx, step, maxCount, out);
  } else {
    BresenhamSamples<false>(start, end, adx, ady, step, maxCount, out);
  }
}

}  // namespace internal
}  // namespace norvane
