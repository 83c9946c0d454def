// Exports of the vector reductions.  The kernels only read their input, so
// the caller's buffer is wrapped in place rather than copied (a copy would
// give the same value and cost a pass over fresh memory).
#include "frame/call_frame.h"
#include "numeric/reductions.h"
#include "zefra/tdr_helpers.h"

using zefra::CallFrame;

double median(const double* x, int32_t n) {
  CallFrame frame;
  return zefra::medianKernel(frame.borrowedColumn(x, n));
}

double Eval_std(const double* x, int32_t n) {
  CallFrame frame;
  return zefra::stdKernel(frame.borrowedColumn(x, n));
}

double norm(const double* x, int32_t n) {
  CallFrame frame;
  return zefra::normKernel(frame.borrowedColumn(x, n));
}
