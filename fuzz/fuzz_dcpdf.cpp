// Weighted histogram density: d_cpdf.
// First byte: bit 7 picks the invalid region (pointCount < 1, NaN / zero /
// negative bin widths, NaN or infinite points, spans beyond 2000 bins,
// centre grids beyond 2^31 - 1 values, missing weights, negative outCount).
//
// The centre grid has c = 2 |round(x)| + 1 values on success, x the offset
// the call returns, so the output size depends on the points.  The target
// derives an upper bound from the points (|x| <= max |p / w| + 2001 bins)
// and allocates that; after the call everything past the count actually
// due (c on success, outCount on failure) must still hold the fill pattern.
#include "fuzz_support.h"

using namespace zfuzz;

namespace {

constexpr int32_t kMaxPoints = 512;
constexpr double kGenerousLimit = 1048576.0;  // 2^20 bins: outputs of at most 16 MiB

double point(Input& in, double w, int32_t farBins, bool invalid) {
  const uint8_t k = in.byte();
  const double base = static_cast<double>(farBins);
  if (k < 200) return w * (base + in.inRange(-60.0, 60.0));
  if (k < 224) return w * (base + static_cast<double>(static_cast<int16_t>(in.u16()) % 1200));
  if (!invalid) return w * (base + in.inRange(-1000.0, 1000.0));
  return in.value();
}

void run(Input& in, bool invalid) {
  int32_t pointCount = 1 + in.count(kMaxPoints - 1);
  int32_t weightCount = pointCount;
  int32_t outCount = in.count(64);
  double w = in.byte() < 200 ? in.inRange(1e-4, 1.0) : std::fabs(in.finite());
  if (!(w > 0.0)) w = 1e-3;
  // Where the points cluster, in bins: near 0, further out, or (invalid)
  // beyond 2^30 bins, where the centre grid cannot be returned.
  int32_t farBins = 0;
  const uint8_t fk = in.byte();
  if (fk >= 160) farBins = static_cast<int32_t>(static_cast<int8_t>(in.byte())) * 16;
  if (fk >= 248) farBins = static_cast<int32_t>(static_cast<int16_t>(in.u16())) * 8;
  bool hugeCentres = false;
  int kind = 0;
  if (invalid) {
    kind = in.byte() % 7;
    switch (kind) {
      case 0: pointCount = in.badCount(); weightCount = std::max(pointCount, 0); break;
      case 1: {
        const uint8_t b = in.byte() % 5;
        w = b == 0   ? std::numeric_limits<double>::quiet_NaN()
            : b == 1 ? 0.0
            : b == 2 ? -0.0
            : b == 3 ? -w
                     : -std::numeric_limits<double>::max();
        break;
      }
      case 2: weightCount = in.flag() ? in.count(pointCount) : in.badCount(); break;
      case 3: outCount = in.flag() ? in.badCount() : in.count(4096); break;
      case 4: hugeCentres = true; break;
      default: break;  // wide spans, NaN and infinite points and weights
    }
  }
  InBuf<double> points(pointCount);
  const double hugeAt = 1.5e9 + static_cast<double>(in.u32()) * 1e3;
  const double hugeSign = in.flag() ? -1.0 : 1.0;
  const double unit = std::isfinite(w) && w > 0.0 ? w : 1e-3;
  for (int32_t i = 0; i < points.size(); ++i) {
    points[static_cast<size_t>(i)] =
        hugeCentres ? hugeSign * unit * (hugeAt + in.inRange(-500.0, 500.0))
                    : point(in, unit, farBins, invalid);
  }
  if (invalid && kind >= 5 && points.size() > 0 && in.byte() < 64) {
    points[0] = Input::special(static_cast<uint8_t>(2 + in.byte() % 7));  // NaN or Inf first
  }
  InBuf<double> weights(weightCount);
  for (int32_t i = 0; i < weights.size(); ++i) {
    const uint8_t k = in.byte();
    weights[static_cast<size_t>(i)] = k < 220 ? in.inRange(0.0, 1.0) : in.value();
  }
  points.seal();
  weights.seal();

  // Bound the outputs (see the top of the file), and decide whether the
  // contract says the call fails.
  // A NaN or zero width fails, and so does a negative one unless it is so
  // large (|w| >= 2^1023) that the span underflows to one bin.
  const bool hugeNegative = w <= -0x1p1023;
  bool mustFail = pointCount < 1 || (!(w > 0.0) && !hugeNegative);
  if (pointCount >= 1 && !std::isfinite(points[0])) mustFail = true;
  double largest = 0.0;
  double lo = std::numeric_limits<double>::infinity();
  double hi = -std::numeric_limits<double>::infinity();
  double smallest = std::numeric_limits<double>::infinity();
  for (int32_t i = 0; i < points.size(); ++i) {
    const double r = points[static_cast<size_t>(i)] / w;
    if (std::isnan(r)) continue;
    largest = std::max(largest, std::fabs(r));
    smallest = std::min(smallest, std::fabs(r));
    lo = std::min(lo, r);
    hi = std::max(hi, r);
  }
  int64_t capacity = std::max<int64_t>(outCount, 4);
  if (!mustFail) {
    if (largest <= kGenerousLimit) {
      capacity = std::max<int64_t>(capacity, 2 * (static_cast<int64_t>(std::ceil(largest)) + 2002) + 1);
    } else if (hi - lo > 4000.0 || smallest >= 1.5e9) {
      mustFail = true;  // more than 2000 bins, or more than 2^31 - 1 centres
    } else {
      return;  // a legitimate but too large centre grid: not worth the memory
    }
  }
  OutBuf<double> centers(capacity);
  OutBuf<double> density(capacity);
  const double kSentinel = -98765.4321;
  double offset = kSentinel;
  double width = kSentinel;
  const bool ok = d_cpdf(points.data(), weights.data(), centers.data(), density.data(),
                         pointCount, weightCount, outCount, w, &offset, &width);
  points.verify("d_cpdf");
  weights.verify("d_cpdf");
  centers.checkGuard("d_cpdf centres");
  density.checkGuard("d_cpdf density");
  if (mustFail && ok) {
    fail("d_cpdf: must fail (pointCount %d, w %a, first point %a, span %a..%a bins) but "
         "returned true",
         pointCount, w, pointCount > 0 ? points[0] : 0.0, lo, hi);
  }
  if (!ok) {
    const size_t written = outCount > 0 ? static_cast<size_t>(outCount) : 0;
    requireAll(centers, written, isZeroDouble, "d_cpdf centres (failure)", "0.0");
    requireAll(density, written, isZeroDouble, "d_cpdf density (failure)", "0.0");
    centers.requireUntouched("d_cpdf centres past outCount (failure)", written);
    density.requireUntouched("d_cpdf density past outCount (failure)", written);
    if (!sameBits(offset, kSentinel) || !sameBits(width, kSentinel)) {
      fail("d_cpdf: offset/width written on failure (%a, %a)", offset, width);
    }
    return;
  }
  if (!sameBits(width, w)) fail("d_cpdf: width %a came back as %a", w, width);
  const double r = std::fabs(static_cast<double>(std::roundf(static_cast<float>(offset))));
  const double c = 2.0 * r + 1.0;
  if (!(c <= static_cast<double>(capacity))) {
    fail("d_cpdf: offset %a implies %a centres, beyond the bound %lld", offset, c,
         static_cast<long long>(capacity));
  }
  const auto count = static_cast<size_t>(c);
  centers.requireUntouched("d_cpdf centres past 2|round(x)|+1", count);
  density.requireUntouched("d_cpdf density past 2|round(x)|+1", count);
  const double ax = std::fabs(offset);
  for (size_t k = 0; k < count; ++k) {
    const double want = (static_cast<double>(k) - ax) * w;
    if (!sameValue(centers[k], want)) {
      fail("d_cpdf: centre %zu is %a, want (k - |x|) w = %a", k, centers[k], want);
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
