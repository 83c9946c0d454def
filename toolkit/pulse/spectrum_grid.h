// The uniform frequency grid f_k = k df, k = 0..K, and its time axis.
#pragma once

#include <cstdint>

#include "zefra/toolkit/pulse.h"

namespace zefra::tk::pulse {

// Largest number of time samples 2K.
constexpr int64_t kMaxSamples = int64_t{1} << 27;

struct SpectrumGrid {
  double dt;          // 1 / (baud Ns), s
  double fNyquist;    // 1 / (2 dt) = K df, Hz
  double df;          // 1 / (2 K dt), Hz
  int64_t k;          // K: the grid has K + 1 frequencies, 2K time samples
  double span;        // the span it covers (requested or default), s
  bool spanIsDefault;
  int64_t guard;      // samples kept before t = 0
};

// Smallest 2^a 3^b 5^c >= n (n >= 1), or -1 above 2^62.
int64_t smoothSizeAtLeast(int64_t n);

// Median of the n - 1 steps of the ascending f (n >= 2).
double medianStep(const double* f, int64_t n);

// The grid for the options; throws InputError when it needs more than
// kMaxSamples samples or the guard does not fit.
SpectrumGrid makeGrid(const zefra_tk_pulse_options& o, const double* f, int64_t n);

}  // namespace zefra::tk::pulse
