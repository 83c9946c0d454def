// Table interpolation: interp1q_Linear, interp_Linear_Extrap,
// interp_Linear_Extrap_Complex, zefra_linearInterp_c, interp1_Cubic.
// First byte: value % 5 picks the export, bit 7 the invalid region (n < 2,
// zero or negative counts, NaN abscissas).
#include "fuzz_support.h"

using namespace zfuzz;

namespace {

constexpr int32_t kMaxCount = 512;

enum class Kind { kLinearZero, kLinearExtrap, kComplexExtrap, kComplexLean, kCubic };

const char* nameOf(Kind k) {
  switch (k) {
    case Kind::kLinearZero: return "interp1q_Linear";
    case Kind::kLinearExtrap: return "interp_Linear_Extrap";
    case Kind::kComplexExtrap: return "interp_Linear_Extrap_Complex";
    case Kind::kComplexLean: return "zefra_linearInterp_c";
    default: return "interp1_Cubic";
  }
}

bool isComplex(Kind k) { return k == Kind::kComplexExtrap || k == Kind::kComplexLean; }

// A monotone table: ascending, or descending unless the export trusts an
// ascending one; repeated abscissas allowed.
void fillAbscissas(Input& in, InBuf<double>& x, bool mayDescend) {
  const int32_t n = x.size();
  const uint8_t style = in.byte();
  double at = style < 128 ? in.inRange(-1e3, 1e3) : in.finite();
  for (int32_t i = 0; i < n; ++i) {
    x[static_cast<size_t>(i)] = at;
    const uint8_t step = in.byte();
    double delta = step < 32 ? 0.0 : step < 200 ? in.inRange(0.0, 10.0) : std::fabs(in.finite());
    if (step >= 250) delta = std::numeric_limits<double>::infinity();
    at = at + delta;
  }
  // End points at infinity are still ascending.
  if (n >= 2 && in.byte() >= 240) x[0] = -std::numeric_limits<double>::infinity();
  if (n >= 2 && in.byte() >= 240) x[static_cast<size_t>(n - 1)] = std::numeric_limits<double>::infinity();
  if (mayDescend && in.flag()) {
    std::reverse(x.data(), x.data() + n);
  }
}

double query(Input& in, const InBuf<double>& x) {
  const uint8_t k = in.byte();
  if (k < 64 && x.size() > 0) {
    return x[in.u16() % static_cast<uint32_t>(x.size())];  // on a node
  }
  if (k < 192) {
    return in.inRange(-1.2e3, 1.2e4);
  }
  return in.value();
}

void run(Input& in, Kind kind, bool invalid) {
  const char* what = nameOf(kind);
  int32_t n = 0;
  int32_t ni = 0;
  bool nanInX = false;
  if (!invalid) {
    n = 2 + in.count(kMaxCount - 2);
    ni = in.count(kMaxCount);
  } else {
    switch (in.byte() % 4) {
      case 0: n = in.count(1); ni = in.count(64); break;  // n = 0 or 1
      case 1: n = in.badCount(); ni = in.count(64); break;
      case 2: n = 2 + in.count(64); ni = in.badCount(); break;
      default:
        n = 1 + in.count(64);
        ni = in.count(64);
        nanInX = kind != Kind::kComplexLean;  // the lean variant trusts x
        break;
    }
  }
  InBuf<double> x(n);
  fillAbscissas(in, x, kind != Kind::kComplexLean);
  if (nanInX) {
    x[in.u16() % static_cast<uint32_t>(x.size())] = Input::special(static_cast<uint8_t>(2 + in.byte() % 5));
  }
  InBuf<double> y(isComplex(kind) ? 0 : n);
  InBuf<zefra_complex> yc(isComplex(kind) ? n : 0);
  fillValues(in, y);
  fillValues(in, yc);
  InBuf<double> xi(ni);
  for (int32_t i = 0; i < xi.size(); ++i) xi[static_cast<size_t>(i)] = query(in, x);
  x.seal();
  y.seal();
  yc.seal();
  xi.seal();
  const int64_t outLength = ni > 0 ? ni : 4;
  OutBuf<double> yi(isComplex(kind) ? 0 : outLength);
  OutBuf<zefra_complex> yci(isComplex(kind) ? outLength : 0);
  switch (kind) {
    case Kind::kLinearZero: interp1q_Linear(x.data(), y.data(), xi.data(), yi.data(), n, ni); break;
    case Kind::kLinearExtrap: interp_Linear_Extrap(x.data(), y.data(), xi.data(), yi.data(), n, ni); break;
    case Kind::kComplexExtrap:
      interp_Linear_Extrap_Complex(x.data(), yc.data(), xi.data(), yci.data(), n, ni);
      break;
    case Kind::kComplexLean: zefra_linearInterp_c(x.data(), yc.data(), xi.data(), yci.data(), n, ni); break;
    case Kind::kCubic: interp1_Cubic(x.data(), y.data(), xi.data(), yi.data(), n, ni); break;
  }
  x.verify(what);
  y.verify(what);
  yc.verify(what);
  xi.verify(what);
  yi.checkGuard(what);
  yci.checkGuard(what);
  auto zeroAt = [&](int32_t i) {
    return isComplex(kind) ? isZero(yci[static_cast<size_t>(i)]) : yi[static_cast<size_t>(i)] == 0.0;
  };
  if (ni <= 0) {
    yi.requireUntouched(what);
    yci.requireUntouched(what);
    return;
  }
  bool xHasNaN = false;
  for (int32_t i = 0; i < x.size(); ++i) xHasNaN |= std::isnan(x[static_cast<size_t>(i)]);
  const bool allZero = n <= 0 || (kind == Kind::kCubic && n < 2) ||
                       (xHasNaN && kind != Kind::kComplexLean);
  double lo = 0.0;
  double hi = 0.0;
  if (n >= 1 && !xHasNaN) {
    lo = std::min(x[0], x[static_cast<size_t>(n - 1)]);
    hi = std::max(x[0], x[static_cast<size_t>(n - 1)]);
  }
  for (int32_t i = 0; i < ni; ++i) {
    const double q = xi[static_cast<size_t>(i)];
    bool mustBeZero = allZero || std::isnan(q);
    if (n >= 2 && !xHasNaN && (kind == Kind::kLinearZero || kind == Kind::kComplexLean)) {
      mustBeZero = mustBeZero || q < lo || q > hi;  // outside the table
    }
    if (mustBeZero && !zeroAt(i)) {
      fail("%s (n %d, ni %d): result %d for query %a must be 0", what, n, ni, i, q);
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Input in(data, size);
  const uint8_t selector = in.byte();
  const bool invalid = (selector & 0x80) != 0;
  run(in, static_cast<Kind>((selector & 0x7f) % 5), invalid);
  return 0;
}
