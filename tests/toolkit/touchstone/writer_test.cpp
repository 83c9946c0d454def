// zefra_tk_touchstone_write through the public header: the exact text of
// small files, the version and unit it chooses, the digits it writes, the
// arguments it refuses, and that a failed write leaves the target alone.
#include <gtest/gtest.h>

#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <limits>
#include <random>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "zefra/toolkit.h"

namespace {

namespace fs = std::filesystem;

constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

const std::string kHeader =
    std::string("! Touchstone file written by the Zefra_TDR_Helpers toolkit ") +
    ZEFRA_VERSION_STRING + "\n";

// A network and the options to write it with.
struct Job {
  int32_t ports = 1;
  std::vector<double> f;
  std::vector<double> s;  // (re, im) pairs, [points][ports][ports]
  std::vector<double> z0;
  std::vector<double> noiseF, nfMinDb, gammaOpt, rn;
  std::vector<const char*> comments;
  int32_t format = ZEFRA_TK_FORMAT_RI;
  int32_t unit = ZEFRA_TK_UNIT_GHZ;
  int32_t version = 0;
  int32_t digits = 0;
};

// S_ij = (10 i + j + 1, -(10 i + j + 1) / 8) at point k scaled by k + 1: every
// value tells where it belongs, and each is exact in a few decimal digits.
Job labelledNetwork(int32_t ports, std::vector<double> f) {
  Job job;
  job.ports = ports;
  job.f = std::move(f);
  job.z0.assign(static_cast<std::size_t>(ports), 50.0);
  for (std::size_t k = 0; k < job.f.size(); ++k) {
    for (int32_t i = 0; i < ports; ++i) {
      for (int32_t j = 0; j < ports; ++j) {
        const double label = static_cast<double>((10 * (i + 1) + j + 1) * static_cast<int>(k + 1));
        job.s.push_back(label);
        job.s.push_back(-label / 8.0);
      }
    }
  }
  return job;
}

class TouchstoneWriter : public ::testing::Test {
 protected:
  void SetUp() override {
    const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
    folder_ = fs::temp_directory_path() / (std::string("zefra_writer_test_") + info->name());
    fs::remove_all(folder_);
    fs::create_directories(folder_);
  }
  void TearDown() override { fs::remove_all(folder_); }

  std::string path(const std::string& name) const { return (folder_ / name).string(); }

  zefra_tk_status write(const std::string& target, const Job& job) {
    char text[512];
    std::memset(text, 'x', sizeof text);
    const zefra_tk_status status = zefra_tk_touchstone_write(
        target.c_str(), job.ports, static_cast<int64_t>(job.f.size()), job.f.data(), job.s.data(),
        job.z0.data(), static_cast<int64_t>(job.noiseF.size()), job.noiseF.data(),
        job.nfMinDb.data(), job.gammaOpt.data(), job.rn.data(), job.comments.data(),
        static_cast<int32_t>(job.comments.size()), job.format, job.unit, job.version, job.digits,
        text, static_cast<int32_t>(sizeof text));
    message = text;
    return status;
  }

  static std::string contents(const std::string& file) {
    std::ifstream in(file, std::ios::binary);
    std::ostringstream all;
    all << in.rdbuf();
    return all.str();
  }

  // Names of the files in the test's folder.
  std::vector<std::string> files() const {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder_)) {
      names.push_back(entry.path().filename().string());
    }
    return names;
  }

  // Writes `job` to NAME and returns the text of the file.
  std::string textOf(const std::string& name, const Job& job) {
    EXPECT_EQ(write(path(name), job), ZEFRA_TK_OK) << message;
    return contents(path(name));
  }

  // Expects `job` to be refused with a message containing `what`, and no
  // file to be left behind.
  void expectRefused(const std::string& name, const Job& job, const std::string& what) {
    EXPECT_EQ(write(path(name), job), ZEFRA_TK_BAD_INPUT);
    EXPECT_NE(message.find(what), std::string::npos) << message;
    EXPECT_EQ(message.find('\n'), std::string::npos) << message;
    EXPECT_TRUE(files().empty());
  }

  fs::path folder_;
  std::string message;
};

