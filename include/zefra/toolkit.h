/*
 * Zefra channel toolkit: the C API of the library that the Python package
 * and the zefra-tdr command are built on (libzefra_toolkit.so,
 * zefra_toolkit.dll).  It is separate from Zefra_TDR_Helpers, whose export
 * table is fixed.
 *
 * Conventions of every function below:
 *   - Plain C types only; counts are signed integers (64 bits where a
 *     count of values can pass 2^31).
 *   - Functions that can fail return a zefra_tk_status and write a
 *     NUL-terminated message into a caller buffer; none prints.
 *   - Every function may be called from several threads at once.
 *
 * Buffer notes read "name: in|out, type[length], units".
 */
#ifndef ZEFRA_TOOLKIT_H
#define ZEFRA_TOOLKIT_H

#include <stdint.h>

#include "zefra/version.h"
#include "zefra/toolkit/common.h"
#include "zefra/toolkit/touchstone.h"
#include "zefra/toolkit/pulse.h"
#include "zefra/toolkit/eye.h"

#ifdef __cplusplus
extern "C" {
#endif

/*
 * Version of the toolkit library that is running, "MAJOR.MINOR.PATCH": the
 * ZEFRA_VERSION_STRING it was built with.  The string is static; never
 * free it.
 */
ZEFRA_TK_API const char *zefra_tk_version(void);

#ifdef __cplusplus
}
#endif

#endif /* ZEFRA_TOOLKIT_H */
