// Counting the tokens of a data line without reading them: a token is a run
// of bytes other than blanks (space, tab, CR), and the count stops at the
// first '!' (a comment).  16 bytes at a time with SSE2 where the target has
// it (every x86-64), byte by byte elsewhere; both give the same count.
#pragma once

#include <cstdint>

namespace zefra::tk {

// The number of tokens in [p, end) before the first '!', up to `limit`;
// `stop` is set to that '!', to `end`, or to the start of the token after
// the first `limit` ones.
int64_t countTokens(const char* p, const char* end, int64_t limit, const char*& stop);

}  // namespace zefra::tk
