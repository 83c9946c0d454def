"""zefra_tdr.make_package: IC package path.

The reference converts each section to an S-matrix on its own reference
(the lumped sections from their ABCD matrices on Z0; the line from the ABCD
matrix of a uniform line on 2*Z0, the reference for which its reflection is
(Zc - 2 Z0) / (2 Z0 + Zc)) and cascades the S-matrices with transfer
matrices, as if all were on one reference (twoport.py).
"""

from __future__ import annotations

import ctypes

import numpy as np
import pytest

import zefra_tdr
from oracles import TOLERANCES
from twoport import (
    EXT,
    TWO_PI_EXT,
    cascade_t,
    propagation_exponent,
    rel_errors,
    s_from_abcd,
    series_impedance_abcd,
    shunt_admittance_abcd,
    stack,
    uniform_line_abcd,
    unstack,
)
from zefra_tdr import _buffers, _library

NAMES = ("S11", "S12", "S21", "S22")
#: Frequencies below this (Hz) are evaluated at it.
F_FLOOR = 2.0**-52


def frequency_grid(rng: np.random.Generator, n: int, f_max: float = 60e9) -> np.ndarray:
    return np.concatenate([[0.0, F_FLOOR, 1e-3, 1.0, 1e6],
                           np.sort(rng.uniform(0.0, f_max, n))])


def random_package(rng: np.random.Generator, *, series_ind: bool, shunt_mid: bool) -> dict:
    """Package of typical size: lengths in mm, delays in ns/mm, loss per mm."""
    return dict(
        line_length=rng.uniform(1.0, 20.0),
        shunt_cap_in_f=rng.uniform(0.02e-12, 0.5e-12),
        shunt_cap_out_f=rng.uniform(0.02e-12, 0.5e-12),
        line_impedance_ohm=rng.uniform(30.0, 130.0),
        phase_delay_ns=rng.uniform(0.005, 0.009),
        loss_coeffs=[rng.uniform(0.0, 0.01), rng.uniform(0.0, 0.03), rng.uniform(0.0, 0.005)],
        ref_impedance_ohm=rng.uniform(40.0, 60.0),
        series_ind_h=rng.uniform(0.05e-9, 1.5e-9) if series_ind else 0.0,
        shunt_cap_mid_f=rng.uniform(0.02e-12, 0.3e-12) if shunt_mid else 0.0,
    )


def package_reference(freq, p: dict) -> np.ndarray:
    f = np.maximum(np.asarray(freq, np.float64), F_FLOOR).astype(np.longdouble)
    jw = EXT(1j) * TWO_PI_EXT * f
    z0 = p["ref_impedance_ohm"]

    def lumped(abcd):
        return s_from_abcd(abcd, z0)

    sections = [lumped(shunt_admittance_abcd(jw * np.longdouble(p["shunt_cap_in_f"])))]
    if p["series_ind_h"] > 0:
        sections.append(lumped(series_impedance_abcd(jw * np.longdouble(p["series_ind_h"]))))
    if p["shunt_cap_mid_f"] > 0:
        sections.append(lumped(shunt_admittance_abcd(jw * np.longdouble(p["shunt_cap_mid_f"]))))
    theta = p["line_length"] * propagation_exponent(f.astype(np.float64), p["loss_coeffs"],
                                                    p["phase_delay_ns"])
    sections.append(s_from_abcd(uniform_line_abcd(theta, p["line_impedance_ohm"]), 2.0 * z0))
    sections.append(lumped(shunt_admittance_abcd(jw * np.longdouble(p["shunt_cap_out_f"]))))
    return cascade_t(*sections)


def unitarity_deviation(parts) -> float:
    s = stack(*parts)
    return float(np.abs(np.conj(np.swapaxes(s, 1, 2)) @ s - np.eye(2)).max())


OPTIONAL = [(False, False), (True, False), (False, True), (True, True)]


@pytest.mark.parametrize("series_ind, shunt_mid", OPTIONAL)
@pytest.mark.parametrize("seed", range(3))
def test_package_equals_the_cascade_of_its_sections(seed, series_ind, shunt_mid, error_log):
    rng = np.random.default_rng(70_000 + 10 * seed + 2 * series_ind + shunt_mid)
    p = random_package(rng, series_ind=series_ind, shunt_mid=shunt_mid)
    freq = frequency_grid(rng, 2000)
    ours = zefra_tdr.make_package(freq, **p)
    ref = package_reference(freq, p)
    worst = 0.0
    for name, o, r in zip(NAMES, ours, unstack(ref)):
        err = rel_errors(o, r)
        i = int(np.argmax(err))
        worst = max(worst, float(err[i]))
        assert err[i] <= TOLERANCES["package_vs_section_chain_rel"], (
            f"{name} at f={freq[i]!r} Hz: {o[i]!r} vs {complex(r[i])!r} ({err[i]:.3g}); {p}")
    error_log.record("package_vs_section_chain_rel", worst)


