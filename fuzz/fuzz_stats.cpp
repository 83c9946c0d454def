// Reductions and the element-wise special function:
//   median, Eval_std, norm, erfcinv.
// First byte: bits 0-1 pick the export, bit 7 picks the invalid region
// (zero or negative counts) instead of a valid call.
#include "fuzz_support.h"

using namespace zfuzz;

namespace {

constexpr int32_t kMaxCount = 512;

void checkMedian(const InBuf<double>& x, double r) {
  const int32_t n = x.size();
  bool anyNaN = false;
  uint64_t lastNaN = 0;
  std::vector<double> sorted;
  for (int32_t i = 0; i < n; ++i) {
    const double v = x[static_cast<size_t>(i)];
    if (std::isnan(v)) {
      anyNaN = true;
      lastNaN = bitsOf(v);
    } else {
      sorted.push_back(v);
    }
  }
  if (anyNaN) {
    if (bitsOf(r) != lastNaN) {
      fail("median: with NaN in x the result must be the last NaN bit for bit "
           "(got %016llx, want %016llx)",
           static_cast<unsigned long long>(bitsOf(r)), static_cast<unsigned long long>(lastNaN));
    }
    return;
  }
  std::sort(sorted.begin(), sorted.end());
  const size_t m = sorted.size();
  double want = 0.0;
  if (m % 2 == 1) {
    want = sorted[m / 2];
  } else {
    const double a = sorted[m / 2 - 1];
    const double b = sorted[m / 2];
    if ((a < 0.0 && b > 0.0) || a == 0.0 || b == 0.0) {
      want = (a + b) * 0.5;
    } else {
      want = a + (b - a) * 0.5;
    }
  }
  if (!sameValue(r, want)) {
    fail("median of %d values: got %a, want %a", n, r, want);
  }
}

void runReduction(Input& in, int which, bool invalid) {
  const int32_t n = invalid ? in.badCount() : in.count(kMaxCount);
  InBuf<double> x(n);  // empty for a negative count: the buffer must not be read
  fillValues(in, x);
  sprinkleNonFinite(in, x);
  x.seal();
  double r = 0.0;
  switch (which) {
    case 0:
      r = median(x.data(), n);
      x.verify("median");
      if (n <= 0) {
        if (r != 0.0) fail("median: n = %d must give 0.0, got %a", n, r);
      } else {
        checkMedian(x, r);
      }
      break;
    case 1: {
      r = Eval_std(x.data(), n);
      x.verify("Eval_std");
      if (n <= 1) {
        const bool nonFinite = n == 1 && !std::isfinite(x[0]);
        if (!nonFinite && r != 0.0) fail("Eval_std: n = %d must give 0.0, got %a", n, r);
        break;
      }
      bool anyNonFinite = false;
      for (int32_t i = 0; i < n; ++i) anyNonFinite |= !std::isfinite(x[static_cast<size_t>(i)]);
      if (anyNonFinite && !std::isnan(r)) fail("Eval_std: NaN/Inf in x must give NaN, got %a", r);
      if (!anyNonFinite && r < 0.0) fail("Eval_std: negative result %a", r);
      break;
    }
    default: {
      r = norm(x.data(), n);
      x.verify("norm");
      if (n < 1) {
        if (r != 0.0) fail("norm: n = %d must give 0.0, got %a", n, r);
        break;
      }
      int infinities = 0;
      bool anyNaN = false;
      for (int32_t i = 0; i < n; ++i) {
        const double v = x[static_cast<size_t>(i)];
        anyNaN |= std::isnan(v);
        infinities += std::isinf(v) ? 1 : 0;
      }
      if (anyNaN) {
        if (!std::isnan(r)) fail("norm: NaN in x must give NaN, got %a", r);
      } else if (infinities == 1) {
        if (!(std::isinf(r) && r > 0.0)) fail("norm: one infinity must give +Inf, got %a", r);
      } else if (infinities >= 2) {
        if (!std::isnan(r)) fail("norm: two infinities must give NaN, got %a", r);
      } else if (!(r >= 0.0)) {
        fail("norm: finite data gave %a", r);
      }
      break;
    }
  }
}

void runErfcinv(Input& in, bool invalid) {
  const int32_t n = invalid ? in.badCount() : in.count(kMaxCount);
  InBuf<double> x(n);
  for (int32_t i = 0; i < x.size(); ++i) {
    // Mostly the domain (0, 2), and its edges and outside values.
    const uint8_t k = in.byte();
    x[static_cast<size_t>(i)] = k < 128 ? in.inRange(0.0, 2.0) : in.value();
  }
  x.seal();
  // n <= 0: nothing may be written, so give the call a few elements to
  // (not) write.
  OutBuf<double> y(n > 0 ? n : 4);
  erfcinv(x.data(), y.data(), n);
  x.verify("erfcinv");
  y.checkGuard("erfcinv");
  if (n <= 0) {
    y.requireUntouched("erfcinv (n <= 0)");
    return;
  }
  for (int32_t i = 0; i < n; ++i) {
    const double v = x[static_cast<size_t>(i)];
    const double r = y[static_cast<size_t>(i)];
    if (std::isnan(v) || !(v > 0.0 && v < 2.0)) {
      if (r != 0.0) fail("erfcinv(%a) must be 0.0, got %a", v, r);
    } else if (!std::isfinite(r)) {
      fail("erfcinv(%a) inside (0, 2) gave non-finite %a", v, r);
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Input in(data, size);
  const uint8_t selector = in.byte();
  const bool invalid = (selector & 0x80) != 0;
  switch (selector & 3) {
    case 0:
    case 1:
    case 2:
      runReduction(in, selector & 3, invalid);
      break;
    default:
      runErfcinv(in, invalid);
      break;
  }
  return 0;
}
