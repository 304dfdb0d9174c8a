// The fast rasterising kernels against their plain references, bit for bit.
#include "geometry/pixelate_kernels.h"

#include <gtest/gtest.h>

#include <climits>
#include <random>
#include <vector>

#include "test_support/geometry_util.h"

namespace norvane {
namespace {

using testing_util::Pt;

std::vector<std::pair<Pt, Pt>> Segments() {
  // Ties, axis-parallel lines and coordinates where floats are coarse or wrap, then
  // random segments, a third of them short.
  const int big = 1 << 25;
  std::vector<std::pair<Pt, Pt>> out = {
      {Pt(0, 0), Pt(7, 7)},
      {Pt(0, 0), Pt(-7, 7)},
      {Pt(5, 5), Pt(5, -9)},
      {Pt(5, 5), Pt(-9, 5)},
      {Pt(big, big), Pt(big + 300, big + 120)},
      {Pt(-big, big), Pt(-big - 90, big + 300)},
      {Pt(INT_MAX - 5, INT_MIN + 2), Pt(INT_MIN + 3, INT_MAX - 1)},
      {Pt(INT_MAX, 0), Pt(INT_MIN, 1)}};
  std::mt19937 random(41);
  std::uniform_int_distribution<int> c(-3000, 3000), shortLength(-12, 12);
  for (int i = 0; i < 3000; ++i) {
    const Pt a(c(random), c(random));
    out.push_back({a, i % 3 == 0 ? Pt(a.x + shortLength(random), a.y + shortLength(random))
                                 : Pt(c(random), c(random))});
  }
  return out;
}

TEST(PixelateKernels, FourConnectedFastMatchesReference) {
  for (const auto& s : Segments()) {
    std::vector<Pt> reference(3, Pt(1, 2)), fast(3, Pt(1, 2));  // appended after these
    internal::PixelateFourConnectedReference(s.first, s.second, reference);
    internal::PixelateFourConnectedFast(s.first, s.second, fast);
    ASSERT_EQ(fast, reference) << s.first.x << "," << s.first.y << " -> " << s.second.x << ","
                               << s.second.y;
  }
}

TEST(PixelateKernels, BresenhamFastMatchesReference) {
  const int steps[] = {0, 1, 2, 3, 7, 1000, INT_MAX};
  const int limits[] = {-1, -5, 0, 1, 2, 4, 9, 50};
  int index = 0;
  for (const auto& s : Segments()) {
    const int step = steps[index % 7], limit = limits[(index / 7) % 8];
    std::vector<Pt> reference(index % 3, Pt(-1, -1)), fast(index % 3, Pt(-1, -1));
    ++index;
    internal::PixelateBresenhamReference(s.first, s.second, step, limit, reference);
    internal::PixelateBresenhamFast(s.first, s.second, step, limit, fast);
    ASSERT_EQ(fast, reference) << s.first.x << "," << s.first.y << " -> " << s.second.x << ","
                               << s.second.y << " step " << step << " limit " << limit;
  }
}

}  // namespace
}  // namespace norvane
