// Exports of the channel models: S-parameter arrays in, S-parameter arrays
// out, each wrapped as a {1, N} row record.
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

// Four empty complex result records, filled by a kernel, then N points of
// each copied to the caller's S11, S12, S21, S22.
struct FourPortResults {
  explicit FourPortResults(CallFrame& frame)
      : records{frame.complexOutput(0, 0), frame.complexOutput(0, 0),
                frame.complexOutput(0, 0), frame.complexOutput(0, 0)} {}

  void copyOut(zefra_complex* s11, zefra_complex* s12, zefra_complex* s21, zefra_complex* s22,
               int32_t count) const {
    zefra::copyCountOut(records[0], asComplex(s11), count);
    zefra::copyCountOut(records[1], asComplex(s12), count);
    zefra::copyCountOut(records[2], asComplex(s21), count);
    zefra::copyCountOut(records[3], asComplex(s22), count);
  }

  DynArray* records[4];
};

}  // namespace

void combineS4p(const zefra_complex* A11, const zefra_complex* A12, const zefra_complex* A21,
                const zefra_complex* A22, const zefra_complex* B11, const zefra_complex* B12,
                const zefra_complex* B21, const zefra_complex* B22, int32_t N,
                zefra_complex* C11, zefra_complex* C12, zefra_complex* C21,
                zefra_complex* C22) {
  CallFrame frame;
  DynArray* a11 = frame.complexRow(asComplex(A11), N);
  DynArray* a12 = frame.complexRow(asComplex(A12), N);
  DynArray* a21 = frame.complexRow(asComplex(A21), N);
  DynArray* a22 = frame.complexRow(asComplex(A22), N);
  DynArray* b11 = frame.complexRow(asComplex(B11), N);
  DynArray* b12 = frame.complexRow(asComplex(B12), N);
  DynArray* b21 = frame.complexRow(asComplex(B21), N);
  DynArray* b22 = frame.complexRow(asComplex(B22), N);
  const FourPortResults c(frame);
  zefra::cascadeTwoPorts(a11, a12, a21, a22, b11, b12, b21, b22, c.records[0], c.records[1],
                         c.records[2], c.records[3]);
  c.copyOut(C11, C12, C21, C22, N);
}

void synth_tline(const double* freq, int32_t nf, double zA, double zB, const double* coeffs,
                 int32_t m, double tau, double len, zefra_complex* s11, zefra_complex* s12,
                 zefra_complex* s21, zefra_complex* s22) {
  CallFrame frame;
  DynArray* frequencies = frame.row(freq, nf);
  DynArray* coefficients = frame.row(coeffs, m);
  const FourPortResults s(frame);
  zefra::synthesizeLineSParams(frequencies, zA, zB, coefficients, tau, len, s.records[0],
                               s.records[1], s.records[2], s.records[3]);
  s.copyOut(s11, s12, s21, s22, nf);
}

void makePackage(const double* freq, int32_t nFreq, double lineLength, double shuntCapIn,
                 double shuntCapOut, double lineImpedance, double phaseDelay,
                 const double* lossCoeffs, int32_t nLossCoeffs, double refImpedance,
                 double seriesInd, double shuntCapMid, zefra_complex* s11, zefra_complex* s12,
                 zefra_complex* s21, zefra_complex* s22) {
  CallFrame frame;
  DynArray* frequencies = frame.row(freq, nFreq);
  DynArray* loss = frame.row(lossCoeffs, nLossCoeffs);
  const FourPortResults s(frame);
  zefra::buildPackageModel(frequencies, lineLength, shuntCapIn, shuntCapOut, lineImpedance,
                           phaseDelay, loss, refImpedance, seriesInd, shuntCapMid, s.records[0],
                           s.records[1], s.records[2], s.records[3]);
  s.copyOut(s11, s12, s21, s22, nFreq);
}
