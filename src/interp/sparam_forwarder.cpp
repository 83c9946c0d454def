#include "interp/sparam_forwarder.h"

#include <algorithm>
#include <vector>

#include "zefra/interp_sparam.h"

namespace zefra {

void forwardSparamInterpolation(const Complex* sIn, const double* gridIn, int32_t nIn,
                                const double* gridOut, int32_t nOut, Complex* sOut) {
  const int32_t inCount = std::max(nIn, 0);
  const int32_t outCount = std::max(nOut, 0);
  // The module sees copies only: the caller's trace is never handed over,
  // and a slot the module leaves alone reaches the caller as 0 + 0j.
  const std::vector<Complex> input(sIn, sIn + inCount);
  std::vector<Complex> output(static_cast<size_t>(outCount), Complex{0.0, 0.0});
  zefra_interp_Sparam_C(input.data(), gridIn, inCount, gridOut, outCount, output.data());
  std::copy(output.begin(), output.end(), sOut);
}

}  // namespace zefra
