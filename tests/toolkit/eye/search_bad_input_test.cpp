// Each rule of zefra_tk_eye_search's arguments: ZEFRA_TK_BAD_INPUT, the
// scores left alone, and a one-line message naming the argument and the
// rule.  An engine failure fails the whole call, named by its candidate.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "search_test_support.h"

namespace {

using namespace zefra_search_test;

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

// Two Rx settings, one aggressor, two FFE vectors, a floating group.
Search goodSearch() {
  Search s;
  s.ns = 4;
  s.rxCount = 2;
  const std::vector<double> v = uiSteps({0.125, 1.0, 0.25, 0.0, 0.0, 0.0}, 4);
  s.length = static_cast<int64_t>(v.size());
  s.victims = v;
  s.victims.insert(s.victims.end(), v.begin(), v.end());
  s.aggressorPulses.assign(static_cast<size_t>(2 * s.length), 0.01);
  s.modes = {zefra_tk_eye_aggressor{nullptr, 0, 1, 0}};
  s.ffe = {0.0, 1.0, -0.125, 1.0};
  s.ffeCount = 2;
  s.ffeLength = 2;
  s.ffeMain = 1;
  s.dfe.fixedTaps = 1;
  s.dfe.floatingGroups = 1;
  s.dfe.tapsPerGroup = 2;
  s.dfe.searchStart = 2;
  s.dfe.searchEnd = 5;
  s.dfe.limit = 1.0;
  s.options = nrzOptions();
  return s;
}

::testing::AssertionResult rejects(const std::function<void(Search&)>& edit,
                                   const std::string& expected) {
  Search s = goodSearch();
  edit(s);
  const Result r = run(s);
  if (r.status != ZEFRA_TK_BAD_INPUT) {
    return ::testing::AssertionFailure()
           << "status " << r.status << ", message '" << r.message << "'";
  }
  if (r.message != expected) {
    return ::testing::AssertionFailure()
           << "message '" << r.message << "', expected '" << expected << "'";
  }
  if (std::any_of(r.scores.begin(), r.scores.end(), [](double x) { return x != -1.0; })) {
    return ::testing::AssertionFailure() << "scores were written";
  }
  return ::testing::AssertionSuccess();
}

TEST(EyeSearchBadInput, GoodInputIsAccepted) {
  const Result r = run(goodSearch());
  EXPECT_EQ(r.status, ZEFRA_TK_OK);
  EXPECT_EQ(r.message, "");
  for (const double x : r.scores) {
    EXPECT_GT(x, 0.0);
  }
}

TEST(EyeSearchBadInput, CountsOutOfRangeAreRejected) {
  EXPECT_TRUE(
      rejects([](Search& s) { s.rxCount = 0; }, "rxCount = 0: expected 1 or more Rx settings"));
  EXPECT_TRUE(rejects([](Search& s) { s.length = 0; },
                      "length = 0: expected 1 .. 2147483647 samples per pulse"));
  EXPECT_TRUE(rejects([](Search& s) { s.length = 2147483648; },
                      "length = 2147483648: expected 1 .. 2147483647 samples per pulse"));
  EXPECT_TRUE(rejects([](Search& s) { s.ns = 0; },
                      "samplesPerUi = 0: expected 1 or more samples per unit interval"));
  EXPECT_TRUE(rejects([](Search& s) { s.ffeCount = -1; },
                      "ffeCount = -1: expected 0 or more FFE tap vectors (0: no FFE)"));
  EXPECT_TRUE(rejects([](Search& s) { s.ffeLength = 0; },
                      "ffeLength = 0: expected 1 or more taps per FFE vector when ffeCount > 0"));
  EXPECT_TRUE(rejects([](Search& s) { s.ffeMain = 2; },
                      "ffeMain = 2: expected the main tap 0 .. ffeLength-1 = 1"));
  EXPECT_TRUE(rejects([](Search& s) { s.ffeMain = -1; },
                      "ffeMain = -1: expected the main tap 0 .. ffeLength-1 = 1"));
}

// aggressorCount is the size of s.modes in run(); a negative count needs a
// direct call.
TEST(EyeSearchBadInput, NegativeAggressorCountIsRejected) {
  const Search s = goodSearch();
  double scores[4] = {-1.0, -1.0, -1.0, -1.0};
  char message[256];
  EXPECT_EQ(
      zefra_tk_eye_search(s.victims.data(), 2, s.length, s.ns, nullptr, nullptr, -1, s.ffe.data(),
                          2, 2, 1, &s.dfe, &s.options, 1e-12, scores, message, sizeof message),
      ZEFRA_TK_BAD_INPUT);
  EXPECT_STREQ(message, "aggressorCount = -1: expected 0 or more aggressors");
}

TEST(EyeSearchBadInput, AggressorArrayBeyondMemoryIsRejected) {
  const Search s = goodSearch();
  double scores[2] = {-1.0, -1.0};
  char message[256];
  const zefra_tk_eye_aggressor modes[1] = {};
  EXPECT_EQ(zefra_tk_eye_search(s.victims.data(), 1, 2147483647, 1, s.victims.data(), modes,
                                2147483647, nullptr, 0, 1, 0, &s.dfe, &s.options, 1e-12, scores,
                                message, sizeof message),
            ZEFRA_TK_BAD_INPUT);
  EXPECT_STREQ(message,
               "aggressorCount = 2147483647: expected rxCount * aggressorCount * length doubles "
               "that fit in memory");
}

TEST(EyeSearchBadInput, NullPointersAreRejected) {
  EXPECT_TRUE(
      rejects([](Search& s) { s.victims.clear(); },
              "victims is null: expected double[rxCount * length], the victim pulses in V"));
  EXPECT_TRUE(rejects([](Search& s) { s.aggressorPulses.clear(); },
                      "aggressorPulses is null: expected double[rxCount * aggressorCount * "
                      "length] when aggressorCount > 0"));
  EXPECT_TRUE(rejects([](Search& s) { s.ffe.clear(); },
                      "ffe is null: expected double[ffeCount * ffeLength] when ffeCount > 0"));
  const Search s = goodSearch();
  double scores[4];
  char message[256];
  const auto call = [&](const zefra_tk_eye_aggressor* modes, const zefra_tk_eye_dfe* dfe,
                        const zefra_tk_eye_options* options, double* out) {
    return zefra_tk_eye_search(s.victims.data(), 2, s.length, s.ns, s.aggressorPulses.data(), modes,
                               1, s.ffe.data(), 2, 2, 1, dfe, options, 1e-12, out, message,
                               sizeof message);
  };
  EXPECT_EQ(call(nullptr, &s.dfe, &s.options, scores), ZEFRA_TK_BAD_INPUT);
  EXPECT_STREQ(message,
               "aggressorModes is null: expected zefra_tk_eye_aggressor[aggressorCount] when "
               "aggressorCount > 0");
  EXPECT_EQ(call(s.modes.data(), nullptr, &s.options, scores), ZEFRA_TK_BAD_INPUT);
  EXPECT_STREQ(message, "dfe is null: expected the DFE of the candidates (zefra_tk_eye_dfe)");
  EXPECT_EQ(call(s.modes.data(), &s.dfe, nullptr, scores), ZEFRA_TK_BAD_INPUT);
  EXPECT_STREQ(message,
               "options is null: expected the eye options (see zefra_tk_eye_default_options)");
  EXPECT_EQ(call(s.modes.data(), &s.dfe, &s.options, nullptr), ZEFRA_TK_BAD_INPUT);
  EXPECT_STREQ(message,
               "scores is null: expected double[rxCount * max(ffeCount, 1)] for the scores");
}

// With no aggressors and no FFE the matching pointers are not read.
TEST(EyeSearchBadInput, UnusedPointersMayBeNull) {
  Search s = goodSearch();
  s.modes.clear();
  s.aggressorPulses.clear();
  s.ffe.clear();
  s.ffeCount = 0;
  s.ffeLength = 0;  // not read either
  s.ffeMain = 7;
  const Result r = run(s);
  EXPECT_EQ(r.status, ZEFRA_TK_OK) << r.message;
  EXPECT_EQ(r.scores.size(), 2u);
}

TEST(EyeSearchBadInput, DfeRulesAreChecked) {
  EXPECT_TRUE(rejects([](Search& s) { s.dfe.fixedTaps = -1; },
                      "dfe->fixedTaps = -1: expected 0 or more fixed taps"));
  EXPECT_TRUE(rejects([](Search& s) { s.dfe.floatingGroups = -1; },
                      "dfe->floatingGroups = -1: expected 0 or more floating groups (0: none)"));
  EXPECT_TRUE(rejects([](Search& s) { s.dfe.tapsPerGroup = 0; },
                      "dfe->tapsPerGroup = 0: expected 1 or more taps per group when "
                      "floatingGroups > 0"));
  EXPECT_TRUE(rejects(
      [](Search& s) {
        s.dfe.floatingGroups = 1024;
        s.dfe.tapsPerGroup = 1025;
        s.dfe.searchEnd = 2000;
      },
      "dfe->floatingGroups = 1024: expected floatingGroups * tapsPerGroup <= "
      "1048576 floating taps"));
  EXPECT_TRUE(rejects([](Search& s) { s.dfe.searchStart = 0; },
                      "dfe->searchStart = 0: expected a first post-cursor >= 1 when "
                      "floatingGroups > 0"));
  EXPECT_TRUE(rejects([](Search& s) { s.dfe.searchEnd = 2; },
                      "dfe->searchEnd = 2: expected searchStart + tapsPerGroup - 1 = 3 or more "
                      "(room for one group)"));
  EXPECT_TRUE(rejects([](Search& s) { s.dfe.limit = -0.5; },
                      "dfe->limit = -0.5: expected a finite tap limit >= 0 (largest |d_k| / "
                      "|h_0|)"));
  EXPECT_TRUE(rejects([](Search& s) { s.dfe.limit = kNan; },
                      "dfe->limit = nan: expected a finite tap limit >= 0 (largest |d_k| / "
                      "|h_0|)"));
}

// Each bound just inside is accepted.
TEST(EyeSearchBadInput, DfeBoundsAreInclusive) {
  Search s = goodSearch();
  s.dfe.fixedTaps = 0;
  s.dfe.searchStart = 1;
  s.dfe.searchEnd = 2;  // = searchStart + tapsPerGroup - 1
  s.dfe.limit = 0.0;
  EXPECT_EQ(run(s).status, ZEFRA_TK_OK) << run(s).message;
  // Group rules are not read without groups.
  s.dfe.floatingGroups = 0;
  s.dfe.tapsPerGroup = 0;
  s.dfe.searchStart = 0;
  s.dfe.searchEnd = -5;
  EXPECT_EQ(run(s).status, ZEFRA_TK_OK) << run(s).message;
}

TEST(EyeSearchBadInput, ScalarRulesAreChecked) {
  EXPECT_TRUE(rejects([](Search& s) { s.options.threads = -1; },
                      "options->threads = -1: expected 0 or more worker threads (0: one per "
                      "hardware thread)"));
  EXPECT_TRUE(rejects([](Search& s) { s.targetBer = 0.0; },
                      "targetBer = 0: expected a target BER in (0, 1)"));
  EXPECT_TRUE(rejects([](Search& s) { s.targetBer = 1.0; },
                      "targetBer = 1: expected a target BER in (0, 1)"));
  EXPECT_TRUE(rejects([](Search& s) { s.targetBer = kNan; },
                      "targetBer = nan: expected a target BER in (0, 1)"));
  EXPECT_TRUE(rejects([](Search& s) { s.modes[0].synchronous = 2; },
                      "aggressorModes[0].synchronous = 2: expected 1 (synchronous) or 0 "
                      "(asynchronous)"));
}

TEST(EyeSearchBadInput, NonFiniteValuesAreRejected) {
  EXPECT_TRUE(rejects([](Search& s) { s.victims[static_cast<size_t>(s.length) + 3] = kNan; },
                      "victims[1][3] = nan: expected finite pulse samples in V"));
  EXPECT_TRUE(
      rejects([](Search& s) { s.aggressorPulses[static_cast<size_t>(s.length) + 5] = kInf; },
              "aggressorPulses[1][0][5] = inf: expected finite pulse samples in V"));
  EXPECT_TRUE(
      rejects([](Search& s) { s.ffe[2] = -kInf; }, "ffe[1][0] = -inf: expected finite FFE taps"));
}

// The FFE vector f = 1 has the main tap 1.5e308: on the victim of Rx
// setting 0 (scaled by 1e-308) it gives an ordinary pulse, on that of Rx
// setting 1 (scaled by 1.5) it overflows to infinity, which the engine
// rejects.  The call fails with the engine's message, named by the
// candidate (c = 1, f = 1).
TEST(EyeSearchBadInput, EngineFailureNamesTheCandidate) {
  Search s = goodSearch();
  s.ffe = {0.0, 1.0, 0.0, 1.5e308};
  const size_t length = static_cast<size_t>(s.length);
  for (size_t n = 0; n < length; ++n) {
    s.victims[n] *= 1e-308;
    s.victims[length + n] *= 1.5;
  }
  for (const int32_t threads : {1, 2}) {
    s.options.threads = threads;
    const Result r = run(s);
    EXPECT_EQ(r.status, ZEFRA_TK_BAD_INPUT);
    const std::string prefix = "candidate (c = 1, f = 1): ";
    EXPECT_EQ(r.message.rfind(prefix, 0), 0u) << r.message;
    EXPECT_GT(r.message.size(), prefix.size());
    EXPECT_TRUE(std::all_of(r.scores.begin(), r.scores.end(), [](double x) { return x == -1.0; }));
  }
}

// An eye option the engine rejects fails every candidate; the first one
// (in c * F + f order) is named, whatever the thread count.
TEST(EyeSearchBadInput, EngineRuleNamesTheFirstCandidate) {
  for (const int32_t threads : {1, 3}) {
    Search s = goodSearch();
    s.options.levels = 1;
    s.options.threads = threads;
    const Result r = run(s);
    EXPECT_EQ(r.status, ZEFRA_TK_BAD_INPUT);
    EXPECT_EQ(r.message.rfind("candidate (c = 0, f = 0): ", 0), 0u) << r.message;
  }
}

TEST(EyeSearchBadInput, MessageIsCutToTheBuffer) {
  Search s = goodSearch();
  s.rxCount = 0;
  double scores[1];
  char message[8];
  EXPECT_EQ(
      zefra_tk_eye_search(s.victims.data(), 0, s.length, s.ns, nullptr, nullptr, 0, nullptr, 0, 1,
                          0, &s.dfe, &s.options, 1e-12, scores, message, sizeof message),
      ZEFRA_TK_BAD_INPUT);
  EXPECT_STREQ(message, "rxCount");
}

}  // namespace
