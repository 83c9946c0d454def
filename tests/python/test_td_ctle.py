"""zefra_tdr.td_ctle against scipy.signal.bilinear + lfilter, and its
behaviour at zero and Nyquist frequency."""

from __future__ import annotations

import ctypes
import math

import numpy as np
import pytest
import scipy.signal

import zefra_tdr
from oracles import TOLERANCES
from zefra_tdr import _library

c_double_p = ctypes.POINTER(ctypes.c_double)

# (base_rate_hz, zero_hz, pole1_hz, pole2_hz, gain_db, rate_multiplier):
# rates and frequencies in consistent units (GHz, Hz, or normalised).
DESIGNS = [
    (26.5625, 2.0, 5.0, 20.0, 3.5, 1.0),
    (26.5625, 2.0, 5.0, 20.0, -6.0, 4.0),
    (53.125, 4.0, 10.0, 30.0, 9.0, 2.0),
    (56e9, 3e9, 7e9, 28e9, 12.0, 8.0),
    (1.0, 0.02, 0.05, 0.2, 3.5, 1.0),
    (1.0, 0.1, 0.12, 0.3, -2.5, 1.0),
    (10.0, 0.5, 1.0, 2.0, 20.0, 16.0),
    (25.78125, 6.0, 6.0, 12.0, 1.0, 1.0),
]


def scipy_ctle(x, base_rate, fz, fp1, fp2, g, rate_multiplier):
    """The prototype wp2 (s + g wz) / ((s + wp1)(s + wp2)), bilinear at fs
    without prewarping, run with lfilter."""
    wz, wp1, wp2 = (2.0 * math.pi * f for f in (fz, fp1, fp2))
    b = [wp2, wp2 * g * wz]
    a = [1.0, wp1 + wp2, wp1 * wp2]
    bz, az = scipy.signal.bilinear(b, a, fs=base_rate * rate_multiplier)
    return scipy.signal.lfilter(bz, az, x), bz, az


def test_prototype_is_declared():
    fn = _library.function("td_ctle")
    assert fn.restype is None
    assert fn.argtypes == [c_double_p, c_double_p, ctypes.c_int32] + [ctypes.c_double] * 6


@pytest.mark.parametrize("design", DESIGNS, ids=[f"d{i}" for i in range(len(DESIGNS))])
def test_ctle_equals_bilinear_design_run_by_lfilter(design, error_log):
    base_rate, fz, fp1, fp2, gain_db, mult = design
    rng = np.random.default_rng(51_000 + DESIGNS.index(design))
    g = 10.0 ** (gain_db / 20.0)
    signals = [
        rng.standard_normal(20_000),
        np.repeat(rng.choice([-1.0, 1.0], 2000), 8),               # NRZ, 8 samples/UI
        np.cumsum(rng.standard_normal(5000)) * 1e-3,               # slow drift
        rng.uniform(-1.0, 1.0, 7) * 1e6,                           # very short
    ]
    for x in signals:
        ours = zefra_tdr.td_ctle(x, base_rate_hz=base_rate, zero_hz=fz, pole1_hz=fp1,
                                 pole2_hz=fp2, gain_db=gain_db, rate_multiplier=mult)
        ref, _, _ = scipy_ctle(x, base_rate, fz, fp1, fp2, g, mult)
        err = float(np.max(np.abs(ours - ref)) / np.max(np.abs(ref)))
        error_log.record("ctle_vs_scipy_rel", err)
        assert err <= TOLERANCES["ctle_vs_scipy_rel"], f"{design}, n={x.size}: {err:.3g}"


def test_gain_db_exactly_zero_puts_the_zero_at_dc(error_log):
    # Deliberate rule of the library's power function: 10**0 is read as 0.0,
    # so g = 0 (not 1) and the zero moves to s = 0.
    rng = np.random.default_rng(52_000)
    x = rng.standard_normal(10_000)
    kwargs = dict(base_rate_hz=26.5625, zero_hz=2.0, pole1_hz=5.0, pole2_hz=20.0)
    ours = zefra_tdr.td_ctle(x, gain_db=0.0, **kwargs)
    ref_g0, _, _ = scipy_ctle(x, 26.5625, 2.0, 5.0, 20.0, 0.0, 1.0)
    ref_g1, _, _ = scipy_ctle(x, 26.5625, 2.0, 5.0, 20.0, 1.0, 1.0)
    err = float(np.max(np.abs(ours - ref_g0)) / np.max(np.abs(ref_g0)))
    error_log.record("ctle_vs_scipy_rel", err)
    assert err <= TOLERANCES["ctle_vs_scipy_rel"]
    assert np.max(np.abs(ours - ref_g1)) > 1e-3 * np.max(np.abs(ref_g1))
    # -0.0 dB compares equal to 0: same rule.
    assert np.array_equal(zefra_tdr.td_ctle(x, gain_db=-0.0, **kwargs), ours)
    # No DC gain: a constant input decays to 0.
    y = zefra_tdr.td_ctle(np.ones(5000), gain_db=0.0, **kwargs)
    assert abs(y[-1]) < 1e-12
    # A gain next to 0 dB is ordinary (g close to 1).
    near, _, _ = scipy_ctle(x, 26.5625, 2.0, 5.0, 20.0, 10.0 ** (1e-9 / 20.0), 1.0)
    y = zefra_tdr.td_ctle(x, gain_db=1e-9, **kwargs)
    assert np.max(np.abs(y - near)) <= TOLERANCES["ctle_vs_scipy_rel"] * np.max(np.abs(near))


