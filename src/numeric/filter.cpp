// Rational filter a[0] y[k] = sum b[i] x[k-i] - sum_{i>=1} a[i] y[k-i] with
// zero initial state.
//
// The coefficients are divided by a[0] unless a[0] is NaN, 0 or 1 (or one
// of the infinity markers, which hold 0.0): a leading 0 or NaN acts as 1.
// A pure FIR filter (na = 1) on a signal at least twice as long as b is
// computed coefficient by coefficient, y[j] = 0 + b[0] x[j] + b[1] x[j-1]
// + ..., each sum in increasing coefficient index; everything else runs
// the transposed direct form II, one state update per sample:
//   y     = z[1] + b[0] x
//   z[i]  = z[i+1] + b[i] x - a[i] y   (in that order, z[ncoef] = 0)
// where each term is present only for i < nb, respectively 1 <= i < na.
#include <algorithm>
#include <array>
#include <cmath>
#include <utility>
#include <vector>

#include "numeric/vector_kernels.h"

namespace zefra {
namespace {

// y[j] += b[k] x[j - k] for k = 0 .. nb-1, in blocks of samples that stay
// in cache: per output the coefficients still come in increasing k.
void firCoefficientOrder(const double* b, int32_t nb, const double* x, int32_t nx, double* y) {
  std::fill(y, y + nx, 0.0);
  constexpr int32_t kChunk = 4096;
  for (int32_t start = 0; start < nx; start += kChunk) {
    const int32_t end = std::min(nx, start + kChunk);
    for (int32_t k = 0; k < nb; ++k) {
      const double coefficient = b[k];
      const int32_t from = std::max(start, k);
      for (int32_t j = from; j < end; ++j) {
        y[j] += coefficient * x[j - k];
      }
    }
  }
}

// The state update with the lengths fixed at compile time, so that the
// states stay in registers (2 to 3 times the speed of the general loop below
// for orders 1 to 7, nx = 10^4 to 10^6; bench/numeric_tricks): per sample
//   y = z[1] + b[0] x,  z[i] = z[i+1] + b[i] x - a[i] y  (ascending i)
// with each term present only when i < NB, respectively 1 <= i < NA, and
// z[ncoef] a permanent 0.0 (the value shifted into the last state).
template <int NB, int NA>
void fixedOrderSection(const double* b, const double* a, const double* x, int32_t nx,
                       double* y) {
  constexpr int kStates = (NA > NB ? NA : NB) + 1;
  double bc[static_cast<size_t>(NB > 0 ? NB : 1)] = {};
  double ac[static_cast<size_t>(NA > 0 ? NA : 1)] = {};
  for (int i = 0; i < NB; ++i) bc[i] = b[i];
  for (int i = 0; i < NA; ++i) ac[i] = a[i];
  double z[static_cast<size_t>(kStates) + 1] = {};
  for (int32_t k = 0; k < nx; ++k) {
    const double xk = x[k];
    double y0 = z[1];
    if constexpr (NB > 0) {
      y0 = y0 + bc[0] * xk;
    }
    for (int i = 1; i < kStates - 1; ++i) {
      double v = z[i + 1];
      if (i < NB) v = v + bc[i] * xk;
      if (i < NA) v = v - ac[i] * y0;
      z[i] = v;
    }
    y[k] = y0;
  }
}

constexpr int kFixedOrders = 11;  // numerator and denominator lengths 0 .. 10

using SectionRunner = void (*)(const double*, const double*, const double*, int32_t, double*);

template <int... I>
constexpr auto sectionTable(std::integer_sequence<int, I...>) {
  return std::array<SectionRunner, sizeof...(I)>{
      &fixedOrderSection<I / kFixedOrders, I % kFixedOrders>...};
}

constexpr auto kSections =
    sectionTable(std::make_integer_sequence<int, kFixedOrders * kFixedOrders>{});

void transposedDirectForm2(const double* b, int32_t nb, const double* a, int32_t na,
                           const double* x, int32_t nx, double* y) {
  if (nb < kFixedOrders && na < kFixedOrders) {
    kSections[static_cast<size_t>(nb * kFixedOrders + na)](b, a, x, nx, y);
    return;
  }
  const int32_t ncoef = std::max(na, nb);
  std::vector<double> state(static_cast<size_t>(ncoef) + 2, 0.0);
  double* z = state.data();
  const int32_t both = std::min(na, nb);
  for (int32_t k = 0; k < nx; ++k) {
    const double xk = x[k];
    double y0 = z[1];
    if (nb > 0) {
      y0 = y0 + b[0] * xk;
    }
    // States with a numerator and a denominator term, then those with only
    // one of them; ascending i, so z[i + 1] is still the previous value.
    for (int32_t i = 1; i < both; ++i) {
      z[i] = z[i + 1] + b[i] * xk - a[i] * y0;
    }
    for (int32_t i = std::max(both, 1); i < nb; ++i) {
      z[i] = z[i + 1] + b[i] * xk;
    }
    for (int32_t i = std::max(both, 1); i < na; ++i) {
      z[i] = z[i + 1] - a[i] * y0;
    }
    y[k] = y0;
  }
}

}  // namespace

void filterKernel(const DynArray* b, const DynArray* a, const DynArray* x, DynArray* y) {
  const int32_t nb = std::max(b->size[0], 0);
  const int32_t na = std::max(a->size[0], 0);
  const int32_t nx = x->size[0];
  std::vector<double> bw(elementsOf<double>(b), elementsOf<double>(b) + nb);
  std::vector<double> aw(elementsOf<double>(a), elementsOf<double>(a) + na);
  // An empty denominator has no leading coefficient to divide by.
  const double a0 = na > 0 ? aw[0] : 1.0;
  if (!std::isnan(a0) && a0 != 0.0 && a0 != 1.0) {  // 0.0 covers the infinity markers
    for (double& v : bw) {
      v = v / a0;
    }
    for (size_t i = 1; i < aw.size(); ++i) {
      aw[i] = aw[i] / a0;
    }
    aw[0] = 1.0;
  }
  reshapeGeneric<double>(y, nx, y->size[1]);
  double* out = elementsOf<double>(y);
  if (nx <= 0) {
    return;
  }
  const double* xv = elementsOf<double>(x);
  if (na == 1 && nx >= 2 * static_cast<int64_t>(nb)) {
    firCoefficientOrder(bw.data(), nb, xv, nx, out);
  } else {
    transposedDirectForm2(bw.data(), nb, aw.data(), na, xv, nx, out);
  }
}

}  // namespace zefra
