"""Exhaustive equaliser search on the statistical eye: every receiver CTLE
setting times every transmitter FFE tap vector, scored by the eye height of
the worst eye at a target BER.

For candidate (c, f), with Ns samples per UI (zefra_tk_eye_search,
include/zefra/toolkit/eye.h)::

    p      = CTLE_c(victim)                               (pulse_eq.apply_ctle)
    p_tx[n] = sum_j ffe_f[j] p[n - (j - main) Ns]         (taps in ascending j)
    centre = argmax p_tx                                  (first on ties)
    DFE    : fixed taps k = 1..F and floating groups on the cursors
             p_tx[centre + k Ns], d_k = clip(h_k, +-limit |h_0|)
    eye    : statistical_eye(p_tx, dfe, crosstalk = CTLE_c(aggressors), ...)
    score  = min over the M - 1 eyes of the best-phase eye height at the
             target BER, V

The FFE acts on the victim only (the aggressors' transmitters are not the
victim's); the CTLE acts on everything the receiver sees.  The winner has
the highest score, ties going to the lower flat index c * F + f.
"""

from __future__ import annotations

import ctypes
import itertools
import math
from collections.abc import Iterable
from dataclasses import dataclass, field

import numpy as np

from ._library import toolkit_function
from .equalized import CtleSetting
from .pulse import PulseResponse
from .pulse_eq import DfeResult, _waveform, apply_ctle, apply_dfe, sample_cursors
from .stat_eye import (_BINS_PER_PEAK, _LEVELS, _MESSAGE_SIZE, Aggressor, StatisticalEye,
                       _Aggressor, _non_negative, _Options, _raise_for, _target,
                       _whole, statistical_eye)

__all__ = ["Candidate", "EyeDfe", "SearchResult", "ffe_grid", "search_equalizer"]

_c_double_p = ctypes.POINTER(ctypes.c_double)


class _Dfe(ctypes.Structure):
    """zefra_tk_eye_dfe."""

    _fields_ = [
        ("fixedTaps", ctypes.c_int32),
        ("floatingGroups", ctypes.c_int32),
        ("tapsPerGroup", ctypes.c_int32),
        ("searchStart", ctypes.c_int32),
        ("searchEnd", ctypes.c_int32),
        ("limit", ctypes.c_double),
    ]


@dataclass(frozen=True)
class EyeDfe:
    """The DFE every candidate gets, placed on its own cursors at phase 0.

    Attributes
    ----------
    fixed_taps : int
        Taps on post-cursors k = 1 .. fixed_taps.
    floating_groups : int
        Groups of ``taps_per_group`` consecutive floating taps placed in
        ``search_start .. search_end`` by the library's floating-tap kernel
        (the fixed taps' cursors passed as 0); 0: none.
    taps_per_group : int
    search_start : int, optional
        First post-cursor a group may cover (default ``fixed_taps + 1``).
    search_end : int, optional
        Last one (default: every whole UI after the centre, the smallest
        such count over the candidates of one CTLE setting, so the same
        range fits each of them).
    limit : float
        Largest |d_k| / |h_0| (d_k = clip(h_k, +-limit |h_0|)).
    """

    fixed_taps: int = 0
    floating_groups: int = 0
    taps_per_group: int = 1
    search_start: int | None = None
    search_end: int | None = None
    limit: float = 1.0

    def __post_init__(self):
        object.__setattr__(self, "fixed_taps", _whole(self.fixed_taps, "dfe.fixed_taps", 0))
        object.__setattr__(self, "floating_groups",
                           _whole(self.floating_groups, "dfe.floating_groups", 0))
        object.__setattr__(self, "taps_per_group",
                           _whole(self.taps_per_group, "dfe.taps_per_group", 1))
        if self.search_start is not None:
            object.__setattr__(self, "search_start",
                               _whole(self.search_start, "dfe.search_start", 1))
        if self.search_end is not None:
            object.__setattr__(self, "search_end", _whole(self.search_end, "dfe.search_end", 1))
        object.__setattr__(self, "limit", _non_negative(self.limit, "dfe.limit"))

    def floating(self, search_end: int) -> dict | None:
        """The floating groups as :func:`~zefra_tdr.pulse_eq.apply_dfe`
        takes them (None when there are none)."""
        if self.floating_groups == 0:
            return None
        return {"groups": self.floating_groups, "taps_per_group": self.taps_per_group,
                "search_start": self.start, "search_end": search_end}

    @property
    def start(self) -> int:
        return self.fixed_taps + 1 if self.search_start is None else self.search_start

    def as_dict(self) -> dict:
        return {"fixed_taps": self.fixed_taps, "floating_groups": self.floating_groups,
                "taps_per_group": self.taps_per_group, "search_start": self.search_start,
                "search_end": self.search_end, "limit": self.limit}


