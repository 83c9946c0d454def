// The density exports through the public header: allocation hand-over and
// release, failure paths and d_cpdf's output counts.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "zefra/tdr_helpers.h"

namespace {

struct Result {
  bool ok = false;
  std::vector<double> amplitudes;
  std::vector<double> probabilities;
  double offset = -99.0;
  double width = -99.0;
};

using DensityExport = bool (*)(const double*, int32_t, const void*, double**, double**, double*,
                               double*, int32_t, int32_t*);

Result call(DensityExport fn, const std::vector<double>& signal, int32_t m, double w) {
  Result r;
  double* a = nullptr;
  double* p = nullptr;
  int32_t count = -1;
  r.width = w;
  r.ok = fn(signal.data(), m, nullptr, &a, &p, &r.offset, &r.width,
            static_cast<int32_t>(signal.size()), &count);
  EXPECT_NE(a, nullptr);
  EXPECT_NE(p, nullptr);
  r.amplitudes.assign(a, a + count);
  r.probabilities.assign(p, p + count);
  zefra_release_array(a);
  zefra_release_array(p);
  return r;
}

TEST(DensityExports, EmptySignalSucceedsWithNoBins) {
  for (DensityExport fn : {&get_pdf_from_sampled_signal, &get_pdf_from_sampled_signal_800G}) {
    const Result r = call(fn, {}, 2, 0.1);
    EXPECT_TRUE(r.ok);
    EXPECT_TRUE(r.amplitudes.empty());
    EXPECT_EQ(r.offset, 0.0);
    EXPECT_EQ(r.width, 0.1);
  }
}

TEST(DensityExports, FailureStillHandsOverArraysAndLeavesOffset) {
  const Result r = call(get_pdf_from_sampled_signal, {0.5, 5000.0}, 2, 0.25);
  EXPECT_FALSE(r.ok);
  EXPECT_EQ(r.offset, -99.0);
  EXPECT_EQ(r.amplitudes.size(), 5u);
  EXPECT_EQ(r.probabilities.front(), 0.5);
}

TEST(DensityExports, ProbabilitiesSumToOne) {
  const Result r = call(get_pdf_from_sampled_signal, {0.9, 0.3, -0.2, 0.12, 0.05}, 4, 0.01);
  ASSERT_TRUE(r.ok);
  double sum = 0.0;
  for (double v : r.probabilities) sum += v;
  EXPECT_NEAR(sum, 1.0, 1e-12);
  for (size_t i = 1; i < r.amplitudes.size(); ++i) {
    EXPECT_NEAR(r.amplitudes[i] - r.amplitudes[i - 1], 0.01, 1e-12);
  }
}

TEST(DensityExports, ReleaseIgnoresNullAndReleasesHandedOverArrays) {
  EXPECT_NO_THROW(zefra_release_array(nullptr));
  // Arrays from an empty call are real allocations (non-null) that the
  // release accepts; LeakSanitizer in the sanitize build checks nothing is
  // left behind.
  double* a = nullptr;
  double* p = nullptr;
  double offset = 0.0, width = 0.1;
  int32_t count = -1;
  ASSERT_TRUE(get_pdf_from_sampled_signal(nullptr, 2, nullptr, &a, &p, &offset, &width, 0, &count));
  EXPECT_EQ(count, 0);
  EXPECT_NE(a, nullptr);
  EXPECT_NE(p, nullptr);
  EXPECT_NO_THROW(zefra_release_array(a));
  EXPECT_NO_THROW(zefra_release_array(p));
}

TEST(CpdfExport, NoPointsFailsAndWritesOutCountZeros) {
  std::vector<double> c(4, 7.0), d(4, 7.0);
  double offset = -99.0, width = -99.0;
  EXPECT_FALSE(d_cpdf(nullptr, nullptr, c.data(), d.data(), 0, 0, 3, 0.1, &offset, &width));
  EXPECT_EQ(c, (std::vector<double>{0.0, 0.0, 0.0, 7.0}));
  EXPECT_EQ(d, (std::vector<double>{0.0, 0.0, 0.0, 7.0}));
  EXPECT_EQ(offset, -99.0);
}

TEST(CpdfExport, GridLongerThanDensityIsPaddedWithZeros) {
  // Points {2w, 3w}: x = 2, grid of 5 centres, trimmed density of 2 bins.
  const double points[2] = {0.2, 0.3};
  const double weights[2] = {0.5, 0.5};
  std::vector<double> c(6, 7.0), d(6, 7.0);
  double offset = 0.0, width = 0.0;
  ASSERT_TRUE(d_cpdf(points, weights, c.data(), d.data(), 2, 2, 0, 0.1, &offset, &width));
  EXPECT_EQ(offset, 2.0);
  EXPECT_EQ(d, (std::vector<double>{0.5, 0.5, 0.0, 0.0, 0.0, 7.0}));
  EXPECT_EQ(c[5], 7.0);
  EXPECT_NEAR(c[0], -0.2, 1e-15);
  EXPECT_NEAR(c[4], 0.2, 1e-15);
}

TEST(CpdfExport, OverlappingOutputsAreWrittenIndexByIndex) {
  // densityOut one element after centersOut: centre i lands at i, density i
  // at i + 1, in the order centre 0, density 0, centre 1, density 1, ...
  const double points[2] = {0.2, 0.3};
  const double weights[2] = {0.5, 0.5};
  std::vector<double> c(5), d(5);
  double offset = 0.0, width = 0.0;
  ASSERT_TRUE(d_cpdf(points, weights, c.data(), d.data(), 2, 2, 0, 0.1, &offset, &width));
  std::vector<double> expected(6, 7.0);
  for (size_t i = 0; i < 5; ++i) {
    expected[i] = c[i];
    expected[i + 1] = d[i];
  }
  std::vector<double> shared(6, 7.0);
  ASSERT_TRUE(d_cpdf(points, weights, shared.data(), shared.data() + 1, 2, 2, 0, 0.1, &offset,
                     &width));
  EXPECT_EQ(shared, expected);
}

TEST(CpdfExport, NaNWidthFailsWithoutCrashing) {
  const double points[1] = {1.0};
  const double weights[1] = {1.0};
  std::vector<double> c(2, 7.0), d(2, 7.0);
  double offset = 0.0, width = 0.0;
  EXPECT_FALSE(d_cpdf(points, weights, c.data(), d.data(), 1, 1, 2, NAN, &offset, &width));
  EXPECT_EQ(c, (std::vector<double>{0.0, 0.0}));
}

}  // namespace
