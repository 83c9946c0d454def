// Argument rules of zefra_tk_eye_search.  Each message reads
// "name = value: expected <rule>" (or "name is null: expected <what>"), so a
// caller can tell which argument and which bound it broke.
#include <cmath>
#include <cstdint>
#include <string>

#include "eye/search_arguments.h"
#include "pulse/pulse_types.h"

namespace zefra::tk::search {
namespace {

using zefra::tk::pulse::formatNumber;

// Largest pulse: the floating-tap kernel indexes its cursors in 32 bits.
constexpr int64_t kMaxLength = 2147483647;

// Largest number of floating taps (floatingGroups * tapsPerGroup): the
// kernel keeps at most 2^20 tap positions and would drop the rest.
constexpr int64_t kMaxFloatingTaps = int64_t{1} << 20;

[[noreturn]] void fail(const std::string& name, const std::string& value, const std::string& rule) {
  throw SearchInputError(name + " = " + value + ": expected " + rule);
}

[[noreturn]] void failCount(const std::string& name, int64_t value, const std::string& rule) {
  fail(name, std::to_string(value), rule);
}

[[noreturn]] void fail(const std::string& name, double value, const std::string& rule) {
  fail(name, formatNumber(value), rule);
}

void requireNonNull(const void* pointer, const char* name, const char* what) {
  if (pointer == nullptr) {
    throw SearchInputError(std::string(name) + " is null: expected " + what);
  }
}

void checkCounts(const SearchArguments& a) {
  if (a.rxCount < 1) {
    failCount("rxCount", a.rxCount, "1 or more Rx settings");
  }
  if (a.length < 1 || a.length > kMaxLength) {
    failCount("length", a.length, "1 .. 2147483647 samples per pulse");
  }
  if (a.samplesPerUi < 1) {
    failCount("samplesPerUi", a.samplesPerUi, "1 or more samples per unit interval");
  }
  if (a.aggressorCount < 0) {
    failCount("aggressorCount", a.aggressorCount, "0 or more aggressors");
  }
  // rxCount * length < 2^62 always; with the aggressors the element count
  // of aggressorPulses must still be addressable in bytes.
  const int64_t perAggressor = int64_t{a.rxCount} * a.length;
  if (a.aggressorCount > 0 &&
      perAggressor > (INT64_MAX / static_cast<int64_t>(sizeof(double))) / a.aggressorCount) {
    failCount("aggressorCount", a.aggressorCount,
              "rxCount * aggressorCount * length doubles that fit in memory");
  }
  if (a.ffeCount < 0) {
    failCount("ffeCount", a.ffeCount, "0 or more FFE tap vectors (0: no FFE)");
  }
  if (a.ffeCount > 0) {
    if (a.ffeLength < 1) {
      failCount("ffeLength", a.ffeLength, "1 or more taps per FFE vector when ffeCount > 0");
    }
    if (a.ffeMain < 0 || a.ffeMain >= a.ffeLength) {
      failCount("ffeMain", a.ffeMain,
                "the main tap 0 .. ffeLength-1 = " + std::to_string(a.ffeLength - 1));
    }
  }
}

void checkPointers(const SearchArguments& a) {
  requireNonNull(a.victims, "victims", "double[rxCount * length], the victim pulses in V");
  if (a.aggressorCount > 0) {
    requireNonNull(a.aggressorPulses, "aggressorPulses",
                   "double[rxCount * aggressorCount * length] when aggressorCount > 0");
    requireNonNull(a.aggressorModes, "aggressorModes",
                   "zefra_tk_eye_aggressor[aggressorCount] when aggressorCount > 0");
  }
  if (a.ffeCount > 0) {
    requireNonNull(a.ffe, "ffe", "double[ffeCount * ffeLength] when ffeCount > 0");
  }
  requireNonNull(a.dfe, "dfe", "the DFE of the candidates (zefra_tk_eye_dfe)");
  requireNonNull(a.options, "options", "the eye options (see zefra_tk_eye_default_options)");
  requireNonNull(a.scores, "scores", "double[rxCount * max(ffeCount, 1)] for the scores");
}

void checkDfe(const zefra_tk_eye_dfe& d) {
  if (d.fixedTaps < 0) {
    failCount("dfe->fixedTaps", d.fixedTaps, "0 or more fixed taps");
  }
  if (d.floatingGroups < 0) {
    failCount("dfe->floatingGroups", d.floatingGroups, "0 or more floating groups (0: none)");
  }
  if (d.floatingGroups > 0) {
    if (d.tapsPerGroup < 1) {
      failCount("dfe->tapsPerGroup", d.tapsPerGroup,
                "1 or more taps per group when floatingGroups > 0");
    }
    if (int64_t{d.floatingGroups} * d.tapsPerGroup > kMaxFloatingTaps) {
      failCount("dfe->floatingGroups", d.floatingGroups,
                "floatingGroups * tapsPerGroup <= 1048576 floating taps");
    }
    if (d.searchStart < 1) {
      failCount("dfe->searchStart", d.searchStart,
                "a first post-cursor >= 1 when floatingGroups > 0");
    }
    const int64_t lastStart = int64_t{d.searchStart} + d.tapsPerGroup - 1;
    if (d.searchEnd < lastStart) {
      failCount("dfe->searchEnd", d.searchEnd,
                "searchStart + tapsPerGroup - 1 = " + std::to_string(lastStart) +
                    " or more (room for one group)");
    }
  }
  if (!(std::isfinite(d.limit) && d.limit >= 0.0)) {
    fail("dfe->limit", d.limit, "a finite tap limit >= 0 (largest |d_k| / |h_0|)");
  }
}

void checkScalars(const SearchArguments& a) {
  if (a.options->threads < 0) {
    failCount("options->threads", a.options->threads,
              "0 or more worker threads (0: one per hardware thread)");
  }
  if (!(a.targetBer > 0.0 && a.targetBer < 1.0)) {
    fail("targetBer", a.targetBer, "a target BER in (0, 1)");
  }
  for (int32_t j = 0; j < a.aggressorCount; ++j) {
    const int32_t mode = a.aggressorModes[j].synchronous;
    if (mode != 0 && mode != 1) {
      failCount("aggressorModes[" + std::to_string(j) + "].synchronous", mode,
                "1 (synchronous) or 0 (asynchronous)");
    }
  }
}

void checkValues(const SearchArguments& a) {
  for (int32_t c = 0; c < a.rxCount; ++c) {
    const double* p = a.victim(c);
    for (int64_t n = 0; n < a.length; ++n) {
      if (!std::isfinite(p[n])) {
        fail("victims[" + std::to_string(c) + "][" + std::to_string(n) + "]", p[n],
             "finite pulse samples in V");
      }
    }
  }
  for (int32_t c = 0; c < a.rxCount; ++c) {
    for (int32_t j = 0; j < a.aggressorCount; ++j) {
      const double* q = a.aggressorPulse(c, j);
      for (int64_t n = 0; n < a.length; ++n) {
        if (!std::isfinite(q[n])) {
          fail("aggressorPulses[" + std::to_string(c) + "][" + std::to_string(j) + "][" +
                   std::to_string(n) + "]",
               q[n], "finite pulse samples in V");
        }
      }
    }
  }
  for (int32_t f = 0; f < a.ffeCount; ++f) {
    const double* taps = a.ffeTaps(f);
    for (int32_t j = 0; j < a.ffeLength; ++j) {
      if (!std::isfinite(taps[j])) {
        fail("ffe[" + std::to_string(f) + "][" + std::to_string(j) + "]", taps[j],
             "finite FFE taps");
      }
    }
  }
}

}  // namespace

void checkSearchArguments(const SearchArguments& a) {
  checkCounts(a);
  checkPointers(a);
  checkDfe(*a.dfe);
  checkScalars(a);
  checkValues(a);
}

}  // namespace zefra::tk::search
