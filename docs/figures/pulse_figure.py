"""Makes docs/figures/pulse.png with `zefra-tdr pulse` on the benchmark
channel of bench/pulse/run.py:

    /usr/bin/python3 docs/figures/pulse_figure.py
"""

from __future__ import annotations

import sys
import tempfile
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "bench" / "pulse"))

import numpy as np  # noqa: E402
from run import channel  # noqa: E402  (run.py puts the checkout's package first)

import zefra_tdr  # noqa: E402
from zefra_tdr.cli import main  # noqa: E402


def make() -> None:
    path = Path(tempfile.mkdtemp()) / "bench_channel.s4p"
    zefra_tdr.write_touchstone(channel(np.arange(1, 10001) * 1e7), path)
    status = main(["pulse", str(path), "--baud", "53.125e9", "--order", "1-3/2-4",
                   "--ctle", "-6,10GHz,26.5GHz,60GHz", "--ffe", "-0.08,0.84,-0.08",
                   "--dfe", "6", "--plot", str(Path(__file__).with_name("pulse.png"))])
    sys.exit(status)


if __name__ == "__main__":
    make()
