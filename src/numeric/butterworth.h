// Frequency response of an analogue Butterworth low-pass filter,
// H(jw) = prod_k wc / (jw - p_k), at angular frequencies w.
#pragma once

#include <cstdint>

#include "frame/dyn_array.h"

namespace zefra {

// Per pole H = (H wc) / (jw - p_k) by the library's scaled complex division.
// order < 1 leaves h untouched.
void butterworthByDivision(int32_t order, const double* w, double wc, int32_t nf, Complex* h);

// Per pole H = H * (wc conj(d) / |d|^2), d = jw - p_k.  order < 1 writes
// (1, 0) everywhere.
void butterworthByConjugate(int32_t order, const double* w, int32_t nf, double wc, Complex* h);

}  // namespace zefra
