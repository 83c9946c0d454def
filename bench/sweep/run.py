"""Sweep benchmark: cases per second against workers for zefra_tdr.sweep,
and what a task costs on each executor besides its cases.

    /usr/bin/python3 bench/sweep/run.py [--out bench/sweep/RESULTS.md] [--repeats 3]

1. The plan: the shipped channel (thru: default) x a 5 x 5 grid,
   dfe [0, 1, 2, 3, 4] x noise_rms [0.2, 0.35, 0.5, 0.65, 0.8] mV, with the
   CTLE fixed to "-8:-14:3,21.25GHz,21.25GHz,53.125GHz" (3 settings) and the
   default 12 FFE vectors: 25 cases of 36 candidates each.
2. The plan is run through the public API (zefra_tdr.sweep, outputs JSONL
   and CSV into a temporary folder, overwrite=True, default blocks):
   in this process with 1 engine thread per case (the 1-worker baseline)
   and with every core's engine threads; on the spawn process pool with
   2 workers (and os.cpu_count() if different); on a Dask LocalCluster of
   1 and 2 one-thread workers, started by the call (local_cluster=N) or
   running before it (client=), the latter also with the workers' malloc
   thresholds set (TUNED).  A pool of 1 process is reached only through
   zefra_tdr.sweep_exec.run_pool (workers=1 runs in this process).  The
   configurations run in --repeats interleaved rounds; the median wall time
   counts.  Scaling efficiency = rate(N) / (N x rate of the 1-worker
   baseline).
3. Overheads: Dask (a LocalCluster of 2 one-thread workers: its start,
   client.map of 1000 no-op tasks, 200 submit/result round trips, the
   version check); the spawn pool (its start with the import of
   zefra_tdr, 1000 no-op tasks); a whole sweep of 200 one-case tasks whose
   case fails at once (a negative noise), on each executor; a worker's
   fixed cost per task (reading the file, its checksum, the pulse
   response); the driver's per-task cost (appending a task's rows to the
   journal, fsync included); the final outputs per row; glibc's malloc
   thresholds (unset, the Dask nanny's MALLOC_TRIM_THRESHOLD_=65536,
   TUNED) on one process, in its main thread and in a second thread.
4. The JSON Lines of every run are compared byte for byte.
"""

from __future__ import annotations

import argparse
import concurrent.futures
import contextlib
import hashlib
import json
import multiprocessing
import os
import platform
import resource
import statistics
import subprocess
import sys
import tempfile
import time
import tracemalloc
from pathlib import Path

HERE = Path(__file__).resolve().parent
PACKAGE = HERE.parents[1] / "python"
sys.path.insert(0, str(HERE.parent / "network"))
from timing import best, cpu_name  # noqa: E402  (also puts the checkout's package first)
# Spawned pool processes and Dask workers import the checkout's package too.
os.environ["PYTHONPATH"] = os.pathsep.join(
    [str(PACKAGE)] + [p for p in os.environ.get("PYTHONPATH", "").split(os.pathsep) if p])

import zefra_tdr  # noqa: E402

CTLE = "-8:-14:3,21.25GHz,21.25GHz,53.125GHz"
DFE = [0, 1, 2, 3, 4]
NOISE = [0.2e-3, 0.35e-3, 0.5e-3, 0.65e-3, 0.8e-3]
CASES = len(DFE) * len(NOISE)
NOOP_TASKS = 1000
ROUND_TRIPS = 200
FAST_CASES = 200
TRIM = "MALLOC_TRIM_THRESHOLD_"


def plan(folder: Path) -> dict:
    return {"channels": [{"thru": "default"}],
            "settings": {"dfe": DFE, "noise_rms": NOISE, "ctle": CTLE},
            "outputs": {"jsonl": str(folder / "rows.jsonl"), "csv": str(folder / "rows.csv")}}


def fast_plan(folder: Path) -> dict:
    """FAST_CASES cases that each fail at once (a negative noise is refused
    before any file is read): a sweep of tasks that do almost nothing."""
    return {"channels": [{"thru": "default"}],
            "settings": {"noise_rms": [-1e-6 * (k + 1) for k in range(FAST_CASES)]},
            "outputs": {"jsonl": str(folder / "rows.jsonl")}}


def noop(x=None):
    return x


