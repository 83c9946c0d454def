// Floating-tap decision-feedback equaliser (a = mainCursor, b = maxTapWeight,
// s = searchStart, e = searchEnd, L = tapsPerGroup, G = groupCount).
//
// Group after group, the kernel picks the window of L consecutive cursor
// positions inside [s, e] where L taps remove the most inter-symbol
// interference energy, gives every tap of the window the weight
// min(b, |v / a|) with the sign of its cursor v, and records the result:
//
//   search     T = a * b (the largest cursor one tap can cancel); for the
//              cursors v = x[trunc(s + k)], k = 0 .. count-1, with
//              count = trunc(e - s + 1.0): A[k] = |v|, B[k] = fmax(|v| - T, 0.0).
//              The window starting at k = j gains (sum of A[j+i]^2) -
//              (sum of B[j+i]^2), i = 0, 1, ... while i <= L - 1, each sum
//              accumulated from 0.0 in i order and the two subtracted at the
//              end.  Windows start at j = 0, 1, ... while j < count - L + 1.0;
//              the first strictly largest gain above 0.0 wins: p = s + j, or
//              s - 1 when no window gains anything.
//   taps       for k = 0, 1, ... while k < L: idx = trunc(p + k),
//              weight = min(b, |v / a|) * sign(v) with v = residual[idx],
//              residual[idx] = v - weight * v, available[idx] = 0.0.
//   placement  tapPositions[g*L + k] = p + k for group g's block,
//              tapWeights[trunc(p) - 1 + k] = weight of tap k (one index
//              below the cursor it was computed from, on purpose),
//              tapPositions sorted ascending, then tapLimits[trunc(q)] = b
//              for every position q.
//
// Arithmetic conventions, relied upon for identical results:
//   - min(b, m) is (b < m) ? b : m, so a NaN |v / a| (and a NaN b) gives m.
//   - sign(v) is +1.0 or -1.0, +0.0 for either zero and v itself for NaN, so
//     a NaN cursor gives a NaN weight.
//   - fmax(|v| - T, 0.0) ignores a NaN difference: B is 0.0 then.
//   - A window holds floor(L) positions (none for L < 1); with
//     j < count - L + 1 all of them lie inside [s, e].  The taps of a group
//     run while k < L: ceil(L) of them for fractional L.
//
// Positions index the pulse directly and nothing keeps them inside it (a
// failed search at s = 0 yields -1, the weights go one index lower still, e
// may lie past the pulse).  A cursor read outside [0, n) is 0.0 and a write
// there is skipped; tapPositions entries are written only inside
// tapPositions.  Positions outside the pulse thus contribute exactly nothing,
// so only the windows and taps that meet the pulse are evaluated one by one
// (every other tap reads 0.0 and so shares one weight): huge or infinite e
// and L cost no more than the pulse is long.  The pulse record holds the
// residual after the call.
//
// Counts from non-integral, negative, NaN or huge arguments:
//   - tapPositions holds trunc(L * G) entries and trunc(G) groups run, none
//     for a NaN or non-positive count, both capped at kMaxTapPositions.  A
//     group whose block falls (partly) past the end of tapPositions still
//     runs; only the positions that do not fit are dropped.
//   - a group's block is p, p + 1, ... while p + k <= end = p + L - 1 (both
//     as rounded), written from index trunc(g * L) on; it is the single
//     marker kNaN (0.0) when p or the end is not finite.  Its weights are
//     stored only when p and the end are finite and p <= end.
//   - step counters are exact integers only up to 2^53, so no search or group
//     looks further than 2^53 steps (a pulse has at most 2^31 - 1 positions,
//     so no reachable position is cut off for |p| < 2^53).
#include "statistics/floating_dfe.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "frame/constants.h"

