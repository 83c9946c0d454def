"""zefra_tdr.pdf_from_sampled_signal, pdf_from_sampled_signal_800g and cpdf
against a brute-force enumeration of symbol combinations, a numpy weighted
histogram, a literal restatement of the algorithms (oracles.py) and their
documented edge cases."""

from __future__ import annotations

import ctypes
import math
import os

import numpy as np
import pytest

import zefra_tdr
from oracles import (
    TOLERANCES,
    cpdf_oracle,
    cursor_density_oracle,
    quantise,
    quantised_index,
    symbol_levels,
)
from zefra_tdr import _library

c_double_p = ctypes.POINTER(ctypes.c_double)

VARIANTS = {
    "plain": zefra_tdr.pdf_from_sampled_signal,
    "800g": zefra_tdr.pdf_from_sampled_signal_800g,
}


def run(variant: str, signal, m: int, w: float):
    return VARIANTS[variant](signal, level_count=m, bin_width=w)


def assert_matches_oracle(result, signal, m: int, w: float, variant: str) -> None:
    """Bit-for-bit equality with the literal restatement in oracles.py."""
    amplitudes, probabilities, offset, ok = result
    ref_a, ref_p, ref_offset, ref_ok = cursor_density_oracle(
        signal, m, w, largest_first=(variant == "800g"))
    context = f"{variant} M={m} w={w!r} signal={list(map(float, signal))!r}"
    assert ok == ref_ok, context
    assert amplitudes.shape == ref_a.shape, context
    assert np.array_equal(amplitudes, ref_a), context
    assert np.array_equal(probabilities, ref_p), context
    if ref_ok:
        assert offset == ref_offset, context
    else:
        assert math.isnan(offset), context


def bin_indices(amplitudes: np.ndarray, w: float) -> np.ndarray:
    """Integer bin index of every amplitude; checks that they are consecutive
    and that the amplitudes sit on the grid."""
    idx = np.rint(amplitudes / w).astype(np.int64)
    if idx.size:
        assert np.array_equal(idx, idx[0] + np.arange(idx.size))
        assert np.max(np.abs(amplitudes - idx * w)) <= 1e-9 * w
    return idx


# ---- brute-force enumeration ------------------------------------------------


def enumerated_density(cursors, m: int, w: float):
    """Probability mass per integer bin index, by enumerating all M**k symbol
    combinations of the kept cursors (|c| > w; some cursor must be > w).

    Each cursor contributes one of its quantised values round(|c| * level / w)
    (in bins), so every total lands exactly on the grid.
    Returns (lowest index, masses)."""
    kept = [float(c) for c in cursors if abs(c) > w]
    assert any(c > w for c in cursors)
    levels = symbol_levels(m)
    totals = np.zeros(1, dtype=np.int64)
    for c in kept:
        steps = np.array([quantised_index(abs(c) * v, w) for v in levels], dtype=np.int64)
        totals = np.add.outer(totals, steps).ravel()
    lowest = int(totals.min())
    counts = np.bincount(totals - lowest)
    return lowest, counts * (1.0 / m) ** len(kept)


def random_cursors(rng: np.random.Generator, k: int, w: float) -> list[float]:
    """A main cursor > w, k - 1 further kept cursors of either sign, and a few
    that must be left out (|c| <= w, including exactly +-w)."""
    kept = [float(rng.uniform(3.0, 12.0) * w)]
    for _ in range(k - 1):
        kept.append(float(rng.uniform(1.02, 9.0) * w * rng.choice([-1.0, 1.0])))
    dropped = [float(rng.uniform(-1.0, 1.0) * w), w, -w]
    signal = kept + dropped[: int(rng.integers(0, 4))]
    rng.shuffle(signal)
    return signal


# Binary bin widths: every q = k * w and every offset are then exact, so the
# amplitude axis covers the whole density (see the tests further down for
# other widths).
BINARY_WIDTHS = [2.0**-4, 2.0**-5, 0.125, 0.25]
ENUMERATION_CASES = [(2, 6), (2, 4), (3, 6), (4, 6), (4, 3), (8, 4), (8, 6)]


@pytest.mark.parametrize("variant", sorted(VARIANTS))
@pytest.mark.parametrize("m,k", ENUMERATION_CASES, ids=[f"M{m}-k{k}" for m, k in ENUMERATION_CASES])
def test_density_equals_enumeration_of_all_symbol_combinations(variant, m, k, error_log):
    rng = np.random.default_rng(80_000 + 10 * m + k)
    worst = 0.0
    for trial in range(6 if m ** k <= 5000 else 2):
        w = BINARY_WIDTHS[trial % len(BINARY_WIDTHS)]
        signal = random_cursors(rng, int(rng.integers(1, k + 1)) if trial else k, w)
        amplitudes, probabilities, offset, ok = run(variant, signal, m, w)
        context = f"{variant} M={m} w={w} signal={signal!r}"
        assert ok, context
        idx = bin_indices(amplitudes, w)
        assert offset == idx[0], context
        lowest, masses = enumerated_density(signal, m, w)
        # The library's axis covers every enumerated bin ...
        assert idx[0] <= lowest and lowest + masses.size - 1 <= idx[-1], context
        expected = np.zeros(idx.size)
        expected[lowest - idx[0]: lowest - idx[0] + masses.size] = masses
        # ... and holds the same mass in each of them.
        err = float(np.max(np.abs(probabilities - expected)))
        worst = max(worst, err)
        assert err <= TOLERANCES["pdf_vs_enumeration_abs"], context
        assert_matches_oracle((amplitudes, probabilities, offset, ok), signal, m, w, variant)
    error_log.record("pdf_vs_enumeration_abs", worst)


