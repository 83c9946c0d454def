// Exports of the equalisation and noise routines.
#include "frame/call_frame.h"
#include "statistics/crosstalk.h"
#include "statistics/ctle.h"
#include "statistics/floating_dfe.h"
#include "zefra/tdr_helpers.h"

using zefra::CallFrame;
using zefra::DynArray;

void td_ctle(const double* input, double* output, int32_t sampleCount, double baseRate,
             double zeroFreq, double pole1Freq, double pole2Freq, double gainDb,
             double rateMultiplier) {
  CallFrame frame({zefra::spanOf(output, sampleCount)});
  const DynArray* in = frame.input(input, sampleCount);
  DynArray* out = frame.output(output, sampleCount);
  zefra::ctleFilter(in, baseRate, zeroFreq, pole1Freq, pole2Freq, gainDb, rateMultiplier, out);
  zefra::deliver(out, output, out->size[0]);
}

double Get_xtlk_noise_step(const double* response, const double* pattern,
                           int32_t responseLength, int32_t patternLength, int32_t samplesPerUi,
                           double amplitude) {
  CallFrame frame;
  return zefra::crosstalkNoisePower(frame.input(response, responseLength),
                                    frame.input(pattern, patternLength), samplesPerUi,
                                    amplitude);
}

void floatingDFE(const double* pulse, int32_t pulseLength, double searchStart,
                 double tapsPerGroup, double groupCount, double searchEnd, double maxTapWeight,
                 double mainCursor, int32_t /*reservedInt: never read*/, double* tapPositionsOut,
                 double* tapWeightsOut, double* tapLimitsOut) {
  CallFrame frame;
  // The kernel turns its pulse record into the residual ISI: a copy.
  DynArray* residual = frame.column(pulse, pulseLength);
  DynArray* positions = frame.doubleOutput(0, 0);
  DynArray* weights = frame.doubleOutput(0, 0);
  DynArray* limits = frame.doubleOutput(0, 0);
  zefra::floatingTapPlacement(residual, searchStart, tapsPerGroup, groupCount, searchEnd,
                              maxTapWeight, mainCursor, positions, weights, limits);
  zefra::deliver(positions, tapPositionsOut, zefra::numel(positions));
  zefra::deliver(weights, tapWeightsOut, zefra::numel(weights));
  zefra::deliver(limits, tapLimitsOut, zefra::numel(limits));
}
