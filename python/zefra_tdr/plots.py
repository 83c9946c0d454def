"""Plots of networks with matplotlib (imported only when a plot is made).

Parameters are chosen by name: ``"S21"`` (single-ended, ports from 1;
``"S12,3"`` style with a comma when a port number has two digits) and, for
networks that offer ``to_mixed_mode``, ``"SDD21"``, ``"SDC11"``,
``"SCD21"``, ``"SCC11"`` (mixed-mode blocks, pairs from 1).  Frequencies are
shown in GHz; magnitude in dB (20 log10 |S|), phase in degrees (unwrapped
along frequency), group delay in ns (-d(phase)/d(omega), by central
differences of the unwrapped phase).
"""

from __future__ import annotations

import re

import numpy as np

from .network import Network

__all__ = ["parameter", "plot_network", "register_kind", "save_plot"]

# Kinds of panel: name -> (y-axis label, curve, x domain).  register_kind adds
# one; the time-domain views (step response, TDR impedance profile) are
# registered by plots_time.
_KINDS: dict = {}

_SINGLE = re.compile(r"^S(\d)(\d)$|^S(\d+),(\d+)$")
_MIXED = re.compile(r"^S(DD|DC|CD|CC)(\d)(\d)$")


def parameter(network: Network, name: str, *, order=None) -> np.ndarray:
    """The trace named ``name`` of ``network`` (complex, shape (nf,))."""
    return _trace(network, name, order, {})[0]


def _trace(network: Network, name: str, order, mixed_cache: dict) -> tuple:
    """:func:`parameter` and the reference (ohms) of the port the trace is
    driven from, with the mixed-mode matrices of the networks kept in
    ``mixed_cache`` (by id) so that each network is converted once."""
    if not isinstance(network, Network):
        raise TypeError(f"network must be a Network, got {type(network).__name__}")
    text = name.strip().upper()
    single = _SINGLE.match(text)
    if single:
        i, j = (int(g) for g in single.groups() if g is not None)
        n = network.nports
        if not (1 <= i <= n and 1 <= j <= n):
            raise ValueError(f"{name}: {network.name or 'the network'} has ports 1..{n}")
        return network.s[:, i - 1, j - 1], float(network.z0[j - 1])
    mixed = _MIXED.match(text)
    if mixed:
        if not hasattr(network, "to_mixed_mode"):
            raise ValueError(f"{name}: mixed-mode parameters need Network.to_mixed_mode")
        block, i, j = mixed.group(1), int(mixed.group(2)), int(mixed.group(3))
        mm = mixed_cache.get(id(network))
        if mm is None:
            mm = mixed_cache[id(network)] = network.to_mixed_mode(order=order)
        values = getattr(mm, "s" + block.lower())
        if not (1 <= i <= values.shape[1] and 1 <= j <= values.shape[2]):
            raise ValueError(f"{name}: the network has mixed-mode pairs 1..{values.shape[1]}")
        offset = 0 if block[1] == "D" else mm.npairs
        return values[:, i - 1, j - 1], float(mm.z0[offset + j - 1])
    raise ValueError(f"{name!r} is not a parameter name such as 'S21', 'S12,3' or 'SDD21'")


def register_kind(name: str, label: str, curve, *, domain: str = "frequency") -> None:
    """Adds a kind of panel with the y-axis ``label``.

    ``domain="frequency"``: ``curve(f_hz, trace) -> values``, plotted
    against frequency in GHz.  ``domain="time"``: ``curve(f_hz, trace,
    z0_ohm) -> (t_s, values)``, plotted against time in ns; ``z0_ohm`` is
    the reference of the port the trace is driven from."""
    if domain not in ("frequency", "time"):
        raise ValueError(f"domain = {domain!r}: expected 'frequency' or 'time'")
    _KINDS[name] = (label, curve, domain)


def _db(f: np.ndarray, trace: np.ndarray) -> np.ndarray:
    with np.errstate(divide="ignore"):
        return 20.0 * np.log10(np.abs(trace))


def _phase(f: np.ndarray, trace: np.ndarray) -> np.ndarray:
    return np.degrees(np.unwrap(np.angle(trace)))


def _delay(f: np.ndarray, trace: np.ndarray) -> np.ndarray:
    if f.size < 2:
        raise ValueError("a group delay needs at least two frequencies")
    return -np.gradient(np.unwrap(np.angle(trace)), 2.0 * np.pi * f) * 1e9


register_kind("db", "Magnitude (dB)", _db)
register_kind("phase", "Phase (deg)", _phase)
register_kind("delay", "Group delay (ns)", _delay)


def plot_network(networks, params, *, kinds=("db",), order=None, title=None):
    """A matplotlib figure with one panel per kind (``"db"``, ``"phase"``,
    ``"delay"``), one curve per network and parameter, against frequency in
    GHz, with labelled axes and a legend.  Returns the figure."""
    import matplotlib.pyplot as plt

    nets = [networks] if isinstance(networks, Network) else list(networks)
    if not nets:
        raise ValueError("nothing to plot: no network given")
    names = [params] if isinstance(params, str) else list(params)
    if not names:
        raise ValueError("nothing to plot: no parameter given")
    kinds = [kinds] if isinstance(kinds, str) else list(kinds)
    for kind in kinds:
        if kind not in _KINDS:
            raise ValueError(f"kind {kind!r} is none of {', '.join(_KINDS)}")
    mixed_cache: dict = {}
    traces = [(net, name, *_trace(net, name, order, mixed_cache))
              for net in nets for name in names]
    domains = {_KINDS[kind][2] for kind in kinds}
    figure, axes = plt.subplots(len(kinds), 1, sharex=len(domains) == 1, squeeze=False,
                                figsize=(7.0, 2.6 + 2.2 * len(kinds)))
    for axis, kind in zip(axes[:, 0], kinds):
        label_y, curve, domain = _KINDS[kind]
        for net, name, trace, z0 in traces:
            label = f"{net.name} {name.upper()}" if len(nets) > 1 and net.name else name.upper()
            if domain == "time":
                t, values = curve(net.f, trace, z0)
                axis.plot(t * 1e9, values, label=label, linewidth=1.2)
            else:
                axis.plot(net.f / 1e9, curve(net.f, trace), label=label, linewidth=1.2)
        axis.set_ylabel(label_y)
        axis.grid(True, alpha=0.35)
        axis.legend(loc="best", fontsize="small")
        if len(domains) > 1 or axis is axes[-1, 0]:
            axis.set_xlabel("Time (ns)" if domain == "time" else "Frequency (GHz)")
    if title:
        axes[0, 0].set_title(title)
    figure.tight_layout()
    return figure


def save_plot(networks, params, path, *, kinds=("db",), order=None, title=None,
              size_px=(1200, 800), dpi=100) -> None:
    """Writes :func:`plot_network`'s figure to ``path`` (.png, .svg or .pdf),
    ``size_px`` pixels at ``dpi`` (the PNG is exactly that size)."""
    import matplotlib.pyplot as plt

    width, height = (int(v) for v in size_px)
    if width <= 0 or height <= 0:
        raise ValueError(f"size_px = {size_px!r} must be two positive numbers of pixels")
    figure = plot_network(networks, params, kinds=kinds, order=order, title=title)
    try:
        figure.set_size_inches(width / dpi, height / dpi)
        figure.tight_layout()
        figure.savefig(path, dpi=dpi)
    finally:
        plt.close(figure)


# The time-domain kinds ("step", "tdr") register themselves on import.
from . import plots_time  # noqa: E402,F401
