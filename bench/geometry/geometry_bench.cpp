// Pixel enumeration, rasterising and clipping of the working geometry, each next to
// a plain loop that fills a std::vector with the same number of points.
#include <benchmark/benchmark.h>

#include <vector>

#include "norvane/geometry/line_segment.h"
#include "norvane/geometry/quad.h"

namespace {

using norvane::TQ_LineSegmentEnhanced;
using norvane::TQ_Quad;
typedef norvane::basic_structures::TQPoint_<int> Pt;

// A slightly slanted near-square of the given size.
TQ_Quad SlantedSquare(int size) {
  const int d = size / 10;
  const Pt p[4] = {Pt(d, 0), Pt(size, d), Pt(size - d, size), Pt(0, size - d)};
  return TQ_Quad(p);
}

size_t PixelCount(const TQ_Quad& quad, int shift) {
  std::vector<Pt> out;
  quad.GetAllPixels(out, norvane::PM_BRESENHAM, shift, -1, -1);
  return out.size();
}

void BM_GetAllPixels(benchmark::State& state) {
  const TQ_Quad quad = SlantedSquare(static_cast<int>(state.range(0)));
  const int shift = static_cast<int>(state.range(1));
  std::vector<Pt> out;
  out.reserve(quad.GetAllPixelsReserveSize(shift, -1, -1));
  for (auto _ : state) {
    out.clear();
    benchmark::DoNotOptimize(quad.GetAllPixels(out, norvane::PM_BRESENHAM, shift, -1, -1));
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * out.size()));
}
BENCHMARK(BM_GetAllPixels)->ArgsProduct({{100, 500, 2000}, {0, 2}});

// The baseline: the same number of points, appended row by row in a plain loop.
void BM_VectorFillSameCount(benchmark::State& state) {
  const size_t count =
      PixelCount(SlantedSquare(static_cast<int>(state.range(0))), static_cast<int>(state.range(1)));
  const int width = static_cast<int>(state.range(0)) >> static_cast<int>(state.range(1));
  std::vector<Pt> out;
  out.reserve(count);
  for (auto _ : state) {
    out.clear();
    int x = 0, y = 0;
    for (size_t i = 0; i < count; ++i) {
      out.emplace_back(x, y);
      if (++x == width) x = 0, ++y;
    }
    benchmark::DoNotOptimize(out.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * count));
}
BENCHMARK(BM_VectorFillSameCount)->ArgsProduct({{100, 500, 2000}, {0, 2}});

// A tighter baseline: the same points written into a vector resized once.
void BM_VectorResizeSameCount(benchmark::State& state) {
  const size_t count =
      PixelCount(SlantedSquare(static_cast<int>(state.range(0))), static_cast<int>(state.range(1)));
  const int width = static_cast<int>(state.range(0)) >> static_cast<int>(state.range(1));
  std::vector<Pt> out;
  out.reserve(count);
  for (auto _ : state) {
    out.clear();
    out.resize(count);
    Pt* p = out.data();
    int x = 0, y = 0;
    for (size_t i = 0; i < count; ++i) {
      p[i].x = x;
      p[i].y = y;
      if (++x == width) x = 0, ++y;
    }
    benchmark::DoNotOptimize(out.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * count));
}
BENCHMARK(BM_VectorResizeSameCount)->ArgsProduct({{100, 500, 2000}, {0, 2}});

void BM_Pixelate(benchmark::State& state) {
  const TQ_LineSegmentEnhanced segment(Pt(3, 7), Pt(3003, 1207));
  const auto mode = static_cast<norvane::TQ_Pixelate_Mode>(state.range(0));
  std::vector<Pt> out;
  segment.Pixelate(out, mode, 1, -1);
  const size_t count = out.size();
  for (auto _ : state) {
    out.clear();
    segment.Pixelate(out, mode, 1, -1);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * count));
}
BENCHMARK(BM_Pixelate)->Arg(0)->Arg(1);

void BM_VectorFillSegmentCount(benchmark::State& state) {
  const TQ_LineSegmentEnhanced segment(Pt(3, 7), Pt(3003, 1207));
  std::vector<Pt> out;
  segment.Pixelate(out, static_cast<norvane::TQ_Pixelate_Mode>(state.range(0)), 1, -1);
  const size_t count = out.size();
  for (auto _ : state) {
    out.clear();
    for (size_t i = 0; i < count; ++i)
      out.emplace_back(static_cast<int>(i), static_cast<int>(i >> 1));
    benchmark::DoNotOptimize(out.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * count));
}
BENCHMARK(BM_VectorFillSegmentCount)->Arg(0)->Arg(1);

void BM_CalcOverlappingArea(benchmark::State& state) {
  const TQ_Quad a = SlantedSquare(400);
  const Pt p[4] = {Pt(150, 120), Pt(620, 180), Pt(580, 640), Pt(170, 560)};
  const TQ_Quad b(p);
  for (auto _ : state) benchmark::DoNotOptimize(a.CalcOverlappingAreaWithOtherQuad(&b));
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations()));
}
BENCHMARK(BM_CalcOverlappingArea);

}  // namespace
