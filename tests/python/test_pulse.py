"""pulse_response from Python: the two-port it takes, agreement with
scikit-rf's time-domain functions, and the diagnostics' warnings.

The closed forms of the pipeline itself (delayed rectangle, RC step,
reflections, terminations, DC policies) are checked in C++ against the C
API (tests/toolkit/pulse); here the Python layer and independent oracles."""

from __future__ import annotations

import math
import warnings

import numpy as np
import pytest

import zefra_tdr
from zefra_tdr import Network
from zefra_tdr.pulse import pulse_response, two_port_of


def delay_line(f, delay_s, loss_db_per_ghz=0.0):
    """A matched line: S21 = S12 = 10^(-loss f/20) e^{-j w delay}."""
    s = np.zeros((f.size, 2, 2), dtype=np.complex128)
    g = 10.0 ** (-loss_db_per_ghz * f / 1e9 / 20.0) * np.exp(-2j * np.pi * f * delay_s)
    s[:, 1, 0] = s[:, 0, 1] = g
    return Network(f, s)


def rc_line(f, delay_s, tau_s):
    """A matched channel S21 = e^{-j w delay} / (1 + j w tau): causal, smooth."""
    s = np.zeros((f.size, 2, 2), dtype=np.complex128)
    g = np.exp(-2j * np.pi * f * delay_s) / (1.0 + 2j * np.pi * f * tau_s)
    s[:, 1, 0] = s[:, 0, 1] = g
    return Network(f, s)


def test_a_two_port_is_taken_as_it_is_and_a_four_port_needs_a_through():
    f = np.linspace(0, 1e10, 11)
    two = delay_line(f, 1e-10)
    assert two_port_of(two) is two
    four = Network(f, np.zeros((11, 4, 4)))
    with pytest.raises(ValueError, match="give ports=\\(in, out\\)"):
        two_port_of(four)


def test_the_differential_through_is_sdd_on_twice_the_reference():
    f = np.linspace(1e8, 1e10, 20)
    rng = np.random.default_rng(3)
    s = 0.3 * (rng.standard_normal((20, 4, 4)) + 1j * rng.standard_normal((20, 4, 4)))
    net = Network(f, s)
    two = two_port_of(net, order="1-3/2-4")
    # SDD21 = (S[p2,p1] - S[p2,n1] - S[n2,p1] + S[n2,n1]) / 2 with pairs (1,2) in,
    # (3,4) out, ports from 1: the textbook formula, element by element.
    expected = (s[:, 2, 0] - s[:, 2, 1] - s[:, 3, 0] + s[:, 3, 1]) / 2
    np.testing.assert_allclose(two.s[:, 1, 0], expected, rtol=1e-15, atol=1e-16)
    assert two.z0.tolist() == [100.0, 100.0]
    same = two_port_of(net, pairs=((1, 2), (3, 4)))
    assert np.array_equal(same.s, two.s)


def test_matched_terminations_default_to_the_references_of_the_through():
    f = np.linspace(0, 4e10, 401)
    line = delay_line(f, 2e-10)
    r = pulse_response(line, baud_hz=1e10, samples_per_ui=8)
    # Matched: H = S21 / 2, so the step settles to 1/2 (sum of the impulse).
    assert r.diagnostics.dc_value == pytest.approx(0.5, abs=1e-15)
    assert r.step[-1] == pytest.approx(0.5, abs=1e-12)
    assert r.diagnostics.dc_policy == "data"


def _skrf():
    skrf = pytest.importorskip("skrf")
    if not hasattr(np, "bool"):  # skrf 0.15 uses aliases numpy 1.24 dropped
        np.bool = bool
        np.complex = complex
    return skrf


