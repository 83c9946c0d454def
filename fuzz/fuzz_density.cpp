// Cursor densities: get_pdf_from_sampled_signal,
// get_pdf_from_sampled_signal_800G, and zefra_release_array for the arrays
// they hand over (LeakSanitizer reports any array not released).
// First byte: bit 0 picks the export, bit 7 the invalid region (zero or
// negative cursor counts, NaN / zero / negative bin widths, M < 2, cursors
// needing more than 2000 bins, NaN and infinite cursors).
#include "fuzz_support.h"

using namespace zfuzz;

namespace {

// A width whose bin count is NaN or below one bin: NaN, zero, or negative
// unless so large (|w| >= 2^1023) that the span underflows to one bin.
bool badWidth(double w) { return std::isnan(w) || w == 0.0 || (w < 0.0 && w > -0x1p1023); }

// A cursor, in units of the bin width w: left out (|c| <= w), ordinary, or
// one whose density needs more than 2000 bins; or any value.
double cursor(Input& in, double w, bool invalid) {
  const uint8_t k = in.byte();
  const double sign = (k & 1) != 0 ? -1.0 : 1.0;
  if (k < 32) return sign * w * in.inRange(0.0, 1.0);
  if (k < 200) return sign * w * in.inRange(1.0, 40.0);
  if (k < 224) return sign * w * static_cast<double>(1 + in.byte() % 64);
  if (!invalid) return sign * w * in.inRange(40.0, 400.0);
  if (k < 240) return sign * w * in.inRange(900.0, 1200.0);  // about 2000 bins
  return in.value();
}

void run(Input& in, bool sorted, bool invalid) {
  const char* what = sorted ? "get_pdf_from_sampled_signal_800G" : "get_pdf_from_sampled_signal";
  int32_t n = 0;
  int32_t levels = 2;
  double w = 0.0;
  const uint8_t mk = in.byte();
  levels = mk < 96 ? 2 : mk < 160 ? 4 : 2 + static_cast<int32_t>(mk % 15);
  const uint8_t wk = in.byte();
  w = wk < 200 ? in.inRange(1e-4, 1e-1) : std::fabs(in.finite());
  if (!(w > 0.0)) w = 1e-3;
  int kind = 0;
  if (!invalid) {
    n = 1 + in.count(11);
    if (levels > 8) n = std::min(n, 4);
  } else {
    kind = in.byte() % 4;
    n = 1 + in.count(11);
    switch (kind) {
      case 0: n = in.badCount(); break;
      case 1: {
        const uint8_t b = in.byte() % 7;
        w = b == 0   ? std::numeric_limits<double>::quiet_NaN()
            : b == 1 ? 0.0
            : b == 2 ? -0.0
            : b == 3 ? -w
            : b == 4 ? -std::numeric_limits<double>::infinity()
            : b == 5 ? -std::numeric_limits<double>::max()
                     : std::numeric_limits<double>::infinity();
        break;
      }
      case 2: {
        const uint8_t b = in.byte() % 4;
        levels = b == 0 ? 1 : b == 1 ? 0 : b == 2 ? -1 : std::numeric_limits<int32_t>::min();
        break;
      }
      default: break;  // oversized and non-finite cursors
    }
  }
  InBuf<double> signal(n);
  const double unit = std::isfinite(w) && w > 0.0 ? w : 1e-3;
  for (int32_t i = 0; i < signal.size(); ++i) {
    signal[static_cast<size_t>(i)] = cursor(in, unit, invalid);
  }
  signal.seal();
  InBuf<unsigned char> reserved(0);  // never read
  double* amplitudes = nullptr;
  double* probabilities = nullptr;
  const double kSentinel = -12345.678;
  double offset = kSentinel;
  double width = w;
  int32_t count = -777;
  bool ok = false;
  if (sorted) {
    ok = get_pdf_from_sampled_signal_800G(signal.data(), levels, reserved.data(), &amplitudes,
                                          &probabilities, &offset, &width, n, &count);
  } else {
    ok = get_pdf_from_sampled_signal(signal.data(), levels, reserved.data(), &amplitudes,
                                     &probabilities, &offset, &width, n, &count);
  }
  signal.verify(what);
  if (amplitudes == nullptr || probabilities == nullptr) {
    fail("%s: the two arrays must always be allocated", what);
  }
  if (count < 0) fail("%s: negative count %d", what, count);
  // Every element must be readable (ASan checks the array's length).
  double sum = 0.0;
  for (int32_t i = 0; i < count; ++i) {
    sum += amplitudes[i] * 0.0 + probabilities[i] * 0.0;
  }
  volatile double sink = sum;
  (void)sink;
  if (n <= 0) {
    if (!ok || count != 0 || offset != 0.0) {
      fail("%s: %d cursors must give true, count 0, offset 0.0 (got %d, %d, %a)", what, n, ok,
           count, offset);
    }
  } else if (badWidth(w) || levels < 2) {
    if (ok) fail("%s: bin width %a with M = %d must fail", what, w, levels);
  }
  if (!ok) {
    if (!sameBits(offset, kSentinel)) fail("%s: offset written on failure (%a)", what, offset);
    if (!sameBits(width, w)) fail("%s: bin width written on failure (%a)", what, width);
  } else {
    if (!sameBits(width, w)) fail("%s: bin width %a came back as %a", what, w, width);
    for (int32_t i = 0; i < count; ++i) {
      const double want = (static_cast<double>(i) + offset) * w;
      if (!sameValue(amplitudes[i], want)) {
        fail("%s: amplitude %d is %a, want (i + offset) * w = %a", what, i, amplitudes[i], want);
      }
    }
  }
  zefra_release_array(amplitudes);
  zefra_release_array(probabilities);
  zefra_release_array(nullptr);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Input in(data, size);
  const uint8_t selector = in.byte();
  run(in, (selector & 1) != 0, (selector & 0x80) != 0);
  return 0;
}
