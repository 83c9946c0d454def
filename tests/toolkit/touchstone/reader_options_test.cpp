// The option line as the reader takes it: tokens by identity in any order
// and case, the defaults, the units scaled exactly from the decimal text,
// the numbers it accepts, R per port, and the version-1 port count taken
// from the name.  (Option lines it refuses are in reader_errors_test.cpp,
// the second option line of a version-1 file in reader_warnings_test.cpp.)
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "reader_test_support.h"

namespace {

using namespace zefra_reader_test;

// glibc's strtod, correctly rounded: the oracle for decimal texts.
double decimal(const std::string& text) {
  errno = 0;
  char* end = nullptr;
  const double value = std::strtod(text.c_str(), &end);
  EXPECT_EQ(*end, '\0') << text;
  return value;
}

TEST(TouchstoneReadOptions, BareHashGivesGigahertzSMagnitudeAngleAndFiftyOhms) {
  const Read r = parseText("#\n1 0.5 0\n");
  ASSERT_TRUE(clean(r)) << r.message;
  EXPECT_EQ(r.ports, 1);
  EXPECT_EQ(r.version, "1.0");
  EXPECT_EQ(r.unit, "GHz");
  EXPECT_EQ(r.parameter, "S");
  EXPECT_EQ(r.format, "MA");
  EXPECT_TRUE(sameBits(r.z0, {50.0}));
  EXPECT_TRUE(sameBits(r.f, {1e9}));
  // Magnitude 0.5 at 0 degrees: cos 0 = 1 and sin 0 = 0 exactly.
  EXPECT_TRUE(sameBits(r.s, {Complex(0.5, 0.0)}));
}

TEST(TouchstoneReadOptions, MissingTokensTakeTheirDefaultsOneByOne) {
  struct Case {
    const char* line;
    const char* unit;
    const char* parameter;
    const char* format;
    double r;
  };
  const Case cases[] = {{"# MHz", "MHz", "S", "MA", 50.0},
                        {"# RI", "GHz", "S", "RI", 50.0},
                        {"# Z", "GHz", "Z", "MA", 50.0},
                        {"# R 75", "GHz", "S", "MA", 75.0},
                        {"# Hz DB", "Hz", "S", "DB", 50.0}};
  for (const Case& c : cases) {
    const Read r = parseText(std::string(c.line) + "\n1 1 0\n");
    ASSERT_TRUE(clean(r)) << c.line << ": " << r.message;
    EXPECT_EQ(r.unit, c.unit) << c.line;
    EXPECT_EQ(r.parameter, c.parameter) << c.line;
    EXPECT_EQ(r.format, c.format) << c.line;
    EXPECT_TRUE(sameBits(r.z0, {c.r})) << c.line;
  }
}

TEST(TouchstoneReadOptions, TokensAreTakenByIdentityInAnyOrder) {
  const char* lines[] = {"# MHz S RI R 25", "# MHz RI S R 25", "# RI MHz R 25 S",
                         "# R 25 RI S MHz", "# S R 25 MHz RI", "# R 25 MHz RI S"};
  for (const char* line : lines) {
    const Read r = parseText(std::string(line) + "\n2 0.25 -0.5\n");
    ASSERT_TRUE(clean(r)) << line << ": " << r.message;
    EXPECT_EQ(r.unit, "MHz") << line;
    EXPECT_EQ(r.parameter, "S") << line;
    EXPECT_EQ(r.format, "RI") << line;
    EXPECT_TRUE(sameBits(r.z0, {25.0})) << line;
    EXPECT_TRUE(sameBits(r.f, {2e6})) << line;
    EXPECT_TRUE(sameBits(r.s, {Complex(0.25, -0.5)})) << line;
  }
}

TEST(TouchstoneReadOptions, TokensAreCaseInsensitiveAndKhzHasTwoSpellings) {
  const char* lines[] = {"# khz s ri r 50", "# KHZ S RI R 50", "# KHz s Ri r 50", "# kHz S rI R 50",
                         "# Khz S RI R 50"};
  for (const char* line : lines) {
    const Read r = parseText(std::string(line) + "\n3 1 2\n");
    ASSERT_TRUE(clean(r)) << line << ": " << r.message;
    EXPECT_EQ(r.unit, "kHz") << line;
    EXPECT_EQ(r.format, "RI") << line;
    EXPECT_TRUE(sameBits(r.f, {3e3})) << line;
  }
}

TEST(TouchstoneReadOptions, HashNeedsNoSpaceAndTheLineMayBeIndentedOrTabbed) {
  const char* lines[] = {"#MHz RI", "   # MHz RI", "\t#\tMHz\tRI\tR\t50", "#MHz\t RI  R   50  ",
                         "# MHz RI\r"};
  for (const char* line : lines) {
    const Read r = parseText(std::string(line) + "\n1 0.5 0.25\n");
    ASSERT_TRUE(clean(r)) << line << ": " << r.message;
    EXPECT_EQ(r.unit, "MHz") << line;
    EXPECT_EQ(r.format, "RI") << line;
    EXPECT_TRUE(sameBits(r.f, {1e6})) << line;
  }
}

TEST(TouchstoneReadOptions, CommentAfterTheOptionLineIsKept) {
  const Read r = parseText("! first\n# GHz S RI R 50 ! the options\n1 0 0 !value\n");
  ASSERT_TRUE(clean(r)) << r.message;
  EXPECT_EQ(r.comments, (std::vector<std::string>{" first", " the options", "value"}));
  EXPECT_EQ(r.unit, "GHz");
}

TEST(TouchstoneReadOptions, EachUnitScalesTheFrequency) {
  const struct {
    const char* token;
    double hz;
  } units[] = {{"Hz", 2.5}, {"kHz", 2.5e3}, {"MHz", 2.5e6}, {"GHz", 2.5e9}};
  for (const auto& unit : units) {
    const Read r = parseText(std::string("# ") + unit.token + " RI\n0 1 0\n2.5 1 0\n");
    ASSERT_TRUE(clean(r)) << unit.token << ": " << r.message;
    EXPECT_EQ(r.unit, unit.token);
    EXPECT_TRUE(sameBits(r.f, {0.0, unit.hz})) << unit.token;
  }
}

// "0.067" GHz is 67 MHz exactly; the double of 0.067 times 1e9 is not.
TEST(TouchstoneReadOptions, FrequencyIsScaledFromTheDecimalTextNotFromItsDouble) {
  EXPECT_NE(0.067 * 1e9, 67e6);  // the trap this guards against
  const Read one = parseText("# GHz RI\n0.067 1 0\n");
  ASSERT_TRUE(clean(one)) << one.message;
  EXPECT_TRUE(sameBits(one.f, {67e6}));
  const struct {
    const char* unit;
    const char* token;
    double hz;
  } cases[] = {{"GHz", "6.7e-2", 67e6},  {"GHz", "67E-3", 67e6}, {"GHz", "1.1", 1.1e9},
               {"MHz", "4.1", 4.1e6},    {"kHz", "0.3", 300.0},  {"GHz", "0.1", 1e8},
               {"MHz", "0.001", 1e3},    {"GHz", "1e-9", 1.0},   {"kHz", "1.5e+3", 1.5e6},
               {"GHz", "+2.25", 2.25e9}, {"GHz", "100000", 1e14}};
  for (const auto& c : cases) {
    const Read read = parseText(std::string("# ") + c.unit + " RI\n" + c.token + " 1 0\n");
    ASSERT_TRUE(clean(read)) << c.token << ": " << read.message;
    EXPECT_TRUE(sameBits(read.f, {c.hz})) << c.token << " " << c.unit;
  }
}

// Random decimals "k.ddd..." in each unit against strtod of the same digits
// with the exponent moved: the double nearest the exact product.
TEST(TouchstoneReadOptions, ScaledFrequenciesAreTheDoublesNearestTheExactDecimals) {
  std::mt19937_64 random(4242);
  const struct {
    const char* token;
    int shift;
  } units[] = {{"kHz", 3}, {"MHz", 6}, {"GHz", 9}};
  for (const auto& unit : units) {
    std::string text = std::string("# ") + unit.token + " RI\n";
    std::vector<double> expected;
    for (int k = 0; k < 400; ++k) {
      std::string digits;
      const int count = 1 + static_cast<int>(random() % 17);
      for (int d = 0; d < count; ++d) {
        digits += static_cast<char>('0' + random() % 10);
      }
      text += std::to_string(k) + "." + digits + " 1 0\n";
      // k.digits * 10^shift = (k digits) * 10^(shift - count)
      expected.push_back(
          decimal(std::to_string(k) + digits + "e" + std::to_string(unit.shift - count)));
    }
    const Read r = parseText(text);
    ASSERT_TRUE(clean(r)) << unit.token << ": " << r.message;
    EXPECT_TRUE(sameBits(expected, r.f)) << unit.token;
  }
}

// The unit scales the decimal before it is rounded: a text that is below
// the smallest subnormal in its unit may not be in hertz.
TEST(TouchstoneReadOptions, TinyFrequenciesAreScaledBeforeTheyAreRounded) {
  const Read r = parseText("# GHz RI\n1e-340 0 0\n1e-330 0 0\n2.5e-320 0 0\n");
  ASSERT_TRUE(clean(r)) << r.message;
  EXPECT_TRUE(sameBits(r.f, {0.0, decimal("1e-321"), decimal("2.5e-311")}));
  EXPECT_GT(r.f[1], 0.0);
}

TEST(TouchstoneReadOptions, NegativeZeroFrequencyReadsAsPositiveZero) {
  for (const char* zero : {"-0", "-0.0", "-0e5", "-.0E-3", "-1e-400"}) {
    const Read r = parseText(std::string("# GHz RI\n") + zero + " 1 0\n1 1 0\n");
    ASSERT_TRUE(clean(r)) << zero << ": " << r.message;
    EXPECT_TRUE(sameBits(r.f, {0.0, 1e9})) << zero;
  }
}

TEST(TouchstoneReadOptions, ZeroHertzIsALegalFirstFrequency) {
  const Read r = parseText("# Hz RI\n0 1 0\n1e-300 1 0\n");
  ASSERT_TRUE(clean(r)) << r.message;
  EXPECT_TRUE(sameBits(r.f, {0.0, 1e-300}));
}

TEST(TouchstoneReadOptions, NumbersTakeEveryDecimalSpellingAndALeadingPlus) {
  const struct {
    const char* token;
    double value;
  } cases[] = {{"5.", 5.0},
               {".5", 0.5},
               {"+.5", 0.5},
               {"-.5", -0.5},
               {"+1", 1.0},
               {"1E3", 1e3},
               {"1e+3", 1e3},
               {"1e-3", 1e-3},
               {"0005", 5.0},
               {"1.0E00", 1.0},
               {"+1.25E-03", 1.25e-3},
               {"-0", -0.0},
               {"+0", 0.0},
               {"123456789012345678901234567890", 1.2345678901234568e29}};
  for (const auto& c : cases) {
    const Read r = parseText(std::string("# RI\n1 ") + c.token + " " + c.token + "\n");
    ASSERT_TRUE(clean(r)) << c.token << ": " << r.message;
    EXPECT_TRUE(sameBits(r.s, {Complex(c.value, c.value)})) << c.token;
  }
}

TEST(TouchstoneReadOptions, MagnitudeBelowTheSmallestSubnormalReadsAsZeroOfItsSign) {
  const double tiny = std::numeric_limits<double>::denorm_min();
  const struct {
    const char* token;
    double value;
  } cases[] = {{"1e-400", 0.0},
               {"-1e-400", -0.0},
               {"0.000001e-320", 0.0},
               {"-100e-500", -0.0},
               {"2.4703282292062327e-324", 0.0},  // just below half the smallest subnormal
               {"-2.4703282292062327e-324", -0.0},
               {"2.4703282292062328e-324", tiny},  // just above: rounds up to it
               {"4.9406564584124654e-324", tiny},
               {"1e-310", 1e-310},
               {"-2.2250738585072011e-308", -2.2250738585072011e-308}};
  for (const auto& c : cases) {
    const Read r = parseText(std::string("# RI\n1 ") + c.token + " 0\n");
    ASSERT_TRUE(clean(r)) << c.token << ": " << r.message;
    EXPECT_TRUE(sameBits(r.s.at(0).real(), c.value)) << c.token;
    EXPECT_TRUE(sameBits(r.s.at(0).real(), decimal(c.token))) << c.token;
  }
}

TEST(TouchstoneReadOptions, LargestDoubleIsReadAndItsNeighboursRoundToIt) {
  const double big = std::numeric_limits<double>::max();
  for (const char* token : {"1.7976931348623157e308", "-1.7976931348623157e308",
                            "1.7976931348623158e308", "179769313486231570000000e285"}) {
    const Read r = parseText(std::string("# RI\n1 ") + token + " 0\n");
    ASSERT_TRUE(clean(r)) << token << ": " << r.message;
    EXPECT_TRUE(sameBits(std::abs(r.s.at(0).real()), big)) << token;
  }
}

TEST(TouchstoneReadOptions, ReferenceResistanceIsAnyPositiveReal) {
  const struct {
    const char* token;
    double value;
  } cases[] = {{"50.5", 50.5}, {"1e2", 100.0}, {"+75", 75.0}, {"0.001", 0.001}, {"1E-3", 0.001}};
  for (const auto& c : cases) {
    const Read r = parseText(std::string("# RI R ") + c.token + "\n1 0 0\n");
    ASSERT_TRUE(clean(r)) << c.token << ": " << r.message;
    EXPECT_TRUE(sameBits(r.z0, {c.value})) << c.token;
  }
}

TEST(TouchstoneReadOptions, OneRPerPortGivesEachPortItsReference) {
  const Read v1 = parseText(
      "# GHz S RI R 0.01 0.01 50 50\n"
      "1 1 0 0 0 0 0 0 0\n"
      "  0 0 1 0 0 0 0 0\n"
      "  0 0 0 0 1 0 0 0\n"
      "  0 0 0 0 0 0 1 0\n",
      "a.s4p");
  ASSERT_TRUE(clean(v1)) << v1.message;
  EXPECT_TRUE(sameBits(v1.z0, {0.01, 0.01, 50.0, 50.0}));

  const Read v2 = parseText(
      "[Version] 2.1\n"
      "# GHz S RI R 10 20 30\n"
      "[Number of Ports] 3\n"
      "[Number of Frequencies] 1\n"
      "[Network Data]\n"
      "1 1 0 0 0 0 0  0 0 1 0 0 0  0 0 0 0 1 0\n"
      "[End]\n",
      "a.ts");
  ASSERT_TRUE(clean(v2)) << v2.message;
  EXPECT_EQ(v2.version, "2.1");
  EXPECT_TRUE(sameBits(v2.z0, {10.0, 20.0, 30.0}));
}

TEST(TouchstoneReadOptions, Version1PortCountComesFromTheExtensionInAnyCase) {
  const struct {
    const char* name;
    int32_t ports;
  } cases[] = {{"a.s1p", 1},     {"a.S2P", 2},          {"b.y2p", 2},   {"c.Z3p", 3},
               {"d.h2P", 2},     {"e.G2p", 2},          {"f.s12p", 12}, {"dir.v2/g.s3p", 3},
               {"x.s2p.s4p", 4}, {"C:\\data\\h.S5P", 5}};
  for (const auto& c : cases) {
    std::string text = "# RI\n1";
    for (int32_t k = 0; k < c.ports * c.ports; ++k) {
      text += " 0 0";
    }
    const Read r = parseText(text + "\n", c.name);
    ASSERT_TRUE(warnedExactly(
        r, c.name,
        c.ports > 2 ? std::vector<Expected>{{2, "more than 4"}} : std::vector<Expected>{}))
        << c.name << ": " << r.message;
    EXPECT_EQ(r.ports, c.ports) << c.name;
    EXPECT_EQ(r.version, "1.0");
  }
}

TEST(TouchstoneReadOptions, ExtensionLetterDoesNotChooseTheParameter) {
  // The option line says S, the name .z1p: S it is.
  const Read r = parseText("# S RI\n1 0.5 0\n", "a.z1p");
  ASSERT_TRUE(clean(r)) << r.message;
  EXPECT_EQ(r.parameter, "S");
  EXPECT_TRUE(sameBits(r.s, {Complex(0.5, 0.0)}));
}

}  // namespace
