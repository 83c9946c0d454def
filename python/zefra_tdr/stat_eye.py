"""Statistical eye of an M-PAM link from its pulse response: the BER map
BER_i(phase, v) of every eye, and its read-out.

The received sample at phase s (whole samples from the centre) is::

    y = a_0 h_0(s) + sum_k a_k h_k(s) + X(s) + N,    h_k(s) = p[centre + s + k Ns]

with i.i.d. symbols uniform on A_M, every cursor of the pulse counted, the
crosstalk X of the aggressors, Gaussian noise N applied analytically and
dual-Dirac sampling jitter as a mixture over phases.  The eye i between the
levels a_i < a_{i+1} has::

    BER_i(s, v) = (1/M) [ (1 - F_{a_i}(s, v)) + F_{a_{i+1}}(s, v) ],
    F_a(s, v) = P(y < v | a_0 = a).

:func:`statistical_eye` calls the toolkit (``zefra_tk_eye_compute``,
include/zefra/toolkit/eye.h); :class:`StatisticalEye` holds the map and reads
it out (``zefra_tk_eye_readout``): eye heights and widths, contours,
bathtubs and the eye area at a target BER.  :data:`CONVENTIONS` states the
model in a few lines, for printing beside every result.
"""

from __future__ import annotations

import ctypes
import math
import operator
import threading
import weakref
from collections.abc import Iterable, Mapping
from dataclasses import dataclass

import numpy as np

from ._library import toolkit_function
from .pulse_eq import DfeResult, _real, _waveform, sample_cursors
from .pulse_eq import _whole as _checked_whole

__all__ = ["CONVENTIONS", "Aggressor", "EyeFigures", "EyeReadout", "StatisticalEye",
           "statistical_eye"]

#: The model behind every number of a statistical eye, printed with it.
CONVENTIONS = """\
symbols: i.i.d., uniform on A_M = {-1, -1 + 2/(M-1), ..., 1}; every cursor of the pulse counts
eye i (levels a_i < a_{i+1}), 1/M weighted: BER_i = (1/M) [(1 - F_{a_i}(v)) + F_{a_{i+1}}(v)],
  F_a(v) = P(y < v | a_0 = a)
ISI and crosstalk: exact densities on the lattice v_j = j bin_v; each cursor position a h_k is
  split linearly between its two bins (mass and mean kept): K cursors lie within K bin_v of
  the exact sum
noise: Gaussian, applied analytically at read-out (both tails at full precision)
jitter: dual Dirac, DJ (peak to peak) + RJ (rms), a mixture of the map over whole-sample phase
  offsets; no transition-density factor (the i.i.d. data give it)
DFE: ideal, d_k subtracted from h_k at every phase, without error propagation
phase 0 = the chosen centre; phases s / Ns UI, s = -floor(Ns/2) .. floor(Ns/2)"""

#: Centring methods by name (an int sample index is accepted as well).
CENTRES = ("peak", "hula-hoop")

# Default lattice step: max |pulse| / _BINS_PER_PEAK.  The eye height read on
# K cursors is bracketed within K bin_v (usually far less: the splitting keeps
# each cursor's mean), so a thousandth of the peak puts the grid error at a
# fraction of a percent of the eye for the usual channels.
_BINS_PER_PEAK = 1000

_MESSAGE_SIZE = 1024
_LEVELS = (2, 64)
_INT32_MAX = 2**31 - 1
_c_double_p = ctypes.POINTER(ctypes.c_double)
_c_int64_p = ctypes.POINTER(ctypes.c_int64)


# ---------------------------------------------------------------------------
# The C structures (zefra/toolkit/eye.h)
# ---------------------------------------------------------------------------

class _Aggressor(ctypes.Structure):
    """zefra_tk_eye_aggressor."""

    _fields_ = [
        ("pulse", _c_double_p),
        ("length", ctypes.c_int64),
        ("synchronous", ctypes.c_int32),
        ("offsetSamples", ctypes.c_int32),
    ]


