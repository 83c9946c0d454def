// Straight-line least-squares fit: y ~ slope * x + intercept.
//
// The design matrix A = [x, 1] (m x 2) is factorised as A P = Q R by
// Householder reflections with column pivoting, Q^T is applied to y and the
// triangular system R c = Q^T y is solved by back substitution.  Every step
// is written out in a fixed order of operations so that the result is the
// same, bit for bit, on every build (the kernels are compiled without FMA
// contraction and without value-changing algebra).
//
// Memory: the two columns of A and the right-hand side share one allocation
// of 3m doubles; the per-column work (pivot order, tau, partial norms) lives
// on the stack.  Every pass over the data is linear in
// m and allocates nothing, so the whole fit is O(m).
#include "numeric/polyfit.h"

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

#include "numeric/reductions.h"

namespace zefra {
namespace {

// Safe minimum of the reflection generator, 2^-970, and its exact
// reciprocal 2^970.  Rescaling by these powers of two loses nothing.
constexpr double kSafeMin = 1.0020841800044864e-292;
constexpr double kInvSafeMin = 9.9792015476736e291;

// Applies H = I - tau [1; v] [1; v]^T, v = column[i + 1 ... m - 1], to
// target[i ... m - 1]:
//   w = target[i] + sum_{l > i} v[l] * target[l]   (summed in increasing l)
//   w = w * tau;  target[i] -= w;  target[l] -= v[l] * w.
void applyReflection(int32_t m, int32_t i, const double* column, double tau, double* target) {
  double w = target[i];
  for (int32_t l = i + 1; l < m; ++l) {
    w = w + column[l] * target[l];
  }
  w = w * tau;
  target[i] = target[i] - w;
  for (int32_t l = i + 1; l < m; ++l) {
    target[l] = target[l] - column[l] * w;
  }
}

// v[start ... start + n - 1] *= factor.
void scaleVector(int32_t n, double factor, double* v, int32_t start) {
  const int32_t end = start + n;
  for (int32_t k = start; k < end; ++k) {
    v[k] = v[k] * factor;
  }
}

// The larger magnitude is factored out so that the square never overflows.
// Equal magnitudes (including two infinities) give |a| * sqrt(2); a NaN in
// b is returned as it is, a NaN in a fails both comparisons and propagates
// through the last branch.
double safeHypot(double a, double b) {
  const double absA = std::fabs(a);
  const double absB = std::fabs(b);
  if (absA < absB) {
    const double r = absA / absB;
    return absB * std::sqrt(r * r + 1.0);
  }
  if (absA > absB) {
    const double r = absB / absA;
    return absA * std::sqrt(r * r + 1.0);
  }
  if (std::isnan(absB)) {
    return b;
  }
  return absA * 1.4142135623730951;
}

// Generates the reflection H = I - tau [1; v] [1; v]^T with
// H [alpha; x] = [beta; 0] for alpha and the n - 1 entries x[start ...]:
// replaces alpha by beta and the entries by v, returns tau.
//
// beta = -+hypot(alpha, ||x||) takes the sign opposite to alpha (negative
// for alpha >= 0, -0.0 included), so alpha - beta never cancels;
// tau = (beta - alpha) / beta and v = x / (alpha - beta), the division done
// as one reciprocal and a multiplication per entry.
//
// When |beta| is below the safe minimum, x, alpha and beta are multiplied by
// 2^970 until it no longer is, the reflection is generated from the rescaled
// values and beta is scaled back once per rescaling.  The rescaling loop has
// no iteration cap.  It terminates because beta is never 0 inside it: xnorm
// is non-zero (checked above) and safeHypot(alpha, xnorm) >= |xnorm| > 0;
// one multiplication by 2^970 lifts even the smallest subnormal above the
// safe minimum.  A NaN beta never enters the loop (the comparison fails).
// The extra `beta != 0.0` test is the one place the plain loop could spin
// forever; it is unreachable and changes no result.
double householderVector(int32_t n, double* alpha, double* x, int32_t start) {
  if (n < 1) {
    return 0.0;
  }
  const int32_t count = n - 1;
  double xnorm = scaledEuclideanNorm(x + start, count);
  if (xnorm == 0.0) {
    return 0.0;
  }
  double beta = safeHypot(*alpha, xnorm);
  if (*alpha >= 0.0) {
    beta = -beta;
  }
  if (std::fabs(beta) < kSafeMin) {
    int32_t rescalings = 0;
    do {
      ++rescalings;
      scaleVector(count, kInvSafeMin, x, start);
      beta = beta * kInvSafeMin;
      *alpha = *alpha * kInvSafeMin;
    } while (std::fabs(beta) < kSafeMin && beta != 0.0);
    xnorm = scaledEuclideanNorm(x + start, count);
    beta = safeHypot(*alpha, xnorm);
    if (*alpha >= 0.0) {
      beta = -beta;
    }
    const double tau = (beta - *alpha) / beta;
    scaleVector(count, 1.0 / (*alpha - beta), x, start);
    for (int32_t k = 0; k < rescalings; ++k) {
      beta = beta * kSafeMin;
    }
    *alpha = beta;
    return tau;
  }
  const double tau = (beta - *alpha) / beta;
  scaleVector(count, 1.0 / (*alpha - beta), x, start);
  *alpha = beta;
  return tau;
}

// Solves min ||A c - b|| for an m x 2 matrix A given as two column pointers
// of m entries each.  A is overwritten by its pivoted QR factorisation (R on
// and above the diagonal, the reflection vectors below it) and b by Q^T b;
// c receives two coefficients in the column order A had on entry.
//
// Householder QR with column pivoting (largest column norm first, ties
// keeping the lower index), then Q^T b and back substitution over all
// min(m, 2) columns.  Only the first pivot is a choice (the second is the
// one column left), so the partial norms are not downdated
// after a step.  There is no rank test: a rank-deficient problem is
// solved in full, and a zero or rounding-sized diagonal entry then yields
// non-finite or meaningless coefficients, without any error.
void pivotedQrSolve(int32_t m, double** columns, double* b, double* c) {
  constexpr int32_t n = 2;
  const int32_t k = std::min(m, n);
  int32_t jpvt[n];
  double tau[n];
  double vn1[n];

  for (int32_t j = 0; j < n; ++j) {
    jpvt[j] = j;
    vn1[j] = scaledEuclideanNorm(columns[j], m);
  }

  for (int32_t i = 0; i < k; ++i) {
    int32_t pivot = i;
    double largest = vn1[i];
    for (int32_t j = i + 1; j < n; ++j) {
      if (vn1[j] > largest) {
        pivot = j;
        largest = vn1[j];
      }
    }
    if (pivot != i) {
      std::swap(columns[pivot], columns[i]);
      std::swap(jpvt[pivot], jpvt[i]);
    }

    double* column = columns[i];
    tau[i] = householderVector(m - i, &column[i], column, i + 1);
    if (tau[i] != 0.0) {
      for (int32_t j = i + 1; j < n; ++j) {
        applyReflection(m, i, column, tau[i], columns[j]);
      }
    }
  }

  for (int32_t i = 0; i < k; ++i) {
    if (tau[i] != 0.0) {
      applyReflection(m, i, columns[i], tau[i], b);
    }
  }

  for (int32_t j = 0; j < n; ++j) {
    c[j] = 0.0;
  }
  for (int32_t i = 0; i < k; ++i) {
    c[jpvt[i]] = b[i];
  }
  for (int32_t j = k - 1; j >= 0; --j) {
    const double* rColumn = columns[j];
    c[jpvt[j]] = c[jpvt[j]] / rColumn[j];
    for (int32_t i = 0; i < j; ++i) {
      c[jpvt[i]] = c[jpvt[i]] - rColumn[i] * c[jpvt[j]];
    }
  }
}

}  // namespace

// A negative row count of x is treated as m = 0 (coefficients {0, 0}).  y is
// read for min(ny, m) values; rows past the end of a shorter y count as 0.0
// and nothing beyond its length is read.
void polyfitLinear(const DynArray* x, const DynArray* y, double* coeffs) {
  const int32_t m = std::max(x->size[0], 0);
  const int32_t ny = std::clamp(y->size[0], 0, m);

  const double* xValues = elementsOf<double>(x);
  const double* yValues = elementsOf<double>(y);
  std::vector<double> columnStorage(3 * static_cast<size_t>(m));
  double* a1 = columnStorage.data();
  double* a2 = a1 + m;
  double* b = a2 + m;
  for (int32_t l = 0; l < m; ++l) {
    a1[l] = xValues[l];
    a2[l] = 1.0;
  }
  for (int32_t l = 0; l < ny; ++l) {
    b[l] = yValues[l];  // the rest of b stays 0.0
  }
  double* columns[2] = {a1, a2};
  pivotedQrSolve(m, columns, b, coeffs);
}

}  // namespace zefra
