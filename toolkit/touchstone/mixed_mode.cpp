#include "touchstone/mixed_mode.h"

#include "touchstone/number_scan.h"
#include "touchstone/text_util.h"

namespace zefra::tk {

bool parseModePort(std::string_view token, int32_t ports, ModePort& mode, std::string& problem) {
  const auto fail = [&] {
    problem = "a mode descriptor Dp,n, Cp,n or Sp with ports 1 .. " + std::to_string(ports) +
              ", found '" + quote(token) + "'";
    return false;
  };
  if (token.empty()) {
    return fail();
  }
  const char letter = static_cast<char>(token[0] & ~0x20);  // upper case
  if (letter != 'D' && letter != 'C' && letter != 'S') {
    return fail();
  }
  mode.kind = letter;
  const std::string_view rest = token.substr(1);
  int64_t p = 0;
  int64_t n = 0;
  if (letter == 'S') {
    if (!scanCount(rest, ports, p)) {
      return fail();
    }
    n = p;
  } else {
    const std::size_t comma = rest.find(',');
    if (comma == std::string_view::npos || !scanCount(rest.substr(0, comma), ports, p) ||
        !scanCount(rest.substr(comma + 1), ports, n) || p == n) {
      return fail();
    }
  }
  if (p < 1 || n < 1) {
    return fail();
  }
  mode.p = static_cast<int32_t>(p - 1);
  mode.n = static_cast<int32_t>(n - 1);
  return true;
}

bool checkModeCover(const std::vector<ModePort>& modes, int32_t ports, std::string& problem) {
  // Each physical port: used by one S, or by one pair with a D and a C.
  std::vector<int> uses(static_cast<std::size_t>(ports), 0);
  for (std::size_t k = 0; k < modes.size(); ++k) {
    const ModePort& mode = modes[k];
    if (mode.kind == 'S') {
      ++uses[static_cast<std::size_t>(mode.p)];
      continue;
    }
    bool partner = false;
    for (const ModePort& other : modes) {
      partner = partner || (other.kind != 'S' && other.kind != mode.kind && other.p == mode.p &&
                            other.n == mode.n);
    }
    if (!partner) {
      problem = "a " + std::string(mode.kind == 'D' ? "C" : "D") + " descriptor for the pair of '" +
                modeText(mode) + "' (a pair has both modes)";
      return false;
    }
    if (mode.kind == 'D') {
      ++uses[static_cast<std::size_t>(mode.p)];
      ++uses[static_cast<std::size_t>(mode.n)];
    }
  }
  for (int32_t port = 0; port < ports; ++port) {
    if (uses[static_cast<std::size_t>(port)] != 1) {
      problem = "each port in exactly one descriptor, found port " + std::to_string(port + 1) +
                " in " + std::to_string(uses[static_cast<std::size_t>(port)]);
      return false;
    }
  }
  return true;
}

std::string modeText(const ModePort& mode) {
  std::string text(1, mode.kind);
  text += std::to_string(mode.p + 1);
  if (mode.kind != 'S') {
    text += ',';
    text += std::to_string(mode.n + 1);
  }
  return text;
}

}  // namespace zefra::tk
