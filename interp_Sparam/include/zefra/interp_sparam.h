/*
 * interp_Sparam: resampling of a complex S-parameter trace from one
 * frequency grid onto another.  A sibling module of Zefra_TDR_Helpers,
 * which forwards its interp_Sparam export here.
 *
 * Buffer notes read "name: in|out, type[length], units".
 */
#ifndef ZEFRA_INTERP_SPARAM_H
#define ZEFRA_INTERP_SPARAM_H

#include <stdint.h>

#include "zefra/zefra_complex.h"

#if defined(_WIN32)
#  if defined(ZEFRA_INTERP_SPARAM_BUILDING)
#    define ZEFRA_INTERP_SPARAM_API
#  else
#    define ZEFRA_INTERP_SPARAM_API __declspec(dllimport)
#  endif
#elif defined(ZEFRA_INTERP_SPARAM_BUILDING) && (defined(__GNUC__) || defined(__clang__))
#  define ZEFRA_INTERP_SPARAM_API __attribute__((visibility("default")))
#else
#  define ZEFRA_INTERP_SPARAM_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/*
 * Resamples the trace sIn, given at the frequencies fIn, at the
 * frequencies fOut.
 *   sIn: in, complex[nIn], the trace
 *   fIn: in, double[nIn], Hz, ascending
 *   nIn: number of input points
 *   fOut: in, double[nOut], Hz
 *   nOut: number of output points
 *   sOut: out, complex[nOut]
 * The page docs/interp_sparam.md (installed in share/doc/Zefra_TDR_Helpers)
 * describes the method and the policy outside the input band and for
 * invalid grids.  Never reads or writes outside the
 * buffers; keeps no pointer after it returns.
 * In short: inside the band, linear interpolation of the trace with its
 * bulk delay (from the end points of the unwrapped phase) removed, the
 * delay restored at the output frequency; a query equal to an input
 * frequency returns that sample.  Below a band that starts above DC, the
 * same interpolation towards a real DC value (the first sample without
 * delay, turned onto the real axis, modulus kept), returned as such at
 * f <= 0.  Above the band, the modulus of the last sample with the delay
 * rotation continued.  nIn <= 0: 0+0j; an input grid that is not finite
 * and strictly ascending: NaN; a NaN or infinite output frequency: NaN
 * there.  nOut <= 0 or a null fOut/sOut: nothing written.  sOut must not
 * overlap sIn.  Thread-safe; no allocation.
 */
ZEFRA_INTERP_SPARAM_API void zefra_interp_Sparam_C(const zefra_complex *sIn,
                                                   const double *fIn, int32_t nIn,
                                                   const double *fOut, int32_t nOut,
                                                   zefra_complex *sOut);

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif /* ZEFRA_INTERP_SPARAM_H */
