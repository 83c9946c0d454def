/* The public header compiles as strict C11 (this file is built with
 * -std=c11 -pedantic-errors); the C++ tests include it as C++. */
#include "zefra/tdr_helpers.h"

int zefra_header_c11_check(void);
int zefra_header_c11_check(void) { return (int)sizeof(zefra_complex); }