# ---- literal restatement, other bin widths ----------------------------------


@pytest.mark.parametrize("variant", sorted(VARIANTS))
def test_density_equals_literal_restatement_bit_for_bit(variant):
    rng = np.random.default_rng(81_000 + (variant == "800g"))
    widths = [0.1, 0.013, 0.037, 1.0 / 3.0, 0.07, 2.0**-6]
    for trial in range(48):
        w = widths[trial % len(widths)]
        m = [2, 3, 4, 8][trial % 4]
        signal = rng.standard_normal(int(rng.integers(1, 9))) * rng.uniform(2, 15) * w
        if trial % 5 == 0:
            signal[0] = abs(signal[0]) + 2 * w  # make sure some cursor is kept
        result = run(variant, signal, m, w)
        assert_matches_oracle(result, signal, m, w, variant)


# ---- edge cases, both cursor densities ----------------------------------------


@pytest.mark.parametrize("variant", sorted(VARIANTS))
def test_empty_signal(variant):
    amplitudes, probabilities, offset, ok = run(variant, [], 2, 0.1)
    assert ok is True and offset == 0.0
    assert amplitudes.shape == probabilities.shape == (0,)
    assert amplitudes.dtype == probabilities.dtype == np.float64


@pytest.mark.parametrize("variant", sorted(VARIANTS))
@pytest.mark.parametrize("signal", [
    [0.05, -0.02, 0.1],          # every cursor <= w (the last one exactly w)
    [-5.0, 0.01],                # the only large cursor is negative
    [-5.0, -3.0, 0.1, -0.1],
    [0.0],
])
def test_no_cursor_above_bin_width_gives_one_bin_at_zero(variant, signal):
    amplitudes, probabilities, offset, ok = run(variant, signal, 4, 0.1)
    assert ok is True and offset == 0.0
    assert amplitudes.tolist() == [0.0] and probabilities.tolist() == [1.0]


@pytest.mark.parametrize("variant", sorted(VARIANTS))
@pytest.mark.parametrize("w", [0.1, 0.25, 0.3])
def test_one_cursor_two_levels(variant, w):
    amplitudes, probabilities, offset, ok = run(variant, [1.0], 2, w)
    assert ok
    q = quantise(1.0, w)
    k = quantised_index(1.0, w)
    assert probabilities.size == 2 * k + 1
    assert probabilities[0] == probabilities[-1] == 0.5
    assert np.all(probabilities[1:-1] == 0.0)
    assert offset == -q / w
    assert amplitudes[0] == -q and abs(amplitudes[-1] - q) <= 1e-15
    # The axis is symmetric about zero.
    assert np.allclose(amplitudes, -amplitudes[::-1], rtol=0, atol=1e-15)
    assert np.allclose(np.diff(amplitudes), w, rtol=0, atol=1e-15)


@pytest.mark.parametrize("variant", sorted(VARIANTS))
def test_negative_cursor_equals_positive_cursor(variant):
    # Only |c| enters a cursor's histogram.
    signal = [0.9, -0.37, 0.21, -0.6]
    flipped = [0.9, 0.37, -0.21, 0.6]
    a = run(variant, signal, 4, 0.05)
    b = run(variant, flipped, 4, 0.05)
    for x, y in zip(a, b):
        assert np.array_equal(x, y)


def boundary_widths():
    """Bin widths w for which a cursor a = 1000 * w (quantised to exactly
    1000 bins) needs exactly 2000 bins, and ones for which it needs 2001.

    With points +-q, q = 1000 * w rounded, the bin count is
    trunc(floor((2q + 2**-52) / w) + 1): 2001 when q / w >= 1000 and 2000
    when q / w rounds just below 1000."""
    need_2000, need_2001 = [], []
    for j in range(1, 400):
        w = j / 997.0
        a = 1000.0 * w
        assert quantised_index(a, w) == 1000
        nb = math.trunc(math.floor((a - (-a) + 2.0**-52) / w) + 1.0)
        (need_2000 if nb == 2000 else need_2001).append(w)
        assert nb in (2000, 2001)
    assert need_2000 and need_2001
    return need_2000[:3], need_2001[:3]


