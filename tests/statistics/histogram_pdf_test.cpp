#include "statistics/histogram_pdf.h"

#include <gtest/gtest.h>

#include <cmath>
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
  EXPECT_FALSE(histogram(0.1, {INFINITY}, {1.0}).ok);
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

TEST(NearestBin, HalfwayGoesToLowerBin) {
  // q sits exactly between bins 1 and 2 of the grid 0, 1, 2, 3.
  EXPECT_EQ(nearestBinByScan(0.0, 1.5, 1.0, 4), 1);
  EXPECT_EQ(nearestBin(0.0, 1.5, 1.0, 4), 1);
}

TEST(NearestBin, ConstantTimeSearchAgreesWithScan) {
  std::mt19937_64 rng(5150);
  std::uniform_real_distribution<double> unit(0.0, 1.0);
  std::uniform_int_distribution<int32_t> bins(1, 2000);
  const double widths[] = {1.0, 0.1, 0.25, 1e-3, 3e-7, 7.5, 1e-300, 1e300};
  int compared = 0;
  for (int trial = 0; trial < 200000; ++trial) {
    const double w = widths[trial % 8] * (trial % 3 == 0 ? 1.0 : (0.5 + unit(rng)));
    const int32_t nb = bins(rng);
    const double qMin = (unit(rng) - 0.5) * 100.0 * w;
    double q;
    switch (trial % 5) {
      case 0:  // exactly on a bin
        q = qMin + std::floor(unit(rng) * nb) * w;
        break;
      case 1:  // exactly halfway between bins
        q = qMin + (std::floor(unit(rng) * nb) + 0.5) * w;
        break;
      case 2:  // outside the grid
        q = qMin + (unit(rng) - 0.5) * 4.0 * nb * w;
        break;
      case 3:  // one ulp around a bin
        q = std::nextafter(qMin + std::floor(unit(rng) * nb) * w, unit(rng) < 0.5 ? -1e308 : 1e308);
        break;
      default:
        q = qMin + unit(rng) * nb * w;
    }
    ASSERT_EQ(nearestBinByScan(qMin, q, w, nb), nearestBin(qMin, q, w, nb))
        << "qMin " << qMin << " q " << q << " w " << w << " nb " << nb;
    ++compared;
  }
  EXPECT_EQ(nearestBin(0.0, std::nan(""), 1.0, 5), 0);
  EXPECT_EQ(nearestBin(0.0, -0.0, 1.0, 5), 0);
  EXPECT_EQ(compared, 200000);
}

}  // namespace
}  // namespace zefra
