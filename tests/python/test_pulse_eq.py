"""zefra_tdr.pulse_eq: FFE, CTLE, cursor sampling and ideal DFE on sampled
pulse responses, against closed forms."""

from __future__ import annotations

import math
import re

import numpy as np
import pytest

import zefra_tdr
from zefra_tdr import Cursors, apply_ctle, apply_dfe, apply_ffe, ctle_family, sample_cursors

# Tolerances of this file, each with its reason.  Comparisons not listed are
# exact: their inputs are dyadic (every product and sum is a double) or the
# values are copied, not computed.
TOLERANCES = {
    # CTLE: DFT of the truncated impulse response against the bilinear image
    # of the prototype, max |Y - H| / max |H|.  The response is run until the
    # slower pole's mode has decayed by 1e-20, so the truncated tail is
    # negligible; what is left is rounding in the recursion and the DFT sum
    # over a few hundred terms (worst observed 1.1e-15).
    "ctle_response_rel": 1e-13,
    # CTLE: settled step response against 10**(dc_gain_db / 20), relative.
    # The step is run until the slower mode is below 1e-16 of the level;
    # rounding in the recursion is a few ULP (worst observed 7.4e-16).
    "ctle_dc_gain_rel": 1e-13,
    # Hula-hoop on a sampled triangle: the threshold 1 - Ns / (2a) is met on
    # exactly linear flanks, so only the rounding of the threshold solve is
    # left (a few ULP of values near 1; observed 1.1e-16).
    "triangle_threshold_abs": 1e-14,
    # Hula-hoop on any pulse: the lobe width at the reported threshold is
    # 1 UI, and its midpoint the reported centre, to 1e-12 UI: the width is
    # solved exactly on one linear piece, so rounding of a few ULP of the
    # sample index (a few hundred samples) is all that remains (worst
    # observed 3.2e-14).
    "lobe_width_ui": 1e-12,
}


# ---------------------------------------------------------------------------
# FFE
# ---------------------------------------------------------------------------

NS = 8
TAPS = [-0.125, 0.75, -0.25, 0.0625]           # dyadic: every product exact


def rectangles(ui_count: int, heights: dict[int, float], ns: int = NS) -> np.ndarray:
    """Single-UI rectangles: `heights[a]` over UI `a`, 0 elsewhere."""
    p = np.zeros(ui_count * ns)
    for ui, h in heights.items():
        p[ui * ns:(ui + 1) * ns] = h
    return p


def expected_ffe(ui_count: int, heights: dict[int, float], taps, main: int) -> np.ndarray:
    """Closed form for isolated rectangles: tap j copies the rectangle of
    UI a, times c_j, into UI a + j - main (dropped outside the array)."""
    out = {}
    for ui, h in heights.items():
        for j, c in enumerate(taps):
            target = ui + j - main
            if 0 <= target < ui_count:
                assert target not in out, "rectangles overlap after the FFE"
                out[target] = h * c
    return rectangles(ui_count, out)


def test_ffe_of_isolated_rectangles_is_the_tap_weighted_sum_of_shifted_rectangles():
    heights = {5: 1.0, 14: -0.5}
    p = rectangles(24, heights)
    got = apply_ffe(p, TAPS, samples_per_ui=NS, main_tap=1)
    assert np.array_equal(got, expected_ffe(24, heights, TAPS, 1))


@pytest.mark.parametrize("main_tap", [0, 1, 2, 3])
def test_main_tap_sets_which_tap_leaves_the_pulse_in_place(main_tap):
    heights = {6: 1.0, 15: 0.5}
    p = rectangles(24, heights)
    got = apply_ffe(p, TAPS, samples_per_ui=NS, main_tap=main_tap)
    assert np.array_equal(got, expected_ffe(24, heights, TAPS, main_tap))
    # The rectangle's own UI carries the main tap's weight.
    assert np.all(got[6 * NS:7 * NS] == TAPS[main_tap])


