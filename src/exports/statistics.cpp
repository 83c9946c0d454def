// Exports of the vector reductions: wrap the caller's buffer as a column,
// run the kernel, return its value.
#include "frame/call_frame.h"
#include "numeric/reductions.h"
#include "zefra/tdr_helpers.h"

using zefra::CallFrame;

double median(const double* x, int32_t n) {
  CallFrame frame;
  return zefra::medianKernel(frame.column(x, n));
}

double Eval_std(const double* x, int32_t n) {
  CallFrame frame;
  return zefra::stdKernel(frame.column(x, n));
}

double norm(const double* x, int32_t n) {
  CallFrame frame;
  return zefra::normKernel(frame.column(x, n));
}
