// Shared by the Touchstone reader suites: a text parsed (or a file read)
// through the public C API and everything the network holds copied into
// plain C++ values, plus the checks every suite makes (an error at a line,
// a warning at a line, identical bits, closeness with a stated tolerance)
// and a scratch folder per test.
#pragma once

#include <gtest/gtest.h>

#if defined(_WIN32)
#  include <process.h>
#  define ZEFRA_READER_TEST_PID _getpid()
#else
#  include <unistd.h>
#  define ZEFRA_READER_TEST_PID getpid()
#endif

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <complex>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "support/bits.h"
#include "zefra/toolkit.h"

namespace zefra_reader_test {

using Complex = std::complex<double>;

// Everything a read gave: the status and message, and on success the
// network's contents.
struct Read {
  zefra_tk_status status = -1;
  std::string message;
  int32_t ports = 0;
  std::vector<double> f;
  std::vector<Complex> s;  // [points][ports][ports]
  std::vector<double> z0;
  std::vector<double> noiseF, nfMinDb, rn;
  std::vector<Complex> gammaOpt;
  std::vector<std::string> comments, warnings, modes;
  std::string version, parameter, format, unit;
  int64_t sTaken = 0;       // complex values zefra_tk_network_take_s wrote
  int64_t sTakenAgain = 0;  // what a second take wrote (always 0)

