// The cursors of the channel at a phase offset s (whole samples): the
// victim's main cursor h_0(s) = p[centre + s], its other cursors
// h_k(s) = p[centre + s + k Ns] less the DFE values d_k, and the cursors of
// the synchronous aggressors; and the cursors of an asynchronous aggressor
// at one of its Ns offsets.
#pragma once

#include <cstdint>
#include <vector>

namespace zefra::tk::eye {

struct Aggressor {
  const double* pulse;
  int64_t length;
  bool synchronous;
  int64_t offset;  // samples, synchronous only
};

// The checked input of an eye.
struct Channel {
  const double* pulse;
  int64_t length;
  int64_t samplesPerUi;
  int64_t centre;
  std::vector<int64_t> dfePositions;  // k >= 1, distinct
  std::vector<double> dfeValues;      // V
  std::vector<Aggressor> aggressors;
};

// p[n] for n in the array, 0 outside.
double sampleAt(const double* pulse, int64_t length, int64_t n);

// floor(a / b) for b > 0.
int64_t floorDiv(int64_t a, int64_t b);

// Calls emit(k, p[base + k Ns]) for every k with base + k Ns in the array,
// in ascending k.
template <typename Emit>
void forEachCursor(const double* pulse, int64_t length, int64_t base, int64_t ns, Emit emit) {
  const int64_t kFirst = -floorDiv(base, ns);
  const int64_t kLast = floorDiv(length - 1 - base, ns);
  for (int64_t k = kFirst; k <= kLast; ++k) {
    emit(k, pulse[base + k * ns]);
  }
}

// The cursors seen at phase offset s.
struct PhaseCursors {
  double main = 0.0;          // h_0(s), V
  std::vector<double> others; // the victim's other cursors after the DFE and the synchronous
                              // aggressors' cursors, nonzero, in ascending |value| (ties: the
                              // victim before the aggressors in their order, then ascending k)
  double reach = 0.0;         // |h_0| + sum |others|, V
};

PhaseCursors phaseCursors(const Channel& channel, int64_t s);

// The cursors q[centre + theta + k Ns] of an asynchronous aggressor at
// offset theta, nonzero, in ascending |value| (ties: ascending k).
std::vector<double> asyncCursors(const Channel& channel, const Aggressor& aggressor,
                                 int64_t theta);

// The largest sum |q[centre + theta + k Ns]| over theta = 0..Ns-1, V.
double asyncReach(const Channel& channel, const Aggressor& aggressor);

}  // namespace zefra::tk::eye
