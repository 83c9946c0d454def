"""Measures the Touchstone reader and writer side by side, in one run, on the
same two files, and writes bench/touchstone/RESULTS.md:

- reading: our reader through the C API, scikit-rf's ``skrf.Network(path)``
  and the limit, ``std::from_chars`` over the file's numbers (tokens found
  in advance), in MB/s of file size;
- the peak memory of one read, in a fresh process, against the size of the
  complex data;
- writing the same networks with ``zefra_tk_touchstone_write`` against the
  limit, ``std::to_chars`` of the same numbers.

    /usr/bin/python3 bench/touchstone/run.py --build build/release

The files come from make_files.py, into a temporary folder deleted at the
end (``--keep`` keeps it, ``--dir DIR`` uses and keeps DIR, reusing files
already there).  The timings are made by ``zefra_touchstone_bench`` (built
here first, if out of date) and by this interpreter running scikit-rf.
"""

from __future__ import annotations

import argparse
import datetime
import importlib.util
import json
import os
import platform
import shlex
import shutil
import subprocess
import sys
import tempfile
import time
from pathlib import Path

HERE = Path(__file__).resolve().parent
ROOT = HERE.parents[1]
RESULTS = HERE / "RESULTS.md"
sys.path.insert(0, str(HERE.parent / "network"))
from timing import cpu_name  # noqa: E402

# The two files of make_files.py and the runs of each measurement (the best
# run counts): fewer for the 211 MB file, where one scikit-rf read takes
# seconds.
FILES = {
    "bench16.s16p": {"read": 3, "from_chars": 5, "skrf": 2, "write": 3},
    "bench4.s4p": {"read": 10, "from_chars": 20, "skrf": 5, "write": 10},
}
# What is written: the 16-port in RI, the 4-port in RI and MA, all with the
# shortest digits that read back to the same double (digits 0).
WRITES = [("bench16.s16p", "RI"), ("bench4.s4p", "RI"), ("bench4.s4p", "MA")]

# The targets.
SPEEDUP_OVER_SKRF = 10.0       # our reading MB/s over scikit-rf's
SHARE_OF_FROM_CHARS = 0.50     # our reading MB/s over std::from_chars's
PEAK_FACTOR = 1.5              # peak RSS above baseline <= 1.5 x complex data
PEAK_ALLOWANCE = 4e6           # ... + 4 MB
SHARE_OF_TO_CHARS = 0.50       # our writing MB/s over std::to_chars's

SKRF_TIMING = """
import json, sys, time, warnings
warnings.simplefilter("ignore")
import skrf
path, runs = sys.argv[1], int(sys.argv[2])
best = float("inf")
for _ in range(runs):
    start = time.perf_counter()
    network = skrf.Network(path)
    best = min(best, time.perf_counter() - start)
    points, ports = network.s.shape[:2]
    del network
print(json.dumps({"mode": "skrf", "best_s": best, "points": points, "ports": ports}))
"""


class Failure(Exception):
    """A measurement that could not be made; its text goes in the table."""


def run_json(command: list[str]) -> dict:
    """Runs a command that prints JSON objects, one per line; returns the last."""
    done = subprocess.run(command, capture_output=True, text=True)
    if done.returncode != 0:
        lines = (done.stderr or done.stdout).strip().splitlines()
        text = lines[-1] if lines else f"exit status {done.returncode}"
        raise Failure(text.removeprefix("zefra_touchstone_bench: "))
    return json.loads(done.stdout.strip().splitlines()[-1])


def attempt(measure, *args) -> dict:
    try:
        return measure(*args)
    except Failure as failure:
        print(f"  failed: {failure}", flush=True)
        return {"error": str(failure)}


