// Counting the tokens of a data line without reading them: a token is a run
// of bytes other than blanks (space, tab, CR), and the count stops at the
// first '!' (a comment).  16 bytes at a time with SSE2 where the target has
// it (every x86-64), byte by byte elsewhere; both give the same count.
#pragma once

#include <cstdint>

namespace zefra::tk {

// The number of tokens in [p, end) before the first '!'; `stop` is set to
// that '!' or to `end`.
int64_t countTokens(const char* p, const char* end, const char*& stop);

}  // namespace zefra::tk
