// TEMPORARY: stands in for the Touchstone reader until the branch that
// implements it is merged, so that the toolkit library exports its whole C
// API.  Every reading function fails with ZEFRA_TK_BAD_INPUT "not built".
// The merge of the reader removes this file.
#include <algorithm>
#include <cstring>

#include "zefra/toolkit.h"

namespace {

zefra_tk_status notBuilt(zefra_tk_network** network, char* message, int32_t messageSize) {
  if (network != nullptr) {
    *network = nullptr;
  }
  static constexpr char kText[] = "the Touchstone reader is not built";
  if (message != nullptr && messageSize > 0) {
    const auto length = std::min(sizeof kText - 1, static_cast<std::size_t>(messageSize - 1));
    std::memcpy(message, kText, length);
    message[length] = '\0';
  }
  return ZEFRA_TK_BAD_INPUT;
}

}  // namespace

zefra_tk_status zefra_tk_touchstone_read(const char*, zefra_tk_network** network, char* message,
                                         int32_t messageSize) {
  return notBuilt(network, message, messageSize);
}

zefra_tk_status zefra_tk_touchstone_parse(const char*, int64_t, const char*,
                                          zefra_tk_network** network, char* message,
                                          int32_t messageSize) {
  return notBuilt(network, message, messageSize);
}

void zefra_tk_network_free(zefra_tk_network*) {}
int32_t zefra_tk_network_ports(const zefra_tk_network*) { return 0; }
int64_t zefra_tk_network_points(const zefra_tk_network*) { return 0; }
int64_t zefra_tk_network_noise_points(const zefra_tk_network*) { return 0; }
void zefra_tk_network_copy_grid(const zefra_tk_network*, double*, double*) {}
int64_t zefra_tk_network_take_s(zefra_tk_network*, double*) { return 0; }
void zefra_tk_network_copy_noise(const zefra_tk_network*, double*, double*, double*, double*) {}
int32_t zefra_tk_network_text_count(const zefra_tk_network*, int32_t) { return 0; }
const char* zefra_tk_network_text(const zefra_tk_network*, int32_t, int32_t) { return nullptr; }
