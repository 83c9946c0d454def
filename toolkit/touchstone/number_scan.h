// Numbers of a Touchstone text: decimal reals such as 50, -0.5, +1.25E-03,
// .5 or 5., read with std::from_chars (correctly rounded), plus what
// from_chars does not do: a leading '+', and the exact scaling of a
// frequency by a power of ten.
#pragma once

#include <cstdint>
#include <string_view>

namespace zefra::tk {

enum class ScanResult {
  kOk,
  kNotANumber,  // the token is not a decimal real (inf and nan are not)
  kOverflow     // its magnitude is beyond the largest double
};

// Reads the token `text` (no white space inside) as a double.  A magnitude
// below the smallest subnormal reads as a zero of the token's sign.
ScanResult scanNumber(std::string_view text, double& value);

// Reads the token as a number times 10^shift, correctly rounded from the
// decimal (not the double of the token multiplied by 10^shift): "1.1" with
// shift 9 gives the double nearest 1.1e9.
ScanResult scanScaled(std::string_view text, int shift, double& value);

// Reads a token of decimal digits only (no sign) as a count; false when it
// is not one or exceeds `limit`.
bool scanCount(std::string_view text, int64_t limit, int64_t& value);

}  // namespace zefra::tk
