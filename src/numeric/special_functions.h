// Scalar special functions.
#pragma once

namespace zefra {

// Complementary error function (the fdlibm algorithm), except that an
// argument equal to the infinity markers (0.0, of either sign) is read as
// +infinity: erfcScalar(0) is 0.0.
double erfcScalar(double v);

// Error function (the fdlibm algorithm) with the same marker rule:
// erfScalar(0) is 1.0.
double erfScalar(double v);

// Inverse of erfc on (0, 2): rational first guess, then Halley steps.
// 0, 2, values outside [0, 2] and NaN give 0.0.
double erfcinvScalar(double x);

// base^exponent with special cases: NaN anywhere gives 0.0, an exponent of
// exactly 0 gives 0.0 (not 1.0), exponents +-1, 2 and 0.5 are computed
// directly, a negative base with a non-integer exponent gives 0.0.
double powGuarded(double base, double exponent);

}  // namespace zefra
