// Exports of the channel models: S-parameter arrays in, S-parameter arrays
// out, each wrapped as a {1, N} row record.
//
// The kernels only read their inputs and write each output point once,
// after reading that point's inputs, so the caller's buffers serve as the
// records directly (no copies in or out) whenever the outputs share no
// memory with each other or with the inputs.  Otherwise the copying frame
// runs, with the same results.
#include <cstddef>

#include "frame/call_frame.h"
#include "sparam/package_model.h"
#include "sparam/two_port.h"
#include "tline/line_synthesis.h"
#include "zefra/tdr_helpers.h"

using zefra::CallFrame;
using zefra::Complex;
using zefra::DynArray;

static_assert(sizeof(zefra_complex) == sizeof(Complex), "complex layouts must match");

namespace {

const Complex* asComplex(const zefra_complex* values) {
  return reinterpret_cast<const Complex*>(values);
}

Complex* asComplex(zefra_complex* values) { return reinterpret_cast<Complex*>(values); }

using zefra::anyShared;

size_t complexBytes(int32_t n) { return n > 0 ? static_cast<size_t>(n) * sizeof(Complex) : 0; }
size_t doubleBytes(int32_t n) { return n > 0 ? static_cast<size_t>(n) * sizeof(double) : 0; }

// The four result records S11, S12, S21, S22: the caller's buffers when
// `direct`, otherwise empty records whose first `count` points are copied
// out by copyOut.
struct FourPortResults {
  FourPortResults(CallFrame& frame, bool direct, zefra_complex* s11, zefra_complex* s12,
                  zefra_complex* s21, zefra_complex* s22, int32_t count)
      : direct_(direct), out_{s11, s12, s21, s22}, count_(count) {
    for (int k = 0; k < 4; ++k) {
      records[k] = direct ? frame.borrowedOutput(asComplex(out_[k]), count)
                          : frame.complexOutput(0, 0);
    }
  }

  void copyOut() const {
    if (direct_) {
      return;  // the kernel wrote the caller's buffers
    }
    for (int k = 0; k < 4; ++k) {
      zefra::copyCountOut(records[k], asComplex(out_[k]), count_);
    }
  }

  DynArray* records[4];

 private:
  bool direct_;
  zefra_complex* out_[4];
  int32_t count_;
};

}  // namespace

void combineS4p(const zefra_complex* A11, const zefra_complex* A12, const zefra_complex* A21,
                const zefra_complex* A22, const zefra_complex* B11, const zefra_complex* B12,
                const zefra_complex* B21, const zefra_complex* B22, int32_t N,
                zefra_complex* C11, zefra_complex* C12, zefra_complex* C21,
                zefra_complex* C22) {
  CallFrame frame;
  const size_t bytes = complexBytes(N);
  const bool direct = !anyShared({{C11, bytes}, {C12, bytes}, {C21, bytes}, {C22, bytes}},
                                 {{A11, bytes}, {A12, bytes}, {A21, bytes}, {A22, bytes},
                                  {B11, bytes}, {B12, bytes}, {B21, bytes}, {B22, bytes}});
  auto in = [&](const zefra_complex* v) {
    return direct ? frame.borrowedRow(asComplex(v), N) : frame.complexRow(asComplex(v), N);
  };
  const DynArray* a11 = in(A11);
  const DynArray* a12 = in(A12);
  const DynArray* a21 = in(A21);
  const DynArray* a22 = in(A22);
  const DynArray* b11 = in(B11);
  const DynArray* b12 = in(B12);
  const DynArray* b21 = in(B21);
  const DynArray* b22 = in(B22);
  const FourPortResults c(frame, direct, C11, C12, C21, C22, N);
  zefra::cascadeTwoPorts(a11, a12, a21, a22, b11, b12, b21, b22, c.records[0], c.records[1],
                         c.records[2], c.records[3]);
  c.copyOut();
}

void synth_tline(const double* freq, int32_t nf, double zA, double zB, const double* coeffs,
                 int32_t m, double tau, double len, zefra_complex* s11, zefra_complex* s12,
                 zefra_complex* s21, zefra_complex* s22) {
  CallFrame frame;
  const size_t bytes = complexBytes(nf);
  const bool direct = !anyShared({{s11, bytes}, {s12, bytes}, {s21, bytes}, {s22, bytes}},
                                 {{freq, doubleBytes(nf)}, {coeffs, doubleBytes(m)}});
  // The coefficients are few and read with their zero-filled tail, so they
  // are always copied.
  const DynArray* frequencies = direct ? frame.borrowedRow(freq, nf) : frame.row(freq, nf);
  DynArray* coefficients = frame.row(coeffs, m);
  const FourPortResults s(frame, direct, s11, s12, s21, s22, nf);
  zefra::synthesizeLineSParams(frequencies, zA, zB, coefficients, tau, len, s.records[0],
                               s.records[1], s.records[2], s.records[3]);
  s.copyOut();
}

void makePackage(const double* freq, int32_t nFreq, double lineLength, double shuntCapIn,
                 double shuntCapOut, double lineImpedance, double phaseDelay,
                 const double* lossCoeffs, int32_t nLossCoeffs, double refImpedance,
                 double seriesInd, double shuntCapMid, zefra_complex* s11, zefra_complex* s12,
                 zefra_complex* s21, zefra_complex* s22) {
  CallFrame frame;
  const size_t bytes = complexBytes(nFreq);
  const bool direct =
      !anyShared({{s11, bytes}, {s12, bytes}, {s21, bytes}, {s22, bytes}},
                 {{freq, doubleBytes(nFreq)}, {lossCoeffs, doubleBytes(nLossCoeffs)}});
  const DynArray* frequencies = direct ? frame.borrowedRow(freq, nFreq) : frame.row(freq, nFreq);
  DynArray* loss = frame.row(lossCoeffs, nLossCoeffs);
  const FourPortResults s(frame, direct, s11, s12, s21, s22, nFreq);
  zefra::buildPackageModel(frequencies, lineLength, shuntCapIn, shuntCapOut, lineImpedance,
                           phaseDelay, loss, refImpedance, seriesInd, shuntCapMid, s.records[0],
                           s.records[1], s.records[2], s.records[3]);
  s.copyOut();
}
