// The arguments of zefra_tk_eye_search in one place, with the index
// arithmetic of its flat arrays, and the error that carries a broken rule
// to the C API.
#pragma once

#include <cstdint>
#include <stdexcept>

#include "zefra/toolkit/eye.h"

namespace zefra::tk::search {

// An argument breaks a rule of zefra_tk_eye_search; what() is the one-line
// message "name = value: expected ...".
class SearchInputError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct SearchArguments {
  const double* victims;  // double[rxCount * length]
  int32_t rxCount;
  int64_t length;
  int32_t samplesPerUi;
  const double* aggressorPulses;                 // double[rxCount * aggressorCount * length]
  const zefra_tk_eye_aggressor* aggressorModes;  // [aggressorCount]
  int32_t aggressorCount;
  const double* ffe;  // double[ffeCount * ffeLength]
  int32_t ffeCount;
  int32_t ffeLength;
  int32_t ffeMain;
  const zefra_tk_eye_dfe* dfe;
  const zefra_tk_eye_options* options;
  double targetBer;
  double* scores;  // double[rxCount * candidatesPerRx()]

  // F: the FFE vectors tried per Rx setting (one, "no FFE", when ffeCount = 0).
  int32_t candidatesPerRx() const { return ffeCount > 0 ? ffeCount : 1; }
  int64_t candidateCount() const { return int64_t{rxCount} * candidatesPerRx(); }

  const double* victim(int32_t c) const { return victims + int64_t{c} * length; }
  const double* aggressorPulse(int32_t c, int32_t j) const {
    return aggressorPulses + (int64_t{c} * aggressorCount + j) * length;
  }
  // The taps of FFE vector f, or null when the search has no FFE.
  const double* ffeTaps(int32_t f) const {
    return ffeCount > 0 ? ffe + int64_t{f} * ffeLength : nullptr;
  }
};

// Checks counts, pointers, the DFE and the values the search reads itself
// (every pulse sample and FFE tap finite, the aggressor modes, targetBer,
// options->threads); throws SearchInputError naming the first broken rule.
// The remaining eye options are the engine's to check, candidate by
// candidate.
void checkSearchArguments(const SearchArguments& a);

}  // namespace zefra::tk::search
