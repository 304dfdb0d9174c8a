#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <thread>
#include <vector>

#include "norvane/intermediate_results/intermediate_result_unit.h"
#include "norvane/intermediate_results/observation_parameters.h"
#include "norvane/intermediate_results/text_zone.h"

namespace norvane {
namespace intermediate_results {
namespace {

struct Unit : CIntermediateResultUnit {
  IntermediateResultUnitType GetType() const override {
    return static_cast<IntermediateResultUnitType>(4);
  }
  CIntermediateResultUnit* Clone() const override { return new Unit; }
  int GetCount() const override { return 0; }
  void Retain() override {}
  void Release() override {}
};

// The product of two row-major 3x3 matrices, written out in the test.
void Multiply(const double* a, const double* b, double* out) {
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j) {
      out[i * 3 + j] = 0;
      for (int k = 0; k < 3; ++k) out[i * 3 + j] += a[i * 3 + k] * b[k * 3 + j];
    }
}

TEST(CIntermediateResultUnit, TransformsAndOwnedFields) {
  Unit unit;
  const double projective[9] = {1.2, 0.1, 30, -0.2, 0.9, 12, 0.0005, 0.0002, 1};
  unit.SetTransformMatrix(TMT_FIRST_INVERSE, projective);
  double inverse[9], product[9], back[9], m[9];
  unit.GetTransformMatrix(TMT_FIRST, inverse);
  unit.GetTransformMatrix(TMT_FIRST_INVERSE, back);
  Multiply(projective, inverse, product);
  for (int k = 0; k < 9; ++k) {
    EXPECT_NEAR(product[k], k % 4 == 0 ? 1.0 : 0.0, 1e-9);
    EXPECT_NEAR(back[k], projective[k], 1e-9);
  }
  // A singular matrix keeps what was there, in both directions.
  const double singular[9] = {1, 2, 3, 2, 4, 6, 0, 0, 1};
  unit.SetTransformMatrix(TMT_SECOND, singular);
  unit.SetTransformMatrix(TMT_FIRST_INVERSE, singular);
  unit.GetTransformMatrix(TMT_FIRST, m);
  EXPECT_TRUE(std::equal(m, m + 9, inverse));
  double untouched[9] = {7, 7, 7, 7, 7, 7, 7, 7, 7};
  unit.GetTransformMatrix(TMT_SECOND_INVERSE, untouched);
  unit.GetTransformMatrix(static_cast<TransformMatrixType>(9), untouched);
  EXPECT_EQ(untouched[0], 7.0);

  basic_structures::CFileImageTag tag("a.png", 1, 2);
  unit.SetOriginalImageTag(&tag);
  unit.SetOriginalImageTag(&tag);  // replaces (and frees) the held clone
  unit.SetOriginalImageTag(nullptr);
  ASSERT_NE(unit.GetOriginalImageTag(), nullptr);
  EXPECT_NE(unit.GetOriginalImageTag(), &tag);
}

TEST(CObservationParametersImp, FiltersAndMarksFromThreads) {
  CObservationParametersImp params;
  auto type = [](unsigned long long bits) { return static_cast<IntermediateResultUnitType>(bits); };
  // Everything is observed until a filter is set; types match on any shared bit.
  EXPECT_TRUE(params.IsResultUnitTypeObserved(type(1ull << 63)));
  EXPECT_TRUE(params.IsTaskObserved("B") && params.IsTaskObserved(nullptr));
  EXPECT_FALSE(params.IsResultUnitTypeOnlyForInput(IRUT_ALL));
  params.AddObservedTask("A");
  params.AddObservedTask(nullptr);
  EXPECT_FALSE(params.IsTaskObserved("B") || params.IsTaskObserved(nullptr));
  EXPECT_TRUE(params.IsTaskObserved("A"));
  params.RemoveObservedTask("A");
  EXPECT_TRUE(params.IsTaskObserved("B"));
  params.SetObservedResultUnitTypes(6);
  EXPECT_FALSE(params.IsResultUnitTypeObserved(type(1)));
  EXPECT_TRUE(params.IsResultUnitTypeObserved(type(5)));

  params.SetFunctionMark(1);
  params.SetFunctionMark(4);
  EXPECT_EQ(params.GetFunctionMark(~0ull), 5u);
  EXPECT_EQ(params.GetFunctionMark(4), 4u);
  // Bits set from many threads at once are never lost.
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&params, t] {
      for (int bit = t; bit < 64; bit += 4) params.SetTimeMark(1ull << bit);
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(params.GetTimeMark(~0ull), ~0ull);
}

TEST(CTextZone, IndicesAreOwnedAndDeepCopied) {
  basic_structures::CQuadrilateral quad;
  quad.points[2].x = 9;
  const int indices[3] = {4, 5, 6};
  CTextZone zone(quad, indices, 3), copy(zone), assigned;
  assigned = zone;
  int *held = nullptr, *copied = nullptr, count = 0;
  zone.GetCharContoursIndices(&held, &count);
  copy.GetCharContoursIndices(&copied, &count);
  EXPECT_TRUE(held != copied && held != indices);
  EXPECT_EQ(std::vector<int>(copied, copied + count), std::vector<int>({4, 5, 6}));
  EXPECT_EQ(assigned.GetLocation().points[2].x, 9);
  // An empty or missing list holds nothing.
  zone.SetCharContoursIndices(indices, 0);
  zone.GetCharContoursIndices(&held, &count);
  EXPECT_TRUE(held == nullptr && count == 0);
  copy.SetCharContoursIndices(nullptr, 5);
  copy.GetCharContoursIndices(&held, &count);
  EXPECT_EQ(count, 0);
  copy.GetCharContoursIndices(nullptr, &count);
}

}  // namespace
}  // namespace intermediate_results
}  // namespace norvane
