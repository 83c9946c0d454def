// Continuous-time linear equaliser applied in the time domain.
#pragma once

#include "frame/dyn_array.h"

namespace zefra {

// input: column {n, 1}; output: a record the kernel reshapes to {n, 1} and
// fills with the n filtered samples.
void ctleFilter(const DynArray* input, double baseRate, double zeroFreq, double pole1Freq,
                double pole2Freq, double gainDb, double rateMultiplier, DynArray* output);

}  // namespace zefra
