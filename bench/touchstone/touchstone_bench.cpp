// zefra_touchstone_bench: the Touchstone reader and writer of the toolkit
// against their limits, on the files given, one JSON object per line on
// stdout (bench/touchstone/run.py runs it and makes the results table).
//
//   read FILE        zefra_tk_touchstone_read, the S buffer allocated,
//                    zefra_tk_network_copy_grid, zefra_tk_network_take_s,
//                    zefra_tk_network_free: wall time, best of --repeat;
//                    then the values are checked against the file's numbers.
//   from-chars FILE  the limit of reading: the file is loaded and its data
//                    tokens found before the clock starts; only
//                    std::from_chars over those tokens is timed.
//   write FILE       the file's network (decoded from its numbers, not by
//                    our reader) written with zefra_tk_touchstone_write in
//                    --format ri|ma|db with --digits (0: shortest), against
//                    the limit: std::to_chars of the numbers that file holds
//                    into a reused 1 MiB buffer, one separator each.
//   rss FILE         run alone in a fresh process: the peak resident set
//                    (VmHWM of /proc/self/status) of one `read` above the resident
//                    set just before it, next to the complex data size.
//   info             compiler, build type and toolkit version.
//   smoke DIR        a small 4-port file written into DIR, read back and
//                    checked bit for bit (RI, shortest digits), then every
//                    measurement once on it; fails when anything fails.
//
// Options: --repeat N (runs; the best is kept), --format, --digits,
// --out PATH (the file `write` writes, removed afterwards; default next to
// FILE).  MB/s counts 10^6 bytes: the file size for reading, the bytes of
// text produced for writing.  Errors go to stderr, with exit status 1.
#include <algorithm>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <limits>
#include <memory>
#include <numbers>
#include <stdexcept>
#include <string>
#include <vector>

#if defined(__linux__)
#include <sys/resource.h>
#include <unistd.h>
#endif

#include "bench_data.h"
#include "touchstone/file_numbers.h"
#include "zefra/toolkit.h"

#ifndef ZEFRA_BENCH_BUILD_TYPE
#define ZEFRA_BENCH_BUILD_TYPE ""
#endif

namespace {

namespace fs = std::filesystem;
namespace tb = zefra_touchstone_bench;
using Clock = std::chrono::steady_clock;

// Makes the compiler assume that memory at p is read, so that the stores
// of a timed loop are not dropped.
void keep(const void* p) {
#if defined(__GNUC__) || defined(__clang__)
  asm volatile("" : : "r"(p) : "memory");
#else
  static const void* volatile sink;
  sink = p;
#endif
}

template <class Body>
double bestSeconds(int runs, Body&& body) {
  double best = std::numeric_limits<double>::infinity();
  for (int r = 0; r < runs; ++r) {
    const auto start = Clock::now();
    body();
    const std::chrono::duration<double> elapsed = Clock::now() - start;
    best = std::min(best, elapsed.count());
  }
  return best;
}

double megabytesPerSecond(double bytes, double seconds) { return bytes / seconds / 1e6; }

// One JSON object on one line.
class JsonLine {
 public:
  JsonLine& add(const char* key, const std::string& value) {
    std::string quoted = "\"";
    for (const char c : value) {
      if (c == '"' || c == '\\') {
        quoted += '\\';
        quoted += c;
      } else if (static_cast<unsigned char>(c) < 0x20) {
        char escape[8];
        std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(c));
        quoted += escape;
      } else {
        quoted += c;
      }
    }
    return raw(key, quoted + '"');
  }
  JsonLine& add(const char* key, const char* value) { return add(key, std::string(value)); }
  JsonLine& add(const char* key, int64_t value) { return raw(key, std::to_string(value)); }
  JsonLine& add(const char* key, double value) {
    char number[32];
    const auto result = std::to_chars(number, number + sizeof number, value);
    return raw(key, std::string(number, result.ptr));
  }
  void print() const {
    std::printf("{%s}\n", text_.c_str());
    std::fflush(stdout);
  }

 private:
  JsonLine& raw(const char* key, const std::string& value) {
    if (!text_.empty()) {
      text_ += ", ";
    }
    text_ += '"';
    text_ += key;
    text_ += "\": ";
    text_ += value;
    return *this;
  }
  std::string text_;
};

// ---- Reading through the C API ----------------------------------------

struct NetworkDeleter {
  void operator()(zefra_tk_network* network) const { zefra_tk_network_free(network); }
};

struct ReadResult {
  int32_t ports = 0;
  int64_t points = 0;
  std::unique_ptr<double[]> f, z0, s;
};