// ---- layout --------------------------------------------------------------------

TEST_F(TouchstoneWriter, OnePortIsVersion1WithOptionLineAndOnePairPerLine) {
  Job job = labelledNetwork(1, {1e9, 2e9});
  EXPECT_EQ(textOf("a.s1p", job), kHeader +
                                      "# GHZ S RI R 50\n"
                                      "1 11 -1.375\n"
                                      "2 22 -2.75\n");
  EXPECT_EQ(message, "");
}

TEST_F(TouchstoneWriter, TwoPortLineIsS11S21S12S22) {
  Job job = labelledNetwork(2, {1e9});
  EXPECT_EQ(textOf("a.s2p", job), kHeader +
                                      "# GHZ S RI R 50\n"
                                      "1 11 -1.375 21 -2.625 12 -1.5 22 -2.75\n");
}

TEST_F(TouchstoneWriter, ThreePortRowsStartOnNewIndentedLines) {
  Job job = labelledNetwork(3, {1e9});
  EXPECT_EQ(textOf("a.s3p", job), kHeader +
                                      "# GHZ S RI R 50\n"
                                      "1 11 -1.375 12 -1.5 13 -1.625\n"
                                      "  21 -2.625 22 -2.75 23 -2.875\n"
                                      "  31 -3.875 32 -4 33 -4.125\n");
}

TEST_F(TouchstoneWriter, FourPortRowTakesOneFullLine) {
  Job job = labelledNetwork(4, {1e9});
  const std::string text = textOf("a.s4p", job);
  EXPECT_NE(text.find("\n1 11 -1.375 12 -1.5 13 -1.625 14 -1.75\n  21 -2.625"), std::string::npos)
      << text;
}

TEST_F(TouchstoneWriter, FivePortRowBreaksAfterFourPairs) {
  Job job = labelledNetwork(5, {1e9});
  EXPECT_EQ(textOf("a.s5p", job), kHeader +
                                      "# GHZ S RI R 50\n"
                                      "1 11 -1.375 12 -1.5 13 -1.625 14 -1.75\n"
                                      "  15 -1.875\n"
                                      "  21 -2.625 22 -2.75 23 -2.875 24 -3\n"
                                      "  25 -3.125\n"
                                      "  31 -3.875 32 -4 33 -4.125 34 -4.25\n"
                                      "  35 -4.375\n"
                                      "  41 -5.125 42 -5.25 43 -5.375 44 -5.5\n"
                                      "  45 -5.625\n"
                                      "  51 -6.375 52 -6.5 53 -6.625 54 -6.75\n"
                                      "  55 -6.875\n");
}

TEST_F(TouchstoneWriter, EveryLineHoldsAtMostFourPairsForTwelvePorts) {
  Job job = labelledNetwork(12, {1e9, 2e9, 3e9});
  std::istringstream lines(textOf("a.s12p", job));
  std::string line;
  int dataLines = 0;
  while (std::getline(lines, line)) {
    if (line[0] == '!' || line[0] == '#') {
      continue;
    }
    std::istringstream numbers(line);
    double x;
    int count = 0;
    while (numbers >> x) {
      ++count;
    }
    const bool first = line[0] != ' ';
    EXPECT_EQ(count, first ? 9 : 8) << line;  // 12 = 4 + 4 + 4 pairs per row
    ++dataLines;
  }
  EXPECT_EQ(dataLines, 3 * 12 * 3);
}

TEST_F(TouchstoneWriter, CommentsFollowTheHeaderWithNonAsciiAndControlBytesReplaced) {
  Job job = labelledNetwork(1, {1e9});
  job.comments = {" plain text", "caf\xc3\xa9\tTab", "two\nlines\r"};
  EXPECT_EQ(textOf("a.s1p", job), kHeader +
                                      "! plain text\n"
                                      "!caf??\tTab\n"
                                      "!two?lines?\n"
                                      "# GHZ S RI R 50\n"
                                      "1 11 -1.375\n");
}

// ---- version 2 -----------------------------------------------------------------

