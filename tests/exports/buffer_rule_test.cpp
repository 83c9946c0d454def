// The buffer rule of every export, checked through the public interface:
// whatever memory the caller's buffers share, an export gives the bytes it
// gives with separate buffers, as if it read every input first and then
// wrote each output whole, in parameter order.
//
// Each export is described once (its buffers and a call).  A reference call
// on separate buffers, made twice with different fill bytes in the outputs,
// tells which output bytes the export writes (those equal in both runs) and
// their values.  Then every output is laid over every input -- exactly, one
// element further and one element earlier -- and, for the exports that
// declare several outputs of one length, over every other output; the whole
// arena must equal its initial bytes with the reference outputs written in
// parameter order.  Butterworth_TF and GetButterworthTF write H while they
// still read w, so H must not share memory with w; they are not listed.
// d_cpdf writes its two outputs index by index (centre i, then density i),
// so its outputs are laid over its inputs only.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "zefra/tdr_helpers.h"

namespace {

using Bytes = std::vector<unsigned char>;

struct Buffer {
  int64_t count;       // elements
  size_t elementSize;  // 8 (double) or 16 (zefra_complex)
  size_t bytes() const { return static_cast<size_t>(count) * elementSize; }
};

// How the values of one input are drawn.
enum class Fill { kNormal, kAscending, kUnit };

struct Export {
  std::string name;
  std::vector<Buffer> inputs;
  std::vector<Fill> fills;  // one per input
  std::vector<Buffer> outputs;
  bool outputsMayMeet;      // outputs may also overlap each other
  std::function<void(const std::vector<const void*>&, const std::vector<void*>&)> call;
};

template <typename T>
const T* in(const std::vector<const void*>& p, size_t k) {
  return static_cast<const T*>(p[k]);
}
template <typename T>
T* out(const std::vector<void*>& p, size_t k) {
  return static_cast<T*>(p[k]);
}

using C = zefra_complex;
constexpr int32_t kN = 9;   // points of most traces
constexpr int32_t kQ = 7;   // queries of the interpolation routines
constexpr Buffer D(int64_t n) { return {n, 8}; }
constexpr Buffer Z(int64_t n) { return {n, 16}; }

std::vector<Export> exportsWithBuffers() {
  using In = const std::vector<const void*>&;
  using Out = const std::vector<void*>&;
  const Fill N = Fill::kNormal;
  const Fill A = Fill::kAscending;
  std::vector<Export> all = {
      {"mod", {D(kN)}, {N}, {D(kN)}, false,
       [](In i, Out o) { mod(in<double>(i, 0), 0.7, out<double>(o, 0), kN); }},
      {"Kron", {D(3), D(4)}, {N, N}, {D(12)}, false,
       [](In i, Out o) { Kron(in<double>(i, 0), in<double>(i, 1), out<double>(o, 0), 3, 4); }},
      {"conv", {D(5), D(4)}, {N, N}, {D(8)}, false,
       [](In i, Out o) { conv(in<double>(i, 0), in<double>(i, 1), out<double>(o, 0), 5, 4); }},
      {"Filter", {D(3), D(2), D(kN)}, {N, N, N}, {D(kN)}, false,
       [](In i, Out o) {
         Filter(in<double>(i, 0), in<double>(i, 1), in<double>(i, 2), out<double>(o, 0), 3, 2, kN);
       }},
      {"Filter FIR", {D(3), D(1), D(kN)}, {N, N, N}, {D(kN)}, false,
       [](In i, Out o) {
         Filter(in<double>(i, 0), in<double>(i, 1), in<double>(i, 2), out<double>(o, 0), 3, 1, kN);
       }},
      {"unwrap", {D(kN)}, {N}, {D(kN)}, false,
       [](In i, Out o) { unwrap(in<double>(i, 0), out<double>(o, 0), kN); }},
      {"poly", {D(kN)}, {N}, {D(kN + 1)}, false,
       [](In i, Out o) { poly(in<double>(i, 0), out<double>(o, 0), kN); }},
      {"Polyval", {D(4), Z(kN)}, {N, N}, {Z(kN)}, false,
       [](In i, Out o) { Polyval(in<double>(i, 0), in<C>(i, 1), out<C>(o, 0), 4, kN); }},
      {"Polyfit", {D(kN), D(kN)}, {N, N}, {D(2)}, false,
       [](In i, Out o) {
         Polyfit(in<double>(i, 0), in<double>(i, 1), nullptr, out<double>(o, 0), kN, kN);
       }},
      {"erfcinv", {D(kN)}, {Fill::kUnit}, {D(kN)}, false,
       [](In i, Out o) { erfcinv(in<double>(i, 0), out<double>(o, 0), kN); }},
      {"interp1q_Linear", {D(kN), D(kN), D(kQ)}, {A, N, A}, {D(kQ)}, false,
       [](In i, Out o) {
         interp1q_Linear(in<double>(i, 0), in<double>(i, 1), in<double>(i, 2), out<double>(o, 0),
                         kN, kQ);
       }},
      {"interp_Linear_Extrap", {D(kN), D(kN), D(kQ)}, {A, N, A}, {D(kQ)}, false,
       [](In i, Out o) {
         interp_Linear_Extrap(in<double>(i, 0), in<double>(i, 1), in<double>(i, 2),
                              out<double>(o, 0), kN, kQ);
       }},
      {"interp1_Cubic", {D(kN), D(kN), D(kQ)}, {A, N, A}, {D(kQ)}, false,
       [](In i, Out o) {
         interp1_Cubic(in<double>(i, 0), in<double>(i, 1), in<double>(i, 2), out<double>(o, 0),
                       kN, kQ);
       }},
      {"interp_Linear_Extrap_Complex", {D(kN), Z(kN), D(kQ)}, {A, N, A}, {Z(kQ)}, false,
       [](In i, Out o) {
         interp_Linear_Extrap_Complex(in<double>(i, 0), in<C>(i, 1), in<double>(i, 2),
                                      out<C>(o, 0), kN, kQ);
       }},
      {"zefra_linearInterp_c", {D(kN), Z(kN), D(kQ)}, {A, N, A}, {Z(kQ)}, false,
       [](In i, Out o) {
         zefra_linearInterp_c(in<double>(i, 0), in<C>(i, 1), in<double>(i, 2), out<C>(o, 0), kN,
                              kQ);
       }},
      {"interp_Sparam", {Z(kN), D(kN), D(kQ)}, {N, A, A}, {Z(kQ)}, false,
       [](In i, Out o) {
         interp_Sparam(in<C>(i, 0), in<double>(i, 1), kN, in<double>(i, 2), kQ, out<C>(o, 0));
       }},
      {"td_ctle", {D(kN)}, {N}, {D(kN)}, false,
       [](In i, Out o) {
         td_ctle(in<double>(i, 0), out<double>(o, 0), kN, 28e9, 3e9, 7e9, 28e9, 6.0, 4.0);
       }},
      {"synth_tline", {D(kN), D(3)}, {A, N}, {Z(kN), Z(kN), Z(kN), Z(kN)}, true,
       [](In i, Out o) {
         synth_tline(in<double>(i, 0), kN, 45.0, 50.0, in<double>(i, 1), 3, 0.15, 0.8,
                     out<C>(o, 0), out<C>(o, 1), out<C>(o, 2), out<C>(o, 3));
       }},
      {"makePackage", {D(kN), D(3)}, {A, N}, {Z(kN), Z(kN), Z(kN), Z(kN)}, true,
       [](In i, Out o) {
         makePackage(in<double>(i, 0), kN, 0.5, 0.2e-12, 0.3e-12, 45.0, 0.15, in<double>(i, 1), 3,
                     50.0, 0.1e-9, 0.1e-12, out<C>(o, 0), out<C>(o, 1), out<C>(o, 2),
                     out<C>(o, 3));
       }},
      {"floatingDFE", {D(24)}, {N}, {D(4), D(24), D(24)}, true,
       [](In i, Out o) {
         floatingDFE(in<double>(i, 0), 24, 3.0, 2.0, 2.0, 20.0, 0.5, 1.0, 0, out<double>(o, 0),
                     out<double>(o, 1), out<double>(o, 2));
       }},
      {"d_cpdf", {D(kN), D(kN)}, {Fill::kUnit, Fill::kUnit}, {D(64), D(64)}, false,
       [](In i, Out o) {
         double offset = 0.0;
         double width = 0.0;
         d_cpdf(in<double>(i, 0), in<double>(i, 1), out<double>(o, 0), out<double>(o, 1), kN, kN,
                5, 0.1, &offset, &width);
       }},
  };
  std::vector<Export> combine = {
      {"combineS4p", std::vector<Buffer>(8, Z(kN)), std::vector<Fill>(8, N),
       {Z(kN), Z(kN), Z(kN), Z(kN)}, true, [](In i, Out o) {
         combineS4p(in<C>(i, 0), in<C>(i, 1), in<C>(i, 2), in<C>(i, 3), in<C>(i, 4), in<C>(i, 5),
                    in<C>(i, 6), in<C>(i, 7), kN, out<C>(o, 0), out<C>(o, 1), out<C>(o, 2),
                    out<C>(o, 3));
       }}};
  all.insert(all.end(), combine.begin(), combine.end());
  return all;
}

Bytes inputBytes(const Buffer& b, Fill fill, std::mt19937_64& rng) {
  std::vector<double> v(b.bytes() / 8);
  std::normal_distribution<double> normal(0.0, 0.4);
  std::uniform_real_distribution<double> unit(0.02, 0.98);
  double running = 0.0;
  for (double& x : v) {
    if (fill == Fill::kNormal) {
      x = normal(rng);
    } else if (fill == Fill::kUnit) {
      x = unit(rng);
    } else {
      running += unit(rng);  // ascending, one or so apart
      x = running;
    }
  }
  Bytes bytes(b.bytes());
  std::memcpy(bytes.data(), v.data(), bytes.size());
  return bytes;
}

// Where each buffer starts in the arena, in bytes: inputs first, then
// outputs, each followed by a gap longer than any output, so that a moved
// output meets only the buffer it is laid over.
struct Layout {
  std::vector<size_t> inputs;
  std::vector<size_t> outputs;
  size_t size = 0;
};

constexpr size_t kGap = 1024;

Layout separate(const Export& e) {
  Layout l;
  for (const Buffer& b : e.inputs) {
    l.inputs.push_back(l.size);
    l.size += b.bytes() + kGap;
  }
  for (const Buffer& b : e.outputs) {
    l.outputs.push_back(l.size);
    l.size += b.bytes() + kGap;
  }
  return l;
}

// Runs the export on an arena of 8-aligned bytes laid out by `l`, with the
// inputs copied in and every other byte set to `fill`; returns the arena.
Bytes run(const Export& e, const Layout& l, const std::vector<Bytes>& inputs, unsigned char fill) {
  std::vector<double> storage(l.size / 8 + 2);
  auto* arena = reinterpret_cast<unsigned char*>(storage.data());
  std::memset(arena, fill, l.size);
  for (size_t k = 0; k < inputs.size(); ++k) {
    std::memcpy(arena + l.inputs[k], inputs[k].data(), inputs[k].size());
  }
  std::vector<const void*> in;
  std::vector<void*> out;
  for (size_t s : l.inputs) in.push_back(arena + s);
  for (size_t s : l.outputs) out.push_back(arena + s);
  e.call(in, out);
  return Bytes(arena, arena + l.size);
}

struct Written {
  Bytes value;
  std::vector<bool> mask;
};

// What the export writes into each output, from two runs on separate
// buffers whose unwritten bytes differ.
std::vector<Written> reference(const Export& e, const std::vector<Bytes>& inputs) {
  const Layout l = separate(e);
  const Bytes a = run(e, l, inputs, 0xA5);
  const Bytes b = run(e, l, inputs, 0x5A);
  std::vector<Written> written;
  for (size_t k = 0; k < e.outputs.size(); ++k) {
    Written w;
    for (size_t j = 0; j < e.outputs[k].bytes(); ++j) {
      const size_t at = l.outputs[k] + j;
      w.value.push_back(a[at]);
      w.mask.push_back(a[at] == b[at]);
    }
    written.push_back(w);
  }
  for (size_t k = 0; k < inputs.size(); ++k) {
    EXPECT_EQ(0, std::memcmp(a.data() + l.inputs[k], inputs[k].data(), inputs[k].size()))
        << e.name << " wrote its input " << k;
  }
  return written;
}

// Runs the export with the output `moved` starting `shift` bytes from the
// start of buffer `anchor` and checks the whole arena.
void expectOverlapLikeSeparate(const Export& e, const std::vector<Bytes>& inputs,
                               const std::vector<Written>& written, size_t moved, size_t anchor,
                               long shift, const std::string& what) {
  Layout l = separate(e);
  l.outputs[moved] = static_cast<size_t>(static_cast<long>(anchor) + shift);
  const Bytes got = run(e, l, inputs, 0xA5);
  // Expected: the initial arena, then each output's written bytes in order.
  Bytes expected(l.size, 0xA5);
  for (size_t k = 0; k < inputs.size(); ++k) {
    std::memcpy(expected.data() + l.inputs[k], inputs[k].data(), inputs[k].size());
  }
  for (size_t k = 0; k < written.size(); ++k) {
    for (size_t j = 0; j < written[k].value.size(); ++j) {
      if (written[k].mask[j]) {
        expected[l.outputs[k] + j] = written[k].value[j];
      }
    }
  }
  for (size_t j = 0; j < l.size; ++j) {
    if (expected[j] != got[j]) {
      ADD_FAILURE() << e.name << ", " << what << ": first differing byte " << j;
      return;
    }
  }
}

TEST(BufferRule, EveryExportGivesTheBitsOfSeparateBuffersWhateverItsBuffersShare) {
  for (const Export& e : exportsWithBuffers()) {
    std::mt19937_64 rng(std::hash<std::string>{}(e.name) & 0xFFFF);
    for (int trial = 0; trial < 3; ++trial) {
      std::vector<Bytes> inputs;
      for (size_t k = 0; k < e.inputs.size(); ++k) {
        inputs.push_back(inputBytes(e.inputs[k], e.fills[k], rng));
      }
      const std::vector<Written> written = reference(e, inputs);
      const Layout l = separate(e);
      for (size_t o = 0; o < e.outputs.size(); ++o) {
        const long element = static_cast<long>(e.outputs[o].elementSize);
        for (long shift : {0L, element, -element}) {
          for (size_t i = 0; i < e.inputs.size(); ++i) {
            if (static_cast<long>(l.inputs[i]) + shift < 0) continue;
            expectOverlapLikeSeparate(e, inputs, written, o, l.inputs[i], shift,
                                      "output " + std::to_string(o) + " on input " +
                                          std::to_string(i) + " shifted " +
                                          std::to_string(shift));
          }
          for (size_t p = 0; e.outputsMayMeet && p < e.outputs.size(); ++p) {
            if (p == o) continue;
            expectOverlapLikeSeparate(e, inputs, written, o, l.outputs[p], shift,
                                      "output " + std::to_string(o) + " on output " +
                                          std::to_string(p) + " shifted " +
                                          std::to_string(shift));
          }
        }
      }
    }
  }
}

}  // namespace
