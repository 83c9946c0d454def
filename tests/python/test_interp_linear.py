"""zefra_tdr linear interpolation (real and complex values) against its
literal restatement, numpy.interp and scipy's interp1d, with the library's
deliberate rules: zero outside (or linear extension), NaN handling, flat
segments, descending tables and the exact number of values written."""

from __future__ import annotations

import ctypes

import numpy as np
import pytest
import scipy.interpolate

import zefra_tdr
from oracles import (
    TOLERANCES,
    bits,
    bracket_index,
    bracket_sorted,
    complex_extrap_oracle,
    complex_lean_oracle,
    describe,
    linear_oracle,
)
from zefra_tdr import _library

c_double_p = ctypes.POINTER(ctypes.c_double)

REAL_EXPORTS = ["interp1q_Linear", "interp_Linear_Extrap", "interp1_Cubic"]
COMPLEX_EXPORTS = ["interp_Linear_Extrap_Complex", "zefra_linearInterp_c"]
ALL_EXPORTS = REAL_EXPORTS + COMPLEX_EXPORTS
EXTRAP_WRAPPERS = {
    "interp_linear": (zefra_tdr.interp_linear, False),
    "interp_linear_extrap": (zefra_tdr.interp_linear_extrap, True),
}


def ptr(arr: np.ndarray):
    return arr.ctypes.data_as(c_double_p)


def same_array_bits(a: np.ndarray, b: np.ndarray) -> bool:
    return a.dtype == b.dtype and a.shape == b.shape and a.tobytes() == b.tobytes()


def random_table(rng, n: int, complex_values: bool = False):
    """Strictly ascending abscissas over a random scale and offset, values
    of random scale."""
    while True:
        x = np.unique(rng.choice([0.0, 1e3, -1e6]) + rng.uniform(-1, 1, n)
                      * rng.choice([1e-3, 1.0, 1e3]))
        if x.size >= 2:
            break
    y = rng.standard_normal(x.size) * rng.choice([1e-5, 1.0, 1e5]) + rng.choice([0.0, 10.0])
    if complex_values:
        y = y + 1j * rng.standard_normal(x.size)
    return x, y


def bracket_scale(x, y, q, with_offset: bool) -> np.ndarray:
    """max(|y[lo]|, |y[lo+1]|) (+ |slope| * distance to the interval ends),
    the size of the terms either interpolation formula adds."""
    lo = bracket_sorted(x, q)
    scale = np.maximum(np.abs(y[lo]), np.abs(y[lo + 1]))
    if with_offset:
        slope = np.abs((y[lo + 1] - y[lo]) / (x[lo + 1] - x[lo]))
        scale = scale + slope * np.maximum(np.abs(q - x[lo]), np.abs(q - x[lo + 1]))
    return scale


# ---- prototypes, wrappers, caller buffers -----------------------------------


@pytest.mark.parametrize("name", ALL_EXPORTS)
def test_prototypes_are_declared(name):
    fn = _library.function(name)
    assert fn.restype is None
    assert fn.argtypes == [c_double_p] * 4 + [ctypes.c_int32, ctypes.c_int32]


@pytest.mark.parametrize("name", ALL_EXPORTS)
def test_no_query_writes_nothing(name):
    width = 2 if name in COMPLEX_EXPORTS else 1
    x = np.array([0.0, 1.0, 2.0])
    y = np.array([0.0, 10.0, 20.0] * width)
    xi = np.array([0.5, 1.5, 2.5])
    sentinel = -7.25
    yi = np.full(3 * width, sentinel)
    _library.function(name)(ptr(x), ptr(y), ptr(xi), ptr(yi), 3, 0)
    assert np.all(yi == sentinel)
    # Exactly ni values are written, none past them.
    _library.function(name)(ptr(x), ptr(y), ptr(xi), ptr(yi), 3, 2)
    assert np.all(yi[2 * width:] == sentinel) and np.all(yi[:2 * width] != sentinel)


