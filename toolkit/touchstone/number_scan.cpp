#include "touchstone/number_scan.h"

#include <charconv>
#include <cstdio>
#include <string>

namespace zefra::tk {
namespace {

bool isDigit(char c) { return c >= '0' && c <= '9'; }

// True when the decimal `text` (a valid token that from_chars reported out
// of range) is tiny rather than huge: the exponent of its leading nonzero
// digit is negative.  from_chars reports out of range only when the
// correctly rounded value is zero or infinite, so that settles which.
bool isTiny(std::string_view text) {
  std::size_t i = 0;
  if (i < text.size() && (text[i] == '+' || text[i] == '-')) {
    ++i;
  }
  int64_t leading = 0;  // decimal exponent of the first nonzero digit, before the 'e' part
  bool seenNonzero = false;
  bool afterPoint = false;
  int64_t intDigits = 0;
  int64_t leadingZerosAfterPoint = 0;
  for (; i < text.size() && text[i] != 'e' && text[i] != 'E'; ++i) {
    const char c = text[i];
    if (c == '.') {
      afterPoint = true;
    } else if (!seenNonzero) {
      if (c != '0') {
        seenNonzero = true;
        leading = afterPoint ? -(leadingZerosAfterPoint + 1) : 0;
        if (!afterPoint) {
          intDigits = 1;
        }
      } else if (afterPoint) {
        ++leadingZerosAfterPoint;
      }
    } else if (!afterPoint) {
      ++intDigits;
    }
  }
  if (!seenNonzero) {
    return true;
  }
  if (intDigits > 0) {
    leading = intDigits - 1;
  }
  int64_t exponent = 0;
  if (i < text.size()) {
    ++i;
    bool negative = false;
    if (i < text.size() && (text[i] == '+' || text[i] == '-')) {
      negative = text[i] == '-';
      ++i;
    }
    for (; i < text.size(); ++i) {
      if (exponent < 1000000) {
        exponent = exponent * 10 + (text[i] - '0');
      }
    }
    if (negative) {
      exponent = -exponent;
    }
  }
  return leading + exponent < 0;
}

}  // namespace

ScanResult scanNumber(std::string_view text, double& value) {
  const char* p = text.data();
  const char* const end = p + text.size();
  // from_chars takes no '+'; and it would take "inf", "nan" and "infinity",
  // which are not Touchstone numbers: the token must start with a digit or
  // a point after its sign.
  const char* q = p;
  if (q < end && *q == '+') {
    ++q;
  } else if (q < end && *q == '-') {
    ++q;
  }
  if (q == end || !(isDigit(*q) || *q == '.')) {
    return ScanResult::kNotANumber;
  }
  const char* start = (p < end && *p == '+') ? p + 1 : p;
  const auto [ptr, ec] = std::from_chars(start, end, value, std::chars_format::general);
  if (ec == std::errc::invalid_argument || ptr != end) {
    return ScanResult::kNotANumber;
  }
  if (ec == std::errc::result_out_of_range) {
    if (!isTiny(text)) {
      return ScanResult::kOverflow;
    }
    value = (*p == '-') ? -0.0 : 0.0;
  }
  return ScanResult::kOk;
}

ScanResult scanScaled(std::string_view text, int shift, double& value) {
  const ScanResult plain = scanNumber(text, value);
  if (plain != ScanResult::kOk || shift == 0) {
    return plain;
  }
  // The same digits with the exponent raised by `shift`: the decimal value
  // times 10^shift, rounded once.
  const std::size_t e = text.find_first_of("eE");
  int64_t exponent = 0;
  if (e != std::string_view::npos) {
    std::size_t i = e + 1;
    bool negative = false;
    if (i < text.size() && (text[i] == '+' || text[i] == '-')) {
      negative = text[i] == '-';
      ++i;
    }
    for (; i < text.size(); ++i) {
      if (exponent < 100000000) {
        exponent = exponent * 10 + (text[i] - '0');
      }
    }
    if (negative) {
      exponent = -exponent;
    }
  }
  std::string shifted(text.substr(0, e));
  shifted += 'e';
  shifted += std::to_string(exponent + shift);
  return scanNumber(shifted, value);
}

bool scanCount(std::string_view text, int64_t limit, int64_t& value) {
  if (text.empty()) {
    return false;
  }
  value = 0;
  for (const char c : text) {
    if (!isDigit(c)) {
      return false;
    }
    value = value * 10 + (c - '0');
    if (value > limit) {
      return false;
    }
  }
  return true;
}

}  // namespace zefra::tk
