"""Locate and load the Zefra_TDR_Helpers shared library with :mod:`ctypes`.

The library is looked up once, on first use, in this order:

1. the environment variable ``ZEFRA_TDR_LIB``, holding the full path of the
   library file (when it is set, nothing else is tried);
2. the build tree of the repository this package sits in:
   ``<repo>/build/release/lib`` first, then every other ``<repo>/build/*/lib``
   in name order (and the matching ``bin`` directories, where CMake puts
   Windows DLLs);
3. the plain file name, resolved by the system loader
   (``LD_LIBRARY_PATH``, ``DYLD_LIBRARY_PATH``, ``PATH``, ...).

If none of them can be loaded, :class:`OSError` is raised listing every
candidate that was tried and why it failed.

Every export is given its ``argtypes`` and ``restype`` from the table
:data:`SIGNATURES`; new exports are added there.  An export listed there but
absent from the loaded file (a build older than this package) does not stop
the others from loading; :func:`function` raises :class:`AttributeError` for
it.
"""

from __future__ import annotations

import ctypes
import os
import sys
import threading
from pathlib import Path

__all__ = [
    "ENV_VAR",
    "LIBRARY_FILE_NAME",
    "SIGNATURES",
    "ZefraComplex",
    "candidate_paths",
    "function",
    "load_library",
]

#: Environment variable that names the library file explicitly.
ENV_VAR = "ZEFRA_TDR_LIB"


def _library_file_name(platform: str = sys.platform) -> str:
    if platform.startswith("win") or platform == "cygwin":
        return "Zefra_TDR_Helpers.dll"
    if platform == "darwin":
        return "libZefra_TDR_Helpers.dylib"
    return "libZefra_TDR_Helpers.so"


#: File name of the shared library on this platform.
LIBRARY_FILE_NAME = _library_file_name()

# <repo>/python/zefra_tdr/_library.py -> <repo>
_REPO_ROOT = Path(__file__).resolve().parent.parent.parent


class ZefraComplex(ctypes.Structure):
    """``zefra_complex``: 16 bytes, real part then imaginary part.

    Same memory layout as one element of a ``numpy.complex128`` array, so
    complex buffers can equally be passed as interleaved ``double`` pairs.
    """

    _fields_ = [("re", ctypes.c_double), ("im", ctypes.c_double)]


_c_double_p = ctypes.POINTER(ctypes.c_double)

# get_pdf_from_sampled_signal and its 800G variant.
_CURSOR_DENSITY_ARGS: list[object] = [
    _c_double_p, ctypes.c_int32,                   # signal, levelCount
    ctypes.c_void_p,                               # reserved (never read)
    ctypes.POINTER(_c_double_p),                   # amplitudesOut
    ctypes.POINTER(_c_double_p),                   # probabilitiesOut
    _c_double_p, _c_double_p,                      # offsetOut, binWidth
    ctypes.c_int32, ctypes.POINTER(ctypes.c_int32),  # sampleCount, countOut
]

