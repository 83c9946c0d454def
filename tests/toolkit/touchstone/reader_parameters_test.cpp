// What the values mean: MA and DB pairs, Y/Z/H/G data turned into S with
// each port's reference (version-1 values normalised to R, version-2 ones
// absolute), and mixed-mode data turned into single-ended S.  The expected
// values come from independent routes: closed forms of the one-port, the
// textbook two-port conversions (H, G and Y to Z, then Z to S with two real
// references), and an explicit mode matrix multiplied out.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "reader_test_support.h"

namespace {

using namespace zefra_reader_test;

// Two-port matrices, row-major: [0] = 11, [1] = 12, [2] = 21, [3] = 22.
using M2 = std::array<Complex, 4>;

// Z (ohms) to S for real references r1, r2 (power waves a = (V + rI) /
// (2 sqrt r)): the closed form of the 2x2 case.
M2 zToS(const M2& z, double r1, double r2) {
  const Complex d = (z[0] + r1) * (z[3] + r2) - z[1] * z[2];
  const double root = std::sqrt(r1 * r2);
  return {((z[0] - r1) * (z[3] + r2) - z[1] * z[2]) / d, 2.0 * z[1] * root / d,
          2.0 * z[2] * root / d, ((z[0] + r1) * (z[3] - r2) - z[1] * z[2]) / d};
}

// Y = Z^-1.
M2 yToZ(const M2& y) {
  const Complex det = y[0] * y[3] - y[1] * y[2];
  return {y[3] / det, -y[1] / det, -y[2] / det, y[0] / det};
}

// V1 = h11 I1 + h12 V2, I2 = h21 I1 + h22 V2.
M2 hToZ(const M2& h) {
  return {(h[0] * h[3] - h[1] * h[2]) / h[3], h[1] / h[3], -h[2] / h[3], 1.0 / h[3]};
}

// I1 = g11 V1 + g12 I2, V2 = g21 V1 + g22 I2.
M2 gToZ(const M2& g) {
  return {1.0 / g[0], -g[1] / g[0], g[2] / g[0], (g[0] * g[3] - g[1] * g[2]) / g[0]};
}

double largest(const M2& m) {
  double size = 0.0;
  for (const Complex& z : m) {
    size = std::max(size, std::abs(z));
  }
  return size;
}

std::string pairText(Complex z) {
  std::string text = shortest(z.real());
  text += ' ';
  text += shortest(z.imag());
  return text;
}

// "f N11 N21 N12 N22" or "f N11 N12 N21 N22".
std::string twoPortLine(const std::string& f, const M2& m, bool order21_12) {
  std::string text = f;
  for (int k : order21_12 ? std::array<int, 4>{0, 2, 1, 3} : std::array<int, 4>{0, 1, 2, 3}) {
    text += ' ';
    text += pairText(m[static_cast<std::size_t>(k)]);
  }
  return text + "\n";
}

// A version-2 two-port of one point in RI.
std::string version2TwoPort(const char* parameter, const M2& m, const std::string& references,
                            bool order21_12) {
  return std::string("[Version] 2.0\n# GHz ") + parameter +
         " RI R 50\n[Number of Ports] 2\n[Two-Port Data Order] " +
         (order21_12 ? "21_12" : "12_21") + "\n[Number of Frequencies] 1\n" + references +
         "[Network Data]\n" + twoPortLine("1", m, order21_12) + "[End]\n";
}

// The LU route of the reader and the closed forms agree to a few hundred
// ulps on these well-conditioned matrices (|S| < 10, det(I + Mn) far from
// 0): 1e-13 relative to the largest entry leaves room for either route.
constexpr double kConversion = 1e-13;

void expectTwoPort(const Read& r, const M2& expected) {
  ASSERT_TRUE(r.ok()) << r.message;
  ASSERT_EQ(r.ports, 2);
  const double scale = largest(expected);
  EXPECT_TRUE(near(expected[0], r.S(0, 1, 1), kConversion, scale)) << "S11";
  EXPECT_TRUE(near(expected[1], r.S(0, 1, 2), kConversion, scale)) << "S12";
  EXPECT_TRUE(near(expected[2], r.S(0, 2, 1), kConversion, scale)) << "S21";
  EXPECT_TRUE(near(expected[3], r.S(0, 2, 2), kConversion, scale)) << "S22";
}

// ---- formats -----------------------------------------------------------------------

// MA: m (cos a, sin a) with a in degrees; the expected values use the
// exact sines and cosines of these angles.  Tolerance 2e-15 of m: the
// degree-to-radian product rounds twice (pi/180, then times the angle: at
// most 2.2e-16 of 2 pi, 1.4e-15 rad at 360 degrees), cos and sin are within
// 1 ulp, and the product with m rounds once.
TEST(TouchstoneReadParameters, MagnitudeAngleIsMagnitudeTimesCosAndSinOfDegrees) {
  const double h = std::sqrt(3.0) / 2.0;
  const double q = std::sqrt(0.5);
  const struct {
    const char* angle;
    double c, s;
  } angles[] = {{"0", 1, 0},    {"30", h, 0.5},   {"45", q, q},       {"60", 0.5, h},
                {"90", 0, 1},   {"120", -0.5, h}, {"135", -q, q},     {"150", -h, 0.5},
                {"180", -1, 0}, {"-30", h, -0.5}, {"-90", 0, -1},     {"-180", -1, 0},
                {"270", 0, -1}, {"360", 1, 0},    {"-135.0", -q, -q}, {"3e1", h, 0.5}};
  for (const double m : {1.0, 0.5, 1e-3, 123.456, 1e-300}) {
    std::string text = "# Hz S MA\n";
    for (std::size_t k = 0; k < std::size(angles); ++k) {
      text += std::to_string(k) + " " + shortest(m) + " " + angles[k].angle + "\n";
    }
    const Read r = parseText(text);
    ASSERT_TRUE(clean(r)) << r.message;
    for (std::size_t k = 0; k < std::size(angles); ++k) {
      EXPECT_TRUE(near(Complex(m * angles[k].c, m * angles[k].s), r.s[k], 2e-15, m))
          << m << " at " << angles[k].angle;
    }
    // 0 degrees: cos 0 = 1 and sin 0 = 0 exactly.
    EXPECT_TRUE(sameBits(Complex(m, 0.0), r.s[0]));
  }
}

TEST(TouchstoneReadParameters, NegativeMagnitudeTurnsThePairAround) {
  const Read r = parseText("# MA\n1 -0.5 0\n");
  ASSERT_TRUE(clean(r)) << r.message;
  EXPECT_TRUE(sameBits(Complex(-0.5, -0.0), r.s[0]));
}

// DB: 10^(d/20) at the angle.  The magnitudes are those 20 log10 m gives
// back exactly (1, 10, 0.1, 100, ...), or to the 17 digits of the text (2,
// 0.5, 1/sqrt 2).  Tolerance 1e-15 relative: d/20 rounds once, pow is
// within 1 ulp, and a 17-digit dB text is within 1e-16 dB (2e-17 relative
// in m).
TEST(TouchstoneReadParameters, DecibelsAreTwentyLog10OfTheMagnitude) {
  const struct {
    const char* db;
    double m;
  } cases[] = {{"0", 1.0},
               {"20", 10.0},
               {"-20", 0.1},
               {"40", 100.0},
               {"-40", 0.01},
               {"-120", 1e-6},
               {"6.0205999132796239", 2.0},
               {"-6.0205999132796239", 0.5},
               {"-3.0102999566398120", std::sqrt(0.5)},
               {"-400", 1e-20}};
  std::string text = "# Hz S DB\n";
  for (std::size_t k = 0; k < std::size(cases); ++k) {
    text += std::to_string(k) + " " + cases[k].db + " 0\n";
  }
  text += "100 20 90\n101 -20 180\n";
  const Read r = parseText(text);
  ASSERT_TRUE(clean(r)) << r.message;
  for (std::size_t k = 0; k < std::size(cases); ++k) {
    EXPECT_TRUE(nearRelative(Complex(cases[k].m, 0.0), r.s[k], 1e-15)) << cases[k].db;
    EXPECT_TRUE(sameBits(0.0, r.s[k].imag())) << cases[k].db;
  }
  // The angle as in MA (tolerance as above, of the magnitude).
  EXPECT_TRUE(near(Complex(0.0, 10.0), r.s[std::size(cases)], 2e-15, 10.0));
  EXPECT_TRUE(near(Complex(-0.1, 0.0), r.s[std::size(cases) + 1], 2e-15, 0.1));
}

TEST(TouchstoneReadParameters, VeryLowDecibelsGiveZeroOrSubnormalMagnitudes) {
  // -6466.1 dB is about the smallest subnormal, what writers put for 0.
  const Read r = parseText("# DB\n1 -6466.1 0\n2 -7000 45\n");
  ASSERT_TRUE(clean(r)) << r.message;
  EXPECT_LT(std::abs(r.s[0]), 1e-320);
  EXPECT_TRUE(sameBits(Complex(0.0, 0.0), r.s[1]));
}

// ---- one-ports: closed forms -------------------------------------------------------

// One division each way: 1e-15 relative to |S| + 1 covers the reader's
// normalisation by 1/sqrt(r) squared (a few ulp) and the quotient.
constexpr double kOnePort = 1e-14;

TEST(TouchstoneReadParameters, OnePortZIsReflectionAgainstTheReference) {
  const Complex zs[] = {{25.0, 0.0}, {50.0, 0.0}, {75.0, -30.0},
                        {1e-3, 1e3}, {0.0, 0.0},  {1e6, -1.0}};
  // Version 2: ohms, against [Reference] 75.
  std::string text =
      "[Version] 2.0\n# Hz Z RI R 50\n[Number of Ports] 1\n[Number of Frequencies] 6\n"
      "[Reference] 75\n[Network Data]\n";
  for (std::size_t k = 0; k < std::size(zs); ++k) {
    text += std::to_string(k) + " " + pairText(zs[k]) + "\n";
  }
  const Read r = parseText(text + "[End]\n", "t.ts");
  ASSERT_TRUE(clean(r, "t.ts")) << r.message;
  EXPECT_TRUE(sameBits(r.z0, {75.0}));
  EXPECT_EQ(r.parameter, "Z");
  for (std::size_t k = 0; k < std::size(zs); ++k) {
    const Complex s = (zs[k] - 75.0) / (zs[k] + 75.0);
    EXPECT_TRUE(near(s, r.s[k], kOnePort, 1.0 + std::abs(s))) << zs[k];
  }
  // Matched: exactly zero.
  const Read matched = parseText(
      "[Version] 2.0\n# Z RI\n[Number of Ports] 1\n"
      "[Number of Frequencies] 1\n[Network Data]\n1 50 0\n[End]\n",
      "t.ts");
  ASSERT_TRUE(matched.ok()) << matched.message;
  EXPECT_LT(std::abs(matched.s[0]), 1e-15);
}

TEST(TouchstoneReadParameters, OnePortYIsReflectionAgainstTheReference) {
  const Complex ys[] = {{0.04, 0.0}, {0.02, 0.0}, {0.01, 0.005}, {1e-6, -1e-3}, {0.0, 0.0}};
  std::string text =
      "[Version] 2.0\n# Hz Y RI R 50\n[Number of Ports] 1\n[Number of Frequencies] 5\n"
      "[Network Data]\n";
  for (std::size_t k = 0; k < std::size(ys); ++k) {
    text += std::to_string(k) + " " + pairText(ys[k]) + "\n";
  }
  const Read r = parseText(text + "[End]\n", "t.ts");
  ASSERT_TRUE(clean(r, "t.ts")) << r.message;
  for (std::size_t k = 0; k < std::size(ys); ++k) {
    const Complex s = (1.0 - ys[k] * 50.0) / (1.0 + ys[k] * 50.0);
    EXPECT_TRUE(near(s, r.s[k], kOnePort, 1.0 + std::abs(s))) << ys[k];
  }
}

TEST(TouchstoneReadParameters, Version1OnePortValuesAreNormalisedToR) {
  // z = Z / R and y = Y R: the reflection does not depend on R, z0 does.
  const Complex zs[] = {{0.5, 0.0}, {1.0, 0.0}, {2.0, -1.0}, {0.0, 3.0}};
  std::string zText = "# Hz Z RI R 75\n";
  std::string yText = "# Hz Y RI R 75\n";
  for (std::size_t k = 0; k < std::size(zs); ++k) {
    zText += std::to_string(k) + " " + pairText(zs[k]) + "\n";
    yText += std::to_string(k) + " " + pairText(zs[k]) + "\n";
  }
  const Read z = parseText(zText, "t.z1p");
  const Read y = parseText(yText, "t.y1p");
  ASSERT_TRUE(clean(z, "t.z1p")) << z.message;
  ASSERT_TRUE(clean(y, "t.y1p")) << y.message;
  EXPECT_TRUE(sameBits(z.z0, {75.0}));
  EXPECT_TRUE(sameBits(y.z0, {75.0}));
  for (std::size_t k = 0; k < std::size(zs); ++k) {
    const Complex sz = (zs[k] * 75.0 - 75.0) / (zs[k] * 75.0 + 75.0);
    const Complex sy = (1.0 - zs[k] / 75.0 * 75.0) / (1.0 + zs[k] / 75.0 * 75.0);
    EXPECT_TRUE(near(sz, z.s[k], kOnePort, 1.0 + std::abs(sz))) << zs[k];
    EXPECT_TRUE(near(sy, y.s[k], kOnePort, 1.0 + std::abs(sy))) << zs[k];
  }
  // Normalised 1 is a match whatever R is.
  EXPECT_TRUE(sameBits(Complex(0.0, 0.0), z.s[1]));
}

TEST(TouchstoneReadParameters, SParametersDoNotDependOnTheReference) {
  const Read r = parseText("# RI R 75\n1 0.25 -0.5\n");
  ASSERT_TRUE(clean(r)) << r.message;
  EXPECT_TRUE(sameBits(r.z0, {75.0}));
  EXPECT_TRUE(sameBits(r.s, {Complex(0.25, -0.5)}));
}

// ---- two-ports: Z, Y, H, G -------------------------------------------------------

const M2 kZ = {Complex(30.0, 10.0), Complex(5.0, -2.0), Complex(7.0, 1.0), Complex(60.0, -20.0)};
const M2 kY = {Complex(0.02, 0.005), Complex(-0.004, 0.0), Complex(-0.006, 0.001),
               Complex(0.015, -0.003)};
const M2 kH = {Complex(40.0, 5.0), Complex(0.2, -0.05), Complex(-3.0, 1.0), Complex(0.01, 0.002)};
const M2 kG = {Complex(0.02, 0.001), Complex(-0.1, 0.0), Complex(2.0, 0.5), Complex(30.0, -5.0)};

TEST(TouchstoneReadParameters, Version2TwoPortZUsesEachPortsReference) {
  for (const bool order21_12 : {false, true}) {
    const Read r = parseText(version2TwoPort("Z", kZ, "[Reference] 50 75\n", order21_12), "t.ts");
    ASSERT_TRUE(clean(r, "t.ts")) << r.message;
    EXPECT_TRUE(sameBits(r.z0, {50.0, 75.0}));
    expectTwoPort(r, zToS(kZ, 50.0, 75.0));
  }
}

TEST(TouchstoneReadParameters, Version2TwoPortYUsesEachPortsReference) {
  const Read r = parseText(version2TwoPort("Y", kY, "[Reference] 50 75\n", false), "t.ts");
  ASSERT_TRUE(clean(r, "t.ts")) << r.message;
  expectTwoPort(r, zToS(yToZ(kY), 50.0, 75.0));
}

TEST(TouchstoneReadParameters, Version2TwoPortHUsesEachPortsReference) {
  for (const bool order21_12 : {false, true}) {
    const Read r = parseText(version2TwoPort("H", kH, "[Reference] 50 75\n", order21_12), "t.ts");
    ASSERT_TRUE(clean(r, "t.ts")) << r.message;
    EXPECT_EQ(r.parameter, "H");
    expectTwoPort(r, zToS(hToZ(kH), 50.0, 75.0));
  }
}

TEST(TouchstoneReadParameters, Version2TwoPortGUsesEachPortsReference) {
  const Read r = parseText(version2TwoPort("G", kG, "[Reference] 25 100\n", false), "t.ts");
  ASSERT_TRUE(clean(r, "t.ts")) << r.message;
  EXPECT_EQ(r.parameter, "G");
  expectTwoPort(r, zToS(gToZ(kG), 25.0, 100.0));
}

TEST(TouchstoneReadParameters, PerPortROnTheOptionLineServesAsReference) {
  const Read r = parseText(
      "[Version] 2.1\n# GHz Z RI R 50 75\n[Number of Ports] 2\n[Two-Port Data Order] 12_21\n"
      "[Number of Frequencies] 1\n[Network Data]\n" +
          twoPortLine("1", kZ, false) + "[End]\n",
      "t.ts");
  ASSERT_TRUE(clean(r, "t.ts")) << r.message;
  EXPECT_TRUE(sameBits(r.z0, {50.0, 75.0}));
  expectTwoPort(r, zToS(kZ, 50.0, 75.0));
}

TEST(TouchstoneReadParameters, ReferenceKeywordOverridesTheOptionLineR) {
  const Read r = parseText(version2TwoPort("Z", kZ, "[Reference] 50 75\n", false), "t.ts");
  ASSERT_TRUE(r.ok()) << r.message;
  EXPECT_TRUE(sameBits(r.z0, {50.0, 75.0}));  // the option line said R 50 for both
  const Read same = parseText(version2TwoPort("Z", kZ, "", false), "t.ts");
  ASSERT_TRUE(same.ok()) << same.message;
  EXPECT_TRUE(sameBits(same.z0, {50.0, 50.0}));
  expectTwoPort(same, zToS(kZ, 50.0, 50.0));
}

// Version 1: the file holds z = Z/R, y = Y R, h11/R, h22 R, g11 R, g22/R,
// and h12, h21, g12, g21 as they are; the two-port order is 21_12.
TEST(TouchstoneReadParameters, Version1TwoPortValuesAreUnNormalisedPerEntry) {
  constexpr double R = 75.0;
  const M2 zn = {Complex(0.4, 0.1), Complex(0.05, -0.02), Complex(0.08, 0.01), Complex(0.9, -0.3)};
  const M2 yn = {Complex(1.5, 0.4), Complex(-0.3, 0.0), Complex(-0.45, 0.07), Complex(1.1, -0.2)};
  const M2 hn = {Complex(0.5, 0.07), Complex(0.2, -0.05), Complex(-3.0, 1.0), Complex(0.75, 0.15)};
  const M2 gn = {Complex(1.5, 0.08), Complex(-0.1, 0.0), Complex(2.0, 0.5), Complex(0.4, -0.07)};
  const M2 z = {zn[0] * R, zn[1] * R, zn[2] * R, zn[3] * R};
  const M2 y = {yn[0] / R, yn[1] / R, yn[2] / R, yn[3] / R};
  const M2 h = {hn[0] * R, hn[1], hn[2], hn[3] / R};
  const M2 g = {gn[0] / R, gn[1], gn[2], gn[3] * R};
  const struct {
    const char* parameter;
    const char* name;
    const M2& file;
    M2 expected;
  } cases[] = {{"Z", "t.z2p", zn, zToS(z, R, R)},
               {"Y", "t.y2p", yn, zToS(yToZ(y), R, R)},
               {"H", "t.h2p", hn, zToS(hToZ(h), R, R)},
               {"G", "t.g2p", gn, zToS(gToZ(g), R, R)}};
  for (const auto& c : cases) {
    const Read r = parseText(
        std::string("# GHz ") + c.parameter + " RI R 75\n" + twoPortLine("1", c.file, true),
        c.name);
    ASSERT_TRUE(clean(r, c.name)) << c.parameter << ": " << r.message;
    EXPECT_TRUE(sameBits(r.z0, {R, R}));
    SCOPED_TRACE(c.parameter);
    expectTwoPort(r, c.expected);
  }
}

TEST(TouchstoneReadParameters, ParametersInMagnitudeAngleAreConvertedToo) {
  // Z of 100 ohms at 0 degrees and 50 ohms at 90 degrees (j50), one-port,
  // version 1 normalised to 50: z = 2 and z = j.
  const Read r = parseText("# Hz Z MA R 50\n1 2 0\n2 1 90\n", "t.s1p");
  ASSERT_TRUE(clean(r)) << r.message;
  EXPECT_TRUE(near(Complex(1.0 / 3.0, 0.0), r.s[0], kOnePort, 1.0));
  // (j - 1) / (j + 1) = j
  EXPECT_TRUE(near(Complex(0.0, 1.0), r.s[1], kOnePort, 1.0));
}

// Ports 1 and 3 coupled, 2 and 4 coupled, each pair with its own
// references: S is two 2x2 closed forms interleaved, and zero across.
TEST(TouchstoneReadParameters, FourPortZWithTwoCoupledPairsMatchesTheTwoPortClosedForms) {
  const M2 a = kZ;
  const M2 b = {Complex(80.0, 0.0), Complex(12.0, 3.0), Complex(12.0, 3.0), Complex(20.0, 15.0)};
  const double r[4] = {50.0, 25.0, 75.0, 100.0};
  Complex z[4][4] = {};
  z[0][0] = a[0];
  z[0][2] = a[1];
  z[2][0] = a[2];
  z[2][2] = a[3];
  z[1][1] = b[0];
  z[1][3] = b[1];
  z[3][1] = b[2];
  z[3][3] = b[3];
  std::string text =
      "[Version] 2.0\n# GHz Z RI\n[Number of Ports] 4\n[Number of Frequencies] 1\n"
      "[Reference] 50 25\n  75 100\n[Network Data]\n1";
  for (auto& row : z) {
    for (const Complex& v : row) {
      text += ' ';
      text += pairText(v);
    }
    text += '\n';
  }
  const Read read = parseText(text + "[End]\n", "t.ts");
  ASSERT_TRUE(clean(read, "t.ts")) << read.message;
  EXPECT_TRUE(sameBits(read.z0, {50.0, 25.0, 75.0, 100.0}));
  const M2 sa = zToS(a, r[0], r[2]);
  const M2 sb = zToS(b, r[1], r[3]);
  const double scale = std::max(largest(sa), largest(sb));
  const int ia[2] = {1, 3};
  const int ib[2] = {2, 4};
  for (int i = 0; i < 2; ++i) {
    for (int j = 0; j < 2; ++j) {
      EXPECT_TRUE(near(sa[static_cast<std::size_t>(2 * i + j)], read.S(0, ia[i], ia[j]),
                       kConversion, scale));
      EXPECT_TRUE(near(sb[static_cast<std::size_t>(2 * i + j)], read.S(0, ib[i], ib[j]),
                       kConversion, scale));
      EXPECT_TRUE(near(Complex(0.0, 0.0), read.S(0, ia[i], ib[j]), kConversion, scale));
      EXPECT_TRUE(near(Complex(0.0, 0.0), read.S(0, ib[i], ia[j]), kConversion, scale));
    }
  }
}

// ---- mixed mode ---------------------------------------------------------------------

struct Mode {
  char kind;
  int p, n;  // from 1
};

// S = M^T Smm M with M's row k the descriptor k: D (p, n) = (1, -1)/sqrt 2,
// C (p, n) = (1, 1)/sqrt 2, S p = 1.
std::vector<Complex> singleEnded(const std::vector<Complex>& smm, const std::vector<Mode>& modes) {
  const std::size_t n = modes.size();
  std::vector<double> m(n * n, 0.0);
  const double h = 1.0 / std::sqrt(2.0);
  for (std::size_t k = 0; k < n; ++k) {
    const auto p = static_cast<std::size_t>(modes[k].p - 1);
    const auto q = static_cast<std::size_t>(modes[k].n - 1);
    if (modes[k].kind == 'S') {
      m[k * n + p] = 1.0;
    } else {
      m[k * n + p] = h;
      m[k * n + q] = modes[k].kind == 'D' ? -h : h;
    }
  }
  std::vector<Complex> s(n * n);
  for (std::size_t i = 0; i < n; ++i) {
    for (std::size_t j = 0; j < n; ++j) {
      Complex sum = 0.0;
      for (std::size_t k = 0; k < n; ++k) {
        for (std::size_t l = 0; l < n; ++l) {
          sum += m[k * n + i] * smm[k * n + l] * m[l * n + j];
        }
      }
      s[i * n + j] = sum;
    }
  }
  return s;
}

// Each S entry sums at most four terms of Smm halved: a few roundings of the
// largest Smm entry.  1e-14 of it (about 45 ulp) bounds them with margin.
constexpr double kModes = 1e-14;

TEST(TouchstoneReadParameters, MixedModeOfTheReferenceExampleGivesSingleEndedS) {
  const std::vector<Mode> modes = {{'D', 2, 3}, {'D', 6, 5}, {'C', 2, 3},
                                   {'C', 6, 5}, {'S', 4, 4}, {'S', 1, 1}};
  std::mt19937_64 random(7);
  std::uniform_real_distribution<double> value(-1.0, 1.0);
  const std::size_t n = modes.size();
  std::vector<std::vector<Complex>> smm(2, std::vector<Complex>(n * n));
  std::string text =
      "[Version] 2.0\n# GHz S RI R 50\n[Number of Ports] 6\n[Number of Frequencies] 2\n"
      "[Mixed-Mode Order] D2,3 D6,5 C2,3\n  C6,5 ! continued\n  S4 S1\n[Network Data]\n";
  for (std::size_t k = 0; k < 2; ++k) {
    text += std::to_string(k + 1);
    for (Complex& z : smm[k]) {
      z = Complex(value(random), value(random));
      text += ' ';
      text += pairText(z);
    }
    text += '\n';
  }
  const Read r = parseText(text + "[End]\n", "t.ts");
  ASSERT_TRUE(clean(r, "t.ts")) << r.message;
  EXPECT_EQ(r.modes, (std::vector<std::string>{"D2,3", "D6,5", "C2,3", "C6,5", "S4", "S1"}));
  EXPECT_TRUE(sameBits(r.z0, std::vector<double>(6, 50.0)));
  for (std::size_t k = 0; k < 2; ++k) {
    const std::vector<Complex> s = singleEnded(smm[k], modes);
    double scale = 0.0;
    for (const Complex& z : smm[k]) {
      scale = std::max(scale, std::abs(z));
    }
    for (int i = 1; i <= 6; ++i) {
      for (int j = 1; j <= 6; ++j) {
        EXPECT_TRUE(
            near(s[static_cast<std::size_t>((i - 1) * 6 + j - 1)], r.S(k, i, j), kModes, scale))
            << "S" << i << j << " at " << k;
      }
    }
  }
}

TEST(TouchstoneReadParameters, PurelyDifferentialOpenGivesHalvesOfOppositeSign) {
  // Sdd = 1, the rest 0: S = d^T d = [[1/2, -1/2], [-1/2, 1/2]].
  const Read r = parseText(
      "[Version] 2.0\n# RI\n[Number of Ports] 2\n[Two-Port Data Order] 12_21\n"
      "[Number of Frequencies] 1\n[Mixed-Mode Order] D1,2 C1,2\n[Network Data]\n"
      "1 1 0 0 0 0 0 0 0\n[End]\n",
      "t.ts");
  ASSERT_TRUE(clean(r, "t.ts")) << r.message;
  EXPECT_TRUE(near(Complex(0.5, 0.0), r.S(0, 1, 1), kModes, 1.0));
  EXPECT_TRUE(near(Complex(-0.5, 0.0), r.S(0, 1, 2), kModes, 1.0));
  EXPECT_TRUE(near(Complex(-0.5, 0.0), r.S(0, 2, 1), kModes, 1.0));
  EXPECT_TRUE(near(Complex(0.5, 0.0), r.S(0, 2, 2), kModes, 1.0));
}

TEST(TouchstoneReadParameters, MixedModeTwoPortFollowsTheDataOrder) {
  // Smm = [[Sdd, Sdc], [Scd, Scc]], written 21_12: Sdd Scd Sdc Scc.
  const std::vector<Complex> smm = {Complex(0.1, 0.2), Complex(0.03, -0.04), Complex(-0.05, 0.06),
                                    Complex(0.7, -0.1)};
  const std::vector<Mode> modes = {{'D', 1, 2}, {'C', 1, 2}};
  const Read r = parseText(
      "[Version] 2.0\n# RI\n[Number of Ports] 2\n[Two-Port Data Order] 21_12\n"
      "[Number of Frequencies] 1\n[Mixed-Mode Order] D1,2 C1,2\n"
      "[Network Data]\n1 " +
          pairText(smm[0]) + " " + pairText(smm[2]) + " " + pairText(smm[1]) + " " +
          pairText(smm[3]) + "\n[End]\n",
      "t.ts");
  ASSERT_TRUE(clean(r, "t.ts")) << r.message;
  const std::vector<Complex> s = singleEnded(smm, modes);
  for (int i = 1; i <= 2; ++i) {
    for (int j = 1; j <= 2; ++j) {
      EXPECT_TRUE(near(s[static_cast<std::size_t>((i - 1) * 2 + j - 1)], r.S(0, i, j), kModes, 1.0))
          << "S" << i << j;
    }
  }
}

// Mixed-mode Z: the modes' references are 2 z0 (differential) and z0 / 2
// (common).  Zdd = 100 and Zcc = 25 uncoupled match both modes of 50-ohm
// ports: S = 0.  Otherwise Smm comes from the closed form with references
// 100 and 25, then S = M^T Smm M.
TEST(TouchstoneReadParameters, MixedModeImpedancesUseTwiceAndHalfTheReference) {
  const Read matched = parseText(
      "[Version] 2.0\n# Z RI\n[Number of Ports] 2\n[Two-Port Data Order] 12_21\n"
      "[Number of Frequencies] 1\n[Reference] 50 50\n[Mixed-Mode Order] D1,2 C1,2\n"
      "[Network Data]\n1 100 0 0 0 0 0 25 0\n[End]\n",
      "t.ts");
  ASSERT_TRUE(clean(matched, "t.ts")) << matched.message;
  for (const Complex& s : matched.s) {
    EXPECT_LT(std::abs(s), 1e-15);
  }
  const M2 zmm = {Complex(90.0, 20.0), Complex(3.0, -1.0), Complex(2.0, 1.5), Complex(30.0, -4.0)};
  const Read r = parseText(
      "[Version] 2.0\n# Z RI\n[Number of Ports] 2\n[Two-Port Data Order] 12_21\n"
      "[Number of Frequencies] 1\n[Reference] 40 40\n[Mixed-Mode Order] D1,2 C1,2\n"
      "[Network Data]\n" +
          twoPortLine("1", zmm, false) + "[End]\n",
      "t.ts");
  ASSERT_TRUE(clean(r, "t.ts")) << r.message;
  EXPECT_TRUE(sameBits(r.z0, {40.0, 40.0}));
  const M2 smm = zToS(zmm, 80.0, 20.0);
  const std::vector<Complex> s =
      singleEnded({smm[0], smm[1], smm[2], smm[3]}, {{'D', 1, 2}, {'C', 1, 2}});
  for (int i = 1; i <= 2; ++i) {
    for (int j = 1; j <= 2; ++j) {
      EXPECT_TRUE(near(s[static_cast<std::size_t>((i - 1) * 2 + j - 1)], r.S(0, i, j), kConversion,
                       largest(smm)))
          << "S" << i << j;
    }
  }
}

TEST(TouchstoneReadParameters, EachMixedModePairUsesItsOwnReference) {
  // Pair (1, 2) at 50 ohms, pair (3, 4) at 100 ohms: Zdd = 2 z0 and
  // Zcc = z0 / 2 match every mode, so S = 0.
  const Read r = parseText(
      "[Version] 2.0\n# Z RI\n[Number of Ports] 4\n[Number of Frequencies] 1\n"
      "[Reference] 50 50 100 100\n[Mixed-Mode Order] D1,2 C1,2 D3,4 C3,4\n[Network Data]\n"
      "1 100 0 0 0 0 0 0 0\n  0 0 25 0 0 0 0 0\n  0 0 0 0 200 0 0 0\n  0 0 0 0 0 0 50 0\n"
      "[End]\n",
      "t.ts");
  ASSERT_TRUE(clean(r, "t.ts")) << r.message;
  EXPECT_TRUE(sameBits(r.z0, {50.0, 50.0, 100.0, 100.0}));
  for (const Complex& s : r.s) {
    EXPECT_LT(std::abs(s), 1e-15);
  }
}

TEST(TouchstoneReadParameters, MixedModeLowerTriangleGivesASymmetricSingleEndedS) {
  const std::vector<Mode> modes = {{'D', 1, 3}, {'C', 1, 3}, {'S', 2, 2}, {'S', 4, 4}};
  std::mt19937_64 random(11);
  std::uniform_real_distribution<double> value(-1.0, 1.0);
  std::vector<Complex> smm(16);
  std::string text =
      "[Version] 2.0\n# RI\n[Number of Ports] 4\n[Number of Frequencies] 1\n"
      "[Matrix Format] Lower\n[Mixed-Mode Order] D1,3 C1,3 S2 S4\n[Network Data]\n1\n";
  for (std::size_t i = 0; i < 4; ++i) {
    for (std::size_t j = 0; j <= i; ++j) {
      smm[i * 4 + j] = smm[j * 4 + i] = Complex(value(random), value(random));
      text += ' ';
      text += pairText(smm[i * 4 + j]);
    }
    text += '\n';
  }
  const Read r = parseText(text + "[End]\n", "t.ts");
  ASSERT_TRUE(clean(r, "t.ts")) << r.message;
  const std::vector<Complex> s = singleEnded(smm, modes);
  for (int i = 1; i <= 4; ++i) {
    for (int j = 1; j <= 4; ++j) {
      EXPECT_TRUE(near(s[static_cast<std::size_t>((i - 1) * 4 + j - 1)], r.S(0, i, j), kModes, 2.0))
          << "S" << i << j;
      // Symmetric to rounding (the two sums run in different orders).
      EXPECT_TRUE(near(r.S(0, j, i), r.S(0, i, j), kModes, 2.0)) << "S" << i << j;
    }
  }
}

TEST(TouchstoneReadParameters, SingleEndedOnlyModeOrderPermutesThePorts) {
  // "S2 S1": the file's matrix is that of ports (2, 1).
  const Read r = parseText(
      "[Version] 2.0\n# RI\n[Number of Ports] 2\n[Two-Port Data Order] 12_21\n"
      "[Number of Frequencies] 1\n[Mixed-Mode Order] s2 s1\n[Network Data]\n"
      "1 22 0 21 0 12 0 11 0\n[End]\n",
      "t.ts");
  ASSERT_TRUE(clean(r, "t.ts")) << r.message;
  EXPECT_EQ(r.modes, (std::vector<std::string>{"S2", "S1"}));
  EXPECT_TRUE(sameBits(r.s, {Complex(11, 0), Complex(12, 0), Complex(21, 0), Complex(22, 0)}));
}

}  // namespace
