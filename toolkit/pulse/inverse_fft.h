// Inverse real FFT: 2K real samples from the K + 1 bins of their spectrum.
#pragma once

#include <vector>

#include "pulse/pulse_types.h"

namespace zefra::tk::pulse {

// x[n] = (1/2K) sum_{k=0}^{2K-1} X_k exp(+j 2 pi k n / 2K), n = 0..2K-1,
// with X_{2K-k} = conj(X_k); X holds X_0..X_K (K >= 1).  The imaginary
// parts of X_0 and X_K are ignored (those bins of a real sequence are
// real).  Returns an empty vector for an empty X or K < 1.
std::vector<double> inverseRealFft(const std::vector<Cplx>& spectrum);

}  // namespace zefra::tk::pulse
