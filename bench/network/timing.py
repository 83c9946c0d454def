"""Shared by the network benchmarks: best-of-N wall time, and the checkout's
package on the import path."""
from __future__ import annotations

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
