// zefra_tk_pulse_response and the accessors of a computed response.  The
// pipeline reports a broken rule as InputError and a failed allocation as
// std::bad_alloc; here they become status codes and one-line messages, and
// no exception crosses the C API.
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <utility>

#include "pulse/pulse_response.h"
#include "core/c_api_message.h"
#include "zefra/toolkit.h"

struct zefra_tk_pulse {
  zefra::tk::pulse::PulseResult data;
};

namespace {

using zefra::tk::copyMessage;

}  // namespace

void zefra_tk_pulse_default_options(zefra_tk_pulse_options* options) {
  if (options == nullptr) {
    return;
  }
  zefra_tk_pulse_options o{};
  o.baudHz = 0.0;
  o.samplesPerUi = 32;
  o.spanS = 0.0;
  o.sourceOhm = 50.0;
  o.sourcePadF = 0.0;
  o.loadOhm = 50.0;
  o.loadPadF = 0.0;
  o.dcPolicy = ZEFRA_TK_DC_AUTO;
  o.dcValue = 0.0;
  o.rolloffHz = 0.0;
  o.rxOrder = 0;
  o.rxBandwidthHz = 0.0;
  o.window = ZEFRA_TK_WINDOW_NONE;
  o.kaiserBeta = 6.0;
  o.guardS = -1.0;
  *options = o;
}

zefra_tk_status zefra_tk_pulse_response(int64_t points, const double* f, const double* s,
                                        const double* z0, const zefra_tk_pulse_options* options,
                                        zefra_tk_pulse** pulse, char* message,
                                        int32_t messageSize) {
  if (pulse == nullptr) {
    copyMessage("pulse is null: expected a place for the new response", message, messageSize);
    return ZEFRA_TK_BAD_INPUT;
  }
  *pulse = nullptr;
  try {
    auto handle = std::make_unique<zefra_tk_pulse>();
    handle->data = zefra::tk::pulse::computePulseResponse(points, f, s, z0, options);
    *pulse = handle.release();
    copyMessage(std::string(), message, messageSize);
    return ZEFRA_TK_OK;
  } catch (const zefra::tk::pulse::InputError& error) {
    copyMessage(error.what(), message, messageSize);
    return ZEFRA_TK_BAD_INPUT;
  } catch (const std::bad_alloc&) {
    copyMessage("zefra_tk_pulse_response: out of memory", message, messageSize);
    return ZEFRA_TK_NO_MEMORY;
  } catch (const std::length_error&) {
    copyMessage("zefra_tk_pulse_response: out of memory", message, messageSize);
    return ZEFRA_TK_NO_MEMORY;
  }
}

void zefra_tk_pulse_free(zefra_tk_pulse* pulse) { delete pulse; }

int64_t zefra_tk_pulse_length(const zefra_tk_pulse* pulse) {
  return pulse == nullptr ? 0 : static_cast<int64_t>(pulse->data.impulse.size());
}

void zefra_tk_pulse_copy(const zefra_tk_pulse* pulse, double* t, double* impulse, double* step,
                         double* pulseOut) {
  if (pulse == nullptr) {
    return;
  }
  const auto& r = pulse->data;
  const auto copy = [](const std::vector<double>& from, double* to) {
    if (to != nullptr && !from.empty()) {
      std::memcpy(to, from.data(), from.size() * sizeof(double));
    }
  };
  copy(r.time, t);
  copy(r.impulse, impulse);
  copy(r.step, step);
  copy(r.pulse, pulseOut);
}

void zefra_tk_pulse_copy_transfer(const zefra_tk_pulse* pulse, double* h) {
  if (pulse == nullptr || h == nullptr) {
    return;
  }
  const auto& x = pulse->data.transfer;
  for (std::size_t k = 0; k < x.size(); ++k) {
    h[2 * k] = x[k].real();
    h[2 * k + 1] = x[k].imag();
  }
}

void zefra_tk_pulse_diagnostics_of(const zefra_tk_pulse* pulse,
                                   zefra_tk_pulse_diagnostics* diagnostics) {
  if (diagnostics == nullptr) {
    return;
  }
  if (pulse == nullptr) {
    *diagnostics = zefra_tk_pulse_diagnostics{};
    return;
  }
  *diagnostics = pulse->data.diagnostics;
}