@pytest.mark.parametrize("variant", sorted(VARIANTS))
def test_cursor_needing_2001_bins_fails_and_2000_succeeds(variant):
    need_2000, need_2001 = boundary_widths()
    for w in need_2001:
        amplitudes, probabilities, offset, ok = run(variant, [1000.0 * w], 2, w)
        assert ok is False and math.isnan(offset)
        assert amplitudes.size == probabilities.size == 0
        assert_matches_oracle((amplitudes, probabilities, offset, ok),
                              [1000.0 * w], 2, w, variant)
        # One bin less fits.
        assert run(variant, [999.0 * w], 2, w)[3] is True
    for w in need_2000:
        result = run(variant, [1000.0 * w], 2, w)
        amplitudes, probabilities, offset, ok = result
        assert ok is True
        # 2000 bins from -q: the upper point lands in the last bin, one bin
        # below +q.  The plain axis, built from the offset just above -1000,
        # has 2000 values too; the 800G offset is rounded to -1000, so its
        # axis has 2001 values and the probability past the density is 0.0.
        assert probabilities[0] == probabilities[1999] == 0.5
        assert np.all(probabilities[1:1999] == 0.0)
        if variant == "plain":
            assert probabilities.size == 2000
            assert -1000.0 < offset < -999.9999999
        else:
            assert probabilities.size == 2001 and probabilities[2000] == 0.0
            assert offset == -1000.0
        assert_matches_oracle(result, [1000.0 * w], 2, w, variant)


def test_failure_keeps_the_cursors_combined_before():
    w = 0.01
    signal = [0.05, 30.0, 0.03]  # the second cursor needs 6001 bins
    amplitudes, probabilities, offset, ok = zefra_tdr.pdf_from_sampled_signal(
        signal, level_count=2, bin_width=w)
    assert ok is False and math.isnan(offset)
    # The density of the first cursor alone: 0.5 at -0.05 and +0.05.
    assert probabilities.tolist() == [0.5] + [0.0] * 9 + [0.5]
    assert np.allclose(amplitudes, np.arange(-5, 6) * w, rtol=0, atol=1e-15)
    assert_matches_oracle((amplitudes, probabilities, offset, ok), signal, 2, w, "plain")

    # The 800G variant takes the oversized cursor first and fails at once.
    amplitudes, probabilities, offset, ok = zefra_tdr.pdf_from_sampled_signal_800g(
        signal, level_count=2, bin_width=w)
    assert ok is False and math.isnan(offset)
    assert amplitudes.size == probabilities.size == 0


@pytest.mark.parametrize("variant", sorted(VARIANTS))
@pytest.mark.parametrize("w", [math.nan, 0.0, -0.1])
def test_undefined_bin_width_fails_without_crashing(variant, w):
    amplitudes, probabilities, offset, ok = run(variant, [1.0, 0.5], 2, w)
    assert ok is False and math.isnan(offset)
    assert amplitudes.size == probabilities.size == 0
    # With no cursor at all nothing is combined: success, empty density.
    amplitudes, probabilities, offset, ok = run(variant, [], 2, w)
    assert ok is True and offset == 0.0 and amplitudes.size == 0


@pytest.mark.parametrize("variant", sorted(VARIANTS))
@pytest.mark.parametrize("m", [1, 0, -3])
def test_fewer_than_two_levels_fail_without_crashing(variant, m):
    # M = 1 makes the only level NaN (0 / 0); M <= 0 gives no points.  Every
    # cursor is combined, also as 0.0 when none is above w.
    for signal in ([1.0], [0.01], [-3.0, 0.02]):
        amplitudes, probabilities, offset, ok = run(variant, signal, m, 0.1)
        assert ok is False and math.isnan(offset)
        assert amplitudes.size == probabilities.size == 0
    # With no cursor the levels are never used.
    assert run(variant, [], m, 0.1)[3] is True


def test_wrappers_take_any_array_like_and_leave_it_unchanged():
    x = np.array([0.8, -0.3, 0.2])
    before = x.copy()
    for fn in VARIANTS.values():
        a = fn(x, level_count=np.int32(4), bin_width=np.float64(0.05))
        b = fn([0.8, -0.3, 0.2], level_count=4, bin_width=0.05)
        c = fn(x[::-1][::-1].astype(np.float32).astype(np.float64), level_count=4,
               bin_width=0.05)
        for u, v, t in zip(a, b, c):
            assert np.array_equal(u, v) and np.array_equal(u, t)
        assert type(a[2]) is float and type(a[3]) is bool
    assert np.array_equal(x, before)
    with pytest.raises(TypeError):
        zefra_tdr.pdf_from_sampled_signal(x, level_count=2.0, bin_width=0.1)
    with pytest.raises(ValueError):
        zefra_tdr.pdf_from_sampled_signal(np.zeros((2, 2)), level_count=2, bin_width=0.1)


# ---- the 800G variant --------------------------------------------------------