// What a host program does to get a file's data: read, allocate, copy the
// grid, move the S-parameters out, free.  The buffers are not zero-filled:
// take_s writes every value, and pages not yet written are not resident,
// so that the S buffer grows as the network's own copy shrinks.
ReadResult readNetwork(const std::string& path) {
  zefra_tk_network* raw = nullptr;
  char message[1024] = "";
  const zefra_tk_status status =
      zefra_tk_touchstone_read(path.c_str(), &raw, message, static_cast<int32_t>(sizeof message));
  std::unique_ptr<zefra_tk_network, NetworkDeleter> network(raw);
  if (status != ZEFRA_TK_OK || network == nullptr) {
    throw std::runtime_error("zefra_tk_touchstone_read failed (status " + std::to_string(status) +
                             "): " + message);
  }
  ReadResult result;
  result.ports = zefra_tk_network_ports(network.get());
  result.points = zefra_tk_network_points(network.get());
  const auto ports = static_cast<std::size_t>(result.ports);
  const auto points = static_cast<std::size_t>(result.points);
  result.f = std::make_unique_for_overwrite<double[]>(points);
  result.z0 = std::make_unique_for_overwrite<double[]>(ports);
  result.s = std::make_unique_for_overwrite<double[]>(2 * points * ports * ports);
  zefra_tk_network_copy_grid(network.get(), result.f.get(), result.z0.get());
  const int64_t taken = zefra_tk_network_take_s(network.get(), result.s.get());
  if (taken != result.points * result.ports * result.ports) {
    throw std::runtime_error("zefra_tk_network_take_s gave " + std::to_string(taken) +
                             " values, expected points x ports^2 = " +
                             std::to_string(result.points * result.ports * result.ports));
  }
  return result;
}

// The file's numbers, converted once (untimed).
std::vector<double> fileNumbers(const std::string& text) {
  const std::vector<tb::Token> tokens = tb::dataTokens(text);
  std::vector<double> values(tokens.size());
  const std::size_t bad = tb::parseTokens(tokens, values.data());
  if (bad != tokens.size()) {
    throw std::runtime_error("token " + std::to_string(bad) + " '" +
                             std::string(tokens[bad].begin, tokens[bad].end) + "' is not a number");
  }
  return values;
}

// A fast read counts only if it is right: the network read must be the one
// the file's numbers make (bit for bit from RI text; MA and DB go through
// cos and sin, hence a small tolerance).  Done for version-1 .sNp files
// without keyword lines; returns whether the check was made.
bool checkAgainstNumbers(const std::string& path, const ReadResult& read) {
  const int32_t ports = tb::portsFromName(path);
  const std::string text = tb::loadFile(path);
  if (ports == 0 || text.find('[') != std::string::npos) {
    return false;
  }
  const tb::Network expected = tb::decodeNetwork(text, ports, fileNumbers(text));
  const std::size_t points = expected.f.size();
  if (read.ports != ports || read.points != static_cast<int64_t>(points)) {
    throw std::runtime_error(path + ": read " + std::to_string(read.ports) + " ports x " +
                             std::to_string(read.points) + " points, the file holds " +
                             std::to_string(ports) + " x " + std::to_string(points));
  }
  for (std::size_t k = 0; k < points; ++k) {
    if (std::abs(read.f[k] - expected.f[k]) > 1e-14 * std::abs(expected.f[k])) {
      throw std::runtime_error(path + ": frequency " + std::to_string(k) + " differs");
    }
  }
  for (std::size_t i = 0; i < expected.s.size(); ++i) {
    if (!(std::abs(read.s[i] - expected.s[i]) <= 1e-12 * std::max(1.0, std::abs(expected.s[i])))) {
      throw std::runtime_error(path + ": S value " + std::to_string(i / 2) + " differs");
    }
  }
  return true;
}

void measureRead(const std::string& path, int runs) {
  ReadResult shape;
  const double best = bestSeconds(runs, [&] {
    const ReadResult result = readNetwork(path);  // freed inside the timed region
    shape.ports = result.ports;
    shape.points = result.points;
  });
  const bool checked = checkAgainstNumbers(path, readNetwork(path));
  const auto bytes = static_cast<int64_t>(fs::file_size(path));
  JsonLine()
      .add("mode", "read")
      .add("file", path)
      .add("bytes", bytes)
      .add("ports", int64_t{shape.ports})
      .add("points", shape.points)
      .add("runs", int64_t{runs})
      .add("best_s", best)
      .add("mb_per_s", megabytesPerSecond(static_cast<double>(bytes), best))
      .add("values_checked", checked ? "yes" : "no")
      .print();
}

