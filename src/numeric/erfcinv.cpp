// Inverse complementary error function.
//
// A rational first guess in one of three ranges of x, then a fixed number
// of Halley steps y <- y - d / (1 + y d), d = f(y) / f'(y), on the residual
// of the branch's own form:
//   x < 0.3:          f(y) = erfc(y) - x
//   x > 1.7:          f(y) = erfc(-y) - (2 - x)   (the mirror image, accurate
//                                                  where x is close to 2)
//   0.3 <= x <= 1.7:  f(y) = erf(y) - (1 - x)
// with |f'(y)| = (2 / sqrt(pi)) exp(-y^2).  Deep in the lower tail the guess
// is poorer, so one or two more steps are taken.  The out-of-range results
// are the library's NaN and infinity markers, which hold 0.0.
#include <cmath>

#include "frame/constants.h"
#include "numeric/special_functions.h"

namespace zefra {
namespace {

constexpr double kTwoOverSqrtPi = 1.1283791670955126;
constexpr double kLn2 = 0.6931471805599453;

// Tail guess: y ~ N(t) / D(t) with t = sqrt(-ln(x / 2)).
double tailNumerator(double t) {
  return ((1.641345311 * t + 3.429567803) * t - 1.624906493) * t - 1.970840454;
}

double tailDenominator(double t) { return (1.6370678 * t + 3.5438892) * t + 1.0; }

}  // namespace

double erfcinvScalar(double x) {
  // NaN, 0, 2 and beyond: the NaN and infinity markers, all 0.0.
  if (!(x > 0.0 && x < 2.0)) {
    return kNaN;
  }

  double y;
  int extraSteps = 1;
  if (x > 1.7) {
    const double t = std::sqrt(-std::log((2.0 - x) * 0.5));
    y = -tailNumerator(t) / tailDenominator(t);
  } else if (x < 0.3) {
    const double t = std::sqrt(kLn2 - std::log(x));
    y = tailNumerator(t) / tailDenominator(t);
    extraSteps = x < 7.753250807262575e-267 ? 3 : x < 1.0947644252537633e-47 ? 2 : 1;
  } else {
    const double u = 1.0 - x;
    const double w = u * u;
    y = u * (((0.914624893 - 0.140543331 * w) * w - 1.645349621) * w + 0.886226899) /
        ((((0.012229801 * w - 0.329097515) * w + 1.442710462) * w - 2.118377725) * w + 1.0);
  }

  for (int step = 0; step <= extraSteps; ++step) {
    double d;
    if (x < 0.3) {
      d = (erfcScalar(y) - x) / (-kTwoOverSqrtPi * std::exp(-y * y));
    } else if (x > 1.7) {
      d = (erfcScalar(-y) - (2.0 - x)) / (kTwoOverSqrtPi * std::exp(-y * y));
    } else {
      // erf(0) reads as 1.0 (the marker rule), so x = 1 does not stay at 0.
      d = (erfScalar(y) - (1.0 - x)) / (kTwoOverSqrtPi * std::exp(-y * y));
    }
    y = y - d / (1.0 + y * d);
  }
  return y;
}

}  // namespace zefra
