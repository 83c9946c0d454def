// The noise read-out's correlation: out[i] = sum_t k[t] x[i - lag[t]] for
// i = 0..n-1, the terms added in the order t = 0..T-1 to a zero start.
// x must be readable from x - max(lag) to x + n - 1 - min(lag).
//
// Each output is one register accumulator (no load and store of the output
// per term), and four or eight outputs advance together in vector lanes.
// The per-element operations are the same in every form (one multiply and
// one add per term, in order, no FMA), so the bits do not depend on the
// vector width or on the processor; only speed does.
#pragma once

#include <cstdint>

namespace zefra::tk::eye {

void correlate(double* out, const double* x, int64_t n, const int64_t* lag, const double* k,
               int64_t taps);

}  // namespace zefra::tk::eye
