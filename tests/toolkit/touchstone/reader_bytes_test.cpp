// The bytes of a text: CR LF line ends, tabs, a byte-order mark, Latin-1
// and UTF-8 in comments, NUL bytes, no final newline; files read in 1 MiB
// windows with lines longer than a window or straddling window boundaries
// (a file must read exactly as the same text in memory); and random byte
// soups, which must give a network or an error, never a crash.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "reader_test_support.h"

namespace {

using namespace zefra_reader_test;

constexpr std::size_t kWindow = std::size_t{1} << 20;  // the reader's window

// The whole literal, NUL bytes included.
template <std::size_t N>
std::string withNul(const char (&text)[N]) {
  return std::string(text, N - 1);
}

std::string withCrLf(const std::string& text) {
  std::string out;
  for (const char c : text) {
    if (c == '\n') {
      out += '\r';
    }
    out += c;
  }
  return out;
}

// Everything two reads gave, compared field by field (bits for numbers).
void expectSameRead(const Read& a, const Read& b) {
  EXPECT_EQ(a.status, b.status);
  EXPECT_EQ(a.message, b.message);
  EXPECT_EQ(a.ports, b.ports);
  EXPECT_TRUE(sameBits(a.f, b.f));
  EXPECT_TRUE(sameBits(a.s, b.s));
  EXPECT_TRUE(sameBits(a.z0, b.z0));
  EXPECT_TRUE(sameBits(a.noiseF, b.noiseF));
  EXPECT_TRUE(sameBits(a.nfMinDb, b.nfMinDb));
  EXPECT_TRUE(sameBits(a.gammaOpt, b.gammaOpt));
  EXPECT_TRUE(sameBits(a.rn, b.rn));
  EXPECT_EQ(a.comments, b.comments);
  EXPECT_EQ(a.warnings, b.warnings);
  EXPECT_EQ(a.modes, b.modes);
  EXPECT_EQ(a.version, b.version);
  EXPECT_EQ(a.parameter, b.parameter);
  EXPECT_EQ(a.format, b.format);
  EXPECT_EQ(a.unit, b.unit);
}

const std::string kVersion2 = lines({"! a two-port",
                                     "[Version] 2.1",
                                     "# MHz S MA R 50 ! options",
                                     "[Number of Ports] 2",
                                     "[Two-Port Data Order] 21_12",
                                     "[Number of Frequencies] 2",
                                     "[Number of Noise Frequencies] 1",
                                     "[Reference] 50",
                                     "  75 ! port 2",
                                     "[Matrix Format] Full",
                                     "[Begin Information]",
                                     "free text",
                                     "[End Information]",
                                     "[Network Data]",
                                     "100 0.5 10 0.25 -20",
                                     "  0.125 30 1 0",
                                     "200 0.5 11 0.25 -21 0.125 31 1 1",
                                     "[Noise Data]",
                                     "150 0.5 0.25 45 12.5 ! noise",
                                     "[End]",
                                     "! done"});

// ---- line ends and blanks ------------------------------------------------------

TEST(TouchstoneReadBytes, CrLfLineEndsReadLikeLf) {
  const Read lf = parseText(kVersion2, "t.ts");
  ASSERT_TRUE(clean(lf, "t.ts")) << lf.message;
  const Read crlf = parseText(withCrLf(kVersion2), "t.ts");
  expectSameRead(lf, crlf);
  EXPECT_EQ(crlf.comments.front(), " a two-port");  // no CR kept
  const std::string v1 = lines({"! one", "# GHz S RI R 50", "1 0.5 0.25 ! x", "2 0.5", "  0.25"});
  expectSameRead(parseText(v1), parseText(withCrLf(v1)));
}

TEST(TouchstoneReadBytes, CrLfErrorsAndWarningsKeepTheirLineNumbers) {
  const Read error = parseText(withCrLf(lines({"# RI", "1 0 0", "! c", "1 0 0"})));
  EXPECT_TRUE(rejected(error, "t.s1p", 4, "expected frequencies that increase"));
  const Read warning = parseText(withCrLf(lines({"# RI", "! \xE9", "1 0 0"})));
  EXPECT_TRUE(warnedExactly(warning, "t.s1p", {{2, "bytes outside printable ASCII"}}));
  EXPECT_EQ(warning.comments, std::vector<std::string>{" \xE9"});
}

TEST(TouchstoneReadBytes, StrayCarriageReturnSeparatesTokens) {
  const Read r = parseText("# RI\r\n1\r0.5\r0.25\r\r\n");
  ASSERT_TRUE(clean(r)) << r.message;
  EXPECT_TRUE(sameBits(r.s, {Complex(0.5, 0.25)}));
}

TEST(TouchstoneReadBytes, TabsSeparateTokensEverywhere) {
  const Read r = parseText(
      "[Version]\t2.0\n#\tMHz\tS\tRI\tR\t50\n[Number\tof\tPorts]\t2\n[Two-Port Data Order]\t12_21\n"
      "[Number of Frequencies]\t1\n[Reference]\t50\t\t75\t\n[Network Data]\n"
      "\t1\t1\t2\t3\t4\t5\t6\t7\t8\t\n[End]\t\n",
      "t.ts");
  ASSERT_TRUE(clean(r, "t.ts")) << r.message;
  EXPECT_TRUE(sameBits(r.z0, {50.0, 75.0}));
  EXPECT_TRUE(sameBits(r.s, {Complex(1, 2), Complex(3, 4), Complex(5, 6), Complex(7, 8)}));
}

TEST(TouchstoneReadBytes, TextWithoutAFinalNewlineIsReadWhole) {
  const Read v1 = parseText("# RI\n1 0 0\n2 0.5 0.25");
  ASSERT_TRUE(clean(v1)) << v1.message;
  EXPECT_TRUE(sameBits(v1.s.back(), Complex(0.5, 0.25)));
  const Read v2 = parseText(
      "[Version] 2.0\n# RI\n[Number of Ports] 1\n[Number of Frequencies] 1\n"
      "[Network Data]\n1 0 0\n[End]",
      "t.ts");
  EXPECT_TRUE(clean(v2, "t.ts")) << v2.message;
  const Read comment = parseText("# RI\n1 0 0\n! last");
  ASSERT_TRUE(clean(comment)) << comment.message;
  EXPECT_EQ(comment.comments, std::vector<std::string>{" last"});
  const Read cr = parseText("# RI\r\n1 0 0\r");
  EXPECT_TRUE(clean(cr)) << cr.message;
  // An error on the unterminated last line names it.
  EXPECT_TRUE(
      rejected(parseText("# RI\n1 0 0\n0 0 0"), "t.s1p", 3, "expected frequencies that increase"));
  EXPECT_TRUE(rejected(parseText("# RI\n1 0 0\n2 0"), "t.s1p", 3,
                       "expected 1 more values for the data set of line 3"));
}

// ---- bytes in comments and outside -------------------------------------------------

TEST(TouchstoneReadBytes, CommentBytesOfEveryValueAreKept) {
  std::string comment;
  for (int b = 1; b < 256; ++b) {
    if (b != '\n') {
      comment += static_cast<char>(b);
    }
  }
  const Read r = parseText("# RI\n!" + comment + "\n1 0 0\n");
  EXPECT_TRUE(warnedExactly(r, "t.s1p", {{2, "bytes outside printable ASCII in a comment"}}));
  // The comment runs to the end of the line; a CR at its end would go, none
  // is there (0x0D is inside).
  ASSERT_EQ(r.comments.size(), 1u);
  EXPECT_EQ(r.comments[0], comment);
}

TEST(TouchstoneReadBytes, Latin1AndUtf8CommentsInAFileAreKeptAsTheyAre) {
  ScratchFolder folder;
  const std::string text =
      "\xEF\xBB\xBF! Mesure r\xE9"
      "alis\xE9"
      "e \xB0"
      "C\r\n"
      "! \xC2\xAE Caf\xC3\xA9 \xE2\x84\xA6\r\n# RI\r\n1 0 0\r\n";
  const std::string path = folder.write("a.s1p", text);
  const Read r = readFile(path);
  EXPECT_TRUE(warnedExactly(r, path,
                            {{1, "a UTF-8 byte-order mark before the text (ignored)"},
                             {1,
                              "bytes outside printable ASCII in a comment (kept as they are) "
                              "(2 lines like this)"}}));
  EXPECT_EQ(r.comments, (std::vector<std::string>{" Mesure r\xE9"
                                                  "alis\xE9"
                                                  "e \xB0"
                                                  "C",
                                                  " \xC2\xAE Caf\xC3\xA9 \xE2\x84\xA6"}));
  expectSameRead(r, parseText(text, path));
}

TEST(TouchstoneReadBytes, NulBytesAreCommentBytesOrErrors) {
  const std::string inComment = withNul("# RI\n! a\0b\n1 0 0\n");
  const Read comment = parseText(inComment);
  EXPECT_TRUE(warnedExactly(comment, "t.s1p", {{2, "bytes outside printable ASCII in a comment"}}));
  const std::string inData = withNul("# RI\n1 0 0\n2 \0 0\n");
  EXPECT_TRUE(rejected(parseText(inData), "t.s1p", 3, "expected a number, found '\\x00'"));
  const std::string lone = withNul("# RI\n\0\n1 0 0\n");
  EXPECT_TRUE(
      rejected(parseText(lone), "t.s1p", 2, "expected a frequency (a number), found '\\x00'"));
  const std::string header = withNul("[Version] 2.0\0\n");
  EXPECT_TRUE(
      rejected(parseText(header, "t.ts"), "t.ts", 1, "expected ASCII text outside comments"));
  // From a file too.
  ScratchFolder folder;
  const std::string path = folder.write("n.s1p", inData);
  EXPECT_TRUE(rejected(readFile(path), path, 3, "expected a number, found '\\x00'"));
}

TEST(TouchstoneReadBytes, ByteOrderMarkInAFileIsSkipped) {
  ScratchFolder folder;
  const std::string path = folder.write("b.ts", "\xEF\xBB\xBF" + withCrLf(kVersion2));
  const Read r = readFile(path);
  ASSERT_TRUE(r.ok()) << r.message;
  ASSERT_EQ(r.warnings.size(), 1u);
  EXPECT_EQ(r.warnings[0], path + ":1: a UTF-8 byte-order mark before the text (ignored)");
  const Read plain = parseText(kVersion2, path);
  EXPECT_TRUE(sameBits(plain.s, r.s));
  EXPECT_EQ(plain.comments, r.comments);
}

// ---- files and windows ---------------------------------------------------------

// One data line of 120,000 one-port data sets, about 2.4 MiB, after a
// comment line of 2.5 MiB: both longer than two windows.
TEST(TouchstoneReadBytes, LinesLongerThanTwoWindowsAreReadFromAFile) {
  std::string text = "!" + std::string(5 * kWindow / 2, 'c') + "\n# Hz S RI R 50\n";
  std::vector<double> f;
  std::vector<Complex> s;
  for (int k = 0; k < 120000; ++k) {
    f.push_back(k);
    s.emplace_back(k * 0.001, -k * 0.0005);
    text +=
        std::to_string(k) + " " + shortest(s.back().real()) + " " + shortest(s.back().imag()) + " ";
  }
  text += "\n";
  const std::size_t longest = text.size() - text.find("\n# Hz") - 16;
  ASSERT_GT(longest, 2 * kWindow);
  ScratchFolder folder;
  const std::string path = folder.write("long.s1p", text);
  const Read r = readFile(path);
  EXPECT_TRUE(warnedExactly(r, path, {{3, "more than 4 value pairs on a line"}}));
  EXPECT_TRUE(sameBits(f, r.f));
  EXPECT_TRUE(sameBits(s, r.s));
  ASSERT_EQ(r.comments.size(), 1u);
  EXPECT_EQ(r.comments[0].size(), 5 * kWindow / 2);
}

TEST(TouchstoneReadBytes, LongLineThenShortLinesReadAcrossTheGrownWindow) {
  // A 3 MiB comment grows the window; 200,000 short lines follow it.
  std::string text = "!" + std::string(3 * kWindow, 'x') + "\n# Hz RI\n";
  for (int k = 0; k < 200000; ++k) {
    text += std::to_string(k) + " 1 " + std::to_string(k % 7) + "\n";
  }
  ScratchFolder folder;
  const std::string path = folder.write("grow.s1p", text);
  const Read r = readFile(path);
  ASSERT_TRUE(clean(r, path)) << r.message;
  ASSERT_EQ(r.f.size(), 200000u);
  EXPECT_TRUE(sameBits(r.f.back(), 199999.0));
  EXPECT_TRUE(sameBits(r.s.back(), Complex(1.0, 199999 % 7)));
}

// The LF (and the CR before it) of a data line at every offset around the
// first window's end.
TEST(TouchstoneReadBytes, LineEndsAroundTheWindowBoundaryReadLikeTheTextInMemory) {
  ScratchFolder folder;
  for (int shift = -12; shift <= 12; ++shift) {
    for (const bool crlf : {false, true}) {
      std::string text = "# GHz S RI R 50\n!";
      const std::string data =
          crlf ? "1 0.5 0.25\r\n2 0.75 0.125\r\n" : "1 0.5 0.25\n2 0.75 0.125\n";
      // The first data line's LF lands at kWindow + shift.
      const std::size_t end = kWindow + static_cast<std::size_t>(shift + 12) - 12;
      const std::size_t firstLf = data.find('\n');
      text += std::string(end - firstLf - text.size() - 1, 'p');
      text += '\n';
      text += data;
      ASSERT_EQ(text.find('\n', text.size() - data.size()), end);
      const std::string path = folder.write("w.s1p", text);
      const Read r = readFile(path);
      ASSERT_TRUE(clean(r, path)) << shift << " " << crlf << ": " << r.message;
      EXPECT_TRUE(sameBits(r.s, {Complex(0.5, 0.25), Complex(0.75, 0.125)})) << shift;
      EXPECT_EQ(r.comments.at(0).size(), end - firstLf - 18) << shift;
      expectSameRead(r, parseText(text, path));
    }
  }
}

// Files of exactly one and two windows, with and without a final LF.
TEST(TouchstoneReadBytes, FilesOfExactlyOneOrTwoWindowsAreReadWhole) {
  ScratchFolder folder;
  for (const std::size_t size : {kWindow - 1, kWindow, kWindow + 1, 2 * kWindow}) {
    for (const bool finalLf : {false, true}) {
      std::string tail = finalLf ? "9 0.5 0.25\n" : "9 0.5 0.25";
      std::string text = "# RI\n1 0 0\n!";
      text += std::string(size - text.size() - tail.size() - 1, 'z');
      text += '\n';
      text += tail;
      ASSERT_EQ(text.size(), size);
      const std::string path = folder.write("x.s1p", text);
      const Read r = readFile(path);
      ASSERT_TRUE(clean(r, path)) << size << ": " << r.message;
      EXPECT_TRUE(sameBits(r.f, {1e9, 9e9}));
      EXPECT_TRUE(sameBits(r.s.back(), Complex(0.5, 0.25)));
    }
  }
}

// A first line of about one, two or four windows: the window grows once,
// twice or three times, and the lines after it read as usual.
TEST(TouchstoneReadBytes, FirstLinesOfWindowSizesAreReadWhole) {
  ScratchFolder folder;
  for (const std::size_t length : {kWindow - 1, kWindow, kWindow + 1, 2 * kWindow - 1, 2 * kWindow,
                                   2 * kWindow + 1, 4 * kWindow}) {
    // The line is "!" and its comment; its LF comes at index `length`.
    std::string text(length, 'w');
    text[0] = '!';
    text += "\n# RI\n1 0.5 0.25\n2 0.75 0.125\n";
    const std::string path = folder.write("first.s1p", text);
    const Read r = readFile(path);
    ASSERT_TRUE(clean(r, path)) << length << ": " << r.message;
    ASSERT_EQ(r.comments.size(), 1u);
    EXPECT_EQ(r.comments[0].size(), length - 1);
    EXPECT_TRUE(sameBits(r.s, {Complex(0.5, 0.25), Complex(0.75, 0.125)})) << length;
  }
}

// About 3 MiB of lines of random lengths (padding, comments, values split
// anywhere): the file reads exactly as the text in memory, and as the values
// written.
TEST(TouchstoneReadBytes, RandomLinesOverSeveralWindowsReadLikeTheTextInMemory) {
  std::mt19937_64 random(99);
  std::uniform_real_distribution<double> value(-1.0, 1.0);
  std::string text =
      "[Version] 2.0\n# Hz S RI R 50\n[Number of Ports] 3\n"
      "[Number of Frequencies] 4000\n[Network Data]\n";
  std::vector<double> f;
  std::vector<Complex> s;
  for (int k = 0; k < 4000; ++k) {
    f.push_back(k);
    std::vector<std::string> tokens = {std::to_string(k)};
    for (int e = 0; e < 9; ++e) {
      s.emplace_back(value(random), value(random));
      tokens.push_back(shortest(s.back().real()));
      tokens.push_back(shortest(s.back().imag()));
    }
    for (const std::string& token : tokens) {
      text += token;
      switch (random() % 10) {
        case 0:
          text += "\n";
          break;
        case 1:
          text += " ! " + std::string(random() % 400, 'r') + "\n";
          break;
        case 2:
          text += "\r\n" + std::string(random() % 100, ' ');
          break;
        default:
          text += std::string(1 + random() % 4, random() % 2 != 0 ? ' ' : '\t');
          break;
      }
    }
    text += "\n";
  }
  text += "[End]\n";
  ASSERT_GT(text.size(), 5 * kWindow / 2);
  ScratchFolder folder;
  const std::string path = folder.write("r.ts", text);
  const Read r = readFile(path);
  ASSERT_TRUE(r.ok()) << r.message;
  EXPECT_TRUE(sameBits(f, r.f));
  EXPECT_TRUE(sameBits(s, r.s));
  expectSameRead(r, parseText(text, path));
}

// ---- byte soups ----------------------------------------------------------------------

// What any read must give: a non-empty network with increasing frequencies,
// finite S and noise values and positive references, or an error naming
// the text and a line in it.
void expectSound(const Read& r, const std::string& name, const std::string& text) {
  if (r.ok()) {
    ASSERT_GT(r.ports, 0);
    ASSERT_FALSE(r.f.empty());
    ASSERT_EQ(r.s.size(), r.f.size() * static_cast<std::size_t>(r.ports * r.ports));
    for (std::size_t k = 0; k < r.f.size(); ++k) {
      ASSERT_TRUE(std::isfinite(r.f[k]) && r.f[k] >= 0.0 && !std::signbit(r.f[k]));
      ASSERT_TRUE(k == 0 || r.f[k] > r.f[k - 1]);
    }
    for (const double z : r.z0) {
      ASSERT_TRUE(std::isfinite(z) && z > 0.0);
    }
    for (const Complex& z : r.s) {
      ASSERT_TRUE(std::isfinite(z.real()) && std::isfinite(z.imag()));
    }
    for (std::size_t k = 0; k < r.noiseF.size(); ++k) {
      ASSERT_TRUE(k == 0 || r.noiseF[k] > r.noiseF[k - 1]);
      ASSERT_TRUE(std::isfinite(r.rn[k]) && std::isfinite(r.gammaOpt[k].real()) &&
                  std::isfinite(r.gammaOpt[k].imag()));
    }
    return;
  }
  ASSERT_EQ(r.status, ZEFRA_TK_BAD_INPUT) << r.message;
  ASSERT_EQ(r.message.rfind(name + ":", 0), 0u) << r.message;
  const std::size_t colon = r.message.find(':', name.size() + 1);
  ASSERT_NE(colon, std::string::npos) << r.message;
  const long line = std::stol(r.message.substr(name.size() + 1, colon - name.size() - 1));
  const long lines = static_cast<long>(std::count(text.begin(), text.end(), '\n')) + 1;
  ASSERT_GE(line, 1) << r.message;
  ASSERT_LE(line, lines) << r.message;
  ASSERT_EQ(r.message.find('\n'), std::string::npos) << r.message;
}

TEST(TouchstoneReadBytes, RandomByteSoupsGiveANetworkOrAnError) {
  std::mt19937_64 random(1234567);
  const std::string alphabet = "0123456789.-+eE !#[]\n\r\t RIMASZYHGDBhzkKMGz,_";
  const char* names[] = {"t.s1p", "t.s2p", "t.s3p", "t.ts"};
  for (int trial = 0; trial < 3000; ++trial) {
    std::string text;
    const std::size_t length = random() % 400;
    const bool anyByte = trial % 4 == 0;
    for (std::size_t i = 0; i < length; ++i) {
      text += anyByte ? static_cast<char>(random() % 256) : alphabet[random() % alphabet.size()];
    }
    const std::string name = names[trial % 4];
    const Read r = parseText(text, name);
    ASSERT_NO_FATAL_FAILURE(expectSound(r, name, text)) << trial;
  }
}

TEST(TouchstoneReadBytes, RandomByteSoupsReadFromFilesLikeFromMemory) {
  ScratchFolder folder;
  std::mt19937_64 random(8080);
  const std::string alphabet = "0123456789.-+e !#[]\n\r\t RIMASZ\xE9\xBB\xEF";
  for (int trial = 0; trial < 300; ++trial) {
    std::string text = trial % 2 == 0 ? "# RI\n" : "";
    const std::size_t length = random() % 600;
    for (std::size_t i = 0; i < length; ++i) {
      text +=
          trial % 3 == 0 ? static_cast<char>(random() % 256) : alphabet[random() % alphabet.size()];
    }
    const std::string path = folder.write("soup.s2p", text);
    const Read r = readFile(path);
    ASSERT_NO_FATAL_FAILURE(expectSound(r, path, text)) << trial;
    expectSameRead(r, parseText(text, path));
  }
}

// Valid texts with bytes changed, inserted, removed, lines swapped or cut.
TEST(TouchstoneReadBytes, MutatedValidTextsGiveANetworkOrAnError) {
  const std::vector<std::pair<std::string, std::string>> seeds = {
      {"t.ts", kVersion2},
      {"t.s2p",
       lines({"! noise", "# GHz S MA R 50", "1 0.9 -10 0.1 80 0.1 80 0.9 -10",
              "2 0.8 -20 0.2 70 0.2 70 0.8 -20", "1 0.5 0.5 45 0.2", "1.5 0.6 0.4 50 0.3"})},
      {"t.ts",
       lines({"[Version] 2.0", "# GHz Z RI", "[Number of Ports] 4", "[Number of Frequencies] 2",
              "[Matrix Format] Upper", "[Mixed-Mode Order] D1,2 C1,2 S3 S4", "[Network Data]",
              "1 50 0 1 0 2 0 3 0", " 60 0 4 0 5 0", " 70 0 6 0", " 80 0", "2 51 0 1 0 2 0 3 0",
              " 61 0 4 0 5 0", " 71 0 6 0", " 81 0", "[End]"})},
      {"t.s3p",
       lines({"# kHz Y DB R 75", "1 -3 10 -20 0 -20 0", "  -20 0 -3 10 -20 0",
              "  -20 0 -20 0 -3 10", "2 -3 11 -20 0 -20 0 -20 0 -3 11 -20 0 -20 0 -20 0 -3 11"})}};
  const std::string bytes =
      "0123456789.-+eE !#[]\n\r\t\xE9\xEF\xBB\xBF"
      "RIDCS,";
  for (const auto& [name, seed] : seeds) {
    ASSERT_TRUE(parseText(seed, name).ok()) << name << ": " << parseText(seed, name).message;
  }
  std::mt19937_64 random(77);
  for (int trial = 0; trial < 4000; ++trial) {
    const auto& [name, seed] = seeds[static_cast<std::size_t>(trial) % seeds.size()];
    std::string text = seed;
    const int edits = 1 + static_cast<int>(random() % 4);
    for (int e = 0; e < edits && !text.empty(); ++e) {
      const std::size_t at = random() % text.size();
      switch (random() % 5) {
        case 0:
          text[at] = bytes[random() % bytes.size()];
          break;
        case 1:
          text.insert(at, 1, bytes[random() % bytes.size()]);
          break;
        case 2:
          text.erase(at, 1 + random() % 8);
          break;
        case 3:
          text.resize(at);
          break;
        default: {
          const std::size_t from = random() % text.size();
          const std::size_t length = std::min<std::size_t>(random() % 40, text.size() - from);
          text.insert(at, text.substr(from, length));
          break;
        }
      }
    }
    const Read r = parseText(text, name);
    ASSERT_NO_FATAL_FAILURE(expectSound(r, name, text)) << trial << "\n" << text;
  }
}

}  // namespace
