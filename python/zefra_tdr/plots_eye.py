"""Plots of a statistical eye and of the channel it comes from: each
function draws on a matplotlib Axes (a new one when none is given) and
returns it; matplotlib is imported only when a plot is made.

* :func:`plot_statistical_eye` -- the BER map as a colour map of
  log10 BER against phase (UI) and voltage (mV).  Where the eyes of an
  M-PAM map overlap, each point shows the smallest BER_i over the eyes
  i (each eye's own map is small only around its own opening).  The
  contour at the target BER is drawn from the read-out (its open interval
  at every phase, the one holding the threshold), the other decades with
  matplotlib's contouring of log10 BER.
* :func:`plot_vertical_bathtub` -- BER_i(phase*, v) at each eye's best
  phase, on a log scale.
* :func:`plot_horizontal_bathtub` -- min over v of BER_i(phase, v), and
  BER_i at the threshold, against phase.
* :func:`plot_channel_loss` -- |S21| (dB) of the through (SDD21 of a
  differential one) with the Nyquist frequency baud/2 and the measured band
  marked.
* :func:`save_link_plots` -- the four figures of ``zefra-tdr link`` as PNGs.
"""

from __future__ import annotations

import math
from pathlib import Path

import numpy as np

__all__ = ["plot_channel_loss", "plot_horizontal_bathtub", "plot_statistical_eye",
           "plot_vertical_bathtub", "save_link_plots"]

# BER values below this are shown as this (the colour scale's floor).
_FLOOR = 1e-20


def _axes(ax):
    if ax is not None:
        return ax
    import matplotlib.pyplot as plt

    return plt.subplots(figsize=(8.0, 5.0))[1]


def _readout(eye, target_ber, readout):
    return eye.readout(target_ber) if readout is None else readout


def _log_ber(ber: np.ndarray) -> np.ndarray:
    return np.log10(np.maximum(ber, _FLOOR))


def _decades(target_ber: float) -> list[float]:
    """log10 BER of the contours besides the target: every third decade
    from 1e-3 to 1e-15, leaving out those within half a decade of the
    target."""
    target = math.log10(target_ber)
    return [float(d) for d in range(-3, -16, -3) if abs(d - target) > 0.5]


def plot_statistical_eye(eye, target_ber, *, ax=None, readout=None, colorbar=True,
                         title=None):
    """The statistical eye of every eye of ``eye`` (a
    :class:`~zefra_tdr.stat_eye.StatisticalEye`): log10 BER as colours, the
    contour at ``target_ber`` (from the read-out: ``readout`` or
    ``eye.readout(target_ber)``) and every third decade from 1e-3 to 1e-15, and each
    eye's height at its best phase as a vertical bar.  Returns the Axes."""
    ax = _axes(ax)
    out = _readout(eye, target_ber, readout)
    phases = np.asarray(eye.phases_ui)
    mv = np.asarray(eye.voltages) * 1e3
    field = _log_ber(np.min(np.asarray(eye.ber), axis=0)).T   # (n_v, n_phases)
    mesh = ax.pcolormesh(phases, mv, field, shading="gouraud", cmap="viridis_r",
                         vmin=math.log10(_FLOOR), vmax=0.0, rasterized=True)
    if colorbar:
        ax.figure.colorbar(mesh, ax=ax, label="log10 BER")
    decades = _decades(target_ber)
    if phases.size > 1 and decades:
        lines = ax.contour(phases, mv, field, levels=sorted(decades), colors="white",
                           linestyles="solid", linewidths=0.6, alpha=0.8)
        ax.clabel(lines, fmt=lambda v: f"1e{v:.0f}", fontsize="x-small")
    for i, figures in enumerate(out.eyes):
        low = np.asarray(out.contour_low_v[i]) * 1e3
        high = np.asarray(out.contour_high_v[i]) * 1e3
        label = f"BER {target_ber:.3g}" if i == 0 else None
        ax.plot(phases, low, color="red", linewidth=1.6, label=label, gid=f"target-low-{i}")
        ax.plot(phases, high, color="red", linewidth=1.6, gid=f"target-high-{i}")
        if figures.height_best_v > 0:
            k = int(np.argmin(np.abs(phases - figures.best_phase_ui)))
            ax.plot([phases[k]] * 2, [low[k], high[k]], color="orange", linewidth=2.0,
                    label="eye height (best phase)" if i == 0 else None)
    ax.set_xlabel("Phase (UI)")
    ax.set_ylabel("Voltage (mV)")
    ax.set_title(title or f"Statistical eye, {eye.levels}-PAM, target BER {target_ber:.3g}")
    ax.legend(loc="upper right", fontsize="small")
    return ax


def plot_vertical_bathtub(eye, target_ber, *, ax=None, readout=None, title=None):
    """BER_i(phase*, v) against v (mV) for every eye, phase* its best phase
    at ``target_ber``, on a log scale, with the target marked.  Returns the
    Axes."""
    ax = _axes(ax)
    out = _readout(eye, target_ber, readout)
    for i, figures in enumerate(out.eyes):
        v, ber = eye.vertical_bathtub(i, figures.best_phase_ui)
        ax.semilogy(np.asarray(v) * 1e3, np.maximum(ber, _FLOOR),
                    label=f"eye {i} at {figures.best_phase_ui:+.3f} UI")
    return _bathtub_axes(ax, target_ber, "Voltage (mV)",
                         title or "Vertical bathtub at the best phase", "small")


