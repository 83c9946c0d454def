// Exports of the density routines.  The two cursor-density exports hand the
// caller two arrays allocated here; zefra_release_array releases them.
#include <algorithm>
#include <cstddef>
#include <new>

#include "frame/call_frame.h"
#include "statistics/histogram_pdf.h"
#include "statistics/level_convolution.h"
#include "zefra/tdr_helpers.h"

using zefra::CallFrame;
using zefra::DynArray;

namespace {

// A caller-owned copy of `count` values of `from`, 0.0 past its elements.
// Allocation failure raises std::bad_alloc.
double* handOver(const DynArray* from, int32_t count) {
  auto* out = new double[static_cast<size_t>(std::max(count, 0))];
  const int32_t available = std::min(zefra::numel(from), count);
  const double* values = zefra::elementsOf<double>(from);
  for (int32_t i = 0; i < count; ++i) {
    out[i] = i < available ? values[i] : 0.0;
  }
  return out;
}

using DensityKernel = bool (*)(const DynArray*, int32_t, double, DynArray*, DynArray*, double*,
                               double*);

bool cursorDensity(DensityKernel kernel, const double* signal, int32_t levelCount,
                   double** amplitudesOut, double** probabilitiesOut, double* offsetOut,
                   double* binWidth, int32_t sampleCount, int32_t* countOut) {
  CallFrame frame;
  const DynArray* samples = frame.inputRow(signal, sampleCount);
  DynArray* amplitudes = frame.doubleOutput(1, 0);
  DynArray* density = frame.doubleOutput(1, 0);
  const bool ok =
      kernel(samples, levelCount, *binWidth, amplitudes, density, offsetOut, binWidth);
  const int32_t count = std::max(amplitudes->size[1], 0);
  *countOut = count;
  *amplitudesOut = handOver(amplitudes, count);
  *probabilitiesOut = handOver(density, count);
  return ok;
}

}  // namespace

bool get_pdf_from_sampled_signal(const double* signal, int32_t levelCount,
                                 const void* /*reserved: never read*/, double** amplitudesOut,
                                 double** probabilitiesOut, double* offsetOut, double* binWidth,
                                 int32_t sampleCount, int32_t* countOut) {
  return cursorDensity(zefra::levelConvolutionPdf, signal, levelCount, amplitudesOut,
                       probabilitiesOut, offsetOut, binWidth, sampleCount, countOut);
}

bool get_pdf_from_sampled_signal_800G(const double* signal, int32_t levelCount,
                                      const void* /*reserved: never read*/,
                                      double** amplitudesOut, double** probabilitiesOut,
                                      double* offsetOut, double* binWidth, int32_t sampleCount,
                                      int32_t* countOut) {
  return cursorDensity(zefra::sortedLevelConvolutionPdf, signal, levelCount, amplitudesOut,
                       probabilitiesOut, offsetOut, binWidth, sampleCount, countOut);
}

bool d_cpdf(const double* points, const double* weights, double* centersOut, double* densityOut,
            int32_t pointCount, int32_t weightCount, int32_t outCount, double binWidth,
            double* offsetOut, double* widthOut) {
  CallFrame frame;
  const DynArray* pointRecord = frame.inputRow(points, pointCount);
  const DynArray* weightRecord = frame.inputRow(weights, weightCount);
  DynArray* centers = frame.doubleOutput(1, outCount);
  DynArray* density = frame.doubleOutput(1, outCount);
  const bool ok = zefra::quantizedHistogramPdf(binWidth, pointRecord, weightRecord, density,
                                               centers, offsetOut, widthOut);
  // The count comes from the centre grid; past the trimmed density the
  // values are 0.0.
  const int32_t count = centers->size[1];
  const int32_t available = std::min(zefra::numel(density), count);
  const double* c = zefra::elementsOf<double>(centers);
  const double* d = zefra::elementsOf<double>(density);
  for (int32_t i = 0; i < count; ++i) {
    centersOut[i] = c[i];
    densityOut[i] = i < available ? d[i] : 0.0;
  }
  return ok;
}

void zefra_release_array(double* array) { delete[] array; }
