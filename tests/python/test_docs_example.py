"""The worked example of docs/networks.md runs as written."""

from __future__ import annotations

import os
import re
from pathlib import Path

import numpy as np

import zefra_tdr

PAGE = Path(__file__).resolve().parents[2] / "docs" / "networks.md"


def example_code() -> str:
    text = PAGE.read_text(encoding="utf-8")
    section = text.split("## Worked example", 1)[1].split("\n## ", 1)[0]
    blocks = re.findall(r"```python\n(.*?)```", section, flags=re.S)
    assert len(blocks) == 1, "the worked example is one python block"
    return blocks[0]


def test_the_worked_example_builds_cascades_converts_and_plots(tmp_path, capsys):
    # A connector of its own: a short matched 4-port, two 50-ohm through
    # paths 1 -> 3 and 2 -> 4 with a little crosstalk, on a coarser grid.
    f = np.linspace(0.0, 45e9, 901)
    thru = zefra_tdr.line(f, length=0.5, delay_ns_per_unit=0.05)
    s = np.zeros((f.size, 4, 4), dtype=complex)
    for p, q in ((0, 2), (1, 3)):
        s[:, p, q] = s[:, q, p] = thru.s[:, 1, 0]
    s[:, 2, 1] = s[:, 1, 2] = s[:, 3, 0] = s[:, 0, 3] = 0.01 * thru.s[:, 1, 0]
    zefra_tdr.write_touchstone(zefra_tdr.Network(f, s, 50.0), tmp_path / "connector.s4p")
    here = os.getcwd()
    os.chdir(tmp_path)
    try:
        exec(compile(example_code(), str(PAGE), "exec"), {"__name__": "example"})
    finally:
        os.chdir(here)
    printed = capsys.readouterr().out
    match = re.search(r"SDD21 at 20 GHz: (-?\d+\.\d) dB", printed)
    assert match and -20.0 < float(match.group(1)) < 0.0
    image = (tmp_path / "channel_sdd.png").read_bytes()
    assert image[:8] == b"\x89PNG\r\n\x1a\n"
