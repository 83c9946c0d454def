// Cases for poly, Polyval, Polyfit, Butterworth_TF and GetButterworthTF.
//
// poly: n from negative to a few dozen (only c[0] is written: the rest of c
// must keep the sentinel).  Polyval: points on the unit circle, arbitrary
// complex points, special values; np = 0.  Polyfit: noisy lines, all-equal
// x (rank deficient), y shorter and longer than x, the unused argument null
// or pointing at memory.  Butterworth: orders -5..20 and 64, angular
// frequencies 0..2 pi 100 GHz with negative and special values, cut-offs
// 2 pi (1..50) GHz and 0, negative, NaN, Inf.  Outputs run on top of inputs
// (the complex result on the real frequencies, exactly or shifted).
#include <cmath>
#include <cstdint>

#include "exports.h"
#include "values.h"

namespace eq {

namespace {

void generatePoly(Rng& rng, Case& c) {
  const int32_t n = drawCount(rng, 16, 64, 0.06);
  const int br = layoutInputOutput(rng, c, "r", n, "c", n >= 0 ? int64_t{n} + 1 : 0);
  c.fill(br, drawVector(rng, n, pickProfile(rng, pickScale(rng))));
  c.integer("n", n);
}

void callPoly(const Library& lib, const Case& c, unsigned char* a, Outcome&) {
  lib.poly(c.ptr<const double>(a, 0), c.ptr<double>(a, 1), c.i32Param("n"));
}

void generatePolyval(Rng& rng, Case& c) {
  const int32_t np = drawCount(rng, 12, 40, 0.04);
  const int32_t nz = drawCount(rng, 48, 300, 0.04);
  const int bp = c.add("p", Elem::F64, np, kIn);
  const int bz = c.add("z", Elem::C128, nz, kIn);
  const int bw = c.add("w", Elem::C128, nz, kOut);
  planOverlaps(rng, c, {bw}, {bp, bz});
  c.layout(rng);
  c.fill(bp, drawVector(rng, np, pickProfile(rng, rng.chance(0.5) ? 1.0 : pickScale(rng))));
  std::vector<double> z;
  const double u = rng.uniform();
  if (u < 0.4) {
    for (int32_t i = 0; i < nz; ++i) {
      const double th = rng.uniform(-kPi, kPi);
      z.push_back(std::cos(th));
      z.push_back(std::sin(th));
    }
  } else {
    z = drawComplex(rng, nz, pickProfile(rng, u < 0.7 ? 2.0 : pickScale(rng)));
  }
  c.fill(bz, z);
  c.integer("np", np);
  c.integer("nz", nz);
}

void callPolyval(const Library& lib, const Case& c, unsigned char* a, Outcome&) {
  lib.Polyval(c.ptr<const double>(a, 0), c.ptr<const double>(a, 1), c.ptr<double>(a, 2),
              c.i32Param("np"), c.i32Param("nz"));
}

void generatePolyfit(Rng& rng, Case& c) {
  const int32_t nx = drawCount(rng, 48, 300, 0.04);
  int32_t ny = nx;
  const double w = rng.uniform();
  if (w < 0.08 && nx > 0) {
    ny = static_cast<int32_t>(rng.between(0, nx - 1));  // y shorter: reads 0.0 past its end
  } else if (w < 0.12 && nx >= 0) {
    ny = nx + static_cast<int32_t>(rng.between(1, 5));  // y is read for nx values
  }
  const int bx = c.add("x", Elem::F64, nx, kIn);
  const int by = c.add("y", Elem::F64, ny, kIn);
  const int bu = c.add("unused", Elem::F64, 1, kUnread);
  const int bc = c.add("coeffs", Elem::F64, 2, kOut);
  if (rng.chance(0.5)) {
    c.setNull(bu);
  }
  planOverlaps(rng, c, {bc}, {bx, by});
  c.layout(rng);
  std::vector<double> x;
  std::vector<double> y;
  const double u = rng.uniform();
  if (u < 0.7) {
    const double scale = pickScale(rng);
    x = ascending(rng, nx, rng.uniform(-1, 1) * scale, scale, rng.chance(0.1));
    if (rng.chance(0.3)) {
      for (size_t i = x.size(); i > 1; --i) {
        std::swap(x[i - 1], x[static_cast<size_t>(rng.next() % i)]);
      }
    }
    const double slope = rng.uniform(-3, 3);
    const double icpt = rng.uniform(-3, 3) * scale;
    const double noise = rng.chance(0.3) ? 0.0 : 0.01 * scale;
    for (double e : x) {
      y.push_back(slope * e + icpt + noise * rng.uniform(-1, 1));
    }
    y.resize(static_cast<size_t>(ny > 0 ? ny : 0), 0.5);
  } else if (u < 0.8) {
    x.assign(static_cast<size_t>(nx > 0 ? nx : 0), rng.uniform(-2, 2));
    y = drawVector(rng, ny, pickProfile(rng, 1.0));
  } else {
    const Profile profile = pickProfile(rng, pickScale(rng));
    x = drawVector(rng, nx, profile);
    y = drawVector(rng, ny, profile);
  }
  c.fill(bx, x);
  c.fill(by, y);
  c.integer("nx", nx);
  c.integer("ny", ny);
}

void callPolyfit(const Library& lib, const Case& c, unsigned char* a, Outcome&) {
  lib.Polyfit(c.ptr<const double>(a, 0), c.ptr<const double>(a, 1), c.ptr<const void>(a, 2),
              c.ptr<double>(a, 3), c.i32Param("nx"), c.i32Param("ny"));
}

void generateButterworth(Rng& rng, Case& c) {
  const double edge = drawEdgeWeight(rng);
  const int32_t nf = drawCount(rng, 48, 300, 0.04);
  const int bw = layoutInputOutput(rng, c, "w", nf, "H", nf, Elem::C128);
  const double u = rng.uniform();
  std::vector<double> w;
  if (u < 0.6) {
    w = ascending(rng, nf, rng.chance(0.5) ? 0.0 : rng.uniform(0, 1e9), 2 * kPi * 100e9,
                  rng.chance(0.05));
  } else if (u < 0.8) {
    w = ascending(rng, nf, -2 * kPi * 50e9, 2 * kPi * 100e9, false);
  } else {
    w = drawVector(rng, nf, pickProfile(rng, 2 * kPi * 100e9));
  }
  c.fill(bw, w);
  c.integer("N", drawOrder(rng, {0.75, 8, 0.87, 20, 0.88, 64, 5}));
  c.integer("nf", nf);
  c.real("wc", param(rng, 2 * kPi * 1e9, 2 * kPi * 50e9, edge * 0.12, {0.0, -2 * kPi * 10e9, 1.0}));
}

void callButterworthTF(const Library& lib, const Case& c, unsigned char* a, Outcome&) {
  lib.Butterworth_TF(c.i32Param("N"), c.ptr<const double>(a, 0), c.realParam("wc"),
                     c.i32Param("nf"), c.ptr<double>(a, 1));
}

void callGetButterworthTF(const Library& lib, const Case& c, unsigned char* a, Outcome&) {
  lib.GetButterworthTF(c.i32Param("N"), c.ptr<const double>(a, 0), c.i32Param("nf"),
                       c.realParam("wc"), c.ptr<double>(a, 1));
}

}  // namespace

void addPolynomial(std::vector<Export>& to) {
  to.push_back({"poly", generatePoly, callPoly});
  to.push_back({"Polyval", generatePolyval, callPolyval});
  to.push_back({"Polyfit", generatePolyfit, callPolyfit});
  to.push_back({"Butterworth_TF", generateButterworth, callButterworthTF});
  to.push_back({"GetButterworthTF", generateButterworth, callGetButterworthTF});
}

}  // namespace eq
