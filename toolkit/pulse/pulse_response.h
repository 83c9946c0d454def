// The whole pipeline: S-parameters to impulse, step and pulse.
#pragma once

#include <cstdint>
#include <vector>

#include "pulse/pulse_types.h"
#include "zefra/toolkit/pulse.h"

namespace zefra::tk::pulse {

struct PulseResult {
  std::vector<double> time;      // s, (n - guard) dt
  std::vector<double> impulse;   // h_d, rotated
  std::vector<double> step;      // running sum of impulse
  std::vector<double> pulse;     // step[n] - step[n - Ns]
  std::vector<Cplx> transfer;    // W H on the grid, K + 1 bins
  zefra_tk_pulse_diagnostics diagnostics;
};

// Throws InputError for arguments that break a rule, std::bad_alloc when
// memory runs out.
PulseResult computePulseResponse(int64_t points, const double* f, const double* s,
                                 const double* z0, const zefra_tk_pulse_options* options);

}  // namespace zefra::tk::pulse
