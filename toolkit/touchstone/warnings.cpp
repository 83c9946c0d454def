#include "touchstone/warnings.h"

#include <algorithm>
#include <utility>

namespace zefra::tk {

void Warnings::add(Warning kind, int64_t line) {
  const auto k = static_cast<int>(kind);
  if (count_[k]++ == 0) {
    first_[k] = line;
  }
}

std::vector<std::string> Warnings::texts(int64_t ports, int64_t namedPorts) const {
  std::vector<std::pair<int64_t, std::string>> found;
  for (int k = 0; k < static_cast<int>(Warning::kCount); ++k) {
    if (count_[k] == 0) {
      continue;
    }
    std::string text;
    switch (static_cast<Warning>(k)) {
      case Warning::kByteOrderMark:
        text = "a UTF-8 byte-order mark before the text (ignored)";
        break;
      case Warning::kNonAsciiComment:
        text = "bytes outside printable ASCII in a comment (kept as they are)";
        break;
      case Warning::kWideLine:
        text = "more than 4 value pairs on a line (version 1 writes at most 4; read as a stream "
               "of numbers)";
        break;
      case Warning::kSplitPair:
        text = "a value pair split over two lines (read as a stream of numbers)";
        break;
      case Warning::kSecondOptionLine:
        text = "a second option line (ignored: the first one holds)";
        break;
      case Warning::kNamePorts:
        text = "the name says " + std::to_string(namedPorts) + " ports, [Number of Ports] " +
               std::to_string(ports) + " (the keyword holds)";
        break;
      case Warning::kMissingEnd:
        text = "no [End] after the data (the file may be cut short; read as it is)";
        break;
      case Warning::kCount:
        break;
    }
    if (count_[k] > 1) {
      text += " (" + std::to_string(count_[k]) + " lines like this)";
    }
    found.emplace_back(first_[k], name_ + ":" + std::to_string(std::max<int64_t>(first_[k], 1)) +
                                      ": " + text);
  }
  std::stable_sort(found.begin(), found.end(),
                   [](const auto& a, const auto& b) { return a.first < b.first; });
  std::vector<std::string> out;
  for (auto& entry : found) {
    out.push_back(std::move(entry.second));
  }
  return out;
}

}  // namespace zefra::tk
