// Export of the inverse complementary error function, element by element.
#include "frame/call_frame.h"
#include "numeric/special_functions.h"
#include "zefra/tdr_helpers.h"

void erfcinv(const double* x, double* y, int32_t n) {
  zefra::CallFrame frame({zefra::spanOf(y, n)});
  const double* in = zefra::elementsOf<double>(frame.input(x, n));
  for (int32_t i = 0; i < n; ++i) {
    y[i] = zefra::erfcinvScalar(in[i]);
  }
}
