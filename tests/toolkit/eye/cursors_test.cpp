// What the cursor set of a phase holds, seen through maps that must agree
// to the bit: the convolution order is the ascending |value| of the
// cursors, so two channels with the same cursor values (all of distinct
// size) at one sample per UI give the same map.
//   - A DFE value equal to its cursor removes it; it acts at every phase.
//   - A DFE tap beyond the pulse acts as a cursor -d_k.
//   - A synchronous aggressor's cursors are more cursors.
// An asynchronous aggressor is the mixture over its Ns offsets: at phase 0
// the map is the mean of the maps with the aggressor synchronous at each
// offset (same lattice; the grids may differ in extent, so voltages are
// matched by value).  Tolerance kMixture = 1e-12 relative: the mixture is
// formed on the density instead of on the BER, a different summation order
// of the same non-negative terms.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <vector>

#include "eye_test_support.h"

namespace {

using namespace zefra_eye_test;

constexpr double kMixture = 1e-12;

bool sameMap(const Eye& a, const Eye& b) {
  return a.status == ZEFRA_TK_OK && b.status == ZEFRA_TK_OK && a.ber.size() == b.ber.size() &&
         std::memcmp(a.ber.data(), b.ber.data(), a.ber.size() * sizeof(double)) == 0;
}

TEST(EyeCursors, DfeEqualToItsCursorRemovesIt) {
  const std::vector<double> pulse{0.07, 1.0, 0.31, -0.12, 0.05};
  const std::vector<double> without{0.07, 1.0, 0.0, -0.12, 0.05};
  zefra_tk_eye_input in = victim(pulse, 1, 1);
  const int64_t position = 1;
  const double value = 0.31;
  in.dfePositions = &position;
  in.dfeValuesV = &value;
  in.dfeCount = 1;
  const zefra_tk_eye_options o = options(4, 0.003, 0.02);
  const Eye equalised = compute(in, o);
  EXPECT_TRUE(sameMap(equalised, compute(victim(without, 1, 1), o)));
  EXPECT_EQ(equalised.mainCursorV[0], 1.0);
}

// The DFE value is subtracted from cursor k at every phase: with Ns = 5
// (phases -2..2) the tap on k = 1 equals the pulse lowered by d_1 on the
// five samples centre + 5 + s (odd Ns: no sample is cursor 1 of one phase
// and cursor 2 of another).
TEST(EyeCursors, DfeActsOnItsCursorAtEveryPhase) {
  const std::vector<double> pulse{0.0,  0.02, 0.1,  0.4,  0.8,  1.0,  0.85, 0.5,
                                  0.35, 0.3,  0.28, 0.22, 0.15, 0.1,  0.06, 0.03};
  const int64_t centre = 5;
  const double d = 0.27;
  std::vector<double> lowered = pulse;
  for (int64_t s = -2; s <= 2; ++s) {
    lowered[static_cast<std::size_t>(centre + 5 + s)] -= d;
  }
  zefra_tk_eye_input in = victim(pulse, 5, centre);
  const int64_t position = 1;
  in.dfePositions = &position;
  in.dfeValuesV = &d;
  in.dfeCount = 1;
  const zefra_tk_eye_options o = options(2, 0.004, 0.01);
  EXPECT_TRUE(sameMap(compute(in, o), compute(victim(lowered, 5, centre), o)));
}

TEST(EyeCursors, DfeTapBeyondThePulseActsAsTheNegatedValue) {
  const std::vector<double> pulse{0.07, 1.0, 0.31};
  const std::vector<double> longer{0.07, 1.0, 0.31, 0.0, 0.0, -0.045};
  zefra_tk_eye_input in = victim(pulse, 1, 1);
  const int64_t position = 4;
  const double value = 0.045;
  in.dfePositions = &position;
  in.dfeValuesV = &value;
  in.dfeCount = 1;
  const zefra_tk_eye_options o = options(2, 0.003, 0.02);
  EXPECT_TRUE(sameMap(compute(in, o), compute(victim(longer, 1, 1), o)));
}

TEST(EyeCursors, SynchronousAggressorAddsItsCursorsAtItsOffset) {
  const std::vector<double> pulse{0.07, 1.0, 0.31};
  const std::vector<double> q{0.0, 0.0, 0.0, 0.0, 0.023, -0.11, 0.0};
  // centre 1 + offset 3 lands on q[4]; with Ns = 1 every sample is a cursor.
  const std::vector<double> combined{0.07, 1.0, 0.31, 0.023, -0.11};
  zefra_tk_eye_input in = victim(pulse, 1, 1);
  const zefra_tk_eye_aggressor aggressor{q.data(), static_cast<int64_t>(q.size()), 1, 3};
  in.aggressors = &aggressor;
  in.aggressorCount = 1;
  const zefra_tk_eye_options o = options(2, 0.003, 0.02);
  EXPECT_TRUE(sameMap(compute(in, o), compute(victim(combined, 1, 1), o)));
}

TEST(EyeCursors, AsynchronousAggressorIsTheMeanOverItsOffsets) {
  const int32_t ns = 2;
  const std::vector<double> pulse{0.0, 0.05, 0.4, 1.0, 0.45, 0.2, 0.1, 0.04};
  const int64_t centre = 3;
  const std::vector<double> q{0.01, -0.03, 0.08, 0.15, 0.06, -0.02, 0.015, 0.0};
  const zefra_tk_eye_options o = options(2, 0.004, 0.03);

  zefra_tk_eye_input async = victim(pulse, ns, centre);
  const zefra_tk_eye_aggressor mixed{q.data(), static_cast<int64_t>(q.size()), 0, 0};
  async.aggressors = &mixed;
  async.aggressorCount = 1;
  const Eye e = compute(async, o);
  ASSERT_EQ(e.status, ZEFRA_TK_OK) << e.message;

  std::vector<Eye> at;
  for (int32_t theta = 0; theta < ns; ++theta) {
    zefra_tk_eye_input sync = victim(pulse, ns, centre);
    const zefra_tk_eye_aggressor fixed{q.data(), static_cast<int64_t>(q.size()), 1, theta};
    sync.aggressors = &fixed;
    sync.aggressorCount = 1;
    at.push_back(compute(sync, o));
    ASSERT_EQ(at.back().status, ZEFRA_TK_OK) << at.back().message;
  }
  const int64_t centrePhase = e.phases / 2;
  const int64_t mv = (e.voltages - 1) / 2;
  int compared = 0;
  for (int64_t m = -mv; m <= mv; ++m) {
    double mean = 0.0;
    bool inside = true;
    for (const Eye& s : at) {
      const int64_t k = s.indexOf(m);
      if (k < 0 || k >= s.voltages) {
        inside = false;
        break;
      }
      mean += s.at(0, s.phases / 2, k) / ns;
    }
    if (!inside) {
      continue;
    }
    const double got = e.at(0, centrePhase, e.indexOf(m));
    if (mean == 0.0) {
      EXPECT_EQ(got, 0.0) << m;
    } else {
      EXPECT_NEAR(got / mean, 1.0, kMixture) << m;
      ++compared;
    }
  }
  EXPECT_GT(compared, 100);
}

}  // namespace
