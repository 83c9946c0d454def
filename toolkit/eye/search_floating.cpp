// Floating DFE tap positions of a search candidate from the library's
// floating-tap kernel (statistics/floating_dfe.h).
//
// The kernel is handed the cursors h_0 .. h_K as a column record, so the
// positions it returns are cursor indices k.  The fixed taps' cursors are
// passed as 0: they carry no ISI left to cancel, so no group is spent on
// them.  The kernel picks, group after group, the window of tapsPerGroup
// consecutive positions in searchStart .. searchEnd that removes the most
// ISI energy with taps of at most limit |h_0|; a group that gains nothing
// reports searchStart - 1, and positions past h_K (a window reaching over
// the end of the pulse) carry no cursor.  Both are dropped here.  Only the
// positions are used: the tap values follow the clip rule of placeDfe.
#include <algorithm>
#include <cmath>

#include "eye/search_dfe.h"
#include "frame/call_frame.h"
#include "frame/dyn_array.h"
#include "statistics/floating_dfe.h"

namespace zefra::tk::search {

std::vector<int64_t> floatingTapPositions(const std::vector<double>& cursors,
                                          const zefra_tk_eye_dfe& dfe) {
  std::vector<int64_t> positions;
  if (dfe.floatingGroups <= 0) {
    return positions;
  }
  const auto lastCursor = static_cast<int64_t>(cursors.size()) - 1;  // K
  std::vector<double> available(cursors);
  const int64_t fixedEnd = std::min<int64_t>(dfe.fixedTaps, lastCursor);
  for (int64_t k = 1; k <= fixedEnd; ++k) {
    available[static_cast<size_t>(k)] = 0.0;
  }

  // The kernel's records, made as the library's export floatingDFE makes
  // them: a {K+1, 1} copy of the cursors and empty outputs it reshapes.
  zefra::CallFrame frame;
  zefra::DynArray* pulse = frame.column(available.data(), static_cast<int32_t>(available.size()));
  zefra::DynArray* chosen = frame.doubleOutput(0, 0);
  zefra::DynArray* weights = frame.doubleOutput(0, 0);
  zefra::DynArray* limits = frame.doubleOutput(0, 0);
  zefra::floatingTapPlacement(
      pulse, static_cast<double>(dfe.searchStart), static_cast<double>(dfe.tapsPerGroup),
      static_cast<double>(dfe.floatingGroups), static_cast<double>(dfe.searchEnd), dfe.limit,
      std::fabs(cursors[0]), chosen, weights, limits);

  const int32_t count = zefra::numel(chosen);
  const double* values = zefra::elementsOf<double>(chosen);
  const double first = static_cast<double>(dfe.searchStart);
  const double last = static_cast<double>(std::min<int64_t>(dfe.searchEnd, lastCursor));
  for (int32_t i = 0; i < count; ++i) {
    const double q = values[i];
    if (q >= first && q <= last) {
      positions.push_back(static_cast<int64_t>(q));
    }
  }
  // The kernel returns them ascending.  A later group's window may still
  // cover a position an earlier group took (it reads as 0 there), so each
  // position is kept once.
  std::sort(positions.begin(), positions.end());
  positions.erase(std::unique(positions.begin(), positions.end()), positions.end());
  return positions;
}

}  // namespace zefra::tk::search
