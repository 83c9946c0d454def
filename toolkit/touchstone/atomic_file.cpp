// Temporary file beside the target, renamed over it at the end.
//
// The temporary name is the target's name plus ".tmp-PID-N"; it is created
// with O_EXCL, so that an existing file of that name is never truncated
// (another name is tried instead).  It is created with the default
// permissions (0666 less the umask on POSIX systems), as the target would
// be.  POSIX rename() replaces the target atomically; on Windows
// MoveFileExW(MOVEFILE_REPLACE_EXISTING) does the same, and names are UTF-8
// converted to UTF-16.
#include "touchstone/atomic_file.h"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <system_error>

#if defined(_WIN32)
#  include <fcntl.h>
#  include <io.h>
#  include <process.h>
#  include <sys/stat.h>
#  include <windows.h>
#else
#  include <fcntl.h>
#  include <sys/stat.h>
#  include <unistd.h>
#endif

namespace zefra::tk {
namespace {

std::atomic<unsigned> gTemporaryCounter{0};

std::string errnoText(int error) { return std::generic_category().message(error); }

// The folder of `path`, for messages.
std::string folderOf(const std::string& path) {
  const auto slash = path.find_last_of(
#if defined(_WIN32)
      "/\\"
#else
      "/"
#endif
  );
  return slash == std::string::npos ? std::string(".") : path.substr(0, slash + 1);
}

#if defined(_WIN32)
std::wstring widen(const std::string& text) {
  if (text.empty()) {
    return {};
  }
  const int length = MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()),
                                         nullptr, 0);
  std::wstring wide(static_cast<std::size_t>(length), L'\0');
  MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), wide.data(),
                      length);
  return wide;
}

int createExclusive(const std::string& name) {
  return _wopen(widen(name).c_str(), _O_WRONLY | _O_CREAT | _O_EXCL | _O_BINARY,
                _S_IREAD | _S_IWRITE);
}
int processId() { return _getpid(); }
long writeSome(int fd, const char* data, std::size_t size) {
  const unsigned chunk = size > (1u << 30) ? (1u << 30) : static_cast<unsigned>(size);
  return _write(fd, data, chunk);
}
int closeFile(int fd) { return _close(fd); }
void removeFile(const std::string& name) { _wremove(widen(name).c_str()); }
bool replaceFile(const std::string& from, const std::string& to, int& error) {
  if (MoveFileExW(widen(from).c_str(), widen(to).c_str(), MOVEFILE_REPLACE_EXISTING) != 0) {
    return true;
  }
  const DWORD code = GetLastError();
  error = code == ERROR_ACCESS_DENIED ? EACCES
          : code == ERROR_PATH_NOT_FOUND || code == ERROR_FILE_NOT_FOUND ? ENOENT
                                                                          : EIO;
  return false;
}
#else
int createExclusive(const std::string& name) {
  return ::open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
}
int processId() { return static_cast<int>(::getpid()); }
long writeSome(int fd, const char* data, std::size_t size) {
  return static_cast<long>(::write(fd, data, size));
}
int closeFile(int fd) { return ::close(fd); }
void removeFile(const std::string& name) { ::unlink(name.c_str()); }
bool replaceFile(const std::string& from, const std::string& to, int& error) {
  if (std::rename(from.c_str(), to.c_str()) == 0) {
    return true;
  }
  error = errno;
  return false;
}
#endif

}  // namespace

AtomicFile::~AtomicFile() { discard(); }

void AtomicFile::discard() noexcept {
  if (fd_ >= 0) {
    closeFile(fd_);
    fd_ = -1;
  }
  if (!temporary_.empty()) {
    removeFile(temporary_);
    temporary_.clear();
  }
}

bool AtomicFile::open(const char* path, std::string& message) {
  discard();
  path_ = path;
  // Another process, or another thread of this one, may be writing a file
  // of the same name: each attempt takes a fresh counter value.
  constexpr int kAttempts = 100;
  int error = 0;
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    std::string name = path_ + ".tmp-" + std::to_string(processId()) + "-" +
                       std::to_string(gTemporaryCounter.fetch_add(1));
    fd_ = createExclusive(name);
    if (fd_ >= 0) {
      temporary_ = std::move(name);
      return true;
    }
    error = errno;
    if (error != EEXIST) {
      break;
    }
  }
  message = path_ + ": cannot create a temporary file in " + folderOf(path_) + ": " +
            errnoText(error);
  return false;
}

bool AtomicFile::write(const char* data, std::size_t size, std::string& message) {
  while (size > 0) {
    const long written = writeSome(fd_, data, size);
    if (written <= 0) {
      if (written < 0 && errno == EINTR) {
        continue;
      }
      // A regular file takes at least one byte unless it cannot (no space).
      message = path_ + ": cannot write " + temporary_ + ": " +
                errnoText(written < 0 ? errno : ENOSPC);
      return false;
    }
    data += written;
    size -= static_cast<std::size_t>(written);
  }
  return true;
}

bool AtomicFile::commit(std::string& message) {
  const int fd = fd_;
  fd_ = -1;
  if (closeFile(fd) != 0) {
    message = path_ + ": cannot write " + temporary_ + ": " + errnoText(errno);
    discard();
    return false;
  }
  int error = 0;
  if (!replaceFile(temporary_, path_, error)) {
    message = path_ + ": cannot replace the file: " + errnoText(error);
    discard();
    return false;
  }
  temporary_.clear();
  return true;
}

}  // namespace zefra::tk
