"""Two-port network theory in numpy, for checking the channel models.

Nothing here restates the library's formulas.  Everything is derived from
the definitions of the power waves at a port with real reference impedance
``z0`` (current ``I`` flowing into the port)::

    a = (V + z0*I) / (2*sqrt(z0))        b = (V - z0*I) / (2*sqrt(z0))
    b = S a                              (S-matrix)
    [V1, I1] = M [V2, -I2]               (ABCD matrix M)
    [b1, a1] = T [a2, b2]                (transfer matrix T)

Joining port 2 of network A to port 1 of network B sets a2(A) = b1(B) and
b2(A) = a1(B), so the transfer matrices multiply: T = T_A @ T_B; the
current leaving A enters B, so the ABCD matrices multiply too:
M = M_A @ M_B.

Networks are held as arrays of shape (n, 2, 2), one matrix per frequency
point, converted from and to the library's four arrays by :func:`stack` and
:func:`unstack`.

The references are computed in extended precision (``numpy.clongdouble``:
64-bit significand on x86-64, 113-bit where long double is quadruple), so
that the conversions between S, T and ABCD matrices, which cancel badly in
places, add nothing visible to the error of the library's double results.
The 2x2 inverses are written out because numpy.linalg has no long double.
"""

from __future__ import annotations

import numpy as np

#: Extended-precision complex type of the references.
EXT = np.clongdouble
#: pi to long double precision (not the double constant).
PI_EXT = 4 * np.arctan(np.longdouble(1))
TWO_PI_EXT = 2 * PI_EXT


def ext(x) -> np.ndarray:
    """``x`` as an extended-precision complex array (exact for doubles)."""
    return np.asarray(x).astype(EXT)


def stack(s11, s12, s21, s22) -> np.ndarray:
    """Four arrays of shape (n,) -> extended matrices of shape (n, 2, 2)."""
    s11, s12, s21, s22 = np.broadcast_arrays(*(ext(v) for v in (s11, s12, s21, s22)))
    return np.stack([np.stack([s11, s12], -1), np.stack([s21, s22], -1)], -2)


def inv2(m: np.ndarray) -> np.ndarray:
    """Inverse of each 2x2 matrix, [[d, -b], [-c, a]] / (a d - b c)."""
    a, b, c, d = m[:, 0, 0], m[:, 0, 1], m[:, 1, 0], m[:, 1, 1]
    det = a * d - b * c
    out = np.empty_like(m)
    out[:, 0, 0] = d / det
    out[:, 0, 1] = -b / det
    out[:, 1, 0] = -c / det
    out[:, 1, 1] = a / det
    return out


def unstack(m: np.ndarray) -> tuple:
    """Matrices of shape (n, 2, 2) -> four contiguous arrays (m11, m12, m21, m22)."""
    return tuple(np.ascontiguousarray(m[:, i, j]) for i in (0, 1) for j in (0, 1))


# ---- transfer (T) matrices ---------------------------------------------------


def s_to_t(s: np.ndarray) -> np.ndarray:
    """From b2 = S21 a1 + S22 a2 solve for a1, then substitute into b1."""
    s = ext(s)
    s11, s12, s21, s22 = s[:, 0, 0], s[:, 0, 1], s[:, 1, 0], s[:, 1, 1]
    t = np.empty_like(s)
    t[:, 0, 0] = s12 - s11 * s22 / s21      # b1 per a2
    t[:, 0, 1] = s11 / s21                  # b1 per b2
    t[:, 1, 0] = -s22 / s21                 # a1 per a2
    t[:, 1, 1] = 1.0 / s21                  # a1 per b2
    return t


def t_determinant(s: np.ndarray) -> np.ndarray:
    """det T of :func:`s_to_t`, expanded: (S11 S22 - (S11 S22 - S12 S21)) / S21**2
    = S12 / S21."""
    s = ext(s)
    return s[:, 0, 1] / s[:, 1, 0]


def t_to_s(t: np.ndarray, det: np.ndarray | None = None) -> np.ndarray:
    """Inverse of :func:`s_to_t`: from a1 = T21 a2 + T22 b2 solve for b2.

    S12 = T11 - T12 T21 / T22 = det T / T22.  When the transmission is
    small the entries of T are large and the difference cancels; pass
    ``det`` (det T, known from the factors of a product) to avoid it.
    """
    t = ext(t)
    t11, t12, t21, t22 = t[:, 0, 0], t[:, 0, 1], t[:, 1, 0], t[:, 1, 1]
    s = np.empty_like(t)
    s[:, 1, 0] = 1 / t22
    s[:, 1, 1] = -t21 / t22
    s[:, 0, 0] = t12 / t22
    s[:, 0, 1] = t11 - t12 * t21 / t22 if det is None else det / t22
    return s


def cascade_t(*networks: np.ndarray) -> np.ndarray:
    """S-matrix of networks joined port 2 to port 1, left to right, via T.

    det(T_A T_B) = det T_A det T_B gives S12 without cancellation.
    """
    t = s_to_t(networks[0])
    det = t_determinant(networks[0])
    for s in networks[1:]:
        t = t @ s_to_t(s)
        det = det * t_determinant(s)
    return t_to_s(t, det)


# ---- ABCD matrices -----------------------------------------------------------


def _waves(v, i, z0: float):
    r = np.sqrt(np.longdouble(z0))
    return (v + z0 * i) / (2.0 * r), (v - z0 * i) / (2.0 * r)


