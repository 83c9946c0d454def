// Floating-tap decision-feedback equaliser.
//
// Group after group, the kernel picks the window of L consecutive cursor
// positions inside [searchStart, searchEnd] where L taps remove the most
// inter-symbol-interference energy, gives every tap of the window the weight
// min(b, |v / a|) with the sign of its cursor v, and records the result:
//
//   findTapWindow   with T = a * b (the largest cursor one tap can cancel),
//                   A[k] = |v| and B[k] = fmax(|v| - T, 0.0) for the cursors
//                   v = x[trunc(s + k)], k = 0 .. count-1,
//                   count = trunc(e - s + 1.0), the window starting at k = j
//                   gains  (sum of A[j+i]^2) - (sum of B[j+i]^2),
//                   i = 0, 1, ... while i <= L - 1, each sum accumulated from
//                   0.0 in i order and the two sums subtracted at the end.
//                   Windows start at j = 0, 1, ... while j < count - L + 1.0;
//                   the first strictly largest gain above 0.0 wins and the
//                   result is s + j, or s - 1 when no window gains anything.
//   applyTapGroup   for k = 0, 1, ... while k < L: idx = trunc(p + k),
//                   weight = min(b, |v / a|) * sign(v) with v = residual[idx],
//                   residual[idx] = v - weight * v, available[idx] = 0.0.
//   placement       tapPositions[g*L + k] = p + k for the group's block,
//                   tapWeights[trunc(p) - 1 + k] = weight of tap k (one index
//                   below the cursor it was computed from, on purpose),
//                   tapPositions sorted ascending, then
//                   tapLimits[trunc(q)] = b for every position q.
//
// Arithmetic conventions, relied upon for identical results:
//   - min(b, m) is (b < m) ? b : m, so a NaN |v / a| (and a NaN b) gives m.
//   - sign(v) is +1.0 for v > 0, -1.0 for v < 0, +0.0 for either zero and v
//     itself for NaN, so a NaN cursor gives a NaN weight.
//   - fmax(|v| - T, 0.0) ignores a NaN difference: B is 0.0 then.
//   - A window of L taps holds the positions j .. j + L - 1 (floor(L) of them
//     for fractional L, none for L < 1); with j < count - L + 1 every one of
//     them lies inside the searched range.  The taps of applyTapGroup run
//     while k < L, that is ceil(L) taps for fractional L.
//
// Positions are indices straight into the pulse, and nothing keeps them
// inside it (a failed search at searchStart = 0 yields -1, the weights go one
// index lower still, searchEnd may lie past the pulse).  The kernel never
// touches memory outside its arrays; instead:
//   - a cursor read at an index outside [0, n) is 0.0: such a position
//     carries no energy and contributes nothing to a window;
//   - a write to the residual, `available`, tapWeights or tapLimits at an
//     index outside [0, n) is skipped;
//   - tapPositions entries are written only inside tapPositions.
// Because out-of-range positions contribute exactly nothing, only windows
// that meet the pulse are evaluated, and only the taps that meet the pulse
// are computed one by one; every other tap reads 0.0 and so shares one
// weight.  This is what keeps huge or infinite searchEnd and L from costing
// more than the pulse is long.  The pulse record holds the residual after
// the call.
//
// Counts from non-integral, negative, NaN or huge arguments:
//   - tapPositions holds trunc(L * G) entries; a NaN or non-positive product
//     gives none, and the count is capped at kMaxTapPositions.
//   - groups run for g = 0 .. trunc(G) - 1 (none for NaN or G < 1), at most
//     kMaxTapPositions of them.  A group whose block falls (partly) past the
//     end of tapPositions still runs: its taps and weights are placed as
//     usual, only the positions that do not fit are dropped.
//   - the position block of a group is the range p, p + 1, ... while
//     p + k <= end = p + L - 1 (both sides rounded as computed): L values for
//     integral p and L, none when the end is below p, and the single marker
//     kNaN (0.0) when p or the end is NaN or infinite.  It is written from
//     index trunc(g * L) on, skipping every index outside tapPositions
//     (g * L itself may be NaN for an infinite L: no index at all).
//   - the weights go to tapWeights only when p and the range end are finite
//     and p <= end.
//   - step counters are exact integers only up to 2^53, so the search and
//     the taps of one group never look further than 2^53 steps (a pulse has
//     at most 2^31 - 1 positions, so this never cuts a reachable position
//     short for start positions below 2^53 in magnitude).
#include "statistics/floating_dfe.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "frame/constants.h"

