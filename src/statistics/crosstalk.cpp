// Crosstalk noise power at the worst sampling phase.
//
//   step[i]    = response[0] + ... + response[i]      (running sum, index order)
//                for i < responseLength; step[i] = 1.0 for responseLength <= i < P
//                (a settled unit step), L = max(P, responseLength) entries
//   induced[m] = sum over j = 0 .. min(m, L-1) of step[j] * pattern[m-j],
//                m < patternLength (the convolution truncated to the pattern)
//   Q          = roundf((float)(patternLength / P))    (unit intervals)
//   limit      = Q - 3                                 (last three UIs left out)
//   e(s)       = induced[s]^2 + induced[s+P]^2 + ...   (limit terms, s < P)
//   result     = amplitude * amplitude * max(0, max_s e(s))
//
// The sums are plain left-to-right additions and their order is part of the
// result.  The convolution has two loop orders, chosen only by
// patternLength < 2L:
//   short pattern: each pattern sample k scatters the whole step into
//                  induced[k ...]; induced[m] receives its terms in increasing
//                  k = m - j, i.e. from the largest step index down to j = 0;
//   long pattern:  each step tap j (exact zeros skipped) is added, times the
//                  pattern shifted by j, to induced[j ...]; induced[m]
//                  receives its terms in increasing j.
// Both inner loops run over contiguous memory with no branches.
//
// The maximum is taken with `e > best`, so a phase whose sum is NaN never
// becomes the best one.  P < 1 gives amplitude * amplitude * 0.0 (NaN for an
// infinite or NaN amplitude), as does a pattern shorter than about three and
// a half unit intervals (limit <= 0).  Negative counts are read as empty.
#include "statistics/crosstalk.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace zefra {
namespace {

// Running sum of the response, then ones up to P - 1; only the first
// `count` entries are produced (count <= L).
void buildStep(const double* response, int64_t responseLength, int64_t count, double* step) {
  const int64_t summed = std::min(responseLength, count);
  if (summed > 0) {
    double running = response[0];
    step[0] = running;
    for (int64_t i = 1; i < summed; ++i) {
      running = running + response[i];
      step[i] = running;
    }
  }
  for (int64_t i = summed; i < count; ++i) {
    step[i] = 1.0;
  }
}

// Short-pattern order: induced[k + j] += step[j] * pattern[k], k outer.
void scatterConvolve(const double* pattern, int64_t patternLength, const double* step,
                     int64_t stepLength, double* induced) {
  for (int64_t k = 0; k < patternLength; ++k) {
    const double pk = pattern[k];
    const int64_t taps = std::min(stepLength, patternLength - k);
    double* out = induced + k;
    for (int64_t j = 0; j < taps; ++j) {
      out[j] += step[j] * pk;
    }
  }
}

// Long-pattern order: induced[m] += pattern[m - j] * step[j], j outer,
// exact-zero taps skipped.
void gatherConvolve(const double* pattern, int64_t patternLength, const double* step,
                    int64_t stepLength, double* induced) {
  for (int64_t j = 0; j < stepLength; ++j) {
    const double sj = step[j];
    if (sj == 0.0) {
      continue;
    }
    const int64_t count = patternLength - j;
    double* out = induced + j;
    for (int64_t i = 0; i < count; ++i) {
      out[i] += pattern[i] * sj;
    }
  }
}

}  // namespace

double crosstalkNoisePower(const DynArray* response, const DynArray* pattern,
                           int32_t samplesPerUi, double amplitude) {
  const double amplitudeSquared = amplitude * amplitude;
  if (samplesPerUi < 1) {
    return amplitudeSquared * 0.0;
  }
  const int64_t p = samplesPerUi;
  const int64_t responseLength = std::max<int64_t>(response->size[0], 0);
  const int64_t patternLength = std::max<int64_t>(pattern->size[0], 0);

  // P >= 1 here, so the quotient is at most 2^31 - 1 and fits a float.
  const float q = std::roundf(
      static_cast<float>(static_cast<double>(patternLength) / static_cast<double>(p)));
  const double limit = static_cast<double>(q) - 3.0;
  if (!(limit > 0.0)) {
    // No phase sums a term: best stays 0.0 whatever `induced` holds.
    return amplitudeSquared * 0.0;
  }
  // Terms per phase: t = 0, 1, ... up to the first count t + 1 >= limit.
  // limit is integral (a rounded float minus 3) and below 2^31.
  const auto termsPerPhase = static_cast<int64_t>(std::ceil(limit));

  // L decides the loop order.  Step entries at or beyond patternLength never
  // meet a pattern sample, so only min(L, patternLength) of them are built.
  const int64_t stepLength = std::max(p, responseLength);
  const int64_t builtStep = std::min(stepLength, patternLength);

  std::vector<double> stepValues(static_cast<size_t>(builtStep));
  std::vector<double> inducedValues(static_cast<size_t>(patternLength), 0.0);
  double* step = stepValues.data();
  double* induced = inducedValues.data();
  const double* x = elementsOf<double>(pattern);
  buildStep(elementsOf<double>(response), responseLength, builtStep, step);

  if (patternLength < 2 * stepLength) {
    scatterConvolve(x, patternLength, step, builtStep, induced);
  } else {
    gatherConvolve(x, patternLength, step, builtStep, induced);
  }

  // The largest index summed is (Q - 3) P - 1.  In exact arithmetic
  // Q <= patternLength / P + 1/2, which keeps it at least 2.5 P samples
  // inside.  The narrowing of the quotient to float can round it up by half a
  // float ulp, though, and once patternLength / P exceeds about 4e7 that is
  // more than 2.5 unit intervals: P = 1, patternLength = 2^26 + 12 narrows to
  // 2^26 + 16, giving 2^26 + 13 terms and a last index of patternLength.  Such
  // indices lie past the truncated convolution, where a term would be
  // 0.0 * 0.0 and leave e unchanged, so they are simply not taken.
  double best = 0.0;
  for (int64_t s = 0; s < p; ++s) {
    const int64_t available = s < patternLength ? (patternLength - 1 - s) / p + 1 : 0;
    const int64_t terms = std::min(termsPerPhase, available);
    double e = 0.0;
    for (int64_t t = 0; t < terms; ++t) {
      const double v = induced[s + t * p];
      e += v * v;
    }
    if (e > best) {
      best = e;
    }
  }
  return amplitudeSquared * best;
}

}  // namespace zefra
