"""``zefra_tdr.sweep``: every case of a plan, on this machine's cores or a
Dask cluster, with rows written as they finish (docs/sweep.md).

The steps:

1. load the plan and expand it into cases (channel-major);
2. with ``resume``, keep the finished rows already in the journal whose
   files still have the same checksums; every other case is to do;
3. group the cases to do into tasks, one channel and a block of its
   settings each (a task reads its files once);
4. run the tasks, appending each task's rows to the journal as it
   finishes;
5. rewrite the journal in the plan's order and write CSV, Parquet and the
   plot; print the summary.

Each row is the same bits as ``zefra-tdr link`` run alone on the case's
command line (without its run-only keys: timings, plots and the thread
count), whatever the executor, the number of workers or the order in which
tasks finish.
"""

from __future__ import annotations

import contextlib
import dataclasses
import math
import os
import time
from pathlib import Path

from ._progress import Progress
from .sweep_output import Journal, JournalLock, parquet_writer, write_csv, write_jsonl, write_parquet
from .sweep_plan import Plan, load_plan, setting_label
from .sweep_task import Task, file_checksums

__all__ = ["SweepResult", "plan_tasks", "summary_lines", "sweep"]

#: Tasks per worker the automatic blocks aim at (load balance against
#: reading each file once).
_TASKS_PER_WORKER = 4


@dataclasses.dataclass
class SweepResult:
    """A finished (or interrupted) sweep."""

    plan: Plan
    rows: list[dict]
    outputs: dict
    computed: int
    reused: int
    elapsed_s: float
    notes: list[str]

    @property
    def errors(self) -> list[dict]:
        return [r for r in self.rows if r["status"] != "ok"]

    def worst(self, count: int = 5) -> list[dict]:
        """The finished rows with the smallest link margin."""
        ok = [r for r in self.rows if r["status"] == "ok"]
        return sorted(ok, key=lambda r: (r["margin_v"], r["case_index"]))[:count]

    def summary(self, count: int = 5) -> str:
        return "\n".join(summary_lines(self, count))


def plan_tasks(plan: Plan, todo: list, workers: int, block: int | None,
               threads: int) -> list[Task]:
    """The cases to do, grouped per channel into blocks of settings: of
    ``block`` cases each, or (``block`` None) into about
    4 x workers tasks overall, split evenly within each channel."""
    per_channel: dict[int, list] = {}
    for case in todo:
        per_channel.setdefault(case.channel_index, []).append(case)
    tasks: list[Task] = []
    if block is None:
        splits = max(1, math.ceil(_TASKS_PER_WORKER * workers / max(1, len(per_channel))))
    for cases in per_channel.values():
        count = (math.ceil(len(cases) / block) if block is not None
                 else min(len(cases), splits))
        # Even split: sizes differ by at most one.
        size, extra = divmod(len(cases), count)
        start = 0
        for k in range(count):
            end = start + size + (1 if k < extra else 0)
            tasks.append(Task(len(tasks), tuple(cases[start:end]), threads))
            start = end
    return tasks


def _resumable(rows: list[dict], plan: Plan, notes: list[str]) -> tuple[dict, list[dict]]:
    """The finished rows of this plan's cases whose files are unchanged
    (by case id), and the rows of cases this plan no longer has."""
    by_id = {case.case_id: case for case in plan.cases}
    known: dict = {}
    kept, foreign, changed = {}, [], 0
    for row in rows:
        case = by_id.get(row.get("case_id"))
        if case is None:
            foreign.append(row)
        elif row.get("status") == "ok":
            if row.get("checksums") == file_checksums(case, known):
                kept[case.case_id] = row
            else:
                changed += 1
    if changed:
        notes.append(f"{changed} finished case(s) computed again: their files changed")
    if foreign:
        notes.append(f"{len(foreign)} row(s) of cases not in this plan kept at the end")
    return kept, foreign


def _check_outputs(plan: Plan) -> None:
    if "parquet" in plan.outputs and parquet_writer() is None:
        raise ValueError(f"{plan.outputs['parquet']}: no Parquet writer (pandas with pyarrow "
                         "or fastparquet) is installed; Debian 12 packages none, so drop "
                         "outputs.parquet and use the csv or jsonl output")
    for path in plan.outputs.values():
        folder = Path(path).parent
        if not folder.is_dir():
            raise ValueError(f"{path}: the folder {folder} does not exist")


