// Export of the inverse complementary error function, element by element.
#include "frame/call_frame.h"
#include "numeric/special_functions.h"
#include "zefra/tdr_helpers.h"

void erfcinv(const double* x, double* y, int32_t n) {
  zefra::CallFrame frame;
  const zefra::DynArray* in = frame.column(x, n);
  zefra::DynArray* out = frame.doubleOutput(n, 1);
  const double* values = zefra::elementsOf<double>(in);
  double* results = zefra::elementsOf<double>(out);
  for (int32_t i = 0; i < n; ++i) {
    results[i] = zefra::erfcinvScalar(values[i]);
  }
  zefra::copyFirstExtentOut(out, y);
}
