// Transmit FFE at UI spacing:
//   p_tx[n] = sum_j c_j p[n - (j - main) Ns],   j = 0 .. J-1,
// p = 0 outside 0 .. length-1, p_tx on the same samples as p.  A tap j
// delays the pulse by (j - main) UI: pre-cursor taps (j < main) move it
// earlier, post-cursor taps later.  The sum runs over j in ascending order
// from 0.0, each term one rounded product, so a tap vector gives the same
// bits wherever it is evaluated.
#include "eye/search_ffe.h"

#include <algorithm>

namespace zefra::tk::search {

std::vector<double> applyFfe(const double* p, int64_t length, int32_t samplesPerUi,
                             const double* taps, int32_t tapCount, int32_t main) {
  if (taps == nullptr) {
    return std::vector<double>(p, p + length);
  }
  std::vector<double> out(static_cast<size_t>(length), 0.0);
  for (int32_t j = 0; j < tapCount; ++j) {
    // Delay in samples: p_tx[n] += c_j p[n - shift].  Only the n with
    // 0 <= n - shift < length read inside p.
    const int64_t shift = int64_t{j - main} * samplesPerUi;
    const int64_t first = std::max<int64_t>(0, shift);
    const int64_t last = std::min<int64_t>(length, length + shift);  // exclusive
    const double c = taps[j];
    for (int64_t n = first; n < last; ++n) {
      out[static_cast<size_t>(n)] += c * p[n - shift];
    }
  }
  return out;
}

int64_t mainCursorSample(const std::vector<double>& p) {
  return std::max_element(p.begin(), p.end()) - p.begin();
}

}  // namespace zefra::tk::search
