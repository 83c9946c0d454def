"""zefra_tdr.synth_tline: uniform lossy line between two impedance steps.

The reference is the ABCD matrix of a uniform line (telegrapher's
equations), converted to S-parameters on the reference impedance 2*zB from
the wave definitions (twoport.py).  The test computes the propagation
exponent gamma itself, since that is the physical input model.
"""

from __future__ import annotations

import ctypes
import math

import numpy as np
import pytest

import zefra_tdr
from oracles import TOLERANCES
from twoport import (
    TWO_PI_EXT,
    ext,
    propagation_exponent,
    rel_errors,
    s_from_abcd,
    stack,
    uniform_line_abcd,
    unstack,
)
from zefra_tdr import _buffers, _library

NAMES = ("S11", "S12", "S21", "S22")


def frequency_grid(rng: np.random.Generator, n: int, f_max: float = 60e9) -> np.ndarray:
    """0, a few tiny frequencies, then random ones up to f_max, in Hz."""
    return np.concatenate([[0.0, 1e-3, 1.0, 1e6], np.sort(rng.uniform(0.0, f_max, n))])


def random_line(rng: np.random.Generator) -> dict:
    """A line with moderate loss: |P| >= exp(-8) over 0..60 GHz."""
    return dict(
        z_a_ohm=rng.uniform(15.0, 150.0),
        z_b_ohm=rng.uniform(10.0, 75.0),
        loss_coeffs=[rng.uniform(0.01, 0.2), rng.uniform(0.0, 0.1), rng.uniform(0.0, 0.01)],
        tau_ns=rng.uniform(0.005, 0.2),
        length=rng.uniform(0.5, 5.0),
    )


def reference(freq, line) -> np.ndarray:
    theta = line["length"] * propagation_exponent(freq, line["loss_coeffs"], line["tau_ns"])
    return s_from_abcd(uniform_line_abcd(theta, line["z_a_ohm"]), 2.0 * line["z_b_ohm"])


def largest_singular_value(s_parts) -> np.ndarray:
    """Largest singular value of each 2x2 S-matrix (closed form of the
    largest eigenvalue of the Hermitian S^H S), in extended precision."""
    s = stack(*s_parts)
    g = np.conj(np.swapaxes(s, 1, 2)) @ s
    a, d = g[:, 0, 0].real, g[:, 1, 1].real
    b = np.abs(g[:, 0, 1])
    return np.sqrt((a + d) / 2 + np.sqrt(((a - d) / 2) ** 2 + b * b))


@pytest.mark.parametrize("seed", range(6))
def test_line_equals_the_abcd_matrix_of_a_uniform_line(seed, error_log):
    rng = np.random.default_rng(50_000 + seed)
    line = random_line(rng)
    freq = frequency_grid(rng, 3000)
    ours = zefra_tdr.synth_tline(freq, **line)
    ref = reference(freq, line)
    theta_re = line["length"] * propagation_exponent(freq, line["loss_coeffs"], 0.0).real
    assert np.max(theta_re) <= 8.0  # the moderate loss the tolerance is stated for
    worst = 0.0
    for name, o, r in zip(NAMES, ours, unstack(ref)):
        err = rel_errors(o, r)
        i = int(np.argmax(err))
        worst = max(worst, float(err[i]))
        assert err[i] <= TOLERANCES["tline_vs_abcd_rel"], (
            f"{name} at f={freq[i]!r} Hz: {o[i]!r} vs {complex(r[i])!r} ({err[i]:.3g}); {line}")
    error_log.record("tline_vs_abcd_rel", worst)


@pytest.mark.parametrize("z_a, z_b", [(50.0, 25.0), (100.0, 50.0), (0.75, 0.375)])
def test_matched_line_has_no_reflection_and_transmits_the_propagation_factor(z_a, z_b, error_log):
    assert z_a == 2.0 * z_b
    rng = np.random.default_rng(51_000)
    freq = frequency_grid(rng, 2000)
    coeffs = [0.05, 0.08, 0.004]
    s11, s12, s21, s22 = zefra_tdr.synth_tline(
        freq, z_a_ohm=z_a, z_b_ohm=z_b, loss_coeffs=coeffs, tau_ns=0.1, length=3.0)
    assert np.all(s11 == 0.0) and np.all(s22 == 0.0)
    p = np.exp(-3.0 * propagation_exponent(freq, coeffs, 0.1))
    err = rel_errors(s21, p)
    error_log.record("tline_matched_vs_exp_rel", float(err.max()))
    assert err.max() <= TOLERANCES["tline_matched_vs_exp_rel"], f"{err.max():.3g}"


