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

constexpr std::size_t kWindow = std::size_t{1} << 20;

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

// An empty text may come as a null pointer; memchr must not see it.
LineSource::LineSource(const char* text, std::size_t length)
    : begin_(text != nullptr ? text : ""), end_(begin_ + length), atEnd_(true) {}

LineSource::LineSource(const std::string& path) : path_(path) {
  errno = 0;
  file_ = openForReading(path);
  if (file_ == nullptr) {
    const int error = errno;
    throw ReadError(path + ": cannot open: " +
                    (error != 0 ? std::generic_category().message(error) : "unknown error"));
  }
  buffer_.resize(kWindow);
  begin_ = end_ = buffer_.data();
}

LineSource::~LineSource() {
  if (file_ != nullptr) {
    std::fclose(file_);
  }
}

// Moves the unread text to the front of the buffer (growing it when the
// unread text fills it) and reads more behind it.  False when nothing more
// could be read.
bool LineSource::refill() {
  if (atEnd_) {
    return false;
  }
  const std::size_t unread = static_cast<std::size_t>(end_ - begin_);
  if (unread == buffer_.size()) {
    buffer_.resize(buffer_.size() * 2);
  } else if (unread > 0 && begin_ != buffer_.data()) {
    std::memmove(buffer_.data(), begin_, unread);
  }
  char* const data = buffer_.data();
  const std::size_t got = std::fread(data + unread, 1, buffer_.size() - unread, file_);
  begin_ = data;
  end_ = data + unread + got;
  if (got < buffer_.size() - unread) {
    if (std::ferror(file_)) {
      throw ReadError(path_ + ": cannot read: " + std::generic_category().message(EIO));
    }
    atEnd_ = true;
  }
  return got > 0;
}

bool LineSource::next(std::string_view& line) {
  std::size_t searched = 0;  // bytes already known to hold no LF
  for (;;) {
    const auto* lf = static_cast<const char*>(
        std::memchr(begin_ + searched, '\n', static_cast<std::size_t>(end_ - begin_) - searched));
    if (lf != nullptr) {
      line = std::string_view(begin_, static_cast<std::size_t>(lf - begin_));
      begin_ = lf + 1;
      ++lineNumber_;
      return true;
    }
    searched = static_cast<std::size_t>(end_ - begin_);
    if (!refill()) {
      if (begin_ == end_) {
        return false;
      }
      // The last line, without a LF.
      line = std::string_view(begin_, static_cast<std::size_t>(end_ - begin_));
      begin_ = end_;
      ++lineNumber_;
      return true;
    }
  }
}

}  // namespace zefra::tk