def _write_outputs(plan: Plan, rows: list[dict], final: bool) -> None:
    write_jsonl(plan.outputs["jsonl"], rows)
    if "csv" in plan.outputs:
        write_csv(plan.outputs["csv"], rows)
    if "parquet" in plan.outputs:
        write_parquet(plan.outputs["parquet"], rows)
    if final and "plot" in plan.outputs:
        from .plots_sweep import save_sweep_plot

        save_sweep_plot(plan.outputs["plot"], rows)


def _executor(client, scheduler: str | None, local_cluster: int | None, workers: int | None):
    """(kind, client to close or None, worker count)."""
    given = sum(x is not None for x in (client, scheduler, local_cluster))
    if given > 1:
        raise ValueError("give at most one of client, scheduler and local_cluster")
    if scheduler is not None or local_cluster is not None:
        try:
            import distributed
        except ImportError:
            raise ValueError("--scheduler and --local-cluster need Dask distributed: apt-get "
                             "install python3-distributed") from None
        if scheduler is not None:
            client = distributed.Client(scheduler, timeout="30s")
        else:
            if local_cluster < 1:
                raise ValueError(f"--local-cluster {local_cluster}: expected 1 or more workers")
            # Dask's nanny writes its workers' settings (MALLOC_TRIM_THRESHOLD_,
            # OMP_NUM_THREADS, ...) into this process's environment; they
            # would follow into every process started later (a pool's
            # workers among them), so the environment is put back.
            saved = dict(os.environ)
            try:
                cluster = distributed.LocalCluster(n_workers=local_cluster,
                                                   threads_per_worker=1, processes=True,
                                                   dashboard_address=None)
            finally:
                os.environ.clear()
                os.environ.update(saved)
            client = distributed.Client(cluster)
        return "dask", client, None
    if client is not None:
        if workers is not None:
            raise ValueError("workers sizes the local pool; a Dask client brings its own")
        return "dask", None, None
    count = workers if workers is not None else (os.cpu_count() or 1)
    if count < 1:
        raise ValueError(f"--workers {count}: expected 1 or more")
    return ("serial" if count == 1 else "pool"), None, count


