// Receiver filter: the library's Butterworth kernel,
// B(jw) = prod_k wc / (jw - p_k), wc = 2 pi f_3dB, evaluated at w = 2 pi f_k.
// B(0) = 1, so the filter keeps H(0) and the sum of the impulse response.
#include "pulse/receiver_filter.h"

#include "frame/dyn_array.h"
#include "numeric/butterworth.h"

namespace zefra::tk::pulse {
namespace {

constexpr double kTwoPi = 6.283185307179586;

}  // namespace

void applyReceiverFilter(int32_t order, double bandwidthHz, double df, std::vector<Cplx>& x) {
  const std::size_t count = x.size();
  std::vector<double> w(count);
  for (std::size_t k = 0; k < count; ++k) {
    w[k] = kTwoPi * (static_cast<double>(k) * df);
  }
  std::vector<zefra::Complex> b(count);
  zefra::butterworthByConjugate(order, w.data(), static_cast<int32_t>(count),
                                kTwoPi * bandwidthHz, b.data());
  for (std::size_t k = 0; k < count; ++k) {
    x[k] *= Cplx(b[k].re, b[k].im);
  }
}

}  // namespace zefra::tk::pulse
