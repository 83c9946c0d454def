#include "numeric/vector_kernels.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include "frame/call_frame.h"
#include "support/bits.h"
#include "support/records.h"

namespace zefra {
namespace {

using testing::sameBits;

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

// The literal form: work copies, normalisation, FIR over coefficients when
// na = 1 and nx >= 2 nb, otherwise transposed direct form II with an
// explicit state shift.
std::vector<double> literalFilter(std::vector<double> b, std::vector<double> a,
                                  const std::vector<double>& x) {
  const auto nb = static_cast<int32_t>(b.size());
  const auto na = static_cast<int32_t>(a.size());
  const auto nx = static_cast<int32_t>(x.size());
  const double a0 = a[0];
  if (!std::isnan(a0) && a0 != 0.0 && a0 != 1.0) {
    for (double& v : b) v = v / a0;
    for (size_t i = 1; i < a.size(); ++i) a[i] = a[i] / a0;
    a[0] = 1.0;
  }
  std::vector<double> y(x.size(), 0.0);
  if (na == 1 && nx >= 2 * nb) {
    for (int32_t k = 0; k < nb; ++k)
      for (int32_t j = k; j < nx; ++j) y[static_cast<size_t>(j)] += b[static_cast<size_t>(k)] * x[static_cast<size_t>(j - k)];
    return y;
  }
  const int32_t ncoef = std::max(na, nb);
  std::vector<double> z(static_cast<size_t>(ncoef), 0.0);
  for (int32_t k = 0; k < nx; ++k) {
    for (int32_t i = 0; i + 1 < ncoef; ++i) z[static_cast<size_t>(i)] = z[static_cast<size_t>(i) + 1];
    z[static_cast<size_t>(ncoef) - 1] = 0.0;
    for (int32_t i = 0; i < nb; ++i) z[static_cast<size_t>(i)] = z[static_cast<size_t>(i)] + b[static_cast<size_t>(i)] * x[static_cast<size_t>(k)];
    for (int32_t i = 1; i < na; ++i) z[static_cast<size_t>(i)] = z[static_cast<size_t>(i)] - a[static_cast<size_t>(i)] * z[0];
    y[static_cast<size_t>(k)] = z[0];
  }
  return y;
}

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

TEST(Filter, FastPathAndGeneralPathGiveTheMovingSum) {
  EXPECT_EQ(filterOf({1, 1}, {1}, {1, 2, 3, 4}), (std::vector<double>{1, 3, 5, 7}));
  EXPECT_EQ(filterOf({1, 1}, {1}, {1, 2, 3}), (std::vector<double>{1, 3, 5}));
}

TEST(Filter, EmptyNumeratorGivesZeros) {
  EXPECT_EQ(filterOf({}, {1, 0.5}, {1, 2, 3}), (std::vector<double>{0, 0, 0}));
  EXPECT_EQ(filterOf({}, {1}, {1, 2, 3}), (std::vector<double>{0, 0, 0}));
}

TEST(Filter, EveryLengthPairAgreesWithLiteralBitForBit) {
  // Covers each fixed-length form (lengths up to 10) and the general loop.
  std::mt19937_64 rng(4711);
  std::normal_distribution<double> normal;
  for (int nb = 0; nb <= 12; ++nb) {
    for (int na = 1; na <= 12; ++na) {
      std::vector<double> b(static_cast<size_t>(nb)), a(static_cast<size_t>(na));
      for (double& v : b) v = normal(rng);
      for (double& v : a) v = 0.1 * normal(rng);
      a[0] = 1.0 + 0.5 * std::fabs(normal(rng));
      std::vector<double> x(static_cast<size_t>(3 * nb + 40));
      for (double& v : x) v = normal(rng);
      x[3] = -0.0;
      ASSERT_TRUE(sameDoubles(literalFilter(b, a, x), filterOf(b, a, x))) << nb << " " << na;
    }
  }
}

TEST(Filter, EmptyDenominatorRunsUnnormalised) {
  EXPECT_EQ(filterOf({2, 1}, {}, {1, 1, 1}), (std::vector<double>{2, 3, 3}));
}

TEST(Filter, FastAndGeneralFormsAgreeWithLiteralBitForBit) {
  std::mt19937_64 rng(47);
  std::normal_distribution<double> normal;
  for (int trial = 0; trial < 300; ++trial) {
    const int nb = 1 + trial % 9;
    const int na = trial % 3 == 0 ? 1 : 1 + trial % 4;
    const int nx = trial % 5 == 0 ? 2 * nb - 1 : 1 + (trial * 37) % 9000;
    std::vector<double> b(static_cast<size_t>(nb)), a(static_cast<size_t>(na)), x(static_cast<size_t>(nx));
    for (double& v : b) v = normal(rng);
    for (double& v : a) v = 0.3 * normal(rng);
    a[0] = trial % 7 == 0 ? 1.0 : 1.0 + std::fabs(normal(rng));
    for (double& v : x) v = trial % 11 == 0 && normal(rng) > 2.0 ? -0.0 : normal(rng);
    ASSERT_TRUE(sameDoubles(literalFilter(b, a, x), filterOf(b, a, x))) << trial;
  }
}

// --- unwrap ----------------------------------------------------------------

TEST(Unwrap, JumpAbovePiIsRemoved) {
  const std::vector<double> y = unwrapOf({0.5, 3.9});
  EXPECT_EQ(y[0], 0.5);
  EXPECT_NEAR(y[1], 3.9 - 2 * 3.141592653589793, 1e-15);
}

TEST(Unwrap, FullTurnIsRemoved) {
  const std::vector<double> y = unwrapOf({1.0, 1.0 + 2 * 3.141592653589793});
  EXPECT_NEAR(y[1], 1.0, 1e-15);
}

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

// The loop as written: the reduced difference is formed for every valid
// sample, whether or not the correction uses it.
std::vector<double> literalUnwrap(const std::vector<double>& x) {
  const double pi = 3.141592653589793;
  const double twoPi = 6.283185307179586;
  std::vector<double> w = x;
  const auto n = static_cast<int32_t>(x.size());
  auto valid = [](double v) { return !std::isnan(v) && v != 0.0; };
  int32_t first = -1;
  for (int32_t i = 0; i + 1 < n; ++i) {
    if (valid(x[static_cast<size_t>(i)])) { first = i; break; }
  }
  if (first < 0) return w;
  double prev = x[static_cast<size_t>(first)];
  double c = 0.0;
  for (int32_t j = first + 1; j < n; ++j) {
    const double v = x[static_cast<size_t>(j)];
    if (!valid(v)) continue;
    const double d = v - prev;
    const double q = (d + pi) / twoPi;
    double r = q;
    if (std::fabs(q) < 4503599627370496.0) {
      r = q >= 0.5 ? std::floor(q + 0.5) : q > -0.5 ? q * 0.0 : std::ceil(q - 0.5);
    }
    double e = std::fabs(q - r) <= 2.220446049250313e-16 * std::fabs(q) ? 0.0
                                                                        : (q - std::floor(q)) * twoPi;
    e = e - pi;
    if (e == -pi && d > 0.0) e = pi;
    if (std::fabs(d) >= pi) c = c + (e - d);
    prev = v;
    w[static_cast<size_t>(j)] = v + c;
  }
  return w;
}

TEST(Unwrap, SkippingUnusedReductionMatchesLiteralLoop) {
  // Smooth and jumpy phases, steps of exactly +-pi and multiples of 2 pi,
  // NaN, zeros, infinities and huge values.
  std::mt19937_64 rng(777);
  std::uniform_real_distribution<double> unit(0.0, 1.0);
  const double pi = 3.141592653589793;
  for (int trial = 0; trial < 2000; ++trial) {
    const auto n = static_cast<size_t>(trial % 61);
    std::vector<double> x(n);
    double phase = (unit(rng) - 0.5) * 10.0;
    for (double& v : x) {
      const double u = unit(rng);
      if (u < 0.03) { v = std::nan(""); continue; }
      if (u < 0.06) { v = 0.0; continue; }
      if (u < 0.07) { v = (u < 0.065 ? 1.0 : -1.0) * std::numeric_limits<double>::infinity(); continue; }
      if (u < 0.09) { phase += (u < 0.08 ? pi : -pi); v = phase; continue; }
      if (u < 0.10) { phase += 2.0 * pi * std::floor(unit(rng) * 5.0 - 2.0); v = phase; continue; }
      if (u < 0.11) { v = (unit(rng) - 0.5) * 1e18; continue; }
      phase += (unit(rng) - 0.5) * (trial % 2 == 0 ? 1.0 : 9.0);
      v = trial % 3 == 0 ? std::remainder(phase, 2.0 * pi) : phase;
    }
    ASSERT_TRUE(sameDoubles(literalUnwrap(x), unwrapOf(x))) << "trial " << trial;
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

}  // namespace
}  // namespace zefra

namespace zefra {
namespace {

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
