// Case layout, overlap planning, hashing (see case.h).
#include "case.h"

#include <algorithm>
#include <cinttypes>
#include <cstdlib>
#include <cstring>

namespace eq {

void Case::reset() {
  buffers_.clear();
  params_.clear();
  arena_.clear();
  groups_ = 0;
  cls_ = 0;
}

int Case::add(const char* name, Elem elem, int64_t count, uint8_t role) {
  Buffer b;
  b.name = name;
  b.elem = elem;
  b.count = count;
  b.role = role;
  b.group = groups_++;
  buffers_.push_back(b);
  return static_cast<int>(buffers_.size() - 1);
}

bool Case::link(int a, int b, int64_t shiftBytes) {
  Buffer& ba = buffers_[static_cast<size_t>(a)];
  const Buffer& bb = buffers_[static_cast<size_t>(b)];
  if (a == b || ba.group == bb.group || ba.null || bb.null) {
    return false;
  }
  const int from = ba.group;
  const int to = bb.group;
  const int64_t delta = bb.rel + shiftBytes - ba.rel;
  for (Buffer& x : buffers_) {
    if (x.group == from) {
      x.rel += delta;
      x.group = to;
    }
  }
  return true;
}

void Case::layout(Rng& rng, bool misalign) {
  int64_t cursor = 0;
  std::vector<bool> done(static_cast<size_t>(groups_), false);
  for (const Buffer& first : buffers_) {
    if (first.null || done[static_cast<size_t>(first.group)]) {
      continue;
    }
    done[static_cast<size_t>(first.group)] = true;
    int64_t lo = INT64_MAX;
    int64_t hi = INT64_MIN;
    for (const Buffer& x : buffers_) {
      if (!x.null && x.group == first.group) {
        lo = std::min(lo, x.rel);
        hi = std::max(hi, x.rel + x.bytes());
      }
    }
    cursor += kGuardBytes;
    if (misalign && rng.chance(0.2)) {
      cursor += 8;
    }
    const int64_t base = cursor - lo;
    for (Buffer& x : buffers_) {
      if (!x.null && x.group == first.group) {
        x.off = base + x.rel;
      }
    }
    cursor = base + hi;
    cursor = (cursor + 15) / 16 * 16;
  }
  cursor += kGuardBytes;
  arena_.assign(static_cast<size_t>(cursor), kSentinel);

  for (size_t i = 0; i < buffers_.size(); ++i) {
    const Buffer& a = buffers_[i];
    if (a.null || a.bytes() == 0 || a.role == kUnread) {
      continue;
    }
    for (size_t j = i + 1; j < buffers_.size(); ++j) {
      const Buffer& b = buffers_[j];
      if (b.null || b.bytes() == 0 || b.role == kUnread) {
        continue;
      }
      if (a.off >= b.off + b.bytes() || b.off >= a.off + a.bytes()) {
        continue;
      }
      if ((a.role & kOut) && (b.role & kOut)) {
        cls_ |= kOutputOnOutput;
      }
      if (((a.role & kOut) && (b.role & kIn)) || ((b.role & kOut) && (a.role & kIn))) {
        cls_ |= kOutputOnInput;
      }
      if (a.role == kIn && b.role == kIn) {
        cls_ |= kSharedInputs;
      }
    }
  }
}

void Case::fill(int b, const std::vector<double>& values) {
  Buffer& buf = buffers_[static_cast<size_t>(b)];
  buf.filled = true;
  if (buf.null) {
    return;
  }
  for (const Buffer& other : buffers_) {
    if (&other != &buf && other.filled && !other.null && other.off == buf.off &&
        other.elem == buf.elem && other.role != kOut) {
      return;  // shares the contents of a buffer written before
    }
  }
  const size_t n = std::min(values.size(), static_cast<size_t>(buf.bytes() / 8));
  if (n > 0) {
    std::memcpy(arena_.data() + buf.off, values.data(), n * sizeof(double));
  }
}

void Case::fillI32(int b, const std::vector<int32_t>& values) {
  Buffer& buf = buffers_[static_cast<size_t>(b)];
  buf.filled = true;
  if (buf.null) {
    return;
  }
  const size_t n = std::min(values.size(), static_cast<size_t>(buf.bytes() / 4));
  if (n > 0) {
    std::memcpy(arena_.data() + buf.off, values.data(), n * sizeof(int32_t));
  }
}

const Param& Case::param(const char* name) const {
  for (const Param& p : params_) {
    if (p.name == name) {
      return p;
    }
  }
  std::fprintf(stderr, "equality: the case has no parameter %s\n", name);
  std::exit(2);
}

std::vector<double> Case::initialValues(int b) const {
  const Buffer& buf = buffers_[static_cast<size_t>(b)];
  std::vector<double> v;
  if (buf.null) {
    return v;
  }
  if (buf.elem == Elem::I32) {
    for (int64_t i = 0; i < buf.count; ++i) {
      int32_t k;
      std::memcpy(&k, arena_.data() + buf.off + 4 * i, 4);
      v.push_back(k);
    }
    return v;
  }
  v.resize(static_cast<size_t>(buf.bytes() / 8));
  if (!v.empty()) {
    std::memcpy(v.data(), arena_.data() + buf.off, v.size() * sizeof(double));
  }
  return v;
}

namespace {

int pick(Rng& rng, const std::vector<int>& from) {
  return from[static_cast<size_t>(rng.next() % from.size())];
}

// Exactly on top half of the time, otherwise 1 to 4 elements (of the buffer
// linked to) later or earlier; sometimes half a complex element.
int64_t drawShift(Rng& rng, const Case& c, int a, int b) {
  if (rng.chance(0.5)) {
    return 0;
  }
  const bool mixed = c.buffer(a).elem == Elem::C128 || c.buffer(b).elem == Elem::C128;
  if (mixed && rng.chance(0.2)) {
    return rng.chance(0.5) ? 8 : -8;
  }
  const int64_t step = elemBytes(c.buffer(b).elem);
  return static_cast<int64_t>(rng.sign()) * rng.between(1, 4) * step;
}

}  // namespace

void planOverlaps(Rng& rng, Case& c, const std::vector<int>& outputs,
                  const std::vector<int>& inputs, const OverlapOdds& odds) {
  // Three disjoint bands of one uniform draw.  With a single output the
  // output-on-output band also puts the output on an input; a band that does
  // not apply otherwise (no output, one input) leaves its cases separate.
  const double u = rng.uniform();
  const bool canOutIn = !outputs.empty() && !inputs.empty();
  const double outOutFrom = odds.outputOnInput + (outputs.size() < 2 ? odds.outputOnOutput : 0.0);
  const double inInFrom = odds.outputOnInput + odds.outputOnOutput;
  if (u < outOutFrom) {
    if (!canOutIn) {
      return;
    }
    const int links = rng.chance(0.3) ? 2 : 1;
    for (int k = 0; k < links; ++k) {
      const int o = pick(rng, outputs);
      const int i = pick(rng, inputs);
      c.link(o, i, drawShift(rng, c, o, i));
    }
    return;
  }
  if (u < inInFrom) {
    if (outputs.size() < 2) {
      return;
    }
    const int o1 = pick(rng, outputs);
    int o2 = pick(rng, outputs);
    while (o2 == o1) {
      o2 = pick(rng, outputs);
    }
    c.link(o2, o1, drawShift(rng, c, o2, o1));
    if (canOutIn && rng.chance(0.3)) {
      const int o = pick(rng, outputs);
      const int i = pick(rng, inputs);
      c.link(o, i, drawShift(rng, c, o, i));
    }
    return;
  }
  if (inputs.size() > 1 && u < inInFrom + odds.sharedInputs) {
    const int i1 = pick(rng, inputs);
    int i2 = pick(rng, inputs);
    while (i2 == i1) {
      i2 = pick(rng, inputs);
    }
    c.link(i2, i1, drawShift(rng, c, i2, i1));
  }
}

int layoutInputOutput(Rng& rng, Case& c, const char* input, int64_t n, const char* output,
                      int64_t outCount, Elem outElem) {
  const int in = c.add(input, Elem::F64, n, kIn);
  const int out = c.add(output, outElem, outCount, kOut);
  planOverlaps(rng, c, {out}, {in});
  c.layout(rng);
  return in;
}

void Hasher::word(uint64_t w) {
  uint64_t k = w * 0x87c37b91114253d5ULL;
  k = (k << 31) | (k >> 33);
  k *= 0x4cf5ad432745937fULL;
  h_ ^= k;
  h_ = (h_ << 27) | (h_ >> 37);
  h_ = h_ * 5 + 0x52dce729;
}

void Hasher::bytes(const void* data, size_t n) {
  const auto* p = static_cast<const unsigned char*>(data);
  length_ += n;
  size_t i = 0;
  for (; i + 8 <= n; i += 8) {
    uint64_t w;
    std::memcpy(&w, p + i, 8);
    word(w);
  }
  if (i < n) {
    uint64_t w = 0x80ULL << (8 * (n - i));  // marks the tail length
    std::memcpy(&w, p + i, n - i);
    word(w);
  }
}

uint64_t Hasher::digest() const {
  uint64_t h = h_ ^ length_;
  h ^= h >> 33;
  h *= 0xff51afd7ed558ccdULL;
  h ^= h >> 33;
  h *= 0xc4ceb9fe1a85ec53ULL;
  h ^= h >> 33;
  return h;
}

void Outcome::real(const char* name, double v) {
  hasher_.u64(toBits(v));
  if (print_ != nullptr) {
    std::fprintf(print_, "  %s = %.17g (0x%016" PRIx64 ")\n", name, v, toBits(v));
  }
}

void Outcome::flag(const char* name, bool v) {
  const unsigned char byte = v ? 1 : 0;
  hasher_.bytes(&byte, 1);
  if (print_ != nullptr) {
    std::fprintf(print_, "  %s = %s\n", name, v ? "true" : "false");
  }
}

void Outcome::integer(const char* name, int64_t v) {
  hasher_.u64(static_cast<uint64_t>(v));
  if (print_ != nullptr) {
    std::fprintf(print_, "  %s = %" PRId64 "\n", name, v);
  }
}

void Outcome::array(const char* name, const double* values, int64_t count) {
  hasher_.u64(static_cast<uint64_t>(count));
  if (values != nullptr && count > 0) {
    hasher_.bytes(values, static_cast<size_t>(count) * sizeof(double));
  }
  if (print_ != nullptr) {
    std::fprintf(print_, "  %s [%" PRId64 "]%s\n", name, count,
                 values == nullptr ? " (null)" : "");
    for (int64_t i = 0; values != nullptr && i < count; ++i) {
      std::fprintf(print_, "    [%" PRId64 "] %.17g (0x%016" PRIx64 ")\n", i, values[i],
                   toBits(values[i]));
    }
  }
}

}  // namespace eq
