// Value pools of the equality harness (see values.h).
#include "values.h"

#include <cfloat>
#include <cmath>
#include <limits>

namespace eq {

namespace {

const uint64_t kSpecialBits[] = {
    0x0000000000000000ULL,  // +0.0
    0x8000000000000000ULL,  // -0.0
    0x7ff8000000000000ULL,  // quiet NaN
    0xfff8000000000000ULL,  // -quiet NaN
    0x7ff8000000000123ULL,  // quiet NaN with payload
    0xfffc00000000beefULL,  // -quiet NaN with payload
    0x7ff4000000000001ULL,  // signalling NaN
    0xfff0000000000007ULL,  // -signalling NaN
    0x7ff0000000000000ULL,  // +Inf
    0xfff0000000000000ULL,  // -Inf
    0x0000000000000001ULL,  // smallest subnormal
    0x8000000000000001ULL,  // -smallest subnormal
    0x000fffffffffffffULL,  // largest subnormal
    0x0010000000000000ULL,  // DBL_MIN
    0x7fefffffffffffffULL,  // DBL_MAX
    0xffefffffffffffffULL,  // -DBL_MAX
    0x3ff0000000000001ULL,  // 1 + eps
    0x3fefffffffffffffULL,  // 1 - eps/2
};

}  // namespace

double pickScale(Rng& rng) {
  const double u = rng.uniform();
  if (u < 0.6) {
    return 1.0;
  }
  if (u < 0.97) {
    return std::pow(10.0, rng.uniform(-8.0, 8.0));
  }
  return std::pow(10.0, rng.uniform(-300.0, 300.0));
}

Profile pickProfile(Rng& rng, double scale) {
  Profile p;
  p.scale = scale;
  const double u = rng.uniform();
  if (u < 0.55) {
    p.integer = 0.03;
    p.repeat = 0.03;
  } else if (u < 0.85) {
    p.special = 0.04;
    p.integer = 0.15;
    p.repeat = 0.1;
  } else {
    p.special = 0.3;
    p.integer = 0.2;
    p.repeat = 0.15;
  }
  return p;
}

double specialValue(Rng& rng) {
  const uint64_t count = sizeof kSpecialBits / sizeof kSpecialBits[0];
  const uint64_t k = rng.next() % (count + 3);
  if (k < count) {
    return fromBits(kSpecialBits[k]);
  }
  if (k == count) {  // a random subnormal
    return rng.sign() * fromBits(rng.next() & 0x000fffffffffffffULL);
  }
  if (k == count + 1) {
    return rng.sign() * 1e-300;
  }
  return rng.sign() * 1e300;
}

double nanValue(Rng& rng) {
  static const uint64_t kNaN[] = {0x7ff8000000000000ULL, 0xfff8000000000000ULL,
                                  0x7ff8000000000123ULL, 0xfffc00000000beefULL,
                                  0x7ff4000000000001ULL, 0xfff0000000000007ULL};
  return fromBits(kNaN[rng.next() % (sizeof kNaN / sizeof kNaN[0])]);
}

double drawValue(Rng& rng, const Profile& profile, double previous) {
  const double u = rng.uniform();
  if (u < profile.special) {
    return specialValue(rng);
  }
  if (u < profile.special + profile.integer) {
    const double k = static_cast<double>(rng.between(-8, 8));
    return profile.positive ? std::fabs(k) : k;
  }
  if (u < profile.special + profile.integer + profile.repeat) {
    return previous;
  }
  const double v = rng.uniform() * profile.scale;
  return profile.positive ? v : rng.sign() * v;
}

std::vector<double> drawVector(Rng& rng, int64_t n, const Profile& profile) {
  std::vector<double> v(static_cast<size_t>(n > 0 ? n : 0));
  double previous = 1.0;
  for (double& x : v) {
    x = drawValue(rng, profile, previous);
    previous = x;
  }
  return v;
}

std::vector<double> drawComplex(Rng& rng, int64_t n, const Profile& profile) {
  return drawVector(rng, n > 0 ? 2 * n : 0, profile);
}

int32_t drawCount(Rng& rng, int32_t typical, int32_t large, double negative) {
  if (rng.chance(negative)) {
    const int64_t k = rng.between(0, 9);
    return k == 0 ? std::numeric_limits<int32_t>::min() : static_cast<int32_t>(-k);
  }
  const double u = rng.uniform();
  if (u < 0.12) {
    return 0;
  }
  if (u < 0.24) {
    return 1;
  }
  if (u < 0.34) {
    return static_cast<int32_t>(rng.between(2, 3));
  }
  if (u < 0.9 || large <= typical) {
    return static_cast<int32_t>(rng.between(4, typical));
  }
  return static_cast<int32_t>(rng.between(typical + 1, large));
}

std::vector<double> ascending(Rng& rng, int64_t n, double start, double span, bool duplicates) {
  std::vector<double> v(static_cast<size_t>(n > 0 ? n : 0));
  const double mean = n > 1 ? span / static_cast<double>(n - 1) : span;
  double x = start;
  for (size_t i = 0; i < v.size(); ++i) {
    v[i] = x;
    const bool same = duplicates && rng.chance(0.2);
    x += same ? 0.0 : mean * rng.uniform(0.2, 1.8);
  }
  return v;
}

void sprinkleSpecials(Rng& rng, std::vector<double>& values, double p) {
  for (double& x : values) {
    if (rng.chance(p)) {
      x = specialValue(rng);
    }
  }
}

double nearMultiple(Rng& rng, double step) {
  const double base = static_cast<double>(rng.between(-6, 6)) * step;
  switch (rng.between(0, 3)) {
    case 0:
      return base;
    case 1:
      return std::nextafter(base, rng.sign() * std::numeric_limits<double>::infinity());
    case 2:
      return base * (1.0 + rng.sign() * 1e-12 * rng.uniform());
    default:
      return base + rng.sign() * rng.uniform() * 1e-15;
  }
}

double param(Rng& rng, double lo, double hi, double pEdge, std::initializer_list<double> edges) {
  if (!rng.chance(pEdge)) {
    return rng.uniform(lo, hi);
  }
  if (edges.size() == 0 || rng.chance(0.25)) {
    return specialValue(rng);
  }
  return edges.begin()[rng.next() % edges.size()];
}

double drawEdgeWeight(Rng& rng) { return rng.chance(0.4) ? 2.0 : 0.0; }

int32_t drawOrder(Rng& rng, const OrderDraw& d) {
  const double u = rng.uniform();
  if (u < d.toSmall) {
    return static_cast<int32_t>(rng.between(1, d.smallMax));
  }
  if (u < d.toMedium) {
    return static_cast<int32_t>(rng.between(d.smallMax + 1, d.mediumMax));
  }
  if (u < d.toLarge) {
    return d.large;
  }
  const int32_t low[] = {0, -1, -d.negative, std::numeric_limits<int32_t>::min()};
  return low[rng.next() % 4];
}

std::vector<double> drawPassive(Rng& rng, int64_t n) {
  std::vector<double> s;
  for (int64_t i = 0; i < n; ++i) {
    const double mag = rng.uniform();
    const double ph = rng.uniform(-kPi, kPi);
    s.push_back(mag * std::cos(ph));
    s.push_back(mag * std::sin(ph));
  }
  return s;
}

std::vector<double> drawFrequencies(Rng& rng, int64_t n, double odd) {
  const double w = rng.uniform();
  const double start = w < 0.4 ? 0.0 : w < 0.7 ? rng.uniform(0, 1e9) : 10e6;
  std::vector<double> f = ascending(rng, n, start, rng.uniform(1e9, 100e9), rng.chance(0.05));
  if (rng.chance(odd)) {
    static const double kOdd[] = {-0.0, -4.9406564584124654e-324, -1e-300, -1.0, -1e9,
                                  std::numeric_limits<double>::quiet_NaN(),
                                  std::numeric_limits<double>::infinity(), 1e300, 1e-300,
                                  0x1.0p-52, 0x1.0p-53};
    for (double& x : f) {
      if (rng.chance(0.15)) {
        x = rng.chance(0.8) ? kOdd[rng.next() % (sizeof kOdd / sizeof kOdd[0])]
                            : specialValue(rng);
      }
    }
  }
  return f;
}

}  // namespace eq
