// Touchstone writing: zefra_tk_touchstone_write against its own speed limit.
//   ToCharsBare       std::to_chars of every value the file holds -- the
//                     frequencies and the S values -- with one separator
//                     byte each, into a 1 MiB buffer that is reused and
//                     never written anywhere: with the shortest digits
//                     (digits 0) or 6 significant digits (general format).
//                     A writer of RI text can go no faster.
//   TouchstoneWrite   the whole file through the C API: validation, layout,
//                     the temporary file and the rename, in RI with shortest
//                     digits, in RI, MA and DB with 6 digits, and in MA and
//                     DB with shortest digits.
// Input: a passive-looking random network (|S| < 0.9, uniform phase) on a
// linear grid from 0 to 50 GHz; 16 ports x 20,000 points (about 200 MB of
// RI text) and a small 4-port case for the smoke run.  Bytes: the bytes of
// text produced (the file size for the writer).  The file goes to
// $TMPDIR (else /tmp) and stays in the page cache: the figure is the
// formatting and system-call cost, not the disk's.
#include <benchmark/benchmark.h>

#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "bench_data.h"
#include "zefra/toolkit.h"

namespace {

struct Network {
  int32_t ports;
  std::vector<double> f;
  std::vector<double> s;  // (re, im) pairs
  std::vector<double> z0;
};

const Network& networkFor(int32_t ports, int64_t points) {
  static std::map<std::pair<int32_t, int64_t>, Network> cache;
  auto it = cache.find({ports, points});
  if (it == cache.end()) {
    Network n{ports, zefra_bench::linearFrequencies(static_cast<std::size_t>(points)), {}, {}};
    const auto values =
        zefra_bench::randomSParam(static_cast<std::size_t>(points * ports * ports), 20'260'801u);
    n.s.reserve(2 * values.size());
    for (const zefra_complex& v : values) {
      n.s.push_back(v.re);
      n.s.push_back(v.im);
    }
    n.z0.assign(static_cast<std::size_t>(ports), 50.0);
    it = cache.emplace(std::make_pair(ports, points), std::move(n)).first;
  }
  return it->second;
}

std::string benchFile(int32_t ports) {
  const char* folder = std::getenv("TMPDIR");
  return (std::filesystem::path(folder != nullptr && *folder != '\0' ? folder : "/tmp") /
          ("zefra_touchstone_write_bench.s" + std::to_string(ports) + "p"))
      .string();
}

void BM_ToCharsBare(benchmark::State& state) {
  const auto ports = static_cast<int32_t>(state.range(0));
  const Network& n = networkFor(ports, state.range(1));
  const auto digits = static_cast<int>(state.range(2));
  constexpr std::size_t kBuffer = std::size_t{1} << 20;
  std::unique_ptr<char[]> buffer(new char[kBuffer]);
  char* const end = buffer.get() + kBuffer;
  int64_t bytes = 0;
  for (auto _ : state) {
    char* p = buffer.get();
    const auto put = [&](double x) {
      if (end - p < 64) {
        bytes += p - buffer.get();
        benchmark::DoNotOptimize(buffer.get());
        benchmark::ClobberMemory();
        p = buffer.get();
      }
      p = digits == 0 ? std::to_chars(p, end, x).ptr
                      : std::to_chars(p, end, x, std::chars_format::general, digits).ptr;
      *p++ = ' ';
    };
    for (double x : n.f) {
      put(x);
    }
    for (double x : n.s) {
      put(x);
    }
    bytes += p - buffer.get();
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(bytes);
}

void BM_TouchstoneWrite(benchmark::State& state) {
  const auto ports = static_cast<int32_t>(state.range(0));
  const Network& n = networkFor(ports, state.range(1));
  const auto format = static_cast<int32_t>(state.range(2));
  const auto digits = static_cast<int32_t>(state.range(3));
  const std::string path = benchFile(ports);
  char message[512];
  int64_t bytes = 0;
  for (auto _ : state) {
    const zefra_tk_status status = zefra_tk_touchstone_write(
        path.c_str(), ports, static_cast<int64_t>(n.f.size()), n.f.data(), n.s.data(), n.z0.data(),
        0, nullptr, nullptr, nullptr, nullptr, nullptr, 0, format, ZEFRA_TK_UNIT_GHZ, 0, digits,
        message, sizeof message);
    if (status != ZEFRA_TK_OK) {
      state.SkipWithError(message);
      break;
    }
    bytes += static_cast<int64_t>(std::filesystem::file_size(path));
  }
  std::filesystem::remove(path);
  state.SetBytesProcessed(bytes);
}

}  // namespace

BENCHMARK(BM_ToCharsBare)
    ->ArgNames({"ports", "points", "digits"})
    ->Args({4, 100, 0})
    ->Args({16, 20000, 0})
    ->Args({16, 20000, 6})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK(BM_TouchstoneWrite)
    ->ArgNames({"ports", "points", "format", "digits"})
    ->Args({4, 100, ZEFRA_TK_FORMAT_RI, 0})
    ->Args({16, 20000, ZEFRA_TK_FORMAT_RI, 0})
    ->Args({16, 20000, ZEFRA_TK_FORMAT_RI, 6})
    ->Args({16, 20000, ZEFRA_TK_FORMAT_MA, 0})
    ->Args({16, 20000, ZEFRA_TK_FORMAT_MA, 6})
    ->Args({16, 20000, ZEFRA_TK_FORMAT_DB, 0})
    ->Args({16, 20000, ZEFRA_TK_FORMAT_DB, 6})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