  bool ok() const { return status == ZEFRA_TK_OK; }
  // S_ij at point k, ports counted from 1 as in the file.
  Complex S(std::size_t k, int i, int j) const {
    const auto n = static_cast<std::size_t>(ports);
    return s.at((k * n + static_cast<std::size_t>(i - 1)) * n + static_cast<std::size_t>(j - 1));
  }
};

inline std::vector<std::string> textsOf(const zefra_tk_network* network, int32_t kind) {
  std::vector<std::string> texts;
  const int32_t count = zefra_tk_network_text_count(network, kind);
  for (int32_t i = 0; i < count; ++i) {
    texts.emplace_back(zefra_tk_network_text(network, kind, i));
  }
  return texts;
}

inline std::string oneText(const zefra_tk_network* network, int32_t kind) {
  const std::vector<std::string> texts = textsOf(network, kind);
  return texts.size() == 1 ? texts.front()
                           : std::string("<") + std::to_string(texts.size()) + " texts>";
}

// Copies the network out (and frees it).
inline Read collect(zefra_tk_status status, zefra_tk_network* network, const char* message) {
  Read r;
  r.status = status;
  r.message = message;
  if (network == nullptr) {
    return r;
  }
  r.ports = zefra_tk_network_ports(network);
  const auto points = static_cast<std::size_t>(zefra_tk_network_points(network));
  const auto n = static_cast<std::size_t>(r.ports);
  r.f.resize(points);
  r.z0.resize(n);
  zefra_tk_network_copy_grid(network, r.f.data(), r.z0.data());
  std::vector<double> pairs(2 * points * n * n);
  r.sTaken = zefra_tk_network_take_s(network, pairs.data());
  r.sTakenAgain = zefra_tk_network_take_s(network, pairs.data());
  r.s.resize(points * n * n);
  for (std::size_t i = 0; i < r.s.size(); ++i) {
    r.s[i] = Complex(pairs[2 * i], pairs[2 * i + 1]);
  }
  const auto noise = static_cast<std::size_t>(zefra_tk_network_noise_points(network));
  r.noiseF.resize(noise);
  r.nfMinDb.resize(noise);
  r.rn.resize(noise);
  std::vector<double> gamma(2 * noise);
  zefra_tk_network_copy_noise(network, r.noiseF.data(), r.nfMinDb.data(), gamma.data(),
                              r.rn.data());
  for (std::size_t k = 0; k < noise; ++k) {
    r.gammaOpt.emplace_back(gamma[2 * k], gamma[2 * k + 1]);
  }
  r.comments = textsOf(network, ZEFRA_TK_TEXT_COMMENT);
  r.warnings = textsOf(network, ZEFRA_TK_TEXT_WARNING);
  r.modes = textsOf(network, ZEFRA_TK_TEXT_MIXED_MODE);
  r.version = oneText(network, ZEFRA_TK_TEXT_VERSION);
  r.parameter = oneText(network, ZEFRA_TK_TEXT_PARAMETER);
  r.format = oneText(network, ZEFRA_TK_TEXT_FORMAT);
  r.unit = oneText(network, ZEFRA_TK_TEXT_UNIT);
  zefra_tk_network_free(network);
  return r;
}

// Parses `text` (any bytes) as the file `name`.
inline Read parseText(std::string_view text, const std::string& name = "t.s1p") {
  zefra_tk_network* network = nullptr;
  char message[4096];
  message[0] = 'x';
  message[1] = '\0';
  const zefra_tk_status status =
      zefra_tk_touchstone_parse(text.data(), static_cast<int64_t>(text.size()), name.c_str(),
                                &network, message, static_cast<int32_t>(sizeof message));
  return collect(status, network, message);
}

// Reads the file at `path`.
inline Read readFile(const std::string& path) {
  zefra_tk_network* network = nullptr;
  char message[4096];
  message[0] = 'x';
  message[1] = '\0';
  const zefra_tk_status status = zefra_tk_touchstone_read(path.c_str(), &network, message,
                                                          static_cast<int32_t>(sizeof message));
  return collect(status, network, message);
}

// ---- checks ----------------------------------------------------------------------

using zefra::testing::bitsOf;
using zefra::testing::describe;
using zefra::testing::sameBits;

inline std::string describe(Complex z) {
  std::string text("(");
  text += describe(z.real());
  text += ", ";
  text += describe(z.imag());
  text += ')';
  return text;
}

inline ::testing::AssertionResult sameBits(Complex expected, Complex actual) {
  if (bitsOf(expected.real()) == bitsOf(actual.real()) &&
      bitsOf(expected.imag()) == bitsOf(actual.imag())) {
    return ::testing::AssertionSuccess();
  }
  return ::testing::AssertionFailure()
         << "expected " << describe(expected) << ", got " << describe(actual);
}

// Every element bit for bit.
inline ::testing::AssertionResult sameBits(const std::vector<double>& expected,
                                           const std::vector<double>& actual) {
  if (expected.size() != actual.size()) {
    return ::testing::AssertionFailure()
           << "expected " << expected.size() << " values, got " << actual.size();
  }
  for (std::size_t i = 0; i < expected.size(); ++i) {
    if (bitsOf(expected[i]) != bitsOf(actual[i])) {
      return ::testing::AssertionFailure() << "at " << i << ": expected " << describe(expected[i])
                                           << ", got " << describe(actual[i]);
    }
  }
  return ::testing::AssertionSuccess();
}

inline ::testing::AssertionResult sameBits(const std::vector<Complex>& expected,
                                           const std::vector<Complex>& actual) {
  if (expected.size() != actual.size()) {
    return ::testing::AssertionFailure()
           << "expected " << expected.size() << " values, got " << actual.size();
  }
  for (std::size_t i = 0; i < expected.size(); ++i) {
    const ::testing::AssertionResult one = sameBits(expected[i], actual[i]);
    if (!one) {
      return ::testing::AssertionFailure() << "at " << i << ": " << one.message();
    }
  }
  return ::testing::AssertionSuccess();
}

// |actual - expected| <= tolerance * scale.
inline ::testing::AssertionResult near(Complex expected, Complex actual, double tolerance,
                                       double scale) {
  const double error = std::abs(actual - expected);
  if (error <= tolerance * scale) {
    return ::testing::AssertionSuccess();
  }
  return ::testing::AssertionFailure()
         << "expected " << describe(expected) << ", got " << describe(actual) << ": error " << error
         << " > " << tolerance << " * " << scale;
}

// Relative to the expected value itself.
inline ::testing::AssertionResult nearRelative(Complex expected, Complex actual, double tolerance) {
  return near(expected, actual, tolerance, std::abs(expected));
}

// Status ZEFRA_TK_BAD_INPUT, no network, and a one-line message
// "NAME:LINE: expected ..." that contains `phrase`.
inline ::testing::AssertionResult rejected(const Read& r, const std::string& name, int64_t line,
                                           const std::string& phrase) {
  const std::string start = name + ":" + std::to_string(line) + ": expected ";
  if (r.status != ZEFRA_TK_BAD_INPUT) {
    return ::testing::AssertionFailure() << "status " << r.status << " (message '" << r.message
                                         << "'), expected ZEFRA_TK_BAD_INPUT";
  }
  if (r.ports != 0) {
    return ::testing::AssertionFailure() << "a network came with the failure";
  }
  if (r.message.compare(0, start.size(), start) != 0) {
    return ::testing::AssertionFailure()
           << "message '" << r.message << "' does not start with '" << start << "'";
  }
  if (r.message.find(phrase) == std::string::npos) {
    return ::testing::AssertionFailure()
           << "message '" << r.message << "' lacks '" << phrase << "'";
  }
  if (r.message.find('\n') != std::string::npos) {
    return ::testing::AssertionFailure() << "message '" << r.message << "' has several lines";
  }
  return ::testing::AssertionSuccess();
}

// Read without error, and exactly the warnings given: each "NAME:LINE: ..."
// containing its phrase, in this order.
struct Expected {
  int64_t line;
  std::string phrase;
};

inline ::testing::AssertionResult warnedExactly(const Read& r, const std::string& name,
                                                const std::vector<Expected>& expected) {
  if (!r.ok()) {
    return ::testing::AssertionFailure() << "status " << r.status << ": " << r.message;
  }
  std::ostringstream all;
  for (const std::string& w : r.warnings) {
    all << "\n  " << w;
  }
  if (r.warnings.size() != expected.size()) {
    return ::testing::AssertionFailure() << "expected " << expected.size() << " warnings, got "
                                         << r.warnings.size() << ":" << all.str();
  }
  for (std::size_t k = 0; k < expected.size(); ++k) {
    const std::string start = name + ":" + std::to_string(expected[k].line) + ": ";
    const std::string& w = r.warnings[k];
    if (w.compare(0, start.size(), start) != 0 || w.find(expected[k].phrase) == std::string::npos) {
      return ::testing::AssertionFailure()
             << "warning " << k << " should start with '" << start << "' and hold '"
             << expected[k].phrase << "':" << all.str();
    }
  }
  return ::testing::AssertionSuccess();
}

// Read without error or warning.
inline ::testing::AssertionResult clean(const Read& r, const std::string& name = "") {
  return warnedExactly(r, name, {});
}

// ---- texts -----------------------------------------------------------------------

// The lines joined, each ended by a LF: line k of the text is list[k - 1].
inline std::string lines(std::initializer_list<std::string_view> list) {
  std::string text;
  for (const std::string_view line : list) {
    text.append(line);
    text += '\n';
  }
  return text;
}

// The shortest text that reads back to x.
inline std::string shortest(double x) {
  char text[64];
  const auto end = std::to_chars(text, text + sizeof text, x).ptr;
  return std::string(text, end);
}

// ---- files -----------------------------------------------------------------------

// A folder of its own for the running test, removed at the end.
class ScratchFolder {
 public:
  ScratchFolder() {
    const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
    folder_ = std::filesystem::temp_directory_path() /
              ("zefra_reader_" + std::string(info->test_suite_name()) + "_" + info->name() + "_" +
               std::to_string(static_cast<long>(ZEFRA_READER_TEST_PID)));
    std::filesystem::remove_all(folder_);
    std::filesystem::create_directories(folder_);
  }
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;
  ~ScratchFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
  }

  std::string path(const std::string& name) const { return (folder_ / name).string(); }

  // Writes `bytes` to NAME and returns its path.
  std::string write(const std::string& name, std::string_view bytes) const {
    const std::string target = path(name);
    std::ofstream out(target, std::ios::binary);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    return target;
  }

 private:
  std::filesystem::path folder_;
};

}  // namespace zefra_reader_test
