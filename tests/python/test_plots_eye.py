"""Plots of the statistical eye, its bathtubs and the channel loss: each
returns the Axes it drew on, with labelled axes, and draws the curves of
closed forms where the model has them (an eye without ISI and Gaussian
noise; a matched lossy line)."""

from __future__ import annotations

import math

import numpy as np
import pytest
from scipy.special import erfcinv

import zefra_tdr
from zefra_tdr.stat_eye import statistical_eye

plt = pytest.importorskip("matplotlib.pyplot")

NS = 8
H = NS // 2
TARGET = 1e-6

# Tolerances, each with its reason.
TOL = {
    # Contour edges come from log10 BER interpolated linearly between
    # lattice points; a Gaussian tail's chord error over one step is far
    # below a step, so one lattice step (mV) bounds it.
    "edge_steps": 1.0,
    # BER read at a lattice point: the noise is applied analytically at
    # read-out (no lattice error for a single-cursor eye); 1e-12 relative
    # covers the CDF's rounding.
    "ber_rel": 1e-12,
    # |S21| of the line in dB against the closed form; 1e-9 dB is the
    # rounding of exp and log.
    "loss_db": 1e-9,
}


def q_inverse(p):
    """Q^-1(p): 1/2 erfc(Q / sqrt 2) = p."""
    return np.sqrt(2.0) * erfcinv(2.0 * p)


def rectangle(amplitude):
    """A 1-UI rectangle of NS samples preceded and followed by zeros, and
    the centre that puts phases -H .. H-1 on it (phase +H falls just
    past its end: the eye is closed there, the previous symbol alone)."""
    p = np.zeros(4 * NS)
    p[NS:2 * NS] = amplitude
    return p, NS + H


@pytest.fixture
def axes():
    figure, ax = plt.subplots()
    yield ax
    plt.close(figure)


def _line(ax, gid):
    (line,) = [l for l in ax.get_lines() if l.get_gid() == gid]
    return np.asarray(line.get_xdata(), float), np.asarray(line.get_ydata(), float)


@pytest.mark.parametrize("levels, amplitude, sigma", [(2, 0.5, 0.02), (4, 0.6, 0.01)])
def test_target_contours_lie_where_the_readout_and_the_closed_form_put_them(
        axes, levels, amplitude, sigma):
    """Without ISI, eye i's edges are a level plus or minus sigma Q^-1(M
    BER): near level a the BER_i is (1/M) Q(|v - a A| / sigma), the other
    level's term being negligible."""
    pulse, centre = rectangle(amplitude)
    eye = statistical_eye(pulse, NS, levels=levels, noise_rms=sigma, centre=centre)
    ax = zefra_tdr.plot_statistical_eye(eye, TARGET, ax=axes)
    assert ax is axes
    assert ax.get_xlabel() == "Phase (UI)" and ax.get_ylabel() == "Voltage (mV)"
    readout = eye.readout(TARGET)
    d = sigma * q_inverse(levels * TARGET)
    symbols = np.linspace(-1.0, 1.0, levels)
    for i in range(levels - 1):
        phases, low = _line(ax, f"target-low-{i}")
        _, high = _line(ax, f"target-high-{i}")
        np.testing.assert_array_equal(phases, eye.phases_ui)
        np.testing.assert_array_equal(low, readout.contour_low_v[i] * 1e3)
        np.testing.assert_array_equal(high, readout.contour_high_v[i] * 1e3)
        step_mv = TOL["edge_steps"] * eye.bin_v * 1e3
        open_ = slice(0, NS)  # phases -H .. H-1
        np.testing.assert_allclose(low[open_], (symbols[i] * amplitude + d) * 1e3,
                                   atol=step_mv, rtol=0)
        np.testing.assert_allclose(high[open_], (symbols[i + 1] * amplitude - d) * 1e3,
                                   atol=step_mv, rtol=0)
        assert np.isnan(low[-1]) and np.isnan(high[-1])


def test_statistical_eye_draws_its_own_axes_and_a_colour_bar():
    pulse, centre = rectangle(0.5)
    eye = statistical_eye(pulse, NS, levels=2, noise_rms=0.02, centre=centre)
    ax = zefra_tdr.plot_statistical_eye(eye, TARGET)
    try:
        assert len(ax.figure.axes) == 2  # the eye and its colour bar
        assert ax.figure.axes[1].get_ylabel() == "log10 BER"
    finally:
        plt.close(ax.figure)


