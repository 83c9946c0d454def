#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <utility>
#include <vector>

#include "frame/call_frame.h"
#include "numeric/polyfit.h"
#include "numeric/reductions.h"
#include "support/bits.h"

namespace zefra {
namespace {

using testing::sameBits;

// Bits the fit of (0, 1), (1, 3), (2, 5) yields.
constexpr double kLineSlope = 2.0;                     // 0x4000000000000000
constexpr double kLineIntercept = 1.0000000000000004;  // 0x3ff0000000000002

// ---------------------------------------------------------------------------
// A second, deliberately plain transcription of the fit: one contiguous
// column-major m x 2 matrix addressed with 1-based (row, column) indices,
// columns exchanged element by element, its own scaled norm and hypot.  The
// library's kernel must agree with it bit for bit.
namespace literal {

double scaledNorm(const std::vector<double>& v, int first, int count) {
  if (count < 1) {
    return 0.0;
  }
  if (count == 1) {
    return std::fabs(v[static_cast<size_t>(first)]);
  }
  double scale = 2.2250738585072014e-308;
  double ssq = 0.0;
  for (int e = first; e < first + count; e++) {
    double a = std::fabs(v[static_cast<size_t>(e)]);
    if (a > scale) {
      double s = scale / a;
      ssq = s * ssq * s + 1.0;
      scale = a;
    } else {
      double s = a / scale;
      ssq = ssq + s * s;
    }
  }
  return scale * std::sqrt(ssq);
}

double hypot2(double a, double b) {
  if (std::fabs(b) > std::fabs(a)) {
    return std::fabs(b) * std::sqrt((a / b) * (a / b) + 1.0);
  }
  if (std::fabs(a) > std::fabs(b)) {
    return std::fabs(a) * std::sqrt((b / a) * (b / a) + 1.0);
  }
  if (std::isnan(b)) {
    return b;
  }
  return std::fabs(a) * 1.4142135623730951;
}

// Reflection for alpha and the n - 1 entries v[first ...].  `hung` is set
// if the rescaling loop would have needed more than 100 rounds.
double reflector(int n, double& alpha, std::vector<double>& v, int first, bool& hung,
                 bool& rescaled) {
  const double safmin = 1.0020841800044864e-292;
  const double rsafmn = 9.9792015476736e291;
  if (n < 1) {
    return 0.0;
  }
  double xnorm = scaledNorm(v, first, n - 1);
  if (xnorm == 0.0) {
    return 0.0;
  }
  double beta = hypot2(alpha, xnorm);
  if (alpha >= 0.0) {
    beta = -beta;
  }
  int knt = 0;
  if (std::fabs(beta) < safmin) {
    rescaled = true;
    do {
      knt = knt + 1;
      for (int e = first; e < first + n - 1; e++) {
        v[static_cast<size_t>(e)] = v[static_cast<size_t>(e)] * rsafmn;
      }
      beta = beta * rsafmn;
      alpha = alpha * rsafmn;
      if (knt > 100) {
        hung = true;
        break;
      }
    } while (std::fabs(beta) < safmin);
    xnorm = scaledNorm(v, first, n - 1);
    beta = hypot2(alpha, xnorm);
    if (alpha >= 0.0) {
      beta = -beta;
    }
  }
  double tau = (beta - alpha) / beta;
  double s = 1.0 / (alpha - beta);
  for (int e = first; e < first + n - 1; e++) {
    v[static_cast<size_t>(e)] = v[static_cast<size_t>(e)] * s;
  }
  for (int r = 0; r < knt; r++) {
    beta = beta * safmin;
  }
  alpha = beta;
  return tau;
}

struct Fit {
  double slope;
  double intercept;
  double rank;
  bool swapped;
  bool hung;
  bool rescaled;
};

Fit polyfit(const std::vector<double>& x, const std::vector<double>& y) {
  const int m = static_cast<int>(x.size());
  const int n = 2;
  const int k = std::min(m, n);
  std::vector<double> A(static_cast<size_t>(2 * m));
  auto at = [&](int i, int j) -> double& { return A[static_cast<size_t>((i - 1) + (j - 1) * m)]; };
  std::vector<double> b(static_cast<size_t>(m));
  for (int i = 1; i <= m; i++) {
    at(i, 1) = x[static_cast<size_t>(i - 1)];
    at(i, 2) = 1.0;
    b[static_cast<size_t>(i - 1)] = y[static_cast<size_t>(i - 1)];
  }
  Fit fit{0.0, 0.0, 0.0, false, false, false};

  int jpvt[3] = {0, 1, 2};
  double vn1[3] = {0.0, 0.0, 0.0};
  double vn2[3] = {0.0, 0.0, 0.0};
  double tau[3] = {0.0, 0.0, 0.0};
  for (int j = 1; j <= n; j++) {
    vn1[j] = scaledNorm(A, (j - 1) * m, m);
    vn2[j] = vn1[j];
  }
  for (int i = 1; i <= k; i++) {
    int p = i;
    for (int j = i + 1; j <= n; j++) {
      if (vn1[j] > vn1[p]) {
        p = j;
      }
    }
    if (p != i) {
      for (int r = 1; r <= m; r++) {
        std::swap(at(r, p), at(r, i));
      }
      std::swap(jpvt[p], jpvt[i]);
      vn1[p] = vn1[i];
      vn2[p] = vn2[i];
      fit.swapped = true;
    }
    if (i < m) {
      tau[i] = reflector(m - i + 1, at(i, i), A, i + (i - 1) * m, fit.hung, fit.rescaled);
    } else {
      tau[i] = 0.0;
    }
    for (int j = i + 1; j <= n; j++) {
      if (tau[i] != 0.0) {
        double w = at(i, j);
        for (int l = i + 1; l <= m; l++) {
          w = w + at(l, i) * at(l, j);
        }
        w = w * tau[i];
        at(i, j) = at(i, j) - w;
        for (int l = i + 1; l <= m; l++) {
          at(l, j) = at(l, j) - at(l, i) * w;
        }
      }
    }
    for (int j = i + 1; j <= n; j++) {
      if (vn1[j] != 0.0) {
        double temp = std::fabs(at(i, j)) / vn1[j];
        temp = 1.0 - temp * temp;
        if (temp < 0.0) {
          temp = 0.0;
        }
        double temp2 = temp * ((vn1[j] / vn2[j]) * (vn1[j] / vn2[j]));
        if (temp2 <= 1.4901161193847656e-8) {
          if (i < m) {
            vn1[j] = scaledNorm(A, i + (j - 1) * m, m - i);
          } else {
            vn1[j] = 0.0;
          }
          vn2[j] = vn1[j];
        } else {
          vn1[j] = vn1[j] * std::sqrt(temp);
        }
      }
    }
  }

  if (k > 0) {
    double tol = 2.220446049250313e-16 * static_cast<double>(std::max(m, 2)) * std::fabs(at(1, 1));
    int r = 0;
    while (r < k && std::fabs(at(r + 1, r + 1)) > tol) {
      r++;
    }
    fit.rank = r;
  }

  for (int i = 1; i <= k; i++) {
    if (tau[i] != 0.0) {
      double w = b[static_cast<size_t>(i - 1)];
      for (int l = i + 1; l <= m; l++) {
        w = w + at(l, i) * b[static_cast<size_t>(l - 1)];
      }
      w = w * tau[i];
      b[static_cast<size_t>(i - 1)] = b[static_cast<size_t>(i - 1)] - w;
      for (int l = i + 1; l <= m; l++) {
        b[static_cast<size_t>(l - 1)] = b[static_cast<size_t>(l - 1)] - at(l, i) * w;
      }
    }
  }

  double c[3] = {0.0, 0.0, 0.0};
  for (int i = 1; i <= k; i++) {
    c[jpvt[i]] = b[static_cast<size_t>(i - 1)];
  }
  for (int j = k; j >= 1; j--) {
    c[jpvt[j]] = c[jpvt[j]] / at(j, j);
    for (int i = 1; i < j; i++) {
      c[jpvt[i]] = c[jpvt[i]] - at(i, j) * c[jpvt[j]];
    }
  }
  fit.slope = c[1];
  fit.intercept = c[2];
  return fit;
}

}  // namespace literal

// ---------------------------------------------------------------------------

struct Coeffs {
  double slope;
  double intercept;
};

Coeffs fitOf(const std::vector<double>& x, const std::vector<double>& y) {
  CallFrame frame;
  double coeffs[2] = {-7.0, -7.0};
  polyfitLinear(frame.column(x.data(), static_cast<int32_t>(x.size())),
                frame.column(y.data(), static_cast<int32_t>(y.size())), coeffs);
  return {coeffs[0], coeffs[1]};
}

// The kernel's QR on the design matrix [x, 1], for rank and pivot checks.
struct QrOutcome {
  double rank;
  bool swapped;
  Coeffs coeffs;
};

QrOutcome qrOf(const std::vector<double>& x, const std::vector<double>& y) {
  std::vector<double> a1 = x;
  std::vector<double> a2(x.size(), 1.0);
  std::vector<double> b = y;
  double* columns[2] = {a1.data(), a2.data()};
  double c[2] = {-7.0, -7.0};
  const double rank = pivotedQrSolve(static_cast<int32_t>(x.size()), 2, columns, b.data(), c);
  return {rank, columns[0] == a2.data(), {c[0], c[1]}};
}

::testing::AssertionResult matchesLiteral(const std::vector<double>& x,
                                          const std::vector<double>& y) {
  const literal::Fit expected = literal::polyfit(x, y);
  if (expected.hung) {
    return ::testing::AssertionFailure() << "literal rescaling loop did not terminate";
  }
  const Coeffs got = fitOf(x, y);
  const QrOutcome qr = qrOf(x, y);
  const auto slope = sameBits(expected.slope, got.slope);
  const auto intercept = sameBits(expected.intercept, got.intercept);
  if (!slope) {
    return ::testing::AssertionFailure()
           << "slope: " << slope.message() << " (m=" << x.size() << ")";
  }
  if (!intercept) {
    return ::testing::AssertionFailure()
           << "intercept: " << intercept.message() << " (m=" << x.size() << ")";
  }
  if (expected.rank != qr.rank || expected.swapped != qr.swapped) {
    return ::testing::AssertionFailure()
           << "rank " << qr.rank << " vs " << expected.rank << ", swapped " << qr.swapped << " vs "
           << expected.swapped;
  }
  if (!sameBits(got.slope, qr.coeffs.slope) || !sameBits(got.intercept, qr.coeffs.intercept)) {
    return ::testing::AssertionFailure() << "pivotedQrSolve and polyfitLinear disagree";
  }
  return ::testing::AssertionSuccess();
}

// ---------------------------------------------------------------------------
// polyfitLinear

TEST(Polyfit, ThreePointsOnALineGiveSlopeTwoInterceptOne) {
  const Coeffs fit = fitOf({0.0, 1.0, 2.0}, {1.0, 3.0, 5.0});
  EXPECT_NEAR(fit.slope, 2.0, 1e-14);
  EXPECT_NEAR(fit.intercept, 1.0, 1e-14);
}

TEST(Polyfit, ThreePointsOnALineGiveStableBits) {
  const Coeffs fit = fitOf({0.0, 1.0, 2.0}, {1.0, 3.0, 5.0});
  EXPECT_TRUE(sameBits(kLineSlope, fit.slope));
  EXPECT_TRUE(sameBits(kLineIntercept, fit.intercept));
  EXPECT_TRUE(matchesLiteral({0.0, 1.0, 2.0}, {1.0, 3.0, 5.0}));
  // Repeated calls give the same bits.
  const Coeffs again = fitOf({0.0, 1.0, 2.0}, {1.0, 3.0, 5.0});
  EXPECT_TRUE(sameBits(fit.slope, again.slope));
  EXPECT_TRUE(sameBits(fit.intercept, again.intercept));
}

TEST(Polyfit, NoisyLineIsFittedInTheLeastSquaresSense) {
  // Residuals of a least-squares fit are orthogonal to both columns.
  const std::vector<double> x = {-2.0, -1.0, 0.5, 1.0, 3.0, 4.5};
  const std::vector<double> y = {-3.1, -0.8, 2.2, 2.9, 7.2, 9.8};
  const Coeffs fit = fitOf(x, y);
  double sumResidual = 0.0;
  double sumResidualX = 0.0;
  for (size_t l = 0; l < x.size(); ++l) {
    const double residual = y[l] - (fit.slope * x[l] + fit.intercept);
    sumResidual += residual;
    sumResidualX += residual * x[l];
  }
  EXPECT_NEAR(sumResidual, 0.0, 1e-12);
  EXPECT_NEAR(sumResidualX, 0.0, 1e-12);
  EXPECT_TRUE(matchesLiteral(x, y));
}

TEST(Polyfit, AllEqualXGivesNonFiniteOrMeaninglessValuesWithoutError) {
  const std::vector<double> x = {2.0, 2.0, 2.0};
  const std::vector<double> y = {1.0, 2.0, 3.0};
  const Coeffs fit = fitOf(x, y);
  // The second diagonal entry of R is zero or rounding-sized: the
  // coefficients are not finite, or far from any meaningful line.
  const bool nonFinite = !std::isfinite(fit.slope) || !std::isfinite(fit.intercept);
  const bool meaningless = std::fabs(fit.slope) > 1e6 || std::fabs(fit.intercept) > 1e6;
  EXPECT_TRUE(nonFinite || meaningless) << fit.slope << " " << fit.intercept;
  EXPECT_TRUE(matchesLiteral(x, y));
  EXPECT_EQ(qrOf(x, y).rank, 1.0);
}

TEST(Polyfit, AllEqualXOfOneMakesIdenticalColumns) {
  const std::vector<double> x = {1.0, 1.0, 1.0, 1.0};
  const std::vector<double> y = {1.0, 2.0, 3.0, 4.0};
  EXPECT_TRUE(matchesLiteral(x, y));
  EXPECT_EQ(qrOf(x, y).rank, 1.0);
}

TEST(Polyfit, SinglePointIsSolvedByOneCoefficient) {
  // |x| larger than 1: the x column leads, the slope solves the point.
  Coeffs fit = fitOf({4.0}, {8.0});
  EXPECT_TRUE(sameBits(2.0, fit.slope));
  EXPECT_TRUE(sameBits(0.0, fit.intercept));
  // |x| smaller than 1: the column of ones leads, the intercept solves it.
  fit = fitOf({0.5}, {3.0});
  EXPECT_TRUE(sameBits(0.0, fit.slope));
  EXPECT_TRUE(sameBits(3.0, fit.intercept));
  // A tie keeps the x column.
  fit = fitOf({-1.0}, {3.0});
  EXPECT_TRUE(sameBits(-3.0, fit.slope));
  EXPECT_TRUE(sameBits(0.0, fit.intercept));
  // x = 0.
  fit = fitOf({0.0}, {5.0});
  EXPECT_TRUE(sameBits(0.0, fit.slope));
  EXPECT_TRUE(sameBits(5.0, fit.intercept));
  EXPECT_EQ(qrOf({4.0}, {8.0}).rank, 1.0);
  EXPECT_EQ(qrOf({0.0}, {5.0}).rank, 1.0);
  EXPECT_TRUE(matchesLiteral({4.0}, {8.0}));
  EXPECT_TRUE(matchesLiteral({0.5}, {3.0}));
}

TEST(Polyfit, NoPointsGiveZeros) {
  const Coeffs fit = fitOf({}, {});
  EXPECT_TRUE(sameBits(0.0, fit.slope));
  EXPECT_TRUE(sameBits(0.0, fit.intercept));
  EXPECT_EQ(qrOf({}, {}).rank, 0.0);
}

TEST(Polyfit, NegativeCountsGiveZeros) {
  CallFrame frame;
  double coeffs[2] = {-7.0, -7.0};
  polyfitLinear(frame.column(nullptr, -3), frame.column(nullptr, -3), coeffs);
  EXPECT_TRUE(sameBits(0.0, coeffs[0]));
  EXPECT_TRUE(sameBits(0.0, coeffs[1]));
}

TEST(Polyfit, ShorterYIsReadAsZeroPastItsEnd) {
  // y borrows a buffer of exactly two values, so a read past it would be
  // caught by the address sanitizer.
  const std::vector<double> x = {0.0, 1.0, 2.0};
  const std::vector<double> shortY = {1.0, 3.0};
  CallFrame frame;
  double coeffs[2] = {-7.0, -7.0};
  polyfitLinear(frame.borrowedColumn(x.data(), 3), frame.borrowedColumn(shortY.data(), 2), coeffs);
  const Coeffs padded = fitOf(x, {1.0, 3.0, 0.0});
  EXPECT_TRUE(sameBits(padded.slope, coeffs[0]));
  EXPECT_TRUE(sameBits(padded.intercept, coeffs[1]));

  double empty[2] = {-7.0, -7.0};
  polyfitLinear(frame.borrowedColumn(x.data(), 3), frame.borrowedColumn(static_cast<const double*>(nullptr), 0), empty);
  EXPECT_TRUE(sameBits(0.0, std::fabs(empty[0])));
  EXPECT_TRUE(sameBits(0.0, std::fabs(empty[1])));
}

TEST(Polyfit, LongerYUsesItsFirstMValues) {
  const Coeffs fit = fitOf({0.0, 1.0, 2.0}, {1.0, 3.0, 5.0, 100.0, -4.0});
  const Coeffs exact = fitOf({0.0, 1.0, 2.0}, {1.0, 3.0, 5.0});
  EXPECT_TRUE(sameBits(exact.slope, fit.slope));
  EXPECT_TRUE(sameBits(exact.intercept, fit.intercept));
}

TEST(Polyfit, InputRecordsAreNotModified) {
  const std::vector<double> x = {0.25, 1.5, 2.0, 7.0};
  const std::vector<double> y = {1.0, -3.0, 5.0, 2.0};
  CallFrame frame;
  double coeffs[2];
  polyfitLinear(frame.borrowedColumn(x.data(), 4), frame.borrowedColumn(y.data(), 4), coeffs);
  EXPECT_EQ(x, (std::vector<double>{0.25, 1.5, 2.0, 7.0}));
  EXPECT_EQ(y, (std::vector<double>{1.0, -3.0, 5.0, 2.0}));
}

TEST(Polyfit, TinyMagnitudesMatchLiteral) {
  // x of magnitude 1e-300: the second reflection works on entries below the
  // safe minimum and goes through the rescaling.
  const std::vector<double> x = {1e-300, 3e-300, -2e-300, 5e-300, 4e-300};
  const std::vector<double> y = {1.0, 2.0, 0.5, 4.0, -1.0};
  EXPECT_TRUE(matchesLiteral(x, y));
  EXPECT_TRUE(literal::polyfit(x, y).rescaled);
  EXPECT_TRUE(literal::polyfit(x, y).swapped);
  const std::vector<double> line = {3e-300, 5e-300, 9e-300};
  const std::vector<double> onLine = {2.0 * 3e300 * 3e-300 + 1.0, 2.0 * 3e300 * 5e-300 + 1.0,
                                      2.0 * 3e300 * 9e-300 + 1.0};
  EXPECT_TRUE(matchesLiteral(line, onLine));
  const Coeffs fit = fitOf(line, onLine);
  EXPECT_NEAR(fit.slope / 6e300, 1.0, 1e-12);
  EXPECT_NEAR(fit.intercept, 1.0, 1e-12);
}

TEST(Polyfit, HugeMagnitudesMatchLiteral) {
  const std::vector<double> x = {1e300, -3e300, 2e300, 5e300};
  const std::vector<double> y = {1e300, 2.0, -1e299, 4.0};
  EXPECT_TRUE(matchesLiteral(x, y));
  const Coeffs fit = fitOf({1e300, 2e300, 3e300}, {3.0, 5.0, 7.0});
  EXPECT_NEAR(fit.slope * 1e300, 2.0, 1e-12);
  EXPECT_NEAR(fit.intercept, 1.0, 1e-12);
}

TEST(Polyfit, NaNInputGivesNaNWithoutHanging) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const Coeffs fit = fitOf({0.0, nan, 2.0}, {1.0, 3.0, 5.0});
  EXPECT_TRUE(std::isnan(fit.slope) || std::isnan(fit.intercept));
  EXPECT_TRUE(matchesLiteral({0.0, nan, 2.0}, {1.0, 3.0, 5.0}));
  EXPECT_TRUE(matchesLiteral({0.0, 1.0, 2.0}, {1.0, nan, 5.0}));
  const double inf = std::numeric_limits<double>::infinity();
  EXPECT_TRUE(matchesLiteral({0.0, inf, 2.0}, {1.0, 3.0, 5.0}));
}

TEST(Polyfit, MatchesLiteralTranscriptionOnRandomProblems) {
  std::mt19937_64 rng(20240611);
  std::uniform_real_distribution<double> unit(-1.0, 1.0);
  std::uniform_int_distribution<int> smallM(1, 3);
  std::uniform_int_distribution<int> mediumM(4, 60);
  std::uniform_int_distribution<int> largeM(2000, 20000);
  const double scales[] = {1e-310, 1e-300, 1e-200, 1e-20, 1.0, 1e20, 1e200, 1e300};
  std::uniform_int_distribution<int> pickScale(0, 7);

  int rescaledProblems = 0;
  int swappedProblems = 0;
  int rankDeficientProblems = 0;
  for (int problem = 0; problem < 500; ++problem) {
    const int kind = problem % 10;
    int m = 0;
    if (kind == 0 || kind == 1) {
      m = smallM(rng);
    } else if (kind == 9 && problem % 50 == 9) {
      m = largeM(rng);
    } else {
      m = mediumM(rng);
    }
    std::vector<double> x(static_cast<size_t>(m));
    std::vector<double> y(static_cast<size_t>(m));
    const double xScale = scales[pickScale(rng)];
    const double yScale = scales[pickScale(rng)];
    const double slope = unit(rng) * 10.0;
    const double intercept = unit(rng) * 10.0;
    for (size_t l = 0; l < x.size(); ++l) {
      switch (kind) {
        case 2:  // equal column norms: entries of magnitude exactly 1
          x[l] = unit(rng) < 0.0 ? -1.0 : 1.0;
          break;
        case 3:  // all-equal x
          x[l] = problem % 20 == 3 ? 1.0 : 2.5;
          break;
        case 4:  // tiny x, exercising the safe-minimum rescaling
          x[l] = unit(rng) * (problem % 20 == 4 ? 1e-300 : 1e-310);
          break;
        case 5:  // huge x
          x[l] = unit(rng) * 1e300;
          break;
        case 6:  // some zeros and signed zeros
          x[l] = (l % 3 == 0) ? (l % 2 == 0 ? 0.0 : -0.0) : unit(rng) * xScale;
          break;
        default:
          x[l] = unit(rng) * xScale;
          break;
      }
      if (kind == 7) {
        y[l] = unit(rng) * yScale;
      } else {
        y[l] = slope * x[l] + intercept + unit(rng) * 1e-3;
      }
    }
    ASSERT_TRUE(matchesLiteral(x, y)) << "problem " << problem << ", kind " << kind;
    const literal::Fit fit = literal::polyfit(x, y);
    rescaledProblems += fit.rescaled ? 1 : 0;
    swappedProblems += fit.swapped ? 1 : 0;
    rankDeficientProblems += (m >= 2 && fit.rank < 2.0) ? 1 : 0;
  }
  // The problems cover every branch of the factorisation.
  EXPECT_GT(rescaledProblems, 10);
  EXPECT_GT(swappedProblems, 50);
  EXPECT_GT(rankDeficientProblems, 10);
}

TEST(Polyfit, OneMillionPointsMatchLiteralAndRecoverTheLine) {
  const int m = 1000000;
  std::vector<double> x(static_cast<size_t>(m));
  std::vector<double> y(static_cast<size_t>(m));
  for (int l = 0; l < m; ++l) {
    x[static_cast<size_t>(l)] = static_cast<double>(l) * 1e-3;
    y[static_cast<size_t>(l)] = -0.5 * x[static_cast<size_t>(l)] + 4.0;
  }
  const Coeffs fit = fitOf(x, y);
  EXPECT_NEAR(fit.slope, -0.5, 1e-9);
  EXPECT_NEAR(fit.intercept, 4.0, 1e-6);
  EXPECT_TRUE(matchesLiteral(x, y));
}

// ---------------------------------------------------------------------------
// pivotedQrSolve

TEST(PivotedQr, SmallXSwapsColumnsAndStillFits) {
  // ||x|| < ||1||: the column of ones is factorised first.
  const std::vector<double> x = {0.1, 0.2, 0.3};
  const std::vector<double> y = {1.2, 1.4, 1.6};
  const QrOutcome qr = qrOf(x, y);
  EXPECT_TRUE(qr.swapped);
  EXPECT_EQ(qr.rank, 2.0);
  EXPECT_NEAR(qr.coeffs.slope, 2.0, 1e-13);
  EXPECT_NEAR(qr.coeffs.intercept, 1.0, 1e-13);
  EXPECT_TRUE(matchesLiteral(x, y));
}

TEST(PivotedQr, LargeXKeepsColumnOrder) {
  const std::vector<double> x = {10.0, 20.0, 30.0};
  const std::vector<double> y = {21.0, 41.0, 61.0};
  const QrOutcome qr = qrOf(x, y);
  EXPECT_FALSE(qr.swapped);
  EXPECT_EQ(qr.rank, 2.0);
  EXPECT_NEAR(qr.coeffs.slope, 2.0, 1e-13);
  EXPECT_NEAR(qr.coeffs.intercept, 1.0, 1e-12);
  EXPECT_TRUE(matchesLiteral(x, y));
}

TEST(PivotedQr, EqualColumnNormsKeepTheLowerIndex) {
  const std::vector<double> x = {1.0, -1.0, -1.0, 1.0};
  const std::vector<double> y = {3.0, -1.0, -1.0, 3.0};
  const QrOutcome qr = qrOf(x, y);
  EXPECT_FALSE(qr.swapped);
  EXPECT_NEAR(qr.coeffs.slope, 2.0, 1e-14);
  EXPECT_NEAR(qr.coeffs.intercept, 1.0, 1e-14);
  EXPECT_TRUE(matchesLiteral(x, y));
}

TEST(PivotedQr, WritesTheFactorisationInPlace) {
  // x = {0, 1, 2}: first column reflected onto -||x|| = -sqrt(5).
  std::vector<double> a1 = {0.0, 1.0, 2.0};
  std::vector<double> a2 = {1.0, 1.0, 1.0};
  std::vector<double> b = {1.0, 3.0, 5.0};
  double* columns[2] = {a1.data(), a2.data()};
  double c[2];
  EXPECT_EQ(pivotedQrSolve(3, 2, columns, b.data(), c), 2.0);
  EXPECT_EQ(columns[0], a1.data());
  EXPECT_NEAR(a1[0], -std::sqrt(5.0), 1e-15);
  // R[0,1] = -(x . 1) / ||x|| = -3 / sqrt(5); |R[1,1]| = sqrt(3 - 9/5).
  EXPECT_NEAR(a2[0], -3.0 / std::sqrt(5.0), 1e-15);
  EXPECT_NEAR(std::fabs(a2[1]), std::sqrt(3.0 - 9.0 / 5.0), 1e-15);
}

TEST(PivotedQr, EmptyMatrixGivesZeroRankAndZeros) {
  double* columns[2] = {nullptr, nullptr};
  double c[2] = {-7.0, -7.0};
  EXPECT_EQ(pivotedQrSolve(0, 2, columns, nullptr, c), 0.0);
  EXPECT_TRUE(sameBits(0.0, c[0]));
  EXPECT_TRUE(sameBits(0.0, c[1]));
}

// ---------------------------------------------------------------------------
// householderVector

TEST(Householder, ReflectsOntoMinusTheNormForPositiveAlpha) {
  double alpha = 3.0;
  double x[1] = {4.0};
  const double tau = householderVector(2, &alpha, x, 0);
  EXPECT_TRUE(sameBits(-5.0, alpha));
  EXPECT_TRUE(sameBits(1.6, tau));
  EXPECT_TRUE(sameBits(0.5, x[0]));
}

TEST(Householder, NegativeAlphaGivesPositiveBeta) {
  double alpha = -3.0;
  double x[1] = {4.0};
  const double tau = householderVector(2, &alpha, x, 0);
  EXPECT_TRUE(sameBits(5.0, alpha));
  EXPECT_TRUE(sameBits(1.6, tau));
  EXPECT_TRUE(sameBits(-0.5, x[0]));
}

TEST(Householder, NegativeZeroAlphaCountsAsNonNegative) {
  double alpha = -0.0;
  double x[1] = {2.0};
  const double tau = householderVector(2, &alpha, x, 0);
  EXPECT_TRUE(sameBits(-2.0, alpha));
  EXPECT_TRUE(sameBits(1.0, tau));
  EXPECT_TRUE(sameBits(1.0, x[0]));
}

TEST(Householder, WorksOnAnOffsetStretch) {
  double alpha = 1.0;
  double v[5] = {9.0, 9.0, 2.0, 2.0, 9.0};
  const double tau = householderVector(3, &alpha, v, 2);
  EXPECT_TRUE(sameBits(-3.0, alpha));
  EXPECT_TRUE(sameBits(4.0 / 3.0, tau));
  EXPECT_TRUE(sameBits(0.5, v[2]));
  EXPECT_TRUE(sameBits(0.5, v[3]));
  EXPECT_TRUE(sameBits(9.0, v[1]));
  EXPECT_TRUE(sameBits(9.0, v[4]));
}

TEST(Householder, SingleEntryOrZeroTailGivesNoReflection) {
  double alpha = -4.0;
  EXPECT_TRUE(sameBits(0.0, householderVector(1, &alpha, nullptr, 0)));
  EXPECT_TRUE(sameBits(-4.0, alpha));
  EXPECT_TRUE(sameBits(0.0, householderVector(0, &alpha, nullptr, 0)));
  double x[2] = {0.0, -0.0};
  EXPECT_TRUE(sameBits(0.0, householderVector(3, &alpha, x, 0)));
  EXPECT_TRUE(sameBits(-4.0, alpha));
  EXPECT_TRUE(sameBits(0.0, x[0]));
  EXPECT_TRUE(sameBits(-0.0, x[1]));
}

::testing::AssertionResult householderMatchesLiteral(double alpha, std::vector<double> x) {
  std::vector<double> literalX = x;
  double literalAlpha = alpha;
  bool hung = false;
  bool rescaled = false;
  const int n = static_cast<int>(x.size()) + 1;
  const double literalTau = literal::reflector(n, literalAlpha, literalX, 0, hung, rescaled);
  if (hung) {
    return ::testing::AssertionFailure() << "literal loop did not terminate";
  }
  const double tau = householderVector(n, &alpha, x.data(), 0);
  if (!sameBits(literalTau, tau) || !sameBits(literalAlpha, alpha)) {
    return ::testing::AssertionFailure() << "tau/beta differ";
  }
  for (size_t l = 0; l < x.size(); ++l) {
    if (!sameBits(literalX[l], x[l])) {
      return ::testing::AssertionFailure() << "entry " << l << " differs";
    }
  }
  return ::testing::AssertionSuccess();
}

TEST(Householder, TinyInputsAreRescaledBeforeTheReflection) {
  // alpha = x = 2^-1064 (subnormal): computed directly, beta would carry
  // only about ten significant bits; after rescaling by 2^970 tau is
  // accurate to the last bit or so: tau = 1 + 1/sqrt(2).
  const double tiny = std::ldexp(1.0, -1064);
  double alpha = tiny;
  double x[1] = {tiny};
  const double tau = householderVector(2, &alpha, x, 0);
  EXPECT_NEAR(tau, 1.0 + 1.0 / std::sqrt(2.0), 4e-16);
  EXPECT_NEAR(x[0], 1.0 / (1.0 + std::sqrt(2.0)), 4e-16);
  EXPECT_LT(alpha, 0.0);
  EXPECT_NEAR(alpha / tiny, -std::sqrt(2.0), 2e-3);
  EXPECT_TRUE(householderMatchesLiteral(tiny, {tiny}));
  std::vector<double> literalX = {tiny};
  double literalAlpha = tiny;
  bool hung = false;
  bool rescaled = false;
  literal::reflector(2, literalAlpha, literalX, 0, hung, rescaled);
  EXPECT_TRUE(rescaled);
}

TEST(Householder, TinyAndSubnormalInputsMatchLiteral) {
  const double denormMin = std::numeric_limits<double>::denorm_min();
  EXPECT_TRUE(householderMatchesLiteral(1e-300, {2e-300, 2e-300}));
  EXPECT_TRUE(householderMatchesLiteral(-1e-300, {2e-300, -7e-301, 3e-300}));
  EXPECT_TRUE(householderMatchesLiteral(0.0, {denormMin}));
  EXPECT_TRUE(householderMatchesLiteral(denormMin, {denormMin, -denormMin}));
  EXPECT_TRUE(householderMatchesLiteral(-0.0, {1e-310, 3e-315}));
  EXPECT_TRUE(householderMatchesLiteral(1e-293, {1e-294}));
  EXPECT_TRUE(householderMatchesLiteral(1.0, {1e-300}));
}

TEST(Householder, NonFiniteInputsTerminate) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double inf = std::numeric_limits<double>::infinity();
  double alpha = nan;
  double x[1] = {1e-300};
  EXPECT_TRUE(std::isnan(householderVector(2, &alpha, x, 0)));
  EXPECT_TRUE(householderMatchesLiteral(nan, {1e-300}));
  EXPECT_TRUE(householderMatchesLiteral(1e-300, {nan}));
  EXPECT_TRUE(householderMatchesLiteral(1e-300, {inf}));
  EXPECT_TRUE(householderMatchesLiteral(inf, {1e-300}));
}

