// Cases for the density exports: get_pdf_from_sampled_signal, its _800G
// variant, d_cpdf, and zefra_release_array.
//
// Cursor densities: a main cursor of 0.3..1 with pre- and post-cursors, some
// at or below the bin width (left out), all below it (every cursor counts as
// 0), one needing more than 2000 bins (false), special values; M = 2 and 4
// mostly, also 3, 8, 1, 0, negative; bin widths 0.005..0.1 and 0, -0, NaN,
// Inf, negative, -1e300 (the span underflows to one bin), 1e-300.  The
// scalar outputs sometimes point into the cursor array (offsetOut, binWidth,
// countOut) or at each other (offsetOut on binWidth).  The returned arrays
// are hashed (countOut values each) and released.
//
// d_cpdf: weighted points spanning up to ~3000 bins around an offset of up
// to +-1000 bins, weights missing, surplus or negative in count, outCount
// from negative to 100, a NaN or infinite first point, special widths.
// Every finite point (and weight, as the two may share memory) stays within
// 4000 bins of 0, so the centre grid is bounded (2 * (reach + 4) + 1 values,
// reach the largest |value / w|); both outputs are sized for that bound, or
// outCount when larger.  Outputs run on the inputs and on each
// other, offsetOut and widthOut included.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>

#include "exports.h"
#include "values.h"

