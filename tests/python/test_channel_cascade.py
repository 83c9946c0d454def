"""zefra_tdr.combine_s4p: cascade of two two-ports.

Checked against the product of transfer matrices and of ABCD matrices
(twoport.py, derived from the wave definitions), and on networks whose
cascade is known exactly.
"""

from __future__ import annotations

import ctypes

import numpy as np
import pytest

import zefra_tdr
from oracles import TOLERANCES
from twoport import cascade_abcd, cascade_t, rel_errors, stack, unstack
from zefra_tdr import _buffers, _library


def random_two_port(rng: np.random.Generator, n: int, radius: float = 0.9) -> tuple:
    """Four arrays of complex values uniform in the disc |s| < radius.

    Then |A22*B11| < 0.81, so 1 - A22*B11 stays far from 0.
    """
    r = radius * np.sqrt(rng.uniform(0.0, 1.0, (4, n)))
    phase = rng.uniform(-np.pi, np.pi, (4, n))
    return tuple(np.ascontiguousarray(v) for v in r * np.exp(1j * phase))


def matched_thru(n: int) -> tuple:
    zero = np.zeros(n, np.complex128)
    one = np.ones(n, np.complex128)
    return (zero, one, one, zero.copy())


def record_worst(error_log, name, ours, ref_matrix) -> float:
    worst = max(float(np.max(rel_errors(o, r), initial=0.0))
                for o, r in zip(ours, unstack(ref_matrix)))
    error_log.record(name, worst)
    return worst


@pytest.mark.parametrize("n", [1, 2, 17, 1000, 20_000])
def test_cascade_equals_the_product_of_transfer_matrices(n, error_log):
    rng = np.random.default_rng(31_000 + n)
    a = random_two_port(rng, n)
    b = random_two_port(rng, n)
    ours = zefra_tdr.combine_s4p(a, b)
    ref = cascade_t(stack(*a), stack(*b))
    worst = record_worst(error_log, "cascade_vs_t_product_rel", ours, ref)
    assert worst <= TOLERANCES["cascade_vs_t_product_rel"], f"n={n}: {worst:.3g}"


@pytest.mark.parametrize("z0", [50.0, 1.0, 377.0])
def test_cascade_equals_the_product_of_abcd_matrices(z0, error_log):
    # The S-matrices are all on the same real reference z0; the ABCD route
    # must not depend on which z0 it is.
    rng = np.random.default_rng(32_000 + int(z0))
    a = random_two_port(rng, 5000)
    b = random_two_port(rng, 5000)
    ours = zefra_tdr.combine_s4p(a, b)
    ref = cascade_abcd(stack(*a), stack(*b), z0=z0)
    worst = record_worst(error_log, "cascade_vs_abcd_product_rel", ours, ref)
    assert worst <= TOLERANCES["cascade_vs_abcd_product_rel"], f"z0={z0}: {worst:.3g}"


def test_cascade_of_reciprocal_networks_is_reciprocal_bit_for_bit():
    # C12 = A12*B12/D and C21 = A21*B21/D use the same operands in the same
    # order when A12 == A21 and B12 == B21.
    rng = np.random.default_rng(33_000)
    a11, a12, _, a22 = random_two_port(rng, 3000)
    b11, b12, _, b22 = random_two_port(rng, 3000)
    c = zefra_tdr.combine_s4p((a11, a12, a12.copy(), a22), (b11, b12, b12.copy(), b22))
    assert c[1].tobytes() == c[2].tobytes()


# ---- exact cases -------------------------------------------------------------


def awkward_values(rng: np.random.Generator, n: int) -> tuple:
    """Random network with exact zeros, huge and tiny parts mixed in."""
    parts = [v.copy() for v in random_two_port(rng, n)]
    for v in parts:
        v[::7] = 0.0
        v[1::11] *= 1e200
        v[2::13] *= 1e-200
        v[3::17] = v[3::17].real  # zero imaginary part
    return tuple(parts)


def test_a_matched_thru_after_a_leaves_a_unchanged():
    # Values compared with == : the sign of a zero part may change (adding a
    # product that is -0.0, for instance), nothing else may.
    a = awkward_values(np.random.default_rng(34_000), 1000)
    c = zefra_tdr.combine_s4p(a, matched_thru(1000))
    for name, ours, expected in zip(("C11", "C12", "C21", "C22"), c, a):
        assert np.array_equal(ours, expected), name


def test_a_matched_thru_before_b_leaves_b_unchanged():
    b = awkward_values(np.random.default_rng(35_000), 1000)
    c = zefra_tdr.combine_s4p(matched_thru(1000), b)
    for name, ours, expected in zip(("C11", "C12", "C21", "C22"), c, b):
        assert np.array_equal(ours, expected), name


