// Crosstalk noise power of an aggressor pattern through a coupling response.
#pragma once

#include <cstdint>

#include "frame/dyn_array.h"

namespace zefra {

// response, pattern: column records {length, 1}.  Returns amplitude^2 times
// the largest per-phase sum of squared induced samples.
double crosstalkNoisePower(const DynArray* response, const DynArray* pattern,
                           int32_t samplesPerUi, double amplitude);

}  // namespace zefra
