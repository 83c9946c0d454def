/*
 * Calls every export of Zefra_TDR_Helpers on fixed, generated inputs and
 * prints each output double as "name index hexbits", so that the results of
 * a Windows build (run under Wine) can be compared bit for bit with those
 * of the Linux build.  The library is loaded at run time by name and every
 * export is resolved by name, as the measurement application does.
 *
 *   zefra_cross_host LIBRARY                    run every export
 *   zefra_cross_host LIBRARY --expect-load-failure
 *                                               exit 0 only if loading fails
 */
#include <inttypes.h>
#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "zefra/tdr_helpers.h"

#if defined(_WIN32)
#include <windows.h>
typedef HMODULE library_handle;
static library_handle open_library(const char *name) { return LoadLibraryA(name); }
static void *find_symbol(library_handle lib, const char *name) {
  return (void *)(uintptr_t)GetProcAddress(lib, name);
}
#else
#include <dlfcn.h>
typedef void *library_handle;
static library_handle open_library(const char *name) { return dlopen(name, RTLD_NOW | RTLD_LOCAL); }
static void *find_symbol(library_handle lib, const char *name) { return dlsym(lib, name); }
#endif

static library_handle lib;
static int missing = 0;

/* A generic function pointer: ISO C converts between function pointer types
 * but not from an object pointer, so the symbol's bits are copied. */
typedef void (*any_fn)(void);

static any_fn resolve(const char *name) {
  any_fn fn = NULL;
  void *symbol = find_symbol(lib, name);
  if (symbol == NULL) {
    printf("missing %s\n", name);
    ++missing;
  } else {
    memcpy(&fn, &symbol, sizeof fn);
  }
  return fn;
}

/* Function pointer types, one per signature. */
typedef double (*reduce_fn)(const double *, int32_t);
typedef void (*mod_fn)(const double *, double, double *, int32_t);
typedef void (*pair_fn)(const double *, const double *, double *, int32_t, int32_t);
typedef void (*filter_fn)(const double *, const double *, const double *, double *, int32_t,
                          int32_t, int32_t);
typedef void (*map_fn)(const double *, double *, int32_t);
typedef void (*polyval_fn)(const double *, const zefra_complex *, zefra_complex *, int32_t,
                           int32_t);
typedef void (*polyfit_fn)(const double *, const double *, const void *, double *, int32_t,
                           int32_t);
typedef void (*butter1_fn)(int32_t, const double *, double, int32_t, zefra_complex *);
typedef void (*butter2_fn)(int32_t, const double *, int32_t, double, zefra_complex *);
typedef void (*interp_fn)(const double *, const double *, const double *, double *, int32_t,
                          int32_t);
typedef void (*cinterp_fn)(const double *, const zefra_complex *, const double *,
                           zefra_complex *, int32_t, int32_t);
typedef void (*sparam_fn)(const zefra_complex *, const double *, int32_t, const double *,
                          int32_t, zefra_complex *);
typedef void (*tline_fn)(const double *, int32_t, double, double, const double *, int32_t,
                         double, double, zefra_complex *, zefra_complex *, zefra_complex *,
                         zefra_complex *);
typedef void (*combine_fn)(const zefra_complex *, const zefra_complex *, const zefra_complex *,
                           const zefra_complex *, const zefra_complex *, const zefra_complex *,
                           const zefra_complex *, const zefra_complex *, int32_t,
                           zefra_complex *, zefra_complex *, zefra_complex *, zefra_complex *);
typedef void (*package_fn)(const double *, int32_t, double, double, double, double, double,
                           const double *, int32_t, double, double, double, zefra_complex *,
                           zefra_complex *, zefra_complex *, zefra_complex *);
typedef bool (*pdf_fn)(const double *, int32_t, const void *, double **, double **, double *,
                       double *, int32_t, int32_t *);
typedef bool (*cpdf_fn)(const double *, const double *, double *, double *, int32_t, int32_t,
                        int32_t, double, double *, double *);