def s_from_abcd(m: np.ndarray, z0: float) -> np.ndarray:
    """S-matrix on the real reference ``z0`` (both ports) of an ABCD matrix.

    Drive the network with the two independent port-2 states
    (V2, -I2) = (1, 0) and (0, 1); port 1 then has (V1, I1) = the columns of
    M.  The incident and reflected waves of the two states form the columns
    of matrices Amat and Bmat with Bmat = S Amat.
    """
    m = ext(m)
    n = m.shape[0]
    v1, i1 = m[:, 0, :], m[:, 1, :]                 # (n, 2): one column per state
    v2 = np.broadcast_to(np.array([1, 0], m.dtype), (n, 2))
    i2 = np.broadcast_to(np.array([0, -1], m.dtype), (n, 2))
    a1, b1 = _waves(v1, i1, z0)
    a2, b2 = _waves(v2, i2, z0)
    amat = np.stack([a1, a2], -2)                   # rows: ports
    bmat = np.stack([b1, b2], -2)
    return bmat @ inv2(amat)


def abcd_from_s(s: np.ndarray, z0: float) -> np.ndarray:
    """ABCD matrix of an S-matrix on the real reference ``z0``.

    Drive with unit incident waves at one port at a time (a = columns of I,
    b = columns of S), convert to port voltages and currents, and solve
    [V1, I1] = M [V2, -I2] for M.
    """
    s = ext(s)
    r = np.sqrt(np.longdouble(z0))
    eye = np.broadcast_to(np.eye(2, dtype=s.dtype), s.shape)
    v = r * (eye + s)                               # rows: ports, columns: states
    i = (eye - s) / r
    x1 = np.stack([v[:, 0, :], i[:, 0, :]], -2)
    x2 = np.stack([v[:, 1, :], -i[:, 1, :]], -2)
    return x1 @ inv2(x2)


def cascade_abcd(*networks: np.ndarray, z0: float) -> np.ndarray:
    """S-matrix of networks joined port 2 to port 1, left to right, via ABCD."""
    m = abcd_from_s(networks[0], z0)
    for s in networks[1:]:
        m = m @ abcd_from_s(s, z0)
    return s_from_abcd(m, z0)


def shunt_admittance_abcd(y: np.ndarray) -> np.ndarray:
    """ABCD of an admittance ``y`` across the line: I1 = y V2 + (-I2)."""
    y = ext(y)
    m = np.zeros(y.shape + (2, 2), EXT)
    m[:, 0, 0] = 1.0
    m[:, 1, 0] = y
    m[:, 1, 1] = 1.0
    return m


def series_impedance_abcd(z: np.ndarray) -> np.ndarray:
    """ABCD of an impedance ``z`` in series: V1 = V2 + z (-I2)."""
    z = ext(z)
    m = np.zeros(z.shape + (2, 2), EXT)
    m[:, 0, 0] = 1.0
    m[:, 0, 1] = z
    m[:, 1, 1] = 1.0
    return m


def uniform_line_abcd(theta: np.ndarray, zc: float) -> np.ndarray:
    """ABCD of a uniform line of characteristic impedance ``zc`` and
    electrical length ``theta = length * gamma`` (telegrapher's equations)."""
    theta = ext(theta)
    zc = np.longdouble(zc)
    ch, sh = np.cosh(theta), np.sinh(theta)
    m = np.empty(theta.shape + (2, 2), EXT)
    m[:, 0, 0] = ch
    m[:, 0, 1] = zc * sh
    m[:, 1, 0] = sh / zc
    m[:, 1, 1] = ch
    return m


# ---- line model --------------------------------------------------------------


def propagation_exponent(freq_hz, coeffs, tau_ns) -> np.ndarray:
    """Propagation exponent per unit length of the lossy, causal line model,
    in extended precision.

    With fG = f / 1e9 (GHz) and coefficients (p0, p1, p2) (missing ones 0,
    extra ones ignored)::

        gamma = p0 + p1 (1 + j) sqrt(fG) + p2 fG (1 - j (2/pi) ln fG) + j 2 pi tau fG

    and gamma = p0 at fG = 0.  The skin term has equal real and imaginary
    parts; the dielectric term carries the phase that makes a loss growing
    linearly with frequency causal; the last term is the delay.
    """
    f_ghz = np.asarray(freq_hz, np.float64).astype(np.longdouble) / np.longdouble(1e9)
    p = np.zeros(3, np.longdouble)
    c = np.asarray(coeffs, np.float64)[:3]
    p[: c.size] = c
    tau = np.longdouble(tau_ns)
    with np.errstate(divide="ignore", invalid="ignore"):
        gamma = (p[0]
                 + p[1] * EXT(1 + 1j) * np.sqrt(f_ghz)
                 + p[2] * f_ghz * (1 - EXT(1j) * (2 / PI_EXT) * np.log(f_ghz))
                 + EXT(1j) * TWO_PI_EXT * tau * f_ghz)
    gamma = np.asarray(gamma, EXT)
    gamma[f_ghz == 0] = p[0]
    return gamma


# ---- error measures ----------------------------------------------------------


def rel_errors(ours: np.ndarray, ref: np.ndarray) -> np.ndarray:
    """|ours - ref| / |ref| elementwise, in double (0 where they are equal)."""
    ours = ext(ours)
    ref = ext(ref)
    with np.errstate(divide="ignore", invalid="ignore"):
        err = np.abs(ours - ref) / np.abs(ref)
    return np.where(ours == ref, 0.0, err).astype(np.float64)


def worst_rel_error(ours_parts, ref_matrix: np.ndarray) -> float:
    """Largest elementwise relative error of four library arrays against
    matrices of shape (n, 2, 2)."""
    return float(max(np.max(rel_errors(o, r), initial=0.0)
                     for o, r in zip(ours_parts, unstack(ref_matrix))))
