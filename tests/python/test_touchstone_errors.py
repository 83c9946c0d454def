"""What read_touchstone and write_touchstone raise, and what they leave."""

from __future__ import annotations

import errno
from pathlib import Path

import numpy as np
import pytest

import zefra_tdr
from zefra_tdr import Network, NoiseData, TouchstoneError

BAD = Path(__file__).resolve().parents[1] / "data" / "touchstone" / "python" / "bad"


def two_port(**changes):
    arguments = dict(f_hz=[1e9, 2e9], s=np.full((2, 2, 2), 0.25 + 0.5j), z0_ohm=50.0)
    arguments.update(changes)
    return Network(arguments.pop("f_hz"), arguments.pop("s"), **arguments)


# ---- reading -------------------------------------------------------------------

@pytest.mark.parametrize("name, line", [("unordered.s2p", 5), ("unknown_format.s1p", 2)])
def test_bad_file_raises_touchstone_error_with_path_and_line(name, line):
    path = str(BAD / name)
    with pytest.raises(TouchstoneError) as info:
        zefra_tdr.read_touchstone(path)
    assert info.value.path == path
    assert info.value.line == line
    assert str(info.value).startswith(f"{path}:{line}: ")
    assert "\n" not in str(info.value)
    assert isinstance(info.value, ValueError)


def test_missing_file_raises_file_not_found_naming_it(tmp_path):
    path = tmp_path / "missing.s2p"
    with pytest.raises(FileNotFoundError) as info:
        zefra_tdr.read_touchstone(path)
    assert info.value.filename == str(path)
    assert info.value.errno == errno.ENOENT
    assert str(path) in str(info.value)


def test_folder_raises_is_a_directory_error(tmp_path):
    folder = tmp_path / "folder.s2p"
    folder.mkdir()
    with pytest.raises(IsADirectoryError):
        zefra_tdr.read_touchstone(folder)


# ---- writing -------------------------------------------------------------------

def test_non_finite_value_raises_touchstone_error_naming_the_entry_and_point(tmp_path):
    s = np.full((2, 2, 2), 0.5 + 0j)
    s[1, 1, 0] = complex(0.5, np.nan)
    path = str(tmp_path / "a.s2p")
    with pytest.raises(TouchstoneError) as info:
        zefra_tdr.write_touchstone(two_port(s=s), path)
    assert info.value.path == path and info.value.line is None
    assert str(info.value) == (f"{path}: S21 at f[1] = 2e+09 Hz is (0.5, nan): Touchstone "
                               "values must be finite")
    assert list(tmp_path.iterdir()) == []


def test_failed_write_leaves_the_existing_file(tmp_path):
    path = tmp_path / "a.s2p"
    path.write_text("old\n")
    s = np.full((2, 2, 2), 0.5 + 0j)
    s[-1, -1, -1] = np.inf
    with pytest.raises(TouchstoneError):
        zefra_tdr.write_touchstone(two_port(s=s), path)
    assert path.read_text() == "old\n"
    assert list(tmp_path.iterdir()) == [path]


def test_unequal_references_in_version_1_are_refused(tmp_path):
    with pytest.raises(TouchstoneError, match="the references differ"):
        zefra_tdr.write_touchstone(two_port(z0_ohm=[50.0, 75.0]), tmp_path / "a.s2p", version=1)


def test_name_announcing_another_port_count_is_refused(tmp_path):
    with pytest.raises(TouchstoneError, match="the name announces 3 ports, the network has 2"):
        zefra_tdr.write_touchstone(two_port(), tmp_path / "a.s3p")


def test_version_1_noise_must_start_at_or_below_the_last_network_frequency(tmp_path):
    network = two_port(noise=NoiseData([3e9], [0.5], [0.5], [10.0]))
    with pytest.raises(TouchstoneError, match="must not be above the last network frequency"):
        zefra_tdr.write_touchstone(network, tmp_path / "a.s2p", version=1)
    zefra_tdr.write_touchstone(network, tmp_path / "a.s2p")
    assert "[Version] 2.0" in (tmp_path / "a.s2p").read_text()


def test_missing_folder_raises_file_not_found(tmp_path):
    path = tmp_path / "no" / "a.s2p"
    with pytest.raises(FileNotFoundError, match=f"cannot write {path}") as info:
        zefra_tdr.write_touchstone(two_port(), path)
    assert info.value.errno == errno.ENOENT


def test_target_that_is_a_folder_raises_os_error_naming_it(tmp_path):
    folder = tmp_path / "a.s2p"
    folder.mkdir()
    with pytest.raises(OSError, match=f"{folder}: cannot replace the file"):
        zefra_tdr.write_touchstone(two_port(), folder)
    assert sorted(p.name for p in tmp_path.iterdir()) == ["a.s2p"]


@pytest.mark.parametrize("options, what", [
    (dict(fmt="XY"), "fmt = 'XY' is none of RI, MA, DB"),
    (dict(unit="THz"), "unit = 'THz' is none of Hz, kHz, MHz, GHz"),
    (dict(version=3), "version = 3"),
    (dict(version=True), "version = True"),
    (dict(digits=0), "digits = 0"),
    (dict(digits=18), "digits = 18"),
    (dict(digits=6.0), "digits = 6.0"),
])
def test_options_out_of_range_raise_value_error(options, what, tmp_path):
    with pytest.raises(ValueError, match=what.replace("(", r"\(")):
        zefra_tdr.write_touchstone(two_port(), tmp_path / "a.s2p", **options)
    assert list(tmp_path.iterdir()) == []


def test_options_are_case_insensitive(tmp_path):
    zefra_tdr.write_touchstone(two_port(), tmp_path / "a.s2p", fmt="ma", unit="mhz")
    assert "\n# MHZ S MA R 50\n" in (tmp_path / "a.s2p").read_text()


def test_arrays_replaced_with_other_shapes_are_refused_before_the_library_reads_them(tmp_path):
    network = two_port()
    network.s = np.zeros((2, 3, 3))
    with pytest.raises(ValueError, match="do not match"):
        zefra_tdr.write_touchstone(network, tmp_path / "a.s2p")


def test_only_networks_are_written(tmp_path):
    with pytest.raises(TypeError, match="must be a Network"):
        zefra_tdr.write_touchstone(([1e9], [[[0.5]]]), tmp_path / "a.s1p")


def test_comments_become_ascii(tmp_path):
    zefra_tdr.write_touchstone(two_port(comments=["Ω résumé", "tab\there"]), tmp_path / "a.s2p")
    lines = (tmp_path / "a.s2p").read_text(encoding="ascii").splitlines()
    assert lines[1:3] == ["!? r?sum?", "!tab\there"]
