// S-parameter grid interpolation: the export interp_Sparam, and the sibling
// module's zefra_interp_Sparam_C called directly.
// First byte: bit 0 picks the entry point, bit 7 the invalid region (zero or
// negative counts, grids that are not finite and strictly ascending, null
// output pointers for the module).
#include "fuzz_support.h"
#include "zefra/interp_sparam.h"

using namespace zfuzz;

namespace {

constexpr int32_t kMaxCount = 512;

double magnitude(const zefra_complex& c) { return std::hypot(c.re, c.im); }

bool bothNaN(const zefra_complex& c) { return std::isnan(c.re) && std::isnan(c.im); }

bool sameComplexBits(const zefra_complex& a, const zefra_complex& b) {
  return sameBits(a.re, b.re) && sameBits(a.im, b.im);
}

// Strictly ascending, finite.  `tame` keeps values and spacing in a range
// where the delay estimate and its rotation cannot overflow.
void fillGrid(Input& in, InBuf<double>& f, bool tame) {
  double at = 0.0;
  const uint8_t start = in.byte();
  if (tame) {
    at = start < 64 ? 0.0 : start < 96 ? -in.inRange(0.0, 1e9) : in.inRange(0.0, 1e9);
  } else {
    at = in.finite();
  }
  for (int32_t i = 0; i < f.size(); ++i) {
    f[static_cast<size_t>(i)] = at;
    double step = tame ? in.inRange(1e-3, 1e9) : std::fabs(in.finite());
    if (!(at + step > at)) {
      step = std::max(std::fabs(at) * 1e-15, 1e-300);
    }
    at = at + step;
  }
}

bool tameGrid(const InBuf<double>& f) {
  for (int32_t i = 0; i < f.size(); ++i) {
    const double v = f[static_cast<size_t>(i)];
    if (!(std::fabs(v) <= 1e12)) return false;
    if (i > 0 && !(v - f[static_cast<size_t>(i - 1)] >= 1e-3)) return false;
  }
  return true;
}

bool tameSamples(const InBuf<zefra_complex>& s) {
  for (int32_t i = 0; i < s.size(); ++i) {
    for (const double v : {s[static_cast<size_t>(i)].re, s[static_cast<size_t>(i)].im}) {
      const double a = std::fabs(v);
      if (!(a == 0.0 || (a >= 1e-100 && a <= 1e100))) return false;
    }
  }
  return true;
}

bool usableGrid(const InBuf<double>& f) {
  const int32_t n = f.size();
  if (n == 0 || !std::isfinite(f[0]) || !std::isfinite(f[static_cast<size_t>(n - 1)])) {
    return false;
  }
  for (int32_t i = 1; i < n; ++i) {
    if (!(f[static_cast<size_t>(i)] > f[static_cast<size_t>(i - 1)])) return false;
  }
  // A grid whose span f[n-1] - f[0] overflows is unusable too
  // (docs/interp_sparam.md): the delay estimate and the interval weights
  // divide by that span.
  return std::isfinite(f[static_cast<size_t>(n - 1)] - f[0]);
}

void checkResults(const char* what, const InBuf<zefra_complex>& s, const InBuf<double>& f,
                  int32_t nIn, const InBuf<double>& q, const OutBuf<zefra_complex>& out,
                  int32_t nOut) {
  if (nOut <= 0) {
    out.requireUntouched(what);
    return;
  }
  if (nIn <= 0) {
    requireAll(out, static_cast<size_t>(nOut), isZeroComplex, what, "0 + 0j (nIn <= 0)");
    return;
  }
  if (!usableGrid(f)) {
    for (int32_t i = 0; i < nOut; ++i) {
      if (!bothNaN(out[static_cast<size_t>(i)])) {
        fail("%s: an unusable input grid must give NaN everywhere (slot %d: %a, %a)", what, i,
             out[static_cast<size_t>(i)].re, out[static_cast<size_t>(i)].im);
      }
    }
    return;
  }
  const bool tame = tameGrid(f) && tameSamples(s);
  const double fFirst = f[0];
  const double fLast = f[static_cast<size_t>(nIn - 1)];
  const zefra_complex sFirst = s[0];
  const zefra_complex sLast = s[static_cast<size_t>(nIn - 1)];
  for (int32_t i = 0; i < nOut; ++i) {
    const double x = q[static_cast<size_t>(i)];
    const zefra_complex v = out[static_cast<size_t>(i)];
    if (!std::isfinite(x)) {
      if (!bothNaN(v)) fail("%s: query %a must give NaN, got (%a, %a)", what, x, v.re, v.im);
      continue;
    }
    // Exact input frequency: that sample, bit for bit.
    const double* hit = std::find(f.data(), f.data() + nIn, x);
    if (hit != f.data() + nIn) {
      const zefra_complex want = s[static_cast<size_t>(hit - f.data())];
      if (!sameComplexBits(v, want)) {
        fail("%s: query %a equal to input frequency %td must return that sample (%a, %a), "
             "got (%a, %a)",
             what, x, hit - f.data(), want.re, want.im, v.re, v.im);
      }
      continue;
    }
    if (x < fFirst && fFirst <= 0.0) {
      if (!sameComplexBits(v, sFirst)) {
        fail("%s: below a band reaching DC the first sample is held; query %a gave (%a, %a)",
             what, x, v.re, v.im);
      }
      continue;
    }
    if (x <= 0.0 && fFirst > 0.0) {
      if (!sameBits(v.im, 0.0)) {
        fail("%s: query %a <= 0 below the band must give (d, +0.0), got (%a, %a)", what, x,
             v.re, v.im);
      }
    }
    if (!tame || !(std::fabs(x) <= 1e12)) {
      continue;
    }
    if (std::isnan(v.re) || std::isnan(v.im)) {
      fail("%s: finite data on a tame grid gave NaN at query %a", what, x);
    }
    // Magnitude: never above the larger bracketing magnitude (rounding aside).
    double bound = 0.0;
    if (x > fLast) {
      bound = magnitude(sLast);
    } else if (x < fFirst) {
      bound = magnitude(sFirst);
    } else {
      const size_t k = static_cast<size_t>(std::upper_bound(f.data(), f.data() + nIn, x) - f.data());
      bound = std::max(magnitude(s[k - 1]), magnitude(s[k]));
    }
    const double got = magnitude(v);
    if (got > bound * (1.0 + 1e-12) + 1e-300) {
      fail("%s: |S(%a)| = %a exceeds the bracketing magnitude %a", what, x, got, bound);
    }
  }
}

void run(Input& in, bool direct, bool invalid) {
  const char* what = direct ? "zefra_interp_Sparam_C" : "interp_Sparam";
  int32_t nIn = 0;
  int32_t nOut = 0;
  // 0 usable grid, 1 unusable grid, 2 null query or output pointer (module),
  // 3 null grid (export: the module then writes zeros)
  int mode = 0;
  if (!invalid) {
    nIn = 1 + in.count(kMaxCount - 1);
    nOut = in.count(kMaxCount);
  } else {
    switch (in.byte() % 5) {
      case 0: nIn = in.badCount(); nOut = in.count(64); break;
      case 1: nIn = 1 + in.count(64); nOut = in.badCount(); break;
      case 2:
      case 3: nIn = 1 + in.count(64); nOut = in.count(64); mode = 1; break;
      default: nIn = 1 + in.count(64); nOut = in.count(64); mode = direct ? 2 : 3; break;
    }
  }
  const bool tame = in.byte() < 200;
  InBuf<zefra_complex> s(nIn);
  InBuf<double> f(nIn);
  for (int32_t i = 0; i < s.size(); ++i) {
    if (tame || in.byte() < 128) {
      const double mag = in.inRange(0.0, 2.0);
      const double phase = in.inRange(-40.0, 40.0);
      s[static_cast<size_t>(i)] = {mag * std::cos(phase), mag * std::sin(phase)};
    } else {
      s[static_cast<size_t>(i)] = {in.value(), in.value()};
    }
  }
  fillGrid(in, f, tame);
  if (mode == 1 && f.size() > 0) {
    // Break it: NaN, an infinity, or a repeated / descending frequency.
    const auto at = static_cast<size_t>(in.u16() % static_cast<uint32_t>(f.size()));
    switch (in.byte() % 4) {
      case 0: f[at] = std::numeric_limits<double>::quiet_NaN(); break;
      case 1: f[at] = (in.flag() ? 1.0 : -1.0) * std::numeric_limits<double>::infinity(); break;
      case 2:
        if (f.size() >= 2) f[at == 0 ? 1 : at] = f[at == 0 ? 0 : at - 1];
        else f[0] = std::numeric_limits<double>::quiet_NaN();
        break;
      default:
        if (f.size() >= 2) std::reverse(f.data(), f.data() + f.size());
        else f[0] = -std::numeric_limits<double>::infinity();
        break;
    }
  }
  InBuf<double> q(nOut);
  for (int32_t i = 0; i < q.size(); ++i) {
    const uint8_t k = in.byte();
    double v = 0.0;
    if (k < 48 && nIn > 0) {
      v = f[in.u16() % static_cast<uint32_t>(nIn)];
    } else if (k < 64) {
      v = k < 56 ? 0.0 : -in.inRange(0.0, 1e9);
    } else if (k < 208 && nIn > 0) {
      const double lo = f[0];
      const double hi = f[static_cast<size_t>(nIn - 1)];
      const double span = std::isfinite(hi - lo) ? hi - lo : 1.0;
      v = in.inRange(lo - 0.1 * span, hi + 0.1 * span);
    } else {
      v = in.value();
    }
    q[static_cast<size_t>(i)] = v;
  }
  if (!direct && in.byte() < 48) {
    std::sort(q.data(), q.data() + q.size(), [](double a, double b) { return a < b; });
  }
  s.seal();
  f.seal();
  q.seal();
  OutBuf<zefra_complex> out(nOut > 0 ? nOut : 4);
  const bool nullGridIn = mode == 3 && in.flag();
  const bool nullGridOut = mode == 3 && !nullGridIn;
  if (!direct) {
    interp_Sparam(s.data(), nullGridIn ? nullptr : f.data(), nIn,
                  nullGridOut ? nullptr : q.data(), nOut, out.data());
  } else if (mode == 2) {
    const bool nullQueries = in.flag();
    zefra_interp_Sparam_C(s.data(), f.data(), nIn,
                          nullQueries ? nullptr : q.data(), nOut,
                          nullQueries ? out.data()
                                      : nullptr);
  } else {
    zefra_interp_Sparam_C(s.data(), f.data(), nIn,
                          q.data(), nOut, out.data());
  }
  s.verify(what);
  f.verify(what);
  q.verify(what);
  out.checkGuard(what);
  if (mode == 2) {
    out.requireUntouched("zefra_interp_Sparam_C (null query or output pointer)");
    return;
  }
  if (mode == 3) {
    requireAll(out, static_cast<size_t>(std::max(nOut, 0)), isZeroComplex,
               nullGridIn ? "interp_Sparam (null gridIn)" : "interp_Sparam (null gridOut)",
               "0 + 0j");
    if (nOut <= 0) out.requireUntouched("interp_Sparam (null grid, nOut = 0)");
    return;
  }
  checkResults(what, s, f, nIn, q, out, nOut);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Input in(data, size);
  const uint8_t selector = in.byte();
  run(in, (selector & 1) != 0, (selector & 0x80) != 0);
  return 0;
}