@pytest.mark.parametrize("name", ALL_EXPORTS)
def test_result_may_share_the_query_buffer(name):
    # The library notices that yi overlaps an input and works on copies.
    rng = np.random.default_rng(40_100)
    x = np.sort(rng.uniform(0, 10, 20))
    y = rng.standard_normal(40 if name in COMPLEX_EXPORTS else 20)
    xi = rng.uniform(-1, 11, 16)
    ni = 8 if name in COMPLEX_EXPORTS else 16  # 16 doubles of results either way
    fresh = np.zeros(16)
    _library.function(name)(ptr(x), ptr(y), ptr(xi), ptr(fresh), 20, ni)
    shared = xi.copy()
    _library.function(name)(ptr(x), ptr(y), ptr(shared), ptr(shared), 20, ni)
    assert shared.tobytes() == fresh.tobytes()


WRAPPERS = [zefra_tdr.interp_linear, zefra_tdr.interp_linear_extrap,
            zefra_tdr.interp_linear_extrap_complex, zefra_tdr.linear_interp_c,
            zefra_tdr.interp_cubic]


@pytest.mark.parametrize("wrapper", WRAPPERS, ids=lambda f: f.__name__)
def test_wrappers_never_modify_the_callers_arrays(wrapper):
    # A descending table is reversed inside the library, on private copies.
    x = np.array([5.0, 4.0, 2.5, 1.0, -3.0])
    y = np.array([1.0, -2.0, 0.5, 7.0, 3.0])
    if wrapper in (zefra_tdr.interp_linear_extrap_complex, zefra_tdr.linear_interp_c):
        y = y + 1j * y[::-1]
    xi = np.array([-4.0, 0.0, 4.5, np.nan, 9.0])
    before = [a.copy() for a in (x, y, xi)]
    out = wrapper(x, y, xi)
    for arr, old in zip((x, y, xi), before):
        assert arr.tobytes() == old.tobytes()
    assert out.shape == (5,) and out.flags.c_contiguous
    assert out.dtype == (np.complex128 if np.iscomplexobj(y) else np.float64)


@pytest.mark.parametrize("wrapper", WRAPPERS, ids=lambda f: f.__name__)
def test_wrappers_reject_bad_tables(wrapper):
    with pytest.raises(ValueError, match="same length"):
        wrapper([0.0, 1.0, 2.0], [1.0, 2.0], [0.5])
    with pytest.raises(ValueError):
        wrapper(np.zeros((2, 2)), np.zeros(4), [0.5])
    with pytest.raises(TypeError):
        wrapper([0.0, 1.0], [1.0, 2.0], [0.5 + 1j])
    # Lists and scalars are accepted; an empty query list gives an empty array.
    assert wrapper([0.0, 1.0], [1.0, 2.0], 0.5).shape == (1,)
    assert wrapper([0.0, 1.0], [1.0, 2.0], []).shape == (0,)


# ---- real linear interpolation: the documented cases -------------------------


@pytest.mark.parametrize("order", ["ascending", "descending"])
def test_documented_example(order):
    x, y = np.array([0.0, 1.0, 2.0]), np.array([0.0, 10.0, 20.0])
    if order == "descending":
        x, y = x[::-1], y[::-1]
    xi = [-1.0, 0.0, 0.5, 2.0, 3.0]
    assert zefra_tdr.interp_linear(x, y, xi).tolist() == [0.0, 0.0, 5.0, 20.0, 0.0]
    assert zefra_tdr.interp_linear_extrap(x, y, xi).tolist() == [-10.0, 0.0, 5.0, 20.0, 30.0]


@pytest.mark.parametrize("name", list(EXTRAP_WRAPPERS))
@pytest.mark.parametrize("where", [0, 2, 4])
def test_nan_abscissa_gives_all_zeros(name, where):
    wrapper, _ = EXTRAP_WRAPPERS[name]
    x = np.array([0.0, 1.0, 2.0, 3.0, 4.0])
    x[where] = np.nan
    out = wrapper(x, [1.0, 2.0, 3.0, 4.0, 5.0], [-1.0, 0.5, 2.0, np.nan, 9.0])
    assert [bits(v) for v in out] == [bits(0.0)] * 5


