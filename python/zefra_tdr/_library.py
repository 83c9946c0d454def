"""Locate and load the shared libraries with :mod:`ctypes`.

Two libraries are loaded, each once, on first use: Zefra_TDR_Helpers (the
library of exports) and zefra_toolkit (the channel toolkit).  Each is looked
up in this order:

1. an environment variable holding the full path of the file; when it is
   set, nothing else is tried:

   * ``ZEFRA_TDR_LIB`` for Zefra_TDR_Helpers;
   * ``ZEFRA_TDR_TOOLKIT_LIB`` for the toolkit; when only ``ZEFRA_TDR_LIB``
     is set, the toolkit is taken from the same folder;

2. the folder ``_native`` of this package, where ``pip install`` puts the
   libraries it builds;
3. when the package sits in a source checkout, that checkout's build tree:
   ``<repo>/build/release/lib`` first, then every other
   ``<repo>/build/*/lib`` in name order (and the matching ``bin``
   directories, where CMake puts Windows DLLs);
4. the plain file name, resolved by the system loader
   (``LD_LIBRARY_PATH``, ``DYLD_LIBRARY_PATH``, ``PATH``, ...).

If none of them can be loaded, :class:`OSError` is raised listing every
candidate that was tried and why it failed.

Every function is given its ``argtypes`` and ``restype`` from a table
(:data:`SIGNATURES` for the exports, :data:`TOOLKIT_SIGNATURES` for the
toolkit); new functions are added there.  A function listed there but absent
from the loaded file (a build older than this package) does not stop the
others from loading; :func:`function` raises :class:`AttributeError` for it.
"""

from __future__ import annotations

import ctypes
import os
import sys
import threading
from pathlib import Path

__all__ = [
    "ENV_VAR",
    "HELPERS",
    "SIGNATURES",
    "TOOLKIT",
    "TOOLKIT_ENV_VAR",
    "TOOLKIT_SIGNATURES",
    "NativeLibrary",
    "ZefraComplex",
    "function",
    "load_library",
    "toolkit_function",
]

#: Environment variable that names the Zefra_TDR_Helpers file explicitly.
ENV_VAR = "ZEFRA_TDR_LIB"
#: Environment variable that names the toolkit library file explicitly.
TOOLKIT_ENV_VAR = "ZEFRA_TDR_TOOLKIT_LIB"


def library_file_name(stem: str, platform: str = sys.platform) -> str:
    """File name of the shared library built from the CMake target ``stem``."""
    if platform.startswith("win") or platform == "cygwin":
        return f"{stem}.dll"
    if platform == "darwin":
        return f"lib{stem}.dylib"
    return f"lib{stem}.so"


# Where pip puts the libraries it builds: <package>/_native.
_PACKAGE_NATIVE_DIR = Path(__file__).resolve().parent / "_native"
# <repo>/python/zefra_tdr/_library.py -> <repo>; only a checkout has a build
# tree to search.
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

_c_int32, _c_int64, _network_p = ctypes.c_int32, ctypes.c_int64, ctypes.c_void_p

