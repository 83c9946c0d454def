"""zefra-tdr link on the shipped channel: the JSON carries its units and
conventions, the equalised link is open at its target, the winner and
runner-up are ranked, and the figures are those of the Python API called
directly with the winner; bad input is refused with one line; --plots
writes the four PNGs.  Most runs use a reduced search grid to stay fast."""

from __future__ import annotations

import io
import math
import json
from importlib import import_module

import numpy as np
import pytest

import zefra_tdr
from zefra_tdr.cli import main
from zefra_tdr._progress import Progress
from zefra_tdr.cli_link import ctle_family, ffe_vectors
from zefra_tdr.equalized import CtleSetting
from zefra_tdr.pulse_eq import apply_ctle, apply_ffe
from zefra_tdr.stat_eye import statistical_eye

dc = import_module("zefra_tdr.default_channel")

# A small search around the default channel's optimum: 2 CTLE settings x
# 4 FFE vectors.
SMALL = ["--ctle", "-12:-13:1,21.25GHz,21.25GHz,53.125GHz",
         "--ffe", "pre=-0.1:0:0.1,post=-0.05:0:0.05"]

# Tolerances, each with its reason.
TOL = {
    # The API's FFE (a library convolution) and the search's (a sum over
    # the taps in order) may round the equalised pulse differently in the
    # last bits; linear splitting moves the eye continuously with the
    # cursors, so the heights agree to far below a lattice step.
    "api_height_v": 1e-9,
    "api_width_ui": 1e-6,
}


@pytest.fixture(scope="module")
def small_run(tmp_path_factory):
    out = tmp_path_factory.mktemp("link") / "link.json"
    status = main(["link", "default", *SMALL, "--json", str(out)])
    assert status == 0
    return json.loads(out.read_text())


def test_json_carries_units_conventions_and_the_inputs(small_run):
    r = small_run
    assert "1/M" in r["conventions"]["eye"] or "(1/M)" in r["conventions"]["ber"]
    for key in ("eye", "ber", "margin", "search", "units"):
        assert r["conventions"][key]
    i = r["inputs"]
    assert (i["baud_hz"], i["levels"], i["target_ber"]) == (dc.DESIGN_BAUD_HZ, dc.DESIGN_LEVELS,
                                                            dc.DESIGN_TARGET_BER)
    assert (i["noise_rms_v"], i["dj_ui"], i["rj_ui"]) == (dc.DESIGN_NOISE_RMS_V,
                                                          dc.DESIGN_DJ_UI, dc.DESIGN_RJ_UI)
    assert i["order"] == "1-3/2-4"
    units = ("_v", "_ui", "_ber")
    for eye in r["eyes"]:
        for key in eye:
            assert key == "eye" or key.endswith(units), key
    assert -20 < r["channel"]["loss_at_nyquist_db"] < -15
    assert r["pulse"]["warnings"] == []
    assert r["pulse"]["diagnostics"]["dc_policy"] == "data"


def test_the_equalised_default_link_is_open_at_its_target(small_run):
    assert len(small_run["eyes"]) == dc.DESIGN_LEVELS - 1
    for eye in small_run["eyes"]:
        assert eye["height_best_v"] > 0 and eye["width_ui"] > 0
        assert eye["margin_v"] == eye["height_best_v"]  # --eh-min 0
    assert small_run["margin_v"] == min(e["margin_v"] for e in small_run["eyes"])


def test_winner_and_runner_up_are_the_two_best_scores(small_run):
    s = small_run["search"]
    scores = np.array(s["scores_v"], dtype=float)
    assert scores.shape == (2, 4) and s["candidates"] == 8
    ranked = np.sort(scores.ravel())[::-1]
    assert small_run["winner"]["score_v"] == ranked[0]
    assert small_run["runner_up"]["score_v"] == ranked[1]
    w = small_run["winner"]
    assert scores[w["ctle_index"], w["ffe_index"]] == w["score_v"]
    # The winner's eye is read on the search's lattice: its worst eye is the
    # winner's score.
    assert min(e["height_best_v"] for e in small_run["eyes"]) == pytest.approx(
        w["score_v"], rel=1e-12)