typedef void (*release_fn)(double *);
typedef double (*xtlk_fn)(const double *, const double *, int32_t, int32_t, int32_t, double);
typedef void (*ctle_fn)(const double *, double *, int32_t, double, double, double, double,
                        double, double);
typedef void (*dfe_fn)(const double *, int32_t, double, double, double, double, double, double,
                       int32_t, double *, double *, double *);

/* Deterministic inputs (xorshift64). */
static uint64_t state = 0x9E3779B97F4A7C15ULL;
static double uniform(double lo, double hi) {
  state ^= state << 13;
  state ^= state >> 7;
  state ^= state << 17;
  return lo + (hi - lo) * ((double)(state >> 11) * (1.0 / 9007199254740992.0));
}
static void fill(double *v, int n, double lo, double hi) {
  for (int i = 0; i < n; ++i) v[i] = uniform(lo, hi);
}
static void fill_sorted(double *v, int n, double start, double step_max) {
  double x = start;
  for (int i = 0; i < n; ++i) {
    x += uniform(0.01, step_max);
    v[i] = x;
  }
}

static void emit(const char *name, const double *v, int n) {
  for (int i = 0; i < n; ++i) {
    uint64_t bits;
    memcpy(&bits, &v[i], sizeof bits);
    printf("%s %d %016" PRIx64 "\n", name, i, bits);
  }
}
static void emit_complex(const char *name, const zefra_complex *v, int n) {
  emit(name, (const double *)v, 2 * n);
}

#define CALL(type, name) type name##_p = (type)resolve(#name); if (name##_p)

static double x[512], y[512], z[512], w[512], out[8192], out2[8192], out3[8192];
static zefra_complex cx[512], cy[512], cz[512], c4[8][128], co[4][512];