// ---------------------------------------------------------------------------
// safeHypot, scaledNorm2, scaleVector

TEST(SafeHypot, LargerSecondMagnitudeIsFactoredOut) {
  EXPECT_TRUE(sameBits(5.0, safeHypot(3.0, -4.0)));
  EXPECT_TRUE(sameBits(4.0 * std::sqrt((3.0 / 4.0) * (3.0 / 4.0) + 1.0), safeHypot(-3.0, 4.0)));
  EXPECT_TRUE(sameBits(1e300, safeHypot(1.0, 1e300)));
}

TEST(SafeHypot, LargerFirstMagnitudeIsFactoredOut) {
  EXPECT_TRUE(sameBits(5.0, safeHypot(-4.0, 3.0)));
  EXPECT_TRUE(sameBits(13.0, safeHypot(12.0, 5.0)));
  EXPECT_NEAR(safeHypot(3e300, 4e300) / 5e300, 1.0, 1e-15);
  EXPECT_NEAR(safeHypot(3e-310, 4e-310) / 5e-310, 1.0, 1e-5);
}

TEST(SafeHypot, EqualMagnitudesUseSquareRootOfTwo) {
  EXPECT_TRUE(sameBits(2.0 * 1.4142135623730951, safeHypot(2.0, -2.0)));
  EXPECT_TRUE(sameBits(0.0, safeHypot(-0.0, 0.0)));
  const double inf = std::numeric_limits<double>::infinity();
  EXPECT_TRUE(sameBits(inf, safeHypot(-inf, inf)));
}

