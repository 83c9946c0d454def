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
  chunk_ = std::make_unique_for_overwrite<char[]>(kChunk);
  begin_ = end_ = chunk_.get();
}

LineSource::~LineSource() {
  if (file_ != nullptr) {
    std::fclose(file_);
  }
}

// Reads the next chunk; false when there is none.
bool LineSource::readChunk() {
  if (atEnd_) {
    return false;
  }
  const std::size_t got = std::fread(chunk_.get(), 1, kChunk, file_);
  if (got < kChunk) {
    if (std::ferror(file_)) {
      throw ReadError(path_ + ": cannot read: " + std::generic_category().message(EIO));
    }
    atEnd_ = true;
  }
  begin_ = chunk_.get();
  end_ = begin_ + got;
  return got > 0;
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
    if (!readChunk()) {
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