def load() -> float:
    return os.getloadavg()[0] if hasattr(os, "getloadavg") else float("nan")


def cpu_seconds() -> float:
    """User + system time of this process and of its finished children
    (the pool's processes and the LocalCluster's workers once closed)."""
    own = resource.getrusage(resource.RUSAGE_SELF)
    children = resource.getrusage(resource.RUSAGE_CHILDREN)
    return own.ru_utime + own.ru_stime + children.ru_utime + children.ru_stime


def cpu_pressure() -> float:
    """Seconds during which some runnable task of the machine waited for a
    CPU (Linux pressure stall information; NaN where there is none)."""
    try:
        for line in Path("/proc/pressure/cpu").read_text().split("\n"):
            if line.startswith("some"):
                return int(line.rsplit("total=", 1)[1]) * 1e-6
    except (OSError, ValueError, IndexError):
        pass
    return float("nan")


def digest(path: Path) -> str:
    return hashlib.sha256(path.read_bytes()).hexdigest()


# ---------------------------------------------------------------------------
# The configurations
# ---------------------------------------------------------------------------

#: glibc's malloc thresholds for Dask workers: a large trim threshold (the
#: nanny's own variable, which an inherited value overrides) and an mmap
#: threshold of 32 MiB, so that a case's buffers are reused instead of being
#: mapped and unmapped anew.
TUNED = {TRIM: "268435456", "MALLOC_MMAP_THRESHOLD_": "33554432"}


@contextlib.contextmanager
def environment_kept(extra: dict | None = None):
    """os.environ (plus ``extra``) inside, and restored after: a Dask nanny
    writes its pre-spawn variables (MALLOC_TRIM_THRESHOLD_=65536 among
    them) into the environment of the process that starts it, where every
    process started later would inherit them."""
    saved = dict(os.environ)
    os.environ.update(extra or {})
    try:
        yield
    finally:
        os.environ.clear()
        os.environ.update(saved)


def run_pool_directly(folder: Path, workers: int) -> None:
    """The plan on the spawn pool through sweep_exec.run_pool (sweep()
    runs workers=1 in this process), rows written as sweep() writes them."""
    from zefra_tdr.sweep_exec import run_pool
    from zefra_tdr.sweep_output import write_csv, write_jsonl
    from zefra_tdr.sweep_plan import load_plan
    from zefra_tdr.sweep_run import plan_tasks

    p = load_plan(plan(folder))
    tasks = plan_tasks(p, list(p.cases), workers, None, 1)
    finished = {}

    def done(task, rows):
        for row in rows:
            finished[row["case_id"]] = row

    run_pool(tasks, done, lambda message: None, workers)
    rows = [finished[c.case_id] for c in p.cases]
    write_jsonl(p.outputs["jsonl"], rows)
    write_csv(p.outputs["csv"], rows)


def process_cpu(_=None) -> float:
    own = resource.getrusage(resource.RUSAGE_SELF)
    return own.ru_utime + own.ru_stime


def on_running_cluster(folder: Path, workers: int, environ: dict | None = None
                       ) -> tuple[float, float]:
    """The plan on a LocalCluster started before the clock starts, as a
    long-running cluster is used: (wall, CPU time of the workers and of
    this process, which runs the scheduler, during the call)."""
    import distributed

    with environment_kept(environ):
        cluster = distributed.LocalCluster(n_workers=workers, threads_per_worker=1,
                                           processes=True, dashboard_address=None)
    client = distributed.Client(cluster)
    try:
        client.wait_for_workers(workers)
        cpu = sum(client.run(process_cpu).values()) + process_cpu()
        start = time.perf_counter()
        zefra_tdr.sweep(plan(folder), client=client, overwrite=True)
        wall = time.perf_counter() - start
        cpu = sum(client.run(process_cpu).values()) + process_cpu() - cpu
    finally:
        client.close()
        cluster.close()
    return wall, cpu


