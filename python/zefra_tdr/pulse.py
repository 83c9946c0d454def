"""Pulse response of a channel: impulse, step and pulse from S-parameters,
with the diagnostics that say whether they can be trusted.

:func:`pulse_response` calls the toolkit library
(``zefra_tk_pulse_response``, include/zefra/toolkit/pulse.h); the pipeline
and its conventions are described in ``docs/pulse.md``:

* the channel is a two-port: a single-ended through (``ports``) or the
  differential through of a 4-port (``order`` or ``pairs``), whose
  references are the modes' 2 z0;
* the transfer is from the source EMF to the load voltage, with source and
  load resistances (matched to the references by default, so that the
  transfer is S21 / 2) and optional pad capacitances;
* times start ``guard`` before t = 0, where the 1 V source step or the
  1-UI source rectangle begins; the pulse is in volts per volt of source.
"""

from __future__ import annotations

import ctypes
import math
from dataclasses import asdict, dataclass

import numpy as np

from ._library import toolkit_function
from .network import Network

__all__ = ["DC_POLICIES", "PulseDiagnostics", "PulseResponse", "WINDOWS", "pulse_response",
           "two_port_of"]

#: DC policies by name, in the order of the ZEFRA_TK_DC_* values.
DC_POLICIES = ("auto", "data", "extrapolate", "given", "resistance", "ac")
#: Windows by name, in the order of the ZEFRA_TK_WINDOW_* values.
WINDOWS = ("none", "raised-cosine", "kaiser")

_MESSAGE_SIZE = 1024
_c_double_p = ctypes.POINTER(ctypes.c_double)


class _Options(ctypes.Structure):
    """zefra_tk_pulse_options."""

    _fields_ = [
        ("baudHz", ctypes.c_double),
        ("samplesPerUi", ctypes.c_int32),
        ("spanS", ctypes.c_double),
        ("sourceOhm", ctypes.c_double),
        ("sourcePadF", ctypes.c_double),
        ("loadOhm", ctypes.c_double),
        ("loadPadF", ctypes.c_double),
        ("dcPolicy", ctypes.c_int32),
        ("dcValue", ctypes.c_double),
        ("rolloffHz", ctypes.c_double),
        ("rxOrder", ctypes.c_int32),
        ("rxBandwidthHz", ctypes.c_double),
        ("window", ctypes.c_int32),
        ("kaiserBeta", ctypes.c_double),
        ("guardS", ctypes.c_double),
    ]


class _Diagnostics(ctypes.Structure):
    """zefra_tk_pulse_diagnostics."""

    _fields_ = [
        ("dcValue", ctypes.c_double),
        ("dcPolicy", ctypes.c_int32),
        ("dcPhaseRad", ctypes.c_double),
        ("bulkDelayS", ctypes.c_double),
        ("bandStartHz", ctypes.c_double),
        ("bandEdgeHz", ctypes.c_double),
        ("rolloffHz", ctypes.c_double),
        ("extrapolatedFraction", ctypes.c_double),
        ("noncausalFraction", ctypes.c_double),
        ("tailFraction", ctypes.c_double),
        ("sigmaMax", ctypes.c_double),
        ("sigmaMaxHz", ctypes.c_double),
        ("dtS", ctypes.c_double),
        ("dfHz", ctypes.c_double),
        ("nyquistHz", ctypes.c_double),
        ("spanS", ctypes.c_double),
        ("spanIsDefault", ctypes.c_int32),
        ("fftSize", ctypes.c_int64),
        ("guardSamples", ctypes.c_int64),
        ("dataAboveNyquist", ctypes.c_int32),
    ]


#: Above these, :meth:`PulseDiagnostics.warnings` speaks up.
NONCAUSAL_LIMIT = 1e-3
TAIL_LIMIT = 1e-4
EXTRAPOLATED_LIMIT = 0.05
PASSIVITY_LIMIT = 1.0 + 1e-6
DC_PHASE_LIMIT_RAD = 0.1


