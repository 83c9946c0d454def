// Deterministic random streams for the equality harness.
//
// Case i of export E draws from xoshiro256** seeded, through splitmix64, with
// fnv1a64(E) and i.  A case is therefore regenerated on its own (the `show`
// mode needs no replay of earlier cases), and every run, on every machine,
// sees the same inputs.  Only integer arithmetic is used to draw; doubles are
// formed from 53 random bits.
#ifndef ZEFRA_EQUALITY_RNG_H
#define ZEFRA_EQUALITY_RNG_H

#include <cstdint>
#include <cstring>

namespace eq {

inline uint64_t fnv1a64(const char* text) {
  uint64_t h = 0xcbf29ce484222325ULL;
  for (const char* p = text; *p != '\0'; ++p) {
    h ^= static_cast<unsigned char>(*p);
    h *= 0x100000001b3ULL;
  }
  return h;
}

inline uint64_t splitmix64(uint64_t& state) {
  uint64_t z = (state += 0x9e3779b97f4a7c15ULL);
  z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9ULL;
  z = (z ^ (z >> 27)) * 0x94d049bb133111ebULL;
  return z ^ (z >> 31);
}

class Rng {
 public:
  Rng(uint64_t exportSeed, uint64_t caseIndex) {
    uint64_t state = exportSeed ^ (caseIndex * 0xd1342543de82ef95ULL);
    for (uint64_t& word : s_) {
      word = splitmix64(state);
    }
  }

  uint64_t next() {
    const uint64_t result = rotl(s_[1] * 5, 7) * 9;
    const uint64_t t = s_[1] << 17;
    s_[2] ^= s_[0];
    s_[3] ^= s_[1];
    s_[1] ^= s_[2];
    s_[0] ^= s_[3];
    s_[2] ^= t;
    s_[3] = rotl(s_[3], 45);
    return result;
  }

  // Uniform in [0, 1).
  double uniform() { return static_cast<double>(next() >> 11) * 0x1.0p-53; }
  double uniform(double lo, double hi) { return lo + (hi - lo) * uniform(); }
  // Uniform integer in [lo, hi].
  int64_t between(int64_t lo, int64_t hi) {
    const uint64_t span = static_cast<uint64_t>(hi - lo) + 1;
    return lo + static_cast<int64_t>(span == 0 ? next() : next() % span);
  }
  bool chance(double p) { return uniform() < p; }
  double sign() { return (next() >> 63) != 0 ? -1.0 : 1.0; }

 private:
  static uint64_t rotl(uint64_t x, int k) { return (x << k) | (x >> (64 - k)); }
  uint64_t s_[4];
};

inline double fromBits(uint64_t bits) {
  double v;
  std::memcpy(&v, &bits, sizeof v);
  return v;
}

inline uint64_t toBits(double v) {
  uint64_t bits;
  std::memcpy(&bits, &v, sizeof bits);
  return bits;
}

}  // namespace eq

#endif
