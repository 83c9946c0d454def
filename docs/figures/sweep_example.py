"""The worked sweep of docs/sweep.md: six lanes like the default channel
(board lines of 120 to 300 mm, each with one far-end aggressor) x six
settings, run with `zefra-tdr sweep`; saves docs/figures/sweep_eh_vs_loss.png
and prints what the page quotes:

    /usr/bin/python3 docs/figures/sweep_example.py

Each lane is zefra_tdr.default_channel() with PARAMETERS["board_mm"] set to
its length.  Its aggressor is a stand-in far-end crosstalk: the lane's own
S-parameters times j 0.02 (f / 26.5625 GHz) (L / 200 mm), which grows with
frequency and length as far-end coupling does.  The YAML plan and its TOML
twin are checked to give the same cases.
"""

from __future__ import annotations

import json
import os
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "python"))

import zefra_tdr  # noqa: E402
import zefra_tdr.cli  # noqa: E402
from zefra_tdr.default_channel import PARAMETERS, default_channel  # noqa: E402

BOARD_MM = [120, 156, 192, 228, 264, 300]
NYQUIST_HZ = 26.5625e9

PLAN_YAML = """\
# Six lanes (lanes/L120_thru.s4p ... L300_thru.s4p), each with its
# far-end aggressors lanes/L120_fext*.s4p ...
channels:
  - thru: lanes/{lane}_thru.s4p
    xtalk: ["lanes/{lane}_fext*.s4p"]   # quoted: { in a [...] list
    order: 1-3/2-4
settings:
  baud: 53.125GHz                   # an option's text: units allowed
  levels: 4
  target_ber: 1.0e-6                # 1e-6 (no dot) would be text in YAML 1.1
  dj: 0.02
  rj: 0.01
  ctle: "-6:-15:3,21.25GHz,21.25GHz,53.125GHz"   # 4 CTLE x the default 12 FFE
  dfe: [0, 2, 4]
  noise_rms: [0.5e-3, 1.0e-3]
outputs:
  jsonl: results.jsonl
  csv: results.csv
  plot: eh_vs_loss.png
"""

PLAN_TOML = """\
[[channels]]
thru = "lanes/{lane}_thru.s4p"
xtalk = ["lanes/{lane}_fext*.s4p"]
order = "1-3/2-4"

[settings]
baud = "53.125GHz"
levels = 4
target_ber = 1e-6
dj = 0.02
rj = 0.01
ctle = "-6:-15:3,21.25GHz,21.25GHz,53.125GHz"
dfe = [0, 2, 4]
noise_rms = [0.5e-3, 1.0e-3]

[outputs]
jsonl = "results.jsonl"
csv = "results.csv"
plot = "eh_vs_loss.png"
"""


def write_lanes(folder: Path) -> None:
    lanes = folder / "lanes"
    lanes.mkdir(parents=True)
    saved = PARAMETERS["board_mm"]
    try:
        for mm in BOARD_MM:
            PARAMETERS["board_mm"] = float(mm)
            net = default_channel()
            zefra_tdr.write_touchstone(net, lanes / f"L{mm}_thru.s4p")
            coupling = 0.02j * (net.f / NYQUIST_HZ) * (mm / 200.0)
            fext = zefra_tdr.Network(net.f, coupling[:, None, None] * net.s, net.z0)
            zefra_tdr.write_touchstone(fext, lanes / f"L{mm}_fext1.s4p")
    finally:
        PARAMETERS["board_mm"] = saved


def run(folder: Path, *options: str) -> subprocess.CompletedProcess:
    env = dict(os.environ, PYTHONPATH=os.pathsep.join(
        [str(ROOT / "python")] + [p for p in os.environ.get("PYTHONPATH", "").split(os.pathsep)
                                  if p]))
    command = [sys.executable, "-m", "zefra_tdr", "sweep", "plan.yaml", *options]
    print(f"$ zefra-tdr sweep plan.yaml {' '.join(options)}".rstrip())
    done = subprocess.run(command, cwd=folder, env=env, capture_output=True, text=True)
    print(done.stdout.replace(str(folder) + os.sep, ""), end="")
    print(done.stderr.replace(str(folder) + os.sep, ""), end="")
    print(f"(exit status {done.returncode})\n")
    return done


