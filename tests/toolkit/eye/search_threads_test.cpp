// The candidates are shared among threads, each computed by one of them
// with a single-threaded eye: the scores are the same bits for any thread
// count.  A seeded random PAM4 case with crosstalk, noise, jitter, FFE and
// fixed plus floating DFE, 3 Rx settings x 5 FFE vectors.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <set>
#include <vector>

#include "search_test_support.h"

namespace {

using namespace zefra_search_test;

constexpr int32_t kNs = 8;
constexpr int64_t kUis = 24;

// A decaying pulse: a main lobe in UI 2 and random smaller cursors.
std::vector<double> randomPulse(std::mt19937_64& rng, double main) {
  std::uniform_real_distribution<double> cursor(-0.03, 0.03);
  std::vector<double> p(static_cast<size_t>(kNs * kUis));
  for (int64_t u = 0; u < kUis; ++u) {
    const double level = (u == 2) ? main : cursor(rng) / (1.0 + 0.3 * static_cast<double>(u));
    for (int32_t i = 0; i < kNs; ++i) {
      // A gentle slope inside each UI, so that the phases differ.
      p[static_cast<size_t>(u * kNs + i)] = level * (1.0 - 0.02 * static_cast<double>(i));
    }
  }
  return p;
}

Search randomSearch() {
  std::mt19937_64 rng(20240611);
  Search s;
  s.ns = kNs;
  s.rxCount = 3;
  s.length = kNs * kUis;
  std::uniform_real_distribution<double> mainLevel(0.6, 0.9);
  for (int32_t c = 0; c < s.rxCount; ++c) {
    const std::vector<double> v = randomPulse(rng, mainLevel(rng));
    s.victims.insert(s.victims.end(), v.begin(), v.end());
    for (int j = 0; j < 2; ++j) {
      const std::vector<double> q = randomPulse(rng, 0.03);
      s.aggressorPulses.insert(s.aggressorPulses.end(), q.begin(), q.end());
    }
  }
  s.modes = {zefra_tk_eye_aggressor{nullptr, 0, 1, 3}, zefra_tk_eye_aggressor{nullptr, 0, 0, 0}};
  std::uniform_real_distribution<double> tap(-0.1, 0.0);
  s.ffeCount = 5;
  s.ffeLength = 3;
  s.ffeMain = 1;
  for (int32_t f = 0; f < s.ffeCount; ++f) {
    s.ffe.insert(s.ffe.end(), {tap(rng), 1.0, tap(rng)});
  }
  s.dfe.fixedTaps = 2;
  s.dfe.floatingGroups = 2;
  s.dfe.tapsPerGroup = 2;
  s.dfe.searchStart = 3;
  s.dfe.searchEnd = 20;
  s.dfe.limit = 0.5;
  zefra_tk_eye_default_options(&s.options);
  s.options.levels = 4;
  s.options.binV = 1e-3;
  s.options.noiseRmsV = 0.003;
  s.options.djUi = 0.05;
  s.options.rjUi = 0.01;
  s.targetBer = 1e-6;
  return s;
}

TEST(EyeSearchThreads, ScoresAreBitIdenticalForAnyThreadCount) {
  Search s = randomSearch();
  s.options.threads = 1;
  const Result one = run(s);
  ASSERT_EQ(one.status, ZEFRA_TK_OK) << one.message;
  // The case is not degenerate: the candidates' scores differ.
  EXPECT_GT(std::set<double>(one.scores.begin(), one.scores.end()).size(), 10u);
  for (const int32_t threads : {2, 5, 0}) {
    s.options.threads = threads;
    const Result r = run(s);
    ASSERT_EQ(r.status, ZEFRA_TK_OK) << r.message;
    ASSERT_EQ(r.scores.size(), one.scores.size());
    EXPECT_EQ(std::memcmp(r.scores.data(), one.scores.data(), one.scores.size() * sizeof(double)),
              0)
        << "threads = " << threads;
  }
}

}  // namespace
