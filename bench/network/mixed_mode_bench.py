#!/usr/bin/env python3
"""The mixed-mode conversion of a 4-port at 10,000 points:
Network.to_mixed_mode against scikit-rf's se2gmm (Debian's
python3-scikit-rf) on the same network, side by side in one run, best of
several runs each.

    /usr/bin/python3 bench/network/mixed_mode_bench.py

Prints one line per measurement and the ratio (target: at least 5x).
"""
from __future__ import annotations

import copy
import sys
from pathlib import Path

import numpy as np

sys.path.insert(0, str(Path(__file__).resolve().parent))
from timing import best  # noqa: E402  (also puts the checkout's package first)
import skrf  # noqa: E402
import zefra_tdr  # noqa: E402

# scikit-rf 0.15 still uses numpy aliases that numpy 1.24 removed.
np.bool = bool
np.complex = complex

POINTS = 10_000


def main() -> int:
    rng = np.random.default_rng(5)
    f = np.linspace(1e7, 5e10, POINTS)
    s = 0.3 * (rng.normal(size=(POINTS, 4, 4)) + 1j * rng.normal(size=(POINTS, 4, 4)))
    ours = zefra_tdr.Network(f, s, 50.0)
    theirs = skrf.Network(frequency=skrf.Frequency.from_f(f, unit="hz"), s=s, z0=50.0)

    def skrf_convert():
        copied = copy.deepcopy(theirs)  # se2gmm converts in place
        copied.se2gmm(p=2)
        return copied

    copy_s = best(lambda: copy.deepcopy(theirs))
    ours_s = best(lambda: ours.to_mixed_mode(order="1-3/2-4"))
    theirs_s = best(skrf_convert) - copy_s
    error = np.max(np.abs(ours.to_mixed_mode(order="1-3/2-4").s - skrf_convert().s))
    print(f"Network.to_mixed_mode: {ours_s * 1e3:.2f} ms")
    print(f"scikit-rf se2gmm: {theirs_s * 1e3:.2f} ms (its copy, {copy_s * 1e3:.2f} ms, taken off)")
    print(f"ratio: {theirs_s / ours_s:.1f}x (target >= 5x); max |difference| {error:.2e}")
    return 0


if __name__ == "__main__":
    sys.exit(main())
