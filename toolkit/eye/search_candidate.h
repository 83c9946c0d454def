// The score of one search candidate (Rx setting c, FFE vector f).
#pragma once

#include <cstdint>
#include <string>

#include "eye/search_arguments.h"

namespace zefra::tk::search {

struct CandidateScore {
  zefra_tk_status status = ZEFRA_TK_OK;
  std::string message;  // the engine's, when status is not ZEFRA_TK_OK
  double scoreV = 0.0;  // the smallest heightBestV over the eyes, V
};

// FFE on victims[c], centre, DFE, the eye with the aggressors of Rx
// setting c (single-threaded), and the worst eye's best height at
// targetBer.  The engine is reached through its C API only.  Throws
// std::bad_alloc when the candidate's own buffers cannot be allocated.
CandidateScore scoreCandidate(const SearchArguments& a, int32_t c, int32_t f);

}  // namespace zefra::tk::search
