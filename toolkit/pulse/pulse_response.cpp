// The pulse-response pipeline, in order: terminated transfer at the measured
// points, H(0), the grid, bulk delay, resampling with roll-off, receiver
// filter, window, inverse FFT, rotation by the guard, step and pulse.
//
// Step and pulse.  s[n] = sum_{m <= n} h[m] is a running sum with
// Neumaier's compensation: the impulse of a long channel has tens of
// thousands of small samples around a large peak, and the compensated sum
// keeps the final step equal to sum h = H(0) to rounding rather than to
// n ulps.  The pulse is the response to a 1-UI source rectangle, the step
// minus the step delayed by Ns samples: p[n] = s[n] - s[n - Ns], with
// s = 0 before the start of the window.
#include "pulse/pulse_response.h"

#include <cmath>
#include <string>

#include "pulse/bulk_delay.h"
#include "pulse/dc_policy.h"
#include "pulse/diagnostics.h"
#include "pulse/input_check.h"
#include "pulse/inverse_fft.h"
#include "pulse/receiver_filter.h"
#include "pulse/resample.h"
#include "pulse/spectrum_grid.h"
#include "pulse/terminations.h"
#include "pulse/window.h"

namespace zefra::tk::pulse {
namespace {

std::vector<double> runningSum(const std::vector<double>& h) {
  std::vector<double> s(h.size());
  double sum = 0.0;
  double carry = 0.0;
  for (std::size_t i = 0; i < h.size(); ++i) {
    const double t = sum + h[i];
    if (std::fabs(sum) >= std::fabs(h[i])) {
      carry += (sum - t) + h[i];
    } else {
      carry += (h[i] - t) + sum;
    }
    sum = t;
    s[i] = sum + carry;
  }
  return s;
}

void checkTransfer(const std::vector<Cplx>& h, const double* f) {
  for (std::size_t k = 0; k < h.size(); ++k) {
    if (!(std::isfinite(h[k].real()) && std::isfinite(h[k].imag()))) {
      throw InputError("s[" + std::to_string(k) + "] at f = " + formatNumber(f[k]) +
                       " Hz: expected a finite terminated transfer (the network and the "
                       "terminations give a zero denominator)");
    }
  }
}

}  // namespace

PulseResult computePulseResponse(int64_t points, const double* f, const double* s,
                                 const double* z0, const zefra_tk_pulse_options* options) {
  checkArguments(points, f, s, z0, options);
  const zefra_tk_pulse_options& o = *options;
  const Terminations terms{o.sourceOhm, o.sourcePadF, o.loadOhm, o.loadPadF};
  PulseResult r{};
  zefra_tk_pulse_diagnostics& d = r.diagnostics;

  const std::vector<Cplx> h = terminatedTransfers(points, f, s, z0, terms);
  checkTransfer(h, f);
  const SpectrumGrid grid = makeGrid(o, f, points);
  const DcChoice dc = chooseDc(o.dcPolicy, o.dcValue, terms, f, h.data());
  const double tau = bulkDelay(f, h.data(), points);
  const double fFirst = f[0];
  const double fLast = f[points - 1];
  const double rolloff = (o.rolloffHz > 0.0) ? o.rolloffHz : 0.25 * fLast;

  r.transfer = resampleOnGrid(f, h.data(), points, dc.value, tau, grid, rolloff);
  if (o.rxOrder > 0) {
    applyReceiverFilter(o.rxOrder, o.rxBandwidthHz, grid.df, r.transfer);
  }
  const double fStop = std::fmin(fLast + rolloff, grid.fNyquist);
  applyWindow(o.window, o.kaiserBeta, fStop, grid.df, r.transfer);

  const std::vector<double> raw = inverseRealFft(r.transfer);
  const std::size_t n = raw.size();
  const auto g = static_cast<std::size_t>(grid.guard);
  r.impulse.resize(n);
  r.time.resize(n);
  for (std::size_t i = 0; i < n; ++i) {
    r.impulse[i] = raw[(i + n - g) % n];
    r.time[i] = (static_cast<double>(i) - static_cast<double>(g)) * grid.dt;
  }
  r.step = runningSum(r.impulse);
  r.pulse.resize(n);
  const auto ns = static_cast<std::size_t>(o.samplesPerUi);
  for (std::size_t i = 0; i < n; ++i) {
    r.pulse[i] = (i >= ns) ? r.step[i] - r.step[i - ns] : r.step[i];
  }

  d.dcValue = dc.value;
  d.dcPolicy = dc.policy;
  d.dcPhaseRad = dc.phaseRad;
  d.bulkDelayS = tau;
  d.bandStartHz = fFirst;
  d.bandEdgeHz = fLast;
  d.rolloffHz = rolloff;
  d.extrapolatedFraction = outsideBandFraction(r.transfer, grid.df, fFirst, fLast);
  timeEnergyFractions(r.impulse, grid.guard, &d.noncausalFraction, &d.tailFraction);
  bandSigmaMax(f, s, points, &d.sigmaMax, &d.sigmaMaxHz);
  d.dtS = grid.dt;
  d.dfHz = grid.df;
  d.nyquistHz = grid.fNyquist;
  d.spanS = grid.span;
  d.spanIsDefault = grid.spanIsDefault ? 1 : 0;
  d.fftSize = static_cast<int64_t>(n);
  d.guardSamples = grid.guard;
  d.dataAboveNyquist = (fLast > grid.fNyquist) ? 1 : 0;
  return r;
}

}  // namespace zefra::tk::pulse
