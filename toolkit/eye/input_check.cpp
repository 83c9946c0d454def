// Argument rules of the eye.  Each message reads "name = value: expected
// <rule>" (or "name is null: expected <what>"), so that a caller can tell
// which argument and which bound it broke without a second look at the
// documentation.
#include "eye/input_check.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <utility>
#include <vector>

#include "eye/eye_errors.h"

namespace zefra::tk::eye {
namespace {

[[noreturn]] void fail(const std::string& name, const std::string& value,
                       const std::string& rule) {
  throw InputError(name + " = " + value + ": expected " + rule);
}

void requireNonNull(const void* pointer, const std::string& name, const char* what) {
  if (pointer == nullptr) {
    throw InputError(name + " is null: expected " + what);
  }
}

void requireFinite(const double* values, int64_t count, const std::string& name) {
  for (int64_t i = 0; i < count; ++i) {
    if (!std::isfinite(values[i])) {
      fail(name + "[" + std::to_string(i) + "]", formatNumber(values[i]), "finite values in V");
    }
  }
}

void checkOptions(const zefra_tk_eye_options& o) {
  if (o.levels < 2 || o.levels > 64) {
    fail("levels", std::to_string(o.levels), "2 .. 64 signal levels");
  }
  if (!(std::isfinite(o.binV) && o.binV > 0.0)) {
    fail("binV", formatNumber(o.binV), "a finite lattice step > 0 V");
  }
  if (!(std::isfinite(o.noiseRmsV) && o.noiseRmsV >= 0.0)) {
    fail("noiseRmsV", formatNumber(o.noiseRmsV), "a finite noise rms >= 0 V");
  }
  if (!(std::isfinite(o.djUi) && o.djUi >= 0.0)) {
    fail("djUi", formatNumber(o.djUi), "a finite deterministic jitter >= 0 UI");
  }
  if (!(std::isfinite(o.rjUi) && o.rjUi >= 0.0)) {
    fail("rjUi", formatNumber(o.rjUi), "a finite random jitter rms >= 0 UI");
  }
  if (o.threads < 0) {
    fail("threads", std::to_string(o.threads), ">= 0 worker threads (0: one per hardware thread)");
  }
  const double reach = 0.5 * o.djUi + 11.5 * o.rjUi;
  if (!(reach <= kMaxJitterReachUi)) {
    fail("djUi, rjUi", formatNumber(o.djUi) + ", " + formatNumber(o.rjUi),
         "a jitter reach DJ/2 + 11.5 RJ of at most 64 UI");
  }
}

Channel checkChannel(const zefra_tk_eye_input& in) {
  if (in.length < 1) {
    fail("length", std::to_string(in.length), "a pulse of >= 1 samples");
  }
  requireNonNull(in.pulse, "pulse", "double[length], the victim's pulse in V");
  if (in.samplesPerUi < 1) {
    fail("samplesPerUi", std::to_string(in.samplesPerUi), ">= 1 samples per unit interval");
  }
  if (in.centre < 0 || in.centre >= in.length) {
    fail("centre", std::to_string(in.centre),
         "a sample 0 .. length-1 (length = " + std::to_string(in.length) + ")");
  }
  requireFinite(in.pulse, in.length, "pulse");

  Channel c;
  c.pulse = in.pulse;
  c.length = in.length;
  c.samplesPerUi = in.samplesPerUi;
  c.centre = in.centre;

  if (in.dfeCount < 0) {
    fail("dfeCount", std::to_string(in.dfeCount), ">= 0 DFE taps");
  }
  if (in.dfeCount > 0) {
    requireNonNull(in.dfePositions, "dfePositions", "int64[dfeCount] cursor indices >= 1");
    requireNonNull(in.dfeValuesV, "dfeValuesV", "double[dfeCount] tap values in V");
  }
  std::vector<std::pair<int64_t, int32_t>> seen;
  for (int32_t t = 0; t < in.dfeCount; ++t) {
    const int64_t k = in.dfePositions[t];
    const std::string name = "dfePositions[" + std::to_string(t) + "]";
    if (k < 1) {
      fail(name, std::to_string(k), "a post-cursor index >= 1");
    }
    if (!std::isfinite(in.dfeValuesV[t])) {
      fail("dfeValuesV[" + std::to_string(t) + "]", formatNumber(in.dfeValuesV[t]),
           "finite values in V");
    }
    seen.emplace_back(k, t);
  }
  std::sort(seen.begin(), seen.end());
  for (std::size_t i = 1; i < seen.size(); ++i) {
    if (seen[i].first == seen[i - 1].first) {
      const int32_t later = std::max(seen[i].second, seen[i - 1].second);
      const int32_t earlier = std::min(seen[i].second, seen[i - 1].second);
      fail("dfePositions[" + std::to_string(later) + "]", std::to_string(seen[i].first),
           "distinct cursor indices (dfePositions[" + std::to_string(earlier) + "] is the same)");
    }
  }
  c.dfePositions.assign(in.dfePositions, in.dfePositions + in.dfeCount);
  c.dfeValues.assign(in.dfeValuesV, in.dfeValuesV + in.dfeCount);

  if (in.aggressorCount < 0) {
    fail("aggressorCount", std::to_string(in.aggressorCount), ">= 0 aggressors");
  }
  if (in.aggressorCount > 0) {
    requireNonNull(in.aggressors, "aggressors", "zefra_tk_eye_aggressor[aggressorCount]");
  }
  for (int32_t j = 0; j < in.aggressorCount; ++j) {
    const zefra_tk_eye_aggressor& a = in.aggressors[j];
    const std::string name = "aggressors[" + std::to_string(j) + "]";
    if (a.length < 1) {
      fail(name + ".length", std::to_string(a.length), "a pulse of >= 1 samples");
    }
    requireNonNull(a.pulse, name + ".pulse", "double[length], the aggressor's pulse in V");
    if (a.synchronous != 0 && a.synchronous != 1) {
      fail(name + ".synchronous", std::to_string(a.synchronous),
           "1 (synchronous) or 0 (asynchronous)");
    }
    requireFinite(a.pulse, a.length, name + ".pulse");
    c.aggressors.push_back({a.pulse, a.length, a.synchronous == 1, a.offsetSamples});
  }
  return c;
}

}  // namespace

CheckedEye checkEyeArguments(const zefra_tk_eye_input* input,
                             const zefra_tk_eye_options* options) {
  requireNonNull(input, "input", "the channel (zefra_tk_eye_input)");
  requireNonNull(options, "options", "the options (see zefra_tk_eye_default_options)");
  CheckedEye out;
  out.channel = checkChannel(*input);
  checkOptions(*options);
  const zefra_tk_eye_options& o = *options;
  if ((o.djUi > 0.0 || o.rjUi > 0.0) && input->samplesPerUi < 2) {
    fail("samplesPerUi", std::to_string(input->samplesPerUi),
         ">= 2 when there is jitter (djUi = " + formatNumber(o.djUi) +
             ", rjUi = " + formatNumber(o.rjUi) + ")");
  }
  out.settings = {o.levels, o.binV, o.noiseRmsV, o.djUi, o.rjUi, o.threads};
  return out;
}

void checkReadoutArguments(int32_t eyes, int32_t eyeIndex, double targetBer) {
  if (eyeIndex < 0 || eyeIndex >= eyes) {
    fail("eyeIndex", std::to_string(eyeIndex),
         "an eye 0 .. " + std::to_string(eyes - 1) + " (levels - 2)");
  }
  if (!(targetBer > 0.0 && targetBer < 1.0)) {
    fail("targetBer", formatNumber(targetBer), "a BER in (0, 1)");
  }
}

}  // namespace zefra::tk::eye
