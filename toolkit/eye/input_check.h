// The rules of zefra_tk_eye_compute's and zefra_tk_eye_readout's
// arguments, checked before any work: every violation is an InputError
// naming the argument and the rule.
#pragma once

#include <cstdint>

#include "eye/ber_map.h"
#include "eye/cursor_set.h"
#include "zefra/toolkit/eye.h"

namespace zefra::tk::eye {

// Largest jitter reach DJ/2 + 11.5 RJ, UI.
constexpr double kMaxJitterReachUi = 64.0;

struct CheckedEye {
  Channel channel;
  EyeSettings settings;
};

// Checks the pointers, counts and values of the input and the options and
// returns them in the engine's form.
CheckedEye checkEyeArguments(const zefra_tk_eye_input* input, const zefra_tk_eye_options* options);

// Checks a read-out's eye index (0 .. eyes-1) and target BER (0 < t < 1).
void checkReadoutArguments(int32_t eyes, int32_t eyeIndex, double targetBer);

}  // namespace zefra::tk::eye
