/*
 * zefra_complex: the one complex number type of Zefra_TDR_Helpers and its
 * sibling module interp_Sparam, 16 bytes, real part then imaginary part (the
 * same bytes as an interleaved re, im double buffer, and as one element of a
 * C99 double _Complex or a C++ std::complex<double> array).
 */
#ifndef ZEFRA_COMPLEX_H
#define ZEFRA_COMPLEX_H

typedef struct zefra_complex {
  double re;
  double im;
} zefra_complex;

#endif /* ZEFRA_COMPLEX_H */
