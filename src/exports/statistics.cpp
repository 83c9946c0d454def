// Exports of the vector reductions: the kernels only read their input.
#include "frame/call_frame.h"
#include "numeric/reductions.h"
#include "zefra/tdr_helpers.h"

double median(const double* x, int32_t n) {
  zefra::CallFrame frame;
  return zefra::medianKernel(frame.input(x, n));
}

double Eval_std(const double* x, int32_t n) {
  zefra::CallFrame frame;
  return zefra::stdKernel(frame.input(x, n));
}

double norm(const double* x, int32_t n) {
  zefra::CallFrame frame;
  return zefra::normKernel(frame.input(x, n));
}
