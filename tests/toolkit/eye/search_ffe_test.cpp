// The Tx FFE of the search: a channel with one pre-cursor a = 0.25 before a
// main cursor 1 (Ns = 8, each UI flat), FFE vectors (c_-1, c_0 = 0.75) at UI
// spacing with the main tap second.  The FFE'd pulse is, UI by UI,
//   UI 0: 0.75 a + c_-1,   UI 1: 0.75,   UI 2: 0,
// the product c_-1 a of the UI before UI 0 falling off the front of the
// array.  c_-1 = -0.1875 = -0.75 a leaves no ISI, so that candidate wins
// with the closed form EH = 2 (0.75 - sigma Q^-1(2t)); the others keep a
// pre-cursor r = 0.1875 + c_-1 and give EH = 2 (0.75 - |r| - sigma Q^-1(4t)).
// Every value here is a short binary fraction, so the hand-built pulses are
// exact and each score must equal the engine's eye of that pulse bit for bit.
// Further: a post-cursor tap's delay, and the centre on tied maxima.
#include <gtest/gtest.h>

#include <vector>

#include "search_test_support.h"

namespace {

using namespace zefra_search_test;

constexpr int32_t kNs = 8;
const std::vector<double> kPreTaps = {0.0, -0.125, -0.1875, -0.25};

Search preCursorSearch() {
  Search s;
  s.ns = kNs;
  s.victims = uiSteps({0.25, 1.0, 0.0}, kNs);
  s.length = static_cast<int64_t>(s.victims.size());
  s.ffeLength = 2;
  s.ffeMain = 1;
  for (const double c : kPreTaps) {
    s.ffe.insert(s.ffe.end(), {c, 0.75});
  }
  s.ffeCount = static_cast<int32_t>(kPreTaps.size());
  s.options = nrzOptions();
  return s;
}

TEST(EyeSearchFfe, EachScoreIsTheEyeOfTheHandBuiltFfePulse) {
  const Search s = preCursorSearch();
  const Result r = run(s);
  ASSERT_EQ(r.status, ZEFRA_TK_OK) << r.message;
  for (size_t f = 0; f < kPreTaps.size(); ++f) {
    Direct d;
    d.ns = kNs;
    d.pulse = uiSteps({0.75 * 0.25 + kPreTaps[f], 0.75, 0.0}, kNs);
    d.centre = kNs;  // the first sample of UI 1, the largest
    EXPECT_EQ(r.scores[f], directScore(d, s.options, s.targetBer)) << "f = " << f;
  }
}

TEST(EyeSearchFfe, PreCursorTapOfTheRightValueWinsWithTheNoIsiHeight) {
  const Search s = preCursorSearch();
  const Result r = run(s);
  ASSERT_EQ(r.status, ZEFRA_TK_OK) << r.message;
  const double sigma = s.options.noiseRmsV;
  EXPECT_NEAR(r.scores[2], nrzHeight(0.75, 0.0, sigma, s.targetBer, 1.0), kClosedFormToleranceV);
  for (const size_t f : {size_t{0}, size_t{1}, size_t{3}}) {
    const double residual = 0.1875 + kPreTaps[f];
    EXPECT_NEAR(r.scores[f], nrzHeight(0.75, residual, sigma, s.targetBer, 0.5),
                kClosedFormToleranceV)
        << "f = " << f;
    EXPECT_LT(r.scores[f], r.scores[2]) << "f = " << f;
  }
}

// A post-cursor tap delays the pulse by one UI, and what it shifts past
// the end of the array is dropped: taps (1, 0.25), the main first, on the
// pulse (1, 0.5) give (1, 0.75); the product 0.125 of the last UI would
// land in a third UI that the array does not have.
TEST(EyeSearchFfe, PostCursorTapDelaysAndDropsWhatLeavesTheArray) {
  Search s;
  s.ns = kNs;
  s.victims = uiSteps({1.0, 0.5}, kNs);
  s.length = static_cast<int64_t>(s.victims.size());
  s.ffe = {1.0, 0.25};
  s.ffeCount = 1;
  s.ffeLength = 2;
  s.ffeMain = 0;
  s.options = nrzOptions();
  const Result r = run(s);
  ASSERT_EQ(r.status, ZEFRA_TK_OK) << r.message;
  Direct d;
  d.ns = kNs;
  d.pulse = uiSteps({1.0, 0.75}, kNs);
  EXPECT_EQ(r.scores[0], directScore(d, s.options, s.targetBer));
  // Kept, the third UI would close the eye further: the comparison above
  // tells the two apart.
  d.pulse = uiSteps({1.0, 0.75, 0.125}, kNs);
  EXPECT_GT(r.scores[0], directScore(d, s.options, s.targetBer));
}

// Two samples share the largest value 1 (Ns = 4, samples 5 and 7); the
// first is the centre.  There the pre-cursor (sample 1) is 0 and the one
// fixed DFE tap takes d_1 = p[9] = 0.25, so phase 0 has no ISI and the
// score is the closed form; at sample 7 the DFE would take p[11] = 0 and
// every phase would keep a 0.25 cursor (p[3] or p[9]).
TEST(EyeSearchFfe, FirstOfEqualMaximaIsTheCentre) {
  Search s;
  s.ns = 4;
  s.victims = {0.0, 0.0, 0.0, 0.25, 0.5, 1.0, 0.75, 1.0, 0.0, 0.25, 0.0, 0.0};
  s.length = static_cast<int64_t>(s.victims.size());
  s.dfe.fixedTaps = 1;
  s.dfe.limit = 1.0;
  s.options = nrzOptions();
  const Result r = run(s);
  ASSERT_EQ(r.status, ZEFRA_TK_OK) << r.message;
  Direct d;
  d.ns = 4;
  d.pulse = s.victims;
  d.centre = 5;
  d.dfePositions = {1};
  d.dfeValues = {0.25};
  EXPECT_EQ(r.scores[0], directScore(d, s.options, s.targetBer));
  EXPECT_NEAR(r.scores[0], nrzHeight(1.0, 0.0, s.options.noiseRmsV, s.targetBer, 1.0),
              kClosedFormToleranceV);
  d.centre = 7;
  d.dfeValues = {0.0};
  EXPECT_LT(directScore(d, s.options, s.targetBer), r.scores[0]);
}

TEST(EyeSearchFfe, NoFfeScoresTheVictimItself) {
  Search s = preCursorSearch();
  s.ffe.clear();
  s.ffeCount = 0;
  const Result r = run(s);
  ASSERT_EQ(r.status, ZEFRA_TK_OK) << r.message;
  ASSERT_EQ(r.scores.size(), 1u);
  Direct d;
  d.ns = kNs;
  d.pulse = s.victims;
  d.centre = kNs;
  EXPECT_EQ(r.scores[0], directScore(d, s.options, s.targetBer));
}

}  // namespace
