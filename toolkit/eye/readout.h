// The figures of one eye of a BER map at a target BER: eye height per
// phase, the best phase, the decision threshold v*, eye width, area,
// contours and bathtubs.
#pragma once

#include <cstdint>
#include <vector>

#include "zefra/toolkit/eye.h"

namespace zefra::tk::eye {

// One eye's map: ber[p * voltages + m], phases s = -H..H (s / Ns UI),
// voltages m binV, m = -Mv..Mv.
struct EyeView {
  const double* ber;
  int64_t halfPhases;
  int64_t halfVoltages;
  int64_t samplesPerUi;
  double binV;
};

struct Readout {
  zefra_tk_eye_figures figures{};
  std::vector<double> height;              // V, per phase
  std::vector<double> contourLow;          // V, NaN where closed
  std::vector<double> contourHigh;         // V, NaN where closed
  std::vector<double> bathtubMin;          // min over v
  std::vector<double> bathtubAtThreshold;  // BER at v*
};

Readout readEye(const EyeView& eye, double targetBer);

}  // namespace zefra::tk::eye
