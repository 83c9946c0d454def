"""The sibling module interp_Sparam, loaded on its own with ctypes.

zefra_interp_Sparam_C resamples a complex S-parameter trace: delay-aware
linear interpolation inside the band, a synthetic real DC point below it,
the held modulus with the bulk delay continued above it.  Compared here with
scipy.interpolate.interp1d (real and imaginary parts separately) where no
delay is involved, with the analytic pure delay where one is, and with the
documented rules for unusual input.

The library is found through ZEFRA_INTERP_SPARAM_LIB (path of the file),
else next to ZEFRA_TDR_LIB, else in this repository's build/release/lib.
"""

from __future__ import annotations

import ctypes
import os
from pathlib import Path

import numpy as np
import pytest
from scipy.interpolate import interp1d

_REPO_ROOT = Path(__file__).resolve().parents[2]
_LIB_NAME = "libinterp_Sparam.so"

c_double_p = ctypes.POINTER(ctypes.c_double)

EPS = np.finfo(float).eps
# interp1d forms y_lo + slope * (x - x_lo); the module forms (1 - r) a + r b.
# Both are a few roundings of the same convex combination: they agree to
# within 4 ulps of the larger bracketing value (measured: about 2).
SCIPY_ULPS = 4.0


def _library_path() -> Path:
    explicit = os.environ.get("ZEFRA_INTERP_SPARAM_LIB")
    if explicit:
        return Path(explicit)
    main = os.environ.get("ZEFRA_TDR_LIB")
    if main:
        sibling = Path(main).resolve().parent / _LIB_NAME
        if sibling.exists():
            return sibling
    return _REPO_ROOT / "build" / "release" / "lib" / _LIB_NAME


@pytest.fixture(scope="module")
def fn():
    path = _library_path()
    if not path.exists():
        pytest.fail(f"{path} not found: build the release preset or set ZEFRA_INTERP_SPARAM_LIB")
    lib = ctypes.CDLL(str(path))
    f = lib.zefra_interp_Sparam_C
    f.restype = None
    f.argtypes = [c_double_p, c_double_p, ctypes.c_int32, c_double_p, ctypes.c_int32, c_double_p]
    return f


GUARD = complex(-123.0, 456.0)


def resample(fn, s, f_in, f_out, n_in=None, n_out=None):
    """Calls the export; the output sits between two guard values that must
    survive the call."""
    s = np.ascontiguousarray(s, dtype=np.complex128)
    f_in = np.ascontiguousarray(f_in, dtype=np.float64)
    f_out = np.ascontiguousarray(f_out, dtype=np.float64)
    n_in = f_in.size if n_in is None else n_in
    n_out = f_out.size if n_out is None else n_out
    buf = np.full(f_out.size + 2, GUARD, dtype=np.complex128)
    out_ptr = ctypes.cast(buf.ctypes.data + 16, c_double_p)
    fn(s.ctypes.data_as(c_double_p), f_in.ctypes.data_as(c_double_p), n_in,
       f_out.ctypes.data_as(c_double_p), n_out, out_ptr)
    assert buf[0] == GUARD and buf[-1] == GUARD
    return buf[1:-1].copy()


def same_bits(a, b) -> bool:
    a = np.ascontiguousarray(a, dtype=np.complex128)
    b = np.ascontiguousarray(b, dtype=np.complex128)
    return a.shape == b.shape and a.tobytes() == b.tobytes()


_libm = ctypes.CDLL("libm.so.6")
_libm.hypot.restype = ctypes.c_double
_libm.hypot.argtypes = [ctypes.c_double, ctypes.c_double]


def modulus(z: complex) -> float:
    """|z| by the C library's hypot, as the module computes it (numpy's abs
    and Python's math.hypot may differ from it in the last bit)."""
    return _libm.hypot(z.real, z.imag)


def lerp(a, b, r):
    """(1 - r) a + r b, part by part, in the module's evaluation order."""
    w = 1.0 - r
    return (w * a.real + r * b.real) + 1j * (w * a.imag + r * b.imag)


def pure_delay(f, tau):
    angle = -(2.0 * np.pi * f * tau)
    return np.cos(angle) + 1j * np.sin(angle)


def phase_error(got, ref):
    return np.abs(np.angle(got * np.conj(ref)))


def interior_queries(rng, f_in, m):
    q = rng.uniform(f_in[0], f_in[-1], m)
    keep = (q > f_in[0]) & (q < f_in[-1]) & ~np.isin(q, f_in)
    return q[keep]


