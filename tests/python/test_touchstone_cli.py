"""zefra-tdr info and convert, and the describe() they print."""

from __future__ import annotations

import json
from pathlib import Path

import numpy as np
import pytest

import zefra_tdr
from zefra_tdr.cli import COMMANDS, _parser, main
from zefra_tdr.touchstone import describe

CORPUS = Path(__file__).resolve().parents[1] / "data" / "touchstone" / "python"
GOOD = CORPUS / "two_port_ma_mhz_noise.s2p"
BAD = CORPUS / "bad" / "unordered.s2p"


# ---- describe ------------------------------------------------------------------

def test_describe_gives_sizes_band_and_references():
    network = zefra_tdr.Network([1e9, 2e9, 3e9], np.zeros((3, 3, 3)), [50, 75, 100])
    facts = describe(network)
    assert facts["ports"] == 3 and facts["points"] == 3
    assert (facts["f_start_hz"], facts["f_stop_hz"]) == (1e9, 3e9)
    assert facts["z0_ohm"] == [50.0, 75.0, 100.0]
    assert facts["noise_points"] == 0 and facts["warnings"] == []


def test_largest_singular_value_and_where_it_occurs():
    # An attenuator of 1/2, a thru (lossless: 1) and a gain of 3 in one
    # direction, whose singular values are known exactly.
    s = np.array([[[0, 0.5], [0.5, 0]], [[0, 1], [1, 0]], [[0, 0], [3, 0]]], dtype=complex)
    facts = describe(zefra_tdr.Network([1e9, 2e9, 3e9], s))
    assert facts["max_singular_value"] == pytest.approx(3.0, rel=1e-15)
    assert facts["max_singular_value_f_hz"] == 3e9
    # |S21 - S12| = 3 at 3 GHz, 0 elsewhere.
    assert facts["reciprocity_error"] == 3.0
    assert facts["reciprocity_error_f_hz"] == 3e9


def test_points_that_are_not_finite_are_left_out():
    s = np.array([[[0.5]], [[np.nan]]], dtype=complex)
    facts = describe(zefra_tdr.Network([1e9, 2e9], s))
    assert facts["max_singular_value"] == 0.5 and facts["max_singular_value_f_hz"] == 1e9
    nothing = describe(zefra_tdr.Network([1e9], np.array([[[np.inf]]])))
    assert nothing["max_singular_value"] is None and nothing["reciprocity_error"] is None


# ---- info ----------------------------------------------------------------------

def test_info_prints_each_fact_of_a_file(capsys):
    assert main(["info", str(GOOD)]) == 0
    out = capsys.readouterr().out
    assert out.splitlines()[0] == str(GOOD)
    for text in ("version 1.0, S parameters, MA, MHz", "ports:       2",
                 "points:      4, 0.5 GHz .. 2 GHz", "references:  50 ohm, every port",
                 "noise:       3 points", "largest singular value of S", "max |S - S^T|",
                 "warnings:    0"):
        assert text in out


def test_info_json_carries_units_in_its_keys(capsys):
    assert main(["info", "--json", str(GOOD), str(CORPUS / "version2_reference.ts")]) == 0
    first, second = json.loads(capsys.readouterr().out)
    assert first["file"] == str(GOOD)
    assert first["f_start_hz"] == 5e8 and first["f_stop_hz"] == 2e9
    assert first["z0_ohm"] == [50.0, 50.0] and second["z0_ohm"] == [50.0, 75.0, 100.0]
    assert (first["file_version"], first["file_parameter"], first["file_format"],
            first["file_unit"]) == ("1.0", "S", "MA", "MHz")
    assert first["noise_points"] == 3
    network = zefra_tdr.read_touchstone(GOOD)
    sigma = np.linalg.svd(network.s, compute_uv=False)[:, 0]
    assert first["max_singular_value"] == sigma.max()
    assert first["max_singular_value_f_hz"] == network.f[np.argmax(sigma)]
    assert first["reciprocity_error"] == np.abs(network.s - network.s.transpose(0, 2, 1)).max()


def test_info_on_a_bad_file_prints_one_line_with_file_and_line_and_exits_2(capsys):
    assert main(["info", str(BAD)]) == 2
    captured = capsys.readouterr()
    assert captured.out == ""
    assert captured.err.count("\n") == 1
    assert captured.err.startswith(f"zefra-tdr: error: {BAD}:5: ")


def test_info_goes_on_after_a_bad_file_and_exits_2(capsys, tmp_path):
    missing = tmp_path / "missing.s2p"
    assert main(["info", str(missing), str(GOOD)]) == 2
    captured = capsys.readouterr()
    assert captured.err.count("\n") == 1 and str(missing) in captured.err
    assert str(GOOD) in captured.out


def test_info_with_debug_shows_the_traceback():
    with pytest.raises(zefra_tdr.TouchstoneError):
        main(["--debug", "info", str(BAD)])


# ---- convert -------------------------------------------------------------------

def test_convert_rewrites_a_file_in_the_options_asked(tmp_path):
    target = tmp_path / "out.ts"
    assert main(["convert", str(GOOD), str(target), "--fmt", "db", "--unit", "hz",
                 "--version", "2", "--digits", "12"]) == 0
    text = target.read_text()
    assert "[Version] 2.0\n# HZ S DB R 50\n" in text and "[Noise Data]\n" in text
    before, after = zefra_tdr.read_touchstone(GOOD), zefra_tdr.read_touchstone(target)
    assert np.array_equal(after.f, before.f)
    assert np.allclose(after.s, before.s, rtol=1e-11, atol=0)


def test_convert_by_default_gives_ri_that_reads_back_bit_for_bit(tmp_path):
    target = tmp_path / "out.s2p"
    assert main(["convert", str(GOOD), str(target)]) == 0
    assert "\n# GHZ S RI R 50\n" in target.read_text()
    before, after = zefra_tdr.read_touchstone(GOOD), zefra_tdr.read_touchstone(target)
    assert before.f.tobytes() == after.f.tobytes() and before.s.tobytes() == after.s.tobytes()


@pytest.mark.parametrize("arguments, what", [
    (["--digits", "0"], "digits = 0"),
    (["--version", "1"], "the references differ"),
])
def test_convert_with_options_the_file_cannot_take_exits_2_with_one_line(arguments, what,
                                                                         tmp_path, capsys):
    source = CORPUS / "version2_reference.ts"
    target = tmp_path / "out.s3p"
    assert main(["convert", str(source), str(target), *arguments]) == 2
    err = capsys.readouterr().err
    assert err.count("\n") == 1 and err.startswith("zefra-tdr: error: ") and what in err
    assert not target.exists()


def test_convert_of_a_bad_file_exits_2_and_writes_nothing(tmp_path, capsys):
    target = tmp_path / "out.s2p"
    assert main(["convert", str(BAD), str(target)]) == 2
    assert capsys.readouterr().err.startswith(f"zefra-tdr: error: {BAD}:5: ")
    assert not target.exists()


def test_convert_refuses_an_unknown_format_as_a_usage_error(tmp_path, capsys):
    with pytest.raises(SystemExit) as info:
        main(["convert", str(GOOD), str(tmp_path / "out.s2p"), "--fmt", "xy"])
    assert info.value.code == 2


# ---- help ----------------------------------------------------------------------

@pytest.mark.parametrize("name", ["info", "convert"])
def test_help_states_the_default_of_every_option(name):
    parser = _parser()
    sub = next(a for a in parser._subparsers._group_actions).choices[name]
    for action in sub._actions:
        if action.option_strings and action.dest != "help":
            assert "default" in action.help, action.option_strings
    assert name in COMMANDS
