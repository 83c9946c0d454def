"""zefra_tdr.search_equalizer: every score is the worst eye's best-phase
height of the candidate's own statistical eye, rebuilt here from the
package's building blocks (apply_ctle, apply_ffe, sample_cursors,
apply_dfe, statistical_eye); the ranking, the FFE grid, and the arguments.
"""

from __future__ import annotations

import json
import math

import numpy as np
import pytest

from zefra_tdr import (Aggressor, Candidate, CtleSetting, EyeDfe, PulseResponse, apply_ctle,
                       apply_dfe, apply_ffe, ffe_grid, sample_cursors, search_equalizer,
                       statistical_eye)

# Tolerances of this file, each with its reason.
TOLERANCES = {
    # The search sums the FFE over ascending taps; apply_ffe (a convolution
    # in increasing sample index) over descending ones: the two pulses may
    # differ by rounding, a few ULP of the largest sample.
    "ffe_order_rel": 1e-15,
}

NS, BAUD = 8, 25e9


def rc_response(tau_ui: float = 1.2, uis: int = 40, amplitude: float = 0.5) -> PulseResponse:
    """A first-order channel's response to a 1-UI rectangle starting one UI
    into the array: a(1 - e^{-t/tau}) rising, then decaying."""
    n = uis * NS
    t = np.arange(n) / (NS * BAUD)
    x = np.arange(n) / NS - 1.0                                  # UI since the rectangle began
    step = amplitude * np.where(x > 0, 1.0 - np.exp(-np.maximum(x, 0.0) / tau_ui), 0.0)
    pulse = step - np.concatenate([np.zeros(NS), step[:-NS]])
    return PulseResponse(t=t, pulse=pulse, impulse=np.zeros(n), step=step, samples_per_ui=NS,
                         baud_hz=BAUD, main_index=int(np.argmax(pulse)), f=np.zeros(1),
                         transfer=np.zeros(1, dtype=complex), diagnostics=None)


CTLES = (CtleSetting(-3.0, 2e9, 10e9, 30e9), CtleSetting(-6.0, 2e9, 12e9, 30e9))
FFES = ffe_grid(pre=[(0.0, -0.05)], post=[(0.0, -0.1, -0.2)])


def independent_pulse(response, ctle, taps, main):
    """The candidate's pulse from apply_ctle and apply_ffe."""
    p = response.pulse
    if ctle is not None:
        p = apply_ctle(p, baud_hz=BAUD, samples_per_ui=NS, **ctle.as_dict())
    return apply_ffe(p, taps, samples_per_ui=NS, main_tap=main) if taps else p


def test_every_score_is_the_worst_eye_height_of_the_candidates_own_eye():
    # Bit for bit: the pulse is the same to rounding (apply_ffe sums the taps
    # in the other order; SearchResult.candidate_pulse in the search's), and
    # the eye on the search's own bits, with the DFE placed by apply_dfe on
    # the peak cursors, is the search's eye: the same cursors, centre, tap
    # positions and values (no cursor reaches the limit here, so
    # d_k = h_k exactly), the same engine, one thread each.
    response = rc_response()
    dfe = EyeDfe(fixed_taps=2, floating_groups=1, taps_per_group=2)
    result = search_equalizer(response, levels=4, target_ber=1e-6, ctle=CTLES, ffe=FFES,
                              ffe_main=1, dfe=dfe, noise_rms=0.002, dj_ui=0.02, rj_ui=0.01)
    assert result.scores.shape == (len(CTLES), len(FFES))
    for c, ctle in enumerate(CTLES):
        floating = dict(groups=1, taps_per_group=2, search_start=3,
                        search_end=result.search_ends[c])
        for f, taps in enumerate(FFES):
            searched = result.candidate_pulse(response, Candidate(ctle, taps, 1, 0.0))
            scale = np.max(np.abs(searched))
            difference = np.max(np.abs(searched - independent_pulse(response, ctle, taps, 1)))
            assert difference <= TOLERANCES["ffe_order_rel"] * scale
            placed = apply_dfe(sample_cursors(searched, samples_per_ui=NS, method="peak"),
                               taps=2, floating=floating, limit=1.0)
            eye = statistical_eye(searched, NS, levels=4, noise_rms=0.002, dj_ui=0.02,
                                  rj_ui=0.01, bin_v=result.bin_v, dfe=placed, threads=1)
            assert eye.eye_height(1e-6).min() == result.scores[c, f]
    winner_eye = result.winner_eye(response)
    assert winner_eye.eye_height(1e-6).min() == result.winner.score_v