@pytest.mark.parametrize("taps, main", [
    (TAPS, 1),                      # largest |c|
    ([0.5, -0.5, 0.25], 0),         # tie: the first
    ([0.1, 0.2, -0.3], 2),
])
def test_default_main_tap_is_the_first_largest_magnitude(taps, main):
    p = rectangles(12, {5: 1.0})
    assert np.array_equal(apply_ffe(p, taps, samples_per_ui=NS),
                          apply_ffe(p, taps, samples_per_ui=NS, main_tap=main))


def test_samples_shifted_in_from_beyond_the_array_are_zero():
    # A constant (unsettled) waveform makes the missing terms visible:
    # p_tx[n] = c0 p[n + Ns] + c1 p[n] + c2 p[n - Ns].
    c0, c1, c2 = 0.25, 1.0, -0.125
    got = apply_ffe(np.ones(5 * NS), [c0, c1, c2], samples_per_ui=NS, main_tap=1)
    expected = np.concatenate([np.full(NS, c0 + c1),            # nothing before the start
                               np.full(3 * NS, c0 + c1 + c2),
                               np.full(NS, c1 + c2)])           # nothing past the end
    assert np.array_equal(got, expected)


def test_ffe_keeps_length_and_does_not_modify_its_input():
    p = rectangles(10, {3: 1.0})
    before = p.copy()
    got = apply_ffe(p, TAPS, samples_per_ui=NS)
    assert got.shape == p.shape and np.array_equal(p, before)


# ---------------------------------------------------------------------------
# CTLE
# ---------------------------------------------------------------------------

BAUD = 10e9
CTLE_NS = 8
# (dc_gain_db, zero_hz, pole1_hz, pole2_hz)
CTLE_DESIGNS = {
    "generic": (-6.5, 1.5e9, 4e9, 20e9),
    "zero above pole": (-2.0, 6e9, 3e9, 25e9),
    # Both convert to exactly 0 dB at the zero (g = 1): 20 log10(1) = 0 and
    # -20 + 20 log10(10) = 0.
    "0 dB, zero on pole": (0.0, 4e9, 4e9, 20e9),
    "-20 dB, decade": (-20.0, 0.4e9, 4e9, 20e9),
}


def slowest_pole_radius(pole1_hz: float, pole2_hz: float, fs: float) -> float:
    """Largest |z| of the discrete poles: s = -2 pi fp maps to
    (1 - pi fp / fs) / (1 + pi fp / fs)."""
    return max(abs((1.0 - math.pi * f / fs) / (1.0 + math.pi * f / fs))
               for f in (pole1_hz, pole2_hz))


def settle_length(design, decay: float) -> int:
    _, _, fp1, fp2 = design
    r = slowest_pole_radius(fp1, fp2, BAUD * CTLE_NS)
    return int(math.log(decay) / math.log(r)) + 50


def prototype_bilinear(f_hz: np.ndarray, design) -> np.ndarray:
    """H(s) = wp2 (s + G wp1) / ((s + wp1)(s + wp2)) -- the one-zero,
    two-pole CTLE whose gain at s = 0 is G = 10**(dc_gain_db / 20) -- at
    s = 2 fs (z - 1) / (z + 1), z = exp(j 2 pi f / fs)."""
    dc_gain_db, _, fp1, fp2 = design
    fs = BAUD * CTLE_NS
    gain = 10.0 ** (dc_gain_db / 20.0)
    wp1, wp2 = 2 * np.pi * fp1, 2 * np.pi * fp2
    z = np.exp(2j * np.pi * f_hz / fs)
    s = 2 * fs * (z - 1) / (z + 1)
    return wp2 * (s + gain * wp1) / ((s + wp1) * (s + wp2))


def ctle(x, design):
    dc_gain_db, fz, fp1, fp2 = design
    return apply_ctle(x, baud_hz=BAUD, samples_per_ui=CTLE_NS, dc_gain_db=dc_gain_db,
                      zero_hz=fz, pole1_hz=fp1, pole2_hz=fp2)


