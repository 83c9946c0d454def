// Crosstalk noise: Get_xtlk_noise_step.
// First byte: bit 7 picks the invalid region (empty and negative pattern or
// response lengths, samplesPerUi < 1 or far beyond the pattern, patterns
// shorter than 3.5 UI, non-finite amplitudes and samples).
#include "fuzz_support.h"

using namespace zfuzz;

namespace {

void run(Input& in, bool invalid) {
  int32_t responseLength = in.count(256);
  int32_t patternLength = in.count(1024);
  int32_t p = 1 + in.count(32);
  double amplitude = in.byte() < 200 ? in.inRange(-2.0, 2.0) : in.value();
  if (invalid) {
    switch (in.byte() % 6) {
      case 0: responseLength = in.badCount(); break;
      case 1: patternLength = in.badCount(); break;
      case 2: p = in.badCount(); break;
      case 3: p = in.flag() ? std::numeric_limits<int32_t>::max() : 1 + static_cast<int32_t>(in.u32() & 0x7ffffffe); break;
      case 4: patternLength = in.count(4) * p; break;  // about 3.5 UI or less
      default: amplitude = Input::special(static_cast<uint8_t>(2 + in.byte() % 7)); break;
    }
  }
  // Negative lengths read as empty; with samplesPerUi < 1 the inputs are
  // still copied up to their counts.
  InBuf<double> response(responseLength);
  InBuf<double> pattern(patternLength);
  const bool realistic = in.flag();
  for (int32_t i = 0; i < response.size(); ++i) {
    response[static_cast<size_t>(i)] = realistic ? in.inRange(-0.1, 0.1) : in.value();
  }
  for (int32_t i = 0; i < pattern.size(); ++i) {
    pattern[static_cast<size_t>(i)] = realistic ? (in.flag() ? 1.0 : -1.0) : in.value();
  }
  response.seal();
  pattern.seal();
  const double r = Get_xtlk_noise_step(response.data(), pattern.data(), responseLength,
                                       patternLength, p, amplitude);
  response.verify("Get_xtlk_noise_step");
  pattern.verify("Get_xtlk_noise_step");
  const double zero = amplitude * amplitude * 0.0;
  // Fewer than about 3.5 unit intervals of pattern sum no term.
  const float q = std::roundf(static_cast<float>(static_cast<double>(std::max(patternLength, 0)) /
                                                 static_cast<double>(std::max(p, 1))));
  // docs/behaviour.md: an empty pattern or response gives 0.0 (a^2 * 0).
  const bool noTerm = p < 1 || patternLength <= 0 || !(static_cast<double>(q) - 3.0 > 0.0);
  if (noTerm && !sameBits(r, zero)) {
    fail("Get_xtlk_noise_step: (response %d, pattern %d, P %d, a %a) must give a^2 * 0.0 = %a, "
         "got %a",
         responseLength, patternLength, p, amplitude, zero, r);
  }
  if (r < 0.0) fail("Get_xtlk_noise_step: negative noise power %a", r);
  // An empty response is a step of samplesPerUi ones: the same as the
  // response {1, 0, ..., 0} of samplesPerUi samples.
  if (responseLength <= 0 && p >= 1 && p <= 4096) {
    InBuf<double> unit(p);
    for (int32_t i = 0; i < p; ++i) unit[static_cast<size_t>(i)] = i == 0 ? 1.0 : 0.0;
    const double want =
        Get_xtlk_noise_step(unit.data(), pattern.data(), p, patternLength, p, amplitude);
    if (!sameBits(r, want)) {
      fail("Get_xtlk_noise_step: empty response gave %a, a unit step of P = %d samples %a", r, p,
           want);
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Input in(data, size);
  const uint8_t selector = in.byte();
  run(in, (selector & 0x80) != 0);
  return 0;
}
