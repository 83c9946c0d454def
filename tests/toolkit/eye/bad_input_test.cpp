// Each rule of zefra_tk_eye_compute's and zefra_tk_eye_readout's arguments:
// ZEFRA_TK_BAD_INPUT, no eye, and a one-line message naming the argument
// and the rule.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "eye_test_support.h"

namespace {

using namespace zefra_eye_test;

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

struct Case {
  std::vector<double> pulse{0.1, 1.0, 0.2, 0.05};
  std::vector<double> aggressorPulse{0.01, 0.02, 0.01};
  std::vector<int64_t> dfePositions{1, 2};
  std::vector<double> dfeValues{0.2, 0.05};
  zefra_tk_eye_aggressor aggressor{};
  zefra_tk_eye_input input{};
  zefra_tk_eye_options options{};
  Case() {
    aggressor = {aggressorPulse.data(), 3, 0, 0};
    input = victim(pulse, 2, 1);
    input.dfePositions = dfePositions.data();
    input.dfeValuesV = dfeValues.data();
    input.dfeCount = 2;
    input.aggressors = &aggressor;
    input.aggressorCount = 1;
    options = zefra_eye_test::options(4, 0.01, 0.01);
  }
};

::testing::AssertionResult rejects(const std::function<void(Case&)>& edit,
                                   const std::string& expected) {
  Case s;
  edit(s);
  zefra_tk_eye* eye = reinterpret_cast<zefra_tk_eye*>(&s);  // must be reset to null
  char message[256] = "unchanged";
  const zefra_tk_status status =
      zefra_tk_eye_compute(&s.input, &s.options, &eye, message, sizeof message);
  if (status != ZEFRA_TK_BAD_INPUT) {
    zefra_tk_eye_free(status == ZEFRA_TK_OK ? eye : nullptr);
    return ::testing::AssertionFailure() << "status " << status << ", message '" << message << "'";
  }
  if (eye != nullptr) {
    return ::testing::AssertionFailure() << "the eye was not reset to null";
  }
  if (expected != message) {
    return ::testing::AssertionFailure() << "message '" << message << "', expected '" << expected
                                         << "'";
  }
  return ::testing::AssertionSuccess();
}

TEST(EyeBadInput, GoodInputIsAccepted) {
  Case s;
  const Eye e = compute(s.input, s.options);
  EXPECT_EQ(e.status, ZEFRA_TK_OK);
  EXPECT_EQ(e.message, "");
}

TEST(EyeBadInput, NullPointersAreRejected) {
  Case s;
  char message[256];
  zefra_tk_eye* eye = nullptr;
  EXPECT_EQ(zefra_tk_eye_compute(&s.input, &s.options, nullptr, message, 256), ZEFRA_TK_BAD_INPUT);
  EXPECT_STREQ(message, "eye is null: expected a place for the new eye");
  EXPECT_EQ(zefra_tk_eye_compute(nullptr, &s.options, &eye, message, 256), ZEFRA_TK_BAD_INPUT);
  EXPECT_STREQ(message, "input is null: expected the channel (zefra_tk_eye_input)");
  EXPECT_EQ(zefra_tk_eye_compute(&s.input, nullptr, &eye, message, 256), ZEFRA_TK_BAD_INPUT);
  EXPECT_STREQ(message, "options is null: expected the options (see zefra_tk_eye_default_options)");
  EXPECT_TRUE(rejects([](Case& t) { t.input.pulse = nullptr; },
                      "pulse is null: expected double[length], the victim's pulse in V"));
  EXPECT_TRUE(rejects([](Case& t) { t.input.dfePositions = nullptr; },
                      "dfePositions is null: expected int64[dfeCount] cursor indices >= 1"));
  EXPECT_TRUE(rejects([](Case& t) { t.input.dfeValuesV = nullptr; },
                      "dfeValuesV is null: expected double[dfeCount] tap values in V"));
  EXPECT_TRUE(rejects([](Case& t) { t.input.aggressors = nullptr; },
                      "aggressors is null: expected zefra_tk_eye_aggressor[aggressorCount]"));
  EXPECT_TRUE(rejects([](Case& t) { t.aggressor.pulse = nullptr; },
                      "aggressors[0].pulse is null: expected double[length], the aggressor's "
                      "pulse in V"));
}

TEST(EyeBadInput, NullArraysWithZeroCountsAreAccepted) {
  Case s;
  s.input.dfePositions = nullptr;
  s.input.dfeValuesV = nullptr;
  s.input.dfeCount = 0;
  s.input.aggressors = nullptr;
  s.input.aggressorCount = 0;
  EXPECT_EQ(compute(s.input, s.options).status, ZEFRA_TK_OK);
}

TEST(EyeBadInput, CountsAndIndicesOutOfRangeAreRejected) {
  EXPECT_TRUE(rejects([](Case& t) { t.input.length = 0; },
                      "length = 0: expected a pulse of >= 1 samples"));
  EXPECT_TRUE(rejects([](Case& t) { t.input.samplesPerUi = 0; },
                      "samplesPerUi = 0: expected >= 1 samples per unit interval"));
  EXPECT_TRUE(rejects([](Case& t) { t.input.centre = 4; },
                      "centre = 4: expected a sample 0 .. length-1 (length = 4)"));
  EXPECT_TRUE(rejects([](Case& t) { t.input.centre = -1; },
                      "centre = -1: expected a sample 0 .. length-1 (length = 4)"));
  EXPECT_TRUE(rejects([](Case& t) { t.input.dfeCount = -1; }, "dfeCount = -1: expected >= 0 DFE taps"));
  EXPECT_TRUE(rejects([](Case& t) { t.input.aggressorCount = -2; },
                      "aggressorCount = -2: expected >= 0 aggressors"));
  EXPECT_TRUE(rejects([](Case& t) { t.aggressor.length = 0; },
                      "aggressors[0].length = 0: expected a pulse of >= 1 samples"));
  EXPECT_TRUE(rejects([](Case& t) { t.aggressor.synchronous = 2; },
                      "aggressors[0].synchronous = 2: expected 1 (synchronous) or 0 (asynchronous)"));
}

TEST(EyeBadInput, DfePositionsBelowOneOrRepeatedAreRejected) {
  EXPECT_TRUE(rejects([](Case& t) { t.dfePositions[1] = 0; },
                      "dfePositions[1] = 0: expected a post-cursor index >= 1"));
  EXPECT_TRUE(rejects([](Case& t) { t.dfePositions[0] = -3; },
                      "dfePositions[0] = -3: expected a post-cursor index >= 1"));
  EXPECT_TRUE(rejects([](Case& t) { t.dfePositions[1] = 1; },
                      "dfePositions[1] = 1: expected distinct cursor indices (dfePositions[0] is "
                      "the same)"));
}

TEST(EyeBadInput, NonFiniteValuesAreRejected) {
  EXPECT_TRUE(rejects([](Case& t) { t.pulse[2] = kNan; },
                      "pulse[2] = nan: expected finite values in V"));
  EXPECT_TRUE(rejects([](Case& t) { t.aggressorPulse[1] = -kInf; },
                      "aggressors[0].pulse[1] = -inf: expected finite values in V"));
  EXPECT_TRUE(rejects([](Case& t) { t.dfeValues[0] = kInf; },
                      "dfeValuesV[0] = inf: expected finite values in V"));
}

TEST(EyeBadInput, OptionsOutOfRangeAreRejected) {
  EXPECT_TRUE(rejects([](Case& t) { t.options.levels = 1; }, "levels = 1: expected 2 .. 64 signal levels"));
  EXPECT_TRUE(rejects([](Case& t) { t.options.levels = 65; }, "levels = 65: expected 2 .. 64 signal levels"));
  EXPECT_TRUE(rejects([](Case& t) { t.options.binV = 0.0; },
                      "binV = 0: expected a finite lattice step > 0 V"));
  EXPECT_TRUE(rejects([](Case& t) { t.options.binV = -0.01; },
                      "binV = -0.01: expected a finite lattice step > 0 V"));
  EXPECT_TRUE(rejects([](Case& t) { t.options.binV = kNan; },
                      "binV = nan: expected a finite lattice step > 0 V"));
  EXPECT_TRUE(rejects([](Case& t) { t.options.noiseRmsV = -1e-3; },
                      "noiseRmsV = -0.001: expected a finite noise rms >= 0 V"));
  EXPECT_TRUE(rejects([](Case& t) { t.options.noiseRmsV = kInf; },
                      "noiseRmsV = inf: expected a finite noise rms >= 0 V"));
  EXPECT_TRUE(rejects([](Case& t) { t.options.djUi = -0.1; },
                      "djUi = -0.1: expected a finite deterministic jitter >= 0 UI"));
  EXPECT_TRUE(rejects([](Case& t) { t.options.rjUi = kNan; },
                      "rjUi = nan: expected a finite random jitter rms >= 0 UI"));
  EXPECT_TRUE(rejects([](Case& t) { t.options.threads = -1; },
                      "threads = -1: expected >= 0 worker threads (0: one per hardware thread)"));
}

TEST(EyeBadInput, JitterNeedsTwoSamplesPerUi) {
  EXPECT_TRUE(rejects(
      [](Case& t) {
        t.input.samplesPerUi = 1;
        t.options.rjUi = 0.01;
      },
      "samplesPerUi = 1: expected >= 2 when there is jitter (djUi = 0, rjUi = 0.01)"));
}

TEST(EyeBadInput, JitterReachAbove64UiIsRejected) {
  // DJ/2 + 11.5 RJ: 64 UI passes, just above it does not.
  Case ok;
  ok.options.djUi = 128.0;
  EXPECT_EQ(compute(ok.input, ok.options).status, ZEFRA_TK_OK);
  EXPECT_TRUE(rejects([](Case& t) { t.options.djUi = 128.000001; },
                      "djUi, rjUi = 128.000001, 0: expected a jitter reach DJ/2 + 11.5 RJ of at "
                      "most 64 UI"));
  EXPECT_TRUE(rejects([](Case& t) { t.options.rjUi = 5.6; },
                      "djUi, rjUi = 0, 5.6: expected a jitter reach DJ/2 + 11.5 RJ of at most 64 "
                      "UI"));
}

TEST(EyeBadInput, ReadoutRulesAreChecked) {
  Case s;
  zefra_tk_eye* eye = nullptr;
  compute(s.input, s.options, &eye);
  ASSERT_NE(eye, nullptr);
  zefra_tk_eye_figures f;
  char message[256];
  const auto call = [&](const zefra_tk_eye* e, int32_t index, double target,
                        zefra_tk_eye_figures* figures) {
    return zefra_tk_eye_readout(e, index, target, figures, nullptr, nullptr, nullptr, nullptr,
                                nullptr, message, sizeof message);
  };
  EXPECT_EQ(call(nullptr, 0, 1e-6, &f), ZEFRA_TK_BAD_INPUT);
  EXPECT_STREQ(message, "eye is null: expected an eye from zefra_tk_eye_compute");
  EXPECT_EQ(call(eye, 0, 1e-6, nullptr), ZEFRA_TK_BAD_INPUT);
  EXPECT_STREQ(message, "figures is null: expected a place for the figures");
  EXPECT_EQ(call(eye, 3, 1e-6, &f), ZEFRA_TK_BAD_INPUT);
  EXPECT_STREQ(message, "eyeIndex = 3: expected an eye 0 .. 2 (levels - 2)");
  EXPECT_EQ(call(eye, -1, 1e-6, &f), ZEFRA_TK_BAD_INPUT);
  EXPECT_STREQ(message, "eyeIndex = -1: expected an eye 0 .. 2 (levels - 2)");
  for (const double target : {0.0, 1.0, -1e-3, kNan}) {
    EXPECT_EQ(call(eye, 0, target, &f), ZEFRA_TK_BAD_INPUT) << target;
    EXPECT_EQ(std::string(message).rfind("targetBer = ", 0), 0u) << message;
    EXPECT_NE(std::string(message).find("expected a BER in (0, 1)"), std::string::npos);
  }
  EXPECT_EQ(call(eye, 2, 0.5, &f), ZEFRA_TK_OK);
  EXPECT_STREQ(message, "");
  zefra_tk_eye_free(eye);
}

TEST(EyeBadInput, GridTooLargeToHoldIsOutOfMemory) {
  Case s;
  s.options.binV = 1e-300;
  zefra_tk_eye* eye = nullptr;
  char message[256];
  EXPECT_EQ(zefra_tk_eye_compute(&s.input, &s.options, &eye, message, 256), ZEFRA_TK_NO_MEMORY);
  EXPECT_EQ(eye, nullptr);
  EXPECT_EQ(std::string(message).rfind("zefra_tk_eye_compute: out of memory", 0), 0u) << message;
}

}  // namespace
