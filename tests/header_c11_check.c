/* The public headers compile as strict C11 (this file is built with
 * -std=c11 -pedantic-errors); the C++ tests include them as C++. */
#include "zefra/tdr_helpers.h"
#include "zefra/toolkit.h"

#if ZEFRA_VERSION_NUMBER != ZEFRA_VERSION_MAJOR * 10000 + ZEFRA_VERSION_MINOR * 100 + ZEFRA_VERSION_PATCH
#error "ZEFRA_VERSION_NUMBER does not encode the version"
#endif

int zefra_header_c11_check(void);
int zefra_header_c11_check(void) { return (int)sizeof(zefra_complex); }
