#!/usr/bin/python3
"""Times every export of Zefra_TDR_Helpers against numpy/scipy, in one run.

Usage (after ``cmake --build --preset release``)::

    /usr/bin/python3 bench/compare.py                 # full run, updates docs/performance.md
    /usr/bin/python3 bench/compare.py --quick         # smaller sizes, prints only
    /usr/bin/python3 bench/compare.py --output F.md   # writes a standalone file F.md instead

A full run rewrites only the generated part of ``docs/performance.md``, the
text between the lines ``<!-- compare.py: begin -->`` and
``<!-- compare.py: end -->``; the hand-written rest of the page is kept.

Each export is called through its C interface with ctypes: the prototypes
come from ``python/zefra_tdr/_library.py`` (``SIGNATURES``) and every
argument (array pointers, counts, scalars) is built before the clock starts,
so only the foreign call is timed, not the wrapper's conversions.  The
numpy/scipy equivalent runs on the same data.  Every time is the best of N
(default 7) samples taken with ``time.perf_counter``; a sample repeats a
fast call until it lasts at least 2 ms and keeps the mean.

Columns: ``ratio`` = reference time / our time (> 1: ours is faster);
``x memcpy`` = our time / time of ``np.copyto`` moving the export's input +
output bytes into a preallocated array of that many bytes (for the exports
whose work is linear in the data size).  Reductions (``Eval_std``, two
passes; ``norm``, one pass) are also compared per pass with
``numpy.add.accumulate`` over the same doubles, a strictly sequential
dependent-add loop.

The library is taken from ``$ZEFRA_TDR_LIB`` or
``<repo>/build/release/lib/libZefra_TDR_Helpers.so``.
"""

from __future__ import annotations

import argparse
import ctypes
import datetime
import functools
import json
import math
import os
import platform
import runpy
import subprocess
import sys
import time
from pathlib import Path

import numpy as np
import scipy
import scipy.interpolate
import scipy.signal
import scipy.special

REPO = Path(__file__).resolve().parent.parent
DP = ctypes.POINTER(ctypes.c_double)
I32 = ctypes.c_int32
F64 = ctypes.c_double


# ---------------------------------------------------------------------------
# Library loading
# ---------------------------------------------------------------------------

def library_path() -> str:
    return os.environ.get("ZEFRA_TDR_LIB") or str(
        REPO / "build" / "release" / "lib" / "libZefra_TDR_Helpers.so")


def load_library(path: str):
    lib = ctypes.CDLL(path)
    # The prototype table of the Python package, read without importing the
    # package itself (its other modules are irrelevant here).
    table = runpy.run_path(str(REPO / "python" / "zefra_tdr" / "_library.py"))["SIGNATURES"]
    missing = []
    for name, (restype, argtypes) in table.items():
        try:
            fn = getattr(lib, name)
        except AttributeError:
            missing.append(name)
            continue
        fn.restype = restype
        fn.argtypes = argtypes
    return lib, missing


def ptr(a: np.ndarray):
    """double * to the data of a C-contiguous float64/complex128 array."""
    assert a.flags.c_contiguous
    return a.ctypes.data_as(DP)


# ---------------------------------------------------------------------------
# Timing
# ---------------------------------------------------------------------------

MIN_SAMPLE = 2e-3  # a sample lasts at least this long (fast calls are repeated)


def best_of(fn, reps: int) -> float:
    """Best time of one call of fn(), seconds."""
    fn()  # warm-up (page faults, lazy binding, caches)
    t0 = time.perf_counter()
    fn()
    dt = time.perf_counter() - t0
    inner = 1 if dt >= MIN_SAMPLE else min(20000, int(MIN_SAMPLE / max(dt, 5e-8)) + 1)
    best = math.inf
    for _ in range(reps):
        t0 = time.perf_counter()
        for _ in range(inner):
            fn()
        best = min(best, (time.perf_counter() - t0) / inner)
    return best


_copy_cache: dict[int, float] = {}


def copy_time(nbytes: int, reps: int) -> float:
    """Best time of np.copyto of nbytes into a preallocated array of nbytes."""
    if nbytes not in _copy_cache:
        src = np.ones(nbytes, dtype=np.uint8)
        dst = np.empty(nbytes, dtype=np.uint8)
        dst[:] = 0
        _copy_cache[nbytes] = best_of(functools.partial(np.copyto, dst, src), reps)
    return _copy_cache[nbytes]


class Row:
    def __init__(self, export, size, ours, ref_name=None, ref=None, io_bytes=None,
                 large=False, note="", check=None, kind="numpy", passes=1, work=""):
        self.export = export
        self.size = size
        self.ours_fn = ours
        self.ref_name = ref_name
        self.ref_fn = ref
        self.io_bytes = io_bytes      # input + output bytes, for "x memcpy"
        self.large = large            # the size the targets are judged at
        self.note = note
        self.check = check            # () -> (ok: bool, detail: str)
        self.kind = kind              # "numpy", "pure Python", "none", "dep-add", "dep-add-info"
        self.passes = passes          # passes over the data (dependent-add rows)
        self.work = work              # what each element costs beyond moving it
        self.ours = None
        self.ref = None
        self.copy = None
        self.check_result = None


# ---------------------------------------------------------------------------
# Helpers for the numpy formulations
# ---------------------------------------------------------------------------

def roundf_np(v: np.ndarray) -> np.ndarray:
    """roundf((float)v) as float64 (narrow to float32, round half away from 0)."""
    f = np.asarray(v, dtype=np.float64).astype(np.float32).astype(np.float64)
    return np.copysign(np.floor(np.abs(f) + 0.5), f)


def np_cascade(A11, A12, A21, A22, B11, B12, B21, B22):
    D = 1 - A22 * B11
    C11 = A11 + A12 * (A21 * B11) / D
    C12 = A12 * B12 / D
    C21 = A21 * B21 / D
    C22 = B22 + B21 * (A22 * B12) / D
    return C11, C12, C21, C22


def np_line(f, zA, zB, p0, p1, p2, tau, length):
    """Lossy line (S11, S12, S21, S22); S12/S22 alias S21/S11 (no copies)."""
    fG = f / 1e9
    with np.errstate(divide="ignore", invalid="ignore"):
        g = (p0 + p1 * (1 + 1j) * np.sqrt(fG) + p2 * fG * (1 - 1j * (2 / np.pi) * np.log(fG))
             + 1j * 2 * np.pi * tau * fG)
    g = np.where(fG == 0, p0 + 0j, g)
    P = np.exp(-length * g)
    P2 = P * P
    G = (zA - 2 * zB) / (2 * zB + zA)
    den = 1 - G * G * P2
    s11 = G * (1 - P2) / den
    s21 = (1 - G * G) * P / den
    return s11, s21, s21, s11


