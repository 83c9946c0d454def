// One-dimensional interpolation kernels.  x, y and the queries are column
// records; the result record's first extent becomes the number of queries.
#pragma once

#include "frame/dyn_array.h"

namespace zefra {

using InterpolationKernel = void (*)(const DynArray* x, const DynArray* y, const DynArray* xi,
                                     DynArray* yi);

// Piecewise linear; queries outside [x(1), x(n)] keep 0.0.
extern const InterpolationKernel interpLinearZeroOutside;
// Piecewise linear; queries outside the table are extrapolated from the
// end segments.
extern const InterpolationKernel interpLinearExtrapolate;
// Complex values at real abscissas, extrapolated at both ends.
extern const InterpolationKernel interpLinearExtrapolateComplex;
// Complex values, ascending x trusted as given; outside queries 0 + 0j.
extern const InterpolationKernel interpLinearNanOutsideComplex;

// Shape-preserving piecewise cubic Hermite interpolation.
void interpCubicHermite(const DynArray* x, const DynArray* y, const DynArray* xi, DynArray* yi);

}  // namespace zefra
