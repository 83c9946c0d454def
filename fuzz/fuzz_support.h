// Shared helpers of the libFuzzer targets in fuzz/.
//
// Every target calls the library through its public header, like a host:
//   - input buffers are malloc'd copies of exactly the length the call is
//     given (zero-length allocations for empty or "never read" buffers), so
//     AddressSanitizer reports any read past them; after the call each input
//     is compared with a shadow copy (inputs are only read);
//   - output buffers are malloc'd with the contract's length plus a trailing
//     guard region; the whole allocation is first filled with a byte pattern
//     and the guard is poisoned for ASan, so a write past the contract's
//     length is reported where it happens, and the guard is also compared
//     byte for byte after every call;
//   - an oracle that fails prints what was expected and aborts, which
//     libFuzzer records as a crash.
#pragma once

#include <sanitizer/asan_interface.h>

#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <vector>

#include "zefra/tdr_helpers.h"

namespace zfuzz {

// ---- Failure reporting ----------------------------------------------------

[[noreturn]] inline void fail(const char* format, ...) __attribute__((format(printf, 1, 2)));

[[noreturn]] inline void fail(const char* format, ...) {
  std::fputs("==ZEFRA-FUZZ== oracle failure: ", stderr);
  va_list args;
  va_start(args, format);
  std::vfprintf(stderr, format, args);
  va_end(args);
  std::fputc('\n', stderr);
  std::fflush(stderr);
  std::abort();
}

// Known findings of the current library can be set aside while fuzzing for
// new ones: ZEFRA_FUZZ_TOLERATE=id[,id...] makes the targets stop producing
// (or checking) the listed cases.  Unset, every case is exercised; the ids
// are listed in fuzz/README.md.
inline bool tolerated(const char* id) {
  static const char* const list = std::getenv("ZEFRA_FUZZ_TOLERATE");
  if (list == nullptr) {
    return false;
  }
  const size_t length = std::strlen(id);
  for (const char* at = list; *at != '\0';) {
    const char* comma = std::strchr(at, ',');
    const size_t token = comma != nullptr ? static_cast<size_t>(comma - at) : std::strlen(at);
    if (token == length && std::strncmp(at, id, length) == 0) {
      return true;
    }
    if (comma == nullptr) {
      break;
    }
    at = comma + 1;
  }
  return false;
}

inline uint64_t bitsOf(double v) {
  uint64_t b = 0;
  std::memcpy(&b, &v, sizeof b);
  return b;
}

inline double fromBits(uint64_t b) {
  double v = 0.0;
  std::memcpy(&v, &b, sizeof v);
  return v;
}

inline bool sameBits(double a, double b) { return bitsOf(a) == bitsOf(b); }

// Equal as numbers, or both NaN (the sign of zero and NaN payloads ignored).
inline bool sameValue(double a, double b) {
  return (std::isnan(a) && std::isnan(b)) || a == b;
}

inline bool isZero(const zefra_complex& c) { return c.re == 0.0 && c.im == 0.0; }

// ---- Input decoding -------------------------------------------------------

// docs/behaviour.md: a buffer whose count is 0 or negative is never read or
// written, so it may be null.  Empty input buffers are passed as null for
// about half of the inputs (bit 6 of the last byte), as zero-length
// allocations otherwise.
inline bool& nullForEmpty() {
  static bool value = false;
  return value;
}

class Input {
 public:
  Input(const uint8_t* data, size_t size) : data_(data), size_(size) {
    nullForEmpty() = size > 0 && (data[size - 1] & 0x40) != 0;
  }

  bool empty() const { return pos_ >= size_; }
  size_t remaining() const { return pos_ < size_ ? size_ - pos_ : 0; }

  uint8_t byte() { return pos_ < size_ ? data_[pos_++] : 0; }

  uint16_t u16() {
    const uint16_t lo = byte();
    return static_cast<uint16_t>(lo | (static_cast<uint16_t>(byte()) << 8));
  }

  uint32_t u32() {
    uint32_t v = 0;
    for (int i = 0; i < 4; ++i) {
      v |= static_cast<uint32_t>(byte()) << (8 * i);
    }
    return v;
  }

  uint64_t u64() {
    uint64_t v = 0;
    for (int i = 0; i < 8; ++i) {
      v |= static_cast<uint64_t>(byte()) << (8 * i);
    }
    return v;
  }

  int32_t i32() { return static_cast<int32_t>(u32()); }

  bool flag() { return (byte() & 1) != 0; }

  // A count in [0, max], small values most likely.
  int32_t count(int32_t max) {
    const uint8_t kind = byte();
    int32_t v = 0;
    if (kind < 128) {
      v = kind & 15;
    } else if (kind < 224) {
      v = u16() & 0x3f;
    } else {
      v = static_cast<int32_t>(u16());
    }
    return max <= 0 ? 0 : v % (max + 1);
  }

