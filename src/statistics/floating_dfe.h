// Floating-tap decision-feedback equaliser: tap placement and weights.
#pragma once

#include "frame/dyn_array.h"

namespace zefra {

// pulse: column record {n, 1} of cursor values (used as working residual).
// Results are row records reshaped by the kernel: tapPositions
// {1, trunc(L * G)}, tapWeights {1, n}, tapLimits {1, n}.
void floatingTapPlacement(DynArray* pulse, double searchStart, double tapsPerGroup,
                          double groupCount, double searchEnd, double maxTapWeight,
                          double mainCursor, DynArray* tapPositions, DynArray* tapWeights,
                          DynArray* tapLimits);

}  // namespace zefra