@dataclass(frozen=True)
class Candidate:
    """One equaliser setting and its score.

    Attributes
    ----------
    ctle : CtleSetting or None
        None: no CTLE.
    ffe : tuple of float
        Tx FFE taps (empty: no FFE).
    ffe_main : int or None
        Index of the main FFE tap.
    score_v : float
        Best-phase eye height of the worst eye at the target BER, V.
    ctle_index, ffe_index : int
        Where it sits in :attr:`SearchResult.scores`.
    """

    ctle: CtleSetting | None
    ffe: tuple
    ffe_main: int | None
    score_v: float
    ctle_index: int = 0
    ffe_index: int = 0

    def as_dict(self) -> dict:
        return {"ctle": None if self.ctle is None else self.ctle.as_dict(),
                "ffe": list(self.ffe), "ffe_main": self.ffe_main,
                "score_v": self.score_v if math.isfinite(self.score_v) else None,
                "ctle_index": self.ctle_index, "ffe_index": self.ffe_index}


def _ffe(p: np.ndarray, ns: int, taps, main: int) -> np.ndarray:
    """p_tx[n] = sum_j taps[j] p[n - (j - main) Ns], summed over ascending j
    from 0.0 as the search does (so the bits are the ones it scored); p is
    0 outside its array and p_tx keeps its length."""
    out = np.zeros_like(p)
    n = p.size
    for j, c in enumerate(taps):
        shift = (j - main) * ns
        first, last = max(0, shift), min(n, n + shift)
        if first < last:
            out[first:last] += c * p[first - shift:last - shift]
    return out


def _padded(x: np.ndarray, length: int) -> np.ndarray:
    out = np.zeros(length)
    out[:x.size] = x
    return out