@pytest.mark.parametrize("m", [2, 3, 4])
def test_800g_equals_plain_when_offsets_are_whole_bins(m, error_log):
    rng = np.random.default_rng(82_000 + m)
    worst = 0.0
    for trial in range(12):
        w = BINARY_WIDTHS[trial % len(BINARY_WIDTHS)]
        signal = random_cursors(rng, int(rng.integers(1, 7)), w)
        a_plain, p_plain, off_plain, ok_plain = run("plain", signal, m, w)
        a_800g, p_800g, off_800g, ok_800g = run("800g", signal, m, w)
        assert ok_plain and ok_800g
        assert off_plain == off_800g == round(off_plain)
        assert np.array_equal(a_plain, a_800g)
        # Other combination order: equal bits for dyadic 1/M, rounding-level
        # differences for M = 3.
        err = float(np.max(np.abs(p_plain - p_800g)))
        worst = max(worst, err)
        if m != 3:
            assert err == 0.0
        assert err <= TOLERANCES["pdf_800g_vs_plain_abs"]
    error_log.record("pdf_800g_vs_plain_abs", worst)


def test_800g_differs_in_offset_when_per_cursor_offsets_are_fractional():
    # With w = 0.1 the per-cursor offset q_min / w is not always a whole
    # number (e.g. (-3 * 0.1) / 0.1 = -3.0000000000000004): the plain sum
    # keeps the fraction, the 800G variant rounds it away after each cursor.
    w = 0.1
    signal = [0.3, 0.6, -1.2]
    per_cursor = [-quantise(abs(c), w) / w for c in signal]
    assert all(v != round(v) for v in per_cursor)
    a_plain, p_plain, off_plain, ok_plain = run("plain", signal, 2, w)
    a_800g, p_800g, off_800g, ok_800g = run("800g", signal, 2, w)
    assert ok_plain and ok_800g
    assert off_800g == round(off_800g) == -21.0
    assert off_plain != off_800g and abs(off_plain - off_800g) < 1e-12
    assert a_plain.size == a_800g.size
    assert not np.array_equal(a_plain, a_800g)
    assert np.allclose(a_plain, a_800g, rtol=0, atol=1e-13)
    assert np.array_equal(a_800g, (np.arange(a_800g.size) - 21.0) * w)
    assert np.array_equal(p_plain, p_800g)
    for variant in VARIANTS:
        assert_matches_oracle(run(variant, signal, 2, w), signal, 2, w, variant)


@pytest.mark.parametrize("m", [2, 4])
def test_800g_equal_magnitudes_of_opposite_sign_in_either_order(m):
    w = 0.05
    for a, b in [(0.4, 0.15), (0.37, 0.9), (0.2, 0.2)]:
        first = run("800g", [a, -a, b], m, w)
        second = run("800g", [-a, a, b], m, w)
        third = run("800g", [b, -a, a], m, w)
        for x, y, z in zip(first, second, third):
            assert np.array_equal(x, y) and np.array_equal(x, z)


def test_800g_combines_largest_cursor_first():
    # Non-dyadic 1/3 makes the combination order visible in the last bits.
    rng = np.random.default_rng(83_000)
    w = 0.01
    signal = rng.uniform(0.02, 0.4, 7) * rng.choice([-1.0, 1.0], 7)
    signal[2] = 0.45
    result = run("800g", signal, 3, w)
    assert_matches_oracle(result, signal, 3, w, "800g")
    in_order = np.sort(np.abs(signal))[::-1]
    ordered = run("800g", in_order, 3, w)
    assert np.array_equal(result[1], ordered[1])


# ---- top bin with non-binary widths ---------------------------------------------


def test_non_binary_width_can_drop_the_top_bin_of_the_plain_variant():
    # 0.195 / 0.013 is 15 bins, but (-15 * 0.013) / 0.013 = -14.999999999999998:
    # the cursor's histogram has 31 bins while the plain axis, built from the
    # offset alone, has floor(2 * 14.999999999999998 + 2**-52) + 1 = 30
    # values.  The top bin (probability 0.5) is therefore not returned.  The
    # 800G variant rounds the offset to -15 and returns all 31 bins.  Rule
    # followed as documented: the amplitude axis decides the count.
    w, a = 0.013, 0.195
    assert quantised_index(a, w) == 15
    amplitudes, probabilities, offset, ok = run("plain", [a], 2, w)
    assert ok and offset == -14.999999999999998
    assert probabilities.size == 30 and probabilities[0] == 0.5
    assert math.fsum(probabilities) == 0.5
    assert_matches_oracle((amplitudes, probabilities, offset, ok), [a], 2, w, "plain")
    amplitudes, probabilities, offset, ok = run("800g", [a], 2, w)
    assert ok and offset == -15.0
    assert probabilities.size == 31 and probabilities[0] == probabilities[-1] == 0.5
    assert_matches_oracle((amplitudes, probabilities, offset, ok), [a], 2, w, "800g")


