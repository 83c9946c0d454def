// countTokens against a plain byte-by-byte count, on texts built to put
// blanks, '!' and token starts at every offset of the 16-byte blocks.
#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>

#include "touchstone/token_count.h"

namespace {

using zefra::tk::countTokens;

// The count the definition gives: token starts (a non-blank after a blank
// or at the start) before the first '!', up to `limit`; the stop position.
int64_t plainCount(const std::string& text, int64_t limit, std::size_t& stop) {
  int64_t count = 0;
  bool afterBlank = true;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (c == '!') {
      stop = i;
      return count;
    }
    const bool blank = c == ' ' || c == '\t' || c == '\r';
    if (!blank && afterBlank) {
      if (count == limit) {
        stop = i;
        return count;
      }
      ++count;
    }
    afterBlank = blank;
  }
  stop = text.size();
  return count;
}

TEST(TouchstoneTokenCount, AgreesWithAPlainCountOnRandomTexts) {
  std::mt19937 random(2024);
  const char alphabet[] = {' ', ' ', '\t', '\r', '1', '.', '-', 'e', '5', '!', '\0', '\x80'};
  for (int trial = 0; trial < 20000; ++trial) {
    const std::size_t length = random() % 80;
    std::string text;
    for (std::size_t i = 0; i < length; ++i) {
      // '!' rarely, so that most texts run to their end.
      char c = alphabet[random() % sizeof alphabet];
      if (c == '!' && random() % 4 != 0) {
        c = '7';
      }
      text.push_back(c);
    }
    const int64_t limit = trial % 3 == 0 ? INT64_MAX : static_cast<int64_t>(random() % 12);
    std::size_t expectedStop = 0;
    const int64_t expected = plainCount(text, limit, expectedStop);
    const char* stop = nullptr;
    const int64_t got = countTokens(text.data(), text.data() + text.size(), limit, stop);
    ASSERT_EQ(expected, got) << "text '" << text << "' limit " << limit;
    ASSERT_EQ(expectedStop, static_cast<std::size_t>(stop - text.data()))
        << "text '" << text << "' limit " << limit;
  }
}

TEST(TouchstoneTokenCount, StopsAtTheTokenAfterTheLimitInEveryBlockPosition) {
  // "1 1 1 ..." has a token start at every even offset.
  const std::string text(200, ' ');
  std::string tokens = text;
  for (std::size_t i = 0; i < tokens.size(); i += 2) {
    tokens[i] = '1';
  }
  for (int64_t limit = 0; limit < 100; ++limit) {
    const char* stop = nullptr;
    EXPECT_EQ(limit, countTokens(tokens.data(), tokens.data() + tokens.size(), limit, stop));
    EXPECT_EQ(2 * limit, stop - tokens.data());
  }
}

}  // namespace