@dataclass(frozen=True, eq=False)
class SearchResult:
    """Scores of every candidate and the two best.

    Attributes
    ----------
    scores : numpy.ndarray, (n_ctle or 1, n_ffe or 1)
        Worst-eye best-phase eye height at ``target_ber``, V (read-only).
    ctle : tuple of CtleSetting
        The Rx settings (empty: no CTLE, one row).
    ffe : tuple of tuple of float
        The Tx FFE vectors (empty: no FFE, one column).
    ffe_main : int or None
    winner, runner_up : Candidate
        The highest and the second highest score (ties: the lower flat
        index); runner_up is None with a single candidate.
    dfe : EyeDfe
    search_ends : tuple of int
        The floating search end used with each CTLE setting.
    levels, samples_per_ui, length : int
        M, Ns, and the pulse length searched (every pulse zero-padded to the
        longest).
    target_ber, bin_v, noise_rms, dj_ui, rj_ui : float
    aggressors : tuple of Aggressor
        The crosstalk before the CTLE.
    """

    scores: np.ndarray
    ctle: tuple
    ffe: tuple
    ffe_main: int | None
    winner: Candidate
    runner_up: Candidate | None
    dfe: EyeDfe
    search_ends: tuple
    levels: int
    samples_per_ui: int
    length: int
    target_ber: float
    bin_v: float
    noise_rms: float
    dj_ui: float
    rj_ui: float
    aggressors: tuple = field(default=())

    def candidate_pulse(self, response: PulseResponse, candidate: Candidate) -> np.ndarray:
        """The pulse a candidate was scored on: the response's pulse
        (zero-padded to ``length``) through its CTLE, then its FFE, V."""
        p = _padded(_waveform(response.pulse, "response.pulse"), self.length)
        if candidate.ctle is not None:
            p = _rx(p, candidate.ctle, response.baud_hz, self.samples_per_ui)
        if candidate.ffe:
            p = _ffe(p, self.samples_per_ui, candidate.ffe, candidate.ffe_main)
        return p

    def winner_pulse(self, response: PulseResponse) -> np.ndarray:
        """The winner's equalised pulse (CTLE, then FFE), bit for bit the
        one the search scored; :func:`statistical_eye` on it with
        :meth:`winner_dfe` gives the winner's score."""
        return self.candidate_pulse(response, self.winner)

    def winner_dfe(self, pulse) -> DfeResult | None:
        """The DFE the search placed on ``pulse`` (the winner's): fixed and
        floating taps by :func:`~zefra_tdr.pulse_eq.apply_dfe` on its peak
        cursors (None without taps)."""
        if self.dfe.fixed_taps == 0 and self.dfe.floating_groups == 0:
            return None
        cursors = sample_cursors(pulse, samples_per_ui=self.samples_per_ui, method="peak")
        end = self.search_ends[self.winner.ctle_index]
        return apply_dfe(cursors, taps=self.dfe.fixed_taps, floating=self.dfe.floating(end),
                         limit=self.dfe.limit)

    def winner_eye(self, response: PulseResponse, *, threads=0) -> StatisticalEye:
        """The winner's statistical eye, with the search's settings, DFE and
        crosstalk (through the winner's CTLE)."""
        pulse = self.winner_pulse(response)
        crosstalk = []
        for a in self.aggressors:
            q = _padded(a.pulse, self.length)
            if self.winner.ctle is not None:
                q = _rx(q, self.winner.ctle, response.baud_hz, self.samples_per_ui)
            crosstalk.append(Aggressor(q, a.synchronous, a.offset_ui))
        placed = self.winner_dfe(pulse)
        taps = None
        if placed is not None:
            # The search's tap values, d_k = clip(h_k, +-limit |h_0|), formed
            # as it forms them (a clipped tap recovered from the DfeResult
            # could differ in its last bit).
            h = placed.before.values[placed.before.pre:]
            bound = self.dfe.limit * abs(h[0])
            taps = {k: min(max(float(h[k]), -bound), bound) for k in placed.positions.tolist()}
        return statistical_eye(pulse, self.samples_per_ui, levels=self.levels,
                               noise_rms=self.noise_rms, crosstalk=crosstalk, dj_ui=self.dj_ui,
                               rj_ui=self.rj_ui, dfe=taps, bin_v=self.bin_v, centre="peak",
                               threads=threads)

    def as_dict(self) -> dict:
        """JSON-ready (units in the key names, NaN as None)."""
        return {
            "target_ber": self.target_ber,
            "levels": self.levels,
            "samples_per_ui": self.samples_per_ui,
            "bin_v": self.bin_v,
            "noise_rms_v": self.noise_rms,
            "dj_ui": self.dj_ui,
            "rj_ui": self.rj_ui,
            "dfe": self.dfe.as_dict(),
            "search_ends": list(self.search_ends),
            "aggressor_count": len(self.aggressors),
            "ctle": [c.as_dict() for c in self.ctle],
            "ffe": [list(v) for v in self.ffe],
            "ffe_main": self.ffe_main,
            "scores_v": [[s if math.isfinite(s) else None for s in row]
                         for row in self.scores.tolist()],
            "winner": self.winner.as_dict(),
            "runner_up": None if self.runner_up is None else self.runner_up.as_dict(),
        }


def _rx(p: np.ndarray, ctle: CtleSetting, baud_hz: float, ns: int) -> np.ndarray:
    return apply_ctle(p, baud_hz=baud_hz, samples_per_ui=ns, **ctle.as_dict())


