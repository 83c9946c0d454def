// Exports of the interpolation routines.
#include <algorithm>

#include "frame/call_frame.h"
#include "interp/interpolation.h"
#include "zefra/interp_sparam.h"
#include "zefra/tdr_helpers.h"

using zefra::DynArray;

namespace {

using Kernel = void (*)(const DynArray*, const DynArray*, const DynArray*, DynArray*);

template <typename Value>
void interpolate(Kernel kernel, const double* x, const Value* y, const double* xi, Value* yi,
                 int32_t n, int32_t ni) {
  zefra::CallFrame frame({zefra::spanOf(yi, ni)});
  const DynArray* xr = frame.input(x, n);
  const DynArray* yr = frame.input(y, n);
  const DynArray* qr = frame.input(xi, ni);
  DynArray* out = frame.output(yi, ni);
  kernel(xr, yr, qr, out);
  zefra::deliver(out, yi, out->size[0]);
}

}  // namespace

void interp1q_Linear(const double* x, const double* y, const double* xi, double* yi, int32_t n,
                     int32_t ni) {
  interpolate(zefra::interpLinearZeroOutside, x, y, xi, yi, n, ni);
}

void interp_Linear_Extrap(const double* x, const double* y, const double* xi, double* yi,
                          int32_t n, int32_t ni) {
  interpolate(zefra::interpLinearExtrapolate, x, y, xi, yi, n, ni);
}

void interp_Linear_Extrap_Complex(const double* x, const zefra_complex* y, const double* xi,
                                  zefra_complex* yi, int32_t n, int32_t ni) {
  interpolate(zefra::interpLinearExtrapolateComplex, x, y, xi, yi, n, ni);
}

void zefra_linearInterp_c(const double* x, const zefra_complex* y, const double* xi,
                          zefra_complex* yi, int32_t n, int32_t ni) {
  interpolate(zefra::interpLinearNanOutsideComplex, x, y, xi, yi, n, ni);
}

void interp1_Cubic(const double* x, const double* y, const double* xi, double* yi, int32_t n,
                   int32_t ni) {
  interpolate(zefra::interpCubicHermite, x, y, xi, yi, n, ni);
}

void interp_Sparam(const zefra_complex* sIn, const double* gridIn, int32_t nIn,
                   const double* gridOut, int32_t nOut, zefra_complex* sOut) {
  // The sibling module under the buffer rule, with negative counts taken as
  // 0.  It writes every slot, except without an output grid: zeros then.
  const int32_t inCount = std::max(nIn, 0);
  const int32_t outCount = std::max(nOut, 0);
  zefra::CallFrame frame({zefra::spanOf(sOut, outCount)});
  const auto* trace = zefra::elementsOf<zefra_complex>(frame.input(sIn, inCount));
  const auto* fIn = zefra::elementsOf<double>(frame.input(gridIn, inCount));
  const auto* fOut = zefra::elementsOf<double>(frame.input(gridOut, outCount));
  if (fOut == nullptr) {
    std::fill_n(sOut, outCount, zefra_complex{0.0, 0.0});
    return;
  }
  zefra_interp_Sparam_C(trace, fIn, inCount, fOut, outCount, sOut);
}
