// The reader's worker threads: the same bits whatever their number, and the
// first fault of the text reported whichever batch and thread finds it.
// ZEFRA_TK_THREADS sets the number of workers for each read.
#include <gtest/gtest.h>

#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "reader_test_support.h"

namespace {

using namespace zefra_reader_test;

void setThreads(const char* value) {
#if defined(_WIN32)
  _putenv_s("ZEFRA_TK_THREADS", value);
#else
  setenv("ZEFRA_TK_THREADS", value, 1);
#endif
}

// A 4-port MA text of `points` data sets, one matrix row per line: far more
// than one batch of values.
std::string largeText(int points, unsigned seed) {
  std::mt19937_64 random(seed);
  std::uniform_real_distribution<double> magnitude(0.0, 1.0), angle(-180.0, 180.0);
  std::string text = "# MHz S MA R 50\n";
  for (int k = 0; k < points; ++k) {
    text += std::to_string(k + 1);
    for (int row = 0; row < 4; ++row) {
      for (int col = 0; col < 4; ++col) {
        text += ' ';
        text += shortest(magnitude(random));
        text += ' ';
        text += shortest(angle(random));
      }
      text += "\n";
    }
  }
  return text;
}

class TouchstoneReadThreads : public ::testing::Test {
 protected:
  void TearDown() override { setThreads("0"); }  // 0 is ignored: one per core again
};

TEST_F(TouchstoneReadThreads, OneWorkerAndManyGiveTheSameBits) {
  const std::string text = largeText(6000, 7);
  setThreads("1");
  const Read one = parseText(text, "big.s4p");
  ASSERT_TRUE(one.ok()) << one.message;
  for (const char* workers : {"2", "3", "8"}) {
    setThreads(workers);
    const Read many = parseText(text, "big.s4p");
    ASSERT_TRUE(many.ok()) << many.message;
    EXPECT_TRUE(sameBits(one.f, many.f)) << workers << " workers";
    EXPECT_TRUE(sameBits(one.s, many.s)) << workers << " workers";
  }
}

TEST_F(TouchstoneReadThreads, AFileReadGivesTheBitsOfTheSameTextParsed) {
  const std::string text = largeText(3000, 11);
  ScratchFolder folder;
  const std::string path = folder.write("big.s4p", text);
  setThreads("4");
  const Read fromFile = readFile(path);
  const Read fromText = parseText(text, "big.s4p");
  ASSERT_TRUE(fromFile.ok()) << fromFile.message;
  ASSERT_TRUE(fromText.ok()) << fromText.message;
  EXPECT_TRUE(sameBits(fromText.s, fromFile.s));
}

// Line of the first value of data set k (from 0): the option line is line 1
// and each data set takes 4 lines.
int64_t lineOf(int k) { return 2 + 4 * static_cast<int64_t>(k); }

// The text with the first value token of data set k replaced.
std::string withValue(std::string text, int k, const std::string& token) {
  std::size_t at = 0;
  for (int64_t line = 1; line < lineOf(k); ++line) {
    at = text.find('\n', at) + 1;
  }
  const std::size_t start = text.find(' ', at) + 1;
  const std::size_t end = text.find(' ', start);
  return text.replace(start, end - start, token);
}

TEST_F(TouchstoneReadThreads, ANumberFaultDeepInTheDataIsReportedAtItsLine) {
  for (const char* workers : {"1", "2", "4"}) {
    setThreads(workers);
    const Read r = parseText(withValue(largeText(5000, 3), 4321, "0.5x"), "bad.s4p");
    EXPECT_TRUE(rejected(r, "bad.s4p", lineOf(4321), "a number, found '0.5x'")) << workers;
  }
}

TEST_F(TouchstoneReadThreads, TheFirstOfTwoFaultsInDifferentBatchesWins) {
  // A bad number in data set 1000 and an overflowing one in data set 4000:
  // whichever worker finds its fault first, the earlier line is reported.
  std::string text = withValue(largeText(5000, 5), 4000, "1e999");
  text = withValue(text, 1000, "abc");
  for (const char* workers : {"1", "2", "8"}) {
    setThreads(workers);
    const Read r = parseText(text, "two.s4p");
    EXPECT_TRUE(rejected(r, "two.s4p", lineOf(1000), "a number, found 'abc'")) << workers;
  }
}

TEST_F(TouchstoneReadThreads, AValueFaultBeforeAnOrderFaultOfTheReaderWins) {
  // The reader itself finds the frequency that does not increase (data set
  // 4500); a worker finds the bad value of data set 2000, which comes first.
  std::string text = largeText(5000, 9);
  const std::string from = "\n4501 ";
  text.replace(text.find(from), from.size(), "\n4499.5 ");
  text = withValue(text, 2000, "--1");
  for (const char* workers : {"1", "2", "4"}) {
    setThreads(workers);
    const Read r = parseText(text, "order.s4p");
    EXPECT_TRUE(rejected(r, "order.s4p", lineOf(2000), "a number, found '--1'")) << workers;
  }
}

TEST_F(TouchstoneReadThreads, AnOrderFaultAloneIsReportedByTheReader) {
  std::string text = largeText(5000, 9);
  const std::string from = "\n4501 ";
  text.replace(text.find(from), from.size(), "\n4499.5 ");
  setThreads("2");
  const Read r = parseText(text, "order.s4p");
  EXPECT_TRUE(rejected(r, "order.s4p", lineOf(4500), "frequencies that increase"));
}

TEST_F(TouchstoneReadThreads, AnSOutOfRangeInAMiddleBatchIsReportedAtItsDataSet) {
  // A DB file: 7000 dB gives an infinite magnitude.
  std::string text = largeText(5000, 13);
  text.replace(text.find("# MHz S MA"), 10, "# MHz S DB");
  text = withValue(text, 2500, "7000");
  for (const char* workers : {"1", "3"}) {
    setThreads(workers);
    const Read r = parseText(text, "db.s4p");
    EXPECT_TRUE(rejected(r, "db.s4p", lineOf(2500), "S-parameters within the range of a double"))
        << workers;
  }
}

}  // namespace
