// The numbers that say whether a pulse response can be trusted.
#pragma once

#include <cstdint>
#include <vector>

#include "pulse/pulse_types.h"
#include "pulse/terminations.h"

namespace zefra::tk::pulse {

// Largest singular value of a 2x2 complex matrix.
double sigmaMax(const TwoPortS& s);

// Largest sigmaMax over the n measured points (s as in the C API) and the
// first frequency where it occurs.
void bandSigmaMax(const double* f, const double* s, int64_t n, double* sigma, double* atHz);

// Share of the energy of the real sequence whose half spectrum is x (K + 1
// bins at k df) that lies at f < fFirst or f > fLast.
double outsideBandFraction(const std::vector<Cplx>& x, double df, double fFirst, double fLast);

// Shares of the energy of h (rotated: h[0..guard) are the negative times)
// before t = 0 and in the last 1/16 of the window (at least one sample).
void timeEnergyFractions(const std::vector<double>& h, int64_t guard, double* noncausal,
                         double* tail);

}  // namespace zefra::tk::pulse
