// Diagnostics.
//
// sigma_max of a 2x2 matrix in closed form.  The squared singular values
// are the eigenvalues of the Hermitian S^H S = [[p, q], [conj(q), r]],
//   p = |S11|^2 + |S21|^2,  r = |S12|^2 + |S22|^2,
//   q = conj(S11) S12 + conj(S21) S22,
//   sigma_max^2 = (p + r)/2 + sqrt(((p - r)/2)^2 + |q|^2).
// The discriminant is a sum of squares, so it never cancels: the
// equivalent form (a + sqrt(a^2 - 4 |det S|^2))/2 with a = p + r subtracts
// two nearly equal numbers when the singular values are close (a lossless
// matched line has both equal to 1) and returns 1 + sqrt(eps) ~ 1 + 1e-8
// instead of 1.  Passivity asks sigma_max <= 1 at every frequency.
//
// Energy in frequency.  By Parseval, a real sequence of 2K samples with half
// spectrum X_0..X_K has energy (1/2K)(|X_0|^2 + 2 sum_{0<k<K} |X_k|^2 +
// |X_K|^2): the bins 0 and K count once, the others twice (for their
// mirror images).  The share outside the band uses the same weights.
//
// Energy in time.  The impulse response is rotated so that its first
// `guard` samples are the negative times: energy there is non-causal (or
// wrapped round from the end of a window that is too short).  Energy in the
// last 1/16 of the window means the response has not died out before the
// window ends, so the part beyond it has wrapped round onto the start.
#include "pulse/diagnostics.h"

#include <cmath>

namespace zefra::tk::pulse {

double sigmaMax(const TwoPortS& s) {
  const double p = std::norm(s.s11) + std::norm(s.s21);
  const double r = std::norm(s.s12) + std::norm(s.s22);
  const Cplx q = std::conj(s.s11) * s.s12 + std::conj(s.s21) * s.s22;
  const double half = 0.5 * (p - r);
  return std::sqrt(0.5 * (p + r) + std::sqrt(half * half + std::norm(q)));
}

void bandSigmaMax(const double* f, const double* s, int64_t n, double* sigma, double* atHz) {
  double best = -1.0;
  double where = 0.0;
  for (int64_t k = 0; k < n; ++k) {
    const double value = sigmaMax(twoPortAt(s, k));
    if (value > best) {
      best = value;
      where = f[k];
    }
  }
  *sigma = best;
  *atHz = where;
}

double outsideBandFraction(const std::vector<Cplx>& x, double df, double fFirst, double fLast) {
  const std::size_t kTop = x.size() - 1;
  double total = 0.0;
  double outside = 0.0;
  for (std::size_t k = 0; k <= kTop; ++k) {
    const double weight = (k == 0 || k == kTop) ? 1.0 : 2.0;
    const double e = weight * std::norm(x[k]);
    const double fk = static_cast<double>(k) * df;
    total += e;
    if (fk < fFirst || fk > fLast) {
      outside += e;
    }
  }
  return total > 0.0 ? outside / total : 0.0;
}

void timeEnergyFractions(const std::vector<double>& h, int64_t guard, double* noncausal,
                         double* tail) {
  const std::size_t n = h.size();
  const std::size_t g = static_cast<std::size_t>(guard);
  const std::size_t tailCount = (n + 15) / 16;
  double total = 0.0;
  double before = 0.0;
  double last = 0.0;
  for (std::size_t i = 0; i < n; ++i) {
    const double e = h[i] * h[i];
    total += e;
    if (i < g) {
      before += e;
    }
    if (i >= n - tailCount) {
      last += e;
    }
  }
  *noncausal = total > 0.0 ? before / total : 0.0;
  *tail = total > 0.0 ? last / total : 0.0;
}

}  // namespace zefra::tk::pulse
