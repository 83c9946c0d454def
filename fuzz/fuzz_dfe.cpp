// Floating-tap DFE: floatingDFE.
// First byte: bit 7 picks the invalid region: searches that find nothing
// (searchStart 0, searchStart > searchEnd, searchEnd beyond the pulse, NaN
// positions, negative maxTapWeight * mainCursor), fractional, negative, NaN,
// infinite and huge tapsPerGroup / groupCount (positions capped at 2^20),
// negative pulseLength.
//
// Output lengths: tapPositionsOut trunc(L * G) (none when NaN or <= 0, at
// most 2^20), tapWeightsOut and tapLimitsOut max(pulseLength, 0).
#include "fuzz_support.h"

using namespace zfuzz;

namespace {

constexpr int32_t kMaxPulse = 512;
constexpr double kMaxPositions = 1048576.0;  // 2^20

int64_t positionCount(double L, double G) {
  const double count = std::trunc(L * G);
  if (!(count > 0.0)) return 0;
  return count >= kMaxPositions ? static_cast<int64_t>(kMaxPositions) : static_cast<int64_t>(count);
}

// Unusual tapsPerGroup / groupCount / search positions.  The huge ones (up
// to 2^20 groups of work per call) are the slowest inputs by far, so they
// are one choice in sixteen.
double oddValue(Input& in) {
  switch (in.byte() % 16) {
    case 0: return std::numeric_limits<double>::quiet_NaN();
    case 1: return std::numeric_limits<double>::infinity();
    case 2: return -std::numeric_limits<double>::infinity();
    case 3: return 0.0;
    case 4: return -0.0;
    case 5: return -in.inRange(0.0, 10.0);
    case 6:
    case 7:
    case 8: return in.inRange(0.0, 8.0);  // fractional
    case 9: return in.value();
    case 10: {
      static const double kHuge[] = {1e9, 1e300, static_cast<double>(1 << 20) + 0.5,
                                     4294967296.0, 5000.0};
      return kHuge[in.byte() % 5];
    }
    default: return static_cast<double>(in.count(64));
  }
}

void run(Input& in, bool invalid) {
  int32_t n = 1 + in.count(kMaxPulse - 1);
  const bool realisticPulse = in.byte() < 200;
  double start = 1.0 + static_cast<double>(in.count(16));
  double L = 1.0 + static_cast<double>(in.count(7));
  double G = 1.0 + static_cast<double>(in.count(7));
  double end = start + static_cast<double>(in.count(64));
  double b = in.byte() < 220 ? in.inRange(0.0, 1.0) : in.value();
  double a = 0.0;  // set from the pulse below unless overridden
  bool mainOverride = false;
  if (invalid) {
    switch (in.byte() % 10) {
      case 0: start = 0.0; break;
      case 1: end = start - 1.0 - static_cast<double>(in.count(8)); break;
      case 2: end = static_cast<double>(n) + static_cast<double>(in.count(1000)); break;
      case 3: (in.flag() ? start : end) = oddValue(in); break;
      case 4: L = oddValue(in); break;
      case 5: G = oddValue(in); break;
      case 6: L = oddValue(in); G = oddValue(in); break;
      case 7: b = -std::fabs(b) - 0.25; break;  // negative maxTapWeight * mainCursor
      case 8: n = in.badCount(); break;
      default: start = oddValue(in); end = oddValue(in); break;
    }
    if (in.byte() < 32) {
      a = in.value();
      mainOverride = true;
    }
  }
  // 2^20 positions or up to 2^20 groups take about a second per call in
  // this build: such calls are made for one input in sixteen that lands
  // there, with short pulses; the others fall back to small L and G.
  const bool expensive = std::trunc(L * G) > 65536.0 || std::trunc(G) > 4096.0;
  if (expensive && in.byte() >= 16) {
    L = 1.0 + static_cast<double>(in.count(7));
    G = 1.0 + static_cast<double>(in.count(7));
  }
  if (std::trunc(G) > 4096.0) n = std::min(n, 8);
  InBuf<double> pulse(n);
  for (int32_t i = 0; i < pulse.size(); ++i) {
    double v = 0.0;
    if (realisticPulse) {
      const double decay = std::exp(-0.3 * static_cast<double>(i));
      v = (i == 1 ? 1.0 : decay * in.inRange(-0.5, 0.5));
    } else {
      v = in.value();
    }
    pulse[static_cast<size_t>(i)] = v;
  }
  if (!mainOverride) {
    a = pulse.size() > 1 ? pulse[1] : 1.0;
    if (a == 0.0) a = 1.0;
  }
  const int32_t reserved = in.i32();
  pulse.seal();
  const int64_t positions = positionCount(L, G);
  const int64_t perPulse = std::max(n, 0);
  OutBuf<double> pos(positions);
  OutBuf<double> weights(perPulse);
  OutBuf<double> limits(perPulse);
  floatingDFE(pulse.data(), n, start, L, G, end, b, a, reserved, pos.data(), weights.data(),
              limits.data());
  pulse.verify("floatingDFE");
  pos.checkGuard("floatingDFE tapPositionsOut");
  weights.checkGuard("floatingDFE tapWeightsOut");
  limits.checkGuard("floatingDFE tapLimitsOut");
  // Positions ascending, NaN (if any) last.
  for (int64_t i = 0; i + 1 < positions; ++i) {
    const double p = pos[static_cast<size_t>(i)];
    const double q = pos[static_cast<size_t>(i + 1)];
    if ((std::isnan(p) && !std::isnan(q)) || (!std::isnan(p) && !std::isnan(q) && p > q)) {
      fail("floatingDFE: positions not ascending at %lld: %a then %a", static_cast<long long>(i),
           p, q);
    }
  }
  // A limit is 0.0 or maxTapWeight.
  for (int64_t i = 0; i < perPulse; ++i) {
    const double v = limits[static_cast<size_t>(i)];
    if (!sameBits(v, 0.0) && !sameBits(v, b)) {
      fail("floatingDFE: limit %lld is %a, neither 0.0 nor maxTapWeight %a",
           static_cast<long long>(i), v, b);
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