@pytest.mark.parametrize("tau, length", [(0.1, 3.0), (0.0071, 25.0), (1.3, 0.2)])
def test_matched_lossless_line_is_a_pure_delay(tau, length, error_log):
    # |S21| = 1 and arg S21 = -2 pi tau len fG, counted without wrapping.
    rng = np.random.default_rng(52_000)
    freq = frequency_grid(rng, 2000, f_max=110e9)[1:]  # f > 0
    s11, _, s21, _ = zefra_tdr.synth_tline(
        freq, z_a_ohm=90.0, z_b_ohm=45.0, loss_coeffs=[0.0, 0.0, 0.0], tau_ns=tau, length=length)
    assert np.all(s11 == 0.0)
    gain_err = np.abs(np.abs(ext(s21)) - 1)
    error_log.record("tline_lossless_gain_abs", float(gain_err.max()))
    assert gain_err.max() <= TOLERANCES["tline_lossless_gain_abs"]

    expected = -TWO_PI_EXT * np.longdouble(tau) * np.longdouble(length) * (
        freq.astype(np.longdouble) / np.longdouble(1e9))
    measured = np.angle(s21).astype(np.longdouble)  # in (-pi, pi]
    turns = np.round((expected - measured) / TWO_PI_EXT)
    unwrapped = measured + turns * TWO_PI_EXT
    err = (np.abs(unwrapped - expected) / np.abs(expected)).astype(np.float64)
    error_log.record("tline_lossless_phase_rel", float(err.max()))
    assert err.max() <= TOLERANCES["tline_lossless_phase_rel"], f"{err.max():.3g}"

    # The same from numpy's unwrap on a grid dense enough (< pi per step).
    dense = np.linspace(0.0, 20e9, 20_001)
    _, _, s21_dense, _ = zefra_tdr.synth_tline(
        dense, z_a_ohm=90.0, z_b_ohm=45.0, loss_coeffs=[], tau_ns=tau, length=length)
    phase = np.unwrap(np.angle(s21_dense))
    np.testing.assert_allclose(phase, -2 * np.pi * tau * length * dense / 1e9,
                               rtol=TOLERANCES["tline_lossless_phase_rel"], atol=1e-15)


@pytest.mark.parametrize("z_a, z_b", [(20.0, 50.0), (150.0, 25.0), (49.0, 25.0)])
def test_mismatched_lossless_line_is_unitary(z_a, z_b, error_log):
    # A lossless network conserves power: S^H S = I, i.e. |S11|^2 + |S21|^2 = 1
    # and the two columns are orthogonal.
    rng = np.random.default_rng(53_000)
    freq = frequency_grid(rng, 2000)
    ours = zefra_tdr.synth_tline(freq, z_a_ohm=z_a, z_b_ohm=z_b, loss_coeffs=[0.0],
                                 tau_ns=0.15, length=2.0)
    s = stack(*ours)
    dev = np.abs(np.conj(np.swapaxes(s, 1, 2)) @ s - np.eye(2)).max()
    error_log.record("tline_lossless_unitarity_abs", float(dev))
    assert dev <= TOLERANCES["tline_lossless_unitarity_abs"]


def test_line_is_reciprocal_and_symmetric_bit_for_bit():
    rng = np.random.default_rng(54_000)
    for _ in range(5):
        line = random_line(rng)
        s11, s12, s21, s22 = zefra_tdr.synth_tline(frequency_grid(rng, 500), **line)
        assert s12.tobytes() == s21.tobytes()
        assert s22.tobytes() == s11.tobytes()