#: The toolkit's C API (include/zefra/toolkit.h and zefra/toolkit/*.h).
#: Statuses are ``int32_t``; a network is an opaque pointer; messages go to
#: a ``char`` buffer followed by its size.
TOOLKIT_SIGNATURES: dict[str, tuple[object, list[object]]] = {
    "zefra_tk_version": (ctypes.c_char_p, []),
    # Touchstone files (zefra/toolkit/touchstone.h).
    "zefra_tk_touchstone_read": (_c_int32, [
        ctypes.c_char_p, ctypes.POINTER(_network_p),  # path, network (out)
        ctypes.c_char_p, _c_int32,                    # message, messageSize
    ]),
    "zefra_tk_network_free": (None, [_network_p]),
    "zefra_tk_network_ports": (_c_int32, [_network_p]),
    "zefra_tk_network_points": (_c_int64, [_network_p]),
    "zefra_tk_network_noise_points": (_c_int64, [_network_p]),
    "zefra_tk_network_copy_grid": (None, [_network_p, _c_double_p, _c_double_p]),  # f, z0
    "zefra_tk_network_take_s": (_c_int64, [_network_p, _c_double_p]),             # s (complex)
    "zefra_tk_network_copy_noise": (None, [
        _network_p, _c_double_p, _c_double_p,  # f, nfMinDb
        _c_double_p, _c_double_p,              # gammaOpt (complex), rn
    ]),
    "zefra_tk_network_text_count": (_c_int32, [_network_p, _c_int32]),           # kind
    "zefra_tk_network_text": (ctypes.c_char_p, [_network_p, _c_int32, _c_int32]),  # kind, index
    "zefra_tk_touchstone_write": (_c_int32, [
        ctypes.c_char_p, _c_int32, _c_int64,           # path, ports, points
        _c_double_p, _c_double_p, _c_double_p,         # f, s (complex), z0
        _c_int64, _c_double_p, _c_double_p,            # noisePoints, noiseF, nfMinDb
        _c_double_p, _c_double_p,                      # gammaOpt (complex), rn
        ctypes.POINTER(ctypes.c_char_p), _c_int32,     # comments, commentCount
        _c_int32, _c_int32, _c_int32, _c_int32,        # format, unit, version, digits
        ctypes.c_char_p, _c_int32,                     # message, messageSize
    ]),
    # Pulse responses (zefra/toolkit/pulse.h); the options and diagnostics
    # structures are passed by address.
    "zefra_tk_pulse_default_options": (None, [ctypes.c_void_p]),
    "zefra_tk_pulse_response": (_c_int32, [
        _c_int64, _c_double_p, _c_double_p, _c_double_p,  # points, f, s (complex), z0
        ctypes.c_void_p, ctypes.POINTER(_network_p),     # options, pulse (out)
        ctypes.c_char_p, _c_int32,                       # message, messageSize
    ]),
    "zefra_tk_pulse_free": (None, [_network_p]),
    "zefra_tk_pulse_length": (_c_int64, [_network_p]),
    "zefra_tk_pulse_copy": (None, [
        _network_p, _c_double_p, _c_double_p, _c_double_p, _c_double_p,  # t, impulse, step, pulse
    ]),
    "zefra_tk_pulse_copy_transfer": (None, [_network_p, _c_double_p]),   # h (complex)
    "zefra_tk_pulse_diagnostics_of": (None, [_network_p, ctypes.c_void_p]),
    # Statistical eye (zefra/toolkit/eye.h); the input, options, figures and
    # DFE structures are passed by address, an eye is an opaque pointer.
    "zefra_tk_eye_default_options": (None, [ctypes.c_void_p]),
    "zefra_tk_eye_compute": (_c_int32, [
        ctypes.c_void_p, ctypes.c_void_p,                # input, options
        ctypes.POINTER(_network_p),                      # eye (out)
        ctypes.c_char_p, _c_int32,                       # message, messageSize
    ]),
    "zefra_tk_eye_free": (None, [_network_p]),
    "zefra_tk_eye_shape": (None, [
        _network_p, ctypes.POINTER(_c_int32),            # eye, eyes
        ctypes.POINTER(_c_int64), ctypes.POINTER(_c_int64),  # phases, voltages
    ]),
    "zefra_tk_eye_copy": (None, [
        _network_p, _c_double_p, _c_double_p,            # phasesUi, voltagesV
        _c_double_p, _c_double_p,                        # ber, mainCursorV
    ]),
    "zefra_tk_eye_readout": (_c_int32, [
        _network_p, _c_int32, ctypes.c_double,           # eye, eyeIndex, targetBer
        ctypes.c_void_p,                                 # figures (out)
        *[_c_double_p] * 5,                              # heightV, contourLowV, contourHighV,
                                                         # bathtubMin, bathtubAtThreshold
        ctypes.c_char_p, _c_int32,                       # message, messageSize
    ]),
    "zefra_tk_eye_search": (_c_int32, [
        _c_double_p, _c_int32, _c_int64, _c_int32,       # victims, rxCount, length, Ns
        _c_double_p, ctypes.c_void_p, _c_int32,          # aggressorPulses, modes, count
        _c_double_p, _c_int32, _c_int32, _c_int32,       # ffe, ffeCount, ffeLength, ffeMain
        ctypes.c_void_p, ctypes.c_void_p,                # dfe, options
        ctypes.c_double, _c_double_p,                    # targetBer, scores (out)
        ctypes.c_char_p, _c_int32,                       # message, messageSize
    ]),
}


