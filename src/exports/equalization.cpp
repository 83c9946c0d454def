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
  CallFrame frame;
  // The filter reads x[k] before it writes y[k] and never looks back, so it
  // runs on the caller's buffers directly unless they share memory.
  if (!zefra::anyShared({zefra::spanOf(output, sampleCount)}, {zefra::spanOf(input, sampleCount)})) {
    zefra::ctleFilter(frame.borrowedColumn(input, sampleCount), baseRate, zeroFreq, pole1Freq,
                      pole2Freq, gainDb, rateMultiplier,
                      frame.borrowedOutput(output, sampleCount));
    return;
  }
  DynArray* in = frame.column(input, sampleCount);
  DynArray* out = frame.doubleOutput(0, 1);
  zefra::ctleFilter(in, baseRate, zeroFreq, pole1Freq, pole2Freq, gainDb, rateMultiplier, out);
  zefra::copyFirstExtentOut(out, output);
}

double Get_xtlk_noise_step(const double* response, const double* pattern,
                           int32_t responseLength, int32_t patternLength, int32_t samplesPerUi,
                           double amplitude) {
  CallFrame frame;
  DynArray* responseRecord = frame.column(response, responseLength);
  DynArray* patternRecord = frame.column(pattern, patternLength);
  return zefra::crosstalkNoisePower(responseRecord, patternRecord, samplesPerUi, amplitude);
}

void floatingDFE(const double* pulse, int32_t pulseLength, double searchStart,
                 double tapsPerGroup, double groupCount, double searchEnd, double maxTapWeight,
                 double mainCursor, int32_t /*reservedInt: never read*/, double* tapPositionsOut,
                 double* tapWeightsOut, double* tapLimitsOut) {
  CallFrame frame;
  DynArray* pulseRecord = frame.column(pulse, pulseLength);
  DynArray* positions = frame.doubleOutput(0, 0);
  DynArray* weights = frame.doubleOutput(0, 0);
  DynArray* limits = frame.doubleOutput(0, 0);
  zefra::floatingTapPlacement(pulseRecord, searchStart, tapsPerGroup, groupCount, searchEnd,
                              maxTapWeight, mainCursor, positions, weights, limits);
  zefra::copyCountOut(positions, tapPositionsOut, zefra::numel(positions));
  zefra::copyCountOut(weights, tapWeightsOut, zefra::numel(weights));
  zefra::copyCountOut(limits, tapLimitsOut, zefra::numel(limits));
}