TEST_F(TouchstoneWriter, UnequalReferencesGiveVersion2WithReference) {
  Job job = labelledNetwork(3, {1e9, 2e9});
  job.z0 = {50.0, 75.0, 12.5};
  EXPECT_EQ(textOf("a.s3p", job), kHeader +
                                      "[Version] 2.0\n"
                                      "# GHZ S RI R 50\n"
                                      "[Number of Ports] 3\n"
                                      "[Number of Frequencies] 2\n"
                                      "[Reference] 50 75 12.5\n"
                                      "[Network Data]\n"
                                      "1 11 -1.375 12 -1.5 13 -1.625\n"
                                      "  21 -2.625 22 -2.75 23 -2.875\n"
                                      "  31 -3.875 32 -4 33 -4.125\n"
                                      "2 22 -2.75 24 -3 26 -3.25\n"
                                      "  42 -5.25 44 -5.5 46 -5.75\n"
                                      "  62 -7.75 64 -8 66 -8.25\n"
                                      "[End]\n");
}

TEST_F(TouchstoneWriter, TwoPortVersion2DeclaresDataOrder21_12) {
  Job job = labelledNetwork(2, {1e9});
  job.version = 2;
  EXPECT_EQ(textOf("a.s2p", job), kHeader +
                                      "[Version] 2.0\n"
                                      "# GHZ S RI R 50\n"
                                      "[Number of Ports] 2\n"
                                      "[Two-Port Data Order] 21_12\n"
                                      "[Number of Frequencies] 1\n"
                                      "[Network Data]\n"
                                      "1 11 -1.375 21 -2.625 12 -1.5 22 -2.75\n"
                                      "[End]\n");
}

TEST_F(TouchstoneWriter, TsNameGivesVersion2) {
  Job job = labelledNetwork(1, {1e9});
  const std::string text = textOf("a.ts", job);
  EXPECT_EQ(text.find(kHeader + "[Version] 2.0\n# GHZ S RI R 50\n[Number of Ports] 1\n"), 0u)
      << text;
}

TEST_F(TouchstoneWriter, Version1NeedsTheNameToCarryThePortCount) {
  Job job = labelledNetwork(2, {1e9});
  job.version = 1;
  expectRefused("a.ts", job, "must end in .s2p");
}

TEST_F(TouchstoneWriter, NameAnnouncingAnotherPortCountIsRefused) {
  Job job = labelledNetwork(3, {1e9});
  expectRefused("a.S2P", job, "the name announces 2 ports, the network has 3");
}

TEST_F(TouchstoneWriter, Version1WithUnequalReferencesIsRefused) {
  Job job = labelledNetwork(2, {1e9});
  job.z0 = {50.0, 50.000000000000007};
  job.version = 1;
  expectRefused("a.s2p", job, "the references differ");
}

// ---- noise ---------------------------------------------------------------------

Job noisyTwoPort() {
  Job job = labelledNetwork(2, {1e9, 2e9});
  job.noiseF = {1e9, 1.5e9};
  job.nfMinDb = {0.5, 0.75};
  job.gammaOpt = {0.0, 0.5, -0.25, 0.0};  // 0.5 at 90 degrees, 0.25 at 180 degrees
  job.rn = {10.0, 25.0};
  return job;
}

TEST_F(TouchstoneWriter, Version1NoiseRowsFollowTheDataWithRnOverR) {
  EXPECT_EQ(textOf("a.s2p", noisyTwoPort()), kHeader +
                                                 "# GHZ S RI R 50\n"
                                                 "1 11 -1.375 21 -2.625 12 -1.5 22 -2.75\n"
                                                 "2 22 -2.75 42 -5.25 24 -3 44 -5.5\n"
                                                 "1 0.5 0.5 90 0.2\n"
                                                 "1.5 0.75 0.25 180 0.5\n");
}

