"""Writes the two Touchstone files of the reading and writing benchmark, with
numpy only (no reader or writer of ours is involved):

- a 16-port, 20,000-point RI file (version 1, `# Hz S RI R 50`, shortest
  round-trip digits, four pairs per line, each matrix row on a new line),
  about 200 MB;
- a 4-port, 10,000-point MA file (`# GHz S MA R 50`, 12 significant digits).

    /usr/bin/python3 bench/touchstone/make_files.py DIR
"""

from __future__ import annotations

import sys
from pathlib import Path

import numpy as np


def random_s(rng, nf: int, n: int) -> np.ndarray:
    """Smooth-looking S-parameters: a lossy delayed trace per entry."""
    f = np.linspace(10e6, 50e9, nf)
    mag = rng.uniform(0.05, 0.9, (1, n, n)) * np.exp(-f[:, None, None] / rng.uniform(2e10, 8e10, (1, n, n)))
    phase = -2 * np.pi * f[:, None, None] * rng.uniform(0.1e-9, 3e-9, (1, n, n))
    return f, mag * np.exp(1j * phase)




def write_ri(path: Path, nf: int, n: int, seed: int) -> None:
    rng = np.random.default_rng(seed)
    f, s = random_s(rng, nf, n)
    with open(path, "w") as out:
        out.write("! benchmark file: 16-port, RI, shortest digits\n# Hz S RI R 50\n")
        for k in range(nf):
            pairs = [f"{repr(float(v.real))} {repr(float(v.imag))}" for v in s[k].ravel()]
            lines = []
            for i in range(n):
                row = pairs[i * n:(i + 1) * n]
                for c in range(0, n, 4):
                    lines.append(" ".join(row[c:c + 4]))
            out.write(repr(float(f[k])) + " " + lines[0] + "\n")
            out.write("".join("  " + line + "\n" for line in lines[1:]))


def write_ma(path: Path, nf: int, n: int, seed: int) -> None:
    rng = np.random.default_rng(seed)
    f, s = random_s(rng, nf, n)
    with open(path, "w") as out:
        out.write("! benchmark file: 4-port, MA, 12 digits\n# GHz S MA R 50\n")
        for k in range(nf):
            mag, ang = np.abs(s[k]).ravel(), np.degrees(np.angle(s[k])).ravel()
            pairs = [f"{m:.12g} {a:.12g}" for m, a in zip(mag, ang)]
            lines = [" ".join(pairs[i * n:(i + 1) * n]) for i in range(n)]
            out.write(f"{f[k] / 1e9:.12g} " + lines[0] + "\n")
            out.write("".join("  " + line + "\n" for line in lines[1:]))


def main() -> None:
    folder = Path(sys.argv[1])
    folder.mkdir(parents=True, exist_ok=True)
    ri, ma = folder / "bench16.s16p", folder / "bench4.s4p"
    if not ri.is_file():
        write_ri(ri, 20_000, 16, 1)
    if not ma.is_file():
        write_ma(ma, 10_000, 4, 2)
    print(ri, ri.stat().st_size)
    print(ma, ma.stat().st_size)


if __name__ == "__main__":
    main()
