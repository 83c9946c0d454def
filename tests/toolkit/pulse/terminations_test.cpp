// Terminated transfer from the source EMF to the load voltage, checked on
// circuits whose answer is a voltage divider.  A zero-length through
// between references Z01 and Z02 has, in power waves,
//   S11 = (Z02 - Z01)/(Z02 + Z01),  S22 = -S11,
//   S21 = S12 = 2 sqrt(Z01 Z02)/(Z01 + Z02),
// and whatever the references, the circuit is Zs in series with ZL:
// H = ZL / (Zs + ZL).  The data are given on the grid, so the transfer on
// the grid is H itself up to rounding: tolerance 1e-13 (values ~1, a few
// complex operations and two unit rotations).
#include <gtest/gtest.h>

#include <cmath>

#include "pulse_test_support.h"

namespace {

using namespace zefra_pulse_test;

constexpr double kBaud = 10e9;
constexpr int32_t kNs = 8;
constexpr double kDf = 40e9 / 200.0;
constexpr double kTolerance = 1e-13;

std::function<TwoPort(double)> through(double z01, double z02) {
  return [z01, z02](double) {
    const double s11 = (z02 - z01) / (z02 + z01);
    const double s21 = 2.0 * std::sqrt(z01 * z02) / (z01 + z02);
    return TwoPort{s11, s21, s21, -s11};
  };
}

Cplx parallelRc(double r, double c, double f) {
  const Cplx y(std::isinf(r) ? 0.0 : 1.0 / r, kTwoPi * f * c);
  return 1.0 / y;
}

void expectDivider(double z01, double z02, const zefra_tk_pulse_options& o) {
  Data d = sample(kDf, 0, 200, through(z01, z02));
  d.z0[0] = z01;
  d.z0[1] = z02;
  const Result r = run(d, o);
  ASSERT_EQ(r.status, ZEFRA_TK_OK) << r.message;
  ASSERT_EQ(r.transfer.size(), 201u);
  for (std::size_t k = 0; k < r.transfer.size(); ++k) {
    const double f = static_cast<double>(k) * kDf;
    const Cplx zs = parallelRc(o.sourceOhm, o.sourcePadF, f);
    const Cplx zl = parallelRc(o.loadOhm, o.loadPadF, f);
    const Cplx expected = std::isinf(std::abs(zl)) ? Cplx(1.0, 0.0) : zl / (zs + zl);
    EXPECT_NEAR(r.transfer[k].real(), expected.real(), kTolerance) << "f = " << f;
    EXPECT_NEAR(r.transfer[k].imag(), expected.imag(), kTolerance) << "f = " << f;
  }
}

TEST(PulseTerminations, MatchedThroughGivesOneHalf) {
  expectDivider(50.0, 50.0, options(kBaud, kNs));
}

TEST(PulseTerminations, ResistiveTerminationsGiveTheResistiveDivider) {
  zefra_tk_pulse_options o = options(kBaud, kNs);
  o.sourceOhm = 30.0;
  o.loadOhm = 120.0;  // H = 120 / 150 = 0.8
  expectDivider(50.0, 50.0, o);
}

TEST(PulseTerminations, OpenLoadGivesOne) {
  zefra_tk_pulse_options o = options(kBaud, kNs);
  o.loadOhm = INFINITY;
  expectDivider(50.0, 50.0, o);
}

TEST(PulseTerminations, PadCapacitancesGiveTheRcDivider) {
  zefra_tk_pulse_options o = options(kBaud, kNs);
  o.sourceOhm = 40.0;
  o.sourcePadF = 0.2e-12;
  o.loadOhm = 100.0;
  o.loadPadF = 0.5e-12;
  expectDivider(50.0, 50.0, o);
}

TEST(PulseTerminations, DifferentPortReferencesKeepTheVoltageDivider) {
  // Without the factor sqrt(Z02/Z01) the result would be off by
  // sqrt(25/50) = 0.71 (or its inverse).
  zefra_tk_pulse_options o = options(kBaud, kNs);
  o.sourceOhm = 40.0;
  o.loadOhm = 70.0;
  expectDivider(50.0, 25.0, o);
  expectDivider(25.0, 100.0, o);
}

TEST(PulseTerminations, DifferentReferencesWithPadsKeepTheRcDivider) {
  zefra_tk_pulse_options o = options(kBaud, kNs);
  o.sourceOhm = 60.0;
  o.sourcePadF = 0.1e-12;
  o.loadOhm = INFINITY;
  o.loadPadF = 0.3e-12;
  expectDivider(50.0, 37.5, o);
}

}  // namespace