def test_figures_are_those_of_the_python_api_called_with_the_winner(small_run):
    r, w = small_run, small_run["winner"]
    i = r["inputs"]
    network = zefra_tdr.read_touchstone(zefra_tdr.default_channel_path())
    response = zefra_tdr.pulse_response(network, baud_hz=i["baud_hz"],
                                        samples_per_ui=i["samples_per_ui"], order=i["order"])
    pulse = apply_ctle(response.pulse, baud_hz=i["baud_hz"], samples_per_ui=i["samples_per_ui"],
                       **w["ctle"])
    pulse = apply_ffe(pulse, w["ffe"], samples_per_ui=i["samples_per_ui"],
                      main_tap=w["ffe_main"])
    eye = statistical_eye(pulse, i["samples_per_ui"], levels=i["levels"],
                          noise_rms=i["noise_rms_v"], dj_ui=i["dj_ui"], rj_ui=i["rj_ui"],
                          dfe=i["dfe"]["fixed_taps"], bin_v=i["final_bin_v"])
    readout = eye.readout(i["target_ber"])
    for mine, theirs in zip(readout.eyes, r["eyes"]):
        assert mine.height_best_v == pytest.approx(theirs["height_best_v"],
                                                   abs=TOL["api_height_v"])
        assert mine.height_centre_v == pytest.approx(theirs["height_centre_v"],
                                                     abs=TOL["api_height_v"])
        assert mine.width_ui == pytest.approx(theirs["width_ui"], abs=TOL["api_width_ui"])
        assert mine.best_phase_ui == theirs["best_phase_ui"]


def test_text_output_has_the_margin_table_winner_and_conventions(tmp_path, capsys):
    assert main(["link", "default", *SMALL, "--eh-min", "5"]) == 0
    captured = capsys.readouterr()
    text = captured.out
    assert "winner" in text and "runner-up" in text
    assert "margin (mV)" in text and "conventions:" in text and "1/M" in text
    # The progress bar is for terminals only.
    assert captured.err == ""
    rows = [line.split() for line in text.splitlines() if line.strip()[:1].isdigit()]
    assert len(rows) == 3
    for row in rows:  # eye, EH centre, EH best, phase, EW, margin
        assert float(row[5]) == pytest.approx(float(row[2]) - 5.0, abs=1.5e-3)


def test_plots_writes_the_four_pngs(tmp_path, capsys):
    pytest.importorskip("matplotlib")
    folder = tmp_path / "plots"
    assert main(["link", "default", "--ctle", "-12,21.25GHz,21.25GHz,53.125GHz",
                 "--ffe", "-0.1,0.9", "--plots", str(folder)]) == 0
    text = capsys.readouterr().out
    for name in ("statistical", "bathtubs", "pulse", "loss"):
        path = folder / f"eye_{name}.png"
        assert path.read_bytes()[:8] == b"\x89PNG\r\n\x1a\n"
        assert str(path) in text


def test_crosstalk_lowers_the_eye(tmp_path, small_run):
    """An aggressor whose through is 5 % of the victim's adds interference:
    every eye closes a little."""
    net = zefra_tdr.default_channel()
    xtalk = tmp_path / "aggressor.s4p"
    zefra_tdr.write_touchstone(zefra_tdr.Network(net.f, 0.05 * net.s), xtalk)
    out = tmp_path / "x.json"
    assert main(["link", "default", *SMALL, "--xtalk", str(xtalk), "--json", str(out)]) == 0
    r = json.loads(out.read_text())
    assert r["search"]["aggressor_count"] == 1 and r["inputs"]["xtalk_synchronous"] is False
    assert 0 < r["margin_v"] < small_run["margin_v"]


