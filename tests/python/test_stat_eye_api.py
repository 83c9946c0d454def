"""zefra_tdr.statistical_eye as a Python API: its grid, the cursor-list
form and inverting channels, the ways of giving a DFE and a centre, the
read-out objects and their JSON form, and the errors that name their
argument."""

from __future__ import annotations

import json
import math

import numpy as np
import pytest

from test_stat_eye_brute_force import random_pulse
from zefra_tdr import (Aggressor, EyeReadout, StatisticalEye, apply_dfe, sample_cursors,
                       statistical_eye)
from zefra_tdr.stat_eye import CONVENTIONS

NS = 4


def test_grid_is_whole_samples_of_phase_and_whole_bins_of_voltage():
    eye = statistical_eye(random_pulse(20, 6, NS), NS, levels=4, noise_rms=0.01)
    np.testing.assert_array_equal(eye.phases_ui, np.arange(-2, 3) / NS)
    m = np.round(eye.voltages / eye.bin_v)
    np.testing.assert_array_equal(eye.voltages, m * eye.bin_v)
    np.testing.assert_array_equal(m, np.arange(-m[-1], m[-1] + 1))
    assert eye.ber.shape == (3, 5, eye.voltages.size)
    assert not eye.ber.flags.writeable
    assert eye.bin_v == 1.0 / 1000                  # the default: max |pulse| / 1000
    np.testing.assert_array_equal(eye.main_cursor,
                                  random_pulse(20, 6, NS)[eye.centre + np.arange(-2, 3)])


def test_even_samples_per_ui_span_one_ui_with_both_ends():
    eye = statistical_eye(random_pulse(21, 4, 8), 8)
    assert eye.phases_ui[0] == -0.5 and eye.phases_ui[-1] == 0.5


def test_cursor_list_centres_on_the_largest_magnitude():
    eye = statistical_eye([0.1, 0.8, -0.2], 1)
    assert (eye.centre, eye.inverted, eye.centre_method) == (1, False, "peak")
    assert eye.phases_ui.tolist() == [0.0]


def test_negative_main_cursor_is_an_inverting_channel_and_is_negated():
    cursors = np.array([0.1, -0.8, 0.2, -0.05])
    inverted = statistical_eye(cursors, 1, noise_rms=0.02, dfe={1: 0.2})
    assert inverted.inverted and inverted.centre == 1
    # The DFE value was given for the pulse as it is, so it is negated too.
    assert inverted.dfe == {1: -0.2}
    plain = statistical_eye(-cursors, 1, noise_rms=0.02, dfe={1: -0.2})
    assert not plain.inverted
    np.testing.assert_array_equal(inverted.ber, plain.ber)


def test_centre_by_index_and_by_hula_hoop():
    p = random_pulse(22, 6, NS)
    assert statistical_eye(p, NS, centre=NS + 1).centre == NS + 1
    hula = statistical_eye(p, NS, centre="hula-hoop")
    assert hula.centre == sample_cursors(p, samples_per_ui=NS, method="hula-hoop").main_index
    assert hula.centre_method == "hula-hoop"


def test_dfe_count_result_and_dict_give_the_same_map():
    p = random_pulse(23, 8, NS)
    count = statistical_eye(p, NS, noise_rms=0.01, dfe=3)
    assert count.dfe == {k: p[NS + k * NS] for k in (1, 2, 3)}
    result = apply_dfe(sample_cursors(p, samples_per_ui=NS), taps=3)
    from_result = statistical_eye(p, NS, noise_rms=0.01, dfe=result)
    as_dict = statistical_eye(p, NS, noise_rms=0.01, dfe=count.dfe)
    np.testing.assert_array_equal(count.ber, from_result.ber)
    np.testing.assert_array_equal(count.ber, as_dict.ber)


def test_dfe_result_of_another_centre_is_refused():
    p = random_pulse(24, 8, NS)
    result = apply_dfe(sample_cursors(p, samples_per_ui=NS), taps=2)
    with pytest.raises(ValueError, match="dfe: the DfeResult's cursors are centred at sample"):
        statistical_eye(p, NS, dfe=result, centre=NS + 1)
    other = apply_dfe(sample_cursors(p * 0.5, samples_per_ui=NS), taps=2)
    with pytest.raises(ValueError, match="another pulse"):
        statistical_eye(p, NS, dfe=other)


