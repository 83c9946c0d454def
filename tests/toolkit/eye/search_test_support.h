// Helpers of the equaliser-search tests: one call of zefra_tk_eye_search
// with everything it returns, pulses built UI by UI, the direct score of a
// hand-built candidate through the engine's C API, and Q^-1 for the closed
// forms.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "zefra/toolkit.h"

namespace zefra_search_test {

// Everything zefra_tk_eye_search takes, filled with a valid one-candidate
// NRZ case that the tests edit.
struct Search {
  std::vector<double> victims;  // [rxCount][length]
  int32_t rxCount = 1;
  int64_t length = 0;
  int32_t ns = 1;
  std::vector<double> aggressorPulses;  // [rxCount][aggressorCount][length]
  std::vector<zefra_tk_eye_aggressor> modes;
  std::vector<double> ffe;  // [ffeCount][ffeLength]
  int32_t ffeCount = 0;
  int32_t ffeLength = 1;
  int32_t ffeMain = 0;
  zefra_tk_eye_dfe dfe{};
  zefra_tk_eye_options options{};
  double targetBer = 1e-12;
};

struct Result {
  zefra_tk_status status = -1;
  std::string message;
  std::vector<double> scores;
};

// Scores are pre-filled with -1.0, so that a failed call can be seen to
// leave them alone.
inline Result run(const Search& s) {
  Result r;
  const int32_t candidates = s.rxCount * std::max(s.ffeCount, 1);
  r.scores.assign(static_cast<size_t>(std::max(candidates, 0)), -1.0);
  char message[512];
  std::fill(message, message + sizeof message, 'x');
  r.status = zefra_tk_eye_search(
      s.victims.empty() ? nullptr : s.victims.data(), s.rxCount, s.length, s.ns,
      s.aggressorPulses.empty() ? nullptr : s.aggressorPulses.data(),
      s.modes.empty() ? nullptr : s.modes.data(), static_cast<int32_t>(s.modes.size()),
      s.ffe.empty() ? nullptr : s.ffe.data(), s.ffeCount, s.ffeLength, s.ffeMain, &s.dfe,
      &s.options, s.targetBer, r.scores.empty() ? nullptr : r.scores.data(), message,
      static_cast<int32_t>(sizeof message));
  r.message = message;
  return r;
}

// A pulse of Ns samples per UI that holds uiValues[u] on every sample of UI u.
inline std::vector<double> uiSteps(const std::vector<double>& uiValues, int32_t ns) {
  std::vector<double> p;
  for (const double v : uiValues) {
    p.insert(p.end(), static_cast<size_t>(ns), v);
  }
  return p;
}

// The options every closed-form test uses: NRZ, a lattice step of 2^-10 V
// (the cursors of the tests are multiples of it, so no cursor is split),
// sigma = 10 mV, no jitter.
inline zefra_tk_eye_options nrzOptions(int32_t threads = 1) {
  zefra_tk_eye_options o;
  zefra_tk_eye_default_options(&o);
  o.levels = 2;
  o.binV = 1.0 / 1024.0;
  o.noiseRmsV = 0.01;
  o.threads = threads;
  return o;
}

// A candidate built by hand, scored by the engine directly: the smallest
// heightBestV over the eyes, or NaN when the engine fails.
struct Direct {
  std::vector<double> pulse;
  int32_t ns = 1;
  int64_t centre = 0;
  std::vector<int64_t> dfePositions;
  std::vector<double> dfeValues;
  std::vector<zefra_tk_eye_aggressor> aggressors;
};

inline double directScore(const Direct& d, const zefra_tk_eye_options& options, double targetBer) {
  zefra_tk_eye_input in{};
  in.pulse = d.pulse.data();
  in.length = static_cast<int64_t>(d.pulse.size());
  in.samplesPerUi = d.ns;
  in.centre = d.centre;
  in.dfePositions = d.dfePositions.data();
  in.dfeValuesV = d.dfeValues.data();
  in.dfeCount = static_cast<int32_t>(d.dfePositions.size());
  in.aggressors = d.aggressors.data();
  in.aggressorCount = static_cast<int32_t>(d.aggressors.size());
  zefra_tk_eye_options o = options;
  o.threads = 1;
  zefra_tk_eye* eye = nullptr;
  char message[512];
  if (zefra_tk_eye_compute(&in, &o, &eye, message, sizeof message) != ZEFRA_TK_OK) {
    return std::numeric_limits<double>::quiet_NaN();
  }
  int32_t eyes = 0;
  int64_t phases = 0;
  int64_t voltages = 0;
  zefra_tk_eye_shape(eye, &eyes, &phases, &voltages);
  double worst = std::numeric_limits<double>::infinity();
  for (int32_t i = 0; i < eyes; ++i) {
    zefra_tk_eye_figures f{};
    if (zefra_tk_eye_readout(eye, i, targetBer, &f, nullptr, nullptr, nullptr, nullptr, nullptr,
                             message, sizeof message) != ZEFRA_TK_OK) {
      worst = std::numeric_limits<double>::quiet_NaN();
      break;
    }
    worst = std::min(worst, f.heightBestV);
  }
  zefra_tk_eye_free(eye);
  return worst;
}

// Q^-1(p): the z with Q(z) = erfc(z / sqrt 2) / 2 = p, by bisection on
// [0, 40] to the last bit (Q decreases strictly there).
inline double qInverse(double p) {
  double lo = 0.0;
  double hi = 40.0;
  for (int i = 0; i < 200; ++i) {
    const double mid = 0.5 * (lo + hi);
    if (mid == lo || mid == hi) {
      break;
    }
    if (0.5 * std::erfc(mid / std::sqrt(2.0)) > p) {
      lo = mid;
    } else {
      hi = mid;
    }
  }
  return 0.5 * (lo + hi);
}

// NRZ eye height with Gaussian noise and one residual ISI pattern weight
// w (1 with no ISI, 1/2 with one residual cursor r whose other sign lies
// many sigma away): the inner edges sit where (w/2) Q(z) = t, so
// EH = 2 (h0 - |r| - sigma Q^-1(2 t / w)).
inline double nrzHeight(double h0, double residual, double sigma, double target, double w) {
  return 2.0 * (h0 - std::fabs(residual) - sigma * qInverse(2.0 * target / w));
}

// Tolerance of the closed forms: the read-out interpolates log10 BER
// linearly between lattice points binV apart, and log10 Q is concave with
// curvature 1/(sigma^2 ln 10), so each edge moves by at most
// binV^2 / (8 sigma z) = 2^-20 / (8 * 0.01 * 7) ~ 1.7e-6 V; 1e-5 V for both
// edges with room to spare, far below the 1e-2 V effects the tests detect.
constexpr double kClosedFormToleranceV = 1e-5;

}  // namespace zefra_search_test