def test_non_binary_width_can_place_the_top_bin_one_bin_low():
    # The bin count trunc(floor((qMax - qMin + 2**-52) / w) + 1) is one short
    # when (k * w) / w rounds just below k: the upper point then goes to the
    # last bin, one below +q, and the axis (from the offset just above -k)
    # has the same, shorter length.  Rule followed as documented.
    w = 0.1
    ks = [k for k in range(2, 200) if (k * w) / w < k]
    assert ks
    k = ks[0]
    for variant in VARIANTS:
        amplitudes, probabilities, offset, ok = run(variant, [k * w], 2, w)
        assert ok
        assert probabilities[0] == probabilities[2 * k - 1] == 0.5
        assert abs(amplitudes[2 * k - 1] - (k - 1) * w) < 1e-12
        # Plain: offset just above -k, axis of 2k values.  800G: offset -k,
        # axis of 2k + 1 values, the last probability 0.0.
        assert probabilities.size == (2 * k if variant == "plain" else 2 * k + 1)
        assert_matches_oracle((amplitudes, probabilities, offset, ok), [k * w], 2, w,
                              variant)


# ---- sanity ----------------------------------------------------------------------


@pytest.mark.parametrize("variant", sorted(VARIANTS))
def test_probabilities_sum_to_one_on_a_uniform_axis(variant, error_log):
    rng = np.random.default_rng(84_000 + (variant == "800g"))
    worst = 0.0
    for trial in range(30):
        m = [2, 4, 3][trial % 3]
        # A pulse-response-like cursor set: a main cursor and decaying ISI.
        n = int(rng.integers(3, 16))
        signal = np.concatenate([[1.0], 0.4 * rng.standard_normal(n) * 0.6 ** np.arange(n)])
        # Binary widths for the plain variant (its axis is exact there); the
        # 800G variant keeps whole-bin offsets for any width.
        w = 2.0 ** -int(rng.integers(4, 8)) if variant == "plain" else \
            float(rng.uniform(0.004, 0.05))
        amplitudes, probabilities, offset, ok = run(variant, signal, m, w)
        assert ok
        err = abs(math.fsum(probabilities) - 1.0)
        worst = max(worst, err)
        assert err <= TOLERANCES["pdf_sum_abs"]
        assert np.all(probabilities >= 0.0)
        assert np.allclose(np.diff(amplitudes), w, rtol=1e-12, atol=0)
        assert amplitudes[0] == offset * w
        assert probabilities[0] > 0.0 and probabilities[-1] > 0.0
    error_log.record("pdf_sum_abs", worst)


def statm_resident_bytes() -> int:
    with open("/proc/self/statm") as f:
        return int(f.read().split()[1]) * os.sysconf("SC_PAGE_SIZE")


@pytest.mark.skipif(not os.path.exists("/proc/self/statm"), reason="needs /proc/self/statm")
def test_library_arrays_are_released():
    # 1601 bins: two library arrays of 12.8 kB per call; 2000 calls that
    # leaked them would add about 51 MB of resident memory.
    signal = [8.0, 0.0625, -0.03]
    w = 0.01
    for fn in VARIANTS.values():
        for _ in range(50):  # warm up allocator pools
            fn(signal, level_count=2, bin_width=w)
        before = statm_resident_bytes()
        for _ in range(2000):
            amplitudes, probabilities, _, ok = fn(signal, level_count=2, bin_width=w)
        after = statm_resident_bytes()
        assert ok and probabilities.size >= 1600
        assert after - before < 8 * 2**20, f"resident memory grew by {after - before} bytes"


# ---- cpdf ------------------------------------------------------------------------


def test_prototypes_are_declared():
    i32, dbl = ctypes.c_int32, ctypes.c_double
    for name in ("get_pdf_from_sampled_signal", "get_pdf_from_sampled_signal_800G"):
        fn = _library.function(name)
        assert fn.restype is ctypes.c_bool
        assert fn.argtypes == [c_double_p, i32, ctypes.c_void_p, ctypes.POINTER(c_double_p),
                               ctypes.POINTER(c_double_p), c_double_p, c_double_p, i32,
                               ctypes.POINTER(i32)]
    fn = _library.function("d_cpdf")
    assert fn.restype is ctypes.c_bool
    assert fn.argtypes == [c_double_p] * 4 + [i32, i32, i32, dbl, c_double_p, c_double_p]
    fn = _library.function("zefra_release_array")
    assert fn.restype is None and fn.argtypes == [c_double_p]
    fn(None)  # a null pointer is ignored


def test_cpdf_all_points_at_zero():
    centres, density, offset, width, ok = zefra_tdr.cpdf(
        [0.0, 0.0, 0.0, 0.0], [0.25, 0.5, 0.125, 0.125], bin_width=0.1, out_count=0)
    assert ok and offset == 0.0 and width == 0.1
    assert centres.tolist() == [0.0] and density.tolist() == [1.0]