class _Input(ctypes.Structure):
    """zefra_tk_eye_input."""

    _fields_ = [
        ("pulse", _c_double_p),
        ("length", ctypes.c_int64),
        ("samplesPerUi", ctypes.c_int32),
        ("centre", ctypes.c_int64),
        ("dfePositions", _c_int64_p),
        ("dfeValuesV", _c_double_p),
        ("dfeCount", ctypes.c_int32),
        ("aggressors", ctypes.POINTER(_Aggressor)),
        ("aggressorCount", ctypes.c_int32),
    ]


class _Options(ctypes.Structure):
    """zefra_tk_eye_options."""

    _fields_ = [
        ("levels", ctypes.c_int32),
        ("binV", ctypes.c_double),
        ("noiseRmsV", ctypes.c_double),
        ("djUi", ctypes.c_double),
        ("rjUi", ctypes.c_double),
        ("threads", ctypes.c_int32),
    ]


class _Figures(ctypes.Structure):
    """zefra_tk_eye_figures."""

    _fields_ = [
        ("heightCentreV", ctypes.c_double),
        ("heightBestV", ctypes.c_double),
        ("bestPhaseUi", ctypes.c_double),
        ("thresholdV", ctypes.c_double),
        ("widthUi", ctypes.c_double),
        ("areaVUi", ctypes.c_double),
        ("minBer", ctypes.c_double),
    ]


def _raise_for(status: int, message) -> None:
    """The toolkit's status as an exception carrying its message."""
    text = message.value.decode("utf-8", "replace")
    if status == 3:
        raise MemoryError(text or "out of memory")
    if status != 0:
        raise ValueError(text or f"the toolkit returned status {status}")


# ---------------------------------------------------------------------------
# Argument checks (each message names the argument)
# ---------------------------------------------------------------------------

def _whole(value, name: str, low: int, high: int = _INT32_MAX) -> int:
    return _checked_whole(value, name, low, high)


def _non_negative(value, name: str) -> float:
    number = _real(value, name)
    if not number >= 0.0:
        raise ValueError(f"{name} = {value!r}: expected a finite value >= 0")
    return number


def _target(ber) -> float:
    try:
        number = float(ber)
    except (TypeError, ValueError):
        raise ValueError(f"ber must be a real number, got {ber!r}") from None
    if not 0.0 < number < 1.0:
        raise ValueError(f"ber = {ber!r}: expected a target BER in (0, 1)")
    return number


# ---------------------------------------------------------------------------
# Inputs
# ---------------------------------------------------------------------------

@dataclass(frozen=True, eq=False)
class Aggressor:
    """A crosstalk aggressor.

    Attributes
    ----------
    pulse : numpy.ndarray, float64, (n,)
        Its pulse response at the victim's receiver, V, with the victim's
        samples per UI and time origin (read-only copy).
    synchronous : bool
        True: the aggressor runs on the victim's clock, offset by
        ``offset_ui``; its cursors are ``q[centre + s + offset + k Ns]``.
        False (default): asynchronous, the mixture over the Ns offsets of
        one UI.
    offset_ui : float
        Phase offset of a synchronous aggressor, UI; rounded to whole
        samples, ``floor(offset_ui * Ns + 1/2)`` (halves round up).
        Ignored when asynchronous.
    """

    pulse: np.ndarray
    synchronous: bool = False
    offset_ui: float = 0.0

    def __post_init__(self):
        pulse = _waveform(self.pulse, "Aggressor.pulse")
        pulse.setflags(write=False)
        object.__setattr__(self, "pulse", pulse)
        if not isinstance(self.synchronous, (bool, np.bool_)):
            raise ValueError(f"Aggressor.synchronous must be True or False, got "
                             f"{self.synchronous!r}")
        object.__setattr__(self, "synchronous", bool(self.synchronous))
        try:
            offset = float(self.offset_ui)
        except (TypeError, ValueError):
            raise ValueError(f"Aggressor.offset_ui must be a real number, got "
                             f"{self.offset_ui!r}") from None
        if not math.isfinite(offset):
            raise ValueError(f"Aggressor.offset_ui = {self.offset_ui!r} is not finite")
        object.__setattr__(self, "offset_ui", offset)

    def offset_samples(self, samples_per_ui: int) -> int:
        """The offset in whole samples at ``samples_per_ui`` (0 when
        asynchronous)."""
        if not self.synchronous:
            return 0
        shift = math.floor(self.offset_ui * samples_per_ui + 0.5)
        if not -_INT32_MAX - 1 <= shift <= _INT32_MAX:
            raise ValueError(f"Aggressor.offset_ui = {self.offset_ui!r} is {shift} samples: "
                             "expected a 32-bit sample offset")
        return shift


