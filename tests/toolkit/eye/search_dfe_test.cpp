// The DFE of the search, on pulses flat over each UI (Ns = 4) whose main
// cursor 1 sits in UI 0 (the centre is sample 0; phases before it read 0
// and close, so the best phase is one with the UI-0 cursors).  With
// Gaussian noise sigma and NRZ:
//   no ISI left:             EH = 2 (1 - sigma Q^-1(2t)),
//   one residual cursor r:   EH = 2 (1 - |r| - sigma Q^-1(4t))
// (the other sign of r lies 2|r| / sigma >= 25 sigma further out).  Each
// score is also compared bit for bit with the engine's eye of the same
// pulse with the DFE written out by hand.
#include <gtest/gtest.h>

#include <vector>

#include "search_test_support.h"

namespace {

using namespace zefra_search_test;

constexpr int32_t kNs = 4;

Search dfeSearch(const std::vector<double>& uiValues, const zefra_tk_eye_dfe& dfe) {
  Search s;
  s.ns = kNs;
  s.victims = uiSteps(uiValues, kNs);
  s.length = static_cast<int64_t>(s.victims.size());
  s.dfe = dfe;
  s.options = nrzOptions();
  return s;
}

zefra_tk_eye_dfe fixedDfe(int32_t taps, double limit) {
  zefra_tk_eye_dfe d{};
  d.fixedTaps = taps;
  d.limit = limit;
  return d;
}

zefra_tk_eye_dfe floatingDfe(int32_t fixedTaps, int32_t groups, int32_t width, int32_t start,
                             int32_t end) {
  zefra_tk_eye_dfe d = fixedDfe(fixedTaps, 1.0);
  d.floatingGroups = groups;
  d.tapsPerGroup = width;
  d.searchStart = start;
  d.searchEnd = end;
  return d;
}

double scoreOf(const Search& s) {
  const Result r = run(s);
  EXPECT_EQ(r.status, ZEFRA_TK_OK) << r.message;
  return r.scores.empty() ? 0.0 : r.scores[0];
}

double direct(const Search& s, std::vector<int64_t> positions, std::vector<double> values) {
  Direct d;
  d.ns = kNs;
  d.pulse = s.victims;
  d.dfePositions = std::move(positions);
  d.dfeValues = std::move(values);
  return directScore(d, s.options, s.targetBer);
}

// Cursors 1, 0.375, -0.25: both within the limit 1, both removed.
TEST(EyeSearchDfe, FixedTapsCancelPostCursorsWithinTheLimit) {
  const Search s = dfeSearch({1.0, 0.375, -0.25, 0.0}, fixedDfe(2, 1.0));
  const double score = scoreOf(s);
  EXPECT_EQ(score, direct(s, {1, 2}, {0.375, -0.25}));
  EXPECT_NEAR(score, nrzHeight(1.0, 0.0, 0.01, s.targetBer, 1.0), kClosedFormToleranceV);
}

// Limit 0.25: d_1 = 0.25 leaves 0.375 - 0.25 = 0.125; d_2 = -0.25 removes
// the second cursor exactly.
TEST(EyeSearchDfe, LimitBelowACursorLeavesTheResidual) {
  const Search s = dfeSearch({1.0, 0.375, -0.25, 0.0}, fixedDfe(2, 0.25));
  const double score = scoreOf(s);
  EXPECT_EQ(score, direct(s, {1, 2}, {0.25, -0.25}));
  EXPECT_NEAR(score, nrzHeight(1.0, 0.125, 0.01, s.targetBer, 0.5), kClosedFormToleranceV);
}

// The limit scales with |h_0|: main 0.5, cursor -0.25, limit 0.25 gives
// d_1 = -0.125 and the residual -0.125.
TEST(EyeSearchDfe, LimitIsRelativeToTheMainCursor) {
  const Search s = dfeSearch({0.5, -0.25, 0.0}, fixedDfe(1, 0.25));
  const double score = scoreOf(s);
  EXPECT_EQ(score, direct(s, {1}, {-0.125}));
  EXPECT_NEAR(score, nrzHeight(0.5, 0.125, 0.01, s.targetBer, 0.5), kClosedFormToleranceV);
}

// Fixed taps beyond the last cursor of the pulse are no taps at all.
TEST(EyeSearchDfe, FixedTapsPastThePulseChangeNothing) {
  const Search s = dfeSearch({1.0, 0.25}, fixedDfe(10, 1.0));
  EXPECT_EQ(scoreOf(s), direct(s, {1}, {0.25}));
}

std::vector<double> reflectionAt(int64_t k, double value, int64_t uis) {
  std::vector<double> ui(static_cast<size_t>(uis), 0.0);
  ui[0] = 1.0;
  ui[static_cast<size_t>(k)] = value;
  return ui;
}

// A reflection 0.125 at k = 20 of a 32-UI pulse, one floating tap searched
// over 5 .. 30: the tap lands on it and removes it.
TEST(EyeSearchDfe, FloatingTapLandsOnAFarReflection) {
  const Search s = dfeSearch(reflectionAt(20, 0.125, 32), floatingDfe(0, 1, 1, 5, 30));
  const double score = scoreOf(s);
  EXPECT_EQ(score, direct(s, {20}, {0.125}));
  EXPECT_NEAR(score, nrzHeight(1.0, 0.0, 0.01, s.targetBer, 1.0), kClosedFormToleranceV);
  Search without = s;
  without.dfe.floatingGroups = 0;
  EXPECT_NEAR(scoreOf(without), nrzHeight(1.0, 0.125, 0.01, s.targetBer, 0.5),
              kClosedFormToleranceV);
}

// A group of three taps covers the reflection too; the taps on the zero
// cursors beside it subtract nothing.
TEST(EyeSearchDfe, FloatingGroupOfThreeCoversAFarReflection) {
  const Search s = dfeSearch(reflectionAt(20, -0.125, 32), floatingDfe(0, 1, 3, 5, 30));
  const double score = scoreOf(s);
  EXPECT_EQ(score, direct(s, {20}, {-0.125}));
  EXPECT_NEAR(score, nrzHeight(1.0, 0.0, 0.01, s.targetBer, 1.0), kClosedFormToleranceV);
}

// Fixed taps 1 .. 3 hold a cursor 0.25 at k = 2, larger than the reflection
// 0.125 at k = 20, and the floating search covers 1 .. 30.  The fixed taps'
// cursors are hidden from the placement, so the group goes to k = 20 and
// both are removed.
TEST(EyeSearchDfe, FloatingGroupIsNotSpentOnFixedTaps) {
  std::vector<double> ui = reflectionAt(20, 0.125, 32);
  ui[2] = 0.25;
  const Search s = dfeSearch(ui, floatingDfe(3, 1, 1, 1, 30));
  const double score = scoreOf(s);
  EXPECT_EQ(score, direct(s, {1, 2, 3, 20}, {0.0, 0.25, 0.0, 0.125}));
  EXPECT_NEAR(score, nrzHeight(1.0, 0.0, 0.01, s.targetBer, 1.0), kClosedFormToleranceV);
}

// Nothing to cancel in 5 .. 15: the placement reports searchStart - 1 = 4,
// which is no tap, though a cursor 0.125 sits there (tapping it would open
// the eye); the reflection at 20 is out of range and stays.
TEST(EyeSearchDfe, FloatingGroupFindingNothingPlacesNoTap) {
  std::vector<double> ui = reflectionAt(20, 0.125, 32);
  ui[4] = 0.125;
  const Search s = dfeSearch(ui, floatingDfe(0, 1, 1, 5, 15));
  EXPECT_EQ(scoreOf(s), direct(s, {}, {}));
  EXPECT_LT(scoreOf(s), direct(s, {4}, {0.125}));
}

}  // namespace