TEST_F(TouchstoneWriter, Version2NoiseDataGiveRnInOhms) {
  Job job = noisyTwoPort();
  job.version = 2;
  EXPECT_EQ(textOf("a.s2p", job), kHeader +
                                      "[Version] 2.0\n"
                                      "# GHZ S RI R 50\n"
                                      "[Number of Ports] 2\n"
                                      "[Two-Port Data Order] 21_12\n"
                                      "[Number of Frequencies] 2\n"
                                      "[Number of Noise Frequencies] 2\n"
                                      "[Network Data]\n"
                                      "1 11 -1.375 21 -2.625 12 -1.5 22 -2.75\n"
                                      "2 22 -2.75 42 -5.25 24 -3 44 -5.5\n"
                                      "[Noise Data]\n"
                                      "1 0.5 0.5 90 10\n"
                                      "1.5 0.75 0.25 180 25\n"
                                      "[End]\n");
}

// A version-1 reader starts the noise block at the first frequency not above
// the one before it: noise starting above the last network frequency would
// read as more network data.
TEST_F(TouchstoneWriter, NoiseStartingAtTheLastNetworkFrequencyStaysVersion1) {
  Job job = noisyTwoPort();
  job.noiseF = {2e9, 3e9};
  EXPECT_EQ(textOf("a.s2p", job).find("[Version]"), std::string::npos);
}

TEST_F(TouchstoneWriter, NoiseStartingAboveTheLastNetworkFrequencyNeedsVersion2) {
  Job job = noisyTwoPort();
  job.noiseF = {std::nextafter(2e9, 3e9), 3e9};
  EXPECT_NE(textOf("a.s2p", job).find("[Version] 2.0\n"), std::string::npos);
  fs::remove(path("a.s2p"));
  job.version = 1;
  expectRefused("a.s2p", job, "must not be above the last network frequency");
}

// Version 1 writes Rn / R: 1e308 ohm over 1e-3 ohm would be "inf".
TEST_F(TouchstoneWriter, AnRnOverRBeyondRangeNeedsVersion2) {
  Job job = noisyTwoPort();
  job.z0 = {1e-3, 1e-3};
  job.rn = {10.0, 1e308};
  const std::string text = textOf("a.s2p", job);
  EXPECT_NE(text.find("[Version] 2.0\n"), std::string::npos);
  EXPECT_NE(text.find(" 1e+308\n"), std::string::npos);
  fs::remove(path("a.s2p"));
  job.version = 1;
  expectRefused("a.s2p", job, "an Rn / R is beyond the range of a double");
}

TEST_F(TouchstoneWriter, NoiseForAnotherThanATwoPortIsRefused) {
  Job job = noisyTwoPort();
  Job three = labelledNetwork(3, {1e9, 2e9});
  three.noiseF = job.noiseF;
  three.nfMinDb = job.nfMinDb;
  three.gammaOpt = job.gammaOpt;
  three.rn = job.rn;
  expectRefused("a.s3p", three, "noise data given for a 3-port");
}

// ---- formats and digits --------------------------------------------------------

TEST_F(TouchstoneWriter, MagnitudeAngleGivesDegrees) {
  Job job = labelledNetwork(1, {1e9, 2e9, 3e9});
  job.s = {0.0, 0.5, -2.0, 0.0, 3.0, -4.0};
  job.format = ZEFRA_TK_FORMAT_MA;
  EXPECT_EQ(textOf("a.s1p", job), kHeader +
                                      "# GHZ S MA R 50\n"
                                      "1 0.5 90\n"
                                      "2 2 180\n"
                                      "3 5 -53.13010235415598\n");
}

TEST_F(TouchstoneWriter, DecibelsAreTwentyLog10OfTheMagnitude) {
  Job job = labelledNetwork(1, {1e9, 2e9});
  job.s = {0.1, 0.0, 0.0, -0.01};
  job.format = ZEFRA_TK_FORMAT_DB;
  EXPECT_EQ(textOf("a.s1p", job), kHeader +
                                      "# GHZ S DB R 50\n"
                                      "1 -20 0\n"
                                      "2 -40 -90\n");
}

TEST_F(TouchstoneWriter, DecibelsOfZeroAreThoseOfTheSmallestDouble) {
  Job job = labelledNetwork(1, {1e9});
  job.s = {0.0, 0.0};
  job.format = ZEFRA_TK_FORMAT_DB;
  const double floorDb = 20.0 * std::log10(std::numeric_limits<double>::denorm_min());
  char expected[64];
  const auto end = std::to_chars(expected, expected + sizeof expected, floorDb).ptr;
  EXPECT_EQ(textOf("a.s1p", job),
            kHeader + "# GHZ S DB R 50\n1 " + std::string(expected, end) + " 0\n");
  EXPECT_LT(floorDb, -6466.0);
  EXPECT_GT(floorDb, -6467.0);
}

