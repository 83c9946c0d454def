// The BER map of an M-PAM eye: BER_i(s, v_m) for every eye i, output phase
// s = -H..H and voltage v_m = m binV, m = -Mv..Mv.
#pragma once

#include <cstdint>
#include <vector>

#include "eye/cursor_set.h"

namespace zefra::tk::eye {

struct EyeSettings {
  int32_t levels;
  double binV;
  double sigma;  // V
  double djUi;
  double rjUi;
  int32_t threads;
};

struct EyeMap {
  int32_t levels = 2;
  int64_t samplesPerUi = 1;
  int64_t halfPhases = 0;    // H = floor(Ns / 2)
  int64_t halfVoltages = 0;  // Mv
  double binV = 0.0;
  std::vector<double> ber;         // [(i * phases + p) * voltages + m]
  std::vector<double> mainCursor;  // [phases], V
  int32_t eyes() const { return levels - 1; }
  int64_t phases() const { return 2 * halfPhases + 1; }
  int64_t voltages() const { return 2 * halfVoltages + 1; }
};

// The whole computation; throws OutOfMemory (or std::bad_alloc) when the
// grid or an array does not fit.
EyeMap computeEyeMap(const Channel& channel, const EyeSettings& settings);

}  // namespace zefra::tk::eye
