// Cases for mod, Kron, conv, Filter, unwrap and erfcinv.
//
// mod: integer divisors (incl. +-Inf and 2^53), 2 pi, +-pi, 0, -0, NaN,
// fractions; x near multiples of the divisor.  Kron/conv: counts 0, 1,
// negative, and (Kron) a product past 2^31 - 1.  Filter: a[0] of 1, 0, NaN,
// 2, -0.5; na = 0; the FIR path (na = 1, nx >= 2 nb) and the recursive one.
// unwrap: random walks with steps up to several pi, exact and near multiples
// of pi, NaN and exact 0.0 samples, large offsets.  erfcinv: (0, 2), values
// near 0 down to subnormals, near 2, exactly 0, 1, 2, outside.  Every output
// also runs on top of its inputs (exactly or a few elements off).
#include <cmath>
#include <limits>

#include "exports.h"
#include "values.h"

namespace eq {

namespace {

// ---- mod --------------------------------------------------------------------

double drawDivisor(Rng& rng) {
  const double u = rng.uniform();
  if (u < 0.25) {
    static const double kInt[] = {1, 2, 3, -2, 7, 360, -1, 1e15, 0x1.0p53, 10};
    return kInt[rng.next() % (sizeof kInt / sizeof kInt[0])];
  }
  if (u < 0.45) {
    static const double kPiLike[] = {2 * kPi, kPi, -kPi, 2 * kPi + 4.440892098500626e-16, 0.1};
    return kPiLike[rng.next() % (sizeof kPiLike / sizeof kPiLike[0])];
  }
  if (u < 0.52) {
    return rng.chance(0.5) ? 0.0 : -0.0;
  }
  if (u < 0.57) {
    return rng.sign() * kInf;
  }
  if (u < 0.60) {
    return nanValue(rng);
  }
  if (u < 0.63) {
    return specialValue(rng);
  }
  return rng.sign() * rng.uniform(0.01, 1.0) * pickScale(rng);
}

void generateMod(Rng& rng, Case& c) {
  const int32_t n = drawCount(rng, 64, 400, 0.04);
  const int bx = layoutInputOutput(rng, c, "x", n, "y", n);
  const double m = drawDivisor(rng);
  const double base = std::isfinite(m) && m != 0.0 ? std::fabs(m) : 1.0;
  Profile profile = pickProfile(rng, base * (rng.chance(0.5) ? 10.0 : 1e6));
  std::vector<double> x = drawVector(rng, n, profile);
  if (rng.chance(0.4)) {
    for (double& e : x) {
      if (rng.chance(0.7)) {
        e = nearMultiple(rng, base);
      }
    }
  }
  c.fill(bx, x);
  c.real("m", m);
  c.integer("n", n);
}

void callMod(const Library& lib, const Case& c, unsigned char* a, Outcome&) {
  lib.mod(c.ptr<const double>(a, 0), c.realParam("m"), c.ptr<double>(a, 1), c.i32Param("n"));
}

// ---- Kron, conv ---------------------------------------------------------------

// Inputs a (na values) and b (nb values) from one profile, output y of ny.
void generateTwoInOne(Rng& rng, Case& c, int32_t na, int32_t nb, int64_t ny) {
  const int ba = c.add("a", Elem::F64, na, kIn);
  const int bb = c.add("b", Elem::F64, nb, kIn);
  const int by = c.add("y", Elem::F64, ny, kOut);
  planOverlaps(rng, c, {by}, {ba, bb});
  c.layout(rng);
  const Profile profile = pickProfile(rng, pickScale(rng));
  c.fill(ba, drawVector(rng, na, profile));
  c.fill(bb, drawVector(rng, nb, profile));
  c.integer("na", na);
  c.integer("nb", nb);
}

void generateKron(Rng& rng, Case& c) {
  int32_t na = drawCount(rng, 16, 40, 0.04);
  int32_t nb = drawCount(rng, 16, 40, 0.04);
  if (rng.chance(0.002)) {  // na * nb = 2147488281 > 2^31 - 1: nothing written
    na = 46341;
    nb = 46341;
  }
  const int64_t product = na > 0 && nb > 0 ? int64_t{na} * nb : 0;
  generateTwoInOne(rng, c, na, nb, product <= std::numeric_limits<int32_t>::max() ? product : 0);
}

template <TwoInOne Library::*Fn>
void callTwoInOne(const Library& lib, const Case& c, unsigned char* a, Outcome&) {
  (lib.*Fn)(c.ptr<const double>(a, 0), c.ptr<const double>(a, 1), c.ptr<double>(a, 2),
            c.i32Param("na"), c.i32Param("nb"));
}

void generateConv(Rng& rng, Case& c) {
  const int32_t na = drawCount(rng, 48, 200, 0.05);
  const int32_t nb = drawCount(rng, 48, 200, 0.05);
  const int64_t sum = int64_t{na} + nb;
  // Documented output length: na + nb zeros when one input is empty,
  // otherwise na + nb - 1 (zeros when a count is negative).
  generateTwoInOne(rng, c, na, nb,
                   (na == 0 || nb == 0) ? (sum > 0 ? sum : 0) : (sum - 1 > 0 ? sum - 1 : 0));
}

// ---- Filter -------------------------------------------------------------------

void generateFilter(Rng& rng, Case& c) {
  int32_t nb = drawCount(rng, 8, 24, 0.04);
  int32_t na = drawCount(rng, 6, 12, 0.04);
  int32_t nx = drawCount(rng, 64, 400, 0.04);
  if (rng.chance(0.25)) {
    na = 1;  // FIR path when the signal is long enough
    if (rng.chance(0.7) && nb > 0 && nx < 2 * nb) {
      nx = 2 * nb + static_cast<int32_t>(rng.between(0, 40));
    }
  }
  const int bb = c.add("b", Elem::F64, nb, kIn);
  const int ba = c.add("a", Elem::F64, na, kIn);
  const int bx = c.add("x", Elem::F64, nx, kIn);
  const int by = c.add("y", Elem::F64, nx, kOut);
  planOverlaps(rng, c, {by}, {bb, ba, bx});
  c.layout(rng);
  std::vector<double> b;
  std::vector<double> a;
  if (rng.chance(0.8)) {
    for (int32_t k = 0; k < nb; ++k) {
      b.push_back(rng.chance(0.1) ? static_cast<double>(rng.between(-2, 2)) : rng.uniform(-1, 1));
    }
    for (int32_t k = 0; k < na; ++k) {
      a.push_back(rng.uniform(-0.5, 0.5) / (k + 1));
    }
  } else {
    const Profile profile = pickProfile(rng, pickScale(rng));
    b = drawVector(rng, nb, profile);
    a = drawVector(rng, na, profile);
  }
  if (!a.empty()) {
    static const double kLead[] = {1.0, 1.0, 1.0, 0.0, 2.0, -0.5, 4.0};
    const double u = rng.uniform();
    a[0] = u < 0.85 ? kLead[rng.next() % 7] : u < 0.92 ? nanValue(rng) : rng.uniform(-3, 3);
  }
  c.fill(bb, b);
  c.fill(ba, a);
  c.fill(bx, drawVector(rng, nx, pickProfile(rng, pickScale(rng))));
  c.integer("nb", nb);
  c.integer("na", na);
  c.integer("nx", nx);
}

void callFilter(const Library& lib, const Case& c, unsigned char* a, Outcome&) {
  lib.Filter(c.ptr<const double>(a, 0), c.ptr<const double>(a, 1), c.ptr<const double>(a, 2),
             c.ptr<double>(a, 3), c.i32Param("nb"), c.i32Param("na"), c.i32Param("nx"));
}

// ---- unwrap, erfcinv ------------------------------------------------------------

std::vector<double> drawPhases(Rng& rng, int32_t n) {
  std::vector<double> x;
  const double u = rng.uniform();
  if (u < 0.5) {
    static const double kStep[] = {0.5, kPi, 2 * kPi, 3 * kPi, 10.0};
    const double step = kStep[rng.next() % 5];
    double v = rng.uniform(-kPi, kPi) * static_cast<double>(rng.between(1, 4));
    for (int32_t i = 0; i < n; ++i) {
      x.push_back(v);
      v += rng.chance(0.1) ? rng.sign() * kPi : rng.uniform(-1, 1) * step;
    }
  } else if (u < 0.7) {
    for (int32_t i = 0; i < n; ++i) {
      x.push_back(nearMultiple(rng, kPi));
    }
  } else {
    x = drawVector(rng, n, pickProfile(rng, rng.chance(0.5) ? 10.0 : pickScale(rng)));
  }
  if (rng.chance(0.2)) {
    for (double& e : x) {
      if (rng.chance(0.1)) {
        e = rng.chance(0.5) ? 0.0 : nanValue(rng);
      }
    }
  }
  if (rng.chance(0.1)) {
    const double offset = rng.sign() * 1e10;
    for (double& e : x) {
      e += offset;
    }
  }
  return x;
}

std::vector<double> drawErfcArguments(Rng& rng, int32_t n) {
  std::vector<double> x;
  const Profile profile = pickProfile(rng, 2.0);
  for (int32_t i = 0; i < n; ++i) {
    const double u = rng.uniform();
    if (u < 0.5) {
      x.push_back(rng.uniform(0, 2));
    } else if (u < 0.6) {
      x.push_back(std::pow(10.0, rng.uniform(-320, -1)));
    } else if (u < 0.7) {
      x.push_back(2.0 - std::pow(10.0, rng.uniform(-16, -1)));
    } else if (u < 0.75) {
      static const double kExact[] = {0.0, 1.0, 2.0, -0.0, 0x1.fffffffffffffp0};
      x.push_back(kExact[rng.next() % 5]);
    } else if (u < 0.8) {
      x.push_back(1.0 + rng.sign() * std::pow(10.0, rng.uniform(-17, -3)));
    } else {
      x.push_back(drawValue(rng, profile, 1.0));
    }
  }
  return x;
}

template <Unary Library::*Fn, std::vector<double> (*Draw)(Rng&, int32_t)>
void generateUnary(Rng& rng, Case& c) {
  const int32_t n = drawCount(rng, 64, 400, 0.04);
  const int bx = layoutInputOutput(rng, c, "x", n, "y", n);
  c.fill(bx, Draw(rng, n));
  c.integer("n", n);
}

template <Unary Library::*Fn>
void callUnary(const Library& lib, const Case& c, unsigned char* a, Outcome&) {
  (lib.*Fn)(c.ptr<const double>(a, 0), c.ptr<double>(a, 1), c.i32Param("n"));
}

}  // namespace

void addElementwise(std::vector<Export>& to) {
  to.push_back({"mod", generateMod, callMod});
  to.push_back({"Kron", generateKron, callTwoInOne<&Library::Kron>});
  to.push_back({"conv", generateConv, callTwoInOne<&Library::conv>});
  to.push_back({"Filter", generateFilter, callFilter});
  to.push_back({"unwrap", generateUnary<&Library::unwrap, drawPhases>,
                callUnary<&Library::unwrap>});
  to.push_back({"erfcinv", generateUnary<&Library::erfcinv, drawErfcArguments>,
                callUnary<&Library::erfcinv>});
}

}  // namespace eq
