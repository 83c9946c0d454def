/*
 * A host program that loads Zefra_TDR_Helpers at run time, looks up each
 * export by name and calls it, the way the measurement application does.
 *
 *   zefra_host_demo [path-or-name-of-library]
 *
 * Without an argument the library is loaded by its plain name, so the
 * platform's search path (LD_LIBRARY_PATH, PATH on Windows) must find it.
 */
#include <stdio.h>
#include <stdlib.h>

#include "zefra/tdr_helpers.h"

#if defined(_WIN32)
#include <windows.h>
typedef HMODULE library_handle;
static library_handle open_library(const char *name) { return LoadLibraryA(name); }
static void *find_symbol(library_handle lib, const char *name) {
  return (void *)(uintptr_t)GetProcAddress(lib, name);
}
static void close_library(library_handle lib) { FreeLibrary(lib); }
#define DEFAULT_LIBRARY "Zefra_TDR_Helpers.dll"
#else
#include <dlfcn.h>
typedef void *library_handle;
static library_handle open_library(const char *name) { return dlopen(name, RTLD_NOW | RTLD_LOCAL); }
static void *find_symbol(library_handle lib, const char *name) { return dlsym(lib, name); }
static void close_library(library_handle lib) { dlclose(lib); }
#define DEFAULT_LIBRARY "libZefra_TDR_Helpers.so"
#endif

typedef double (*reduction_fn)(const double *, int32_t);

static reduction_fn find_reduction(library_handle lib, const char *name) {
  reduction_fn fn;
  void *symbol = find_symbol(lib, name);
  if (symbol == NULL) {
    fprintf(stderr, "export %s not found\n", name);
    exit(1);
  }
  *(void **)(&fn) = symbol;
  return fn;
}

int main(int argc, char **argv) {
  const char *library = argc > 1 ? argv[1] : DEFAULT_LIBRARY;
  library_handle lib = open_library(library);
  if (lib == NULL) {
    fprintf(stderr, "cannot load %s\n", library);
    return 1;
  }
  reduction_fn median_fn = find_reduction(lib, "median");
  reduction_fn std_fn = find_reduction(lib, "Eval_std");
  reduction_fn norm_fn = find_reduction(lib, "norm");

  /* Sampled step response of a 50-ohm TDR trace, in volts. */
  const double trace[] = {0.0, 0.01, 0.12, 0.38, 0.46, 0.49, 0.50, 0.50, 0.51, 0.50};
  const int32_t n = (int32_t)(sizeof trace / sizeof trace[0]);
  const double huge[] = {3e300, 4e300};

  printf("loaded %s\n", library);
  printf("median(trace)   = %.17g V\n", median_fn(trace, n));
  printf("Eval_std(trace) = %.17g V\n", std_fn(trace, n));
  printf("norm(trace)     = %.17g V\n", norm_fn(trace, n));
  printf("norm(3e300, 4e300) = %.17g (no overflow)\n", norm_fn(huge, 2));
  printf("median(empty)   = %.17g\n", median_fn(trace, 0));
  close_library(lib);
  return 0;
}
