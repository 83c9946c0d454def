"""Crosstalk in zefra_tdr.statistical_eye: a synchronous aggressor is more
cursors on other symbols, an asynchronous one the average over the phase
offsets of one UI (brute force); the result does not depend on the thread
count."""

from __future__ import annotations

import numpy as np
import pytest

from test_stat_eye_brute_force import random_pulse
from test_stat_eye_oracle import exact_ber, isi_patterns
from zefra_tdr import Aggressor, statistical_eye

# Tolerances of this file, each with its reason.
TOLERANCES = {
    # As in test_stat_eye_brute_force: the engine's rounding (relative) and
    # its cut of Gaussian terms beyond |z| = 11.5 (absolute).
    "bracket_rel": 1e-9,
    "bracket_abs": 1e-30,
}

NS = 4


def phase_row(eye, s: int) -> int:
    return int(np.flatnonzero(np.round(eye.phases_ui * eye.samples_per_ui) == s)[0])


def test_synchronous_single_cursor_aggressor_is_an_extra_victim_cursor():
    # The aggressor's one sample c, at the offset theta, meets the phase s
    # as the cursor q[centre + s + theta + k Ns] = c for one k: the same as a
    # victim sample c placed theta samples earlier, well away from the main
    # cursor, on a symbol of its own.
    victim = np.concatenate([random_pulse(7, 5, NS), np.zeros(4 * NS)])
    c, theta, where = 0.07, 3, 6 * NS + 1
    q = np.zeros(where + 1)
    q[where] = c
    with_extra = victim.copy()
    with_extra[where - theta] += c
    assert victim[where - theta] == 0.0
    sigma = 0.01
    crossed = statistical_eye(victim, NS, noise_rms=sigma,
                              crosstalk=[Aggressor(q, synchronous=True, offset_ui=theta / NS)])
    extra = statistical_eye(with_extra, NS, noise_rms=sigma, bin_v=crossed.bin_v)
    np.testing.assert_array_equal(crossed.ber, extra.ber)


def test_offset_ui_rounds_to_the_nearest_sample_halves_up():
    q = np.zeros(12)
    q[5] = 0.1
    assert Aggressor(q, True, 0.6 / NS).offset_samples(NS) == 1     # 0.6 samples
    assert Aggressor(q, True, 0.5 / NS).offset_samples(NS) == 1     # a half rounds up
    assert Aggressor(q, True, -0.5 / NS).offset_samples(NS) == 0
    assert Aggressor(q, True, -0.6 / NS).offset_samples(NS) == -1
    assert Aggressor(q, False, 0.6 / NS).offset_samples(NS) == 0    # asynchronous: no offset


def test_asynchronous_aggressor_is_the_average_over_one_ui_of_offsets():
    # Over the offsets 0 .. Ns-1 the aggressor's cursors at phase s run
    # through every residue class q[r::Ns]; the map is the mean of the
    # exact BERs, each with its own bracket.
    sigma = 0.02
    victim = random_pulse(8, 5, NS)
    rng = np.random.default_rng(9)
    q = rng.uniform(-0.08, 0.08, size=3 * NS)
    eye = statistical_eye(victim, NS, noise_rms=sigma, crosstalk=[q])
    rel, abs_ = TOLERANCES["bracket_rel"], TOLERANCES["bracket_abs"]
    for s in (-1, 0, 2):
        idx = np.arange((eye.centre + s) % NS, victim.size, NS)
        h0 = victim[eye.centre + s]
        isi = victim[idx[idx != eye.centre + s]]
        means = {shift: 0.0 for shift in (-1, 0, 1)}
        for r in range(NS):
            cursors = np.concatenate([isi, q[r::NS]])
            reach = cursors.size * eye.bin_v * (1 + 1e-9)
            patterns = isi_patterns(cursors, 2)
            for shift in means:
                means[shift] += exact_ber(h0, patterns, 2, 0, eye.voltages, sigma,
                                          shift=shift * reach) / NS
        row = eye.ber[0, phase_row(eye, s)]
        assert np.all(row <= means[1] * (1 + rel) + abs_)
        assert np.all(row >= means[-1] * (1 - rel) - abs_)
        # The exact mean itself lies in the same bracket: a sanity check of
        # the reference.
        assert np.all(means[-1] <= means[0]) and np.all(means[0] <= means[1])


def test_plain_array_is_an_asynchronous_aggressor():
    victim = random_pulse(10, 5, NS)
    q = np.random.default_rng(11).uniform(-0.05, 0.05, size=2 * NS)
    plain = statistical_eye(victim, NS, noise_rms=0.01, crosstalk=[q])
    wrapped = statistical_eye(victim, NS, noise_rms=0.01, crosstalk=[Aggressor(q)])
    np.testing.assert_array_equal(plain.ber, wrapped.ber)
    assert plain.aggressor_count == 1


def test_thread_count_does_not_change_a_bit():
    rng = np.random.default_rng(12)
    ns = 16
    victim = random_pulse(13, 12, ns)
    aggressors = [Aggressor(rng.uniform(-0.03, 0.03, size=6 * ns)),
                  Aggressor(rng.uniform(-0.03, 0.03, size=6 * ns), True, 0.25)]
    options = dict(levels=4, noise_rms=0.01, crosstalk=aggressors, dj_ui=0.05, rj_ui=0.01,
                   dfe=2)
    maps = [statistical_eye(victim, ns, threads=t, **options) for t in (1, 2, 4)]
    for other in maps[1:]:
        np.testing.assert_array_equal(maps[0].ber, other.ber)
        np.testing.assert_array_equal(maps[0].main_cursor, other.main_cursor)
    figures = [m.readout(1e-6).eyes for m in maps]
    assert figures[0] == figures[1] == figures[2]


def test_crosstalk_closes_the_eye_by_at_most_its_peak_distortion():
    # Peak distortion counts every aggressor cursor at its worst; with no
    # noise, the eye at a BER below every pattern's probability is that
    # worst case, within the lattice bracket of all cursors.
    victim = random_pulse(14, 4, 1)
    q = np.array([0.03, -0.02, 0.01])
    eye = statistical_eye(victim, 1, crosstalk=[Aggressor(q, True, 0.0)])
    cursors = victim.size - 1 + q.size
    height = eye.eye_height(1e-30)[0]
    assert abs(height - 2 * eye.peak_distortion()) <= 2 * cursors * eye.bin_v + 2 * eye.bin_v
    assert eye.peak_distortion() == pytest.approx(
        1.0 - np.sum(np.abs(np.delete(victim, eye.centre))) - np.sum(np.abs(q)), rel=1e-12)