def sweep(plan, *, client=None, scheduler: str | None = None, local_cluster: int | None = None,
          workers: int | None = None, resume: bool = False, overwrite: bool = False,
          block: int | None = None, threads_per_case: int | None = None,
          progress: bool = False, stream=None) -> SweepResult:
    """Run every case of a sweep plan (docs/sweep.md).

    Parameters
    ----------
    plan : path, dict or Plan
        A YAML or TOML plan file, its content as a dict (paths relative to
        the current folder), or a loaded plan.
    client : distributed.Client, optional
        Run on this Dask cluster (the caller keeps it open).
    scheduler : str, optional
        Address of a Dask scheduler (``tcp://HOST:PORT``) to connect to.
    local_cluster : int, optional
        Start a ``distributed.LocalCluster`` of this many one-thread workers.
    workers : int, optional
        Without Dask: processes of the local pool (default: every core;
        1 runs in this process).
    resume : bool
        Keep the finished rows of the journal whose files are unchanged and
        compute only the other cases.
    overwrite : bool
        Start again even if the journal already holds rows.
    block : int, optional
        Cases per task (default: about 4 tasks per worker, each of one
        channel).
    threads_per_case : int, optional
        Engine threads of each case (default: every core in this process,
        1 in a pool or on Dask).  Results do not depend on it.
    progress : bool
        Show progress and notes on ``stream`` (default stderr).

    Returns
    -------
    SweepResult
        Every row in the plan's order, the output paths and the counts.
    """
    start = time.perf_counter()
    plan = plan if isinstance(plan, Plan) else load_plan(plan)
    kind, owned, count = _executor(client, scheduler, local_cluster, workers)
    notes: list[str] = []
    stack = contextlib.ExitStack()
    try:
        _check_outputs(plan)
        stack.enter_context(JournalLock(plan.outputs["jsonl"]))
        journal = Journal(plan.outputs["jsonl"])
        old = journal.read()
        if old and not (resume or overwrite):
            raise ValueError(f"{journal.path} already holds {len(old)} row(s): --resume "
                             "(resume=True) continues that sweep, --overwrite (overwrite=True) "
                             "starts again")
        if journal.dropped_partial:
            notes.append(f"{journal.path}: an unfinished last line was dropped")
        kept, foreign = _resumable(old, plan, notes) if resume else ({}, [])
        todo = [case for case in plan.cases if case.case_id not in kept]
        dask_client = owned or client
        if kind == "dask":
            from .sweep_exec import check_workers

            count = check_workers(dask_client)
            if count == 0:
                notes.append("the Dask cluster has no workers yet: the tasks wait for them")
        threads = (0 if kind == "serial" else 1) if threads_per_case is None else threads_per_case
        if threads < 0:
            raise ValueError(f"threads per case {threads}: expected 0 (every core) or more")
        if block is not None and block < 1:
            raise ValueError(f"--block {block}: expected 1 or more cases per task")
        tasks = plan_tasks(plan, todo, max(count, 1), block, threads)

        finished = dict(kept)
        journal.start([finished[c.case_id] for c in plan.cases if c.case_id in finished]
                      + foreign)
        bar = Progress("sweep", "cases", stream=stream, lines=True, enabled=progress)
        total, count_done = len(todo), 0
        for note in notes:
            bar.log(note)
        if kept:
            bar.log(f"resuming: {len(kept)} case(s) already done, {len(todo)} to do")

        def done(task: Task, rows: list[dict]) -> None:
            journal.append(rows)
            nonlocal count_done
            for row in rows:
                finished[row["case_id"]] = row
            count_done += len(rows)
            bar(count_done, total)

        def log(message: str) -> None:
            notes.append(message)
            bar.log(message)

        from .sweep_exec import run_dask, run_pool, run_serial

        try:
            if kind == "serial":
                run_serial(tasks, done, log)
            elif kind == "pool":
                run_pool(tasks, done, log, count)
            else:
                run_dask(tasks, done, log, dask_client)
        finally:
            rows = [finished[c.case_id] for c in plan.cases if c.case_id in finished] + foreign
            complete = len(rows) - len(foreign) == len(plan.cases)
            _write_outputs(plan, rows, final=complete)
    finally:
        stack.close()
        if owned is not None:
            cluster = getattr(owned, "cluster", None)
            owned.close()
            if cluster is not None:
                cluster.close()
    return SweepResult(plan=plan, rows=rows, outputs=dict(plan.outputs),
                       computed=len(todo), reused=len(kept),
                       elapsed_s=time.perf_counter() - start, notes=notes)


def summary_lines(result: SweepResult, count: int = 5) -> list[str]:
    """The sweep's counts, its worst cases by link margin and its errors."""
    rows = result.rows
    settings = list(result.plan.settings)
    ok = [r for r in rows if r["status"] == "ok"]
    errors = result.errors
    lines = [f"{len(rows)} case(s): {len(ok)} ok, {len(errors)} error(s); "
             f"{result.computed} computed, {result.reused} from the journal, "
             f"{result.elapsed_s:.1f} s"]
    worst = result.worst(count)
    if worst:
        lines.append(f"worst {len(worst)} case(s) by link margin:")
        lines.append(f"  {'margin (mV)':>11} {'eye':>3} {'loss (dB)':>9}  channel / setting")
        for r in worst:
            loss = r["channel"]["loss_at_nyquist_db"]
            loss_text = "-" if loss is None else f"{loss:.2f}"
            lines.append(f"  {r['margin_v'] * 1e3:>11.3f} {r['worst_eye']:>3} {loss_text:>9}  "
                         f"{r['channel_name']} / {setting_label(r['setting'], settings)}")
    if errors:
        lines.append(f"errors ({len(errors)}):")
        for r in errors[:count]:
            lines.append(f"  {r['channel_name']} / {setting_label(r['setting'], settings)}: "
                         f"{r['error']}")
        if len(errors) > count:
            lines.append(f"  ... and {len(errors) - count} more (status = error in the rows)")
    return lines
