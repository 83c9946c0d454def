// Noise parameters of two-ports: the version-1 block that starts at the
// first row of five numbers whose frequency does not increase (Rn
// normalised to port 1's R), and the version-2 [Noise Data] block (Rn in
// ohms).  Gamma_opt is a magnitude and an angle in degrees whatever the
// format of the network data.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "reader_test_support.h"

namespace {

using namespace zefra_reader_test;

// The angle goes through deg * pi/180 and cos/sin: a few ulp of the
// magnitude (see reader_parameters_test.cpp for the bound).
constexpr double kAngle = 2e-15;

const std::string kNetwork =
    "1 0.1 0 0.2 0 0.3 0 0.4 0\n"
    "2 0.1 0 0.2 0 0.3 0 0.4 0\n"
    "3 0.1 0 0.2 0 0.3 0 0.4 0\n";

TEST(TouchstoneReadNoise, Version1NoiseBlockStartsAtTheFirstFrequencyThatDoesNotIncrease) {
  const Read r = parseText("# GHz S RI R 50\n" + kNetwork +
                               "1 0.5 0.5 90 0.2\n"
                               "2.5 0.75 0.25 180 0.5\n"
                               "4 1.25 0.125 0 1\n",
                           "t.s2p");
  ASSERT_TRUE(clean(r, "t.s2p")) << r.message;
  EXPECT_TRUE(sameBits(r.f, {1e9, 2e9, 3e9}));
  EXPECT_EQ(r.s.size(), 12u);
  // The noise grid need not match the network's: 2.5 and 4 GHz too.
  EXPECT_TRUE(sameBits(r.noiseF, {1e9, 2.5e9, 4e9}));
  EXPECT_TRUE(sameBits(r.nfMinDb, {0.5, 0.75, 1.25}));
  ASSERT_EQ(r.gammaOpt.size(), 3u);
  EXPECT_TRUE(near(Complex(0.0, 0.5), r.gammaOpt[0], kAngle, 0.5));
  EXPECT_TRUE(near(Complex(-0.25, 0.0), r.gammaOpt[1], kAngle, 0.25));
  EXPECT_TRUE(sameBits(Complex(0.125, 0.0), r.gammaOpt[2]));
  // Rn normalised to R = 50: multiplied back.
  EXPECT_TRUE(sameBits(r.rn, {0.2 * 50.0, 0.5 * 50.0, 1.0 * 50.0}));
}

TEST(TouchstoneReadNoise, NoiseMayStartAtTheLastNetworkFrequency) {
  const Read r =
      parseText("# GHz S RI R 50\n" + kNetwork + "3 0.5 0.5 0 0.2\n3.5 0.6 0.4 0 0.3\n", "t.s2p");
  ASSERT_TRUE(clean(r, "t.s2p")) << r.message;
  EXPECT_EQ(r.f.size(), 3u);
  EXPECT_TRUE(sameBits(r.noiseF, {3e9, 3.5e9}));
}

TEST(TouchstoneReadNoise, OneNetworkPointAndOneNoiseRowAtTheSameFrequency) {
  const Read r = parseText("# MHz S RI\n100 0 0 1 0 1 0 0 0\n100 1 0.5 45 0.04\n", "t.s2p");
  ASSERT_TRUE(clean(r, "t.s2p")) << r.message;
  EXPECT_TRUE(sameBits(r.f, {1e8}));
  EXPECT_TRUE(sameBits(r.noiseF, {1e8}));
  const double h = 0.5 * std::sqrt(0.5);
  EXPECT_TRUE(near(Complex(h, h), r.gammaOpt.at(0), kAngle, 0.5));
}

TEST(TouchstoneReadNoise, Version1RnIsMultipliedByPort1sReference) {
  const Read r75 = parseText("# GHz S RI R 75\n" + kNetwork + "1 0.5 0.5 0 0.3\n", "t.s2p");
  ASSERT_TRUE(clean(r75, "t.s2p")) << r75.message;
  EXPECT_TRUE(sameBits(r75.rn, {0.3 * 75.0}));
  // One R per port: port 1's.
  const Read perPort = parseText("# GHz S RI R 25 100\n" + kNetwork + "1 0.5 0.5 0 0.3\n", "t.s2p");
  ASSERT_TRUE(clean(perPort, "t.s2p")) << perPort.message;
  EXPECT_TRUE(sameBits(perPort.z0, {25.0, 100.0}));
  EXPECT_TRUE(sameBits(perPort.rn, {0.3 * 25.0}));
}

TEST(TouchstoneReadNoise, GammaIsMagnitudeAndDegreesWhateverTheNetworkFormat) {
  for (const char* format : {"RI", "MA", "DB"}) {
    const Read r = parseText(
        std::string("# GHz S ") + format + " R 50\n" + kNetwork + "1 0.5 0.25 180 0.2\n", "t.s2p");
    ASSERT_TRUE(clean(r, "t.s2p")) << format << ": " << r.message;
    EXPECT_EQ(r.format, format);
    // Not (0.25, 180) as RI, nor 10^(0.25/20) as DB; NFmin stays in dB.
    EXPECT_TRUE(near(Complex(-0.25, 0.0), r.gammaOpt.at(0), kAngle, 0.25)) << format;
    EXPECT_TRUE(sameBits(r.nfMinDb, {0.5})) << format;
  }
}

TEST(TouchstoneReadNoise, NoiseFrequenciesAreScaledExactlyInTheUnit) {
  const Read r = parseText(
      "# GHz S RI R 50\n0.05 0 0 0 0 0 0 0 0\n0.1 0 0 0 0 0 0 0 0\n"
      "0.067 0.5 0.5 0 0.2\n+6.8E-2 0.5 0.5 0 0.2\n",
      "t.s2p");
  ASSERT_TRUE(clean(r, "t.s2p")) << r.message;
  EXPECT_TRUE(sameBits(r.noiseF, {67e6, 68e6}));
}

TEST(TouchstoneReadNoise, NoiseRowsMayCarryCommentsAndBlankLinesBetween) {
  const Read r = parseText("# GHz S RI R 50\n" + kNetwork +
                               "! noise parameters\n"
                               "1 0.5 0.5 0 0.2 ! first\n"
                               "\n"
                               "\t2 0.5 0.5 0 0.2\r\n",
                           "t.s2p");
  ASSERT_TRUE(clean(r, "t.s2p")) << r.message;
  EXPECT_EQ(r.noiseF.size(), 2u);
  EXPECT_EQ(r.comments, (std::vector<std::string>{" noise parameters", " first"}));
}

TEST(TouchstoneReadNoise, Version1NoiseRowOfOtherThanFiveNumbersIsRejected) {
  const Read split = parseText("# GHz S RI R 50\n" + kNetwork +
                                   "1 0.5 0.5 0 0.2\n"
                                   "2 0.5\n"
                                   "  0.5 0 0.2\n",
                               "t.s2p");
  EXPECT_TRUE(rejected(split, "t.s2p", 6,
                       "expected a noise row of 5 numbers (f, NFmin, |Gopt|, angle, Rn), found 2"));
  const Read six =
      parseText("# GHz S RI R 50\n" + kNetwork + "1 0.5 0.5 0 0.2\n2 0.5 0.5 0 0.2 9\n", "t.s2p");
  EXPECT_TRUE(rejected(six, "t.s2p", 6, "expected a noise row of 5 numbers"));
  // Network data after the noise block.
  const Read network = parseText(
      "# GHz S RI R 50\n" + kNetwork + "1 0.5 0.5 0 0.2\n4 0.1 0 0.2 0 0.3 0 0.4 0\n", "t.s2p");
  EXPECT_TRUE(rejected(network, "t.s2p", 6,
                       "expected a noise row of 5 numbers (f, NFmin, |Gopt|, "
                       "angle, Rn), found 9"));
  // The first row decides: six numbers are no noise row but an unordered
  // data set.
  const Read first = parseText("# GHz S RI R 50\n" + kNetwork + "1 0.5 0.5 0 0.2 0\n", "t.s2p");
  EXPECT_TRUE(rejected(first, "t.s2p", 5, "expected frequencies that increase"));
}

TEST(TouchstoneReadNoise, NoiseFrequenciesMustIncrease) {
  const Read r =
      parseText("# GHz S RI R 50\n" + kNetwork + "1 0.5 0.5 0 0.2\n1 0.5 0.5 0 0.2\n", "t.s2p");
  EXPECT_TRUE(rejected(r, "t.s2p", 6,
                       "expected noise frequencies that increase, found 1000000000 Hz after "
                       "1000000000 Hz"));
  const Read back =
      parseText("# GHz S RI R 50\n" + kNetwork + "2 0.5 0.5 0 0.2\n1.5 0.5 0.5 0 0.2\n", "t.s2p");
  EXPECT_TRUE(rejected(back, "t.s2p", 6, "expected noise frequencies that increase"));
}

TEST(TouchstoneReadNoise, NoiseValuesAreNumbersLikeAnyOther) {
  const Read bad = parseText("# GHz S RI R 50\n" + kNetwork + "1 0.5 nan 0 0.2\n", "t.s2p");
  EXPECT_TRUE(rejected(bad, "t.s2p", 5, "expected a number, found 'nan'"));
  const Read negative = parseText("# GHz S RI R 50\n" + kNetwork + "-1 0.5 0.5 0 0.2\n", "t.s2p");
  EXPECT_TRUE(rejected(negative, "t.s2p", 5, "expected a frequency >= 0, found '-1'"));
}

TEST(TouchstoneReadNoise, Version1RnBeyondTheRangeOfADoubleOnceUnNormalisedIsRejected) {
  const Read r = parseText(
      "# GHz S RI R 1e10\n" + kNetwork + "1 0.5 0.5 0 2e290\n2 0.5 0.5 0 1e300\n", "t.s2p");
  EXPECT_TRUE(
      rejected(r, "t.s2p", 6,
               "expected an Rn within the range of a double in ohms, found 1e+300 times R = "
               "1e+10"));
}

// ---- version 2 -----------------------------------------------------------------------

std::string version2(const std::string& options, const std::string& extra,
                     const std::string& noise) {
  return "[Version] 2.0\n" + options +
         "\n[Number of Ports] 2\n[Two-Port Data Order] 12_21\n[Number of Frequencies] 2\n"
         "[Number of Noise Frequencies] 2\n" +
         extra + "[Network Data]\n1 0 0 0 0 0 0 0 0\n2 0 0 0 0 0 0 0 0\n[Noise Data]\n" + noise +
         "[End]\n";
}

TEST(TouchstoneReadNoise, Version2RnIsInOhms) {
  const Read r = parseText(
      version2("# GHz S RI R 75", "[Reference] 25 100\n", "1 0.5 0.5 -90 12.5\n3 0.7 0.3 30 20\n"),
      "t.ts");
  ASSERT_TRUE(clean(r, "t.ts")) << r.message;
  EXPECT_TRUE(sameBits(r.noiseF, {1e9, 3e9}));
  EXPECT_TRUE(sameBits(r.nfMinDb, {0.5, 0.7}));
  EXPECT_TRUE(sameBits(r.rn, {12.5, 20.0}));
  EXPECT_TRUE(near(Complex(0.0, -0.5), r.gammaOpt.at(0), kAngle, 0.5));
  EXPECT_TRUE(near(Complex(0.3 * std::sqrt(3.0) / 2.0, 0.15), r.gammaOpt.at(1), kAngle, 0.3));
}

TEST(TouchstoneReadNoise, Version2NoiseRowsAreAStreamOfNumbersToo) {
  const Read r = parseText(version2("# MHz S MA R 50", "",
                                    "100 0.5\n  0.5 0 10 ! row 1\n200 0.6 0.4 0 11 "
                                    "\n"),
                           "t.ts");
  ASSERT_TRUE(clean(r, "t.ts")) << r.message;
  EXPECT_TRUE(sameBits(r.noiseF, {1e8, 2e8}));
  EXPECT_TRUE(sameBits(r.rn, {10.0, 11.0}));
}

TEST(TouchstoneReadNoise, Version2NoiseMayStartBelowAndEndAboveTheNetworkGrid) {
  const Read r = parseText(version2("# GHz S RI", "", "0 1 0.1 0 5\n10 2 0.2 0 6\n"), "t.ts");
  ASSERT_TRUE(clean(r, "t.ts")) << r.message;
  EXPECT_TRUE(sameBits(r.noiseF, {0.0, 1e10}));
}

TEST(TouchstoneReadNoise, NetworkWithoutNoiseHasNoNoisePoints) {
  const Read r = parseText("# GHz S RI R 50\n" + kNetwork, "t.s2p");
  ASSERT_TRUE(clean(r, "t.s2p")) << r.message;
  EXPECT_TRUE(r.noiseF.empty());
  EXPECT_TRUE(r.rn.empty());
}

}  // namespace
