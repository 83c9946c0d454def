"""zefra_tdr.interp_cubic (shape-preserving piecewise cubic Hermite
interpolation) against its literal restatement and
scipy.interpolate.PchipInterpolator, with the documented shape properties."""

from __future__ import annotations

import warnings

import numpy as np
import pytest
import scipy.interpolate

import zefra_tdr
from oracles import (
    TOLERANCES,
    bits,
    bracket_sorted,
    cubic_oracle,
    end_slope,
    pchip_slopes,
)

cubic = zefra_tdr.interp_cubic


def same_array_bits(a: np.ndarray, b: np.ndarray) -> bool:
    return a.dtype == b.dtype and a.shape == b.shape and a.tobytes() == b.tobytes()


def random_table(rng, n: int, kind: int):
    """Strictly ascending x; values random, monotone, or a noisy sine."""
    while True:
        x = np.unique(np.sort(rng.uniform(-100, 100, n)))
        if x.size >= 2:
            break
    n = x.size
    if kind == 0:
        y = rng.standard_normal(n)
    elif kind == 1:
        y = np.cumsum(rng.exponential(1.0, n)) * rng.choice([1.0, -1.0])
    else:
        y = np.sin(x / 7.0) + 0.01 * rng.standard_normal(n)
    return x, y * rng.choice([1e-3, 1.0, 1e4])


def pchip_slopes_of_scipy(x, y) -> np.ndarray:
    """PchipInterpolator's slopes: the s-coefficient of every piece, and for
    the last sample the first slope of the mirrored table (negated)."""
    p = scipy.interpolate.PchipInterpolator(x, y)
    m = scipy.interpolate.PchipInterpolator(-x[::-1], y[::-1])
    return np.concatenate([p.c[2], [-m.c[2, 0]]])


def piece_scale(p, x, y, q) -> np.ndarray:
    """Size of the terms of the piece used at q: sum |c_k| |s|**k, plus
    |delta| h (t + t**2 + t**3), t = |s| / h, which bounds what a rounding of
    the slopes makes of the coefficients."""
    lo = bracket_sorted(x, q)
    s = np.abs(q - x[lo])
    h = x[lo + 1] - x[lo]
    t = s / h
    c = p.c[:, lo]
    delta = np.abs((y[lo + 1] - y[lo]) / h)
    return (np.abs(c[0]) * s**3 + np.abs(c[1]) * s**2 + np.abs(c[2]) * s + np.abs(c[3])
            + delta * h * (t + t**2 + t**3))


# ---- documented cases --------------------------------------------------------


def test_two_samples_give_the_straight_line_everywhere():
    q = np.array([-5.0, 0.0, 1.0, 2.0, 2.5, 3.0, 4.0, 10.0])
    out = cubic([1.0, 3.0], [2.0, 8.0], q)
    assert out.tolist() == (2.0 + 3.0 * (q - 1.0)).tolist()  # also outside, unlike interp_linear
    assert cubic([3.0, 1.0], [8.0, 2.0], q).tolist() == out.tolist()


def test_identity_table_returns_every_query():
    x = [0.0, 1.0, 2.0, 3.0]
    q = [-1.0, -0.5, 0.0, 0.25, 1.0, 1.5, 2.75, 3.0, 5.0]
    assert cubic(x, x, q).tolist() == q
    assert np.all(pchip_slopes(np.array(x), np.array(x)) == 1.0)


def test_monotone_data_stay_monotone_between_samples():
    rng = np.random.default_rng(41_100)
    for trial in range(20):
        n = int(rng.integers(3, 40))
        x = np.cumsum(rng.exponential(1.0, n))
        steps = rng.exponential(1.0, n - 1) * (rng.random(n - 1) < 0.7)  # some flat steps
        y = np.concatenate([[0.0], np.cumsum(steps)]) * (1 if trial % 2 else -1)
        q = np.linspace(x[0], x[-1], 20_000)
        out = cubic(x, y, q)
        slack = 4 * np.spacing(np.max(np.abs(y)))
        d = np.diff(out) * (1 if trial % 2 else -1)
        assert d.min() >= -slack, trial
        # No overshoot: every value lies between its two samples.
        lo = bracket_sorted(x, q)
        assert np.all(out >= np.minimum(y[lo], y[lo + 1]) - slack), trial
        assert np.all(out <= np.maximum(y[lo], y[lo + 1]) + slack), trial
        # A flat step stays exactly flat.
        flat = y[lo] == y[lo + 1]
        assert np.all(out[flat] == y[lo][flat]), trial


