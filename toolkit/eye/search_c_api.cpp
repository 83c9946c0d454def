// zefra_tk_eye_search: the arguments are checked, the candidates (c, f) are
// scored in parallel, each into its own slot, and the scores are copied out
// only when every candidate succeeded.  A broken rule becomes
// ZEFRA_TK_BAD_INPUT, a failed allocation ZEFRA_TK_NO_MEMORY; when the
// engine fails a candidate, the call fails with the engine's status and
// message, prefixed by the candidate (the lowest failing (c, f) in
// c * F + f order, whatever the thread count).  No exception crosses the C
// API.
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

#include "core/c_api_message.h"
#include "eye/search_arguments.h"
#include "eye/search_candidate.h"
#include "eye/search_parallel.h"
#include "zefra/toolkit.h"

namespace {

using zefra::tk::copyMessage;
using namespace zefra::tk::search;

constexpr const char* kOutOfMemory = "zefra_tk_eye_search: out of memory";

std::string candidateName(int32_t c, int32_t f) {
  return "candidate (c = " + std::to_string(c) + ", f = " + std::to_string(f) + ")";
}

}  // namespace

zefra_tk_status zefra_tk_eye_search(const double* victims, int32_t rxCount, int64_t length,
                                    int32_t samplesPerUi, const double* aggressorPulses,
                                    const zefra_tk_eye_aggressor* aggressorModes,
                                    int32_t aggressorCount, const double* ffe, int32_t ffeCount,
                                    int32_t ffeLength, int32_t ffeMain, const zefra_tk_eye_dfe* dfe,
                                    const zefra_tk_eye_options* options, double targetBer,
                                    double* scores, char* message, int32_t messageSize) {
  const SearchArguments a{victims,         rxCount,        length,         samplesPerUi,
                          aggressorPulses, aggressorModes, aggressorCount, ffe,
                          ffeCount,        ffeLength,      ffeMain,        dfe,
                          options,         targetBer,      scores};
  try {
    checkSearchArguments(a);
    const int64_t count = a.candidateCount();
    const int32_t perRx = a.candidatesPerRx();
    std::vector<CandidateScore> results(static_cast<size_t>(count));
    parallelFor(count, workerCount(options->threads, count), [&](int64_t i) {
      CandidateScore& slot = results[static_cast<size_t>(i)];
      try {
        slot = scoreCandidate(a, static_cast<int32_t>(i / perRx), static_cast<int32_t>(i % perRx));
      } catch (const std::bad_alloc&) {
        slot.status = ZEFRA_TK_NO_MEMORY;
      } catch (const std::length_error&) {
        slot.status = ZEFRA_TK_NO_MEMORY;
      }
      return slot.status == ZEFRA_TK_OK;
    });
    for (int64_t i = 0; i < count; ++i) {
      const CandidateScore& r = results[static_cast<size_t>(i)];
      if (r.status != ZEFRA_TK_OK) {
        const std::string what = r.message.empty() && r.status == ZEFRA_TK_NO_MEMORY
                                     ? std::string("out of memory")
                                     : r.message;
        copyMessage(
            candidateName(static_cast<int32_t>(i / perRx), static_cast<int32_t>(i % perRx)) + ": " +
                what,
            message, messageSize);
        return r.status;
      }
    }
    for (int64_t i = 0; i < count; ++i) {
      scores[i] = results[static_cast<size_t>(i)].scoreV;
    }
    copyMessage(std::string(), message, messageSize);
    return ZEFRA_TK_OK;
  } catch (const SearchInputError& error) {
    copyMessage(error.what(), message, messageSize);
    return ZEFRA_TK_BAD_INPUT;
  } catch (const std::bad_alloc&) {
    copyMessage(kOutOfMemory, message, messageSize);
    return ZEFRA_TK_NO_MEMORY;
  } catch (const std::length_error&) {
    copyMessage(kOutOfMemory, message, messageSize);
    return ZEFRA_TK_NO_MEMORY;
  }
}