def test_readout_figures_agree_with_the_arrays():
    p = random_pulse(25, 10, NS)
    eye = statistical_eye(p, NS, levels=4, noise_rms=0.01, dj_ui=0.05, rj_ui=0.01)
    r = eye.readout(1e-6)
    assert isinstance(r, EyeReadout) and r.target_ber == 1e-6
    assert [f.eye for f in r.eyes] == [0, 1, 2]
    heights = np.array([f.height_best_v for f in r.eyes])
    np.testing.assert_array_equal(eye.eye_height(1e-6), heights)
    np.testing.assert_array_equal(r.height_v.max(axis=1), heights)
    np.testing.assert_array_equal(eye.eye_height(1e-6, phase="centre"), r.height_v[:, NS // 2])
    assert r.worst_eye == int(np.argmin(heights))
    np.testing.assert_array_equal(eye.eye_width(1e-6), [f.width_ui for f in r.eyes])
    low, high = eye.contour(1e-6)
    open_ = r.height_v > 0
    assert np.all(np.isnan(low[~open_])) and np.all(np.isnan(high[~open_]))
    assert np.all(high[open_] - low[open_] <= r.height_v[open_] + 1e-15)
    for i, f in enumerate(r.eyes):
        assert f.min_ber == eye.ber[i].min()
        phases, minimum, at_threshold = eye.horizontal_bathtub(i, 1e-6)
        np.testing.assert_array_equal(minimum, eye.ber[i].min(axis=1))
        assert np.all(at_threshold >= minimum)
        area = np.sum(0.5 * (r.height_v[i, 1:] + r.height_v[i, :-1]) * np.diff(phases))
        assert f.area_v_ui == pytest.approx(area, rel=1e-12)
    assert eye.readout(1e-6) is r                   # read once per target


def test_worst_eye_takes_the_lower_index_on_ties():
    # No ISI: the three PAM4 eyes are mirror images; the outer two are equal.
    eye = statistical_eye([0.6], 1, levels=4, noise_rms=0.01)
    heights = eye.eye_height(1e-12)
    assert heights[0] == heights[2]
    r = eye.readout(1e-12)
    assert r.worst_eye == int(np.flatnonzero(heights == heights.min())[0])


def test_closed_eye_has_no_contour_and_zero_height():
    eye = statistical_eye([0.1, 0.6, 0.5], 1, noise_rms=0.01)
    assert eye.eye_height(1e-12)[0] == 0.0
    low, high = eye.contour(1e-12)
    assert np.isnan(low).all() and np.isnan(high).all()


def test_vertical_bathtub_at_the_nearest_phase():
    p = random_pulse(26, 6, NS)
    eye = statistical_eye(p, NS, noise_rms=0.01)
    v, row = eye.vertical_bathtub(0)
    np.testing.assert_array_equal(row, eye.ber[0, NS // 2])
    v, row = eye.vertical_bathtub(0, phase_ui=0.3)              # nearest: 0.25
    np.testing.assert_array_equal(row, eye.ber[0, 3])
    assert v is eye.voltages


def test_as_dict_is_json_with_units_in_the_keys():
    eye = statistical_eye([0.1, 0.6, 0.5], 1, noise_rms=0.01)   # closed: NaN contours
    text = json.dumps(eye.readout(1e-12).as_dict(), allow_nan=False)
    data = json.loads(text)
    assert data["contour_low_v"] == [[None]]
    assert set(data["eyes"][0]) == {"eye", "height_centre_v", "height_best_v", "best_phase_ui",
                                    "threshold_v", "width_ui", "area_v_ui", "min_ber"}
    settings = eye.as_dict(include_map=True)
    json.dumps(settings, allow_nan=False)
    assert settings["conventions"] == CONVENTIONS and settings["bin_v"] == eye.bin_v


def test_conventions_state_the_model():
    for phrase in ("i.i.d.", "(1/M)", "split linearly", "analytically", "dual Dirac",
                   "no transition-density factor", "without error propagation", "phase 0"):
        assert phrase in CONVENTIONS


def test_eye_attributes_cannot_be_set():
    eye = statistical_eye([1.0], 1)
    assert isinstance(eye, StatisticalEye)
    with pytest.raises(AttributeError):
        eye.levels = 4


def test_peak_distortion_of_a_cursor_list():
    eye = statistical_eye([0.1, 1.0, -0.3, 0.2], 1, levels=4, dfe={2: 0.15})
    assert eye.peak_distortion() == pytest.approx(1.0 / 3 - 0.1 - 0.3 - 0.05, rel=1e-15)


# ---------------------------------------------------------------------------
# Errors name their argument
# ---------------------------------------------------------------------------

GOOD = np.array([0.05, 1.0, 0.2])


@pytest.mark.parametrize("kwargs, name", [
    (dict(pulse=[]), "pulse"),
    (dict(pulse=[[1.0]]), "pulse"),
    (dict(pulse=[1.0, math.nan]), r"pulse\[1\]"),
    (dict(pulse=[1j]), "pulse"),
    (dict(samples_per_ui=0), "samples_per_ui"),
    (dict(levels=1), "levels"),
    (dict(levels=65), "levels"),
    (dict(levels=2.0), "levels"),
    (dict(noise_rms=-1e-3), "noise_rms"),
    (dict(noise_rms=math.inf), "noise_rms"),
    (dict(dj_ui=0.1), "dj_ui"),                      # one sample per UI: no jitter
    (dict(rj_ui=-0.1), "rj_ui"),
    (dict(threads=-1), "threads"),
    (dict(bin_v=0.0), "bin_v"),
    (dict(bin_v=math.nan), "bin_v"),
    (dict(centre=3), "centre"),
    (dict(centre="middle"), "centre"),
    (dict(dfe=5), "dfe"),
    (dict(dfe={0: 0.1}), "dfe"),
    (dict(dfe={1: math.nan}), r"dfe\[1\]"),
    (dict(dfe="all"), "dfe"),
    (dict(crosstalk=[[0.1, math.inf]]), r"crosstalk\[0\]"),
    (dict(crosstalk=5), "crosstalk"),
])
def test_bad_argument_is_named(kwargs, name):
    args = dict(pulse=GOOD, samples_per_ui=1)
    args.update(kwargs)
    with pytest.raises(ValueError, match=name):
        statistical_eye(args.pop("pulse"), args.pop("samples_per_ui"), **args)


def test_all_zero_pulse_has_no_default_bin():
    with pytest.raises(ValueError, match="pulse is all zeros"):
        statistical_eye([0.0, 0.0], 1)


def test_bad_aggressor_fields_are_named():
    with pytest.raises(ValueError, match="Aggressor.pulse"):
        Aggressor([math.nan])
    with pytest.raises(ValueError, match="Aggressor.synchronous"):
        Aggressor([0.1], synchronous="yes")
    with pytest.raises(ValueError, match="Aggressor.offset_ui"):
        Aggressor([0.1], True, math.inf)


def test_bad_readout_arguments_are_named():
    eye = statistical_eye(GOOD, 1, levels=4)
    for ber in (0.0, 1.0, "x"):
        with pytest.raises(ValueError, match="ber"):
            eye.readout(ber)
    with pytest.raises(ValueError, match="eye"):
        eye.vertical_bathtub(3)
    with pytest.raises(ValueError, match="phase"):
        eye.eye_height(1e-6, phase="worst")


def test_toolkit_rules_come_back_as_value_errors_with_its_message():
    # The jitter's reach (DJ/2 + 11.5 RJ <= 64 UI) is the engine's rule:
    # its message arrives unchanged.
    with pytest.raises(ValueError, match=r"djUi, rjUi = 200, 0: expected a jitter reach"):
        statistical_eye(random_pulse(27, 4, NS), NS, dj_ui=200.0)
