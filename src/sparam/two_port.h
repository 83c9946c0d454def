// Two-port networks as S-parameters, and their cascade.
#pragma once

#include "frame/dyn_array.h"
#include "frame/complex.h"

namespace zefra {

// The four S-parameters of a two-port at one frequency point.
struct TwoPort {
  Complex s11;
  Complex s12;
  Complex s21;
  Complex s22;
};

// Port 2 of `a` joined to port 1 of `b`, both on the same reference.  With
// the loop denominator D = 1 - A22*B11 of the reflections bouncing between
// the joined ports:
//   C11 = A11 + A12*(A21*B11)/D      C12 = A12*B12/D
//   C21 = A21*B21/D                  C22 = B22 + B21*(A22*B12)/D
// with the products grouped exactly so.  A zero D gives the non-finite
// values of the division at this point only.
inline TwoPort cascadePoint(const TwoPort& a, const TwoPort& b) {
  const Complex loop = complexMultiply(a.s22, b.s11);
  const Complex d = {1.0 - loop.re, 0.0 - loop.im};
  const Complex reflectedIn = complexDivide(complexMultiply(a.s12, complexMultiply(a.s21, b.s11)), d);
  const Complex reflectedOut = complexDivide(complexMultiply(b.s21, complexMultiply(a.s22, b.s12)), d);
  return {
      {a.s11.re + reflectedIn.re, a.s11.im + reflectedIn.im},
      complexDivide(complexMultiply(a.s12, b.s12), d),
      complexDivide(complexMultiply(a.s21, b.s21), d),
      {b.s22.re + reflectedOut.re, b.s22.im + reflectedOut.im},
  };
}

// Four result records S11, S12, S21, S22 shaped as rows of n points, written
// one frequency point at a time.
class TwoPortRows {
 public:
  TwoPortRows(DynArray* s11, DynArray* s12, DynArray* s21, DynArray* s22, int32_t n);
  void store(int32_t k, const TwoPort& point) const {
    s11_[k] = point.s11;
    s12_[k] = point.s12;
    s21_[k] = point.s21;
    s22_[k] = point.s22;
  }

 private:
  Complex* s11_;
  Complex* s12_;
  Complex* s21_;
  Complex* s22_;
};

// The cascade over rows of Complex: eight {1, N} inputs in the order A11,
// A12, A21, A22, B11, B12, B21, B22 (all of one length) and four result
// records, reshaped to {1, N}.
void cascadeTwoPorts(const DynArray* a11, const DynArray* a12, const DynArray* a21,
                     const DynArray* a22, const DynArray* b11, const DynArray* b12,
                     const DynArray* b21, const DynArray* b22, DynArray* c11, DynArray* c12,
                     DynArray* c21, DynArray* c22);

}  // namespace zefra