def test_local_extremum_is_flat():
    x = np.array([0.0, 1.0, 2.0, 3.5, 4.0])
    y = np.array([0.0, 1.0, 3.0, 1.0, 0.5])
    d = pchip_slopes(x, y)
    assert bits(d[2]) == bits(0.0)
    eps = np.array([1e-2, 1e-4, 1e-6, 1e-8])
    near = cubic(x, y, np.concatenate([2.0 - eps, 2.0 + eps]))
    assert np.all(near <= 3.0)
    # Slope 0: the deficit shrinks like eps**2, not like eps.
    assert np.all(3.0 - near <= 10.0 * np.concatenate([eps, eps]) ** 2 + np.spacing(3.0))
    assert cubic(x, y, [2.0]).tolist() == [3.0]
    q = np.linspace(1.0, 3.5, 5001)
    assert cubic(x, y, q).max() == 3.0
    # A local minimum likewise.
    assert cubic(x, -y, q).min() == -3.0


def test_end_slope_rules():
    # Each branch of the end rule, read off the library at the first sample.
    cases = [
        ([0.0, 1.0, 2.0], [0.0, 1.0, 10.0], 0.0),   # sign(d) != sign(delta1): 0
        ([0.0, 1.0, 2.0], [0.0, 1.0, -9.0], 3.0),   # sign change, |d| > 3|delta1|: 3 delta1
        ([0.0, 1.0, 2.0], [0.0, 1.0, 0.0], 2.0),    # sign change, |d| <= 3|delta1|: d
        ([0.0, 1.0, 3.0], [0.0, 1.0, 3.0], 1.0),    # same signs: d (here the line)
    ]
    e = 1e-7
    for x, y, expected in cases:
        assert end_slope(y[1] - y[0], (y[2] - y[1]) / (x[2] - x[1]), 1.0, x[2] - x[1]) == expected
        assert pchip_slopes(np.array(x), np.array(y))[0] == expected
        derivative = (cubic(x, y, [e])[0] - y[0]) / e
        assert abs(derivative - expected) <= 1e-6, (x, y)
        # The mirrored table gives the same slope at its last sample.
        xm = [-v for v in x[::-1]]
        derivative = (cubic(xm, y[::-1], [-e])[0] - y[0]) / e
        assert abs(derivative - expected) <= 1e-6, (x, y)


def test_query_at_last_sample_and_descending_table():
    rng = np.random.default_rng(41_200)
    for kind in range(3):
        x, y = random_table(rng, 50, kind)
        out = cubic(x, y, x)
        assert np.max(np.abs(out - y)) <= 4 * np.spacing(np.max(np.abs(y)))
        assert out[:-1].tobytes() == y[:-1].tobytes()  # s = 0 on the own row
        q = rng.uniform(x[0] - 20, x[-1] + 20, 500)
        assert cubic(x[::-1], y[::-1], q).tobytes() == cubic(x, y, q).tobytes()


def test_nan_rules_and_short_tables():
    x, y = [0.0, 1.0, 2.0, 3.0], [1.0, 3.0, 2.0, 5.0]
    q = [-1.0, 0.5, np.nan, 2.5, 4.0]
    out = cubic(x, y, q)
    assert bits(out[2]) == bits(0.0)
    assert out[[0, 1, 3, 4]].tobytes() == cubic(x, y, [-1.0, 0.5, 2.5, 4.0]).tobytes()
    for where in range(4):
        xn = list(x)
        xn[where] = np.nan
        assert [bits(v) for v in cubic(xn, y, q)] == [bits(0.0)] * 5
    # n < 2: all zeros (our choice).
    assert cubic([], [], q).tolist() == [0.0] * 5
    assert cubic([2.0], [7.0], q).tolist() == [0.0] * 5


def test_cubic_equals_its_restatement_bit_for_bit():
    rng = np.random.default_rng(41_300)
    for trial in range(45):
        n = [2, 3, 4][trial] if trial < 3 else int(rng.integers(2, 400))
        x, y = random_table(rng, n, trial % 3)
        span = x[-1] - x[0]
        q = np.concatenate([rng.uniform(x[0] - span, x[-1] + span, 500), x, [np.nan]])
        ref = cubic_oracle(x, y, q)
        assert same_array_bits(cubic(x, y, q), ref), trial
        assert same_array_bits(cubic(x[::-1], y[::-1], q), ref), trial


