// Transmit FFE at UI spacing and the main-cursor sample of the result.
#pragma once

#include <cstdint>
#include <vector>

namespace zefra::tk::search {

// p_tx[n] = sum_j taps[j] p[n - (j - main) Ns] for n = 0 .. length-1, with p
// taken as 0 outside its array.  The result keeps the input's length: what a
// tap shifts past either end is dropped.  taps = null: p_tx = p.
std::vector<double> applyFfe(const double* p, int64_t length, int32_t samplesPerUi,
                             const double* taps, int32_t tapCount, int32_t main);

// The sample of the largest value (the first one on ties).
int64_t mainCursorSample(const std::vector<double>& p);

}  // namespace zefra::tk::search