// ---- The limit of reading: std::from_chars over pre-found tokens --------

void measureFromChars(const std::string& path, int runs) {
  const std::string text = tb::loadFile(path);
  const std::vector<tb::Token> tokens = tb::dataTokens(text);
  std::vector<double> values(tokens.size());  // touched before timing
  std::size_t converted = 0;
  const double best = bestSeconds(runs, [&] {
    converted = tb::parseTokens(tokens, values.data());
    keep(values.data());
  });
  if (converted != tokens.size()) {
    throw std::runtime_error("token " + std::to_string(converted) + " '" +
                             std::string(tokens[converted].begin, tokens[converted].end) +
                             "' is not a number");
  }
  const auto bytes = static_cast<int64_t>(text.size());
  JsonLine()
      .add("mode", "from_chars")
      .add("file", path)
      .add("bytes", bytes)
      .add("numbers", static_cast<int64_t>(tokens.size()))
      .add("runs", int64_t{runs})
      .add("best_s", best)
      .add("mb_per_s", megabytesPerSecond(static_cast<double>(bytes), best))
      .print();
}

// ---- Writing, and its limit: std::to_chars -----------------------------

int32_t formatCode(const std::string& name) {
  if (name == "ri" || name == "RI") {
    return ZEFRA_TK_FORMAT_RI;
  }
  if (name == "ma" || name == "MA") {
    return ZEFRA_TK_FORMAT_MA;
  }
  if (name == "db" || name == "DB") {
    return ZEFRA_TK_FORMAT_DB;
  }
  throw std::runtime_error("unknown format '" + name + "' (ri, ma or db)");
}

// The numbers a file of this network holds in this format: the
// frequencies, then per S value the pair the format writes.
std::vector<double> valuesAsWritten(const tb::Network& network, int32_t format) {
  std::vector<double> values(network.f);
  values.reserve(network.f.size() + network.s.size());
  constexpr double kDegreesPerRadian = 180.0 / std::numbers::pi;
  for (std::size_t i = 0; i < network.s.size(); i += 2) {
    const double re = network.s[i];
    const double im = network.s[i + 1];
    if (format == ZEFRA_TK_FORMAT_RI) {
      values.push_back(re);
      values.push_back(im);
      continue;
    }
    const double magnitude = std::hypot(re, im);
    values.push_back(format == ZEFRA_TK_FORMAT_MA ? magnitude : 20.0 * std::log10(magnitude));
    values.push_back(std::atan2(im, re) * kDegreesPerRadian);
  }
  return values;
}

// std::to_chars of every value with one separator byte, into a 1 MiB
// buffer that is reused and never written anywhere.  Returns the bytes
// produced.
int64_t toCharsPass(const std::vector<double>& values, int digits, char* buffer,
                    std::size_t capacity) {
  char* const end = buffer + capacity;
  char* p = buffer;
  int64_t bytes = 0;
  for (const double x : values) {
    if (end - p < 64) {
      bytes += p - buffer;
      keep(buffer);
      p = buffer;
    }
    p = digits == 0 ? std::to_chars(p, end, x).ptr
                    : std::to_chars(p, end, x, std::chars_format::general, digits).ptr;
    *p++ = ' ';
  }
  keep(buffer);
  return bytes + (p - buffer);
}

std::string defaultOutput(const std::string& path) {
  const fs::path source(path);
  return (source.parent_path() /
          (source.stem().string() + ".written" + source.extension().string()))
      .string();
}

