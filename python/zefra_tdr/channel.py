"""Channel models: S-parameters of two-port networks.

A two-port is carried as four complex arrays over one frequency grid, always
in the order ``(S11, S12, S21, S22)``, one value per frequency point.  All
networks refer to the same real reference impedance at both ports unless a
function says otherwise.  Frequencies are in hertz.

Every function returns a tuple of four fresh C-contiguous ``complex128``
arrays of shape ``(n,)``, ``n`` being the number of frequency points.
NaN and infinities propagate point by point; the library never raises.
"""

from __future__ import annotations

from ._buffers import (
    as_complex_vector,
    as_double_vector,
    complex_ptr,
    count_of,
    double_ptr,
    new_complex_output,
)
from ._library import function

__all__ = ["combine_s4p", "make_package", "synth_tline"]

_PORT_NAMES = ("S11", "S12", "S21", "S22")


def _two_port(network, label: str) -> list:
    try:
        parts = list(network)
    except TypeError:
        raise TypeError(
            f"{label} must be a sequence (S11, S12, S21, S22) of complex arrays"
        ) from None
    if len(parts) != 4:
        raise ValueError(
            f"{label} must hold exactly four arrays (S11, S12, S21, S22), got {len(parts)}"
        )
    return [as_complex_vector(p, f"{label}.{n}") for p, n in zip(parts, _PORT_NAMES)]


def _outputs(n: int) -> tuple:
    return tuple(new_complex_output(n, "number of frequency points") for _ in range(4))


def combine_s4p(a, b) -> tuple:
    """Cascade of two two-ports: port 2 of ``a`` joined to port 1 of ``b``.

    Parameters
    ----------
    a, b : sequence of four array_like of complex, each shape (n,)
        S-parameters ``(S11, S12, S21, S22)`` of the two networks
        (dimensionless), over the same ``n`` frequency points and the same
        reference impedance.  A scalar counts as one point.  The arrays are
        only read.

    Returns
    -------
    tuple of four numpy.ndarray, complex128, shape (n,)
        ``(C11, C12, C21, C22)``, the cascade.  With ``D = 1 - A22*B11`` at
        each point::

            C11 = A11 + A12*(A21*B11)/D     C12 = A12*B12/D
            C21 = A21*B21/D                 C22 = B22 + B21*(A22*B12)/D

        A point where ``D == 0`` gives non-finite values at that point only.
        ``n == 0`` gives four empty arrays.

    Raises
    ------
    ValueError
        If ``a`` or ``b`` does not hold four arrays, if the eight arrays do not
        all have the same length, if any is more than one-dimensional, or if
        the length exceeds ``2**31 - 1``.
    """
    pa = _two_port(a, "a")
    pb = _two_port(b, "b")
    lengths = {f"{label}.{name}": arr.shape[0]
               for label, parts in (("a", pa), ("b", pb))
               for name, arr in zip(_PORT_NAMES, parts)}
    if len(set(lengths.values())) != 1:
        detail = ", ".join(f"{k}: {v}" for k, v in lengths.items())
        raise ValueError(f"all eight S-parameter arrays must have the same length ({detail})")
    n = pa[0].shape[0]
    out = _outputs(n)
    function("combineS4p")(
        *(complex_ptr(p) for p in pa),
        *(complex_ptr(p) for p in pb),
        count_of(pa[0], "a.S11"),
        *(complex_ptr(o) for o in out),
    )
    return out


