// Input values for the equality harness: a case picks a profile (how often
// special values, exact small integers and repeats appear, and the scale of
// the ordinary values), then draws every element from it.
#ifndef ZEFRA_EQUALITY_VALUES_H
#define ZEFRA_EQUALITY_VALUES_H

#include <cstdint>
#include <initializer_list>
#include <vector>

#include "rng.h"

namespace eq {

struct Profile {
  double scale = 1.0;     // ordinary values are uniform in (-scale, scale)
  double special = 0.0;   // probability of a special value (NaN, Inf, +-0, ...)
  double integer = 0.0;   // probability of an exact integer in [-8, 8]
  double repeat = 0.0;    // probability of repeating the previous element
  bool positive = false;  // ordinary values only positive
};

// 55 % clean (no special values), 30 % mild, 15 % heavy.
Profile pickProfile(Rng& rng, double scale);
// 1 most of the time, else 10^U(-8, 8), rarely 10^U(-300, 300).
double pickScale(Rng& rng);

// One of: +-0, NaN with several payloads and both signs (quiet and
// signalling), +-Inf, subnormals, DBL_MIN, +-DBL_MAX, 1e+-300, 1 +- eps.
double specialValue(Rng& rng);
// A NaN: quiet or signalling, either sign, several payloads.
double nanValue(Rng& rng);
double drawValue(Rng& rng, const Profile& profile, double previous);
std::vector<double> drawVector(Rng& rng, int64_t n, const Profile& profile);
// n complex values as 2n interleaved doubles.
std::vector<double> drawComplex(Rng& rng, int64_t n, const Profile& profile);

// A count: 0 and 1 often, mostly up to `typical`, sometimes up to `large`,
// negative (including INT32_MIN) with probability `negative`.
int32_t drawCount(Rng& rng, int32_t typical, int32_t large, double negative);

// Ascending values from `start` with random steps averaging span / n; with
// `duplicates`, some steps are zero.
std::vector<double> ascending(Rng& rng, int64_t n, double start, double span, bool duplicates);

// A scalar argument: uniform in [lo, hi], or with probability pEdge one of
// `edges` (or, for a quarter of the edge draws, any special value).
double param(Rng& rng, double lo, double hi, double pEdge, std::initializer_list<double> edges);

// Frequencies in Hz: an ascending 0..100 GHz grid (from 0 or above),
// with probability `odd` with -0.0, tiny negative, negative, NaN, Inf or huge
// entries.
std::vector<double> drawFrequencies(Rng& rng, int64_t n, double odd);

// Replaces each element by a special value with probability p.
void sprinkleSpecials(Rng& rng, std::vector<double>& values, double p);

// Values within a few ulps or a relative 1e-12 of k * step (k small integers).
double nearMultiple(Rng& rng, double step);

}  // namespace eq

#endif
