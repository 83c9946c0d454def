// zefra_equality: bit-equality harness for libZefra_TDR_Helpers and its
// sibling libinterp_Sparam.
//
//   zefra_equality dump LIB SIBLING OUT [--cases N] [--only NAME]
//       runs N cases (default 100000) of every export and writes one 64-bit
//       hash per case (arena after the call, return value, library arrays)
//   zefra_equality compare A.bin B.bin
//       per export: cases, mismatches, first mismatching case, mismatches by
//       overlap class; exit 0 only when everything is present and equal
//   zefra_equality show LIB SIBLING NAME INDEX
//       regenerates one case, runs it and prints inputs and outputs
//
// File format (little endian): "ZEFRAEQ1", then per export: u32 name length,
// name, u64 case count, count u64 hashes, count u8 overlap classes.
#include <stdlib.h>

#include <algorithm>
#include <chrono>
#include <cinttypes>
#include <ctime>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "case.h"
#include "exports.h"
#include "library.h"

namespace {

using eq::Case;
using eq::Export;

const char kMagic[8] = {'Z', 'E', 'F', 'R', 'A', 'E', 'Q', '1'};

int usage() {
  std::fprintf(stderr,
               "usage: zefra_equality dump LIB SIBLING OUT [--cases N] [--only NAME]\n"
               "       zefra_equality compare A.bin B.bin\n"
               "       zefra_equality show LIB SIBLING NAME INDEX\n");
  return 2;
}

const Export* findExport(const std::string& name) {
  for (const Export& e : eq::allExports()) {
    if (name == e.name) {
      return &e;
    }
  }
  return nullptr;
}

// A 64-byte aligned scratch copy of a case's arena.
class Work {
 public:
  ~Work() { std::free(data_); }
  unsigned char* load(const Case& c) {
    const size_t need = c.arena().size();
#if defined(__SANITIZE_ADDRESS__)
    // Exactly sized, so that AddressSanitizer sees a write past the arena.
    std::free(data_);
    data_ = nullptr;
    capacity_ = 0;
    if (need > 0) {
      data_ = static_cast<unsigned char*>(std::malloc(need));
      std::memcpy(data_, c.arena().data(), need);
    }
    return data_;
#endif
    if (need > capacity_) {
      std::free(data_);
      capacity_ = (need + 4095) / 4096 * 4096;
      void* p = nullptr;
      if (posix_memalign(&p, 64, capacity_) != 0) {
        std::fprintf(stderr, "equality: out of memory\n");
        std::exit(2);
      }
      data_ = static_cast<unsigned char*>(p);
    }
    std::memcpy(data_, c.arena().data(), need);
    return data_;
  }

