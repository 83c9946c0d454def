/*
 * Loads the library at run time by its plain name (the loader's search path
 * must find it), resolves every export by name and calls it, as the
 * measurement application does.  Exits non-zero on any mismatch.
 */
#include <dlfcn.h>
#include <math.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>

#include "zefra/tdr_helpers.h"

typedef double (*reduction_fn)(const double *, int32_t);

static int failures = 0;

static void expect_bits(const char *what, double expected, double actual) {
  if (memcmp(&expected, &actual, sizeof expected) != 0) {
    printf("FAIL %s: expected %.17g, got %.17g\n", what, expected, actual);
    ++failures;
  } else {
    printf("ok   %s = %.17g\n", what, actual);
  }
}

static reduction_fn resolve(void *lib, const char *name) {
  reduction_fn fn = NULL;
  void *symbol = dlsym(lib, name);
  if (symbol == NULL) {
    printf("FAIL export %s not found\n", name);
    ++failures;
    return NULL;
  }
  memcpy(&fn, &symbol, sizeof fn);
  return fn;
}

int main(void) {
  void *lib = dlopen("libZefra_TDR_Helpers.so", RTLD_NOW | RTLD_LOCAL);
  if (lib == NULL) {
    printf("FAIL cannot load libZefra_TDR_Helpers.so: %s\n", dlerror());
    return 1;
  }
  reduction_fn median_fn = resolve(lib, "median");
  reduction_fn std_fn = resolve(lib, "Eval_std");
  reduction_fn norm_fn = resolve(lib, "norm");
  if (failures) return 1;

  const double odd[] = {3.0, 1.0, 2.0};
  const double even[] = {4.0, 1.0, 3.0, 2.0};
  const double quarter[] = {1.0, 2.0, 3.0, 4.0};
  const double huge[] = {1e200, 1e200};
  const double negative[] = {-7.0};
  expect_bits("median{3,1,2}", 2.0, median_fn(odd, 3));
  expect_bits("median{4,1,3,2}", 2.5, median_fn(even, 4));
  expect_bits("median{}", 0.0, median_fn(odd, 0));
  expect_bits("Eval_std{1,2,3,4}", sqrt(5.0 / 3.0), std_fn(quarter, 4));
  expect_bits("Eval_std{5}", 0.0, std_fn(negative, 1));
  expect_bits("norm{1e200,1e200}", 1.4142135623730951e200, norm_fn(huge, 2));
  expect_bits("norm{-7}", 7.0, norm_fn(negative, 1));
  dlclose(lib);
  printf("%d failures\n", failures);
  return failures == 0 ? 0 : 1;
}
