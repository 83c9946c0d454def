// Cursor sets of a phase offset.  The DFE acts on the victim's cursor k at
// every phase, also where centre + s + k Ns falls outside the pulse (there
// the cursor is 0 and the residual -d_k).  Exact zeros are left out: their
// factor is the identity.  The order of the cursors fixes the order of the
// convolutions and hence the bits of the density, so it is total.
#include "eye/cursor_set.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <tuple>

namespace zefra::tk::eye {
namespace {

struct Keyed {
  double value;
  int64_t source;  // 0: the victim, 1 + j: aggressor j
  int64_t k;
};

std::vector<double> sortedValues(std::vector<Keyed>& cursors) {
  std::sort(cursors.begin(), cursors.end(), [](const Keyed& p, const Keyed& q) {
    return std::make_tuple(std::fabs(p.value), p.source, p.k) <
           std::make_tuple(std::fabs(q.value), q.source, q.k);
  });
  std::vector<double> values;
  values.reserve(cursors.size());
  for (const Keyed& c : cursors) {
    values.push_back(c.value);
  }
  return values;
}

}  // namespace

double sampleAt(const double* pulse, int64_t length, int64_t n) {
  return (n >= 0 && n < length) ? pulse[n] : 0.0;
}

int64_t floorDiv(int64_t a, int64_t b) {
  const int64_t q = a / b;
  return (a % b != 0 && a < 0) ? q - 1 : q;
}

PhaseCursors phaseCursors(const Channel& channel, int64_t s) {
  const int64_t ns = channel.samplesPerUi;
  const int64_t base = channel.centre + s;
  PhaseCursors out;
  out.main = sampleAt(channel.pulse, channel.length, base);

  std::vector<Keyed> cursors;
  forEachCursor(channel.pulse, channel.length, base, ns, [&](int64_t k, double v) {
    if (k != 0) {
      cursors.push_back({v, 0, k});
    }
  });
  // The victim's cursors were emitted in ascending k, one per k, k = 0 left
  // out: a DFE position is found by bisection, or appended as 0 - d_k.
  const std::size_t victimCount = cursors.size();
  for (std::size_t t = 0; t < channel.dfePositions.size(); ++t) {
    const int64_t k = channel.dfePositions[t];
    const auto end = cursors.begin() + static_cast<std::ptrdiff_t>(victimCount);
    const auto at = std::lower_bound(cursors.begin(), end, k,
                                     [](const Keyed& c, int64_t key) { return c.k < key; });
    if (at != end && at->k == k) {
      at->value -= channel.dfeValues[t];
    } else {
      cursors.push_back({-channel.dfeValues[t], 0, k});
    }
  }
  for (std::size_t j = 0; j < channel.aggressors.size(); ++j) {
    const Aggressor& a = channel.aggressors[j];
    if (!a.synchronous) {
      continue;
    }
    const auto source = static_cast<int64_t>(j) + 1;
    forEachCursor(a.pulse, a.length, base + a.offset, ns,
                  [&](int64_t k, double v) { cursors.push_back({v, source, k}); });
  }
  cursors.erase(std::remove_if(cursors.begin(), cursors.end(),
                               [](const Keyed& c) { return c.value == 0.0; }),
                cursors.end());
  out.others = sortedValues(cursors);
  out.reach = std::fabs(out.main);
  for (const double v : out.others) {
    out.reach += std::fabs(v);
  }
  return out;
}

std::vector<double> asyncCursors(const Channel& channel, const Aggressor& aggressor,
                                 int64_t theta) {
  std::vector<Keyed> cursors;
  forEachCursor(aggressor.pulse, aggressor.length, channel.centre + theta, channel.samplesPerUi,
                [&](int64_t k, double v) {
                  if (v != 0.0) {
                    cursors.push_back({v, 0, k});
                  }
                });
  return sortedValues(cursors);
}

double asyncReach(const Channel& channel, const Aggressor& aggressor) {
  double largest = 0.0;
  for (int64_t theta = 0; theta < channel.samplesPerUi; ++theta) {
    double sum = 0.0;
    forEachCursor(aggressor.pulse, aggressor.length, channel.centre + theta,
                  channel.samplesPerUi, [&](int64_t, double v) { sum += std::fabs(v); });
    largest = std::max(largest, sum);
  }
  return largest;
}

}  // namespace zefra::tk::eye
