// The DFE of a search candidate on its own cursors at phase 0.
#pragma once

#include <cstdint>
#include <vector>

#include "zefra/toolkit/eye.h"

namespace zefra::tk::search {

// Taps in ascending, distinct cursor indices k >= 1, with their values d_k
// in V.
struct DfeTaps {
  std::vector<int64_t> positions;
  std::vector<double> values;
};

// The post-cursors h_0 .. h_K of p at `centre`: h_k = p[centre + k Ns] for
// every k whose sample lies in the array.
std::vector<double> postCursors(const std::vector<double>& p, int64_t centre, int32_t samplesPerUi);

// Floating tap positions: the library's floating-tap kernel run on h_0 .. h_K
// with the fixed taps' cursors (k = 1 .. fixedTaps) set to 0, main cursor
// |h_0| and tap limit dfe.limit; only the positions in searchStart ..
// searchEnd are kept (a group that finds nothing reports searchStart - 1).
// Ascending; empty when dfe.floatingGroups = 0.
std::vector<int64_t> floatingTapPositions(const std::vector<double>& cursors,
                                          const zefra_tk_eye_dfe& dfe);

// Fixed taps k = 1 .. fixedTaps and the floating ones, each
// d_k = clip(h_k, -limit |h_0|, +limit |h_0|).  A position whose cursor
// lies past the end of the pulse would carry d_k = 0 and is left out.
DfeTaps placeDfe(const std::vector<double>& cursors, const zefra_tk_eye_dfe& dfe);

}  // namespace zefra::tk::search
