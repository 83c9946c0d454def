#include "statistics/level_convolution.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#include "statistics/histogram_pdf.h"
#include "support/records.h"

namespace zefra {
namespace {

struct Density {
  bool ok = false;
  std::vector<double> amplitudes;
  std::vector<double> probabilities;
  double offset = -99.0;
};

using Kernel = bool (*)(const DynArray*, int32_t, double, DynArray*, DynArray*, double*, double*);

Density run(Kernel kernel, const std::vector<double>& cursors, int32_t m, double w) {
  auto signal = testing::doubleRow(cursors);
  auto amplitudes = testing::doubleRow({});
  auto density = testing::doubleRow({});
  Density d;
  double width = 0.0;
  d.ok = kernel(signal.get(), m, w, amplitudes.get(), density.get(), &d.offset, &width);
  d.amplitudes.assign(elementsOf<double>(amplitudes.get()),
                      elementsOf<double>(amplitudes.get()) + numel(amplitudes.get()));
  d.probabilities.assign(elementsOf<double>(density.get()),
                         elementsOf<double>(density.get()) + numel(density.get()));
  return d;
}

bool sameDoubles(const std::vector<double>& a, const std::vector<double>& b) {
  return a.size() == b.size() &&
         (a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof(double)) == 0);
}

TEST(LevelConvolution, NoCursorsGiveEmptyAxisAndZeroOffset) {
  const Density d = run(levelConvolutionPdf, {}, 2, 0.1);
  EXPECT_TRUE(d.ok);
  EXPECT_TRUE(d.amplitudes.empty());
  EXPECT_EQ(d.offset, 0.0);
}

TEST(LevelConvolution, OnlyNegativeLargeCursorsCountAsZero) {
  const Density d = run(levelConvolutionPdf, {-5.0, 0.01}, 2, 0.1);
  ASSERT_TRUE(d.ok);
  EXPECT_EQ(d.amplitudes, std::vector<double>{0.0});
  EXPECT_EQ(d.probabilities, std::vector<double>{1.0});
}

TEST(LevelConvolution, OneCursorTwoLevelsGivesTwoHalves) {
  const Density d = run(levelConvolutionPdf, {1.0}, 2, 0.25);
  ASSERT_TRUE(d.ok);
  ASSERT_EQ(d.probabilities.size(), 9u);
  EXPECT_EQ(d.probabilities.front(), 0.5);
  EXPECT_EQ(d.probabilities.back(), 0.5);
  EXPECT_EQ(d.amplitudes.front(), -1.0);
  EXPECT_EQ(d.amplitudes.back(), 1.0);
  for (size_t k = 1; k + 1 < 9; ++k) EXPECT_EQ(d.probabilities[k], 0.0);
}

TEST(LevelConvolution, OversizedCursorFailsAndKeepsEarlierSteps) {
  const Density d = run(levelConvolutionPdf, {0.5, 5000.0}, 2, 1.0 / 4);
  EXPECT_FALSE(d.ok);
  EXPECT_EQ(d.offset, -99.0);  // not written on failure
  EXPECT_EQ(d.probabilities.size(), 5u);
  const Density sorted = run(sortedLevelConvolutionPdf, {0.5, 5000.0}, 2, 1.0 / 4);
  EXPECT_FALSE(sorted.ok);
  EXPECT_EQ(sorted.probabilities, std::vector<double>{1.0});  // failed on the first step
}

TEST(LevelConvolution, SortedOrderMatchesWhenOffsetsAreWholeBins) {
  const Density plain = run(levelConvolutionPdf, {1.0, -0.5, 0.75}, 4, 0.25);
  const Density sorted = run(sortedLevelConvolutionPdf, {1.0, -0.5, 0.75}, 4, 0.25);
  ASSERT_TRUE(plain.ok && sorted.ok);
  EXPECT_EQ(plain.offset, sorted.offset);
  EXPECT_EQ(plain.amplitudes, sorted.amplitudes);
  EXPECT_EQ(plain.probabilities.size(), sorted.probabilities.size());
}

TEST(LevelConvolution, SortedOrderRoundsFractionalOffsets) {
  // M = 4 with w = 0.3: the level 1/3 lands off the grid relative to qMin,
  // so offsets carry rounding and the two variants differ in the axis.
  const Density plain = run(levelConvolutionPdf, {0.7, 0.45}, 3, 0.3);
  const Density sorted = run(sortedLevelConvolutionPdf, {0.7, 0.45}, 3, 0.3);
  ASSERT_TRUE(plain.ok && sorted.ok);
  EXPECT_EQ(sorted.offset, std::round(sorted.offset));
}

TEST(LevelConvolution, EqualMagnitudesOfOppositeSignCommute) {
  const Density a = run(sortedLevelConvolutionPdf, {0.8, -0.8, 0.3}, 4, 0.1);
  const Density b = run(sortedLevelConvolutionPdf, {-0.8, 0.8, 0.3}, 4, 0.1);
  ASSERT_TRUE(a.ok && b.ok);
  EXPECT_TRUE(sameDoubles(a.probabilities, b.probabilities));
  EXPECT_TRUE(sameDoubles(a.amplitudes, b.amplitudes));
}

// The defining density: each cursor's M-point histogram convolved into the
// running density by the full sum out[j] = sum_i prev[i] * pdf[j - i], every
// product taken, in increasing i.
std::vector<double> bruteForceDensity(const std::vector<double>& cursors, int32_t m, double w) {
  std::vector<double> weights(static_cast<size_t>(m), 1.0 / static_cast<double>(m));
  auto weightRow = testing::doubleRow(weights);
  std::vector<double> running{1.0};
  for (const double a : cursors) {
    std::vector<double> points;
    for (int32_t i = 0; i < m; ++i) {
      points.push_back(std::fabs(a) * (static_cast<double>(i + i) / static_cast<double>(m - 1) - 1.0));
    }
    auto pointRow = testing::doubleRow(points);
    auto pdfRow = testing::emptyRecord();
    double offset = 0.0;
    double width = 0.0;
    EXPECT_TRUE(quantizedHistogramPdf(w, pointRow.get(), weightRow.get(), pdfRow.get(), nullptr,
                                      &offset, &width));
    const double* pdf = elementsOf<double>(pdfRow.get());
    const size_t lenPdf = static_cast<size_t>(numel(pdfRow.get()));
    std::vector<double> next(running.size() + lenPdf - 1, 0.0);
    for (size_t j = 0; j < next.size(); ++j) {
      double sum = 0.0;
      for (size_t i = 0; i < running.size(); ++i) {
        if (j >= i && j - i < lenPdf) {
          sum += running[i] * pdf[j - i];
        }
      }
      next[j] = sum;
    }
    running = next;
  }
  return running;
}

TEST(LevelConvolution, DensityMatchesFullConvolutionBitForBit) {
  // Levels up to 100 (more non-zero bins than the sparse form gathers) and
  // cursors of decreasing magnitude, all above w and the first positive, so
  // both kernels keep every cursor and combine them in the given order.
  std::mt19937_64 rng(77);
  std::uniform_real_distribution<double> unit(0.0, 1.0);
  int compared = 0;
  for (int32_t m : {2, 3, 4, 8, 100}) {
    for (double w : {0.01, 0.037, 0.1}) {
      for (int trial = 0; trial < 4; ++trial) {
        std::vector<double> cursors(static_cast<size_t>(2 + trial * 3));
        double scale = 2.0 + unit(rng);
        for (double& c : cursors) {
          c = (&c != cursors.data() && unit(rng) < 0.3 ? -1.0 : 1.0) * scale;
          scale = w + (scale - w) * (0.3 + 0.6 * unit(rng));
        }
        const std::vector<double> expected = bruteForceDensity(cursors, m, w);
        for (Kernel kernel : {Kernel{levelConvolutionPdf}, Kernel{sortedLevelConvolutionPdf}}) {
          const Density d = run(kernel, cursors, m, w);
          ASSERT_TRUE(d.ok);
          ASSERT_TRUE(sameDoubles(d.probabilities, expected))
              << "m " << m << " w " << w << " trial " << trial;
          ++compared;
        }
      }
    }
  }
  EXPECT_EQ(compared, 5 * 3 * 4 * 2);
}

TEST(LevelConvolution, NonPositiveWidthKeepsEverySample) {
  // w <= 0: every cursor is kept, and the core then has no defined bin count.
  EXPECT_FALSE(run(levelConvolutionPdf, {0.5, 0.2}, 2, 0.0).ok);
  EXPECT_FALSE(run(levelConvolutionPdf, {0.5, 0.2}, 2, -0.1).ok);
  EXPECT_FALSE(run(levelConvolutionPdf, {0.5, 0.2}, 2, std::nan("")).ok);
}

TEST(LevelConvolution, OneLevelIsNotANumberAndFails) {
  EXPECT_FALSE(run(levelConvolutionPdf, {0.5}, 1, 0.1).ok);
  EXPECT_FALSE(run(levelConvolutionPdf, {0.5}, 0, 0.1).ok);
  EXPECT_FALSE(run(levelConvolutionPdf, {0.5}, -3, 0.1).ok);
}

}  // namespace
}  // namespace zefra
