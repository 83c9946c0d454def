// The numbers of a Touchstone file seen as plain text, for the reading and
// writing benchmark: the file in memory, its data tokens found in advance,
// and std::from_chars over those tokens -- the least any reader of the file
// has to do.  Also turns the numbers of a version-1 S-parameter file back
// into a network, so that the writer can be timed on the same values
// without going through our reader.
#ifndef ZEFRA_BENCH_TOUCHSTONE_FILE_NUMBERS_H
#define ZEFRA_BENCH_TOUCHSTONE_FILE_NUMBERS_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace zefra_touchstone_bench {

// The whole file; throws std::runtime_error when it cannot be read.
std::string loadFile(const std::string& path);

// The text of one number, [begin, end) within the loaded file.
struct Token {
  const char* begin;
  const char* end;
};

// The whitespace-separated tokens of the data: everything from '!' to the
// end of its line is skipped, and so is every line whose first non-blank
// character is '#' (the option line) or '[' (a version-2 keyword line).
std::vector<Token> dataTokens(std::string_view text);

// std::from_chars of every token into values[i] (a leading '+', which
// from_chars does not take, is stepped over).  Returns tokens.size(), or the
// index of the first token that is not one whole number.
std::size_t parseTokens(const std::vector<Token>& tokens, double* values);

// A network as the writer takes it.
struct Network {
  int32_t ports = 0;
  int32_t unit = 0;        // ZEFRA_TK_UNIT_* of the file's option line
  std::vector<double> f;   // Hz
  std::vector<double> s;   // complex [points][ports][ports], (re, im) pairs
  std::vector<double> z0;  // ohms
};

// The port count of a name ending in .sNp (any case); 0 otherwise.
int32_t portsFromName(const std::string& path);

// The network of a version-1 S-parameter file (no noise data) from its text
// and the numbers parseTokens found in it: the option line gives the
// frequency unit, the format (RI, MA or DB) and the reference; 2-ports use
// the version-1 order S11 S21 S12 S22.  Throws std::runtime_error when the
// numbers do not make whole frequency points.
Network decodeNetwork(std::string_view text, int32_t ports, const std::vector<double>& values);

}  // namespace zefra_touchstone_bench

#endif  // ZEFRA_BENCH_TOUCHSTONE_FILE_NUMBERS_H