@pytest.mark.parametrize("z0", [50.0, 42.5, 1.0])
def test_matched_lossless_package_without_capacitance_is_a_perfect_thru(z0):
    freq = np.concatenate([[0.0, -1.0], np.linspace(0.0, 100e9, 101)])
    s11, s12, s21, s22 = zefra_tdr.make_package(
        freq, line_length=10.0, shunt_cap_in_f=0.0, shunt_cap_out_f=0.0,
        line_impedance_ohm=2.0 * z0, phase_delay_ns=0.0, loss_coeffs=[0.0, 0.0, 0.0],
        ref_impedance_ohm=z0)
    assert np.all(s11 == 0.0) and np.all(s22 == 0.0)
    assert np.all(s21 == 1.0) and np.all(s12 == 1.0)


def test_series_inductance_and_middle_capacitance_not_above_zero_are_left_out():
    rng = np.random.default_rng(71_000)
    p = random_package(rng, series_ind=False, shunt_mid=False)
    freq = frequency_grid(rng, 500)
    base = zefra_tdr.make_package(freq, **p)
    for ind, mid in ((0.0, 0.0), (-0.0, -0.0), (-1e-9, 0.0), (0.0, -1e-12),
                     (-1.0, -1.0), (-np.inf, -np.inf)):
        p.update(series_ind_h=ind, shunt_cap_mid_f=mid)
        other = zefra_tdr.make_package(freq, **p)
        for name, x, y in zip(NAMES, base, other):
            assert x.tobytes() == y.tobytes(), (name, ind, mid)


def test_missing_loss_coefficients_count_as_zero_and_extra_ones_are_ignored():
    rng = np.random.default_rng(72_000)
    p = random_package(rng, series_ind=True, shunt_mid=True)
    freq = frequency_grid(rng, 500)

    def run(coeffs):
        p["loss_coeffs"] = coeffs
        return [v.tobytes() for v in zefra_tdr.make_package(freq, **p)]

    assert run([0.5]) == run([0.5, 0.0, 0.0])
    assert run([0.5, 0.02]) == run([0.5, 0.02, 0.0])
    assert run([0.5, 0.02, 0.003, 8.0]) == run([0.5, 0.02, 0.003])
    assert run([]) == run([0.0, 0.0, 0.0])


def test_package_is_reciprocal_bit_for_bit():
    rng = np.random.default_rng(73_000)
    for series_ind, shunt_mid in OPTIONAL:
        p = random_package(rng, series_ind=series_ind, shunt_mid=shunt_mid)
        _, s12, s21, _ = zefra_tdr.make_package(frequency_grid(rng, 500), **p)
        assert s12.tobytes() == s21.tobytes()


def test_mirror_symmetric_package_has_equal_port_reflections(error_log):
    rng = np.random.default_rng(74_000)
    worst = 0.0
    for _ in range(4):
        p = random_package(rng, series_ind=False, shunt_mid=False)
        p["shunt_cap_out_f"] = p["shunt_cap_in_f"]
        s11, _, _, s22 = zefra_tdr.make_package(frequency_grid(rng, 1000), **p)
        err = np.abs(s22 - s11) / np.maximum(np.abs(s11), 1e-3)
        worst = max(worst, float(err.max()))
    error_log.record("package_mirror_symmetry_rel", worst)
    assert worst <= TOLERANCES["package_mirror_symmetry_rel"]


@pytest.mark.parametrize("seed, loss_scale", [(0, 1.0), (1, 1e-3), (2, 1e-8), (3, 1e-14), (4, 0.0)])
def test_lossy_package_is_passive(seed, loss_scale, error_log):
    # Down to nearly lossless packages, where the largest singular value is 1
    # up to rounding.
    rng = np.random.default_rng(75_000 + seed)
    p = random_package(rng, series_ind=seed % 2 == 0, shunt_mid=seed >= 2)
    p["loss_coeffs"] = rng.uniform(0.0, 1.0, 3) * [0.05, 0.05, 0.01] * loss_scale
    freq = frequency_grid(rng, 3000, f_max=200e9)
    ours = zefra_tdr.make_package(freq, **p)
    s = stack(*ours)
    g = np.conj(np.swapaxes(s, 1, 2)) @ s
    a, d, b = g[:, 0, 0].real, g[:, 1, 1].real, np.abs(g[:, 0, 1])
    sigma_sq = (a + d) / 2 + np.sqrt(((a - d) / 2) ** 2 + b * b)  # largest eigenvalue of S^H S
    sigma = np.sqrt(sigma_sq)
    excess = float(max(np.max(sigma - 1), np.max(a - 1), np.max(d - 1)))
    error_log.record("passivity_excess", excess)
    assert excess <= TOLERANCES["passivity_excess"], p


