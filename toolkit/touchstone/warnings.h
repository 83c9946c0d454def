// The reader's warnings: files that break a rule in a way that loses
// nothing.  Each kind is reported once, at its first line, with the number
// of lines like it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace zefra::tk {

enum class Warning {
  kByteOrderMark,     // a UTF-8 byte-order mark before the text
  kNonAsciiComment,   // bytes outside printable ASCII in a comment
  kWideLine,          // more than 4 value pairs on a version-1 line
  kSplitPair,         // a value pair split over two lines
  kSecondOptionLine,  // version 1: a further option line, ignored
  kNamePorts,         // version 2: the .sNp name and [Number of Ports] differ
  kMissingEnd,        // version 2: no [End]
  kCount
};

class Warnings {
 public:
  explicit Warnings(const std::string& name) : name_(name) {}

  void add(Warning kind, int64_t line);

  // "NAME:LINE: ..." for each kind met, in the order of their first lines.
  // `ports` and `namedPorts` fill in the kNamePorts text.
  std::vector<std::string> texts(int64_t ports, int64_t namedPorts) const;

 private:
  const std::string& name_;
  int64_t first_[static_cast<int>(Warning::kCount)] = {};
  int64_t count_[static_cast<int>(Warning::kCount)] = {};
};

}  // namespace zefra::tk
