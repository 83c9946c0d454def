// Butterworth low-pass response H(jw) = prod_{k=1..N} wc / (jw - p_k) with
// the left-half-plane poles p_k = wc (cos theta_k, sin theta_k),
// theta_k = (2k + N - 1) pi / (2N).  Two forms with different arithmetic
// are kept: one divides by each factor (scaled complex division), the
// other multiplies by wc conj(d) / |d|^2.  H[i] holds the running product,
// so its final content is the product over all poles.
#include "numeric/butterworth.h"

#include <cmath>
#include <vector>

#include "frame/constants.h"
#include "frame/complex.h"

namespace zefra {
namespace {

// p_k = wc (cos theta_k, sin theta_k), theta_k = (2k + N - 1) pi / (2N) with
// the integer parts formed without 32-bit overflow.
std::vector<Complex> poles(int32_t order, double wc) {
  std::vector<Complex> p;
  p.reserve(static_cast<size_t>(order));
  for (int32_t k = 1; k <= order; ++k) {
    const auto numerator = static_cast<double>(2 * int64_t{k} + order - 1);
    const double theta = numerator * kPi / static_cast<double>(2 * int64_t{order});
    p.push_back({wc * std::cos(theta), wc * std::sin(theta)});
  }
  return p;
}

}  // namespace

void butterworthByDivision(int32_t order, const double* w, double wc, int32_t nf, Complex* h) {
  if (order < 1) {
    return;
  }
  const std::vector<Complex> p = poles(order, wc);
  for (int32_t i = 0; i < nf; ++i) {
    Complex value = {1.0, 0.0};
    for (const Complex& pole : p) {
      const Complex s = {0.0, w[i]};
      value = complexDivide({value.re * wc, value.im * wc}, {s.re - pole.re, s.im - pole.im});
      h[i] = value;
    }
  }
}

void butterworthByConjugate(int32_t order, const double* w, int32_t nf, double wc, Complex* h) {
  const std::vector<Complex> p = order > 0 ? poles(order, wc) : std::vector<Complex>{};
  for (int32_t i = 0; i < nf; ++i) {
    Complex value = {1.0, 0.0};
    h[i] = value;
    for (const Complex& pole : p) {
      const Complex d = {-pole.re, w[i] - pole.im};
      const double magnitude2 = d.re * d.re + d.im * d.im;
      const Complex factor = {wc * d.re / magnitude2, wc * -d.im / magnitude2};
      value = complexMultiply(value, factor);
      h[i] = value;
    }
  }
}

}  // namespace zefra
