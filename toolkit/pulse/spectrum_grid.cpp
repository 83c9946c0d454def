// Grid sizes.  With dt = 1/(baud Ns) fixed by the time resolution, the
// frequency step df = 1/(2 K dt) fixes the length 2 K dt of the time window,
// which must hold the whole response (reflections included) or it wraps
// around.  K is the smallest 2^a 3^b 5^c with 2 K dt >= span: the complex
// FFT of size K then runs on radix-2/3/4/5 butterflies only, and the span is
// overshot by less than the gap between consecutive 5-smooth numbers (a few
// per cent at these sizes) instead of up to a factor 2 for powers of two.
// The default span is 1 / (median measured step): the longest response the
// data can describe without aliasing in their own frequency sampling.
#include "pulse/spectrum_grid.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "pulse/input_check.h"
#include "pulse/pulse_types.h"

namespace zefra::tk::pulse {

int64_t smoothSizeAtLeast(int64_t n) {
  constexpr int64_t kLimit = int64_t{1} << 62;
  if (n <= 1) {
    return 1;
  }
  if (n > kLimit) {
    return -1;
  }
  int64_t best = kLimit;
  for (int64_t p5 = 1; p5 < best; p5 *= 5) {
    for (int64_t p35 = p5; p35 < best; p35 *= 3) {
      int64_t candidate = p35;
      while (candidate < n) {
        candidate *= 2;
      }
      best = std::min(best, candidate);
      if (p35 > kLimit / 3) {
        break;
      }
    }
    if (p5 > kLimit / 5) {
      break;
    }
  }
  return best;
}

double medianStep(const double* f, int64_t n) {
  std::vector<double> steps(static_cast<std::size_t>(n - 1));
  for (std::size_t i = 0; i + 1 < static_cast<std::size_t>(n); ++i) {
    steps[i] = f[i + 1] - f[i];
  }
  const std::size_t middle = steps.size() / 2;
  std::nth_element(steps.begin(), steps.begin() + static_cast<std::ptrdiff_t>(middle), steps.end());
  const double upper = steps[middle];
  if (steps.size() % 2 == 1) {
    return upper;
  }
  const double lower = *std::max_element(steps.begin(), steps.begin() + static_cast<std::ptrdiff_t>(middle));
  return 0.5 * (lower + upper);
}

SpectrumGrid makeGrid(const zefra_tk_pulse_options& o, const double* f, int64_t n) {
  SpectrumGrid g{};
  g.dt = 1.0 / (o.baudHz * static_cast<double>(o.samplesPerUi));
  g.fNyquist = 0.5 * o.baudHz * static_cast<double>(o.samplesPerUi);
  g.spanIsDefault = !(o.spanS > 0.0);
  g.span = g.spanIsDefault ? 1.0 / medianStep(f, n) : o.spanS;
  if (!std::isfinite(g.span)) {
    throw InputError("f: the median frequency step " + formatNumber(medianStep(f, n)) +
                     " Hz gives no finite default span; expected spanS > 0");
  }
  // K >= span / (2 dt).  The quotient is formed in floating point; a span
  // that is a whole number of 2 dt (the usual case, e.g. 1/(10 MHz) at
  // 32 samples of a 53.125 GBd UI) may land a few ulps above that integer,
  // which must not double K, so a relative slack of 8 ulps is allowed.
  const double need = g.span / (2.0 * g.dt);
  const double slack = 8.0 * std::numeric_limits<double>::epsilon() * need;
  const double wanted = std::ceil(need - slack);
  const std::string tooMany = "spanS = " + formatNumber(g.span) + " s with dt = " +
                              formatNumber(g.dt) + " s: expected at most " +
                              std::to_string(kMaxSamples) +
                              " time samples; shorten the span or lower samplesPerUi";
  if (!(wanted <= static_cast<double>(kMaxSamples / 2))) {
    throw InputError(tooMany);
  }
  g.k = smoothSizeAtLeast(std::max<int64_t>(1, static_cast<int64_t>(wanted)));
  if (g.k < 0 || 2 * g.k > kMaxSamples) {
    throw InputError(tooMany);
  }
  g.df = g.fNyquist / static_cast<double>(g.k);

  const double guardS = (o.guardS < 0.0) ? g.span / 16.0 : o.guardS;
  const double guard = std::round(guardS / g.dt);
  if (!(guard < static_cast<double>(2 * g.k))) {
    throw InputError("guardS = " + formatNumber(guardS) + ": expected less than the time window " +
                     formatNumber(static_cast<double>(2 * g.k) * g.dt) + " s");
  }
  g.guard = static_cast<int64_t>(guard);

  if (!(f[0] < g.fNyquist)) {
    throw InputError("f[0] = " + formatNumber(f[0]) + ": expected data below the Nyquist frequency " +
                     formatNumber(g.fNyquist) + " Hz of the grid (raise samplesPerUi)");
  }
  return g;
}

}  // namespace zefra::tk::pulse