@pytest.mark.parametrize("name", list(EXTRAP_WRAPPERS))
def test_nan_query_gives_zero_in_its_slot_only(name):
    wrapper, _ = EXTRAP_WRAPPERS[name]
    x, y = [0.0, 1.0, 2.0], [3.0, 10.0, 20.0]
    xi = np.array([-1.0, 0.25, 1.5, 2.0, 3.0])
    clean = wrapper(x, y, xi)
    for j in range(xi.size):
        q = xi.copy()
        q[j] = np.nan
        out = wrapper(x, y, q)
        assert describe(out[j]) == describe(0.0)  # +0.0, not NaN
        assert np.delete(out, j).tobytes() == np.delete(clean, j).tobytes()


def test_flat_segment_returns_the_value_exactly():
    v = 0.1
    r = np.linspace(0.0, 1.0, 1001)
    formula = (1.0 - r) * v + r * v
    assert np.any(formula != v)  # the formula itself would round
    x, y = [0.0, 1.0, 2.0], [5.0, v, v]
    q = 1.0 + r
    for wrapper in (zefra_tdr.interp_linear, zefra_tdr.interp_linear_extrap):
        assert np.all(wrapper(x, y, q) == v)
    # Even when r is not finite: a zero-width last interval with equal values.
    assert zefra_tdr.interp_linear([0.0, 1.0, 1.0], [0.0, v, v], [1.0]).tolist() == [v]
    # With unequal values the zero-width interval follows IEEE arithmetic.
    assert np.isnan(zefra_tdr.interp_linear([0.0, 1.0, 1.0], [0.0, 2.0, 3.0], [1.0])[0])


def test_query_at_a_sample_gives_the_sample():
    rng = np.random.default_rng(40_200)
    x, y = random_table(rng, 200)
    for wrapper in (zefra_tdr.interp_linear, zefra_tdr.interp_linear_extrap):
        assert wrapper(x, y, x).tobytes() == y.tobytes()
        assert wrapper(x[::-1], y[::-1], x).tobytes() == y.tobytes()


def test_repeated_abscissas_take_the_rightmost_sample():
    x, y = [0.0, 1.0, 1.0, 1.0, 2.0], [0.0, 1.0, 5.0, 9.0, 11.0]
    out = zefra_tdr.interp_linear(x, y, [1.0, 1.5, 0.5])
    assert out.tolist() == [9.0, 10.0, 0.5]
    for q in (0.0, 0.5, 1.0, 1.5, 2.0):
        assert bracket_index(x, q) == int(bracket_sorted(np.array(x), np.array([q]))[0])


def test_empty_table_gives_zeros():
    for wrapper in (zefra_tdr.interp_linear, zefra_tdr.interp_linear_extrap):
        assert wrapper([], [], [-1.0, 0.0, 1.0]).tolist() == [0.0, 0.0, 0.0]
    for wrapper in (zefra_tdr.interp_linear_extrap_complex, zefra_tdr.linear_interp_c):
        out = wrapper([], [], [-1.0, 0.0])
        assert out.dtype == np.complex128 and np.all(out == 0)


def test_one_sample_pairs_with_a_phantom_zero_sample():
    # Our choice for n = 1: the second sample read is the zero fill (0.0, 0).
    q = [1.0, 2.0, 3.0]
    assert zefra_tdr.interp_linear([2.0], [5.0], q).tolist() == [0.0, 5.0, 0.0]
    # Below x0: the line through (2, 5) and (0, 0); above: 0.
    assert zefra_tdr.interp_linear_extrap([2.0], [5.0], q).tolist() == [2.5, 5.0, 0.0]
    assert zefra_tdr.interp_linear_extrap_complex([2.0], [5.0 + 1j], q).tolist() == [
        2.5 + 0.5j, 5.0 + 1j, 0j]
    assert zefra_tdr.linear_interp_c([2.0], [5.0 + 1j], q).tolist() == [0j, 5.0 + 1j, 0j]
    # x0 == 0: zero-width phantom interval, r = 0/0.
    assert np.isnan(zefra_tdr.interp_linear([0.0], [5.0], [0.0])[0])


# ---- real linear interpolation: restatement, numpy, scipy ------------------