@pytest.mark.parametrize("argv, message", [
    (["link", "missing.s4p", "--baud", "25e9"], "missing.s4p"),
    (["link", "default", "--levels", "1"], "--levels 1: expected 2 .. 64"),
    (["link", "default", "--target-ber", "0.7"], "--target-ber 0.7"),
    (["link", "default", "--ctle", "-6,8GHz"], "--ctle '-6,8GHz': expected none or"),
    (["link", "default", "--ctle", "0:-12,1GHz,1GHz,2GHz"], "expected a number or FROM:TO:STEP"),
    (["link", "default", "--ffe", "pre=x"], "--ffe 'x': expected a number or FROM:TO:STEP"),
    (["link", "default", "--ffe", "mid=0:1:1"], "expected pre=FROM:TO:STEP"),
    (["link", "default", "--dfe-floating", "1,2"], "--dfe-floating '1,2': expected 4"),
    (["link", "default", "--noise-rms", "-1"], "--noise-rms -1.0: expected a finite value >= 0"),
    (["link", "default", "--port-map", "1"], "--port-map '1': expected IN,OUT"),
    (["link", "default", "--baud", "fast"], "--baud"),
])
def test_bad_input_exits_2_with_one_line(capsys, argv, message):
    status = main(argv)
    err = capsys.readouterr().err
    assert status == 2
    assert err.count("\n") == 1 and message in err, err


def test_a_file_channel_needs_the_baud(tmp_path, capsys):
    path = tmp_path / "ch.s4p"
    zefra_tdr.write_touchstone(zefra_tdr.default_channel(), path)
    assert main(["link", str(path), "--order", "1-3/2-4"]) == 2
    assert "--baud is required" in capsys.readouterr().err


def test_ctle_range_runs_from_the_first_gain_to_the_last():
    settings = ctle_family("0:-2:1,10GHz,10GHz,25GHz")
    assert settings == tuple(CtleSetting(g, 10e9, 10e9, 25e9) for g in (0.0, -1.0, -2.0))
    assert ctle_family("none") == ()
    assert ctle_family("-3,1e9,2e9,3e9") == (CtleSetting(-3.0, 1e9, 2e9, 3e9),)


def test_ffe_grid_option_gives_peak_normalised_vectors():
    vectors, main_tap = ffe_vectors("pre=-0.1:0:0.05,post=-0.2:0:0.2", None)
    assert main_tap == 1
    expected = [(pre, 1 - abs(pre) - abs(post), post)
                for pre in (-0.1, -0.05, 0.0) for post in (-0.2, 0.0)]
    np.testing.assert_allclose(vectors, expected, rtol=0, atol=1e-15)
    assert ffe_vectors("-0.1,0.9", None) == (((-0.1, 0.9),), None)
    assert ffe_vectors("none", None) == ((), None)


def test_progress_bar_is_drawn_only_on_a_terminal():
    class Terminal(io.StringIO):
        def isatty(self):
            return True

    quiet, loud = io.StringIO(), Terminal()
    for stream in (quiet, loud):
        bar = Progress("search", "CTLE settings", stream=stream)
        bar(1, 2)
        bar(2, 2)
    assert quiet.getvalue() == ""
    assert "2/2 CTLE settings" in loud.getvalue() and loud.getvalue().endswith("\n")


def test_loss_at_nyquist_is_the_db_of_scalar_s21_every_time():
    # numpy's vector |z| rounds some elements differently with the
    # alignment of its output buffer; the reported loss must be the same
    # bits in every run, so it is 20 log10 hypot(re, im) of the grid value.
    from types import SimpleNamespace

    from zefra_tdr.cli_link import _loss_at_nyquist

    rng = np.random.default_rng(20)
    f = np.arange(0.0, 40e9 + 1.0, 100e6)
    for _ in range(20):
        s = (rng.normal(size=(f.size, 2, 2)) + 1j * rng.normal(size=(f.size, 2, 2))) * 0.3
        run = SimpleNamespace(network=zefra_tdr.Network(f, s), through={},
                              response=SimpleNamespace(baud_hz=25e9))
        junk = [np.empty(int(n)) for n in rng.integers(1, 64, size=5)]  # vary the heap
        nyquist, loss = _loss_at_nyquist(run)
        k = 125                                           # 12.5 GHz is on the grid
        assert nyquist == f[k] and loss == 20.0 * math.log10(math.hypot(s[k, 1, 0].real,
                                                                         s[k, 1, 0].imag))
        del junk
    # Between grid points: the straight line between the two dB values.
    run.response = SimpleNamespace(baud_hz=25.1e9)
    db = [20.0 * math.log10(abs(complex(s[k, 1, 0]))) for k in (125, 126)]
    t = (12.55e9 - f[125]) / (f[126] - f[125])
    assert _loss_at_nyquist(run)[1] == db[0] + t * (db[1] - db[0])