TEST(SafeHypot, NaNPropagates) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double negativeNaN = -nan;
  EXPECT_TRUE(sameBits(negativeNaN, safeHypot(1.0, negativeNaN)));  // b returned as it is
  EXPECT_TRUE(std::isnan(safeHypot(nan, 1.0)));
  EXPECT_TRUE(std::isnan(safeHypot(nan, nan)));
}

TEST(ScaledNorm, MatchesNormKernelBitForBit) {
  std::mt19937_64 rng(7);
  std::uniform_real_distribution<double> unit(-1.0, 1.0);
  std::uniform_int_distribution<int> length(0, 40);
  const double scales[] = {1e-310, 1e-300, 1.0, 1e150, 1e300};
  for (int trial = 0; trial < 300; ++trial) {
    std::vector<double> v(static_cast<size_t>(length(rng)));
    for (double& e : v) {
      e = unit(rng) * scales[static_cast<size_t>(trial) % 5];
    }
    CallFrame frame;
    const double expected = normKernel(frame.column(v.data(), static_cast<int32_t>(v.size())));
    ASSERT_TRUE(sameBits(expected, scaledNorm2(static_cast<int32_t>(v.size()), v.data(), 0)));
    // The same stretch placed inside a longer vector.
    std::vector<double> padded(v.size() + 5, 1e200);
    std::copy(v.begin(), v.end(), padded.begin() + 3);
    ASSERT_TRUE(sameBits(expected, scaledNorm2(static_cast<int32_t>(v.size()), padded.data(), 3)));
  }
}

TEST(ScaledNorm, ShortStretches) {
  const double v[3] = {-7.0, 3.0, 4.0};
  EXPECT_TRUE(sameBits(0.0, scaledNorm2(0, v, 1)));
  EXPECT_TRUE(sameBits(0.0, scaledNorm2(-2, v, 1)));
  EXPECT_TRUE(sameBits(7.0, scaledNorm2(1, v, 0)));
  EXPECT_TRUE(sameBits(5.0, scaledNorm2(2, v, 1)));
}

TEST(PolyfitHelpers, ScaleVectorMultipliesOnlyTheStretch) {
  double v[5] = {1.0, 2.0, 3.0, 4.0, 5.0};
  scaleVector(2, -0.5, v, 1);
  EXPECT_TRUE(sameBits(1.0, v[0]));
  EXPECT_TRUE(sameBits(-1.0, v[1]));
  EXPECT_TRUE(sameBits(-1.5, v[2]));
  EXPECT_TRUE(sameBits(4.0, v[3]));
  scaleVector(0, 100.0, v, 3);
  EXPECT_TRUE(sameBits(4.0, v[3]));
}

}  // namespace
}  // namespace zefra
