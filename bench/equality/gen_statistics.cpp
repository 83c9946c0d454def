// Cases for the reductions median, Eval_std and norm: one input, a returned
// double.  Data: small and large counts, n <= 0 (sometimes with a null
// buffer, which is never read), sorted and constant data, and for norm very
// large and very small magnitudes that exercise the running scale.
#include <algorithm>
#include <cmath>

#include "exports.h"
#include "values.h"

namespace eq {

namespace {

void generateReduction(Rng& rng, Case& c) {
  const int32_t n = drawCount(rng, 64, 400, 0.05);
  const int x = c.add("x", Elem::F64, n, kIn);
  if (n <= 0 && rng.chance(0.5)) {
    c.setNull(x);
  }
  c.layout(rng);
  const double scale = rng.chance(0.15) ? (rng.chance(0.5) ? 1e-200 : 1e200) * rng.uniform(1, 10)
                                        : pickScale(rng);
  std::vector<double> v = drawVector(rng, n, pickProfile(rng, scale));
  const double shape = rng.uniform();
  if (shape < 0.1) {
    // Ascending, NaN last (a strict weak order even with NaN present).
    std::stable_sort(v.begin(), v.end(), [](double a, double b) {
      return a < b || (!std::isnan(a) && std::isnan(b));
    });
  } else if (shape < 0.15) {
    std::fill(v.begin(), v.end(), v.empty() ? 0.0 : v[0]);
  } else if (shape < 0.2) {
    for (double& e : v) {  // many ties
      e = static_cast<double>(rng.between(-2, 2));
    }
  }
  c.fill(x, v);
  c.integer("n", n);
}

template <Reduction Library::*Fn>
void callReduction(const Library& lib, const Case& c, unsigned char* arena, Outcome& out) {
  out.real("return", (lib.*Fn)(c.ptr<const double>(arena, 0), c.i32Param("n")));
}

}  // namespace

void addStatistics(std::vector<Export>& to) {
  to.push_back({"median", generateReduction, callReduction<&Library::median>});
  to.push_back({"Eval_std", generateReduction, callReduction<&Library::Eval_std>});
  to.push_back({"norm", generateReduction, callReduction<&Library::norm>});
}

}  // namespace eq