@pytest.mark.parametrize("seed, loss_scale", [(0, 1.0), (1, 1e-3), (2, 1e-8), (3, 1e-14), (4, 0.0)])
def test_lossy_line_is_passive(seed, loss_scale, error_log):
    # Down to nearly lossless lines, where the largest singular value is 1
    # up to rounding.
    rng = np.random.default_rng(55_000 + seed)
    line = random_line(rng)
    line["loss_coeffs"] = rng.uniform(0.0, 1.0, 3) * [1.0, 0.5, 0.05] * loss_scale
    freq = frequency_grid(rng, 3000, f_max=200e9)
    ours = zefra_tdr.synth_tline(freq, **line)
    s11, s21 = ext(ours[0]), ext(ours[2])
    column_power = np.abs(s11) ** 2 + np.abs(s21) ** 2
    sigma = largest_singular_value(ours)
    excess = float(max(np.max(column_power - 1), np.max(sigma - 1)))
    error_log.record("passivity_excess", excess)
    assert np.max(column_power) <= 1 + TOLERANCES["passivity_excess"]
    assert np.max(sigma) <= 1 + TOLERANCES["passivity_excess"]


def test_zero_frequency_gives_real_values_and_the_constant_loss_only(error_log):
    for p0, length in ((0.3, 2.0), (0.0, 5.0), (1.7, 0.25)):
        coeffs = [p0, 0.2, 0.03]
        # Matched: S21 is exp(-len*p0), real.
        s11, _, s21, _ = zefra_tdr.synth_tline(
            [0.0], z_a_ohm=50.0, z_b_ohm=25.0, loss_coeffs=coeffs, tau_ns=0.1, length=length)
        assert s21[0].imag == 0.0 and s11[0] == 0.0
        err = rel_errors(s21[0].real, math.exp(-length * p0))
        error_log.record("tline_dc_vs_exp_rel", float(err))
        assert err <= TOLERANCES["tline_dc_vs_exp_rel"]
        # Mismatched: both real, and the skin, dielectric and delay terms
        # play no part.
        a = zefra_tdr.synth_tline([0.0], z_a_ohm=30.0, z_b_ohm=40.0, loss_coeffs=coeffs,
                                  tau_ns=0.1, length=length)
        b = zefra_tdr.synth_tline([0.0], z_a_ohm=30.0, z_b_ohm=40.0, loss_coeffs=[p0],
                                  tau_ns=7.0, length=length)
        for name, x, y in zip(NAMES, a, b):
            assert x[0].imag == 0.0 and np.isfinite(x[0]), name
            assert x[0] == y[0], name


def test_negative_frequency_gives_nan_at_that_point_only():
    rng = np.random.default_rng(56_000)
    line = random_line(rng)
    freq = frequency_grid(rng, 30)
    bad = [5, 17]
    freq[bad] = [-1e9, -1.0]
    ours = zefra_tdr.synth_tline(freq, **line)
    keep = np.ones(freq.size, bool)
    keep[bad] = False
    rest = zefra_tdr.synth_tline(freq[keep], **line)
    for name, o, r in zip(NAMES, ours, rest):
        assert np.all(np.isnan(o[bad])), f"{name}: {o[bad]}"
        assert np.array_equal(o[keep], r), name


def test_negative_frequency_that_vanishes_in_ghz_counts_as_zero_frequency():
    # The zero-frequency rule looks at the frequency in GHz: -5e-324 Hz / 1e9
    # rounds to -0.0, which compares equal to 0, so that point is evaluated
    # as DC (gamma = p0).  A negative frequency whose GHz value stays
    # negative, like -1e-300 Hz, gives NaN through the logarithm.
    kw = dict(z_a_ohm=60.0, z_b_ohm=25.0, loss_coeffs=[0.1, 0.05, 0.01], tau_ns=0.1, length=2.0)
    ours = zefra_tdr.synth_tline([1e9, -5e-324, -1e-300], **kw)
    dc = zefra_tdr.synth_tline([0.0], **kw)
    for name, o, d in zip(NAMES, ours, dc):
        assert np.isfinite(o[0]), f"{name}: {o}"
        assert o[1] == d[0], f"{name}: {o}"
        assert np.isnan(o[2]), f"{name}: {o}"


def test_nan_frequency_affects_only_its_own_point():
    rng = np.random.default_rng(57_000)
    line = random_line(rng)
    freq = frequency_grid(rng, 30)
    freq[9] = np.nan
    ours = zefra_tdr.synth_tline(freq, **line)
    keep = np.arange(freq.size) != 9
    rest = zefra_tdr.synth_tline(freq[keep], **line)
    for name, o, r in zip(NAMES, ours, rest):
        assert not np.isfinite(o[9]), name
        assert np.array_equal(o[keep], r), name