def ffe_grid(pre=(), post=(), *, main=None) -> list[tuple[float, ...]]:
    """Tx FFE tap vectors on a grid, peak-normalised as serial standards
    define them.

    Parameters
    ----------
    pre : sequence of sequences of float
        ``pre[i]``: the values tried for the precursor tap c_{-(i+1)}
        (nearest first).
    post : sequence of sequences of float
        ``post[i]``: the values tried for the post-cursor tap c_{+(i+1)}.
    main : None, float or sequence of float
        None (default): the main tap is ``c_0 = 1 - sum |c_j|`` over the
        other taps, so the peak output swing is 1 (a vector whose c_0 would
        be < 0 is skipped).  Otherwise the values tried for c_0 (no
        normalisation).

    Returns
    -------
    list of tuple
        Vectors ``(c_{-P}, ..., c_{-1}, c_0, c_1, ..., c_Q)``: the main tap
        is at index ``len(pre)`` (pass ``ffe_main=len(pre)`` to
        :func:`search_equalizer`).  Ordered as ``itertools.product`` over
        the taps from c_{-P} to c_Q (the last tap varies fastest).
    """
    def values(seq, name):
        out = tuple(float(v) for v in np.atleast_1d(np.asarray(seq, dtype=np.float64)))
        if not out or not all(math.isfinite(v) for v in out):
            raise ValueError(f"{name} must hold finite values, got {seq!r}")
        return out

    pre_values = [values(v, f"pre[{i}]") for i, v in enumerate(pre)][::-1]
    post_values = [values(v, f"post[{i}]") for i, v in enumerate(post)]
    mains = None if main is None else values(main, "main")
    vectors = []
    columns = [*pre_values, mains if mains is not None else (None,), *post_values]
    for combo in itertools.product(*columns):
        others = combo[:len(pre_values)] + combo[len(pre_values) + 1:]
        c0 = combo[len(pre_values)]
        if c0 is None:
            c0 = 1.0 - math.fsum(abs(c) for c in others)
            if c0 < 0.0:
                continue
        vectors.append((*combo[:len(pre_values)], c0, *combo[len(pre_values) + 1:]))
    return vectors


def _victim(response) -> tuple[np.ndarray, int, float]:
    if not isinstance(response, PulseResponse):
        raise ValueError(f"response must be a PulseResponse, got {type(response).__name__}")
    return (_waveform(response.pulse, "response.pulse"), int(response.samples_per_ui),
            float(response.baud_hz))


def _search_aggressors(crosstalk, ns: int, baud_hz: float) -> tuple[Aggressor, ...]:
    if isinstance(crosstalk, (Aggressor, PulseResponse, np.ndarray)):
        crosstalk = (crosstalk,)
    if not isinstance(crosstalk, Iterable):
        raise ValueError(f"crosstalk must be a sequence of Aggressor, PulseResponse or "
                         f"arrays, got {type(crosstalk).__name__}")
    out = []
    for j, item in enumerate(crosstalk):
        if isinstance(item, Aggressor):
            out.append(item)
        elif isinstance(item, PulseResponse):
            if item.samples_per_ui != ns or item.baud_hz != baud_hz:
                raise ValueError(f"crosstalk[{j}]: {item.samples_per_ui} samples per UI at "
                                 f"{item.baud_hz} Bd, the victim has {ns} at {baud_hz} Bd")
            out.append(Aggressor(item.pulse))
        else:
            out.append(Aggressor(_waveform(item, f"crosstalk[{j}]")))
    return tuple(out)


def _ffe_vectors(ffe, ffe_main) -> tuple[tuple, int | None]:
    vectors = tuple(tuple(float(c) for c in _waveform(v, f"ffe[{i}]")) for i, v in enumerate(ffe))
    if not vectors:
        if ffe_main is not None:
            raise ValueError("ffe_main is given but ffe holds no tap vector")
        return vectors, None
    width = len(vectors[0])
    for i, v in enumerate(vectors):
        if len(v) != width:
            raise ValueError(f"ffe[{i}] has {len(v)} taps, ffe[0] has {width}: every vector "
                             "needs the same length")
    if ffe_main is None:
        main = int(np.argmax(np.abs(vectors[0])))
    else:
        main = _whole(ffe_main, "ffe_main", 0, width - 1)
    return vectors, main