def no_delay_trace(rng, n):
    """Random trace with Re > 0 (no phase wrap) and equal end samples, so
    the net phase change, and with it the bulk delay, is exactly zero."""
    s = rng.uniform(0.01, 1.0, n) + 1j * rng.uniform(-1.0, 1.0, n)
    s[-1] = s[0]
    return s


def bracket_max_modulus(f_in, s, q):
    k = np.searchsorted(f_in, q, side="right") - 1
    return np.maximum(np.abs(s[k]), np.abs(s[k + 1])), k


# ---------------------------------------------------------------- no delay


def test_no_delay_inside_band_matches_scipy_interp1d(fn):
    rng = np.random.default_rng(4100)
    worst_ulps = 0.0
    for trial in range(8):
        n = int(rng.integers(2, 400))
        f_in = np.cumsum(rng.uniform(1e5, 5e7, n)) + 1e6 * trial
        s = no_delay_trace(rng, n)
        q = interior_queries(rng, f_in, 5000)
        got = resample(fn, s, f_in, q)
        ref_re = interp1d(f_in, s.real, kind="linear")(q)
        ref_im = interp1d(f_in, s.imag, kind="linear")(q)
        k = np.searchsorted(f_in, q, side="right") - 1
        scale_re = np.maximum(np.abs(s.real[k]), np.abs(s.real[k + 1]))
        scale_im = np.maximum(np.abs(s.imag[k]), np.abs(s.imag[k + 1]))
        ulps_re = np.abs(got.real - ref_re) / (EPS * scale_re)
        ulps_im = np.abs(got.imag - ref_im) / (EPS * scale_im)
        worst_ulps = max(worst_ulps, float(ulps_re.max()), float(ulps_im.max()))
        # And exactly the module's own expression.
        r = (q - f_in[k]) / (f_in[k + 1] - f_in[k])
        assert same_bits(got, lerp(s[k], s[k + 1], r))
    print(f"no delay vs interp1d: worst {worst_ulps:.2f} ulps of the bracketing value")
    assert worst_ulps <= SCIPY_ULPS


def test_linear_trace_without_delay_is_exact(fn):
    unit = 2.0**26
    f_in = unit * np.arange(1, 33, dtype=float)
    q = (unit * np.arange(1, 32)[:, None] + unit * np.arange(1, 8)[None, :] / 8.0).ravel()
    for direction in (1 + 1j, 1 + 0j, 1j):
        s = direction * (0.75 - 2.0**-33 * f_in)
        got = resample(fn, s, f_in, q)
        assert same_bits(got, direction * (0.75 - 2.0**-33 * q))
        assert np.array_equal(got.real, interp1d(f_in, s.real)(q))
        assert np.array_equal(got.imag, interp1d(f_in, s.imag)(q))


def test_no_delay_below_band_matches_interp1d_from_dc_point(fn):
    rng = np.random.default_rng(4200)
    worst_ulps = 0.0
    for _ in range(10):
        n = 20
        f_in = 5e6 + np.cumsum(rng.uniform(1e6, 5e7, n))
        s = no_delay_trace(rng, n)
        if rng.uniform() < 0.5:  # negative real parts too: a negative DC value
            s = -s
        dc = np.sign(s[0].real) * modulus(s[0])
        q = rng.uniform(0.0, f_in[0], 3000)
        q = q[(q > 0) & (q < f_in[0])]
        got = resample(fn, s, f_in, q)
        x = np.array([0.0, f_in[0]])
        ref_re = interp1d(x, [dc, s[0].real])(q)
        ref_im = interp1d(x, [0.0, s[0].imag])(q)
        scale = np.abs(s[0])
        worst_ulps = max(worst_ulps, float(np.max(np.abs(got.real - ref_re)) / (EPS * scale)),
                         float(np.max(np.abs(got.imag - ref_im)) / (EPS * scale)))
        assert same_bits(got, lerp(np.complex128(dc), s[0], q / f_in[0]))
        at_dc = resample(fn, s, f_in, [0.0, -0.0, -1e9])
        assert np.all(at_dc.real == dc) and np.all(at_dc.imag == 0.0)
        assert not np.any(np.signbit(at_dc.imag))
    print(f"below band vs interp1d: worst {worst_ulps:.2f} ulps")
    assert worst_ulps <= SCIPY_ULPS


def test_no_delay_above_band_holds_last_sample(fn):
    rng = np.random.default_rng(4300)
    f_in = np.cumsum(rng.uniform(1e6, 5e7, 50))
    s = no_delay_trace(rng, 50)
    q = f_in[-1] * rng.uniform(1.0, 10.0, 1000)
    q = q[q > f_in[-1]]
    assert same_bits(resample(fn, s, f_in, q), np.full(q.size, s[-1]))


