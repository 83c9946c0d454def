// Ideal DFE of a search candidate, placed on its cursors at phase 0:
//   taps  D = {1 .. fixedTaps} u floating positions,
//   d_k   = clip(h_k, -b, +b),  b = limit |h_0|,  k in D,
// so a cursor within the limit is removed and a larger one is reduced by b.
// The eye subtracts d_k from h_k(s) at every phase s.
#include "eye/search_dfe.h"

#include <algorithm>
#include <cmath>
#include <iterator>

namespace zefra::tk::search {

std::vector<double> postCursors(const std::vector<double>& p, int64_t centre,
                                int32_t samplesPerUi) {
  const auto length = static_cast<int64_t>(p.size());
  std::vector<double> cursors;
  cursors.reserve(static_cast<size_t>((length - 1 - centre) / samplesPerUi + 1));
  for (int64_t n = centre; n < length; n += samplesPerUi) {
    cursors.push_back(p[static_cast<size_t>(n)]);
  }
  return cursors;
}

DfeTaps placeDfe(const std::vector<double>& cursors, const zefra_tk_eye_dfe& dfe) {
  const auto lastCursor = static_cast<int64_t>(cursors.size()) - 1;  // K
  std::vector<int64_t> fixed;
  const int64_t fixedEnd = std::min<int64_t>(dfe.fixedTaps, lastCursor);
  for (int64_t k = 1; k <= fixedEnd; ++k) {
    fixed.push_back(k);
  }
  const std::vector<int64_t> floating = floatingTapPositions(cursors, dfe);

  DfeTaps taps;
  std::set_union(fixed.begin(), fixed.end(), floating.begin(), floating.end(),
                 std::back_inserter(taps.positions));
  taps.positions.erase(std::unique(taps.positions.begin(), taps.positions.end()),
                       taps.positions.end());

  const double bound = dfe.limit * std::fabs(cursors[0]);
  taps.values.reserve(taps.positions.size());
  for (const int64_t k : taps.positions) {
    const double h = cursors[static_cast<size_t>(k)];
    taps.values.push_back(std::min(std::max(h, -bound), bound));
  }
  return taps;
}

}  // namespace zefra::tk::search