TEST_F(TouchstoneWriter, DigitsGiveSignificantDigitsOfValuesButNotOfFrequencies) {
  Job job = labelledNetwork(1, {1.23456789e9});
  job.s = {0.123456789, -123456.789};
  job.z0 = {50.123456789};
  job.digits = 3;
  EXPECT_EQ(textOf("a.s1p", job), kHeader +
                                      "# GHZ S RI R 50.123456789\n"
                                      "1.23456789 0.123 -1.23e+05\n");
}

TEST_F(TouchstoneWriter, SeventeenDigitsKeepTrailingDigitsOnlyWhereTheyAreNonZero) {
  Job job = labelledNetwork(1, {1e9});
  job.s = {0.1, 0.5};
  job.digits = 17;
  EXPECT_EQ(textOf("a.s1p", job), kHeader + "# GHZ S RI R 50\n1 0.10000000000000001 0.5\n");
}

TEST_F(TouchstoneWriter, ShortestDigitsReadBackBitForBit) {
  std::mt19937_64 random(20'260'801);
  std::uniform_int_distribution<uint64_t> bits;
  Job job = labelledNetwork(3, {1e9, 2e9, 3e9, 4e9});
  for (double& x : job.s) {
    do {
      const uint64_t pattern = bits(random);
      std::memcpy(&x, &pattern, sizeof x);
    } while (!std::isfinite(x));
  }
  std::istringstream text(textOf("a.s3p", job));
  std::vector<double> values;
  std::string line;
  while (std::getline(text, line)) {
    if (line[0] == '!' || line[0] == '#') {
      continue;
    }
    std::istringstream words(line);
    std::string word;
    bool first = line[0] != ' ';
    while (words >> word) {
      if (first) {  // the frequency
        first = false;
        continue;
      }
      double x = 0.0;
      const auto result = std::from_chars(word.data(), word.data() + word.size(), x);
      ASSERT_EQ(result.ptr, word.data() + word.size()) << word;
      values.push_back(x);
    }
  }
  ASSERT_EQ(values.size(), job.s.size());
  EXPECT_EQ(std::memcmp(values.data(), job.s.data(), values.size() * sizeof(double)), 0);
}

// ---- frequencies ---------------------------------------------------------------

// The frequency column of a 1-port written in `unit`.
std::vector<std::string> frequencyColumn(const std::string& text) {
  std::istringstream lines(text);
  std::vector<std::string> column;
  std::string line;
  while (std::getline(lines, line)) {
    if (line[0] != '!' && line[0] != '#') {
      column.push_back(line.substr(0, line.find(' ')));
    }
  }
  return column;
}

std::string optionLine(const std::string& text) {
  const auto start = text.find("\n#") + 1;
  return text.substr(start, text.find('\n', start) - start);
}

TEST_F(TouchstoneWriter, EachUnitMovesTheDecimalPoint) {
  const char* tokens[] = {"HZ", "KHZ", "MHZ", "GHZ"};
  const char* texts[] = {"1234567890", "1234567.89", "1234.56789", "1.23456789"};
  for (int32_t unit = ZEFRA_TK_UNIT_HZ; unit <= ZEFRA_TK_UNIT_GHZ; ++unit) {
    Job job = labelledNetwork(1, {1234567890.0});
    job.unit = unit;
    const std::string text = textOf("a.s1p", job);
    EXPECT_EQ(optionLine(text), std::string("# ") + tokens[unit] + " S RI R 50");
    EXPECT_EQ(frequencyColumn(text), std::vector<std::string>{texts[unit]});
  }
}