def print_heights(rows: list[dict]) -> None:
    """Worst-eye height at the best phase (mV), a lane per line and a
    setting per column, as a Markdown table."""
    settings = []
    for r in rows:
        label = f"dfe {r['setting']['dfe']}, {r['setting']['noise_rms'] * 1e3:g} mV"
        if label not in settings:
            settings.append(label)
    print("| lane | loss at Nyquist (dB) | " + " | ".join(settings) + " |")
    print("|---|---|" + "---|" * len(settings))
    lanes = {}
    for r in rows:
        lanes.setdefault(r["channel_name"], (r["channel"]["loss_at_nyquist_db"], []))[1].append(
            min(e["height_best_v"] for e in r["eyes"]) * 1e3)
    for name, (loss, heights) in lanes.items():
        print(f"| {name.split('=')[-1]} | {loss:.2f} | "
              + " | ".join(f"{h:.2f}" for h in heights) + " |")


def check_alone(folder: Path, rows: list[dict]) -> None:
    """The command line of the open case with the smallest margin, run
    alone, gives the same figures as its row."""
    import contextlib
    import io
    import shlex

    from zefra_tdr.sweep_task import link_figures

    worst = min((r for r in rows if r["margin_v"] > 0),
                key=lambda r: (r["margin_v"], r["case_index"]))
    argv = shlex.split(worst["command_line"])[1:] + ["--json", str(folder / "alone.json")]
    with contextlib.redirect_stdout(io.StringIO()):
        status = zefra_tdr.cli.main(argv)
    alone = link_figures(json.loads((folder / "alone.json").read_text(encoding="utf-8")))
    sweep_only = ("case_id", "case_index", "channel_name", "setting_index", "setting",
                  "command_line", "status", "error", "checksums")
    row = {k: v for k, v in worst.items() if k not in sweep_only}
    same = json.dumps(alone, sort_keys=True) == json.dumps(row, sort_keys=True)
    print(f"{worst['channel_name']} / dfe={worst['setting']['dfe']} "
          f"noise_rms={worst['setting']['noise_rms']}, its command line run alone "
          f"(exit status {status}): "
          f"{'the same figures, bit for bit' if same else 'DIFFERENT figures'}")


def main() -> None:
    folder = Path(tempfile.mkdtemp(prefix="zefra-sweep-example-"))
    try:
        write_lanes(folder)
        (folder / "plan.yaml").write_text(PLAN_YAML, encoding="utf-8")
        (folder / "plan.toml").write_text(PLAN_TOML, encoding="utf-8")
        yaml_plan = zefra_tdr.load_sweep_plan(folder / "plan.yaml")
        toml_plan = zefra_tdr.load_sweep_plan(folder / "plan.toml")
        assert [c.argv for c in yaml_plan.cases] == [c.argv for c in toml_plan.cases]
        print(f"{len(yaml_plan.channels)} channels x {len(yaml_plan.settings)} settings = "
              f"{len(yaml_plan.cases)} cases (the YAML and TOML plans give the same cases)\n")

        first = run(folder)
        if first.returncode != 0:
            sys.exit(first.returncode)
        run(folder)                      # refuses: the journal already holds rows
        run(folder, "--resume")          # nothing left to do

        figure = Path(__file__).with_name("sweep_eh_vs_loss.png")
        shutil.copyfile(folder / "eh_vs_loss.png", figure)
        print(f"plot: {figure.relative_to(ROOT)}")

        rows = [json.loads(line) for line in
                (folder / "results.jsonl").read_text(encoding="utf-8").splitlines()]
        header = (folder / "results.csv").read_text(encoding="utf-8").splitlines()[0].split(",")
        print(f"results.jsonl: {len(rows)} rows, {(folder / 'results.jsonl').stat().st_size} "
              f"bytes; results.csv: {len(header)} columns")
        print("first CSV columns: " + ", ".join(header[:12]))
        print("row keys: " + ", ".join(rows[0]))
        print(f"row 0 command_line: {rows[0]['command_line'].replace(str(folder) + os.sep, '')}")
        print_heights(rows)
        check_alone(folder, rows)
        print("lanes in", folder, "(removed)")
    finally:
        shutil.rmtree(folder, ignore_errors=True)


if __name__ == "__main__":
    main()