namespace zefra {
namespace {

// 2^53: beyond it a double no longer holds every integer, so step counts
// (k, j) and window lengths are kept below it.
constexpr double kExactStepLimit = 9007199254740992.0;
constexpr int64_t kExactStepLimitInt = int64_t{1} << 53;

// Largest number of tap positions the kernel produces (8 MiB of doubles).  A
// floating-tap DFE has tens of taps; the cap only stops a huge groupCount or
// tapsPerGroup from allocating and looping without end.
constexpr int32_t kMaxTapPositions = int32_t{1} << 20;

// Half-open range [first, last) of step numbers.
struct StepSpan {
  int64_t first;
  int64_t last;
  bool empty() const { return last <= first; }
  int64_t length() const { return empty() ? 0 : last - first; }
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
  if (starts <= 0.0) {
    return failed;
  }
  // With T < 0 every B = |v| - T is at least |v| = A, and rounding is
  // monotone, so each B^2 >= A^2 and each window's sum of B^2 >= its sum of
  // A^2: no gain can be positive.  (This is also the only case in which a
  // position outside the pulse, read as 0.0, would have a non-zero B.)
  if (cancel < 0.0) {
    return failed;
  }
  // Taps per window, i = 0 .. L - 1: floor(L) for L >= 1, none otherwise
  // (no terms: every gain is 0.0 - 0.0, never above the starting best).
  if (!(L >= 1.0) || !(starts > 0.0) || !(count >= 1.0)) {
    return failed;
  }
  const double windowLength = std::floor(L - 1.0) + 1.0;
  const int64_t steps = count >= kExactStepLimit ? kExactStepLimitInt
                                                 : static_cast<int64_t>(count);

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
    }
    for (int64_t k = t0; k <= t1; ++k) {
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
    if (k < 0 || k >= taps) {
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

// Writes the group's block p, p + 1, ..., p + L - 1 into `positions` from
// index trunc(blockStart) on, as far as `positions` reaches.
void writePositionBlock(std::vector<double>& positions, double blockStart, double p, double L) {
  // trunc(blockStart) must index `positions`: a start in (-1, 0) truncates
  // to 0, which an empty list does not have.
  if (positions.empty() ||
      !(blockStart > -1.0 && blockStart < static_cast<double>(positions.size()))) {
    return;
  }
  const auto at = static_cast<int64_t>(blockStart);
  const double end = p + L - 1.0;
  if (!std::isfinite(p) || !std::isfinite(end)) {
    positions[static_cast<size_t>(at)] = kNaN;
    return;
  }
  // The values p + k for k = 0, 1, ... while p + k <= end, as rounded: L
  // values for integral p and L, none when end < p.
  const int64_t room = static_cast<int64_t>(positions.size()) - at;
  const int64_t count = firstStepWhere(
      room, [p, end](int64_t k) { return !(p + static_cast<double>(k) <= end); });
  for (int64_t k = 0; k < count; ++k) {
    positions[static_cast<size_t>(at + k)] = p + static_cast<double>(k);
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

// trunc(L * G), with a NaN or non-positive product giving 0 and the count
// capped at kMaxTapPositions.
int32_t tapPositionCount(double L, double G) {
  const double count = std::trunc(L * G);
  if (!(count > 0.0)) {
    return 0;
  }
  if (count >= static_cast<double>(kMaxTapPositions)) {
    return kMaxTapPositions;
  }
  return static_cast<int32_t>(count);
}

// trunc(G) groups, none for NaN or G < 1, at most kMaxTapPositions: more
// groups than the kernel keeps positions for are not run.
int64_t groupCountOf(double G) {
  const double count = std::trunc(G);
  if (!(count >= 1.0)) {
    return 0;
  }
  if (count >= static_cast<double>(kMaxTapPositions)) {
    return kMaxTapPositions;
  }
  return static_cast<int64_t>(count);
}

// Usable length of the pulse record: its first extent, none when it is
// negative or the record has no storage, never more than the storage holds.
int64_t pulseLength(const DynArray* pulse) {
  if (pulse->data == nullptr || pulse->size[0] <= 0) {
    return 0;
  }
  return std::min(pulse->size[0], pulse->capacity);
}

// Shapes `record` as a zero-filled row {1, count} and returns its elements
// (null when there are none).
double* zeroRow(DynArray* record, int32_t count) {
  const int32_t before = std::clamp(numel(record), 0, std::max(record->capacity, 0));
  if (record->numDims >= 2) {
    record->size[0] = 1;
    record->size[1] = count;
    for (int32_t d = 2; d < record->numDims; ++d) {
      record->size[d] = 1;
    }
  } else if (record->numDims == 1) {
    record->size[0] = count;
  } else {
    return nullptr;  // a record without extents cannot hold a row
  }
  ensureCapacityDouble(record, before);
  if (count <= 0 || record->data == nullptr) {
    return nullptr;
  }
  double* values = elementsOf<double>(record);
  std::fill(values, values + count, 0.0);
  return values;
}

}  // namespace

void floatingTapPlacement(DynArray* pulse, double searchStart, double tapsPerGroup,
                          double groupCount, double searchEnd, double maxTapWeight,
                          double mainCursor, DynArray* tapPositions, DynArray* tapWeights,
                          DynArray* tapLimits) {
  const double L = tapsPerGroup;
  const int64_t n = pulseLength(pulse);
  const auto rowLength = static_cast<int32_t>(n);
  double* residual = n > 0 ? elementsOf<double>(pulse) : nullptr;

  const int32_t positionCount = tapPositionCount(L, groupCount);
  std::vector<double> positions(static_cast<size_t>(positionCount), 0.0);
  double* weightsOut = zeroRow(tapWeights, rowLength);
  double* limitsOut = zeroRow(tapLimits, rowLength);
  std::vector<double> available(residual, residual + n);

  // Each search reads `available` as it stands when the group starts (the
  // group's own taps clear it only afterwards), so no separate copy is kept.
  Workspace work;
  const int64_t groups = groupCountOf(groupCount);
  for (int64_t g = 0; g < groups; ++g) {
    const double blockStart = static_cast<double>(g) * L;
    const double p = findTapWindow(available.data(), n, searchStart, searchEnd, L, mainCursor,
                                   maxTapWeight, work);
    writePositionBlock(positions, blockStart, p, L);
    const GroupWeights weights =
        applyTapGroup(residual, available.data(), n, p, L, mainCursor, maxTapWeight, work);
    if (weightsOut != nullptr) {
      copyGroupWeights(weightsOut, n, p, L, weights);
    }
  }

  // Ascending, NaN last (positions are finite or the 0.0 marker in
  // practice); the stable sort keeps +0.0 / -0.0 in block order.
  std::stable_sort(positions.begin(), positions.end(), [](double lhs, double rhs) {
    return lhs < rhs || (!std::isnan(lhs) && std::isnan(rhs));
  });
  for (const double q : positions) {
    if (limitsOut != nullptr && q > -1.0 && q < static_cast<double>(n)) {
      limitsOut[static_cast<int64_t>(q)] = maxTapWeight;
    }
  }

  double* positionsOut = zeroRow(tapPositions, positionCount);
  if (positionsOut != nullptr) {
    std::copy(positions.begin(), positions.end(), positionsOut);
  }
}

}  // namespace zefra
