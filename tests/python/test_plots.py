"""Plots: a PNG of the requested size, labelled panels, and refusals."""

from __future__ import annotations

import struct

import numpy as np
import pytest

import zefra_tdr

F = np.linspace(1e8, 2e10, 101)


def png_size(path) -> tuple[int, int]:
    data = path.read_bytes()
    assert data[:8] == b"\x89PNG\r\n\x1a\n", "not a PNG"
    assert data[12:16] == b"IHDR"
    return struct.unpack(">II", data[16:24])


def test_save_plot_writes_a_png_of_the_requested_size(tmp_path):
    net = zefra_tdr.line(F, length=3.0, delay_ns_per_unit=0.0667, z_line_ohm=45.0,
                         loss_np_per_unit=(0.0, 0.01))
    out = tmp_path / "line.png"
    zefra_tdr.save_plot(net, ["S21", "S11"], out, kinds=("db", "phase", "delay"),
                        size_px=(900, 600))
    assert png_size(out) == (900, 600)


def test_the_figure_has_labelled_axes_and_a_legend():
    pytest.importorskip("matplotlib")
    net = zefra_tdr.line(F, length=1.0, delay_ns_per_unit=0.1)
    figure = zefra_tdr.plot_network(net, ["S21"], kinds=("db", "delay"))
    top, bottom = figure.axes
    assert top.get_ylabel() == "Magnitude (dB)" and bottom.get_ylabel() == "Group delay (ns)"
    assert bottom.get_xlabel() == "Frequency (GHz)"
    assert [t.get_text() for t in top.get_legend().get_texts()] == ["S21"]
    # A matched 1-unit line of 0.1 ns per unit: 0.1 ns of group delay.
    delay = bottom.get_lines()[0].get_ydata()
    np.testing.assert_allclose(delay, 0.1, rtol=1e-9)
    import matplotlib.pyplot as plt

    plt.close(figure)


@pytest.mark.parametrize("params, message", [
    (["S31"], "ports 1..2"), (["X21"], "not a parameter name"), ([], "no parameter"),
])
def test_bad_parameter_names_are_refused(params, message, tmp_path):
    net = zefra_tdr.line(F, length=1.0, delay_ns_per_unit=0.1)
    with pytest.raises(ValueError, match=message):
        zefra_tdr.save_plot(net, params, tmp_path / "x.png")


def test_plot_command_writes_the_image(tmp_path):
    from zefra_tdr.cli import main

    zefra_tdr.write_touchstone(zefra_tdr.line(F, length=1.0, delay_ns_per_unit=0.1),
                               tmp_path / "l.s2p")
    out = tmp_path / "p.png"
    assert main(["plot", str(tmp_path / "l.s2p"), "--params", "S21,S11", "--size", "640x480",
                 "-o", str(out)]) == 0
    assert png_size(out) == (640, 480)


def test_a_registered_kind_gets_its_own_labelled_panel():
    from zefra_tdr import plots

    plots.register_kind("linear", "Magnitude (linear)", lambda f, trace: np.abs(trace))
    net = zefra_tdr.line(F, length=1.0, delay_ns_per_unit=0.1)
    figure = zefra_tdr.plot_network(net, ["S21"], kinds=("linear",))
    assert figure.axes[0].get_ylabel() == "Magnitude (linear)"
    np.testing.assert_allclose(figure.axes[0].get_lines()[0].get_ydata(), 1.0, rtol=1e-14)
    import matplotlib.pyplot as plt

    plt.close(figure)
    with pytest.raises(ValueError, match="none of db, phase, delay, step, tdr, linear"):
        zefra_tdr.plot_network(net, ["S21"], kinds=("eye",))