def machine_facts(bench: Path) -> dict:
    cpu = cpu_name()
    memory = ""
    try:
        kib = int(Path("/proc/meminfo").read_text().split()[1])
        memory = f", {kib / 2**20:.0f} GiB RAM"
    except (OSError, ValueError, IndexError):
        pass
    info = run_json([str(bench), "info"])
    versions = subprocess.run(
        [sys.executable, "-c", "import skrf, numpy; print(skrf.__version__, numpy.__version__)"],
        capture_output=True, text=True).stdout.split()
    python = f"Python {platform.python_version()}, " + (
        f"scikit-rf {versions[0]}, numpy {versions[1]}" if len(versions) == 2
        else "scikit-rf not importable")
    return {
        "machine": f"{cpu}, {os.cpu_count()} logical cores{memory}, "
                   f"{platform.system()} {platform.release()}, load average "
                   f"{os.getloadavg()[0]:.2f} at the start",
        "build": f"{info['compiler']}, {info['build_type'] or 'no'} build, "
                 f"toolkit {info['toolkit']}",
        "python": python,
    }


def command_line() -> str:
    script = Path(sys.argv[0]).resolve()
    try:
        script = script.relative_to(Path.cwd())
    except ValueError:
        pass
    return " ".join(shlex.quote(word) for word in [sys.executable, str(script), *sys.argv[1:]])


# ---- the measurements ---------------------------------------------------

def measure_file(bench: Path, path: Path, runs: dict) -> dict:
    name = path.name
    print(f"{name}: std::from_chars", flush=True)
    result = {"from_chars": attempt(run_json, [str(bench), "from-chars", str(path),
                                               "--repeat", str(runs["from_chars"])])}
    print(f"{name}: our reader", flush=True)
    result["ours"] = attempt(run_json, [str(bench), "read", str(path),
                                        "--repeat", str(runs["read"])])
    print(f"{name}: scikit-rf", flush=True)
    result["skrf"] = attempt(run_json, [sys.executable, "-c", SKRF_TIMING, str(path),
                                        str(runs["skrf"])])
    print(f"{name}: peak memory of a read", flush=True)
    result["rss"] = attempt(run_json, [str(bench), "rss", str(path)])
    result["bytes"] = path.stat().st_size
    check_shapes(name, result)
    return result


def check_shapes(name: str, result: dict) -> None:
    """The three readers must agree on what the file holds."""
    skrf = result["skrf"]
    if "error" in skrf:
        return
    numbers = skrf["points"] * (1 + 2 * skrf["ports"] ** 2)
    if result["from_chars"].get("numbers", numbers) != numbers:
        result["from_chars"] = {"error": f"{result['from_chars']['numbers']} numbers, "
                                         f"scikit-rf reads {numbers}"}
    for key in ("ours", "rss"):
        ours = result[key]
        if "error" not in ours and (ours["points"], ours["ports"]) != (skrf["points"],
                                                                       skrf["ports"]):
            result[key] = {"error": f"{ours['ports']} ports x {ours['points']} points, "
                                    f"scikit-rf reads {skrf['ports']} x {skrf['points']}"}
    print(f"  {name}: {skrf['ports']} ports x {skrf['points']} points", flush=True)


def measure_write(bench: Path, path: Path, fmt: str, runs: int) -> dict:
    print(f"{path.name}: writing {fmt}", flush=True)
    return attempt(run_json, [str(bench), "write", str(path), "--format", fmt,
                              "--digits", "0", "--repeat", str(runs)])


# ---- the page -----------------------------------------------------------

def mb(value: float) -> str:
    return f"{value / 1e6:,.1f}"


def rate(entry: dict) -> str:
    return f"{entry['mb_per_s']:,.0f}" if "error" not in entry else "n/a"


def target_row(target: str, label: str, entries: list[dict], measure, required: str) -> str:
    """One row of the targets table; ``measure`` gives (text, met) from the
    entries when none of them failed."""
    errors = [entry["error"] for entry in entries if "error" in entry]
    if errors:
        text, met = "not measured: " + errors[0].replace("|", "\\|"), False
    else:
        text, met = measure(*entries)
    return f"| {target} | {label} | {text} | {required} | {'PASS' if met else 'FAIL'} |"


def over_skrf(ours: dict, skrf: dict) -> tuple[str, bool]:
    speedup = skrf["best_s"] / ours["best_s"]  # the same file: the ratio of the MB/s
    return f"{speedup:.1f}×", speedup >= SPEEDUP_OVER_SKRF


