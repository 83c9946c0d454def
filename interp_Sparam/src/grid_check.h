// Validity of the input frequency grid.
#ifndef ZEFRA_INTERP_SPARAM_GRID_CHECK_H
#define ZEFRA_INTERP_SPARAM_GRID_CHECK_H

#include <cstddef>

namespace zefra::interp_sparam {

// True when f[0..n-1] (n >= 1) is finite, strictly ascending, and its span
// f[n-1] - f[0] is finite.  The last condition bounds every difference the
// resampler forms between a query inside the band and a grid point, so no
// interpolation weight can come out as Inf/Inf.
bool isUsableGrid(const double* f, std::size_t n);

}  // namespace zefra::interp_sparam

#endif  // ZEFRA_INTERP_SPARAM_GRID_CHECK_H