namespace zefra {
namespace {

// 2^53: beyond it a double no longer holds every integer.
constexpr double kExactStepLimit = 9007199254740992.0;
constexpr int64_t kExactStepLimitInt = int64_t{1} << 53;

// Largest number of tap positions and of groups (8 MiB of doubles).  A
// floating-tap DFE has tens of taps; the cap only stops a huge groupCount or
// tapsPerGroup from allocating and looping without end.
constexpr int32_t kMaxTapPositions = int32_t{1} << 20;

// Half-open range [first, last) of step numbers.
struct StepSpan {
  int64_t first;
  int64_t last;
  bool empty() const { return last == first; }
  int64_t length() const { return last - first; }
};

// First k in [0, steps) for which `predicate` holds, or `steps`; the
// predicate must be false up to some k and true from there on.
template <typename Predicate>
int64_t firstStepWhere(int64_t steps, Predicate predicate) {
  int64_t lo = 0;
  int64_t hi = steps;
  while (lo < hi) {
    const int64_t mid = lo + (hi - lo) / 2;
    if (predicate(mid)) {
      hi = mid;
    } else {
      lo = mid + 1;
    }
  }
  return lo;
}

// The steps k = 0 .. steps-1 whose position base + k (rounded as the
// arithmetic rounds it) satisfies -1 < base + k < n, i.e. those for which
// trunc(base + k) is an index of an n-element array.  base + k never
// decreases as k grows, so they form one contiguous span, found by
// bisection.  A NaN base meets no index.
StepSpan stepsInside(double base, int64_t steps, int64_t n) {
  if (n <= 0) {
    return StepSpan{0, 0};  // (-1, 0) holds positions, but no index of an empty array
  }
  const double upper = static_cast<double>(n);
  const int64_t first = firstStepWhere(
      steps, [base](int64_t k) { return base + static_cast<double>(k) > -1.0; });
  const int64_t last = firstStepWhere(
      steps, [base, upper](int64_t k) { return !(base + static_cast<double>(k) < upper); });
  return StepSpan{first, std::max(first, last)};
}

// Index trunc(base + k) of a step inside stepsInside(base, ..., n).
int64_t indexOfStep(double base, int64_t k) {
  return static_cast<int64_t>(base + static_cast<double>(k));
}

// Number of steps k = 0, 1, ... with k < limit, capped at 2^53: ceil(limit)
// for a positive limit, none for a non-positive or NaN one.
int64_t stepsBelow(double limit) {
  if (!(limit > 0.0)) {
    return 0;
  }
  if (limit >= kExactStepLimit) {
    return kExactStepLimitInt;
  }
  return static_cast<int64_t>(std::ceil(limit));
}

// Tap weight min(b, |v / a|) * sign(v).
double tapWeight(double v, double a, double b) {
  const double magnitude = std::fabs(v / a);
  const double limited = (b < magnitude) ? b : magnitude;
  double sign = v;  // NaN stays NaN
  if (v > 0.0) {
    sign = 1.0;
  } else if (v < 0.0) {
    sign = -1.0;
  } else if (v == 0.0) {
    sign = 0.0;
  }
  return limited * sign;
}

// Scratch storage reused by every group of one call.
struct Workspace {
  std::vector<double> energy;    // A^2 over the steps of the search that meet the pulse
  std::vector<double> residue;   // B^2 over the same steps
  std::vector<double> weights;   // the group's weights over the steps that meet the pulse
};

// The window search.  x holds n cursors (the still-available ones); returns
// the first position of the chosen window, or s - 1.
double findTapWindow(const double* x, int64_t n, double s, double e, double L, double a,
                     double b, Workspace& work) {
  const double cancel = a * b;
  const double count = std::trunc(e - s + 1.0);
  const double starts = count - L + 1.0;
  const double failed = s - 1.0;
  // No window (starts > 0 with L >= 1 also means count >= 1), or no term in
  // one (L < 1: every gain is 0.0 - 0.0, never above the starting best).
  // With T < 0 every B = |v| - T is at least |v| = A, and rounding is
  // monotone, so no gain can be positive either; this is also the only case
  // in which a position outside the pulse, read as 0.0, would have B != 0.
  if (!(starts > 0.0) || !(L >= 1.0) || cancel < 0.0) {
    return failed;
  }
  const double windowLength = std::floor(L - 1.0) + 1.0;
  const int64_t steps = stepsBelow(count);

  // Only steps that meet the pulse carry energy: elsewhere A = |0.0| = 0 and
  // B = fmax(0.0 - T, 0.0) = 0 (T >= 0 or NaN here), terms that leave both
  // sums unchanged.  A window meeting no such step gains exactly 0.0.
  const StepSpan inside = stepsInside(s, steps, n);
  if (inside.empty()) {
    return failed;
  }
  const int64_t width = inside.length();
  work.energy.resize(static_cast<size_t>(width));
  work.residue.resize(static_cast<size_t>(width));
  for (int64_t k = inside.first; k < inside.last; ++k) {
    const double v = x[indexOfStep(s, k)];
    const double A = std::fabs(v);
    const double B = std::fmax(A - cancel, 0.0);
    const auto slot = static_cast<size_t>(k - inside.first);
    work.energy[slot] = A * A;
    work.residue[slot] = B * B;
  }

  // Windows meeting the span: from kA - floor(L) + 1 (not below 0) to kB,
  // and never at or beyond `starts`.
  const int64_t kA = inside.first;
  const int64_t kB = inside.last - 1;
  const double lowest = static_cast<double>(kA) - windowLength + 1.0;
  const int64_t jFirst = lowest > 0.0 ? static_cast<int64_t>(lowest) : 0;
  const int64_t jLast = starts > static_cast<double>(kB)
                            ? kB
                            : static_cast<int64_t>(std::ceil(starts)) - 1;

  double bestGain = 0.0;
  int64_t best = -1;
  for (int64_t j = jFirst; j <= jLast; ++j) {
    const double windowEnd = static_cast<double>(j) + windowLength - 1.0;
    const int64_t t0 = std::max(j, kA);
    const int64_t t1 = windowEnd >= static_cast<double>(kB) ? kB
                                                             : static_cast<int64_t>(windowEnd);
    double energySum = 0.0;
    double residueSum = 0.0;
    for (int64_t k = t0; k <= t1; ++k) {
      energySum += work.energy[static_cast<size_t>(k - kA)];
      residueSum += work.residue[static_cast<size_t>(k - kA)];
    }
    const double gain = energySum - residueSum;
    if (gain > bestGain) {
      bestGain = gain;
      best = j;
    }
    // Every window from here up to the one starting at kA covers the whole
    // span: the same terms in the same order, so the same gain, which can
    // never be strictly larger.  Skip them.
    if (j < kA && t1 == kB) {
      j = kA;
    }
  }
  return s + static_cast<double>(best);
}

// The weights of one group, by tap number k.
struct GroupWeights {
  int64_t taps;          // k = 0 .. taps-1 were computed (k < L)
  StepSpan inside;       // taps whose cursor lies inside the pulse
  double outsideWeight;  // weight of a tap whose cursor reads as 0.0
  const std::vector<double>* insideWeights;

