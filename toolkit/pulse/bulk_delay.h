// Bulk delay of a transfer over its measured band.
#pragma once

#include <cstdint>

#include "pulse/pulse_types.h"

namespace zefra::tk::pulse {

// tau (s) from the least-squares slope of the unwrapped phase of h over the
// points with f > 0 and h != 0: phase(f) ~ phase0 - 2 pi f tau.  0 when
// fewer than two points carry a phase.
double bulkDelay(const double* f, const Cplx* h, int64_t n);

}  // namespace zefra::tk::pulse
