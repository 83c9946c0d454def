// Error function and complementary error function, after fdlibm's s_erf.c.
//
//   |x| < 0.84375          erf(x) = x + x * R(x^2)   (rational, pp/qq)
//   0.84375 <= |x| < 1.25  erf(x) = erx + P(s)/Q(s), s = |x| - 1 (pa/qa)
//   1.25 <= |x| < 28       erfc(x) = exp(-z^2 - 0.5625) exp((z - x)(z + x) + R/S) / x
//                          with z = x cut to 21 significant bits, so that
//                          z^2 is exact, and R/S in s = 1/x^2 (ra/sa below
//                          the split near 1/0.35, rb/sb above it)
// The split is 2.8571414947509766 for erfc and 2.8571434020996094 for erf,
// as in the published routine.  An argument equal to the infinity markers
// (0.0, of either sign) is treated as +infinity: erfc(0) = 0, erf(0) = 1.
#include <bit>
#include <cmath>
#include <cstdint>

#include "frame/constants.h"
#include "numeric/erf_coefficients.h"
#include "numeric/special_functions.h"

namespace zefra {
namespace {

using namespace erf_coefficients;

constexpr double kSmallBranch = 0.84375;
constexpr double kMiddleBranch = 1.25;
constexpr double kErfcSplit = 2.8571414947509766;  // high word 0x4006DB6D
constexpr double kErfSplit = 2.8571434020996094;   // high word 0x4006DB6E

// R(z) of the small-argument branch, z = x^2.
double smallRatio(double z) {
  const double r = pp0 + z * (pp1 + z * (pp2 + z * (pp3 + z * pp4)));
  const double s = 1.0 + z * (qq1 + z * (qq2 + z * (qq3 + z * (qq4 + z * qq5))));
  return r / s;
}

// P(s) / Q(s) of the middle branch, s = |x| - 1.
double middleRatio(double s) {
  const double p = pa0 + s * (pa1 + s * (pa2 + s * (pa3 + s * (pa4 + s * (pa5 + s * pa6)))));
  const double q = 1.0 + s * (qa1 + s * (qa2 + s * (qa3 + s * (qa4 + s * (qa5 + s * qa6)))));
  return p / q;
}

// |x| with its mantissa cut to 21 significant bits (the low 32 bits of the
// 52-bit fraction cleared), so that z * z is exact.
double cutTo21Bits(double ax) {
  return std::bit_cast<double>(std::bit_cast<uint64_t>(ax) & 0xFFFFFFFF00000000ULL);
}

// exp(-z^2 - 0.5625) * exp((z - x)(z + x) + R/S), which is erfc(x) * x for
// x = ax >= 1.25.
double asymptoticProduct(double ax, double split) {
  const double s = 1.0 / (ax * ax);
  double r;
  double q;
  if (ax < split) {
    r = ra0 + s * (ra1 + s * (ra2 + s * (ra3 + s * (ra4 + s * (ra5 + s * (ra6 + s * ra7))))));
    q = 1.0 +
        s * (sa1 + s * (sa2 + s * (sa3 + s * (sa4 + s * (sa5 + s * (sa6 + s * (sa7 + s * sa8)))))));
  } else {
    r = rb0 + s * (rb1 + s * (rb2 + s * (rb3 + s * (rb4 + s * (rb5 + s * rb6)))));
    q = 1.0 + s * (sb1 + s * (sb2 + s * (sb3 + s * (sb4 + s * (sb5 + s * (sb6 + s * sb7))))));
  }
  const double z = cutTo21Bits(ax);
  return std::exp(-z * z - 0.5625) * std::exp((z - ax) * (z + ax) + r / q);
}

}  // namespace

double erfcScalar(double v) {
  if (std::isnan(v)) {
    return v;
  }
  if (v == kInf) {  // kMinusInf is the same 0.0, and -0.0 < 0.0 is false
    return 0.0;
  }
  const double ax = std::fabs(v);
  if (ax < kSmallBranch) {
    if (ax < 1.3877787807814457e-17) {  // 2^-56: erfc = 1 - x to full precision
      return 1.0 - v;
    }
    const double y = smallRatio(v * v);
    if (v < 0.25) {
      return 1.0 - (v + v * y);
    }
    return 0.5 - (v * y + (v - 0.5));
  }
  if (ax < kMiddleBranch) {
    const double ratio = middleRatio(ax - 1.0);
    if (v >= 0.0) {
      return 1.0 - erx - ratio;  // (1 - erx) is exact: 0.15493708848953247
    }
    return 1.0 + erx + ratio;
  }
  if (v < -6.0) {
    return 2.0;
  }
  if (v >= 28.0) {
    return 0.0;
  }
  const double tail = asymptoticProduct(ax, kErfcSplit) / ax;
  return v > 0.0 ? tail : 2.0 - tail;
}

double erfScalar(double v) {
  if (std::isnan(v)) {
    return v;
  }
  if (v == kInf) {  // as in erfcScalar
    return 1.0;
  }
  const double ax = std::fabs(v);
  if (ax < kSmallBranch) {
    if (ax < 0x1p-28) {
      if (ax < 0x1p-1015) {
        return 0.125 * (8.0 * v + efx8 * v);  // scaled to avoid underflow
      }
      return v + efx * v;
    }
    return v + v * smallRatio(v * v);
  }
  if (ax < kMiddleBranch) {
    const double ratio = middleRatio(ax - 1.0);
    return v >= 0.0 ? erx + ratio : -erx - ratio;
  }
  if (ax >= 6.0) {
    return v >= 0.0 ? 1.0 - 1e-300 : 1e-300 - 1.0;
  }
  const double tail = asymptoticProduct(ax, kErfSplit) / ax;
  return v >= 0.0 ? 1.0 - tail : tail - 1.0;
}

}  // namespace zefra
