// The receiver's analogue Butterworth low-pass, multiplied into the grid.
#pragma once

#include <cstdint>
#include <vector>

#include "pulse/pulse_types.h"

namespace zefra::tk::pulse {

// x[k] *= B(j 2 pi k df), B of the given order (>= 1) and -3 dB frequency.
void applyReceiverFilter(int32_t order, double bandwidthHz, double df, std::vector<Cplx>& x);

}  // namespace zefra::tk::pulse
