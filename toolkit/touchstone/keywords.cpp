#include "touchstone/keywords.h"

#include "touchstone/text_util.h"

namespace zefra::tk {
namespace {

struct Entry {
  Keyword keyword;
  const char* name;
};

constexpr Entry kKeywords[] = {
    {Keyword::kVersion, "Version"},
    {Keyword::kNumberOfPorts, "Number of Ports"},
    {Keyword::kTwoPortDataOrder, "Two-Port Data Order"},
    {Keyword::kNumberOfFrequencies, "Number of Frequencies"},
    {Keyword::kNumberOfNoiseFrequencies, "Number of Noise Frequencies"},
    {Keyword::kReference, "Reference"},
    {Keyword::kMatrixFormat, "Matrix Format"},
    {Keyword::kMixedModeOrder, "Mixed-Mode Order"},
    {Keyword::kBeginInformation, "Begin Information"},
    {Keyword::kEndInformation, "End Information"},
    {Keyword::kNetworkData, "Network Data"},
    {Keyword::kNoiseData, "Noise Data"},
    {Keyword::kEnd, "End"}};

char upper(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; }

// Equal up to case, with any run of blanks in `text` matching one space of
// `name`.
bool sameName(std::string_view text, std::string_view name) {
  std::size_t i = 0;
  for (const char c : name) {
    if (c == ' ') {
      if (i == text.size() || !isBlank(text[i])) {
        return false;
      }
      while (i < text.size() && isBlank(text[i])) {
        ++i;
      }
      continue;
    }
    if (i == text.size() || upper(text[i]) != upper(c)) {
      return false;
    }
    ++i;
  }
  return i == text.size();
}

}  // namespace

Keyword keywordOf(std::string_view inside) {
  inside = trimBlanks(inside);
  for (const Entry& entry : kKeywords) {
    if (sameName(inside, entry.name)) {
      return entry.keyword;
    }
  }
  return Keyword::kUnknown;
}

std::string keywordName(Keyword keyword) {
  for (const Entry& entry : kKeywords) {
    if (entry.keyword == keyword) {
      return std::string("[") + entry.name + "]";
    }
  }
  return "[?]";
}

}  // namespace zefra::tk