def of_from_chars(ours: dict, limit: dict) -> tuple[str, bool]:
    share = ours["mb_per_s"] / limit["mb_per_s"]
    return f"{share:.0%}", share >= SHARE_OF_FROM_CHARS


def peak_memory(rss: dict) -> tuple[str, bool]:
    met = rss["extra_bytes"] <= PEAK_FACTOR * rss["complex_bytes"] + PEAK_ALLOWANCE
    return f"{rss['extra_over_complex']:.2f} × data", met


def of_to_chars(write: dict) -> tuple[str, bool]:
    share = write["mb_per_s"] / write["to_chars_mb_per_s"]
    return f"{share:.0%}", share >= SHARE_OF_TO_CHARS


def target_rows(files: dict, writes: list) -> list[str]:
    rows = []
    for name, r in files.items():
        rows += [
            target_row("Reading speed vs scikit-rf", name, [r["ours"], r["skrf"]], over_skrf,
                       f"≥ {SPEEDUP_OVER_SKRF:g}×"),
            target_row("Reading speed vs std::from_chars", name, [r["ours"], r["from_chars"]],
                       of_from_chars, f"≥ {SHARE_OF_FROM_CHARS:.0%}"),
            target_row("Peak memory of a read", name, [r["rss"]], peak_memory,
                       f"≤ {PEAK_FACTOR:g} × data + {mb(PEAK_ALLOWANCE)} MB"),
        ]
    for (name, fmt), w in writes:
        rows.append(target_row("Writing speed vs std::to_chars", f"{name}, {fmt}", [w],
                               of_to_chars, f"≥ {SHARE_OF_TO_CHARS:.0%}"))
    return rows


def page(facts: dict, files: dict, writes: list, minutes: float) -> str:
    lines = [
        "# Touchstone reading and writing: measured figures",
        "",
        "Generated by `bench/touchstone/run.py`; do not edit.  Made with",
        "",
        f"    {command_line()}",
        "",
        f"on {datetime.date.today().isoformat()} (the run took {minutes:.1f} min).",
        "",
        f"- Machine: {facts['machine']}.",
        f"- Build: {facts['build']}.",
        f"- {facts['python']}.",
        "",
        "Files: `make_files.py` (a 16-port, 20,000-point RI file with shortest",
        "round-trip digits; a 4-port, 10,000-point MA file with 12 digits), in the",
        "page cache.  MB = 10^6 bytes; a rate is bytes per second of the best run.",
        "",
        "- Ours: `zefra_tk_touchstone_read`, the S buffer allocated,",
        "  `zefra_tk_network_copy_grid`, `zefra_tk_network_take_s`,",
        "  `zefra_tk_network_free`, timed together.",
        "- scikit-rf: the `skrf.Network(path)` constructor alone.",
        "- std::from_chars: the limit of reading.  The file is loaded and its",
        "  data tokens found (outside `!` comments and `#` or `[` lines) before",
        "  the clock starts; only the conversions are timed.",
        "- Peak memory: one read in a fresh process, its peak resident set (VmHWM) after it minus",
        "  the resident set before it (library loaded, reader code paged in);",
        "  data = points × ports² × 16 bytes.",
        "- Writing: the network of the file, decoded from its numbers, written",
        "  with `zefra_tk_touchstone_write` (shortest digits) to a file in the",
        "  page cache; the limit is `std::to_chars` of the numbers that file",
        "  holds (frequencies, then RI pairs or magnitude/angle pairs), one",
        "  separator each, into a reused 1 MiB buffer.  Rates count the bytes of",
        "  text each produces.",
        "",
        "## Reading",
        "",
        "| File | Size (MB) | Ports × points | Ours (MB/s) | scikit-rf (MB/s) "
        "| std::from_chars (MB/s) |",
        "|---|---:|---:|---:|---:|---:|",
    ]
    for name, r in files.items():
        skrf = r["skrf"]
        shape = f"{skrf['ports']} × {skrf['points']:,}" if "error" not in skrf else "n/a"
        skrf_rate = (f"{r['bytes'] / skrf['best_s'] / 1e6:,.1f}" if "error" not in skrf
                     else "n/a")
        lines.append(f"| {name} | {mb(r['bytes'])} | {shape} | {rate(r['ours'])} | "
                     f"{skrf_rate} | {rate(r['from_chars'])} |")
    lines += [
        "",
        "## Peak memory of a read",
        "",
        "| File | Complex data (MB) | Peak RSS above baseline (MB) |",
        "|---|---:|---:|",
    ]
    for name, r in files.items():
        rss = r["rss"]
        if "error" in rss:
            lines.append(f"| {name} | n/a | n/a |")
        else:
            lines.append(f"| {name} | {mb(rss['complex_bytes'])} | {mb(rss['extra_bytes'])} |")
    lines += [
        "",
        "## Writing",
        "",
        "| Network | Format | Text (MB) | Ours (MB/s) | std::to_chars (MB/s) |",
        "|---|---|---:|---:|---:|",
    ]
    for (name, fmt), w in writes:
        text = mb(w["bytes"]) if "error" not in w else "n/a"
        limit = f"{w['to_chars_mb_per_s']:,.0f}" if "error" not in w else "n/a"
        lines.append(f"| {name} | {fmt}, shortest digits | {text} | {rate(w)} | {limit} |")
    lines += [
        "",
        "## Targets",
        "",
        "| Target | File | Measured | Required | Result |",
        "|---|---|---|---|---|",
        *target_rows(files, writes),
        "",
    ]
    return "\n".join(lines)


