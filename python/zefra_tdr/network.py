"""N-port networks: S-parameters over a frequency grid, with their references.

:class:`Network` is shaped like scikit-rf's ``Network``: ``f`` in Hz,
``s[k, i, j]`` the S-parameter from port ``j`` to port ``i`` at frequency
``f[k]`` (ports count from 0 here and from 1 in a file), ``z0`` the real
reference resistance of each port in ohms.  :class:`NoiseData` holds the
noise parameters of a two-port.  Touchstone files are read and written by
:mod:`zefra_tdr.touchstone`.
"""

from __future__ import annotations

import re
from dataclasses import dataclass

import numpy as np

__all__ = ["Network", "NoiseData"]

# Mixed-mode descriptors: differential or common mode of a pair of physical
# ports ("D2,3", "C2,3"), or a single-ended port ("S1").
_MIXED_MODE = re.compile(r"[DC][1-9][0-9]*,[1-9][0-9]*|S[1-9][0-9]*")


def _real_vector(x, name: str, unit: str) -> np.ndarray:
    arr = np.asarray(x)
    if np.iscomplexobj(arr):
        raise TypeError(f"{name} must be real ({unit}), got dtype {arr.dtype}")
    if arr.ndim != 1:
        raise ValueError(f"{name} must be one-dimensional, got shape {arr.shape}")
    try:
        return np.array(arr, dtype=np.float64)
    except (TypeError, ValueError) as exc:
        raise ValueError(f"{name} must hold real numbers ({unit}): {exc}") from None


def _check_grid(f: np.ndarray, name: str) -> None:
    """Finite, non-negative and strictly increasing, like a Touchstone grid."""
    bad = np.flatnonzero(~np.isfinite(f))
    if bad.size:
        raise ValueError(f"{name}[{bad[0]}] = {f[bad[0]]!r} Hz is not finite")
    if f.size and f[0] < 0:
        raise ValueError(f"{name}[0] = {f[0]!r} Hz is negative")
    steps = np.flatnonzero(~(f[1:] > f[:-1]))
    if steps.size:
        k = steps[0] + 1
        raise ValueError(f"{name}[{k}] = {f[k]!r} Hz is not above {name}[{k - 1}] = "
                         f"{f[k - 1]!r} Hz: frequencies must increase strictly")


def _texts(values, name: str) -> tuple[str, ...]:
    if isinstance(values, (str, bytes)):
        raise TypeError(f"{name} must be a sequence of str, not a single {type(values).__name__}")
    texts = tuple(values)
    for i, text in enumerate(texts):
        if not isinstance(text, str):
            raise TypeError(f"{name}[{i}] must be a str, got {type(text).__name__}")
    return texts


@dataclass(frozen=True, eq=False)
class NoiseData:
    """Noise parameters of a two-port at ``m`` frequencies, in SI units.

    Parameters
    ----------
    f_hz : array_like of float, shape (m,)
        Frequencies, Hz: finite, non-negative, strictly increasing; they need
        not be those of the network.
    nf_min_db : array_like of float, shape (m,)
        Minimum noise figure, dB.
    gamma_opt : array_like of complex, shape (m,)
        Optimum source reflection coefficient (magnitude and angle in a
        file), referred to the reference of port 1; ``gamma_opt_mag`` and
        ``gamma_opt_deg`` give the file's two columns.
    rn_ohm : array_like of float, shape (m,)
        Effective noise resistance, ohms, not negative.

    The arrays are copied (``float64``, ``complex128``) and made read-only.
    ``m`` is at least 1: a network without noise data has ``noise=None``.

    Raises
    ------
    ValueError
        If an array is not one-dimensional, the lengths differ, ``m`` is 0,
        a value is not finite, the frequencies do not increase strictly or an
        ``rn_ohm`` is negative.  The message names the array and the index.
    TypeError
        If ``f_hz``, ``nf_min_db`` or ``rn_ohm`` is complex.
    """

    f_hz: np.ndarray
    nf_min_db: np.ndarray
    gamma_opt: np.ndarray
    rn_ohm: np.ndarray

    def __post_init__(self) -> None:
        f = _real_vector(self.f_hz, "f_hz", "Hz")
        nf_min = _real_vector(self.nf_min_db, "nf_min_db", "dB")
        rn = _real_vector(self.rn_ohm, "rn_ohm", "ohm")
        gamma = np.asarray(self.gamma_opt)
        if gamma.ndim != 1:
            raise ValueError(f"gamma_opt must be one-dimensional, got shape {gamma.shape}")
        gamma = np.array(gamma, dtype=np.complex128)
        lengths = {"f_hz": f.size, "nf_min_db": nf_min.size, "gamma_opt": gamma.size,
                   "rn_ohm": rn.size}
        if len(set(lengths.values())) != 1:
            raise ValueError(f"the noise arrays differ in length: {lengths}")
        if f.size == 0:
            raise ValueError("noise data need at least one frequency (use noise=None for none)")
        _check_grid(f, "f_hz")
        for name, values in (("nf_min_db", nf_min), ("gamma_opt", gamma), ("rn_ohm", rn)):
            bad = np.flatnonzero(~np.isfinite(values))
            if bad.size:
                raise ValueError(f"{name}[{bad[0]}] = {values[bad[0]]!r} is not finite")
        negative = np.flatnonzero(rn < 0)
        if negative.size:
            raise ValueError(f"rn_ohm[{negative[0]}] = {rn[negative[0]]!r} ohm is negative")
        for name, values in (("f_hz", f), ("nf_min_db", nf_min), ("gamma_opt", gamma),
                             ("rn_ohm", rn)):
            values.flags.writeable = False
            object.__setattr__(self, name, values)

    def __len__(self) -> int:
        return self.f_hz.size

    @property
    def gamma_opt_mag(self) -> np.ndarray:
        """|Gamma_opt|, the third column of a Touchstone noise row."""
        return np.abs(self.gamma_opt)

    @property
    def gamma_opt_deg(self) -> np.ndarray:
        """The angle of Gamma_opt in degrees (-180 .. 180], the fourth column."""
        return np.degrees(np.angle(self.gamma_opt))


