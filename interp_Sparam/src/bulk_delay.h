// Bulk delay of a trace, estimated from its unwrapped phase.
#ifndef ZEFRA_INTERP_SPARAM_BULK_DELAY_H
#define ZEFRA_INTERP_SPARAM_BULK_DELAY_H

#include <cstddef>

#include "complex_ops.h"

namespace zefra::interp_sparam {

// Returns the phase slope w = 2 pi tau (radians per hertz) of the trace s
// sampled at the usable grid f (n >= 1), where tau is the bulk delay
//   tau = -(phi_last - phi_first) / (2 pi (f_last - f_first)),
// phi being the phase unwrapped sample to sample.  Returns exactly 0.0 when
// the net unwrapped phase change is exactly zero (in particular for a trace
// whose samples all have the same atan2 phase), when fewer than two samples
// carry a phase, or when the estimate is not finite.
double bulkPhaseSlope(const Complex* s, const double* f, std::size_t n);

}  // namespace zefra::interp_sparam

#endif  // ZEFRA_INTERP_SPARAM_BULK_DELAY_H
