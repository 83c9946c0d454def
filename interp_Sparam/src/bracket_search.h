// Locating the grid interval that holds a query frequency.
#ifndef ZEFRA_INTERP_SPARAM_BRACKET_SEARCH_H
#define ZEFRA_INTERP_SPARAM_BRACKET_SEARCH_H

#include <cstddef>

namespace zefra::interp_sparam {

// For a strictly ascending grid x[0..n-1] (n >= 2) and a query with
// x[0] <= q < x[n-1], returns the k in [0, n-2] with x[k] <= q < x[k+1].
// hint (any value in [0, n-2]) is where the search starts: it gallops
// from there (steps 1, 2, 4, ... toward q, then bisection inside the last
// step), and bisects the whole grid when q is more than 31 intervals away.
// A query in the hinted interval costs two comparisons, one g intervals
// away O(min(log g, log n)).  Passing the previous answer as the hint
// makes a sweep over ascending queries O(n + number of queries) in total,
// and any order of queries O(log n) each, with no state outside the call.
std::size_t findBracket(const double* x, std::size_t n, double q, std::size_t hint);

}  // namespace zefra::interp_sparam

#endif  // ZEFRA_INTERP_SPARAM_BRACKET_SEARCH_H
