/*
 * Zefra channel toolkit: the C API of the library that the Python package
 * and the zefra-tdr command are built on (libzefra_toolkit.so,
 * zefra_toolkit.dll).  It is separate from Zefra_TDR_Helpers, whose export
 * table is fixed.
 *
 * Conventions of every function below:
 *   - Plain C types only; counts are signed 32-bit integers.
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

#if defined(_WIN32)
#  if defined(ZEFRA_TK_BUILDING)
#    define ZEFRA_TK_API __declspec(dllexport)
#  else
#    define ZEFRA_TK_API __declspec(dllimport)
#  endif
#elif defined(ZEFRA_TK_BUILDING) && (defined(__GNUC__) || defined(__clang__))
#  define ZEFRA_TK_API __attribute__((visibility("default")))
#else
#  define ZEFRA_TK_API
#endif

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
