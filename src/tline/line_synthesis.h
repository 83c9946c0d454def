// S-parameters of a uniform lossy, causal transmission line between two
// impedance steps.
#pragma once

#include "frame/dyn_array.h"

namespace zefra {

// freq: {1, nf} doubles in Hz; coeffs: {1, m} doubles p0, p1, p2 (missing
// ones read as 0); results: four complex records reshaped to {1, nf}.
void synthesizeLineSParams(const DynArray* freq, double zA, double zB, const DynArray* coeffs,
                           double tau, double len, DynArray* s11, DynArray* s12, DynArray* s21,
                           DynArray* s22);

}  // namespace zefra
