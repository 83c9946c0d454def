#!/usr/bin/env python3
"""Cascading 10 two-ports of 10,000 points: zefra_tdr.cascade against
scikit-rf's `**` chain on the same networks (Debian's python3-scikit-rf),
side by side in one run, best of several runs each.

Run from the checkout after `cmake --build --preset release`:

    /usr/bin/python3 bench/network/cascade_bench.py

Prints one line per measurement and the ratio (target: at least 10x).
"""
from __future__ import annotations

import sys
from pathlib import Path

import numpy as np

sys.path.insert(0, str(Path(__file__).resolve().parent))
from timing import best  # noqa: E402  (also puts the checkout's package first)
import skrf  # noqa: E402
import zefra_tdr  # noqa: E402

POINTS, COUNT = 10_000, 10


def main() -> int:
    rng = np.random.default_rng(10)
    f = np.linspace(1e7, 5e10, POINTS)
    ours = []
    theirs = []
    for k in range(COUNT):
        s = 0.3 * (rng.normal(size=(POINTS, 2, 2)) + 1j * rng.normal(size=(POINTS, 2, 2)))
        ours.append(zefra_tdr.Network(f, s, 50.0))
        theirs.append(skrf.Network(frequency=skrf.Frequency.from_f(f, unit="hz"), s=s, z0=50.0))

    def chain():
        result = theirs[0]
        for n in theirs[1:]:
            result = result ** n
        return result

    ours_s = best(lambda: zefra_tdr.cascade(*ours))
    theirs_s = best(chain)
    error = np.max(np.abs(zefra_tdr.cascade(*ours).s - chain().s))
    print(f"zefra_tdr.cascade: {ours_s * 1e3:.2f} ms")
    print(f"scikit-rf ** chain: {theirs_s * 1e3:.2f} ms")
    print(f"ratio: {theirs_s / ours_s:.1f}x (target >= 10x); max |difference| {error:.2e}")
    return 0


if __name__ == "__main__":
    sys.exit(main())
