// Cases for td_ctle, Get_xtlk_noise_step and floatingDFE.
//
// td_ctle: NRZ bit streams at 1..16 samples per bit, steps and arbitrary
// signals; rates in Hz (1..112 GHz) or in GHz units, multipliers 1..64,
// zero and poles as fractions of the rate, gainDb exactly 0 (gain factor 0),
// -20..6 dB, +-400 dB; edges (a pole at fs / pi, zero, NaN rates).
// Get_xtlk_noise_step: 1..32 samples per UI, patterns of 0..24 UI (shorter
// than 3.5 UI included), responses with exact zeros, counts 0 and negative,
// P < 1, amplitude 0, Inf, NaN.  floatingDFE: pulse responses with a main
// cursor near the start, pre- and post-cursors, search ranges inside,
// reversed, past the end, fractional, NaN; L and G integral, fractional, 0,
// negative (never in (-1, 0)), NaN; rarely L = Inf (2^20 positions); weight
// limits and main cursors including 0, negative and NaN.  Outputs run on the
// pulse and on each other.
#include <cmath>
#include <limits>

#include "exports.h"
#include "values.h"

namespace eq {

namespace {

// ---- td_ctle --------------------------------------------------------------------

std::vector<double> drawWaveform(Rng& rng, int32_t n) {
  std::vector<double> x;
  const double u = rng.uniform();
  if (u < 0.4) {
    const int64_t spb = rng.between(1, 16);
    double level = 1.0;
    for (int32_t i = 0; i < n; ++i) {
      if (i % spb == 0) {
        level = rng.chance(0.5) ? 1.0 : -1.0;
      }
      x.push_back(level);
    }
  } else if (u < 0.6) {
    const int64_t at = rng.between(0, 8);
    for (int32_t i = 0; i < n; ++i) {
      x.push_back(i >= at ? 1.0 : 0.0);
    }
  } else if (u < 0.9) {
    Profile clean;
    clean.scale = rng.chance(0.5) ? 1.0 : pickScale(rng);
    x = drawVector(rng, n, clean);
  } else {
    x = drawVector(rng, n, pickProfile(rng, 1.0));  // NaN and Inf run on through the recursion
  }
  return x;
}

void generateCtle(Rng& rng, Case& c) {
  const double edge = drawEdgeWeight(rng);
  const int32_t n = drawCount(rng, 64, 400, 0.04);
  const int bi = layoutInputOutput(rng, c, "input", n, "output", n);
  c.fill(bi, drawWaveform(rng, n));
  const double rate = rng.chance(0.35) ? param(rng, 1, 112, edge * 0.05, {0.0, -1.0})
                                       : param(rng, 1e9, 112e9, edge * 0.1, {0.0, -25e9, 1e300});
  static const double kMult[] = {1, 2, 4, 8, 16, 32};
  const double mult = rng.chance(0.7) ? kMult[rng.next() % 6]
                                      : param(rng, 1, 64, edge * 0.3, {0.0, -1.0, 0.5});
  const double fs = rate * mult;
  c.integer("sampleCount", n);
  c.real("baseRate", rate);
  c.real("zeroFreq", param(rng, 0.02 * rate, 0.5 * rate, edge * 0.08, {0.0, fs / kPi, -rate}));
  c.real("pole1Freq", param(rng, 0.05 * rate, rate, edge * 0.08, {0.0, fs / kPi, -fs / kPi}));
  c.real("pole2Freq", param(rng, 0.3 * rate, 3 * rate, edge * 0.08, {0.0, fs / kPi, 1e300}));
  const double g = rng.uniform();
  c.real("gainDb", g < 0.2 ? 0.0 : g < 0.9 ? rng.uniform(-20, 6)
                                          : param(rng, 0, 0, 1.0, {-0.0, 400.0, -400.0, kInf}));
  c.real("rateMultiplier", mult);
}

void callCtle(const Library& lib, const Case& c, unsigned char* a, Outcome&) {
  lib.td_ctle(c.ptr<const double>(a, 0), c.ptr<double>(a, 1), c.i32Param("sampleCount"),
              c.realParam("baseRate"), c.realParam("zeroFreq"), c.realParam("pole1Freq"),
              c.realParam("pole2Freq"), c.realParam("gainDb"), c.realParam("rateMultiplier"));
}

// ---- Get_xtlk_noise_step -----------------------------------------------------------

void generateXtlk(Rng& rng, Case& c) {
  const double edge = drawEdgeWeight(rng);
  const int32_t spu = drawOrder(rng, {0.6, 8, 0.85, 16, 0.9, 32, 7});
  const int32_t p = spu > 0 ? spu : static_cast<int32_t>(rng.between(1, 8));
  const int32_t uis = static_cast<int32_t>(rng.between(0, 24));
  int32_t patternLength = uis * p + (rng.chance(0.3) ? static_cast<int32_t>(rng.between(0, p - 1)) : 0);
  int32_t responseLength = static_cast<int32_t>(rng.between(0, 4 * p));
  if (rng.chance(0.03)) {
    patternLength = -static_cast<int32_t>(rng.between(1, 5));
  }
  if (rng.chance(0.03)) {
    responseLength = rng.chance(0.5) ? -1 : INT32_MIN;
  }
  const int br = c.add("response", Elem::F64, responseLength, kIn);
  const int bp = c.add("pattern", Elem::F64, patternLength, kIn);
  OverlapOdds odds;
  odds.sharedInputs = 0.1;
  planOverlaps(rng, c, {}, {br, bp}, odds);
  c.layout(rng);
  std::vector<double> response;
  if (rng.chance(0.75)) {
    const double width = rng.uniform(0.5, 2.0) * p;
    const double centre = rng.uniform(0.2, 0.6) * responseLength;
    for (int32_t i = 0; i < responseLength; ++i) {
      const double t = (i - centre) / width;
      const double value = -0.02 * t * std::exp(-t * t);
      response.push_back(std::fabs(value) < 1e-4 ? 0.0 : value);  // exact zeros in the tails
    }
  } else {
    response = drawVector(rng, responseLength, pickProfile(rng, 0.05));
  }
  std::vector<double> pattern;
  if (rng.chance(0.75)) {
    const bool pam4 = rng.chance(0.3);
    double level = 0.0;
    for (int32_t i = 0; i < patternLength; ++i) {
      if (i % p == 0) {
        level = pam4 ? (static_cast<double>(rng.between(0, 3)) * 2 - 3) / 3 : rng.sign();
      }
      pattern.push_back(level);
    }
  } else {
    pattern = drawVector(rng, patternLength, pickProfile(rng, 1.0));
  }
  c.fill(br, response);
  c.fill(bp, pattern);
  c.integer("responseLength", responseLength);
  c.integer("patternLength", patternLength);
  c.integer("samplesPerUi", spu);
  c.real("amplitude", param(rng, 0, 1, edge * 0.1, {0.0, -1.0, kInf, 1e200}));
}

void callXtlk(const Library& lib, const Case& c, unsigned char* a, Outcome& out) {
  out.real("return", lib.Get_xtlk_noise_step(
                         c.ptr<const double>(a, 0), c.ptr<const double>(a, 1),
                         c.i32Param("responseLength"), c.i32Param("patternLength"),
                         c.i32Param("samplesPerUi"), c.realParam("amplitude")));
}

// ---- floatingDFE ------------------------------------------------------------------

// trunc(L * G) capped at 2^20; none for a NaN product or one below 1.
int64_t positionCount(double taps, double groups) {
  const double product = taps * groups;
  if (!(product >= 1.0)) {
    return 0;
  }
  if (product >= 1048576.0) {
    return 1048576;
  }
  return static_cast<int64_t>(product);
}

void generateDfe(Rng& rng, Case& c) {
  const double edge = drawEdgeWeight(rng);
  const int32_t n = drawCount(rng, 48, 96, 0.04);
  const int32_t len = n > 0 ? n : 0;
  std::vector<double> pulse;
  double main = 1.0;
  if (rng.chance(0.7)) {
    const int32_t k0 = len > 0 ? static_cast<int32_t>(rng.between(0, std::min(5, len - 1))) : 0;
    main = rng.uniform(0.3, 1.0);
    const double tau = rng.uniform(1, 10);
    for (int32_t i = 0; i < len; ++i) {
      if (i < k0) {
        pulse.push_back(rng.uniform(-0.1, 0.1));
      } else if (i == k0) {
        pulse.push_back(main);
      } else {
        const double v = rng.uniform(-0.3, 0.3) * std::exp(-(i - k0) / tau);
        pulse.push_back(rng.chance(0.05) ? 0.0 : v);
      }
    }
  } else {
    pulse = drawVector(rng, len, pickProfile(rng, rng.chance(0.5) ? 1.0 : pickScale(rng)));
  }

  // Taps per group: never in (-1, 0).
  double taps = 1.0;
  const double u = rng.uniform();
  if (u < 0.7) {
    taps = static_cast<double>(rng.between(1, 4));
  } else if (u < 0.8) {
    static const double kFrac[] = {0.5, 1.5, 2.5, 1.0000000000000002};
    taps = kFrac[rng.next() % 4];
  } else if (u < 0.9) {
    static const double kLow[] = {0.0, -0.0, -1.0, -2.0, -3.5};
    taps = kLow[rng.next() % 5];
  } else if (u < 0.999) {
    taps = nanValue(rng);
  } else {
    taps = kInf;
  }
  double groups = 1.0;
  const double w = rng.uniform();
  if (std::isinf(taps)) {
    groups = 1.0;
  } else if (w < 0.75) {
    groups = static_cast<double>(rng.between(1, 5));
  } else if (w < 0.85) {
    static const double kFrac[] = {2.7, 0.9, 1.5, 3.9999999999999996};
    groups = kFrac[rng.next() % 4];
  } else if (w < 0.95) {
    static const double kLow[] = {0.0, -1.0, -0.5};
    groups = kLow[rng.next() % 3];
  } else if (w < 0.98) {
    groups = nanValue(rng);
  } else {
    groups = static_cast<double>(rng.between(20, 200));
  }

  double start = 0.0;
  const double s = rng.uniform();
  if (s < 0.6) {
    start = static_cast<double>(rng.between(0, std::max(len - 1, 0)));
  } else if (s < 0.7) {
    start = 0.0;
  } else if (s < 0.8 && len > 0) {
    start = rng.uniform(0, len);  // fractional
  } else if (s < 0.87) {
    start = -static_cast<double>(rng.between(1, 3));
  } else if (s < 0.93) {
    start = static_cast<double>(len + rng.between(0, 4));
  } else {
    static const double kOdd[] = {std::numeric_limits<double>::quiet_NaN(), kInf, -kInf, 1e300};
    start = kOdd[rng.next() % 4];
  }
  double end = 0.0;
  const double e = rng.uniform();
  if (e < 0.7) {
    end = start + static_cast<double>(rng.between(0, std::max(len, 1)));
  } else if (e < 0.78) {
    end = static_cast<double>(len + 5);
  } else if (e < 0.85) {
    end = start - 1.0;
  } else if (e < 0.92) {
    end = start + rng.uniform(0, 8);
  } else {
    static const double kOdd[] = {std::numeric_limits<double>::quiet_NaN(), kInf, 1e300, -kInf};
    end = kOdd[rng.next() % 4];
  }

  const int64_t positions = positionCount(taps, groups);
  const int bp = c.add("pulse", Elem::F64, n, kIn);
  const int bpos = c.add("tapPositionsOut", Elem::F64, positions, kOut);
  const int bw = c.add("tapWeightsOut", Elem::F64, len, kOut);
  const int bl = c.add("tapLimitsOut", Elem::F64, len, kOut);
  OverlapOdds odds;
  odds.outputOnInput = 0.16;
  odds.outputOnOutput = 0.06;
  planOverlaps(rng, c, {bpos, bw, bl}, {bp}, odds);
  c.layout(rng);
  c.fill(bp, pulse);
  c.integer("pulseLength", n);
  c.real("searchStart", start);
  c.real("tapsPerGroup", taps);
  c.real("groupCount", groups);
  c.real("searchEnd", end);
  c.real("maxTapWeight", param(rng, 0.1, 1.0, edge * 0.12, {0.0, -0.5, kInf, 1e-300}));
  c.real("mainCursor", rng.chance(0.5) ? main : param(rng, 0.2, 1.0, edge * 0.15, {0.0, -main, 1e-300}));
  c.integer("reservedInt", static_cast<int32_t>(rng.next()));
}

void callDfe(const Library& lib, const Case& c, unsigned char* a, Outcome&) {
  lib.floatingDFE(c.ptr<const double>(a, 0), c.i32Param("pulseLength"),
                  c.realParam("searchStart"), c.realParam("tapsPerGroup"),
                  c.realParam("groupCount"), c.realParam("searchEnd"),
                  c.realParam("maxTapWeight"), c.realParam("mainCursor"),
                  c.i32Param("reservedInt"), c.ptr<double>(a, 1), c.ptr<double>(a, 2),
                  c.ptr<double>(a, 3));
}

}  // namespace

void addEqualisation(std::vector<Export>& to) {
  to.push_back({"td_ctle", generateCtle, callCtle});
  to.push_back({"Get_xtlk_noise_step", generateXtlk, callXtlk});
  to.push_back({"floatingDFE", generateDfe, callDfe});
}

}  // namespace eq