def np_shunt(w, c, z0):
    y = 1j * w * (c * z0)
    s11 = -y / (2 + y)
    s21 = 2 / (2 + y)
    return s11, s21, s21, s11


def np_series(w, ind, z0):
    z = 1j * w * (ind / z0)
    s11 = z / (2 + z)
    s21 = 2 / (2 + z)
    return s11, s21, s21, s11


def np_package(f, length, cin, cout, zc, tau, loss, z0, ind, cmid):
    f = np.maximum(f, 2.0**-52)
    w = 2 * np.pi * f
    chain = np_shunt(w, cin, z0)
    if ind > 0:
        chain = np_cascade(*chain, *np_series(w, ind, z0))
    if cmid > 0:
        chain = np_cascade(*chain, *np_shunt(w, cmid, z0))
    chain = np_cascade(*chain, *np_line(f, zc, z0, *loss, tau, length))
    return np_cascade(*chain, *np_shunt(w, cout, z0))


def close(a, b, rtol=1e-7, atol=1e-12):
    a = np.asarray(a)
    b = np.asarray(b)
    if a.shape != b.shape:
        return False, f"shapes {a.shape} vs {b.shape}"
    ok = bool(np.allclose(a, b, rtol=rtol, atol=atol, equal_nan=True))
    with np.errstate(invalid="ignore"):
        d = np.nanmax(np.abs(a - b)) if a.size else 0.0
    return ok, f"max |diff| {d:.3g}"


# ---------------------------------------------------------------------------
# The cases
# ---------------------------------------------------------------------------

def c_dependent_add_times(reps: int) -> dict[int, float]:
    """Best time (s) of the C loop s += x[i] over n doubles, n -> time, from
    the project's benchmark executable (empty if it was not built)."""
    exe = Path(library_path()).resolve().parent.parent / "bin" / "zefra_bench"
    if not exe.is_file():
        exe = REPO / "build" / "release" / "bin" / "zefra_bench"
    if not exe.is_file():
        return {}
    try:
        out = subprocess.run(
            [str(exe), "--benchmark_filter=^BM_DependentAddLoop/",
             f"--benchmark_repetitions={reps}", "--benchmark_min_time=0.05",
             "--benchmark_format=json"],
            capture_output=True, text=True, check=True, timeout=120).stdout
        data = json.loads(out)
    except (OSError, subprocess.SubprocessError, ValueError):
        return {}
    scale = {"ns": 1e-9, "us": 1e-6, "ms": 1e-3, "s": 1.0}
    best: dict[int, float] = {}
    for b in data.get("benchmarks", []):
        if b.get("run_type", "iteration") != "iteration":
            continue
        n = int(b["name"].split("/")[1])
        t = b["real_time"] * scale[b.get("time_unit", "ns")]
        best[n] = min(best.get(n, math.inf), t)
    return best


