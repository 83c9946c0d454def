"""write_touchstone then read_touchstone gives the network back.

RI text with the shortest digits gives every bit back: frequencies (in any
unit asked for), S values (signed zeros, subnormals and the largest doubles
included), references, and the noise frequencies, NFmin and (version 2) Rn.
What a file holds in another form comes back within the bounds of
oracles.TOLERANCES: MA and DB values, Gamma_opt (always magnitude and angle)
and version-1 Rn (divided by R in the file).
"""

from __future__ import annotations

import tempfile
from pathlib import Path

import numpy as np
import pytest
from hypothesis import given
from hypothesis import strategies as st

import zefra_tdr
from oracles import TOLERANCES
from touchstone_networks import MODERATE, TOUCHSTONE, networks, relative_error, same_bits

UNITS = zefra_tdr.touchstone.UNITS


def write_and_read(network, folder: str, name: str, **options):
    path = Path(folder) / name
    zefra_tdr.write_touchstone(network, path, **options)
    text = path.read_text(encoding="ascii")
    return zefra_tdr.read_touchstone(path), text


def file_name(network, ts: bool) -> str:
    return "network.ts" if ts else f"network.s{network.nports}p"


@TOUCHSTONE
@given(network=networks(), unit=st.sampled_from(UNITS), ts=st.booleans(),
       version=st.sampled_from([None, 2]))
def test_ri_gives_every_bit_back(network, unit, ts, version, error_log):
    with tempfile.TemporaryDirectory() as folder:
        back, text = write_and_read(network, folder, file_name(network, ts), unit=unit,
                                    version=version)
    assert same_bits(back.f, network.f)
    assert same_bits(back.s, network.s)
    assert same_bits(back.z0, network.z0)
    assert back.comments[1:] == network.comments
    assert (back.noise is None) == (network.noise is None)
    if network.noise is not None:
        assert same_bits(back.noise.f_hz, network.noise.f_hz)
        assert same_bits(back.noise.nf_min_db, network.noise.nf_min_db)
        if "[Version] 2.0" in text:
            assert same_bits(back.noise.rn_ohm, network.noise.rn_ohm)
        else:
            error = relative_error(back.noise.rn_ohm, network.noise.rn_ohm)
            error_log.record("touchstone_rn_version1_rel", error)
            assert error <= TOLERANCES["touchstone_rn_version1_rel"]
        error = relative_error(back.noise.gamma_opt, network.noise.gamma_opt)
        error_log.record("touchstone_ma_round_trip_rel", error)
        assert error <= TOLERANCES["touchstone_ma_round_trip_rel"]


@TOUCHSTONE
@given(network=networks(values=MODERATE), fmt=st.sampled_from(["MA", "DB"]),
       unit=st.sampled_from(UNITS))
def test_ma_and_db_come_back_within_tolerance(network, fmt, unit, error_log):
    with tempfile.TemporaryDirectory() as folder:
        back, _ = write_and_read(network, folder, file_name(network, False), fmt=fmt, unit=unit)
    assert same_bits(back.f, network.f)
    assert same_bits(back.z0, network.z0)
    name = f"touchstone_{fmt.lower()}_round_trip_rel"
    # Exact zeros come back as 0 from MA and as 0 or 5e-324 from DB.
    error = relative_error(back.s, network.s, floor=1e-300)
    error_log.record(name, error)
    assert error <= TOLERANCES[name]


# Rounding to N significant digits moves a value by at most half a unit of
# its N-th digit, a relative error of at most 5 * 10**-N, part by part; the
# reader's rounding of that decimal to a double adds half an ulp.
@TOUCHSTONE
@given(network=networks(values=MODERATE, noise=False), digits=st.integers(1, 17))
def test_digits_round_each_part_to_that_many_significant_digits(network, digits):
    with tempfile.TemporaryDirectory() as folder:
        back, _ = write_and_read(network, folder, file_name(network, False), digits=digits)
    assert same_bits(back.f, network.f)
    for part in ("real", "imag"):
        ours, exact = getattr(back.s, part), getattr(network.s, part)
        bound = 5.0 * 10.0**-digits * np.abs(exact) + 2.0**-53 * np.abs(ours) + 2.0**-1074
        assert np.all(np.abs(ours - exact) <= bound)


@pytest.mark.parametrize("step_hz, unit", [(1.5e9, "GHZ"), (1e6, "MHZ"), (1e5, "KHZ"),
                                           (1e9 / 7, "HZ")])
def test_unit_is_the_largest_in_which_the_whole_grid_reads_back(step_hz, unit, tmp_path):
    # On a grid of 20001 points in whole MHz, 1063 frequencies fail in GHz
    # (0.067 * 1e9 != 67e6, ...) and every one passes in MHz.
    f = np.arange(20001) * step_hz
    network = zefra_tdr.Network(f, np.zeros((f.size, 1, 1)), 50.0)
    back, text = write_and_read(network, tmp_path, "grid.s1p")
    assert f"\n# {unit} S RI R 50\n" in text
    assert same_bits(back.f, f)


def test_a_network_read_back_can_be_written_again_to_the_same_text(tmp_path):
    network = zefra_tdr.Network([0.0, 1e9, 2.5e9], np.full((3, 3, 3), 0.1 - 0.2j),
                                [50.0, 75.0, 100.0], comments=[" first", " second"])
    zefra_tdr.write_touchstone(network, tmp_path / "a.s3p")
    again = zefra_tdr.read_touchstone(tmp_path / "a.s3p")
    zefra_tdr.write_touchstone(again, tmp_path / "b.s3p")
    first = (tmp_path / "a.s3p").read_text().splitlines()
    second = (tmp_path / "b.s3p").read_text().splitlines()
    # The second file also keeps the first file's header comment.
    assert second == first[:1] + first
    assert again.name == "a"
