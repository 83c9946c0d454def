// Input values for the equality harness: a case picks a profile (how often
// special values, exact small integers and repeats appear, and the scale of
// the ordinary values), then draws every element from it.
#ifndef ZEFRA_EQUALITY_VALUES_H
#define ZEFRA_EQUALITY_VALUES_H

#include <cstdint>
#include <initializer_list>
#include <limits>
#include <vector>

#include "rng.h"

namespace eq {

constexpr double kPi = 3.141592653589793;
constexpr double kInf = std::numeric_limits<double>::infinity();

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

// The factor a case puts on the pEdge of all its scalar arguments: 2 in 40 %
// of the cases, 0 in the others, so that edge values come together in a
// minority of cases and the rest stay in range.
double drawEdgeWeight(Rng& rng);

// An order (or samples per unit): uniform in [1, smallMax] below toSmall,
// in [smallMax + 1, mediumMax] below toMedium, `large` below toLarge, and
// otherwise one of 0, -1, -negative and INT32_MIN (thresholds on one
// uniform draw).
struct OrderDraw {
  double toSmall;
  int32_t smallMax;
  double toMedium;
  int32_t mediumMax;
  double toLarge;
  int32_t large;
  int32_t negative;
};
int32_t drawOrder(Rng& rng, const OrderDraw& d);

// n complex values (2n interleaved doubles) of magnitude uniform in [0, 1)
// and phase uniform in [-pi, pi): a passive trace.
std::vector<double> drawPassive(Rng& rng, int64_t n);

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
