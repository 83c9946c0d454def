// Helpers of the pulse-response tests: two-ports sampled from closed forms,
// one call of the C API with everything it returns.
#pragma once

#include <cmath>
#include <complex>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "zefra/toolkit.h"

namespace zefra_pulse_test {

using Cplx = std::complex<double>;
constexpr double kPi = 3.141592653589793;
constexpr double kTwoPi = 2.0 * kPi;

struct TwoPort {
  Cplx s11, s12, s21, s22;
};

// Measured data: f (Hz), s (complex [n][2][2] row-major), the references.
struct Data {
  std::vector<double> f;
  std::vector<double> s;
  double z0[2] = {50.0, 50.0};
  int64_t points() const { return static_cast<int64_t>(f.size()); }
};

// f_k = k df for k = kFirst..kLast, S from `model`.
inline Data sample(double df, int64_t kFirst, int64_t kLast,
                   const std::function<TwoPort(double)>& model) {
  Data d;
  for (int64_t k = kFirst; k <= kLast; ++k) {
    const double f = static_cast<double>(k) * df;
    const TwoPort p = model(f);
    d.f.push_back(f);
    for (const Cplx& v : {p.s11, p.s12, p.s21, p.s22}) {
      d.s.push_back(v.real());
      d.s.push_back(v.imag());
    }
  }
  return d;
}

// exp(-j 2 pi f tau).
inline Cplx delay(double f, double tau) {
  const double angle = -kTwoPi * f * tau;
  return {std::cos(angle), std::sin(angle)};
}

// A matched line of delay tau: S21 = S12 = exp(-j 2 pi f tau), times `loss`.
inline std::function<TwoPort(double)> matchedLine(double tau,
                                                  std::function<double(double)> loss = nullptr) {
  return [tau, loss](double f) {
    const Cplx t = delay(f, tau) * (loss ? loss(f) : 1.0);
    return TwoPort{0.0, t, t, 0.0};
  };
}

// A lossless line of impedance zc and delay tau between references z0:
// with G = (zc - z0)/(zc + z0) and P = exp(-j 2 pi f tau),
// S11 = S22 = G (1 - P^2) / (1 - G^2 P^2), S21 = S12 = P (1 - G^2) / (1 - G^2 P^2).
inline std::function<TwoPort(double)> mismatchedLine(double zc, double z0, double tau) {
  return [zc, z0, tau](double f) {
    const double g = (zc - z0) / (zc + z0);
    const Cplx p = delay(f, tau);
    const Cplx den = 1.0 - g * g * p * p;
    const Cplx s11 = g * (1.0 - p * p) / den;
    const Cplx s21 = p * (1.0 - g * g) / den;
    return TwoPort{s11, s21, s21, s11};
  };
}

struct Result {
  zefra_tk_status status = -1;
  std::string message;
  std::vector<double> t, impulse, step, pulse;
  std::vector<Cplx> transfer;
  zefra_tk_pulse_diagnostics diag{};
};

inline zefra_tk_pulse_options options(double baudHz, int32_t samplesPerUi) {
  zefra_tk_pulse_options o;
  zefra_tk_pulse_default_options(&o);
  o.baudHz = baudHz;
  o.samplesPerUi = samplesPerUi;
  return o;
}

inline Result run(const Data& d, const zefra_tk_pulse_options& o) {
  Result r;
  zefra_tk_pulse* p = nullptr;
  char message[512];
  r.status = zefra_tk_pulse_response(d.points(), d.f.data(), d.s.data(), d.z0, &o, &p, message,
                                     static_cast<int32_t>(sizeof message));
  r.message = message;
  if (p == nullptr) {
    return r;
  }
  const auto n = static_cast<std::size_t>(zefra_tk_pulse_length(p));
  r.t.resize(n);
  r.impulse.resize(n);
  r.step.resize(n);
  r.pulse.resize(n);
  zefra_tk_pulse_copy(p, r.t.data(), r.impulse.data(), r.step.data(), r.pulse.data());
  zefra_tk_pulse_diagnostics_of(p, &r.diag);
  std::vector<double> h(n + 2);  // 2 (K + 1) = n + 2 doubles
  zefra_tk_pulse_copy_transfer(p, h.data());
  for (std::size_t k = 0; k < n / 2 + 1; ++k) {
    r.transfer.emplace_back(h[2 * k], h[2 * k + 1]);
  }
  zefra_tk_pulse_free(p);
  return r;
}

// Index of the sample at time t (t a whole number of dt after the start).
inline std::size_t indexAt(const Result& r, double t) {
  const double x = t / r.diag.dtS + static_cast<double>(r.diag.guardSamples);
  return static_cast<std::size_t>(std::llround(x));
}

}  // namespace zefra_pulse_test
