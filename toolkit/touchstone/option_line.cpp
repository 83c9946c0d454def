#include "touchstone/option_line.h"

#include <cmath>

#include "touchstone/number_scan.h"
#include "touchstone/text_util.h"

namespace zefra::tk {
namespace {

struct Token {
  const char* text;
  int kind;  // 0 unit, 1 parameter, 2 format
  int value;
};

constexpr Token kTokens[] = {
    {"HZ", 0, 0},  {"KHZ", 0, 3}, {"MHZ", 0, 6}, {"GHZ", 0, 9},
    {"S", 1, static_cast<int>(Parameter::kS)}, {"Y", 1, static_cast<int>(Parameter::kY)},
    {"Z", 1, static_cast<int>(Parameter::kZ)}, {"H", 1, static_cast<int>(Parameter::kH)},
    {"G", 1, static_cast<int>(Parameter::kG)},  {"RI", 2, static_cast<int>(Format::kRI)},
    {"MA", 2, static_cast<int>(Format::kMA)},  {"DB", 2, static_cast<int>(Format::kDB)}};

constexpr const char* kKindNames[] = {"frequency unit", "parameter", "format"};

}  // namespace

bool parseOptionLine(std::string_view text, OptionLine& options, std::string& problem) {
  bool seen[3] = {false, false, false};
  bool seenR = false;
  std::vector<std::string_view> tokens = splitWhitespace(text);
  for (std::size_t i = 0; i < tokens.size(); ++i) {
    const std::string_view token = tokens[i];
    if (equalsNoCase(token, "R")) {
      if (seenR) {
        problem = "one R on the option line, found a second 'R'";
        return false;
      }
      seenR = true;
      options.r.clear();
      while (i + 1 < tokens.size()) {
        double value = 0.0;
        if (scanNumber(tokens[i + 1], value) != ScanResult::kOk) {
          break;
        }
        ++i;
        if (!(value > 0.0) || !std::isfinite(value)) {
          problem = "a positive reference resistance after R, found '" + quote(tokens[i]) + "'";
          return false;
        }
        options.r.push_back(value);
      }
      if (options.r.empty()) {
        std::string found("nothing");
        if (i + 1 < tokens.size()) {
          found = quote(tokens[i + 1]);
          found.insert(found.begin(), '\'');
          found.push_back('\'');
        }
        problem = "a positive reference resistance after R (a real number of ohms; a complex R "
                  "is not Touchstone), found " + found;
        return false;
      }
      continue;
    }
    const Token* match = nullptr;
    for (const Token& candidate : kTokens) {
      if (equalsNoCase(token, candidate.text)) {
        match = &candidate;
      }
    }
    if (match == nullptr) {
      problem = "a frequency unit (Hz kHz MHz GHz), parameter (S Y Z H G), format (RI MA DB) "
                "or R on the option line, found '" + quote(token) + "'";
      return false;
    }
    if (seen[match->kind]) {
      problem = std::string("one ") + kKindNames[match->kind] + " on the option line, found a "
                "second one '" + quote(token) + "'";
      return false;
    }
    seen[match->kind] = true;
    switch (match->kind) {
      case 0:
        options.unitShift = match->value;
        break;
      case 1:
        options.parameter = static_cast<Parameter>(match->value);
        break;
      default:
        options.format = static_cast<Format>(match->value);
        break;
    }
  }
  return true;
}

const char* unitName(int unitShift) {
  switch (unitShift) {
    case 0:
      return "Hz";
    case 3:
      return "kHz";
    case 6:
      return "MHz";
    default:
      return "GHz";
  }
}

const char* parameterName(Parameter parameter) {
  constexpr const char* kNames[] = {"S", "Y", "Z", "H", "G"};
  return kNames[static_cast<int>(parameter)];
}

const char* formatName(Format format) {
  constexpr const char* kNames[] = {"RI", "MA", "DB"};
  return kNames[static_cast<int>(format)];
}

}  // namespace zefra::tk
