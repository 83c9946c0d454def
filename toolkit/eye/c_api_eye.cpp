// zefra_tk_eye_compute, the accessors of a computed eye and its read-out.
// The engine reports a broken rule as InputError and a grid or array too
// large to hold as OutOfMemory or std::bad_alloc; here they become status
// codes and one-line messages, and no exception crosses the C API.
#include <cstring>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

#include "core/c_api_message.h"
#include "eye/ber_map.h"
#include "eye/eye_errors.h"
#include "eye/input_check.h"
#include "eye/readout.h"
#include "zefra/toolkit.h"

struct zefra_tk_eye {
  zefra::tk::eye::EyeMap map;
};

namespace {

using zefra::tk::copyMessage;

void copyOut(const std::vector<double>& from, double* to) {
  if (to != nullptr && !from.empty()) {
    std::memcpy(to, from.data(), from.size() * sizeof(double));
  }
}

}  // namespace

void zefra_tk_eye_default_options(zefra_tk_eye_options* options) {
  if (options == nullptr) {
    return;
  }
  zefra_tk_eye_options o{};
  o.levels = 2;
  o.binV = 0.0;
  o.noiseRmsV = 0.0;
  o.djUi = 0.0;
  o.rjUi = 0.0;
  o.threads = 0;
  *options = o;
}

zefra_tk_status zefra_tk_eye_compute(const zefra_tk_eye_input* input,
                                     const zefra_tk_eye_options* options, zefra_tk_eye** eye,
                                     char* message, int32_t messageSize) {
  if (eye == nullptr) {
    copyMessage("eye is null: expected a place for the new eye", message, messageSize);
    return ZEFRA_TK_BAD_INPUT;
  }
  *eye = nullptr;
  try {
    const zefra::tk::eye::CheckedEye checked = zefra::tk::eye::checkEyeArguments(input, options);
    auto handle = std::make_unique<zefra_tk_eye>();
    handle->map = zefra::tk::eye::computeEyeMap(checked.channel, checked.settings);
    *eye = handle.release();
    copyMessage(std::string(), message, messageSize);
    return ZEFRA_TK_OK;
  } catch (const zefra::tk::eye::InputError& error) {
    copyMessage(error.what(), message, messageSize);
    return ZEFRA_TK_BAD_INPUT;
  } catch (const zefra::tk::eye::OutOfMemory& error) {
    copyMessage(error.what(), message, messageSize);
    return ZEFRA_TK_NO_MEMORY;
  } catch (const std::bad_alloc&) {
    copyMessage("zefra_tk_eye_compute: out of memory", message, messageSize);
    return ZEFRA_TK_NO_MEMORY;
  } catch (const std::length_error&) {
    copyMessage("zefra_tk_eye_compute: out of memory", message, messageSize);
    return ZEFRA_TK_NO_MEMORY;
  }
}

void zefra_tk_eye_free(zefra_tk_eye* eye) { delete eye; }

void zefra_tk_eye_shape(const zefra_tk_eye* eye, int32_t* eyes, int64_t* phases,
                        int64_t* voltages) {
  const bool have = eye != nullptr;
  if (eyes != nullptr) {
    *eyes = have ? eye->map.eyes() : 0;
  }
  if (phases != nullptr) {
    *phases = have ? eye->map.phases() : 0;
  }
  if (voltages != nullptr) {
    *voltages = have ? eye->map.voltages() : 0;
  }
}

void zefra_tk_eye_copy(const zefra_tk_eye* eye, double* phasesUi, double* voltagesV, double* ber,
                       double* mainCursorV) {
  if (eye == nullptr) {
    return;
  }
  const auto& m = eye->map;
  if (phasesUi != nullptr) {
    for (int64_t p = 0; p < m.phases(); ++p) {
      phasesUi[p] = static_cast<double>(p - m.halfPhases) / static_cast<double>(m.samplesPerUi);
    }
  }
  if (voltagesV != nullptr) {
    for (int64_t k = 0; k < m.voltages(); ++k) {
      voltagesV[k] = static_cast<double>(k - m.halfVoltages) * m.binV;
    }
  }
  copyOut(m.ber, ber);
  copyOut(m.mainCursor, mainCursorV);
}

zefra_tk_status zefra_tk_eye_readout(const zefra_tk_eye* eye, int32_t eyeIndex, double targetBer,
                                     zefra_tk_eye_figures* figures, double* heightV,
                                     double* contourLowV, double* contourHighV,
                                     double* bathtubMin, double* bathtubAtThreshold,
                                     char* message, int32_t messageSize) {
  if (eye == nullptr) {
    copyMessage("eye is null: expected an eye from zefra_tk_eye_compute", message, messageSize);
    return ZEFRA_TK_BAD_INPUT;
  }
  if (figures == nullptr) {
    copyMessage("figures is null: expected a place for the figures", message, messageSize);
    return ZEFRA_TK_BAD_INPUT;
  }
  try {
    const auto& m = eye->map;
    zefra::tk::eye::checkReadoutArguments(m.eyes(), eyeIndex, targetBer);
    const zefra::tk::eye::EyeView view{m.ber.data() + eyeIndex * m.phases() * m.voltages(),
                                       m.halfPhases, m.halfVoltages, m.samplesPerUi, m.binV};
    const zefra::tk::eye::Readout r = zefra::tk::eye::readEye(view, targetBer);
    *figures = r.figures;
    copyOut(r.height, heightV);
    copyOut(r.contourLow, contourLowV);
    copyOut(r.contourHigh, contourHighV);
    copyOut(r.bathtubMin, bathtubMin);
    copyOut(r.bathtubAtThreshold, bathtubAtThreshold);
    copyMessage(std::string(), message, messageSize);
    return ZEFRA_TK_OK;
  } catch (const zefra::tk::eye::InputError& error) {
    copyMessage(error.what(), message, messageSize);
    return ZEFRA_TK_BAD_INPUT;
  } catch (const std::bad_alloc&) {
    copyMessage("zefra_tk_eye_readout: out of memory", message, messageSize);
    return ZEFRA_TK_NO_MEMORY;
  }
}