def build_rows(lib, quick: bool, reps: int, dep_add_c: dict[int, float]):
    rng = np.random.default_rng(20240611)
    rows: list[Row] = []
    scale = 10 if quick else 1
    N_SMALL = 1000
    N_LARGE = 1_000_000 // scale

    def fn(name):
        return getattr(lib, name)

    # ---- statistics ------------------------------------------------------
    for n in (N_SMALL, N_LARGE):
        x = rng.standard_normal(n)
        xp, cn = ptr(x), I32(n)
        large = n == N_LARGE
        rows.append(Row("median", n, functools.partial(fn("median"), xp, cn),
                        "numpy.median", functools.partial(np.median, x), 8 * n, large,
                        check=lambda x=x, xp=xp, cn=cn: close(fn("median")(xp, cn), np.median(x))))
        rows.append(Row("Eval_std", n, functools.partial(fn("Eval_std"), xp, cn),
                        "numpy.std(ddof=1)", functools.partial(np.std, x, ddof=1), 8 * n, large,
                        check=lambda x=x, xp=xp, cn=cn: close(fn("Eval_std")(xp, cn),
                                                              np.std(x, ddof=1), rtol=1e-10)))
        rows.append(Row("norm", n, functools.partial(fn("norm"), xp, cn),
                        "numpy.linalg.norm", functools.partial(np.linalg.norm, x), 8 * n, large,
                        check=lambda x=x, xp=xp, cn=cn: close(fn("norm")(xp, cn),
                                                              np.linalg.norm(x), rtol=1e-10)))
        # Dependent-add loops, compared per pass with ours per pass.
        # numpy.add.accumulate is strictly sequential, but each add reloads
        # the value it stored one element before; the C loop s += x[i] of the
        # project's Google Benchmark suite keeps s in a register (one add
        # latency per element), the true limit of an exact left-to-right sum.
        acc = np.empty(n)
        dep = functools.partial(np.add.accumulate, x, out=acc)
        c_loop = dep_add_c.get(n)
        for name, passes in (("Eval_std", 2), ("norm", 1)):
            label = f"{name} per pass ({passes} pass{'es' if passes > 1 else ''})"
            ours = functools.partial(fn(name), xp, cn)
            if c_loop is not None:
                rows.append(Row(label, n, ours, "C loop s += x[i] (zefra_bench)", c_loop, None,
                                large, kind="dep-add", passes=passes))
            rows.append(Row(label, n, ours, "numpy.add.accumulate(out=)", dep, None, large,
                            kind="dep-add" if c_loop is None else "dep-add-info",
                            passes=passes))

    # ---- element-wise and structural -------------------------------------
    for n in (N_SMALL, N_LARGE):
        x = rng.uniform(-100.0, 100.0, n)
        y = np.zeros(n)
        yr = np.zeros(n)
        for m in (0.7, 3.0):
            call = functools.partial(fn("mod"), ptr(x), F64(m), ptr(y), I32(n))

            def chk(call=call, x=x, y=y, m=m):
                call()
                ref = np.mod(x, m)
                # Ours snaps near-multiples to 0 where numpy gives ~m.
                d = np.abs(y - ref)
                d = np.minimum(d, np.abs(d - abs(m)))
                return bool(np.all(d <= 1e-9 * 100)), f"max |diff| mod m {d.max():.3g}"
            rows.append(Row(f"mod (m={m:g})", n, call, "numpy.mod(out=)",
                            functools.partial(np.mod, x, m, out=yr), 16 * n, n == N_LARGE,
                            check=chk))

    na = nb = 1000 if not quick else 316
    a = rng.standard_normal(na)
    b = rng.standard_normal(nb)
    yk = np.zeros(na * nb)
    call = functools.partial(fn("Kron"), ptr(a), ptr(b), ptr(yk), I32(na), I32(nb))
    rows.append(Row("Kron", f"{na}x{nb}", call, "numpy.kron", functools.partial(np.kron, a, b),
                    8 * (na + nb + na * nb), True,
                    check=lambda call=call, a=a, b=b, yk=yk: (call(), close(yk, np.kron(a, b)))[1]))

    na, nb = 100_000 // scale, 64
    a = rng.standard_normal(na)
    b = rng.standard_normal(nb)
    yc = np.zeros(na + nb - 1)
    call = functools.partial(fn("conv"), ptr(a), ptr(b), ptr(yc), I32(na), I32(nb))
    rows.append(Row("conv", f"{na}x{nb}", call, "numpy.convolve",
                    functools.partial(np.convolve, a, b), 8 * (na + nb + na + nb - 1), True,
                    check=lambda call=call, a=a, b=b, yc=yc: (call(), close(yc, np.convolve(a, b),
                                                                           rtol=1e-9, atol=1e-9))[1]))

    for n in (N_SMALL, N_LARGE):
        x = rng.standard_normal(n)
        y = np.zeros(n)
        fir = rng.standard_normal(16) / 16
        one = np.array([1.0])
        bq_b, bq_a = scipy.signal.butter(2, 0.2)
        for label, bb, aa in (("FIR 16 taps", fir, one), ("biquad", bq_b, bq_a)):
            call = functools.partial(fn("Filter"), ptr(bb), ptr(aa), ptr(x), ptr(y),
                                     I32(bb.size), I32(aa.size), I32(n))
            rows.append(Row(f"Filter ({label})", n, call, "scipy.signal.lfilter",
                            functools.partial(scipy.signal.lfilter, bb, aa, x), 16 * n,
                            n == N_LARGE,
                            check=lambda call=call, bb=bb, aa=aa, x=x, y=y: (
                                call(), close(y, scipy.signal.lfilter(bb, aa, x), rtol=1e-9,
                                              atol=1e-12))[1]))

    for n in (N_SMALL, N_LARGE):
        phase = np.cumsum(rng.uniform(-2.5, 2.5, n))
        x = np.angle(np.exp(1j * phase))
        x[x == 0.0] = 1e-3
        y = np.zeros(n)
        call = functools.partial(fn("unwrap"), ptr(x), ptr(y), I32(n))
        rows.append(Row("unwrap", n, call, "numpy.unwrap", functools.partial(np.unwrap, x),
                        16 * n, n == N_LARGE,
                        check=lambda call=call, x=x, y=y: (call(), close(y, np.unwrap(x),
                                                                         rtol=1e-12, atol=1e-9))[1]))

    # ---- polynomials -------------------------------------------------------
    nr = 1000
    r = rng.standard_normal(nr)
    c = np.zeros(nr + 1)
    rows.append(Row("poly", nr, functools.partial(fn("poly"), ptr(r), ptr(c), I32(nr)),
                    None, None, None, True, kind="none",
                    note="no equivalent (writes only c[0] = 1; numpy.poly computes all n+1)"))

    p = rng.standard_normal(9)
    for n in (N_SMALL, N_LARGE):
        z = (0.95 * np.sqrt(rng.uniform(0, 1, n)) * np.exp(2j * np.pi * rng.uniform(0, 1, n)))
        w = np.zeros(n, dtype=np.complex128)
        call = functools.partial(fn("Polyval"), ptr(p), ptr(z), ptr(w), I32(p.size), I32(n))
        rows.append(Row("Polyval (degree 8, complex z)", n, call, "numpy.polyval",
                        functools.partial(np.polyval, p, z), 32 * n, n == N_LARGE,
                        check=lambda call=call, z=z, w=w: (call(), close(w, np.polyval(p, z),
                                                                         rtol=1e-10, atol=1e-12))[1]))

    for n in (N_SMALL, N_LARGE):
        x = np.linspace(0.0, 1.0, n)
        y = 2.0 * x + 1.0 + 0.1 * rng.standard_normal(n)
        coeffs = np.zeros(2)
        call = functools.partial(fn("Polyfit"), ptr(x), ptr(y), None, ptr(coeffs), I32(n), I32(n))
        rows.append(Row("Polyfit (line)", n, call, "numpy.polyfit(x, y, 1)",
                        functools.partial(np.polyfit, x, y, 1), 16 * n, n == N_LARGE,
                        check=lambda call=call, x=x, y=y, coeffs=coeffs: (
                            call(), close(coeffs, np.polyfit(x, y, 1), rtol=1e-9))[1]))

    # ---- erfcinv --------------------------------------------------------------
    for n in (N_SMALL, N_LARGE):
        x = rng.uniform(1e-6, 2.0 - 1e-6, n)
        y = np.zeros(n)
        yr = np.zeros(n)
        call = functools.partial(fn("erfcinv"), ptr(x), ptr(y), I32(n))
        rows.append(Row("erfcinv", n, call, "scipy.special.erfcinv(out=)",
                        functools.partial(scipy.special.erfcinv, x, out=yr), 16 * n,
                        n == N_LARGE,
                        check=lambda call=call, x=x, y=y: (
                            call(), close(y, scipy.special.erfcinv(x), rtol=1e-9, atol=1e-13))[1]))

    # ---- interpolation -----------------------------------------------------
    for nt, nq in ((100, N_SMALL), (10_000, N_LARGE)):
        xt = np.sort(rng.uniform(0.0, 1.0, nt))
        xt[0], xt[-1] = 0.0, 1.0
        yt = np.sin(6.0 * xt) + 0.1 * rng.standard_normal(nt)
        xi = np.sort(rng.uniform(0.0, 1.0, nq))
        yi = np.zeros(nq)
        large = nq == N_LARGE
        size = f"{nt}->{nq}"
        io = 8 * (2 * nt + 2 * nq)
        for name in ("interp1q_Linear", "interp_Linear_Extrap"):
            call = functools.partial(fn(name), ptr(xt), ptr(yt), ptr(xi), ptr(yi), I32(nt), I32(nq))
            ref = (functools.partial(np.interp, xi, xt, yt, left=0.0, right=0.0)
                   if name == "interp1q_Linear" else functools.partial(np.interp, xi, xt, yt))
            rows.append(Row(name, size, call, "numpy.interp", ref, io, large,
                            check=lambda call=call, ref=ref, yi=yi: (call(), close(yi, ref(),
                                                                                   rtol=1e-12))[1]))
        call = functools.partial(fn("interp1_Cubic"), ptr(xt), ptr(yt), ptr(xi), ptr(yi), I32(nt),
                                 I32(nq))

        def pchip(xt=xt, yt=yt, xi=xi):
            return scipy.interpolate.PchipInterpolator(xt, yt)(xi)
        rows.append(Row("interp1_Cubic", size, call, "scipy PchipInterpolator (build+eval)", pchip,
                        io, large,
                        check=lambda call=call, pchip=pchip, yi=yi: (call(), close(yi, pchip(),
                                                                                   rtol=1e-9,
                                                                                   atol=1e-12))[1]))
        # Complex values: numpy.interp on the complex table (it interpolates
        # re and im together) or on separate re and im arrays, whichever is
        # faster on this machine.
        ytc = yt * np.exp(1j * 3.0 * xt)
        yre, yim = np.ascontiguousarray(ytc.real), np.ascontiguousarray(ytc.imag)
        yic = np.zeros(nq, dtype=np.complex128)
        ref_c = functools.partial(np.interp, xi, xt, ytc)

        def ref_2(xi=xi, xt=xt, yre=yre, yim=yim):
            return np.interp(xi, xt, yre), np.interp(xi, xt, yim)
        for name in ("interp_Linear_Extrap_Complex", "zefra_linearInterp_c"):
            call = functools.partial(fn(name), ptr(xt), ptr(ytc), ptr(xi), ptr(yic), I32(nt),
                                     I32(nq))
            rows.append(Row(name, size, call, ("numpy.interp (complex fp)", "numpy.interp (re, im)"),
                            (ref_c, ref_2), 8 * (nt + nq) + 16 * (nt + nq), large,
                            check=lambda call=call, ref_c=ref_c, yic=yic: (
                                call(), close(yic, ref_c(), rtol=1e-12))[1]))

    # interp_Sparam: no equivalent (delay-aware resampling), timed alone.
    for nin, nout in ((100, N_SMALL), (10_000, N_LARGE)):
        fin = np.linspace(1e7, 50e9, nin)
        sin_ = 0.8 * np.exp(-fin / 80e9) * np.exp(-2j * np.pi * fin * 1.2e-9)
        fout = np.sort(rng.uniform(0.0, 50e9, nout))
        sout = np.zeros(nout, dtype=np.complex128)
        call = functools.partial(fn("interp_Sparam"), ptr(sin_), ptr(fin), I32(nin), ptr(fout),
                                 I32(nout), ptr(sout))
        rows.append(Row("interp_Sparam", f"{nin}->{nout}", call, None, None,
                        24 * nin + 24 * nout, nout == N_LARGE, kind="none",
                        note="no equivalent"))

    # ---- filter design -----------------------------------------------------
    order, wc = 6, 2 * np.pi * 10e9
    bw_b, bw_a = scipy.signal.butter(order, wc, analog=True)
    for n in (N_SMALL, N_LARGE):
        w = np.linspace(0.0, 2 * np.pi * 50e9, n)
        H = np.zeros(n, dtype=np.complex128)
        ref = functools.partial(scipy.signal.freqs, bw_b, bw_a, w)
        for name, call in (
                ("Butterworth_TF", functools.partial(fn("Butterworth_TF"), I32(order), ptr(w),
                                                     F64(wc), I32(n), ptr(H))),
                ("GetButterworthTF", functools.partial(fn("GetButterworthTF"), I32(order), ptr(w),
                                                       I32(n), F64(wc), ptr(H)))):
            rows.append(Row(name + " (N=6)", n, call, "scipy.signal.freqs(butter analog)", ref,
                            24 * n, n == N_LARGE,
                            check=lambda call=call, ref=ref, H=H: (call(), close(H, ref()[1],
                                                                                 rtol=1e-8,
                                                                                 atol=1e-12))[1]))

    # ---- channel models ------------------------------------------------------
    for n in (10_000 // scale, N_LARGE):
        large = n == N_LARGE
        arrs = []
        for _ in range(8):
            rr = 0.9 * np.sqrt(rng.uniform(0, 1, n))
            arrs.append(rr * np.exp(2j * np.pi * rng.uniform(0, 1, n)))
        outs = [np.zeros(n, dtype=np.complex128) for _ in range(4)]
        call = functools.partial(fn("combineS4p"), *[ptr(a) for a in arrs], I32(n),
                                 *[ptr(o) for o in outs])
        rows.append(Row("combineS4p", n, call, "numpy cascade formula",
                        functools.partial(np_cascade, *arrs), 12 * 16 * n, large,
                        check=lambda call=call, arrs=arrs, outs=outs: (
                            call(), close(np.array(outs), np.array(np_cascade(*arrs)),
                                          rtol=1e-12))[1]))

        f = np.linspace(0.0, 50e9, n)
        loss = np.array([0.01, 0.05, 0.02])
        outs_t = [np.zeros(n, dtype=np.complex128) for _ in range(4)]
        call = functools.partial(fn("synth_tline"), ptr(f), I32(n), F64(50.0), F64(25.0),
                                 ptr(loss), I32(3), F64(0.15), F64(10.0),
                                 *[ptr(o) for o in outs_t])
        ref = functools.partial(np_line, f, 50.0, 25.0, 0.01, 0.05, 0.02, 0.15, 10.0)
        rows.append(Row("synth_tline", n, call, "numpy line formulas", ref, 8 * n + 64 * n, large,
                        note="reference returns S12/S22 as aliases of S21/S11",
                        check=lambda call=call, ref=ref, outs=outs_t: (
                            call(), close(np.array(outs), np.array(ref()), rtol=1e-9,
                                          atol=1e-12))[1]))

        lossp = np.array([0.01, 0.02, 0.01])
        outs_p = [np.zeros(n, dtype=np.complex128) for _ in range(4)]
        call = functools.partial(fn("makePackage"), ptr(f), I32(n), F64(1.0), F64(0.2e-12),
                                 F64(0.2e-12), F64(100.0), F64(0.1), ptr(lossp), I32(3),
                                 F64(50.0), F64(0.5e-9), F64(0.1e-12), *[ptr(o) for o in outs_p])
        ref = functools.partial(np_package, f, 1.0, 0.2e-12, 0.2e-12, 100.0, 0.1,
                                (0.01, 0.02, 0.01), 50.0, 0.5e-9, 0.1e-12)
        rows.append(Row("makePackage", n, call, "numpy sections + numpy cascade", ref,
                        8 * n + 64 * n, large,
                        check=lambda call=call, ref=ref, outs=outs_p: (
                            call(), close(np.array(outs), np.array(ref()), rtol=1e-8,
                                          atol=1e-12))[1]))

    # ---- equalisation and noise -------------------------------------------------
    rate, mult, fz, fp1, fp2, gdb = 28e9, 4.0, 3e9, 7e9, 28e9, 6.0
    g = 10 ** (gdb / 20)
    wz, wp1, wp2 = 2 * np.pi * fz, 2 * np.pi * fp1, 2 * np.pi * fp2
    ct_b, ct_a = scipy.signal.bilinear([wp2, wp2 * g * wz], np.polymul([1, wp1], [1, wp2]),
                                       fs=rate * mult)
    for n in (N_SMALL, N_LARGE):
        x = rng.standard_normal(n)
        y = np.zeros(n)
        call = functools.partial(fn("td_ctle"), ptr(x), ptr(y), I32(n), F64(rate), F64(fz),
                                 F64(fp1), F64(fp2), F64(gdb), F64(mult))
        ref = functools.partial(scipy.signal.lfilter, ct_b, ct_a, x)
        rows.append(Row("td_ctle", n, call, "scipy.signal.lfilter (bilinear CTLE)", ref, 16 * n,
                        n == N_LARGE,
                        check=lambda call=call, ref=ref, y=y: (call(), close(y, ref(), rtol=1e-7,
                                                                             atol=1e-9))[1]))

    P, nresp, npat = 16, 2000, 100_000 // scale
    t = np.arange(nresp)
    resp = 0.02 * np.exp(-((t - 150) / 40.0) ** 2) * np.cos(t / 9.0) + 1e-6
    symbols = rng.choice([-1.0, 1.0], size=npat // P + 1)
    pattern = np.ascontiguousarray(np.repeat(symbols, P)[:npat])
    amp = 0.5
    call = functools.partial(fn("Get_xtlk_noise_step"), ptr(resp), ptr(pattern), I32(nresp),
                             I32(npat), I32(P), F64(amp))

    def xtlk_ref(resp=resp, pattern=pattern):
        step = np.cumsum(resp)
        if step.size < P:
            step = np.concatenate([step, np.ones(P - step.size)])
        m = pattern.size
        induced = np.convolve(pattern, step)[:m]
        q = float(roundf_np(np.array([m / P]))[0])
        limit = int(q) - 3
        if limit <= 0:
            return 0.0
        seg = induced[:limit * P].reshape(limit, P)
        e = np.einsum("ij,ij->j", seg, seg)
        return amp * amp * max(0.0, float(e.max()))
    rows.append(Row("Get_xtlk_noise_step", f"pat {npat}, resp {nresp}, P={P}", call,
                    "numpy cumsum+convolve+phase sums", xtlk_ref, None, True,
                    check=lambda call=call: close(call(), xtlk_ref(), rtol=1e-9)))

    for npulse in (N_SMALL, N_LARGE):
        k = np.arange(npulse, dtype=np.float64)
        pulse = np.where(k < 10, 0.05 * k / 10, 0.0)
        pulse[10] = 1.0
        post = k > 10
        pulse[post] = 0.3 * 0.9 ** (k[post] - 11) * np.cos(k[post] / 3.0)
        pulse[npulse // 2:npulse // 2 + 5] += 0.05  # a reflection far out
        L, G = 4.0, 5.0
        positions = np.zeros(int(L * G))
        weights = np.zeros(npulse)
        limits = np.zeros(npulse)
        call = functools.partial(fn("floatingDFE"), ptr(pulse), I32(npulse), F64(11.0), F64(L),
                                 F64(G), F64(npulse - 1.0), F64(0.3), F64(1.0), I32(0),
                                 ptr(positions), ptr(weights), ptr(limits))
        rows.append(Row("floatingDFE", f"pulse {npulse}, 5x4 taps", call, None, None, None,
                        npulse == N_LARGE, kind="none", note="no equivalent"))

    # ---- densities ---------------------------------------------------------------
    M, wbin, ncur = 4, 1e-3, 500
    kk = np.arange(ncur)
    signs = np.where(kk % 3 == 1, -1.0, 1.0)
    cursors = np.ascontiguousarray(0.999 * 0.99 ** kk * signs)
    levels = 2.0 * np.arange(M) / (M - 1) - 1.0

    def pdf_ref(cursors=cursors):
        dens = np.ones(1)
        off = 0.0
        for a in cursors:
            if not abs(a) > wbin:
                continue
            kq = roundf_np(abs(a) * levels / wbin)
            kmin = kq.min()
            hist = np.bincount((kq - kmin).astype(np.intp)) / M   # per-cursor density
            new = np.zeros(dens.size + hist.size - 1)
            for j in np.flatnonzero(hist):                          # np.convolve(dens, hist),
                new[j:j + dens.size] += hist[j] * dens              # as M shifted adds
            dens = new
            off += kmin
        return dens, off

    release = fn("zefra_release_array")
    for name in ("get_pdf_from_sampled_signal", "get_pdf_from_sampled_signal_800G"):
        amp_p, prob_p = DP(), DP()
        offset, width, count = F64(0.0), F64(wbin), I32(0)
        f_pdf = fn(name)
        refs = (ctypes.byref(amp_p), ctypes.byref(prob_p), ctypes.byref(offset),
                ctypes.byref(width), ctypes.byref(count))

        ptr_cursors = ptr(cursors)
        args = (ptr_cursors, I32(M), None, *refs[:4], I32(ncur), refs[4])

        def run(f_pdf=f_pdf, args=args, amp_p=amp_p, prob_p=prob_p):
            ok = f_pdf(*args)
            release(amp_p)
            release(prob_p)
            return ok

        def chk(f_pdf=f_pdf, args=args, amp_p=amp_p, prob_p=prob_p, count=count,
                offset=offset):
            ok = f_pdf(*args)
            nbin = count.value
            prob = np.ctypeslib.as_array(prob_p, shape=(nbin,)).copy()
            release(amp_p)
            release(prob_p)
            dens, off = pdf_ref()
            if not ok:
                return False, "call failed"
            shift = int(round(offset.value - off))
            m = min(nbin, dens.size - max(shift, 0))
            ref = dens[max(shift, 0):max(shift, 0) + m]
            d = float(np.max(np.abs(prob[:m] - ref))) if m > 0 else math.inf
            return (d < 1e-9 and abs(prob.sum() - 1) < 1e-9,
                    f"{nbin} bins (ref {dens.size}), max |diff| {d:.3g}")
        rows.append(Row(name, f"{ncur} cursors, M={M}", run,
                        "numpy bincount + shifted-add convolution (loop over cursors)", pdf_ref,
                        None, True, check=chk,
                        note="includes the two zefra_release_array calls"))

    for n in (N_SMALL, N_LARGE):
        pts = rng.uniform(-0.9, 0.9, n)
        wts = rng.uniform(0.0, 1.0, n)
        wts /= wts.sum()
        cap = 4096
        centers = np.zeros(cap)
        density = np.zeros(cap)
        off, wid = F64(0.0), F64(0.0)
        call = functools.partial(fn("d_cpdf"), ptr(pts), ptr(wts), ptr(centers), ptr(density),
                                 I32(n), I32(n), I32(0), F64(wbin), ctypes.byref(off),
                                 ctypes.byref(wid))

        def cpdf_ref(pts=pts, wts=wts):
            kq = roundf_np(pts / wbin)
            kmin = kq.min()
            h = np.bincount((kq - kmin).astype(np.intp), weights=wts)
            h /= h.sum()
            nz = np.flatnonzero(h)
            return h[nz[0]:nz[-1] + 1], kmin + nz[0]

        def chk(call=call, cpdf_ref=cpdf_ref, density=density, off=off):
            ok = call()
            h, x0 = cpdf_ref()
            m = min(h.size, cap)
            d = float(np.max(np.abs(density[:m] - h[:m])))
            return (bool(ok) and abs(off.value - x0) < 1e-9 and d < 1e-12,
                    f"offset {off.value:g} (ref {x0:g}), max |diff| {d:.3g}")
        rows.append(Row("d_cpdf", n, call, "numpy.bincount histogram", cpdf_ref, 16 * n,
                        n == N_LARGE, check=chk))
    for r in rows:
        r.work = next((w for prefix, w in WORK.items() if r.export.startswith(prefix)), "")
    return rows


#: What each element costs beyond being read and written (memcpy targets).
WORK = {
    "median": "selection on a working copy (data-dependent branches)",
    "mod (m=0.7)": "a division, a floor and the near-multiple snap test",
    "mod (m=3)": "a division and a floor",
    "conv": "64 multiply-adds per output",
    "Filter (FIR": "16 multiply-adds",
    "Filter (biquad)": "5 multiply-adds, 2 of them on the recursion",
    "unwrap": "difference, wrap test, running correction (sequential)",
    "Polyval": "8 complex Horner steps",
    "Polyfit": "Householder QR with column pivoting (several passes)",
    "erfcinv": "log/sqrt first guess and two refinement steps (erf, exp)",
    "interp_Sparam": "bracket walk and two complex exponentials",
    "Butterworth_TF": "6 complex divisions",
    "GetButterworthTF": "6 complex products and reciprocals",
    "synth_tline": "log, sqrt, exp, sin, cos and two complex divisions",
    "makePackage": "5 sections (log, sqrt, exp, sin, cos) and 4 cascades",
    "d_cpdf": "float32 rounding and a scattered add into ~1800 bins",
}


# ---------------------------------------------------------------------------
# Reporting
# ---------------------------------------------------------------------------

def fmt_ms(t):
    if t is None:
        return "—"
    ms = t * 1e3
    if ms >= 100:
        return f"{ms:.1f}"
    if ms >= 1:
        return f"{ms:.2f}"
    return f"{ms:.4f}"


def row_cells(r: Row):
    if r.kind.startswith("dep-add"):
        ours = r.ours / r.passes
        ref_name = f"{r.ref_name}, per pass"
        ref = r.ref
    else:
        ours = r.ours
        ref_name = r.ref_name or ("no equivalent" if r.kind == "none" else "—")
        ref = r.ref
    ratio = f"{ref / ours:.2f}" if ref is not None else "—"
    xm = f"{r.ours / r.copy:.2f}" if r.copy is not None else "—"
    return [r.export, str(r.size), fmt_ms(ours), ref_name, fmt_ms(ref), ratio, xm]


HEADERS = ["export", "size", "ours (ms)", "reference (name)", "reference (ms)", "ratio",
           "x memcpy"]


def text_table(rows):
    cells = [HEADERS] + [row_cells(r) for r in rows]
    widths = [max(len(c[i]) for c in cells) for i in range(len(HEADERS))]
    lines = []
    for k, c in enumerate(cells):
        lines.append("  ".join(s.ljust(widths[i]) if i in (0, 1, 3) else s.rjust(widths[i])
                               for i, s in enumerate(c)))
        if k == 0:
            lines.append("  ".join("-" * wd for wd in widths))
    return "\n".join(lines)


def md_table(rows):
    out = ["| " + " | ".join(HEADERS) + " |",
           "|" + "|".join(["---", "---", "---:", "---", "---:", "---:", "---:"]) + "|"]
    for r in rows:
        c = row_cells(r)
        c[0] = f"`{c[0].split(' ')[0]}`" + (c[0][len(c[0].split(' ')[0]):])
        out.append("| " + " | ".join(c) + " |")
    return "\n".join(out)


#: Why a ratio below 1.0 cannot be closed without changing results (shown
#: only when the target is missed in a run).
WHY_SLOWER = {
    "norm": "the sum is one dependent add per element in index order (the scaled "
            "recurrence fixes it), so its limit is the add latency, about one C "
            "dependent-add loop; numpy's BLAS norm splits the sum over several "
            "accumulators, which would round differently. Ours reaches 0.86-1.1 of the "
            "dependent-add loop, so norm and numpy are within noise of each other",
    "erfcinv": "the results are defined by 2-4 Halley steps, each an exact fdlibm "
               "erf/erfc and an exp from the C library; the two exp calls alone take "
               "about 8 ms per 10^6 elements here, against scipy's 11-14 ms for its "
               "whole single rational approximation (which gives other bits)",
    "d_cpdf": "each point needs the division, the single-precision roundf and the "
              "nearest-bin rule (first smallest |(qMin - q) + j w|, ties to the lower "
              "bin), which defines the bin on ties; the reference adds weights at "
              "precomputed integer indices. Quantising alone takes about 3-4 ms per "
              "10^6 points; the rule's distance comparisons cost the rest",
}


def targets(rows):
    """Lists of (met, line) for each target family."""
    res = {"speed": [], "python": [], "memcpy": [], "dep": []}
    for r in rows:
        if not r.large:
            continue
        label = f"{r.export} ({r.size})"
        if r.kind == "numpy" and r.ref is not None:
            ratio = r.ref / r.ours
            res["speed"].append((ratio >= 1.0, f"{label}: {ratio:.2f}x vs {r.ref_name}"
                                 + ("" if ratio >= 1.0 else f" (missed by {(1 - ratio) * 100:.0f}%:"
                                    f" ours {fmt_ms(r.ours)} ms, reference {fmt_ms(r.ref)} ms)"
                                    + (f"; why: {WHY_SLOWER[r.export]}" if r.export in WHY_SLOWER
                                       else ""))))
        if r.kind == "pure Python" and r.ref is not None:
            ratio = r.ref / r.ours
            res["python"].append((ratio >= 2.0, f"{label}: {ratio:.2f}x vs {r.ref_name}"))
        if r.copy is not None:
            xm = r.ours / r.copy
            res["memcpy"].append((xm <= 3.0, f"{label}: {xm:.2f}x memcpy"
                                  + ("" if xm <= 3.0 else f" (limit 3.0, {xm / 3.0:.2f}x over)")
                                  + (f"; per element: {r.work}" if r.work else "")))
        if r.kind == "dep-add":
            ratio = r.ref / (r.ours / r.passes)
            res["dep"].append((ratio >= 0.9, f"{label}: {ratio:.2f} of the dependent-add loop "
                               f"per pass ({r.ref_name})"
                               + ("" if ratio >= 0.9 else
                                  f" (target 0.9, missed by {(0.9 - ratio) / 0.9 * 100:.0f}%)")))
    return res


def machine_summary():
    info = {}
    try:
        out = subprocess.run(["lscpu"], capture_output=True, text=True, check=False).stdout
        for line in out.splitlines():
            k, _, v = line.partition(":")
            info[k.strip()] = v.strip()
    except OSError:
        pass
    u = platform.uname()
    parts = [
        f"CPU: {info.get('Model name', platform.processor() or '?')}, "
        f"{info.get('CPU(s)', os.cpu_count())} CPU(s), "
        f"{info.get('Thread(s) per core', '?')} thread(s) per core"
        + (f", hypervisor {info['Hypervisor vendor']}" if 'Hypervisor vendor' in info else ""),
        f"Caches: L1d {info.get('L1d cache', '?')}, L2 {info.get('L2 cache', '?')}, "
        f"L3 {info.get('L3 cache', '?')}",
        f"OS: {u.system} {u.release} {u.machine}",
        f"Python {platform.python_version()}, numpy {np.__version__}, scipy {scipy.__version__}",
    ]
    return parts


#: The page whose generated part a full run rewrites, and the marker lines
#: that delimit that part.
PAGE = REPO / "docs" / "performance.md"
BEGIN_MARKER = "<!-- compare.py: begin -->"
END_MARKER = "<!-- compare.py: end -->"


def shift_headings(lines, by: int):
    """Markdown lines with every heading (outside code fences) ``by`` levels deeper."""
    out, fenced = [], False
    for line in lines:
        if line.startswith("```"):
            fenced = not fenced
        elif not fenced and line.startswith("#"):
            line = "#" * by + line
        out.append(line)
    return out


def replace_generated(page: str, generated: str) -> str:
    """``page`` with the text between its two marker lines replaced by ``generated``.

    Everything up to and including the begin marker line and everything from
    the end marker line on is kept as it is.  Raises ValueError unless each
    marker stands on a line of its own exactly once, begin before end (the
    page may name the markers inside other lines).
    """
    lines = page.split("\n")
    begins = [i for i, ln in enumerate(lines) if ln.strip() == BEGIN_MARKER]
    ends = [i for i, ln in enumerate(lines) if ln.strip() == END_MARKER]
    if len(begins) != 1 or len(ends) != 1 or begins[0] > ends[0]:
        raise ValueError(f"expected one line {BEGIN_MARKER!r} followed by one line "
                         f"{END_MARKER!r}")
    body = generated.strip("\n").split("\n")
    return "\n".join(lines[:begins[0] + 1] + [""] + body + [""] + lines[ends[0]:])


def write_into_page(path: Path, generated: str) -> None:
    """Rewrites the generated part of the page at ``path`` (see replace_generated)."""
    path.write_text(replace_generated(path.read_text(), generated))


def main():
    ap = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    ap.add_argument("--quick", action="store_true",
                    help="sizes divided by 10, 3 samples; prints only (unless --output)")
    ap.add_argument("--reps", type=int, default=None, help="samples per timing (default 7)")
    ap.add_argument("--output", default=None,
                    help="standalone markdown file to write; without it a full run rewrites "
                         "the generated part of docs/performance.md")
    ap.add_argument("--filter", default=None,
                    help="only exports whose name contains this; prints only (unless --output)")
    args = ap.parse_args()
    reps = args.reps or (3 if args.quick else 7)
    output = args.output
    # Only a full run of every export replaces the page's generated part.
    update_page = output is None and not args.quick and not args.filter
    if update_page:
        replace_generated(PAGE.read_text(), "")  # fail now, not after the run

    path = library_path()
    lib, missing = load_library(path)
    lib_mtime = datetime.datetime.fromtimestamp(os.path.getmtime(path)).strftime("%Y-%m-%d %H:%M:%S")
    print(f"library: {path} (built {lib_mtime})")
    if missing:
        print(f"missing exports (skipped): {', '.join(missing)}")

    started = time.perf_counter()
    load = os.getloadavg()
    dep_add_c = c_dependent_add_times(reps)
    rows = build_rows(lib, args.quick, reps, dep_add_c)
    if args.filter:
        rows = [r for r in rows if args.filter in r.export]
    failures = []
    for r in rows:
        if r.check is not None:
            try:
                ok, detail = r.check()
            except Exception as exc:  # a check must not stop the timings
                ok, detail = False, f"{type(exc).__name__}: {exc}"
            r.check_result = (ok, detail)
            if not ok:
                failures.append(f"{r.export} ({r.size}): {detail}")
        r.ours = best_of(r.ours_fn, reps)
        if isinstance(r.ref_fn, tuple):
            times = [best_of(f, reps) for f in r.ref_fn]
            k = int(np.argmin(times))
            r.ref, r.ref_name = times[k], r.ref_name[k]
        elif isinstance(r.ref_fn, float):
            r.ref = r.ref_fn
        elif r.ref_fn is not None:
            r.ref = best_of(r.ref_fn, reps)
        if r.io_bytes:
            r.copy = copy_time(r.io_bytes, reps)
        c = row_cells(r)
        print(f"  {c[0]:<36} {c[1]:<26} ours {c[2]:>9} ms  ref {c[4]:>9} ms  ratio {c[5]:>6}"
              f"  x memcpy {c[6]:>6}", flush=True)
    elapsed = time.perf_counter() - started

    print()
    print(text_table(rows))
    print()
    tg = targets(rows)
    titles = {"speed": "ratio >= 1.0 against numpy/scipy (large size)",
              "python": "ratio >= 2.0 against pure Python",
              "memcpy": "exports linear in the data: <= 3x memcpy (large size)",
              "dep": "reductions: >= 0.9 of the dependent-add loop per pass"}
    target_md = []
    for key, title in titles.items():
        items = tg[key]
        met = sum(ok for ok, _ in items)
        print(f"{title}: {met}/{len(items)} met")
        target_md.append(f"### {title}: {met} of {len(items)} met\n")
        if not items:
            target_md.append("- no export in this class: every reference used here is numpy/"
                             "scipy code (the cursor-density reference loops over the 500 "
                             "cursors in Python, but each step is vectorised numpy, so it is "
                             "judged with the 1.0 target)" if key == "python" else "- none")
        for ok, line in items:
            print(f"  [{'met' if ok else 'MISSED'}] {line}")
            target_md.append(f"- {'met' if ok else '**missed**'}: {line}")
        target_md.append("")
    if failures:
        print("\nagreement checks that failed:")
        for f in failures:
            print("  " + f)
    print(f"\ntotal time {elapsed:.0f} s")

    if output or update_page:
        cmdline = "/usr/bin/python3 bench/compare.py" + (" " + " ".join(sys.argv[1:])
                                                        if sys.argv[1:] else "")
        acc_t = next((r.ref for r in rows if r.kind.startswith("dep-add") and r.large
                      and r.ref_name.startswith("numpy")), None)
        c_t = dep_add_c.get(1_000_000)
        acc_vs_c = (f"{acc_t / c_t:.1f}x slower than the C loop" if acc_t and c_t and
                    rows and any(r.size == 1_000_000 for r in rows) else "slower")
        notes, seen = [], set()
        for r in rows:
            if r.note and (r.export, r.note) not in seen:
                seen.add((r.export, r.note))
                notes.append(r)
        checks_ok = [r for r in rows if r.check_result and r.check_result[0]]
        md = [
            "# Zefra_TDR_Helpers against numpy/scipy",
            "",
            "Command (after `cmake --build --preset release`):",
            "",
            "```sh",
            cmdline,
            "```",
            "",
            f"Date: {datetime.datetime.now().astimezone().strftime('%Y-%m-%d %H:%M:%S %Z')}; "
            f"run took {elapsed:.0f} s{' (quick run)' if args.quick else ''}.",
            "",
            "Machine:",
            "",
            *[f"- {p}" for p in machine_summary()],
            f"- Library: `{os.path.relpath(path, REPO) if path.startswith(str(REPO)) else path}`"
            f" (built {lib_mtime})",
            "",
            "## Method",
            "",
            f"- Every time is the best of {reps} samples (`time.perf_counter`); a sample "
            "repeats a fast call until it lasts 2 ms and keeps the mean.",
            "- Ours: the export called through ctypes with its prototype from "
            "`python/zefra_tdr/_library.py`; every pointer, count and scalar is built before "
            "the clock starts, outputs are preallocated, so only the foreign call is timed.",
            "- Reference: the numpy/scipy equivalent on the same data (it allocates its "
            "result unless `out=` is shown).",
            "- ratio = reference time / our time; above 1 means ours is faster.",
            "- x memcpy = our time / time of `np.copyto` of the export's input + output bytes "
            "into a preallocated array of the same size (that copy reads and writes the total "
            "byte count), for the exports whose work is linear in the data size. An export that "
            "reads and writes B bytes is thus compared with a copy moving 2B bytes: a purely "
            "bandwidth-bound export would show about 0.5.",
            "- On this 2-core virtual machine repeated runs differ by up to about 15% per "
            "time (other jobs share the machine); a ratio within that margin of its target "
            "is not conclusive.",
            "- The `per pass` rows compare `Eval_std` (two passes) and `norm` (one pass) with "
            "a dependent-add loop over as many doubles; their `ours` column is our time "
            "divided by the number of passes, and ratio = loop time / our time per pass. "
            "Two loops are shown: the C loop `s += x[i]` of the project's Google Benchmark "
            "suite (`BM_DependentAddLoop` in `build/release/bin/zefra_bench`, run by this "
            "script, best of the same number of repetitions), which keeps `s` in a register "
            "and so costs one add latency per element, the true limit of an exact "
            "left-to-right sum; and `numpy.add.accumulate(x, out=)`, also strictly "
            f"sequential but {acc_vs_c} per element here, because every add reloads the "
            "value stored one element before (store-to-load forwarding). The 0.9 target is "
            "judged against the C loop"
            + ("" if dep_add_c.get(1_000_000) else
               " (not available in this run: judged against numpy.add.accumulate)") + ".",
            f"- Load average at the start of the run: {load[0]:.2f} / {load[1]:.2f} / "
            f"{load[2]:.2f} (1/5/15 min) on {os.cpu_count()} CPUs; a busy machine inflates "
            "both sides of every ratio, the memory-bound baselines most.",
            "- Each export's result was compared with its reference before timing: "
            f"{len(checks_ok)} of {sum(1 for r in rows if r.check)} checks agree"
            + (" (failures: " + "; ".join(failures) + ")." if failures else "."),
            "",
            "## Results",
            "",
            md_table(rows),
            "",
            "Notes:",
            "",
            *[f"- `{r.export}`: {r.note}." for r in notes],
            "- `interp_Linear_Extrap` and `interp_Linear_Extrap_Complex` are timed on queries "
            "inside the table, where `numpy.interp` computes the same values.",
            "- The complex interpolations take the faster of `numpy.interp` on the complex "
            "table and two `numpy.interp` calls on separate re and im arrays.",
            "- Cursor densities: the reference builds each cursor's histogram with "
            "`numpy.bincount` and convolves it with the running density as M shifted adds "
            "(the histogram has M nonzero bins; a dense `np.convolve` with the ~2000-bin "
            "histogram gives the same values but is far slower at ~200 000 bins).",
            "",
            "## Targets",
            "",
            *target_md,
        ]
        if output:
            Path(output).write_text("\n".join(md) + "\n")
            print(f"wrote {output}")
        else:
            # Inside the page the report is one section: every heading one
            # level deeper.
            write_into_page(PAGE, "\n".join(shift_headings(md, 1)))
            print(f"rewrote the generated part of {os.path.relpath(PAGE, REPO)}")


if __name__ == "__main__":
    main()