@pytest.mark.parametrize("w", [0.1, 0.25, 3.0])
def test_cpdf_two_points_one_bin_apart_from_zero(w):
    centres, density, offset, width, ok = zefra_tdr.cpdf(
        [-w, w], [0.5, 0.5], bin_width=w, out_count=0)
    assert ok and offset == -1.0 and width == w
    assert density.tolist() == [0.5, 0.0, 0.5]
    assert centres.tolist() == [-w, 0.0, w]


def test_cpdf_points_halfway_are_quantised_away_from_zero():
    # Points are first rounded to the grid, half away from zero and after
    # narrowing p / w to single precision; only then binned.  A point halfway
    # between two bins therefore goes to the bin farther from zero: the lower
    # bin for -w/2, the upper one for +w/2.  (A tie in the nearest-bin search
    # itself cannot occur: the quantised points are whole multiples of w up
    # to rounding far below w/2, within at most 2000 bins.)
    w = 0.25
    points = [-2 * w, -0.5 * w, 0.5 * w, 2 * w]
    centres, density, offset, _, ok = zefra_tdr.cpdf(
        points, [0.125, 0.25, 0.5, 0.125], bin_width=w, out_count=0)
    assert ok and offset == -2.0
    assert centres.tolist() == [-0.5, -0.25, 0.0, 0.25, 0.5]
    assert density.tolist() == [0.125, 0.25, 0.0, 0.5, 0.125]
    # Just below the half, in double precision, still rounds up: the quotient
    # 0.49999999999 becomes exactly 0.5 in single precision.
    near = [-2 * w, 0.49999999999 * w, -1.49999999999 * w, 2 * w]
    assert float(np.float32(0.49999999999)) == 0.5
    centres, density, offset, _, ok = zefra_tdr.cpdf(
        near, [0.125, 0.5, 0.25, 0.125], bin_width=w, out_count=0)
    assert ok and offset == -2.0
    assert density.tolist() == [0.375, 0.0, 0.0, 0.5, 0.125]
    # Below the float32 half it rounds down.
    centres, density, offset, _, ok = zefra_tdr.cpdf(
        [-2 * w, 0.4999 * w, 2 * w], [0.25, 0.5, 0.25], bin_width=w, out_count=0)
    assert density.tolist() == [0.25, 0.0, 0.5, 0.0, 0.25]


def numpy_weighted_histogram(points, weights, w):
    """Quantise, bin by integer index, accumulate with np.bincount, divide by
    the total, trim zero bins at both ends.  Returns (lowest index, density).

    The number of bins is the documented trunc(floor((qMax - qMin + 2**-52)
    / w) + 1), which for some non-binary widths is one less than the integer
    span (e.g. 350.99999999999994 for 351 bins); the top point then goes to
    the nearest existing bin, the last one."""
    idx = np.array([quantised_index(p, w) for p in points], dtype=np.int64)
    q = np.array([quantise(p, w) for p in points])
    nb = math.trunc(math.floor((q.max() - q.min() + 2.0**-52) / w) + 1.0)
    assert nb in (idx.max() - idx.min() + 1, idx.max() - idx.min())
    counts = np.bincount(np.minimum(idx - idx.min(), nb - 1), weights=weights)
    counts = counts / np.sum(weights)
    nz = np.flatnonzero(counts)
    return int(idx.min() + nz[0]), counts[nz[0]: nz[-1] + 1]


def random_symmetric_points(rng, n, w):
    """Points within +-span bins, with the most negative one at -span (so the
    centred grid covers the whole density)."""
    span = int(rng.integers(1, 400))
    k = rng.integers(-span, span + 1, n)
    points = k * w + rng.uniform(-0.45, 0.45, n) * w
    points[0] = -span * w
    return points


def test_cpdf_equals_numpy_histogram_exact_weights():
    # Weights k / 2**10 summing to exactly 1: every sum is exact, so the
    # result must equal the numpy histogram bit for bit (including points of
    # weight 0 at either end, which are trimmed).
    rng = np.random.default_rng(85_000)
    for trial in range(40):
        w = [0.1, 0.25, 0.013, 1.7][trial % 4]
        n = int(rng.integers(1, 300))
        points = random_symmetric_points(rng, n, w)
        cuts = np.sort(rng.integers(0, 1025, n - 1))
        weights = np.diff(np.concatenate([[0], cuts, [1024]])) / 1024.0
        assert math.fsum(weights) == 1.0
        centres, density, offset, width, ok = zefra_tdr.cpdf(
            points, weights, bin_width=w, out_count=0)
        assert ok and width == w
        first, ref = numpy_weighted_histogram(points, weights, w)
        context = f"trial {trial}"
        assert round(offset) == first and abs(offset - first) < 1e-9, context
        c = 2 * abs(first) + 1
        assert centres.size == density.size == c, context
        # The density from its first kept bin, cut or zero-padded to c values
        # (cut only when the lowest point has weight 0 and is trimmed).
        expected = np.zeros(c)
        expected[:min(c, ref.size)] = ref[:c]
        assert np.array_equal(density, expected), context
        assert np.array_equal(centres, (np.arange(c) - abs(offset)) * w), context
        ref_c, ref_d, ref_x, ref_ok = cpdf_oracle(points, weights, w, 0)
        assert ref_ok and ref_x == offset
        assert np.array_equal(centres, ref_c) and np.array_equal(density, ref_d), context


