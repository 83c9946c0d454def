// Texts the reader refuses: each gives ZEFRA_TK_BAD_INPUT, no network and
// one line "NAME:LINE: expected ..., found ..." naming the line where the
// problem shows.  Sections 1 to 7 follow the format notes' list of what a
// strict reader rejects; then come the other refusals: names, numbers,
// bytes, conversions, mixed-mode descriptors and the C API's arguments.
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "reader_test_support.h"

namespace {

using namespace zefra_reader_test;

// ---- 1. no option line; keywords out of order ----------------------------------

TEST(TouchstoneReadErrors, DataBeforeAnyOptionLineIsRejected) {
  const Read r = parseText(lines({"! a comment", "1 0.5 0"}), "t.s1p");
  EXPECT_TRUE(rejected(r, "t.s1p", 2, "expected the option line '# <unit>"));
  EXPECT_NE(r.message.find("found '1 0.5 0'"), std::string::npos) << r.message;
}

TEST(TouchstoneReadErrors, VersionWithoutOptionLineIsRejected) {
  EXPECT_TRUE(rejected(parseText(lines({"[Version] 2.0", "[Number of Ports] 1"}), "t.ts"), "t.ts",
                       2, "expected the option line after [Version], found [Number of Ports]"));
  EXPECT_TRUE(rejected(parseText(lines({"[Version] 2.0", "1 0.5 0"}), "t.ts"), "t.ts", 2,
                       "expected the option line after [Version], found '1 0.5 0'"));
  EXPECT_TRUE(rejected(parseText(lines({"[Version] 2.0", "! no options"}), "t.ts"), "t.ts", 2,
                       "expected the option line after [Version], found the end of the file"));
}

TEST(TouchstoneReadErrors, KeywordBeforeVersionIsRejected) {
  EXPECT_TRUE(rejected(parseText(lines({"[Number of Ports] 1", "[Version] 2.0"}), "t.ts"), "t.ts",
                       1, "expected [Version] or the option line first, found [Number of Ports]"));
}

TEST(TouchstoneReadErrors, VersionAfterTheOptionLineIsRejected) {
  // The option line first makes the file version 1: no keywords then.
  EXPECT_TRUE(rejected(parseText(lines({"# GHz S RI R 50", "[Version] 2.0"}), "t.s1p"), "t.s1p", 2,
                       "expected no keywords in a version-1 file"));
}

TEST(TouchstoneReadErrors, KeywordBeforeNumberOfPortsIsRejected) {
  const Read r = parseText(lines({"[Version] 2.0", "# GHz S RI R 50", "[Number of Frequencies] 1",
                                  "[Number of Ports] 1"}),
                           "t.ts");
  EXPECT_TRUE(rejected(r, "t.ts", 3,
                       "expected [Number of Ports] after the option line, found "
                       "[Number of Frequencies]"));
}

TEST(TouchstoneReadErrors, ReferenceBeforeNumberOfPortsIsRejected) {
  const Read r = parseText(lines({"! header", "[Version] 2.0", "# GHz S RI R 50",
                                  "[Reference] 50 75", "[Number of Ports] 2"}),
                           "t.ts");
  EXPECT_TRUE(rejected(r, "t.ts", 4,
                       "expected [Number of Ports] after the option line, found [Reference]"));
}

TEST(TouchstoneReadErrors, DataBeforeNumberOfPortsIsRejected) {
  EXPECT_TRUE(rejected(parseText(lines({"[Version] 2.0", "# RI", "1 0 0"}), "t.ts"), "t.ts", 3,
                       "expected [Number of Ports] after the option line, found '1 0 0'"));
}

TEST(TouchstoneReadErrors, NoiseDataOrEndBeforeNetworkDataIsRejected) {
  for (const char* keyword : {"[Noise Data]", "[End]", "[End Information]"}) {
    const Read r = parseText(
        lines({"[Version] 2.0", "# RI", "[Number of Ports] 2", "[Two-Port Data Order] 12_21",
               "[Number of Frequencies] 1", "[Number of Noise Frequencies] 1", keyword}),
        "t.ts");
    EXPECT_TRUE(rejected(r, "t.ts", 7, std::string("expected [Network Data] before ") + keyword))
        << keyword;
  }
}

TEST(TouchstoneReadErrors, HeaderKeywordAfterNetworkDataIsRejected) {
  const Read noArgument = parseText(
      lines({"[Version] 2.0", "# RI", "[Number of Ports] 1", "[Number of Frequencies] 1",
             "[Network Data]", "1 0 0", "[Begin Information]", "[End Information]", "[End]"}),
      "t.ts");
  EXPECT_TRUE(rejected(noArgument, "t.ts", 7,
                       "expected [Noise Data] or [End] after the data, found [Begin Information]"));
  const Read withArgument =
      parseText(lines({"[Version] 2.0", "# RI", "[Number of Ports] 1", "[Number of Frequencies] 1",
                       "[Network Data]", "1 0 0", "[Matrix Format] Full", "[End]"}),
                "t.ts");
  EXPECT_TRUE(rejected(withArgument, "t.ts", 7, "[Matrix Format]"));
}

TEST(TouchstoneReadErrors, NetworkDataAfterNoiseDataIsRejected) {
  const Read r = parseText(
      lines({"[Version] 2.0", "# RI", "[Number of Ports] 2", "[Two-Port Data Order] 12_21",
             "[Number of Frequencies] 1", "[Number of Noise Frequencies] 1", "[Network Data]",
             "1 0 0 0 0 0 0 0 0", "[Noise Data]", "1 0.5 0.5 90 10", "[Network Data]", "[End]"}),
      "t.ts");
  EXPECT_TRUE(rejected(r, "t.ts", 11, "expected [End] after the data, found [Network Data]"));
}

// ---- 2. option tokens, R --------------------------------------------------------

TEST(TouchstoneReadErrors, UnknownOptionTokenIsRejected) {
  const struct {
    const char* line;
    const char* token;
  } cases[] = {{"# GHz S XY R 50", "XY"}, {"# GHz S RI R 50 foo", "foo"},
               {"# THz S RI", "THz"},     {"# GHz S RI Ohm", "Ohm"},
               {"# GHz SS RI", "SS"},     {"# GHz, S, RI", "GHz,"},
               {"# GHz T RI", "T"},       {"! c\n# GHz S RI R 50 50x", "50x"}};
  for (const auto& c : cases) {
    const std::string text = std::string(c.line) + "\n1 0 0\n";
    const int64_t line = std::string(c.line).find('\n') == std::string::npos ? 1 : 2;
    EXPECT_TRUE(rejected(parseText(text, "t.s1p"), "t.s1p", line,
                         std::string("or R on the option line, found '") + c.token + "'"))
        << c.line;
  }
}

TEST(TouchstoneReadErrors, SecondTokenOfOneKindIsRejected) {
  const struct {
    const char* line;
    const char* phrase;
  } cases[] = {{"# GHz MHz", "one frequency unit on the option line, found a second one 'MHz'"},
               {"# S y", "one parameter on the option line, found a second one 'y'"},
               {"# RI MA", "one format on the option line, found a second one 'MA'"},
               {"# R 50 R 60", "one R on the option line, found a second 'R'"}};
  for (const auto& c : cases) {
    EXPECT_TRUE(rejected(parseText(std::string(c.line) + "\n1 0 0\n"), "t.s1p", 1, c.phrase))
        << c.line;
  }
}

TEST(TouchstoneReadErrors, RWithoutANumberIsRejected) {
  EXPECT_TRUE(rejected(parseText("# GHz S RI R\n1 0 0\n"), "t.s1p", 1,
                       "a positive reference resistance after R (a real number of ohms; a complex "
                       "R is not Touchstone), found nothing"));
  EXPECT_TRUE(rejected(parseText("# R S RI\n1 0 0\n"), "t.s1p", 1, "found 'S'"));
  for (const char* value : {"inf", "nan", "0x32", "fifty", "1e400"}) {
    EXPECT_TRUE(rejected(parseText(std::string("# RI R ") + value + "\n1 0 0\n"), "t.s1p", 1,
                         std::string("a positive reference resistance after R (a real number of "
                                     "ohms; a complex R is not Touchstone), found '") +
                             value + "'"))
        << value;
  }
}

TEST(TouchstoneReadErrors, RThatIsNotPositiveIsRejected) {
  for (const char* value : {"0", "-50", "-0", "0.0", "-1e-400", "1e-400"}) {
    EXPECT_TRUE(rejected(
        parseText(std::string("# RI R ") + value + "\n1 0 0\n"), "t.s1p", 1,
        std::string("expected a positive reference resistance after R, found '") + value + "'"))
        << value;
  }
}

TEST(TouchstoneReadErrors, ComplexRIsRejected) {
  for (const char* value : {"50+j10", "(50,10)", "50+10j", "j10", "50-5i"}) {
    EXPECT_TRUE(rejected(parseText(std::string("# GHz S RI R ") + value + "\n1 0 0\n"), "t.s1p", 1,
                         std::string("a complex R is not Touchstone), found '") + value + "'"))
        << value;
  }
  // A real and an imaginary part as two tokens: the second is no option.
  EXPECT_TRUE(rejected(parseText("# GHz S RI R 50 j10\n1 0 0\n"), "t.s1p", 1, "found 'j10'"));
  // Two numbers for a one-port: not one R per port either.
  EXPECT_TRUE(rejected(parseText("# GHz S RI R 50 10\n1 0 0\n"), "t.s1p", 1,
                       "expected one R, or one per port (1), found 2"));
}

TEST(TouchstoneReadErrors, RCountOtherThanOneOrThePortCountIsRejected) {
  EXPECT_TRUE(rejected(parseText("# RI R 50 75\n1 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0\n", "t.s3p"),
                       "t.s3p", 1, "expected one R, or one per port (3), found 2"));
  const Read v2 =
      parseText(lines({"[Version] 2.1", "# RI R 50 75", "[Number of Ports] 3"}), "t.ts");
  EXPECT_TRUE(rejected(v2, "t.ts", 3,
                       "expected one R on the option line, or one per port (3), "
                       "found 2"));
}

// ---- 3. a value count that is not a whole number of data sets ------------------

TEST(TouchstoneReadErrors, IncompleteLastDataSetIsRejectedAtTheEnd) {
  const Read r = parseText(lines({"# RI", "1 0.5 0", "2 0.5"}), "t.s1p");
  EXPECT_TRUE(rejected(r, "t.s1p", 3,
                       "expected 1 more values for the data set of line 3 (2000000000 Hz; 2 values "
                       "after each frequency), found the end of the file"));
  // Comment lines after it: the end of the text is where it shows.
  const Read after = parseText(lines({"# RI", "1 0.5 0", "2 0.5", "! more", ""}), "t.s1p");
  EXPECT_TRUE(rejected(after, "t.s1p", 5, "for the data set of line 3"));
}

TEST(TouchstoneReadErrors, TwoPortWithAValueMissingIsRejected) {
  const Read r = parseText(lines({"# RI", "1 1 2 3 4 5 6 7 8", "2 1 2 3 4 5 6", "  7"}), "t.s2p");
  EXPECT_TRUE(rejected(r, "t.s2p", 4, "expected 1 more values for the data set of line 3"));
  // A value missing in the first set shifts the rest: the next frequency is
  // read as the missing value, and the leftovers fail further on.
  const Read shifted = parseText(lines({"# RI", "1 1 2 3 4 5 6 7", "2 1 2 3 4 5 6 7 8"}), "t.s2p");
  EXPECT_TRUE(rejected(shifted, "t.s2p", 3, "expected frequencies that increase"));
}

TEST(TouchstoneReadErrors, IncompleteDataSetBeforeEndIsRejectedAtEnd) {
  const Read r =
      parseText(lines({"[Version] 2.0", "# RI", "[Number of Ports] 1", "[Number of Frequencies] 2",
                       "[Network Data]", "1 0 0", "2 0", "[End]"}),
                "t.ts");
  EXPECT_TRUE(rejected(r, "t.ts", 8, "expected 1 more values for the data set of line 7"));
  EXPECT_NE(r.message.find("found [End]"), std::string::npos) << r.message;
}

TEST(TouchstoneReadErrors, TriangleGivenAsAFullMatrixIsRejected) {
  // [Matrix Format] Lower: 3 pairs per two-port data set, not 4.
  const Read r = parseText(
      lines({"[Version] 2.0", "# RI", "[Number of Ports] 2", "[Two-Port Data Order] 12_21",
             "[Number of Frequencies] 1", "[Matrix Format] Lower", "[Network Data]",
             "1 11 0 21 0 22 0 12 0", "[End]"}),
      "t.ts");
  EXPECT_TRUE(rejected(r, "t.ts", 8, "expected 1 data sets ([Number of Frequencies]), found more"));
}

// ---- 4. frequencies that do not increase ----------------------------------------

TEST(TouchstoneReadErrors, RepeatedFrequencyIsRejected) {
  const Read r = parseText(lines({"# GHz RI", "1 0 0", "1 0 0"}), "t.s1p");
  EXPECT_TRUE(rejected(r, "t.s1p", 3,
                       "expected frequencies that increase, found 1000000000 Hz after 1000000000 "
                       "Hz"));
}

TEST(TouchstoneReadErrors, DecreasingFrequencyIsRejectedForEveryPortCount) {
  const Read one = parseText(lines({"# MHz RI", "1 0 0", "3 0 0", "2 0 0"}), "t.s1p");
  EXPECT_TRUE(rejected(one, "t.s1p", 4, "found 2000000 Hz after 3000000 Hz"));
  const Read three = parseText(
      lines({"# Hz RI", "5 0 0 0 0 0 0", "  0 0 0 0 0 0", "  0 0 0 0 0 0", "4 0 0 0 0 0 0"}),
      "t.s3p");
  EXPECT_TRUE(
      rejected(three, "t.s3p", 5, "expected frequencies that increase, found 4 Hz after 5 Hz"));
  // Zero after a positive frequency, and -0 after 0.
  EXPECT_TRUE(rejected(parseText(lines({"# RI", "1 0 0", "0 0 0"})), "t.s1p", 3,
                       "found 0 Hz after 1000000000 Hz"));
  EXPECT_TRUE(
      rejected(parseText(lines({"# RI", "0 0 0", "-0 0 0"})), "t.s1p", 3, "found 0 Hz after 0 Hz"));
}

// A two-port drop is noise only on a row of five numbers.
TEST(TouchstoneReadErrors, TwoPortDropThatIsNoNoiseRowIsRejected) {
  const Read full = parseText(
      lines({"# RI", "1 0 0 0 0 0 0 0 0", "2 0 0 0 0 0 0 0 0", "1.5 0 0 0 0 0 0 0 0"}), "t.s2p");
  EXPECT_TRUE(rejected(full, "t.s2p", 4, "expected frequencies that increase"));
  const Read split = parseText(
      lines({"# RI", "1 0 0 0 0 0 0 0 0", "2 0 0 0 0 0 0 0 0", "1.5 0 0", "0 0 0 0 0 0"}), "t.s2p");
  EXPECT_TRUE(rejected(split, "t.s2p", 4, "expected frequencies that increase"));
  // Five tokens, but the frequency not first on its line.
  const Read inside =
      parseText(lines({"# RI", "1 0 0 0 0 0 0 0 0", "2 0 0 0 0 0 0 0", "0 1 1 1 1"}), "t.s2p");
  EXPECT_TRUE(rejected(inside, "t.s2p", 4, "expected frequencies that increase"));
}

TEST(TouchstoneReadErrors, DropWithFiveNumbersIsNoNoiseForAnotherPortCountOrVersion2) {
  // Version 1 one-port: "1 2 3 4 5" after 2 GHz is not noise.
  const Read one = parseText(lines({"# RI", "1 0 0", "2 0 0", "1 2 3 4 5"}), "t.s1p");
  EXPECT_TRUE(rejected(one, "t.s1p", 4, "expected frequencies that increase"));
  // Version 2 two-port: noise comes only after [Noise Data].
  const Read v2 =
      parseText(lines({"[Version] 2.0", "# RI", "[Number of Ports] 2",
                       "[Two-Port Data Order] 12_21", "[Number of Frequencies] 3", "[Network Data]",
                       "1 0 0 0 0 0 0 0 0", "2 0 0 0 0 0 0 0 0", "1 0.5 0.5 90 10", "[End]"}),
                "t.ts");
  EXPECT_TRUE(rejected(v2, "t.ts", 9, "expected frequencies that increase"));
}

// ---- 5. no data sets: never an empty network ------------------------------------

TEST(TouchstoneReadErrors, EmptyTextIsRejected) {
  EXPECT_TRUE(rejected(parseText(""), "t.s1p", 1,
                       "expected the option line '# <unit> <parameter> <format> R <n>' (or "
                       "[Version]), found the end of the file"));
  EXPECT_TRUE(rejected(parseText("", "t.ts"), "t.ts", 1, "found the end of the file"));
}

TEST(TouchstoneReadErrors, EmptyTextWithANullPointerIsRejected) {
  zefra_tk_network* network = nullptr;
  char message[512];
  const zefra_tk_status status =
      zefra_tk_touchstone_parse(nullptr, 0, "t.s1p", &network, message, sizeof message);
  const Read r = collect(status, network, message);
  EXPECT_TRUE(rejected(r, "t.s1p", 1, "found the end of the file"));
}

TEST(TouchstoneReadErrors, BlankOrCommentOnlyTextIsRejected) {
  EXPECT_TRUE(
      rejected(parseText(lines({"! a", "", "! b"})), "t.s1p", 3, "expected the option line"));
  EXPECT_TRUE(rejected(parseText("\n\n  \t\n"), "t.s1p", 3, "expected the option line"));
  EXPECT_TRUE(rejected(parseText("\xEF\xBB\xBF"), "t.s1p", 1, "expected the option line"));
}

TEST(TouchstoneReadErrors, OptionLineAloneIsRejected) {
  EXPECT_TRUE(rejected(parseText("# GHz S RI R 50\n"), "t.s1p", 1,
                       "expected network data (a frequency and its 2 values), found the end of "
                       "the file"));
  EXPECT_TRUE(rejected(parseText("# GHz S RI R 50", "t.s2p"), "t.s2p", 1,
                       "expected network data (a frequency and its 8 values)"));
  EXPECT_TRUE(
      rejected(parseText(lines({"# RI", "! nothing", ""})), "t.s1p", 3, "expected network data"));
}

TEST(TouchstoneReadErrors, Version2WithoutDataSetsIsRejected) {
  EXPECT_TRUE(rejected(parseText(lines({"[Version] 2.0", "# RI", "[Number of Ports] 1",
                                        "[Number of Frequencies] 1", "[Network Data]", "[End]"}),
                                 "t.ts"),
                       "t.ts", 6,
                       "expected network data (a frequency and its 2 values), found [End]"));
  EXPECT_TRUE(rejected(parseText(lines({"[Version] 2.0", "# RI", "[Number of Ports] 1",
                                        "[Number of Frequencies] 1", "[Network Data]"}),
                                 "t.ts"),
                       "t.ts", 5, "expected network data"));
  EXPECT_TRUE(rejected(parseText(lines({"[Version] 2.0", "# RI", "[Number of Ports] 1",
                                        "[Number of Frequencies] 1"}),
                                 "t.ts"),
                       "t.ts", 4, "expected [Network Data], found the end of the file"));
  EXPECT_TRUE(rejected(parseText(lines({"[Version] 2.0", "# RI"}), "t.ts"), "t.ts", 2,
                       "expected [Number of Ports], found the end of the file"));
}

// A header announcing the largest port count, and no data: the text is
// short, so is the work (nothing the size of a 100,000-port matrix is
// reserved before data come).
TEST(TouchstoneReadErrors, LargestPortCountWithoutDataIsRejectedLikeAnyOther) {
  const Read v2 = parseText(lines({"[Version] 2.0", "# RI", "[Number of Ports] 100000",
                                   "[Number of Frequencies] 1", "[Network Data]", "[End]"}),
                            "t.ts");
  EXPECT_TRUE(rejected(v2, "t.ts", 6,
                       "expected network data (a frequency and its 20000000000 values), found "
                       "[End]"));
  const Read v1 = parseText(lines({"# RI", "1 0 0"}), "t.s100000p");
  EXPECT_TRUE(
      rejected(v1, "t.s100000p", 2, "expected 19999999998 more values for the data set of line 2"));
  const Read lower =
      parseText(lines({"[Version] 2.0", "# RI", "[Number of Ports] 99999",
                       "[Number of Frequencies] 1", "[Matrix Format] Upper", "[Network Data]"}),
                "t.ts");
  EXPECT_TRUE(rejected(lower, "t.ts", 6, "(a frequency and its 9999900000 values)"));
}

// ---- 6. version-2 keywords -------------------------------------------------------

TEST(TouchstoneReadErrors, MissingNumberOfFrequenciesIsRejected) {
  const Read r = parseText(
      lines({"[Version] 2.0", "# RI", "[Number of Ports] 1", "[Network Data]", "1 0 0", "[End]"}),
      "t.ts");
  EXPECT_TRUE(rejected(r, "t.ts", 4, "expected [Number of Frequencies] before [Network Data]"));
}

TEST(TouchstoneReadErrors, FewerDataSetsThanAnnouncedAreRejected) {
  const Read atEnd =
      parseText(lines({"[Version] 2.0", "# RI", "[Number of Ports] 1", "[Number of Frequencies] 3",
                       "[Network Data]", "1 0 0", "2 0 0", "[End]"}),
                "t.ts");
  EXPECT_TRUE(
      rejected(atEnd, "t.ts", 8, "expected 3 data sets ([Number of Frequencies]), found 2"));
  const Read noEnd =
      parseText(lines({"[Version] 2.0", "# RI", "[Number of Ports] 1", "[Number of Frequencies] 3",
                       "[Network Data]", "1 0 0", "2 0 0"}),
                "t.ts");
  EXPECT_TRUE(
      rejected(noEnd, "t.ts", 7, "expected 3 data sets ([Number of Frequencies]), found 2"));
}

TEST(TouchstoneReadErrors, MoreDataSetsThanAnnouncedAreRejectedAtTheFirstExtra) {
  const Read r =
      parseText(lines({"[Version] 2.0", "# RI", "[Number of Ports] 1", "[Number of Frequencies] 2",
                       "[Network Data]", "1 0 0", "2 0 0", "3 0 0", "4 0 0", "[End]"}),
                "t.ts");
  EXPECT_TRUE(rejected(r, "t.ts", 8, "expected 2 data sets ([Number of Frequencies]), found more"));
}

TEST(TouchstoneReadErrors, TwoPortWithoutDataOrderIsRejected) {
  const Read r =
      parseText(lines({"[Version] 2.0", "# RI", "[Number of Ports] 2", "[Number of Frequencies] 1",
                       "", "[Network Data]", "1 0 0 0 0 0 0 0 0", "[End]"}),
                "t.ts");
  EXPECT_TRUE(rejected(r, "t.ts", 6,
                       "expected [Two-Port Data Order] before [Network Data] in a two-port file"));
}

TEST(TouchstoneReadErrors, DataOrderForAnotherPortCountIsRejected) {
  for (const char* ports : {"1", "3", "4"}) {
    const Read r =
        parseText(lines({"[Version] 2.0", "# RI", std::string("[Number of Ports] ") + ports,
                         "[Two-Port Data Order] 12_21"}),
                  "t.ts");
    EXPECT_TRUE(
        rejected(r, "t.ts", 4,
                 std::string("expected [Two-Port Data Order] only in a two-port file, found "
                             "it in a ") +
                     ports + "-port file"))
        << ports;
  }
}

TEST(TouchstoneReadErrors, DataOrderOtherThan12_21Or21_12IsRejected) {
  for (const char* order : {"12-21", "21_21", "", "12_21 21_12", "row"}) {
    const Read r = parseText(lines({"[Version] 2.0", "# RI", "[Number of Ports] 2",
                                    std::string("[Two-Port Data Order] ") + order}),
                             "t.ts");
    EXPECT_TRUE(rejected(r, "t.ts", 4, "expected 12_21 or 21_12 after [Two-Port Data Order]"))
        << order;
  }
}

TEST(TouchstoneReadErrors, ReferenceWithTooFewValuesIsRejectedAtTheNextKeyword) {
  const Read r = parseText(lines({"[Version] 2.0", "# RI", "[Number of Ports] 3", "[Reference] 50",
                                  "! between", "75", "[Number of Frequencies] 1"}),
                           "t.ts");
  EXPECT_TRUE(rejected(r, "t.ts", 7,
                       "expected 3 values after the [Reference] of line 4, found 2 before "
                       "[Number of Frequencies]"));
  const Read beforeData = parseText(
      lines({"[Version] 2.0", "# RI", "[Number of Ports] 2", "[Two-Port Data Order] 12_21",
             "[Number of Frequencies] 1", "[Reference] 50", "[Network Data]", "1 0 0 0 0 0 0 0 0"}),
      "t.ts");
  EXPECT_TRUE(rejected(beforeData, "t.ts", 7,
                       "expected 2 values after the [Reference] of line 6, found 1 before "
                       "[Network Data]"));
  const Read empty = parseText(lines({"[Version] 2.0", "# RI", "[Number of Ports] 1", "[Reference]",
                                      "[Number of Frequencies] 1"}),
                               "t.ts");
  EXPECT_TRUE(rejected(empty, "t.ts", 5, "found 0 before [Number of Frequencies]"));
}

TEST(TouchstoneReadErrors, ReferenceWithTooManyValuesIsRejectedAtTheExtraValue) {
  const Read sameLine = parseText(
      lines({"[Version] 2.0", "# RI", "[Number of Ports] 2", "[Reference] 50 50 75"}), "t.ts");
  EXPECT_TRUE(
      rejected(sameLine, "t.ts", 4, "expected 2 values after [Reference], found more: '75'"));
  // Once complete, a further number line is no keyword argument any more.
  const Read nextLine = parseText(
      lines({"[Version] 2.0", "# RI", "[Number of Ports] 2", "[Reference] 50", "50", "75"}),
      "t.ts");
  EXPECT_TRUE(
      rejected(nextLine, "t.ts", 6, "expected a keyword before [Network Data], found '75'"));
}

TEST(TouchstoneReadErrors, ReferenceThatIsNotAPositiveNumberIsRejected) {
  for (const char* value : {"0", "-50", "-0", "1e-400"}) {
    const Read r = parseText(lines({"[Version] 2.0", "# RI", "[Number of Ports] 1",
                                    std::string("[Reference] ") + value}),
                             "t.ts");
    EXPECT_TRUE(rejected(r, "t.ts", 4,
                         std::string("expected a positive reference resistance in [Reference], "
                                     "found '") +
                             value + "'"))
        << value;
  }
  for (const char* value : {"inf", "50+j10", "(50,0)"}) {
    const Read r = parseText(lines({"[Version] 2.0", "# RI", "[Number of Ports] 1",
                                    std::string("[Reference] ") + value}),
                             "t.ts");
    EXPECT_TRUE(rejected(r, "t.ts", 4, std::string("expected a number, found '") + value + "'"))
        << value;
  }
}

TEST(TouchstoneReadErrors, NoiseDataWithoutItsCountIsRejected) {
  const Read r =
      parseText(lines({"[Version] 2.0", "# RI", "[Number of Ports] 2",
                       "[Two-Port Data Order] 12_21", "[Number of Frequencies] 1", "[Network Data]",
                       "1 0 0 0 0 0 0 0 0", "[Noise Data]", "1 0.5 0.5 90 10", "[End]"}),
                "t.ts");
  EXPECT_TRUE(rejected(r, "t.ts", 8,
                       "expected [Number of Noise Frequencies] before [Network Data] in a file "
                       "with [Noise Data]"));
}

TEST(TouchstoneReadErrors, NoiseForAnotherThanATwoPortIsRejected) {
  const Read count =
      parseText(lines({"[Version] 2.0", "# RI", "[Number of Ports] 1", "[Number of Frequencies] 1",
                       "[Number of Noise Frequencies] 1"}),
                "t.ts");
  EXPECT_TRUE(rejected(count, "t.ts", 5,
                       "expected noise data only in a two-port file, found [Number of Noise "
                       "Frequencies] in a 1-port file"));
  const Read block =
      parseText(lines({"[Version] 2.0", "# RI", "[Number of Ports] 1", "[Number of Frequencies] 1",
                       "[Network Data]", "1 0 0", "[Noise Data]", "1 0.5 0.5 90 10", "[End]"}),
                "t.ts");
  EXPECT_TRUE(rejected(block, "t.ts", 7, "[Noise Data]"));
}

TEST(TouchstoneReadErrors, AnnouncedNoiseDataThatNeverComesIsRejected) {
  const Read atEnd = parseText(
      lines({"[Version] 2.0", "# RI", "[Number of Ports] 2", "[Two-Port Data Order] 12_21",
             "[Number of Frequencies] 1", "[Number of Noise Frequencies] 1", "[Network Data]",
             "1 0 0 0 0 0 0 0 0", "[End]"}),
      "t.ts");
  EXPECT_TRUE(rejected(atEnd, "t.ts", 9,
                       "expected [Noise Data] ([Number of Noise Frequencies] announces it), found "
                       "[End]"));
  const Read noEnd =
      parseText(lines({"[Version] 2.0", "# RI", "[Number of Ports] 2",
                       "[Two-Port Data Order] 12_21", "[Number of Frequencies] 1",
                       "[Number of Noise Frequencies] 1", "[Network Data]", "1 0 0 0 0 0 0 0 0"}),
                "t.ts");
  EXPECT_TRUE(rejected(noEnd, "t.ts", 8, "found the end of the file"));
}

TEST(TouchstoneReadErrors, NoiseRowCountOtherThanAnnouncedIsRejected) {
  const std::vector<std::string> head = {"[Version] 2.0",
                                         "# RI",
                                         "[Number of Ports] 2",
                                         "[Two-Port Data Order] 12_21",
                                         "[Number of Frequencies] 1",
                                         "[Number of Noise Frequencies] 2",
                                         "[Network Data]",
                                         "1 0 0 0 0 0 0 0 0",
                                         "[Noise Data]"};
  std::string text;
  for (const std::string& line : head) {
    text += line + "\n";
  }
  const Read fewer = parseText(text + "1 0.5 0.5 90 10\n[End]\n", "t.ts");
  EXPECT_TRUE(rejected(fewer, "t.ts", 11,
                       "expected 2 noise rows ([Number of Noise Frequencies]), found 1"));
  const Read more =
      parseText(text + "1 0.5 0.5 90 10\n2 0.5 0.5 90 10\n3 0.5 0.5 90 10\n[End]\n", "t.ts");
  EXPECT_TRUE(rejected(more, "t.ts", 12,
                       "expected 2 noise rows ([Number of Noise Frequencies]), found more"));
  const Read partial = parseText(text + "1 0.5 0.5 90 10\n2 0.5 0.5\n[End]\n", "t.ts");
  EXPECT_TRUE(rejected(partial, "t.ts", 12,
                       "expected 2 more values for the noise row of line 11, found [End]"));
}

TEST(TouchstoneReadErrors, DuplicateKeywordIsRejected) {
  const char* keywords[] = {"[Version] 2.0",  "[Number of Ports] 1",  "[Number of Frequencies] 1",
                            "[Reference] 50", "[Matrix Format] Full", "[Mixed-Mode Order] S1"};
  for (const char* keyword : keywords) {
    const std::string name = std::string(keyword).substr(0, std::string(keyword).find(']') + 1);
    const Read r = parseText(
        lines({"[Version] 2.0", "# RI", "[Number of Ports] 1", "[Number of Frequencies] 1",
               "[Reference] 50", "[Matrix Format] Full", "[Mixed-Mode Order] S1", keyword}),
        "t.ts");
    EXPECT_TRUE(rejected(r, "t.ts", 8, "expected " + name + " once, found a second one"))
        << keyword;
  }
  const Read order =
      parseText(lines({"[Version] 2.0", "# RI", "[Number of Ports] 2",
                       "[Two-Port Data Order] 12_21", "[Two-Port Data Order] 12_21"}),
                "t.ts");
  EXPECT_TRUE(rejected(order, "t.ts", 5, "expected [Two-Port Data Order] once"));
  const Read noise =
      parseText(lines({"[Version] 2.0", "# RI", "[Number of Ports] 2",
                       "[Number of Noise Frequencies] 1", "[number of noise frequencies] 1"}),
                "t.ts");
  EXPECT_TRUE(rejected(noise, "t.ts", 5, "expected [Number of Noise Frequencies] once"));
  const Read data =
      parseText(lines({"[Version] 2.0", "# RI", "[Number of Ports] 1", "[Number of Frequencies] 1",
                       "[Network Data]", "1 0 0", "[Network Data]", "[End]"}),
                "t.ts");
  EXPECT_TRUE(rejected(data, "t.ts", 7, "found [Network Data]"));
  const Read end =
      parseText(lines({"[Version] 2.0", "# RI", "[Number of Ports] 1", "[Number of Frequencies] 1",
                       "[Network Data]", "1 0 0", "[End]", "[End]"}),
                "t.ts");
  EXPECT_TRUE(rejected(end, "t.ts", 8, "expected nothing but comments after [End], found [End]"));
}

TEST(TouchstoneReadErrors, VersionOtherThan2_0Or2_1IsRejected) {
  for (const char* version : {"1.0", "1.1", "2.2", "3.0", "2.01", "0"}) {
    const Read r = parseText(std::string("! x\n[Version] ") + version + "\n# RI\n", "t.ts");
    EXPECT_TRUE(rejected(r, "t.ts", 2,
                         std::string("expected [Version] 2.0 or 2.1, found '") + version + "'"))
        << version;
  }
  for (const char* version : {"two", "", "v2.0", "2.0.1"}) {
    const Read r = parseText(std::string("[Version] ") + version + "\n# RI\n", "t.ts");
    EXPECT_TRUE(rejected(r, "t.ts", 1, "expected a number")) << version;
  }
}

TEST(TouchstoneReadErrors, TextAfterEndIsRejected) {
  const std::vector<std::string> after = {"1 0 0", "[Network Data]", "# RI", "junk"};
  for (const std::string& extra : after) {
    const Read r = parseText(
        lines({"[Version] 2.0", "# RI", "[Number of Ports] 1", "[Number of Frequencies] 1",
               "[Network Data]", "1 0 0", "[End]", "! comments are fine", "", extra}),
        "t.ts");
    EXPECT_TRUE(rejected(r, "t.ts", 10, "")) << extra;
  }
  const Read data =
      parseText(lines({"[Version] 2.0", "# RI", "[Number of Ports] 1", "[Number of Frequencies] 1",
                       "[Network Data]", "1 0 0", "[End]", "2 0 0"}),
                "t.ts");
  EXPECT_TRUE(
      rejected(data, "t.ts", 8, "expected nothing but comments after [End], found '2 0 0'"));
}

TEST(TouchstoneReadErrors, SecondOptionLineInVersion2IsRejected) {
  const Read header =
      parseText(lines({"[Version] 2.0", "# RI", "[Number of Ports] 1", "# MA"}), "t.ts");
  EXPECT_TRUE(rejected(header, "t.ts", 4, "expected one option line, found a second one"));
  const Read data =
      parseText(lines({"[Version] 2.0", "# RI", "[Number of Ports] 1", "[Number of Frequencies] 2",
                       "[Network Data]", "1 0 0", "# RI", "2 0 0", "[End]"}),
                "t.ts");
  EXPECT_TRUE(rejected(data, "t.ts", 7, "expected one option line, found a second one"));
}

TEST(TouchstoneReadErrors, MissingCountsAndBadCountsAreRejected) {
  for (const char* count : {"0", "-1", "two", "2.0", "+2", "100001", "1e3", ""}) {
    const Read r = parseText(
        lines({"[Version] 2.0", "# RI", std::string("[Number of Ports] ") + count}), "t.ts");
    EXPECT_TRUE(rejected(r, "t.ts", 3,
                         std::string("expected a whole number from 1 to 100000 after [Number of "
                                     "Ports], found '") +
                             count + "'"))
        << count;
  }
  const Read frequencies = parseText(
      lines({"[Version] 2.0", "# RI", "[Number of Ports] 1", "[Number of Frequencies] 0"}), "t.ts");
  EXPECT_TRUE(rejected(frequencies, "t.ts", 4, "after [Number of Frequencies], found '0'"));
}

TEST(TouchstoneReadErrors, UnknownOrMalformedKeywordIsRejected) {
  const Read unknown =
      parseText(lines({"[Version] 2.0", "# RI", "[Number of Ports] 1", "[Port Names] a"}), "t.ts");
  EXPECT_TRUE(rejected(unknown, "t.ts", 4, "expected a Touchstone keyword, found '[Port Names]'"));
  const Read open = parseText(lines({"[Version 2.0"}), "t.ts");
  EXPECT_TRUE(rejected(open, "t.ts", 1, "expected a keyword in brackets, found '[Version 2.0'"));
  const Read argument = parseText(lines({"[Version] 2.0", "# RI", "[Number of Ports] 1",
                                         "[Number of Frequencies] 1", "[Network Data] now"}),
                                  "t.ts");
  EXPECT_TRUE(rejected(argument, "t.ts", 5, "expected nothing after [Network Data], found 'now'"));
}

TEST(TouchstoneReadErrors, MatrixFormatOtherThanFullLowerUpperIsRejected) {
  const Read r = parseText(
      lines({"[Version] 2.0", "# RI", "[Number of Ports] 1", "[Matrix Format] Diagonal"}), "t.ts");
  EXPECT_TRUE(rejected(r, "t.ts", 4,
                       "expected Full, Lower or Upper after [Matrix Format], found 'Diagonal'"));
}

TEST(TouchstoneReadErrors, UnclosedInformationBlockIsRejected) {
  const Read r =
      parseText(lines({"[Version] 2.0", "# RI", "[Number of Ports] 1", "[Begin Information]",
                       "anything", "[Network Data]", "1 0 0", "[End]"}),
                "t.ts");
  EXPECT_TRUE(
      rejected(r, "t.ts", 8,
               "expected [End Information] for the [Begin Information] of line 4, found the "
               "end of the file"));
}

TEST(TouchstoneReadErrors, KeywordInAVersion1FileIsRejected) {
  const Read r = parseText(lines({"# RI", "1 0 0", "[End]"}), "t.s1p");
  EXPECT_TRUE(rejected(r, "t.s1p", 3, "expected no keywords in a version-1 file"));
}

// ---- 7. H and G parameters for other than two ports -----------------------------

TEST(TouchstoneReadErrors, HybridParametersForAnotherThanATwoPortAreRejected) {
  const struct {
    const char* parameter;
    const char* name;
    int ports;
  } cases[] = {{"H", "t.s1p", 1}, {"G", "t.s1p", 1}, {"h", "t.h3p", 3}, {"G", "t.g4p", 4}};
  for (const auto& c : cases) {
    const Read r = parseText(std::string("! x\n# RI ") + c.parameter + "\n1 0 0\n", c.name);
    EXPECT_TRUE(rejected(r, c.name, 2,
                         "expected S, Y or Z parameters for a " + std::to_string(c.ports) +
                             "-port (H and G exist for two-ports only), found " +
                             std::string(1, static_cast<char>(c.parameter[0] & ~0x20))))
        << c.parameter << " " << c.name;
  }
  const Read v2 = parseText(lines({"[Version] 2.0", "# G RI", "[Number of Ports] 3"}), "t.ts");
  EXPECT_TRUE(rejected(v2, "t.ts", 3,
                       "expected a two-port for G parameters (H and G exist for two-ports only), "
                       "found 3 ports"));
}

// ---- names -------------------------------------------------------------------------

TEST(TouchstoneReadErrors, Version1TextWithoutAPortCountInItsNameIsRejected) {
  for (const char* name : {"t.ts", "t.TS", "t.txt", "t", "t.s2", "t.sp", "t.s0p", "t.sxp", "t.s2x",
                           "t.x2p", "t.s-2p", "t.s+2p", "t.s100001p", "s2p"}) {
    const Read r = parseText(lines({"! c", "# RI", "1 0 0"}), name);
    EXPECT_TRUE(rejected(r, name, 2,
                         "expected a name ending in .sNp (or .yNp, .zNp, .hNp, .gNp) for a "
                         "version-1 file"))
        << name;
  }
}

// ---- numbers -----------------------------------------------------------------------

TEST(TouchstoneReadErrors, NegativeFrequencyIsRejected) {
  for (const char* f : {"-1", "-0.0001", "-1e-300", "-4.9406564584124654e-324"}) {
    const Read r = parseText(std::string("# Hz RI\n") + f + " 0 0\n");
    EXPECT_TRUE(
        rejected(r, "t.s1p", 2, std::string("expected a frequency >= 0, found '") + f + "'"))
        << f;
  }
}

TEST(TouchstoneReadErrors, InfinityNanHexAndMalformedNumbersAreRejected) {
  for (const char* token : {"inf",   "-inf", "+inf", "INF", "Infinity", "nan",   "NaN", "-nan",
                            "0x1p3", "0x10", "1e",   "1e+", "1.2.3",    "--1",   "+-1", "1,5",
                            ".",     "-",    "+",    "e5",  "1d3",      "1_000", "5%"}) {
    const Read value = parseText(std::string("# RI\n1 0 ") + token + "\n");
    EXPECT_TRUE(
        rejected(value, "t.s1p", 2, std::string("expected a number, found '") + token + "'"))
        << token;
    const Read frequency = parseText(std::string("# RI\n") + token + " 0 0\n");
    EXPECT_TRUE(rejected(frequency, "t.s1p", 2,
                         std::string("expected a frequency (a number), found '") + token + "'"))
        << token;
  }
}

TEST(TouchstoneReadErrors, MagnitudeBeyondTheLargestDoubleIsRejected) {
  for (const char* token : {"1e309", "-1e309", "1.7976931348623159e308", "1e99999999999"}) {
    const Read r = parseText(std::string("# RI\n1 ") + token + " 0\n");
    EXPECT_TRUE(rejected(
        r, "t.s1p", 2,
        std::string("expected a number within the range of a double, found '") + token + "'"))
        << token;
  }
  // A frequency that overflows only once scaled to Hz.
  const Read f = parseText("# GHz RI\n1e300 0 0\n");
  EXPECT_TRUE(
      rejected(f, "t.s1p", 2, "expected a frequency within the range of a double, found '1e300'"));
  const Read noise = parseText(lines({"# RI", "1 0 0 0 0 0 0 0 0", "1 0.5 1e999 0 1"}), "t.s2p");
  EXPECT_TRUE(rejected(noise, "t.s2p", 3, "expected a number within the range of a double"));
}

// ---- bytes outside comments ------------------------------------------------------

TEST(TouchstoneReadErrors, NonAsciiOutsideCommentsIsRejected) {
  const Read option = parseText("# GHz S RI R 50\xC2\xA0\n1 0 0\n");
  EXPECT_TRUE(rejected(option, "t.s1p", 1,
                       "expected ASCII text outside comments, found '\\xC2' in '# GHz S RI R "
                       "50\\xC2\\xA0'"));
  const Read keyword =
      parseText(lines({"[Version] 2.0", "# RI", "[Number of Ports] 1\xE9"}), "t.ts");
  EXPECT_TRUE(rejected(keyword, "t.ts", 3, "expected ASCII text outside comments, found '\\xE9'"));
  const Read data = parseText("# RI\n1 0.5\xE9 0\n");
  EXPECT_TRUE(rejected(data, "t.s1p", 2, "expected a number, found '0.5\\xE9'"));
  const Read lone = parseText("# RI\n1 0.5 0 \xC2\xB5\n");
  EXPECT_TRUE(rejected(lone, "t.s1p", 2, "found '\\xC2\\xB5'"));
  const Read bom = parseText("! x\n\xEF\xBB\xBF# RI\n1 0 0\n");
  EXPECT_TRUE(rejected(bom, "t.s1p", 2, "expected"));
}

TEST(TouchstoneReadErrors, ControlBytesOutsideCommentsAreRejected) {
  const Read formFeed = parseText("# GHz\fS RI\n1 0 0\n");
  EXPECT_TRUE(
      rejected(formFeed, "t.s1p", 1, "expected ASCII text outside comments, found '\\x0C'"));
  constexpr char kNul[] = "# GHz S RI\0\n1 0 0\n";
  const Read nul = parseText(std::string(kNul, sizeof kNul - 1));
  EXPECT_TRUE(rejected(nul, "t.s1p", 1, "expected ASCII text outside comments, found '\\x00'"));
  constexpr char kDataNul[] = "# RI\n1 0\0 0\n";
  const Read dataNul = parseText(std::string(kDataNul, sizeof kDataNul - 1));
  EXPECT_TRUE(rejected(dataNul, "t.s1p", 2, "expected a number, found '0\\x00'"));
  const Read escape = parseText("# RI\n1 0 0\x1B\n");
  EXPECT_TRUE(rejected(escape, "t.s1p", 2, "expected a number, found '0\\x1B'"));
}

// ---- conversions ---------------------------------------------------------------

TEST(TouchstoneReadErrors, ParametersWithoutAnSMatrixAreRejectedAtTheirDataSet) {
  // Normalised z = -1: Z + R = 0, no S exists.  The frequency's line counts.
  const Read z = parseText(lines({"# Z RI R 50", "1 0.5 0", "2", "  -1 0"}), "t.z1p");
  EXPECT_TRUE(rejected(z, "t.z1p", 3,
                       "expected Z-parameters that can be turned into S, found a singular I + M at "
                       "2000000000 Hz"));
  const Read y = parseText(lines({"# Y RI", "1 -1 0"}), "t.s1p");
  EXPECT_TRUE(rejected(y, "t.s1p", 2, "expected Y-parameters that can be turned into S"));
  // Two-port Z with Z + R singular: z = [[-1, 0], [0, 5]] normalised.
  const Read two = parseText(lines({"# Z RI", "1 -1 0 0 0 0 0 5 0"}), "t.s2p");
  EXPECT_TRUE(rejected(two, "t.s2p", 2, "found a singular I + M at 1000000000 Hz"));
}

TEST(TouchstoneReadErrors, ValuesWhoseSIsBeyondTheRangeOfADoubleAreRejected) {
  // 6200 dB is a magnitude of 10^310.
  const Read db = parseText(lines({"# DB", "1 0 0", "2 6200 0"}));
  EXPECT_TRUE(rejected(db, "t.s1p", 3,
                       "expected S-parameters within the range of a double, found S11 = (inf"));
  EXPECT_NE(db.message.find(" at 2000000000 Hz"), std::string::npos) << db.message;
  // I + z = j 1e-320: not singular, but S = (z - 1) / (z + 1) overflows.
  const Read z = parseText(lines({"# Z RI", "1 -1 1e-320"}));
  EXPECT_TRUE(
      rejected(z, "t.s1p", 2, "expected S-parameters within the range of a double, found S11"));
  // Entries named as the writer names them.
  std::string twelve = "# DB\n1";
  for (int k = 0; k < 144; ++k) {
    twelve += k == 9 ? " 7000 0" : " 0 0";
    if (k % 4 == 3) {
      twelve += "\n";
    }
  }
  EXPECT_TRUE(rejected(parseText(twelve, "t.s12p"), "t.s12p", 2, "found S1,10 = (inf"));
  const Read two = parseText(lines({"# DB", "1 0 0 7000 0 0 0 0 0"}), "t.s2p");
  EXPECT_TRUE(rejected(two, "t.s2p", 2, "found S21 = (inf"));
}

// ---- mixed-mode descriptors -----------------------------------------------------

TEST(TouchstoneReadErrors, MixedModeOrderThatDoesNotCoverThePortsIsRejected) {
  const struct {
    const char* order;
    int64_t line;
    const char* phrase;
  } cases[] = {
      {"D1,2 C1,2 S3 X4", 5,
       "expected a mode descriptor Dp,n, Cp,n or Sp with ports 1 .. 4, found 'X4'"},
      {"D1,2 C1,2 S3 S5", 5, "found 'S5'"},
      {"D1,1 C1,1 S3 S4", 5, "found 'D1,1'"},
      {"D1,2 C1,2 S3 S4 S1", 5,
       "expected 4 descriptors after [Mixed-Mode Order], found more: 'S1'"},
      {"D1,2 C1,3 S3 S4", 7,
       "expected a C descriptor for the pair of 'D1,2' (a pair has both modes) in "
       "the [Mixed-Mode Order] of line 5"},
      {"D1,2 C1,2 S2 S4", 7, "expected each port in exactly one descriptor, found port 2 in 2"},
      {"D1,2 C1,2 S4 S4", 7, "found port 3 in 0"},
      {"D1,2 C2,1 S3 S4", 7, "expected a C descriptor for the pair of 'D1,2'"},
  };
  for (const auto& c : cases) {
    const Read r = parseText(
        lines({"[Version] 2.0", "# RI", "[Number of Ports] 4", "[Number of Frequencies] 1",
               std::string("[Mixed-Mode Order] ") + c.order, "", "[Network Data]"}),
        "t.ts");
    EXPECT_TRUE(rejected(r, "t.ts", c.line, c.phrase)) << c.order;
  }
}

TEST(TouchstoneReadErrors, MixedModePairWithUnequalReferencesIsRejected) {
  const Read r =
      parseText(lines({"[Version] 2.0", "# RI", "[Number of Ports] 2",
                       "[Two-Port Data Order] 12_21", "[Number of Frequencies] 1",
                       "[Reference] 50 75", "[Mixed-Mode Order] D1,2 C1,2", "[Network Data]"}),
                "t.ts");
  EXPECT_TRUE(
      rejected(r, "t.ts", 8, "expected the two ports of 'D1,2' to have the same reference"));
}

// ---- the C API ---------------------------------------------------------------------

TEST(TouchstoneReadErrors, MissingFileIsAnInputOutputError) {
  ScratchFolder folder;
  const std::string path = folder.path("absent.s2p");
  const Read r = readFile(path);
  EXPECT_EQ(r.status, ZEFRA_TK_IO_ERROR);
  EXPECT_EQ(r.message.rfind(path + ": cannot open: ", 0), 0u) << r.message;
  EXPECT_EQ(r.ports, 0);
}

TEST(TouchstoneReadErrors, FolderIsAnInputOutputError) {
  ScratchFolder folder;
  const std::string path = folder.path("dir.s1p");
  std::filesystem::create_directory(path);
  const Read r = readFile(path);
  EXPECT_EQ(r.status, ZEFRA_TK_IO_ERROR) << r.message;
  EXPECT_EQ(r.message.rfind(path + ": cannot ", 0), 0u) << r.message;
}

TEST(TouchstoneReadErrors, FileErrorsNameTheFileAndTheLine) {
  ScratchFolder folder;
  const std::string path = folder.write("a.s1p", lines({"# RI", "1 0 0", "1 0 0"}));
  EXPECT_TRUE(rejected(readFile(path), path, 3, "expected frequencies that increase"));
}

TEST(TouchstoneReadErrors, EmptyFilesAreRejected) {
  ScratchFolder folder;
  const std::string empty = folder.write("empty.s1p", "");
  EXPECT_TRUE(rejected(readFile(empty), empty, 1,
                       "expected the option line '# <unit> <parameter> <format> R <n>' (or "
                       "[Version]), found the end of the file"));
  const std::string blank = folder.write("blank.s1p", "\n\r\n \n");
  EXPECT_TRUE(rejected(readFile(blank), blank, 3, "found the end of the file"));
  const std::string options = folder.write("options.s1p", "# GHz S RI R 50\r\n");
  EXPECT_TRUE(rejected(readFile(options), options, 1, "expected network data"));
}

TEST(TouchstoneReadErrors, AccessorsOfNoNetworkGiveNothing) {
  EXPECT_EQ(zefra_tk_network_ports(nullptr), 0);
  EXPECT_EQ(zefra_tk_network_points(nullptr), 0);
  EXPECT_EQ(zefra_tk_network_noise_points(nullptr), 0);
  EXPECT_EQ(zefra_tk_network_text_count(nullptr, ZEFRA_TK_TEXT_COMMENT), 0);
  EXPECT_EQ(zefra_tk_network_text(nullptr, ZEFRA_TK_TEXT_VERSION, 0), nullptr);
  double s[2] = {7.0, 7.0};
  EXPECT_EQ(zefra_tk_network_take_s(nullptr, s), 0);
  EXPECT_EQ(s[0], 7.0);
  zefra_tk_network_copy_grid(nullptr, s, s);
  zefra_tk_network_copy_noise(nullptr, s, s, s, s);
  EXPECT_EQ(s[0], 7.0);
  zefra_tk_network_free(nullptr);
}

TEST(TouchstoneReadErrors, TextsOutsideTheirRangeAreNull) {
  zefra_tk_network* network = nullptr;
  const std::string text = "! one\n# RI\n1 0.5 0\n";
  ASSERT_EQ(zefra_tk_touchstone_parse(text.data(), static_cast<int64_t>(text.size()), "t.s1p",
                                      &network, nullptr, 0),
            ZEFRA_TK_OK);
  EXPECT_EQ(zefra_tk_network_text_count(network, ZEFRA_TK_TEXT_COMMENT), 1);
  EXPECT_STREQ(zefra_tk_network_text(network, ZEFRA_TK_TEXT_COMMENT, 0), " one");
  EXPECT_EQ(zefra_tk_network_text(network, ZEFRA_TK_TEXT_COMMENT, 1), nullptr);
  EXPECT_EQ(zefra_tk_network_text(network, ZEFRA_TK_TEXT_COMMENT, -1), nullptr);
  EXPECT_EQ(zefra_tk_network_text_count(network, -1), 0);
  EXPECT_EQ(zefra_tk_network_text_count(network, 7), 0);
  EXPECT_EQ(zefra_tk_network_text(network, 7, 0), nullptr);
  EXPECT_EQ(zefra_tk_network_text_count(network, ZEFRA_TK_TEXT_WARNING), 0);
  EXPECT_EQ(zefra_tk_network_text_count(network, ZEFRA_TK_TEXT_MIXED_MODE), 0);
  // Taking S with no array leaves it in the network.
  EXPECT_EQ(zefra_tk_network_take_s(network, nullptr), 0);
  double s[2] = {0.0, 0.0};
  EXPECT_EQ(zefra_tk_network_take_s(network, s), 1);
  EXPECT_EQ(s[0], 0.5);
  EXPECT_EQ(zefra_tk_network_take_s(network, s), 0);
  // The grid stays after S is taken.
  double f = 0.0;
  zefra_tk_network_copy_grid(network, &f, nullptr);
  EXPECT_EQ(f, 1e9);
  EXPECT_EQ(zefra_tk_network_points(network), 1);
  zefra_tk_network_free(network);
}

TEST(TouchstoneReadErrors, NullArgumentsAreRejected) {
  zefra_tk_network* network = reinterpret_cast<zefra_tk_network*>(&network);
  char message[256];
  EXPECT_EQ(zefra_tk_touchstone_read(nullptr, &network, message, sizeof message),
            ZEFRA_TK_BAD_INPUT);
  EXPECT_EQ(network, nullptr);
  EXPECT_STREQ(message, "the path argument is null");
  EXPECT_EQ(zefra_tk_touchstone_parse("#\n1 0 0\n", 8, "t.s1p", nullptr, message, sizeof message),
            ZEFRA_TK_BAD_INPUT);
  EXPECT_STREQ(message, "t.s1p: the network argument is null");
  network = reinterpret_cast<zefra_tk_network*>(&network);
  EXPECT_EQ(zefra_tk_touchstone_parse(nullptr, 5, "t.s1p", &network, message, sizeof message),
            ZEFRA_TK_BAD_INPUT);
  EXPECT_EQ(network, nullptr);
  EXPECT_STREQ(message, "t.s1p: length = 5 with a null text");
  EXPECT_EQ(zefra_tk_touchstone_parse("#", -1, "t.s1p", &network, message, sizeof message),
            ZEFRA_TK_BAD_INPUT);
  EXPECT_STREQ(message, "t.s1p: length = -1 is negative");
  // No name: messages say "<text>", and version 1 has no port count.
  EXPECT_EQ(zefra_tk_touchstone_parse("#\n1 0 0\n", 8, nullptr, &network, message, sizeof message),
            ZEFRA_TK_BAD_INPUT);
  EXPECT_EQ(std::string(message).rfind("<text>:1: expected a name ending in .sNp", 0), 0u)
      << message;
}

TEST(TouchstoneReadErrors, MessageIsCutToTheCallersBuffer) {
  zefra_tk_network* network = nullptr;
  char message[8];
  std::memset(message, 'x', sizeof message);
  EXPECT_EQ(zefra_tk_touchstone_parse("", 0, "t.s1p", &network, message, 5), ZEFRA_TK_BAD_INPUT);
  EXPECT_STREQ(message, "t.s1");
  EXPECT_EQ(message[5], 'x');
  EXPECT_EQ(zefra_tk_touchstone_parse("", 0, "t.s1p", &network, nullptr, 0), ZEFRA_TK_BAD_INPUT);
  EXPECT_EQ(network, nullptr);
}

TEST(TouchstoneReadErrors, LongTokensAreShortenedInMessages) {
  const std::string token(1000, '7');
  const Read r = parseText("# RI\n1 0 " + token + "x\n");
  EXPECT_TRUE(rejected(r, "t.s1p", 2, "expected a number, found '" + token.substr(0, 40) + "...'"));
  EXPECT_LT(r.message.size(), 200u);
}

}  // namespace