// Fixed or scientific notation, whichever is shorter (fixed on a tie), as
// std::to_chars chooses: each expected text is also to_chars of its value.
TEST_F(TouchstoneWriter, ScaledFrequencyTakesTheShorterNotation) {
  Job job =
      labelledNetwork(1, {0.0, 1e-100, 12500.0, 1e5, 125000.0, 1e6, 123456789.0, 1e13, 1e14, 1e30});
  const std::vector<std::string> expected = {"0",        "1e-109", "1.25e-05",    "1e-04",
                                             "0.000125", "0.001",  "0.123456789", "10000",
                                             "1e+05",    "1e+21"};
  EXPECT_EQ(frequencyColumn(textOf("a.s1p", job)), expected);
  for (const std::string& text : expected) {
    double value = 0.0;
    std::from_chars(text.data(), text.data() + text.size(), value);
    char shortest[64];
    const auto end = std::to_chars(shortest, shortest + sizeof shortest, value).ptr;
    EXPECT_EQ(std::string(shortest, end), text);
  }
}

TEST_F(TouchstoneWriter, NegativeZeroFrequencyIsWrittenAsZero) {
  Job job = labelledNetwork(1, {-0.0, 1e9});
  EXPECT_EQ(frequencyColumn(textOf("a.s1p", job)), (std::vector<std::string>{"0", "1"}));
}

// 0.067 * 1e9 != 67e6 but 67 * 1e6 == 67e6; 4.1e6 needs kHz; 1e9 * 15 / 7
// needs Hz.
TEST_F(TouchstoneWriter, UnitFallsToTheLargestInWhichEveryFrequencyScalesBack) {
  struct Case {
    double f;
    const char* token;
    const char* text;
  };
  const Case cases[] = {{1.5e9, "GHZ", "1.5"},
                        {67e6, "MHZ", "67"},
                        {4.1e6, "KHZ", "4100"},
                        {2142857142.857143, "HZ", "2142857142.857143"}};
  for (const Case& c : cases) {
    Job job = labelledNetwork(1, {0.0, c.f});
    const std::string text = textOf("a.s1p", job);
    EXPECT_EQ(optionLine(text), std::string("# ") + c.token + " S RI R 50") << c.f;
    EXPECT_EQ(frequencyColumn(text)[1], c.text);
    double parsed = 0.0;
    std::from_chars(c.text, c.text + std::strlen(c.text), parsed);
    const double scale = c.token[0] == 'G'   ? 1e9
                         : c.token[0] == 'M' ? 1e6
                         : c.token[0] == 'K' ? 1e3
                                             : 1.0;
    EXPECT_EQ(parsed * scale, c.f);
  }
}

TEST_F(TouchstoneWriter, NoiseFrequenciesTakePartInTheUnitChoice) {
  Job job = noisyTwoPort();
  job.noiseF = {67e6, 1e9};
  const std::string text = textOf("a.s2p", job);
  EXPECT_EQ(optionLine(text), "# MHZ S RI R 50");
  EXPECT_NE(text.find("\n67 0.5 0.5 90 0.2\n"), std::string::npos) << text;
}

// ---- arguments -----------------------------------------------------------------

TEST_F(TouchstoneWriter, RefusesCountsBelowOne) {
  Job job = labelledNetwork(1, {1e9});
  job.ports = 0;
  expectRefused("a.s1p", job, "ports = 0");
  Job empty = labelledNetwork(1, {});
  expectRefused("a.s1p", empty, "points = 0");
}

TEST_F(TouchstoneWriter, RefusesFrequenciesThatDoNotIncreaseStrictly) {
  Job job = labelledNetwork(1, {1e9, 2e9, 2e9});
  expectRefused("a.s1p", job, "f[2] = 2e+09 Hz is not above f[1] = 2e+09 Hz");
}

TEST_F(TouchstoneWriter, RefusesNegativeAndNonFiniteFrequencies) {
  expectRefused("a.s1p", labelledNetwork(1, {-1.0, 1e9}),
                "f[0] = -1 Hz: frequencies must not be negative");
  expectRefused("a.s1p", labelledNetwork(1, {1.0, kInf}),
                "f[1] = inf Hz: frequencies must be finite");
  expectRefused("a.s1p", labelledNetwork(1, {kNaN}), "f[0] = nan Hz");
}