def test_cpdf_equals_numpy_histogram_random_weights(error_log):
    rng = np.random.default_rng(86_000)
    worst = 0.0
    for trial in range(40):
        w = float(rng.uniform(0.01, 2.0))
        n = int(rng.integers(2, 300))
        points = random_symmetric_points(rng, n, w)
        weights = rng.dirichlet(np.ones(n))
        centres, density, offset, width, ok = zefra_tdr.cpdf(
            points, weights, bin_width=w, out_count=5)
        assert ok
        first, ref = numpy_weighted_histogram(points, weights, w)
        assert round(offset) == first
        keep = ref != 0.0
        err = float(np.max(np.abs(density[:ref.size][keep] - ref[keep]) / ref[keep]))
        worst = max(worst, err)
        assert err <= TOLERANCES["cpdf_vs_numpy_rel"], f"trial {trial}"
        assert np.array_equal(density[:ref.size] == 0.0, ~keep)
        ref_c, ref_d, ref_x, _ = cpdf_oracle(points, weights, w, 5)
        assert ref_x == offset
        assert np.array_equal(centres, ref_c) and np.array_equal(density, ref_d)
    error_log.record("cpdf_vs_numpy_rel", worst)


def test_cpdf_without_points_fails_and_writes_zeros():
    centres, density, offset, width, ok = zefra_tdr.cpdf(
        [], [], bin_width=0.1, out_count=7)
    assert ok is False and math.isnan(offset) and math.isnan(width)
    assert centres.tolist() == [0.0] * 7 and density.tolist() == [0.0] * 7
    assert zefra_tdr.cpdf([], [1.0], bin_width=0.1, out_count=0)[4] is False


@pytest.mark.parametrize("w", [math.nan, 0.0, -0.25, -math.inf])
def test_cpdf_undefined_bin_width_fails(w):
    centres, density, offset, width, ok = zefra_tdr.cpdf(
        [-0.5, 0.0, 0.5], [0.25, 0.5, 0.25], bin_width=w, out_count=3)
    assert ok is False and math.isnan(offset) and math.isnan(width)
    assert centres.tolist() == density.tolist() == [0.0] * 3


def test_cpdf_2000_bins_succeed_and_2001_fail():
    w = 0.25
    centres, density, offset, _, ok = zefra_tdr.cpdf(
        [-999 * w, 1000 * w], [0.5, 0.5], bin_width=w, out_count=4)
    assert ok and offset == -999.0 and density.size == centres.size == 1999
    assert density[0] == 0.5 and np.all(density[1:] == 0.0)  # the top bin is past the grid
    centres, density, offset, _, ok = zefra_tdr.cpdf(
        [-1000 * w, 1000 * w], [0.5, 0.5], bin_width=w, out_count=4)
    assert ok is False and math.isnan(offset)
    assert density.tolist() == centres.tolist() == [0.0] * 4
    centres, density, offset, _, ok = zefra_tdr.cpdf(
        [0.0, 1999 * w], [0.5, 0.5], bin_width=w, out_count=0)
    assert ok and offset == 0.0 and density.tolist() == [0.5]
    assert zefra_tdr.cpdf([0.0, 2000 * w], [0.5, 0.5], bin_width=w, out_count=0)[4] is False


def test_cpdf_missing_weights_count_as_zero_and_extra_ones_are_ignored():
    w = 0.5
    centres, density, offset, _, ok = zefra_tdr.cpdf(
        [-1.0, 0.0, 1.0], [0.25, 0.75], bin_width=w, out_count=0)
    # The point at +1.0 has no weight: its bin is trimmed, leaving bins
    # -1.0 .. 0.0; the grid of 2*2 + 1 centres is padded with zeros.
    assert ok and offset == -2.0
    assert centres.tolist() == [-1.0, -0.5, 0.0, 0.5, 1.0]
    assert density.tolist() == [0.25, 0.0, 0.75, 0.0, 0.0]
    longer = zefra_tdr.cpdf([-1.0, 0.0, 1.0], [0.25, 0.5, 0.25, 99.0], bin_width=w,
                            out_count=0)
    assert longer[1].tolist() == [0.25, 0.0, 0.5, 0.0, 0.25]


def test_cpdf_leading_zero_weight_moves_the_offset():
    w = 0.5
    centres, density, offset, _, ok = zefra_tdr.cpdf(
        [-2.0, -1.0, 1.0], [0.0, 0.5, 0.5], bin_width=w, out_count=0)
    assert ok and offset == -2.0  # first kept bin is -1.0 = -2 bins
    assert density.tolist() == [0.5, 0.0, 0.0, 0.0, 0.5]


