// The Touchstone reader of the toolkit: zefra_tk_touchstone_parse on any
// bytes.  The first input byte picks the name the text is parsed under (its
// extension gives a version-1 file's port count and kind); the rest is the
// text, in a malloc'd buffer of exactly its length, so that AddressSanitizer
// reports any read past it.
// Oracles: no crash, no hang, no read outside the text; a failure returns
// no network and a one-line message "NAME:LINE: ..."; a success returns at
// least one point, strictly increasing finite frequencies, positive
// references, and exactly points * ports^2 S values.
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "zefra/toolkit.h"

namespace {

[[noreturn]] void fail(const std::string& what) {
  std::fprintf(stderr, "==ZEFRA-FUZZ== oracle failure: %s\n", what.c_str());
  std::fflush(stderr);
  std::abort();
}

constexpr const char* kNames[] = {"in.s1p", "in.s2p", "in.s3p", "in.s4p", "in.ts",
                                  "in.y2p", "in.Z1P", "in.h2p", "in.g2p", "in.s8p",
                                  "in.txt", "in.s16p"};

void check(zefra_tk_network* network, const std::string& name) {
  const int32_t ports = zefra_tk_network_ports(network);
  const int64_t points = zefra_tk_network_points(network);
  if (ports < 1 || points < 1) {
    fail(name + ": a network without ports or points was returned");
  }
  std::vector<double> f(static_cast<std::size_t>(points));
  std::vector<double> z0(static_cast<std::size_t>(ports));
  zefra_tk_network_copy_grid(network, f.data(), z0.data());
  for (std::size_t k = 0; k < f.size(); ++k) {
    if (!std::isfinite(f[k]) || f[k] < 0.0 || (k > 0 && !(f[k] > f[k - 1]))) {
      fail(name + ": frequencies not finite, non-negative and increasing");
    }
  }
  for (const double r : z0) {
    if (!(r > 0.0) || !std::isfinite(r)) {
      fail(name + ": a reference that is not positive and finite");
    }
  }
  const int64_t values = points * ports * ports;
  std::vector<double> s(static_cast<std::size_t>(2 * values));
  if (zefra_tk_network_take_s(network, s.data()) != values) {
    fail(name + ": take_s handed over the wrong number of values");
  }
  const int64_t noise = zefra_tk_network_noise_points(network);
  if (noise > 0) {
    const auto count = static_cast<std::size_t>(noise);
    std::vector<double> nf(count), nd(count), g(2 * count), rn(count);
    zefra_tk_network_copy_noise(network, nf.data(), nd.data(), g.data(), rn.data());
    if (ports != 2) {
      fail(name + ": noise data for a network that is not a two-port");
    }
  }
  for (int32_t kind = 0; kind < 7; ++kind) {
    const int32_t count = zefra_tk_network_text_count(network, kind);
    for (int32_t i = 0; i < count; ++i) {
      if (zefra_tk_network_text(network, kind, i) == nullptr) {
        fail(name + ": a null text inside the count");
      }
    }
    if (zefra_tk_network_text(network, kind, count) != nullptr) {
      fail(name + ": a text past the count");
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 1) {
    return 0;
  }
  const std::string name = kNames[data[0] % (sizeof kNames / sizeof kNames[0])];
  const size_t length = size - 1;
  char* text = static_cast<char*>(std::malloc(length > 0 ? length : 1));
  if (length > 0) {
    std::memcpy(text, data + 1, length);
  }
  zefra_tk_network* network = nullptr;
  char message[512];
  const zefra_tk_status status = zefra_tk_touchstone_parse(
      text, static_cast<int64_t>(length), name.c_str(), &network, message, sizeof message);
  if (status == ZEFRA_TK_OK) {
    if (network == nullptr || message[0] != '\0') {
      fail(name + ": success without a network, or with a message");
    }
    check(network, name);
  } else {
    if (network != nullptr) {
      fail(name + ": a failure returned a network");
    }
    if (status != ZEFRA_TK_BAD_INPUT && status != ZEFRA_TK_NO_MEMORY) {
      fail(name + ": unexpected status " + std::to_string(status));
    }
    const std::string said(message);
    if (said.rfind(name + ":", 0) != 0 || said.find('\n') != std::string::npos) {
      fail(name + ": the message is not one line starting with the name: " + said);
    }
  }
  zefra_tk_network_free(network);
  std::free(text);
  return 0;
}
