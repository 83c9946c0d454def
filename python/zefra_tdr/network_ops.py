"""Operations on one network: checks, port selection, references, mixed
mode.  All are vectorised over frequency and return new objects.

Conventions (docs/networks.md):

* ports count from 1, as in Touchstone files;
* references are real and positive; renormalising uses power waves, which
  for real references are also the pseudo-waves:
  a = (V + Z I) / (2 sqrt Z), b = (V - Z I) / (2 sqrt Z);
* mixed mode: a pair (p, n) has the differential wave d = (a_p - a_n)/sqrt 2
  and the common wave c = (a_p + a_n)/sqrt 2, so that
  SDD21 = (S[p2,p1] - S[p2,n1] - S[n2,p1] + S[n2,n1]) / 2; the modes'
  references are 2 z0 (differential) and z0 / 2 (common).
"""

from __future__ import annotations

from dataclasses import dataclass

import numpy as np

from .network import Network

__all__ = ["MixedModeNetwork", "from_mixed_mode", "passivity", "reciprocity", "renormalize",
           "subnetwork", "to_mixed_mode"]

# The two numberings of a single-ended 4-port of a differential line, as
# "which ports a line joins": the input pair and the output pair.
ORDERS = {
    "1-3/2-4": ((1, 2), (3, 4)),  # lines 1 to 3 and 2 to 4: pairs (1, 2) in, (3, 4) out
    "1-2/3-4": ((1, 3), (2, 4)),  # lines 1 to 2 and 3 to 4: pairs (1, 3) in, (2, 4) out
}


def _net(network) -> Network:
    if not isinstance(network, Network):
        raise TypeError(f"expected a Network, got {type(network).__name__}")
    return network


# Frequencies handled at once by the checks: bounds their work arrays.
_BATCH = 4096


def _per_frequency(network, measure) -> np.ndarray:
    """measure(block of finite matrices) -> one value each; NaN where S is
    not finite."""
    s = _net(network).s
    out = np.full(s.shape[0], np.nan)
    for start in range(0, s.shape[0], _BATCH):
        block = s[start:start + _BATCH]
        finite = np.flatnonzero(np.isfinite(block).all(axis=(1, 2)))
        if finite.size:
            out[start + finite] = measure(block[finite])
    return out


def passivity(network) -> np.ndarray:
    """The largest singular value of S at each frequency (float64, (nf,));
    a passive network has at most 1.  NaN where S is not finite."""
    # sigma_max^2 is the largest eigenvalue of the Hermitian S^H S: computed
    # to eps * sigma_max^2, so sigma_max to eps / 2 relative, and faster than
    # a full SVD of every matrix (15 against 26 ms for 10,000 4-ports).
    def largest(s):
        gram = np.conj(np.swapaxes(s, 1, 2)) @ s
        return np.sqrt(np.maximum(np.linalg.eigvalsh(gram)[:, -1], 0.0))

    return _per_frequency(network, largest)


def reciprocity(network) -> np.ndarray:
    """max over i, j of |S_ij - S_ji| at each frequency (float64, (nf,)); 0
    for a reciprocal network.  NaN where S is not finite."""
    return _per_frequency(network,
                          lambda s: np.abs(s - np.swapaxes(s, 1, 2)).max(axis=(1, 2)))


def _port_list(ports, count: int, label: str = "ports") -> list[int]:
    try:
        values = list(ports)
    except TypeError:
        raise ValueError(f"{label} must be a sequence of port numbers from 1, got {ports!r}") \
            from None
    if not values:
        raise ValueError(f"{label} is empty")
    out = []
    for k, value in enumerate(values):
        if isinstance(value, bool) or not isinstance(value, (int, np.integer)):
            raise ValueError(f"{label}[{k}] = {value!r} is not a port number (an int from 1)")
        if not 1 <= value <= count:
            raise ValueError(f"{label}[{k}] = {value} is not a port of this {count}-port "
                             f"(ports count from 1)")
        if value in out:
            raise ValueError(f"{label}[{k}] = {value} is given twice")
        out.append(int(value))
    return out


