"""zefra_tdr.statistical_eye against closed forms: Gaussian noise without
ISI (NRZ eye height, M-PAM symbol error rate), a channel whose ISI is
exactly uniform, and dual-Dirac jitter on an ideal rectangular pulse."""

from __future__ import annotations

import numpy as np
import pytest
from scipy.optimize import brentq

from test_stat_eye_oracle import (dual_dirac_exceed, q_inverse, symbol_levels, uniform_isi_ber,
                                  upper_tail)
from zefra_tdr import statistical_eye

# Tolerances of this file, each with its reason.
TOLERANCES = {
    # No ISI: the map is sums of exact Gaussian tails, so only the read-out's
    # log-linear interpolation between lattice points remains.  With
    # sigma = 100 bins, log BER bends by z_step^2 ~ 1e-4 per bin^2 against a
    # slope of ~0.07 per bin: the crossing moves by < 1e-3 bin.  Given in
    # bins of the lattice.
    "no_isi_height_bins": 0.01,
    # The map is a sum of Q terms evaluated by the engine: relative.
    "gaussian_ber_rel": 1e-12,
    # The engine takes Gaussian terms beyond |z| = 11.5 as exactly 0 or 1
    # (noise and jitter alike): an absolute error below 1e-30.
    "gaussian_cut_abs": 1e-30,
    # Jitter: the engine reads the width from log10 BER interpolated linearly
    # between whole-sample phases; with RJ = 1.92 samples the Gaussian tail's
    # log bends by ~(1/1.92)^2 per sample^2 against a slope of ~3.6 per
    # sample at 1e-12, so each edge moves by < 0.02 sample.  In UI: 0.05
    # sample per edge, both edges.
    "jitter_width_ui": 2 * 0.05 / 64,
}


def test_no_isi_nrz_eye_height_and_contour_follow_sigma_q_from_1e_3_to_1e_17():
    amplitude, sigma = 0.4, 0.04                     # sigma = 100 bins
    eye = statistical_eye([amplitude], 1, noise_rms=sigma)
    for target in (1e-3, 1e-6, 1e-9, 1e-12, 1e-15, 1e-17):
        textbook = 2.0 * (amplitude - sigma * q_inverse(2.0 * target))
        # The exact edge also counts the far level's tail (about Q(19)).
        edge = brentq(lambda v: 0.5 * (upper_tail((amplitude - v) / sigma)
                                       + upper_tail((amplitude + v) / sigma)) - target,
                      0.0, amplitude, xtol=1e-15, rtol=1e-15)
        assert textbook == pytest.approx(2.0 * edge, rel=1e-12)
        height = eye.eye_height(target)[0]
        assert abs(height - 2.0 * edge) <= TOLERANCES["no_isi_height_bins"] * eye.bin_v
        # The contour at the target is the pair of edges -edge, +edge.
        low, high = eye.contour(target)
        tolerance = TOLERANCES["no_isi_height_bins"] * eye.bin_v
        assert abs(low[0, 0] + edge) <= tolerance and abs(high[0, 0] - edge) <= tolerance


def test_no_isi_ber_map_is_the_gaussian_tail_pair():
    amplitude, sigma = 0.4, 0.05
    eye = statistical_eye([amplitude], 1, noise_rms=sigma)
    v = eye.voltages
    expected = 0.5 * (upper_tail((v + amplitude) / sigma) + upper_tail((amplitude - v) / sigma))
    np.testing.assert_allclose(eye.ber[0, 0], expected, rtol=TOLERANCES["gaussian_ber_rel"],
                               atol=1e-300)


@pytest.mark.parametrize("levels", [4, 8])
def test_pam_symbol_error_rate_at_midpoints_is_2_m_minus_1_over_m_q(levels):
    # Levels a h0 spaced 2 d apart (d = h0 / (M - 1)); slicing at the
    # midpoints, SER = sum over the eyes of BER_i = 2 (M-1)/M Q(d / sigma).
    # d = 0.1 V puts every midpoint (an odd multiple of d) on the lattice.
    d, bin_v = 0.1, 1e-3
    h0 = d * (levels - 1)
    sigma = d / q_inverse(1e-6)
    eye = statistical_eye([h0], 1, levels=levels, noise_rms=sigma, bin_v=bin_v)
    a = symbol_levels(levels)
    ser = 0.0
    for i in range(levels - 1):
        midpoint = 0.5 * (a[i] + a[i + 1]) * h0
        m = int(np.argmin(np.abs(eye.voltages - midpoint)))
        assert abs(eye.voltages[m] - midpoint) < 1e-12
        ser += eye.ber[i, 0, m]
    assert ser == pytest.approx(2.0 * (levels - 1) / levels * upper_tail(d / sigma), rel=1e-9)


def test_pam4_eye_height_carries_the_one_over_m_weighting():
    # Each eye's edge: (1/M) Q((d - v') / sigma) = t, so EH = 2 (d - sigma Q^-1(M t)).
    h0, sigma, target = 0.6, 0.01, 1e-12
    d = h0 / 3
    eye = statistical_eye([h0], 1, levels=4, noise_rms=sigma)
    expected = 2.0 * (d - sigma * q_inverse(4 * target))
    np.testing.assert_allclose(eye.eye_height(target), expected,
                               atol=TOLERANCES["no_isi_height_bins"] * eye.bin_v, rtol=0)


# ---------------------------------------------------------------------------
# Uniform ISI: post-cursors halving from h_1 (a first-order RC channel with
# T = RC ln 2) make sum_k a_k h_k uniform on (-2 h_1, 2 h_1).
# ---------------------------------------------------------------------------