#: Export name -> (restype, argtypes).  Counts are ``int32_t``; double
#: buffers are ``double *``; complex buffers (``zefra_complex *``) are passed
#: as ``double *`` to interleaved (re, im) pairs.
SIGNATURES: dict[str, tuple[object, list[object]]] = {
    "median": (ctypes.c_double, [_c_double_p, ctypes.c_int32]),
    "Eval_std": (ctypes.c_double, [_c_double_p, ctypes.c_int32]),
    "norm": (ctypes.c_double, [_c_double_p, ctypes.c_int32]),
    # Channel models.
    "combineS4p": (None, [*[_c_double_p] * 8, ctypes.c_int32, *[_c_double_p] * 4]),
    "synth_tline": (None, [
        _c_double_p, ctypes.c_int32,           # freq, nf
        ctypes.c_double, ctypes.c_double,      # zA, zB
        _c_double_p, ctypes.c_int32,           # coeffs, m
        ctypes.c_double, ctypes.c_double,      # tau, len
        *[_c_double_p] * 4,                    # s11, s12, s21, s22
    ]),
    "makePackage": (None, [
        _c_double_p, ctypes.c_int32,           # freq, nFreq
        ctypes.c_double,                       # lineLength
        ctypes.c_double, ctypes.c_double,      # shuntCapIn, shuntCapOut
        ctypes.c_double, ctypes.c_double,      # lineImpedance, phaseDelay
        _c_double_p, ctypes.c_int32,           # lossCoeffs, nLossCoeffs
        ctypes.c_double,                       # refImpedance
        ctypes.c_double, ctypes.c_double,      # seriesInd, shuntCapMid
        *[_c_double_p] * 4,                    # s11, s12, s21, s22
    ]),
    # Special functions.
    "erfcinv": (None, [_c_double_p, _c_double_p, ctypes.c_int32]),  # x, y, n
    # Equalisation and noise.
    "td_ctle": (None, [
        _c_double_p, _c_double_p, ctypes.c_int32,  # input, output, sampleCount
        ctypes.c_double,                           # baseRate
        ctypes.c_double, ctypes.c_double,          # zeroFreq, pole1Freq
        ctypes.c_double,                           # pole2Freq
        ctypes.c_double, ctypes.c_double,          # gainDb, rateMultiplier
    ]),
    "Get_xtlk_noise_step": (ctypes.c_double, [
        _c_double_p, _c_double_p,                  # response, pattern
        ctypes.c_int32, ctypes.c_int32,            # responseLength, patternLength
        ctypes.c_int32, ctypes.c_double,           # samplesPerUi, amplitude
    ]),
    "floatingDFE": (None, [
        _c_double_p, ctypes.c_int32,               # pulse, pulseLength
        ctypes.c_double, ctypes.c_double,          # searchStart, tapsPerGroup
        ctypes.c_double, ctypes.c_double,          # groupCount, searchEnd
        ctypes.c_double, ctypes.c_double,          # maxTapWeight, mainCursor
        ctypes.c_int32,                            # reservedInt (never read)
        *[_c_double_p] * 3,                        # positions, weights, limits
    ]),
    # Probability densities.  The cursor densities return two arrays that
    # the library allocates; zefra_release_array frees each of them.
    "get_pdf_from_sampled_signal": (ctypes.c_bool, _CURSOR_DENSITY_ARGS),
    "get_pdf_from_sampled_signal_800G": (ctypes.c_bool, _CURSOR_DENSITY_ARGS),
    "d_cpdf": (ctypes.c_bool, [
        _c_double_p, _c_double_p,                  # points, weights
        _c_double_p, _c_double_p,                  # centersOut, densityOut
        ctypes.c_int32, ctypes.c_int32,            # pointCount, weightCount
        ctypes.c_int32, ctypes.c_double,           # outCount, binWidth
        _c_double_p, _c_double_p,                  # offsetOut, widthOut
    ]),
    "zefra_release_array": (None, [_c_double_p]),
    # Element-wise, structural, convolution and filtering.
    "mod": (None, [_c_double_p, ctypes.c_double, _c_double_p, ctypes.c_int32]),  # x, m, y, n
    "Kron": (None, [*[_c_double_p] * 3, ctypes.c_int32, ctypes.c_int32]),  # a, b, y, na, nb
    "conv": (None, [*[_c_double_p] * 3, ctypes.c_int32, ctypes.c_int32]),  # a, b, y, na, nb
    "Filter": (None, [
        *[_c_double_p] * 4,                        # b, a, x, y
        ctypes.c_int32, ctypes.c_int32, ctypes.c_int32,  # nb, na, nx
    ]),
    "unwrap": (None, [_c_double_p, _c_double_p, ctypes.c_int32]),  # x, y, n
    # Polynomials.
    "poly": (None, [_c_double_p, _c_double_p, ctypes.c_int32]),  # r, c, n
    "Polyval": (None, [
        _c_double_p, _c_double_p, _c_double_p,     # p, z (complex), w (complex)
        ctypes.c_int32, ctypes.c_int32,            # np, nz
    ]),
    "Polyfit": (None, [
        _c_double_p, _c_double_p,                  # x, y
        ctypes.c_void_p,                           # unused (never read)
        _c_double_p,                               # coeffs: slope, intercept
        ctypes.c_int32, ctypes.c_int32,            # nx, ny
    ]),
    # Interpolation: x, y, xi, yi, n, ni (complex y and yi as interleaved
    # pairs); interp_Sparam: sIn, gridIn, nIn, gridOut, nOut, sOut.
    **{name: (None, [*[_c_double_p] * 4, ctypes.c_int32, ctypes.c_int32])
       for name in ("interp1q_Linear", "interp_Linear_Extrap", "interp_Linear_Extrap_Complex",
                    "zefra_linearInterp_c", "interp1_Cubic")},
    "interp_Sparam": (None, [
        _c_double_p, _c_double_p, ctypes.c_int32,  # sIn (complex), gridIn (Hz), nIn
        _c_double_p, ctypes.c_int32,               # gridOut (Hz), nOut
        _c_double_p,                               # sOut (complex)
    ]),
    # Butterworth responses; note the different positions of wc and nf.
    "Butterworth_TF": (None, [
        ctypes.c_int32, _c_double_p,               # N, w
        ctypes.c_double, ctypes.c_int32,           # wc, nf
        _c_double_p,                               # H (complex)
    ]),
    "GetButterworthTF": (None, [
        ctypes.c_int32, _c_double_p,               # N, w
        ctypes.c_int32, ctypes.c_double,           # nf, wc
        _c_double_p,                               # H (complex)
    ]),
}

