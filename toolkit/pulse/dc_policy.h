// H(0), the real DC value of the terminated transfer, by the chosen policy.
#pragma once

#include <cstdint>

#include "pulse/pulse_types.h"
#include "pulse/terminations.h"

namespace zefra::tk::pulse {

struct DcChoice {
  double value;     // H(0)
  int32_t policy;   // ZEFRA_TK_DC_*, never AUTO
  double phaseRad;  // EXTRAPOLATE: phase at 0 Hz in (-pi, pi]; DATA: arg of the 0 Hz point
};

// f, h: the n >= 2 measured frequencies and terminated transfers.  The
// arguments have been checked (DATA only when f[0] == 0).
DcChoice chooseDc(int32_t policy, double dcValue, const Terminations& t, const double* f,
                  const Cplx* h);

// Phase reduced to (-pi, pi].
double reducePhase(double phase);

}  // namespace zefra::tk::pulse
