// Resampling of the measured transfer onto the grid.
//
// Inside the band.  H turns by 2 pi f tau, often hundreds of turns over the
// band, so straight linear interpolation of H between two measured points
// cuts the chord of a fast-turning phasor and loses modulus.  With the bulk
// delay removed, Hd = H exp(+j 2 pi f tau) turns slowly and is interpolated
// linearly (by the sibling module's resampler, which also follows any small
// residual delay it finds); the delay is then restored, H = Hd
// exp(-j 2 pi f tau).  A grid frequency equal to a measured one returns that
// sample (up to the two rotations).
//
// From DC to the first measured point (when the data start above 0 Hz).
// The segment between the real DC value and the first de-embedded sample is
// resampled on its own, as a two-point trace: the measured band's own
// delay estimate never sees the DC point, and the phase is never unwrapped
// across it.  With the delay removed, the first sample lies close to the
// real axis, so the segment is short in angle; the resampler then moves the
// modulus and the phase linearly between the two ends.
//
// Above the band.  The modulus of the last measured point is held, the
// phase keeps turning at the bulk-delay rate (continuous group delay), and
// a raised cosine 1/2 (1 + cos(pi (f - fLast)/w)) takes it to 0 over the
// roll-off width w; 0 beyond.  A bare zero fill would be a brick wall and
// ring (Gibbs) in the time domain.
//
// Rotation angles are formed from f tau reduced modulo 1 turn, and above
// the band from the local (f - fLast) tau, so that a few hundred turns of
// delay do not put their absolute rounding into the phase.
#include "pulse/resample.h"

#include <algorithm>
#include <cmath>

#include "zefra/interp_sparam.h"

namespace zefra::tk::pulse {
namespace {

constexpr double kPi = 3.141592653589793;
constexpr double kTwoPi = 6.283185307179586;

zefra_complex toSibling(Cplx v) { return {v.real(), v.imag()}; }
Cplx fromSibling(zefra_complex v) { return {v.re, v.im}; }

// Resamples the trace (fin, sin) at grid bins [kBegin, kEnd) into hd.
void resampleBins(const std::vector<zefra_complex>& sin, const double* fin,
                  int64_t kBegin, int64_t kEnd, double df, std::vector<Cplx>& hd) {
  if (kEnd <= kBegin) {
    return;
  }
  const auto count = static_cast<std::size_t>(kEnd - kBegin);
  std::vector<double> fq(count);
  for (std::size_t i = 0; i < count; ++i) {
    fq[i] = static_cast<double>(kBegin + static_cast<int64_t>(i)) * df;
  }
  std::vector<zefra_complex> out(count);
  zefra_interp_Sparam_C(sin.data(), fin, static_cast<int32_t>(sin.size()), fq.data(),
                        static_cast<int32_t>(count), out.data());
  for (std::size_t i = 0; i < count; ++i) {
    hd[static_cast<std::size_t>(kBegin) + i] = fromSibling(out[i]);
  }
}

}  // namespace

Cplx delayRotor(double cycles) {
  const double reduced = cycles - std::round(cycles);
  const double angle = -kTwoPi * reduced;
  return {std::cos(angle), std::sin(angle)};
}

std::vector<Cplx> resampleOnGrid(const double* f, const Cplx* h, int64_t n, double h0,
                                 double tau, const SpectrumGrid& grid, double rolloffHz) {
  const int64_t kTop = grid.k;
  const double df = grid.df;
  std::vector<Cplx> x(static_cast<std::size_t>(kTop + 1), Cplx(0.0, 0.0));

  // The measured points above 0 Hz, de-embedded.
  const int64_t first = (f[0] == 0.0) ? 1 : 0;
  const double fFirst = f[first];
  const double fLast = f[n - 1];
  std::vector<zefra_complex> band(static_cast<std::size_t>(n - first));
  for (int64_t i = first; i < n; ++i) {
    band[static_cast<std::size_t>(i - first)] = toSibling(h[i] * delayRotor(-f[i] * tau));
  }

  // Bins: [0, kBand) below fFirst, [kBand, kAbove) inside the band,
  // [kAbove, K] above it.  k df is compared exactly as it is queried.
  auto firstBinAtOrAbove = [&](double fx, bool strict) {
    int64_t k = static_cast<int64_t>(std::floor(fx / df));
    k = std::max<int64_t>(0, std::min(k, kTop + 1));
    while (k > 0 && (strict ? static_cast<double>(k - 1) * df > fx
                            : static_cast<double>(k - 1) * df >= fx)) {
      --k;
    }
    while (k <= kTop && (strict ? !(static_cast<double>(k) * df > fx)
                                : !(static_cast<double>(k) * df >= fx))) {
      ++k;
    }
    return k;
  };
  const int64_t kBand = firstBinAtOrAbove(fFirst, false);
  const int64_t kAbove = firstBinAtOrAbove(fLast, true);

  std::vector<Cplx> hd(static_cast<std::size_t>(kTop + 1), Cplx(0.0, 0.0));
  const std::vector<zefra_complex> toDc = {{h0, 0.0}, band.front()};
  const double gapGrid[2] = {0.0, fFirst};
  resampleBins(toDc, gapGrid, 0, kBand, df, hd);
  resampleBins(band, f + first, kBand, kAbove, df, hd);

  for (int64_t k = 0; k < kAbove; ++k) {
    const double fk = static_cast<double>(k) * df;
    x[static_cast<std::size_t>(k)] = hd[static_cast<std::size_t>(k)] * delayRotor(fk * tau);
  }
  x[0] = Cplx(h0, 0.0);

  const Cplx edge = h[n - 1];
  for (int64_t k = kAbove; k <= kTop; ++k) {
    const double above = static_cast<double>(k) * df - fLast;
    if (!(above < rolloffHz)) {
      break;
    }
    const double taper = 0.5 * (1.0 + std::cos(kPi * above / rolloffHz));
    x[static_cast<std::size_t>(k)] = edge * delayRotor(above * tau) * taper;
  }
  return x;
}

}  // namespace zefra::tk::pulse
