"""The interp_Sparam export as a forwarder: it stages copies, calls
zefra_interp_Sparam_C of the sibling module and copies nOut values back.
The interpolation itself belongs to the sibling module and is not tested
here; only the hand-over is."""

from __future__ import annotations

import ctypes
import sys
from pathlib import Path

import numpy as np
import pytest

import zefra_tdr
from zefra_tdr import _library

c_double_p = ctypes.POINTER(ctypes.c_double)
SIBLING_FILE = {"win32": "interp_Sparam.dll", "darwin": "libinterp_Sparam.dylib"}


def ptr(arr: np.ndarray):
    return arr.ctypes.data_as(c_double_p)


def trace(n: int = 200):
    """A lossy delay line sampled from 10 MHz to 20 GHz."""
    f = np.linspace(10e6, 20e9, n)
    s = 0.9 * np.exp(-f / 40e9) * np.exp(-2j * np.pi * f * 0.35e-9)
    return s, f


def sibling_function():
    """zefra_interp_Sparam_C, from the module file next to the library."""
    lib_path = Path(_library.load_library()._name)
    name = SIBLING_FILE.get(sys.platform, "libinterp_Sparam.so")
    candidates = [lib_path.parent / name, lib_path.parent.parent / "bin" / name]
    for path in candidates:
        if path.is_file():
            fn = ctypes.CDLL(str(path)).zefra_interp_Sparam_C
            fn.restype = None
            fn.argtypes = [c_double_p, c_double_p, ctypes.c_int32, c_double_p,
                           ctypes.c_int32, c_double_p]
            return fn
    pytest.skip(f"sibling module not found next to {lib_path}")


def test_prototype_is_declared():
    fn = _library.function("interp_Sparam")
    assert fn.restype is None
    assert fn.argtypes == [c_double_p, c_double_p, ctypes.c_int32, c_double_p,
                           ctypes.c_int32, c_double_p]


def test_wrapper_shapes_and_types():
    s, f = trace()
    out = zefra_tdr.interp_sparam(s, f, np.linspace(0.0, 25e9, 77))
    assert out.dtype == np.complex128 and out.shape == (77,) and out.flags.c_contiguous
    assert zefra_tdr.interp_sparam(s, f, []).shape == (0,)
    assert zefra_tdr.interp_sparam(s, f, 1e9).shape == (1,)
    with pytest.raises(ValueError, match="same length"):
        zefra_tdr.interp_sparam(s, f[:-1], [1e9])
    with pytest.raises(ValueError):
        zefra_tdr.interp_sparam(s, f, np.zeros((2, 2)))
    with pytest.raises(TypeError):
        zefra_tdr.interp_sparam(s, f + 0j, [1e9])


@pytest.mark.parametrize("n_out", [0, -1, -100])
def test_no_output_point_writes_nothing(n_out):
    s, f = trace()
    f_out = np.linspace(1e9, 2e9, 4)
    sentinel = -7.25
    out = np.full(8, sentinel)
    _library.function("interp_Sparam")(ptr(s.view(np.float64)), ptr(f), s.size, ptr(f_out),
                                       n_out, ptr(out))
    assert np.all(out == sentinel)


def test_exactly_n_out_values_are_written():
    s, f = trace()
    f_out = np.linspace(1e9, 2e9, 4)
    out = np.full(10, -7.25)
    _library.function("interp_Sparam")(ptr(s.view(np.float64)), ptr(f), s.size, ptr(f_out),
                                       3, ptr(out))
    assert np.all(out[6:] == -7.25)


def test_callers_trace_is_never_modified():
    s, f = trace()
    f_out = np.linspace(0.0, 25e9, 301)
    before = (s.copy(), f.copy(), f_out.copy())
    zefra_tdr.interp_sparam(s, f, f_out)
    for arr, old in zip((s, f, f_out), before):
        assert arr.tobytes() == old.tobytes()
    # Read-only arrays are accepted (the module only ever sees a copy of s).
    for arr in (s, f, f_out):
        arr.setflags(write=False)
    zefra_tdr.interp_sparam(s, f, f_out)
    # The result may even share the caller's input buffer through ctypes.
    buf = s.copy()
    _library.function("interp_Sparam")(ptr(buf.view(np.float64)), ptr(f), s.size, ptr(f_out),
                                       s.size, ptr(buf.view(np.float64)))
    assert buf.tobytes() == zefra_tdr.interp_sparam(s, f, f_out[: s.size]).tobytes()


def test_result_is_the_sibling_functions_bit_for_bit():
    direct = sibling_function()
    rng = np.random.default_rng(42_100)
    s, f = trace(150)
    s = s + 1e-3 * (rng.standard_normal(s.size) + 1j * rng.standard_normal(s.size))
    f_out = np.concatenate([np.linspace(0.0, 25e9, 400), f[::7], [-1e9, np.nan]])
    ours = zefra_tdr.interp_sparam(s, f, f_out)
    s_copy = s.copy()
    ref = np.zeros(f_out.size, dtype=np.complex128)
    direct(ptr(s_copy.view(np.float64)), ptr(f), s.size, ptr(f_out), f_out.size,
           ptr(ref.view(np.float64)))
    assert ours.tobytes() == ref.tobytes()
    # Deterministic from call to call.
    assert zefra_tdr.interp_sparam(s, f, f_out).tobytes() == ours.tobytes()


def test_negative_input_count_is_taken_as_zero():
    s, f = trace()
    f_out = np.linspace(1e9, 2e9, 5)
    fn = _library.function("interp_Sparam")
    results = []
    for n_in in (0, -1, -2**31):
        out = np.full(10, -7.25)
        fn(ptr(s.view(np.float64)), ptr(f), n_in, ptr(f_out), 5, ptr(out))
        results.append(out.tobytes())
    assert results[1] == results[0] and results[2] == results[0]
    assert zefra_tdr.interp_sparam([], [], f_out).view(np.float64).tobytes() == results[0]
