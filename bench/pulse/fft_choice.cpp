// Inverse real FFT of 2K points as the pulse response does it: one complex
// kissfft<double> transform of K points (plus the O(K) unpacking, timed
// here as a second pass over the data).  Prints "K seconds" per size; the
// runner compares with numpy's pocketfft irfft of the same sizes.
#include <kissfft/kissfft.hh>

#include <algorithm>
#include <chrono>
#include <complex>
#include <cstdio>
#include <cstdlib>
#include <vector>

int main(int argc, char** argv) {
  for (int a = 1; a < argc; ++a) {
    const std::size_t k = std::strtoul(argv[a], nullptr, 10);
    kissfft<double> fft(k, true);
    std::vector<std::complex<double>> in(k), out(k);
    for (std::size_t i = 0; i < k; ++i) in[i] = {1.0 / (1.0 + i), 0.5 / (2.0 + i)};
    double best = 1e30;
    for (int run = 0; run < 30; ++run) {
      const auto start = std::chrono::steady_clock::now();
      fft.transform(in.data(), out.data());
      double sum = 0.0;  // the unpacking pass: one read of every bin
      for (std::size_t i = 0; i < k; ++i) sum += out[i].real() - out[k - 1 - i].imag();
      const double s = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
      if (sum == 12345.0) std::puts("");
      best = std::min(best, s);
    }
    std::printf("%zu %.9f\n", k, best);
  }
  return 0;
}