def _aggressors(crosstalk) -> tuple[Aggressor, ...]:
    if isinstance(crosstalk, (Aggressor, np.ndarray)):
        crosstalk = (crosstalk,)
    if not isinstance(crosstalk, Iterable):
        raise ValueError(f"crosstalk must be a sequence of Aggressor or pulse arrays, got "
                         f"{type(crosstalk).__name__}")
    out = []
    for j, item in enumerate(crosstalk):
        out.append(item if isinstance(item, Aggressor)
                   else Aggressor(_waveform(item, f"crosstalk[{j}]")))
    return tuple(out)


def _centre_of(p: np.ndarray, ns: int, centre) -> tuple[int, str]:
    if isinstance(centre, str):
        if centre == "peak":
            # A plain cursor list may come from an inverting channel: its
            # main cursor is the largest in magnitude.
            index = int(np.argmax(np.abs(p))) if ns == 1 else int(np.argmax(p))
            return index, "peak"
        if centre == "hula-hoop":
            return sample_cursors(p, samples_per_ui=ns, method="hula-hoop", pre=0,
                                  post=0).main_index, "hula-hoop"
        raise ValueError(f"centre = {centre!r}: expected 'peak', 'hula-hoop' or a sample index")
    index = _whole(centre, "centre", 0, p.size - 1)
    return index, "index"


def _dfe_taps(dfe, p: np.ndarray, given: np.ndarray, ns: int, centre: int,
              sign: float) -> dict[int, float]:
    """The DFE as {k: d_k} in volts of the (possibly negated) pulse p."""
    if dfe is None:
        return {}
    post = (p.size - 1 - centre) // ns
    if isinstance(dfe, DfeResult):
        before, after = dfe.before, dfe.after
        if before.main_index != centre:
            raise ValueError(f"dfe: the DfeResult's cursors are centred at sample "
                             f"{before.main_index}, the eye at sample {centre}; sample them "
                             "with the same centre")
        taps = {}
        for k in dfe.positions.tolist():
            if k > post or k > before.post:
                raise ValueError(f"dfe: tap position {k} lies past the pulse's last "
                                 f"post-cursor ({post})")
            h = before.values[before.pre + k]
            if h != given[centre + k * ns]:
                raise ValueError(f"dfe: its cursor h_{k} = {h!r} is not the pulse's sample "
                                 f"{centre + k * ns} ({given[centre + k * ns]!r}): the "
                                 "DfeResult belongs to another pulse")
            # d_k = h_k - (h_k - d_k): equal to weights * h_0 up to rounding,
            # and exactly h_k where the tap cancels its cursor, so the
            # residual at phase 0 is the DfeResult's own.
            taps[k] = sign * float(h - after.values[after.pre + k])
        return taps
    if isinstance(dfe, (bool, np.bool_)):
        raise ValueError(f"dfe must be None, a tap count, a DfeResult or a dict, got {dfe!r}")
    if isinstance(dfe, Mapping):
        taps = {}
        for key, value in dfe.items():
            k = _whole(key, "dfe key (cursor index k)", 1)
            try:
                d = float(value)
            except (TypeError, ValueError):
                raise ValueError(f"dfe[{k}] must be a real number (V), got {value!r}") from None
            if not math.isfinite(d):
                raise ValueError(f"dfe[{k}] = {value!r} is not finite")
            taps[k] = sign * d
        return taps
    try:
        count = operator.index(dfe)
    except TypeError:
        raise ValueError(f"dfe must be None, a tap count, a DfeResult or a dict {{k: d_k}}, "
                         f"got {type(dfe).__name__}") from None
    count = _whole(count, "dfe", 0)
    if count > post:
        raise ValueError(f"dfe = {count} taps but the pulse has {post} post-cursors after "
                         f"the centre at sample {centre}")
    bound = abs(p[centre])
    return {k: float(np.clip(p[centre + k * ns], -bound, bound)) for k in range(1, count + 1)}


