// Polynomials and filter design: poly, Polyval, Polyfit, Butterworth_TF,
// GetButterworthTF.
// First byte: value % 5 picks the export, bit 7 the invalid region (zero or
// negative counts and orders; Polyfit with y shorter than x).
#include "fuzz_support.h"

using namespace zfuzz;

namespace {

constexpr int32_t kMaxCount = 512;

void runPoly(Input& in, bool invalid) {
  const int32_t n = invalid ? in.badCount() : in.count(kMaxCount);
  InBuf<double> r(n);
  fillValues(in, r);
  r.seal();
  // c: n + 1 elements (none for n < 0; give the call 4 to leave alone).
  const int64_t cLength = n >= 0 ? static_cast<int64_t>(n) + 1 : 4;
  OutBuf<double> c(cLength);
  poly(r.data(), c.data(), n);
  r.verify("poly");
  c.checkGuard("poly");
  if (n < 0) {
    c.requireUntouched("poly (n < 0)");
    return;
  }
  if (!sameBits(c[0], 1.0)) fail("poly: c[0] must be 1.0, got %a", c[0]);
  c.requireUntouched("poly (c[1..n] are the caller's)", 1);
}

void runPolyval(Input& in, bool invalid) {
  int32_t np = 0;
  int32_t nz = 0;
  if (!invalid) {
    np = in.count(64);
    nz = in.count(kMaxCount);
  } else if (in.flag()) {
    np = in.badCount();
    nz = in.count(64);
  } else {
    np = in.count(16);
    nz = in.badCount();
  }
  InBuf<double> p(np);
  InBuf<zefra_complex> z(nz);
  fillValues(in, p);
  fillValues(in, z);
  p.seal();
  z.seal();
  OutBuf<zefra_complex> w(nz > 0 ? nz : 4);
  Polyval(p.data(), z.data(), w.data(), np, nz);
  p.verify("Polyval");
  z.verify("Polyval");
  w.checkGuard("Polyval");
  if (nz <= 0) {
    w.requireUntouched("Polyval (nz <= 0)");
  } else if (np <= 0) {
    requireAll(w, static_cast<size_t>(nz), isZeroComplex, "Polyval (np <= 0)", "0 + 0j");
  }
}

void runPolyfit(Input& in, bool invalid) {
  int32_t nx = 0;
  int32_t ny = 0;
  if (!invalid) {
    nx = in.count(kMaxCount);
    ny = nx;
  } else {
    switch (in.byte() % 3) {
      case 0: nx = in.badCount(); ny = in.flag() ? nx : in.count(8); break;
      case 1: nx = 1 + in.count(64); ny = in.count(nx - 1); break;  // y shorter than x
      default: nx = 1 + in.count(64); ny = in.badCount(); break;
    }
  }
  InBuf<double> x(nx);
  InBuf<double> y(ny);
  const bool equalX = in.byte() < 16;  // rank-deficient: all x equal
  const double x0 = in.value();
  for (int32_t i = 0; i < x.size(); ++i) x[static_cast<size_t>(i)] = equalX ? x0 : in.value();
  fillValues(in, y);
  x.seal();
  y.seal();
  InBuf<unsigned char> unused(0);  // never read: any access is reported
  OutBuf<double> coeffs(2);
  Polyfit(x.data(), y.data(), in.flag() ? nullptr : unused.data(), coeffs.data(), nx, ny);
  x.verify("Polyfit");
  y.verify("Polyfit");
  coeffs.checkGuard("Polyfit");
  if (nx <= 0 && !(coeffs[0] == 0.0 && coeffs[1] == 0.0)) {
    fail("Polyfit: nx = %d must give {0, 0}, got {%a, %a}", nx, coeffs[0], coeffs[1]);
  }
}

void runButterworth(Input& in, bool invalid, bool conjugateForm) {
  int32_t order = 0;
  int32_t nf = 0;
  if (!invalid) {
    order = 1 + (in.byte() < 240 ? in.count(16) : in.count(2048));
    nf = in.count(kMaxCount);
  } else if (in.flag()) {
    order = in.badCount();
    nf = in.count(64);
  } else {
    order = 1 + in.count(8);
    nf = in.badCount();
  }
  InBuf<double> w(nf);
  for (int32_t i = 0; i < w.size(); ++i) {
    w[static_cast<size_t>(i)] = in.byte() < 128 ? in.inRange(0.0, 1e11) : in.value();
  }
  const double wc = in.byte() < 128 ? in.inRange(1.0, 1e11) : in.value();
  w.seal();
  OutBuf<zefra_complex> h(nf > 0 ? nf : 4);
  const char* what = conjugateForm ? "GetButterworthTF" : "Butterworth_TF";
  if (conjugateForm) {
    GetButterworthTF(order, w.data(), nf, wc, h.data());
  } else {
    Butterworth_TF(order, w.data(), wc, nf, h.data());
  }
  w.verify(what);
  h.checkGuard(what);
  if (nf <= 0) {
    h.requireUntouched(what);
    return;
  }
  if (order < 1) {
    if (!conjugateForm) {
      h.requireUntouched("Butterworth_TF (N < 1)");
    } else {
      for (int32_t i = 0; i < nf; ++i) {
        const zefra_complex v = h[static_cast<size_t>(i)];
        if (!(v.re == 1.0 && v.im == 0.0)) {
          fail("GetButterworthTF (N < 1): H[%d] = (%a, %a), want (1, 0)", i, v.re, v.im);
        }
      }
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Input in(data, size);
  const uint8_t selector = in.byte();
  const bool invalid = (selector & 0x80) != 0;
  switch ((selector & 0x7f) % 5) {
    case 0: runPoly(in, invalid); break;
    case 1: runPolyval(in, invalid); break;
    case 2: runPolyfit(in, invalid); break;
    case 3: runButterworth(in, invalid, false); break;
    default: runButterworth(in, invalid, true); break;
  }
  return 0;
}
