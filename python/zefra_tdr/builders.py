"""Networks built from models: a lossy transmission line and an IC package
path, over the library's ``synth_tline`` and ``makePackage``.

Both return a 2-port :class:`~zefra_tdr.network.Network` (port 1 left,
port 2 right) on the reference ``z_ref_ohm`` at both ports.  Two impedances
are in play and must not be confused: the line's own characteristic
impedance (``z_line_ohm``: what the trace is) and the reference the
S-parameters are measured against (``z_ref_ohm``: what the instrument or
the simulation ports are, usually 50 ohms).  A 45-ohm line on 50-ohm
references reflects ``(45 - 50) / (45 + 50)`` at each end.

Loss: the propagation exponent per unit length is, with fG the frequency
in GHz, ``a0 + a1 (1 + j) sqrt(fG) + a2 fG (1 - j (2/pi) ln fG) + j 2 pi
tau fG`` (nepers and radians per unit length): ``a0`` is a constant loss,
``a1`` skin-effect loss per sqrt(GHz), ``a2`` dielectric loss per GHz with
its causal phase.  ``length`` is in the unit these, and the delay per unit
length ``delay_ns_per_unit``, refer to (an inch, a millimetre...).
"""

from __future__ import annotations

import numpy as np

from .channel import make_package, synth_tline
from .network import Network

__all__ = ["line", "package"]


def _positive(value, name: str) -> float:
    number = float(value)
    if not (np.isfinite(number) and number > 0):
        raise ValueError(f"{name} = {value!r} must be finite and positive")
    return number


def _not_negative(value, name: str) -> float:
    number = float(value)
    if not (np.isfinite(number) and number >= 0):
        raise ValueError(f"{name} = {value!r} must be finite and >= 0")
    return number


def _losses(loss_np_per_unit) -> np.ndarray:
    values = np.array(loss_np_per_unit, dtype=np.float64).reshape(-1)
    if values.size > 3:
        raise ValueError(f"loss_np_per_unit holds {values.size} values; it takes (a0, a1, a2)")
    if not np.all(np.isfinite(values)) or np.any(values < 0):
        raise ValueError(f"loss_np_per_unit = {values.tolist()} must be finite and >= 0")
    return values


def _two_port(f: np.ndarray, parts: tuple, z_ref: float, name: str) -> Network:
    s11, s12, s21, s22 = parts
    s = np.empty((f.size, 2, 2), dtype=np.complex128)
    s[:, 0, 0], s[:, 0, 1], s[:, 1, 0], s[:, 1, 1] = s11, s12, s21, s22
    return Network(f, s, z_ref, name=name)


def _grid(f_hz) -> np.ndarray:
    # The Network constructor checks it (finite, >= 0, increasing, not empty).
    return np.array(f_hz, dtype=np.float64)


def line(f_hz, *, length, delay_ns_per_unit, z_line_ohm=50.0, z_ref_ohm=50.0,
         loss_np_per_unit=(0.0, 0.0, 0.0), name="line") -> Network:
    """A uniform lossy, causal transmission line (``synth_tline``).

    Parameters
    ----------
    f_hz : array_like of float, shape (nf,)
        Frequencies, Hz: finite, >= 0, strictly increasing.
    length : float
        Length, in the unit of ``delay_ns_per_unit`` and the losses (>= 0).
    delay_ns_per_unit : float
        Delay per unit length, ns (>= 0).
    z_line_ohm : float
        The line's characteristic impedance, ohms (default 50).
    z_ref_ohm : float
        The reference of both ports, ohms (default 50).
    loss_np_per_unit : sequence of up to 3 floats
        ``(a0, a1, a2)``: constant, skin (per sqrt(GHz)) and dielectric (per
        GHz) loss, nepers per unit length (default lossless).
    name : str

    Returns
    -------
    Network
        The 2-port on ``z_ref_ohm``.
    """
    f = _grid(f_hz)
    parts = synth_tline(f, z_a_ohm=_positive(z_line_ohm, "z_line_ohm"),
                        z_b_ohm=_positive(z_ref_ohm, "z_ref_ohm") / 2.0,
                        loss_coeffs=_losses(loss_np_per_unit),
                        tau_ns=_not_negative(delay_ns_per_unit, "delay_ns_per_unit"),
                        length=_not_negative(length, "length"))
    return _two_port(f, parts, float(z_ref_ohm), name)


def package(f_hz, *, c_in_f, c_out_f, line_length, delay_ns_per_unit, z_line_ohm=50.0,
            z_ref_ohm=50.0, loss_np_per_unit=(0.0, 0.0, 0.0), l_series_h=0.0, c_mid_f=0.0,
            name="package") -> Network:
    """An IC package path (``makePackage``): from port 1 to port 2, a shunt
    capacitance ``c_in_f``, a series inductance ``l_series_h`` (if > 0), a
    shunt ``c_mid_f`` (if > 0), a lossy line as in :func:`line`, and a shunt
    ``c_out_f``.

    Parameters
    ----------
    f_hz : array_like of float, shape (nf,)
        Frequencies, Hz: finite, >= 0, strictly increasing (0 Hz is
        evaluated at 2**-52 Hz).
    c_in_f, c_out_f, c_mid_f : float
        Shunt capacitances, F (>= 0; ``c_mid_f`` default 0: left out).
    l_series_h : float
        Series inductance, H (default 0: left out).
    line_length, delay_ns_per_unit, z_line_ohm, loss_np_per_unit
        The package trace, as in :func:`line`.
    z_ref_ohm : float
        The reference of both ports, ohms (default 50).
    name : str

    Returns
    -------
    Network
        The 2-port on ``z_ref_ohm``.
    """
    f = _grid(f_hz)
    parts = make_package(
        f, line_length=_not_negative(line_length, "line_length"),
        shunt_cap_in_f=_not_negative(c_in_f, "c_in_f"),
        shunt_cap_out_f=_not_negative(c_out_f, "c_out_f"),
        line_impedance_ohm=_positive(z_line_ohm, "z_line_ohm"),
        phase_delay_ns=_not_negative(delay_ns_per_unit, "delay_ns_per_unit"),
        loss_coeffs=_losses(loss_np_per_unit), ref_impedance_ohm=_positive(z_ref_ohm, "z_ref_ohm"),
        series_ind_h=_not_negative(l_series_h, "l_series_h"),
        shunt_cap_mid_f=_not_negative(c_mid_f, "c_mid_f"))
    return _two_port(f, parts, float(z_ref_ohm), name)
