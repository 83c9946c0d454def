// Exports of the element-wise, structural, polynomial and filter-design
// routines.
#include <cstdint>

#include "frame/call_frame.h"
#include "numeric/butterworth.h"
#include "numeric/polyfit.h"
#include "numeric/vector_kernels.h"
#include "zefra/tdr_helpers.h"

using zefra::CallFrame;
using zefra::DynArray;
using zefra::spanOf;

void mod(const double* x, double m, double* y, int32_t n) {
  CallFrame frame({spanOf(y, n)});
  const DynArray* in = frame.input(x, n);
  DynArray* out = frame.output(y, n);
  zefra::modKernel(in, m, out);
  zefra::deliver(out, y, out->size[0]);
}

namespace {

// An export of two inputs, a (na values) and b (nb values), whose kernel
// writes at most `count` values to y.
void productOfTwo(void (*kernel)(const DynArray*, const DynArray*, DynArray*), const double* a,
                  const double* b, double* y, int32_t na, int32_t nb, int32_t count) {
  CallFrame frame({spanOf(y, count)});
  const DynArray* ra = frame.input(a, na);
  const DynArray* rb = frame.input(b, nb);
  DynArray* out = frame.output(y, count);
  kernel(ra, rb, out);
  zefra::deliver(out, y, out->size[0]);
}

}  // namespace

void Kron(const double* a, const double* b, double* y, int32_t na, int32_t nb) {
  const int64_t product = na > 0 && nb > 0 ? int64_t{na} * nb : 0;
  const int32_t count = product <= INT32_MAX ? static_cast<int32_t>(product) : 0;
  productOfTwo(zefra::kronKernel, a, b, y, na, nb, count);
}

void conv(const double* a, const double* b, double* y, int32_t na, int32_t nb) {
  // na + nb - 1 values (na + nb zeros when one input is empty), formed in
  // 64 bits: a length that does not fit is none.
  const int64_t wide = na != 0 && nb != 0 ? int64_t{na} + nb - 1 : int64_t{na} + nb;
  const int32_t count = wide > 0 && wide <= INT32_MAX ? static_cast<int32_t>(wide) : 0;
  productOfTwo(zefra::convKernel, a, b, y, na, nb, count);
}

void Filter(const double* b, const double* a, const double* x, double* y, int32_t nb,
            int32_t na, int32_t nx) {
  CallFrame frame({spanOf(y, nx)});
  const DynArray* rb = frame.input(b, nb);
  const DynArray* ra = frame.input(a, na);
  const DynArray* rx = frame.input(x, nx);
  DynArray* out = frame.output(y, nx);
  zefra::filterKernel(rb, ra, rx, out);
  zefra::deliver(out, y, out->size[0]);
}

void unwrap(const double* x, double* y, int32_t n) {
  CallFrame frame({spanOf(y, n)});
  const DynArray* in = frame.input(x, n);
  DynArray* out = frame.output(y, n);
  zefra::unwrapKernel(in, out);
  zefra::deliver(out, y, out->size[0]);
}

void poly(const double* r, double* c, int32_t n) {
  CallFrame frame;
  const DynArray* roots = frame.input(r, n);
  DynArray* out = frame.doubleOutput(1, n < INT32_MAX ? n + 1 : 0);
  zefra::polyFromRoots(roots, out);
  // The result is a row {1, n + 1}: its first extent hands back one value,
  // the leading coefficient.  With n < 0 there is none, and n + 1 beyond
  // 2^31 - 1 coefficients cannot be formed.
  if (n >= 0 && n < INT32_MAX) {
    zefra::deliver(out, c, out->size[0]);
  }
}

void Polyval(const double* p, const zefra_complex* z, zefra_complex* w, int32_t np,
             int32_t nz) {
  CallFrame frame({spanOf(w, nz)});
  const DynArray* coefficients = frame.input(p, np);
  const DynArray* points = frame.input(z, nz);
  DynArray* out = frame.output(w, nz);
  // Without coefficients the result is all zeros.
  for (int32_t i = 0; np <= 0 && i < nz; ++i) {
    w[i] = {0.0, 0.0};
  }
  out->size[0] = nz;
  zefra::polyvalComplex(coefficients, points, out);
}

void Polyfit(const double* x, const double* y, const void* /*unused: never read*/,
             double* coeffs, int32_t nx, int32_t ny) {
  CallFrame frame({spanOf(coeffs, 2)});
  zefra::polyfitLinear(frame.input(x, nx), frame.input(y, ny), coeffs);
}

void Butterworth_TF(int32_t N, const double* w, double wc, int32_t nf, zefra_complex* H) {
  zefra::butterworthByDivision(N, w, wc, nf, H);
}

void GetButterworthTF(int32_t N, const double* w, int32_t nf, double wc, zefra_complex* H) {
  zefra::butterworthByConjugate(N, w, nf, wc, H);
}
