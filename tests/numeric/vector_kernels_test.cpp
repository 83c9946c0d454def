#include "numeric/vector_kernels.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include "frame/call_frame.h"
#include "numeric/golden/golden.h"
#include "support/bits.h"
#include "support/records.h"

namespace zefra {
namespace {

using testing::sameBits;

const double kInf = std::numeric_limits<double>::infinity();

std::vector<double> valuesOf(const DynArray* r) {
  const double* v = elementsOf<double>(r);
  return std::vector<double>(v, v + std::max(r->size[0], 0));
}

bool sameDoubles(const std::vector<double>& a, const std::vector<double>& b) {
  return a.size() == b.size() &&
         (a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof(double)) == 0);
}

std::vector<double> modOf(const std::vector<double>& x, double m) {
  CallFrame f;
  DynArray* out = f.doubleOutput(static_cast<int32_t>(x.size()), 1);
  modKernel(f.column(x.data(), static_cast<int32_t>(x.size())), m, out);
  return valuesOf(out);
}

std::vector<double> kronOf(const std::vector<double>& a, const std::vector<double>& b) {
  CallFrame f;
  DynArray* out = f.doubleOutput(0, 1);
  kronKernel(f.column(a.data(), static_cast<int32_t>(a.size())),
             f.column(b.data(), static_cast<int32_t>(b.size())), out);
  return valuesOf(out);
}

std::vector<double> convOf(const std::vector<double>& a, const std::vector<double>& b) {
  CallFrame f;
  DynArray* out = f.doubleOutput(0, 1);
  convKernel(f.column(a.data(), static_cast<int32_t>(a.size())),
             f.column(b.data(), static_cast<int32_t>(b.size())), out);
  return valuesOf(out);
}

std::vector<double> filterOf(const std::vector<double>& b, const std::vector<double>& a,
                             const std::vector<double>& x) {
  CallFrame f;
  DynArray* out = f.doubleOutput(0, 1);
  filterKernel(f.column(b.data(), static_cast<int32_t>(b.size())),
               f.column(a.data(), static_cast<int32_t>(a.size())),
               f.column(x.data(), static_cast<int32_t>(x.size())), out);
  return valuesOf(out);
}

std::vector<double> unwrapOf(const std::vector<double>& x) {
  CallFrame f;
  DynArray* out = f.doubleOutput(0, 1);
  unwrapKernel(f.column(x.data(), static_cast<int32_t>(x.size())), out);
  return valuesOf(out);
}

// --- mod -------------------------------------------------------------------

TEST(Mod, IntegerDivisorTakesItsSign) {
  EXPECT_EQ(modOf({5, -5}, 3), (std::vector<double>{2, 1}));
  EXPECT_EQ(modOf({5, -5}, -3), (std::vector<double>{-1, -2}));
}

TEST(Mod, ZeroDivisorReturnsInput) {
  const std::vector<double> special = {5.5, -0.0, std::nan("")};
  EXPECT_TRUE(sameDoubles(special, modOf(special, 0.0)));
  EXPECT_EQ(modOf({5.5, -2.0}, 0.0), (std::vector<double>{5.5, -2.0}));
}

TEST(Mod, NearMultipleOfNonIntegerDivisorSnapsToZero) {
  EXPECT_TRUE(sameBits(0.0, modOf({0.3}, 0.1)[0]));
  const double q = 0.35 / 0.1;
  EXPECT_TRUE(sameBits((q - std::floor(q)) * 0.1, modOf({0.35}, 0.1)[0]));
  EXPECT_NEAR(modOf({0.35}, 0.1)[0], 0.05, 1e-15);
}

TEST(Mod, IntegerPathHasNoTolerance) {
  // 0.30000000000000004 - floor(...) * 1 is kept as it is.
  const double v = 0.1 + 0.2;
  EXPECT_TRUE(sameBits(v - std::floor(v / 1.0) * 1.0, modOf({v}, 1.0)[0]));
}

TEST(Mod, SmallQuotientsRoundToSignedZero) {
  // q = -0.25 rounds to -0: |q - r| = 0.25 is above the tolerance.
  const double q = -0.025 / 0.1;
  EXPECT_TRUE(sameBits((q - std::floor(q)) * 0.1, modOf({-0.025}, 0.1)[0]));
}

TEST(Mod, HugeQuotientsAreTheirOwnRounding) {
  // |q| >= 2^52: r = q, so the result snaps to zero.
  EXPECT_TRUE(sameBits(0.0, modOf({1e300}, 0.7)[0]));
}

// --- Kron ------------------------------------------------------------------

TEST(Kron, StacksScaledCopiesOfSecondVector) {
  EXPECT_EQ(kronOf({1, 2}, {1, 10, 100}), (std::vector<double>{1, 10, 100, 2, 20, 200}));
}

TEST(Kron, EmptyInputsGiveEmptyResult) {
  EXPECT_TRUE(kronOf({1, 2}, {}).empty());
  EXPECT_TRUE(kronOf({}, {1, 2}).empty());
}

// --- conv ------------------------------------------------------------------

std::vector<double> literalConv(const std::vector<double>& a, const std::vector<double>& b) {
  const auto na = static_cast<int32_t>(a.size());
  const auto nb = static_cast<int32_t>(b.size());
  if (na == 0 || nb == 0) return std::vector<double>(static_cast<size_t>(na + nb), 0.0);
  std::vector<double> y(static_cast<size_t>(na + nb - 1));
  for (int32_t k = 1; k <= na + nb - 1; ++k) {  // one-based as in the definition
    const int32_t jlo = nb < k + 1 ? k - nb + 1 : 1;
    const int32_t jhi = std::min(k, na);
    double sum = 0.0;
    for (int32_t j = jlo; j <= jhi; ++j) {
      sum += a[static_cast<size_t>(j - 1)] * b[static_cast<size_t>(k - j)];
    }
    y[static_cast<size_t>(k - 1)] = sum;
  }
  return y;
}

TEST(Conv, SmallExample) {
  EXPECT_EQ(convOf({1, 2, 3}, {1, 1}), (std::vector<double>{1, 3, 5, 3}));
}

TEST(Conv, EmptyInputGivesOneZeroMoreThanNaPlusNbMinusOne) {
  EXPECT_EQ(convOf({1, 2, 3}, {}), (std::vector<double>{0, 0, 0}));
  EXPECT_EQ(convOf({}, {4, 5}), (std::vector<double>{0, 0}));
}

TEST(Conv, BlockedSumsAgreeWithLiteralSumsBitForBit) {
  std::mt19937_64 rng(31);
  std::normal_distribution<double> normal;
  std::uniform_int_distribution<int> special(0, 30);
  for (int na : {1, 2, 7, 8, 9, 63, 64, 65, 200, 1001}) {
    for (int nb : {1, 2, 5, 8, 17, 64, 300}) {
      std::vector<double> a(static_cast<size_t>(na)), b(static_cast<size_t>(nb));
      for (auto* v : {&a, &b}) {
        for (double& e : *v) {
          const int s = special(rng);
          e = s == 0 ? -0.0 : s == 1 ? 0.0 : s == 2 ? std::nan("") : normal(rng) * std::pow(10.0, s % 7);
        }
      }
      ASSERT_TRUE(sameDoubles(literalConv(a, b), convOf(a, b))) << na << " " << nb;
    }
  }
}

// --- Filter ----------------------------------------------------------------

TEST(Filter, IdentityAndNormalisedIdentity) {
  EXPECT_EQ(filterOf({1}, {1}, {1, 2, 3}), (std::vector<double>{1, 2, 3}));
  EXPECT_EQ(filterOf({2}, {2}, {1, 2, 3}), (std::vector<double>{1, 2, 3}));
}

TEST(Filter, FirstOrderRecursion) {
  EXPECT_EQ(filterOf({1}, {1, -0.5}, {1, 0, 0}), (std::vector<double>{1, 0.5, 0.25}));
}

TEST(Filter, ZeroLeadingCoefficientActsAsOne) {
  EXPECT_EQ(filterOf({1}, {0, -0.5}, {1, 0, 0}), (std::vector<double>{1, 0.5, 0.25}));
  EXPECT_EQ(filterOf({3}, {0}, {1, 2}), (std::vector<double>{3, 6}));
}

TEST(Filter, EmptyNumeratorGivesZeros) {
  EXPECT_EQ(filterOf({}, {1, 0.5}, {1, 2, 3}), (std::vector<double>{0, 0, 0}));
  EXPECT_EQ(filterOf({}, {1}, {1, 2, 3}), (std::vector<double>{0, 0, 0}));
}

TEST(Filter, EmptyDenominatorRunsUnnormalised) {
  EXPECT_EQ(filterOf({2, 1}, {}, {1, 1, 1}), (std::vector<double>{2, 3, 3}));
}

TEST(Filter, SingleDenominatorTermGivesTheLeadingConvolutionTerms) {
  // For nx >= 2 nb the sums run in conv's order (0.0 + b[0] x[k] + b[1] x[k-1]
  // + ...), so any values agree; for nx < 2 nb the recursive form adds the
  // same products in the reverse order, so there b and x are eighths and
  // a0 = 4, which makes every product and partial sum exact in either order.
  std::mt19937_64 rng(4711);
  std::normal_distribution<double> normal;
  for (int nb = 0; nb <= 12; ++nb) {
    for (int nx : {2 * nb - 1, 2 * nb, 2 * nb + 37}) {
      const bool exact = nx < 2 * nb;
      std::vector<double> b(static_cast<size_t>(nb)), x(static_cast<size_t>(std::max(nx, 0)));
      for (double& v : b) v = exact ? std::round(8.0 * normal(rng)) / 8.0 : normal(rng);
      for (double& v : x) v = exact ? std::round(8.0 * normal(rng)) / 8.0 : normal(rng);
      const double a0 = exact ? 4.0 : nb % 3 == 0 ? std::nan("") : 1.0 + std::fabs(normal(rng));
      std::vector<double> leading = b;  // b / a0, where a leading NaN acts as 1
      for (double& v : leading) v = std::isnan(a0) ? v : v / a0;
      leading = convOf(leading, x);
      leading.resize(x.size());
      ASSERT_TRUE(sameDoubles(leading, filterOf(b, {a0}, x))) << nb << " " << nx;
    }
  }
}

TEST(Filter, RecursionFollowsTheDifferenceEquation) {
  // Reference: a0 y[n] = sum_k b[k] x[n-k] - sum_{k>=1} a[k] y[n-k] in long double
  // (or double, where they are the same).  |x| <= 1 and sum_{k>=1} |a[k]| <= a0 / 2
  // (poles inside |z| = 1/2) bound |y| by scale = 2 sum |b| / a0 and at most double
  // the rounding errors of up to 24 terms (~1e-15 scale): 1e-12 scale leaves margin,
  // while a wrong or missing term moves y by orders of magnitude more.
  std::mt19937_64 rng(47);
  std::uniform_real_distribution<double> unit(-1.0, 1.0);
  auto wide = [](double v) { return static_cast<long double>(v); };
  for (int nb = 0; nb <= 12; ++nb) {
    for (size_t na = 2; na <= 12; ++na) {
      std::vector<double> b(static_cast<size_t>(nb)), a(na), x(40);
      for (double& v : b) v = unit(rng);
      for (double& v : x) v = unit(rng);
      a[0] = 1.5 + 0.5 * unit(rng);
      for (size_t k = 1; k < na; ++k) a[k] = unit(rng) * a[0] / (2.0 * static_cast<double>(na - 1));
      double scale = 0.0;
      for (double v : b) scale += 2.0 * std::fabs(v) / a[0];
      const std::vector<double> y = filterOf(b, a, x);
      std::vector<long double> ref(x.size());
      for (size_t n = 0; n < x.size(); ++n) {
        long double sum = 0.0L;
        for (size_t k = 0; k < b.size() && k <= n; ++k) sum += wide(b[k]) * wide(x[n - k]);
        for (size_t k = 1; k < na && k <= n; ++k) sum -= wide(a[k]) * ref[n - k];
        ref[n] = sum / wide(a[0]);
        ASSERT_LE(std::fabs(y[n] - static_cast<double>(ref[n])), 1e-12 * scale) << nb << " " << na << " " << n;
      }
    }
  }
}

TEST(Filter, RecordedBitsAreReproduced) {
  for (const golden::GoldenFilter& c : golden::kFilterGolden) {
    const std::vector<double> y = filterOf(golden::doubles(c.b), golden::doubles(c.a), golden::doubles(c.x));
    EXPECT_TRUE(sameDoubles(golden::doubles(c.y), y)) << c.name;
  }
}

// --- unwrap ----------------------------------------------------------------

TEST(Unwrap, ZerosAndNaNsAreSkippedAndKept) {
  const std::vector<double> y = unwrapOf({1.0, 0.0, std::nan(""), 5.0});
  EXPECT_EQ(y[0], 1.0);
  EXPECT_TRUE(sameBits(0.0, y[1]));
  EXPECT_TRUE(std::isnan(y[2]));
  EXPECT_NEAR(y[3], 5.0 - 2 * 3.141592653589793, 1e-15);
}

TEST(Unwrap, OnlyLastSampleValidIsUnchanged) {
  const std::vector<double> lastValid = {0.0, std::nan(""), 7.0};
  EXPECT_TRUE(sameDoubles(lastValid, unwrapOf(lastValid)));
  EXPECT_EQ(unwrapOf({0.0, 0.0, 7.0}), (std::vector<double>{0.0, 0.0, 7.0}));
}

TEST(Unwrap, EmptyAndSingle) {
  EXPECT_TRUE(unwrapOf({}).empty());
  EXPECT_EQ(unwrapOf({4.0}), std::vector<double>{4.0});
}

TEST(Unwrap, DifferenceOfExactlyPiIsCorrected) {
  // |d| >= pi includes equality; d = pi > 0 maps e = -pi to +pi, so the
  // correction is e - d = 0.
  const double pi = 3.141592653589793;
  const std::vector<double> y = unwrapOf({1.0, 1.0 + pi});
  EXPECT_TRUE(sameBits(1.0 + pi, y[1]));
}

TEST(Unwrap, ValidSamplesMoveByWholeTurnsToStepsOfAtMostPi) {
  // Phases stay within ~1e2 rad over at most 60 samples, and each corrected step
  // rounds the difference, its reduction and the running correction (~1e-14 rad
  // each): 1e-9 rad bounds the accumulated error with margin.
  const double pi = 3.141592653589793, tol = 1e-9;
  std::mt19937_64 rng(777);
  std::uniform_real_distribution<double> unit(0.0, 1.0);
  for (int trial = 0; trial < 2000; ++trial) {
    std::vector<double> x(static_cast<size_t>(trial % 61));
    double phase = (unit(rng) - 0.5) * 10.0;
    for (double& v : x) {  // steps of exactly +-pi, whole turns, small or large steps
      const double u = unit(rng);
      phase += u < 0.06 ? (u < 0.03 ? pi : -pi)
               : u < 0.08 ? 2.0 * pi * std::floor(unit(rng) * 5.0 - 2.0)
                          : (unit(rng) - 0.5) * (trial % 2 == 0 ? 1.0 : 9.0);
      v = u > 0.97 ? std::nan("") : u > 0.94 ? 0.0 : u > 0.93 ? (u > 0.935 ? 1.0 : -1.0) * kInf
          : trial % 3 == 0 ? std::remainder(phase, 2.0 * pi) : phase;
    }
    const std::vector<double> y = unwrapOf(x);
    bool infinite = false;
    double last = std::nan("");  // the previous valid output
    for (size_t i = 0; i < x.size(); ++i) {
      const bool valid = !std::isnan(x[i]) && x[i] != 0.0;
      infinite = infinite || (valid && std::isinf(x[i]));
      if (!valid || infinite) {  // invalid samples pass through; past an infinity no step is defined
        ASSERT_TRUE(valid ? !std::isfinite(y[i]) : testing::bitsOf(x[i]) == testing::bitsOf(y[i])) << trial << " " << i;
        continue;
      }
      // The first valid sample is kept exactly, later ones move by whole turns.
      const double turn = 2.0 * pi * std::round((y[i] - x[i]) / (2.0 * pi));
      ASSERT_NEAR(y[i] - x[i], turn, std::isnan(last) ? 0.0 : tol) << trial << " " << i;
      ASSERT_LE(std::isnan(last) ? 0.0 : std::fabs(y[i] - last), pi + tol) << trial << " " << i;
      last = y[i];
    }
  }
}

TEST(Unwrap, RecordedBitsAreReproduced) {
  for (const golden::GoldenUnwrap& c : golden::kUnwrapGolden) {
    EXPECT_TRUE(sameDoubles(golden::doubles(c.y), unwrapOf(golden::doubles(c.x)))) << c.name;
  }
}

// --- polynomials -----------------------------------------------------------

TEST(Polynomials, RootsOneAndTwoGiveOneMinusThreeTwo) {
  CallFrame f;
  const std::vector<double> r = {1.0, 2.0};
  DynArray* c = f.doubleOutput(1, 3);
  polyFromRoots(f.column(r.data(), 2), c);
  EXPECT_EQ(c->size[0], 1);
  EXPECT_EQ(c->size[1], 3);
  EXPECT_EQ(elementsOf<double>(c)[0], 1.0);
  EXPECT_EQ(elementsOf<double>(c)[1], -3.0);
  EXPECT_EQ(elementsOf<double>(c)[2], 2.0);
}

TEST(Polynomials, NoRootsGiveOne) {
  CallFrame f;
  DynArray* c = f.doubleOutput(1, 1);
  polyFromRoots(f.column(nullptr, 0), c);
  EXPECT_EQ(c->size[1], 1);
  EXPECT_EQ(elementsOf<double>(c)[0], 1.0);
}

std::vector<Complex> polyvalOf(const std::vector<double>& p, const std::vector<Complex>& z) {
  CallFrame f;
  DynArrayPtr w = testing::complexColumn(std::vector<Complex>(z.size()));
  polyvalComplex(f.column(p.data(), static_cast<int32_t>(p.size())),
                 testing::complexColumn(z).get(), w.get());
  const Complex* v = elementsOf<Complex>(w.get());
  return std::vector<Complex>(v, v + z.size());
}

TEST(Polynomials, HornerAtComplexPoints) {
  const std::vector<Complex> w = polyvalOf({1, 0, -1}, {{0, 1}, {2, 0}});
  EXPECT_TRUE(testing::sameComplexBits(Complex{-2.0, 0.0}, w[0]));
  EXPECT_TRUE(testing::sameComplexBits(Complex{3.0, 0.0}, w[1]));
}

TEST(Polynomials, EmptyAndConstantCoefficientLists) {
  const std::vector<Complex> zero = polyvalOf({}, {{1, 1}, {2, 3}});
  EXPECT_TRUE(testing::sameComplexBits(Complex{0.0, 0.0}, zero[1]));
  const std::vector<Complex> constant = polyvalOf({4.5}, {{1, 1}, {2, 3}});
  EXPECT_TRUE(testing::sameComplexBits(Complex{4.5, 0.0}, constant[0]));
  EXPECT_TRUE(testing::sameComplexBits(Complex{4.5, 0.0}, constant[1]));
}

TEST(Polynomials, PointByPointHornerEqualsCoefficientByCoefficient) {
  std::mt19937_64 rng(8);
  std::normal_distribution<double> normal;
  std::vector<double> p(9);
  for (double& v : p) v = normal(rng);
  std::vector<Complex> z(50);
  for (Complex& v : z) v = {normal(rng), normal(rng)};
  std::vector<Complex> w(z.size(), Complex{p[0], 0.0});
  for (size_t k = 1; k < p.size(); ++k) {
    for (size_t i = 0; i < z.size(); ++i) {
      w[i] = {w[i].re * z[i].re - w[i].im * z[i].im + p[k], w[i].re * z[i].im + w[i].im * z[i].re};
    }
  }
  const std::vector<Complex> fast = polyvalOf(p, z);
  for (size_t i = 0; i < z.size(); ++i) {
    EXPECT_TRUE(testing::sameComplexBits(w[i], fast[i]));
  }
}

// n + 1 coefficients for n = 2^31 - 1 cannot be formed: nothing is written.
TEST(Polynomials, LargestRootCountWritesNothing) {
  DynArrayPtr roots(dynArrayInit(2));
  roots->size[0] = INT32_MAX;  // no storage is read before the check
  roots->size[1] = 1;
  CallFrame f;
  DynArray* c = f.doubleOutput(1, 1);
  elementsOf<double>(c)[0] = 7.0;
  polyFromRoots(roots.get(), c);
  EXPECT_EQ(c->size[1], 1);
  EXPECT_EQ(elementsOf<double>(c)[0], 7.0);
}

}  // namespace
}  // namespace zefra
