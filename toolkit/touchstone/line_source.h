// The lines of a text, read in pieces: a file is never held whole.  It is
// read in 1 MiB chunks; once it is longer than one chunk, a second thread
// reads the next chunks (at most three in memory) while the lines of the
// current one are handed out.  A line is handed out without its LF (a CR
// before the LF stays: the reader treats it as a blank), in place in its
// chunk, or -- when it straddles two chunks -- gathered in a buffer of its
// own, so a line may be of any length.  A text in memory is served in place.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
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
  struct Chunk {
    std::unique_ptr<char[]> bytes;
    std::size_t size = 0;
  };

  bool takeChunk();
  std::size_t readChunk(Chunk& chunk);
  void readAhead();

  std::FILE* file_ = nullptr;
  std::string path_;
  const char* begin_ = nullptr;  // unread text of the current chunk
  const char* end_ = nullptr;
  std::string seam_;  // a line straddling chunks
  bool seamInUse_ = false;
  bool atEnd_ = false;  // no chunk after the current one
  int64_t lineNumber_ = 0;

  // Chunks: the current one, and those read ahead (filled_, in order) or
  // waiting to be filled (free_).
  std::unique_ptr<Chunk> current_;
  std::thread reader_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<std::unique_ptr<Chunk>> filled_;
  std::vector<std::unique_ptr<Chunk>> free_;
  bool readerDone_ = false;   // the reading thread has read its last chunk
  bool readFailed_ = false;   // ... and that ended in a read error
  bool stopping_ = false;
};

}  // namespace zefra::tk
