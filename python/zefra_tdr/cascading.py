"""Cascades of networks, and the frequency grids they are aligned on.

Port convention of a cascade: a 2N-port has its ports 1..N on the left and
N+1..2N on the right (a 2-port: port 1 left, port 2 right).  Cascading A then
B joins port N+k of A to port k of B, for k = 1..N; the result has A's left
ports and B's right ports.  The two ports of every junction must have the
same reference (see :meth:`Network.renormalize` otherwise).

Grids: networks on one grid are cascaded on it as they are.  Otherwise each
S-parameter trace is resampled onto one grid with the sibling module's
interpolation (``interp_sparam``: the bulk delay taken out, real and
imaginary parts interpolated, the delay put back; a query at an input
frequency gives that sample bit for bit).  The grid is

* ``"common"``: the intersection of the networks' bands, stepped by the
  finest step among them (the smallest spacing of any network's grid),
  starting at the intersection's lower edge; the upper edge is included
  when it falls on the step within 1e-9 of a step;
* an array of frequencies in Hz, finite, non-negative, strictly increasing.

A grid point outside a network's band is an error unless
``extrapolate=True``; the sibling module then holds the last sample's
magnitude above the band and runs to a real value at DC below it
(docs/interp_sparam.md).
"""

from __future__ import annotations

import numpy as np

from .channel import combine_s4p
from .interpolation import interp_sparam
from .network import Network

__all__ = ["cascade", "common_grid", "extrapolate_to_dc", "interpolate"]


def _network(value, label: str) -> Network:
    if not isinstance(value, Network):
        raise TypeError(f"{label} must be a Network, got {type(value).__name__}")
    return value


def common_grid(*networks) -> np.ndarray:
    """The grid ``"common"`` of a cascade: the intersection of the bands at
    the finest step among the networks (Hz, float64).

    Raises
    ------
    ValueError
        If no network is given, a network has fewer than two points (no
        step), or the bands do not overlap.
    """
    if not networks:
        raise ValueError("common_grid needs at least one network")
    nets = [_network(n, f"networks[{i}]") for i, n in enumerate(networks)]
    for i, n in enumerate(nets):
        if n.f.size < 2:
            raise ValueError(f"networks[{i}] ({n.name or 'unnamed'}) has one frequency point: "
                             "it has no step; give the grid explicitly")
    low = max(n.f[0] for n in nets)
    high = min(n.f[-1] for n in nets)
    if low > high:
        bands = ", ".join(f"{n.f[0]:.6g}..{n.f[-1]:.6g} Hz" for n in nets)
        raise ValueError(f"the bands do not overlap ({bands})")
    step = min(float(np.min(np.diff(n.f))) for n in nets)
    count = int(np.floor((high - low) / step + 1e-9)) + 1
    grid = low + step * np.arange(count, dtype=np.float64)
    # Guard against a last point a rounding above the band's edge.
    grid[-1] = min(grid[-1], high)
    return grid


def _checked_grid(grid, label: str = "grid") -> np.ndarray:
    values = np.asarray(grid)
    if np.iscomplexobj(values):
        raise TypeError(f"{label} must be real frequencies in Hz")
    values = np.array(values, dtype=np.float64)
    if values.ndim != 1 or values.size == 0:
        raise ValueError(f"{label} must be a non-empty one-dimensional array of Hz, "
                         f"got shape {values.shape}")
    bad = np.flatnonzero(~np.isfinite(values) | (values < 0))
    if bad.size:
        raise ValueError(f"{label}[{bad[0]}] = {values[bad[0]]!r} Hz is not finite and >= 0")
    down = np.flatnonzero(np.diff(values) <= 0)
    if down.size:
        k = down[0] + 1
        raise ValueError(f"{label}[{k}] = {values[k]!r} Hz does not increase on "
                         f"{label}[{k - 1}] = {values[k - 1]!r} Hz")
    return values


def interpolate(network, f_hz, *, extrapolate: bool = False) -> Network:
    """The network resampled onto the frequencies ``f_hz`` (Hz) with the
    sibling module's interpolation (see the module's description).

    A grid equal to the network's returns a copy of its values, bit for
    bit.  Points outside the network's band are an error unless
    ``extrapolate`` is true.  Noise data are not resampled (the result has
    none).

    Raises
    ------
    ValueError
        If ``f_hz`` is not a non-empty, finite, non-negative, strictly
        increasing array, or reaches outside the band without
        ``extrapolate``.
    """
    net = _network(network, "network")
    grid = _checked_grid(f_hz, "f_hz")
    if not extrapolate and (grid[0] < net.f[0] or grid[-1] > net.f[-1]):
        raise ValueError(
            f"the grid {grid[0]:.9g}..{grid[-1]:.9g} Hz reaches outside the band "
            f"{net.f[0]:.9g}..{net.f[-1]:.9g} Hz of {net.name or 'the network'}; "
            "pass extrapolate=True to extend it (docs/interp_sparam.md says how)")
    if grid.size == net.f.size and np.array_equal(grid, net.f):
        s = net.s.copy()
    else:
        n = net.nports
        s = np.empty((grid.size, n, n), dtype=np.complex128)
        for i in range(n):
            for j in range(n):
                s[:, i, j] = interp_sparam(net.s[:, i, j], net.f, grid)
    return Network._from_arrays(grid, s, net.z0.copy(), comments=net.comments, name=net.name)


def _chain_two_ports(parts: list) -> np.ndarray:
    """S of 2-ports joined left to right by combineS4p, each kept as its
    four traces (S11, S12, S21, S22) between the joins."""
    def traces(s: np.ndarray) -> tuple:
        rows = np.ascontiguousarray(s.reshape(s.shape[0], 4).T)  # one copy, four rows
        return rows[0], rows[1], rows[2], rows[3]

    result = traces(parts[0])
    for following in parts[1:]:
        result = combine_s4p(result, traces(following))
    s = np.empty((parts[0].shape[0], 2, 2), dtype=np.complex128)
    s[:, 0, 0], s[:, 0, 1], s[:, 1, 0], s[:, 1, 1] = result
    return s


