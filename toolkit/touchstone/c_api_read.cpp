// zefra_tk_touchstone_read / _parse and the accessors of a network read.
// Failures inside the reader are exceptions; here they become status codes
// and one-line messages, and no exception crosses the C API.
#include <algorithm>
#include <memory>
#include <new>
#include <string>
#include <utility>

#include "touchstone/line_source.h"
#include "touchstone/network.h"
#include "touchstone/parse_error.h"
#include "touchstone/reader.h"
#include "core/c_api_message.h"
#include "zefra/toolkit.h"

struct zefra_tk_network {
  zefra::tk::Network data;
};

namespace {

using zefra::tk::copyMessage;

// Runs `read` (which returns a Network) and hands the result out.
template <typename Read>
zefra_tk_status deliver(Read&& read, const std::string& name, zefra_tk_network** network,
                        char* message, int32_t messageSize) {
  if (network == nullptr) {
    copyMessage(name + ": the network argument is null", message, messageSize);
    return ZEFRA_TK_BAD_INPUT;
  }
  *network = nullptr;
  try {
    std::unique_ptr<zefra::tk::Network> result = read();
    auto handle = std::make_unique<zefra_tk_network>();
    handle->data = std::move(*result);
    *network = handle.release();
    copyMessage(std::string(), message, messageSize);
    return ZEFRA_TK_OK;
  } catch (const zefra::tk::ParseError& error) {
    copyMessage(error.what(), message, messageSize);
    return ZEFRA_TK_BAD_INPUT;
  } catch (const zefra::tk::ReadError& error) {
    copyMessage(error.what(), message, messageSize);
    return ZEFRA_TK_IO_ERROR;
  } catch (const std::bad_alloc&) {
    copyMessage(name + ": out of memory", message, messageSize);
    return ZEFRA_TK_NO_MEMORY;
  } catch (const std::length_error&) {
    copyMessage(name + ": out of memory", message, messageSize);
    return ZEFRA_TK_NO_MEMORY;
  }
}

}  // namespace

zefra_tk_status zefra_tk_touchstone_read(const char* path, zefra_tk_network** network,
                                         char* message, int32_t messageSize) {
  if (path == nullptr) {
    if (network != nullptr) {
      *network = nullptr;
    }
    copyMessage("the path argument is null", message, messageSize);
    return ZEFRA_TK_BAD_INPUT;
  }
  const std::string name(path);
  return deliver(
      [&] {
        zefra::tk::LineSource source(name);
        return zefra::tk::readTouchstone(source, name);
      },
      name, network, message, messageSize);
}

zefra_tk_status zefra_tk_touchstone_parse(const char* text, int64_t length, const char* name,
                                          zefra_tk_network** network, char* message,
                                          int32_t messageSize) {
  const std::string label(name != nullptr ? name : "<text>");
  if (length < 0 || (text == nullptr && length > 0)) {
    if (network != nullptr) {
      *network = nullptr;
    }
    copyMessage(label + ": length = " + std::to_string(length) +
                    (length < 0 ? " is negative" : " with a null text"),
                message, messageSize);
    return ZEFRA_TK_BAD_INPUT;
  }
  return deliver(
      [&] {
        zefra::tk::LineSource source(text, static_cast<std::size_t>(length));
        return zefra::tk::readTouchstone(source, label);
      },
      label, network, message, messageSize);
}

void zefra_tk_network_free(zefra_tk_network* network) { delete network; }

int32_t zefra_tk_network_ports(const zefra_tk_network* network) {
  return network != nullptr ? network->data.ports : 0;
}

int64_t zefra_tk_network_points(const zefra_tk_network* network) {
  return network != nullptr ? static_cast<int64_t>(network->data.f.size()) : 0;
}

int64_t zefra_tk_network_noise_points(const zefra_tk_network* network) {
  return network != nullptr ? static_cast<int64_t>(network->data.noiseF.size()) : 0;
}

void zefra_tk_network_copy_grid(const zefra_tk_network* network, double* f, double* z0) {
  if (network == nullptr) {
    return;
  }
  if (f != nullptr) {
    std::copy(network->data.f.begin(), network->data.f.end(), f);
  }
  if (z0 != nullptr) {
    std::copy(network->data.z0.begin(), network->data.z0.end(), z0);
  }
}

int64_t zefra_tk_network_take_s(zefra_tk_network* network, double* s) {
  if (network == nullptr || s == nullptr) {
    return 0;
  }
  return network->data.s.take(s) / 2;
}

void zefra_tk_network_copy_noise(const zefra_tk_network* network, double* f, double* nfMinDb,
                                 double* gammaOpt, double* rn) {
  if (network == nullptr) {
    return;
  }
  const zefra::tk::Network& n = network->data;
  if (f != nullptr) {
    std::copy(n.noiseF.begin(), n.noiseF.end(), f);
  }
  if (nfMinDb != nullptr) {
    std::copy(n.nfMinDb.begin(), n.nfMinDb.end(), nfMinDb);
  }
  if (gammaOpt != nullptr) {
    std::copy(n.gammaOpt.begin(), n.gammaOpt.end(), gammaOpt);
  }
  if (rn != nullptr) {
    std::copy(n.rn.begin(), n.rn.end(), rn);
  }
}

int32_t zefra_tk_network_text_count(const zefra_tk_network* network, int32_t kind) {
  if (network == nullptr || kind < 0 || kind >= zefra::tk::kTextKinds) {
    return 0;
  }
  return static_cast<int32_t>(
      std::min<std::size_t>(network->data.texts[static_cast<std::size_t>(kind)].size(),
                            INT32_MAX));
}

const char* zefra_tk_network_text(const zefra_tk_network* network, int32_t kind, int32_t index) {
  if (network == nullptr || kind < 0 || kind >= zefra::tk::kTextKinds || index < 0) {
    return nullptr;
  }
  const auto& texts = network->data.texts[static_cast<std::size_t>(kind)];
  if (static_cast<std::size_t>(index) >= texts.size()) {
    return nullptr;
  }
  return texts[static_cast<std::size_t>(index)].c_str();
}