# ------------------------------------------------------------------ delays


@pytest.mark.parametrize("tau", [1e-9, 25e-9, -0.4e-9, 3.3e-12])
def test_pure_delay_inside_band_is_exact(fn, tau):
    rng = np.random.default_rng(4400)
    max_step = (170.0 / 360.0) / abs(tau)
    f_in = 10e6 + np.concatenate([[0.0], np.cumsum(rng.uniform(0.05, 1.0, 400) * max_step)])
    s = pure_delay(f_in, tau)
    q = interior_queries(rng, f_in, 20000)
    got = resample(fn, s, f_in, q)
    dm = np.max(np.abs(np.abs(got) - 1.0))
    dp = np.max(phase_error(got, pure_delay(q, tau)))
    print(f"pure delay {tau:g} s inside: ||S|-1| {dm:.3g}, phase {dp:.3g} rad")
    assert dm <= 1e-12
    assert dp <= 1e-9


def test_pure_delay_below_and_above_band(fn):
    tau = 1.3e-9
    f_in = 300e6 + 250e6 * np.arange(200)
    s = pure_delay(f_in, tau)
    q = np.linspace(0.0, 2.0 * f_in[-1], 5001)[1:]
    got = resample(fn, s, f_in, q)
    assert np.max(np.abs(np.abs(got) - 1.0)) <= 1e-12
    assert np.max(phase_error(got, pure_delay(q, tau))) <= 1e-9
    dc = resample(fn, s, f_in, [0.0])[0]
    assert abs(dc.real - 1.0) <= 1e-15 and dc.imag == 0.0


def test_magnitude_of_delayed_transmission_does_not_dip(fn):
    """The complaint that started the module: linear re/im interpolation of
    a delayed, sparsely sampled transmission dips in magnitude."""
    tau = 2e-9
    f_in = np.arange(1, 41) * (160.0 / 360.0) / tau
    s = 0.8 * pure_delay(f_in, tau)
    q = interior_queries(np.random.default_rng(4500), f_in, 5000)
    got = resample(fn, s, f_in, q)
    plain = interp1d(f_in, s.real)(q) + 1j * interp1d(f_in, s.imag)(q)
    assert np.min(np.abs(plain)) < 0.2  # what re/im interpolation does
    assert np.max(np.abs(np.abs(got) - 0.8)) <= 1e-12


def test_modulus_never_exceeds_larger_bracket(fn):
    rng = np.random.default_rng(4600)
    worst = -np.inf
    for trial in range(40):
        n = 300
        f_in = 1e6 * trial + np.cumsum(rng.uniform(1e5, 1e8, n))
        tau = 0.0 if trial % 3 == 0 else 1e-9 * (trial % 7)
        if trial % 4 == 1:
            v = 0.9 * np.exp(1j * rng.uniform(-1e-7, 1e-7, n))
        else:
            v = rng.uniform(0.0, 1.5, n) * np.exp(1j * rng.uniform(-np.pi, np.pi, n))
        s = v * pure_delay(f_in, tau)
        q = interior_queries(rng, f_in, 3000)
        got = resample(fn, s, f_in, q)
        bound, _ = bracket_max_modulus(f_in, s, q)
        worst = max(worst, float(np.max(np.abs(got) - bound)))
        # Below the band the brackets are the DC point and s[0], same modulus.
        below = resample(fn, s, f_in, rng.uniform(0.0, f_in[0], 500))
        worst = max(worst, float(np.max(np.abs(below) - np.abs(s[0]))))
    print(f"largest |S| - max(|a|,|b|): {worst:.3g}")
    assert worst <= 1e-12


def test_grid_frequencies_return_samples_bit_for_bit(fn):
    rng = np.random.default_rng(4700)
    for tau in (0.0, 1.7e-9):
        f_in = np.cumsum(rng.uniform(1e6, 1e8, 500)) - 3e6
        s = (0.5 + 0.4 * rng.uniform(-1, 1, 500)) * pure_delay(f_in, tau)
        assert same_bits(resample(fn, s, f_in, f_in), s)
        idx = rng.integers(0, 500, 3000)
        assert same_bits(resample(fn, s, f_in, f_in[idx]), s[idx])


