// Cascade of two two-port networks over a frequency grid, point by point.
#include "sparam/two_port.h"

namespace zefra {

TwoPortRows::TwoPortRows(DynArray* s11, DynArray* s12, DynArray* s21, DynArray* s22, int32_t n) {
  for (DynArray* out : {s11, s12, s21, s22}) {
    reshape<Complex>(out, 1, n);
  }
  s11_ = elementsOf<Complex>(s11);
  s12_ = elementsOf<Complex>(s12);
  s21_ = elementsOf<Complex>(s21);
  s22_ = elementsOf<Complex>(s22);
}

void cascadeTwoPorts(const DynArray* a11, const DynArray* a12, const DynArray* a21,
                     const DynArray* a22, const DynArray* b11, const DynArray* b12,
                     const DynArray* b21, const DynArray* b22, DynArray* c11, DynArray* c12,
                     DynArray* c21, DynArray* c22) {
  const int32_t n = a11->size[1];
  const TwoPortRows out(c11, c12, c21, c22, n);
  const Complex* in[8] = {elementsOf<Complex>(a11), elementsOf<Complex>(a12),
                          elementsOf<Complex>(a21), elementsOf<Complex>(a22),
                          elementsOf<Complex>(b11), elementsOf<Complex>(b12),
                          elementsOf<Complex>(b21), elementsOf<Complex>(b22)};
  for (int32_t k = 0; k < n; ++k) {
    const TwoPort a = {in[0][k], in[1][k], in[2][k], in[3][k]};
    const TwoPort b = {in[4][k], in[5][k], in[6][k], in[7][k]};
    out.store(k, cascadePoint(a, b));
  }
}

}  // namespace zefra
