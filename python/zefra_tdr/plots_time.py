"""Time-domain views: the step response and TDR impedance profile of an
S-parameter trace (panel kinds "step" and "tdr" of :func:`plot_network`),
and the pulse response with its cursors (:func:`plot_pulse`).

A trace's step response is that of the S-parameter itself, a unit incident
step on a matched port, computed with :func:`~zefra_tdr.pulse.pulse_response`
(DC extrapolated, raised-cosine window, 8 samples per 1/(band edge), so that
the rise time follows the measured bandwidth).  The TDR profile of a
reflection S_ii is Z(t) = Z0 (1 + rho(t)) / (1 - rho(t)), rho its step
response, against the round-trip time.
"""

from __future__ import annotations

import numpy as np

from .plots import register_kind
from .pulse import pulse_response

__all__ = ["plot_pulse", "save_pulse_plot", "trace_step"]

# Time samples per 1 / (band edge): the step's rise time is set by the data's
# bandwidth and the window, so 8 samples resolve it.
_SAMPLES_PER_EDGE = 8


def trace_step(f_hz, trace, z0_ohm=50.0):
    """(t_s, step) of an S-parameter trace: the response to a unit incident
    step, from t = 0 (the guard before it is cut)."""
    f = np.asarray(f_hz, dtype=np.float64)
    s = np.zeros((f.shape[0], 2, 2), dtype=np.complex128)
    s[:, 1, 0] = trace
    # Matched terminations make H = S21 / 2: twice its step is the trace's.
    response = pulse_response(s, f_hz=f, z0_ohm=z0_ohm, baud_hz=float(f[-1]),
                              samples_per_ui=_SAMPLES_PER_EDGE, window="raised-cosine")
    start = response.diagnostics.guard_samples
    return response.t[start:], 2.0 * response.step[start:]


def _tdr_curve(f, trace, z0):
    t, rho = trace_step(f, trace, z0)
    with np.errstate(divide="ignore", invalid="ignore"):
        return t, z0 * (1.0 + rho) / (1.0 - rho)


register_kind("step", "Step response (V/V)", trace_step, domain="time")
register_kind("tdr", "Impedance (ohm)", _tdr_curve, domain="time")


def plot_pulse(response, equalized=None, *, title=None, uis_after=24, uis_before=4):
    """A figure of the pulse response (and the equalised pulse, when given)
    against time in ns, with the sampled cursors marked and, for each DFE
    tap, the part it cancels shaded over its UI."""
    import matplotlib.pyplot as plt

    ns = response.samples_per_ui
    t_ns = response.t * 1e9
    wave = response.pulse if equalized is None else equalized.pulse
    centre = response.main_index if equalized is None else equalized.cursors.main_index
    lo = max(0, centre - uis_before * ns)
    hi = min(wave.shape[0], centre + uis_after * ns)
    figure, axis = plt.subplots(figsize=(8.0, 4.5))
    if equalized is not None:
        axis.plot(t_ns[lo:hi], response.pulse[lo:hi], color="0.6", linewidth=1.0,
                  label="pulse (unequalised)")
    axis.plot(t_ns[lo:hi], wave[lo:hi], color="C0", linewidth=1.4,
              label="pulse" if equalized is None else "pulse after CTLE/FFE")
    if equalized is not None:
        cur = equalized.cursors
        ks = np.arange(-cur.pre, cur.post + 1)
        idx = cur.main_index + ks * ns
        keep = (idx >= lo) & (idx < hi)
        axis.plot(t_ns[idx[keep]], cur.values[keep], "o", color="C1", markersize=4,
                  label="cursors")
        before, after = equalized.dfe.before, equalized.dfe.after
        for n, k in enumerate(int(p) for p in equalized.dfe.positions):
            d = before.values[before.pre + k] - after.values[after.pre + k]
            a = cur.main_index + k * ns - ns // 2
            b = min(a + ns + 1, wave.shape[0])
            if a < lo or a >= hi:
                continue
            axis.fill_between(t_ns[a:b], wave[a:b], wave[a:b] - d, color="C2", alpha=0.35,
                              linewidth=0, label="cancelled by the DFE" if n == 0 else None)
    axis.axhline(0.0, color="0.3", linewidth=0.6)
    axis.set_xlabel("Time (ns)")
    axis.set_ylabel("Pulse response (V/V)")
    axis.grid(True, alpha=0.35)
    axis.legend(loc="best", fontsize="small")
    if title:
        axis.set_title(title)
    figure.tight_layout()
    return figure


def save_pulse_plot(response, equalized, path, *, size_px=(1200, 700), dpi=100, title=None):
    """Writes :func:`plot_pulse`'s figure to ``path`` (.png, .svg or .pdf)."""
    import matplotlib.pyplot as plt

    figure = plot_pulse(response, equalized, title=title)
    try:
        figure.set_size_inches(size_px[0] / dpi, size_px[1] / dpi)
        figure.tight_layout()
        figure.savefig(path, dpi=dpi)
    finally:
        plt.close(figure)