@pytest.mark.parametrize("name", list(EXTRAP_WRAPPERS))
def test_linear_equals_its_restatement_bit_for_bit(name):
    wrapper, extrapolate = EXTRAP_WRAPPERS[name]
    rng = np.random.default_rng(40_300)
    for trial in range(30):
        x, y = random_table(rng, int(rng.integers(2, 300)))
        span = x[-1] - x[0]
        q = np.concatenate([rng.uniform(x[0] - span, x[-1] + span, 400), x,
                            [np.nan, np.inf, -np.inf]])
        rng.shuffle(q)
        ref = linear_oracle(x, y, q, extrapolate)
        assert same_array_bits(wrapper(x, y, q), ref), trial
        assert same_array_bits(wrapper(x[::-1], y[::-1], q), ref), trial


def test_interp_linear_against_numpy_interp(error_log, capsys):
    rng = np.random.default_rng(40_400)
    worst, identical, total = 0.0, 0, 0
    for _ in range(60):
        x, y = random_table(rng, int(rng.integers(2, 500)))
        q = np.concatenate([rng.uniform(x[0], x[-1], 2000), x])
        ours = zefra_tdr.interp_linear(x, y, q)
        ref = np.interp(q, x, y)
        ulps = np.abs(ours - ref) / np.spacing(bracket_scale(x, y, q, False))
        worst = max(worst, float(ulps.max()))
        identical += int(np.sum(ours == ref))
        total += q.size
        # Outside, numpy holds the end values where the library gives 0.0.
        outside = np.array([x[0] - 1.0, x[-1] + 1.0])
        assert zefra_tdr.interp_linear(x, y, outside).tolist() == [0.0, 0.0]
        assert np.interp(outside, x, y).tolist() == [y[0], y[-1]]
    error_log.record("linear_vs_numpy_ulp", worst)
    with capsys.disabled():
        print(f"\ninterp_linear vs numpy.interp: worst {worst:g} ULP, "
              f"{100.0 * identical / total:.1f} % bit-identical")
    assert worst <= TOLERANCES["linear_vs_numpy_ulp"]


def test_interp_linear_extrap_against_scipy_interp1d(error_log):
    rng = np.random.default_rng(40_500)
    worst = 0.0
    for _ in range(60):
        x, y = random_table(rng, int(rng.integers(2, 500)))
        span = x[-1] - x[0]
        q = rng.uniform(x[0] - 50 * span, x[-1] + 50 * span, 2000)
        ours = zefra_tdr.interp_linear_extrap(x, y, q)
        ref = scipy.interpolate.interp1d(x, y, fill_value="extrapolate")(q)
        ulps = np.abs(ours - ref) / np.spacing(bracket_scale(x, y, q, True))
        worst = max(worst, float(ulps.max()))
    error_log.record("linear_vs_scipy_ulp", worst)
    assert worst <= TOLERANCES["linear_vs_scipy_ulp"]


# ---- complex linear interpolation ------------------------------------------


def test_complex_documented_example():
    x, y, xi = [0.0, 1.0], [0j, 2 + 4j], [-1.0, 0.5, 2.0]
    assert zefra_tdr.interp_linear_extrap_complex(x, y, xi).tolist() == [-2 - 4j, 1 + 2j, 4 + 8j]
    assert zefra_tdr.linear_interp_c(x, y, xi).tolist() == [0j, 1 + 2j, 0j]
    # Descending: same for the full variant, all zeros for the lean one.
    x, y = [1.0, 0.0], [2 + 4j, 0j]
    assert zefra_tdr.interp_linear_extrap_complex(x, y, xi).tolist() == [-2 - 4j, 1 + 2j, 4 + 8j]
    out = zefra_tdr.linear_interp_c(x, y, [-1.0, 0.0, 0.5, 1.0, 2.0])
    assert out.tobytes() == np.zeros(5, dtype=np.complex128).tobytes()


