#include "touchstone/text_util.h"

namespace zefra::tk {

std::vector<std::string_view> splitWhitespace(std::string_view text) {
  std::vector<std::string_view> tokens;
  std::size_t i = 0;
  while (i < text.size()) {
    while (i < text.size() && isBlank(text[i])) {
      ++i;
    }
    const std::size_t start = i;
    while (i < text.size() && !isBlank(text[i])) {
      ++i;
    }
    if (i > start) {
      tokens.push_back(text.substr(start, i - start));
    }
  }
  return tokens;
}

std::string_view trimBlanks(std::string_view text) {
  std::size_t first = 0;
  while (first < text.size() && isBlank(text[first])) {
    ++first;
  }
  std::size_t last = text.size();
  while (last > first && isBlank(text[last - 1])) {
    --last;
  }
  return text.substr(first, last - first);
}

bool equalsNoCase(std::string_view text, std::string_view upper) {
  if (text.size() != upper.size()) {
    return false;
  }
  for (std::size_t i = 0; i < text.size(); ++i) {
    char c = text[i];
    if (c >= 'a' && c <= 'z') {
      c = static_cast<char>(c - 'a' + 'A');
    }
    if (c != upper[i]) {
      return false;
    }
  }
  return true;
}

std::string quote(std::string_view text) {
  constexpr std::size_t kLimit = 40;
  std::string out;
  const std::size_t n = text.size() < kLimit ? text.size() : kLimit;
  for (std::size_t i = 0; i < n; ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    if (byte >= 0x20 && byte <= 0x7E) {
      out += static_cast<char>(byte);
    } else {
      constexpr char kHex[] = "0123456789ABCDEF";
      out += "\\x";
      out += kHex[byte >> 4];
      out += kHex[byte & 15];
    }
  }
  if (text.size() > kLimit) {
    out += "...";
  }
  return out;
}

bool isPlainAscii(std::string_view text) {
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if ((byte < 0x20 && c != '\t' && c != '\r') || byte > 0x7E) {
      return false;
    }
  }
  return true;
}

}  // namespace zefra::tk
