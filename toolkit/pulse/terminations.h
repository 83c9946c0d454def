// Transfer from the source EMF to the load voltage of a two-port between
// its terminations.
#pragma once

#include <cstdint>
#include <vector>

#include "pulse/pulse_types.h"

namespace zefra::tk::pulse {

struct Terminations {
  double sourceOhm;   // Rs > 0, finite
  double sourcePadF;  // Cs >= 0, across Rs
  double loadOhm;     // RL > 0; +inf: open
  double loadPadF;    // CL >= 0, across RL
};

// One 2x2 S matrix.
struct TwoPortS {
  Cplx s11, s12, s21, s22;
};

// H at frequency f (Hz) for port references z01, z02 (ohms).
Cplx terminatedTransfer(const TwoPortS& s, double f, double z01, double z02,
                        const Terminations& t);

// H at each of the n measured frequencies; s as in the C API
// (double[2 * n * 4], [k][i][j] row-major).
std::vector<Cplx> terminatedTransfers(int64_t n, const double* f, const double* s,
                                      const double* z0, const Terminations& t);

// The 2x2 S at measured point k of the C API's array.
TwoPortS twoPortAt(const double* s, int64_t k);

}  // namespace zefra::tk::pulse