_lock = threading.Lock()
_library: ctypes.CDLL | None = None


def _build_tree_candidates(repo_root: Path, file_name: str) -> list[Path]:
    build = repo_root / "build"
    preferred = build / "release"
    others: list[Path] = []
    if build.is_dir():
        others = sorted(p for p in build.iterdir() if p.is_dir() and p != preferred)
    candidates: list[Path] = []
    for tree in [preferred, *others]:
        for sub in ("lib", "bin"):
            candidates.append(tree / sub / file_name)
    return candidates


def candidate_paths() -> list[str]:
    """Return, in search order, the names :func:`load_library` would try."""
    explicit = os.environ.get(ENV_VAR)
    if explicit:
        return [explicit]
    names = [
        str(p) for p in _build_tree_candidates(_REPO_ROOT, LIBRARY_FILE_NAME) if p.is_file()
    ]
    names.append(LIBRARY_FILE_NAME)
    return names


def _declare(lib: ctypes.CDLL) -> None:
    # An export missing from an older build is skipped here, so the exports
    # that do exist stay usable; function() reports the missing one.
    for name, (restype, argtypes) in SIGNATURES.items():
        try:
            fn = getattr(lib, name)
        except AttributeError:
            continue
        fn.restype = restype
        fn.argtypes = argtypes


def _load() -> ctypes.CDLL:
    explicit = os.environ.get(ENV_VAR)
    tried: list[str] = []
    if explicit:
        try:
            lib = ctypes.CDLL(explicit)
        except OSError as exc:
            raise OSError(
                f"cannot load the Zefra_TDR_Helpers library named by {ENV_VAR}="
                f"{explicit!r}: {exc}"
            ) from exc
        _declare(lib)
        return lib

    for path in _build_tree_candidates(_REPO_ROOT, LIBRARY_FILE_NAME):
        if not path.is_file():
            tried.append(f"{path} (not found)")
            continue
        try:
            lib = ctypes.CDLL(str(path))
        except OSError as exc:
            tried.append(f"{path} ({exc})")
            continue
        _declare(lib)
        return lib

    try:
        lib = ctypes.CDLL(LIBRARY_FILE_NAME)
    except OSError as exc:
        tried.append(f"{LIBRARY_FILE_NAME} via the system loader ({exc})")
        raise OSError(
            "cannot find the Zefra_TDR_Helpers shared library. Set "
            f"{ENV_VAR} to the full path of {LIBRARY_FILE_NAME}, or build it "
            "with 'cmake --build --preset release'. Tried:\n  " + "\n  ".join(tried)
        ) from exc
    _declare(lib)
    return lib


def load_library() -> ctypes.CDLL:
    """Return the loaded library, loading it on the first call.

    Raises
    ------
    OSError
        If the library cannot be found or loaded; the message lists every
        candidate tried.
    """
    global _library
    if _library is None:
        with _lock:
            if _library is None:
                _library = _load()
    return _library


def function(name: str):
    """Return the export ``name`` of the library, with its prototype set."""
    if name not in SIGNATURES:
        raise KeyError(f"no prototype declared for export {name!r}")
    lib = load_library()
    try:
        return getattr(lib, name)
    except AttributeError:
        raise AttributeError(
            f"the loaded library {lib._name!r} has no export {name!r}; it was "
            "built from older sources (rebuild it with "
            "'cmake --build --preset release')"
        ) from None
