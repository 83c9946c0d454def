// Exports of the channel models: S-parameter arrays in, S-parameter arrays
// out, each wrapped as a {1, N} row record.
#include "frame/call_frame.h"
#include "sparam/package_model.h"
#include "sparam/two_port.h"
#include "tline/line_synthesis.h"
#include "zefra/tdr_helpers.h"

using zefra::CallFrame;
using zefra::DynArray;
using zefra::spanOf;

namespace {

// The four result records S11, S12, S21, S22 over the caller's buffers.
struct FourPortResults {
  FourPortResults(CallFrame& frame, zefra_complex* s11, zefra_complex* s12, zefra_complex* s21,
                  zefra_complex* s22, int32_t n)
      : out{s11, s12, s21, s22}, count(n) {
    for (int k = 0; k < 4; ++k) {
      records[k] = frame.output(out[k], n);
    }
  }

  void deliver() const {
    for (int k = 0; k < 4; ++k) {
      zefra::deliver(records[k], out[k], count);
    }
  }

  DynArray* records[4];
  zefra_complex* out[4];
  int32_t count;
};

}  // namespace

void combineS4p(const zefra_complex* A11, const zefra_complex* A12, const zefra_complex* A21,
                const zefra_complex* A22, const zefra_complex* B11, const zefra_complex* B12,
                const zefra_complex* B21, const zefra_complex* B22, int32_t N,
                zefra_complex* C11, zefra_complex* C12, zefra_complex* C21,
                zefra_complex* C22) {
  CallFrame frame({spanOf(C11, N), spanOf(C12, N), spanOf(C21, N), spanOf(C22, N)});
  const FourPortResults c(frame, C11, C12, C21, C22, N);
  zefra::cascadeTwoPorts(frame.inputRow(A11, N), frame.inputRow(A12, N), frame.inputRow(A21, N),
                         frame.inputRow(A22, N), frame.inputRow(B11, N), frame.inputRow(B12, N),
                         frame.inputRow(B21, N), frame.inputRow(B22, N), c.records[0],
                         c.records[1], c.records[2], c.records[3]);
  c.deliver();
}

void synth_tline(const double* freq, int32_t nf, double zA, double zB, const double* coeffs,
                 int32_t m, double tau, double len, zefra_complex* s11, zefra_complex* s12,
                 zefra_complex* s21, zefra_complex* s22) {
  CallFrame frame({spanOf(s11, nf), spanOf(s12, nf), spanOf(s21, nf), spanOf(s22, nf)});
  const FourPortResults s(frame, s11, s12, s21, s22, nf);
  zefra::synthesizeLineSParams(frame.inputRow(freq, nf), zA, zB, frame.inputRow(coeffs, m), tau,
                               len, s.records[0], s.records[1], s.records[2], s.records[3]);
  s.deliver();
}

void makePackage(const double* freq, int32_t nFreq, double lineLength, double shuntCapIn,
                 double shuntCapOut, double lineImpedance, double phaseDelay,
                 const double* lossCoeffs, int32_t nLossCoeffs, double refImpedance,
                 double seriesInd, double shuntCapMid, zefra_complex* s11, zefra_complex* s12,
                 zefra_complex* s21, zefra_complex* s22) {
  CallFrame frame(
      {spanOf(s11, nFreq), spanOf(s12, nFreq), spanOf(s21, nFreq), spanOf(s22, nFreq)});
  const FourPortResults s(frame, s11, s12, s21, s22, nFreq);
  zefra::buildPackageModel(frame.inputRow(freq, nFreq), lineLength, shuntCapIn, shuntCapOut,
                           lineImpedance, phaseDelay, frame.inputRow(lossCoeffs, nLossCoeffs),
                           refImpedance, seriesInd, shuntCapMid, s.records[0], s.records[1],
                           s.records[2], s.records[3]);
  s.deliver();
}