TEST_F(TouchstoneWriter, RefusesReferencesThatAreNotFiniteAndPositive) {
  for (double bad : {0.0, -50.0, kInf, kNaN}) {
    Job job = labelledNetwork(2, {1e9});
    job.z0[1] = bad;
    expectRefused("a.s2p", job, "z0[1] = ");
  }
}

TEST_F(TouchstoneWriter, RefusesOptionsOutOfRange) {
  Job job = labelledNetwork(1, {1e9});
  job.format = 3;
  expectRefused("a.s1p", job, "format = 3");
  job.format = ZEFRA_TK_FORMAT_RI;
  job.unit = -1;
  expectRefused("a.s1p", job, "unit = -1");
  job.unit = ZEFRA_TK_UNIT_HZ;
  job.version = 3;
  expectRefused("a.s1p", job, "version = 3");
  job.version = 0;
  job.digits = 18;
  expectRefused("a.s1p", job, "digits = 18");
  job.digits = -1;
  expectRefused("a.s1p", job, "digits = -1");
}

TEST_F(TouchstoneWriter, RefusesNonFiniteValuesNamingTheEntryAndThePoint) {
  Job job = labelledNetwork(3, {1e9, 2e9});
  job.s[2 * (9 + 1 * 3 + 2) + 1] = kNaN;  // S23 at the second point
  expectRefused("a.s3p", job,
                "S23 at f[1] = 2e+09 Hz is (46, nan): Touchstone values must be finite");
}

TEST_F(TouchstoneWriter, RefusesMagnitudesAboveTheLargestDoubleInMagnitudeAngle) {
  Job job = labelledNetwork(1, {1e9});
  job.s = {1.5e308, 1.5e308};
  job.format = ZEFRA_TK_FORMAT_MA;
  expectRefused("a.s1p", job, "its magnitude is above the largest double");
  job.format = ZEFRA_TK_FORMAT_RI;
  EXPECT_EQ(textOf("a.s1p", job), kHeader + "# GHZ S RI R 50\n1 1.5e+308 1.5e+308\n");
}

TEST_F(TouchstoneWriter, RefusesNoiseDataOutOfRange) {
  Job job = noisyTwoPort();
  job.rn[1] = -1.0;
  expectRefused("a.s2p", job, "rn[1] = -1 ohm");
  job = noisyTwoPort();
  job.nfMinDb[0] = kNaN;
  expectRefused("a.s2p", job, "nfMinDb[0] = nan dB");
  job = noisyTwoPort();
  job.noiseF = {1e9, 1e9};
  expectRefused("a.s2p", job, "noiseF[1] = 1e+09 Hz is not above noiseF[0]");
}

TEST_F(TouchstoneWriter, RefusesNullArraysAndComments) {
  Job job = labelledNetwork(1, {1e9});
  job.comments = {"fine", nullptr};
  expectRefused("a.s1p", job, "comment 1 is null");
  EXPECT_EQ(zefra_tk_touchstone_write(path("a.s1p").c_str(), 1, 1, job.f.data(), nullptr,
                                      job.z0.data(), 0, nullptr, nullptr, nullptr, nullptr, nullptr,
                                      0, 0, 0, 0, 0, nullptr, 0),
            ZEFRA_TK_BAD_INPUT);
  EXPECT_EQ(zefra_tk_touchstone_write(nullptr, 1, 1, job.f.data(), job.s.data(), job.z0.data(), 0,
                                      nullptr, nullptr, nullptr, nullptr, nullptr, 0, 0, 0, 0, 0,
                                      nullptr, 0),
            ZEFRA_TK_BAD_INPUT);
  EXPECT_TRUE(files().empty());
}

TEST_F(TouchstoneWriter, MessageIsCutToTheCallersBuffer) {
  Job job = labelledNetwork(1, {1e9});
  job.ports = 0;
  char text[8];
  std::memset(text, 'x', sizeof text);
  EXPECT_EQ(zefra_tk_touchstone_write(path("a.s1p").c_str(), 0, 1, job.f.data(), job.s.data(),
                                      job.z0.data(), 0, nullptr, nullptr, nullptr, nullptr, nullptr,
                                      0, 0, 0, 0, 0, text, 5),
            ZEFRA_TK_BAD_INPUT);
  EXPECT_EQ(std::string(text), path("a.s1p").substr(0, 4));
  EXPECT_EQ(text[5], 'x');
}