def test_two_networks_of_all_one_half():
    # D = 1 - 0.25 = 0.75; every operation below is the same in complex
    # arithmetic with zero imaginary parts.
    half = np.full(3, 0.5 + 0.0j)
    c = zefra_tdr.combine_s4p((half,) * 4, (half,) * 4)
    d = 1.0 - 0.5 * 0.5
    assert d == 0.75
    expected = (0.5 + 0.125 / 0.75, 0.25 / 0.75, 0.25 / 0.75, 0.5 + 0.125 / 0.75)
    for name, ours, value in zip(("C11", "C12", "C21", "C22"), c, expected):
        assert np.all(ours.real == value), name
        assert np.all(ours.imag == 0.0), name


@pytest.mark.parametrize("a22, b11", [(0.5, 2.0), (1j, -1j), (-4.0, -0.25)])
def test_a_point_where_d_is_zero_spoils_only_that_point(a22, b11):
    assert a22 * b11 == 1.0
    rng = np.random.default_rng(36_000)
    n, k = 40, 23
    a = [v.copy() for v in random_two_port(rng, n)]
    b = [v.copy() for v in random_two_port(rng, n)]
    a[3][k] = a22
    b[0][k] = b11
    c = zefra_tdr.combine_s4p(a, b)
    for name, v in zip(("C11", "C12", "C21", "C22"), c):
        assert not np.isfinite(v[k]), f"{name}[{k}] = {v[k]!r}"
    keep = np.arange(n) != k
    c_rest = zefra_tdr.combine_s4p([v[keep] for v in a], [v[keep] for v in b])
    for name, v, rest in zip(("C11", "C12", "C21", "C22"), c, c_rest):
        assert np.all(np.isfinite(v[keep])), name
        assert np.array_equal(v[keep], rest), name


@pytest.mark.parametrize("count", [0, -1, -2**31])
def test_no_point_writes_nothing(count):
    # Called through ctypes, with output buffers already holding values.
    rng = np.random.default_rng(37_000)
    a = random_two_port(rng, 3)
    b = random_two_port(rng, 3)
    outs = [np.full(3, v, np.complex128) for v in (7.5 - 2.5j, -1.0, np.nan, 1e300j)]
    before = [o.tobytes() for o in outs]
    _library.function("combineS4p")(
        *(_buffers.complex_ptr(v) for v in (*a, *b)),
        ctypes.c_int32(count),
        *(_buffers.complex_ptr(o) for o in outs),
    )
    assert [o.tobytes() for o in outs] == before


# ---- wrapper -----------------------------------------------------------------


def test_wrapper_returns_four_fresh_complex_arrays_and_leaves_inputs_alone():
    rng = np.random.default_rng(38_000)
    a = random_two_port(rng, 50)
    b = random_two_port(rng, 50)
    before = [v.tobytes() for v in (*a, *b)]
    c = zefra_tdr.combine_s4p(a, b)
    assert isinstance(c, tuple) and len(c) == 4
    for v in c:
        assert v.dtype == np.complex128 and v.shape == (50,) and v.flags.c_contiguous
        assert not any(np.shares_memory(v, x) for x in (*a, *b))
    assert [v.tobytes() for v in (*a, *b)] == before


def test_wrapper_accepts_lists_scalars_and_strided_views():
    rng = np.random.default_rng(39_000)
    a = random_two_port(rng, 20)
    b = random_two_port(rng, 20)
    full = zefra_tdr.combine_s4p(a, b)
    strided = zefra_tdr.combine_s4p([v[::2] for v in a], [list(v[::2]) for v in b])
    for x, y in zip(full, strided):
        assert np.array_equal(x[::2], y)
    one = zefra_tdr.combine_s4p([v[5] for v in a], [complex(v[5]) for v in b])
    for x, y in zip(full, one):
        assert y.shape == (1,) and y[0] == x[5]


def test_wrapper_with_no_points_returns_empty_arrays():
    empty = np.zeros(0, np.complex128)
    c = zefra_tdr.combine_s4p((empty,) * 4, ([],) * 4)
    assert [v.shape for v in c] == [(0,)] * 4


def test_wrapper_rejects_unequal_lengths():
    rng = np.random.default_rng(40_000)
    a = list(random_two_port(rng, 10))
    b = list(random_two_port(rng, 10))
    for bad in ((a[:3] + [a[3][:9]], b), (a, b[:1] + [b[1][:8]] + b[2:]), (a[:1] * 4, [[]] * 4)):
        with pytest.raises(ValueError, match="same length"):
            zefra_tdr.combine_s4p(*bad)


def test_wrapper_rejects_a_network_that_is_not_four_arrays():
    rng = np.random.default_rng(41_000)
    a = random_two_port(rng, 10)
    with pytest.raises(ValueError, match="four"):
        zefra_tdr.combine_s4p(a[:3], a)
    with pytest.raises(ValueError, match="four"):
        zefra_tdr.combine_s4p(a, a + (a[0],))
    with pytest.raises(TypeError):
        zefra_tdr.combine_s4p(1.0, a)
    with pytest.raises(ValueError, match="one-dimensional"):
        zefra_tdr.combine_s4p([np.zeros((2, 2))] * 4, a)
