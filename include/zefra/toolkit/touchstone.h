/*
 * Touchstone files in and out: versions 1.0/1.1 (.sNp, .yNp, .zNp, .hNp,
 * .gNp, any case), 2.0 and 2.1 (.ts or .sNp).  Part of the channel toolkit;
 * include <zefra/toolkit.h>.
 *
 * Conventions of a network read or written here:
 *   - f: frequencies, Hz, strictly increasing;
 *   - s: S-parameters, complex (re, im pairs), [points][ports][ports]
 *     row-major: s[(k * ports + i) * ports + j] is S_ij at frequency k, the
 *     wave out of port i for a wave into port j (ports count from 0 here
 *     and from 1 in the file);
 *   - z0: the reference resistance of each port, ohms, real and positive.
 *     Y, Z, H and G data are converted to S with these references (version
 *     1 values, normalised to R, are un-normalised first).
 *   - mixed-mode data ([Mixed-Mode Order]) are converted to the
 *     single-ended S of the physical ports 1..N, in that order, with
 *     Smm = M S M^T (d = (a_p - a_n)/sqrt(2), c = (a_p + a_n)/sqrt(2) for
 *     a descriptor pair "Dp,n" / "Cp,n"); the descriptors are kept as texts
 *     of kind ZEFRA_TK_TEXT_MIXED_MODE.  The two ports of a pair must have
 *     the same reference.
 * Errors name the file, the line and what was expected, in one line:
 *   "NAME:LINE: expected ..., found ...".
 */
#ifndef ZEFRA_TOOLKIT_TOUCHSTONE_H
#define ZEFRA_TOOLKIT_TOUCHSTONE_H

#include <stdint.h>

#include "zefra/toolkit/common.h"

