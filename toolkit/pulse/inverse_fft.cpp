// Inverse real FFT of length 2K through one complex FFT of length K.
//
// Split x into its even and odd samples, a[m] = x[2m], b[m] = x[2m+1], and
// let A, B be their K-point DFTs.  Then
//   X_k = A_k + e^{-j pi k/K} B_k,   X_{k+K} = A_k - e^{-j pi k/K} B_k,
// and with X_{k+K} = conj(X_{K-k}) (x real):
//   A_k = (X_k + conj(X_{K-k})) / 2,
//   B_k = (X_k - conj(X_{K-k})) e^{+j pi k/K} / 2,   k = 0..K-1.
// The sequence z[m] = a[m] + j b[m] has the DFT Z_k = A_k + j B_k, so one
// inverse complex FFT of Z, scaled by 1/K, gives x[2m] = Re z[m] and
// x[2m+1] = Im z[m].  The scaling folds the 1/2 of A and B into 1/(2K).
//
// The twiddles e^{+j pi k/K} are taken as cos/sin of pi k/K for
// k <= K/2 and by the symmetry e^{j pi (K-k)/K} = -conj(e^{j pi k/K})
// above, so each is correctly rounded to about an ulp with no growth in k.
// The FFT itself is kissfft's mixed-radix template in double precision; K
// is 5-smooth, so it runs on radix 2, 3, 4 and 5 butterflies only.  K = 1
// needs no transform (z = Z_0).
#include "pulse/inverse_fft.h"

#include <kissfft.hh>

#include <cmath>

namespace zefra::tk::pulse {
namespace {

constexpr double kPi = 3.141592653589793;

Cplx halfTurnTwiddle(std::size_t k, std::size_t kTop) {
  if (2 * k <= kTop) {
    const double angle = kPi * static_cast<double>(k) / static_cast<double>(kTop);
    return {std::cos(angle), std::sin(angle)};
  }
  const double angle = kPi * static_cast<double>(kTop - k) / static_cast<double>(kTop);
  return {-std::cos(angle), std::sin(angle)};
}

}  // namespace

std::vector<double> inverseRealFft(const std::vector<Cplx>& spectrum) {
  if (spectrum.size() < 2) {
    return {};
  }
  const std::size_t kTop = spectrum.size() - 1;
  auto bin = [&](std::size_t k) {
    // The DC and Nyquist bins of a real sequence are real.
    return (k == 0 || k == kTop) ? Cplx(spectrum[k].real(), 0.0) : spectrum[k];
  };
  std::vector<Cplx> z(kTop);
  for (std::size_t k = 0; k < kTop; ++k) {
    const Cplx xk = bin(k);
    const Cplx xm = std::conj(bin(kTop - k));
    const Cplx a = xk + xm;
    const Cplx b = (xk - xm) * halfTurnTwiddle(k, kTop);
    z[k] = a + Cplx(-b.imag(), b.real());  // a + j b
  }
  std::vector<Cplx> out(kTop);
  if (kTop == 1) {
    out[0] = z[0];
  } else {
    const kissfft<double> fft(kTop, true);
    fft.transform(z.data(), out.data());
  }
  const double scale = 0.5 / static_cast<double>(kTop);
  std::vector<double> x(2 * kTop);
  for (std::size_t m = 0; m < kTop; ++m) {
    x[2 * m] = out[m].real() * scale;
    x[2 * m + 1] = out[m].imag() * scale;
  }
  return x;
}

}  // namespace zefra::tk::pulse
