"""Channels and plans for the sweep tests: three single-ended lanes of
different lengths (one with a crosstalk aggressor) written as Touchstone
files, and plans over them small enough to run in seconds."""

from __future__ import annotations

import os
import subprocess
import sys
from pathlib import Path

import numpy as np

import zefra_tdr

LANE_MM = {"1": 100.0, "2": 160.0, "3": 220.0}
GRID_HZ = np.arange(0.0, 40e9 + 1.0, 100e6)

# ~20 cases: 3 lanes x 6 settings (NRZ and PAM4, 0..2 DFE taps), each a
# search of 2 CTLE settings x 2 FFE vectors.
QUICK_SETTINGS = {
    "baud": 25e9, "samples_per_ui": 16, "target_ber": 1e-9, "noise_rms": 1e-3,
    "dj": 0.02, "rj": 0.01,
    "ctle": "-3:-6:3,8GHz,8GHz,25GHz", "ffe": "pre=-0.1:0:0.1",
    "levels": [2, 4], "dfe": [0, 1, 2],
}
# Slower cases (a 156-candidate search each), for the runs that are
# stopped or lose a worker part-way.
SLOW_SETTINGS = dict(QUICK_SETTINGS, ctle="0:-12:1,8GHz,8GHz,25GHz",
                     ffe="pre=-0.15:0:0.05,post=-0.1:0:0.05")


def _lane(length_mm: float) -> zefra_tdr.Network:
    return zefra_tdr.line(GRID_HZ, length=length_mm, delay_ns_per_unit=0.0067,
                          loss_np_per_unit=(0.0, 0.0006, 0.0003))


def write_lanes(folder: Path) -> Path:
    """lanes/lane{1,2,3}_thru.s2p and lanes/lane2_next.s2p under folder."""
    lanes = folder / "lanes"
    lanes.mkdir(parents=True, exist_ok=True)
    for lane, mm in LANE_MM.items():
        zefra_tdr.write_touchstone(_lane(mm), lanes / f"lane{lane}_thru.s2p")
    next_ = _lane(60.0)
    zefra_tdr.write_touchstone(zefra_tdr.Network(next_.f, 0.03 * next_.s),
                               lanes / "lane2_next.s2p")
    return lanes


def plan_dict(lanes: Path, settings: dict = QUICK_SETTINGS, out: Path | None = None,
              **outputs) -> dict:
    """A plan over the lanes written under ``lanes`` (by write_lanes), with
    rows.jsonl and rows.csv (and ``outputs``) in ``out`` (default: the
    same folder)."""
    out = lanes if out is None else out
    files = {"jsonl": str(out / "rows.jsonl"), "csv": str(out / "rows.csv")}
    files.update({k: str(v) for k, v in outputs.items()})
    return {
        "channels": [{"thru": str(lanes / "lanes" / "lane{lane}_thru.s2p"),
                      "xtalk": [str(lanes / "lanes" / "lane{lane}_next*.s2p")]}],
        "settings": settings,
        "outputs": files,
    }


def write_plan(lanes: Path, settings: dict = QUICK_SETTINGS, out: Path | None = None,
               **outputs) -> Path:
    """plan_dict written as plan.yaml in ``out``."""
    import yaml

    out = lanes if out is None else out
    path = out / "plan.yaml"
    path.write_text(yaml.safe_dump(plan_dict(lanes, settings, out, **outputs), sort_keys=False),
                    encoding="utf-8")
    return path


def cli_env() -> dict:
    """The environment for a ``python -m zefra_tdr`` child: this test
    run's package and libraries."""
    env = dict(os.environ)
    package = str(Path(zefra_tdr.__file__).resolve().parents[1])
    env["PYTHONPATH"] = package + os.pathsep + env.get("PYTHONPATH", "")
    return env


def cli(*args: str, **kwargs) -> subprocess.Popen:
    """``zefra-tdr ARGS`` in a child process (stdout and stderr piped)."""
    return subprocess.Popen([sys.executable, "-m", "zefra_tdr", *args], env=cli_env(),
                            stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True,
                            **kwargs)