  // Weight of tap k.  A tap that was not computed (k >= taps) is 0.0; only
  // the rounding of p + L - 1 at huge magnitudes can ask for one.
  double at(int64_t k) const {
    if (k >= taps) {
      return 0.0;
    }
    if (k >= inside.first && k < inside.last) {
      return (*insideWeights)[static_cast<size_t>(k - inside.first)];
    }
    return outsideWeight;
  }
};

// Taps the group at position p.  The taps run in k order because the same
// index can come up twice (trunc(p + k) for p = -0.5 gives 0 for k = 0 and
// k = 1), and then the second tap sees the residual left by the first.
GroupWeights applyTapGroup(double* residual, double* available, int64_t n, double p, double L,
                           double a, double b, Workspace& work) {
  GroupWeights group{stepsBelow(L), StepSpan{0, 0}, tapWeight(0.0, a, b), &work.weights};
  group.inside = stepsInside(p, group.taps, n);
  work.weights.resize(static_cast<size_t>(group.inside.length()));
  for (int64_t k = group.inside.first; k < group.inside.last; ++k) {
    const auto idx = static_cast<size_t>(indexOfStep(p, k));
    const double v = residual[idx];
    const double weight = tapWeight(v, a, b);
    work.weights[static_cast<size_t>(k - group.inside.first)] = weight;
    residual[idx] = v - weight * v;
    available[idx] = 0.0;
  }
  return group;
}

// Writes the group's block p, p + 1, ..., p + L - 1 into the `size`
// positions from index trunc(blockStart) on, as far as they reach.
void writePositionBlock(double* positions, int64_t size, double blockStart, double p, double L) {
  // trunc(blockStart) must index `positions`: a start in (-1, 0) truncates
  // to 0, which an empty list does not have.
  if (size == 0 || !(blockStart > -1.0 && blockStart < static_cast<double>(size))) {
    return;
  }
  const auto at = static_cast<int64_t>(blockStart);
  const double end = p + L - 1.0;
  if (!std::isfinite(p) || !std::isfinite(end)) {
    positions[at] = kNaN;
    return;
  }
  // The values p + k for k = 0, 1, ... while p + k <= end, as rounded: L
  // values for integral p and L, none when end < p.
  const int64_t count = firstStepWhere(
      size - at, [p, end](int64_t k) { return !(p + static_cast<double>(k) <= end); });
  for (int64_t k = 0; k < count; ++k) {
    positions[at + k] = p + static_cast<double>(k);
  }
}

// tapWeights[trunc(p) - 1 + k] = weight of tap k, k = 0 .. M-1 with
// M = trunc(p + L - 1) - trunc(p) + 1, keeping the indices inside [0, n).
void copyGroupWeights(double* tapWeights, int64_t n, double p, double L,
                      const GroupWeights& group) {
  const double end = p + L - 1.0;
  if (!std::isfinite(p) || !std::isfinite(end) || !(p <= end) || n <= 0) {
    return;
  }
  const double first = std::trunc(p) - 1.0;
  const double lastTarget = std::trunc(end) - 1.0;
  const double lo = std::max(first, 0.0);
  const double hi = std::min(lastTarget, static_cast<double>(n - 1));
  if (!(lo <= hi)) {
    return;
  }
  const auto dLo = static_cast<int64_t>(lo);
  const auto dHi = static_cast<int64_t>(hi);
  for (int64_t d = dLo; d <= dHi; ++d) {
    const double k = static_cast<double>(d) - first;
    tapWeights[d] = k < kExactStepLimit ? group.at(static_cast<int64_t>(k)) : 0.0;
  }
}

// trunc(v) as a count: none for NaN or below one, at most kMaxTapPositions.
int32_t cappedCount(double v) {
  const double count = std::trunc(v);
  if (!(count >= 1.0)) {
    return 0;
  }
  return count >= static_cast<double>(kMaxTapPositions) ? kMaxTapPositions
                                                        : static_cast<int32_t>(count);
}

// Shapes `record` as a row {1, count} of zeros (its storage may hold older
// values) and returns its elements, null when there are none.
double* zeroRow(DynArray* record, int32_t count) {
  reshape<double>(record, 1, count);
  double* values = elementsOf<double>(record);
  if (count <= 0) {
    return nullptr;
  }
  std::fill(values, values + count, 0.0);
  return values;
}

}  // namespace

void floatingTapPlacement(DynArray* pulse, double searchStart, double tapsPerGroup,
                          double groupCount, double searchEnd, double maxTapWeight,
                          double mainCursor, DynArray* tapPositions, DynArray* tapWeights,
                          DynArray* tapLimits) {
  const double L = tapsPerGroup;
  const int64_t n = std::max(pulse->size[0], 0);
  double* residual = elementsOf<double>(pulse);
  const int32_t positionCount = cappedCount(L * groupCount);
  double* positions = zeroRow(tapPositions, positionCount);
  double* weightsOut = zeroRow(tapWeights, static_cast<int32_t>(n));
  double* limitsOut = zeroRow(tapLimits, static_cast<int32_t>(n));
  std::vector<double> available(residual, residual + n);

  // Each search reads `available` as it stands when the group starts (the
  // group's own taps clear it only afterwards), so no separate copy is kept.
  Workspace work;
  const int32_t groups = cappedCount(groupCount);
  for (int32_t g = 0; g < groups; ++g) {
    const double p = findTapWindow(available.data(), n, searchStart, searchEnd, L, mainCursor,
                                   maxTapWeight, work);
    writePositionBlock(positions, positionCount, static_cast<double>(g) * L, p, L);
    const GroupWeights weights =
        applyTapGroup(residual, available.data(), n, p, L, mainCursor, maxTapWeight, work);
    copyGroupWeights(weightsOut, n, p, L, weights);  // nothing to store when n = 0
  }

  // Ascending.  Positions are finite or the 0.0 marker, never NaN; the
  // stable sort keeps +0.0 and -0.0 in block order.
  std::stable_sort(positions, positions + positionCount);
  for (int32_t i = 0; i < positionCount; ++i) {
    const double q = positions[i];
    if (limitsOut != nullptr && q > -1.0 && q < static_cast<double>(n)) {
      limitsOut[static_cast<int64_t>(q)] = maxTapWeight;
    }
  }
}

}  // namespace zefra