def subnetwork(network, ports) -> Network:
    """The network of the ports ``ports`` (numbers from 1, in the order
    wanted): their rows and columns of S and their references; the other
    ports are left as they are terminated in their references.  Noise data
    are kept only for ports (1, 2) of a 2-port."""
    net = _net(network)
    chosen = _port_list(ports, net.nports)
    index = np.array(chosen) - 1
    s = np.ascontiguousarray(net.s[:, index[:, None], index[None, :]])
    keep_noise = net.noise if chosen == [1, 2] and net.nports == 2 else None
    return Network._from_arrays(net.f.copy(), s, net.z0[index].copy(), noise=keep_noise,
                                comments=net.comments, name=net.name)


def _references(z0, count: int) -> np.ndarray:
    values = np.asarray(z0)
    if np.iscomplexobj(values):
        raise TypeError("references must be real resistances, ohms")
    values = np.array(values, dtype=np.float64)
    if values.ndim == 0:
        values = np.full(count, float(values))
    elif values.shape != (count,):
        raise ValueError(f"z0 must be one number or {count} values (one per port), "
                         f"got shape {values.shape}")
    bad = np.flatnonzero(~(np.isfinite(values) & (values > 0)))
    if bad.size:
        raise ValueError(f"z0[{bad[0]}] = {values[bad[0]]!r} ohm is not finite and positive")
    return values


def renormalize(network, z0) -> Network:
    """The network on new real references ``z0`` (ohms: one number or one
    per port).  With the power waves of the old (Z) and new (Z') references,
    a' = P a + Q b and b' = Q a + P b for the diagonal
    P = (Z + Z') / (2 sqrt(Z Z')), Q = (Z - Z') / (2 sqrt(Z Z')), so
    S' = (Q + P S)(P + Q S)^-1 (P + Q S is invertible for a passive S).
    Noise data are dropped (their Gamma_opt refers to the old reference)."""
    net = _net(network)
    new = _references(z0, net.nports)
    old = net.z0
    root = 2.0 * np.sqrt(old * new)
    p = (old + new) / root
    q = (old - new) / root
    s = net.s
    numerator = q[None, :, None] * np.eye(net.nports) + p[None, :, None] * s
    denominator = p[None, :, None] * np.eye(net.nports) + q[None, :, None] * s
    # X D = N  <=>  D^T X^T = N^T
    out = np.swapaxes(np.linalg.solve(np.swapaxes(denominator, 1, 2),
                                      np.swapaxes(numerator, 1, 2)), 1, 2)
    return Network._from_arrays(net.f.copy(), np.ascontiguousarray(out), new,
                                comments=net.comments, name=net.name)


@dataclass(frozen=True, eq=False)
class MixedModeNetwork:
    """Mixed-mode S-parameters of a single-ended 2N-port.

    Attributes
    ----------
    f : numpy.ndarray, (nf,)
        Hz.
    s : numpy.ndarray, complex, (nf, 2N, 2N)
        In the mode order D1..DN, C1..CN.
    z0 : numpy.ndarray, (2N,)
        The modes' references, ohms: 2 z0 for D, z0 / 2 for C.
    pairs : tuple of (p, n)
        The single-ended ports of each mode pair (from 1).
    nports : int
        The single-ended port count 2N.
    name : str
    """

    f: np.ndarray
    s: np.ndarray
    z0: np.ndarray
    pairs: tuple
    nports: int
    name: str = ""

    @property
    def npairs(self) -> int:
        return len(self.pairs)

    @property
    def sdd(self) -> np.ndarray:
        """Differential to differential, (nf, N, N)."""
        return self.s[:, :self.npairs, :self.npairs]

    @property
    def sdc(self) -> np.ndarray:
        """Common in, differential out."""
        return self.s[:, :self.npairs, self.npairs:]

    @property
    def scd(self) -> np.ndarray:
        """Differential in, common out (mode conversion)."""
        return self.s[:, self.npairs:, :self.npairs]

    @property
    def scc(self) -> np.ndarray:
        """Common to common."""
        return self.s[:, self.npairs:, self.npairs:]

    def to_network(self, *, comments=()) -> Network:
        """The mixed-mode matrix as a Network on the modes' references
        (ports D1..DN, C1..CN), for writing or cascading mode by mode;
        ``comments`` become the comment lines of a file written from it."""
        return Network._from_arrays(self.f.copy(), self.s.copy(), self.z0.copy(),
                                    name=self.name, comments=tuple(comments))


