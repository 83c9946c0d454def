// Export of the inverse complementary error function, element by element.
#include "frame/call_frame.h"
#include "numeric/special_functions.h"
#include "zefra/tdr_helpers.h"

namespace {

void erfcinvElements(const zefra::DynArray* in, zefra::DynArray* out, int32_t n) {
  const double* values = zefra::elementsOf<double>(in);
  double* results = zefra::elementsOf<double>(out);
  for (int32_t i = 0; i < n; ++i) {
    results[i] = zefra::erfcinvScalar(values[i]);
  }
}

}  // namespace

// Each result depends on its own input only; when the output shares no
// memory with the input the loop runs on the caller's buffers, otherwise on
// copies (the same results either way).
void erfcinv(const double* x, double* y, int32_t n) {
  zefra::CallFrame frame;
  if (!zefra::anyShared({zefra::spanOf(y, n)}, {zefra::spanOf(x, n)})) {
    zefra::DynArray* out = frame.borrowedOutput(y, n);
    erfcinvElements(frame.borrowedColumn(x, n), out, n);
    return;
  }
  const zefra::DynArray* in = frame.column(x, n);
  zefra::DynArray* out = frame.doubleOutput(n, 1);
  erfcinvElements(in, out, n);
  zefra::copyFirstExtentOut(out, y);
}