# ---- against scipy's PchipInterpolator --------------------------------------


def test_slopes_follow_scipys_pchip_rule(error_log):
    # Same rule: interior weighted harmonic mean (written as
    # dp / (dp/dn * w1 + w2) here, as 1 / ((w1/m0 + w2/m1) / (w1 + w2)) in
    # scipy), zero at sign changes and zero secants, and the same limited
    # three-point end slopes.  The zeros and the 3*delta clamps coincide
    # exactly; the other slopes agree to rounding.
    rng = np.random.default_rng(41_400)
    worst = 0.0
    for trial in range(60):
        x, y = random_table(rng, int(rng.integers(3, 300)), trial % 3)
        if trial % 3 == 0:
            y[rng.random(y.size) < 0.2] = 0.5  # zero secants
        ours = pchip_slopes(x, y)
        ref = pchip_slopes_of_scipy(x, y)
        assert np.array_equal(ours == 0.0, ref == 0.0), trial
        h = np.diff(x)
        delta = np.diff(y) / h
        for end, d1 in ((0, delta[0]), (-1, delta[-1])):
            if ours[end] == 3.0 * d1:
                assert ref[end] == 3.0 * d1, trial
        nz = ours != 0.0
        worst = max(worst, float(np.max(np.abs(ours[nz] - ref[nz]) / np.abs(ref[nz]),
                                        initial=0.0)))
    error_log.record("cubic_slopes_vs_pchip_rel", worst)
    assert worst <= TOLERANCES["cubic_slopes_vs_pchip_rel"]


def test_values_against_scipys_pchip(error_log):
    rng = np.random.default_rng(41_500)
    worst = 0.0
    for trial in range(60):
        x, y = random_table(rng, int(rng.integers(2, 2000)), trial % 3)
        span = x[-1] - x[0]
        q = np.concatenate([rng.uniform(x[0] - span, x[-1] + span, 3000), x])
        p = scipy.interpolate.PchipInterpolator(x, y, extrapolate=True)
        ref = p(q)
        ours = cubic(x, y, q)
        err = np.abs(ours - ref) / piece_scale(p, x, y, q)
        worst = max(worst, float(err.max()))
    error_log.record("cubic_vs_pchip_rel", worst)
    assert worst <= TOLERANCES["cubic_vs_pchip_rel"]


def test_where_scipys_pchip_differs():
    # 1. Secants so small that scipy's w/m overflows: scipy's harmonic mean
    #    becomes 1/inf and its interior slopes 0, where ours are the secants
    #    themselves (the data are a straight line, and so is our result).
    x = np.array([0.0, 1.0, 2.0, 3.0])
    y = np.array([0.0, 1e-310, 2e-310, 3e-310])
    with warnings.catch_warnings():
        warnings.simplefilter("ignore", RuntimeWarning)
        p = scipy.interpolate.PchipInterpolator(x, y)
        assert np.all(p.c[2, 1:] == 0.0)
        assert p(1.5) != 1.5e-310
    assert np.all(pchip_slopes(x, y) == 1e-310)
    assert cubic(x, y, [0.5, 1.5, 2.5]).tolist() == [5e-311, 1.5e-310, 2.5e-310]
    # 2. scipy needs strictly ascending finite x; the library also takes a
    #    descending table (same values) and answers a NaN abscissa with zeros.
    with pytest.raises(ValueError):
        scipy.interpolate.PchipInterpolator(x[::-1], y[::-1])
    with pytest.raises(ValueError):
        scipy.interpolate.PchipInterpolator([0.0, np.nan, 2.0], [1.0, 2.0, 3.0])
    assert cubic([0.0, np.nan, 2.0], [1.0, 2.0, 3.0], [1.0]).tolist() == [0.0]
    # 3. A NaN query: NaN from scipy, 0.0 from the library.
    q = [np.nan]
    assert np.isnan(scipy.interpolate.PchipInterpolator([0.0, 1.0, 2.0], [0.0, 1.0, 0.0])(q)[0])
    assert cubic([0.0, 1.0, 2.0], [0.0, 1.0, 0.0], q).tolist() == [0.0]