@pytest.mark.parametrize("series_ind, shunt_mid", OPTIONAL)
def test_lossless_package_is_unitary(series_ind, shunt_mid, error_log):
    rng = np.random.default_rng(76_000 + 2 * series_ind + shunt_mid)
    p = random_package(rng, series_ind=series_ind, shunt_mid=shunt_mid)
    p["loss_coeffs"] = [0.0, 0.0, 0.0]
    dev = unitarity_deviation(zefra_tdr.make_package(frequency_grid(rng, 2000), **p))
    error_log.record("package_lossless_unitarity_abs", dev)
    assert dev <= TOLERANCES["package_lossless_unitarity_abs"]


def test_frequencies_below_the_floor_are_evaluated_at_the_floor():
    rng = np.random.default_rng(77_000)
    p = random_package(rng, series_ind=True, shunt_mid=True)
    low = np.array([0.0, -0.0, -1.0, -1e300, 5e-324, 1e-300, 2.0**-53,
                    np.nextafter(F_FLOOR, 0.0)])
    at_floor = zefra_tdr.make_package(np.full(low.size, F_FLOOR), **p)
    ours = zefra_tdr.make_package(low, **p)
    for name, x, y in zip(NAMES, ours, at_floor):
        assert np.all(np.isfinite(x)), name
        assert x.tobytes() == y.tobytes(), name
    above = zefra_tdr.make_package([1.0], **p)
    assert any(x[0] != y[0] for x, y in zip(above, at_floor))


def test_minus_infinity_is_below_the_floor_too():
    rng = np.random.default_rng(77_500)
    p = random_package(rng, series_ind=True, shunt_mid=False)
    ours = zefra_tdr.make_package([-np.inf, F_FLOOR], **p)
    for name, v in zip(NAMES, ours):
        assert v[0] == v[1], name


def test_nan_frequency_leaves_the_other_points_alone():
    rng = np.random.default_rng(78_000)
    p = random_package(rng, series_ind=True, shunt_mid=True)
    freq = frequency_grid(rng, 40)
    freq[12] = np.nan
    ours = zefra_tdr.make_package(freq, **p)
    keep = np.arange(freq.size) != 12
    rest = zefra_tdr.make_package(freq[keep], **p)
    for name, x, y in zip(NAMES, ours, rest):
        assert np.array_equal(x[keep], y), name


@pytest.mark.parametrize("count", [0, -1])
def test_no_point_writes_nothing(count):
    freq = np.array([1e9, 2e9, 3e9])
    coeffs = np.array([0.01, 0.02, 0.003])
    outs = [np.full(3, v, np.complex128) for v in (7.5 - 2.5j, -1.0, np.nan, 1e300j)]
    before = [o.tobytes() for o in outs]
    _library.function("makePackage")(
        _buffers.double_ptr(freq), ctypes.c_int32(count), 5.0, 0.2e-12, 0.3e-12, 80.0,
        0.007, _buffers.double_ptr(coeffs), 3, 50.0, 0.5e-9, 0.1e-12,
        *(_buffers.complex_ptr(o) for o in outs))
    assert [o.tobytes() for o in outs] == before


def test_wrapper_passes_the_arguments_in_the_c_order():
    freq = np.linspace(0.0, 40e9, 41)
    coeffs = np.array([0.01, 0.02, 0.003])
    direct = [np.zeros(41, np.complex128) for _ in range(4)]
    _library.function("makePackage")(
        _buffers.double_ptr(freq), 41,
        5.0,                 # lineLength
        0.2e-12, 0.3e-12,    # shuntCapIn, shuntCapOut
        80.0, 0.007,         # lineImpedance, phaseDelay
        _buffers.double_ptr(coeffs), 3,
        45.0,                # refImpedance
        0.5e-9, 0.1e-12,     # seriesInd, shuntCapMid
        *(_buffers.complex_ptr(o) for o in direct))
    ours = zefra_tdr.make_package(
        list(freq), shunt_cap_mid_f=0.1e-12, series_ind_h=0.5e-9, ref_impedance_ohm=45,
        loss_coeffs=tuple(coeffs), phase_delay_ns=0.007, line_impedance_ohm=80.0,
        shunt_cap_out_f=0.3e-12, shunt_cap_in_f=0.2e-12, line_length=5)
    for name, x, y in zip(NAMES, ours, direct):
        assert x.dtype == np.complex128 and x.shape == (41,) and x.flags.c_contiguous
        assert x.tobytes() == y.tobytes(), name
    assert [v.shape for v in zefra_tdr.make_package(
        [], line_length=1.0, shunt_cap_in_f=0.0, shunt_cap_out_f=0.0, line_impedance_ohm=50.0,
        phase_delay_ns=0.0, loss_coeffs=[], ref_impedance_ohm=50.0)] == [(0,)] * 4
    with pytest.raises(TypeError):
        zefra_tdr.make_package(freq, 5.0, 0.2e-12, 0.3e-12, 80.0, 0.007, coeffs, 45.0)
