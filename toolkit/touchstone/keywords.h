// The keywords of Touchstone 2.0 and 2.1, matched without regard to case or
// to the number of blanks between their words.
#pragma once

#include <string>
#include <string_view>

namespace zefra::tk {

enum class Keyword {
  kUnknown,
  kVersion,
  kNumberOfPorts,
  kTwoPortDataOrder,
  kNumberOfFrequencies,
  kNumberOfNoiseFrequencies,
  kReference,
  kMatrixFormat,
  kMixedModeOrder,
  kBeginInformation,
  kEndInformation,
  kNetworkData,
  kNoiseData,
  kEnd
};

// The keyword named by the text between the brackets.
Keyword keywordOf(std::string_view inside);

// "[Number of Ports]".
std::string keywordName(Keyword keyword);

}  // namespace zefra::tk
