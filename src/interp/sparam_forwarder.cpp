#include "interp/sparam_forwarder.h"

#include <algorithm>
#include <memory>

#include "zefra/interp_sparam.h"

namespace zefra {

static_assert(sizeof(zefra_sparam_complex) == sizeof(Complex), "complex layouts must match");

void forwardSparamInterpolation(const Complex* sIn, const double* gridIn, int32_t nIn,
                                const double* gridOut, int32_t nOut, Complex* sOut) {
  const int32_t inCount = std::max(nIn, 0);
  const int32_t outCount = std::max(nOut, 0);
  // The module sees copies only: the caller's trace is never handed over,
  // and a slot the module leaves alone reaches the caller as 0 + 0j.
  std::unique_ptr<Complex[]> input(new Complex[static_cast<size_t>(inCount)]);
  std::unique_ptr<Complex[]> output(new Complex[static_cast<size_t>(outCount)]);
  for (int32_t i = 0; i < inCount; ++i) {
    input[static_cast<size_t>(i)] = {0.0, 0.0};
  }
  for (int32_t i = 0; i < inCount; ++i) {
    input[static_cast<size_t>(i)] = sIn[i];
  }
  for (int32_t i = 0; i < outCount; ++i) {
    output[static_cast<size_t>(i)] = {0.0, 0.0};
  }
  zefra_interp_Sparam_C(reinterpret_cast<const zefra_sparam_complex*>(input.get()), gridIn,
                        inCount, gridOut, outCount,
                        reinterpret_cast<zefra_sparam_complex*>(output.get()));
  std::copy(output.get(), output.get() + outCount, sOut);
}

}  // namespace zefra