def _build_tree_dirs(repo_root: Path) -> list[Path]:
    if not (repo_root / "CMakeLists.txt").is_file():
        return []
    build = repo_root / "build"
    preferred = build / "release"
    others: list[Path] = []
    if build.is_dir():
        others = sorted(p for p in build.iterdir() if p.is_dir() and p != preferred)
    return [tree / sub for tree in [preferred, *others] for sub in ("lib", "bin")]


class NativeLibrary:
    """One shared library: where to find it, how to declare its functions,
    loaded once on first use (thread-safe)."""

    def __init__(self, stem: str, env_var: str, signatures: dict, beside: str | None = None):
        self.stem = stem
        self.env_var = env_var
        self.signatures = signatures
        # Environment variable of another library whose folder holds this one.
        self.beside = beside
        self._lock = threading.Lock()
        self._handle: ctypes.CDLL | None = None

    @property
    def file_name(self) -> str:
        return library_file_name(self.stem)

    def _explicit(self) -> str | None:
        path = os.environ.get(self.env_var)
        if path:
            return path
        if self.beside and os.environ.get(self.beside):
            return str(Path(os.environ[self.beside]).parent / self.file_name)
        return None

    def candidate_paths(self) -> list[str]:
        """Return, in search order, the names :meth:`load` would try."""
        explicit = self._explicit()
        if explicit:
            return [explicit]
        folders = [_PACKAGE_NATIVE_DIR, *_build_tree_dirs(_REPO_ROOT)]
        names = [str(d / self.file_name) for d in folders if (d / self.file_name).is_file()]
        names.append(self.file_name)
        return names

    def _declare(self, lib) -> None:
        # A function missing from an older build is skipped here, so the
        # ones that do exist stay usable; function() reports the missing one.
        for name, (restype, argtypes) in self.signatures.items():
            try:
                fn = getattr(lib, name)
            except AttributeError:
                continue
            fn.restype = restype
            fn.argtypes = argtypes

    def _load(self) -> ctypes.CDLL:
        explicit = self._explicit()
        if explicit:
            try:
                lib = ctypes.CDLL(explicit)
            except OSError as exc:
                via = self.env_var if os.environ.get(self.env_var) else f"the folder of {self.beside}"
                raise OSError(f"cannot load the {self.stem} library {explicit!r} (named by "
                              f"{via}): {exc}") from exc
            self._declare(lib)
            return lib
        tried: list[str] = []
        for path in self.candidate_paths():
            try:
                lib = ctypes.CDLL(path)
            except OSError as exc:
                where = "via the system loader" if path == self.file_name else ""
                tried.append(f"{path} {where}({exc})")
                continue
            self._declare(lib)
            return lib
        searched = [str(_PACKAGE_NATIVE_DIR), *map(str, _build_tree_dirs(_REPO_ROOT))]
        raise OSError(
            f"cannot find the {self.stem} shared library. Install the package with "
            f"'pip install --no-build-isolation <checkout>', set {self.env_var} to the full "
            f"path of {self.file_name}, or build it with 'cmake --build --preset release'. "
            "Searched: " + ", ".join(searched) + ". Tried:\n  " + "\n  ".join(tried))

    def load(self) -> ctypes.CDLL:
        """Return the loaded library, loading it on the first call.

        Raises
        ------
        OSError
            If the library cannot be found or loaded; the message lists every
            candidate tried.
        """
        if self._handle is None:
            with self._lock:
                if self._handle is None:
                    self._handle = self._load()
        return self._handle

    def function(self, name: str):
        """Return the function ``name`` of the library, with its prototype set."""
        if name not in self.signatures:
            raise KeyError(f"no prototype declared for {self.stem} function {name!r}")
        lib = self.load()
        try:
            return getattr(lib, name)
        except AttributeError:
            raise AttributeError(
                f"the loaded library {lib._name!r} has no function {name!r}; it was "
                "built from older sources (rebuild it, or reinstall the package)"
            ) from None


#: The library of exports and the toolkit library.
HELPERS = NativeLibrary("Zefra_TDR_Helpers", ENV_VAR, SIGNATURES)
TOOLKIT = NativeLibrary("zefra_toolkit", TOOLKIT_ENV_VAR, TOOLKIT_SIGNATURES, beside=ENV_VAR)

load_library = HELPERS.load
function = HELPERS.function
toolkit_function = TOOLKIT.function