def configurations() -> list[tuple[str, int, str, object]]:
    """(label, workers, executor, run(folder)); run returns None (the whole
    call is timed) or its own (wall, CPU time)."""
    cores = os.cpu_count() or 1
    sweep = zefra_tdr.sweep
    out = [
        ("in-process, 1 engine thread (`workers=1, threads_per_case=1`)", 1, "serial",
         lambda d: sweep(plan(d), workers=1, threads_per_case=1, overwrite=True)),
        (f"in-process, {cores} engine threads (`workers=1`, default threads)", 1, "threads",
         lambda d: sweep(plan(d), workers=1, overwrite=True)),
        ("spawn pool, 1 process (`sweep_exec.run_pool`)", 1, "pool",
         lambda d: run_pool_directly(d, 1)),
        ("spawn pool, 2 processes (`workers=2`)", 2, "pool",
         lambda d: sweep(plan(d), workers=2, overwrite=True)),
    ]
    if cores not in (1, 2):
        out.append((f"spawn pool, {cores} processes (`workers={cores}`)", cores, "pool",
                    lambda d: sweep(plan(d), workers=cores, overwrite=True)))
    out += [
        ("Dask, new LocalCluster of 1 worker (`local_cluster=1`)", 1, "dask-new",
         lambda d: sweep(plan(d), local_cluster=1, overwrite=True)),
        ("Dask, new LocalCluster of 2 workers (`local_cluster=2`)", 2, "dask-new",
         lambda d: sweep(plan(d), local_cluster=2, overwrite=True)),
        ("Dask, running LocalCluster of 1 worker (`client=`)", 1, "dask",
         lambda d: on_running_cluster(d, 1)),
        ("Dask, running LocalCluster of 2 workers (`client=`)", 2, "dask",
         lambda d: on_running_cluster(d, 2)),
        ("Dask, running LocalCluster of 1 worker (`client=`), malloc thresholds set", 1,
         "dask-tuned", lambda d: on_running_cluster(d, 1, TUNED)),
        ("Dask, running LocalCluster of 2 workers (`client=`), malloc thresholds set", 2,
         "dask-tuned", lambda d: on_running_cluster(d, 2, TUNED)),
    ]
    return out


def measure_configurations(root: Path, repeats: int) -> tuple[list[dict], dict]:
    """Every configuration `repeats` times, the repeats interleaved (one
    round of every configuration, then the next) so that a change in the
    machine's load touches each alike."""
    configs = configurations()
    runs = {n: {"walls": [], "loads": [], "cpus": [], "stalls": []} for n in range(len(configs))}
    digests = {}
    for r in range(repeats):
        for n, (label, workers, kind, run) in enumerate(configs):
            folder = root / f"config{n}" / f"run{r}"
            folder.mkdir(parents=True)
            got = runs[n]
            got["loads"].append(load())
            cpu, stall = cpu_seconds(), cpu_pressure()
            start = time.perf_counter()
            with environment_kept():
                own = run(folder)
            wall = time.perf_counter() - start
            stalls = (cpu_pressure() - stall) / wall
            cpu = cpu_seconds() - cpu
            if isinstance(own, tuple):
                wall, cpu = own
            got["walls"].append(wall)
            got["cpus"].append(cpu)
            got["stalls"].append(stalls)
            digests[f"{label} #{r + 1}"] = digest(folder / "rows.jsonl")
            print(f"round {r + 1}: {label}: {wall:.2f} s", flush=True)
    results = []
    for n, (label, workers, kind, _) in enumerate(configs):
        got = runs[n]
        wall = statistics.median(got["walls"])
        results.append({"label": label, "workers": workers, "kind": kind,
                        "walls": got["walls"], "wall": wall, "rate": CASES / wall,
                        "load": max(got["loads"]), "cpu": statistics.median(got["cpus"]),
                        "stall": statistics.median(got["stalls"])})
    return results, digests


# ---------------------------------------------------------------------------
# Overheads
# ---------------------------------------------------------------------------

def dask_overheads(repeats: int) -> dict:
    import distributed

    from zefra_tdr.sweep_exec import check_workers

    out = {"start": [], "map": [], "round_trip": [], "check": []}
    for _ in range(repeats):
        start = time.perf_counter()
        with environment_kept():
            cluster = distributed.LocalCluster(n_workers=2, threads_per_worker=1,
                                               processes=True, dashboard_address=None)
        client = distributed.Client(cluster)
        client.wait_for_workers(2)
        out["start"].append(time.perf_counter() - start)
        try:
            start = time.perf_counter()
            check_workers(client)
            out["check"].append(time.perf_counter() - start)
            client.gather(client.map(noop, range(10), pure=False))        # warm
            start = time.perf_counter()
            client.gather(client.map(noop, range(NOOP_TASKS), pure=False))
            out["map"].append((time.perf_counter() - start) / NOOP_TASKS)
            start = time.perf_counter()
            for i in range(ROUND_TRIPS):
                client.submit(noop, i, pure=False).result()
            out["round_trip"].append((time.perf_counter() - start) / ROUND_TRIPS)
        finally:
            client.close()
            cluster.close()
    return {k: statistics.median(v) for k, v in out.items()}