  // A count that is not a valid one: 0, negative, or one of the extremes.
  int32_t badCount() {
    switch (byte() % 8) {
      case 0: return 0;
      case 1: return -1;
      case 2: return -2;
      case 3: return std::numeric_limits<int32_t>::min();
      case 4: return -static_cast<int32_t>(u16() & 0x7fff) - 1;
      case 5: return std::numeric_limits<int32_t>::min() + 1;
      case 6: return -static_cast<int32_t>(u32() & 0x7fffffff);
      default: return 0;
    }
  }

  // A double: ordinary numbers, the special values (NaN with several
  // payloads and signs, infinities, subnormals, -0.0, extremes) and raw bits.
  double value() {
    const uint8_t kind = byte();
    if (kind < 96) {
      // Small integers and binary fractions.
      const auto mantissa = static_cast<int16_t>(u16());
      const int shift = byte() % 24;
      return std::ldexp(static_cast<double>(mantissa), -shift);
    }
    if (kind < 160) {
      return special(byte());
    }
    if (kind < 208) {
      // Any magnitude.
      const auto mantissa = static_cast<int32_t>(u32());
      const int exponent = static_cast<int>(static_cast<int8_t>(byte())) * 8;
      return std::ldexp(static_cast<double>(mantissa), exponent);
    }
    return fromBits(u64());
  }

  // As value(), never NaN or infinite.
  double finite() {
    const double v = value();
    return std::isfinite(v) ? v : 0.0;
  }

  // A finite value in [lo, hi].
  double inRange(double lo, double hi) {
    const double t = static_cast<double>(u32()) / 4294967295.0;
    const double v = lo + (hi - lo) * t;
    return std::min(std::max(v, lo), hi);
  }

  static double special(uint8_t which) {
    static const uint64_t kBits[] = {
        0x0000000000000000ull,  // +0
        0x8000000000000000ull,  // -0
        0x7ff8000000000000ull,  // quiet NaN
        0xfff8000000000000ull,  // negative quiet NaN
        0x7ff8000000000123ull,  // NaN with a payload
        0x7ff0000000000001ull,  // signalling NaN
        0xfff4000000000abcull,  // negative signalling NaN with payload
        0x7ff0000000000000ull,  // +Inf
        0xfff0000000000000ull,  // -Inf
        0x0000000000000001ull,  // smallest subnormal
        0x8000000000000001ull,  // -smallest subnormal
        0x000fffffffffffffull,  // largest subnormal
        0x0010000000000000ull,  // DBL_MIN
        0x7fefffffffffffffull,  // DBL_MAX
        0xffefffffffffffffull,  // -DBL_MAX
        0x3ff0000000000000ull,  // 1
        0xbff0000000000000ull,  // -1
        0x3fe0000000000000ull,  // 0.5
        0x4000000000000000ull,  // 2
        0x3cb0000000000000ull,  // 2^-52
        0x3ca0000000000000ull,  // 2^-53
        0x400921fb54442d18ull,  // pi
        0x401921fb54442d18ull,  // 2 pi
        0x3fefffffffffffffull,  // 1 - 2^-53
        0x3ff0000000000001ull,  // 1 + 2^-52
        0x41dfffffffc00000ull,  // 2^31 - 1
        0x41e0000000000000ull,  // 2^31
        0x4340000000000000ull,  // 2^53
        0x7e37e43c8800759cull,  // 1e300
        0x01a56e1fc2f8f359ull,  // 1e-300
        0x41cdcd6500000000ull,  // 1e9
        0x3e112e0be826d695ull,  // 1e-9
    };
    constexpr size_t kCount = sizeof kBits / sizeof kBits[0];
    return fromBits(kBits[which % kCount]);
  }

 private:
  const uint8_t* data_;
  size_t size_;
  size_t pos_ = 0;
};

// ---- Buffers ------------------------------------------------------------------

// An input buffer of exactly n elements (n <= 0: a zero-length allocation,
// which ASan reports on any access).
template <typename T>
class InBuf {
 public:
  explicit InBuf(int32_t n) : n_(std::max(n, 0)) {
    p_ = static_cast<T*>(std::malloc(bytes()));
    if (p_ == nullptr && bytes() == 0) {
      p_ = static_cast<T*>(std::malloc(1));
    }
    if (p_ == nullptr) {
      std::abort();
    }
  }
  InBuf(const InBuf&) = delete;
  InBuf& operator=(const InBuf&) = delete;
  ~InBuf() { std::free(p_); }

  // The pointer passed to the library: null for an empty buffer when the
  // input says so.
  T* data() { return n_ == 0 && nullForEmpty() ? nullptr : p_; }
  const T* data() const { return n_ == 0 && nullForEmpty() ? nullptr : p_; }
  T& operator[](size_t i) { return p_[i]; }
  const T& operator[](size_t i) const { return p_[i]; }
  int32_t size() const { return n_; }
  size_t bytes() const { return static_cast<size_t>(n_) * sizeof(T); }