def main() -> int:
    parser = argparse.ArgumentParser(
        description="Measures the Touchstone reader and writer side by side and writes "
                    "bench/touchstone/RESULTS.md.")
    parser.add_argument("--build", type=Path, default=ROOT / "build" / "release",
                        help="the CMake build folder (benchmarks on)")
    parser.add_argument("--dir", type=Path, help="folder for the files (kept)")
    parser.add_argument("--keep", action="store_true", help="keep the temporary folder")
    parser.add_argument("--output", type=Path, default=RESULTS, help="the page written")
    args = parser.parse_args()
    if importlib.util.find_spec("numpy") is None:  # make_files.py and scikit-rf need it
        sys.stderr.write(f"{sys.executable} has no numpy: run this with /usr/bin/python3\n")
        return 1

    started = time.monotonic()
    build = subprocess.run(["cmake", "--build", str(args.build), "--target",
                            "zefra_touchstone_bench"], capture_output=True, text=True)
    bench = args.build / "bin" / "zefra_touchstone_bench"
    if build.returncode != 0 or not bench.is_file():
        sys.stderr.write(build.stdout + build.stderr)
        sys.stderr.write(f"cannot build {bench} (configure with ZEFRA_BUILD_BENCHMARKS=ON)\n")
        return 1
    facts = machine_facts(bench)

    folder = args.dir or Path(tempfile.mkdtemp(prefix="zefra_touchstone_bench_"))
    try:
        print(f"files in {folder}", flush=True)
        subprocess.run([sys.executable, str(HERE / "make_files.py"), str(folder)], check=True)
        files = {name: measure_file(bench, folder / name, runs) for name, runs in FILES.items()}
        writes = [((name, fmt), measure_write(bench, folder / name, fmt, FILES[name]["write"]))
                  for name, fmt in WRITES]
    finally:
        if args.dir is None and not args.keep:
            shutil.rmtree(folder, ignore_errors=True)
        else:
            print(f"kept {folder}")

    text = page(facts, files, writes, (time.monotonic() - started) / 60)
    args.output.write_text(text)
    print(text)
    verdicts = [row.rsplit("|", 2)[-2].strip() for row in target_rows(files, writes)]
    print(f"wrote {args.output}: {verdicts.count('PASS')} targets met, "
          f"{verdicts.count('FAIL')} not")
    return 0


if __name__ == "__main__":
    sys.exit(main())