def warm_up_worker(_=None) -> str:
    # What the first task of a fresh process pays besides its cases: the
    # package, its library and the link machinery.
    import zefra_tdr.cli_link  # noqa: F401
    from zefra_tdr.sweep_task import worker_version

    return worker_version()


def pool_overheads(repeats: int) -> dict:
    context = multiprocessing.get_context("spawn")
    out = {"start": [], "noop": []}
    for _ in range(repeats):
        start = time.perf_counter()
        with concurrent.futures.ProcessPoolExecutor(2, mp_context=context) as pool:
            list(pool.map(warm_up_worker, range(2)))
            out["start"].append(time.perf_counter() - start)
            start = time.perf_counter()
            futures = [pool.submit(noop, i) for i in range(NOOP_TASKS)]
            for f in concurrent.futures.as_completed(futures):
                f.result()
            out["noop"].append((time.perf_counter() - start) / NOOP_TASKS)
    return {k: statistics.median(v) for k, v in out.items()}


def fast_sweeps(root: Path, repeats: int) -> dict:
    """Wall time per task of a sweep of FAST_CASES one-case tasks that fail
    at once, per executor (pool start and cluster start included)."""
    runs = {
        "in-process": dict(workers=1),
        "spawn pool, 2 processes": dict(workers=2),
        "Dask LocalCluster, 2 workers": dict(local_cluster=2),
    }
    out = {}
    for n, (label, options) in enumerate(runs.items()):
        walls = []
        for r in range(repeats):
            folder = root / f"fast{n}" / f"run{r}"
            folder.mkdir(parents=True)
            start = time.perf_counter()
            with environment_kept():
                result = zefra_tdr.sweep(fast_plan(folder), block=1, overwrite=True, **options)
            walls.append(time.perf_counter() - start)
            assert len(result.errors) == FAST_CASES
        out[label] = statistics.median(walls)
    return out


def task_fixed_costs() -> dict:
    """What each task pays once per file: reading it, its SHA-256 and the
    pulse response (the LinkCache keeps them for the task's other cases)."""
    from zefra_tdr.pulse import pulse_response
    from zefra_tdr.sweep_task import _sha256

    path = str(zefra_tdr.default_channel_path())
    net = zefra_tdr.read_touchstone(path)
    return {
        "read": best(lambda: zefra_tdr.read_touchstone(path)),
        "sha256": best(lambda: _sha256(path)),
        "pulse": best(lambda: pulse_response(net, baud_hz=53.125e9, samples_per_ui=32,
                                                order="1-3/2-4")),
        "file_bytes": os.path.getsize(path),
    }


def driver_costs(rows_path: Path, root: Path) -> dict:
    """The driver's work per finished task (its rows appended to the
    journal, fsync included) and the final outputs, per row."""
    from zefra_tdr.sweep_output import Journal, write_csv, write_jsonl

    text = rows_path.read_text(encoding="utf-8")
    rows = [json.loads(line) for line in text.splitlines()]
    tracemalloc.start()
    before = tracemalloc.get_traced_memory()[0]
    held = [json.loads(line) for line in text.splitlines()]
    in_memory = (tracemalloc.get_traced_memory()[0] - before) / len(held)
    tracemalloc.stop()
    del held
    journal = Journal(str(root / "append.jsonl"))
    block = rows[:3]
    appends = 100
    start = time.perf_counter()
    for _ in range(appends):
        journal.append(block)
    append = (time.perf_counter() - start) / appends
    many = rows * 40                                      # 1000 rows
    final_jsonl = best(lambda: write_jsonl(str(root / "final.jsonl"), many), runs=3)
    final_csv = best(lambda: write_csv(str(root / "final.csv"), many), runs=3)
    return {"row_bytes": len(text.encode()) / len(rows), "row_memory": in_memory,
            "append_3_rows": append, "final_jsonl_per_row": final_jsonl / len(many),
            "final_csv_per_row": final_csv / len(many)}