def test_winner_eye_reproduces_the_score_with_clipped_taps():
    # limit 0.2 clips the first post-cursors (h_1 / h_0 is about 0.4): the
    # winner's eye takes d_k = clip(h_k) as the search forms it.
    response = rc_response()
    dfe = EyeDfe(fixed_taps=3, floating_groups=2, taps_per_group=1, limit=0.2)
    result = search_equalizer(response, ctle=CTLES, ffe=FFES, ffe_main=1, dfe=dfe,
                              noise_rms=0.002, target_ber=1e-9)
    eye = result.winner_eye(response)
    assert eye.eye_height(1e-9).min() == result.winner.score_v
    cursors = sample_cursors(result.winner_pulse(response), samples_per_ui=NS)
    assert eye.dfe[1] == 0.2 * cursors.main < cursors.postcursors[0]


def test_ctle_is_applied_to_the_aggressors_and_not_the_ffe():
    response = rc_response()
    near = rc_response(tau_ui=0.6, amplitude=0.05)
    far = rc_response(tau_ui=2.0, amplitude=0.03)
    crosstalk = [Aggressor(near.pulse, synchronous=True, offset_ui=0.25), far]
    taps = ((0.0, 0.9, -0.1),)
    result = search_equalizer(response, ctle=CTLES[:1], ffe=taps, crosstalk=crosstalk,
                              noise_rms=0.002, target_ber=1e-9)
    ctle = CTLES[0].as_dict()
    received = [Aggressor(apply_ctle(near.pulse, baud_hz=BAUD, samples_per_ui=NS, **ctle),
                          True, 0.25),
                Aggressor(apply_ctle(far.pulse, baud_hz=BAUD, samples_per_ui=NS, **ctle))]
    candidate = result.winner
    pulse = result.candidate_pulse(response, candidate)
    eye = statistical_eye(pulse, NS, noise_rms=0.002, bin_v=result.bin_v, crosstalk=received,
                          threads=1)
    assert eye.eye_height(1e-9).min() == result.scores[0, 0]
    assert result.winner_eye(response).eye_height(1e-9).min() == result.scores[0, 0]


def test_winner_has_the_highest_score_and_ties_go_to_the_lower_index():
    # A 20% post-cursor tap opens this channel's eye most; listed twice, the
    # two copies score the same and the first one wins.
    response = rc_response()
    best, plain = (0.0, 0.8, -0.2), (0.0, 1.0, 0.0)
    result = search_equalizer(response, ffe=[plain, best, plain, best], ffe_main=1,
                              noise_rms=0.002)
    flat = result.scores.ravel()
    assert flat[1] == flat[3] == flat.max() > flat[0] == flat[2]
    assert (result.winner.ffe_index, result.runner_up.ffe_index) == (1, 3)
    assert result.winner.ffe == best and result.winner.score_v == flat[1]


def test_single_candidate_without_equalisers_is_the_plain_eye():
    response = rc_response()
    result = search_equalizer(response, noise_rms=0.002, target_ber=1e-9)
    assert result.scores.shape == (1, 1) and result.runner_up is None
    assert result.winner.ctle is None and result.winner.ffe == ()
    eye = statistical_eye(response.pulse, NS, noise_rms=0.002, threads=1)
    assert result.bin_v == eye.bin_v                   # max |pulse| / 1000
    assert eye.eye_height(1e-9).min() == result.winner.score_v
    np.testing.assert_array_equal(result.winner_pulse(response), response.pulse)


def test_default_bin_is_the_largest_received_peak_over_a_thousand():
    response = rc_response()
    result = search_equalizer(response, ctle=CTLES, noise_rms=0.002)
    peaks = [np.max(np.abs(apply_ctle(response.pulse, baud_hz=BAUD, samples_per_ui=NS,
                                      **c.as_dict()))) for c in CTLES]
    assert result.bin_v == max(peaks) / 1000


def test_thread_count_does_not_change_the_scores():
    response = rc_response()
    runs = [search_equalizer(response, ctle=CTLES, ffe=FFES, ffe_main=1, noise_rms=0.002,
                             threads=t).scores for t in (1, 2)]
    np.testing.assert_array_equal(runs[0], runs[1])


def test_progress_is_called_after_each_rx_setting():
    calls = []
    search_equalizer(rc_response(), ctle=CTLES, progress=lambda done, total: calls.append(
        (done, total)))
    assert calls == [(1, 2), (2, 2)]


