// Hand-over of an S-parameter trace to the sibling module's resampler.
#pragma once

#include <cstdint>

#include "frame/dyn_array.h"

namespace zefra {

// Stages sIn and a zeroed output buffer of the library's own, calls
// zefra_interp_Sparam_C with them and the two grids (passed unchanged) and
// copies nOut values to sOut.  Negative counts are taken as 0.
void forwardSparamInterpolation(const Complex* sIn, const double* gridIn, int32_t nIn,
                                const double* gridOut, int32_t nOut, Complex* sOut);

}  // namespace zefra
