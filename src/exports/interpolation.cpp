// Exports of the interpolation routines.  The kernels only read their
// inputs, so the caller's buffers are used in place; the result goes
// straight to the caller's buffer unless it shares memory with an input
// (the kernels fill the result before they read the queries).
#include <cstddef>

#include "frame/call_frame.h"
#include "interp/interpolation.h"
#include "interp/sparam_forwarder.h"
#include "zefra/tdr_helpers.h"

using zefra::CallFrame;
using zefra::Complex;
using zefra::DynArray;

namespace {

using Kernel = void (*)(const DynArray*, const DynArray*, const DynArray*, DynArray*);

size_t bytes(int32_t count, size_t element) {
  return count > 0 ? static_cast<size_t>(count) * element : 0;
}

const DynArray* copied(CallFrame& frame, const double* values, int32_t n) {
  return frame.column(values, n);
}
const DynArray* copied(CallFrame& frame, const Complex* values, int32_t n) {
  return frame.complexColumn(values, n);
}
DynArray* freshOutput(CallFrame& frame, const double*, int32_t n) {
  return frame.doubleOutput(n, 1);
}
DynArray* freshOutput(CallFrame& frame, const Complex*, int32_t n) {
  return frame.complexOutput(n, 1);
}

template <typename Value>
void interpolate(Kernel kernel, const double* x, const Value* y, const double* xi, Value* yi,
                 int32_t n, int32_t ni) {
  CallFrame frame;
  const DynArray* xr = frame.borrowedColumn(x, n);
  const DynArray* yr = frame.borrowedColumn(y, n);
  const DynArray* qr = frame.borrowedColumn(xi, ni);
  const size_t outBytes = bytes(ni, sizeof(Value));
  const bool shared = zefra::sharesMemory(yi, outBytes, x, bytes(n, sizeof(double))) ||
                      zefra::sharesMemory(yi, outBytes, y, bytes(n, sizeof(Value))) ||
                      zefra::sharesMemory(yi, outBytes, xi, bytes(ni, sizeof(double)));
  if (!shared) {
    kernel(xr, yr, qr, frame.borrowedOutput(yi, ni));
    return;
  }
  DynArray* out = freshOutput(frame, yi, ni);
  kernel(copied(frame, x, n), copied(frame, y, n), copied(frame, xi, ni), out);
  zefra::copyFirstExtentOut(out, yi);
}

const Complex* asComplex(const zefra_complex* v) { return reinterpret_cast<const Complex*>(v); }
Complex* asComplex(zefra_complex* v) { return reinterpret_cast<Complex*>(v); }

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
  interpolate(zefra::interpLinearExtrapolateComplex, x, asComplex(y), xi, asComplex(yi), n, ni);
}

void zefra_linearInterp_c(const double* x, const zefra_complex* y, const double* xi,
                          zefra_complex* yi, int32_t n, int32_t ni) {
  interpolate(zefra::interpLinearNanOutsideComplex, x, asComplex(y), xi, asComplex(yi), n, ni);
}

void interp1_Cubic(const double* x, const double* y, const double* xi, double* yi, int32_t n,
                   int32_t ni) {
  interpolate(zefra::interpCubicHermite, x, y, xi, yi, n, ni);
}

void interp_Sparam(const zefra_complex* sIn, const double* gridIn, int32_t nIn,
                   const double* gridOut, int32_t nOut, zefra_complex* sOut) {
  zefra::forwardSparamInterpolation(asComplex(sIn), gridIn, nIn, gridOut, nOut, asComplex(sOut));
}
