"""Pulse-response benchmark: a 4-port, 10,000-point channel to its
equalised cursors on one core, and the FFT library choice.

    /usr/bin/python3 bench/pulse/run.py [--out bench/pulse/RESULTS.md]

1. The channel: two single-ended legs (package + lossy line + package,
   built by the toolkit) with weak near- and far-end coupling, as a
   4-port numbered 1-3/2-4, 10 MHz .. 100 GHz in 10 MHz steps, written as
   Touchstone and read back.
2. On one core (the process is pinned to CPU 0, the reader to one thread):
   reading; pulse_response (mixed mode, 100-ohm terminations with 150 fF
   pads, 53.125 GBd, 32 samples/UI, default span, inverse FFT); equalize
   (CTLE, 3-tap FFE, hula-hoop centre, 12 fixed + floating DFE taps).
   Best of 7.
3. The inverse FFT: kissfft<double> (the toolkit's, bench/pulse/fft_choice.cpp
   compiled with -O2) against numpy's pocketfft irfft at the same sizes.
"""

from __future__ import annotations

import argparse
import os
import platform
import subprocess
import sys
import tempfile
from pathlib import Path

HERE = Path(__file__).resolve().parent
sys.path.insert(0, str(HERE.parent / "network"))
from timing import best  # noqa: E402  (also puts the checkout's package first)
os.environ.setdefault("ZEFRA_TK_THREADS", "1")

import numpy as np  # noqa: E402

import zefra_tdr  # noqa: E402
from zefra_tdr.equalized import CtleSetting, equalize  # noqa: E402
from zefra_tdr.pulse import pulse_response  # noqa: E402

BAUD = 53.125e9
NS = 32


def channel(f):
    """A differential 4-port (1-3/2-4) from one leg's 2-port."""
    pkg = dict(c_in_f=120e-15, c_out_f=80e-15, line_length=8.0, delay_ns_per_unit=0.0065,
               z_line_ohm=45.0, loss_np_per_unit=(0.0, 0.004, 0.002))
    leg = zefra_tdr.cascade(
        zefra_tdr.package(f, **pkg),
        zefra_tdr.line(f, length=250.0, delay_ns_per_unit=0.0066, z_line_ohm=48.0,
                       loss_np_per_unit=(0.0, 0.0009, 0.00012)),
        zefra_tdr.package(f, **pkg))
    s2 = leg.s
    s = np.zeros((f.size, 4, 4), dtype=np.complex128)
    nx = 0.02 * s2[:, 0, 0]                        # near-end coupling
    fx = 0.03j * (f / f[-1]) * s2[:, 1, 0]         # far-end coupling, rising with f
    for a, b in ((0, 2), (1, 3)):                  # leg 1 -> 3 and leg 2 -> 4
        s[:, a, a], s[:, b, b] = s2[:, 0, 0], s2[:, 1, 1]
        s[:, b, a], s[:, a, b] = s2[:, 1, 0], s2[:, 0, 1]
    s[:, 0, 1] = s[:, 1, 0] = nx
    s[:, 2, 3] = s[:, 3, 2] = nx
    s[:, 3, 0] = s[:, 0, 3] = s[:, 2, 1] = s[:, 1, 2] = fx
    return zefra_tdr.Network(f, s, name="bench_channel")


def fft_rows(sizes):
    exe = Path(tempfile.mkdtemp()) / "fft_choice"
    subprocess.run(["g++", "-O2", "-ffp-contract=off", "-std=c++17", str(HERE / "fft_choice.cpp"),
                    "-o", str(exe)], check=True)
    out = subprocess.run([str(exe), *map(str, sizes)], check=True, capture_output=True,
                         text=True).stdout.split()
    kiss = {int(out[i]): float(out[i + 1]) for i in range(0, len(out), 2)}
    rows = []
    for k in sizes:
        x = np.random.default_rng(1).standard_normal(k + 1) * (1 + 0j)
        numpy_s = best(lambda: np.fft.irfft(x, 2 * k), runs=30)
        rows.append((k, kiss[k], numpy_s))
    return rows


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--out", default=None, help="write the Markdown table here too")
    args = parser.parse_args()
    if hasattr(os, "sched_setaffinity"):
        os.sched_setaffinity(0, {0})

    f = np.arange(1, 10001) * 1e7
    net = channel(f)
    path = Path(tempfile.mkdtemp()) / "bench_channel.s4p"
    zefra_tdr.write_touchstone(net, path)

    read_s = best(lambda: zefra_tdr.read_touchstone(path))
    options = dict(baud_hz=BAUD, samples_per_ui=NS, order="1-3/2-4", source_pad_f=75e-15,
                   load_pad_f=75e-15)
    response = pulse_response(net, **options)
    pulse_s = best(lambda: pulse_response(net, **options))
    ctle = CtleSetting(-6.0, 10e9, 26.5e9, 60e9)
    eq_options = dict(ctle=ctle, ffe=[-0.08, 0.84, -0.08], sampling="hula-hoop", dfe_taps=12,
                      dfe_floating={"groups": 2, "taps_per_group": 3, "search_start": 13,
                                    "search_end": 120}, dfe_limit=0.5)
    eq = equalize(response, **eq_options)
    eq_s = best(lambda: equalize(response, **eq_options))
    total_s = best(lambda: equalize(pulse_response(net, **options), **eq_options))
    d = response.diagnostics

    lines = [
        "# Pulse-response benchmark",
        "",
        f"Made with `/usr/bin/python3 bench/pulse/run.py` on {platform.processor() or 'x86_64'}, "
        f"{os.cpu_count()} cores, pinned to one; best of 7.",
        "",
        "Channel: 4-port (1-3/2-4), 10,000 points, 10 MHz .. 100 GHz; differential through, "
        f"53.125 GBd, {NS} samples/UI; default span {d.span_s * 1e9:.4g} ns, "
        f"{d.fft_size} time samples.",
        "",
        "| step | time (ms) |",
        "|---|---|",
        f"| read the .s4p ({path.stat().st_size / 1e6:.2f} MB) | {read_s * 1e3:.1f} |",
        f"| pulse_response (mixed mode, terminations, resampling, inverse FFT) | "
        f"{pulse_s * 1e3:.1f} |",
        f"| equalize (CTLE, FFE, hula-hoop, DFE) | {eq_s * 1e3:.1f} |",
        f"| **to equalised cursors (target: at most 50)** | **{total_s * 1e3:.1f}** |",
        "",
        f"Main cursor {eq.cursors.main:.4g} V/V; diagnostics: non-causal "
        f"{d.noncausal_fraction:.2g}, tail {d.tail_fraction:.2g}, extrapolated "
        f"{d.extrapolated_fraction:.2g}, sigma_max {d.sigma_max:.4f}.",
        "",
        "## Inverse FFT: kissfft (chosen) against numpy's pocketfft",
        "",
        "| K (2K samples) | kissfft<double>, K-point complex + unpack (ms) | numpy irfft (ms) |",
        "|---|---|---|",
    ]
    for k, kiss_s, numpy_s in fft_rows([d.fft_size // 2, 8192, 65536, 2 ** 17 * 3]):
        lines.append(f"| {k} | {kiss_s * 1e3:.3f} | {numpy_s * 1e3:.3f} |")
    text = "\n".join(lines) + "\n"
    print(text)
    if args.out:
        Path(args.out).write_text(text, encoding="utf-8")


if __name__ == "__main__":
    main()