# ---------------------------------------------------------------------------
# Read-out
# ---------------------------------------------------------------------------

@dataclass(frozen=True)
class EyeFigures:
    """Figures of one eye at a target BER ("open" means BER_i <= target;
    between grid points log10 BER is interpolated linearly).

    Attributes
    ----------
    eye : int
        Index i of the eye, between levels a_i and a_{i+1} (0 = lowest).
    height_centre_v : float
        Eye height at phase 0: the total length of the open set in v, V.
    height_best_v : float
        The largest eye height over the phases, V.
    best_phase_ui : float
        Where it occurs (ties: nearest the centre, then the earlier), UI.
    threshold_v : float
        v*: the midpoint of the longest open interval at the best phase
        (closed eye: the v of the smallest BER at phase 0), V.
    width_ui : float
        Eye width: the total length of the open set in phase at v*, UI.
    area_v_ui : float
        Eye area, the trapezoid integral of the height over phase, V UI.
    min_ber : float
        The smallest BER_i of the whole map.
    """

    eye: int
    height_centre_v: float
    height_best_v: float
    best_phase_ui: float
    threshold_v: float
    width_ui: float
    area_v_ui: float
    min_ber: float


def _json_array(a: np.ndarray):
    return [_json_array(row) for row in a] if a.ndim > 1 else \
        [None if not math.isfinite(x) else float(x) for x in a.tolist()]


def _json_number(x: float):
    return float(x) if math.isfinite(x) else None


@dataclass(frozen=True, eq=False)
class EyeReadout:
    """Every eye read out at one target BER.

    Attributes
    ----------
    target_ber : float
    eyes : tuple of EyeFigures, (levels - 1,)
    phases_ui : numpy.ndarray, (n_phases,)
    height_v : numpy.ndarray, (levels - 1, n_phases)
        Eye height at each phase, V.
    contour_low_v, contour_high_v : numpy.ndarray, (levels - 1, n_phases)
        Edges of the open interval that holds v* (or the nearest one), V;
        NaN where the phase has no open v.
    bathtub_min : numpy.ndarray, (levels - 1, n_phases)
        min over v of BER_i at each phase (the horizontal bathtub).
    bathtub_at_threshold : numpy.ndarray, (levels - 1, n_phases)
        BER_i(phase, v*).
    worst_eye : int
        The eye of the smallest ``height_best_v`` (the lower index on ties).
    """

    target_ber: float
    eyes: tuple
    phases_ui: np.ndarray
    height_v: np.ndarray
    contour_low_v: np.ndarray
    contour_high_v: np.ndarray
    bathtub_min: np.ndarray
    bathtub_at_threshold: np.ndarray
    worst_eye: int

    def as_dict(self) -> dict:
        """JSON-ready: units in the key names, NaN as None."""
        return {
            "target_ber": self.target_ber,
            "worst_eye": self.worst_eye,
            "eyes": [{key: (_json_number(value) if isinstance(value, float) else value)
                      for key, value in vars(figures).items()} for figures in self.eyes],
            "phases_ui": _json_array(self.phases_ui),
            "height_v": _json_array(self.height_v),
            "contour_low_v": _json_array(self.contour_low_v),
            "contour_high_v": _json_array(self.contour_high_v),
            "bathtub_min_ber": _json_array(self.bathtub_min),
            "bathtub_at_threshold_ber": _json_array(self.bathtub_at_threshold),
        }


def _read_only(a: np.ndarray) -> np.ndarray:
    a.setflags(write=False)
    return a


