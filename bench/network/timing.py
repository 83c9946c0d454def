"""Shared by the benchmarks: best-of-N wall time, the processor's name, and
the checkout's package on the import path."""
from __future__ import annotations

import platform
import sys
import time
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[2] / "python"))


def best(call, runs: int = 7) -> float:
    """The shortest of `runs` wall times of call(), seconds."""
    times = []
    for _ in range(runs):
        start = time.perf_counter()
        call()
        times.append(time.perf_counter() - start)
    return min(times)


def cpu_name() -> str:
    """The processor's model name (/proc/cpuinfo), else what Python knows."""
    try:
        for line in Path("/proc/cpuinfo").read_text().splitlines():
            if line.startswith("model name"):
                return line.split(":", 1)[1].strip()
    except OSError:
        pass
    return platform.processor() or "unknown"
