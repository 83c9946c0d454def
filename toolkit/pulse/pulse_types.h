// What the pieces of the pulse-response pipeline share: the complex type
// and the error that carries a broken argument rule to the C API.
#pragma once

#include <complex>
#include <stdexcept>
#include <string>

namespace zefra::tk::pulse {

using Cplx = std::complex<double>;

// An argument breaks a rule of zefra_tk_pulse_response; what() is the
// one-line message "name = value: expected ...".
class InputError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Shortest decimal text that reads back as x ("-1", "2.5e+10", "nan", "inf").
std::string formatNumber(double x);

}  // namespace zefra::tk::pulse
