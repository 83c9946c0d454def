// Exports of the element-wise, structural, polynomial and filter-design
// routines.
#include <cstdint>

#include "frame/call_frame.h"
#include "numeric/butterworth.h"
#include "numeric/polyfit.h"
#include "numeric/vector_kernels.h"
#include "zefra/tdr_helpers.h"

using zefra::CallFrame;
using zefra::Complex;
using zefra::DynArray;

namespace {

const Complex* asComplex(const zefra_complex* values) {
  return reinterpret_cast<const Complex*>(values);
}

Complex* asComplex(zefra_complex* values) { return reinterpret_cast<Complex*>(values); }

}  // namespace

// The element-wise kernels (mod, unwrap, Polyval) and Kron read only their
// inputs and write every result element; when the caller's output shares no
// memory with an input they work on the caller's buffers directly, otherwise
// on copies (the same results either way).

void mod(const double* x, double m, double* y, int32_t n) {
  CallFrame frame;
  if (!zefra::anyShared({zefra::spanOf(y, n)}, {zefra::spanOf(x, n)})) {
    zefra::modKernel(frame.borrowedColumn(x, n), m, frame.borrowedOutput(y, n));
    return;
  }
  const DynArray* in = frame.column(x, n);
  DynArray* out = frame.doubleOutput(n, 1);
  zefra::modKernel(in, m, out);
  zefra::copyFirstExtentOut(out, y);
}

void Kron(const double* a, const double* b, double* y, int32_t na, int32_t nb) {
  CallFrame frame;
  const int64_t product = na > 0 && nb > 0 ? int64_t{na} * nb : 0;
  const int32_t count = product <= INT32_MAX ? static_cast<int32_t>(product) : 0;
  if (!zefra::anyShared({zefra::spanOf(y, count)}, {zefra::spanOf(a, na), zefra::spanOf(b, nb)})) {
    zefra::kronKernel(frame.borrowedColumn(a, na), frame.borrowedColumn(b, nb),
                      frame.borrowedOutput(y, count));
    return;
  }
  const DynArray* ra = frame.column(a, na);
  const DynArray* rb = frame.column(b, nb);
  DynArray* out = frame.doubleOutput(0, 1);
  zefra::kronKernel(ra, rb, out);
  zefra::copyFirstExtentOut(out, y);
}

void conv(const double* a, const double* b, double* y, int32_t na, int32_t nb) {
  CallFrame frame;
  const DynArray* ra = frame.column(a, na);
  const DynArray* rb = frame.column(b, nb);
  // The output record is sized for na + nb - 1 values (the kernel then sets
  // its length); formed in 64 bits, a length that does not fit is none.
  const int64_t expected = int64_t{na} + nb - 1;
  DynArray* out = frame.doubleOutput(
      expected > 0 && expected <= INT32_MAX ? static_cast<int32_t>(expected) : 0, 1);
  zefra::convKernel(ra, rb, out);
  zefra::copyFirstExtentOut(out, y);
}

void Filter(const double* b, const double* a, const double* x, double* y, int32_t nb,
            int32_t na, int32_t nx) {
  CallFrame frame;
  const DynArray* rb = frame.column(b, nb);
  const DynArray* ra = frame.column(a, na);
  // The kernel only reads x and writes every y in order, so it may work on
  // the caller's buffers directly, unless they share memory: the FIR path
  // reads x[j - k] after writing y[j].
  if (!zefra::anyShared({zefra::spanOf(y, nx)}, {zefra::spanOf(x, nx)})) {
    zefra::filterKernel(rb, ra, frame.borrowedColumn(x, nx), frame.borrowedOutput(y, nx));
    return;
  }
  DynArray* out = frame.doubleOutput(nx, 1);
  zefra::filterKernel(rb, ra, frame.column(x, nx), out);
  zefra::copyFirstExtentOut(out, y);
}

void unwrap(const double* x, double* y, int32_t n) {
  CallFrame frame;
  if (!zefra::anyShared({zefra::spanOf(y, n)}, {zefra::spanOf(x, n)})) {
    zefra::unwrapKernel(frame.borrowedColumn(x, n), frame.borrowedOutput(y, n));
    return;
  }
  const DynArray* in = frame.column(x, n);
  DynArray* out = frame.doubleOutput(n, 1);
  zefra::unwrapKernel(in, out);
  zefra::copyFirstExtentOut(out, y);
}

void poly(const double* r, double* c, int32_t n) {
  CallFrame frame;
  const DynArray* roots = frame.column(r, n);
  DynArray* out = frame.doubleOutput(1, n < INT32_MAX ? n + 1 : 0);
  zefra::polyFromRoots(roots, out);
  // The result is a row {1, n + 1}: its first extent hands back one value,
  // the leading coefficient.  With n < 0 there is none, and n + 1 beyond
  // 2^31 - 1 coefficients cannot be formed.
  if (n >= 0 && n < INT32_MAX) {
    zefra::copyFirstExtentOut(out, c);
  }
}

void Polyval(const double* p, const zefra_complex* z, zefra_complex* w, int32_t np,
             int32_t nz) {
  CallFrame frame;
  const DynArray* coefficients = frame.column(p, np);
  if (!zefra::anyShared({zefra::spanOf(w, nz)}, {zefra::spanOf(z, nz), zefra::spanOf(p, np)})) {
    // Without coefficients the result is the zeros of a fresh output.
    for (int32_t i = 0; np <= 0 && i < nz; ++i) {
      w[i] = {0.0, 0.0};
    }
    DynArray* direct = frame.borrowedOutput(asComplex(w), nz);
    direct->size[0] = nz;
    zefra::polyvalComplex(coefficients, frame.borrowedColumn(asComplex(z), nz), direct);
    return;
  }
  const DynArray* points = frame.complexColumn(asComplex(z), nz);
  DynArray* out = frame.complexOutput(nz, 1);
  zefra::polyvalComplex(coefficients, points, out);
  zefra::copyFirstExtentOut(out, asComplex(w));
}

void Polyfit(const double* x, const double* y, const void* /*unused: never read*/,
             double* coeffs, int32_t nx, int32_t ny) {
  CallFrame frame;
  zefra::polyfitLinear(frame.column(x, nx), frame.column(y, ny), coeffs);
}

void Butterworth_TF(int32_t N, const double* w, double wc, int32_t nf, zefra_complex* H) {
  zefra::butterworthByDivision(N, w, wc, nf, asComplex(H));
}

void GetButterworthTF(int32_t N, const double* w, int32_t nf, double wc, zefra_complex* H) {
  zefra::butterworthByConjugate(N, w, nf, wc, asComplex(H));
}
