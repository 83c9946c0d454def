#include "touchstone/token_count.h"

#include <bit>

#if defined(__SSE2__) || defined(_M_X64) || (defined(_M_IX86_FP) && _M_IX86_FP >= 2)
#  include <emmintrin.h>
#  define ZEFRA_TK_SSE2 1
#endif

namespace zefra::tk {
namespace {

bool blank(char c) { return c == ' ' || c == '\t' || c == '\r'; }

#if defined(ZEFRA_TK_SSE2)
// Bits set in a 16-bit mask, without a library call on targets that lack a
// population-count instruction.
int popcount16(unsigned x) {
  x = x - ((x >> 1) & 0x5555u);
  x = (x & 0x3333u) + ((x >> 2) & 0x3333u);
  x = (x + (x >> 4)) & 0x0F0Fu;
  return static_cast<int>((x + (x >> 8)) & 0x1Fu);
}
#endif

}  // namespace

int64_t countTokens(const char* p, const char* end, int64_t limit, const char*& stop) {
  int64_t count = 0;
  bool afterBlank = true;  // the byte before p counts as a blank
#if defined(ZEFRA_TK_SSE2)
  const __m128i space = _mm_set1_epi8(' ');
  const __m128i tab = _mm_set1_epi8('\t');
  const __m128i cr = _mm_set1_epi8('\r');
  const __m128i bang = _mm_set1_epi8('!');
  while (end - p >= 16) {
    const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
    const __m128i isBlank = _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi8(bytes, space),
                                                      _mm_cmpeq_epi8(bytes, tab)),
                                         _mm_cmpeq_epi8(bytes, cr));
    const auto blanks = static_cast<unsigned>(_mm_movemask_epi8(isBlank));
    const auto bangs = static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(bytes, bang)));
    // A token starts at a non-blank byte after a blank one.
    const unsigned before = ((blanks << 1) | (afterBlank ? 1u : 0u)) & 0xFFFFu;
    unsigned starts = ~blanks & before & 0xFFFFu;
    if (bangs != 0) {
      starts &= (1u << std::countr_zero(bangs)) - 1u;
    }
    const int here = popcount16(starts);
    if (count + here > limit) {
      // The start of token limit + 1: drop the starts before it.
      for (int64_t skip = limit - count; skip > 0; --skip) {
        starts &= starts - 1u;
      }
      stop = p + std::countr_zero(starts);
      return limit;
    }
    count += here;
    if (bangs != 0) {
      stop = p + std::countr_zero(bangs);
      return count;
    }
    afterBlank = (blanks & 0x8000u) != 0;
    p += 16;
  }
#endif
  for (; p < end; ++p) {
    const char c = *p;
    if (c == '!') {
      stop = p;
      return count;
    }
    const bool isBlank = blank(c);
    if (!isBlank && afterBlank) {
      if (count == limit) {
        stop = p;
        return limit;
      }
      ++count;
    }
    afterBlank = isBlank;
  }
  stop = end;
  return count;
}

}  // namespace zefra::tk
