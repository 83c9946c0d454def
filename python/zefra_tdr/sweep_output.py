"""A sweep's files: the JSON Lines journal, CSV, Parquet.

The JSON Lines file is the journal.  Each finished task's rows are
appended with one write of whole lines, then flushed to disk, so that an
interrupted sweep keeps every row it finished.  A power cut during that
write could leave a partial last line, and reading the journal drops it.
At the end, the journal is rewritten in the plan's order.  CSV and Parquet
are always written whole, to a temporary file that is then renamed over
the old one, so a reader never sees half a file.

CSV columns are the rows' keys flattened with dots (``eyes.0.margin_v``).
Lists of numbers (FFE taps, per-phase read-outs) are JSON text in one
cell, and an empty cell is a missing value.  The ``conventions`` texts are
the same in every row, so they are left out of the CSV (the JSON Lines
rows carry them).  Numbers keep their shortest round-trip digits, so a CSV
value parses back to the same double.
"""

from __future__ import annotations

import csv
import importlib.util
import json
import os

from ._files import atomic_open

__all__ = ["Journal", "JournalLock", "flatten_row", "parquet_writer", "write_csv", "write_jsonl",
           "write_parquet"]

_CSV_SKIPPED = ("conventions", "eye.conventions")


def _line(row: dict) -> str:
    return json.dumps(row, allow_nan=False, separators=(",", ":")) + "\n"


class Journal:
    """The JSON Lines file that rows are appended to as tasks finish."""

    def __init__(self, path: str):
        self.path = path
        self.dropped_partial = False

    def read(self) -> list[dict]:
        """The rows already written (a partial last line is dropped)."""
        try:
            with open(self.path, "rb") as f:
                data = f.read()
        except FileNotFoundError:
            return []
        rows = []
        lines = data.split(b"\n")
        for n, raw in enumerate(lines):
            if not raw.strip():
                continue
            last = n == len(lines) - 1  # no newline after it: an unfinished write
            try:
                row = json.loads(raw)
            except ValueError:
                if last:
                    self.dropped_partial = True
                    continue
                raise ValueError(f"{self.path}:{n + 1}: not a JSON row; the file is not a "
                                 "sweep's results") from None
            if last:
                self.dropped_partial = True
                continue
            if not isinstance(row, dict) or "case_id" not in row:
                raise ValueError(f"{self.path}:{n + 1}: not a sweep row (no case_id)")
            rows.append(row)
        return rows

    def start(self, rows: list[dict]) -> None:
        """Replaces the file by ``rows`` (in one step)."""
        write_jsonl(self.path, rows)

    def append(self, rows: list[dict]) -> None:
        """Adds ``rows`` with one write of whole lines, then syncs."""
        if not rows:
            return
        data = "".join(_line(r) for r in rows).encode("utf-8")
        fd = os.open(self.path, os.O_WRONLY | os.O_APPEND | os.O_CREAT, 0o644)
        try:
            view = memoryview(data)
            while view:
                written = os.write(fd, view)
                view = view[written:]
            os.fsync(fd)
        finally:
            os.close(fd)


class JournalLock:
    """An exclusive lock on ``JOURNAL.lock`` for the length of a sweep, so
    that two sweeps never append to one journal.  The operating system
    drops it when the process ends, even when killed: no stale lock."""

    def __init__(self, journal_path: str):
        self.path = f"{journal_path}.lock"
        self._file = None

    def __enter__(self):
        self._file = open(self.path, "a+b")
        try:
            if os.name == "nt":
                import msvcrt

                self._file.seek(0)
                msvcrt.locking(self._file.fileno(), msvcrt.LK_NBLCK, 1)
            else:
                import fcntl

                fcntl.flock(self._file.fileno(), fcntl.LOCK_EX | fcntl.LOCK_NB)
        except OSError:
            self._file.close()
            raise ValueError(f"{self.path}: another sweep is writing these outputs; wait for "
                             "it or give this plan other outputs") from None
        return self

    def __exit__(self, *exc):
        # Closing releases the lock.  The file stays: removing it would let
        # a sweep that opened it just before lock an unlinked file while a
        # third locks a new one.
        self._file.close()
        return False


def write_jsonl(path: str, rows: list[dict]) -> None:
    with atomic_open(path) as out:
        for row in rows:
            out.write(_line(row))


def _cell(value) -> str:
    if value is None:
        return ""
    if isinstance(value, bool):
        return "true" if value else "false"
    if isinstance(value, float):
        return repr(value)
    if isinstance(value, (list, dict)):
        return json.dumps(value, allow_nan=False, separators=(",", ":"))
    return str(value)


def flatten_row(row: dict, prefix: str = "", out: dict | None = None) -> dict:
    """Nested mappings (and lists of mappings) as dotted keys; other lists
    stay whole."""
    out = {} if out is None else out
    for key, value in row.items():
        name = f"{prefix}{key}"
        if name in _CSV_SKIPPED:
            continue
        if isinstance(value, dict):
            flatten_row(value, f"{name}.", out)
        elif isinstance(value, list) and value and all(isinstance(v, dict) for v in value):
            for i, item in enumerate(value):
                flatten_row(item, f"{name}.{i}.", out)
        else:
            out[name] = value
    return out


def _columns(flat: list[dict]) -> list[str]:
    seen: dict[str, None] = {}
    for row in flat:
        for key in row:
            seen.setdefault(key, None)
    return list(seen)


def write_csv(path: str, rows: list[dict]) -> None:
    flat = [flatten_row(r) for r in rows]
    columns = _columns(flat)
    with atomic_open(path) as out:
        writer = csv.writer(out, lineterminator="\n")
        writer.writerow(columns)
        for row in flat:
            writer.writerow([_cell(row.get(c)) for c in columns])


def parquet_writer() -> str | None:
    """The Parquet engine pandas can use here (pyarrow or fastparquet), or
    None.  Debian 12 packages neither."""
    if importlib.util.find_spec("pandas") is None:
        return None
    for engine in ("pyarrow", "fastparquet"):
        if importlib.util.find_spec(engine) is not None:
            return engine
    return None


def write_parquet(path: str, rows: list[dict]) -> None:
    import pandas as pd

    engine = parquet_writer()
    if engine is None:
        raise ValueError(f"{path}: no Parquet writer (pandas with pyarrow or fastparquet) is "
                         "installed; Debian 12 packages none, so use csv or jsonl")
    flat = [flatten_row(r) for r in rows]
    columns = _columns(flat)
    table = {c: [_parquet_value(row.get(c)) for row in flat] for c in columns}
    frame = pd.DataFrame(table, columns=columns)
    with atomic_open(path, "wb") as out:
        frame.to_parquet(out, engine=engine, index=False)


def _parquet_value(value):
    # Lists and mappings as JSON text, so that every column has one type.
    if isinstance(value, (list, dict)):
        return json.dumps(value, allow_nan=False, separators=(",", ":"))
    return value