@pytest.mark.parametrize("name", sorted(CTLE_DESIGNS))
def test_ctle_frequency_response_is_the_bilinear_image_of_the_prototype(name):
    design = CTLE_DESIGNS[name]
    n = settle_length(design, 1e-20)
    impulse = np.zeros(n)
    impulse[0] = 1.0
    y = ctle(impulse, design)
    assert np.max(np.abs(y[-10:])) < 1e-17            # the truncated tail is negligible
    fs = BAUD * CTLE_NS
    f = np.array([0.0, 0.05, 0.3, 1.0, 2.5, 5.0, 10.0, 20.0, 35.0, 39.9]) * 1e9
    dft = np.exp(-2j * np.pi * np.outer(f, np.arange(n)) / fs) @ y
    ref = prototype_bilinear(f, design)
    err = float(np.max(np.abs(dft - ref)) / np.max(np.abs(ref)))
    assert err <= TOLERANCES["ctle_response_rel"], f"{name}: {err:.3g}"


@pytest.mark.parametrize("name", sorted(CTLE_DESIGNS))
def test_ctle_gain_at_dc_is_the_requested_gain(name):
    design = CTLE_DESIGNS[name]
    level = 0.75
    y = ctle(np.full(settle_length(design, 1e-16), level), design)
    expected = level * 10.0 ** (design[0] / 20.0)
    err = abs(y[-1] - expected) / expected
    assert err <= TOLERANCES["ctle_dc_gain_rel"], f"{name}: {y[-1]!r} vs {expected!r}"


def test_zero_db_at_the_zero_gives_unit_g_where_the_library_would_give_none():
    # The library reads gain_db = 0.0 as g = 0 (no DC gain); a CTLE asked for
    # 0 dB at DC with fz == fp1 needs exactly that gain_db and must get g = 1.
    design = CTLE_DESIGNS["0 dB, zero on pole"]
    _, fz, fp1, fp2 = design
    step = np.ones(settle_length(design, 1e-16))
    raw = zefra_tdr.td_ctle(step, base_rate_hz=BAUD, rate_multiplier=CTLE_NS, zero_hz=fz,
                            pole1_hz=fp1, pole2_hz=fp2, gain_db=0.0)
    assert abs(raw[-1]) < 1e-12
    assert abs(ctle(step, design)[-1] - 1.0) <= TOLERANCES["ctle_dc_gain_rel"]


def test_ctle_family_has_one_row_per_gain_equal_to_a_single_call():
    rng = np.random.default_rng(61_000)
    x = np.repeat(rng.choice([-1.0, 1.0], 64), CTLE_NS)
    _, fz, fp1, fp2 = CTLE_DESIGNS["generic"]
    gains = [0.0, -3.0, -6.5, -12.0, 20.0 * math.log10(fz / fp1)]   # the last: g = 1
    family = ctle_family(x, gains, baud_hz=BAUD, samples_per_ui=CTLE_NS, zero_hz=fz,
                         pole1_hz=fp1, pole2_hz=fp2)
    assert family.shape == (len(gains), x.size)
    for row, gain in zip(family, gains):
        assert np.array_equal(row, ctle(x, (gain, fz, fp1, fp2)))


# ---------------------------------------------------------------------------
# Cursor sampling
# ---------------------------------------------------------------------------

def test_hula_hoop_on_a_triangle_centres_on_its_apex_at_the_threshold_where_it_is_1_ui_wide():
    # p = 1 - |n - c| / a on the flanks: p > v over |t - c| < a (1 - v), a
    # width of Ns when v = 1 - Ns / (2a).
    ns, a, c = 16, 24, 100
    n = np.arange(400.0)
    p = np.maximum(0.0, 1.0 - np.abs(n - c) / a)
    cur = sample_cursors(p, samples_per_ui=ns, method="hula-hoop")
    assert abs(cur.threshold - (1.0 - ns / (2 * a))) <= TOLERANCES["triangle_threshold_abs"]
    assert cur.main_index == c
    assert abs(cur.centre_ui - c / ns) <= TOLERANCES["lobe_width_ui"]
    assert cur.method == "hula-hoop"
    assert cur.main == 1.0 and np.array_equal(cur.postcursors[:2], [1.0 - ns / a, 0.0])