#ifdef __cplusplus
extern "C" {
#endif

/* A network read from a file: S-parameters, references, noise, comments,
 * warnings.  Opaque; release with zefra_tk_network_free. */
typedef struct zefra_tk_network zefra_tk_network;

/*
 * Reads the Touchstone file `path` (UTF-8 on Windows).  The file is read in
 * pieces, never held whole.  For a version-1 file the port count comes from
 * the extension of `path`.
 *   network: out, on success a new network (null on failure)
 *   message: out, char[messageSize], NUL-terminated: the error on failure
 *       (empty on success); may be null when messageSize is 0
 * Returns ZEFRA_TK_OK, ZEFRA_TK_BAD_INPUT (the text breaks a rule of the
 * format: the message says which, where), ZEFRA_TK_IO_ERROR (cannot open or
 * read) or ZEFRA_TK_NO_MEMORY.
 */
ZEFRA_TK_API zefra_tk_status zefra_tk_touchstone_read(const char *path,
                                                      zefra_tk_network **network,
                                                      char *message, int32_t messageSize);

/*
 * The same for text in memory.
 *   text: in, char[length], any bytes (no terminator needed)
 *   name: in, NUL-terminated, the file name used in messages and, for a
 *       version-1 text, to take the port count from its extension
 */
ZEFRA_TK_API zefra_tk_status zefra_tk_touchstone_parse(const char *text, int64_t length,
                                                       const char *name,
                                                       zefra_tk_network **network,
                                                       char *message, int32_t messageSize);

/* Releases a network (null is ignored). */
ZEFRA_TK_API void zefra_tk_network_free(zefra_tk_network *network);

/* Number of ports, of frequency points and of noise points (0: no noise data). */
ZEFRA_TK_API int32_t zefra_tk_network_ports(const zefra_tk_network *network);
ZEFRA_TK_API int64_t zefra_tk_network_points(const zefra_tk_network *network);
ZEFRA_TK_API int64_t zefra_tk_network_noise_points(const zefra_tk_network *network);

/*
 * Copies the network data out.
 *   f: out, double[points], Hz
 *   z0: out, double[ports], ohms
 */
ZEFRA_TK_API void zefra_tk_network_copy_grid(const zefra_tk_network *network, double *f,
                                             double *z0);

/*
 * Moves the S-parameters out: copies them into s and releases the
 * network's own copy piece by piece as it goes, so that the two copies never
 * both exist whole.  A second call writes nothing and returns 0.
 *   s: out, double[2 * points * ports * ports], complex [points][ports][ports]
 * Returns the number of complex values written.
 */
ZEFRA_TK_API int64_t zefra_tk_network_take_s(zefra_tk_network *network, double *s);

/*
 * Copies the noise data out (2-ports only), in SI units whatever the file
 * held: Rn in ohms (un-normalised for version 1).
 *   f: out, double[noisePoints], Hz
 *   nfMinDb: out, double[noisePoints], minimum noise figure, dB
 *   gammaOpt: out, double[2 * noisePoints], complex optimum source
 *       reflection coefficient (referred to port 1's reference)
 *   rn: out, double[noisePoints], effective noise resistance, ohms
 */
ZEFRA_TK_API void zefra_tk_network_copy_noise(const zefra_tk_network *network, double *f,
                                              double *nfMinDb, double *gammaOpt, double *rn);

/* Texts attached to a network, by kind. */
enum {
  ZEFRA_TK_TEXT_COMMENT = 0,      /* each comment, without its '!', in file order */
  ZEFRA_TK_TEXT_WARNING = 1,      /* each warning, "NAME:LINE: ..." */
  ZEFRA_TK_TEXT_VERSION = 2,      /* "1.0", "2.0" or "2.1" (one text) */
  ZEFRA_TK_TEXT_PARAMETER = 3,    /* the file's parameter: "S", "Y", "Z", "H" or "G" */
  ZEFRA_TK_TEXT_FORMAT = 4,       /* the file's format: "RI", "MA" or "DB" */
  ZEFRA_TK_TEXT_UNIT = 5,         /* the file's frequency unit: "Hz", "kHz", "MHz", "GHz" */
  ZEFRA_TK_TEXT_MIXED_MODE = 6    /* one descriptor per port ("D2,3", "C2,3", "S1"), if any */
};

/* Number of texts of a kind; the text at an index (NUL-terminated, owned by
 * the network, valid until it is freed; null outside 0 .. count-1). */
ZEFRA_TK_API int32_t zefra_tk_network_text_count(const zefra_tk_network *network, int32_t kind);
ZEFRA_TK_API const char *zefra_tk_network_text(const zefra_tk_network *network, int32_t kind,
                                               int32_t index);

/* Options of the writer. */
enum {
  ZEFRA_TK_FORMAT_RI = 0,
  ZEFRA_TK_FORMAT_MA = 1,
  ZEFRA_TK_FORMAT_DB = 2
};
enum {
  ZEFRA_TK_UNIT_HZ = 0,
  ZEFRA_TK_UNIT_KHZ = 1,
  ZEFRA_TK_UNIT_MHZ = 2,
  ZEFRA_TK_UNIT_GHZ = 3
};

/*
 * Writes a network to `path` (replaced if it exists).
 *   ports, points: the sizes; points >= 1, 1 <= ports
 *   f: in, double[points], Hz, strictly increasing, finite
 *   s: in, double[2 * points * ports * ports], complex [points][ports][ports]
 *   z0: in, double[ports], ohms, finite and positive
 *   noisePoints: 0, or (2-ports only) the length of the four noise arrays
 *   noiseF, nfMinDb, gammaOpt (complex), rn: in, as zefra_tk_network_copy_noise
 *   comments: in, commentCount NUL-terminated lines written as "!..."
 *       after the header comment (bytes above 0x7E, and control bytes
 *       other than tab, are written as '?')
 *   format, unit: ZEFRA_TK_FORMAT_*, ZEFRA_TK_UNIT_*; the unit is the
 *       largest one up to `unit` in which every frequency, read back and
 *       multiplied by the unit, gives f again (Hz always does)
 *   version: 0 chooses (1 when every reference is equal, `path` ends in
 *       .sNp and the noise data can follow the network data, else 2), 1 or
 *       2 (1 with unequal references or another name is an error)
 *   digits: 0 for the shortest digits that read back to the same double
 *       (RI then round-trips bit for bit), else 1 .. 17 significant digits
 *       (frequencies are always written in full)
 * Returns ZEFRA_TK_OK, ZEFRA_TK_BAD_INPUT (an argument breaks the rules
 * above, or an S value is not finite; the message says which),
 * ZEFRA_TK_IO_ERROR or ZEFRA_TK_NO_MEMORY.  On failure the file is not
 * created (or left as it was): the text goes to a temporary file in the
 * same folder, renamed over `path` at the end.  docs/touchstone_writing.md
 * describes the layout.
 */
ZEFRA_TK_API zefra_tk_status zefra_tk_touchstone_write(
    const char *path, int32_t ports, int64_t points, const double *f, const double *s,
    const double *z0, int64_t noisePoints, const double *noiseF, const double *nfMinDb,
    const double *gammaOpt, const double *rn, const char *const *comments,
    int32_t commentCount, int32_t format, int32_t unit, int32_t version, int32_t digits,
    char *message, int32_t messageSize);

#ifdef __cplusplus
}
#endif

#endif /* ZEFRA_TOOLKIT_TOUCHSTONE_H */
