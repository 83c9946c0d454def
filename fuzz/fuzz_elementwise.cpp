// Element-wise and structural routines: mod, Kron, conv, unwrap.
// First byte: bits 0-1 pick the export, bit 7 the invalid region (zero or
// negative counts, Kron products beyond 2^31 - 1, one empty conv input).
#include "fuzz_support.h"

using namespace zfuzz;

namespace {

constexpr int32_t kMaxCount = 512;

void runMod(Input& in, bool invalid) {
  const int32_t n = invalid ? in.badCount() : in.count(kMaxCount);
  InBuf<double> x(n);
  fillValues(in, x);
  const uint8_t mk = in.byte();
  // m: zero, an integer (incl. +-Inf) or anything.
  const double m = mk < 48    ? 0.0
                   : mk < 128 ? static_cast<double>(static_cast<int8_t>(in.byte()))
                              : in.value();
  x.seal();
  OutBuf<double> y(n > 0 ? n : 4);
  mod(x.data(), m, y.data(), n);
  x.verify("mod");
  y.checkGuard("mod");
  if (n <= 0) {
    y.requireUntouched("mod (n <= 0)");
    return;
  }
  for (int32_t i = 0; i < n; ++i) {
    const double xv = x[static_cast<size_t>(i)];
    const double yv = y[static_cast<size_t>(i)];
    if (std::isnan(xv) || std::isnan(m)) {
      if (!std::isnan(yv)) fail("mod(%a, %a): NaN must propagate, got %a", xv, m, yv);
    } else if (m == 0.0) {
      if (!sameBits(xv, yv)) fail("mod(%a, 0) must return x, got %a", xv, yv);
    }
  }
}

void runKron(Input& in, bool invalid) {
  int32_t na = 0;
  int32_t nb = 0;
  if (!invalid) {
    na = in.count(64);
    nb = in.count(64);
  } else {
    switch (in.byte() % 4) {
      case 0: na = in.badCount(); nb = in.count(8); break;
      case 1: na = in.count(8); nb = in.badCount(); break;
      case 2: na = in.badCount(); nb = in.badCount(); break;
      default:
        // Both positive, product beyond 2^31 - 1: nothing written.
        na = 46341 + static_cast<int32_t>(in.u16());
        nb = 46341 + static_cast<int32_t>(in.u16() & 0x7fff);
        break;
    }
  }
  InBuf<double> a(na);
  InBuf<double> b(nb);
  fillValues(in, a);
  fillValues(in, b);
  a.seal();
  b.seal();
  const int64_t product = static_cast<int64_t>(na) * nb;
  const bool writes = na >= 1 && nb >= 1 && product <= 2147483647;
  OutBuf<double> y(writes ? product : 4);
  Kron(a.data(), b.data(), y.data(), na, nb);
  a.verify("Kron");
  b.verify("Kron");
  y.checkGuard("Kron");
  if (!writes) {
    y.requireUntouched("Kron (nothing written)");
    return;
  }
  for (int32_t i = 0; i < na; ++i) {
    for (int32_t j = 0; j < nb; ++j) {
      const double want = a[static_cast<size_t>(i)] * b[static_cast<size_t>(j)];
      const double got = y[static_cast<size_t>(i) * static_cast<size_t>(nb) + static_cast<size_t>(j)];
      if (!sameValue(got, want)) fail("Kron: y[%d*nb+%d] = %a, want %a", i, j, got, want);
    }
  }
}

void runConv(Input& in, bool invalid) {
  int32_t na = 0;
  int32_t nb = 0;
  if (!invalid) {
    na = 1 + in.count(kMaxCount - 1);
    nb = 1 + in.count(kMaxCount - 1);
  } else {
    switch (in.byte() % 5) {
      case 0: na = 0; nb = in.count(64); break;
      case 1: na = in.count(64); nb = 0; break;
      case 2: na = in.badCount(); nb = in.count(kMaxCount); break;
      case 3: na = in.count(kMaxCount); nb = in.badCount(); break;
      default: na = in.badCount(); nb = in.badCount(); break;
    }
  }
  // Outputs the contract defines.  With a negative count, na + nb - 1 zeros
  // when that is positive (formed without overflow), and the other input is
  // still read up to its own count (a negative count reads nothing).
  int64_t outputs = 0;
  if (na > 0 && nb > 0) {
    outputs = static_cast<int64_t>(na) + nb - 1;
  } else if (na >= 0 && nb >= 0) {
    outputs = static_cast<int64_t>(na) + nb;  // one input empty: na + nb zeros
  } else {
    outputs = std::max<int64_t>(static_cast<int64_t>(na) + nb - 1, 0);
  }
  InBuf<double> a(na);
  InBuf<double> b(nb);
  fillValues(in, a);
  fillValues(in, b);
  sprinkleNonFinite(in, a);
  a.seal();
  b.seal();
  OutBuf<double> y(outputs > 0 ? outputs : 4);
  conv(a.data(), b.data(), y.data(), na, nb);
  a.verify("conv");
  b.verify("conv");
  y.checkGuard("conv");
  if (outputs <= 0) {
    y.requireUntouched("conv (no outputs)");
    return;
  }
  if (!(na > 0 && nb > 0)) {
    requireAll(y, static_cast<size_t>(outputs), isZeroDouble, "conv (empty or negative input)",
               "0.0");
    return;
  }
  // y[k] = sum over increasing j of a[j] * b[k - j].
  for (int64_t k = 0; k < outputs; ++k) {
    const int64_t jFirst = std::max<int64_t>(0, k - (nb - 1));
    const int64_t jLast = std::min<int64_t>(k, na - 1);
    double sum = 0.0;
    for (int64_t j = jFirst; j <= jLast; ++j) {
      sum += a[static_cast<size_t>(j)] * b[static_cast<size_t>(k - j)];
    }
    const double got = y[static_cast<size_t>(k)];
    if (!sameValue(got, sum)) {
      fail("conv (na %d, nb %d): y[%lld] = %a, want %a", na, nb, static_cast<long long>(k), got,
           sum);
    }
  }
}

void runUnwrap(Input& in, bool invalid) {
  const int32_t n = invalid ? in.badCount() : in.count(kMaxCount);
  InBuf<double> x(n);
  for (int32_t i = 0; i < x.size(); ++i) {
    const uint8_t k = in.byte();
    x[static_cast<size_t>(i)] = k < 144   ? in.inRange(-40.0, 40.0)
                                : k < 176 ? Input::special(static_cast<uint8_t>(k % 9))
                                          : in.value();
  }
  x.seal();
  OutBuf<double> y(n > 0 ? n : 4);
  unwrap(x.data(), y.data(), n);
  x.verify("unwrap");
  y.checkGuard("unwrap");
  if (n <= 0) {
    y.requireUntouched("unwrap (n <= 0)");
    return;
  }
  for (int32_t i = 0; i < n; ++i) {
    const double xv = x[static_cast<size_t>(i)];
    const double yv = y[static_cast<size_t>(i)];
    if (std::isnan(xv)) {
      if (!std::isnan(yv)) fail("unwrap: NaN sample %d must pass through, got %a", i, yv);
    } else if (xv == 0.0) {
      if (!sameBits(xv, yv)) fail("unwrap: 0.0 sample %d must pass through, got %a", i, yv);
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Input in(data, size);
  const uint8_t selector = in.byte();
  const bool invalid = (selector & 0x80) != 0;
  switch (selector & 3) {
    case 0: runMod(in, invalid); break;
    case 1: runKron(in, invalid); break;
    case 2: runConv(in, invalid); break;
    default: runUnwrap(in, invalid); break;
  }
  return 0;
}