def test_floating_search_end_defaults_to_the_fewest_post_cursors():
    response = rc_response()
    result = search_equalizer(response, ffe=FFES, ffe_main=1,
                              dfe=EyeDfe(floating_groups=1, taps_per_group=1))
    posts = [sample_cursors(result.candidate_pulse(response, Candidate(None, taps, 1, 0.0)),
                            samples_per_ui=NS).post for taps in FFES]
    assert result.search_ends == (min(posts),)


def test_as_dict_is_json():
    result = search_equalizer(rc_response(), ctle=CTLES, ffe=FFES[:2], ffe_main=1)
    data = json.loads(json.dumps(result.as_dict(), allow_nan=False))
    assert data["winner"]["score_v"] == result.winner.score_v
    assert len(data["scores_v"]) == 2 and len(data["scores_v"][0]) == 2


# ---------------------------------------------------------------------------
# The FFE grid
# ---------------------------------------------------------------------------

def test_ffe_grid_normalises_the_main_tap_to_a_unit_peak():
    grid = ffe_grid(pre=[(0.0, -0.1)], post=[(0.0, -0.2), (0.05,)])
    assert len(grid) == 4
    for vector in grid:
        assert len(vector) == 4                                 # c-1, c0, c1, c2
        assert vector[1] == pytest.approx(1.0 - abs(vector[0]) - abs(vector[2]) - abs(vector[3]))
    assert grid[0] == (0.0, 0.95, 0.0, 0.05)
    assert grid[-1] == (-0.1, pytest.approx(0.65), -0.2, 0.05)


def test_ffe_grid_orders_precursors_nearest_first():
    grid = ffe_grid(pre=[(-0.1,), (0.02,)])
    assert grid == [(0.02, -0.1, pytest.approx(0.88))]          # c-2, c-1, c0


def test_ffe_grid_skips_vectors_with_a_negative_main_tap():
    grid = ffe_grid(pre=[(-0.3, -0.6)], post=[(-0.3, -0.6)])
    assert [v[0] for v in grid] == [-0.3, -0.3, -0.6]
    assert all(v[1] >= 0 for v in grid)


def test_ffe_grid_with_given_main_values_does_not_normalise():
    grid = ffe_grid(post=[(0.0, -0.25)], main=(0.5, 1.0))
    assert grid == [(0.5, 0.0), (0.5, -0.25), (1.0, 0.0), (1.0, -0.25)]


# ---------------------------------------------------------------------------
# Errors name their argument
# ---------------------------------------------------------------------------

@pytest.mark.parametrize("kwargs, name", [
    (dict(levels=1), "levels"),
    (dict(target_ber=1.0), "ber"),
    (dict(ctle=["fast"]), r"ctle\[0\]"),
    (dict(ffe=[(0.0, 1.0), (1.0,)]), r"ffe\[1\]"),
    (dict(ffe=[(0.0, math.nan)]), r"ffe\[0\]"),
    (dict(ffe=[(0.0, 1.0)], ffe_main=2), "ffe_main"),
    (dict(ffe_main=0), "ffe_main"),
    (dict(dfe=3), "dfe"),
    (dict(dfe=EyeDfe(fixed_taps=500)), "dfe.fixed_taps"),
    (dict(dfe=EyeDfe(floating_groups=1, search_end=500)), "dfe.search_end"),
    (dict(dfe=EyeDfe(floating_groups=1, taps_per_group=4, search_start=30, search_end=31)),
     "dfe.search_end"),
    (dict(noise_rms=-1.0), "noise_rms"),
    (dict(threads=-2), "threads"),
    (dict(bin_v=0.0), "bin_v"),
    (dict(crosstalk=[[math.nan]]), r"crosstalk\[0\]"),
    (dict(progress=3), "progress"),
])
def test_bad_search_argument_is_named(kwargs, name):
    with pytest.raises(ValueError, match=name):
        search_equalizer(rc_response(), **kwargs)


def test_response_must_be_a_pulse_response():
    with pytest.raises(ValueError, match="response"):
        search_equalizer(np.ones(8))


def test_eye_dfe_fields_are_checked():
    with pytest.raises(ValueError, match="dfe.limit"):
        EyeDfe(limit=-0.5)
    with pytest.raises(ValueError, match="dfe.taps_per_group"):
        EyeDfe(taps_per_group=0)


def test_aggressor_response_at_another_rate_is_refused():
    other = rc_response()
    other = PulseResponse(**{**vars(other), "baud_hz": 2 * BAUD})
    with pytest.raises(ValueError, match=r"crosstalk\[0\]"):
        search_equalizer(rc_response(), crosstalk=[other])
