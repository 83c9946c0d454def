// The terminated transfer on the uniform grid f_k = k df, k = 0..K.
#pragma once

#include <cstdint>
#include <vector>

#include "pulse/pulse_types.h"
#include "pulse/spectrum_grid.h"

namespace zefra::tk::pulse {

// exp(-j 2 pi x), with x reduced modulo 1 before the angle is formed.
Cplx delayRotor(double cycles);

// H on the grid (K + 1 values): h at the n measured f, h0 the real DC value,
// tau the bulk delay (s), rolloffHz > 0 the width of the roll-off above the
// last measured frequency.
std::vector<Cplx> resampleOnGrid(const double* f, const Cplx* h, int64_t n, double h0,
                                 double tau, const SpectrumGrid& grid, double rolloffHz);

}  // namespace zefra::tk::pulse