int main(int argc, char **argv) {
  if (argc < 2) {
    fprintf(stderr, "usage: %s LIBRARY [--expect-load-failure]\n", argv[0]);
    return 2;
  }
  lib = open_library(argv[1]);
  if (argc > 2 && strcmp(argv[2], "--expect-load-failure") == 0) {
    printf(lib == NULL ? "load failed as expected\n" : "library loaded unexpectedly\n");
    return lib == NULL ? 0 : 1;
  }
  if (lib == NULL) {
    printf("cannot load %s\n", argv[1]);
    return 1;
  }

  fill(x, 101, -5.0, 5.0);
  {
    CALL(reduce_fn, median) { double r = median_p(x, 101); emit("median", &r, 1); r = median_p(x, 100); emit("median_even", &r, 1); }
  }
  { CALL(reduce_fn, Eval_std) { double r = Eval_std_p(x, 101); emit("Eval_std", &r, 1); } }
  { CALL(reduce_fn, norm) { double r = norm_p(x, 101); emit("norm", &r, 1); } }
  {
    CALL(mod_fn, mod) {
      mod_p(x, 0.7, out, 101); emit("mod_real", out, 101);
      mod_p(x, 3.0, out, 101); emit("mod_integer", out, 101);
    }
  }
  fill(y, 7, -2.0, 2.0);
  { CALL(pair_fn, Kron) { Kron_p(x, y, out, 5, 7); emit("Kron", out, 35); } }
  { CALL(pair_fn, conv) { conv_p(x, y, out, 100, 7); emit("conv", out, 106); } }
  {
    CALL(filter_fn, Filter) {
      const double one[1] = {1.0};
      const double b3[3] = {0.2, 0.3, 0.1}, a3[3] = {2.0, -0.4, 0.2};
      Filter_p(y, one, x, out, 7, 1, 101); emit("Filter_fir", out, 101);
      Filter_p(b3, a3, x, out, 3, 3, 101); emit("Filter_iir", out, 101);
    }
  }
  {
    CALL(map_fn, unwrap) {
      fill(z, 100, -10.0, 10.0);
      z[10] = 0.0;
      unwrap_p(z, out, 100); emit("unwrap", out, 100);
    }
  }
  { CALL(map_fn, poly) { out[0] = 7.0; out[1] = 7.0; poly_p(y, out, 5); emit("poly", out, 2); } }
  {
    CALL(polyval_fn, Polyval) {
      for (int i = 0; i < 20; ++i) { cx[i].re = uniform(-2, 2); cx[i].im = uniform(-2, 2); }
      Polyval_p(y, cx, cy, 6, 20); emit_complex("Polyval", cy, 20);
    }
  }
  {
    CALL(polyfit_fn, Polyfit) {
      fill(z, 50, 0.0, 10.0);
      for (int i = 0; i < 50; ++i) w[i] = 3.0 * z[i] - 1.0 + uniform(-0.1, 0.1);
      Polyfit_p(z, w, NULL, out, 50, 50); emit("Polyfit", out, 2);
    }
  }
  {
    CALL(map_fn, erfcinv) {
      fill(z, 100, 0.0, 2.0);
      z[0] = 1e-300; z[1] = 2.0 - 0x1p-52; z[2] = 1.0; z[3] = 0.5;
      erfcinv_p(z, out, 100); emit("erfcinv", out, 100);
    }
  }
  fill_sorted(w, 50, 0.0, 0.2);
  {
    CALL(butter1_fn, Butterworth_TF) { Butterworth_TF_p(5, w, 2.0, 50, co[0]); emit_complex("Butterworth_TF", co[0], 50); }
  }
  {
    CALL(butter2_fn, GetButterworthTF) { GetButterworthTF_p(5, w, 50, 2.0, co[0]); emit_complex("GetButterworthTF", co[0], 50); }
  }
  fill_sorted(z, 30, 0.0, 1.0);
  fill(y, 30, -3.0, 3.0);
  fill(x, 100, -1.0, z[29] + 1.0);
  { CALL(interp_fn, interp1q_Linear) { interp1q_Linear_p(z, y, x, out, 30, 100); emit("interp1q_Linear", out, 100); } }
  { CALL(interp_fn, interp_Linear_Extrap) { interp_Linear_Extrap_p(z, y, x, out, 30, 100); emit("interp_Linear_Extrap", out, 100); } }
  { CALL(interp_fn, interp1_Cubic) { interp1_Cubic_p(z, y, x, out, 30, 100); emit("interp1_Cubic", out, 100); } }
  for (int i = 0; i < 30; ++i) { cz[i].re = uniform(-1, 1); cz[i].im = uniform(-1, 1); }
  {
    CALL(cinterp_fn, interp_Linear_Extrap_Complex) { interp_Linear_Extrap_Complex_p(z, cz, x, co[0], 30, 100); emit_complex("interp_Linear_Extrap_Complex", co[0], 100); }
  }
  {
    CALL(cinterp_fn, zefra_linearInterp_c) { zefra_linearInterp_c_p(z, cz, x, co[0], 30, 100); emit_complex("zefra_linearInterp_c", co[0], 100); }
  }
  {
    CALL(sparam_fn, interp_Sparam) {
      for (int i = 0; i < 40; ++i) {
        w[i] = 1e8 + 2.5e8 * i;
        cx[i].re = 0.9 * cos(-6.283185307179586 * w[i] * 1.1e-9);
        cx[i].im = 0.9 * sin(-6.283185307179586 * w[i] * 1.1e-9);
      }
      fill(x, 100, 0.0, 1.2e10);
      interp_Sparam_p(cx, w, 40, x, 100, co[0]); emit_complex("interp_Sparam", co[0], 100);
    }
  }
  fill_sorted(w, 100, 0.0, 5e8);
  w[0] = 0.0;
  {
    CALL(tline_fn, synth_tline) {
      const double coeffs[3] = {0.01, 0.05, 0.02};
      synth_tline_p(w, 100, 60.0, 25.0, coeffs, 3, 0.15, 3.0, co[0], co[1], co[2], co[3]);
      for (int k = 0; k < 4; ++k) emit_complex("synth_tline", co[k], 100);
    }
  }
  {
    CALL(combine_fn, combineS4p) {
      for (int k = 0; k < 8; ++k)
        for (int i = 0; i < 50; ++i) { c4[k][i].re = uniform(-0.6, 0.6); c4[k][i].im = uniform(-0.6, 0.6); }
      combineS4p_p(c4[0], c4[1], c4[2], c4[3], c4[4], c4[5], c4[6], c4[7], 50, co[0], co[1], co[2], co[3]);
      for (int k = 0; k < 4; ++k) emit_complex("combineS4p", co[k], 50);
    }
  }
  {
    CALL(package_fn, makePackage) {
      const double loss[3] = {0.01, 0.02, 0.01};
      makePackage_p(w, 100, 1.5, 0.2e-12, 0.3e-12, 90.0, 0.1, loss, 3, 50.0, 0.5e-9, 0.1e-12, co[0], co[1], co[2], co[3]);
      for (int k = 0; k < 4; ++k) emit_complex("makePackage", co[k], 100);
    }
  }
  {
    release_fn release = (release_fn)resolve("zefra_release_array");
    const char *names[2] = {"get_pdf_from_sampled_signal", "get_pdf_from_sampled_signal_800G"};
    for (int k = 0; k < 2; ++k) {
      pdf_fn fn = (pdf_fn)resolve(names[k]);
      if (fn && release) {
        double signal[20], *amplitudes = NULL, *probabilities = NULL, offset = 0.0, width = 0.013;
        int32_t count = 0;
        signal[0] = 0.37;
        for (int i = 1; i < 20; ++i) signal[i] = 0.37 * pow(0.7, i) * (i % 3 == 2 ? -1.0 : 1.0);
        const bool ok = fn(signal, 4, NULL, &amplitudes, &probabilities, &offset, &width, 20, &count);
        double head[4] = {ok ? 1.0 : 0.0, (double)count, offset, width};
        emit(names[k], head, 4);
        emit(names[k], amplitudes, count);
        emit(names[k], probabilities, count);
        release(amplitudes);
        release(probabilities);
      }
    }
  }
  {
    CALL(cpdf_fn, d_cpdf) {
      double offset = 0.0, width = 0.0;
      fill(z, 50, -0.2, 0.2);
      for (int i = 0; i < 50; ++i) y[i] = 0.02;
      memset(out, 0, sizeof out);
      memset(out2, 0, sizeof out2);
      const bool ok = d_cpdf_p(z, y, out, out2, 50, 50, 10, 0.01, &offset, &width);
      double head[3] = {ok ? 1.0 : 0.0, offset, width};
      emit("d_cpdf", head, 3);
      emit("d_cpdf", out, 64);
      emit("d_cpdf", out2, 64);
    }
  }
  {
    CALL(xtlk_fn, Get_xtlk_noise_step) {
      fill(z, 200, -0.01, 0.02);
      for (int i = 0; i < 2000; ++i) out[i] = (uniform(0, 1) < 0.5) ? -1.0 : 1.0;
      double r = Get_xtlk_noise_step_p(z, out, 200, 2000, 16, 0.8);
      emit("Get_xtlk_noise_step", &r, 1);
    }
  }
  {
    CALL(ctle_fn, td_ctle) {
      fill(out2, 500, -1.0, 1.0);
      td_ctle_p(out2, out, 500, 28e9, 3e9, 7e9, 28e9, 6.0, 4.0);
      emit("td_ctle", out, 500);
    }
  }
  {
    CALL(dfe_fn, floatingDFE) {
      fill(z, 40, -0.05, 0.05);
      z[3] = 0.8; z[9] = 0.2; z[15] = -0.15;
      floatingDFE_p(z, 40, 5.0, 2.0, 3.0, 30.0, 0.1, 0.8, 0, out, out2, out3);
      emit("floatingDFE", out, 6);
      emit("floatingDFE", out2, 40);
      emit("floatingDFE", out3, 40);
    }
  }
  printf("done %d missing\n", missing);
  return missing == 0 ? 0 : 1;
}
