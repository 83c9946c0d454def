// A network read from a Touchstone file, as the C API hands it out.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "touchstone/record_store.h"

namespace zefra::tk {

// Kinds of text, as the ZEFRA_TK_TEXT_* values.
constexpr int kTextKinds = 7;

struct Network {
  int32_t ports = 0;
  std::vector<double> f;   // Hz
  RecordStore s;           // complex [points][ports][ports]
  int64_t sPoints = 0;     // points whose S the store held when read
  std::vector<double> z0;  // ohms
  std::vector<double> noiseF, nfMinDb, gammaOpt, rn;  // gammaOpt: (re, im) pairs
  std::array<std::vector<std::string>, kTextKinds> texts;
};

}  // namespace zefra::tk
