// Golden results recorded from the library by make_numeric_golden.py: inputs
// and results as IEEE-754 bit patterns.
#pragma once

#include <bit>
#include <cstdint>
#include <vector>

namespace zefra::golden {

struct GoldenReduction {
  const char* name;
  std::vector<uint64_t> x;
  uint64_t result;
};

struct GoldenFit {
  const char* name;
  std::vector<uint64_t> x;
  std::vector<uint64_t> y;
  uint64_t slope;
  uint64_t intercept;
};

struct GoldenFilter { const char* name; std::vector<uint64_t> b, a, x, y; };  // y = Filter(b, a, x)
struct GoldenUnwrap { const char* name; std::vector<uint64_t> x, y; };        // y = unwrap(x)

inline std::vector<double> doubles(const std::vector<uint64_t>& patterns) {
  std::vector<double> values;
  for (uint64_t p : patterns) {
    values.push_back(std::bit_cast<double>(p));
  }
  return values;
}

#include "numeric/golden/numeric_golden.inc"

}  // namespace zefra::golden