class StatisticalEye:
    """The BER map of every eye, with its grid and how it was made.

    Made by :func:`statistical_eye`; its attributes cannot be set.

    Attributes
    ----------
    phases_ui : numpy.ndarray, (n_phases,)
        s / Ns for s = -floor(Ns/2) .. floor(Ns/2), UI (phase 0 = the centre).
    voltages : numpy.ndarray, (n_v,)
        The lattice v_m = m bin_v covering every level's reach, V.
    ber : numpy.ndarray, (levels - 1, n_phases, n_v)
        BER_i(phase, v) (read-only).
    levels, samples_per_ui : int
    centre : int
        Sample of the pulse at phase 0.
    centre_method : str
        "peak", "hula-hoop" or "index".
    inverted : bool
        True when the main cursor was negative and the pulse was negated.
    bin_v, noise_rms, dj_ui, rj_ui : float
        Lattice step (V), noise rms (V), jitter DJ (peak to peak) and RJ
        (rms), UI.
    main_cursor : numpy.ndarray, (n_phases,)
        h_0 at each phase, V.
    dfe : dict
        {k: d_k} in V (of the pulse after any negation).
    aggressor_count : int
    """

    _FIELDS = ("phases_ui", "voltages", "ber", "levels", "samples_per_ui", "centre",
               "centre_method", "inverted", "bin_v", "noise_rms", "dj_ui", "rj_ui",
               "main_cursor", "dfe", "aggressor_count")

    def __init__(self, handle: ctypes.c_void_p, **fields):
        for name in self._FIELDS:
            object.__setattr__(self, name, fields.pop(name))
        if fields:
            raise TypeError(f"unknown fields {sorted(fields)}")
        object.__setattr__(self, "_handle", handle)
        object.__setattr__(self, "_readouts", {})
        object.__setattr__(self, "_lock", threading.Lock())
        # The native eye lives as long as this object.
        object.__setattr__(self, "_finalizer",
                           weakref.finalize(self, toolkit_function("zefra_tk_eye_free"), handle))

    def __setattr__(self, name, value):
        raise AttributeError(f"StatisticalEye.{name} cannot be set")

    def __repr__(self) -> str:
        return (f"StatisticalEye(levels={self.levels}, samples_per_ui={self.samples_per_ui}, "
                f"phases={self.phases_ui.size}, voltages={self.voltages.size}, "
                f"bin_v={self.bin_v:.4g}, noise_rms={self.noise_rms:.4g})")

    # ---- read-out -------------------------------------------------------

    def readout(self, ber) -> EyeReadout:
        """Every eye read out at the target ``ber`` (in (0, 1))."""
        target = _target(ber)
        with self._lock:
            cached = self._readouts.get(target)
        if cached is not None:
            return cached
        eyes, phases = self.levels - 1, self.phases_ui.size
        arrays = {name: np.empty((eyes, phases)) for name in
                  ("height_v", "contour_low_v", "contour_high_v", "bathtub_min",
                   "bathtub_at_threshold")}
        figures_out = []
        message = ctypes.create_string_buffer(_MESSAGE_SIZE)
        read = toolkit_function("zefra_tk_eye_readout")
        for i in range(eyes):
            raw = _Figures()
            rows = [arrays[name][i] for name in ("height_v", "contour_low_v", "contour_high_v",
                                                 "bathtub_min", "bathtub_at_threshold")]
            status = read(self._handle, i, target, ctypes.addressof(raw),
                          *(row.ctypes.data_as(_c_double_p) for row in rows), message,
                          _MESSAGE_SIZE)
            _raise_for(status, message)
            figures_out.append(EyeFigures(
                eye=i, height_centre_v=raw.heightCentreV, height_best_v=raw.heightBestV,
                best_phase_ui=raw.bestPhaseUi, threshold_v=raw.thresholdV,
                width_ui=raw.widthUi, area_v_ui=raw.areaVUi, min_ber=raw.minBer))
        heights = [f.height_best_v for f in figures_out]
        # np.argmin takes the first of equal minima: the lower eye on ties.
        worst = int(np.argmin(heights))
        result = EyeReadout(target_ber=target, eyes=tuple(figures_out),
                            phases_ui=self.phases_ui,
                            **{name: _read_only(a) for name, a in arrays.items()},
                            worst_eye=worst)
        with self._lock:
            self._readouts[target] = result
        return result

    def eye_height(self, ber, phase="best") -> np.ndarray:
        """Eye height of every eye at the target ``ber``, V, shape
        (levels - 1,): at its best phase (``phase="best"``) or at phase 0
        (``"centre"``)."""
        if phase not in ("best", "centre"):
            raise ValueError(f"phase = {phase!r}: expected 'best' or 'centre'")
        key = "height_best_v" if phase == "best" else "height_centre_v"
        return np.array([getattr(f, key) for f in self.readout(ber).eyes])

    def eye_width(self, ber) -> np.ndarray:
        """Eye width of every eye at the target ``ber`` (at its threshold
        v*), UI, shape (levels - 1,)."""
        return np.array([f.width_ui for f in self.readout(ber).eyes])

    def contour(self, ber) -> tuple[np.ndarray, np.ndarray]:
        """(low, high) edges of every eye's open interval at each phase, V,
        shape (levels - 1, n_phases) each; NaN where the phase is closed."""
        r = self.readout(ber)
        return r.contour_low_v, r.contour_high_v

    def _eye_index(self, eye) -> int:
        return _whole(eye, "eye", 0, self.levels - 2)

    def vertical_bathtub(self, eye, phase_ui=None) -> tuple[np.ndarray, np.ndarray]:
        """(voltages, BER_eye(phase, v)) at the grid phase nearest
        ``phase_ui`` (None: phase 0, the centre)."""
        i = self._eye_index(eye)
        if phase_ui is None:
            p = self.phases_ui.size // 2
        else:
            try:
                where = float(phase_ui)
            except (TypeError, ValueError):
                raise ValueError(f"phase_ui must be a real number, got {phase_ui!r}") from None
            if not math.isfinite(where):
                raise ValueError(f"phase_ui = {phase_ui!r} is not finite")
            p = int(np.argmin(np.abs(self.phases_ui - where)))
        return self.voltages, self.ber[i, p]

    def horizontal_bathtub(self, eye, ber) -> tuple[np.ndarray, np.ndarray, np.ndarray]:
        """(phases_ui, min over v of BER_eye, BER_eye at v*) of one eye, the
        threshold v* read at the target ``ber``."""
        i = self._eye_index(eye)
        r = self.readout(ber)
        return self.phases_ui, r.bathtub_min[i], r.bathtub_at_threshold[i]

    def peak_distortion(self) -> float:
        """Worst-case inner eye edge at phase 0, without noise or jitter, V:
        ``h_0 / (M - 1) - sum_{k != 0} |h_k - d_k| - sum |x|`` (NRZ:
        ``h_0 - sum |h_k|``), x the crosstalk cursors (an asynchronous
        aggressor at its worst offset).  Half the smallest eye height the
        statistical eye can show as its BER goes to 0: a cheap cross-check.
        """
        return self._peak_distortion

    # ---- JSON ---------------------------------------------------------

    def as_dict(self, include_map: bool = False) -> dict:
        """JSON-ready settings of the eye (units in the key names) and,
        when ``include_map``, its grid and BER map."""
        out = {
            "conventions": CONVENTIONS,
            "levels": self.levels,
            "samples_per_ui": self.samples_per_ui,
            "centre_sample": self.centre,
            "centre_method": self.centre_method,
            "inverted": self.inverted,
            "bin_v": self.bin_v,
            "noise_rms_v": self.noise_rms,
            "dj_ui": self.dj_ui,
            "rj_ui": self.rj_ui,
            "dfe_v": {str(k): v for k, v in sorted(self.dfe.items())},
            "aggressor_count": self.aggressor_count,
            "peak_distortion_v": self.peak_distortion(),
        }
        if include_map:
            out["phases_ui"] = _json_array(self.phases_ui)
            out["voltages_v"] = _json_array(self.voltages)
            out["main_cursor_v"] = _json_array(self.main_cursor)
            out["ber"] = _json_array(self.ber)
        return out


