"""Input conversion, caller-buffer safety and the declared prototypes."""

from __future__ import annotations

import ctypes

import numpy as np
import pytest

import zefra_tdr
from zefra_tdr import _buffers, _library

WRAPPERS = [zefra_tdr.median, zefra_tdr.eval_std, zefra_tdr.norm]


def test_package_exports():
    assert sorted(zefra_tdr.__all__) == sorted([
        "CtleSetting", "Cursors", "DfeResult", "EqualizedPulse", "MixedModeNetwork", "Network",
        "NoiseData", "PulseDiagnostics", "PulseResponse", "TouchstoneError",
        "apply_ctle", "apply_dfe", "apply_ffe",
        "butterworth_tf", "cascade", "combine_s4p", "common_grid", "conv", "cpdf", "ctle_family",
        "equalize", "erfcinv",
        "eval_std", "filter_signal", "floating_dfe", "from_mixed_mode", "get_butterworth_tf", "interp_cubic",
        "interp_linear", "interp_linear_extrap", "interp_linear_extrap_complex",
        "interp_sparam", "kron", "line", "linear_interp_c", "make_package", "median", "mod",
        "norm", "package", "pdf_from_sampled_signal", "pdf_from_sampled_signal_800g",
        "plot_network", "plot_pulse", "poly", "polyfit", "polyval", "pulse_response",
        "read_touchstone", "sample_cursors", "save_plot", "save_pulse_plot",
        "synth_tline", "td_ctle", "unwrap", "write_touchstone", "xtalk_noise_step",
        # the default link and its plots (docs/eye.md)
        "default_channel", "default_channel_path", "plot_channel_loss",
        "plot_horizontal_bathtub", "plot_statistical_eye", "plot_vertical_bathtub",
        "save_link_plots",
        # the statistical eye and the equaliser search (docs/eye.md)
        "Aggressor", "EyeFigures", "EyeReadout", "StatisticalEye", "statistical_eye",
        "Candidate", "EyeDfe", "SearchResult", "ffe_grid", "search_equalizer",
        # sweeps (docs/sweep.md)
        "SweepResult", "load_sweep_plan", "plot_sweep", "sweep"])
    for name in zefra_tdr.__all__:
        assert getattr(zefra_tdr, name).__doc__


@pytest.mark.parametrize("wrapper", WRAPPERS, ids=lambda f: f.__name__)
def test_wrappers_never_modify_the_callers_array(wrapper):
    rng = np.random.default_rng(12_000)
    x = rng.standard_normal(1001)
    x[[3, 500]] = [-0.0, 0.0]
    views = {
        "contiguous float64 (passed without copy)": x,
        "strided view": x[::3],
        "reversed view": x[::-1],
    }
    for label, arr in views.items():
        before = arr.copy()
        wrapper(arr)
        assert arr.tobytes() == before.tobytes(), label

    x32 = rng.standard_normal(100).astype(np.float32)
    before32 = x32.copy()
    wrapper(x32)
    assert x32.tobytes() == before32.tobytes()

    data = [3.0, 1.0, 2.0]
    wrapper(data)
    assert data == [3.0, 1.0, 2.0]


@pytest.mark.parametrize("wrapper", WRAPPERS, ids=lambda f: f.__name__)
def test_wrappers_accept_read_only_arrays(wrapper):
    x = np.arange(5.0)
    x.setflags(write=False)
    assert wrapper(x) == wrapper(np.arange(5.0))


@pytest.mark.parametrize("wrapper", WRAPPERS, ids=lambda f: f.__name__)
def test_wrappers_return_python_floats(wrapper):
    assert type(wrapper(np.arange(4.0))) is float


def test_double_vector_is_c_contiguous_float64_and_shares_conforming_input():
    x = np.arange(6.0)
    assert _buffers.as_double_vector(x) is x
    v = _buffers.as_double_vector(np.arange(12, dtype=np.int16)[::2])
    assert v.dtype == np.float64 and v.flags.c_contiguous and v.shape == (6,)
    assert _buffers.as_double_vector(2.5).shape == (1,)
    assert _buffers.as_double_vector([]).shape == (0,)


def test_complex_vector_is_interleaved_pairs():
    z = _buffers.as_complex_vector([1 + 2j, 3 - 4j])
    ptr = _buffers.complex_ptr(z)
    assert [ptr[i] for i in range(4)] == [1.0, 2.0, 3.0, -4.0]
    assert ctypes.sizeof(_library.ZefraComplex) == z.itemsize == 16


def test_length_beyond_int32_is_rejected_without_copying():
    huge = np.broadcast_to(np.float64(1.0), (2**31,))  # no memory behind it
    with pytest.raises(ValueError, match="32-bit"):
        _buffers.as_double_vector(huge)
    with pytest.raises(ValueError, match="32-bit"):
        zefra_tdr.median(huge)
    assert _buffers.check_count(2**31 - 1).value == 2**31 - 1
    with pytest.raises(ValueError):
        _buffers.check_count(-1)
    with pytest.raises(ValueError):
        _buffers.new_double_output(2**31)


def test_multidimensional_input_is_rejected():
    with pytest.raises(ValueError, match="one-dimensional"):
        zefra_tdr.median(np.zeros((2, 3)))


def test_complex_input_to_a_real_routine_is_rejected():
    with pytest.raises(TypeError, match="real"):
        zefra_tdr.norm(np.array([1 + 1j]))


def test_prototypes_are_declared():
    for name in ("median", "Eval_std", "norm"):
        fn = _library.function(name)
        assert fn.restype is ctypes.c_double
        assert fn.argtypes == [ctypes.POINTER(ctypes.c_double), ctypes.c_int32]


def test_channel_prototypes_are_declared():
    c_double_p = ctypes.POINTER(ctypes.c_double)
    i32, dbl = ctypes.c_int32, ctypes.c_double
    expected = {
        "combineS4p": [c_double_p] * 8 + [i32] + [c_double_p] * 4,
        "synth_tline": [c_double_p, i32, dbl, dbl, c_double_p, i32, dbl, dbl]
                       + [c_double_p] * 4,
        "makePackage": [c_double_p, i32, dbl, dbl, dbl, dbl, dbl, c_double_p, i32,
                        dbl, dbl, dbl] + [c_double_p] * 4,
    }
    for name, argtypes in expected.items():
        fn = _library.function(name)
        assert fn.restype is None
        assert fn.argtypes == argtypes
