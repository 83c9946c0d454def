"""Bad input to the network commands of zefra-tdr: status 2 and one line that
says what was expected, and no output file left behind."""

from __future__ import annotations

import numpy as np
import pytest

import zefra_tdr
from zefra_tdr.cli import main

F = np.linspace(1e8, 1e10, 50)


@pytest.fixture
def files(tmp_path):
    line = zefra_tdr.line(F, length=1.0, delay_ns_per_unit=0.1)
    zefra_tdr.write_touchstone(line, tmp_path / "l.s2p")
    zefra_tdr.write_touchstone(zefra_tdr.Network(F, np.tile(0.1 * np.eye(4), (F.size, 1, 1))),
                               tmp_path / "se.s4p")
    return tmp_path


@pytest.mark.parametrize("argv, message", [
    (["mixed-mode", "{d}/se.s4p", "-o", "{d}/out", "--pairs", "1,2;3"],
     "pairs must be \\(p, n\\) pairs"),
    (["mixed-mode", "{d}/se.s4p", "-o", "{d}/out", "--pairs", "a,b"],
     "--pairs 'a,b': expected P,N;P,N... port numbers"),
    (["plot", "{d}/l.s2p", "--size", "10", "-o", "{d}/out"],
     "--size '10': expected WIDTHxHEIGHT in pixels"),
    (["cascade", "{d}/l.s2p", "-o", "{d}/out"],
     "cascade needs at least two files, got 1"),
    (["cascade", "{d}/l.s2p", "{d}/l.s2p", "-o", "{d}/out", "--grid", "commn"],
     "--grid 'commn': expected common, START:STOP:STEP or a Touchstone file"),
    (["tline", "-o", "{d}/out", "--length", "1", "--grid", "1GHz:2GHz"],
     "--grid '1GHz:2GHz': expected common, START:STOP:STEP or a Touchstone file"),
])
def test_bad_network_command_lines_exit_2_with_one_line(files, capsys, argv, message):
    status = main([a.format(d=files) for a in argv])
    err = capsys.readouterr().err
    assert status == 2
    assert err.count("\n") == 1 and err.startswith("zefra-tdr: error: ")
    assert message.replace("\\", "") in err or pytest.fail(err)
    assert not (files / "out").exists()


def test_cascade_takes_its_grid_from_a_touchstone_file(files):
    coarse = np.linspace(1e9, 5e9, 5)
    zefra_tdr.write_touchstone(zefra_tdr.line(coarse, length=1.0, delay_ns_per_unit=0.1),
                               files / "grid.s2p")
    out = files / "ll.s2p"
    assert main(["cascade", str(files / "l.s2p"), str(files / "l.s2p"), "-o", str(out),
                 "--grid", str(files / "grid.s2p")]) == 0
    written = zefra_tdr.read_touchstone(out)
    assert np.array_equal(written.f, coarse)
    # Two matched lossless 0.1 ns lines: S21 = exp(-j w 0.2 ns) at each grid point;
    # resampling takes the bulk delay out first, so a pure delay comes through
    # to rounding (measured 4e-16); 1e-12 leaves room for other libms.
    np.testing.assert_allclose(written.s[:, 1, 0], np.exp(-2j * np.pi * coarse * 0.2e-9),
                               atol=1e-12)
