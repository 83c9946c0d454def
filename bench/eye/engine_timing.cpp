// Timing of the statistical-eye engine on one thread: PAM4, a 200-UI pulse
// at Ns = 64 (65 phases), binV = max|p| / 1000, sigma = 1% of max|p|, no
// jitter; zefra_tk_eye_compute plus the read-out of the three eyes at
// 1e-6.  Best of 5 runs.  Also prints the largest ISI density (bins) over
// the phases, from the engine's own density routine.
//
// The pulses are stand-ins for lossy channels: a 1-UI rectangle through a
// first-order low-pass (time constant tau), a slow tail
// A (1 - e^{-t/2}) e^{-t/30} and a ripple 0.01 sin(2 pi t / 5.3) e^{-t/50}
// (t in UI after the start of the rectangle), two UI of leading zeros.
// "moderate": tau = 0.45 UI, A = 0.008 (the PAM4 eyes open at 1e-6);
// "heavy": tau = 0.7 UI, A = 0.03 (closed; a wider density).
//
// Build: the CMake target zefra_eye_engine_bench (bench/, with
// -DZEFRA_BUILD_BENCHMARKS=ON), then run <build>/bin/zefra_eye_engine_bench.
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <vector>

#include "eye/cursor_set.h"
#include "eye/lattice_density.h"
#include "zefra/toolkit.h"

namespace {

constexpr int kNs = 64;
constexpr int kUi = 200;
constexpr double kPi = 3.141592653589793;

std::vector<double> standInPulse(double tau, double tailAmplitude) {
  std::vector<double> p(static_cast<std::size_t>(kNs * kUi), 0.0);
  for (std::size_t n = 0; n < p.size(); ++n) {
    const double t = static_cast<double>(n) / kNs - 2.0;
    if (t < 0.0) {
      continue;
    }
    const double main =
        t < 1.0 ? 1.0 - std::exp(-t / tau) : (1.0 - std::exp(-1.0 / tau)) * std::exp(-(t - 1.0) / tau);
    const double tail = tailAmplitude * (1.0 - std::exp(-t / 2.0)) * std::exp(-t / 30.0);
    const double ripple = 0.01 * std::sin(2.0 * kPi * t / 5.3) * std::exp(-t / 50.0);
    p[n] = main + tail + ripple;
  }
  return p;
}

int timeOne(const char* name, const std::vector<double>& pulse) {
  const auto peak = std::max_element(pulse.begin(), pulse.end());
  const double maxAbs = std::fabs(*peak);

  zefra_tk_eye_input input{};
  input.pulse = pulse.data();
  input.length = static_cast<int64_t>(pulse.size());
  input.samplesPerUi = kNs;
  input.centre = peak - pulse.begin();
  zefra_tk_eye_options options;
  zefra_tk_eye_default_options(&options);
  options.levels = 4;
  options.binV = maxAbs / 1000.0;
  options.noiseRmsV = 0.01 * maxAbs;
  options.threads = 1;

  double best = 1e30;
  double height[3] = {0.0, 0.0, 0.0};
  int64_t voltages = 0;
  for (int run = 0; run < 5; ++run) {
    const auto start = std::chrono::steady_clock::now();
    zefra_tk_eye* eye = nullptr;
    char message[256];
    if (zefra_tk_eye_compute(&input, &options, &eye, message, sizeof message) != ZEFRA_TK_OK) {
      std::fprintf(stderr, "%s\n", message);
      return 1;
    }
    for (int i = 0; i < 3; ++i) {
      zefra_tk_eye_figures f;
      zefra_tk_eye_readout(eye, i, 1e-6, &f, nullptr, nullptr, nullptr, nullptr, nullptr, message,
                           sizeof message);
      height[i] = f.heightBestV;
    }
    zefra_tk_eye_shape(eye, nullptr, nullptr, &voltages);
    zefra_tk_eye_free(eye);
    best = std::min(best, std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
  }

  // The widest density over the phases, and the pulse's peak distortion.
  zefra::tk::eye::Channel channel{pulse.data(), input.length, kNs, input.centre, {}, {}, {}};
  const std::vector<double> levels = zefra::tk::eye::pamLevels(4);
  std::size_t widest = 0;
  double sumOthers = 0.0;
  for (int s = -kNs / 2; s <= kNs / 2; ++s) {
    const auto c = zefra::tk::eye::phaseCursors(channel, s);
    widest = std::max(widest, zefra::tk::eye::densityOfCursors(c.others, levels, options.binV).mass.size());
    if (s == 0) {
      sumOthers = c.reach - std::fabs(c.main);
    }
  }
  std::printf("%s: compute + readout (PAM4, 200 UI, Ns 64, 65 phases, 1 thread): %.3f s (best of 5)\n",
              name, best);
  std::printf("  largest ISI density: %zu bins; voltages: %lld; sum|h_k|/h_0 at phase 0: %.3f\n",
              widest, static_cast<long long>(voltages), sumOthers / maxAbs);
  std::printf("  EH at 1e-6 (best phase): %.5f %.5f %.5f V (h_0 = %.5f V)\n", height[0], height[1],
              height[2], maxAbs);
  return 0;
}

}  // namespace

int main() {
  return timeOne("moderate", standInPulse(0.45, 0.008)) + timeOne("heavy", standInPulse(0.7, 0.03));
}