def raised_cosine(n: np.ndarray, centre: float, half_width: float) -> np.ndarray:
    x = (n - centre) / half_width
    return np.where(np.abs(x) < 1.0, 0.5 * (1.0 + np.cos(np.pi * x)), 0.0)


def test_hula_hoop_on_a_raised_cosine_centred_on_a_sample_crosses_at_samples():
    # With Ns even the lobe edges c +- Ns/2 are samples, where linear
    # interpolation is exact: the threshold is p(c + Ns/2) itself.
    ns, c, half_width = 16, 120, 20.0
    p = raised_cosine(np.arange(300.0), c, half_width)
    cur = sample_cursors(p, samples_per_ui=ns, method="hula-hoop")
    assert cur.threshold == p[c + ns // 2] == 0.5 * (1.0 + math.cos(math.pi * 8 / 20))
    assert cur.main_index == c and cur.centre_ui == c / ns


def test_hula_hoop_keeps_a_centre_between_samples_and_rounds_its_index_up():
    # Centre at 120.5: the edges 112.5 and 128.5 fall halfway between
    # samples, so the threshold is the mean of the two samples around each
    # edge (equal on both sides by symmetry).
    ns, c, half_width = 16, 120.5, 20.0
    n = np.arange(300.0)
    p = raised_cosine(n, c, half_width)
    cur = sample_cursors(p, samples_per_ui=ns, method="hula-hoop")
    assert cur.centre_ui * ns == pytest.approx(c, abs=1e-12 * ns)
    assert cur.main_index == 121
    assert cur.threshold == pytest.approx(0.5 * (p[112] + p[113]), abs=1e-15)


def lobe_edges(p: np.ndarray, v: float) -> tuple[float, float]:
    """Crossings of v on the strictly rising and strictly falling flanks of
    a single-humped pulse, by numpy's linear interpolation."""
    m = int(np.argmax(p))
    idx = np.arange(p.size, dtype=np.float64)
    left = np.interp(v, p[:m + 1], idx[:m + 1])
    right = np.interp(v, p[m:][::-1], idx[m:][::-1])
    return float(left), float(right)


@pytest.mark.parametrize("ns, shape, tau", [(8, 3.0, 1.2), (16, 2.0, 0.7), (5, 4.0, 0.9),
                                            (32, 1.5, 2.5), (1, 3.0, 3.0)])
def test_hula_hoop_lobe_is_1_ui_wide_on_an_asymmetric_pulse(ns, shape, tau):
    # A gamma-like pulse t**shape exp(-t / tau) (t in UI, half a sample
    # off 0 so that both flanks are strictly monotone): a slow tail, a fast
    # rise, the centre away from the peak.
    t = (np.arange(40 * ns) + 0.5) / ns
    p = t**shape * np.exp(-t / tau)
    p /= p.max()
    cur = sample_cursors(p, samples_per_ui=ns, method="hula-hoop")
    left, right = lobe_edges(p, cur.threshold)
    width_err = abs((right - left) / ns - 1.0)
    centre_err = abs(0.5 * (left + right) / ns - cur.centre_ui)
    assert width_err <= TOLERANCES["lobe_width_ui"]
    assert centre_err <= TOLERANCES["lobe_width_ui"]
    assert cur.main_index == math.floor(cur.centre_ui * ns + 0.5)


def test_peak_method_samples_every_ui_from_the_largest_sample():
    ns, m = 4, 22
    rng = np.random.default_rng(62_000)
    p = rng.uniform(-0.2, 0.5, 61)
    p[m] = 1.0
    cur = sample_cursors(p, samples_per_ui=ns)
    assert (cur.method, cur.main_index, cur.centre_ui, cur.threshold) == ("peak", m, m / ns, None)
    # Defaults: every whole UI before (22 // 4 = 5) and after (38 // 4 = 9).
    assert (cur.pre, cur.post) == (5, 9)
    assert np.array_equal(cur.values, p[m - 5 * ns:m + 9 * ns + 1:ns])
    assert cur.main == 1.0
    assert np.array_equal(cur.precursors, p[[2, 6, 10, 14, 18]])
    assert np.array_equal(cur.postcursors, p[m + ns::ns])


def test_peak_method_takes_the_first_of_equal_maxima():
    p = np.array([0.0, 0.5, 1.0, 0.25, 1.0, 0.0])
    assert sample_cursors(p, samples_per_ui=1).main_index == 2


def test_default_precursors_stop_at_32_and_explicit_counts_are_kept():
    ns = 2
    p = np.zeros(200)
    p[150] = 1.0
    assert sample_cursors(p, samples_per_ui=ns).pre == 32          # 75 would fit
    cur = sample_cursors(p, samples_per_ui=ns, pre=75, post=3)
    assert (cur.pre, cur.post, cur.values.size) == (75, 3, 79)


def test_cursors_are_read_only():
    cur = sample_cursors([0.0, 1.0, 0.5, 0.25], samples_per_ui=1)
    with pytest.raises(ValueError):
        cur.values[0] = 2.0
    with pytest.raises(AttributeError):
        cur.pre = 0


# ---------------------------------------------------------------------------
# DFE
# ---------------------------------------------------------------------------

def cursors(values, pre: int) -> Cursors:
    return Cursors(np.asarray(values, dtype=np.float64), pre, len(values) - pre - 1,
                   main_index=pre, method="peak", centre_ui=float(pre))


def test_fixed_taps_remove_cursors_within_the_limit_and_clip_larger_ones():
    # h_0 = 2 and limit 0.5: each tap reaches +-1.  Dyadic values: exact.
    before = cursors([0.0625, 2.0, 0.75, -0.25, 1.5, -1.25, 0.125, 0.03125], pre=1)
    result = apply_dfe(before, taps=5, limit=0.5)
    assert np.array_equal(result.positions, [1, 2, 3, 4, 5])
    d = np.array([0.75, -0.25, 1.0, -1.0, 0.125])
    assert np.array_equal(result.weights, d / 2.0)
    assert np.array_equal(result.after.values,
                          [0.0625, 2.0, 0.0, 0.0, 0.5, -0.25, 0.0, 0.03125])
    assert result.before is before
    assert (result.after.pre, result.after.post, result.after.main_index) == (1, 6, 1)


def test_tap_limit_scales_with_the_magnitude_of_a_negative_main_cursor():
    before = cursors([-2.0, 1.5, -0.5], pre=0)
    result = apply_dfe(before, taps=2, limit=0.5)
    assert np.array_equal(result.after.values, [-2.0, 0.5, 0.0])
    assert np.array_equal(result.weights, [-0.5, 0.25])        # d_k / h_0


def test_no_taps_leave_the_cursors_unchanged():
    before = cursors([0.1, 1.0, 0.3, 0.2], pre=1)
    result = apply_dfe(before)
    assert result.positions.size == 0 and result.weights.size == 0
    assert np.array_equal(result.after.values, before.values)


def pulse_with_reflections(ns: int, reflections: dict[int, float]) -> np.ndarray:
    """A triangle 1 UI either side of its apex (so h_{+-1} = 0) with smaller
    copies k UI later, and a weak smooth tail."""
    n = np.arange(60 * ns, dtype=np.float64)
    c = 3 * ns
    p = np.maximum(0.0, 1.0 - np.abs(n - c) / ns)
    for k, a in reflections.items():
        p += a * np.maximum(0.0, 1.0 - np.abs(n - c - k * ns) / ns)
    p += 0.02 * np.exp(-np.maximum(n - c - ns, 0.0) / (4.0 * ns)) * (n > c + ns)
    return p


def test_floating_taps_land_on_the_largest_isolated_reflections():
    reflections = {9: 0.2, 23: -0.15, 37: 0.05}
    before = sample_cursors(pulse_with_reflections(8, reflections), samples_per_ui=8)
    result = apply_dfe(before, floating=dict(groups=2, taps_per_group=1), limit=0.5)
    assert np.array_equal(result.positions, [9, 23])
    k = np.arange(-before.pre, before.post + 1)
    hit = np.isin(k, [9, 23])
    assert np.all(result.after.values[hit] == 0.0)               # within the limit
    assert np.array_equal(result.after.values[~hit], before.values[~hit])
    assert np.array_equal(result.weights, before.values[before.pre + np.array([9, 23])])


def test_floating_groups_skip_fixed_taps_and_both_sets_are_kept():
    # h_1 and h_2 are the largest post-cursors; fixed taps take them, and the
    # one floating group, searching from 1, goes to the reflection at 6.
    before = cursors([1.0, 0.5, 0.4, 0.01, 0.0, 0.0, 0.2, 0.01, 0.0], pre=0)
    result = apply_dfe(before, taps=2, floating=dict(groups=1, search_start=1), limit=1.0)
    assert np.array_equal(result.positions, [1, 2, 6])
    assert np.array_equal(result.after.values, [1.0, 0.0, 0.0, 0.01, 0.0, 0.0, 0.0, 0.01, 0.0])


def test_a_floating_group_covers_consecutive_positions_inside_its_search_range():
    values = np.zeros(21)
    values[0] = 1.0
    values[[3, 12, 13, 14]] = [0.3, 0.1, 0.25, 0.1]
    before = cursors(values, pre=0)
    result = apply_dfe(before, floating=dict(groups=1, taps_per_group=3, search_start=8,
                                             search_end=20))
    assert np.array_equal(result.positions, [12, 13, 14])      # h_3 lies outside the range
    assert result.after.values[3] == 0.3


def test_floating_taps_find_nothing_to_cancel_with_a_zero_limit():
    before = cursors([1.0, 0.3, 0.2], pre=0)
    result = apply_dfe(before, floating=dict(groups=2), limit=0.0)
    assert result.positions.size == 0
    assert np.array_equal(result.after.values, before.values)


# ---------------------------------------------------------------------------
# Bad input
# ---------------------------------------------------------------------------

GOOD_CTLE = dict(baud_hz=BAUD, samples_per_ui=8, dc_gain_db=-3.0, zero_hz=1e9,
                 pole1_hz=2e9, pole2_hz=2e10)
FAMILY_CTLE = {k: v for k, v in GOOD_CTLE.items() if k != "dc_gain_db"}
TRIANGLE = np.maximum(0.0, 1.0 - np.abs(np.arange(60.0) - 20) / 12)
SMALL = cursors([0.1, 1.0, 0.3, 0.2], pre=1)


def with_valley() -> np.ndarray:
    # A main lobe 0.5 UI wide above 0.2 next to a shoulder at 0.5: below
    # 0.2 the lobe takes in the shoulder and is wider than 1 UI.
    return np.array([0, 0, 0.5, 0.5, 0.5, 0.5, 0.5, 0.2, 0.6, 1.0, 0.6, 0.2, 0, 0, 0, 0,
                     0, 0, 0, 0, 0, 0, 0, 0.0])


BAD_CALLS = {
    "waveform not finite": (lambda: apply_ffe([0.0, 1.0, 0.5, np.nan], [1.0], samples_per_ui=1),
                            r"waveform\[3\] = nan is not finite"),
    "empty taps": (lambda: apply_ffe([1.0], [], samples_per_ui=1), "taps is empty"),
    "empty waveform": (lambda: apply_ffe([], [1.0], samples_per_ui=1), "waveform is empty"),
    "2-D waveform": (lambda: apply_ffe(np.ones((2, 3)), [1.0], samples_per_ui=1),
                     "waveform must be one-dimensional"),
    "complex taps": (lambda: apply_ffe([1.0], [1j], samples_per_ui=1), "taps must be real"),
    "Ns zero": (lambda: apply_ffe([1.0], [1.0], samples_per_ui=0),
                "samples_per_ui = 0 must be >= 1"),
    "Ns not whole": (lambda: apply_ffe([1.0], [1.0], samples_per_ui=2.5),
                     "samples_per_ui must be an integer"),
    "main tap past the taps": (lambda: apply_ffe([1.0], [1.0, 0.5], samples_per_ui=1, main_tap=2),
                               "main_tap = 2 is not an index of the 2 taps"),
    "zero frequency 0": (lambda: apply_ctle([1.0], **{**GOOD_CTLE, "zero_hz": 0.0}),
                         "zero_hz = 0.0 must be > 0"),
    "baud infinite": (lambda: apply_ctle([1.0], **{**GOOD_CTLE, "baud_hz": np.inf}),
                      "baud_hz = inf is not finite"),
    "dc gain NaN": (lambda: apply_ctle([1.0], **{**GOOD_CTLE, "dc_gain_db": np.nan}),
                    "dc_gain_db = nan is not finite"),
    "dc gain overflows": (lambda: apply_ctle([1.0], **{**GOOD_CTLE, "dc_gain_db": 1e4}),
                          "whose factor g"),
    "family without gains": (lambda: ctle_family([1.0], [], **FAMILY_CTLE),
                             "dc_gains_db is empty"),
    "family gain infinite": (lambda: ctle_family([1.0], [0.0, -np.inf], **FAMILY_CTLE),
                             r"dc_gains_db\[1\] = -inf is not finite"),
    "unknown method": (lambda: sample_cursors(TRIANGLE, samples_per_ui=4, method="median"),
                       "method = 'median' is not one of"),
    "too many precursors": (lambda: sample_cursors(TRIANGLE, samples_per_ui=4, pre=6),
                            "pre = 6 precursors reach before the start of the pulse: 5 fit"),
    "too many post-cursors": (lambda: sample_cursors(TRIANGLE, samples_per_ui=4, post=10),
                              "post = 10 post-cursors reach past the end of the pulse: 9 fit"),
    "negative precursors": (lambda: sample_cursors(TRIANGLE, samples_per_ui=4, pre=-1),
                            "pre = -1 must be >= 0"),
    "peak at the end": (lambda: sample_cursors(np.arange(10.0), samples_per_ui=2,
                                               method="hula-hoop"),
                        "peaks at its last sample"),
    "lobe narrower than 1 UI": (lambda: sample_cursors(TRIANGLE, samples_per_ui=30,
                                                       method="hula-hoop"),
                                "at most 0.8 UI wide"),
    "width jumps past 1 UI": (lambda: sample_cursors(with_valley(), samples_per_ui=8,
                                                     method="hula-hoop"),
                              r"width jumps from 1\.2 UI to 0\.5 UI at the threshold 0\.2 "),
    "flat top wider than 1 UI": (lambda: sample_cursors([0, 1, 1, 1, 1, 1, 0, 0], samples_per_ui=2,
                                                        method="hula-hoop"),
                                 "stays at its peak over 2.0 UI"),
    "not cursors": (lambda: apply_dfe([1.0, 0.5]), "cursors must be a Cursors"),
    "zero main cursor": (lambda: apply_dfe(cursors([0.1, 0.0, 0.3], pre=1), taps=1),
                         "main cursor h_0 is 0"),
    "taps past the cursors": (lambda: apply_dfe(SMALL, taps=3),
                              "taps = 3 fixed taps but only 2 post-cursors"),
    "negative limit": (lambda: apply_dfe(SMALL, taps=1, limit=-0.5), "limit = -0.5 must be >= 0"),
    "floating key unknown": (lambda: apply_dfe(SMALL, floating=dict(groups=1, span=3)),
                             r"floating has unknown keys \['span'\]"),
    "floating without groups": (lambda: apply_dfe(SMALL, floating=dict(taps_per_group=1)),
                                "floating needs 'groups'"),
    "floating search past the end": (lambda: apply_dfe(SMALL, floating=dict(groups=1,
                                                                            search_end=3)),
                                     r"floating\['search_end'\] = 3 is past the last"),
    "floating group wider than the range": (
        lambda: apply_dfe(SMALL, floating=dict(groups=1, taps_per_group=3)),
        "search range 1..2 is narrower than a group of 3 taps"),
    "cursor count mismatch": (lambda: Cursors(np.ones(3), 1, 2, 1, "peak", 0.25),
                              "values holds 3 cursors; pre = 1 and post = 2 need 4"),
}


@pytest.mark.parametrize("name", sorted(BAD_CALLS))
def test_bad_input_raises_value_error_naming_the_problem(name):
    call, message = BAD_CALLS[name]
    with pytest.raises(ValueError, match=message):
        call()
