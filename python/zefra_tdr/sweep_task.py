"""A sweep's unit of work: the cases of one channel (a block of its
settings), run where a worker is, each exactly as ``zefra-tdr link`` runs it
alone.

A task reads each of its files once (a :class:`~zefra_tdr.cli_link.LinkCache`
keeps the networks and the pulse responses between its cases) and returns
one row per case.  A case that fails (a bad file, an option its channel
rejects) gives a row with ``status = "error"`` and the message; the task
goes on with the next case.
"""

from __future__ import annotations

import dataclasses
import hashlib

from .sweep_plan import Case

__all__ = ["RUN_ONLY_KEYS", "Task", "case_row", "link_figures", "run_task", "worker_version"]

#: Keys of ``zefra-tdr link --json`` that describe the run rather than the
#: link: left out of a sweep's rows (the thread count is ``inputs.threads``).
RUN_ONLY_KEYS = ("timings_s", "plots")


@dataclasses.dataclass(frozen=True)
class Task:
    """Cases of one channel, run in order by one worker; ``threads`` is
    each case's engine thread count (0: every core)."""

    task_id: int
    cases: tuple[Case, ...]
    threads: int = 1


def link_figures(report: dict) -> dict:
    """A ``zefra-tdr link --json`` report without its run-only keys."""
    out = {k: v for k, v in report.items() if k not in RUN_ONLY_KEYS}
    out["inputs"] = {k: v for k, v in report["inputs"].items() if k != "threads"}
    return out


def case_row(case: Case, *, report: dict | None = None, error: str | None = None,
             checksums: dict | None = None) -> dict:
    """A row: the case, its status, its files' checksums and, when it ran,
    every figure of its link report."""
    row = {
        "case_id": case.case_id,
        "case_index": case.index,
        "channel_name": case.channel.name,
        "setting_index": case.setting_index,
        "setting": dict(case.setting),
        "command_line": case.command_line,
        "status": "ok" if error is None else "error",
        "error": error,
        "checksums": checksums,
    }
    if report is not None:
        row.update(link_figures(report))
    return row


def _sha256(path: str) -> str | None:
    digest = hashlib.sha256()
    try:
        with open(path, "rb") as f:
            for block in iter(lambda: f.read(1 << 20), b""):
                digest.update(block)
    except OSError:
        return None
    return digest.hexdigest()


def file_checksums(case: Case, known: dict | None = None) -> dict:
    """SHA-256 of the case's through and crosstalk files (None for a file
    that cannot be read); ``known`` caches them by path."""
    known = {} if known is None else known
    files = case.channel.files()
    for f in files:
        if f not in known:
            known[f] = _sha256(f)
    return {"thru_sha256": known[files[0]], "xtalk_sha256": [known[f] for f in files[1:]]}


def error_text(exc: BaseException) -> str:
    """One line naming what went wrong (the message of a bad-input error,
    otherwise the exception's type and message)."""
    text = str(exc).splitlines()[0] if str(exc) else ""
    if isinstance(exc, (ValueError, OSError)) and text:
        return text
    return f"{type(exc).__name__}: {text}" if text else type(exc).__name__


def run_case(case: Case, cache, sums: dict, threads: int) -> dict:
    from .cli import parse_command
    from .cli_link import link_report, run_link

    checksums = file_checksums(case, sums)
    try:
        args = parse_command(case.argv)
        args.threads = threads
        run = run_link(args, cache=cache, search_progress=False)
        report = link_report(run)
    except Exception as exc:  # noqa: BLE001 -- a failing case is a row, the sweep goes on
        return case_row(case, error=error_text(exc), checksums=checksums)
    return case_row(case, report=report, checksums=checksums)


def run_task(task: Task) -> list[dict]:
    """Every case of the task, in order: one row each."""
    from .cli_link import LinkCache

    cache, sums = LinkCache(), {}
    return [run_case(case, cache, sums, task.threads) for case in task.cases]


def worker_version() -> str:
    """The toolkit version a worker runs (a Dask cluster's workers must
    match the client's, or rows would not be the same bits)."""
    from . import __version__

    return __version__