@dataclass(frozen=True)
class PulseDiagnostics:
    """What the pipeline did, in SI units.

    Attributes
    ----------
    dc_value : float
        H(0) used, V per V of source EMF (real).
    dc_policy : str
        How it was obtained: "data", "extrapolate", "given", "resistance"
        or "ac".
    dc_phase_rad : float
        "extrapolate": the phase extrapolated to 0 Hz, in (-pi, pi] (near 0
        or pi when DC is well defined); "data": the phase of the measured
        0 Hz point whose imaginary part was dropped; else 0.
    bulk_delay_s : float
        The delay removed for the interpolation.
    band_start_hz, band_edge_hz : float
        First and last measured frequency.
    rolloff_hz : float
        Width of the raised-cosine roll-off above the band.
    extrapolated_fraction : float
        Share of the spectral energy on the grid outside the measured band.
    noncausal_fraction : float
        Share of the impulse energy at t < 0.
    tail_fraction : float
        Share of the impulse energy in the last 1/16 of the window (large
        when the span is too short and the response wraps around).
    sigma_max, sigma_max_hz : float
        Largest singular value of the two-port's S over the band, and where.
    network_sigma_max : float
        The same for the whole network the two-port was taken from (NaN
        for arrays).
    dt_s, df_hz, nyquist_hz, span_s : float
        Time step, frequency step, highest grid frequency, span used.
    span_is_default : bool
        True when the span was not given: 1 / (median measured step).
    fft_size, guard_samples : int
        Number of time samples and how many lie before t = 0.
    data_above_nyquist : bool
        Measured points above the grid's highest frequency were dropped.
    window : str
        The window applied.
    """

    dc_value: float
    dc_policy: str
    dc_phase_rad: float
    bulk_delay_s: float
    band_start_hz: float
    band_edge_hz: float
    rolloff_hz: float
    extrapolated_fraction: float
    noncausal_fraction: float
    tail_fraction: float
    sigma_max: float
    sigma_max_hz: float
    network_sigma_max: float
    dt_s: float
    df_hz: float
    nyquist_hz: float
    span_s: float
    span_is_default: bool
    fft_size: int
    guard_samples: int
    data_above_nyquist: bool
    window: str

    def warnings(self) -> list[str]:
        """One sentence per figure beyond its limit (empty when all is well)."""
        out = []
        if self.noncausal_fraction > NONCAUSAL_LIMIT:
            out.append(f"{self.noncausal_fraction:.2%} of the impulse energy comes before t = 0: "
                       "the data are not causal (or the response wraps around)")
        if self.tail_fraction > TAIL_LIMIT:
            out.append(f"{self.tail_fraction:.2%} of the impulse energy is in the last 1/16 of "
                       f"the {self.span_s * 1e9:.4g} ns window: the response has not settled; "
                       "give a longer span")
        if self.extrapolated_fraction > EXTRAPOLATED_LIMIT:
            out.append(f"{self.extrapolated_fraction:.1%} of the spectral energy lies outside "
                       f"the measured band ({self.band_start_hz / 1e9:.4g} to "
                       f"{self.band_edge_hz / 1e9:.4g} GHz)")
        if self.sigma_max > PASSIVITY_LIMIT or self.network_sigma_max > PASSIVITY_LIMIT:
            worst = max(self.sigma_max, self.network_sigma_max)
            out.append(f"not passive: sigma_max = {worst:.6g} > 1")
        if self.dc_policy == "extrapolate":
            off = min(abs(self.dc_phase_rad), math.pi - abs(self.dc_phase_rad))
            if off > DC_PHASE_LIMIT_RAD:
                out.append(f"the phase extrapolated to 0 Hz is {self.dc_phase_rad:.3g} rad, "
                           "far from 0 or pi: give the DC value")
        if self.data_above_nyquist:
            out.append(f"measured points above {self.nyquist_hz / 1e9:.4g} GHz (the grid's "
                       "highest frequency) were not used: raise samples_per_ui")
        return out

    def as_dict(self) -> dict:
        return asdict(self)


@dataclass(frozen=True)
class PulseResponse:
    """A channel's response to a 1 V source.

    Attributes
    ----------
    t : numpy.ndarray, (n,)
        Time, s; the source step and rectangle start at t = 0.
    pulse : numpy.ndarray, (n,)
        Response to a 1-UI rectangle of 1 V, V per V.
    impulse : numpy.ndarray, (n,)
        Discrete impulse response h_d (sum = H(0)): the response to a 1 V
        source sample held for one time step.
    step : numpy.ndarray, (n,)
        Response to a 1 V step.
    samples_per_ui : int
    baud_hz : float
    main_index : int
        Index of the largest pulse sample.
    f : numpy.ndarray, (K + 1,)
        The frequency grid, Hz.
    transfer : numpy.ndarray, complex, (K + 1,)
        The transfer on the grid as transformed (after roll-off, receiver
        filter and window).
    diagnostics : PulseDiagnostics
    """

    t: np.ndarray
    pulse: np.ndarray
    impulse: np.ndarray
    step: np.ndarray
    samples_per_ui: int
    baud_hz: float
    main_index: int
    f: np.ndarray
    transfer: np.ndarray
    diagnostics: PulseDiagnostics

    @property
    def ui_s(self) -> float:
        return 1.0 / self.baud_hz


