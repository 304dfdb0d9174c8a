// TQ_Quad::GetAllPixels: scan conversion of a quad on a grid of step 2^shift.
//
// The quad is scanned along its longer bounding-box axis. Each scan line collects
// the crossings of the edges that span it; on a coarse grid (shift > 0) the band up
// to the next scan line is folded in as well, so that a scan line covers everything
// its band touches. Crossing lists hold at most four (first list) or eight (band
// list) values and live on the stack.
#include <cfloat>
#include <cstdint>

#include "core/wrap_math.h"
#include "geometry/line_equation.h"
#include "norvane/geometry/quad.h"

namespace norvane {

using internal::TruncToInt;

namespace {

struct EdgeExtent {
  internal::LineEquation line;  // the edge's own (cached) equation
  int64_t lo;                   // extent along the scan axis
  int64_t hi;
  int64_t crossLo;  // extent along the other axis
  int64_t crossHi;
};

// A small list of crossings kept sorted by insertion.
template <int N>
struct Crossings {
  float value[N];
  int count = 0;
  void Insert(float v) {
    int i = count++;
    while (i > 0 && value[i - 1] > v) {
      value[i] = value[i - 1];
      --i;
    }
    value[i] = v;
  }
};

// The edge's CalcX (row scan) or CalcY (column scan) at the scan coordinate.
inline float CrossingAt(const EdgeExtent& e, bool rowScan, int64_t at, bool& ok) {
  const int coordinate = static_cast<int>(at);
  return rowScan ? internal::CrossingX(e.line, coordinate, ok)
                 : internal::CrossingY(e.line, coordinate, ok);
}

}  // namespace

int TQ_Quad::GetAllPixels(std::vector<Point>& out, TQ_Pixelate_Mode mode, int shift, int width,
                          int height) const {
  if (shift < 0 || shift > 30) return 0;
  int minX, minY, maxX, maxY;
  BoundingBox(minX, minY, maxX, maxY);
  const bool bounded = width != -1 && height != -1;
  if (bounded && (maxX < 0 || maxY < 0 || width < minX || height < minY)) return 0;

  const bool rowScan = static_cast<int64_t>(maxX) - minX <= static_cast<int64_t>(maxY) - minY;
  const int64_t start = rowScan ? (minY > 0 ? minY : 0) : (minX > 0 ? minX : 0);
  int64_t end = rowScan ? maxY : maxX;
  // The bound of the scan axis and the bound of the crossing values.
  const int64_t scanBound = rowScan ? height : width;
  const int64_t crossBound = rowScan ? width : height;
  if (bounded && end > scanBound - 1) end = scanBound - 1;

  EdgeExtent extents[4];
  int edgeCount = 0;
  for (int i = 0; i < 4; ++i) {
    const Point& a = vertices[i];
    const Point& b = vertices[(i + 1) & 3];
    if (a == b) continue;
    const int64_t sa = rowScan ? a.y : a.x;
    const int64_t sb = rowScan ? b.y : b.x;
    const int64_t ca = rowScan ? a.x : a.y;
    const int64_t cb = rowScan ? b.x : b.y;
    EdgeExtent& e = extents[edgeCount++];
    edges[i].GetEquation(e.line.a, e.line.b, e.line.c);
    e.lo = sa < sb ? sa : sb;
    e.hi = sa < sb ? sb : sa;
    e.crossLo = ca < cb ? ca : cb;
    e.crossHi = ca < cb ? cb : ca;
  }
  if (edgeCount == 0) {
    out.push_back(Point(vertices[0].x >> shift, vertices[0].y >> shift));
    return 1;
  }

  const int64_t step = int64_t{1} << shift;
  auto emit = [&](int64_t value, int64_t line) {
    const int v = static_cast<int>(value >> shift);
    const int l = static_cast<int>(line >> shift);
    if (rowScan) {
      out.emplace_back(v, l);
    } else {
      out.emplace_back(l, v);
    }
  };
  // Appends the run first..last (already in grid units) on scan line `line`.
  auto emitRun = [&](int first, int last, int64_t line) {
    const int l = static_cast<int>(line >> shift);
    if (rowScan) {
      for (int64_t v = first; v <= last; ++v) out.emplace_back(static_cast<int>(v), l);
    } else {
      for (int64_t v = first; v <= last; ++v) out.emplace_back(l, static_cast<int>(v));
    }
  };

  int longestRun = 0;
  const int64_t firstLine = (start >> shift) << shift;
  for (int64_t c = firstLine; c <= end; c += step) {
    const bool first = c == firstLine;
    Crossings<4> list;
    bool alongLine = false;
    for (int k = 0; k < edgeCount && !alongLine; ++k) {
      const EdgeExtent& e = extents[k];
      const bool containsC = e.lo <= c && c <= e.hi;
      int64_t at = c;
      if (first) {
        if (!containsC && !(e.lo <= start && start <= e.hi)) continue;
        at = start;
      } else if (!containsC) {
        continue;
      }
      bool ok = false;
      const float crossing = CrossingAt(e, rowScan, at, ok);
      if (crossing == FLT_MAX) {
        // The edge lies along the scan line: its own extent is the scan line.
        int64_t from = e.crossLo > 0 ? e.crossLo : 0;
        from = (from >> shift) << shift;
        int64_t to = e.crossHi;
        if (bounded && to > crossBound - 1) to = crossBound - 1;
        for (int64_t v = from; v <= to; v += step) emit(v, c);
        alongLine = true;
      } else if (ok) {
        list.Insert(crossing);
      }
    }
    if (alongLine || list.count == 0) continue;

    if (shift > 0) {
      const int64_t next = c + step;
      Crossings<8> band;
      for (int k = 0; k < edgeCount; ++k) {
        const EdgeExtent& e = extents[k];
        if (!(e.lo <= next && next <= e.hi)) continue;
        bool ok = false;
        float crossing = CrossingAt(e, rowScan, next, ok);
        if (ok) band.Insert(crossing);
        if (c < e.lo && e.lo < next && e.lo != start) {
          crossing = CrossingAt(e, rowScan, e.lo, ok);
          if (ok) band.Insert(crossing);
        }
      }
      if (band.count > 0) {
        float* v = list.value;
        const float* w = band.value;
        if (w[0] < v[0]) v[0] = w[0];
        if (list.count == 1) {
          v[1] = v[0] > w[band.count - 1] ? v[0] : w[band.count - 1];
          list.count = 2;
        } else {
          const float last = w[band.count - 1];
          if (last > v[list.count - 1]) v[list.count - 1] = last;
          if (list.count == 4 && band.count == 4) {
            if (w[1] > v[1]) v[1] = w[1];
            if (w[2] < v[2]) v[2] = w[2];
            if (w[3] > v[3]) v[3] = w[3];
          }
          // Widening can break the order; restore it.
          Crossings<4> sorted;
          for (int i = 0; i < list.count; ++i) sorted.Insert(v[i]);
          list = sorted;
        }
      }
    }

    // Convert to integers: spans start at even positions and end at odd ones and at
    // the last position.
    int values[4] = {0, 0, 0, 0};
    const int n = list.count;
    if (n == 1) {
      values[0] = TruncToInt(list.value[0]);
    } else {
      for (int i = 0; i < n; ++i) {
        const double x = list.value[i];
        const bool isStart = (i % 2) == 0 && i != n - 1;
        if (mode == 0) {
          values[i] = isStart ? TruncToInt(x + 0.5) : TruncToInt(x);
        } else {
          values[i] = isStart ? TruncToInt(x) : TruncToInt(x + 0.9);
        }
      }
    }
    int m = 0;
    for (int i = 0; i < n; ++i) {
      if (m > 0 && values[m - 1] == values[i]) continue;
      values[m++] = values[i];
    }
    for (int i = 0; i < m; ++i) {
      int64_t v = values[i];
      if (v < 0) v = 0;
      if (bounded && v > crossBound - 1) v = crossBound - 1;
      values[i] = static_cast<int>(v >> shift);
    }

    if (m <= 3) {
      emitRun(values[0], values[m - 1], c);
      const int run = m == 1 ? 1 : values[m - 1] - values[0] + 1;
      if (run > longestRun) longestRun = run;
    } else {
      emitRun(values[0], values[1], c);
      emitRun(values[2], values[3], c);
      if (m == 4) {
        const int run1 = values[1] - values[0] + 1;
        const int run2 = values[3] - values[2] + 1;
        const int run = run1 > run2 ? run1 : run2;
        if (run > longestRun) longestRun = run;
      }
    }
  }
  return longestRun;
}

}  // namespace norvane