// ---- the file ------------------------------------------------------------------

TEST_F(TouchstoneWriter, ReplacesAnExistingFile) {
  std::ofstream(path("a.s1p")) << "old text\n";
  Job job = labelledNetwork(1, {1e9});
  EXPECT_EQ(textOf("a.s1p", job), kHeader + "# GHZ S RI R 50\n1 11 -1.375\n");
  EXPECT_EQ(files(), std::vector<std::string>{"a.s1p"});
}

TEST_F(TouchstoneWriter, FailedWriteLeavesTheExistingFileAndNoTemporary) {
  std::ofstream(path("a.s2p")) << "old text\n";
  // The bad value is at the last point, after most of the text is written.
  Job job = labelledNetwork(2, std::vector<double>(1000));
  for (std::size_t k = 0; k < job.f.size(); ++k) {
    job.f[k] = 1e6 * static_cast<double>(k);
  }
  job.s.back() = kInf;
  EXPECT_EQ(write(path("a.s2p"), job), ZEFRA_TK_BAD_INPUT);
  EXPECT_NE(message.find("S22 at f[999]"), std::string::npos) << message;
  EXPECT_EQ(contents(path("a.s2p")), "old text\n");
  EXPECT_EQ(files(), std::vector<std::string>{"a.s2p"});
}

TEST_F(TouchstoneWriter, TargetThatIsAFolderGivesAnIoErrorAndNoTemporary) {
  fs::create_directory(path("a.s1p"));
  Job job = labelledNetwork(1, {1e9});
  EXPECT_EQ(write(path("a.s1p"), job), ZEFRA_TK_IO_ERROR);
  EXPECT_NE(message.find(path("a.s1p") + ": cannot replace the file: "), std::string::npos)
      << message;
  EXPECT_EQ(files(), std::vector<std::string>{"a.s1p"});
  EXPECT_TRUE(fs::is_directory(path("a.s1p")));
}

TEST_F(TouchstoneWriter, MissingFolderGivesAnIoErrorNamingIt) {
  Job job = labelledNetwork(1, {1e9});
  EXPECT_EQ(write(path("no/such/a.s1p"), job), ZEFRA_TK_IO_ERROR);
  EXPECT_NE(message.find("cannot create a temporary file in " + path("no/such/")),
            std::string::npos)
      << message;
}

// Two threads writing the same target: each writes its own temporary file,
// and the target ends up as the whole text of one of them.
TEST_F(TouchstoneWriter, ConcurrentWritesOfOneTargetLeaveOneWholeFile) {
  Job a = labelledNetwork(4, std::vector<double>(2000));
  for (std::size_t k = 0; k < a.f.size(); ++k) {
    a.f[k] = 1e6 * static_cast<double>(k + 1);
  }
  Job b = a;
  for (double& x : b.s) {
    x = -x;
  }
  const std::string target = path("a.s4p");
  zefra_tk_status statusA = -1;
  zefra_tk_status statusB = -1;
  const auto run = [&](const Job& job, zefra_tk_status& status) {
    for (int i = 0; i < 5; ++i) {
      status = zefra_tk_touchstone_write(
          target.c_str(), job.ports, static_cast<int64_t>(job.f.size()), job.f.data(), job.s.data(),
          job.z0.data(), 0, nullptr, nullptr, nullptr, nullptr, nullptr, 0, job.format, job.unit,
          job.version, job.digits, nullptr, 0);
    }
  };
  std::thread first(run, std::cref(a), std::ref(statusA));
  std::thread second(run, std::cref(b), std::ref(statusB));
  first.join();
  second.join();
  EXPECT_EQ(statusA, ZEFRA_TK_OK);
  EXPECT_EQ(statusB, ZEFRA_TK_OK);
  const std::string text = contents(target);
  const std::string textA = textOf("a-copy.s4p", a);
  const std::string textB = textOf("b-copy.s4p", b);
  EXPECT_TRUE(text == textA || text == textB);
  EXPECT_EQ(files().size(), 3u);
}

}  // namespace
