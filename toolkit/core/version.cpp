// The version query: the string the header's macros were generated from.
#include "zefra/toolkit.h"

const char* zefra_tk_version(void) { return ZEFRA_VERSION_STRING; }