void measureWrite(const std::string& path, const std::string& formatName, int digits, int runs,
                  std::string out) {
  const int32_t format = formatCode(formatName);
  const int32_t ports = tb::portsFromName(path);
  if (ports == 0) {
    throw std::runtime_error(path + ": write takes a version-1 .sNp file");
  }
  tb::Network network;
  {
    const std::string text = tb::loadFile(path);
    network = tb::decodeNetwork(text, ports, fileNumbers(text));
  }
  if (out.empty()) {
    out = defaultOutput(path);
  }
  const auto points = static_cast<int64_t>(network.f.size());
  char message[1024] = "";
  zefra_tk_status status = ZEFRA_TK_OK;
  const double best = bestSeconds(runs, [&] {
    status = zefra_tk_touchstone_write(out.c_str(), ports, points, network.f.data(),
                                       network.s.data(), network.z0.data(), 0, nullptr, nullptr,
                                       nullptr, nullptr, nullptr, 0, format, network.unit, 0,
                                       digits, message, static_cast<int32_t>(sizeof message));
  });
  if (status != ZEFRA_TK_OK) {
    throw std::runtime_error("zefra_tk_touchstone_write failed: " + std::string(message));
  }
  const auto bytes = static_cast<int64_t>(fs::file_size(out));
  fs::remove(out);

  const std::vector<double> values = valuesAsWritten(network, format);
  constexpr std::size_t kBuffer = std::size_t{1} << 20;
  const auto buffer = std::make_unique<char[]>(kBuffer);
  int64_t limitBytes = 0;
  const double limitBest =
      bestSeconds(runs, [&] { limitBytes = toCharsPass(values, digits, buffer.get(), kBuffer); });

  JsonLine()
      .add("mode", "write")
      .add("file", path)
      .add("format", formatName)
      .add("digits", int64_t{digits})
      .add("ports", int64_t{ports})
      .add("points", points)
      .add("runs", int64_t{runs})
      .add("bytes", bytes)
      .add("best_s", best)
      .add("mb_per_s", megabytesPerSecond(static_cast<double>(bytes), best))
      .add("to_chars_bytes", limitBytes)
      .add("to_chars_best_s", limitBest)
      .add("to_chars_mb_per_s", megabytesPerSecond(static_cast<double>(limitBytes), limitBest))
      .print();
}

// ---- Peak memory of one read -------------------------------------------

#if defined(__linux__)
int64_t residentBytes() {
  std::ifstream statm("/proc/self/statm");
  int64_t size = 0;
  int64_t resident = 0;
  if (!(statm >> size >> resident)) {
    throw std::runtime_error("cannot read /proc/self/statm");
  }
  return resident * static_cast<int64_t>(sysconf(_SC_PAGESIZE));
}

// The peak resident set of this process image: VmHWM of /proc/self/status.
// (getrusage's ru_maxrss would not do: Linux keeps it across execve, so a
// child of a larger process, such as run.py's Python, starts with the
// parent's peak.)
int64_t peakResidentBytes() {
  std::ifstream status("/proc/self/status");
  std::string line;
  while (std::getline(status, line)) {
    if (line.rfind("VmHWM:", 0) == 0) {
      return std::stoll(line.substr(6)) * 1024;  // kB
    }
  }
  throw std::runtime_error("no VmHWM in /proc/self/status");
}
#endif

void measureRss(const std::string& path) {
#if defined(__linux__)
  // Parse a tiny text first, so that the reader's code is paged in and
  // counts in the baseline, not in the read.
  {
    static constexpr char kTiny[] = "# Hz S RI R 50\n1 0.5 0\n";
    zefra_tk_network* tiny = nullptr;
    zefra_tk_touchstone_parse(kTiny, static_cast<int64_t>(sizeof kTiny - 1), "warm_up.s1p", &tiny,
                              nullptr, 0);
    zefra_tk_network_free(tiny);
  }
  const int64_t baseline = residentBytes();
  const int64_t peakBefore = peakResidentBytes();
  const ReadResult result = readNetwork(path);
  const int64_t peak = peakResidentBytes();
  keep(result.s.get());
  const int64_t complexBytes = result.points * result.ports * result.ports * 16;
  JsonLine()
      .add("mode", "rss")
      .add("file", path)
      .add("ports", int64_t{result.ports})
      .add("points", result.points)
      .add("complex_bytes", complexBytes)
      .add("baseline_rss_bytes", baseline)
      .add("peak_rss_before_bytes", peakBefore)
      .add("peak_rss_bytes", peak)
      .add("extra_bytes", peak - baseline)
      .add("extra_over_complex",
           static_cast<double>(peak - baseline) / static_cast<double>(complexBytes))
      .print();
#else
  throw std::runtime_error("rss: " + path + ": measured on Linux only");
#endif
}

// ---- Build facts and the smoke run --------------------------------------

void printInfo() {
#if defined(__clang__)
  const std::string compiler = "Clang " __clang_version__;
#elif defined(__GNUC__)
  const std::string compiler = "GCC " __VERSION__;
#elif defined(_MSC_VER)
  const std::string compiler = "MSVC " + std::to_string(_MSC_FULL_VER);
#else
  const std::string compiler = "unknown";
#endif
  JsonLine()
      .add("mode", "info")
      .add("compiler", compiler)
      .add("build_type", ZEFRA_BENCH_BUILD_TYPE)
      .add("toolkit", zefra_tk_version())
      .print();
}

bool sameBits(const double* a, const double* b, std::size_t n) {
  return std::memcmp(a, b, n * sizeof(double)) == 0;
}