def _ranked(scores: np.ndarray) -> np.ndarray:
    """Flat indices by falling score, ties (and NaN last) by index."""
    flat = np.where(np.isnan(scores.ravel()), -np.inf, scores.ravel())
    return np.argsort(-flat, kind="stable")


def search_equalizer(response, *, levels=2, target_ber=1e-12, ctle=(), ffe=(), ffe_main=None,
                     dfe=EyeDfe(), crosstalk=(), noise_rms=0.0, dj_ui=0.0, rj_ui=0.0,
                     bin_v=None, threads=0, progress=None) -> SearchResult:
    """Exhaustive search of CTLE settings times Tx FFE vectors on the
    statistical eye (module docstring: the candidate and its score).

    Parameters
    ----------
    response : PulseResponse
        The victim's pulse response (its pulse, samples per UI and baud).
    levels : int
        M, 2 .. 64.
    target_ber : float
        BER at which the eye height is read, in (0, 1).
    ctle : sequence of CtleSetting
        Rx settings (empty: no CTLE).
    ffe : sequence of tap vectors
        Tx FFE vectors of one length (empty: no FFE); see :func:`ffe_grid`.
    ffe_main : int, optional
        Index of the main tap (default: the largest |tap| of ``ffe[0]``).
    dfe : EyeDfe
        The DFE of every candidate (default: none).
    crosstalk : sequence of Aggressor, PulseResponse or arrays
        Aggressors on the victim's grid; PulseResponse objects and plain
        arrays are asynchronous.  Every Rx setting's CTLE is applied to them
        too; pulses of different lengths are zero-padded to the longest.
    noise_rms, dj_ui, rj_ui : float
        Noise rms (V) and dual-Dirac jitter (UI), as for
        :func:`~zefra_tdr.stat_eye.statistical_eye`.
    bin_v : float, optional
        Lattice step, V.  Default: max |victim pulse| over the Rx settings /
        1000, one step for every candidate so that their scores compare.
    threads : int
        Workers sharing the candidates of one Rx setting (0: all cores).
    progress : callable, optional
        ``progress(done, total)`` after each Rx setting (None: silent).

    Returns
    -------
    SearchResult

    Raises
    ------
    ValueError
        A bad argument, named in the message.
    """
    victim, ns, baud_hz = _victim(response)
    m = _whole(levels, "levels", *_LEVELS)
    target = _target(target_ber)
    settings = tuple(ctle)
    for i, setting in enumerate(settings):
        if not isinstance(setting, CtleSetting):
            raise ValueError(f"ctle[{i}] must be a CtleSetting, got {type(setting).__name__}")
    vectors, main = _ffe_vectors(ffe, ffe_main)
    if not isinstance(dfe, EyeDfe):
        raise ValueError(f"dfe must be an EyeDfe, got {type(dfe).__name__}")
    aggressors = _search_aggressors(crosstalk, ns, baud_hz)
    sigma = _non_negative(noise_rms, "noise_rms")
    dj = _non_negative(dj_ui, "dj_ui")
    rj = _non_negative(rj_ui, "rj_ui")
    workers = _whole(threads, "threads", 0)
    if ns == 1 and (dj > 0.0 or rj > 0.0):
        raise ValueError(f"dj_ui = {dj!r}, rj_ui = {rj!r}: jitter needs samples_per_ui >= 2")
    if progress is not None and not callable(progress):
        raise ValueError(f"progress must be callable or None, got {type(progress).__name__}")

    length = max([victim.size, *(a.pulse.size for a in aggressors)])
    victim = _padded(victim, length)
    rows = settings if settings else (None,)
    received = [victim if s is None else _rx(victim, s, baud_hz, ns) for s in rows]
    if bin_v is None:
        peak = max(float(np.max(np.abs(p))) for p in received)
        if peak == 0.0:
            raise ValueError("response.pulse is all zeros: no eye (and no default bin_v)")
        step = peak / _BINS_PER_PEAK
    else:
        step = _non_negative(bin_v, "bin_v")
        if step == 0.0:
            raise ValueError(f"bin_v = {bin_v!r}: expected a lattice step > 0 (V)")

    opts = _Options()
    toolkit_function("zefra_tk_eye_default_options")(ctypes.addressof(opts))
    opts.levels, opts.binV, opts.noiseRmsV = m, step, sigma
    opts.djUi, opts.rjUi, opts.threads = dj, rj, workers
    modes = (_Aggressor * max(len(aggressors), 1))()
    for j, agg in enumerate(aggressors):
        modes[j].synchronous = int(agg.synchronous)
        modes[j].offsetSamples = agg.offset_samples(ns)
    ffe_flat = np.array(vectors, dtype=np.float64).reshape(-1)
    width = len(vectors[0]) if vectors else 0
    columns = max(len(vectors), 1)
    scores = np.empty((len(rows), columns))
    search = toolkit_function("zefra_tk_eye_search")
    message = ctypes.create_string_buffer(_MESSAGE_SIZE)
    ends = []
    for c, (setting, p) in enumerate(zip(rows, received)):
        shaped = [_ffe(p, ns, v, main) for v in vectors] if vectors else [p]
        fit = min((length - 1 - int(np.argmax(q))) // ns for q in shaped)
        ends.append(_dfe_for(dfe, fit))
        raw_dfe = _Dfe(dfe.fixed_taps, dfe.floating_groups, dfe.taps_per_group, dfe.start,
                       ends[-1], dfe.limit)
        agg = np.array([_padded(a.pulse, length) if setting is None
                        else _rx(_padded(a.pulse, length), setting, baud_hz, ns)
                        for a in aggressors], dtype=np.float64).reshape(-1)
        row = scores[c]
        status = search(p.ctypes.data_as(_c_double_p), 1, length, ns,
                        agg.ctypes.data_as(_c_double_p) if aggressors else None, modes,
                        len(aggressors), ffe_flat.ctypes.data_as(_c_double_p) if vectors else None,
                        len(vectors), width, main or 0, ctypes.addressof(raw_dfe),
                        ctypes.addressof(opts), target, row.ctypes.data_as(_c_double_p),
                        message, _MESSAGE_SIZE)
        _raise_for(status, message)
        if progress is not None:
            progress(c + 1, len(rows))

    scores.setflags(write=False)
    order = _ranked(scores)

    def candidate(flat: int) -> Candidate:
        c, f = divmod(int(flat), columns)
        return Candidate(ctle=rows[c], ffe=vectors[f] if vectors else (), ffe_main=main,
                         score_v=float(scores[c, f]), ctle_index=c, ffe_index=f)

    return SearchResult(
        scores=scores, ctle=settings, ffe=vectors, ffe_main=main, winner=candidate(order[0]),
        runner_up=candidate(order[1]) if order.size > 1 else None, dfe=dfe,
        search_ends=tuple(ends), levels=m, samples_per_ui=ns, length=length, target_ber=target,
        bin_v=step, noise_rms=sigma, dj_ui=dj, rj_ui=rj, aggressors=aggressors)


def _dfe_for(dfe: EyeDfe, fit: int) -> int:
    """The floating search end for candidates with at least ``fit``
    post-cursors; checks that the taps fit."""
    if dfe.fixed_taps > fit:
        raise ValueError(f"dfe.fixed_taps = {dfe.fixed_taps} but a candidate has only {fit} "
                         "post-cursors")
    end = fit if dfe.search_end is None else dfe.search_end
    if dfe.floating_groups > 0:
        if end > fit:
            raise ValueError(f"dfe.search_end = {end} lies past the last post-cursor ({fit}) "
                             "of a candidate")
        if end < dfe.start + dfe.taps_per_group - 1:
            raise ValueError(f"dfe.search_end = {end}: the range {dfe.start}..{end} is "
                             f"narrower than a group of {dfe.taps_per_group} taps")
    return end
