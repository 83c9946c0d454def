// Helpers of the statistical-eye tests: one call of the C API with
// everything it returns, the Gaussian tail, and the exact ISI of a short
// pulse by enumeration of every symbol pattern.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "zefra/toolkit.h"

namespace zefra_eye_test {

// Q(z) = P(N(0,1) > z) = erfc(z / sqrt 2) / 2.
inline double gaussQ(double z) { return 0.5 * std::erfc(z / std::sqrt(2.0)); }

// Q^-1(p) by bisection on gaussQ (monotone), to the last bit.
inline double inverseQ(double p) {
  double lo = -40.0;
  double hi = 40.0;
  for (int i = 0; i < 200; ++i) {
    const double mid = 0.5 * (lo + hi);
    if (gaussQ(mid) > p) {
      lo = mid;
    } else {
      hi = mid;
    }
  }
  return 0.5 * (lo + hi);
}

// The levels of M-PAM, -1 + 2m/(M-1), as written in the model.
inline std::vector<double> levelsOf(int32_t m) {
  std::vector<double> a;
  for (int32_t i = 0; i < m; ++i) {
    a.push_back(-1.0 + 2.0 * i / (m - 1));
  }
  return a;
}

struct Eye {
  zefra_tk_status status = ZEFRA_TK_OK;
  std::string message;
  int32_t eyes = 0;
  int64_t phases = 0;
  int64_t voltages = 0;
  std::vector<double> phasesUi, voltagesV, ber, mainCursorV;
  // BER_i at phase index p and voltage index k.
  double at(int32_t i, int64_t p, int64_t k) const {
    return ber[static_cast<std::size_t>((i * phases + p) * voltages + k)];
  }
  // The voltage index of v = m binV.
  int64_t indexOf(int64_t m) const { return m + (voltages - 1) / 2; }
};

struct Figures {
  zefra_tk_status status = ZEFRA_TK_OK;
  std::string message;
  zefra_tk_eye_figures f{};
  std::vector<double> height, low, high, bathtubMin, bathtubAt;
};

// Computes the eye and, when asked, reads eye `index` out at `target`.
inline Eye compute(const zefra_tk_eye_input& input, const zefra_tk_eye_options& options,
                   zefra_tk_eye** keep = nullptr) {
  Eye e;
  zefra_tk_eye* eye = nullptr;
  char message[512] = "unchanged";
  e.status = zefra_tk_eye_compute(&input, &options, &eye, message, sizeof message);
  e.message = message;
  if (e.status != ZEFRA_TK_OK) {
    return e;
  }
  zefra_tk_eye_shape(eye, &e.eyes, &e.phases, &e.voltages);
  e.phasesUi.resize(static_cast<std::size_t>(e.phases));
  e.voltagesV.resize(static_cast<std::size_t>(e.voltages));
  e.ber.resize(static_cast<std::size_t>(e.eyes * e.phases * e.voltages));
  e.mainCursorV.resize(static_cast<std::size_t>(e.phases));
  zefra_tk_eye_copy(eye, e.phasesUi.data(), e.voltagesV.data(), e.ber.data(), e.mainCursorV.data());
  if (keep != nullptr) {
    *keep = eye;
  } else {
    zefra_tk_eye_free(eye);
  }
  return e;
}

inline Figures readout(const zefra_tk_eye* eye, int32_t index, double target, int64_t phases) {
  Figures r;
  const auto n = static_cast<std::size_t>(phases);
  r.height.resize(n);
  r.low.resize(n);
  r.high.resize(n);
  r.bathtubMin.resize(n);
  r.bathtubAt.resize(n);
  char message[512] = "unchanged";
  r.status = zefra_tk_eye_readout(eye, index, target, &r.f, r.height.data(), r.low.data(),
                                  r.high.data(), r.bathtubMin.data(), r.bathtubAt.data(),
                                  message, sizeof message);
  r.message = message;
  return r;
}

inline zefra_tk_eye_input victim(const std::vector<double>& pulse, int32_t ns, int64_t centre) {
  zefra_tk_eye_input in{};
  in.pulse = pulse.data();
  in.length = static_cast<int64_t>(pulse.size());
  in.samplesPerUi = ns;
  in.centre = centre;
  return in;
}

inline zefra_tk_eye_options options(int32_t levels, double binV, double sigma) {
  zefra_tk_eye_options o;
  zefra_tk_eye_default_options(&o);
  o.levels = levels;
  o.binV = binV;
  o.noiseRmsV = sigma;
  o.threads = 1;
  return o;
}

// Every value sum_k a_k h_k of the ISI over the M^K symbol patterns (each
// of probability M^-K).
inline std::vector<double> enumerateIsi(const std::vector<double>& cursors, int32_t m) {
  const std::vector<double> a = levelsOf(m);
  std::vector<double> values{0.0};
  for (const double h : cursors) {
    std::vector<double> next;
    next.reserve(values.size() * a.size());
    for (const double v : values) {
      for (const double level : a) {
        next.push_back(v + level * h);
      }
    }
    values.swap(next);
  }
  return values;
}

// Exact F(v) = P(shift + I + N < v) and U(v) = P(shift + I + N >= v) from the
// enumerated ISI (sorted ascending), N ~ N(0, sigma^2); sigma = 0: the strict
// step, counted by bisection.  Sums in long double.
struct ExactTails {
  double lower;
  double upper;
};

inline ExactTails exactTails(const std::vector<double>& sortedIsi, double shift, double sigma,
                             double v) {
  const auto n = static_cast<long double>(sortedIsi.size());
  if (sigma == 0.0) {
    const auto below = std::lower_bound(sortedIsi.begin(), sortedIsi.end(), v - shift) -
                       sortedIsi.begin();
    const auto count = static_cast<long double>(below);
    return {static_cast<double>(count / n), static_cast<double>((n - count) / n)};
  }
  long double lower = 0.0L;
  long double upper = 0.0L;
  for (const double x : sortedIsi) {
    const double y = shift + x;
    lower += static_cast<long double>(gaussQ((y - v) / sigma));
    upper += static_cast<long double>(gaussQ((v - y) / sigma));
  }
  return {static_cast<double>(lower / n), static_cast<double>(upper / n)};
}

// A random short channel at one sample per UI: the main cursor in
// [0.6, 1] V at a random position, K other cursors in +-[0.02, 0.35] V.
struct ShortPulse {
  std::vector<double> pulse;
  int64_t centre;
  std::vector<double> others;  // the K other cursors
};

template <typename Rng>
ShortPulse randomShortPulse(Rng& rng, int k) {
  std::uniform_real_distribution<double> mainValue(0.6, 1.0);
  std::uniform_real_distribution<double> size(0.02, 0.35);
  std::bernoulli_distribution negative(0.5);
  ShortPulse s;
  s.centre = std::uniform_int_distribution<int64_t>(0, k)(rng);
  for (int64_t n = 0; n <= k; ++n) {
    if (n == s.centre) {
      s.pulse.push_back(mainValue(rng));
    } else {
      const double h = size(rng) * (negative(rng) ? -1.0 : 1.0);
      s.pulse.push_back(h);
      s.others.push_back(h);
    }
  }
  return s;
}

}  // namespace zefra_eye_test
