#include "statistics/histogram_pdf.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "support/bits.h"
#include "support/records.h"

namespace zefra {
namespace {

using testing::sameBits;

struct Histogram {
  bool ok = false;
  std::vector<double> pdf;
  std::vector<double> centers;
  double offset = -99.0;
  double width = -99.0;
};

Histogram histogram(double w, const std::vector<double>& points,
                    const std::vector<double>& weights) {
  auto p = testing::doubleRow(points);
  auto wt = testing::doubleRow(weights);
  auto pdf = testing::emptyRecord();
  auto centers = testing::emptyRecord();
  Histogram h;
  h.ok = quantizedHistogramPdf(w, p.get(), wt.get(), pdf.get(), centers.get(), &h.offset,
                               &h.width);
  if (h.ok) {
    h.pdf.assign(elementsOf<double>(pdf.get()), elementsOf<double>(pdf.get()) + numel(pdf.get()));
    h.centers.assign(elementsOf<double>(centers.get()),
                     elementsOf<double>(centers.get()) + numel(centers.get()));
  }
  return h;
}

TEST(HistogramPdf, AllZeroPointsGiveOneCentredBin) {
  const Histogram h = histogram(0.1, {0.0, 0.0, 0.0}, {0.25, 0.5, 0.25});
  ASSERT_TRUE(h.ok);
  EXPECT_EQ(h.pdf, std::vector<double>{1.0});
  EXPECT_EQ(h.centers, std::vector<double>{0.0});
  EXPECT_TRUE(sameBits(0.0, h.offset));
  EXPECT_EQ(h.width, 0.1);
}

TEST(HistogramPdf, SymmetricPairGivesThreeBins) {
  const Histogram h = histogram(0.1, {-0.1, 0.1}, {0.5, 0.5});
  ASSERT_TRUE(h.ok);
  EXPECT_EQ(h.pdf, (std::vector<double>{0.5, 0.0, 0.5}));
  EXPECT_EQ(h.offset, -1.0);
  EXPECT_EQ(h.centers, (std::vector<double>{-0.1, 0.0, 0.1}));
}

TEST(HistogramPdf, TwoThousandBinsSucceedAndTwoThousandOneFail) {
  EXPECT_TRUE(histogram(1.0, {0.0, 1999.0}, {0.5, 0.5}).ok);
  EXPECT_FALSE(histogram(1.0, {0.0, 2000.0}, {0.5, 0.5}).ok);
}

TEST(HistogramPdf, QuantisesInSinglePrecisionHalfAwayFromZero) {
  // 0.25 / 0.1 = 2.5 rounds away from zero to 3 bins; -2.5 to -3.
  const Histogram h = histogram(0.1, {0.25, -0.25}, {0.5, 0.5});
  ASSERT_TRUE(h.ok);
  EXPECT_EQ(h.pdf.size(), 7u);
  EXPECT_EQ(h.offset, (-3.0 * 0.1) / 0.1);  // qMin / w + first, first = 0
}

TEST(HistogramPdf, OnlyScannedBinsAreNormalised) {
  // Weights summing to 4: the end bins are divided, the middle one is not.
  const Histogram h = histogram(1.0, {0.0, 1.0, 2.0}, {1.0, 2.0, 1.0});
  ASSERT_TRUE(h.ok);
  EXPECT_EQ(h.pdf, (std::vector<double>{0.25, 2.0, 0.25}));
}

TEST(HistogramPdf, BinReachedByBothScansIsDividedTwice) {
  const Histogram h = histogram(1.0, {3.0}, {4.0});
  ASSERT_TRUE(h.ok);
  EXPECT_EQ(h.pdf, std::vector<double>{0.25});  // (4 / 4) / 4
}

TEST(HistogramPdf, UndefinedBinCountsFail) {
  EXPECT_FALSE(histogram(std::nan(""), {1.0}, {1.0}).ok);
  EXPECT_FALSE(histogram(0.0, {1.0}, {1.0}).ok);
  EXPECT_FALSE(histogram(-0.5, {1.0, 2.0}, {0.5, 0.5}).ok);
  EXPECT_FALSE(histogram(0.1, {}, {}).ok);
  EXPECT_FALSE(histogram(0.1, {std::nan(""), 1.0}, {0.5, 0.5}).ok);
  EXPECT_FALSE(histogram(0.1, {std::numeric_limits<double>::infinity()}, {1.0}).ok);
}

TEST(HistogramPdf, LaterNaNPointGoesToFirstBin) {
  const Histogram h = histogram(1.0, {0.0, std::nan(""), 2.0}, {0.25, 0.5, 0.25});
  ASSERT_TRUE(h.ok);
  EXPECT_EQ(h.pdf, (std::vector<double>{0.75, 0.0, 0.25}));
}

TEST(HistogramPdf, MissingWeightsCountAsZero) {
  const Histogram h = histogram(1.0, {0.0, 1.0, 2.0}, {0.5, 0.5});
  ASSERT_TRUE(h.ok);
  EXPECT_EQ(h.pdf, (std::vector<double>{0.5, 0.5}));
}

TEST(HistogramPdf, InfiniteTotalKeepsNoBinAndPutsTheFirstBinAtMinusOne) {
  // 1e308 + 1e308 overflows: every bin divided by the total is 0.
  const Histogram h = histogram(1.0, {0.0, 1.0}, {1e308, 1e308});
  ASSERT_TRUE(h.ok);
  EXPECT_TRUE(h.pdf.empty());
  EXPECT_EQ(h.offset, -1.0);
  EXPECT_EQ(h.centers, (std::vector<double>{-1.0, 0.0, 1.0}));
}

// The density by brute force, straight from its definition: points
// quantised into a stored copy, the range from them, every point's bin by a
// scan of all bins for the first smallest |(qMin - q) + j w|, then the
// partial normalisation and trimming and the centre grid.
Histogram literalHistogram(double w, std::vector<double> points,
                           const std::vector<double>& weights) {
  Histogram h;
  const auto n = static_cast<int32_t>(points.size());
  if (n < 1) return h;
  for (double& p : points) p = static_cast<double>(std::roundf(static_cast<float>(p / w))) * w;
  double qMin = points[0];
  double qMax = points[0];
  for (int32_t i = 1; i < n; ++i) {
    const double q = points[static_cast<size_t>(i)];
    if (q > qMax) {
      qMax = q;
    } else {
      qMin = q < qMin ? q : qMin;
    }
  }
  const double span = std::trunc(std::floor((qMax - qMin + 2.220446049250313e-16) / w) + 1.0);
  if (!(span >= 1.0 && span <= 2000.0)) return h;
  const auto nb = static_cast<int32_t>(span);
  std::vector<double> bins(static_cast<size_t>(nb), 0.0);
  for (int32_t i = 0; i < n; ++i) {
    const double weight = static_cast<size_t>(i) < weights.size() ? weights[static_cast<size_t>(i)] : 0.0;
    const double offset = qMin - points[static_cast<size_t>(i)];
    int32_t nearest = 0;
    for (int32_t j = 1; j < nb; ++j) {
      if (std::fabs(offset + j * w) < std::fabs(offset + nearest * w)) nearest = j;
    }
    bins[static_cast<size_t>(nearest)] += weight;
  }
  double total = 0.0;
  for (double b : bins) total += b;
  int32_t first = -1;
  for (int32_t j = 0; j < nb; ++j) {
    double& b = bins[static_cast<size_t>(j)];
    b = b / total;
    if (b != 0.0 || std::isnan(b)) { first = j; break; }
  }
  int32_t last = -1;
  for (int32_t j = nb - 1; j >= (first < 0 ? 0 : first); --j) {
    double& b = bins[static_cast<size_t>(j)];
    b = b / total;
    if (b != 0.0 || std::isnan(b)) { last = j; break; }
  }
  const double x = qMin / w + static_cast<double>(first);
  const double r = std::fabs(static_cast<double>(std::roundf(static_cast<float>(x))));
  const double count = std::trunc(2.0 * r + 1.0);
  if (!(count <= 2147483647.0)) return h;
  h.ok = true;
  if (first >= 0 && last >= first) h.pdf.assign(bins.begin() + first, bins.begin() + last + 1);
  for (int32_t k = 0; k < static_cast<int32_t>(count); ++k) {
    h.centers.push_back((static_cast<double>(k) - std::fabs(x)) * w);
  }
  h.offset = x;
  h.width = w;
  return h;
}

// Every result as bits: the flag, offset and width (-99 when not written),
// the density and the centres.
std::vector<uint64_t> bitsOf(const Histogram& h) {
  std::vector<uint64_t> bits = {h.ok, testing::bitsOf(h.offset), testing::bitsOf(h.width),
                                h.pdf.size()};
  for (double v : h.pdf) bits.push_back(testing::bitsOf(v));
  for (double v : h.centers) bits.push_back(testing::bitsOf(v));
  return bits;
}

TEST(HistogramPdf, StreamingCoreMatchesStoredLiteralForm) {
  // Random clouds of points with NaN, infinities and signed zeros mixed in,
  // weight lists shorter than the points, and widths from tiny to huge.
  std::mt19937_64 rng(424242);
  std::uniform_real_distribution<double> unit(0.0, 1.0);
  std::normal_distribution<double> normal;
  // Huge widths put every point in one or two bins; -1e300 is the one
  // negative width that succeeds (the span rounds to one bin).
  const double widths[] = {1.0, 0.1, 1e-3, 0.37, 3e-7, 2.5e4, -0.5, 0.0, 1e-300, 1e300, -1e300};
  int successes = 0;
  const int trials = 3300;
  for (int trial = 0; trial < trials; ++trial) {
    const double w = widths[trial % 11];
    const auto n = static_cast<size_t>(1 + (trial % 7 == 0 ? 5000 : trial % 97));
    const double spread = w * (1.0 + unit(rng) * 600.0);
    std::vector<double> points(n);
    for (double& p : points) {
      const double u = unit(rng);
      p = u < 0.01   ? std::nan("")
          : u < 0.02 ? -0.0
          : u < 0.025 ? (u < 0.0225 ? 1.0 : -1.0) * std::numeric_limits<double>::infinity()
                      : normal(rng) * spread;
    }
    if (trial % 3 == 0) {  // no special values: most of these succeed
      for (double& p : points) p = normal(rng) * spread;
    }
    std::vector<double> weights(trial % 5 == 0 ? n / 2 : n);
    for (double& x : weights) x = unit(rng) / static_cast<double>(n);
    const Histogram expected = literalHistogram(w, points, weights);
    ASSERT_EQ(bitsOf(expected), bitsOf(histogram(w, points, weights))) << "trial " << trial;
    successes += expected.ok ? 1 : 0;
  }
  EXPECT_GT(successes, trials / 4);  // the comparison covers real densities
}

}  // namespace
}  // namespace zefra