def test_query_order_does_not_change_bits(fn):
    rng = np.random.default_rng(4800)
    f_in = 5e6 + np.cumsum(rng.uniform(1e6, 3e7, 2000))
    s = 0.6 * pure_delay(f_in, 0.8e-9) + 0.3 * (rng.uniform(-1, 1, 2000) + 1j * rng.uniform(-1, 1, 2000))
    q = np.sort(rng.uniform(-1e8, 1.1 * f_in[-1], 50000))
    ref = resample(fn, s, f_in, q)
    perm = rng.permutation(q.size)
    assert same_bits(resample(fn, s, f_in, q[perm]), ref[perm])
    assert same_bits(resample(fn, s, f_in, q[::-1]), ref[::-1])


# --------------------------------------------------------- unusual input


def test_empty_trace_gives_zeros(fn):
    q = np.array([0.0, 1e9, np.nan])
    for n_in in (0, -1, -(2**31)):
        out = resample(fn, np.zeros(1, complex), np.zeros(1), q, n_in=n_in)
        assert same_bits(out, np.zeros(3, complex))


def test_no_outputs_write_nothing(fn):
    s = np.array([1.0, 0.5 + 0.5j])
    f_in = np.array([1.0, 2.0])
    for n_out in (0, -1, -(2**31)):
        out = resample(fn, s, f_in, [1.5, 1.7], n_out=n_out)
        assert np.all(out == GUARD)


@pytest.mark.parametrize("grid", [
    [1.0, 3.0, 2.0], [3.0, 2.0, 1.0], [1.0, 2.0, 2.0], [1.0, np.nan, 3.0],
    [np.nan, 2.0, 3.0], [1.0, 2.0, np.inf], [-np.inf, 2.0, 3.0], [-1e308, 0.0, 1e308]])
def test_unusable_grid_gives_nan(fn, grid):
    s = np.array([1.0, 0.5 + 0.5j, 0.25])
    out = resample(fn, s, grid, [1.0, 1.5, 2.0, 10.0, -1.0, 0.0])
    assert np.all(np.isnan(out.real)) and np.all(np.isnan(out.imag))


def test_non_finite_query_gives_nan_at_that_point_only(fn):
    f_in = 1e8 * np.arange(1, 21)
    s = pure_delay(f_in, 0.9e-9)
    clean = np.array([0.0, 3.3e8, 1.05e9, 5e9])
    dirty = np.array([0.0, np.nan, 3.3e8, np.inf, 1.05e9, -np.inf, 5e9])
    a = resample(fn, s, f_in, clean)
    b = resample(fn, s, f_in, dirty)
    assert same_bits(b[[0, 2, 4, 6]], a)
    bad = b[[1, 3, 5]]
    assert np.all(np.isnan(bad.real)) and np.all(np.isnan(bad.imag))


def test_nan_sample_reaches_only_its_intervals(fn):
    f_in = 1e8 * np.arange(1, 31)
    s = pure_delay(f_in, 1.2e-9)
    q = 5e6 * np.arange(701)
    clean = resample(fn, s, f_in, q)
    d = s.copy()
    d[12] = complex(np.nan, np.nan)
    out = resample(fn, d, f_in, q)
    uses = (q > f_in[11]) & (q < f_in[13])
    assert np.all(np.isnan(out[uses].real))
    assert same_bits(out[~uses], clean[~uses])


def test_single_sample(fn):
    s0 = complex(-0.375, 0.5)
    dc = -modulus(s0)
    q = np.array([2e9, 1e9, 5e9, 0.5e9, 0.0, -3.0])
    out = resample(fn, [s0], [2e9], q)
    expected = np.array([s0, lerp(dc + 0j, s0, 0.5), s0, lerp(dc + 0j, s0, 0.25), dc, dc])
    assert same_bits(out, expected)
    assert same_bits(resample(fn, [s0], [0.0], q), np.full(q.size, s0))


def test_band_reaching_dc_holds_first_sample(fn):
    s = np.array([0.5 + 0.25j, 0.25 - 0.5j, 0.5 + 0.25j])
    out = resample(fn, s, [0.0, 1e9, 2e9], [0.0, -1.0, -5e9])
    assert same_bits(out, np.full(3, s[0]))


def test_ten_thousand_points_onto_a_million_give_finite_values(fn):
    rng = np.random.default_rng(4900)
    f_in = 10e6 + np.cumsum(rng.uniform(0.5e6, 1.5e6, 10_000))
    s = (1.0 - 0.5 * f_in / f_in[-1]) * pure_delay(f_in, 3e-9)
    q = np.sort(rng.uniform(0.0, 1.05 * f_in[-1], 1_000_000))
    out = resample(fn, s, f_in, q)
    assert np.all(np.isfinite(out))
