/*
 * What every part of the toolkit's C API shares: the export macro and the
 * status codes.  Include <zefra/toolkit.h>.
 */
#ifndef ZEFRA_TOOLKIT_COMMON_H
#define ZEFRA_TOOLKIT_COMMON_H

#include <stdint.h>

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

/*
 * Result of a function that can fail.  On failure the function writes a
 * one-line, NUL-terminated message into the caller's buffer
 * (char message[messageSize]; nothing is written when messageSize <= 0).
 */
typedef int32_t zefra_tk_status;
#define ZEFRA_TK_OK 0
#define ZEFRA_TK_BAD_INPUT 1 /* an argument or the content of a file breaks a rule */
#define ZEFRA_TK_IO_ERROR 2  /* a file cannot be opened, read or written */
#define ZEFRA_TK_NO_MEMORY 3 /* an allocation failed */

#endif /* ZEFRA_TOOLKIT_COMMON_H */
