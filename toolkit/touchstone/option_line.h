// The option line "# <unit> <parameter> <format> R <r>...": tokens in any
// order and any case, each at most once, the missing ones taking the
// defaults GHz, S, MA, R 50.  R is followed by one value, or by one value
// per port ("1.1 syntax", version 2.1).
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace zefra::tk {

enum class Parameter { kS, kY, kZ, kH, kG };
enum class Format { kRI, kMA, kDB };

struct OptionLine {
  int unitShift = 9;  // frequencies in 10^unitShift Hz
  Parameter parameter = Parameter::kS;
  Format format = Format::kMA;
  std::vector<double> r{50.0};  // one value, or one per port
};

// Parses the text after '#' (comment removed).  On failure returns false
// and sets `expected` to what should have been there ("a frequency unit,
// parameter, format or R, found 'X'").
bool parseOptionLine(std::string_view text, OptionLine& options, std::string& problem);

const char* unitName(int unitShift);
const char* parameterName(Parameter parameter);
const char* formatName(Format format);

}  // namespace zefra::tk