RC_H0, RC_H1, RC_CURSORS = 1.0, 0.2, 40


def rc_cursors() -> np.ndarray:
    return np.concatenate([[RC_H0], RC_H1 * 0.5 ** np.arange(RC_CURSORS)])


@pytest.mark.parametrize("sigma", [0.0, 0.03])
def test_uniform_isi_ber_lies_in_the_lattice_bracket(sigma):
    eye = statistical_eye(rc_cursors(), 1, noise_rms=sigma)
    v = eye.voltages
    # 40 cursors: the ISI sits within 40 bins of its exact value; the sum
    # stops after 40 of the infinitely many halvings, which moves it by at
    # most 2 h_1 2^-40 more.
    reach = RC_CURSORS * eye.bin_v * (1 + 1e-9) + 2 * RC_H1 * 2.0**-RC_CURSORS
    upper = uniform_isi_ber(RC_H0, 2 * RC_H1, v, sigma, shift=reach)
    lower = uniform_isi_ber(RC_H0, 2 * RC_H1, v, sigma, shift=-reach)
    ber = eye.ber[0, 0]
    assert np.all(ber <= upper * (1 + 1e-9) + 1e-300)
    assert np.all(ber >= lower * (1 - 1e-9) - TOLERANCES["gaussian_cut_abs"])


def test_uniform_isi_eye_height_is_within_a_bin_of_the_closed_form():
    # The bracket allows 40 bins; splitting keeps each cursor's mean, so the
    # lattice only widens the ISI by its rounding variance (< 1 bin of shift
    # at 1e-12 here).  Measured: see the assertion message.
    sigma, target = 0.03, 1e-12
    eye = statistical_eye(rc_cursors(), 1, noise_rms=sigma)
    edge = brentq(lambda v: uniform_isi_ber(RC_H0, 2 * RC_H1, v, sigma) - target, 0.0, RC_H0,
                  xtol=1e-15)
    error_bins = abs(eye.eye_height(target)[0] - 2 * edge) / eye.bin_v
    assert error_bins < 1.0, f"eye height off by {error_bins:.3g} bins"


# ---------------------------------------------------------------------------
# Dual-Dirac jitter on an ideal 1-UI rectangle
# ---------------------------------------------------------------------------

NS = 64


def rectangle_pulse() -> tuple[np.ndarray, int]:
    """A 1 V rectangle over the middle UI of three, and its centre sample."""
    p = np.zeros(3 * NS)
    p[NS:2 * NS] = 1.0
    return p, NS + NS // 2


def test_dual_dirac_eye_width_is_one_less_the_exact_total_jitter():
    # Without noise, at |v| < 1 the sample taken x samples from the centre is
    # right inside the UI (x = -32 .. 31) and, outside it, shows a
    # neighbouring symbol, wrong with probability 1/2 (i.i.d. data).  The map
    # is the mixture over whole-sample offsets tau with the mass of f_J on
    # [tau - 1/2, tau + 1/2), so at phase x:
    #   BER(x) = 1/2 [P(64 J >= 31.5 - x) + P(64 J < -32.5 - x)].
    # The open phases lie between x_l = -32.5 + 64 u and x_r = 31.5 - 64 u
    # with 1/2 P(J >= u) = t: the width is 1 - 2u UI, TJ_exact = 2u.
    dj, rj, target = 0.1, 0.03, 1e-12
    p, centre = rectangle_pulse()
    eye = statistical_eye(p, NS, centre=centre, dj_ui=dj, rj_ui=rj)
    u = brentq(lambda x: 0.5 * dual_dirac_exceed(x, dj, rj) - target, 0.0, 1.0, xtol=1e-15)
    tj_exact = 2.0 * u
    assert abs(eye.eye_width(target)[0] - (1.0 - tj_exact)) <= TOLERANCES["jitter_width_ui"]
    # The datasheet's TJ = DJ + 2 Q(BER) RJ (2 Q = 14.069 at 1e-12) counts
    # one Gaussian tail at the full BER; 13.874 folds a transition density of
    # 1/2 into it (Q(2 BER)).  Here each edge sees half a Dirac pair and half
    # the symbols changing, so TJ_exact is DJ + 2 Q(4 BER) RJ to within the
    # far Dirac's tail:
    assert 2 * q_inverse(target) == pytest.approx(14.069, abs=5e-4)
    assert 2 * q_inverse(2 * target) == pytest.approx(13.874, abs=5e-4)
    assert tj_exact == pytest.approx(dj + 2 * q_inverse(4 * target) * rj, rel=1e-9)


def test_dual_dirac_ber_at_each_phase_is_the_binned_jitter_mass():
    dj, rj = 0.1, 0.03
    p, centre = rectangle_pulse()
    eye = statistical_eye(p, NS, centre=centre, dj_ui=dj, rj_ui=rj)
    x = np.round(eye.phases_ui * NS)
    # f_J is symmetric: P(64 J < -32.5 - x) = P(J >= (32.5 + x) / 64).
    expected = 0.5 * (dual_dirac_exceed((31.5 - x) / NS, dj, rj)
                      + dual_dirac_exceed((32.5 + x) / NS, dj, rj))
    at_zero = eye.ber[0, :, int(np.argmin(np.abs(eye.voltages)))]
    # The mixture weights are Gaussian masses cut at 11.5 RJ.
    np.testing.assert_allclose(at_zero, expected, rtol=TOLERANCES["gaussian_ber_rel"],
                               atol=TOLERANCES["gaussian_cut_abs"])
