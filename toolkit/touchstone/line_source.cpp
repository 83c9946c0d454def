#include "touchstone/line_source.h"

#include <cerrno>
#include <cstring>
#include <system_error>

#include "touchstone/parse_error.h"

#if defined(_WIN32)
#  include <windows.h>
#endif

namespace zefra::tk {
namespace {

constexpr std::size_t kChunk = std::size_t{1} << 20;
constexpr int kChunks = 3;

std::FILE* openForReading(const std::string& path) {
#if defined(_WIN32)
  const int length =
      MultiByteToWideChar(CP_UTF8, 0, path.data(), static_cast<int>(path.size()), nullptr, 0);
  std::wstring wide(static_cast<std::size_t>(length), L'\0');
  MultiByteToWideChar(CP_UTF8, 0, path.data(), static_cast<int>(path.size()), wide.data(),
                      length);
  return _wfopen(wide.c_str(), L"rb");
#else
  return std::fopen(path.c_str(), "rb");
#endif
}

}  // namespace

// An empty text may come as a null pointer: it then starts from "" so that
// no library function sees a null pointer.
LineSource::LineSource(const char* text, std::size_t length)
    : begin_(text != nullptr ? text : ""), end_(begin_ + (text != nullptr ? length : 0)),
      atEnd_(true) {}

LineSource::LineSource(const std::string& path) : path_(path) {
  errno = 0;
  file_ = openForReading(path);
  if (file_ == nullptr) {
    const int error = errno;
    throw ReadError(path + ": cannot open: " +
                    (error != 0 ? std::generic_category().message(error) : "unknown error"));
  }
  // The first chunk is read here; a file longer than that is read on by a
  // second thread, a chunk ahead of the lines.
  current_ = std::make_unique<Chunk>();
  current_->bytes = std::make_unique_for_overwrite<char[]>(kChunk);
  current_->size = readChunk(*current_);
  begin_ = current_->bytes.get();
  end_ = begin_ + current_->size;
  if (current_->size < kChunk) {
    atEnd_ = true;
  } else {
    for (int k = 1; k < kChunks; ++k) {
      auto chunk = std::make_unique<Chunk>();
      chunk->bytes = std::make_unique_for_overwrite<char[]>(kChunk);
      free_.push_back(std::move(chunk));
    }
    reader_ = std::thread(&LineSource::readAhead, this);
  }
}

LineSource::~LineSource() {
  if (reader_.joinable()) {
    {
      std::lock_guard<std::mutex> lock(mutex_);
      stopping_ = true;
    }
    changed_.notify_all();
    reader_.join();
  }
  if (file_ != nullptr) {
    std::fclose(file_);
  }
}

// Fills `chunk` from the file; throws ReadError on a read error.
std::size_t LineSource::readChunk(Chunk& chunk) {
  const std::size_t got = std::fread(chunk.bytes.get(), 1, kChunk, file_);
  if (got < kChunk && std::ferror(file_)) {
    throw ReadError(path_ + ": cannot read: " + std::generic_category().message(EIO));
  }
  return got;
}

// The reading thread: fills free chunks in file order until the end.
void LineSource::readAhead() {
  for (;;) {
    std::unique_ptr<Chunk> chunk;
    {
      std::unique_lock<std::mutex> lock(mutex_);
      changed_.wait(lock, [&] { return !free_.empty() || stopping_; });
      if (stopping_) {
        return;
      }
      chunk = std::move(free_.back());
      free_.pop_back();
    }
    const std::size_t got = std::fread(chunk->bytes.get(), 1, kChunk, file_);
    const bool failed = got < kChunk && std::ferror(file_) != 0;
    chunk->size = got;
    {
      std::lock_guard<std::mutex> lock(mutex_);
      filled_.push_back(std::move(chunk));
      if (got < kChunk) {
        readerDone_ = true;
        readFailed_ = failed;
      }
    }
    changed_.notify_all();
    if (got < kChunk) {
      return;
    }
  }
}

// Makes the next chunk current; false when there is none.
bool LineSource::takeChunk() {
  if (atEnd_) {
    return false;
  }
  std::unique_ptr<Chunk> next;
  bool failed = false;
  {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [&] { return !filled_.empty(); });
    next = std::move(filled_.front());
    filled_.pop_front();
    free_.push_back(std::move(current_));
    if (filled_.empty() && readerDone_) {
      atEnd_ = true;
      failed = readFailed_;
    }
  }
  changed_.notify_all();
  if (failed) {
    throw ReadError(path_ + ": cannot read: " + std::generic_category().message(EIO));
  }
  current_ = std::move(next);
  begin_ = current_->bytes.get();
  end_ = begin_ + current_->size;
  return true;
}

bool LineSource::next(std::string_view& line) {
  if (seamInUse_) {
    seam_.clear();
    seamInUse_ = false;
  }
  for (;;) {
    const auto* lf =
        begin_ == end_ ? nullptr
                       : static_cast<const char*>(std::memchr(
                             begin_, '\n', static_cast<std::size_t>(end_ - begin_)));
    if (lf != nullptr) {
      if (seam_.empty()) {
        line = std::string_view(begin_, static_cast<std::size_t>(lf - begin_));
      } else {
        seam_.append(begin_, lf);
        line = seam_;
        seamInUse_ = true;
      }
      begin_ = lf + 1;
      ++lineNumber_;
      return true;
    }
    // The rest of this chunk begins a line that ends in a later one.
    seam_.append(begin_, end_);
    begin_ = end_;
    if (!takeChunk()) {
      if (seam_.empty()) {
        return false;
      }
      line = seam_;  // the last line, without a LF
      seamInUse_ = true;
      ++lineNumber_;
      return true;
    }
  }
}

}  // namespace zefra::tk
