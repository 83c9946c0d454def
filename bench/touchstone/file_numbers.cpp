#include "touchstone/file_numbers.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <fstream>
#include <numbers>
#include <sstream>
#include <stdexcept>
#include <system_error>

#include "zefra/toolkit.h"

namespace zefra_touchstone_bench {

namespace {

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\v' || c == '\f'; }

std::string upper(std::string word) {
  std::transform(word.begin(), word.end(), word.begin(),
                 [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
  return word;
}

// The file's option line ("# GHz S MA R 50"), with the defaults of the
// format for whatever it leaves out.
struct Options {
  int32_t unit = ZEFRA_TK_UNIT_GHZ;
  double unitHz = 1e9;
  std::string format = "MA";
  double z0 = 50.0;
};

Options optionLine(std::string_view text) {
  Options options;
  std::size_t start = 0;
  while (start < text.size()) {
    std::size_t end = text.find('\n', start);
    if (end == std::string_view::npos) {
      end = text.size();
    }
    std::string_view line = text.substr(start, end - start);
    start = end + 1;
    const std::size_t first = line.find_first_not_of(" \t\r");
    if (first == std::string_view::npos || line[first] != '#') {
      continue;
    }
    line = line.substr(first + 1);
    line = line.substr(0, line.find('!'));
    std::istringstream words{std::string(line)};
    std::string word;
    while (words >> word) {
      word = upper(word);
      if (word == "HZ" || word == "KHZ" || word == "MHZ" || word == "GHZ") {
        options.unit = word == "HZ"    ? ZEFRA_TK_UNIT_HZ
                       : word == "KHZ" ? ZEFRA_TK_UNIT_KHZ
                       : word == "MHZ" ? ZEFRA_TK_UNIT_MHZ
                                       : ZEFRA_TK_UNIT_GHZ;
        options.unitHz = word == "HZ" ? 1.0 : word == "KHZ" ? 1e3 : word == "MHZ" ? 1e6 : 1e9;
      } else if (word == "RI" || word == "MA" || word == "DB") {
        options.format = word;
      } else if (word == "R") {
        if (!(words >> options.z0)) {
          throw std::runtime_error("option line: R without a value");
        }
      } else if (word != "S") {
        throw std::runtime_error("option line: '" + word + "' (only S-parameters are handled)");
      }
    }
    break;
  }
  return options;
}

}  // namespace

std::string loadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    throw std::runtime_error(path + ": cannot open");
  }
  in.seekg(0, std::ios::end);
  const auto size = static_cast<std::size_t>(in.tellg());
  in.seekg(0, std::ios::beg);
  std::string text(size, '\0');
  if (!in.read(text.data(), static_cast<std::streamsize>(size))) {
    throw std::runtime_error(path + ": cannot read");
  }
  return text;
}

std::vector<Token> dataTokens(std::string_view text) {
  std::vector<Token> tokens;
  const char* p = text.data();
  const char* const end = p + text.size();
  while (p < end) {
    // At the start of a line.
    const char* q = p;
    while (q < end && isBlank(*q)) {
      ++q;
    }
    const bool skipLine = q < end && (*q == '#' || *q == '[');
    while (q < end && *q != '\n') {
      if (skipLine || *q == '!') {
        q = std::find(q, end, '\n');
        break;
      }
      if (isBlank(*q)) {
        ++q;
        continue;
      }
      const char* const begin = q;
      while (q < end && !isBlank(*q) && *q != '\n' && *q != '!') {
        ++q;
      }
      tokens.push_back({begin, q});
    }
    p = q < end ? q + 1 : end;
  }
  return tokens;
}

std::size_t parseTokens(const std::vector<Token>& tokens, double* values) {
  const std::size_t n = tokens.size();
  for (std::size_t i = 0; i < n; ++i) {
    const char* begin = tokens[i].begin;
    if (*begin == '+') {
      ++begin;
    }
    const auto [ptr, ec] = std::from_chars(begin, tokens[i].end, values[i]);
    if (ec != std::errc() || ptr != tokens[i].end) {
      return i;
    }
  }
  return n;
}

int32_t portsFromName(const std::string& path) {
  const std::size_t dot = path.find_last_of('.');
  if (dot == std::string::npos || path.size() < dot + 4) {
    return 0;
  }
  const std::string extension = upper(path.substr(dot + 1));
  if (extension.front() != 'S' || extension.back() != 'P') {
    return 0;
  }
  int32_t ports = 0;
  const char* const first = extension.data() + 1;
  const char* const last = extension.data() + extension.size() - 1;
  const auto [ptr, ec] = std::from_chars(first, last, ports);
  return ec == std::errc() && ptr == last && ports > 0 ? ports : 0;
}

Network decodeNetwork(std::string_view text, int32_t ports, const std::vector<double>& values) {
  const Options options = optionLine(text);
  const auto entries = static_cast<std::size_t>(ports) * static_cast<std::size_t>(ports);
  const std::size_t perPoint = 1 + 2 * entries;
  if (ports <= 0 || values.empty() || values.size() % perPoint != 0) {
    throw std::runtime_error(std::to_string(values.size()) + " numbers do not make whole " +
                             std::to_string(ports) + "-port frequency points");
  }
  const std::size_t points = values.size() / perPoint;
  Network network;
  network.ports = ports;
  network.unit = options.unit;
  network.z0.assign(static_cast<std::size_t>(ports), options.z0);
  network.f.resize(points);
  network.s.resize(2 * points * entries);
  constexpr double kRadiansPerDegree = std::numbers::pi / 180.0;
  for (std::size_t k = 0; k < points; ++k) {
    const double* row = values.data() + k * perPoint;
    network.f[k] = row[0] * options.unitHz;
    for (std::size_t e = 0; e < entries; ++e) {
      // Version-1 2-ports list S11 S21 S12 S22: file entry 1 is S21 (index 2).
      const std::size_t to = ports == 2 && (e == 1 || e == 2) ? 3 - e : e;
      const double a = row[1 + 2 * e];
      const double b = row[2 + 2 * e];
      double* out = network.s.data() + 2 * (k * entries + to);
      if (options.format == "RI") {
        out[0] = a;
        out[1] = b;
      } else {
        const double magnitude = options.format == "MA" ? a : std::pow(10.0, a / 20.0);
        out[0] = magnitude * std::cos(b * kRadiansPerDegree);
        out[1] = magnitude * std::sin(b * kRadiansPerDegree);
      }
    }
  }
  return network;
}

}  // namespace zefra_touchstone_bench
