// Bit-level comparison helpers for tests that require identical results.
#pragma once

#include <gtest/gtest.h>

#include <bit>
#include <cstdint>
#include <cstdio>
#include <string>

namespace zefra::testing {

inline uint64_t bitsOf(double v) { return std::bit_cast<uint64_t>(v); }

inline std::string describe(double v) {
  char text[64];
  std::snprintf(text, sizeof text, "%.17g (0x%016llx)", v,
                static_cast<unsigned long long>(bitsOf(v)));
  return text;
}

// Identical bits: distinguishes +0.0 from -0.0 and one NaN from another.
inline ::testing::AssertionResult sameBits(double expected, double actual) {
  if (bitsOf(expected) == bitsOf(actual)) {
    return ::testing::AssertionSuccess();
  }
  return ::testing::AssertionFailure()
         << "expected " << describe(expected) << ", got " << describe(actual);
}

}  // namespace zefra::testing

namespace zefra::testing {

// Identical bits in both parts of a (re, im) pair.
template <typename ComplexLike>
::testing::AssertionResult sameComplexBits(ComplexLike expected, ComplexLike actual) {
  if (bitsOf(expected.re) == bitsOf(actual.re) && bitsOf(expected.im) == bitsOf(actual.im)) {
    return ::testing::AssertionSuccess();
  }
  return ::testing::AssertionFailure()
         << "expected (" << describe(expected.re) << ", " << describe(expected.im) << "), got ("
         << describe(actual.re) << ", " << describe(actual.im) << ")";
}

}  // namespace zefra::testing