@pytest.mark.parametrize("window", [None])
def test_impulse_and_step_agree_with_scikit_rf_on_the_same_data(window):
    """skrf's impulse_response is fftshift(irfft(S, n)) on the data's own
    grid (0 .. K df).  With the same grid (K = 200, df = 100 MHz; Ns * baud
    chosen so that our Nyquist is the last point), no window and matched
    terminations, our impulse is skrf's / 2 at the same times.  Both are the
    same inverse DFT of the same samples (our resampling returns a grid
    point's own sample; removing and restoring the bulk delay costs a few
    ulps), so they agree to 1e-12 of the peak."""
    skrf = _skrf()
    k = 200
    f = np.arange(k + 1) * 1e8
    net = rc_line(f, 1.5e-9, 20e-12)
    ours = pulse_response(net, baud_hz=5e9, samples_per_ui=8, window="none")
    d = ours.diagnostics
    assert d.fft_size == 2 * k and d.df_hz == pytest.approx(1e8, rel=1e-15)
    one_port = skrf.Network(frequency=skrf.Frequency.from_f(f, unit="hz"),
                            s=net.s[:, 1, 0], z0=50)
    with warnings.catch_warnings():
        warnings.simplefilter("ignore")
        t_ref, h_ref = one_port.impulse_response(window=None, pad=0)
        _, s_ref = one_port.step_response(window=None, pad=0)
    # skrf's array is fftshift(irfft): t = 0 (irfft's sample 0) at index K.
    # Its time vector puts t = 0 at index K - 1, one sample early (its
    # linspace starts at -T/2 + dt), so the samples are aligned by index and
    # our own time axis is checked against n dt.
    zero_ref = k
    assert t_ref.shape == (2 * k,)
    g = d.guard_samples
    n = 2 * k - g
    scale = np.max(np.abs(h_ref))
    np.testing.assert_allclose(ours.t[g:g + n // 2], np.arange(n // 2) * d.dt_s, rtol=1e-15,
                               atol=0)
    np.testing.assert_allclose(2 * ours.impulse[g:g + n // 2],
                               h_ref[zero_ref:zero_ref + n // 2], rtol=0, atol=1e-12 * scale)
    # skrf's step is the running sum from -T/2, ours from -guard: they differ
    # by the samples in between (the ringing of a spectrum cut at Nyquist
    # reaches every time), a constant known from skrf's own impulse.
    missed = np.sum(h_ref[:zero_ref - g])
    np.testing.assert_allclose(2 * ours.step[g:g + n // 2],
                               s_ref[zero_ref:zero_ref + n // 2] - missed, rtol=0,
                               atol=1e-12)


def test_a_well_behaved_channel_has_no_warnings():
    f = np.linspace(1e7, 5e10, 5000)
    r = pulse_response(rc_line(f, 1e-9, 10e-12), baud_hz=2.5e10, samples_per_ui=16)
    assert r.diagnostics.warnings() == []
    assert r.diagnostics.dc_policy == "extrapolate"
    assert r.diagnostics.span_is_default


def test_a_time_advance_is_flagged_as_not_causal():
    f = np.linspace(1e7, 5e10, 5000)
    r = pulse_response(rc_line(f, -1e-9, 10e-12), baud_hz=2.5e10, samples_per_ui=16)
    assert any("before t = 0" in w for w in r.diagnostics.warnings())


def test_a_span_shorter_than_the_response_is_flagged():
    f = np.linspace(1e7, 5e10, 5000)
    r = pulse_response(rc_line(f, 3e-9, 100e-12), baud_hz=2.5e10, samples_per_ui=16,
                       span_s=2e-9)
    assert r.diagnostics.warnings(), r.diagnostics


def test_bad_options_are_refused_with_the_rule():
    f = np.linspace(0, 1e10, 11)
    line = delay_line(f, 1e-10)
    with pytest.raises(ValueError, match="samples_per_ui"):
        pulse_response(line, baud_hz=1e9, samples_per_ui=0)
    with pytest.raises(ValueError, match="window"):
        pulse_response(line, baud_hz=1e9, window="hann")
    with pytest.raises(ValueError, match="dc"):
        pulse_response(line, baud_hz=1e9, dc="physics")
    with pytest.raises(ValueError, match="baud"):
        pulse_response(line, baud_hz=-1.0)
    with pytest.raises(ValueError, match="f_hz"):
        pulse_response(line.s, baud_hz=1e9)


def test_an_open_load_doubles_a_matched_line():
    f = np.linspace(0, 4e10, 401)
    r = pulse_response(delay_line(f, 2e-10), baud_hz=1e10, samples_per_ui=8,
                       load_ohm=math.inf)
    # Open load: H = S21 (1 - 0)(1 + 1) / 2 = S21 = 1 at DC.
    assert r.diagnostics.dc_value == pytest.approx(1.0, abs=1e-15)


@pytest.mark.parametrize("pairs, message", [
    (((1, 5), (3, 4)), "port 5 of pairs"),
    (((1, 1), (3, 4)), "a pair joins two different ports"),
    (((1, 2), (3,)), "pairs must be \\(\\(p_in, n_in\\), \\(p_out, n_out\\)\\)"),
])
def test_bad_differential_pairs_are_refused(pairs, message):
    net = Network(np.linspace(1e8, 1e10, 5), np.zeros((5, 4, 4)))
    with pytest.raises(ValueError, match=message):
        two_port_of(net, pairs=pairs)


def test_pairs_of_unequal_references_are_refused():
    net = Network(np.linspace(1e8, 1e10, 5), np.zeros((5, 4, 4)), [50.0, 40.0, 50.0, 50.0])
    with pytest.raises(ValueError, match="renormalize"):
        two_port_of(net, order="1-3/2-4")
