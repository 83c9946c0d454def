// Weights of the receiver's dual-Dirac sampling jitter over whole-sample
// phase offsets tau.
#pragma once

#include <cstdint>
#include <vector>

namespace zefra::tk::eye {

// weight[i] belongs to tau = first + i; the outermost weights are nonzero.
struct JitterWeights {
  int64_t first = 0;
  std::vector<double> weight;
};

// Gaussian tails of the random jitter beyond this many RJ are cut (mass
// 2 Q(11.5) = 1.3e-30).
constexpr double kJitterCut = 11.5;

// f_J = 1/2 [N(-DJ/2, RJ^2) + N(+DJ/2, RJ^2)], both in samples.
// RJ > 0: w_tau = the mass of f_J on [tau - 1/2, tau + 1/2), each Gaussian
// cut at 11.5 RJ; RJ = 0: each Dirac split linearly between its two
// neighbouring samples.  DJ = RJ = 0 gives the single weight 1 at tau = 0.
JitterWeights jitterWeights(double djSamples, double rjSamples);

}  // namespace zefra::tk::eye