def order_pairs(nports: int, order, instead: str) -> tuple:
    """The two pairs of a 4-port's numbering ``order`` (see ORDERS); the
    error for another port count names ``instead``, the way to give pairs."""
    if order not in ORDERS:
        raise ValueError(f"order = {order!r} is none of {', '.join(ORDERS)}")
    if nports != 4:
        raise ValueError(f"order applies to 4-ports; this one has {nports} ports: give {instead}")
    return ORDERS[order]


def _pairs(net: Network, pairs, order) -> tuple:
    if pairs is not None and order is not None:
        raise ValueError("give pairs or order, not both")
    if pairs is None:
        if order is None:
            raise ValueError("the port numbering must be given: order='1-3/2-4' (lines 1 to 3 "
                             "and 2 to 4) or '1-2/3-4' (lines 1 to 2 and 3 to 4), or "
                             "pairs=[(p, n), ...]")
        return order_pairs(net.nports, order, "pairs=[(p, n), ...]")
    try:
        chosen = [tuple(pair) for pair in pairs]
    except TypeError:
        raise ValueError(f"pairs must be a sequence of (p, n) port pairs, got {pairs!r}") from None
    if any(len(pair) != 2 for pair in chosen):
        raise ValueError(f"pairs must be (p, n) pairs, got {pairs!r}")
    flat = _port_list([port for pair in chosen for port in pair], net.nports, "pairs")
    if len(flat) != net.nports:
        raise ValueError(f"pairs cover {len(flat)} of the {net.nports} ports; each port must be "
                         "in one pair")
    return tuple(chosen)


def _mode_matrix(pairs: tuple, ports: int) -> np.ndarray:
    n = len(pairs)
    m = np.zeros((ports, ports))
    h = np.sqrt(0.5)
    for k, (p, q) in enumerate(pairs):
        m[k, p - 1], m[k, q - 1] = h, -h
        m[n + k, p - 1], m[n + k, q - 1] = h, h
    return m


def to_mixed_mode(network, pairs=None, order=None) -> MixedModeNetwork:
    """Mixed-mode S of a single-ended 2N-port: Smm = M S M^T.

    Parameters
    ----------
    pairs : sequence of (p, n), optional
        The positive and negative port of each pair (from 1), covering every
        port once.
    order : "1-3/2-4" or "1-2/3-4", optional (4-ports)
        Which ports the two lines join: "1-3/2-4" gives the pairs (1, 2) and
        (3, 4); "1-2/3-4" the pairs (1, 3) and (2, 4).  One of ``pairs`` and
        ``order`` is required: the numbering is never guessed.

    Raises
    ------
    ValueError
        An odd port count, no numbering, a bad pair, or a pair whose two
        ports have different references.
    """
    net = _net(network)
    if net.nports % 2:
        raise ValueError(f"mixed mode needs an even port count; this network has {net.nports}")
    chosen = _pairs(net, pairs, order)
    for p, q in chosen:
        if net.z0[p - 1] != net.z0[q - 1]:
            raise ValueError(f"ports {p} and {q} of a pair have references {net.z0[p - 1]} and "
                             f"{net.z0[q - 1]} ohm; renormalize them to one value first")
    m = _mode_matrix(chosen, net.nports)
    s = np.ascontiguousarray(m @ net.s @ m.T)
    base = np.array([net.z0[p - 1] for p, _ in chosen])
    z0 = np.concatenate([2.0 * base, 0.5 * base])
    return MixedModeNetwork(net.f.copy(), s, z0, chosen, net.nports, net.name)


def from_mixed_mode(mixed: MixedModeNetwork) -> Network:
    """The single-ended network back from :func:`to_mixed_mode`'s result:
    S = M^T Smm M, ports in their original numbering."""
    if not isinstance(mixed, MixedModeNetwork):
        raise TypeError(f"expected a MixedModeNetwork, got {type(mixed).__name__}")
    m = _mode_matrix(mixed.pairs, mixed.nports)
    s = np.ascontiguousarray(m.T @ mixed.s @ m)
    z0 = np.empty(mixed.nports)
    for k, (p, q) in enumerate(mixed.pairs):
        z0[p - 1] = z0[q - 1] = mixed.z0[k] / 2.0
    return Network._from_arrays(mixed.f.copy(), s, z0, name=mixed.name)
