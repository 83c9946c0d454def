// Lenient cases: texts that break a rule without losing anything are read,
// and each kind of break gives one warning "NAME:LINE: ..." at its first
// line, with "(N lines like this)" when it recurs; the warnings come in the
// order of those lines.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "reader_test_support.h"

namespace {

using namespace zefra_reader_test;

// ---- bytes in comments -----------------------------------------------------------

TEST(TouchstoneReadWarnings, Latin1ByteInACommentIsKeptWithAWarning) {
  const Read r = parseText(lines({"! caf\xE9", "# RI", "1 0.5 0"}));
  EXPECT_TRUE(warnedExactly(
      r, "t.s1p", {{1, "bytes outside printable ASCII in a comment (kept as they are)"}}));
  EXPECT_EQ(r.comments, std::vector<std::string>{" caf\xE9"});
  EXPECT_TRUE(sameBits(r.s, {Complex(0.5, 0.0)}));
}

TEST(TouchstoneReadWarnings, Utf8InATrailingCommentIsKeptWithAWarning) {
  const Read r = parseText(lines({"# RI", "1 0 0", "2 0.5 0 ! \xC2\xAE caf\xC3\xA9"}));
  EXPECT_TRUE(warnedExactly(r, "t.s1p", {{3, "bytes outside printable ASCII in a comment"}}));
  EXPECT_EQ(r.comments, std::vector<std::string>{" \xC2\xAE caf\xC3\xA9"});
  EXPECT_EQ(r.f.size(), 2u);
}

TEST(TouchstoneReadWarnings, NonAsciiCommentsOnSeveralLinesGiveOneWarningWithTheirCount) {
  const Read r = parseText(lines({"! plain",
                                  "! \xB0"
                                  "C",
                                  "# RI ! \xA9", "1 0 0", "! \xFF\xFE"}));
  EXPECT_TRUE(warnedExactly(
      r, "t.s1p",
      {{2, "bytes outside printable ASCII in a comment (kept as they are) (3 lines like this)"}}));
  EXPECT_EQ(r.comments.size(), 4u);
}

TEST(TouchstoneReadWarnings, NonAsciiInCommentsOfEverySectionIsAccepted) {
  const Read r =
      parseText(lines({"! \xE9", "[Version] 2.0 ! \xE9", "# RI ! \xE9",
                       "[Number of Ports] 1 ! \xE9", "[Number of Frequencies] 1",
                       "[Network Data] ! \xE9", "1 0 0 ! \xE9", "[End] ! \xE9", "! \xE9"}),
                "t.ts");
  EXPECT_TRUE(warnedExactly(r, "t.ts", {{1, "(8 lines like this)"}}));
  EXPECT_EQ(r.comments.size(), 8u);
}

TEST(TouchstoneReadWarnings, ControlBytesInACommentAreKeptWithAWarning) {
  const std::string text = std::string("# RI\n! bell\a and nul") + '\0' + "\n1 0 0\n";
  const Read r = parseText(text);
  EXPECT_TRUE(warnedExactly(r, "t.s1p", {{2, "bytes outside printable ASCII in a comment"}}));
  // The texts are C strings: the comment, kept whole, shows up to its NUL.
  EXPECT_EQ(r.comments, std::vector<std::string>{" bell\a and nul"});
}

TEST(TouchstoneReadWarnings, TabsInCommentsAreNoCauseForAWarning) {
  const Read r = parseText(lines({"!\tcolumn\tcolumn", "# RI", "1 0 0"}));
  EXPECT_TRUE(clean(r)) << r.message;
  EXPECT_EQ(r.comments, std::vector<std::string>{"\tcolumn\tcolumn"});
}

// ---- byte-order mark -------------------------------------------------------------

TEST(TouchstoneReadWarnings, ByteOrderMarkIsSkippedWithAWarningAtLine1) {
  const Read r = parseText("\xEF\xBB\xBF# RI\n1 0.25 0\n");
  EXPECT_TRUE(
      warnedExactly(r, "t.s1p", {{1, "a UTF-8 byte-order mark before the text (ignored)"}}));
  EXPECT_EQ(r.format, "RI");
  EXPECT_TRUE(sameBits(r.s, {Complex(0.25, 0.0)}));
}

TEST(TouchstoneReadWarnings, ByteOrderMarkBeforeACommentOrVersionIsSkipped) {
  const Read comment = parseText("\xEF\xBB\xBF! first\n# RI\n1 0 0\n");
  EXPECT_TRUE(warnedExactly(comment, "t.s1p", {{1, "byte-order mark"}}));
  EXPECT_EQ(comment.comments, std::vector<std::string>{" first"});
  const Read version = parseText(
      "\xEF\xBB\xBF[Version] 2.1\n# RI\n[Number of Ports] 1\n[Number of Frequencies] 1\n"
      "[Network Data]\n1 0 0\n[End]\n",
      "t.ts");
  EXPECT_TRUE(warnedExactly(version, "t.ts", {{1, "byte-order mark"}}));
  EXPECT_EQ(version.version, "2.1");
}

// ---- more than four pairs on a version-1 line -------------------------------------

TEST(TouchstoneReadWarnings, MoreThanFourPairsOnAVersion1LineAreReadWithAWarning) {
  const std::string row = "1 0 0 1 -1 2 -2 3 -3 4 -4 5 -5 6 -6 7 -7 8 -8";
  const Read r = parseText(lines({"! three-port on one line", "# RI", row}), "t.s3p");
  EXPECT_TRUE(warnedExactly(
      r, "t.s3p",
      {{3,
        "more than 4 value pairs on a line (version 1 writes at most 4; read as a stream of "
        "numbers)"}}));
  ASSERT_EQ(r.s.size(), 9u);
  for (int k = 0; k < 9; ++k) {
    EXPECT_TRUE(sameBits(r.s[static_cast<std::size_t>(k)], Complex(k, -k))) << k;
  }
}

TEST(TouchstoneReadWarnings, FourPairsOnALineAreNoCauseForAWarning) {
  const Read two = parseText(lines({"# RI", "1 1 2 3 4 5 6 7 8", "2 1 2 3 4 5 6 7 8"}), "t.s2p");
  EXPECT_TRUE(clean(two)) << two.message;
  // Four one-port data sets on one line: four pairs (frequencies aside).
  const Read four = parseText(lines({"# RI", "1 0 0 2 0 0 3 0 0 4 0 0"}));
  EXPECT_TRUE(clean(four)) << four.message;
  EXPECT_EQ(four.f.size(), 4u);
}

TEST(TouchstoneReadWarnings, FiveDataSetsOfAOnePortOnOneLineCountAsFivePairs) {
  const Read r = parseText(lines({"# RI", "1 0 0 2 0 0 3 0 0 4 0 0 5 0 0"}));
  EXPECT_TRUE(warnedExactly(r, "t.s1p", {{2, "more than 4 value pairs on a line"}}));
  EXPECT_TRUE(sameBits(r.f, {1e9, 2e9, 3e9, 4e9, 5e9}));
}

TEST(TouchstoneReadWarnings, WideLinesAreCountedInOneWarning) {
  const Read threePorts = parseText(
      lines({"# RI", "1 0 0 0 0 0 0 0 0 0 0", "  0 0 0 0 0 0 0 0", "2 0 0 0 0 0 0 0 0 0 0",
             "  0 0 0 0 0 0 0 0", "3 0 0 0 0 0 0", "  0 0 0 0 0 0", "  0 0 0 0 0 0"}),
      "t.s3p");
  EXPECT_TRUE(warnedExactly(threePorts, "t.s3p",
                            {{2,
                              "more than 4 value pairs on a line (version 1 writes at most 4; "
                              "read as a stream of numbers) (2 lines like this)"}}));
  EXPECT_EQ(threePorts.f.size(), 3u);
}

TEST(TouchstoneReadWarnings, Version2LinesMayHoldAnyNumberOfPairs) {
  std::string row = "1";
  for (int k = 0; k < 16; ++k) {
    row += " 0.5 0";
  }
  const Read r = parseText(lines({"[Version] 2.0", "# RI", "[Number of Ports] 4",
                                  "[Number of Frequencies] 1", "[Network Data]", row, "[End]"}),
                           "t.ts");
  EXPECT_TRUE(clean(r)) << r.message;
}

// ---- a pair split over two lines -------------------------------------------------

TEST(TouchstoneReadWarnings, PairSplitOverTwoLinesIsReadWithAWarningAtItsFirstLine) {
  const Read r = parseText(lines({"# RI", "1 0.5", "  0.25", "2 0.75 0.125"}));
  EXPECT_TRUE(warnedExactly(
      r, "t.s1p", {{2, "a value pair split over two lines (read as a stream of numbers)"}}));
  EXPECT_TRUE(sameBits(r.s, {Complex(0.5, 0.25), Complex(0.75, 0.125)}));
}

TEST(TouchstoneReadWarnings, FrequencyAloneOnItsLineIsNoSplitPair) {
  const Read r =
      parseText(lines({"# RI", "1", "  1 2 3 4", "  5 6 7 8", "2", "1 2 3 4 5 6 7 8"}), "t.s2p");
  EXPECT_TRUE(clean(r)) << r.message;
  EXPECT_TRUE(sameBits(r.s, {Complex(1, 2), Complex(5, 6), Complex(3, 4), Complex(7, 8),
                             Complex(1, 2), Complex(5, 6), Complex(3, 4), Complex(7, 8)}));
}

TEST(TouchstoneReadWarnings, EverySplitPairIsCountedAndVersion2IsNoException) {
  const Read v1 =
      parseText(lines({"# RI", "1 1", "2 3 4 5", "6 7", "8", "2 1 2 3 4 5 6 7 8"}), "t.s2p");
  EXPECT_TRUE(warnedExactly(v1, "t.s2p",
                            {{2,
                              "a value pair split over two lines (read as a "
                              "stream of numbers) (3 lines like this)"}}));
  const Read v2 =
      parseText(lines({"[Version] 2.0", "# RI", "[Number of Ports] 1", "[Number of Frequencies] 1",
                       "[Network Data]", "1 0.5", "0.25", "[End]"}),
                "t.ts");
  EXPECT_TRUE(warnedExactly(v2, "t.ts", {{6, "a value pair split over two lines"}}));
  EXPECT_TRUE(sameBits(v2.s, {Complex(0.5, 0.25)}));
}

// ---- [End] missing ---------------------------------------------------------------

TEST(TouchstoneReadWarnings, MissingEndIsAcceptedWithAWarningAtTheLastLine) {
  const Read r =
      parseText(lines({"[Version] 2.0", "# RI", "[Number of Ports] 1", "[Number of Frequencies] 2",
                       "[Network Data]", "1 0 0", "2 0.5 0"}),
                "t.ts");
  EXPECT_TRUE(warnedExactly(
      r, "t.ts", {{7, "no [End] after the data (the file may be cut short; read as it is)"}}));
  EXPECT_TRUE(sameBits(r.f, {1e9, 2e9}));
  const Read comments =
      parseText(lines({"[Version] 2.0", "# RI", "[Number of Ports] 1", "[Number of Frequencies] 1",
                       "[Network Data]", "1 0 0", "! trailing", ""}),
                "t.ts");
  EXPECT_TRUE(warnedExactly(comments, "t.ts", {{8, "no [End] after the data"}}));
}

TEST(TouchstoneReadWarnings, MissingEndAfterNoiseDataIsAcceptedWithAWarning) {
  const Read r = parseText(
      lines({"[Version] 2.0", "# RI", "[Number of Ports] 2", "[Two-Port Data Order] 12_21",
             "[Number of Frequencies] 1", "[Number of Noise Frequencies] 1", "[Network Data]",
             "1 0 0 0 0 0 0 0 0", "[Noise Data]", "1 0.5 0.5 0 10"}),
      "t.ts");
  EXPECT_TRUE(warnedExactly(r, "t.ts", {{10, "no [End]"}}));
  EXPECT_EQ(r.noiseF.size(), 1u);
}

TEST(TouchstoneReadWarnings, Version1NeedsNoEnd) {
  EXPECT_TRUE(clean(parseText(lines({"# RI", "1 0 0"}))));
}

// ---- a second option line in version 1 -------------------------------------------

TEST(TouchstoneReadWarnings, SecondOptionLineInVersion1IsIgnoredWithAWarning) {
  const Read r = parseText(lines({"# Hz S RI R 50", "1 0.5 0", "# GHz Z MA R 75", "2 0.25 90"}));
  EXPECT_TRUE(
      warnedExactly(r, "t.s1p", {{3, "a second option line (ignored: the first one holds)"}}));
  EXPECT_EQ(r.unit, "Hz");
  EXPECT_EQ(r.parameter, "S");
  EXPECT_EQ(r.format, "RI");
  EXPECT_TRUE(sameBits(r.z0, {50.0}));
  EXPECT_TRUE(sameBits(r.f, {1.0, 2.0}));
  EXPECT_TRUE(sameBits(r.s, {Complex(0.5, 0.0), Complex(0.25, 90.0)}));
}

TEST(TouchstoneReadWarnings, FurtherOptionLinesAreIgnoredEvenWhenInvalid) {
  const Read r = parseText(lines({"# RI", "# RI", "1 0 0", "# bogus tokens", "# GHz", "2 0 0"}));
  EXPECT_TRUE(warnedExactly(r, "t.s1p",
                            {{2,
                              "a second option line (ignored: the first one holds) "
                              "(3 lines like this)"}}));
  EXPECT_EQ(r.f.size(), 2u);
}

TEST(TouchstoneReadWarnings, OptionLineInsideADataSetIsIgnored) {
  const Read r = parseText(lines({"# RI", "1 1 2 3 4", "# MA", "  5 6 7 8"}), "t.s2p");
  EXPECT_TRUE(warnedExactly(r, "t.s2p", {{3, "a second option line"}}));
  EXPECT_TRUE(sameBits(r.s, {Complex(1, 2), Complex(5, 6), Complex(3, 4), Complex(7, 8)}));
}

// ---- the name and [Number of Ports] ----------------------------------------------

TEST(TouchstoneReadWarnings, Version2NameWithAnotherPortCountGivesAWarningAndTheKeywordHolds) {
  const Read r = parseText(lines({"[Version] 2.0", "# RI", "[Number of Ports] 1",
                                  "[Number of Frequencies] 1", "[Network Data]", "1 0 0", "[End]"}),
                           "t.s3p");
  EXPECT_TRUE(warnedExactly(
      r, "t.s3p", {{3, "the name says 3 ports, [Number of Ports] 1 (the keyword holds)"}}));
  EXPECT_EQ(r.ports, 1);
  EXPECT_TRUE(
      clean(parseText(lines({"[Version] 2.0", "# RI", "[Number of Ports] 1",
                             "[Number of Frequencies] 1", "[Network Data]", "1 0 0", "[End]"}),
                      "t.S1P"),
            "t.S1P"));
}

// ---- several kinds ---------------------------------------------------------------

TEST(TouchstoneReadWarnings, EachKindComesOnceInTheOrderOfItsFirstLine) {
  const Read r = parseText(lines({"\xEF\xBB\xBF! header",  // 1: byte-order mark
                                  "# RI",
                                  "1 0 0 0 0 0 0 0 0 0 0",  // 3: five pairs
                                  "  0 0 0 0 0 0 0",        // 4: split pair
                                  "  0",
                                  "# MA",                   // 6: second option line
                                  "! \xE9t\xE9",            // 7: non-ASCII comment
                                  "2 0 0 0 0 0 0 0 0 0 0",  // 8: five pairs again
                                  "  0 0 0 0 0 0 0 0 ! \xE9"}),
                           "t.s3p");
  EXPECT_TRUE(warnedExactly(r, "t.s3p",
                            {{1, "byte-order mark"},
                             {3,
                              "more than 4 value pairs on a line (version 1 writes at most 4; "
                              "read as a stream of numbers) (2 lines like this)"},
                             {4, "a value pair split over two lines"},
                             {6, "a second option line"},
                             {7,
                              "bytes outside printable ASCII in a comment (kept as they are) "
                              "(2 lines like this)"}}));
  EXPECT_EQ(r.f.size(), 2u);
}

TEST(TouchstoneReadWarnings, WarningsOfAFileNameItsPath) {
  ScratchFolder folder;
  const std::string path = folder.write("w.s1p", lines({"# RI", "1 0.5", "0"}));
  const Read r = readFile(path);
  EXPECT_TRUE(warnedExactly(r, path, {{2, "a value pair split over two lines"}}));
}

}  // namespace
