// The reader's failures, as exceptions inside the toolkit: each carries the
// line it was found on (0: no line concerned) and what was expected.  The
// C API turns them into status codes and one-line messages.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

namespace zefra::tk {

// The text breaks a rule of the format.
class ParseError : public std::runtime_error {
 public:
  ParseError(int64_t line, const std::string& what) : std::runtime_error(what), line_(line) {}
  int64_t line() const noexcept { return line_; }

 private:
  int64_t line_;
};

// The file cannot be opened or read.
class ReadError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace zefra::tk
