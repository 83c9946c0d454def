// Version-2 files the reader accepts: the keyword order it requires and the
// freedom it leaves (the middle keywords in any order, keywords in any case
// and spacing, [Reference] over several lines, an information block with
// anything inside, comments after [End]).  Refusals are in
// reader_errors_test.cpp.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <string>
#include <vector>

#include "reader_test_support.h"

namespace {

using namespace zefra_reader_test;

TEST(TouchstoneReadVersion2, MinimalOnePortIsRead) {
  const Read r = parseText(
      lines({"[Version] 2.0", "# GHz S RI R 50", "[Number of Ports] 1", "[Number of Frequencies] 2",
             "[Network Data]", "1 0.5 -0.25", "2 0.125 0", "[End]"}),
      "t.ts");
  ASSERT_TRUE(clean(r, "t.ts")) << r.message;
  EXPECT_EQ(r.version, "2.0");
  EXPECT_EQ(r.ports, 1);
  EXPECT_TRUE(sameBits(r.f, {1e9, 2e9}));
  EXPECT_TRUE(sameBits(r.s, {Complex(0.5, -0.25), Complex(0.125, 0.0)}));
  EXPECT_TRUE(sameBits(r.z0, {50.0}));
  EXPECT_TRUE(r.modes.empty());
  EXPECT_TRUE(r.noiseF.empty());
}

TEST(TouchstoneReadVersion2, Version2_1IsAccepted) {
  const Read r = parseText(lines({"[Version] 2.1", "# RI", "[Number of Ports] 1",
                                  "[Number of Frequencies] 1", "[Network Data]", "1 0 0", "[End]"}),
                           "t.ts");
  ASSERT_TRUE(clean(r, "t.ts")) << r.message;
  EXPECT_EQ(r.version, "2.1");
}

TEST(TouchstoneReadVersion2, KeywordsTakeAnyCaseAndSpacing) {
  const Read r = parseText(
      lines({"[version] 2.0", "# ri", "  [NUMBER OF PORTS]   2", "[two-port data order]\t21_12",
             "[Number  of\tFrequencies] 1", "[ Reference ] 50 75", "\t[network DATA]",
             "1 11 0 21 0 12 0 22 0", "[eNd]"}),
      "t.ts");
  ASSERT_TRUE(clean(r, "t.ts")) << r.message;
  EXPECT_TRUE(sameBits(r.z0, {50.0, 75.0}));
  EXPECT_TRUE(sameBits(r.s, {Complex(11, 0), Complex(12, 0), Complex(21, 0), Complex(22, 0)}));
}

TEST(TouchstoneReadVersion2, KeywordArgumentsMayCarryAComment) {
  const Read r = parseText(lines({"[Version] 2.0 ! v", "# RI ! o", "[Number of Ports] 2 ! n",
                                  "[Two-Port Data Order] 21_12 ! order",
                                  "[Number of Frequencies] 1 ! k", "[Matrix Format] Full ! m",
                                  "[Network Data] ! d", "1 11 0 21 0 12 0 22 0 ! x", "[End] ! e"}),
                           "t.ts");
  ASSERT_TRUE(clean(r, "t.ts")) << r.message;
  EXPECT_EQ(r.comments,
            (std::vector<std::string>{" v", " o", " n", " order", " k", " m", " d", " x", " e"}));
  EXPECT_TRUE(sameBits(r.s, {Complex(11, 0), Complex(12, 0), Complex(21, 0), Complex(22, 0)}));
}

// Every order of the keywords between [Number of Ports] and [Network Data].
TEST(TouchstoneReadVersion2, MiddleKeywordsComeInAnyOrder) {
  std::array<std::string, 5> middle = {"[Two-Port Data Order] 21_12", "[Number of Frequencies] 2",
                                       "[Reference] 25\n  100", "[Matrix Format] Full",
                                       "[Begin Information]\nvendor notes\n[End Information]"};
  std::sort(middle.begin(), middle.end());
  int orders = 0;
  do {
    std::string text = "[Version] 2.0\n# MHz S RI\n[Number of Ports] 2\n";
    for (const std::string& keyword : middle) {
      text += keyword + "\n";
    }
    text += "[Network Data]\n1 11 0 21 0 12 0 22 0\n2 0 0 0 0 0 0 0 0\n[End]\n";
    const Read r = parseText(text, "t.ts");
    ASSERT_TRUE(clean(r, "t.ts")) << text << r.message;
    EXPECT_TRUE(sameBits(r.z0, {25.0, 100.0}));
    EXPECT_TRUE(sameBits(r.f, {1e6, 2e6}));
    EXPECT_TRUE(sameBits(r.S(0, 1, 2), Complex(12, 0)));
    ++orders;
  } while (std::next_permutation(middle.begin(), middle.end()));
  EXPECT_EQ(orders, 120);
}

TEST(TouchstoneReadVersion2, ReferenceValuesMayContinueOverLinesWithComments) {
  const Read r =
      parseText(lines({"[Version] 2.0", "# RI", "[Number of Ports] 4", "[Reference] 50",
                       "! the second port", "  75 ! and the third", "", "\t100", "12.5",
                       "[Number of Frequencies] 1", "[Network Data]", "1 0 0 0 0 0 0 0 0",
                       "  0 0 0 0 0 0 0 0", "  0 0 0 0 0 0 0 0", "  0 0 0 0 0 0 0 0", "[End]"}),
                "t.ts");
  ASSERT_TRUE(clean(r, "t.ts")) << r.message;
  EXPECT_TRUE(sameBits(r.z0, {50.0, 75.0, 100.0, 12.5}));
  EXPECT_EQ(r.comments, (std::vector<std::string>{" the second port", " and the third"}));
}

TEST(TouchstoneReadVersion2, ReferenceValuesMayAllFollowOnTheNextLine) {
  const Read r = parseText(
      lines({"[Version] 2.0", "# RI R 1", "[Number of Ports] 2", "[Two-Port Data Order] 12_21",
             "[Reference]", "1e2 +0.5", "[Number of Frequencies] 1", "[Network Data]",
             "1 0 0 0 0 0 0 0 0", "[End]"}),
      "t.ts");
  ASSERT_TRUE(clean(r, "t.ts")) << r.message;
  EXPECT_TRUE(sameBits(r.z0, {100.0, 0.5}));
}

TEST(TouchstoneReadVersion2, InformationBlockIsSkippedWhateverItHolds) {
  const Read r =
      parseText(lines({"[Version] 2.0", "# RI", "[Number of Ports] 1", "[Begin Information]",
                       "[Number of Ports] 7", "# MA", "caf\xE9 \x01 1 2 3", "[Reference] -5",
                       "[End]", "  [end information]", "[Number of Frequencies] 1",
                       "[Network Data]", "1 0.5 0", "[End]"}),
                "t.ts");
  ASSERT_TRUE(clean(r, "t.ts")) << r.message;
  EXPECT_EQ(r.ports, 1);
  EXPECT_EQ(r.format, "RI");
  EXPECT_TRUE(sameBits(r.z0, {50.0}));
  EXPECT_TRUE(sameBits(r.s, {Complex(0.5, 0.0)}));
}

TEST(TouchstoneReadVersion2, EndMayBeFollowedByCommentsAndBlankLines) {
  const Read r = parseText(
      lines({"[Version] 2.0", "# RI", "[Number of Ports] 1", "[Number of Frequencies] 1",
             "[Network Data]", "1 0 0", "[End]", "", "! written by hand", "   ", "\t! again"}),
      "t.ts");
  ASSERT_TRUE(clean(r, "t.ts")) << r.message;
  EXPECT_EQ(r.comments, (std::vector<std::string>{" written by hand", " again"}));
}

TEST(TouchstoneReadVersion2, CommentsAreKeptInFileOrderWithoutTheirBang) {
  const Read r = parseText(lines({"!first", "[Version] 2.0", "! second ! with a bang", "# RI",
                                  "[Number of Ports] 1 !third", "[Number of Frequencies] 1",
                                  "[Network Data]", "!fourth", "1 0 0!fifth", "[End]", "!"}),
                           "t.ts");
  ASSERT_TRUE(clean(r, "t.ts")) << r.message;
  EXPECT_EQ(r.comments, (std::vector<std::string>{"first", " second ! with a bang", "third",
                                                  "fourth", "fifth", ""}));
}

TEST(TouchstoneReadVersion2, NameNeedNotCarryThePortCount) {
  for (const char* name : {"t.ts", "t.TS", "data.txt", "noextension", "t.s2p.ts", "t.s1p"}) {
    const Read r =
        parseText(lines({"[Version] 2.0", "# RI", "[Number of Ports] 1",
                         "[Number of Frequencies] 1", "[Network Data]", "1 0 0", "[End]"}),
                  name);
    EXPECT_TRUE(clean(r, name)) << name << ": " << r.message;
    EXPECT_EQ(r.ports, 1) << name;
  }
}

TEST(TouchstoneReadVersion2, ManyPointsMatchTheirCount) {
  std::string text =
      "[Version] 2.0\n# Hz RI\n[Number of Ports] 1\n[Number of Frequencies] 5000\n"
      "[Network Data]\n";
  for (int k = 0; k < 5000; ++k) {
    text += std::to_string(k) + " 0.5 0\n";
  }
  const Read r = parseText(text + "[End]\n", "t.ts");
  ASSERT_TRUE(clean(r, "t.ts")) << r.message;
  EXPECT_EQ(r.f.size(), 5000u);
  EXPECT_TRUE(sameBits(r.f.back(), 4999.0));
}

TEST(TouchstoneReadVersion2, OptionLineDefaultsHoldInVersion2) {
  const Read r =
      parseText(lines({"[Version] 2.0", "#", "[Number of Ports] 1", "[Number of Frequencies] 1",
                       "[Network Data]", "2 0.5 0", "[End]"}),
                "t.ts");
  ASSERT_TRUE(clean(r, "t.ts")) << r.message;
  EXPECT_EQ(r.unit, "GHz");
  EXPECT_EQ(r.format, "MA");
  EXPECT_TRUE(sameBits(r.f, {2e9}));
  EXPECT_TRUE(sameBits(r.s, {Complex(0.5, 0.0)}));
}

TEST(TouchstoneReadVersion2, VersionTextIsOneOfThreeForEveryFile) {
  EXPECT_EQ(parseText("# RI\n1 0 0\n").version, "1.0");
  EXPECT_EQ(parseText(lines({"[Version] 2.0", "# RI", "[Number of Ports] 1",
                             "[Number of Frequencies] 1", "[Network Data]", "1 0 0", "[End]"}),
                      "t.ts")
                .version,
            "2.0");
}

}  // namespace
