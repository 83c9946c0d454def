// The errors the eye reports through its C API: a broken argument rule
// (the pulse response's InputError, "name = value: expected ...") and a
// grid or array too large to hold, with the size it would need.
#pragma once

#include <stdexcept>

#include "pulse/pulse_types.h"

namespace zefra::tk::eye {

using pulse::InputError;
using pulse::formatNumber;

class OutOfMemory : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace zefra::tk::eye