def plot_horizontal_bathtub(eye, target_ber, *, ax=None, title=None):
    """min over v of BER_i(phase, v) (solid) and BER_i at the threshold v*
    (dashed) against phase (UI) for every eye, on a log scale, with the
    target marked.  Returns the Axes."""
    ax = _axes(ax)
    for i in range(eye.levels - 1):
        phases, lowest, at_threshold = eye.horizontal_bathtub(i, target_ber)
        line, = ax.semilogy(phases, np.maximum(lowest, _FLOOR), label=f"eye {i}: min over v")
        ax.semilogy(phases, np.maximum(at_threshold, _FLOOR), linestyle="--",
                    color=line.get_color(), label=f"eye {i}: at the threshold")
    return _bathtub_axes(ax, target_ber, "Phase (UI)", title or "Horizontal bathtub", "x-small")


def _bathtub_axes(ax, target_ber, xlabel: str, title: str, legend_size: str):
    """The target line, the BER axis from the floor to 1, labels, grid and
    legend shared by both bathtubs."""
    ax.axhline(target_ber, color="red", linewidth=1.0, linestyle="--",
               label=f"target {target_ber:.3g}")
    ax.set_ylim(_FLOOR, 1.0)
    ax.set_xlabel(xlabel)
    ax.set_ylabel("BER")
    ax.set_title(title)
    ax.grid(True, which="major", alpha=0.35)
    ax.legend(loc="lower right", fontsize=legend_size)
    return ax


def plot_channel_loss(network, *, baud_hz, ports=None, order=None, pairs=None, ax=None,
                      title=None):
    """20 log10 |S21| of the through of ``network`` (chosen as in
    :func:`~zefra_tdr.pulse.two_port_of`: SDD21 for a differential one)
    against frequency (GHz), with the Nyquist frequency ``baud_hz / 2``
    marked and its loss written, and the measured band shaded.  Returns the
    Axes."""
    from .pulse import two_port_of

    ax = _axes(ax)
    through = two_port_of(network, ports=ports, order=order, pairs=pairs)
    f_ghz = through.f / 1e9
    with np.errstate(divide="ignore"):
        db = 20.0 * np.log10(np.abs(through.s[:, 1, 0]))
    name = "SDD21" if (order is not None or pairs is not None) else "S21"
    ax.plot(f_ghz, db, color="C0", linewidth=1.3, label=name)
    nyquist = baud_hz / 2.0
    ax.axvspan(f_ghz[0], f_ghz[-1], color="C2", alpha=0.08,
               label=f"measured band {f_ghz[0]:.3g} to {f_ghz[-1]:.4g} GHz")
    if through.f[0] <= nyquist <= through.f[-1]:
        loss = float(np.interp(nyquist, through.f, db))
        text = f"Nyquist {nyquist / 1e9:.4g} GHz: {loss:.1f} dB"
    else:
        text = f"Nyquist {nyquist / 1e9:.4g} GHz (outside the data)"
    ax.axvline(nyquist / 1e9, color="red", linestyle="--", linewidth=1.0, label=text)
    ax.set_xlabel("Frequency (GHz)")
    ax.set_ylabel(f"|{name}| (dB)")
    ax.set_title(title or f"{name} of the channel")
    ax.grid(True, alpha=0.35)
    ax.legend(loc="lower left", fontsize="small")
    return ax


def save_link_plots(directory, *, eye, target_ber, response, equalized, network,
                    ports=None, order=None, pairs=None, readout=None, dpi=100) -> dict:
    """Writes the four PNGs of ``zefra-tdr link`` into ``directory`` (made
    if missing) and returns their paths by name: ``eye``
    (eye_statistical.png, the statistical eye), ``bathtubs``
    (eye_bathtubs.png, vertical and horizontal), ``pulse`` (eye_pulse.png,
    the winner's pulse with its cursors,
    :func:`~zefra_tdr.plots_time.plot_pulse`) and ``loss`` (eye_loss.png,
    the through's |S21| with the band)."""
    import matplotlib.pyplot as plt

    from .plots_time import plot_pulse

    folder = Path(directory)
    folder.mkdir(parents=True, exist_ok=True)
    out = _readout(eye, target_ber, readout)
    paths = {name: folder / f"eye_{file}.png" for name, file in
             (("eye", "statistical"), ("bathtubs", "bathtubs"), ("pulse", "pulse"),
              ("loss", "loss"))}

    def write(figure, path):
        try:
            figure.tight_layout()
            figure.savefig(path, dpi=dpi)
        finally:
            plt.close(figure)

    figure, ax = plt.subplots(figsize=(10.0, 6.5))
    plot_statistical_eye(eye, target_ber, ax=ax, readout=out)
    write(figure, paths["eye"])
    figure, (top, bottom) = plt.subplots(2, 1, figsize=(10.0, 8.0))
    plot_vertical_bathtub(eye, target_ber, ax=top, readout=out)
    plot_horizontal_bathtub(eye, target_ber, ax=bottom)
    write(figure, paths["bathtubs"])
    figure = plot_pulse(response, equalized, title="Pulse response, winner's equalisers")
    figure.set_size_inches(10.0, 5.5)
    write(figure, paths["pulse"])
    figure, ax = plt.subplots(figsize=(10.0, 5.5))
    plot_channel_loss(network, baud_hz=response.baud_hz, ports=ports, order=order, pairs=pairs,
                      ax=ax)
    write(figure, paths["loss"])
    return {name: str(path) for name, path in paths.items()}
