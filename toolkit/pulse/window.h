// Spectral windows applied before the inverse transform.
#pragma once

#include <cstdint>
#include <vector>

#include "pulse/pulse_types.h"

namespace zefra::tk::pulse {

// W(f) of the kind ZEFRA_TK_WINDOW_* over [0, fStop]; 0 above fStop.
double windowValue(int32_t kind, double beta, double f, double fStop);

// x[k] *= W(k df).
void applyWindow(int32_t kind, double beta, double fStop, double df, std::vector<Cplx>& x);

}  // namespace zefra::tk::pulse
