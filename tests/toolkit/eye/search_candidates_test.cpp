// The candidates of a search: scores[c * F + f] belongs to Rx setting c and
// FFE vector f, each eye sees the aggressors of its own Rx setting, and the
// Tx FFE acts on the victim only.  Two Rx settings with different victims
// and aggressors, two FFE vectors; every pulse value is a short binary
// fraction, so the hand-built FFE'd victims are exact and each score must
// equal the engine's eye of that victim with those aggressors, bit for bit.
#include <gtest/gtest.h>

#include <vector>

#include "search_test_support.h"

namespace {

using namespace zefra_search_test;

constexpr int32_t kNs = 4;

// Victims: a pre-cursor, the main and a post-cursor, flat UIs.
const std::vector<std::vector<double>> kVictimUis = {{0.125, 1.0, 0.25, 0.0},
                                                     {0.25, 0.75, 0.125, 0.0}};
// Aggressors (one synchronous at offset 1, one asynchronous) per Rx setting.
const std::vector<std::vector<std::vector<double>>> kAggressorUis = {
    {{0.0, 0.0625, 0.125, 0.0}, {0.03125, 0.0, 0.0, 0.0}},
    {{0.0, 0.125, 0.0625, 0.0}, {0.0, 0.0, 0.0625, 0.0}}};
// FFE vectors (pre, main): none, and a pre-cursor tap.
const std::vector<std::vector<double>> kFfe = {{0.0, 1.0}, {-0.125, 1.0}};

Search twoByTwo() {
  Search s;
  s.ns = kNs;
  s.rxCount = 2;
  for (const auto& ui : kVictimUis) {
    const std::vector<double> p = uiSteps(ui, kNs);
    s.victims.insert(s.victims.end(), p.begin(), p.end());
  }
  s.length = static_cast<int64_t>(uiSteps(kVictimUis[0], kNs).size());
  for (const auto& perRx : kAggressorUis) {
    for (const auto& ui : perRx) {
      const std::vector<double> q = uiSteps(ui, kNs);
      s.aggressorPulses.insert(s.aggressorPulses.end(), q.begin(), q.end());
    }
  }
  s.modes = {zefra_tk_eye_aggressor{nullptr, 0, 1, 1}, zefra_tk_eye_aggressor{nullptr, 0, 0, 0}};
  for (const auto& taps : kFfe) {
    s.ffe.insert(s.ffe.end(), taps.begin(), taps.end());
  }
  s.ffeCount = 2;
  s.ffeLength = 2;
  s.ffeMain = 1;
  s.dfe.fixedTaps = 1;
  s.dfe.limit = 1.0;
  s.options = nrzOptions();
  return s;
}

TEST(EyeSearchCandidates, EachScoreIsItsRxSettingAndFfeVector) {
  const Search s = twoByTwo();
  const Result r = run(s);
  ASSERT_EQ(r.status, ZEFRA_TK_OK) << r.message;
  ASSERT_EQ(r.scores.size(), 4u);
  std::vector<std::vector<double>> aggressorPulses;
  for (size_t c = 0; c < 2; ++c) {
    for (size_t f = 0; f < 2; ++f) {
      // p_tx by UI: pre = a_pre + c_-1 a_main, main = a_main + c_-1 a_post,
      // post = a_post (the tap reads one UI later; UI 3 is zero).
      const std::vector<double>& v = kVictimUis[c];
      const double pre = kFfe[f][0];
      Direct d;
      d.ns = kNs;
      d.pulse = uiSteps({v[0] + pre * v[1], v[1] + pre * v[2], v[2], 0.0}, kNs);
      d.centre = kNs;
      d.dfePositions = {1};
      d.dfeValues = {v[2]};
      aggressorPulses.clear();
      for (const auto& ui : kAggressorUis[c]) {
        aggressorPulses.push_back(uiSteps(ui, kNs));
      }
      d.aggressors = {zefra_tk_eye_aggressor{aggressorPulses[0].data(), s.length, 1, 1},
                      zefra_tk_eye_aggressor{aggressorPulses[1].data(), s.length, 0, 0}};
      EXPECT_EQ(r.scores[c * 2 + f], directScore(d, s.options, s.targetBer))
          << "c = " << c << ", f = " << f;
    }
  }
  // The four candidates differ, so a mix-up of slots would show.
  for (size_t i = 0; i < 4; ++i) {
    for (size_t j = i + 1; j < 4; ++j) {
      EXPECT_NE(r.scores[i], r.scores[j]) << i << " vs " << j;
    }
  }
}

// Only the mode and the offset of aggressorModes are read.
TEST(EyeSearchCandidates, AggressorModePulseFieldsAreIgnored) {
  Search s = twoByTwo();
  const Result reference = run(s);
  double junk = 123.0;
  for (zefra_tk_eye_aggressor& m : s.modes) {
    m.pulse = &junk;
    m.length = 1;
  }
  const Result r = run(s);
  ASSERT_EQ(r.status, ZEFRA_TK_OK) << r.message;
  EXPECT_EQ(r.scores, reference.scores);
}

// PAM4: the score is the worst of the three eyes' best heights.  Candidate
// (c = 0, f = 1): the pre-cursor tap cancels the pre-cursor, p_tx by UI is
// (0, 1 - 0.125 * 0.25, 0.25, 0) and the DFE removes the post-cursor; the
// crosstalk (at most 0.21875) stays inside the half level spacing 1/3, so
// the eyes are open.
TEST(EyeSearchCandidates, Pam4ScoreIsTheWorstEye) {
  Search s = twoByTwo();
  s.options.levels = 4;
  s.options.noiseRmsV = 0.002;
  const Result r = run(s);
  ASSERT_EQ(r.status, ZEFRA_TK_OK) << r.message;
  std::vector<std::vector<double>> q;
  for (const auto& ui : kAggressorUis[0]) {
    q.push_back(uiSteps(ui, kNs));
  }
  Direct d;
  d.ns = kNs;
  d.pulse = uiSteps({0.0, 0.96875, 0.25, 0.0}, kNs);
  d.centre = kNs;
  d.dfePositions = {1};
  d.dfeValues = {0.25};
  d.aggressors = {zefra_tk_eye_aggressor{q[0].data(), s.length, 1, 1},
                  zefra_tk_eye_aggressor{q[1].data(), s.length, 0, 0}};
  EXPECT_EQ(r.scores[1], directScore(d, s.options, s.targetBer));
  EXPECT_GT(r.scores[1], 0.0);
}

}  // namespace
