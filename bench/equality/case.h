// One generated case: the buffers of a call laid out in one arena, the scalar
// arguments, and the overlap class.
//
// Buffers are declared first (name, element type, documented count, role),
// optionally linked so that one starts a given number of bytes after another
// (the aliasing cases), then laid out: each group of linked buffers gets one
// region, every region is preceded by a 64-byte guard, the arena ends with a
// guard, and the whole arena is filled with the sentinel byte 0xA5 before the
// inputs are written.  After the call the whole arena is hashed, so untouched
// output slots, writes past the documented length and writes to inputs all
// change the hash.  The arena base is 64-byte aligned; buffer offsets are
// fixed by the case, so alignment is the same in every run.
#ifndef ZEFRA_EQUALITY_CASE_H
#define ZEFRA_EQUALITY_CASE_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "rng.h"

namespace eq {

constexpr unsigned char kSentinel = 0xA5;
constexpr int64_t kGuardBytes = 64;

enum class Elem : uint8_t { F64, C128, I32 };
inline int64_t elemBytes(Elem e) { return e == Elem::C128 ? 16 : e == Elem::F64 ? 8 : 4; }

enum Role : uint8_t { kUnread = 0, kIn = 1, kOut = 2, kInOut = 3 };

// Overlap classes of a case (bits), derived from the final layout, plus a
// flag the generator sets for inputs outside the documented domain.
enum ClassBit : uint8_t {
  kSharedInputs = 1,     // two inputs share memory
  kOutputOnInput = 2,    // an output shares memory with an input
  kOutputOnOutput = 4,   // two outputs share memory
  kOutsideDomain = 8,    // e.g. an unsorted table where ascending is required
};

struct Buffer {
  std::string name;
  Elem elem = Elem::F64;
  int64_t count = 0;  // elements (the documented length); <= 0 gives 0 bytes
  uint8_t role = kIn;
  bool null = false;
  int group = -1;
  int64_t rel = 0;    // offset within the group
  int64_t off = -1;   // offset in the arena
  bool filled = false;
  int64_t bytes() const { return count > 0 ? count * elemBytes(elem) : 0; }
};

struct Param {
  std::string name;
  bool isReal = true;
  double real = 0.0;
  int64_t integer = 0;
};

class Case {
 public:
  void reset();

  int add(const char* name, Elem elem, int64_t count, uint8_t role);
  void setNull(int b) { buffers_[static_cast<size_t>(b)].null = true; }
  // Places buffer a `shiftBytes` after the start of buffer b (negative:
  // before).  Ignored (false) when the two are already placed together.
  bool link(int a, int b, int64_t shiftBytes);
  // Assigns offsets, fills the arena with the sentinel, computes the
  // overlap class.  `misalign` shifts some regions by 8 bytes.
  void layout(Rng& rng, bool misalign = true);

  // Writes values (complex: interleaved pairs).  A buffer starting exactly
  // where an already filled buffer of the same element type starts shares
  // that buffer's contents and is not written again.
  void fill(int b, const std::vector<double>& values);
  void fillI32(int b, const std::vector<int32_t>& values);

  // Scalar arguments, pushed by the generator under the export's parameter
  // names (`show` prints them in this order) and read back by name by the
  // caller; reading a name never pushed is a harness bug and exits.
  void real(const char* name, double v) { params_.push_back({name, true, v, 0}); }
  void integer(const char* name, int64_t v) { params_.push_back({name, false, 0.0, v}); }
  double realParam(const char* name) const { return param(name).real; }
  int32_t i32Param(const char* name) const {
    return static_cast<int32_t>(param(name).integer);
  }

  void markOutsideDomain() { cls_ |= kOutsideDomain; }
  uint8_t cls() const { return cls_; }

  const std::vector<unsigned char>& arena() const { return arena_; }
  const std::vector<Buffer>& buffers() const { return buffers_; }
  const std::vector<Param>& params() const { return params_; }
  const Buffer& buffer(int b) const { return buffers_[static_cast<size_t>(b)]; }

  template <typename T>
  T* ptr(unsigned char* base, int b) const {
    const Buffer& buf = buffers_[static_cast<size_t>(b)];
    return buf.null ? nullptr : reinterpret_cast<T*>(base + buf.off);
  }
  // The values a buffer holds in the prepared arena (before the call).
  std::vector<double> initialValues(int b) const;

 private:
  const Param& param(const char* name) const;

  std::vector<Buffer> buffers_;
  std::vector<Param> params_;
  std::vector<unsigned char> arena_;
  int groups_ = 0;
  uint8_t cls_ = 0;
};

// Overlap plan of one case.  With probability outputOnInput an output is
// linked to an input (exactly, or a few elements in either direction),
// sometimes a second one too; with probability outputOnOutput two outputs
// are linked (with a single output: the output to an input); with
// probability sharedInputs two inputs are linked.  Classes are derived later
// from the actual layout (links can also bring buffers together
// transitively).
struct OverlapOdds {
  double outputOnInput = 0.18;
  double outputOnOutput = 0.05;
  double sharedInputs = 0.04;
};
void planOverlaps(Rng& rng, Case& c, const std::vector<int>& outputs,
                  const std::vector<int>& inputs, const OverlapOdds& odds = OverlapOdds{});

// The layout of an export with one input and one output: adds the input
// (n doubles) and the output (outCount elements of outElem), plans the
// overlaps of the output on the input and lays the case out.  Returns the
// input's index; the output's is the next one.
int layoutInputOutput(Rng& rng, Case& c, const char* input, int64_t n, const char* output,
                      int64_t outCount, Elem outElem = Elem::F64);

// 64-bit hash of bytes (word-wise multiply-rotate, murmur finaliser).
class Hasher {
 public:
  void bytes(const void* data, size_t n);
  void u64(uint64_t v) { bytes(&v, sizeof v); }
  uint64_t digest() const;

 private:
  void word(uint64_t w);
  uint64_t h_ = 0x243f6a8885a308d3ULL;
  uint64_t length_ = 0;
};

// What a call produced besides the arena: the return value, the count and
// contents of library-allocated arrays.  Everything goes into the hash; in
// `show` mode it is also printed.
class Outcome {
 public:
  explicit Outcome(Hasher& hasher, FILE* print) : hasher_(hasher), print_(print) {}
  void real(const char* name, double v);
  void flag(const char* name, bool v);
  void integer(const char* name, int64_t v);
  void array(const char* name, const double* values, int64_t count);

 private:
  Hasher& hasher_;
  FILE* print_;
};

}  // namespace eq

#endif