void smoke(const std::string& folder) {
  constexpr int32_t kPorts = 4;
  constexpr std::size_t kPoints = 50;
  constexpr std::size_t kEntries = kPoints * kPorts * kPorts;
  fs::create_directories(folder);
  const std::string path = (fs::path(folder) / "smoke.s4p").string();

  const std::vector<double> f = zefra_bench::linearFrequencies(kPoints);
  std::vector<double> s;
  for (const zefra_complex& v : zefra_bench::randomSParam(kEntries, 20'261'124u)) {
    s.push_back(v.re);
    s.push_back(v.im);
  }
  const std::vector<double> z0(kPorts, 50.0);
  char message[1024] = "";
  if (zefra_tk_touchstone_write(path.c_str(), kPorts, static_cast<int64_t>(kPoints), f.data(),
                                s.data(), z0.data(), 0, nullptr, nullptr, nullptr, nullptr, nullptr,
                                0, ZEFRA_TK_FORMAT_RI, ZEFRA_TK_UNIT_HZ, 1, 0, message,
                                static_cast<int32_t>(sizeof message)) != ZEFRA_TK_OK) {
    throw std::runtime_error("smoke: writing " + path + ": " + message);
  }

  // Shortest RI digits give every bit back, through our reader ...
  const ReadResult read = readNetwork(path);
  if (read.ports != kPorts || read.points != static_cast<int64_t>(kPoints) ||
      !sameBits(read.f.get(), f.data(), kPoints) || !sameBits(read.z0.get(), z0.data(), kPorts) ||
      !sameBits(read.s.get(), s.data(), s.size())) {
    throw std::runtime_error("smoke: our reader does not give back the network written");
  }
  // ... and through the tokens the from_chars limit converts.
  const std::string text = tb::loadFile(path);
  const tb::Network decoded = tb::decodeNetwork(text, kPorts, fileNumbers(text));
  if (decoded.f != f || decoded.z0 != z0 || !sameBits(decoded.s.data(), s.data(), s.size())) {
    throw std::runtime_error("smoke: the data tokens do not give back the network written");
  }

  const std::string out = (fs::path(folder) / "smoke.written.s4p").string();
  measureRead(path, 1);
  measureFromChars(path, 1);
  measureWrite(path, "RI", 0, 1, out);
  measureWrite(path, "MA", 0, 1, out);
  measureRss(path);
  fs::remove(path);
}

struct Arguments {
  std::string mode;
  std::string target;
  int repeat = 3;
  std::string format = "RI";
  int digits = 0;
  std::string out;
};

int usage() {
  std::fprintf(stderr,
               "usage: zefra_touchstone_bench read|from-chars|rss FILE [--repeat N]\n"
               "       zefra_touchstone_bench write FILE [--format ri|ma|db] [--digits N]"
               " [--repeat N] [--out PATH]\n"
               "       zefra_touchstone_bench smoke DIR\n"
               "       zefra_touchstone_bench info\n");
  return 2;
}

int toInt(const std::string& text) {
  int value = 0;
  const auto [ptr, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (ec != std::errc() || ptr != text.data() + text.size()) {
    throw std::runtime_error("not an integer: '" + text + "'");
  }
  return value;
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string> words(argv + 1, argv + argc);
  Arguments args;
  try {
    std::size_t i = 0;
    if (i < words.size()) {
      args.mode = words[i++];
    }
    if (args.mode != "info" && i < words.size()) {
      args.target = words[i++];
    }
    for (; i < words.size(); i += 2) {
      if (i + 1 >= words.size()) {
        return usage();
      }
      const std::string& value = words[i + 1];
      if (words[i] == "--repeat") {
        args.repeat = std::max(1, toInt(value));
      } else if (words[i] == "--format") {
        args.format = value;
      } else if (words[i] == "--digits") {
        args.digits = toInt(value);
      } else if (words[i] == "--out") {
        args.out = value;
      } else {
        return usage();
      }
    }
    if (args.mode == "info") {
      printInfo();
    } else if (args.target.empty()) {
      return usage();
    } else if (args.mode == "read") {
      measureRead(args.target, args.repeat);
    } else if (args.mode == "from-chars") {
      measureFromChars(args.target, args.repeat);
    } else if (args.mode == "write") {
      measureWrite(args.target, args.format, args.digits, args.repeat, args.out);
    } else if (args.mode == "rss") {
      measureRss(args.target);
    } else if (args.mode == "smoke") {
      smoke(args.target);
    } else {
      return usage();
    }
  } catch (const std::exception& error) {
    std::fprintf(stderr, "zefra_touchstone_bench: %s\n", error.what());
    return 1;
  }
  return 0;
}