def test_cpdf_grid_shorter_than_the_density_cuts_it():
    # The grid has 2*|round(x)| + 1 values whatever the density's length:
    # points {0, 5w} give x = 0 and one value.
    centres, density, offset, _, ok = zefra_tdr.cpdf(
        [0.0, 0.5], [0.5, 0.5], bin_width=0.1, out_count=0)
    assert ok and offset == 0.0
    assert centres.tolist() == [0.0] and density.tolist() == [0.5]


def test_cpdf_grid_far_from_zero_is_sized_by_the_wrapper():
    # x = 100000 needs a grid of 200001 values while the density has 3 bins.
    w = 1.0
    points = [100000.0, 100002.0]
    centres, density, offset, width, ok = zefra_tdr.cpdf(
        points, [0.5, 0.5], bin_width=w, out_count=0)
    assert ok and offset == 100000.0
    assert centres.size == density.size == 200001
    assert centres[0] == -100000.0 and centres[-1] == 100000.0
    assert density[:3].tolist() == [0.5, 0.0, 0.5] and not np.any(density[3:])
    # A grid beyond 2**31 - 1 values cannot be returned: failure, no memory
    # is asked for.
    centres, density, offset, width, ok = zefra_tdr.cpdf(
        [1e30, 1e30], [0.5, 0.5], bin_width=1.0, out_count=2)
    assert ok is False and density.tolist() == [0.0, 0.0]


def test_cpdf_non_finite_points_fail():
    for bad in (math.inf, -math.inf, math.nan):
        ok = zefra_tdr.cpdf([bad, 0.0], [0.5, 0.5], bin_width=0.1, out_count=2)[4]
        assert ok is False


def test_cpdf_leaves_inputs_unchanged():
    points = np.array([-0.31, 0.12, 0.29])
    weights = np.array([0.25, 0.25, 0.5])
    p0, w0 = points.copy(), weights.copy()
    zefra_tdr.cpdf(points, weights, bin_width=0.1, out_count=0)
    assert np.array_equal(points, p0) and np.array_equal(weights, w0)
    with pytest.raises(ValueError):
        zefra_tdr.cpdf(points, weights, bin_width=0.1, out_count=-1)
    with pytest.raises(ValueError):
        zefra_tdr.cpdf(points, weights, bin_width=0.1, out_count=2**31)
    with pytest.raises(TypeError):
        zefra_tdr.cpdf(points, weights, bin_width=0.1, out_count=1.5)


def test_cpdf_huge_negative_bin_width_with_points_on_one_index_gives_one_bin():
    # |w| >= 2**1023: the bin count underflows to one bin.  A point at -w
    # has the grid index -1, so the grid has three centres.
    centres, density, offset, width, ok = zefra_tdr.cpdf(
        [1e308], [1.0], bin_width=-1e308, out_count=0)
    assert ok and offset == -1.0 and width == -1e308
    assert centres.tolist() == [1e308, 0.0, -1e308] and density.tolist() == [1.0, 0.0, 0.0]
    centres, density, offset, _, ok = zefra_tdr.cpdf(
        [0.25, -3.0], [0.5, 0.5], bin_width=-1e308, out_count=0)
    assert ok and offset == 0.0 and centres.tolist() == [0.0] and density.size == 1


def test_cpdf_huge_negative_bin_width_with_points_on_two_indices_fails():
    centres, density, offset, _, ok = zefra_tdr.cpdf(
        [1e308, 0.0], [0.5, 0.5], bin_width=-1e308, out_count=2)
    assert ok is False and math.isnan(offset)
    assert centres.tolist() == density.tolist() == [0.0, 0.0]


def test_cpdf_bin_width_below_machine_epsilon_over_2000_fails():
    # The bin count adds 2**-52 to the range before dividing by w: a single
    # point needs 2**-52 / w < 2000.
    one_short = zefra_tdr.cpdf([0.0], [1.0], bin_width=2.0**-52 / 1999.5, out_count=0)
    assert one_short[4] is True and one_short[0].tolist() == [0.0]
    too_narrow = zefra_tdr.cpdf([0.0], [1.0], bin_width=2.0**-52 / 2000.5, out_count=1)
    assert too_narrow[4] is False and too_narrow[0].tolist() == [0.0]


def test_cpdf_grid_of_about_2_pow_31_centres_is_refused_or_fails():
    # Near 2**30 bins from zero the grid may or may not fit 2**31 - 1 values
    # (the offset is rounded to single precision): the wrapper refuses the
    # call rather than guess.  Further out the library reports failure.
    with pytest.raises(ValueError, match="2\\*\\*31 - 1"):
        zefra_tdr.cpdf([2.0**30], [1.0], bin_width=1.0, out_count=0)
    centres, density, offset, _, ok = zefra_tdr.cpdf(
        [2.0**30 + 256], [1.0], bin_width=1.0, out_count=2)
    assert ok is False and math.isnan(offset) and density.tolist() == [0.0, 0.0]