MALLOC_CHILD = """
import concurrent.futures, resource, time
from zefra_tdr.sweep_plan import load_plan
from zefra_tdr.sweep_task import Task, run_task
plan = load_plan({"channels": [{"thru": "default"}],
                  "settings": {"dfe": [0, 4], "ctle": %r},
                  "outputs": {"jsonl": "unused.jsonl"}})
task = Task(0, plan.cases, 1)
run_task(Task(0, plan.cases[:1], 1))

def timed(_=None):
    faults = resource.getrusage(resource.RUSAGE_SELF).ru_minflt
    cpu = time.thread_time()
    run_task(task)
    return time.thread_time() - cpu, resource.getrusage(resource.RUSAGE_SELF).ru_minflt - faults

main = timed()
thread = concurrent.futures.ThreadPoolExecutor(1).submit(timed).result()
print(*main, *thread)
""" % CTLE

MALLOC_VARIANTS = {
    "unset (glibc's dynamic thresholds)": {},
    f"`{TRIM}=65536` (the nanny's)": {TRIM: "65536"},
    f"`{TRIM}=268435456 MALLOC_MMAP_THRESHOLD_=33554432`": TUNED,
}


def malloc_effect(repeats: int) -> dict:
    """CPU time per case and minor page faults of a 2-case task in a fresh
    process, in its main thread and in a second thread (where a Dask worker
    runs its tasks), under each malloc setting."""
    out = {}
    for label, extra in MALLOC_VARIANTS.items():
        env = {k: v for k, v in os.environ.items() if not k.startswith("MALLOC_")}
        env.update(extra)
        runs = []
        for _ in range(repeats):
            done = subprocess.run([sys.executable, "-c", MALLOC_CHILD], env=env, check=True,
                                  capture_output=True, text=True, cwd=tempfile.gettempdir())
            runs.append([float(x) for x in done.stdout.split()])
        out[label] = [statistics.median(r[k] for r in runs) for k in range(4)]
    return out


# ---------------------------------------------------------------------------
# Report
# ---------------------------------------------------------------------------

def uptime() -> str:
    try:
        return subprocess.run(["uptime"], capture_output=True, text=True).stdout.strip()
    except OSError:
        return f"load average {load():.2f}"


