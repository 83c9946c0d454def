// Each rule of zefra_tk_pulse_response's arguments: ZEFRA_TK_BAD_INPUT, no
// response, and a one-line message naming the argument and the rule.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <string>

#include "pulse_test_support.h"

namespace {

using namespace zefra_pulse_test;

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

Data goodData() { return sample(1e9, 1, 40, matchedLine(1e-10)); }

zefra_tk_pulse_options goodOptions() { return options(10e9, 8); }

::testing::AssertionResult rejects(const Data& d, const zefra_tk_pulse_options& o,
                                   const std::string& expected) {
  const Result r = run(d, o);
  if (r.status != ZEFRA_TK_BAD_INPUT) {
    return ::testing::AssertionFailure() << "status " << r.status << ", message '" << r.message
                                         << "'";
  }
  if (r.message != expected) {
    return ::testing::AssertionFailure() << "message '" << r.message << "', expected '"
                                         << expected << "'";
  }
  return ::testing::AssertionSuccess();
}

template <typename Edit>
::testing::AssertionResult rejectsOption(Edit edit, const std::string& expected) {
  zefra_tk_pulse_options o = goodOptions();
  edit(o);
  return rejects(goodData(), o, expected);
}

TEST(PulseBadInput, GoodInputIsAccepted) {
  const Result r = run(goodData(), goodOptions());
  EXPECT_EQ(r.status, ZEFRA_TK_OK);
  EXPECT_EQ(r.message, "");
}

TEST(PulseBadInput, FewerThanTwoPointsAreRejected) {
  Data d = goodData();
  d.f.resize(1);
  d.s.resize(8);
  EXPECT_TRUE(rejects(d, goodOptions(), "points = 1: expected 2 .. 2147483647 measured frequencies"));
}

TEST(PulseBadInput, NullPointersAreRejected) {
  const Data d = goodData();
  const zefra_tk_pulse_options o = goodOptions();
  zefra_tk_pulse* p = reinterpret_cast<zefra_tk_pulse*>(&p);  // must be reset to null
  char message[256];
  EXPECT_EQ(zefra_tk_pulse_response(d.points(), nullptr, d.s.data(), d.z0, &o, &p, message, 256),
            ZEFRA_TK_BAD_INPUT);
  EXPECT_EQ(p, nullptr);
  EXPECT_STREQ(message, "f is null: expected double[points] frequencies in Hz");
  EXPECT_EQ(zefra_tk_pulse_response(d.points(), d.f.data(), nullptr, d.z0, &o, &p, message, 256),
            ZEFRA_TK_BAD_INPUT);
  EXPECT_STREQ(message, "s is null: expected double[2 * points * 4], the complex 2x2 S per frequency");
  EXPECT_EQ(zefra_tk_pulse_response(d.points(), d.f.data(), d.s.data(), nullptr, &o, &p, message,
                                    256),
            ZEFRA_TK_BAD_INPUT);
  EXPECT_STREQ(message, "z0 is null: expected double[2], the port references in ohms");
  EXPECT_EQ(zefra_tk_pulse_response(d.points(), d.f.data(), d.s.data(), d.z0, nullptr, &p,
                                    message, 256),
            ZEFRA_TK_BAD_INPUT);
  EXPECT_STREQ(message, "options is null: expected the options (see zefra_tk_pulse_default_options)");
  EXPECT_EQ(zefra_tk_pulse_response(d.points(), d.f.data(), d.s.data(), d.z0, &o, nullptr,
                                    message, 256),
            ZEFRA_TK_BAD_INPUT);
  EXPECT_STREQ(message, "pulse is null: expected a place for the new response");
}

TEST(PulseBadInput, MessageIsCutToTheBufferAndSkippedWithoutOne) {
  const Data d = goodData();
  const zefra_tk_pulse_options o = goodOptions();
  zefra_tk_pulse* p = nullptr;
  char message[8];
  std::memset(message, 'x', sizeof message);
  EXPECT_EQ(zefra_tk_pulse_response(d.points(), nullptr, d.s.data(), d.z0, &o, &p, message, 8),
            ZEFRA_TK_BAD_INPUT);
  EXPECT_STREQ(message, "f is nu");
  EXPECT_EQ(zefra_tk_pulse_response(d.points(), nullptr, d.s.data(), d.z0, &o, &p, nullptr, 0),
            ZEFRA_TK_BAD_INPUT);
}

TEST(PulseBadInput, FrequencyRulesAreChecked) {
  Data d = goodData();
  d.f[3] = d.f[2];
  EXPECT_TRUE(rejects(d, goodOptions(),
                      "f[3] = 3e+09: expected strictly increasing frequencies (f[2] = 3e+09)"));
  d = goodData();
  d.f[0] = -1.0;
  EXPECT_TRUE(rejects(d, goodOptions(), "f[0] = -1: expected a finite frequency >= 0 Hz"));
  d = goodData();
  d.f[5] = kNan;
  EXPECT_TRUE(rejects(d, goodOptions(), "f[5] = nan: expected a finite frequency >= 0 Hz"));
}

TEST(PulseBadInput, NonFiniteSParametersAreRejected) {
  Data d = goodData();
  d.s[8 * 4 + 5] = INFINITY;  // point 4, S21 imaginary part
  EXPECT_TRUE(rejects(d, goodOptions(), "s[4][1][0].im = inf: expected finite S-parameters"));
}

TEST(PulseBadInput, PortReferencesMustBePositive) {
  Data d = goodData();
  d.z0[1] = 0.0;
  EXPECT_TRUE(rejects(d, goodOptions(), "z0[1] = 0: expected a finite port reference > 0 ohms"));
}

TEST(PulseBadInput, EachOptionRuleIsChecked) {
  using O = zefra_tk_pulse_options;
  EXPECT_TRUE(rejectsOption([](O& o) { o.baudHz = -1; },
                            "baudHz = -1: expected a finite symbol rate > 0 Hz"));
  EXPECT_TRUE(rejectsOption([](O& o) { o.baudHz = 0; },
                            "baudHz = 0: expected a finite symbol rate > 0 Hz"));
  EXPECT_TRUE(rejectsOption([](O& o) { o.samplesPerUi = 0; },
                            "samplesPerUi = 0: expected 1 .. 4096 samples per unit interval"));
  EXPECT_TRUE(rejectsOption([](O& o) { o.samplesPerUi = 4097; },
                            "samplesPerUi = 4097: expected 1 .. 4096 samples per unit interval"));
  EXPECT_TRUE(rejectsOption([](O& o) { o.spanS = kNan; },
                            "spanS = nan: expected a finite time span in s (<= 0 for the default)"));
  EXPECT_TRUE(rejectsOption([](O& o) { o.sourceOhm = 0; },
                            "sourceOhm = 0: expected a finite source resistance > 0 ohms"));
  EXPECT_TRUE(rejectsOption([](O& o) { o.sourceOhm = INFINITY; },
                            "sourceOhm = inf: expected a finite source resistance > 0 ohms"));
  EXPECT_TRUE(rejectsOption([](O& o) { o.sourcePadF = -1e-12; },
                            "sourcePadF = -1e-12: expected a finite source pad capacitance >= 0 F"));
  EXPECT_TRUE(rejectsOption([](O& o) { o.loadOhm = -50; },
                            "loadOhm = -50: expected a load resistance > 0 ohms (+inf for an open load)"));
  EXPECT_TRUE(rejectsOption([](O& o) { o.loadOhm = kNan; },
                            "loadOhm = nan: expected a load resistance > 0 ohms (+inf for an open load)"));
  EXPECT_TRUE(rejectsOption([](O& o) { o.loadPadF = INFINITY; },
                            "loadPadF = inf: expected a finite load pad capacitance >= 0 F"));
  EXPECT_TRUE(rejectsOption([](O& o) { o.dcPolicy = 6; },
                            "dcPolicy = 6: expected one of ZEFRA_TK_DC_* (0 .. 5)"));
  EXPECT_TRUE(rejectsOption([](O& o) { o.dcPolicy = ZEFRA_TK_DC_GIVEN, o.dcValue = kNan; },
                            "dcValue = nan: expected a finite H(0) for ZEFRA_TK_DC_GIVEN"));
  EXPECT_TRUE(rejectsOption(
      [](O& o) { o.dcPolicy = ZEFRA_TK_DC_RESISTANCE, o.dcValue = -1; },
      "dcValue = -1: expected a finite series resistance >= 0 ohms for ZEFRA_TK_DC_RESISTANCE"));
  EXPECT_TRUE(rejectsOption([](O& o) { o.rolloffHz = INFINITY; },
                            "rolloffHz = inf: expected a finite roll-off width in Hz (<= 0 for the default)"));
  EXPECT_TRUE(rejectsOption([](O& o) { o.rxOrder = -1; },
                            "rxOrder = -1: expected a receiver filter order 0 .. 32 (0: none)"));
  EXPECT_TRUE(rejectsOption([](O& o) { o.rxOrder = 33; },
                            "rxOrder = 33: expected a receiver filter order 0 .. 32 (0: none)"));
  EXPECT_TRUE(rejectsOption([](O& o) { o.rxOrder = 4; },
                            "rxBandwidthHz = 0: expected a finite -3 dB frequency > 0 Hz when rxOrder > 0"));
  EXPECT_TRUE(rejectsOption([](O& o) { o.window = 3; },
                            "window = 3: expected one of ZEFRA_TK_WINDOW_* (0 .. 2)"));
  EXPECT_TRUE(rejectsOption([](O& o) { o.window = ZEFRA_TK_WINDOW_KAISER, o.kaiserBeta = 101; },
                            "kaiserBeta = 101: expected a Kaiser parameter 0 .. 100"));
  EXPECT_TRUE(rejectsOption([](O& o) { o.window = ZEFRA_TK_WINDOW_KAISER, o.kaiserBeta = -0.5; },
                            "kaiserBeta = -0.5: expected a Kaiser parameter 0 .. 100"));
  EXPECT_TRUE(rejectsOption([](O& o) { o.guardS = kNan; },
                            "guardS = nan: expected a finite guard time in s (< 0 for the default)"));
}

TEST(PulseBadInput, BoundaryOptionValuesAreAccepted) {
  using O = zefra_tk_pulse_options;
  for (auto edit : {+[](O& o) { o.samplesPerUi = 1; }, +[](O& o) { o.samplesPerUi = 4096; },
                    +[](O& o) { o.rxOrder = 32, o.rxBandwidthHz = 20e9; },
                    +[](O& o) { o.window = ZEFRA_TK_WINDOW_KAISER, o.kaiserBeta = 100; },
                    +[](O& o) { o.window = ZEFRA_TK_WINDOW_KAISER, o.kaiserBeta = 0; },
                    +[](O& o) { o.loadOhm = INFINITY; },
                    +[](O& o) { o.dcPolicy = ZEFRA_TK_DC_RESISTANCE, o.dcValue = 0; }}) {
    zefra_tk_pulse_options o = goodOptions();
    edit(o);
    const Result r = run(goodData(), o);
    EXPECT_EQ(r.status, ZEFRA_TK_OK) << r.message;
  }
}

TEST(PulseBadInput, DataPolicyNeedsAZeroHertzPoint) {
  zefra_tk_pulse_options o = goodOptions();
  o.dcPolicy = ZEFRA_TK_DC_DATA;
  EXPECT_TRUE(rejects(goodData(), o,
                      "f[0] = 1e+09: expected 0 Hz for ZEFRA_TK_DC_DATA (use EXTRAPOLATE "
                      "or GIVEN otherwise)"));
}

TEST(PulseBadInput, TooManyTimeSamplesAreRefused) {
  // dt = 12.5 ps; a span of 2 ms needs 1.6e8 samples > 2^27 = 134217728.
  zefra_tk_pulse_options o = goodOptions();
  o.spanS = 2e-3;
  EXPECT_TRUE(rejects(goodData(), o,
                      "spanS = 0.002 s with dt = 1.25e-11 s: expected at most 134217728 time "
                      "samples; shorten the span or lower samplesPerUi"));
}

TEST(PulseBadInput, GuardLongerThanTheWindowIsRefused) {
  // Default span 1 ns = 80 samples of 12.5 ps; K = 40 gives exactly 1 ns.
  zefra_tk_pulse_options o = goodOptions();
  o.guardS = 1e-9;
  EXPECT_TRUE(rejects(goodData(), o, "guardS = 1e-09: expected less than the time window 1e-09 s"));
}

TEST(PulseBadInput, DataEntirelyAboveNyquistAreRefused) {
  // 1 GBd x 8 samples: f_nyq = 4 GHz, the data start at 5 GHz.
  const Data d = sample(1e9, 5, 40, matchedLine(1e-10));
  EXPECT_TRUE(rejects(d, options(1e9, 8),
                      "f[0] = 5e+09: expected data below the Nyquist frequency 4e+09 Hz "
                      "of the grid (raise samplesPerUi)"));
}

TEST(PulseBadInput, NetworkThatShortsTheTerminationsIsRefused) {
  // S22 = 1 in front of an open load (GL = 1): 1 - S22 GL = 0, and with
  // S12 = 0 nothing else is left in the denominator.
  Data d = sample(1e9, 1, 40, [](double) { return TwoPort{0.0, 0.0, 0.5, 1.0}; });
  zefra_tk_pulse_options o = goodOptions();
  o.loadOhm = INFINITY;
  EXPECT_TRUE(rejects(d, o,
                      "s[0] at f = 1e+09 Hz: expected a finite terminated transfer (the "
                      "network and the terminations give a zero denominator)"));
}

}  // namespace
