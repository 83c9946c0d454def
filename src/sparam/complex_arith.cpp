#include "sparam/complex_arith.h"

#include "sparam/complex_scalar.h"

namespace zefra {

void shapeComplexRow(DynArray* out, int32_t columns) {
  const int32_t before = numel(out);
  out->size[0] = 1;
  out->size[1] = columns;
  ensureCapacityComplex(out, before);
}

void complexSquare(const DynArray* x, DynArray* out) {
  const int32_t n = x->size[1];
  shapeComplexRow(out, n);
  const Complex* in = elementsOf<Complex>(x);
  Complex* result = elementsOf<Complex>(out);
  for (int32_t k = 0; k < n; ++k) {
    result[k] = squareOf(in[k]);
  }
}

void twoOverComplex(const DynArray* x, DynArray* out) {
  const int32_t count = numel(x);
  shapeComplexRow(out, x->size[1]);
  const Complex* in = elementsOf<Complex>(x);
  Complex* result = elementsOf<Complex>(out);
  for (int32_t k = 0; k < count; ++k) {
    result[k] = twoOver(in[k]);
  }
}

void complexDivide(const DynArray* a, const DynArray* b, DynArray* out) {
  const int32_t count = numel(a);
  shapeComplexRow(out, a->size[1]);
  const Complex* numerator = elementsOf<Complex>(a);
  const Complex* denominator = elementsOf<Complex>(b);
  Complex* result = elementsOf<Complex>(out);
  for (int32_t k = 0; k < count; ++k) {
    result[k] = quotient(numerator[k], denominator[k]);
  }
}

}  // namespace zefra
