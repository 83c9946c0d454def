// Cases for the two-port exports combineS4p, synth_tline and makePackage.
//
// combineS4p: passive S-parameters (|S| <= 1, random phase) or arbitrary
// values, points where 1 - A22*B11 is exactly 0, a network cascaded with
// itself (B on A).  synth_tline / makePackage: 0..100 GHz grids with odd
// frequencies (-0.0, a negative value whose GHz value rounds to -0, NaN,
// Inf), SI parameters (impedances 25..100 ohm, loss coefficients, delays,
// lengths, pF capacitances, nH inductances) and their edges (zA = -2 zB,
// zero, negative, NaN sections; 0..5 coefficients).  Overlaps: outputs on
// the inputs and on each other.
#include "exports.h"
#include "values.h"

namespace eq {

namespace {

std::vector<double> passive(Rng& rng, int32_t n) {
  if (rng.chance(0.25)) {
    return drawComplex(rng, n, pickProfile(rng, pickScale(rng)));
  }
  return drawPassive(rng, n);
}

void generateCascade(Rng& rng, Case& c) {
  const int32_t n = drawCount(rng, 48, 300, 0.04);
  static const char* const kInNames[] = {"A11", "A12", "A21", "A22", "B11", "B12", "B21", "B22"};
  static const char* const kOutNames[] = {"C11", "C12", "C21", "C22"};
  std::vector<int> ins;
  std::vector<int> outs;
  for (const char* name : kInNames) {
    ins.push_back(c.add(name, Elem::C128, n, kIn));
  }
  for (const char* name : kOutNames) {
    outs.push_back(c.add(name, Elem::C128, n, kOut));
  }
  if (rng.chance(0.03)) {
    for (int k = 0; k < 4; ++k) {
      c.link(ins[static_cast<size_t>(4 + k)], ins[static_cast<size_t>(k)], 0);
    }
  }
  OverlapOdds odds;
  odds.outputOnInput = 0.13;
  odds.outputOnOutput = 0.06;
  planOverlaps(rng, c, outs, ins, odds);
  c.layout(rng);
  std::vector<std::vector<double>> v;
  for (int k = 0; k < 8; ++k) {
    v.push_back(passive(rng, n));
  }
  if (rng.chance(0.2)) {  // points where 1 - A22*B11 = 0
    static const double kPairs[][4] = {
        {1, 0, 1, 0}, {0.5, 0, 2, 0}, {0, 1, 0, -1}, {-1, 0, -1, 0}, {0.25, 0, 4, -0.0}};
    for (int32_t i = 0; i < n; ++i) {
      if (rng.chance(0.3)) {
        const double* pr = kPairs[rng.next() % 5];
        v[3][2 * static_cast<size_t>(i)] = pr[0];
        v[3][2 * static_cast<size_t>(i) + 1] = pr[1];
        v[4][2 * static_cast<size_t>(i)] = pr[2];
        v[4][2 * static_cast<size_t>(i) + 1] = pr[3];
      }
    }
  }
  for (int k = 0; k < 8; ++k) {
    c.fill(ins[static_cast<size_t>(k)], v[static_cast<size_t>(k)]);
  }
  c.integer("N", n);
}

void callCascade(const Library& lib, const Case& c, unsigned char* a, Outcome&) {
  auto in = [&](int b) { return c.ptr<const double>(a, b); };
  auto out = [&](int b) { return c.ptr<double>(a, b); };
  lib.combineS4p(in(0), in(1), in(2), in(3), in(4), in(5), in(6), in(7), c.i32Param("N"),
                 out(8), out(9), out(10), out(11));
}

std::vector<double> lossCoefficients(Rng& rng, int32_t m) {
  std::vector<double> v;
  if (rng.chance(0.2)) {
    return drawVector(rng, m, pickProfile(rng, 0.05));
  }
  for (int32_t k = 0; k < m; ++k) {
    v.push_back(rng.uniform(0, k == 0 ? 0.01 : 0.05));
  }
  return v;
}

int32_t coefficientCount(Rng& rng) {
  return rng.chance(0.7) ? 3 : static_cast<int32_t>(rng.between(-1, 5));
}

// The buffers synth_tline and makePackage share, laid out and with their
// inputs filled: buffer 0 holds nf frequencies, buffer 1 m loss
// coefficients (named `coefficientName`), buffers 2..5 the four complex
// outputs of nf values.  Returns the draws the scalar arguments build on.
struct LineInputs {
  double edge;  // see drawEdgeWeight
  int32_t nf;
  int32_t m;
};

LineInputs generateLineInputs(Rng& rng, Case& c, const char* coefficientName) {
  const double edge = drawEdgeWeight(rng);
  const int32_t nf = drawCount(rng, 48, 300, 0.04);
  const int32_t m = coefficientCount(rng);
  const int bf = c.add("freq", Elem::F64, nf, kIn);
  const int bc = c.add(coefficientName, Elem::F64, m, kIn);
  std::vector<int> outs;
  for (const char* name : {"s11", "s12", "s21", "s22"}) {
    outs.push_back(c.add(name, Elem::C128, nf, kOut));
  }
  planOverlaps(rng, c, outs, {bf, bc});
  c.layout(rng);
  c.fill(bf, drawFrequencies(rng, nf, edge * 0.15));
  c.fill(bc, lossCoefficients(rng, m));
  return {edge, nf, m};
}

void generateTline(Rng& rng, Case& c) {
  const auto [edge, nf, m] = generateLineInputs(rng, c, "coeffs");
  const double zB = rng.chance(0.5) ? 50.0 : param(rng, 25, 60, edge * 0.1, {0.0, -50.0, 1e-300});
  const double zA = param(rng, 25, 100, edge * 0.15, {-2 * zB, 0.0, -zB, 2 * zB, 1e300});
  c.integer("nf", nf);
  c.real("zA", zA);
  c.real("zB", zB);
  c.integer("m", m);
  c.real("tau", param(rng, 0.001, 0.2, edge * 0.08, {0.0, -0.01, 1e300}));
  c.real("len", param(rng, 0, 100, edge * 0.1, {0.0, -1.0, 1e6, 1e-300}));
}

void callTline(const Library& lib, const Case& c, unsigned char* a, Outcome&) {
  lib.synth_tline(c.ptr<const double>(a, 0), c.i32Param("nf"), c.realParam("zA"),
                  c.realParam("zB"), c.ptr<const double>(a, 1), c.i32Param("m"),
                  c.realParam("tau"), c.realParam("len"), c.ptr<double>(a, 2),
                  c.ptr<double>(a, 3), c.ptr<double>(a, 4), c.ptr<double>(a, 5));
}

void generatePackage(Rng& rng, Case& c) {
  const auto [edge, nf, m] = generateLineInputs(rng, c, "lossCoeffs");
  const double z0 = rng.chance(0.5) ? 50.0 : param(rng, 25, 100, edge * 0.1, {0.0, -50.0});
  c.integer("nFreq", nf);
  c.real("lineLength", param(rng, 0, 20, edge * 0.1, {0.0, -1.0, 1e6}));
  c.real("shuntCapIn", param(rng, 0, 1e-12, edge * 0.15, {0.0, -1e-13, 1e-6}));
  c.real("shuntCapOut", param(rng, 0, 1e-12, edge * 0.15, {0.0, -1e-13, 1e-6}));
  c.real("lineImpedance", param(rng, 25, 100, edge * 0.12, {-2 * z0, 0.0, z0, 1e300}));
  c.real("phaseDelay", param(rng, 0.001, 0.02, edge * 0.08, {0.0, -0.01}));
  c.integer("nLossCoeffs", m);
  c.real("refImpedance", z0);
  c.real("seriesInd", rng.chance(0.3) ? 0.0 : param(rng, 0, 2e-9, edge * 0.15, {-1e-9, 1e-3}));
  c.real("shuntCapMid", rng.chance(0.5) ? 0.0 : param(rng, 0, 0.5e-12, edge * 0.15, {-1e-13, 1e-6}));
}

void callPackage(const Library& lib, const Case& c, unsigned char* a, Outcome&) {
  lib.makePackage(c.ptr<const double>(a, 0), c.i32Param("nFreq"), c.realParam("lineLength"),
                  c.realParam("shuntCapIn"), c.realParam("shuntCapOut"),
                  c.realParam("lineImpedance"), c.realParam("phaseDelay"),
                  c.ptr<const double>(a, 1), c.i32Param("nLossCoeffs"),
                  c.realParam("refImpedance"), c.realParam("seriesInd"),
                  c.realParam("shuntCapMid"), c.ptr<double>(a, 2), c.ptr<double>(a, 3),
                  c.ptr<double>(a, 4), c.ptr<double>(a, 5));
}

}  // namespace

void addChannel(std::vector<Export>& to) {
  to.push_back({"combineS4p", generateCascade, callCascade});
  to.push_back({"synth_tline", generateTline, callTline});
  to.push_back({"makePackage", generatePackage, callPackage});
}

}  // namespace eq
