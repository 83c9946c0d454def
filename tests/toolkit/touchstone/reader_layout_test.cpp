// Where each value of a data set goes: the two-port orders 21_12 and 12_21,
// row-major matrices from three ports up, the Lower and Upper triangles,
// and the values read as a stream of numbers whatever the line breaks, up
// to 64 and 100 ports.  RI S data go through unchanged, so every check is
// on exact bits.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "reader_test_support.h"

namespace {

using namespace zefra_reader_test;

// The label of entry (i, j) (ports from 1) at point k: distinct, exact.
Complex label(int k, int i, int j) {
  const double v = 1000.0 * k + 10.0 * i + j;
  return {v, -v / 4.0};
}

std::string pairText(Complex z) {
  std::string text = shortest(z.real());
  text += ' ';
  text += shortest(z.imag());
  return text;
}

// Appends " RE IM".
void appendPair(std::string& text, Complex z) {
  text += ' ';
  text += pairText(z);
}

// Expects S of every point to hold the labels.
void expectLabels(const Read& r, int ports, int points) {
  ASSERT_TRUE(r.ok()) << r.message;
  ASSERT_EQ(r.ports, ports);
  ASSERT_EQ(r.f.size(), static_cast<std::size_t>(points));
  ASSERT_EQ(r.sTaken, static_cast<int64_t>(points) * ports * ports);
  EXPECT_EQ(r.sTakenAgain, 0);
  for (int k = 0; k < points; ++k) {
    for (int i = 1; i <= ports; ++i) {
      for (int j = 1; j <= ports; ++j) {
        ASSERT_TRUE(sameBits(label(k, i, j), r.S(static_cast<std::size_t>(k), i, j)))
            << "S" << i << j << " at point " << k;
      }
    }
  }
}

// The head of a version-2 file, up to and including [Network Data].
std::string head2(int ports, int points, const std::string& extra = "") {
  std::string text =
      "[Version] 2.0\n# GHz S RI R 50\n[Number of Ports] " + std::to_string(ports) + "\n";
  if (ports == 2 && extra.find("[Two-Port Data Order]") == std::string::npos) {
    text += "[Two-Port Data Order] 12_21\n";
  }
  return text + "[Number of Frequencies] " + std::to_string(points) + "\n" + extra +
         "[Network Data]\n";
}

// ---- two-ports -------------------------------------------------------------------

TEST(TouchstoneReadLayout, Version1TwoPortValuesAreN11N21N12N22) {
  std::string text = "# RI\n";
  for (int k = 0; k < 3; ++k) {
    text += std::to_string(k + 1) + " " + pairText(label(k, 1, 1)) + " " +
            pairText(label(k, 2, 1)) + " " + pairText(label(k, 1, 2)) + " " +
            pairText(label(k, 2, 2)) + "\n";
  }
  const Read r = parseText(text, "t.s2p");
  EXPECT_TRUE(clean(r)) << r.message;
  expectLabels(r, 2, 3);
}

TEST(TouchstoneReadLayout, Version2TwoPortFollowsTheDeclaredOrder) {
  const std::string rowMajor = "1 " + pairText(label(0, 1, 1)) + " " + pairText(label(0, 1, 2)) +
                               " " + pairText(label(0, 2, 1)) + " " + pairText(label(0, 2, 2)) +
                               "\n[End]\n";
  const std::string columnMajor = "1 " + pairText(label(0, 1, 1)) + " " + pairText(label(0, 2, 1)) +
                                  " " + pairText(label(0, 1, 2)) + " " + pairText(label(0, 2, 2)) +
                                  "\n[End]\n";
  const Read r12 = parseText(head2(2, 1, "[Two-Port Data Order] 12_21\n") + rowMajor, "t.ts");
  EXPECT_TRUE(clean(r12, "t.ts")) << r12.message;
  expectLabels(r12, 2, 1);
  const Read r21 = parseText(head2(2, 1, "[Two-Port Data Order] 21_12\n") + columnMajor, "t.ts");
  EXPECT_TRUE(clean(r21, "t.ts")) << r21.message;
  expectLabels(r21, 2, 1);
}

TEST(TouchstoneReadLayout, DataOrderAppliesToEveryParameterOfAVersion1TwoPort) {
  // Normalised Z with z21 = 0: S21 must come out 0 and S12 not.
  const Read r = parseText("# Z RI\n1 0 0 0 0 0.5 0 0 0\n", "t.z2p");
  ASSERT_TRUE(clean(r)) << r.message;
  EXPECT_TRUE(sameBits(r.S(0, 2, 1), Complex(0.0, 0.0)));
  EXPECT_NE(r.S(0, 1, 2), Complex(0.0, 0.0));
}

// ---- row-major from three ports --------------------------------------------------

// Each row on new lines, at most four pairs per line, as writers lay it out.
std::string version1Rows(int ports, int points) {
  std::string text = "# GHz S RI R 50\n";
  for (int k = 0; k < points; ++k) {
    text += std::to_string(k + 1);
    for (int i = 1; i <= ports; ++i) {
      for (int j = 1; j <= ports; ++j) {
        if (j > 1 && (j - 1) % 4 == 0) {
          text += "\n ";
        }
        appendPair(text, label(k, i, j));
      }
      text += "\n";
    }
  }
  return text;
}

TEST(TouchstoneReadLayout, ThreePortsAndMoreAreRowMajor) {
  for (int ports : {3, 4, 5, 9}) {
    const std::string name = "t.s" + std::to_string(ports) + "p";
    const Read r = parseText(version1Rows(ports, 3), name);
    EXPECT_TRUE(clean(r, name)) << r.message;
    expectLabels(r, ports, 3);
  }
}

TEST(TouchstoneReadLayout, SixtyFourPortsAreRowMajor) {
  const Read r = parseText(version1Rows(64, 3), "t.s64p");
  EXPECT_TRUE(clean(r, "t.s64p")) << r.message;
  expectLabels(r, 64, 3);
}

// 100 ports with the 10,000 pairs of a data set on one line each, as some
// field solvers write them.
TEST(TouchstoneReadLayout, HundredPortsWithADataSetPerLine) {
  std::string text = "# GHz S RI R 50\n";
  for (int k = 0; k < 3; ++k) {
    text += std::to_string(k + 1);
    for (int i = 1; i <= 100; ++i) {
      for (int j = 1; j <= 100; ++j) {
        appendPair(text, label(k, i, j));
      }
    }
    text += "\n";
  }
  const Read r = parseText(text, "t.s100p");
  EXPECT_TRUE(warnedExactly(r, "t.s100p",
                            {{2,
                              "more than 4 value pairs on a line (version 1 "
                              "writes at most 4; read as a stream of numbers) "
                              "(3 lines like this)"}}));
  expectLabels(r, 100, 3);
}

TEST(TouchstoneReadLayout, HundredPortsInVersion2RowsAreRowMajor) {
  std::string text = head2(100, 2);
  for (int k = 0; k < 2; ++k) {
    text += std::to_string(k + 1) + "\n";
    for (int i = 1; i <= 100; ++i) {
      for (int j = 1; j <= 100; ++j) {
        appendPair(text, label(k, i, j));
      }
      text += "\n";
    }
  }
  const Read r = parseText(text + "[End]\n", "t.ts");
  EXPECT_TRUE(clean(r, "t.ts")) << r.message;
  expectLabels(r, 100, 2);
}

// ---- Lower and Upper -------------------------------------------------------------

// The symmetric matrix of labels: entry (i, j) holds label(k, max, min).
Complex symmetricLabel(int k, int i, int j) { return label(k, std::max(i, j), std::min(i, j)); }

std::string triangle(int ports, int points, bool lower) {
  std::string text;
  for (int k = 0; k < points; ++k) {
    text += std::to_string(k + 1) + "\n";
    for (int i = 1; i <= ports; ++i) {
      const int first = lower ? 1 : i;
      const int last = lower ? i : ports;
      for (int j = first; j <= last; ++j) {
        appendPair(text, symmetricLabel(k, i, j));
      }
      text += "\n";
    }
  }
  return text + "[End]\n";
}

void expectSymmetricLabels(const Read& r, int ports, int points) {
  ASSERT_TRUE(r.ok()) << r.message;
  ASSERT_EQ(r.ports, ports);
  ASSERT_EQ(r.f.size(), static_cast<std::size_t>(points));
  for (int k = 0; k < points; ++k) {
    for (int i = 1; i <= ports; ++i) {
      for (int j = 1; j <= ports; ++j) {
        ASSERT_TRUE(sameBits(symmetricLabel(k, i, j), r.S(static_cast<std::size_t>(k), i, j)))
            << "S" << i << j << " at point " << k;
      }
    }
  }
}

TEST(TouchstoneReadLayout, LowerTriangleRowIHoldsNi1ToNiiAndIsMirrored) {
  for (int ports : {1, 3, 4, 64}) {
    const Read r =
        parseText(head2(ports, 2, "[Matrix Format] Lower\n") + triangle(ports, 2, true), "t.ts");
    EXPECT_TRUE(clean(r, "t.ts")) << ports << ": " << r.message;
    expectSymmetricLabels(r, ports, 2);
  }
}

TEST(TouchstoneReadLayout, UpperTriangleRowIHoldsNiiToNiNAndIsMirrored) {
  for (int ports : {1, 3, 4, 64}) {
    const Read r =
        parseText(head2(ports, 2, "[Matrix Format] Upper\n") + triangle(ports, 2, false), "t.ts");
    EXPECT_TRUE(clean(r, "t.ts")) << ports << ": " << r.message;
    expectSymmetricLabels(r, ports, 2);
  }
}

TEST(TouchstoneReadLayout, TwoPortTriangleReadsTheSameInEitherDataOrder) {
  for (const char* order : {"12_21", "21_12"}) {
    for (const char* format : {"Lower", "Upper"}) {
      const bool lower = format[0] == 'L';
      const Read r = parseText(head2(2, 2,
                                     std::string("[Two-Port Data Order] ") + order +
                                         "\n[Matrix Format] " + format + "\n") +
                                   triangle(2, 2, lower),
                               "t.ts");
      EXPECT_TRUE(clean(r, "t.ts")) << order << " " << format << ": " << r.message;
      expectSymmetricLabels(r, 2, 2);
    }
  }
}

TEST(TouchstoneReadLayout, MatrixFormatFullIsTheDefaultAndItsNameIsCaseInsensitive) {
  std::string data;
  for (int i = 1; i <= 3; ++i) {
    for (int j = 1; j <= 3; ++j) {
      appendPair(data, label(0, i, j));
    }
  }
  for (const char* extra :
       {"", "[Matrix Format] Full\n", "[matrix format] FULL\n", "[Matrix   Format]   full\n"}) {
    const Read r = parseText(head2(3, 1, extra) + "1" + data + "\n[End]\n", "t.ts");
    EXPECT_TRUE(clean(r, "t.ts")) << extra << r.message;
    expectLabels(r, 3, 1);
  }
  const Read lower =
      parseText(head2(2, 1, "[Matrix Format] lower\n") + "1 1 0 2 0 3 0\n[End]\n", "t.ts");
  ASSERT_TRUE(clean(lower, "t.ts")) << lower.message;
  EXPECT_TRUE(sameBits(lower.s, {Complex(1, 0), Complex(2, 0), Complex(2, 0), Complex(3, 0)}));
}

// ---- a stream of numbers ---------------------------------------------------------

// The numbers laid out with random line breaks, blank lines and comment
// lines between them.
std::string randomLayout(const std::vector<std::string>& numbers, std::mt19937_64& random) {
  std::string text;
  for (std::size_t t = 0; t < numbers.size(); ++t) {
    text += numbers[t];
    const bool last = t + 1 == numbers.size();
    switch (random() % 8) {
      case 0:
      case 1:
        text += "\n";
        break;
      case 2:
        text += "\n\n  \t\n";
        break;
      case 3:
        text += " ! a remark\n";
        break;
      case 4:
        text += "\n! a comment line\n\t ";
        break;
      default:
        text += random() % 2 != 0 ? " " : "\t ";
        if (last) {
          text += "\n";
        }
        continue;
    }
  }
  return text;
}

TEST(TouchstoneReadLayout, ValuesAreAStreamOfNumbersWhateverTheLineBreaks) {
  std::mt19937_64 random(20260801);
  for (int ports : {1, 2, 3, 4}) {
    const int points = 5;
    std::vector<std::string> numbers;
    for (int k = 0; k < points; ++k) {
      numbers.push_back(std::to_string(k + 1));
      for (int i = 1; i <= ports; ++i) {
        for (int j = 1; j <= ports; ++j) {
          numbers.push_back(shortest(label(k, i, j).real()));
          numbers.push_back(shortest(label(k, i, j).imag()));
        }
      }
    }
    for (int trial = 0; trial < 25; ++trial) {
      const std::string data = randomLayout(numbers, random);
      const Read r = parseText(head2(ports, points) + data + "[End]\n", "t.ts");
      ASSERT_TRUE(r.ok()) << r.message << "\n" << data;
      EXPECT_EQ(r.sTaken, static_cast<int64_t>(points) * ports * ports);
      expectLabels(r, ports, points);
      // Only one warning kind is possible here: a pair split over lines.
      for (const std::string& w : r.warnings) {
        EXPECT_NE(w.find("a value pair split over two lines"), std::string::npos) << w;
      }
    }
  }
}

TEST(TouchstoneReadLayout, OneNumberPerLineReadsLikeOneDataSetPerLine) {
  std::string oneLine = "# RI\n";
  std::string oneNumber = "# RI\n";
  for (int k = 0; k < 4; ++k) {
    oneLine += std::to_string(k + 1);
    oneNumber += std::to_string(k + 1) + "\n";
    for (int i = 1; i <= 3; ++i) {
      for (int j = 1; j <= 3; ++j) {
        appendPair(oneLine, label(k, i, j));
        oneNumber +=
            shortest(label(k, i, j).real()) + "\n" + shortest(label(k, i, j).imag()) + "\n";
      }
    }
    oneLine += "\n";
  }
  const Read a = parseText(oneLine, "t.s3p");
  const Read b = parseText(oneNumber, "t.s3p");
  expectLabels(a, 3, 4);
  expectLabels(b, 3, 4);
  EXPECT_TRUE(warnedExactly(a, "t.s3p", {{2, "more than 4 value pairs on a line"}}));
  EXPECT_TRUE(warnedExactly(b, "t.s3p",
                            {{3,
                              "a value pair split over two lines (read as a stream "
                              "of numbers) (36 lines like this)"}}));
}

TEST(TouchstoneReadLayout, SeveralDataSetsMayShareALine) {
  const Read r = parseText(
      "[Version] 2.0\n# Hz RI\n[Number of Ports] 1\n"
      "[Number of Frequencies] 6\n[Network Data]\n"
      "1 0 0 2 0 0 3 0 0 4 0 0 5 0 0 6 0.5 0.25 [End]\n",
      "t.ts");
  // The [End] must start its own line: on a data line it is no number.
  EXPECT_TRUE(rejected(r, "t.ts", 6, "expected a frequency (a number), found '[End]'"));
  const Read ok = parseText(
      "[Version] 2.0\n# Hz RI\n[Number of Ports] 1\n"
      "[Number of Frequencies] 6\n[Network Data]\n"
      "1 0 0 2 0 0 3 0 0 4 0 0 5 0 0 6 0.5 0.25\n[End]\n",
      "t.ts");
  ASSERT_TRUE(clean(ok, "t.ts")) << ok.message;
  EXPECT_TRUE(sameBits(ok.f, {1, 2, 3, 4, 5, 6}));
  EXPECT_TRUE(sameBits(ok.s.back(), Complex(0.5, 0.25)));
}

TEST(TouchstoneReadLayout, ManyPointsKeepTheirOrder) {
  std::string text = "# Hz RI\n";
  std::vector<double> f;
  std::vector<Complex> s;
  for (int k = 0; k < 20000; ++k) {
    f.push_back(k * 0.5);
    s.emplace_back(k, -k * 0.25);
    text += shortest(f.back()) + " " + pairText(s.back()) + "\n";
  }
  const Read r = parseText(text);
  ASSERT_TRUE(clean(r)) << r.message;
  EXPECT_TRUE(sameBits(f, r.f));
  EXPECT_TRUE(sameBits(s, r.s));
}

}  // namespace