 private:
  unsigned char* data_ = nullptr;
  size_t capacity_ = 0;
};

// Bytes of the arena outside every buffer that no longer hold the sentinel:
// writes past a documented length (or before a buffer).
size_t strayBytes(const Case& c, const unsigned char* arena) {
  std::vector<std::pair<int64_t, int64_t>> ranges;
  for (const eq::Buffer& b : c.buffers()) {
    if (!b.null && b.bytes() > 0) {
      ranges.emplace_back(b.off, b.off + b.bytes());
    }
  }
  std::sort(ranges.begin(), ranges.end());
  size_t stray = 0;
  int64_t pos = 0;
  const auto size = static_cast<int64_t>(c.arena().size());
  for (size_t k = 0; k <= ranges.size(); ++k) {
    const int64_t until = k < ranges.size() ? ranges[k].first : size;
    for (; pos < until; ++pos) {
      stray += arena[pos] != eq::kSentinel;
    }
    if (k < ranges.size()) {
      pos = std::max(pos, ranges[k].second);
    }
  }
  return stray;
}

// True when an input that shares no memory with any output changed.
bool inputWritten(const Case& c, const unsigned char* arena) {
  for (const eq::Buffer& in : c.buffers()) {
    if (in.null || in.role != eq::kIn || in.bytes() == 0 ||
        std::memcmp(arena + in.off, c.arena().data() + in.off, static_cast<size_t>(in.bytes())) == 0) {
      continue;
    }
    bool underOutput = false;
    for (const eq::Buffer& out : c.buffers()) {
      underOutput = underOutput || (!out.null && (out.role & eq::kOut) && out.bytes() > 0 &&
                                    out.off < in.off + in.bytes() && in.off < out.off + out.bytes());
    }
    if (!underOutput) {
      return true;
    }
  }
  return false;
}

struct Anomalies {
  uint64_t stray = 0;         // cases that wrote outside their buffers
  int64_t firstStray = -1;
  uint64_t inputs = 0;        // cases that wrote an input no output covers
  int64_t firstInput = -1;
};

uint64_t runCase(const eq::Library& lib, const Export& e, uint64_t seed, uint64_t index, Case& c,
                 Work& work, uint8_t* cls, Anomalies* anomalies) {
  eq::Rng rng(seed, index);
  c.reset();
  e.generate(rng, c);
  unsigned char* arena = work.load(c);
  eq::Hasher h;
  eq::Outcome out(h, nullptr);
  e.call(lib, c, arena, out);
  h.bytes(arena, c.arena().size());
  *cls = c.cls();
  if (strayBytes(c, arena) != 0 && anomalies->stray++ == 0) {
    anomalies->firstStray = static_cast<int64_t>(index);
  }
  if (inputWritten(c, arena) && anomalies->inputs++ == 0) {
    anomalies->firstInput = static_cast<int64_t>(index);
  }
  return h.digest();
}

int dump(int argc, char** argv) {
  if (argc < 5) {
    return usage();
  }
  uint64_t cases = 100000;
  std::string only;
  for (int i = 5; i < argc; ++i) {
    if (std::strcmp(argv[i], "--cases") == 0 && i + 1 < argc) {
      cases = std::strtoull(argv[++i], nullptr, 10);
    } else if (std::strcmp(argv[i], "--only") == 0 && i + 1 < argc) {
      only = argv[++i];
    } else {
      return usage();
    }
  }
  if (!only.empty() && findExport(only) == nullptr) {
    std::fprintf(stderr, "equality: no export named %s\n", only.c_str());
    return 2;
  }
  std::string report;
  const eq::Library lib = eq::loadLibrary(argv[2], argv[3], &report);
  std::fputs(report.c_str(), stderr);
  FILE* f = std::fopen(argv[4], "wb");
  if (f == nullptr) {
    std::fprintf(stderr, "equality: cannot write %s\n", argv[4]);
    return 2;
  }
  std::fwrite(kMagic, 1, sizeof kMagic, f);
  Case c;
  Work work;
  const auto begin = std::chrono::steady_clock::now();
  for (const Export& e : eq::allExports()) {
    if (!only.empty() && only != e.name) {
      continue;
    }
    const auto t0 = std::chrono::steady_clock::now();
    const uint64_t seed = eq::fnv1a64(e.name);
    std::vector<uint64_t> hashes(cases);
    std::vector<uint8_t> classes(cases);
    uint64_t byClass[4] = {0, 0, 0, 0};
    Anomalies anomalies;
    for (uint64_t i = 0; i < cases; ++i) {
      hashes[i] = runCase(lib, e, seed, i, c, work, &classes[i], &anomalies);
      for (int k = 0; k < 4; ++k) {
        byClass[k] += (classes[i] >> k) & 1u;
      }
    }
    const uint32_t len = static_cast<uint32_t>(std::strlen(e.name));
    std::fwrite(&len, sizeof len, 1, f);
    std::fwrite(e.name, 1, len, f);
    std::fwrite(&cases, sizeof cases, 1, f);
    std::fwrite(hashes.data(), sizeof(uint64_t), hashes.size(), f);
    std::fwrite(classes.data(), 1, classes.size(), f);
    const double s = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
    const double pct = cases > 0 ? 100.0 / static_cast<double>(cases) : 0.0;
    std::fprintf(stderr,
                 "  %-34s %8" PRIu64 " cases %6.2f s   out/in %4.1f %%  out/out %4.1f %%  "
                 "in/in %4.1f %%  off-domain %4.1f %%\n",
                 e.name, cases, s, pct * byClass[1], pct * byClass[2], pct * byClass[0],
                 pct * byClass[3]);
    if (anomalies.stray > 0) {
      std::fprintf(stderr, "  %-34s %8" PRIu64 " cases wrote outside their buffers, first: case %" PRId64 "\n",
                   "", anomalies.stray, anomalies.firstStray);
    }
    if (anomalies.inputs > 0) {
      std::fprintf(stderr, "  %-34s %8" PRIu64 " cases wrote an input no output overlaps, first: case %" PRId64 "\n",
                   "", anomalies.inputs, anomalies.firstInput);
    }
  }
  const double total =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
  const double cpu = static_cast<double>(std::clock()) / CLOCKS_PER_SEC;
  std::fprintf(stderr, "dump: %.1f s wall, %.1f s CPU\n", total, cpu);
  return std::fclose(f) == 0 ? 0 : 2;
}

struct Record {
  std::vector<uint64_t> hashes;
  std::vector<uint8_t> classes;
};

bool readDump(const char* path, std::vector<std::string>* order, std::map<std::string, Record>* out) {
  FILE* f = std::fopen(path, "rb");
  char magic[8];
  if (f == nullptr || std::fread(magic, 1, 8, f) != 8 || std::memcmp(magic, kMagic, 8) != 0) {
    std::fprintf(stderr, "equality: %s is not a dump\n", path);
    if (f != nullptr) {
      std::fclose(f);
    }
    return false;
  }
  uint32_t len = 0;
  while (std::fread(&len, sizeof len, 1, f) == 1) {
    std::string name(len, '\0');
    uint64_t count = 0;
    if (len > 4096 || std::fread(&name[0], 1, len, f) != len ||
        std::fread(&count, sizeof count, 1, f) != 1 || count > (uint64_t{1} << 34)) {
      break;
    }
    Record r;
    r.hashes.resize(count);
    r.classes.resize(count);
    if (std::fread(r.hashes.data(), sizeof(uint64_t), count, f) != count ||
        std::fread(r.classes.data(), 1, count, f) != count) {
      std::fprintf(stderr, "equality: %s is truncated in %s\n", path, name.c_str());
      std::fclose(f);
      return false;
    }
    order->push_back(name);
    (*out)[name] = std::move(r);
  }
  std::fclose(f);
  return true;
}

int compare(int argc, char** argv) {
  if (argc != 4) {
    return usage();
  }
  std::vector<std::string> orderA;
  std::vector<std::string> orderB;
  std::map<std::string, Record> a;
  std::map<std::string, Record> b;
  if (!readDump(argv[2], &orderA, &a) || !readDump(argv[3], &orderB, &b)) {
    return 2;
  }
  std::vector<std::string> names = orderA;
  for (const std::string& n : orderB) {
    if (a.count(n) == 0) {
      names.push_back(n);
    }
  }
  bool ok = !names.empty();
  uint64_t totalCases = 0;
  uint64_t totalMismatches = 0;
  std::printf("%-34s %9s %10s %9s  %s\n", "export", "cases", "mismatches", "first",
              "mismatches by overlap class: plain in/in out/in out/out off-domain");
  for (const std::string& n : names) {
    const auto ia = a.find(n);
    const auto ib = b.find(n);
    if (ia == a.end() || ib == b.end()) {
      std::printf("%-34s missing in %s\n", n.c_str(), ia == a.end() ? "A" : "B");
      ok = false;
      continue;
    }
    const Record& ra = ia->second;
    const Record& rb = ib->second;
    const size_t count = std::min(ra.hashes.size(), rb.hashes.size());
    uint64_t mismatches = 0;
    int64_t first = -1;
    uint64_t byClass[5] = {0, 0, 0, 0, 0};
    bool classesDiffer = false;
    for (size_t i = 0; i < count; ++i) {
      classesDiffer = classesDiffer || ra.classes[i] != rb.classes[i];
      if (ra.hashes[i] != rb.hashes[i]) {
        ++mismatches;
        if (first < 0) {
          first = static_cast<int64_t>(i);
        }
        const uint8_t cls = ra.classes[i];
        if (cls == 0) {
          ++byClass[0];
        }
        for (int k = 0; k < 4; ++k) {
          if (cls & (1u << k)) {
            ++byClass[k + 1];
          }
        }
      }
    }
    char firstText[32] = "-";
    if (first >= 0) {
      std::snprintf(firstText, sizeof firstText, "%" PRId64, first);
    }
    std::printf("%-34s %9zu %10" PRIu64 " %9s  %" PRIu64 " %" PRIu64 " %" PRIu64 " %" PRIu64
                " %" PRIu64 "%s%s\n",
                n.c_str(), count, mismatches, firstText, byClass[0], byClass[1], byClass[2],
                byClass[3], byClass[4],
                ra.hashes.size() != rb.hashes.size() ? "  (case counts differ)" : "",
                classesDiffer ? "  (case layouts differ: different harness builds?)" : "");
    ok = ok && mismatches == 0 && ra.hashes.size() == rb.hashes.size() && !classesDiffer;
    totalCases += count;
    totalMismatches += mismatches;
  }
  std::printf("%-34s %9" PRIu64 " %10" PRIu64 "\n", "total", totalCases, totalMismatches);
  std::printf("%s\n", ok ? "EQUAL" : "DIFFERENT");
  return ok ? 0 : 1;
}

void printBuffer(const Case& c, int b, const unsigned char* after) {
  const eq::Buffer& buf = c.buffer(b);
  static const char* const kRole[] = {"unread", "in", "out", "in/out"};
  static const char* const kElem[] = {"double", "complex", "int32"};
  if (buf.null) {
    std::printf("%s: %s %s[%" PRId64 "] = null\n", buf.name.c_str(), kRole[buf.role],
                kElem[static_cast<int>(buf.elem)], buf.count);
    return;
  }
  std::printf("%s: %s %s[%" PRId64 "] at arena byte %" PRId64 "\n", buf.name.c_str(),
              kRole[buf.role], kElem[static_cast<int>(buf.elem)], buf.count, buf.off);
  const unsigned char* before = c.arena().data() + buf.off;
  const unsigned char* now = after + buf.off;
  if (buf.elem == eq::Elem::I32) {
    for (int64_t i = 0; i < buf.count; ++i) {
      int32_t x;
      int32_t y;
      std::memcpy(&x, before + 4 * i, 4);
      std::memcpy(&y, now + 4 * i, 4);
      std::printf("  [%" PRId64 "] %d -> %d%s\n", i, x, y, x != y ? "  *" : "");
    }
    return;
  }
  const int64_t doubles = buf.bytes() / 8;
  for (int64_t i = 0; i < doubles; ++i) {
    double x;
    double y;
    std::memcpy(&x, before + 8 * i, 8);
    std::memcpy(&y, now + 8 * i, 8);
    const bool changed = eq::toBits(x) != eq::toBits(y);
    if (buf.elem == eq::Elem::C128) {
      std::printf("  [%" PRId64 "].%s", i / 2, i % 2 == 0 ? "re" : "im");
    } else {
      std::printf("  [%" PRId64 "]", i);
    }
    std::printf(" %.17g (0x%016" PRIx64 ")", x, eq::toBits(x));
    if (changed) {
      std::printf(" -> %.17g (0x%016" PRIx64 ")  *", y, eq::toBits(y));
    }
    std::printf("\n");
  }
}

int show(int argc, char** argv) {
  if (argc != 6) {
    return usage();
  }
  const Export* e = findExport(argv[4]);
  if (e == nullptr) {
    std::fprintf(stderr, "equality: no export named %s\n", argv[4]);
    return 2;
  }
  const uint64_t index = std::strtoull(argv[5], nullptr, 10);
  std::string report;
  const eq::Library lib = eq::loadLibrary(argv[2], argv[3], &report);
  std::fputs(report.c_str(), stdout);
  eq::Rng rng(eq::fnv1a64(e->name), index);
  Case c;
  e->generate(rng, c);
  std::printf("%s case %" PRIu64 ", overlap class 0x%x (1 in/in, 2 out/in, 4 out/out, "
              "8 off-domain), arena %zu bytes\n",
              e->name, index, c.cls(), c.arena().size());
  for (const eq::Param& p : c.params()) {
    if (p.isReal) {
      std::printf("  %s = %.17g (0x%016" PRIx64 ")\n", p.name.c_str(), p.real,
                  eq::toBits(p.real));
    } else {
      std::printf("  %s = %" PRId64 "\n", p.name.c_str(), p.integer);
    }
  }
  Work work;
  unsigned char* arena = work.load(c);
  eq::Hasher h;
  std::printf("call:\n");
  std::fflush(stdout);
  eq::Outcome out(h, stdout);
  e->call(lib, c, arena, out);
  h.bytes(arena, c.arena().size());
  std::printf("buffers (value before the call -> after, * marks a change):\n");
  std::vector<bool> covered(c.arena().size(), false);
  for (size_t b = 0; b < c.buffers().size(); ++b) {
    printBuffer(c, static_cast<int>(b), arena);
    const eq::Buffer& buf = c.buffers()[b];
    for (int64_t k = 0; !buf.null && k < buf.bytes(); ++k) {
      covered[static_cast<size_t>(buf.off + k)] = true;
    }
  }
  size_t stray = 0;
  for (size_t k = 0; k < covered.size(); ++k) {
    if (!covered[k] && arena[k] != eq::kSentinel) {
      if (stray < 32) {
        std::printf("write outside every buffer at arena byte %zu: 0x%02x\n", k, arena[k]);
      }
      ++stray;
    }
  }
  std::printf("bytes written outside the buffers: %zu\nhash %016" PRIx64 "\n", stray, h.digest());
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    return usage();
  }
  const std::string mode = argv[1];
  if (mode == "dump") {
    return dump(argc, argv);
  }
  if (mode == "compare") {
    return compare(argc, argv);
  }
  if (mode == "show") {
    return show(argc, argv);
  }
  return usage();
}