def _peak_distortion(p, ns, centre, levels, dfe, aggressors) -> float:
    idx = np.arange(centre % ns, p.size, ns)
    cursors = p[idx].copy()
    k = (idx - centre) // ns
    for position, d in dfe.items():
        cursors[k == position] -= d
    isi = float(np.sum(np.abs(cursors[k != 0])))
    for agg in aggressors:
        q = agg.pulse
        if agg.synchronous:
            start = (centre + agg.offset_samples(ns)) % ns
            isi += float(np.sum(np.abs(q[start::ns])))
        else:
            isi += max(float(np.sum(np.abs(q[o::ns]))) for o in range(min(ns, q.size)))
    return p[centre] / (levels - 1) - isi


# ---------------------------------------------------------------------------
# The eye
# ---------------------------------------------------------------------------

def statistical_eye(pulse, samples_per_ui, *, levels=2, noise_rms=0.0, crosstalk=(),
                    dj_ui=0.0, rj_ui=0.0, dfe=None, bin_v=None, centre="peak",
                    threads=0) -> StatisticalEye:
    """Statistical eye of an M-PAM link: the BER map of every eye.

    Model and conventions in :data:`CONVENTIONS` (and the module docstring).

    Parameters
    ----------
    pulse : array_like of float, (n,)
        The victim's pulse response to a 1-UI symbol of amplitude 1, V,
        ``samples_per_ui`` samples per UI; 0 outside the array.  With
        ``samples_per_ui=1`` it is a plain list of cursors.
    samples_per_ui : int
        Ns >= 1.  The phases are s / Ns for s = -floor(Ns/2) .. floor(Ns/2).
    levels : int
        M, 2 .. 64 (2: NRZ, 4: PAM4).
    noise_rms : float
        Gaussian noise sigma at the slicer, V (>= 0).
    crosstalk : iterable of Aggressor or arrays
        Aggressors; a plain array is an asynchronous aggressor's pulse (V,
        same Ns and time origin as the victim's).
    dj_ui, rj_ui : float
        Dual-Dirac receiver jitter: DJ peak to peak and RJ rms, UI (>= 0).
        Jitter needs ``samples_per_ui >= 2``.
    dfe : None, int, DfeResult or dict
        Ideal DFE (no error propagation), d_k subtracted from h_k at every
        phase:

        * an int N: taps on k = 1..N, d_k = h_k at phase 0 clipped to
          +-|h_0| (tap limit 1);
        * a :class:`~zefra_tdr.pulse_eq.DfeResult` of this pulse's cursors
          (from ``sample_cursors`` with the same centre; checked): its
          positions, d_k = h_k - (residual h_k), i.e. ``weights *
          before.main`` up to rounding;
        * a dict {k: d_k} of cursor indices k >= 1 and tap values in V.
    bin_v : float, optional
        Lattice step, V (> 0).  Default ``max|pulse| / 1000``: the eye height
        on K cursors is bracketed within K bin_v of the exact one, and in
        practice the error is a fraction of a percent of the eye.
    centre : "peak", "hula-hoop" or int
        The sample of phase 0: the largest sample ("peak"; for
        ``samples_per_ui=1``, the largest in magnitude), the hula-hoop
        centre of :func:`~zefra_tdr.pulse_eq.sample_cursors`, or an index.
        A negative main cursor means an inverting channel: the pulse (and
        the DFE values given for it) are negated and ``inverted`` is set;
        crosstalk is unaffected (its density is symmetric).
    threads : int
        Worker threads sharing the phases (0: one per hardware thread); the
        result is the same, bit for bit, for any count.

    Returns
    -------
    StatisticalEye

    Raises
    ------
    ValueError
        A bad argument, named in the message (the toolkit's message is
        passed through for the rules it checks).
    MemoryError
        The map does not fit in memory.
    """
    given = _waveform(pulse, "pulse")
    ns = _whole(samples_per_ui, "samples_per_ui", 1)
    m = _whole(levels, "levels", *_LEVELS)
    sigma = _non_negative(noise_rms, "noise_rms")
    dj = _non_negative(dj_ui, "dj_ui")
    rj = _non_negative(rj_ui, "rj_ui")
    workers = _whole(threads, "threads", 0)
    if ns == 1 and (dj > 0.0 or rj > 0.0):
        raise ValueError(f"dj_ui = {dj!r}, rj_ui = {rj!r}: jitter needs samples_per_ui >= 2 "
                         "(it moves the sampling phase between samples)")
    aggressors = _aggressors(crosstalk)
    index, method = _centre_of(given, ns, centre)
    inverted = bool(given[index] < 0.0)
    sign = -1.0 if inverted else 1.0
    p = -given if inverted else given
    if bin_v is None:
        peak = float(np.max(np.abs(p)))
        if peak == 0.0:
            raise ValueError("pulse is all zeros: no eye (and no default bin_v)")
        step = peak / _BINS_PER_PEAK
    else:
        try:
            step = float(bin_v)
        except (TypeError, ValueError):
            raise ValueError(f"bin_v must be a real number, got {bin_v!r}") from None
        if not (math.isfinite(step) and step > 0.0):
            raise ValueError(f"bin_v = {bin_v!r}: expected a finite lattice step > 0 (V)")
    taps = _dfe_taps(dfe, p, given, ns, index, sign)
    positions = np.array(sorted(taps), dtype=np.int64)
    values = np.array([taps[k] for k in positions.tolist()], dtype=np.float64)

    agg_structs = (_Aggressor * max(len(aggressors), 1))()
    for j, agg in enumerate(aggressors):
        agg_structs[j].pulse = agg.pulse.ctypes.data_as(_c_double_p)
        agg_structs[j].length = agg.pulse.size
        agg_structs[j].synchronous = int(agg.synchronous)
        agg_structs[j].offsetSamples = agg.offset_samples(ns)
    inp = _Input()
    inp.pulse = p.ctypes.data_as(_c_double_p)
    inp.length = p.size
    inp.samplesPerUi = ns
    inp.centre = index
    inp.dfePositions = positions.ctypes.data_as(_c_int64_p)
    inp.dfeValuesV = values.ctypes.data_as(_c_double_p)
    inp.dfeCount = positions.size
    inp.aggressors = agg_structs
    inp.aggressorCount = len(aggressors)
    opts = _Options()
    toolkit_function("zefra_tk_eye_default_options")(ctypes.addressof(opts))
    opts.levels, opts.binV, opts.noiseRmsV = m, step, sigma
    opts.djUi, opts.rjUi, opts.threads = dj, rj, workers

    handle = ctypes.c_void_p()
    message = ctypes.create_string_buffer(_MESSAGE_SIZE)
    status = toolkit_function("zefra_tk_eye_compute")(
        ctypes.addressof(inp), ctypes.addressof(opts), ctypes.byref(handle), message,
        _MESSAGE_SIZE)
    _raise_for(status, message)
    try:
        eyes, phases, voltages = ctypes.c_int32(), ctypes.c_int64(), ctypes.c_int64()
        toolkit_function("zefra_tk_eye_shape")(handle, ctypes.byref(eyes), ctypes.byref(phases),
                                               ctypes.byref(voltages))
        phase_grid = np.empty(phases.value)
        volts = np.empty(voltages.value)
        ber = np.empty((eyes.value, phases.value, voltages.value))
        main = np.empty(phases.value)
        toolkit_function("zefra_tk_eye_copy")(handle, *(a.ctypes.data_as(_c_double_p)
                                                        for a in (phase_grid, volts, ber, main)))
    except BaseException:
        toolkit_function("zefra_tk_eye_free")(handle)
        raise
    eye = StatisticalEye(
        handle, phases_ui=_read_only(phase_grid), voltages=_read_only(volts),
        ber=_read_only(ber), levels=m, samples_per_ui=ns, centre=index, centre_method=method,
        inverted=inverted, bin_v=step, noise_rms=sigma, dj_ui=dj, rj_ui=rj,
        main_cursor=_read_only(main), dfe=taps, aggressor_count=len(aggressors))
    object.__setattr__(eye, "_peak_distortion",
                       _peak_distortion(p, ns, index, m, taps, aggressors))
    return eye
