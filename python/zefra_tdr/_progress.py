"""Progress of a long command on stderr: on a terminal, one bar redrawn in
place with the count, the rate and the time left; elsewhere (a log file, a
pipe) either one plain line per update or nothing."""

from __future__ import annotations

import math
import sys
import time


class Progress:
    """``progress(done, total)`` after each step of ``label`` (counted in
    ``unit``).  ``lines``: without a terminal, write a line per update
    (otherwise stay silent there).  ``enabled`` false: never write."""

    def __init__(self, label: str, unit: str, *, stream=None, lines: bool = False,
                 enabled: bool = True, width: int = 30):
        self.stream = sys.stderr if stream is None else stream
        self.label, self.unit, self.width = label, unit, width
        self.tty = enabled and bool(getattr(self.stream, "isatty", lambda: False)())
        self.lines = enabled and lines and not self.tty
        self.start = time.perf_counter()

    def __call__(self, done: int, total: int) -> None:
        if not (self.tty or self.lines):
            return
        elapsed = time.perf_counter() - self.start
        rate = done / elapsed if elapsed > 0 else 0.0
        left = (total - done) / rate if rate > 0 else math.inf
        left_text = f"{left:.0f} s" if math.isfinite(left) else "?"
        if self.tty:
            filled = int(round(self.width * done / max(total, 1)))
            self.stream.write(f"\r{self.label} [{'#' * filled}{'.' * (self.width - filled)}] "
                              f"{done}/{total} {self.unit}, {rate:.2f}/s, {left_text} left")
            if done >= total:
                self.stream.write("\n")
        else:
            self.stream.write(f"{self.label}: {done}/{total} {self.unit} done, {rate:.2f} "
                              f"{self.unit}/s, about {left_text} left\n")
        self.stream.flush()

    def log(self, message: str) -> None:
        """A note on its own line (under the bar on a terminal)."""
        if not (self.tty or self.lines):
            return
        if self.tty:
            self.stream.write("\r\033[K")
        self.stream.write(f"{self.label}: {message}\n")
        self.stream.flush()
