// Cases for the interpolation exports and the S-parameter resampler.
//
// Tables: ascending (strict, with duplicates, integer grid), descending,
// constant, with NaN, with infinite or signed-zero abscissas, and a few
// unsorted ones (flagged outside the domain).  Queries: inside, exactly on a
// node, next to a node, midpoints, outside on both sides, end points, NaN
// and other special values.  Overlaps: the result on x, y or the queries
// (exactly or a few elements off); shared inputs (queries = abscissas,
// y = x).
//
// interp_Sparam / zefra_interp_Sparam_C: realistic traces (a delayed, lossy
// transmission on a 0..100 GHz grid, random reflections) and unusable grids
// (duplicates, descending, NaN, Inf, a span that overflows), queries below,
// inside, on and above the band, f <= 0, NaN and Inf, null grids.  The
// module's output may not overlap its inputs (it writes while it reads), so
// its cases share inputs only; the library export stages its copies, so its
// output overlaps every input.
#include <algorithm>
#include <cfloat>
#include <cmath>
#include <limits>

#include "exports.h"
#include "values.h"

namespace eq {

namespace {

std::vector<double> drawTable(Rng& rng, int32_t n, bool* unsorted) {
  const double scale = pickScale(rng);
  const double start = rng.sign() * rng.uniform() * scale;
  const double span = scale * rng.uniform(0.01, 4.0);
  std::vector<double> x;
  const double u = rng.uniform();
  *unsorted = false;
  if (u < 0.40) {
    x = ascending(rng, n, start, span, false);
  } else if (u < 0.50) {
    x = ascending(rng, n, start, span, true);
  } else if (u < 0.65) {
    x = ascending(rng, n, start, span, false);
    std::reverse(x.begin(), x.end());
  } else if (u < 0.70) {
    x = ascending(rng, n, start, span, true);
    std::reverse(x.begin(), x.end());
  } else if (u < 0.78) {
    x = ascending(rng, n, start, span, rng.chance(0.3));
    if (!x.empty()) {
      x[static_cast<size_t>(rng.next() % x.size())] = nanValue(rng);
    }
    if (rng.chance(0.5)) {
      std::reverse(x.begin(), x.end());
    }
  } else if (u < 0.83) {
    x.assign(static_cast<size_t>(std::max(n, 0)), start);
  } else if (u < 0.88) {
    for (int32_t i = 0; i < n; ++i) {
      x.push_back(static_cast<double>(i));
    }
  } else if (u < 0.96) {
    // Special abscissas at the ends and signed zeros in the middle.
    x = ascending(rng, n, -span / 2, span, rng.chance(0.3));
    for (double& e : x) {
      if (std::fabs(e) < span / 8) {
        e = rng.chance(0.5) ? -0.0 : 0.0;
      }
    }
    if (!x.empty() && rng.chance(0.5)) {
      x.front() = rng.chance(0.5) ? -kInf : -DBL_MAX;
    }
    if (!x.empty() && rng.chance(0.5)) {
      x.back() = rng.chance(0.5) ? kInf : DBL_MAX;
    }
    if (rng.chance(0.3)) {
      std::reverse(x.begin(), x.end());
    }
  } else {
    x = drawVector(rng, n, pickProfile(rng, scale));
    *unsorted = true;
  }
  return x;
}

std::vector<double> drawQueries(Rng& rng, int32_t ni, const std::vector<double>& x) {
  double lo = 0.0;
  double hi = 1.0;
  bool any = false;
  for (double e : x) {
    if (std::isfinite(e)) {
      lo = any ? std::min(lo, e) : e;
      hi = any ? std::max(hi, e) : e;
      any = true;
    }
  }
  const double width = hi > lo ? hi - lo : std::max(std::fabs(lo), 1.0);
  std::vector<double> q(static_cast<size_t>(std::max(ni, 0)));
  const bool sweep = rng.chance(0.3);
  for (size_t i = 0; i < q.size(); ++i) {
    const double u = rng.uniform();
    const double node = x.empty() ? 0.0 : x[static_cast<size_t>(rng.next() % x.size())];
    if (sweep) {
      q[i] = lo - 0.1 * width + 1.2 * width * static_cast<double>(i) / static_cast<double>(q.size());
    } else if (u < 0.40) {
      q[i] = lo + (hi - lo) * rng.uniform();
    } else if (u < 0.55) {
      q[i] = node;
    } else if (u < 0.60) {
      q[i] = std::nextafter(node, rng.sign() * kInf);
    } else if (u < 0.70 && x.size() > 1) {
      const size_t k = static_cast<size_t>(rng.next() % (x.size() - 1));
      q[i] = x[k] + (x[k + 1] - x[k]) * 0.5;
    } else if (u < 0.80) {
      q[i] = rng.chance(0.5) ? lo - width * rng.uniform(0, 2) : hi + width * rng.uniform(0, 2);
    } else if (u < 0.87) {
      q[i] = rng.chance(0.5) ? lo : hi;
    } else if (u < 0.92) {
      q[i] = nanValue(rng);
    } else {
      q[i] = specialValue(rng);
    }
  }
  return q;
}

bool monotone(const std::vector<double>& x, bool ascendingOnly) {
  bool up = true;
  bool down = true;
  for (size_t i = 0; i + 1 < x.size(); ++i) {
    if (std::isnan(x[i]) || std::isnan(x[i + 1])) {
      return !ascendingOnly;  // NaN in the table is defined (all zeros), except for the lean variant
    }
    up = up && x[i] <= x[i + 1];
    down = down && x[i] >= x[i + 1];
  }
  if (ascendingOnly && !x.empty() && std::isnan(x.back())) {
    return false;
  }
  return ascendingOnly ? up : (up || down);
}

template <bool Complex, bool AscendingOnly>
void generateInterp(Rng& rng, Case& c) {
  const Elem v = Complex ? Elem::C128 : Elem::F64;
  const int32_t n = drawCount(rng, 48, 300, 0.04);
  const int32_t ni = drawCount(rng, 48, 300, 0.04);
  bool unsorted = false;
  std::vector<double> x = drawTable(rng, n, &unsorted);
  if (AscendingOnly && rng.chance(0.9)) {  // the lean variant trusts an ascending table
    std::stable_sort(x.begin(), x.end(), [](double a, double b) {
      return a < b || (!std::isnan(a) && std::isnan(b));
    });
    for (double& e : x) {
      if (std::isnan(e) && rng.chance(0.9)) {
        e = kInf;
      }
    }
  }
  const int bx = c.add("x", Elem::F64, n, kIn);
  const int by = c.add("y", v, n, kIn);
  const int bq = c.add("xi", Elem::F64, ni, kIn);
  const int bo = c.add("yi", v, ni, kOut);
  OverlapOdds odds;
  odds.sharedInputs = 0.06;
  planOverlaps(rng, c, {bo}, {bx, by, bq}, odds);
  c.layout(rng);
  const Profile profile = pickProfile(rng, pickScale(rng));
  c.fill(bx, x);
  c.fill(by, Complex ? drawComplex(rng, n, profile) : drawVector(rng, n, profile));
  c.fill(bq, drawQueries(rng, ni, x));
  if (!monotone(c.initialValues(bx), AscendingOnly)) {
    c.markOutsideDomain();
  }
  c.integer("n", n);
  c.integer("ni", ni);
}

template <Interp Library::*Fn>
void callInterp(const Library& lib, const Case& c, unsigned char* arena, Outcome&) {
  (lib.*Fn)(c.ptr<const double>(arena, 0), c.ptr<const double>(arena, 1),
            c.ptr<const double>(arena, 2), c.ptr<double>(arena, 3), c.i32Param("n"),
            c.i32Param("ni"));
}

// ---- S-parameter resampling -------------------------------------------------

std::vector<double> drawGrid(Rng& rng, int32_t n) {
  const double u = rng.uniform();
  const double span = rng.uniform(1e9, 100e9);
  if (u < 0.75) {
    const double w = rng.uniform();
    const double start = w < 0.35 ? 0.0 : w < 0.7 ? 10e6 * static_cast<double>(rng.between(1, 100))
                                                   : rng.uniform(0, 5e9);
    return ascending(rng, n, start, span, false);
  }
  if (u < 0.81) {
    return ascending(rng, n, -rng.uniform(0, 1e9), span, false);
  }
  if (u < 0.85) {
    const double scale = rng.chance(0.5) ? 1e-300 : 1e290;
    return ascending(rng, n, 0.0, scale * rng.uniform(1, 100), false);
  }
  std::vector<double> g = ascending(rng, n, rng.uniform(0, 1e9), span, rng.chance(0.4));
  const double w = rng.uniform();
  if (w < 0.3 && !g.empty()) {
    g[static_cast<size_t>(rng.next() % g.size())] = specialValue(rng);
  } else if (w < 0.5) {
    std::reverse(g.begin(), g.end());
  } else if (w < 0.65 && g.size() > 1) {
    g.front() = -DBL_MAX;
    g.back() = DBL_MAX;
  } else if (w < 0.8 && g.size() > 2) {
    std::swap(g[1], g[g.size() - 2]);
  }
  return g;  // duplicates (40 %) or one of the above: an unusable grid
}

std::vector<double> drawTrace(Rng& rng, const std::vector<double>& f) {
  std::vector<double> s;
  const double u = rng.uniform();
  if (u < 0.55) {
    const double tau = rng.uniform(0, 3e-9);
    const double loss = rng.uniform(0, 2e-11);
    const double noise = rng.chance(0.5) ? 0.0 : 0.02;
    for (double fk : f) {
      const double mag = std::exp(-loss * (std::isfinite(fk) ? std::fabs(fk) : 0.0));
      const double ph = -2 * kPi * fk * tau + noise * rng.uniform(-1, 1);
      s.push_back(mag * std::cos(ph));
      s.push_back(mag * std::sin(ph));
    }
  } else if (u < 0.85) {
    s = drawPassive(rng, static_cast<int64_t>(f.size()));
  } else {
    s = drawComplex(rng, static_cast<int64_t>(f.size()), pickProfile(rng, pickScale(rng)));
  }
  return s;
}

std::vector<double> drawGridQueries(Rng& rng, int32_t m, const std::vector<double>& f) {
  std::vector<double> q(static_cast<size_t>(std::max(m, 0)));
  const double lo = f.empty() ? 0.0 : f.front();
  const double hi = f.empty() ? 1e9 : f.back();
  const double width = std::isfinite(hi - lo) && hi > lo ? hi - lo : 1e9;
  const double w = rng.uniform();
  for (size_t i = 0; i < q.size(); ++i) {
    const double u = rng.uniform();
    if (w < 0.3) {
      q[i] = lo - 0.1 * width + 1.3 * width * static_cast<double>(i) / static_cast<double>(q.size());
    } else if (u < 0.35) {
      q[i] = lo + width * rng.uniform();
    } else if (u < 0.55 && !f.empty()) {
      q[i] = f[static_cast<size_t>(rng.next() % f.size())];
    } else if (u < 0.65) {
      q[i] = lo * rng.uniform();  // below the band, towards DC
    } else if (u < 0.72) {
      q[i] = rng.chance(0.5) ? 0.0 : -rng.uniform(0, 1e9);
    } else if (u < 0.85) {
      q[i] = hi + width * rng.uniform(0, 1);
    } else if (u < 0.92) {
      q[i] = rng.chance(0.5) ? lo : hi;
    } else {
      q[i] = specialValue(rng);
    }
  }
  return q;
}

template <bool Module>
void generateSparam(Rng& rng, Case& c) {
  const int32_t nIn = drawCount(rng, 48, 300, 0.04);
  const int32_t nOut = drawCount(rng, 48, 300, 0.04);
  const int bs = c.add("sIn", Elem::C128, nIn, kIn);
  const int bf = c.add("fIn", Elem::F64, nIn, kIn);
  const int bq = c.add("fOut", Elem::F64, nOut, kIn);
  const int bo = c.add("sOut", Elem::C128, nOut, kOut);
  if (Module) {
    for (int b : {bs, bf, bq, bo}) {
      if (rng.chance(0.02)) {
        c.setNull(b);
      }
    }
    OverlapOdds odds;
    odds.outputOnInput = 0.0;
    odds.outputOnOutput = 0.0;
    odds.sharedInputs = 0.10;
    planOverlaps(rng, c, {bo}, {bf, bq}, odds);
  } else {
    for (int b : {bf, bq}) {
      if (rng.chance(0.03)) {
        c.setNull(b);  // the grids may be null: the module then writes zeros
      }
    }
    OverlapOdds odds;
    odds.sharedInputs = 0.06;
    planOverlaps(rng, c, {bo}, {bs, bf, bq}, odds);
  }
  c.layout(rng);
  const std::vector<double> f = drawGrid(rng, nIn);
  c.fill(bf, f);
  c.fill(bs, drawTrace(rng, f));
  c.fill(bq, drawGridQueries(rng, nOut, f));
  c.integer("nIn", nIn);
  c.integer("nOut", nOut);
}

template <SparamInterp Library::*Fn>
void callSparam(const Library& lib, const Case& c, unsigned char* arena, Outcome&) {
  (lib.*Fn)(c.ptr<const double>(arena, 0), c.ptr<const double>(arena, 1), c.i32Param("nIn"),
            c.ptr<const double>(arena, 2), c.i32Param("nOut"), c.ptr<double>(arena, 3));
}

}  // namespace

void addInterpolation(std::vector<Export>& to) {
  to.push_back({"interp1q_Linear", generateInterp<false, false>,
                callInterp<&Library::interp1q_Linear>});
  to.push_back({"interp_Linear_Extrap", generateInterp<false, false>,
                callInterp<&Library::interp_Linear_Extrap>});
  to.push_back({"interp_Linear_Extrap_Complex", generateInterp<true, false>,
                callInterp<&Library::interp_Linear_Extrap_Complex>});
  to.push_back({"zefra_linearInterp_c", generateInterp<true, true>,
                callInterp<&Library::zefra_linearInterp_c>});
  to.push_back({"interp1_Cubic", generateInterp<false, false>,
                callInterp<&Library::interp1_Cubic>});
  to.push_back({"interp_Sparam", generateSparam<false>, callSparam<&Library::interp_Sparam>});
  to.push_back({"zefra_interp_Sparam_C", generateSparam<true>,
                callSparam<&Library::zefra_interp_Sparam_C>});
}

}  // namespace eq