def synth_tline(freq_hz, *, z_a_ohm, z_b_ohm, loss_coeffs, tau_ns, length) -> tuple:
    """S-parameters of a uniform lossy, causal transmission line between two
    impedance steps.

    Parameters
    ----------
    freq_hz : array_like of float, shape (n,)
        Frequencies, Hz.  A scalar counts as one point.  Only read.
    z_a_ohm : float
        Line impedance ``zA``, ohms.
    z_b_ohm : float
        Port impedance parameter ``zB``, ohms.  It enters doubled: the port
        reference impedance is ``2*zB`` and the step reflection is
        ``Gamma = (zA - 2*zB) / (2*zB + zA)``.
    loss_coeffs : array_like of float, shape (m,)
        Loss per unit length ``(p0, p1, p2)``: ``p0`` constant, ``p1`` per
        sqrt(GHz) (skin effect), ``p2`` per GHz (dielectric).  Missing values
        count as 0; values beyond the third are ignored.  Only read.
    tau_ns : float
        Delay per unit length, ns.
    length : float
        Line length, in the unit that ``loss_coeffs`` and ``tau_ns`` refer to.

    Returns
    -------
    tuple of four numpy.ndarray, complex128, shape (n,)
        ``(S11, S12, S21, S22)`` on the reference ``2*zB``.  With
        ``fG = freq_hz / 1e9`` (GHz), the propagation exponent per unit length::

            gamma = p0 + p1*(1 + 1j)*sqrt(fG)
                       + p2*fG*(1 - 1j*(2/pi)*ln(fG)) + 1j*2*pi*tau_ns*fG

        (``gamma = p0`` wherever ``fG == 0``, including a negative frequency
        so small that ``fG`` rounds to ``-0.0``) and ``P = exp(-length*gamma)``::

            S11 = S22 = Gamma*(1 - P**2) / (1 - Gamma**2 * P**2)
            S21 = S12 = (1 - Gamma**2)*P / (1 - Gamma**2 * P**2)

        Negative frequencies give NaN at their points.  An empty ``freq_hz``
        gives four empty arrays.

    Raises
    ------
    ValueError
        If ``freq_hz`` or ``loss_coeffs`` is more than one-dimensional or
        longer than ``2**31 - 1``.
    TypeError
        If ``freq_hz`` or ``loss_coeffs`` is complex.
    """
    f = as_double_vector(freq_hz, "freq_hz")
    c = as_double_vector(loss_coeffs, "loss_coeffs")
    out = _outputs(f.shape[0])
    function("synth_tline")(
        double_ptr(f), count_of(f, "freq_hz"),
        float(z_a_ohm), float(z_b_ohm),
        double_ptr(c), count_of(c, "loss_coeffs"),
        float(tau_ns), float(length),
        *(complex_ptr(o) for o in out),
    )
    return out


def make_package(freq_hz, *, line_length, shunt_cap_in_f, shunt_cap_out_f,
                 line_impedance_ohm, phase_delay_ns, loss_coeffs, ref_impedance_ohm,
                 series_ind_h=0.0, shunt_cap_mid_f=0.0) -> tuple:
    """S-parameters of an IC package path.

    The path is the cascade, from port 1 to port 2, of::

        shunt C (shunt_cap_in_f)
        series L (series_ind_h)          only if series_ind_h > 0
        shunt C (shunt_cap_mid_f)        only if shunt_cap_mid_f > 0
        lossy line (line_impedance_ohm, loss_coeffs, phase_delay_ns, line_length)
        shunt C (shunt_cap_out_f)

    each section's S-parameters referred to ``ref_impedance_ohm`` (``Z0``),
    except that the line's reflection is ``(Zc - 2*Z0) / (2*Z0 + Zc)``: the
    line is described as in :func:`synth_tline` with ``z_b_ohm = Z0``.

    Parameters
    ----------
    freq_hz : array_like of float, shape (n,)
        Frequencies, Hz.  Values below ``2**-52`` Hz (including 0 and negative
        values) are evaluated at ``2**-52`` Hz.  Only read.
    line_length : float
        Line length, in the unit that ``loss_coeffs`` and ``phase_delay_ns``
        refer to.
    shunt_cap_in_f, shunt_cap_out_f : float
        Input and output shunt capacitance, F.
    line_impedance_ohm : float
        Line impedance ``Zc``, ohms.
    phase_delay_ns : float
        Line delay per unit length, ns.
    loss_coeffs : array_like of float, shape (m,)
        Line loss per unit length ``(a0, a1, a2)``: constant, per sqrt(GHz),
        per GHz (with its causal phase term), as in :func:`synth_tline`.
        Missing values count as 0; values beyond the third are ignored.
    ref_impedance_ohm : float
        Reference impedance ``Z0``, ohms (real).
    series_ind_h : float, optional
        Series inductance, H; the section is left out unless it is > 0.
    shunt_cap_mid_f : float, optional
        Middle shunt capacitance, F; left out unless it is > 0.

    Returns
    -------
    tuple of four numpy.ndarray, complex128, shape (n,)
        ``(S11, S12, S21, S22)`` of the whole path.  An empty ``freq_hz``
        gives four empty arrays.

    Raises
    ------
    ValueError
        If ``freq_hz`` or ``loss_coeffs`` is more than one-dimensional or
        longer than ``2**31 - 1``.
    TypeError
        If ``freq_hz`` or ``loss_coeffs`` is complex.
    """
    f = as_double_vector(freq_hz, "freq_hz")
    c = as_double_vector(loss_coeffs, "loss_coeffs")
    out = _outputs(f.shape[0])
    # The C argument order differs from the keyword order above.
    function("makePackage")(
        double_ptr(f), count_of(f, "freq_hz"),
        float(line_length),
        float(shunt_cap_in_f), float(shunt_cap_out_f),
        float(line_impedance_ohm),
        float(phase_delay_ns),
        double_ptr(c), count_of(c, "loss_coeffs"),
        float(ref_impedance_ohm),
        float(series_ind_h), float(shunt_cap_mid_f),
        *(complex_ptr(o) for o in out),
    )
    return out