def test_vertical_bathtub_at_zero_volts_is_q_of_the_level_over_sigma(axes):
    """NRZ without ISI, threshold 0: BER = 1/2 [Q(A/s) + Q(A/s)] = Q(A/s)."""
    amplitude, sigma = 0.1, 0.02  # A / sigma = 5: Q = 2.87e-7
    pulse, centre = rectangle(amplitude)
    eye = statistical_eye(pulse, NS, levels=2, noise_rms=sigma, centre=centre)
    ax = zefra_tdr.plot_vertical_bathtub(eye, TARGET, ax=axes)
    assert ax is axes
    assert ax.get_xlabel() == "Voltage (mV)" and ax.get_ylabel() == "BER"
    assert ax.get_yscale() == "log"
    v_mv, ber = (np.asarray(a, float) for a in ax.get_lines()[0].get_data())
    zero = int(np.argmin(np.abs(v_mv)))
    assert v_mv[zero] == 0.0
    expected = 0.5 * math.erfc(amplitude / sigma / math.sqrt(2.0))
    assert ber[zero] == pytest.approx(expected, rel=TOL["ber_rel"])
    target_line = ax.get_lines()[-1]
    assert set(target_line.get_ydata()) == {TARGET}


def test_horizontal_bathtub_is_one_half_where_the_previous_symbol_alone_is_seen(axes):
    """At phase +H the sample falls past the rectangle: y = a_{-1} A + N,
    independent of a_0, so each conditional error is 1/2 at v* = 0."""
    pulse, centre = rectangle(0.5)
    eye = statistical_eye(pulse, NS, levels=2, noise_rms=0.02, centre=centre)
    ax = zefra_tdr.plot_horizontal_bathtub(eye, TARGET, ax=axes)
    assert ax is axes
    assert ax.get_xlabel() == "Phase (UI)" and ax.get_ylabel() == "BER"
    assert ax.get_yscale() == "log"
    lowest, at_threshold = ax.get_lines()[0], ax.get_lines()[1]
    assert at_threshold.get_ydata()[-1] == pytest.approx(0.5, rel=TOL["ber_rel"])
    assert lowest.get_ydata()[-1] == pytest.approx(0.5, rel=TOL["ber_rel"])
    # Inside the eye the smallest BER is far below the target.
    assert lowest.get_ydata()[H] < TARGET


def test_channel_loss_is_the_matched_lines_attenuation_with_nyquist_marked(axes):
    """A matched line: |S21| = exp(-L (a0 + a1 sqrt fG + a2 fG)), in dB
    -20 log10(e) L (...)."""
    f = np.arange(1, 401) * 1e8
    a = (0.0, 0.02, 0.01)
    line = zefra_tdr.line(f, length=10.0, delay_ns_per_unit=0.1, loss_np_per_unit=a)
    ax = zefra_tdr.plot_channel_loss(line, baud_hz=25e9, ax=axes)
    assert ax is axes
    assert ax.get_xlabel() == "Frequency (GHz)" and ax.get_ylabel() == "|S21| (dB)"
    f_ghz, db = (np.asarray(x, float) for x in ax.get_lines()[0].get_data())
    fg = f / 1e9
    expected = -20.0 * np.log10(np.e) * 10.0 * (a[1] * np.sqrt(fg) + a[2] * fg)
    np.testing.assert_allclose(f_ghz, fg)
    np.testing.assert_allclose(db, expected, atol=TOL["loss_db"], rtol=0)
    nyquist = [l for l in ax.get_lines() if "Nyquist" in l.get_label()]
    assert len(nyquist) == 1 and set(nyquist[0].get_xdata()) == {12.5}
    loss = float(np.interp(12.5, fg, expected))
    assert f"{loss:.1f} dB" in nyquist[0].get_label()


def test_differential_channel_loss_is_labelled_sdd21(axes):
    net = zefra_tdr.default_channel()
    ax = zefra_tdr.plot_channel_loss(net, baud_hz=53.125e9, order="1-3/2-4", ax=axes)
    assert ax.get_ylabel() == "|SDD21| (dB)"
