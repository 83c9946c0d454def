"""From a pulse response to equalised cursors: CTLE and Tx FFE on the
waveform, cursor sampling, then the DFE on the cursors.

The waveform stages are linear and time-invariant, so their order does not
change the result; they run CTLE first, then FFE.  The DFE is ideal (each
decision is right: error propagation is ignored) and acts on the cursors
sampled at the chosen centre.
"""

from __future__ import annotations

from dataclasses import dataclass

import numpy as np

from .pulse import PulseResponse
from .pulse_eq import Cursors, DfeResult, apply_ctle, apply_dfe, apply_ffe, sample_cursors

__all__ = ["CtleSetting", "EqualizedPulse", "equalize"]


@dataclass(frozen=True)
class CtleSetting:
    """A CTLE: its gain at 0 Hz (dB, usually <= 0), zero and poles (Hz)."""

    dc_gain_db: float
    zero_hz: float
    pole1_hz: float
    pole2_hz: float

    def as_dict(self) -> dict:
        return {"dc_gain_db": self.dc_gain_db, "zero_hz": self.zero_hz,
                "pole1_hz": self.pole1_hz, "pole2_hz": self.pole2_hz}


@dataclass(frozen=True)
class EqualizedPulse:
    """A pulse response after the equalisers.

    Attributes
    ----------
    t : numpy.ndarray
        Time, s (as the pulse response's).
    pulse : numpy.ndarray
        The pulse after CTLE and FFE, V per V.
    cursors : Cursors
        Sampled from ``pulse`` (before the DFE).
    dfe : DfeResult
        Positions, weights, and the cursors before and after the DFE.
    ctle : CtleSetting or None
    ffe_taps : tuple of float
    ffe_main : int or None
    """

    t: np.ndarray
    pulse: np.ndarray
    cursors: Cursors
    dfe: DfeResult
    ctle: CtleSetting | None
    ffe_taps: tuple
    ffe_main: int | None

    @property
    def after_dfe(self) -> Cursors:
        return self.dfe.after


def equalize(response: PulseResponse, *, ctle: CtleSetting | None = None, ffe=None,
             ffe_main=None, sampling="peak", pre=None, post=None, dfe_taps=0,
             dfe_floating=None, dfe_limit=1.0) -> EqualizedPulse:
    """Runs the equalisers on ``response`` and samples its cursors.

    Parameters
    ----------
    ctle : CtleSetting, optional
    ffe : sequence of float, optional
        Tx FFE taps (one per UI), ``ffe_main`` the main tap (default: the
        largest).
    sampling : "peak" or "hula-hoop"
        How the centre is chosen (see :func:`~zefra_tdr.pulse_eq.sample_cursors`).
    pre, post : int, optional
        Cursors kept before and after the main one.
    dfe_taps : int
        Fixed DFE taps on post-cursors 1..dfe_taps.
    dfe_floating : dict, optional
        Floating DFE groups: ``groups``, ``taps_per_group``, ``search_start``,
        ``search_end`` (see :func:`~zefra_tdr.pulse_eq.apply_dfe`).
    dfe_limit : float
        Largest tap, as a fraction of the main cursor.
    """
    ns = response.samples_per_ui
    wave = response.pulse
    if ctle is not None:
        wave = apply_ctle(wave, baud_hz=response.baud_hz, samples_per_ui=ns, **ctle.as_dict())
    taps = ()
    if ffe is not None:
        taps = tuple(float(c) for c in ffe)
        wave = apply_ffe(wave, taps, samples_per_ui=ns, main_tap=ffe_main)
    cursors = sample_cursors(wave, samples_per_ui=ns, method=sampling, pre=pre, post=post)
    dfe = apply_dfe(cursors, taps=dfe_taps, floating=dfe_floating, limit=dfe_limit)
    return EqualizedPulse(t=response.t, pulse=wave, cursors=cursors, dfe=dfe, ctle=ctle,
                          ffe_taps=taps, ffe_main=ffe_main)