def _pairs_of(network: Network, order, pairs):
    """The input and output pair of a differential through."""
    from .network_ops import order_pairs

    if order is not None:
        if pairs is not None:
            raise ValueError("give order or pairs, not both")
        return order_pairs(network.nports, order, "pairs=((p_in, n_in), (p_out, n_out))")
    try:
        (p1, n1), (p2, n2) = pairs
        return (int(p1), int(n1)), (int(p2), int(n2))
    except (TypeError, ValueError):
        raise ValueError(f"pairs must be ((p_in, n_in), (p_out, n_out)), got {pairs!r}") from None


def two_port_of(network: Network, *, ports=None, order=None, pairs=None) -> Network:
    """The two-port a pulse response is taken through: ``ports=(i, o)``
    (single-ended, from 1), or the differential through of a 4-port
    (``order`` "1-3/2-4" or "1-2/3-4", or ``pairs=((p_in, n_in), (p_out,
    n_out))``) as the 2-port of the differential modes on 2 z0.  A 2-port is
    taken as it is (ports (1, 2)) when nothing is given."""
    if not isinstance(network, Network):
        raise TypeError(f"expected a Network, got {type(network).__name__}")
    differential = order is not None or pairs is not None
    if differential and ports is not None:
        raise ValueError("give ports (single-ended) or order/pairs (differential), not both")
    if differential:
        into, out = _pairs_of(network, order, pairs)
        sides = (into, out)
        for p, n in sides:
            for port in (p, n):
                if not 1 <= port <= network.nports:
                    raise ValueError(f"port {port} of pairs {sides}: the network has ports "
                                     f"1..{network.nports}")
            if p == n:
                raise ValueError(f"pair {(p, n)}: a pair joins two different ports")
            if network.z0[p - 1] != network.z0[n - 1]:
                raise ValueError(f"ports {p} and {n} of a pair have references "
                                 f"{network.z0[p - 1]} and {network.z0[n - 1]} ohm; "
                                 "renormalize them to one value first")
        s = network.s
        sdd = np.empty((network.nfreq, 2, 2), dtype=np.complex128)
        # SDD_ab = (S[pa,pb] - S[pa,nb] - S[na,pb] + S[na,nb]) / 2 for the
        # differential waves d = (a_p - a_n) / sqrt 2 of each pair.
        for a, (pa, na) in enumerate(sides):
            for b, (pb, nb) in enumerate(sides):
                sdd[:, a, b] = 0.5 * ((s[:, pa - 1, pb - 1] - s[:, pa - 1, nb - 1])
                                      - (s[:, na - 1, pb - 1] - s[:, na - 1, nb - 1]))
        z0 = np.array([2.0 * network.z0[into[0] - 1], 2.0 * network.z0[out[0] - 1]])
        return Network._from_arrays(network.f.copy(), sdd, z0, name=network.name)
    if ports is None:
        if network.nports != 2:
            raise ValueError(f"this network has {network.nports} ports: give ports=(in, out) "
                             "for a single-ended through, or order/pairs for a differential one")
        return network
    return network.subnetwork(list(ports))


