#include "eye/cpu_features.h"

#if defined(_MSC_VER) && (defined(_M_X64) || defined(_M_IX86))
#include <immintrin.h>
#include <intrin.h>
#endif

namespace zefra {

bool cpuHasAvx() {
#if defined(__GNUC__) && (defined(__x86_64__) || defined(__i386__))
  // libgcc's check includes the OS support (XCR0 enables the YMM state).
  __builtin_cpu_init();
  return __builtin_cpu_supports("avx") != 0;
#elif defined(_MSC_VER) && (defined(_M_X64) || defined(_M_IX86))
  int info[4] = {0, 0, 0, 0};
  __cpuid(info, 1);
  const bool osxsave = (info[2] & (1 << 27)) != 0;
  const bool avx = (info[2] & (1 << 28)) != 0;
  if (!osxsave || !avx) {
    return false;
  }
  return (_xgetbv(0) & 0x6) == 0x6;  // XMM and YMM state enabled
#else
  return false;
#endif
}

}  // namespace zefra
