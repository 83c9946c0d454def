// The rules of zefra_tk_pulse_response's arguments, checked before any
// work: every violation is an InputError naming the argument and the rule.
#pragma once

#include <cstdint>

#include "pulse/pulse_types.h"
#include "zefra/toolkit/pulse.h"

namespace zefra::tk::pulse {

// Largest number of measured points: the resampler counts in 32 bits.
constexpr int64_t kMaxPoints = 2147483647;

// Checks the counts, pointers, option values and the content of f, s and
// z0 (finite, ascending, positive references).  Rules that need the grid
// (its size, the guard, data below the Nyquist frequency) are checked where
// the grid is made.
void checkArguments(int64_t points, const double* f, const double* s, const double* z0,
                    const zefra_tk_pulse_options* options);

}  // namespace zefra::tk::pulse