def _options(baud_hz, samples_per_ui, span_s, source_ohm, load_ohm, source_pad_f, load_pad_f,
             dc, dc_resistance_ohm, rolloff_hz, rx_order, rx_bandwidth_hz, window,
             kaiser_beta, guard_s, z0) -> _Options:
    opts = _Options()
    toolkit_function("zefra_tk_pulse_default_options")(ctypes.addressof(opts))
    opts.baudHz = float(baud_hz)
    if isinstance(samples_per_ui, bool) or int(samples_per_ui) != samples_per_ui:
        raise ValueError(f"samples_per_ui = {samples_per_ui!r}: expected a whole number")
    if not 1 <= int(samples_per_ui) <= 4096:
        raise ValueError(f"samples_per_ui = {samples_per_ui!r}: expected 1 .. 4096")
    opts.samplesPerUi = int(samples_per_ui)
    opts.spanS = -1.0 if span_s is None else float(span_s)
    opts.sourceOhm = float(z0[0] if source_ohm is None else source_ohm)
    opts.loadOhm = float(z0[1] if load_ohm is None else load_ohm)
    opts.sourcePadF = float(source_pad_f)
    opts.loadPadF = float(load_pad_f)
    if dc_resistance_ohm is not None:
        if dc not in ("auto", "resistance"):
            raise ValueError("give dc or dc_resistance_ohm, not both")
        opts.dcPolicy, opts.dcValue = DC_POLICIES.index("resistance"), float(dc_resistance_ohm)
    elif isinstance(dc, str):
        if dc not in DC_POLICIES or dc in ("given", "resistance"):
            raise ValueError(f"dc = {dc!r}: expected 'auto', 'data', 'extrapolate', 'ac' or the "
                             "value of H(0) as a number")
        opts.dcPolicy = DC_POLICIES.index(dc)
    else:
        opts.dcPolicy, opts.dcValue = DC_POLICIES.index("given"), float(dc)
    opts.rolloffHz = -1.0 if rolloff_hz is None else float(rolloff_hz)
    opts.rxOrder = int(rx_order)
    opts.rxBandwidthHz = 0.0 if rx_bandwidth_hz is None else float(rx_bandwidth_hz)
    if window not in WINDOWS:
        raise ValueError(f"window = {window!r} is none of {', '.join(WINDOWS)}")
    opts.window = WINDOWS.index(window)
    opts.kaiserBeta = float(kaiser_beta)
    opts.guardS = -1.0 if guard_s is None else float(guard_s)
    return opts


