/* The public headers compile as strict C11 (this file is built with
 * -std=c11 -pedantic-errors); the C++ tests include them as C++. */
#include "zefra/interp_sparam.h"
#include "zefra/tdr_helpers.h"
#include "zefra/toolkit.h"

#if ZEFRA_VERSION_NUMBER != ZEFRA_VERSION_MAJOR * 10000 + ZEFRA_VERSION_MINOR * 100 + ZEFRA_VERSION_PATCH
#error "ZEFRA_VERSION_NUMBER does not encode the version"
#endif

int zefra_header_c11_check(void);
/* One complex type: the sibling's export takes the library's zefra_complex. */
int zefra_header_c11_check(void) {
  void (*resample)(const zefra_complex *, const double *, int32_t, const double *, int32_t,
                   zefra_complex *) = zefra_interp_Sparam_C;
  return (int)sizeof(zefra_complex) + (resample != 0);
}
