// Dual-Dirac jitter weights.  The mass of N(mu, rj^2) on [a, b) is taken
// from the tail on the side of the interval away from the mean:
//   a >= mu:  Q(za) - Q(zb),      b <= mu:  Q(-zb) - Q(-za),
//   else:     1 - Q(-za) - Q(zb), z = (x - mu) / rj, Q(z) = erfc(z / sqrt 2) / 2,
// so a weight of 1e-20 far out in a tail is a difference of two numbers of
// its own size, not of two numbers near 1.  The Gaussian is cut at
// mu +- 11.5 rj: the intervals are clipped to that range.
#include "eye/jitter_weights.h"

#include <algorithm>
#include <cmath>

namespace zefra::tk::eye {
namespace {

constexpr double kSqrt2 = 1.4142135623730951;  // sqrt(2) rounded to nearest

double upperQ(double z) { return 0.5 * std::erfc(z / kSqrt2); }

double gaussianMass(double a, double b, double mu, double rj) {
  const double za = (a - mu) / rj;
  const double zb = (b - mu) / rj;
  if (za >= 0.0) {
    return upperQ(za) - upperQ(zb);
  }
  if (zb <= 0.0) {
    return upperQ(-zb) - upperQ(-za);
  }
  return 1.0 - upperQ(-za) - upperQ(zb);
}

void add(std::vector<double>& w, int64_t first, int64_t tau, double value) {
  w[static_cast<std::size_t>(tau - first)] += value;
}

}  // namespace

JitterWeights jitterWeights(double djSamples, double rjSamples) {
  const double mus[2] = {-0.5 * djSamples, 0.5 * djSamples};
  const double cut = kJitterCut * rjSamples;
  // The taus any weight can land on: those of the cut Gaussians, or the two
  // samples around each Dirac.
  const auto tauLow = static_cast<int64_t>(std::floor(mus[0] - cut - 0.5)) - 1;
  const auto tauHigh = static_cast<int64_t>(std::floor(mus[1] + cut + 0.5)) + 1;
  std::vector<double> w(static_cast<std::size_t>(tauHigh - tauLow + 1), 0.0);
  for (const double mu : mus) {
    if (rjSamples == 0.0) {
      const double low = std::floor(mu);
      const double r = mu - low;
      const auto tau = static_cast<int64_t>(low);
      add(w, tauLow, tau, 0.5 * (1.0 - r));
      add(w, tauLow, tau + 1, 0.5 * r);
      continue;
    }
    const double lo = mu - cut;
    const double hi = mu + cut;
    const auto tauFirst = static_cast<int64_t>(std::floor(lo + 0.5));
    const auto tauLast = static_cast<int64_t>(std::floor(hi + 0.5));
    for (int64_t tau = tauFirst; tau <= tauLast; ++tau) {
      const double a = std::max(static_cast<double>(tau) - 0.5, lo);
      const double b = std::min(static_cast<double>(tau) + 0.5, hi);
      if (a < b) {
        // erfc is monotone only to its last bit: a difference of two
        // nearly equal tails may round below 0.
        add(w, tauLow, tau, 0.5 * std::max(0.0, gaussianMass(a, b, mu, rjSamples)));
      }
    }
  }
  std::size_t begin = 0;
  std::size_t end = w.size();
  while (begin < end && w[begin] == 0.0) {
    ++begin;
  }
  while (end > begin && w[end - 1] == 0.0) {
    --end;
  }
  JitterWeights out;
  out.first = tauLow + static_cast<int64_t>(begin);
  out.weight.assign(w.begin() + static_cast<std::ptrdiff_t>(begin),
                    w.begin() + static_cast<std::ptrdiff_t>(end));
  return out;
}

}  // namespace zefra::tk::eye