  // Records the contents; verify() later checks they were not written.
  void seal() {
    shadow_.assign(reinterpret_cast<const unsigned char*>(p_),
                   reinterpret_cast<const unsigned char*>(p_) + bytes());
  }
  void verify(const char* what) const {
    if (shadow_.size() != bytes() ||
        (bytes() != 0 && std::memcmp(shadow_.data(), p_, bytes()) != 0)) {
      fail("%s: an input buffer was modified", what);
    }
  }

 private:
  int32_t n_;
  T* p_ = nullptr;
  std::vector<unsigned char> shadow_;
};

inline constexpr size_t kGuardBytes = 64;
inline constexpr unsigned char kFill = 0xA5;

// An output buffer of n elements followed by a poisoned guard region; every
// byte starts as kFill.
template <typename T>
class OutBuf {
 public:
  explicit OutBuf(int64_t n) : n_(n > 0 ? static_cast<size_t>(n) : 0) {
    base_ = static_cast<unsigned char*>(std::malloc(bytes() + kGuardBytes));
    if (base_ == nullptr) {
      std::abort();
    }
    std::memset(base_, kFill, bytes() + kGuardBytes);
    ASAN_POISON_MEMORY_REGION(base_ + bytes(), kGuardBytes);
  }
  OutBuf(const OutBuf&) = delete;
  OutBuf& operator=(const OutBuf&) = delete;
  ~OutBuf() {
    ASAN_UNPOISON_MEMORY_REGION(base_ + bytes(), kGuardBytes);
    std::free(base_);
  }

  T* data() { return reinterpret_cast<T*>(base_); }
  const T* data() const { return reinterpret_cast<const T*>(base_); }
  T& operator[](size_t i) { return data()[i]; }
  const T& operator[](size_t i) const { return data()[i]; }
  size_t size() const { return n_; }
  size_t bytes() const { return n_ * sizeof(T); }

  // Aborts when the guard region was written.
  void checkGuard(const char* what) const {
    ASAN_UNPOISON_MEMORY_REGION(base_ + bytes(), kGuardBytes);
    for (size_t i = 0; i < kGuardBytes; ++i) {
      if (base_[bytes() + i] != kFill) {
        fail("%s: guard byte %zu past the %zu-element output was overwritten", what, i, n_);
      }
    }
    ASAN_POISON_MEMORY_REGION(base_ + bytes(), kGuardBytes);
  }

  // True when elements [from, to) still hold the fill pattern.
  bool untouched(size_t from, size_t to) const {
    to = std::min(to, n_);
    for (size_t b = from * sizeof(T); b < to * sizeof(T); ++b) {
      if (base_[b] != kFill) {
        return false;
      }
    }
    return true;
  }
  bool untouched() const { return untouched(0, n_); }

  void requireUntouched(const char* what, size_t from = 0) const {
    if (untouched(from, n_)) {
      return;
    }
    for (size_t i = from; i < n_; ++i) {
      if (!untouched(i, i + 1)) {
        fail("%s: element %zu of %zu was written where nothing may be", what, i, n_);
      }
    }
  }

 private:
  size_t n_;
  unsigned char* base_ = nullptr;
};

// Fills an input buffer with decoded values.
inline void fillValues(Input& in, InBuf<double>& buf) {
  for (int32_t i = 0; i < buf.size(); ++i) {
    buf[static_cast<size_t>(i)] = in.value();
  }
}

inline void fillValues(Input& in, InBuf<zefra_complex>& buf) {
  for (int32_t i = 0; i < buf.size(); ++i) {
    buf[static_cast<size_t>(i)] = {in.value(), in.value()};
  }
}

// Occasionally replaces one value with NaN or an infinity.
inline void sprinkleNonFinite(Input& in, InBuf<double>& buf) {
  if (buf.size() == 0) {
    return;
  }
  const uint8_t k = in.byte();
  if (k < 160) {
    return;
  }
  const auto at = static_cast<size_t>(in.u16() % static_cast<uint32_t>(buf.size()));
  buf[at] = Input::special(static_cast<uint8_t>(2 + k % 7));  // NaNs and infinities
}

template <typename T>
void requireAll(const OutBuf<T>& out, size_t count, bool (*pred)(const T&), const char* what,
                const char* expectation) {
  for (size_t i = 0; i < count; ++i) {
    if (!pred(out[i])) {
      fail("%s: element %zu is not %s", what, i, expectation);
    }
  }
}

inline bool isZeroDouble(const double& v) { return v == 0.0; }
inline bool isZeroComplex(const zefra_complex& v) { return isZero(v); }

}  // namespace zfuzz
