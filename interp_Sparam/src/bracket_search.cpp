// Bounded galloping search.
//
// Invariant of the final bisection: x[lo] <= q < x[hi] with lo < hi; it
// halves hi - lo until the two are adjacent.  Galloping establishes the
// invariant starting from the hint: forward while the probe is still <= q,
// backward while the probe is still > q, with steps 1, 2, 4, ...  Index
// n-1 is a valid upper end (q < x[n-1]) and index 0 a valid lower end
// (x[0] <= q), so the probes never leave the grid.
//
// Cost: a query g intervals from the hint takes about 2 log2(g) probes.
// When kGallopProbes probes have not reached q (g > 31), the query is
// taken to be unrelated to the hint and the whole grid is bisected
// instead, about log2(n) probes.  Restarting from the full grid rather than
// from the part beyond the last probe is deliberate: the first levels of a
// full bisection probe the same few grid points for every query, which
// stay in cache, so queries in random order run about twice as fast as
// with unbounded galloping.  Since log2(n) <= 31, a jump over g > 31
// intervals still costs O(g), and an ascending sweep stays
// O(n + number of queries).
#include "bracket_search.h"

namespace zefra::interp_sparam {
namespace {

// Galloping probes at most 1 + 2 + 4 + 8 + 16 = 31 intervals from the hint.
constexpr int kGallopProbes = 5;

}  // namespace

std::size_t findBracket(const double* x, std::size_t n, double q, std::size_t hint) {
  const std::size_t top = n - 1;
  if (hint > top - 1) {
    hint = top - 1;
  }
  // Gallop from `from`, the last point known on the hint's side of q, until
  // a probe lands across q (the grid's ends are across by the preconditions).
  const bool forward = x[hint] <= q;
  std::size_t from = hint;
  std::size_t lo = 0;  // far from the hint: bisect the whole grid (see above)
  std::size_t hi = top;
  for (int p = 0; p < kGallopProbes; ++p) {
    const std::size_t step = std::size_t{1} << p;
    const std::size_t probe = forward ? (top - from > step ? from + step : top)
                                      : (from > step ? from - step : 0);
    if (forward ? (probe == top || x[probe] > q) : (probe == 0 || x[probe] <= q)) {
      lo = forward ? from : probe;
      hi = forward ? probe : from;
      break;
    }
    from = probe;
  }
  while (hi - lo > 1) {
    const std::size_t mid = lo + (hi - lo) / 2;
    if (x[mid] <= q) {
      lo = mid;
    } else {
      hi = mid;
    }
  }
  return lo;
}

}  // namespace zefra::interp_sparam