namespace eq {

namespace {

double drawBinWidth(Rng& rng) {
  if (rng.chance(0.86)) {
    return std::pow(10.0, rng.uniform(-2.3, -1.0));
  }
  static const double kOdd[] = {0.0, -0.0, -0.01, -1e300, kInf, 1e-300,
                                4.9406564584124654e-324, std::numeric_limits<double>::quiet_NaN()};
  return kOdd[rng.next() % (sizeof kOdd / sizeof kOdd[0])];
}

std::vector<double> drawCursors(Rng& rng, int32_t n, double w) {
  std::vector<double> c;
  const double u = rng.uniform();
  const double unit = std::isfinite(w) && w > 0 ? w : 0.01;
  if (u < 0.7) {
    const int32_t k0 = n > 0 ? static_cast<int32_t>(rng.between(0, std::min(3, n - 1))) : 0;
    for (int32_t i = 0; i < n; ++i) {
      if (i == k0) {
        c.push_back(rng.sign() * rng.uniform(0.3, 1.0));
      } else if (rng.chance(0.1)) {
        c.push_back(rng.sign() * unit * rng.uniform(0, 1.0));  // at most w: left out
      } else {
        c.push_back(rng.uniform(-0.2, 0.2) * std::exp(-std::fabs(i - k0) / 4.0));
      }
    }
  } else if (u < 0.8) {
    for (int32_t i = 0; i < n; ++i) {
      c.push_back(rng.uniform(-1, 1) * unit);  // none above w: all count as 0
    }
  } else if (u < 0.9) {
    c = drawVector(rng, n, pickProfile(rng, 0.3));
    if (!c.empty()) {
      c[static_cast<size_t>(rng.next() % c.size())] = rng.sign() * unit * rng.uniform(1001, 1500);
    }
  } else {
    c = drawVector(rng, n, pickProfile(rng, 0.5));
  }
  return c;
}

int32_t drawLevels(Rng& rng) {
  const double u = rng.uniform();
  if (u < 0.85) {
    return rng.chance(0.5) ? 2 : 4;
  }
  if (u < 0.93) {
    return rng.chance(0.5) ? 3 : 8;
  }
  static const int32_t kLow[] = {1, 0, -1, INT32_MIN};
  return kLow[rng.next() % 4];
}

// Buffers: 0 signal, 1 offsetOut, 2 binWidth, 3 countOut, 4 reserved.
void generateCursorDensity(Rng& rng, Case& c) {
  const int32_t n = drawCount(rng, 16, 32, 0.04);
  const double w = drawBinWidth(rng);
  const int bs = c.add("signal", Elem::F64, n, kIn);
  const int bo = c.add("offsetOut", Elem::F64, 1, kOut);
  const int bw = c.add("binWidth", Elem::F64, 1, kInOut);
  const int bc = c.add("countOut", Elem::I32, 1, kOut);
  const int br = c.add("reserved", Elem::F64, 1, kUnread);
  if (rng.chance(0.5)) {
    c.setNull(br);
  }
  const double u = rng.uniform();
  const int64_t at = n > 0 ? rng.between(0, n - 1) * 8 : 0;
  if (u < 0.08) {
    c.link(bo, bs, at);
  } else if (u < 0.12) {
    c.link(bw, bs, at);
  } else if (u < 0.15) {
    c.link(bc, bs, at + (rng.chance(0.5) ? 4 : 0));
  } else if (u < 0.18) {
    c.link(bo, bw, 0);
  }
  c.layout(rng);
  c.fill(bs, drawCursors(rng, n, w));
  c.fill(bw, {w});
  c.integer("levelCount", drawLevels(rng));
  c.integer("sampleCount", n);
}

// Runs a cursor-density export on the buffers above and reports its return
// value (with `arrayFlags` also whether each returned array is non-null)
// and both arrays, which it then releases: the probabilities first when
// `probabilitiesFirst` is set.
void runCursorDensity(CursorPdf fn, const Library& lib, const Case& c, unsigned char* a,
                      Outcome& out, bool arrayFlags, bool probabilitiesFirst) {
  double* amplitudes = nullptr;
  double* probabilities = nullptr;
  const bool ok = fn(c.ptr<const double>(a, 0), c.i32Param("levelCount"), c.ptr<const void>(a, 4),
                     &amplitudes, &probabilities, c.ptr<double>(a, 1), c.ptr<double>(a, 2),
                     c.i32Param("sampleCount"), c.ptr<int32_t>(a, 3));
  int32_t count = 0;
  std::memcpy(&count, c.ptr<unsigned char>(a, 3), sizeof count);
  out.flag("return", ok);
  if (arrayFlags) {
    out.flag("amplitudes non-null", amplitudes != nullptr);
    out.flag("probabilities non-null", probabilities != nullptr);
  }
  const bool sane = count >= 0 && count <= (1 << 22);
  out.array("amplitudes", amplitudes, sane ? count : -1);
  out.array("probabilities", probabilities, sane ? count : -1);
  if (probabilitiesFirst) {
    lib.zefra_release_array(probabilities);
    lib.zefra_release_array(amplitudes);
  } else {
    lib.zefra_release_array(amplitudes);
    lib.zefra_release_array(probabilities);
  }
}

template <CursorPdf Library::*Fn>
void callCursorDensity(const Library& lib, const Case& c, unsigned char* a, Outcome& out) {
  runCursorDensity(lib.*Fn, lib, c, a, out, true, false);
}

// ---- d_cpdf -------------------------------------------------------------------------

// Buffers: 0 points, 1 weights, 2 centersOut, 3 densityOut, 4 offsetOut, 5 widthOut.
void generateDcpdf(Rng& rng, Case& c) {
  const int32_t n = drawCount(rng, 48, 200, 0.04);
  int32_t nw = n;
  const double v = rng.uniform();
  if (v < 0.1 && n > 0) {
    nw = static_cast<int32_t>(rng.between(0, n - 1));
  } else if (v < 0.15 && n >= 0) {
    nw = n + static_cast<int32_t>(rng.between(1, 4));
  } else if (v < 0.18) {
    nw = rng.chance(0.5) ? 0 : -3;
  }
  const double w = drawBinWidth(rng);
  const bool usable = std::isfinite(w) && w != 0.0;
  std::vector<double> points;
  const double u = rng.uniform();
  const double centre = rng.uniform(-1000, 1000);
  const double spread = u < 0.1 ? 3000.0 : rng.uniform(0, 1500);  // > 2000 bins: false
  const double unit = usable ? w : 0.01;
  for (int32_t i = 0; i < n; ++i) {
    points.push_back(unit * (centre + spread * rng.uniform(-0.5, 0.5)));
    if (rng.chance(0.05)) {
      points.back() = unit * std::round(points.back() / unit);  // exactly on the grid
    }
  }
  if (u > 0.85) {
    sprinkleSpecials(rng, points, 0.15);
  }
  if (u > 0.95 && !points.empty()) {
    points[0] = rng.chance(0.5) ? nanValue(rng) : rng.sign() * kInf;
  }
  std::vector<double> weights;
  const double wk = rng.uniform();
  for (int32_t i = 0; i < nw; ++i) {
    weights.push_back(wk < 0.5   ? 1.0 / std::max(n, 1)
                      : wk < 0.85 ? rng.uniform(0, 1)
                                  : drawValue(rng, pickProfile(rng, 1.0), 1.0));
  }
  const int bp = c.add("points", Elem::F64, n, kIn);
  const int bwt = c.add("weights", Elem::F64, nw, kIn);
  // Shared inputs: the weights on the points, exactly or a few values off
  // (two output links can also bring them together).  The points then read
  // some weights, so the weights obey the same bound.
  if (rng.chance(0.05)) {
    c.link(bwt, bp, rng.chance(0.5) ? 0 : static_cast<int64_t>(rng.sign()) * 8 * rng.between(1, 4));
  }
  // Keep every finite value that may be read as a point within 4000 bins of
  // 0 (bounds the centre grid).
  double reach = 0.0;
  for (std::vector<double>* values : {&points, &weights}) {
    for (double& p : *values) {
      if (usable && std::isfinite(p)) {
        if (!(std::fabs(p / w) <= 4000.0)) {
          p = w * rng.uniform(-1000, 1000);
        }
        reach = std::max(reach, std::fabs(p / w));
      }
    }
  }
  int32_t outCount = static_cast<int32_t>(rng.between(0, 20));
  const double oc = rng.uniform();
  if (oc < 0.1) {
    outCount = rng.chance(0.5) ? -1 : -20;
  } else if (oc < 0.3) {
    outCount = static_cast<int32_t>(rng.between(21, 100));
  }
  const int64_t bound = std::max<int64_t>(outCount, 2 * (static_cast<int64_t>(reach) + 4) + 1);

  const int bc = c.add("centersOut", Elem::F64, bound, kOut);
  const int bd = c.add("densityOut", Elem::F64, bound, kOut);
  const int bo = c.add("offsetOut", Elem::F64, 1, kOut);
  const int bx = c.add("widthOut", Elem::F64, 1, kOut);
  OverlapOdds odds;
  odds.outputOnInput = 0.16;
  odds.outputOnOutput = 0.07;
  odds.sharedInputs = 0.0;
  planOverlaps(rng, c, {bc, bd, bo, bx}, {bp, bwt}, odds);
  c.layout(rng);
  c.fill(bp, points);
  c.fill(bwt, weights);
  c.integer("pointCount", n);
  c.integer("weightCount", nw);
  c.integer("outCount", outCount);
  c.real("binWidth", w);
}

void callDcpdf(const Library& lib, const Case& c, unsigned char* a, Outcome& out) {
  out.flag("return", lib.d_cpdf(c.ptr<const double>(a, 0), c.ptr<const double>(a, 1),
                                c.ptr<double>(a, 2), c.ptr<double>(a, 3), c.i32Param("pointCount"),
                                c.i32Param("weightCount"), c.i32Param("outCount"),
                                c.realParam("binWidth"), c.ptr<double>(a, 4), c.ptr<double>(a, 5)));
}

// ---- zefra_release_array ---------------------------------------------------------

// Null pointers, and the arrays of small densities (either export, either
// release order, empty arrays from zero cursors included).
void generateRelease(Rng& rng, Case& c) {
  const int32_t mode = static_cast<int32_t>(rng.between(0, 2));
  const int32_t n = static_cast<int32_t>(rng.between(0, 6));
  const int bs = c.add("signal", Elem::F64, n, kIn);
  c.add("offsetOut", Elem::F64, 1, kOut);
  const int bw = c.add("binWidth", Elem::F64, 1, kInOut);
  c.add("countOut", Elem::I32, 1, kOut);
  const int br = c.add("reserved", Elem::F64, 1, kUnread);
  c.setNull(br);
  c.layout(rng, false);
  const double w = rng.uniform(0.05, 0.2);
  c.fill(bs, drawCursors(rng, n, w));
  c.fill(bw, {w});
  c.integer("mode", mode);
  c.integer("levelCount", rng.chance(0.5) ? 2 : 4);
  c.integer("sampleCount", n);
  c.integer("probabilitiesFirst", rng.chance(0.5) ? 1 : 0);
}

void callRelease(const Library& lib, const Case& c, unsigned char* a, Outcome& out) {
  const int32_t mode = c.i32Param("mode");
  if (mode == 0) {
    lib.zefra_release_array(nullptr);
    out.flag("released null", true);
    return;
  }
  // The reserved buffer is null in these cases, as the density exports allow.
  runCursorDensity(mode == 1 ? lib.get_pdf_from_sampled_signal
                             : lib.get_pdf_from_sampled_signal_800G,
                   lib, c, a, out, false, c.i32Param("probabilitiesFirst") != 0);
}

}  // namespace

void addDensity(std::vector<Export>& to) {
  to.push_back({"get_pdf_from_sampled_signal", generateCursorDensity,
                callCursorDensity<&Library::get_pdf_from_sampled_signal>});
  to.push_back({"get_pdf_from_sampled_signal_800G", generateCursorDensity,
                callCursorDensity<&Library::get_pdf_from_sampled_signal_800G>});
  to.push_back({"d_cpdf", generateDcpdf, callDcpdf});
  to.push_back({"zefra_release_array", generateRelease, callRelease});
}

}  // namespace eq