def extrapolate_to_dc(network) -> Network:
    """The network with a point at 0 Hz added before its band.

    Policy: every S-parameter trace gets a real value at DC without phase
    wraps, from the sibling module's extrapolation below the band: the
    trace's bulk delay is taken out, the first sample is projected onto the
    real axis keeping its magnitude (the sign of its real part), and that is
    the DC value (docs/interp_sparam.md, "Below the band").  The measured
    points are kept bit for bit.  A network whose band already starts at
    0 Hz is returned as a copy.  Noise data are dropped.
    """
    net = _network(network, "network")
    if net.f[0] == 0.0:
        return interpolate(net, net.f)
    grid = np.concatenate([[0.0], net.f])
    result = interpolate(net, grid, extrapolate=True)
    # The module gives (d, +0.0) at f <= 0: real by construction; make sure.
    result.s[0] = result.s[0].real
    return result


def _join(a: np.ndarray, b: np.ndarray) -> np.ndarray:
    """S of a then b (2N-ports, N >= 2, same grid): right ports of a to left of b."""
    n = a.shape[1] // 2
    left, right = slice(0, n), slice(n, 2 * n)
    a11, a12, a21, a22 = a[:, left, left], a[:, left, right], a[:, right, left], a[:, right, right]
    b11, b12, b21, b22 = b[:, left, left], b[:, left, right], b[:, right, left], b[:, right, right]
    eye = np.eye(n, dtype=np.complex128)
    # The waves bouncing in the junction: (I - B11 A22)^-1 and (I - A22 B11)^-1.
    inner_b = np.linalg.solve(eye - b11 @ a22, np.concatenate([b11 @ a21, b12], axis=2))
    inner_a = np.linalg.solve(eye - a22 @ b11, np.concatenate([a21, a22 @ b12], axis=2))
    s = np.empty((a.shape[0], 2 * n, 2 * n), dtype=np.complex128)
    s[:, left, left] = a11 + a12 @ inner_b[:, :, :n]
    s[:, left, right] = a12 @ inner_b[:, :, n:]
    s[:, right, left] = b21 @ inner_a[:, :, :n]
    s[:, right, right] = b22 + b21 @ inner_a[:, :, n:]
    return s


def cascade(*networks, grid="common", extrapolate: bool = False) -> Network:
    """The cascade of two or more 2N-ports, left to right.

    Parameters
    ----------
    *networks : Network
        Two or more networks with the same even port count 2N.  Port N+k of
        each is joined to port k of the next (2-ports: port 2 to port 1),
        and the junction's two references must be equal.
    grid : "common" or array_like of float
        The frequencies of the result, Hz, when the networks' grids differ
        (see the module description); networks that all share one grid are
        cascaded on it, as they are, unless an array is given.
    extrapolate : bool
        Allow grid points outside a network's band.

    Returns
    -------
    Network
        The 2N-port: the first network's left references and the last one's
        right references.  Two-ports are joined by ``combineS4p``, so a
        cascade of two 2-ports on one grid is bit for bit that function's
        result; 2N-ports by
        C11 = A11 + A12 (I - B11 A22)^-1 B11 A21,
        C12 = A12 (I - B11 A22)^-1 B12,
        C21 = B21 (I - A22 B11)^-1 A21,
        C22 = B22 + B21 (I - A22 B11)^-1 A22 B12.

    Raises
    ------
    ValueError
        Fewer than two networks, an odd or unequal port count, unequal
        references at a junction, a bad grid, or a grid outside a band
        without ``extrapolate``.  The message names the network.
    TypeError
        If an argument is not a Network.
    """
    if len(networks) < 2:
        raise ValueError(f"cascade needs at least two networks, got {len(networks)}")
    nets = [_network(n, f"networks[{i}]") for i, n in enumerate(networks)]
    ports = nets[0].nports
    for i, n in enumerate(nets):
        if n.nports % 2 or n.nports != ports:
            raise ValueError(f"networks[{i}] ({n.name or 'unnamed'}) has {n.nports} ports; a "
                             f"cascade needs the same even port count in every network "
                             f"({ports} in networks[0])")
    half = ports // 2
    for i in range(len(nets) - 1):
        right, left = nets[i].z0[half:], nets[i + 1].z0[:half]
        if not np.array_equal(right, left):
            raise ValueError(
                f"the references at the junction of networks[{i}] and networks[{i + 1}] differ "
                f"({right.tolist()} ohm against {left.tolist()} ohm); renormalize one of them")
    same_grid = all(n.f.size == nets[0].f.size and np.array_equal(n.f, nets[0].f) for n in nets)
    if isinstance(grid, str):
        if grid != "common":
            raise ValueError(f"grid must be 'common' or an array of Hz, got {grid!r}")
        target = nets[0].f if same_grid else common_grid(*nets)
    else:
        target = _checked_grid(grid)
    # A network already on the grid is used as it is, not resampled.
    aligned = [n.s if n.f.size == target.size and np.array_equal(n.f, target)
               else interpolate(n, target, extrapolate=extrapolate).s for n in nets]
    if half == 1:
        s = _chain_two_ports(aligned)
    else:
        s = aligned[0]
        for following in aligned[1:]:
            s = _join(s, following)
    z0 = np.concatenate([nets[0].z0[:half], nets[-1].z0[half:]])
    return Network._from_arrays(np.array(target, dtype=np.float64), s, z0,
                                name=" * ".join(n.name or "?" for n in nets))