def pulse_response(channel, *, baud_hz, samples_per_ui=32, ports=None, order=None, pairs=None,
                   f_hz=None, z0_ohm=50.0, source_ohm=None, load_ohm=None, source_pad_f=0.0,
                   load_pad_f=0.0, dc="auto", dc_resistance_ohm=None, span_s=None,
                   rolloff_hz=None, window="none", kaiser_beta=6.0, rx_order=0,
                   rx_bandwidth_hz=None, guard_s=None) -> PulseResponse:
    """Impulse, step and pulse response of a channel, with diagnostics.

    Parameters
    ----------
    channel : Network, or array of complex S, shape (nf, 2, 2)
        The channel.  A Network of more than 2 ports needs ``ports`` (a
        single-ended through) or ``order``/``pairs`` (the differential
        through of a 4-port).  Arrays need ``f_hz`` and use ``z0_ohm``.
    baud_hz : float
        Symbol rate, Hz; the UI is 1 / baud_hz.
    samples_per_ui : int
        Time samples per UI (default 32): dt = UI / samples_per_ui.
    ports, order, pairs
        The through, see :func:`two_port_of`.
    f_hz : array of float, (nf,)
        Frequencies of array input, Hz (>= 0, increasing).
    z0_ohm : float or (2,)
        References of array input, ohms.
    source_ohm, load_ohm : float
        Source and load resistances, ohms (default: the port references,
        matched; for a differential through 2 z0).  ``load_ohm=math.inf`` is
        an open, high-impedance load.
    source_pad_f, load_pad_f : float
        Capacitance across the source and the load, F (for a differential
        port: the differential capacitance, half a leg's).
    dc : "auto", "data", "extrapolate", "ac" or float
        How H(0) is found: "auto" uses a measured 0 Hz point when there is
        one and extrapolates otherwise; "extrapolate" takes |H| and the
        unwrapped phase linearly to 0 Hz; "ac" is an AC-coupled channel
        (H(0) = 0); a number is H(0) itself.
    dc_resistance_ohm : float
        Physics: H(0) = RL / (Rs + R + RL) with R the series DC resistance
        of the channel, ohms.
    span_s : float
        Time the response must settle in, s.  Default: 1 / (median step of
        the measured frequencies), the longest response the data describe;
        the choice is in ``diagnostics.span_is_default``.
    rolloff_hz : float
        Width of the raised-cosine roll-off above the measured band (default:
        a quarter of the band edge).
    window : "none", "raised-cosine" or "kaiser"
        Window over the transformed spectrum (``kaiser_beta`` for Kaiser).
    rx_order, rx_bandwidth_hz
        Receiver Butterworth low-pass: order (0 = none) and -3 dB frequency.
    guard_s : float
        Time shown before t = 0 (default: 1/16 of the span).

    Raises
    ------
    ValueError
        On bad arguments or data, with the rule broken.
    """
    network_sigma = math.nan
    if isinstance(channel, Network):
        if f_hz is not None:
            raise ValueError("f_hz is for array input; a Network carries its frequencies")
        two = two_port_of(channel, ports=ports, order=order, pairs=pairs)
        if channel.nports > 2:
            network_sigma = float(np.nanmax(channel.passivity()))
        f, s, z0 = two.f, two.s, two.z0
    else:
        if ports is not None or order is not None or pairs is not None:
            raise ValueError("ports, order and pairs select the through of a Network; array "
                             "input is already the two-port")
        if f_hz is None:
            raise ValueError("array input needs f_hz")
        s = np.asarray(channel)
        if s.ndim != 3 or s.shape[1:] != (2, 2):
            raise ValueError(f"S must have shape (nf, 2, 2), got {s.shape}")
        f = np.asarray(f_hz, dtype=np.float64)
        z0 = np.broadcast_to(np.asarray(z0_ohm, dtype=np.float64), (2,))
    f = np.ascontiguousarray(f, dtype=np.float64)
    s = np.ascontiguousarray(s, dtype=np.complex128)
    z0 = np.ascontiguousarray(z0, dtype=np.float64)
    if f.ndim != 1 or f.shape[0] != s.shape[0]:
        raise ValueError(f"f_hz has shape {f.shape}; S has {s.shape[0]} frequencies")
    opts = _options(baud_hz, samples_per_ui, span_s, source_ohm, load_ohm, source_pad_f,
                    load_pad_f, dc, dc_resistance_ohm, rolloff_hz, rx_order, rx_bandwidth_hz,
                    window, kaiser_beta, guard_s, z0)
    handle = ctypes.c_void_p()
    message = ctypes.create_string_buffer(_MESSAGE_SIZE)
    status = toolkit_function("zefra_tk_pulse_response")(
        f.shape[0], f.ctypes.data_as(_c_double_p), s.ctypes.data_as(_c_double_p),
        z0.ctypes.data_as(_c_double_p), ctypes.addressof(opts), ctypes.byref(handle), message,
        _MESSAGE_SIZE)
    text = message.value.decode("utf-8", "replace")
    if status == 3:
        raise MemoryError(text or "out of memory")
    if status != 0:
        raise ValueError(text)
    try:
        n = toolkit_function("zefra_tk_pulse_length")(handle)
        t, impulse, step, pulse = (np.empty(n) for _ in range(4))
        toolkit_function("zefra_tk_pulse_copy")(
            handle, *(a.ctypes.data_as(_c_double_p) for a in (t, impulse, step, pulse)))
        raw = _Diagnostics()
        toolkit_function("zefra_tk_pulse_diagnostics_of")(handle, ctypes.addressof(raw))
        transfer = np.empty(n // 2 + 1, dtype=np.complex128)
        toolkit_function("zefra_tk_pulse_copy_transfer")(handle,
                                                         transfer.ctypes.data_as(_c_double_p))
    finally:
        toolkit_function("zefra_tk_pulse_free")(handle)
    diagnostics = PulseDiagnostics(
        dc_value=raw.dcValue, dc_policy=DC_POLICIES[raw.dcPolicy], dc_phase_rad=raw.dcPhaseRad,
        bulk_delay_s=raw.bulkDelayS, band_start_hz=raw.bandStartHz, band_edge_hz=raw.bandEdgeHz,
        rolloff_hz=raw.rolloffHz, extrapolated_fraction=raw.extrapolatedFraction,
        noncausal_fraction=raw.noncausalFraction, tail_fraction=raw.tailFraction,
        sigma_max=raw.sigmaMax, sigma_max_hz=raw.sigmaMaxHz, network_sigma_max=network_sigma,
        dt_s=raw.dtS, df_hz=raw.dfHz, nyquist_hz=raw.nyquistHz, span_s=raw.spanS,
        span_is_default=bool(raw.spanIsDefault), fft_size=int(raw.fftSize),
        guard_samples=int(raw.guardSamples), data_above_nyquist=bool(raw.dataAboveNyquist),
        window=window)
    return PulseResponse(t=t, pulse=pulse, impulse=impulse, step=step,
                         samples_per_ui=int(samples_per_ui), baud_hz=float(baud_hz),
                         main_index=int(np.argmax(pulse)),
                         f=raw.dfHz * np.arange(transfer.shape[0], dtype=np.float64),
                         transfer=transfer, diagnostics=diagnostics)
