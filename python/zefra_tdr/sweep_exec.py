"""Where a sweep's tasks run: in this process, on a local process pool, or
on a Dask cluster.

Each executor calls ``done(task, rows)`` once per task, in the order the
tasks finish.  A task never raises: a failing case is a row.  A worker that
dies (killed, out of memory, a crash) is a different matter:

* process pool: the pool breaks, every unfinished task is resubmitted to
  a fresh pool, and a task caught in ``MAX_ATTEMPTS`` breaks gets error
  rows;
* Dask: the scheduler reruns the task on another worker (its
  ``allowed-failures``, 3 by default), then reports ``KilledWorker``, which
  gives error rows.
"""

from __future__ import annotations

import concurrent.futures
import multiprocessing
import signal
from typing import Callable

from .sweep_task import Task, case_row, error_text, run_task

__all__ = ["MAX_ATTEMPTS", "run_dask", "run_pool", "run_serial"]

#: Pool breaks a task may be caught in before it is given up.
MAX_ATTEMPTS = 3

Done = Callable[[Task, list], None]


def _error_rows(task: Task, message: str) -> list[dict]:
    return [case_row(case, error=message) for case in task.cases]


def run_serial(tasks: list[Task], done: Done, log: Callable[[str], None]) -> None:
    for task in tasks:
        done(task, run_task(task))


def _ignore_interrupt() -> None:
    # Ctrl-C reaches the whole process group; the driver alone handles it.
    signal.signal(signal.SIGINT, signal.SIG_IGN)


def _stop(pool: concurrent.futures.ProcessPoolExecutor) -> None:
    # An interrupted sweep does not wait for the running tasks: their rows
    # are not in the journal, so --resume computes them again.
    processes = list((getattr(pool, "_processes", None) or {}).values())
    pool.shutdown(wait=False, cancel_futures=True)
    for process in processes:
        process.terminate()


def run_pool(tasks: list[Task], done: Done, log: Callable[[str], None], workers: int) -> None:
    """Tasks on ``workers`` processes (started fresh: the 'spawn' method,
    the same on Linux, macOS and Windows)."""
    attempts = {t.task_id: 0 for t in tasks}
    pending = list(tasks)
    context = multiprocessing.get_context("spawn")
    while pending:
        pool = concurrent.futures.ProcessPoolExecutor(
            max_workers=min(workers, len(pending)), mp_context=context,
            initializer=_ignore_interrupt)
        retry: list[Task] = []
        try:
            futures = {pool.submit(run_task, t): t for t in pending}
            for future in concurrent.futures.as_completed(futures):
                task = futures[future]
                try:
                    rows = future.result()
                except concurrent.futures.process.BrokenProcessPool:
                    attempts[task.task_id] += 1
                    if attempts[task.task_id] < MAX_ATTEMPTS:
                        retry.append(task)
                    else:
                        done(task, _error_rows(task, f"a worker process died running this "
                                                     f"task ({MAX_ATTEMPTS} attempts)"))
                    continue
                except Exception as exc:  # noqa: BLE001 -- e.g. a row that cannot be sent back
                    rows = _error_rows(task, error_text(exc))
                done(task, rows)
        except BaseException:
            _stop(pool)
            raise
        pool.shutdown(wait=True)
        if retry:
            log(f"a worker process died; {len(retry)} unfinished task(s) resubmitted")
        pending = sorted(retry, key=lambda t: t.task_id)


def check_workers(client) -> int:
    """The number of worker threads (0 before any worker joins) of a Dask
    cluster whose workers run this package's version (ValueError
    otherwise)."""
    from . import __version__
    from .sweep_task import worker_version

    try:
        versions = client.run(worker_version)
    except Exception as exc:  # noqa: BLE001
        raise ValueError("the Dask workers cannot run zefra_tdr (install the same package "
                         f"on every worker): {error_text(exc)}") from None
    wrong = {w: v for w, v in versions.items() if v != __version__}
    if wrong:
        worker, version = next(iter(wrong.items()))
        raise ValueError(f"Dask worker {worker} runs zefra_tdr {version}, this client "
                         f"{__version__}: install the same version everywhere")
    return sum(client.nthreads().values())


def run_dask(tasks: list[Task], done: Done, log: Callable[[str], None], client) -> None:
    """Tasks on a Dask cluster through ``client`` (distributed.Client)."""
    import uuid

    from distributed import as_completed
    from distributed.scheduler import KilledWorker

    token = uuid.uuid4().hex[:12]
    futures = {}
    for task in tasks:
        future = client.submit(run_task, task, key=f"zefra-sweep-{token}-{task.task_id}",
                               pure=False)
        futures[future.key] = (future, task)
    try:
        for future in as_completed([f for f, _ in futures.values()]):
            task = futures[future.key][1]
            try:
                rows = future.result()
            except KilledWorker:
                rows = _error_rows(task, "the Dask workers running this task died each time "
                                         "(the scheduler's allowed-failures)")
            except Exception as exc:  # noqa: BLE001
                rows = _error_rows(task, error_text(exc))
            done(task, rows)
    except BaseException:
        client.cancel([f for f, _ in futures.values()])
        raise
