// Guarded power function.  The special values are those of the library's
// not-a-number and infinity markers, which hold 0.0: a NaN argument, and
// every case that would give NaN or an infinity, yields 0.0.  An exponent
// of exactly 0 compares equal to the infinity markers and is therefore
// treated like an infinite exponent: it yields 0.0 for every base (1.0 or
// not, smaller or larger in magnitude, the markers' results all being 0.0).
#include <cmath>

#include "frame/constants.h"
#include "numeric/special_functions.h"

namespace zefra {

double powGuarded(double base, double exponent) {
  if (std::isnan(base) || std::isnan(exponent) || exponent == kInf) {
    return kNaN;
  }
  if (exponent == 1.0) {
    return base;
  }
  if (exponent == -1.0) {
    return 1.0 / base;
  }
  if (exponent == 2.0) {
    return base * base;
  }
  if (exponent == 0.5 && base >= 0.0) {
    return std::sqrt(base);
  }
  if (base < 0.0 && exponent > std::floor(exponent)) {
    return kNaN;
  }
  return std::pow(base, exponent);
}

}  // namespace zefra