def report(configs, digests, dask_o, pool_o, fast, fixed, driver, malloc, repeats,
           uptime_start, uptime_end, elapsed) -> str:
    import dask
    import distributed
    import numpy

    serial = next(c for c in configs if c["kind"] == "serial")
    per_case = serial["wall"] / CASES
    own_one = {c["kind"]: c["rate"] for c in configs if c["workers"] == 1}
    same = len(set(digests.values())) == 1
    lines = [
        "# Sweep benchmark",
        "",
        f"Made with `/usr/bin/python3 bench/sweep/run.py --out bench/sweep/RESULTS.md` on "
        f"{cpu_name()} ({os.cpu_count()} cores), Python {platform.python_version()}, numpy "
        f"{numpy.__version__}, Dask {dask.__version__} / distributed {distributed.__version__}, "
        f"zefra_tdr {zefra_tdr.__version__}; the whole run took {elapsed / 60:.1f} min.",
        "",
        f"- `uptime` at the start: `{uptime_start}`",
        f"- `uptime` at the end: `{uptime_end}`",
        "",
        "The load average counts this benchmark's own processes (2 busy workers give about 2). "
        "Other jobs may share this virtual machine; a run-to-run spread of 10-20 % is usual "
        "here.",
        "",
        f"## Cases per second ({CASES} cases)",
        "",
        "The plan: `thru: default` x `dfe: [0, 1, 2, 3, 4]` x "
        "`noise_rms: [0.2e-3, 0.35e-3, 0.5e-3, 0.65e-3, 0.8e-3]`, with "
        f"`ctle: \"{CTLE}\"` (3 CTLE x the default 12 FFE = 36 candidates a case); outputs "
        "JSONL and CSV; default blocks (about 4 tasks per worker, 1 channel: "
        "tasks of 6-7 cases with 1 worker, 3-4 with 2). A wall time is that of the whole "
        "`zefra_tdr.sweep` call: the spawn pool's start, and with `local_cluster=N` the "
        "LocalCluster's start and shut-down, are in it. The `client=` rows time the call on "
        "a LocalCluster started before the clock starts, as a long-running cluster is used; "
        "their CPU time is that of the workers and of this process (which runs the "
        "scheduler) during the call. \"malloc thresholds set\": the workers started with "
        f"`{TRIM}=268435456 MALLOC_MMAP_THRESHOLD_=33554432` in their environment (below). "
        "Each run starts from this process's environment as it was at the start (a nanny "
        f"writes `{TRIM}=65536` into the environment of the process that starts it). The "
        f"configurations are run in {repeats} interleaved rounds; the median counts (every "
        "run is listed).",
        "",
        "Columns: efficiency = cases/s / (workers x cases/s of the 1-thread in-process run); "
        "the same against the executor's own 1-worker run; CPU s / case = user + system time "
        "of every process of the run (workers included) per case; cores busy = that CPU time "
        "/ wall; CPU stall = the share of the wall time during which some runnable task of "
        "the machine waited for a CPU (`/proc/pressure/cpu`, `some`): above 0 while the "
        "run's own processes number no more than the cores, other jobs took CPU time from "
        "it; load = the 1-minute load average before the run (the largest of the runs).",
        "",
        "| configuration | workers | wall (s), median | runs (s) | cases/s | efficiency "
        "| vs the executor's 1 worker | CPU s / case | cores busy | CPU stall | load |",
        "|---|---|---|---|---|---|---|---|---|---|---|",
    ]
    for c in configs:
        base = own_one.get(c["kind"])
        if c["kind"] == "pool" and base is None:
            base = serial["rate"]
        eff = c["rate"] / (c["workers"] * serial["rate"])
        own = "—" if base is None or c["workers"] == 1 else \
            f"{100 * c['rate'] / (c['workers'] * base):.0f} %"
        if c["kind"] == "threads":
            eff_text = f"{100 * c['rate'] / ((os.cpu_count() or 1) * serial['rate']):.0f} % " \
                       f"(of {os.cpu_count()} cores)"
        else:
            eff_text = f"{100 * eff:.0f} %"
        lines.append(f"| {c['label']} | {c['workers']} | {c['wall']:.2f} | "
                     f"{', '.join(f'{w:.2f}' for w in c['walls'])} | {c['rate']:.2f} | "
                     f"{eff_text} | {own} | {c['cpu'] / CASES:.3f} | {c['cpu'] / c['wall']:.2f} "
                     f"| {100 * c['stall']:.0f} % | {c['load']:.2f} |")
    pool2 = next(c for c in configs if c["kind"] == "pool" and c["workers"] == 2)
    dask2new = next(c for c in configs if c["kind"] == "dask-new" and c["workers"] == 2)
    dask2 = next(c for c in configs if c["kind"] == "dask" and c["workers"] == 2)
    dask2t = next(c for c in configs if c["kind"] == "dask-tuned" and c["workers"] == 2)

    def eff2(c):
        return f"{100 * c['rate'] / (2 * serial['rate']):.0f} %"

    lines += [
        "",
        f"One case costs {per_case:.3f} s of one core in this process ({per_case / 36 * 1e3:.1f} "
        "ms per candidate), the file read, checksum and pulse response of each task "
        "included. Scaling efficiency at 2 workers against the 1-thread in-process run "
        f"(target >= 80 %): spawn pool {eff2(pool2)}; Dask {eff2(dask2new)} with its "
        f"LocalCluster started by the call, {eff2(dask2)} on a running one, "
        f"{eff2(dask2t)} on a running one with the malloc thresholds set.",
        "",
        f"Every run's JSON Lines file is byte-identical to every other's: "
        f"**{'yes' if same else 'NO'}** ({len(digests)} files"
        + (f", SHA-256 {next(iter(digests.values()))[:16]}...)." if same else ")."),
    ]
    if not same:
        for k, v in digests.items():
            lines.append(f"- {k}: {v}")
    lines += [
        "",
        "## Overheads per task",
        "",
        "| what | time |",
        "|---|---|",
        f"| Dask LocalCluster of 2 one-thread workers: start (until both workers are up) | "
        f"{dask_o['start']:.2f} s |",
        f"| Dask: the version check (`client.run` on every worker) | "
        f"{dask_o['check'] * 1e3:.1f} ms |",
        f"| Dask: `client.map` of {NOOP_TASKS} no-op tasks + gather, per task (2 workers) | "
        f"{dask_o['map'] * 1e3:.2f} ms |",
        f"| Dask: one `submit(...).result()` round trip of a no-op task | "
        f"{dask_o['round_trip'] * 1e3:.2f} ms |",
        f"| spawn pool of 2 processes: start, both importing zefra_tdr and its link "
        f"machinery | {pool_o['start']:.2f} s |",
        f"| spawn pool: {NOOP_TASKS} no-op tasks, per task (2 processes) | "
        f"{pool_o['noop'] * 1e3:.3f} ms |",
    ]
    for label, wall in fast.items():
        lines.append(f"| whole sweep of {FAST_CASES} one-case tasks that fail at once, "
                     f"{label}: wall / task (starts included) | {wall / FAST_CASES * 1e3:.1f} ms |")
    lines += [
        f"| a task's fixed work in the worker, per file: read the "
        f"{fixed['file_bytes'] / 1e3:.0f} kB shipped `.s4p` | {fixed['read'] * 1e3:.1f} ms |",
        f"| ... its SHA-256 (for the row's checksums) | {fixed['sha256'] * 1e3:.2f} ms |",
        f"| ... its pulse response (53.125 GBd, 32 samples/UI) | {fixed['pulse'] * 1e3:.1f} ms |",
        f"| the driver, per finished task: append 3 rows to the journal (JSON, write, "
        f"fsync) | {driver['append_3_rows'] * 1e3:.2f} ms |",
        f"| the final outputs, per row: JSON Lines / CSV (1000 rows) | "
        f"{driver['final_jsonl_per_row'] * 1e3:.2f} / "
        f"{driver['final_csv_per_row'] * 1e3:.2f} ms |",
        "",
        f"A row is {driver['row_bytes'] / 1e3:.1f} kB of JSON (the read-out's arrays are most of "
        f"it) and about {driver['row_memory'] / 1e3:.0f} kB as Python objects in the driver, "
        "which holds every row until the end.",
        "",
        f"The nanny of every Dask worker sets `{TRIM}=65536` (its "
        "`distributed.nanny.pre-spawn-environ`). Setting it turns off glibc's dynamic "
        "thresholds: every buffer above 128 KiB is then mapped and unmapped anew, and "
        "the heap is trimmed at each free, so a case's large arrays page-fault again each "
        "time; more so in a second thread, whose malloc arena is trimmed the same way, and "
        "a Dask worker runs its tasks in one. A 2-case task in a fresh process "
        f"(median of {repeats}):",
        "",
        "| malloc environment | CPU s / case, main thread | minor faults | "
        "CPU s / case, second thread | minor faults |",
        "|---|---|---|---|---|",
    ]
    for label, (cpu, faults, cpu_t, faults_t) in malloc.items():
        lines.append(f"| {label} | {cpu / 2:.3f} | {faults:.0f} | {cpu_t / 2:.3f} | "
                     f"{faults_t:.0f} |")
    return "\n".join(lines) + "\n"


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--out", default=None, help="write the Markdown report here too")
    parser.add_argument("--repeats", type=int, default=3, help="runs per measurement (3)")
    args = parser.parse_args()
    began = time.perf_counter()
    uptime_start = uptime()
    print(uptime_start, flush=True)
    with tempfile.TemporaryDirectory(prefix="zefra-sweep-bench-") as tmp:
        root = Path(tmp)
        configs, digests = measure_configurations(root, args.repeats)
        dask_o = dask_overheads(args.repeats)
        pool_o = pool_overheads(args.repeats)
        fast = fast_sweeps(root, args.repeats)
        fixed = task_fixed_costs()
        driver = driver_costs(root / "config0" / "run0" / "rows.jsonl", root)
        malloc = malloc_effect(args.repeats)
    text = report(configs, digests, dask_o, pool_o, fast, fixed, driver, malloc, args.repeats,
                  uptime_start, uptime(), time.perf_counter() - began)
    print(text)
    if args.out:
        Path(args.out).write_text(text, encoding="utf-8")


if __name__ == "__main__":
    main()
