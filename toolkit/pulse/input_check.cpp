// Argument rules of zefra_tk_pulse_response.  Each message reads
// "name = value: expected <rule>", so that a caller can tell which argument
// and which bound it broke without a second look at the documentation.
#include "pulse/input_check.h"

#include <charconv>
#include <cmath>
#include <string>

namespace zefra::tk::pulse {

std::string formatNumber(double x) {
  if (std::isnan(x)) {
    return "nan";
  }
  if (std::isinf(x)) {
    return x > 0 ? "inf" : "-inf";
  }
  char buffer[64];
  const auto result = std::to_chars(buffer, buffer + sizeof buffer, x);
  return std::string(buffer, result.ptr);
}

namespace {

[[noreturn]] void fail(const std::string& name, const std::string& value,
                       const std::string& rule) {
  throw InputError(name + " = " + value + ": expected " + rule);
}

[[noreturn]] void fail(const std::string& name, double value, const std::string& rule) {
  fail(name, formatNumber(value), rule);
}

void requireNonNull(const void* pointer, const char* name, const char* what) {
  if (pointer == nullptr) {
    throw InputError(std::string(name) + " is null: expected " + what);
  }
}

void checkOptions(const zefra_tk_pulse_options& o) {
  if (!(std::isfinite(o.baudHz) && o.baudHz > 0.0)) {
    fail("baudHz", o.baudHz, "a finite symbol rate > 0 Hz");
  }
  if (o.samplesPerUi < 1 || o.samplesPerUi > 4096) {
    fail("samplesPerUi", std::to_string(o.samplesPerUi), "1 .. 4096 samples per unit interval");
  }
  if (std::isnan(o.spanS) || std::isinf(o.spanS)) {
    fail("spanS", o.spanS, "a finite time span in s (<= 0 for the default)");
  }
  if (!(std::isfinite(o.sourceOhm) && o.sourceOhm > 0.0)) {
    fail("sourceOhm", o.sourceOhm, "a finite source resistance > 0 ohms");
  }
  if (!(std::isfinite(o.sourcePadF) && o.sourcePadF >= 0.0)) {
    fail("sourcePadF", o.sourcePadF, "a finite source pad capacitance >= 0 F");
  }
  if (!(o.loadOhm > 0.0)) {  // +inf (an open load) passes, NaN fails
    fail("loadOhm", o.loadOhm, "a load resistance > 0 ohms (+inf for an open load)");
  }
  if (!(std::isfinite(o.loadPadF) && o.loadPadF >= 0.0)) {
    fail("loadPadF", o.loadPadF, "a finite load pad capacitance >= 0 F");
  }
  if (o.dcPolicy < ZEFRA_TK_DC_AUTO || o.dcPolicy > ZEFRA_TK_DC_AC_COUPLED) {
    fail("dcPolicy", std::to_string(o.dcPolicy), "one of ZEFRA_TK_DC_* (0 .. 5)");
  }
  if (o.dcPolicy == ZEFRA_TK_DC_GIVEN && !std::isfinite(o.dcValue)) {
    fail("dcValue", o.dcValue, "a finite H(0) for ZEFRA_TK_DC_GIVEN");
  }
  if (o.dcPolicy == ZEFRA_TK_DC_RESISTANCE && !(std::isfinite(o.dcValue) && o.dcValue >= 0.0)) {
    fail("dcValue", o.dcValue, "a finite series resistance >= 0 ohms for ZEFRA_TK_DC_RESISTANCE");
  }
  if (std::isnan(o.rolloffHz) || std::isinf(o.rolloffHz)) {
    fail("rolloffHz", o.rolloffHz, "a finite roll-off width in Hz (<= 0 for the default)");
  }
  if (o.rxOrder < 0 || o.rxOrder > 32) {
    fail("rxOrder", std::to_string(o.rxOrder), "a receiver filter order 0 .. 32 (0: none)");
  }
  if (o.rxOrder > 0 && !(std::isfinite(o.rxBandwidthHz) && o.rxBandwidthHz > 0.0)) {
    fail("rxBandwidthHz", o.rxBandwidthHz, "a finite -3 dB frequency > 0 Hz when rxOrder > 0");
  }
  if (o.window < ZEFRA_TK_WINDOW_NONE || o.window > ZEFRA_TK_WINDOW_KAISER) {
    fail("window", std::to_string(o.window), "one of ZEFRA_TK_WINDOW_* (0 .. 2)");
  }
  // I0(100) is about 1e42; beyond a few hundred it overflows, and a window
  // that narrow is no longer a window.
  if (o.window == ZEFRA_TK_WINDOW_KAISER &&
      !(std::isfinite(o.kaiserBeta) && o.kaiserBeta >= 0.0 && o.kaiserBeta <= 100.0)) {
    fail("kaiserBeta", o.kaiserBeta, "a Kaiser parameter 0 .. 100");
  }
  if (std::isnan(o.guardS) || std::isinf(o.guardS)) {
    fail("guardS", o.guardS, "a finite guard time in s (< 0 for the default)");
  }
}

void checkData(int64_t points, const double* f, const double* s, const double* z0,
               const zefra_tk_pulse_options& o) {
  for (int i = 0; i < 2; ++i) {
    if (!(std::isfinite(z0[i]) && z0[i] > 0.0)) {
      fail("z0[" + std::to_string(i) + "]", z0[i], "a finite port reference > 0 ohms");
    }
  }
  for (int64_t k = 0; k < points; ++k) {
    if (!(std::isfinite(f[k]) && f[k] >= 0.0)) {
      fail("f[" + std::to_string(k) + "]", f[k], "a finite frequency >= 0 Hz");
    }
    if (k > 0 && !(f[k] > f[k - 1])) {
      fail("f[" + std::to_string(k) + "]", f[k],
           "strictly increasing frequencies (f[" + std::to_string(k - 1) +
               "] = " + formatNumber(f[k - 1]) + ")");
    }
  }
  for (int64_t k = 0; k < points; ++k) {
    for (int64_t e = 0; e < 8; ++e) {
      const double v = s[8 * k + e];
      if (!std::isfinite(v)) {
        const int64_t i = (e / 2) / 2;
        const int64_t j = (e / 2) % 2;
        fail("s[" + std::to_string(k) + "][" + std::to_string(i) + "][" + std::to_string(j) +
                 "]." + ((e % 2 == 0) ? "re" : "im"),
             v, "finite S-parameters");
      }
    }
  }
  if (o.dcPolicy == ZEFRA_TK_DC_DATA && f[0] != 0.0) {
    fail("f[0]", f[0], "0 Hz for ZEFRA_TK_DC_DATA (use EXTRAPOLATE or GIVEN otherwise)");
  }
}

}  // namespace

void checkArguments(int64_t points, const double* f, const double* s, const double* z0,
                    const zefra_tk_pulse_options* options) {
  if (points < 2 || points > kMaxPoints) {
    fail("points", std::to_string(points), "2 .. 2147483647 measured frequencies");
  }
  requireNonNull(f, "f", "double[points] frequencies in Hz");
  requireNonNull(s, "s", "double[2 * points * 4], the complex 2x2 S per frequency");
  requireNonNull(z0, "z0", "double[2], the port references in ohms");
  requireNonNull(options, "options", "the options (see zefra_tk_pulse_default_options)");
  checkOptions(*options);
  checkData(points, f, s, z0, *options);
}

}  // namespace zefra::tk::pulse