def test_complex_nan_rules():
    x = np.array([0.0, 1.0, np.nan, 3.0])
    y = np.array([1 + 1j, 2 - 1j, 3j, 4.0])
    q = np.array([-1.0, 0.5, 2.5, np.nan, 5.0])
    out = zefra_tdr.interp_linear_extrap_complex(x, y, q)
    assert out.tobytes() == np.zeros(5, dtype=np.complex128).tobytes()
    # Lean variant: the NaN acts through the comparisons and the bisection
    # only (here the interval [1, NaN] gives NaN parts).
    lean = zefra_tdr.linear_interp_c(x, y, q)
    ref = complex_lean_oracle(x, y, q)
    assert np.array_equal(lean, ref, equal_nan=True)
    assert lean[0] == 0 and lean[4] == 0 and lean[3] == 0
    # NaN queries: 0 + 0j (positive zeros) in their own slot.
    xa, ya = [0.0, 1.0, 2.0], [1 + 1j, 2 - 1j, 3j]
    for wrapper in (zefra_tdr.interp_linear_extrap_complex, zefra_tdr.linear_interp_c):
        out = wrapper(xa, ya, [0.5, np.nan, 1.5])
        assert bits(out[1].real) == bits(0.0) and bits(out[1].imag) == bits(0.0)
        assert out[[0, 2]].tobytes() == wrapper(xa, ya, [0.5, 1.5]).tobytes()


def test_complex_query_at_last_sample_and_equal_neighbours():
    x = np.array([0.0, 0.3, 0.7, 1.1])
    y = np.array([1 + 2j, 0.1 + 0.7j, 0.1 + 0.7j, -3.3 + 0.2j])
    for wrapper in (zefra_tdr.interp_linear_extrap_complex, zefra_tdr.linear_interp_c):
        assert wrapper(x, y, [1.1]).tobytes() == y[3:].tobytes()
        q = np.linspace(0.3, 0.7, 401)
        assert np.all(wrapper(x, y, q) == y[1])
    r = np.linspace(0.0, 1.0, 401)
    assert np.any((1.0 - r) * 0.1 + r * 0.1 != 0.1)  # the formula would round


def test_complex_equal_their_restatements_bit_for_bit():
    rng = np.random.default_rng(40_600)
    for trial in range(20):
        x, y = random_table(rng, int(rng.integers(2, 200)), complex_values=True)
        if trial % 4 == 0:
            y[1::3] = y[::3][: y[1::3].size]  # some equal neighbours
        span = x[-1] - x[0]
        q = np.concatenate([rng.uniform(x[0] - span, x[-1] + span, 300), x, [np.nan]])
        ref = complex_extrap_oracle(x, y, q)
        assert same_array_bits(zefra_tdr.interp_linear_extrap_complex(x, y, q), ref), trial
        assert same_array_bits(
            zefra_tdr.interp_linear_extrap_complex(x[::-1], y[::-1], q), ref), trial
        q = q[:80]
        assert same_array_bits(zefra_tdr.linear_interp_c(x, y, q),
                               complex_lean_oracle(x, y, q)), trial


def test_complex_parts_against_numpy_and_scipy(error_log):
    rng = np.random.default_rng(40_700)
    worst_np, worst_sp = 0.0, 0.0
    for _ in range(40):
        x, y = random_table(rng, int(rng.integers(2, 300)), complex_values=True)
        span = x[-1] - x[0]
        inside = np.concatenate([rng.uniform(x[0], x[-1], 1000), x])
        q = rng.uniform(x[0] - 50 * span, x[-1] + 50 * span, 1000)
        lean = zefra_tdr.linear_interp_c(x, y, inside)
        full_in = zefra_tdr.interp_linear_extrap_complex(x, y, inside)
        full = zefra_tdr.interp_linear_extrap_complex(x, y, q)
        for part in (np.real, np.imag):
            yp = part(y)
            scale = np.spacing(bracket_scale(x, yp, inside, False))
            ref = np.interp(inside, x, yp)
            for ours in (lean, full_in):
                worst_np = max(worst_np, float(np.max(np.abs(part(ours) - ref) / scale)))
            ref = scipy.interpolate.interp1d(x, yp, fill_value="extrapolate")(q)
            scale = np.spacing(bracket_scale(x, yp, q, True))
            worst_sp = max(worst_sp, float(np.max(np.abs(part(full) - ref) / scale)))
        outside = [x[0] - 1.0, x[-1] + 1.0]
        assert np.all(zefra_tdr.linear_interp_c(x, y, outside) == 0)
    error_log.record("linear_vs_numpy_ulp", worst_np)
    error_log.record("linear_vs_scipy_ulp", worst_sp)
    assert worst_np <= TOLERANCES["linear_vs_numpy_ulp"]
    assert worst_sp <= TOLERANCES["linear_vs_scipy_ulp"]
