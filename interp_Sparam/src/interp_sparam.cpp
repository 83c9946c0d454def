// zefra_interp_Sparam_C: resamples a complex S-parameter trace.
//
// Outline of one call (all O(1) extra memory, no allocation, no state
// outside the call, so concurrent calls are independent):
//   1. guard the counts and pointers; an empty trace gives 0+0j;
//   2. check the input grid (grid_check); an unusable grid gives NaN;
//   3. estimate the bulk phase slope w = 2 pi tau once (bulk_delay);
//   4. per query: a query equal to a grid frequency copies that sample;
//      inside the band, delay-aware linear interpolation on the bracketing
//      interval (bracket_search, segment_interp); outside, the band-edge
//      policy (band_edges).
// The bracket of the previous query is the starting point of the next
// search, so ascending queries sweep the grid once.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

#include "band_edges.h"
#include "bracket_search.h"
#include "bulk_delay.h"
#include "complex_ops.h"
#include "grid_check.h"
#include "segment_interp.h"
#include "zefra/interp_sparam.h"

using zefra::interp_sparam::Complex;
using zefra::interp_sparam::Segment;

void zefra_interp_Sparam_C(const zefra_complex* sIn, const double* fIn, int32_t nIn,
                           const double* fOut, int32_t nOut, zefra_complex* sOut) {
  namespace ip = zefra::interp_sparam;
  if (nOut <= 0 || fOut == nullptr || sOut == nullptr) {
    return;
  }
  const auto m = static_cast<std::size_t>(nOut);
  if (nIn <= 0 || sIn == nullptr || fIn == nullptr) {
    std::fill_n(sOut, m, Complex{0.0, 0.0});
    return;
  }
  const auto n = static_cast<std::size_t>(nIn);
  if (!ip::isUsableGrid(fIn, n)) {
    std::fill_n(sOut, m, ip::complexNaN());
    return;
  }

  const double w = ip::bulkPhaseSlope(sIn, fIn, n);
  const double fFirst = fIn[0];
  const double fLast = fIn[n - 1];
  const Complex sFirst = sIn[0];
  const Complex sLast = sIn[n - 1];

  // Below the band: a synthetic real DC point when the band starts above
  // DC; otherwise (the band reaches DC or below) the first sample is held.
  const bool synthesiseDc = fFirst > 0.0;
  const double dc = synthesiseDc ? ip::dcValue(sFirst, fFirst, w) : 0.0;
  const Segment toDc = ip::makeSegment(0.0, {dc, 0.0}, fFirst, sFirst, synthesiseDc ? w : 0.0);

  std::size_t hint = 0;
  std::size_t cached = std::numeric_limits<std::size_t>::max();
  Segment seg{};

  for (std::size_t i = 0; i < m; ++i) {
    const double f = fOut[i];
    Complex value;
    if (!std::isfinite(f)) {
      value = ip::complexNaN();
    } else if (f < fFirst) {
      if (!synthesiseDc) {
        value = sFirst;
      } else if (f <= 0.0) {
        value = {dc, 0.0};
      } else {
        value = ip::interpolateSegment(toDc, f, w);
      }
    } else if (f >= fLast) {
      value = (f == fLast) ? sLast : ip::aboveBand(sLast, fLast, f, w);
    } else {
      const std::size_t k = ip::findBracket(fIn, n, f, hint);
      hint = k;
      if (fIn[k] == f) {
        value = sIn[k];
      } else {
        if (k != cached) {
          seg = ip::makeSegment(fIn[k], sIn[k], fIn[k + 1], sIn[k + 1], w);
          cached = k;
        }
        value = ip::interpolateSegment(seg, f, w);
      }
    }
    sOut[i] = value;
  }
}
