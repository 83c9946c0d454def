// Small text helpers of the Touchstone reader.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace zefra::tk {

// Space, tab and CR (a CR before the LF, or a stray one, separates tokens).
inline bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\r'; }

// The tokens of `text` between blanks.
std::vector<std::string_view> splitWhitespace(std::string_view text);

// `text` without leading and trailing blanks.
std::string_view trimBlanks(std::string_view text);

// ASCII case-insensitive comparison with an upper-case `upper`.
bool equalsNoCase(std::string_view text, std::string_view upper);

// `text` shortened to 40 bytes ("..." added) with bytes outside printable
// ASCII written as \xHH, for a message.
std::string quote(std::string_view text);

// True when every byte is printable ASCII or a tab (or CR).
bool isPlainAscii(std::string_view text);

}  // namespace zefra::tk