class Network:
    """An N-port network: S-parameters over a frequency grid.

    Parameters
    ----------
    f_hz : array_like of float, shape (nf,)
        Frequencies, Hz: at least one, finite, non-negative, strictly
        increasing.
    s : array_like of complex, shape (nf, n, n)
        S-parameters (dimensionless): ``s[k, i, j]`` is the wave out of port
        ``i`` for a wave into port ``j`` at ``f_hz[k]``.  Values need not be
        finite (a Touchstone file cannot hold non-finite ones, though).
    z0_ohm : float or array_like of float, shape (n,)
        Reference resistance of each port, ohms, finite and positive.  A
        single number is the reference of every port (default 50.0).
    noise : NoiseData or None
        Noise parameters, two-ports only.
    comments, warnings : sequence of str
        Comment lines (without their ``!``) and reader warnings, kept as
        tuples.
    name : str
        A name for the network (a file's stem when it was read).
    mixed_mode_order : sequence of str
        Empty, or one descriptor per port (``"D2,3"``, ``"C2,3"``, ``"S1"``)
        when the file held mixed-mode data; ``s`` holds the single-ended
        parameters of the physical ports either way.

    Attributes
    ----------
    f : numpy.ndarray, float64, shape (nf,)
        Frequencies, Hz.
    s : numpy.ndarray, complex128, shape (nf, n, n)
    z0 : numpy.ndarray, float64, shape (n,)
        References, ohms.
    noise, comments, warnings, name, mixed_mode_order
        As given.

    Every array is copied to its dtype; nothing is broadcast or truncated
    to fit.

    Raises
    ------
    ValueError
        If a shape does not match (``s`` not ``(nf, n, n)``, ``z0_ohm``
        neither a number nor ``n`` values), a frequency or reference breaks
        the rules above, ``noise`` is given for other than a two-port, or a
        mixed-mode order does not give one descriptor per port.  The message
        names the argument and the index.
    TypeError
        If ``f_hz`` or ``z0_ohm`` is complex, ``noise`` is not a
        :class:`NoiseData`, or a text is not a ``str``.
    """

    __slots__ = ("f", "s", "z0", "noise", "comments", "warnings", "name", "mixed_mode_order")

    def __init__(self, f_hz, s, z0_ohm=50.0, *, noise=None, comments=(), warnings=(), name="",
                 mixed_mode_order=()) -> None:
        f = _real_vector(f_hz, "f_hz", "Hz")
        s_in = np.asarray(s)
        if s_in.ndim != 3 or s_in.shape[1] != s_in.shape[2]:
            raise ValueError(f"s must have shape (nf, n, n), got {s_in.shape}")
        self._adopt(f, np.array(s_in, dtype=np.complex128), z0_ohm, noise, comments, warnings,
                    name, mixed_mode_order)

    @classmethod
    def _from_arrays(cls, f: np.ndarray, s: np.ndarray, z0: np.ndarray, **texts) -> Network:
        """A network that takes ``f``, ``s`` and ``z0`` as they are (fresh
        arrays of the right dtype, made by the caller), checked but not copied."""
        network = cls.__new__(cls)
        network._adopt(f, s, z0, **texts)
        return network

    def _adopt(self, f, s, z0_ohm, noise=None, comments=(), warnings=(), name="",
               mixed_mode_order=()) -> None:
        if f.size == 0:
            raise ValueError("f_hz is empty: a network has at least one frequency")
        _check_grid(f, "f_hz")
        if s.shape[0] != f.size:
            raise ValueError(f"s has {s.shape[0]} frequency points, f_hz has {f.size}")
        n = s.shape[1]
        if n == 0:
            raise ValueError("s has 0 ports: a network has at least one port")
        z0_in = np.asarray(z0_ohm)
        if np.iscomplexobj(z0_in):
            raise TypeError(f"z0_ohm must be real (a Touchstone reference is a resistance), "
                             f"got {z0_in!r}")
        if z0_in.ndim == 0:
            z0 = np.full(n, float(z0_in), dtype=np.float64)
        elif z0_in.shape == (n,):
            z0 = np.array(z0_in, dtype=np.float64)
        else:
            raise ValueError(f"z0_ohm must be one number or {n} values (one per port), "
                             f"got shape {z0_in.shape}")
        bad = np.flatnonzero(~(np.isfinite(z0) & (z0 > 0)))
        if bad.size:
            raise ValueError(f"z0_ohm[{bad[0]}] = {z0[bad[0]]!r} ohm is not finite and positive")
        if noise is not None:
            if not isinstance(noise, NoiseData):
                raise TypeError(f"noise must be a NoiseData or None, got {type(noise).__name__}")
            if n != 2:
                raise ValueError(f"noise data given for a {n}-port: they exist for two-ports only")
        if not isinstance(name, str):
            raise TypeError(f"name must be a str, got {type(name).__name__}")
        order = _texts(mixed_mode_order, "mixed_mode_order")
        if order:
            if len(order) != n:
                raise ValueError(f"mixed_mode_order has {len(order)} descriptors for {n} ports")
            for i, descriptor in enumerate(order):
                if not _MIXED_MODE.fullmatch(descriptor):
                    raise ValueError(f"mixed_mode_order[{i}] = {descriptor!r} is not a "
                                     "descriptor such as 'D2,3', 'C2,3' or 'S1'")
        self.f = f
        self.s = s
        self.z0 = z0
        self.noise = noise
        self.comments = _texts(comments, "comments")
        self.warnings = _texts(warnings, "warnings")
        self.name = name
        self.mixed_mode_order = order

    def interpolate(self, f_hz, *, extrapolate: bool = False) -> Network:
        """This network on the frequencies ``f_hz`` (Hz); see
        :func:`zefra_tdr.cascading.interpolate`."""
        from .cascading import interpolate

        return interpolate(self, f_hz, extrapolate=extrapolate)

    def passivity(self):
        """sigma_max(S) at each frequency; see :func:`zefra_tdr.network_ops.passivity`."""
        from .network_ops import passivity

        return passivity(self)

    def reciprocity(self):
        """max |S - S^T| at each frequency; see :func:`zefra_tdr.network_ops.reciprocity`."""
        from .network_ops import reciprocity

        return reciprocity(self)

    def subnetwork(self, ports) -> Network:
        """The network of ``ports`` (from 1); see :func:`zefra_tdr.network_ops.subnetwork`."""
        from .network_ops import subnetwork

        return subnetwork(self, ports)

    def renormalize(self, z0) -> Network:
        """This network on new references; see :func:`zefra_tdr.network_ops.renormalize`."""
        from .network_ops import renormalize

        return renormalize(self, z0)

    def to_mixed_mode(self, pairs=None, order=None):
        """Mixed-mode S (SDD, SDC, SCD, SCC); see
        :func:`zefra_tdr.network_ops.to_mixed_mode`."""
        from .network_ops import to_mixed_mode

        return to_mixed_mode(self, pairs=pairs, order=order)

    def extrapolate_to_dc(self) -> Network:
        """This network with a real point at 0 Hz; see
        :func:`zefra_tdr.cascading.extrapolate_to_dc`."""
        from .cascading import extrapolate_to_dc

        return extrapolate_to_dc(self)

    def cascade(self, *others, grid="common", extrapolate: bool = False) -> Network:
        """This network followed by ``others``; see :func:`zefra_tdr.cascade`."""
        from .cascading import cascade

        return cascade(self, *others, grid=grid, extrapolate=extrapolate)

    @property
    def nports(self) -> int:
        """Number of ports ``n``."""
        return self.s.shape[1]

    @property
    def nfreq(self) -> int:
        """Number of frequency points ``nf``."""
        return self.f.size

    def __repr__(self) -> str:
        refs = (f"{self.z0[0]:g} ohm" if np.all(self.z0 == self.z0[0])
                else "[" + ", ".join(f"{r:g}" for r in self.z0) + "] ohm")
        noise = f", {len(self.noise)} noise points" if self.noise is not None else ""
        name = f"{self.name!r}, " if self.name else ""
        return (f"Network({name}{self.nports} ports, {self.nfreq} points, "
                f"{self.f[0]:g} .. {self.f[-1]:g} Hz, z0 {refs}{noise})")
