// Heap use of every export: the bytes a call holds at its peak, above what
// was live before it, stay within a small constant factor of the bytes of
// the arrays the caller passes and receives, plus a fixed allowance.
//
// Every export is called at a small, a large and an awkward size (see
// kSmallN below).  All caller buffers are built before the measurement
// starts, so the peak counts only what the library itself allocates during
// the call (for the cursor densities that includes the two arrays it hands
// back, which count as output).  Besides the bound at each size, the peak
// per byte of the I/O that grows with n must not rise from the small size
// to the large one by more than the fixed allowance: the heap use is linear
// in the I/O, not worse.
//
// The measured numbers are printed and recorded as test properties.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <numbers>
#include <random>
#include <string>
#include <vector>

#include "counting_allocator.h"
#include "zefra/interp_sparam.h"
#include "zefra/tdr_helpers.h"

namespace {

// Peak heap bytes allowed per byte of caller I/O.
constexpr double kFactor = 4.0;
// Fixed allowance for scratch whose size does not depend on the input
// (bounded histograms, call-frame bookkeeping, one-time runtime set-up).
constexpr std::size_t kSlack = 64 * 1024;

// The library's working records grow by doubling from 16 elements, so a
// record of n elements holds between n and 2n - 1 of storage.  The two sizes
// compared for growth are powers of two: every record of n + c elements (c
// small against n) is then rounded alike at both, and the ratio of peak to
// I/O bytes can only differ by what does not scale with n.  The third size
// lies just above a power of two, where that rounding is largest; it is held
// to the same bound.
constexpr std::int32_t kSmallN = 1 << 10;
constexpr std::int32_t kLargeN = 1 << 18;
constexpr std::int32_t kAwkwardN = (1 << 17) + 1;

constexpr std::size_t kDouble = sizeof(double);
constexpr std::size_t kComplex = sizeof(zefra_complex);

// One measured call.
struct Usage {
  std::int64_t n = 0;            // problem size the call was made at
  std::size_t ioBytes = 0;       // bytes of the caller's input and output arrays
  std::size_t fixedIoBytes = 0;  // the part of ioBytes whose size does not follow n
  std::size_t peak = 0;          // heap peak above the start of the call
};

Usage usageOf(std::int64_t n, std::size_t ioBytes, std::size_t fixedIoBytes = 0) {
  Usage u;
  u.n = n;
  u.ioBytes = ioBytes;
  u.fixedIoBytes = fixedIoBytes;
  return u;
}

// A place results are stored to, so that no call can be dropped.
volatile double gSink = 0.0;

// Peak heap bytes of one run of `call`, above what was live before it.
template <typename Call>
std::size_t peakOf(Call&& call) {
  zefra_alloc::resetPeak();
  call();
  return zefra_alloc::peakAboveStart();
}

std::size_t bytesOf(std::int64_t count, std::size_t element) {
  return static_cast<std::size_t>(count) * element;
}

double ratio(const Usage& u) {
  return static_cast<double>(u.peak) / static_cast<double>(u.ioBytes);
}

// Peak per byte of the I/O that grows with n (fixed-size arguments such as
// filter coefficients weigh more at a small size and would mask growth).
double scalingRatio(const Usage& u) {
  return static_cast<double>(u.peak) / static_cast<double>(u.ioBytes - u.fixedIoBytes);
}

void report(const char* name, const char* label, const Usage& u) {
  std::printf(
      "[ allocation ] %-34s %-7s n=%-7lld io=%10zu B  peak=%10zu B  peak/io=%.4f  "
      "peak/growing io=%.4f\n",
      name, label, static_cast<long long>(u.n), u.ioBytes, u.peak, ratio(u), scalingRatio(u));
  const std::string prefix = std::string(label) + "_";
  testing::Test::RecordProperty(prefix + "n", std::to_string(u.n));
  testing::Test::RecordProperty(prefix + "io_bytes", std::to_string(u.ioBytes));
  testing::Test::RecordProperty(prefix + "peak_bytes", std::to_string(u.peak));
  char buffer[32];
  std::snprintf(buffer, sizeof(buffer), "%.4f", ratio(u));
  testing::Test::RecordProperty(prefix + "peak_per_io", buffer);
  std::snprintf(buffer, sizeof(buffer), "%.4f", scalingRatio(u));
  testing::Test::RecordProperty(prefix + "peak_per_growing_io", buffer);
}

void expectBounded(const Usage& u, double factor) {
  const double bound = factor * static_cast<double>(u.ioBytes) + static_cast<double>(kSlack);
  EXPECT_LE(static_cast<double>(u.peak), bound)
      << "n = " << u.n << ": peak " << u.peak << " B for " << u.ioBytes << " B of I/O";
}

// Every size within factor * I/O + kSlack; and from the small size to the
// large one the peak per byte of growing I/O may rise by no more than
// kSlack spread over the large size's growing I/O.
void expectConstantFactor(const char* name, const Usage& small, const Usage& large,
                          const Usage& awkward, double factor = kFactor) {
  ASSERT_GT(small.ioBytes, small.fixedIoBytes);
  ASSERT_GT(large.ioBytes - large.fixedIoBytes, small.ioBytes - small.fixedIoBytes);
  ASSERT_GT(awkward.ioBytes, 0u);
  report(name, "small", small);
  report(name, "large", large);
  report(name, "awkward", awkward);
  expectBounded(small, factor);
  expectBounded(large, factor);
  expectBounded(awkward, factor);
  const double largeScaling = static_cast<double>(large.ioBytes - large.fixedIoBytes);
  EXPECT_LE(scalingRatio(large),
            scalingRatio(small) + static_cast<double>(kSlack) / largeScaling)
      << "peak per byte of growing I/O rises with n: " << scalingRatio(small) << " at n = "
      << small.n << ", " << scalingRatio(large) << " at n = " << large.n;
}

// The usual three sizes: `run` makes the call at a given n.
template <typename Run>
void expectConstantFactorAtSizes(const char* name, Run&& run, double factor = kFactor) {
  expectConstantFactor(name, run(kSmallN), run(kLargeN), run(kAwkwardN), factor);
}

// ---- Input data ------------------------------------------------------------

std::vector<double> normalData(std::size_t n, std::uint64_t seed) {
  std::mt19937_64 gen(seed);
  std::normal_distribution<double> dist(0.0, 1.0);
  std::vector<double> x(n);
  for (double& v : x) {
    v = dist(gen);
  }
  return x;
}

std::vector<double> uniformData(std::size_t n, double lo, double hi, std::uint64_t seed) {
  std::mt19937_64 gen(seed);
  std::uniform_real_distribution<double> dist(lo, hi);
  std::vector<double> x(n);
  for (double& v : x) {
    v = dist(gen);
  }
  return x;
}

// Passive-looking S-parameters: magnitude below 0.9, uniform phase.
std::vector<zefra_complex> randomSParam(std::size_t n, std::uint64_t seed) {
  std::mt19937_64 gen(seed);
  std::uniform_real_distribution<double> unit(0.0, 1.0);
  std::vector<zefra_complex> s(n);
  for (zefra_complex& v : s) {
    const double r = 0.9 * std::sqrt(unit(gen));
    const double phi = 2.0 * std::numbers::pi * unit(gen);
    v.re = r * std::cos(phi);
    v.im = r * std::sin(phi);
  }
  return s;
}

// n frequencies from 0 to fMax inclusive, Hz.
std::vector<double> linearFrequencies(std::size_t n, double fMax = 50e9) {
  std::vector<double> f(n);
  const double step = n > 1 ? fMax / static_cast<double>(n - 1) : 0.0;
  for (std::size_t i = 0; i < n; ++i) {
    f[i] = step * static_cast<double>(i);
  }
  return f;
}

// n ascending queries over -1 % .. 101 % of 0 .. fMax.
std::vector<double> sortedQueries(std::size_t n, double fMax = 50e9) {
  std::vector<double> q(n);
  const double lo = -0.01 * fMax;
  const double step = n > 1 ? 1.02 * fMax / static_cast<double>(n - 1) : 0.0;
  for (std::size_t i = 0; i < n; ++i) {
    q[i] = lo + step * static_cast<double>(i);
  }
  return q;
}

std::vector<double> realTable(const std::vector<double>& f) {
  std::vector<double> y(f.size());
  for (std::size_t i = 0; i < f.size(); ++i) {
    y[i] = std::exp(-f[i] / 20e9) * std::cos(2.0 * std::numbers::pi * f[i] * 0.5e-9);
  }
  return y;
}

// A 1 ns delayed, lossy transmission trace.
template <typename C>
std::vector<C> delayedTrace(const std::vector<double>& f) {
  std::vector<C> s(f.size());
  for (std::size_t i = 0; i < f.size(); ++i) {
    const double mag = 0.95 * std::exp(-0.05 * std::sqrt(f[i] / 1e9));
    const double phi = -2.0 * std::numbers::pi * f[i] * 1e-9;
    s[i].re = mag * std::cos(phi);
    s[i].im = mag * std::sin(phi);
  }
  return s;
}

// Decaying cursors 0.999 * 0.99^k, every third one negative.
std::vector<double> decayingCursors(std::size_t count) {
  std::vector<double> c(count);
  double a = 0.999;
  for (std::size_t k = 0; k < count; ++k) {
    c[k] = (k % 3 == 2 ? -a : a);
    a *= 0.99;
  }
  return c;
}

std::size_t toSize(std::int32_t n) { return static_cast<std::size_t>(n); }

// ---- One measured call per export ------------------------------------------

using Reduction = double (*)(const double*, std::int32_t);

Usage runReduction(Reduction fn, std::int32_t n) {
  const std::vector<double> x = normalData(toSize(n), 1);
  Usage u = usageOf(n, bytesOf(n, kDouble));
  u.peak = peakOf([&] { gSink = fn(x.data(), n); });
  return u;
}

using RealInterp = void (*)(const double*, const double*, const double*, double*, std::int32_t,
                            std::int32_t);
using ComplexInterp = void (*)(const double*, const zefra_complex*, const double*,
                               zefra_complex*, std::int32_t, std::int32_t);

// A table of n samples queried at n points.
Usage runRealInterp(RealInterp fn, std::int32_t n) {
  const std::vector<double> x = linearFrequencies(toSize(n));
  const std::vector<double> y = realTable(x);
  const std::vector<double> xi = sortedQueries(toSize(n));
  std::vector<double> yi(toSize(n));
  Usage u = usageOf(n, bytesOf(4 * static_cast<std::int64_t>(n), kDouble));
  u.peak = peakOf([&] { fn(x.data(), y.data(), xi.data(), yi.data(), n, n); });
  return u;
}

Usage runComplexInterp(ComplexInterp fn, std::int32_t n) {
  const std::vector<double> x = linearFrequencies(toSize(n));
  const std::vector<zefra_complex> y = delayedTrace<zefra_complex>(x);
  const std::vector<double> xi = sortedQueries(toSize(n));
  std::vector<zefra_complex> yi(toSize(n));
  Usage u = usageOf(n, bytesOf(2 * static_cast<std::int64_t>(n), kDouble + kComplex));
  u.peak = peakOf([&] { fn(x.data(), y.data(), xi.data(), yi.data(), n, n); });
  return u;
}

// n input points resampled onto n output points.
Usage runInterpSparamForwarder(std::int32_t n) {
  const std::vector<double> fIn = linearFrequencies(toSize(n));
  const std::vector<zefra_complex> sIn = delayedTrace<zefra_complex>(fIn);
  const std::vector<double> fOut = sortedQueries(toSize(n));
  std::vector<zefra_complex> sOut(toSize(n));
  Usage u = usageOf(n, bytesOf(2 * static_cast<std::int64_t>(n), kDouble + kComplex));
  u.peak = peakOf([&] { interp_Sparam(sIn.data(), fIn.data(), n, fOut.data(), n, sOut.data()); });
  return u;
}

Usage runInterpSparamSibling(std::int32_t n) {
  const std::vector<double> fIn = linearFrequencies(toSize(n));
  const std::vector<zefra_complex> sIn = delayedTrace<zefra_complex>(fIn);
  const std::vector<double> fOut = sortedQueries(toSize(n));
  std::vector<zefra_complex> sOut(toSize(n));
  Usage u =
      usageOf(n, bytesOf(2 * static_cast<std::int64_t>(n), kDouble + sizeof(zefra_complex)));
  u.peak = peakOf(
      [&] { zefra_interp_Sparam_C(sIn.data(), fIn.data(), n, fOut.data(), n, sOut.data()); });
  return u;
}

// Four output traces, S11 S12 S21 S22.
struct FourPort {
  explicit FourPort(std::size_t n) : s11(n), s12(n), s21(n), s22(n) {}
  std::vector<zefra_complex> s11, s12, s21, s22;
};

Usage runCombineS4p(std::int32_t n) {
  std::array<std::vector<zefra_complex>, 8> in;
  for (std::size_t k = 0; k < in.size(); ++k) {
    in[k] = randomSParam(toSize(n), 100u + k);
  }
  FourPort out(toSize(n));
  Usage u = usageOf(n, bytesOf(12 * static_cast<std::int64_t>(n), kComplex));
  u.peak = peakOf([&] {
    combineS4p(in[0].data(), in[1].data(), in[2].data(), in[3].data(), in[4].data(),
               in[5].data(), in[6].data(), in[7].data(), n, out.s11.data(), out.s12.data(),
               out.s21.data(), out.s22.data());
  });
  return u;
}

Usage runSynthTline(std::int32_t n) {
  const std::vector<double> freq = linearFrequencies(toSize(n));
  const std::array<double, 3> coeffs{0.01, 0.05, 0.02};
  FourPort out(toSize(n));
  Usage u = usageOf(
      n, bytesOf(n + 3, kDouble) + bytesOf(4 * static_cast<std::int64_t>(n), kComplex),
      bytesOf(3, kDouble));
  u.peak = peakOf([&] {
    synth_tline(freq.data(), n, 50.0, 25.0, coeffs.data(), 3, 0.15, 10.0, out.s11.data(),
                out.s12.data(), out.s21.data(), out.s22.data());
  });
  return u;
}

Usage runMakePackage(std::int32_t n) {
  const std::vector<double> freq = linearFrequencies(toSize(n));
  const std::array<double, 3> loss{0.01, 0.02, 0.01};
  FourPort out(toSize(n));
  Usage u = usageOf(
      n, bytesOf(n + 3, kDouble) + bytesOf(4 * static_cast<std::int64_t>(n), kComplex),
      bytesOf(3, kDouble));
  u.peak = peakOf([&] {
    makePackage(freq.data(), n, 1.0, 0.2e-12, 0.2e-12, 100.0, 0.1, loss.data(), 3, 50.0,
                0.5e-9, 0.1e-12, out.s11.data(), out.s12.data(), out.s21.data(),
                out.s22.data());
  });
  return u;
}

Usage runMod(double divisor, std::int32_t n) {
  std::vector<double> x = normalData(toSize(n), 11);
  for (double& v : x) {
    v *= 10.0;
  }
  std::vector<double> y(toSize(n));
  Usage u = usageOf(n, bytesOf(2 * static_cast<std::int64_t>(n), kDouble));
  u.peak = peakOf([&] { mod(x.data(), divisor, y.data(), n); });
  return u;
}

// na * nb outputs.
Usage runKron(std::int32_t na, std::int32_t nb) {
  const std::vector<double> a = normalData(toSize(na), 12);
  const std::vector<double> b = normalData(toSize(nb), 13);
  const std::int64_t ny = static_cast<std::int64_t>(na) * nb;
  std::vector<double> y(static_cast<std::size_t>(ny));
  Usage u = usageOf(ny, bytesOf(na + nb + ny, kDouble));
  u.peak = peakOf([&] { Kron(a.data(), b.data(), y.data(), na, nb); });
  return u;
}

// A signal of n samples convolved with 64 taps.
Usage runConv(std::int32_t n) {
  constexpr std::int32_t kTaps = 64;
  const std::vector<double> a = normalData(toSize(n), 1);
  const std::vector<double> b = normalData(toSize(kTaps), 2);
  std::vector<double> y(toSize(n + kTaps - 1));
  Usage u = usageOf(n, bytesOf(2 * static_cast<std::int64_t>(n) + 2 * kTaps - 1, kDouble),
                    bytesOf(2 * kTaps - 1, kDouble));
  u.peak = peakOf([&] { conv(a.data(), b.data(), y.data(), n, kTaps); });
  return u;
}

Usage runFilter(const std::vector<double>& b, const std::vector<double>& a, std::int32_t n) {
  const std::vector<double> x = normalData(toSize(n), 3);
  std::vector<double> y(toSize(n));
  const auto nb = static_cast<std::int32_t>(b.size());
  const auto na = static_cast<std::int32_t>(a.size());
  Usage u = usageOf(n, bytesOf(nb + na + 2 * static_cast<std::int64_t>(n), kDouble),
                    bytesOf(nb + na, kDouble));
  u.peak = peakOf([&] { Filter(b.data(), a.data(), x.data(), y.data(), nb, na, n); });
  return u;
}

// Wrapped phase of a 2 ns delay over 0 .. 50 GHz plus a little noise.
Usage runUnwrap(std::int32_t n) {
  const std::vector<double> f = linearFrequencies(toSize(n));
  const std::vector<double> noise = normalData(toSize(n), 14);
  const double twoPi = 2.0 * std::numbers::pi;
  std::vector<double> x(toSize(n));
  for (std::size_t i = 0; i < x.size(); ++i) {
    x[i] = std::remainder(-twoPi * f[i] * 2e-9 + 0.05 * noise[i], twoPi);
  }
  std::vector<double> y(toSize(n));
  Usage u = usageOf(n, bytesOf(2 * static_cast<std::int64_t>(n), kDouble));
  u.peak = peakOf([&] { unwrap(x.data(), y.data(), n); });
  return u;
}

// n roots; the caller's coefficient buffer holds n + 1 values.
Usage runPoly(std::int32_t n) {
  const std::vector<double> r = normalData(toSize(n), 21);
  std::vector<double> c(toSize(n) + 1, 0.0);
  Usage u = usageOf(n, bytesOf(2 * static_cast<std::int64_t>(n) + 1, kDouble), kDouble);
  u.peak = peakOf([&] { poly(r.data(), c.data(), n); });
  return u;
}

// Degree 8 at n complex points.
Usage runPolyval(std::int32_t n) {
  const std::array<double, 9> p{0.5, -1.25, 0.75, 2.0, -0.3, 1.1, -0.9, 0.05, 1.0};
  const std::vector<zefra_complex> z = randomSParam(toSize(n), 22);
  std::vector<zefra_complex> w(toSize(n));
  Usage u = usageOf(n, bytesOf(9, kDouble) + bytesOf(2 * static_cast<std::int64_t>(n), kComplex),
                    bytesOf(9, kDouble));
  u.peak = peakOf([&] { Polyval(p.data(), z.data(), w.data(), 9, n); });
  return u;
}

// y = 2.5 x - 0.75 + noise over x in [0, 1].
Usage runPolyfit(std::int32_t n) {
  const std::vector<double> x = linearFrequencies(toSize(n), 1.0);
  std::vector<double> y = normalData(toSize(n), 23);
  for (std::size_t i = 0; i < y.size(); ++i) {
    y[i] = 2.5 * x[i] - 0.75 + 0.1 * y[i];
  }
  std::array<double, 2> coeffs{};
  Usage u = usageOf(n, bytesOf(2 * static_cast<std::int64_t>(n) + 2, kDouble), bytesOf(2, kDouble));
  u.peak = peakOf([&] { Polyfit(x.data(), y.data(), nullptr, coeffs.data(), n, n); });
  return u;
}

constexpr std::int32_t kButterworthOrder = 6;
constexpr double kCutoff = 2.0 * std::numbers::pi * 20e9;

std::vector<double> angularFrequencies(std::size_t n) {
  std::vector<double> w = linearFrequencies(n);
  for (double& v : w) {
    v *= 2.0 * std::numbers::pi;
  }
  return w;
}

Usage runButterworthTf(std::int32_t n) {
  const std::vector<double> w = angularFrequencies(toSize(n));
  std::vector<zefra_complex> h(toSize(n));
  Usage u = usageOf(n, bytesOf(n, kDouble + kComplex));
  u.peak = peakOf([&] { Butterworth_TF(kButterworthOrder, w.data(), kCutoff, n, h.data()); });
  return u;
}

Usage runGetButterworthTf(std::int32_t n) {
  const std::vector<double> w = angularFrequencies(toSize(n));
  std::vector<zefra_complex> h(toSize(n));
  Usage u = usageOf(n, bytesOf(n, kDouble + kComplex));
  u.peak = peakOf([&] { GetButterworthTF(kButterworthOrder, w.data(), n, kCutoff, h.data()); });
  return u;
}

// Values spread over (0, 2), both tails included.
Usage runErfcinv(std::int32_t n) {
  const std::vector<double> x = uniformData(toSize(n), 0.001, 1.999, 24);
  std::vector<double> y(toSize(n));
  Usage u = usageOf(n, bytesOf(2 * static_cast<std::int64_t>(n), kDouble));
  u.peak = peakOf([&] { erfcinv(x.data(), y.data(), n); });
  return u;
}

// 28 GBd at 4 samples per UI, zero at 3 GHz, poles at 7 and 28 GHz, 6 dB.
Usage runTdCtle(std::int32_t n) {
  const std::vector<double> x = normalData(toSize(n), 25);
  std::vector<double> y(toSize(n));
  Usage u = usageOf(n, bytesOf(2 * static_cast<std::int64_t>(n), kDouble));
  u.peak = peakOf([&] { td_ctle(x.data(), y.data(), n, 28e9, 3e9, 7e9, 28e9, 6.0, 4.0); });
  return u;
}

constexpr std::int32_t kSamplesPerUi = 16;
constexpr std::int32_t kResponseLength = 2000;

// A 2000-sample coupling response against an NRZ pattern of n samples.
Usage runXtlkNoiseStep(std::int32_t n) {
  std::vector<double> response(toSize(kResponseLength));
  for (std::size_t i = 0; i < response.size(); ++i) {
    const double t = (static_cast<double>(i) - 400.0) / 20.0;
    response[i] = -0.01 * t * std::exp(-0.5 * t * t);
  }
  std::mt19937_64 gen(32);
  std::bernoulli_distribution bit(0.5);
  std::vector<double> pattern(toSize(n));
  double level = 1.0;
  for (std::size_t i = 0; i < pattern.size(); ++i) {
    if (i % toSize(kSamplesPerUi) == 0) {
      level = bit(gen) ? 1.0 : -1.0;
    }
    pattern[i] = level;
  }
  Usage u = usageOf(n, bytesOf(static_cast<std::int64_t>(kResponseLength) + n, kDouble),
                    bytesOf(kResponseLength, kDouble));
  u.peak = peakOf([&] {
    gSink = Get_xtlk_noise_step(response.data(), pattern.data(), kResponseLength, n,
                                kSamplesPerUi, 0.4);
  });
  return u;
}

// A pulse of n UIs: main cursor at index 5, a decaying tail, two
// reflections; 3 groups of 4 taps searched over positions 6 .. 150.
Usage runFloatingDfe(std::int32_t n) {
  const std::vector<double> ripple = normalData(toSize(n), 33);
  std::vector<double> pulse(toSize(n), 0.0);
  for (std::size_t i = 0; i < pulse.size(); ++i) {
    const double k = static_cast<double>(i);
    double v = 0.002 * ripple[i];
    if (i == 3) v += 0.05;
    if (i == 4) v += 0.15;
    if (i == 5) v += 1.0;
    if (i > 5) v += 0.4 * std::pow(0.7, k - 6.0);
    v += 0.05 * std::exp(-0.5 * (k - 40.0) * (k - 40.0) / 4.0);
    v -= 0.03 * std::exp(-0.5 * (k - 95.0) * (k - 95.0) / 4.0);
    pulse[i] = v;
  }
  constexpr double kTaps = 4.0;
  constexpr double kGroups = 3.0;
  constexpr std::int32_t kPositions = 12;
  std::vector<double> positions(toSize(kPositions));
  std::vector<double> weights(toSize(n));
  std::vector<double> limits(toSize(n));
  Usage u = usageOf(n, bytesOf(3 * static_cast<std::int64_t>(n) + kPositions, kDouble),
                    bytesOf(kPositions, kDouble));
  u.peak = peakOf([&] {
    floatingDFE(pulse.data(), n, 6.0, kTaps, kGroups, 150.0, 0.5, 1.0, 0, positions.data(),
                weights.data(), limits.data());
  });
  return u;
}

using CursorDensity = bool (*)(const double*, std::int32_t, const void*, double**, double**,
                               double*, double*, std::int32_t, std::int32_t*);

constexpr double kBinWidth = 1e-3;

// count decaying cursors, M = 4, 1 mV bins.  The two arrays the library
// hands back count as output and are released after the measurement.
Usage runCursorDensity(CursorDensity fn, std::int32_t count) {
  const std::vector<double> cursors = decayingCursors(toSize(count));
  double* amplitudes = nullptr;
  double* probabilities = nullptr;
  double offset = 0.0;
  double width = kBinWidth;
  std::int32_t bins = 0;
  bool ok = false;
  Usage u = usageOf(count, 0);
  u.peak = peakOf([&] {
    ok = fn(cursors.data(), 4, nullptr, &amplitudes, &probabilities, &offset, &width, count,
            &bins);
  });
  zefra_release_array(amplitudes);
  zefra_release_array(probabilities);
  EXPECT_TRUE(ok) << count << " cursors";
  u.ioBytes = bytesOf(count, kDouble) + bytesOf(2 * static_cast<std::int64_t>(bins), kDouble);
  return u;
}

// n points uniform in [-0.5, 0.5) with positive weights on 1 mV bins; the
// outputs hold the largest grid any call writes (2 * 2000 + 1 values).
Usage runDCpdf(std::int32_t n) {
  const std::vector<double> points = uniformData(toSize(n), -0.5, 0.5, 31);
  const std::vector<double> weights = uniformData(toSize(n), 0.1, 1.0, 34);
  constexpr std::int32_t kOutCount = 2 * 2000 + 1;
  std::vector<double> centers(toSize(kOutCount));
  std::vector<double> density(toSize(kOutCount));
  double offset = 0.0;
  double width = 0.0;
  bool ok = false;
  Usage u = usageOf(n, bytesOf(2 * static_cast<std::int64_t>(n) + 2 * kOutCount, kDouble),
                    bytesOf(2 * kOutCount, kDouble));
  u.peak = peakOf([&] {
    ok = d_cpdf(points.data(), weights.data(), centers.data(), density.data(), n, n, kOutCount,
                kBinWidth, &offset, &width);
  });
  EXPECT_TRUE(ok) << n << " points";
  return u;
}

// ---- The tests ---------------------------------------------------------------

// The counters must see the blocks the test and the shared library take;
// otherwise every bound below would hold vacuously.
TEST(CountingAllocator, SeesBlocksTakenAndGivenBackInThisProgram) {
  // Through a volatile pointer, so the compiler cannot elide the pair.
  void* (*volatile allocate)(std::size_t) = std::malloc;
  constexpr std::size_t kBytes = 1 << 20;
  const std::size_t before = zefra_alloc::liveBytes();
  zefra_alloc::resetPeak();
  void* block = allocate(kBytes);
  ASSERT_NE(block, nullptr);
  EXPECT_GE(zefra_alloc::liveBytes(), before + kBytes);
  std::free(block);
  EXPECT_GE(zefra_alloc::peakAboveStart(), kBytes);
  EXPECT_EQ(zefra_alloc::liveBytes(), before);
}

TEST(CountingAllocator, SeesBlocksTheLibraryHandsBack) {
  const std::vector<double> cursors = decayingCursors(20);
  double* amplitudes = nullptr;
  double* probabilities = nullptr;
  double offset = 0.0;
  double width = kBinWidth;
  std::int32_t bins = 0;
  const std::size_t before = zefra_alloc::liveBytes();
  ASSERT_TRUE(get_pdf_from_sampled_signal(cursors.data(), 4, nullptr, &amplitudes,
                                          &probabilities, &offset, &width, 20, &bins));
  ASSERT_GT(bins, 0);
  EXPECT_GE(zefra_alloc::liveBytes(), before + 2 * bytesOf(bins, kDouble));
  zefra_release_array(amplitudes);
  zefra_release_array(probabilities);
  EXPECT_EQ(zefra_alloc::liveBytes(), before);
}

TEST(AllocationStaysWithinConstantFactorOfIo, Median) {
  expectConstantFactorAtSizes("median", [&](std::int32_t n) { return runReduction(median, n); });
}

TEST(AllocationStaysWithinConstantFactorOfIo, EvalStd) {
  expectConstantFactorAtSizes("Eval_std",
                              [&](std::int32_t n) { return runReduction(Eval_std, n); });
}

TEST(AllocationStaysWithinConstantFactorOfIo, Norm) {
  expectConstantFactorAtSizes("norm", [&](std::int32_t n) { return runReduction(norm, n); });
}

TEST(AllocationStaysWithinConstantFactorOfIo, Interp1qLinear) {
  expectConstantFactorAtSizes("interp1q_Linear",
                              [&](std::int32_t n) { return runRealInterp(interp1q_Linear, n); });
}

TEST(AllocationStaysWithinConstantFactorOfIo, InterpLinearExtrap) {
  expectConstantFactorAtSizes("interp_Linear_Extrap",
                              [&](std::int32_t n) { return runRealInterp(interp_Linear_Extrap, n); });
}

TEST(AllocationStaysWithinConstantFactorOfIo, InterpLinearExtrapComplex) {
  expectConstantFactorAtSizes("interp_Linear_Extrap_Complex",
                              [&](std::int32_t n) { return runComplexInterp(interp_Linear_Extrap_Complex, n); });
}

TEST(AllocationStaysWithinConstantFactorOfIo, LinearInterpComplexLean) {
  expectConstantFactorAtSizes("zefra_linearInterp_c",
                              [&](std::int32_t n) { return runComplexInterp(zefra_linearInterp_c, n); });
}

TEST(AllocationStaysWithinConstantFactorOfIo, Interp1Cubic) {
  expectConstantFactorAtSizes("interp1_Cubic",
                              [&](std::int32_t n) { return runRealInterp(interp1_Cubic, n); });
}

TEST(AllocationStaysWithinConstantFactorOfIo, InterpSparamForwarder) {
  expectConstantFactorAtSizes("interp_Sparam", runInterpSparamForwarder);
}

TEST(AllocationStaysWithinConstantFactorOfIo, InterpSparamSiblingModule) {
  expectConstantFactorAtSizes("zefra_interp_Sparam_C", runInterpSparamSibling);
}

TEST(AllocationStaysWithinConstantFactorOfIo, CombineS4p) {
  expectConstantFactorAtSizes("combineS4p", runCombineS4p);
}

TEST(AllocationStaysWithinConstantFactorOfIo, SynthTline) {
  expectConstantFactorAtSizes("synth_tline", runSynthTline);
}

TEST(AllocationStaysWithinConstantFactorOfIo, MakePackage) {
  expectConstantFactorAtSizes("makePackage", runMakePackage);
}

TEST(AllocationStaysWithinConstantFactorOfIo, ModNonIntegerDivisor) {
  expectConstantFactorAtSizes("mod (m = 0.7)", [&](std::int32_t n) { return runMod(0.7, n); });
}

TEST(AllocationStaysWithinConstantFactorOfIo, ModIntegerDivisor) {
  expectConstantFactorAtSizes("mod (m = 3)", [&](std::int32_t n) { return runMod(3.0, n); });
}

TEST(AllocationStaysWithinConstantFactorOfIo, Kron) {
  // 32 x 32 = 2^10 and 512 x 512 = 2^18 output elements; 331 x 396 = 2^17 + 4.
  expectConstantFactor("Kron", runKron(32, 32), runKron(512, 512), runKron(331, 396));
}

TEST(AllocationStaysWithinConstantFactorOfIo, Conv) {
  expectConstantFactorAtSizes("conv", runConv);
}

TEST(AllocationStaysWithinConstantFactorOfIo, FilterFir) {
  const std::vector<double> b = normalData(16, 4);
  const std::vector<double> a{1.0};
  expectConstantFactorAtSizes("Filter (16-tap FIR)",
                              [&](std::int32_t n) { return runFilter(b, a, n); });
}

TEST(AllocationStaysWithinConstantFactorOfIo, FilterRecursive) {
  const std::vector<double> b{0.2, 0.3, 0.1};
  const std::vector<double> a{1.0, -0.4, 0.2};
  expectConstantFactorAtSizes("Filter (biquad)",
                              [&](std::int32_t n) { return runFilter(b, a, n); });
}

TEST(AllocationStaysWithinConstantFactorOfIo, Unwrap) {
  expectConstantFactorAtSizes("unwrap", runUnwrap);
}

TEST(AllocationStaysWithinConstantFactorOfIo, Poly) {
  // The export forms every coefficient, in time quadratic in n: smaller
  // sizes, still powers of two and just above one.
  expectConstantFactor("poly", runPoly(kSmallN),
                       runPoly(1 << 14),
                       runPoly((1 << 13) + 1));
}

TEST(AllocationStaysWithinConstantFactorOfIo, Polyval) {
  expectConstantFactorAtSizes("Polyval", runPolyval);
}

TEST(AllocationStaysWithinConstantFactorOfIo, Polyfit) {
  expectConstantFactorAtSizes("Polyfit", runPolyfit);
}

TEST(AllocationStaysWithinConstantFactorOfIo, ButterworthTf) {
  expectConstantFactorAtSizes("Butterworth_TF", runButterworthTf);
}

TEST(AllocationStaysWithinConstantFactorOfIo, GetButterworthTf) {
  expectConstantFactorAtSizes("GetButterworthTF", runGetButterworthTf);
}

TEST(AllocationStaysWithinConstantFactorOfIo, Erfcinv) {
  expectConstantFactorAtSizes("erfcinv", runErfcinv);
}

TEST(AllocationStaysWithinConstantFactorOfIo, TdCtle) {
  expectConstantFactorAtSizes("td_ctle", runTdCtle);
}

TEST(AllocationStaysWithinConstantFactorOfIo, XtlkNoiseStep) {
  expectConstantFactorAtSizes("Get_xtlk_noise_step", runXtlkNoiseStep);
}

TEST(AllocationStaysWithinConstantFactorOfIo, FloatingDfe) {
  expectConstantFactorAtSizes("floatingDFE", runFloatingDfe);
}

TEST(AllocationStaysWithinConstantFactorOfIo, CursorDensity) {
  // 500 cursors as in the benchmarks, against 50; with 108 the density
  // has just over 2^17 bins, where its working records are rounded up most.
  expectConstantFactor("get_pdf_from_sampled_signal",
                       runCursorDensity(get_pdf_from_sampled_signal, 50),
                       runCursorDensity(get_pdf_from_sampled_signal, 500),
                       runCursorDensity(get_pdf_from_sampled_signal, 108));
}

TEST(AllocationStaysWithinConstantFactorOfIo, CursorDensitySorted) {
  expectConstantFactor("get_pdf_from_sampled_signal_800G",
                       runCursorDensity(get_pdf_from_sampled_signal_800G, 50),
                       runCursorDensity(get_pdf_from_sampled_signal_800G, 500),
                       runCursorDensity(get_pdf_from_sampled_signal_800G, 108));
}

TEST(AllocationStaysWithinConstantFactorOfIo, WeightedHistogram) {
  expectConstantFactorAtSizes("d_cpdf", runDCpdf);
}

}  // namespace
