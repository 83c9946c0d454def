"""Time-domain views: a trace's step response and TDR impedance profile
(plot kinds "step" and "tdr"), and the pulse plot."""

from __future__ import annotations

import numpy as np
import pytest

import zefra_tdr
from zefra_tdr.plots_time import trace_step

F = np.arange(0, 2001) * 2.5e7  # 0 .. 50 GHz


def test_tdr_of_a_75_ohm_section_reads_75_ohm_for_its_round_trip():
    """A lossless 75-ohm line of 0.5 ns between 50-ohm ports: the incident
    step first meets Gamma = (75 - 50)/(75 + 50) = 0.2, so Z = 75 ohm until
    the far end's reflection returns after the 1 ns round trip.  The
    50 GHz band and the raised-cosine window round the edges over tens of
    ps; in the middle of the plateau Z is 75 ohm within 0.1 %."""
    section = zefra_tdr.line(F, length=1.0, delay_ns_per_unit=0.5, z_line_ohm=75.0)
    figure = zefra_tdr.plot_network(section, ["S11"], kinds=("tdr",))
    t, z = (np.asarray(a) for a in figure.axes[0].get_lines()[0].get_data())
    import matplotlib.pyplot as plt

    plt.close(figure)
    plateau = (t > 0.2) & (t < 0.8)  # ns
    np.testing.assert_allclose(z[plateau], 75.0, rtol=1e-3)
    assert figure.axes[0].get_xlabel() == "Time (ns)"


def test_the_step_of_a_matched_line_rises_at_its_delay_and_settles_to_one():
    """S21 = e^{-j w 0.3 ns}: the unit incident step arrives at 0.3 ns.  The
    window's rise is symmetric about the delay, so the step crosses 1/2 there
    (to one 2.5 ps sample).  The window's time response rings with tails
    that fall as 1/t^3: 0.2 ns after the edge they are below 1e-5 (9e-6
    measured), so the step is 1 within 2e-5 from there on."""
    line = zefra_tdr.line(F, length=1.0, delay_ns_per_unit=0.3)
    t, step = trace_step(F, line.s[:, 1, 0], 50.0)
    crossing = t[np.argmax(step > 0.5)]
    assert crossing == pytest.approx(0.3e-9, abs=2.6e-12)
    np.testing.assert_allclose(step[t > 0.5e-9], 1.0, atol=2e-5)
    np.testing.assert_allclose(step[t < 0.1e-9], 0.0, atol=2e-5)


def test_the_pulse_plot_marks_the_cursors_and_shades_the_dfe_taps():
    pytest.importorskip("matplotlib")
    f = np.arange(1, 2001) * 2.5e7
    line = zefra_tdr.line(f, length=50.0, delay_ns_per_unit=0.0066,
                          loss_np_per_unit=(0.0, 0.002, 0.001))
    r = zefra_tdr.pulse_response(line, baud_hz=25e9, samples_per_ui=16)
    eq = zefra_tdr.equalize(r, dfe_taps=3)
    figure = zefra_tdr.plot_pulse(r, eq)
    import matplotlib.pyplot as plt

    labels = figure.axes[0].get_legend_handles_labels()[1]
    shaded = len(figure.axes[0].collections)
    plt.close(figure)
    assert "cursors" in labels and "cancelled by the DFE" in labels
    assert shaded == 3
