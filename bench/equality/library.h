// The exports under test, as function-pointer types declared here from the
// public prototypes (complex buffers are interleaved double pairs, counts
// int32_t), resolved with dlopen/dlsym from the library files named on the
// command line.  No project header is included: the harness checks the
// binary interface as a host program sees it.
#ifndef ZEFRA_EQUALITY_LIBRARY_H
#define ZEFRA_EQUALITY_LIBRARY_H

#include <cstdint>
#include <string>

namespace eq {

using Reduction = double (*)(const double*, int32_t);
using Interp = void (*)(const double* x, const double* y, const double* xi, double* yi,
                        int32_t n, int32_t ni);
using SparamInterp = void (*)(const double* sIn, const double* fIn, int32_t nIn,
                              const double* fOut, int32_t nOut, double* sOut);
using Cascade = void (*)(const double*, const double*, const double*, const double*,
                         const double*, const double*, const double*, const double*, int32_t,
                         double*, double*, double*, double*);
using SynthTline = void (*)(const double* freq, int32_t nf, double zA, double zB,
                            const double* coeffs, int32_t m, double tau, double len,
                            double*, double*, double*, double*);
using MakePackage = void (*)(const double* freq, int32_t nFreq, double lineLength,
                             double shuntCapIn, double shuntCapOut, double lineImpedance,
                             double phaseDelay, const double* lossCoeffs, int32_t nLossCoeffs,
                             double refImpedance, double seriesInd, double shuntCapMid,
                             double*, double*, double*, double*);
using Mod = void (*)(const double* x, double m, double* y, int32_t n);
using TwoInOne = void (*)(const double* a, const double* b, double* y, int32_t na, int32_t nb);
using FilterFn = void (*)(const double* b, const double* a, const double* x, double* y,
                          int32_t nb, int32_t na, int32_t nx);
using Unary = void (*)(const double* x, double* y, int32_t n);
using PolyvalFn = void (*)(const double* p, const double* z, double* w, int32_t np, int32_t nz);
using PolyfitFn = void (*)(const double* x, const double* y, const void* unused,
                           double* coeffs, int32_t nx, int32_t ny);
using ButterDiv = void (*)(int32_t N, const double* w, double wc, int32_t nf, double* H);
using ButterConj = void (*)(int32_t N, const double* w, int32_t nf, double wc, double* H);
using CtleFn = void (*)(const double* input, double* output, int32_t sampleCount,
                        double baseRate, double zeroFreq, double pole1Freq, double pole2Freq,
                        double gainDb, double rateMultiplier);
using XtlkFn = double (*)(const double* response, const double* pattern, int32_t responseLength,
                          int32_t patternLength, int32_t samplesPerUi, double amplitude);
using DfeFn = void (*)(const double* pulse, int32_t pulseLength, double searchStart,
                       double tapsPerGroup, double groupCount, double searchEnd,
                       double maxTapWeight, double mainCursor, int32_t reservedInt,
                       double* tapPositionsOut, double* tapWeightsOut, double* tapLimitsOut);
using CursorPdf = bool (*)(const double* signal, int32_t levelCount, const void* reserved,
                           double** amplitudesOut, double** probabilitiesOut, double* offsetOut,
                           double* binWidth, int32_t sampleCount, int32_t* countOut);
using DcpdfFn = bool (*)(const double* points, const double* weights, double* centersOut,
                         double* densityOut, int32_t pointCount, int32_t weightCount,
                         int32_t outCount, double binWidth, double* offsetOut, double* widthOut);
using ReleaseFn = void (*)(double*);

struct Library {
  Reduction median, Eval_std, norm;
  Interp interp1q_Linear, interp_Linear_Extrap, interp_Linear_Extrap_Complex,
      zefra_linearInterp_c, interp1_Cubic;
  SparamInterp interp_Sparam;
  Cascade combineS4p;
  SynthTline synth_tline;
  MakePackage makePackage;
  Mod mod;
  TwoInOne Kron, conv;
  FilterFn Filter;
  Unary unwrap, poly, erfcinv;
  PolyvalFn Polyval;
  PolyfitFn Polyfit;
  ButterDiv Butterworth_TF;
  ButterConj GetButterworthTF;
  CtleFn td_ctle;
  XtlkFn Get_xtlk_noise_step;
  DfeFn floatingDFE;
  CursorPdf get_pdf_from_sampled_signal, get_pdf_from_sampled_signal_800G;
  DcpdfFn d_cpdf;
  ReleaseFn zefra_release_array;
  SparamInterp zefra_interp_Sparam_C;  // of the sibling module
};

// Loads the sibling first (so that the main library's dependency on
// libinterp_Sparam.so is met by exactly that file, whatever the run path or
// LD_LIBRARY_PATH say), then the main library; resolves every export.
// Exits with a message when a file or a symbol is missing.  `report`
// receives the file each export was resolved from (one line per file).
Library loadLibrary(const std::string& mainPath, const std::string& siblingPath,
                    std::string* report);

}  // namespace eq

#endif