def test_line_impedance_minus_twice_zb_gives_non_finite_values_without_crashing():
    # Gamma = (zA - 2 zB) / (2 zB + zA) divides by zero.
    rng = np.random.default_rng(58_000)
    freq = frequency_grid(rng, 50)
    for coeffs in ([0.1, 0.05, 0.01], [0.0]):
        ours = zefra_tdr.synth_tline(freq, z_a_ohm=-50.0, z_b_ohm=25.0, loss_coeffs=coeffs,
                                     tau_ns=0.1, length=2.0)
        for name, o in zip(NAMES, ours):
            assert not np.any(np.isfinite(o)), name


def test_missing_coefficients_count_as_zero_and_extra_ones_are_ignored():
    rng = np.random.default_rng(59_000)
    freq = frequency_grid(rng, 300)
    common = dict(z_a_ohm=70.0, z_b_ohm=30.0, tau_ns=0.05, length=4.0)

    def same(c1, c2):
        x = zefra_tdr.synth_tline(freq, loss_coeffs=c1, **common)
        y = zefra_tdr.synth_tline(freq, loss_coeffs=c2, **common)
        return all(u.tobytes() == v.tobytes() for u, v in zip(x, y))

    assert same([0.2], [0.2, 0.0, 0.0])
    assert same([0.2, 0.1], [0.2, 0.1, 0.0])
    assert same([0.2, 0.1, 0.01, 99.0, -5.0], [0.2, 0.1, 0.01])
    assert same([], [0.0, 0.0, 0.0])


@pytest.mark.parametrize("count", [0, -1])
def test_no_point_writes_nothing(count):
    freq = np.array([1e9, 2e9, 3e9])
    coeffs = np.array([0.1, 0.1, 0.01])
    outs = [np.full(3, v, np.complex128) for v in (7.5 - 2.5j, -1.0, np.nan, 1e300j)]
    before = [o.tobytes() for o in outs]
    _library.function("synth_tline")(
        _buffers.double_ptr(freq), ctypes.c_int32(count), 60.0, 25.0,
        _buffers.double_ptr(coeffs), 3, 0.1, 2.0,
        *(_buffers.complex_ptr(o) for o in outs))
    assert [o.tobytes() for o in outs] == before


def test_wrapper_shapes_types_and_inputs():
    freq = np.linspace(0.0, 1e10, 11)
    coeffs = np.array([0.1, 0.05, 0.01])
    before = freq.tobytes(), coeffs.tobytes()
    out = zefra_tdr.synth_tline(freq, z_a_ohm=60, z_b_ohm=np.float32(25.0),
                                loss_coeffs=coeffs, tau_ns=0.1, length=2)
    assert (freq.tobytes(), coeffs.tobytes()) == before
    assert isinstance(out, tuple) and len(out) == 4
    for v in out:
        assert v.dtype == np.complex128 and v.shape == (11,) and v.flags.c_contiguous
    one = zefra_tdr.synth_tline(5e9, z_a_ohm=60.0, z_b_ohm=25.0, loss_coeffs=(0.1, 0.05, 0.01),
                                tau_ns=0.1, length=2.0)
    for x, y in zip(out, one):
        assert y.shape == (1,) and y[0] == x[5]
    empty = zefra_tdr.synth_tline([], z_a_ohm=60.0, z_b_ohm=25.0, loss_coeffs=[0.1],
                                  tau_ns=0.1, length=2.0)
    assert [v.shape for v in empty] == [(0,)] * 4
    with pytest.raises(TypeError):
        zefra_tdr.synth_tline(freq, 60.0, 25.0, [0.1], 0.1, 2.0)  # keywords only
    with pytest.raises(TypeError, match="real"):
        zefra_tdr.synth_tline(freq + 0j, z_a_ohm=60.0, z_b_ohm=25.0, loss_coeffs=[0.1],
                              tau_ns=0.1, length=2.0)
    with pytest.raises(ValueError, match="one-dimensional"):
        zefra_tdr.synth_tline(freq, z_a_ohm=60.0, z_b_ohm=25.0, loss_coeffs=[[0.1]],
                              tau_ns=0.1, length=2.0)
