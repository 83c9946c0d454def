"""The shipped default channel: the file is the builder's network, the
link it models has the loss, reflections, skew and port numbering stated in
zefra_tdr/default_channel.py, and it is passive and reciprocal."""

from __future__ import annotations

from importlib import import_module

import numpy as np
import pytest

import zefra_tdr

# The package exports the function default_channel under the module's name,
# so the module (its constants) is taken from the import system.
dc = import_module("zefra_tdr.default_channel")

# Tolerances, each with its reason.
TOL = {
    # The builders call exp, log and sqrt of the C library; another libm may
    # round them differently in the last bits.  |S| <= 1, so 1e-13 absolute
    # is a few hundred ulps of the largest value.
    "file_vs_builder": 1e-13,
    # Passivity: the largest singular value of S is 1 at 0 Hz (lossless DC)
    # and below elsewhere; 1e-12 covers the rounding of the cascade.
    "passivity": 1e-12,
    # Delays read from the phase slope between 0.078 and 1 GHz.  Besides
    # the sections' delays the skin term's phase (a1 (1 + j) sqrt(fG) per
    # mm: about a1 L / (4 pi sqrt(fG)) ns, 10 ps here) and the loading of
    # the four capacitances (about z0 C / 2 each, 4.5 ps) lengthen it; 25 ps
    # holds both and still catches a wrong unit or section.
    "delay_s": 25e-12,
    # The skew from the phase difference of the two lines: the skin term's
    # phase adds a1/(2 pi tau) ~ 0.7 % at 1 GHz; 5 % leaves room.
    "skew_rel": 0.05,
}

REGENERATE = ("regenerate it with: /usr/bin/python3 -m zefra_tdr.default_channel --write "
              "python/zefra_tdr/data/default_channel.s4p")


@pytest.fixture(scope="module")
def channel():
    return zefra_tdr.default_channel()


def _db(x):
    return 20.0 * np.log10(np.abs(x))


def test_shipped_file_reads_back_as_the_builder_network(channel):
    shipped = zefra_tdr.read_touchstone(zefra_tdr.default_channel_path())
    assert np.array_equal(shipped.f, channel.f), REGENERATE
    assert np.array_equal(shipped.z0, channel.z0), REGENERATE
    assert np.max(np.abs(shipped.s - channel.s)) <= TOL["file_vs_builder"], REGENERATE


def test_shipped_file_is_small_and_its_span_holds_the_response(channel):
    assert zefra_tdr.default_channel_path().stat().st_size < 1_000_000
    # 1 / df = 12.8 ns: the response arrives after about 1.47 ns and its tail
    # is below 1e-4 of the peak about 6 ns later (docs/eye.md), so a span of
    # 1 / df is long enough; the pulse pipeline's wrap-around check agrees.
    assert 1.0 / (channel.f[1] - channel.f[0]) == pytest.approx(12.8e-9, rel=1e-12)
    response = zefra_tdr.pulse_response(channel, baud_hz=dc.DESIGN_BAUD_HZ, samples_per_ui=8,
                                        order=dc.ORDER)
    assert response.diagnostics.warnings() == []


def test_both_nyquist_frequencies_lie_on_the_grid(channel):
    for baud in (53.125e9, 25.78125e9):
        assert baud / 2 in set(channel.f)


def test_sdd21_loss_at_nyquist_is_between_15_and_20_db(channel):
    mixed = channel.to_mixed_mode(order=dc.ORDER)
    k = int(np.flatnonzero(channel.f == dc.DESIGN_BAUD_HZ / 2)[0])
    assert -20.0 < _db(mixed.sdd[k, 1, 0]) < -15.0


def test_reflections_are_small_up_to_nyquist(channel):
    mixed = channel.to_mixed_mode(order=dc.ORDER)
    band = channel.f <= dc.DESIGN_BAUD_HZ / 2
    assert np.max(_db(mixed.sdd[band, 0, 0])) < -10.0
    assert np.max(_db(mixed.sdd[band, 1, 1])) < -10.0


def test_skew_converts_a_little_differential_signal_to_common_mode(channel):
    mixed = channel.to_mixed_mode(order=dc.ORDER)
    band = (channel.f > 0) & (channel.f <= dc.DESIGN_BAUD_HZ / 2)
    scd21 = _db(mixed.scd[band, 1, 0])
    assert np.max(scd21) < -25.0
    assert np.min(scd21) > -80.0  # there is some: the lines differ


def test_lines_run_from_port_1_to_3_and_2_to_4_and_are_not_coupled(channel):
    s = channel.s
    for out, into in ((2, 0), (3, 1)):
        assert np.all(np.abs(s[1:, out, into]) > 0.01)
    for out, into in ((1, 0), (3, 0), (2, 1), (3, 2)):
        assert np.all(s[:, out, into] == 0)


def test_dc_is_lossless_and_real(channel):
    # No constant loss (a0 = 0) and capacitances only: at 0 Hz each line is
    # a matched thru.
    assert channel.f[0] == 0.0
    assert np.array_equal(channel.s[0, 2, 0], 1.0 + 0.0j)
    assert np.array_equal(channel.s[0, 3, 1], 1.0 + 0.0j)
    assert np.all(channel.s[0].imag == 0.0)


def _delay(channel, out, into, f_hi=1e9):
    k = channel.f <= f_hi
    phase = np.unwrap(np.angle(channel.s[k, out, into][1:]))
    slope = np.polyfit(2 * np.pi * channel.f[k][1:], phase, 1)[0]
    return -slope


def test_delay_is_the_sum_of_the_sections_and_n_lags_p_by_the_skew(channel):
    p = dc.PARAMETERS
    package = p["package_trace_mm"] * p["package_delay_ns_per_mm"] * 1e-9
    board = p["board_mm"] * p["board_delay_ns_per_mm"] * 1e-9
    skew = p["skew_mm"] * p["board_delay_ns_per_mm"] * 1e-9
    delay_p, delay_n = _delay(channel, 2, 0), _delay(channel, 3, 1)
    assert delay_p == pytest.approx(2 * package + board, abs=TOL["delay_s"])
    assert delay_n - delay_p == pytest.approx(skew, rel=TOL["skew_rel"])


def test_is_passive_and_reciprocal(channel):
    assert np.max(channel.passivity()) <= 1.0 + TOL["passivity"]
    assert np.array_equal(channel.s, np.swapaxes(channel.s, 1, 2))


def test_grid_argument_evaluates_the_same_model(channel):
    f = channel.f[::40]
    assert np.allclose(zefra_tdr.default_channel(f).s, channel.s[::40], rtol=0, atol=1e-15)
