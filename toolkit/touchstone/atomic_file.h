// A file replaced in one step: the text goes to a new temporary file in the
// target's folder, which is renamed over the target only when every byte
// has been written.  Other processes see either the old file or the whole
// new one; a failed or abandoned write removes the temporary file and leaves
// the target as it was.  (The data are not flushed to the disk before the
// rename: the step is atomic for other processes, not across a power loss.)
#pragma once

#include <cstddef>
#include <string>

namespace zefra::tk {

class AtomicFile {
 public:
  AtomicFile() = default;
  AtomicFile(const AtomicFile&) = delete;
  AtomicFile& operator=(const AtomicFile&) = delete;
  // Closes and removes the temporary file unless commit() succeeded.
  ~AtomicFile();

  // Creates the temporary file beside `path` (UTF-8 on Windows).  On
  // failure returns false with a one-line message naming the folder.
  bool open(const char* path, std::string& message);
  // Appends `size` bytes.  On failure returns false with a message.
  bool write(const char* data, std::size_t size, std::string& message);
  // Closes the temporary file and renames it over the target.
  bool commit(std::string& message);

 private:
  void discard() noexcept;

  std::string path_;
  std::string temporary_;
  int fd_ = -1;
};

}  // namespace zefra::tk