@pytest.mark.parametrize("design", DESIGNS, ids=[f"d{i}" for i in range(len(DESIGNS))])
def test_constant_input_settles_to_the_dc_gain(design, error_log):
    base_rate, fz, fp1, fp2, gain_db, mult = design
    g = 10.0 ** (gain_db / 20.0)
    level = -2.5
    # Slowest pole: |z| = (1 - w/K)/(1 + w/K) with K = 2 fs; settle to 1e-13.
    fs = base_rate * mult
    r = max(abs((1.0 - math.pi * f / fs) / (1.0 + math.pi * f / fs)) for f in (fp1, fp2))
    n = int(math.log(1e-13) / math.log(r)) + 100
    y = zefra_tdr.td_ctle(np.full(n, level), base_rate_hz=base_rate, zero_hz=fz,
                          pole1_hz=fp1, pole2_hz=fp2, gain_db=gain_db,
                          rate_multiplier=mult)
    expected = level * g * fz / fp1
    err = abs(y[-1] - expected) / abs(expected)
    error_log.record("ctle_dc_gain_rel", err)
    assert err <= TOLERANCES["ctle_dc_gain_rel"], f"{design}: {y[-1]!r} vs {expected!r}"


@pytest.mark.parametrize("design", DESIGNS, ids=[f"d{i}" for i in range(len(DESIGNS))])
def test_nyquist_tone_is_removed(design):
    base_rate, fz, fp1, fp2, gain_db, mult = design
    n = 4000
    x = np.where(np.arange(n) % 2 == 0, 1.0, -1.0)
    y = zefra_tdr.td_ctle(x, base_rate_hz=base_rate, zero_hz=fz, pole1_hz=fp1,
                          pole2_hz=fp2, gain_db=gain_db, rate_multiplier=mult)
    assert np.max(np.abs(y[:10])) > 1e-3        # there is a transient
    assert np.max(np.abs(y[-100:])) < 1e-9


def test_zero_and_negative_counts_write_nothing():
    fn = _library.function("td_ctle")
    x = np.array([1.0, 2.0, 3.0])
    for n in (0, -1, -(2**31)):
        out = np.full(3, 7.0)
        fn(x.ctypes.data_as(c_double_p), out.ctypes.data_as(c_double_p), n,
           26.5625, 2.0, 5.0, 20.0, 3.5, 1.0)
        assert np.array_equal(out, [7.0, 7.0, 7.0])
    # n values are written, no more.
    out = np.full(5, 7.0)
    fn(x.ctypes.data_as(c_double_p), out.ctypes.data_as(c_double_p), 3,
       26.5625, 2.0, 5.0, 20.0, 3.5, 1.0)
    assert np.array_equal(out[3:], [7.0, 7.0]) and np.all(out[:3] != 7.0)
    assert zefra_tdr.td_ctle([], base_rate_hz=1.0, zero_hz=0.1, pole1_hz=0.2,
                             pole2_hz=0.3, gain_db=3.5).shape == (0,)


def test_input_is_only_read_and_any_layout_works():
    rng = np.random.default_rng(53_000)
    x = rng.standard_normal(3001)
    before = x.copy()
    kwargs = dict(base_rate_hz=1.0, zero_hz=0.02, pole1_hz=0.05, pole2_hz=0.2,
                  gain_db=3.5)
    y = zefra_tdr.td_ctle(x[::3], **kwargs)
    assert np.array_equal(x, before)
    assert np.array_equal(y, zefra_tdr.td_ctle(np.ascontiguousarray(x[::3]), **kwargs))
    # Default rate multiplier is 1; the rate is the product of both factors.
    assert np.array_equal(zefra_tdr.td_ctle(x, **kwargs),
                          zefra_tdr.td_ctle(x, rate_multiplier=1.0, **kwargs))


def test_root_mapped_by_a_division_by_zero_gives_non_finite_output():
    # The bilinear map r = (1 + s/K) / (1 - s/K), K = 2 fs, divides by zero
    # at s = K, i.e. at the frequency -K / (2 pi) = -fs / pi.  (At +fs / pi
    # the root maps to r = 0, which is harmless.)
    kwargs = dict(base_rate_hz=1.0, zero_hz=0.1, pole2_hz=0.3, gain_db=3.5)
    y = zefra_tdr.td_ctle(np.ones(10), pole1_hz=-1.0 / math.pi, **kwargs)
    assert not np.all(np.isfinite(y))
    y = zefra_tdr.td_ctle(np.ones(10), pole1_hz=1.0 / math.pi, **kwargs)
    assert np.all(np.isfinite(y))


@pytest.mark.parametrize("scale", [2.0**30, 2.0**-10])
def test_scaling_rate_and_frequencies_by_a_power_of_two_leaves_the_output_unchanged(scale):
    # Only the ratios of the frequencies to the sampling rate enter the
    # design; a power-of-two scale is exact in every step.
    x = np.random.default_rng(55_000).standard_normal(500)
    for base_rate, fz, fp1, fp2, gain_db, mult in DESIGNS:
        ref = zefra_tdr.td_ctle(x, base_rate_hz=base_rate, zero_hz=fz, pole1_hz=fp1,
                                pole2_hz=fp2, gain_db=gain_db, rate_multiplier=mult)
        scaled = zefra_tdr.td_ctle(x, base_rate_hz=base_rate * scale, zero_hz=fz * scale,
                                   pole1_hz=fp1 * scale, pole2_hz=fp2 * scale,
                                   gain_db=gain_db, rate_multiplier=mult)
        assert scaled.tobytes() == ref.tobytes()
