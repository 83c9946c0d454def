// Channel models: combineS4p, synth_tline, makePackage.
// First byte: value % 3 picks the export, bit 7 the invalid region (zero or
// negative counts, short or absent coefficient lists, zA = -2 zB, negative
// and NaN frequencies).  Results are per point: a few points of every valid
// call are recomputed alone and must give the same bits.
#include "fuzz_support.h"

using namespace zfuzz;

namespace {

constexpr int32_t kMaxPoints = 512;
using Complex = zefra_complex;

bool sameComplexBits(const Complex& a, const Complex& b) {
  return sameBits(a.re, b.re) && sameBits(a.im, b.im);
}

bool hasNaN(const Complex& c) { return std::isnan(c.re) || std::isnan(c.im); }
bool nonFinite(const Complex& c) { return !std::isfinite(c.re) || !std::isfinite(c.im); }

struct FourOutputs {
  explicit FourOutputs(int32_t n)
      : s11(n > 0 ? n : 4), s12(n > 0 ? n : 4), s21(n > 0 ? n : 4), s22(n > 0 ? n : 4) {}
  OutBuf<Complex> s11, s12, s21, s22;
  OutBuf<Complex>* all[4] = {&s11, &s12, &s21, &s22};
  void checkGuards(const char* what) const {
    for (const auto* o : all) o->checkGuard(what);
  }
  void requireUntouched(const char* what) const {
    for (const auto* o : all) o->requireUntouched(what);
  }
};

// Point i of `full` must equal point 0 of `single`, bit for bit.
void requireSamePoint(const char* what, const FourOutputs& full, int32_t i,
                      const FourOutputs& single) {
  static const char* kNames[4] = {"S11", "S12", "S21", "S22"};
  for (int p = 0; p < 4; ++p) {
    const Complex a = (*full.all[p])[static_cast<size_t>(i)];
    const Complex b = (*single.all[p])[0];
    if (!sameComplexBits(a, b)) {
      fail("%s: %s at point %d is (%a, %a) in the full call but (%a, %a) alone", what, kNames[p],
           i, a.re, a.im, b.re, b.im);
    }
  }
}

double frequency(Input& in) {
  const uint8_t k = in.byte();
  if (k < 150) return in.inRange(0.0, 1e11);
  if (k < 160) return 0.0;
  if (k < 176) return -in.inRange(0.0, 1e11);
  if (k < 184) return Input::special(static_cast<uint8_t>(in.byte() % 12));  // NaN, Inf, tiny
  if (k < 192) return -1e-12 * in.inRange(0.0, 1.0);  // rounds to -0.0 GHz or not
  return in.value();
}

// ---- combineS4p ----------------------------------------------------------------

void runCombine(Input& in, bool invalid) {
  const int32_t n = invalid ? in.badCount() : in.count(kMaxPoints);
  // A negative count: the inputs must not be read.
  const int32_t inputLength = std::max(n, 0);
  InBuf<Complex> a11(inputLength), a12(inputLength), a21(inputLength), a22(inputLength);
  InBuf<Complex> b11(inputLength), b12(inputLength), b21(inputLength), b22(inputLength);
  InBuf<Complex>* ins[8] = {&a11, &a12, &a21, &a22, &b11, &b12, &b21, &b22};
  const bool realistic = in.flag();
  for (auto* buf : ins) {
    for (int32_t i = 0; i < buf->size(); ++i) {
      (*buf)[static_cast<size_t>(i)] = realistic ? Complex{in.inRange(-1.0, 1.0), in.inRange(-1.0, 1.0)}
                                                 : Complex{in.value(), in.value()};
    }
  }
  // Make D = 1 - A22 * B11 vanish at one point now and then.
  if (n > 0 && in.byte() < 32) {
    const auto at = static_cast<size_t>(in.u16() % static_cast<uint32_t>(n));
    a22[at] = {1.0, 0.0};
    b11[at] = {1.0, 0.0};
  }
  for (auto* buf : ins) buf->seal();
  FourOutputs c(n);
  combineS4p(a11.data(), a12.data(), a21.data(), a22.data(), b11.data(), b12.data(), b21.data(),
             b22.data(), n, c.s11.data(), c.s12.data(), c.s21.data(), c.s22.data());
  for (auto* buf : ins) buf->verify("combineS4p");
  c.checkGuards("combineS4p");
  if (n <= 0) {
    c.requireUntouched("combineS4p (N <= 0)");
    return;
  }
  for (int probe = 0; probe < 3; ++probe) {
    const auto i = static_cast<int32_t>(in.u16() % static_cast<uint32_t>(n));
    InBuf<Complex> p[8] = {InBuf<Complex>(1), InBuf<Complex>(1), InBuf<Complex>(1), InBuf<Complex>(1),
                           InBuf<Complex>(1), InBuf<Complex>(1), InBuf<Complex>(1), InBuf<Complex>(1)};
    for (int k = 0; k < 8; ++k) p[k][0] = (*ins[k])[static_cast<size_t>(i)];
    FourOutputs single(1);
    combineS4p(p[0].data(), p[1].data(), p[2].data(), p[3].data(), p[4].data(), p[5].data(),
               p[6].data(), p[7].data(), 1, single.s11.data(), single.s12.data(),
               single.s21.data(), single.s22.data());
    single.checkGuards("combineS4p (one point)");
    requireSamePoint("combineS4p", c, i, single);
  }
}

// ---- synth_tline ---------------------------------------------------------------

struct LineParams {
  double zA, zB, tau, len;
};

void callLine(const InBuf<double>& f, int32_t nf, const LineParams& p, const InBuf<double>& k,
              int32_t m, FourOutputs& out) {
  synth_tline(f.data(), nf, p.zA, p.zB, k.data(), m, p.tau, p.len, out.s11.data(),
              out.s12.data(), out.s21.data(), out.s22.data());
}

void runLine(Input& in, bool invalid) {
  int32_t nf = 0;
  int32_t m = 3;
  bool reflectionPole = false;
  if (!invalid) {
    nf = in.count(kMaxPoints);
    m = in.byte() < 200 ? 3 : in.count(6);
  } else {
    switch (in.byte() % 4) {
      case 0: nf = in.badCount(); m = 3; break;
      case 1: nf = in.count(64); m = in.badCount(); break;
      case 2: nf = in.count(64); m = in.count(2); break;
      default: nf = 1 + in.count(64); m = 3; reflectionPole = true; break;
    }
  }
  InBuf<double> f(nf);
  for (int32_t i = 0; i < f.size(); ++i) f[static_cast<size_t>(i)] = frequency(in);
  InBuf<double> k(m);  // empty for m < 1: the list must not be read
  const bool realistic = in.flag();
  for (int32_t i = 0; i < k.size(); ++i) {
    k[static_cast<size_t>(i)] = realistic ? in.inRange(0.0, 0.05) : in.value();
  }
  LineParams p{};
  if (realistic) {
    p = {in.inRange(20.0, 120.0), in.inRange(20.0, 60.0), in.inRange(0.0, 0.01),
         in.inRange(0.0, 200.0)};
  } else {
    p = {in.value(), in.value(), in.value(), in.value()};
  }
  if (reflectionPole) {
    p.zB = in.inRange(-100.0, 100.0);
    p.zA = -2.0 * p.zB;
  }
  f.seal();
  k.seal();
  FourOutputs s(nf);
  callLine(f, nf, p, k, m, s);
  f.verify("synth_tline");
  k.verify("synth_tline");
  s.checkGuards("synth_tline");
  if (nf <= 0) {
    s.requireUntouched("synth_tline (nf <= 0)");
    return;
  }
  for (int32_t i = 0; i < nf; ++i) {
    const double fi = f[static_cast<size_t>(i)];
    const bool nanPoint = std::isnan(fi) || (fi < 0.0 && fi / 1e9 != 0.0);
    for (const auto* o : s.all) {
      const Complex v = (*o)[static_cast<size_t>(i)];
      if (nanPoint && !hasNaN(v)) {
        fail("synth_tline: frequency %a must give NaN at its point, got (%a, %a)", fi, v.re, v.im);
      }
      if (reflectionPole && !nonFinite(v)) {
        fail("synth_tline: zA = -2 zB (%a, %a) must be non-finite everywhere, got (%a, %a) at %d",
             p.zA, p.zB, v.re, v.im, i);
      }
    }
  }
  for (int probe = 0; probe < 2; ++probe) {
    const auto i = static_cast<int32_t>(in.u16() % static_cast<uint32_t>(nf));
    InBuf<double> one(1);
    one[0] = f[static_cast<size_t>(i)];
    FourOutputs single(1);
    callLine(one, 1, p, k, m, single);
    single.checkGuards("synth_tline (one point)");
    requireSamePoint("synth_tline", s, i, single);
  }
}

// ---- makePackage ----------------------------------------------------------------

struct PackageParams {
  double lineLength, capIn, capOut, zc, delay, z0, ind, capMid;
};

void callPackage(const InBuf<double>& f, int32_t n, const PackageParams& p,
                 const InBuf<double>& loss, int32_t nLoss, FourOutputs& out) {
  makePackage(f.data(), n, p.lineLength, p.capIn, p.capOut, p.zc, p.delay, loss.data(), nLoss,
              p.z0, p.ind, p.capMid, out.s11.data(), out.s12.data(), out.s21.data(),
              out.s22.data());
}

void runPackage(Input& in, bool invalid) {
  int32_t n = 0;
  int32_t nLoss = 3;
  if (!invalid) {
    n = in.count(kMaxPoints);
    nLoss = in.byte() < 200 ? 3 : 1 + in.count(5);
  } else {
    switch (in.byte() % 3) {
      case 0: n = in.badCount(); break;
      case 1: n = in.count(64); nLoss = in.badCount(); break;
      default: n = in.count(64); nLoss = in.count(2); break;
    }
  }
  InBuf<double> f(n);
  for (int32_t i = 0; i < f.size(); ++i) f[static_cast<size_t>(i)] = frequency(in);
  InBuf<double> loss(nLoss);
  const bool realistic = in.flag();
  for (int32_t i = 0; i < loss.size(); ++i) {
    loss[static_cast<size_t>(i)] = realistic ? in.inRange(0.0, 0.05) : in.value();
  }
  PackageParams p{};
  if (realistic) {
    auto optional = [&](double hi) {
      const uint8_t k = in.byte();
      return k < 64 ? 0.0 : k < 80 ? -in.inRange(0.0, hi) : k < 88 ? std::nan("") : in.inRange(0.0, hi);
    };
    p = {in.inRange(0.0, 50.0), in.inRange(-1e-13, 1e-12), in.inRange(-1e-13, 1e-12),
         in.inRange(20.0, 120.0), in.inRange(0.0, 0.01), in.inRange(25.0, 100.0),
         optional(2e-9), optional(1e-12)};
  } else {
    p = {in.value(), in.value(), in.value(), in.value(),
         in.value(), in.value(), in.value(), in.value()};
  }
  f.seal();
  loss.seal();
  FourOutputs s(n);
  callPackage(f, n, p, loss, nLoss, s);
  f.verify("makePackage");
  loss.verify("makePackage");
  s.checkGuards("makePackage");
  if (n <= 0) {
    s.requireUntouched("makePackage (nFreq <= 0)");
    return;
  }
  // Frequencies below 2^-52 Hz are evaluated at 2^-52 Hz.
  const double kFloor = 2.220446049250313e-16;
  FourOutputs atFloor(1);
  InBuf<double> floorFreq(1);
  floorFreq[0] = kFloor;
  callPackage(floorFreq, 1, p, loss, nLoss, atFloor);
  atFloor.checkGuards("makePackage (one point)");
  for (int32_t i = 0; i < n; ++i) {
    const double fi = f[static_cast<size_t>(i)];
    if (fi < kFloor) {
      requireSamePoint("makePackage (frequency below 2^-52 Hz)", s, i, atFloor);
    } else if (std::isnan(fi)) {
      for (const auto* o : s.all) {
        const Complex v = (*o)[static_cast<size_t>(i)];
        if (!hasNaN(v)) fail("makePackage: NaN frequency must give NaN, got (%a, %a)", v.re, v.im);
      }
    }
  }
  for (int probe = 0; probe < 2; ++probe) {
    const auto i = static_cast<int32_t>(in.u16() % static_cast<uint32_t>(n));
    InBuf<double> one(1);
    one[0] = f[static_cast<size_t>(i)];
    FourOutputs single(1);
    callPackage(one, 1, p, loss, nLoss, single);
    single.checkGuards("makePackage (one point)");
    requireSamePoint("makePackage", s, i, single);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Input in(data, size);
  const uint8_t selector = in.byte();
  const bool invalid = (selector & 0x80) != 0;
  switch ((selector & 0x7f) % 3) {
    case 0: runCombine(in, invalid); break;
    case 1: runLine(in, invalid); break;
    default: runPackage(in, invalid); break;
  }
  return 0;
}
