"""zefra-tdr pulse: cursors and diagnostics printed, JSON and plot written,
bad options refused with one line."""

from __future__ import annotations

import json

import numpy as np
import pytest

import zefra_tdr
from zefra_tdr.cli import main

F = np.arange(1, 2001) * 2.5e7  # 25 MHz .. 50 GHz


def differential_line(tmp_path):
    """A 4-port (1-3/2-4) of two uncoupled lossy lines: SDD21 is the leg's S21."""
    leg = zefra_tdr.line(F, length=100.0, delay_ns_per_unit=0.0066,
                         loss_np_per_unit=(0.0, 0.002, 0.001))
    s = np.zeros((F.size, 4, 4), dtype=np.complex128)
    for a, b in ((0, 2), (1, 3)):
        s[:, a, a], s[:, b, b] = leg.s[:, 0, 0], leg.s[:, 1, 1]
        s[:, b, a], s[:, a, b] = leg.s[:, 1, 0], leg.s[:, 0, 1]
    path = tmp_path / "ch.s4p"
    zefra_tdr.write_touchstone(zefra_tdr.Network(F, s), path)
    return path, leg


def test_pulse_prints_cursors_and_diagnostics_and_writes_json(tmp_path, capsys):
    path, leg = differential_line(tmp_path)
    out = tmp_path / "p.json"
    status = main(["pulse", str(path), "--baud", "25e9", "--samples-per-ui", "16",
                   "--order", "1-3/2-4", "--dfe", "3", "--json", str(out)])
    text = capsys.readouterr().out
    assert status == 0
    assert "cursor" in text and "before DFE" in text and "non-causal" in text
    report = json.loads(out.read_text())
    d = report["diagnostics"]
    # The differential through of two uncoupled matched legs is the leg's
    # S21 on 100 ohm, and matched terminations halve it.  With no 0 Hz point
    # H(0) is extrapolated: |H| and the unwrapped phase carried linearly from
    # 25 and 50 MHz to 0 Hz, H(0) = |H|(0) cos(phase(0)) -- computed here from
    # the leg's own data; 1e-9 covers the rounding of the mixed-mode sums.
    h1, h2 = leg.s[0, 1, 0] / 2, leg.s[1, 1, 0] / 2
    mag = abs(h1) - (abs(h2) - abs(h1))
    phase = np.angle(h1) - (np.angle(h2) - np.angle(h1))
    assert d["dc_policy"] == "extrapolate"
    assert d["dc_value"] == pytest.approx(mag * np.cos(phase), abs=1e-9)
    # Skin loss falls as sqrt(f): the value lies between |H(25 MHz)| and 1/2.
    assert abs(h1) < d["dc_value"] < 0.5
    before = report["cursors_before_dfe_v"]
    after = report["cursors_after_dfe_v"]
    pre = before["pre"]
    # A 3-tap DFE with limit 1 cancels post-cursors 1..3 and leaves the rest.
    assert after["values"][pre + 1:pre + 4] == [0.0, 0.0, 0.0]
    assert after["values"][pre + 4:] == before["values"][pre + 4:]
    assert report["dfe"]["positions"] == [1, 2, 3]
    assert "conventions" in report


def test_pulse_writes_the_plot(tmp_path):
    pytest.importorskip("matplotlib")
    path, _ = differential_line(tmp_path)
    image = tmp_path / "p.png"
    assert main(["pulse", str(path), "--baud", "25e9", "--samples-per-ui", "16",
                 "--order", "1-3/2-4", "--dfe", "2", "--plot", str(image)]) == 0
    assert image.read_bytes()[:8] == b"\x89PNG\r\n\x1a\n"


@pytest.mark.parametrize("extra, message", [
    (["--port-map", "1"], "--port-map '1': expected IN,OUT"),
    (["--ctle", "-6,8GHz"], "--ctle '-6,8GHz': expected DC_GAIN_DB,ZERO,POLE1,POLE2"),
    (["--ffe", "-0.1,x"], "--ffe '-0.1,x': expected comma-separated numbers"),
    (["--dc", "physics"], "--dc 'physics': expected auto, data, extrapolate, ac"),
    (["--rx", "4"], "--rx '4': expected ORDER,BANDWIDTH"),
    (["--dfe-floating", "1,2"], "--dfe-floating '1,2': expected 4 comma-separated numbers"),
    (["--dfe-floating", "1,2.5,1,9"], "--dfe-floating '1,2.5,1,9': expected four whole numbers"),
    ([], "this network has 4 ports"),
])
def test_bad_pulse_options_exit_2_with_one_line(tmp_path, capsys, extra, message):
    path, _ = differential_line(tmp_path)
    status = main(["pulse", str(path), "--baud", "25e9", *extra])
    err = capsys.readouterr().err
    assert status == 2
    assert err.count("\n") == 1 and message in err, err
