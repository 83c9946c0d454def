// The lines of a text, read in pieces: a file is never held whole, only a
// window of it (1 MiB, grown while a single line is longer).  A line is
// handed out without its LF; a CR before the LF stays (the reader treats it
// as white space).  A text in memory is served in place, without a copy.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

namespace zefra::tk {

class LineSource {
 public:
  // Lines of text[0, length).
  LineSource(const char* text, std::size_t length);
  // Lines of the file at `path` (UTF-8 on Windows); throws ReadError when
  // it cannot be opened.
  explicit LineSource(const std::string& path);
  LineSource(const LineSource&) = delete;
  LineSource& operator=(const LineSource&) = delete;
  ~LineSource();

  // The next line, valid until the following call; false at the end of the
  // text.  Throws ReadError when the file cannot be read.
  bool next(std::string_view& line);
  // Number of the line last handed out, from 1 (0 before the first).
  int64_t lineNumber() const { return lineNumber_; }

 private:
  bool refill();

  std::FILE* file_ = nullptr;
  std::string path_;
  std::vector<char> buffer_;
  const char* begin_ = nullptr;  // unread text
  const char* end_ = nullptr;
  bool atEnd_ = false;  // nothing more to read into the buffer
  int64_t lineNumber_ = 0;
};

}  // namespace zefra::tk
