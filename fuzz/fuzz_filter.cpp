// Recursive filters: Filter and td_ctle.
// First byte: bit 0 picks the export, bit 7 the invalid region (zero or
// negative counts).  Every valid call is repeated in place and with
// partially overlapping input and output, which must give the same bits.
#include "fuzz_support.h"

using namespace zfuzz;

namespace {

constexpr int32_t kMaxSamples = 512;

// A buffer of `n + shift` doubles holding the input at `inAt` and receiving
// the output at `outAt` (inAt, outAt in {0, shift}).
struct SharedBuffer {
  SharedBuffer(const InBuf<double>& x, int32_t n, int32_t shift, bool outputFirst)
      : buf(static_cast<int64_t>(n) + shift),
        in(outputFirst ? shift : 0),
        out(outputFirst ? 0 : shift) {
    for (int32_t i = 0; i < n; ++i) {
      buf[static_cast<size_t>(in + i)] = x[static_cast<size_t>(i)];
    }
  }
  double* input() { return buf.data() + in; }
  double* output() { return buf.data() + out; }
  OutBuf<double> buf;
  int32_t in;
  int32_t out;
};

void requireSameOutput(const char* what, const double* got, const OutBuf<double>& want,
                       int32_t n) {
  for (int32_t i = 0; i < n; ++i) {
    if (!sameBits(got[i], want[static_cast<size_t>(i)])) {
      fail("%s: y[%d] = %a differs from the separate-buffer result %a", what, i, got[i],
           want[static_cast<size_t>(i)]);
    }
  }
}

double coefficient(Input& in) {
  const uint8_t k = in.byte();
  if (k < 24) return 0.0;
  if (k < 48) return 1.0;
  if (k < 56) return std::numeric_limits<double>::quiet_NaN();
  if (k < 176) return in.inRange(-2.0, 2.0);
  return in.value();
}

void runFilter(Input& in, bool invalid) {
  int32_t nb = 0;
  int32_t na = 0;
  int32_t nx = 0;
  if (!invalid) {
    nb = in.count(32);  // nb = 0 gives zeros
    na = in.count(12);  // na = 0: general form, unnormalised
    nx = in.count(kMaxSamples);
  } else {
    switch (in.byte() % 4) {
      case 0: nb = in.badCount(); na = in.count(4); nx = in.count(64); break;
      case 1: nb = in.count(8); na = in.badCount(); nx = in.count(64); break;
      case 2: nb = in.count(8); na = in.count(4); nx = in.badCount(); break;
      default: nb = in.badCount(); na = in.badCount(); nx = in.badCount(); break;
    }
  }
  InBuf<double> b(nb);
  InBuf<double> a(na);
  InBuf<double> x(nx);
  for (int32_t i = 0; i < b.size(); ++i) b[static_cast<size_t>(i)] = coefficient(in);
  for (int32_t i = 0; i < a.size(); ++i) a[static_cast<size_t>(i)] = coefficient(in);
  fillValues(in, x);
  sprinkleNonFinite(in, x);
  b.seal();
  a.seal();
  x.seal();
  OutBuf<double> y(nx > 0 ? nx : 4);
  Filter(b.data(), a.data(), x.data(), y.data(), nb, na, nx);
  b.verify("Filter");
  a.verify("Filter");
  x.verify("Filter");
  y.checkGuard("Filter");
  if (nx <= 0) {
    y.requireUntouched("Filter (nx <= 0)");
    return;
  }
  // nb = 0 gives zeros, except where an infinite or NaN denominator
  // coefficient meets the zero state (0 * Inf): only denominators that stay
  // finite after the division by a[0] are checked.
  bool finiteDenominator = true;
  for (int32_t i = 0; i < a.size(); ++i) finiteDenominator &= std::isfinite(a[static_cast<size_t>(i)]);
  if (a.size() > 0) {
    const double a0 = a[0];
    const bool normalises = !(a0 == 0.0 || a0 == 1.0 || std::isnan(a0));
    for (int32_t i = 0; normalises && i < a.size(); ++i) {
      finiteDenominator &= std::isfinite(a[static_cast<size_t>(i)] / a0);
    }
  }
  if (nb <= 0 && finiteDenominator) {
    requireAll(y, static_cast<size_t>(nx), isZeroDouble, "Filter (nb <= 0)", "0.0");
  }
  // In place, then partially overlapping in both directions.
  {
    OutBuf<double> z(nx);
    for (int32_t i = 0; i < nx; ++i) z[static_cast<size_t>(i)] = x[static_cast<size_t>(i)];
    Filter(b.data(), a.data(), z.data(), z.data(), nb, na, nx);
    z.checkGuard("Filter (in place)");
    requireSameOutput("Filter (in place)", z.data(), y, nx);
  }
  const int32_t shift = 1 + static_cast<int32_t>(in.byte()) % std::max(nx, 1);
  if (shift < nx) {
    for (const bool outputFirst : {false, true}) {
      SharedBuffer s(x, nx, shift, outputFirst);
      Filter(b.data(), a.data(), s.input(), s.output(), nb, na, nx);
      s.buf.checkGuard("Filter (overlapping)");
      requireSameOutput(outputFirst ? "Filter (output below input)"
                                    : "Filter (output above input)",
                        s.output(), y, nx);
    }
  }
}

void runCtle(Input& in, bool invalid) {
  const int32_t n = invalid ? in.badCount() : in.count(kMaxSamples);
  InBuf<double> x(n);
  fillValues(in, x);
  sprinkleNonFinite(in, x);
  const bool realistic = in.flag();
  double baseRate = 0.0;
  double zeroFreq = 0.0;
  double pole1 = 0.0;
  double pole2 = 0.0;
  double gainDb = 0.0;
  double multiplier = 0.0;
  if (realistic) {
    baseRate = in.inRange(1e9, 1e11);
    zeroFreq = in.inRange(1e7, 1e10);
    pole1 = in.inRange(1e8, 2e10);
    pole2 = in.inRange(1e9, 5e10);
    const uint8_t g = in.byte();
    gainDb = g < 32 ? 0.0 : in.inRange(-20.0, 20.0);
    multiplier = static_cast<double>(1 + in.byte() % 64);
  } else {
    baseRate = in.value();
    zeroFreq = in.value();
    pole1 = in.value();
    pole2 = in.value();
    gainDb = in.value();
    multiplier = in.value();
  }
  x.seal();
  OutBuf<double> y(n > 0 ? n : 4);
  td_ctle(x.data(), y.data(), n, baseRate, zeroFreq, pole1, pole2, gainDb, multiplier);
  x.verify("td_ctle");
  y.checkGuard("td_ctle");
  if (n <= 0) {
    y.requireUntouched("td_ctle (n <= 0)");
    return;
  }
  {
    OutBuf<double> z(n);
    for (int32_t i = 0; i < n; ++i) z[static_cast<size_t>(i)] = x[static_cast<size_t>(i)];
    td_ctle(z.data(), z.data(), n, baseRate, zeroFreq, pole1, pole2, gainDb, multiplier);
    z.checkGuard("td_ctle (in place)");
    requireSameOutput("td_ctle (in place)", z.data(), y, n);
  }
  const int32_t shift = 1 + static_cast<int32_t>(in.byte()) % std::max(n, 1);
  if (shift < n) {
    for (const bool outputFirst : {false, true}) {
      SharedBuffer s(x, n, shift, outputFirst);
      td_ctle(s.input(), s.output(), n, baseRate, zeroFreq, pole1, pole2, gainDb, multiplier);
      s.buf.checkGuard("td_ctle (overlapping)");
      requireSameOutput(outputFirst ? "td_ctle (output below input)"
                                    : "td_ctle (output above input)",
                        s.output(), y, n);
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Input in(data, size);
  const uint8_t selector = in.byte();
  const bool invalid = (selector & 0x80) != 0;
  if ((selector & 1) == 0) {
    runFilter(in, invalid);
  } else {
    runCtle(in, invalid);
  }
  return 0;
}
