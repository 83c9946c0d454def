// The one-line message of a C API call, copied into the caller's buffer
// char message[messageSize]: cut to fit, always NUL-terminated, nothing
// written when the buffer is null or messageSize <= 0.
#ifndef ZEFRA_TOOLKIT_CORE_C_API_MESSAGE_H
#define ZEFRA_TOOLKIT_CORE_C_API_MESSAGE_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>

namespace zefra::tk {

inline void copyMessage(const std::string& text, char* message, int32_t messageSize) {
  if (message != nullptr && messageSize > 0) {
    const auto length = std::min(text.size(), static_cast<std::size_t>(messageSize - 1));
    std::copy_n(text.data(), length, message);
    message[length] = '\0';
  }
}

}  // namespace zefra::tk

#endif  // ZEFRA_TOOLKIT_CORE_C_API_MESSAGE_H
