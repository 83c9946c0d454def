// The lines of a text, read in pieces: a file is never held whole, only one
// chunk of 1 MiB at a time.  A line is handed out without its LF (a CR
// before the LF stays: the reader treats it as a blank), in place in its
// chunk, or -- when it straddles chunks -- gathered in a buffer of its own,
// so a line may be of any length.  A text in memory is served in place.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>

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
  bool readChunk();

  std::FILE* file_ = nullptr;
  std::string path_;
  std::unique_ptr<char[]> chunk_;
  const char* begin_ = nullptr;  // unread text of the current chunk
  const char* end_ = nullptr;
  std::string seam_;  // a line straddling chunks
  bool seamInUse_ = false;
  bool atEnd_ = false;  // nothing after the current chunk
  int64_t lineNumber_ = 0;
};

}  // namespace zefra::tk
