"""``zefra-tdr link``: a link's statistical eye after the best equaliser
of a search (docs/eye.md).

The steps, each a function of the package:

1. the victim's pulse response (:func:`~zefra_tdr.pulse.pulse_response`)
   through the channel's through, and one per crosstalk file (same port
   map, span and time origin);
2. :func:`~zefra_tdr.eye_search.search_equalizer` over CTLE settings times
   Tx FFE vectors with the DFE given, scored by the worst eye's height at
   its best phase at the target BER, on a coarse amplitude lattice;
3. the winner's statistical eye on the normal lattice
   (:meth:`~zefra_tdr.eye_search.SearchResult.winner_eye`) and its
   read-out; the margin of each eye is its height at the best phase at the
   target BER minus ``--eh-min``.

:func:`run_link` runs them from parsed options and :func:`link_report`
gives every figure with units in the key names.
"""

from __future__ import annotations

import argparse
import dataclasses
import json
import math
import time

from ._progress import Progress
from .cli import EXIT_OK, _frequency, command
from .cli_pulse import _numbers, dfe_options, floating_option, port_map

__all__ = ["LinkCache", "LinkRun", "link_report", "run_link"]

# Defaults of the equaliser search (the CTLE family scales with the baud).
_CTLE_DC_GAINS = "0:-15:1"
_DEFAULT_FFE = "pre=-0.15:0:0.05,post=-0.1:0:0.05"
_DEFAULT_SAMPLES_PER_UI = 32

MARGIN_DEFINITION = ("margin = eye height at the eye's best phase at the target BER minus "
                     "--eh-min; the link margin is the smallest over the eyes")
BER_DEFINITION = ("BER_i(phase, v) = (1/M) [(1 - F_{a_i}(v)) + F_{a_{i+1}}(v)] for the eye "
                  "between levels a_i < a_{i+1}, F_a(v) = P(y < v | a_0 = a); eye height = "
                  "length of {v : BER_i <= target}, eye width = length of {phase : BER_i(phase, "
                  "v*) <= target} at the threshold v*")
SHORT_CONVENTIONS = ("i.i.d. uniform M-PAM symbols, every cursor counted; "
                     "BER_i = (1/M)[(1 - F_{a_i}(v)) + F_{a_{i+1}}(v)]; Gaussian noise analytic; "
                     "dual-Dirac jitter, no transition-density factor; ideal DFE without error "
                     "propagation (docs/eye.md)")


# ---------------------------------------------------------------------------
# Option values
# ---------------------------------------------------------------------------

def _range(text: str, option: str) -> list[float]:
    """A:B:STEP (B included when it falls on the step; from A towards B) or
    a single number."""
    parts = text.split(":")
    try:
        if len(parts) == 1:
            return [float(parts[0])]
        if len(parts) != 3:
            raise ValueError
        start, stop, step = (float(p) for p in parts)
    except ValueError:
        raise ValueError(f"{option} {text!r}: expected a number or FROM:TO:STEP") from None
    if not (step > 0 and math.isfinite(start) and math.isfinite(stop) and math.isfinite(step)):
        raise ValueError(f"{option} {text!r}: expected finite FROM and TO and a STEP > 0")
    count = int(math.floor(abs(stop - start) / step + 1e-9)) + 1
    if count > 10000:
        raise ValueError(f"{option} {text!r}: {count} values; at most 10000")
    direction = 1.0 if stop >= start else -1.0
    # -0.15 + 3 * 0.05 is 2.8e-17, not 0, and -0.15 + 0.05 is
    # -0.09999999999999999: each value is rounded to 12 significant digits,
    # the decimal number the range means (and 0 where it should be).
    values = []
    for k in range(count):
        v = start + direction * step * k
        values.append(0.0 if abs(v) < 1e-9 * step else float(f"{v:.12g}"))
    return values


def default_ctle_family(baud_hz: float) -> str:
    """The --ctle default for a symbol rate: DC gain 0 to -15 dB in 1 dB
    steps, zero and first pole at baud / 2.5, second pole at the baud."""
    return f"{_CTLE_DC_GAINS},{baud_hz / 2.5:.17g},{baud_hz / 2.5:.17g},{baud_hz:.17g}"


def ctle_family(text: str) -> tuple:
    """--ctle: none, or DC_DB[:DC_TO:STEP],FZ,FP1,FP2 (gains in dB,
    frequencies in Hz or with a unit)."""
    from .equalized import CtleSetting

    if text.strip().lower() == "none":
        return ()
    parts = text.split(",")
    if len(parts) != 4:
        raise ValueError(f"--ctle {text!r}: expected none or DC_DB[:DC_TO:STEP],ZERO,POLE1,POLE2 "
                         "such as 0:-12:1,21.25GHz,21.25GHz,53.125GHz")
    gains = _range(parts[0], "--ctle")
    try:
        zero, pole1, pole2 = (_frequency(p) for p in parts[1:])
    except ValueError:
        raise ValueError(f"--ctle {text!r}: expected frequencies such as 21.25GHz") from None
    return tuple(CtleSetting(g, zero, pole1, pole2) for g in gains)


def ffe_vectors(text: str, main: int | None):
    """--ffe: none, a tap list C,C,... (main tap: --ffe-main or the largest),
    or a grid pre=A:B:STEP,...,post=A:B:STEP,... (one pre= per precursor
    tap, nearest first, one post= per post-cursor tap; main tap
    1 - sum |others|).  Returns (vectors, main index)."""
    from .eye_search import ffe_grid

    if text.strip().lower() == "none":
        if main is not None:
            raise ValueError("--ffe-main needs an --ffe tap list")
        return (), None
    if "=" not in text:
        taps = _numbers(text, "--ffe")
        if main is not None and not 0 <= main < len(taps):
            raise ValueError(f"--ffe-main {main}: the tap list has taps 0..{len(taps) - 1}")
        return (tuple(taps),), main
    if main is not None:
        raise ValueError("--ffe-main applies to a tap list; a grid's main tap is at the "
                         "index of its number of pre= taps")
    pre, post = [], []
    for item in text.split(","):
        key, _, values = item.partition("=")
        key = key.strip().lower()
        if key not in ("pre", "post") or not values:
            raise ValueError(f"--ffe {text!r}: expected pre=FROM:TO:STEP and post=FROM:TO:STEP "
                             "items, a tap list, or none")
        (pre if key == "pre" else post).append(_range(values, "--ffe"))
    vectors = ffe_grid(pre=pre, post=post)
    if not vectors:
        raise ValueError(f"--ffe {text!r}: every tap vector would have a main tap below 0")
    return tuple(vectors), len(pre)


def _dfe(args):
    from .eye_search import EyeDfe

    given = floating_option(args.dfe_floating)
    floating = {}
    if given is not None:
        floating = {"floating_groups": given["groups"], "taps_per_group": given["taps_per_group"],
                    "search_start": given["search_start"], "search_end": given["search_end"]}
    if args.dfe < 0:
        raise ValueError(f"--dfe {args.dfe}: expected a number of taps >= 0")
    return EyeDfe(fixed_taps=args.dfe, limit=args.dfe_limit, **floating)


def _non_negative(value: float, option: str) -> float:
    if not (math.isfinite(value) and value >= 0):
        raise ValueError(f"{option} {value!r}: expected a finite value >= 0")
    return value


# ---------------------------------------------------------------------------
# The run
# ---------------------------------------------------------------------------

@dataclasses.dataclass
class LinkRun:
    """Everything a ``zefra-tdr link`` run computed."""

    inputs: dict
    network: object
    channel_path: str
    through: dict
    response: object
    aggressors: tuple
    search: object
    eye: object
    readout: object
    eh_min_v: float
    search_bin_v: float
    timings_s: dict


class LinkCache:
    """Networks by path and pulse responses by their inputs, kept for the
    runs of one sweep task (each is computed as in a lone run)."""

    def __init__(self):
        self._networks: dict = {}
        self._pulses: dict = {}

    def network(self, path: str, read):
        if path not in self._networks:
            self._networks[path] = read(path)
        return self._networks[path]

    def pulse(self, key: tuple, compute):
        if key not in self._pulses:
            self._pulses[key] = compute()
        return self._pulses[key]


def _design_defaults(args) -> dict:
    """Values of the options left unset: the default channel's design
    values for THRU = default, otherwise the documented defaults."""
    from .default_channel import (DESIGN_BAUD_HZ, DESIGN_DJ_UI, DESIGN_LEVELS,
                                  DESIGN_NOISE_RMS_V, DESIGN_RJ_UI, DESIGN_TARGET_BER)

    shipped = args.thru == "default"
    if args.baud is None and not shipped:
        raise ValueError("--baud is required (it defaults to the design baud only for THRU "
                         "= default)")
    baud = DESIGN_BAUD_HZ
    if args.baud is not None:
        try:
            baud = _frequency(args.baud)
        except ValueError:
            raise ValueError(f"--baud {args.baud!r}: expected a symbol rate such as 53.125e9 "
                             "or 53.125GHz") from None
    return {
        "baud_hz": baud,
        "levels": (DESIGN_LEVELS if shipped else 2) if args.levels is None else args.levels,
        "target_ber": ((DESIGN_TARGET_BER if shipped else 1e-12) if args.target_ber is None
                       else args.target_ber),
        "noise_rms_v": ((DESIGN_NOISE_RMS_V if shipped else 0.0) if args.noise_rms is None
                        else args.noise_rms),
        "dj_ui": (DESIGN_DJ_UI if shipped else 0.0) if args.dj is None else args.dj,
        "rj_ui": (DESIGN_RJ_UI if shipped else 0.0) if args.rj is None else args.rj,
    }


def run_link(args, cache=None, search_progress: bool = True) -> LinkRun:
    """The link analysis the parsed options of ``zefra-tdr link`` ask for.

    ``cache`` (a :class:`LinkCache`) lets several runs over the same files
    read each file once and compute each pulse response once (a sweep's
    task); the results are the same bits as without it.  The search's
    progress bar shows on a terminal unless ``search_progress`` is false."""
    from .default_channel import ORDER, default_channel_path
    from .eye_search import search_equalizer
    from .pulse import pulse_response
    from .stat_eye import Aggressor
    from .touchstone import read_touchstone

    clock = time.perf_counter
    times: dict[str, float] = {}
    # Every option is checked before a file is read.
    values = _design_defaults(args)
    baud = values["baud_hz"]
    if not (baud > 0 and math.isfinite(baud)):
        raise ValueError(f"--baud {args.baud!r}: expected a symbol rate > 0 Hz")
    if not 2 <= values["levels"] <= 64:
        raise ValueError(f"--levels {values['levels']}: expected 2 .. 64")
    if not 0 < values["target_ber"] < 0.5:
        raise ValueError(f"--target-ber {values['target_ber']!r}: expected a BER in (0, 0.5)")
    for key, option in (("noise_rms_v", "--noise-rms"), ("dj_ui", "--dj"), ("rj_ui", "--rj")):
        _non_negative(values[key], option)
    _non_negative(args.eh_min, "--eh-min")
    if args.samples_per_ui < 2:
        raise ValueError(f"--samples-per-ui {args.samples_per_ui}: expected 2 or more")
    if args.threads < 0:
        raise ValueError(f"--threads {args.threads}: expected 0 (every core) or more")
    for option, value in (("--bin-mv", args.bin_mv), ("--search-bin-mv", args.search_bin_mv)):
        if value is not None and not (math.isfinite(value) and value > 0):
            raise ValueError(f"{option} {value!r}: expected a lattice step > 0 mV")
    ports, pairs = port_map(args.port_map) if args.port_map is not None else (None, None)
    order = args.order
    if args.thru == "default" and ports is None and pairs is None and order is None:
        order = ORDER
    ctle_text = default_ctle_family(baud) if args.ctle is None else args.ctle
    settings = ctle_family(ctle_text)
    vectors, ffe_main = ffe_vectors(_DEFAULT_FFE if args.ffe is None else args.ffe,
                                    args.ffe_main)
    dfe = _dfe(args)

    start = clock()
    path = str(default_channel_path()) if args.thru == "default" else args.thru
    cache = LinkCache() if cache is None else cache
    network = cache.network(path, read_touchstone)
    xtalk_networks = [cache.network(p, read_touchstone) for p in args.xtalk]
    times["read_s"] = clock() - start

    start = clock()
    through = {"ports": ports, "pairs": pairs, "order": order}
    response = cache.pulse((path, baud, args.samples_per_ui, ports, pairs, order),
                           lambda: pulse_response(network, baud_hz=baud,
                                                  samples_per_ui=args.samples_per_ui, **through))
    d = response.diagnostics
    aggressors = []
    for xpath, xnet in zip(args.xtalk, xtalk_networks):
        # Same span and guard: the aggressor's samples line up with the
        # victim's (same time origin).
        try:
            q = cache.pulse((xpath, baud, args.samples_per_ui, ports, pairs, order, d.span_s,
                             d.guard_samples * d.dt_s),
                            lambda: pulse_response(xnet, baud_hz=baud,
                                                   samples_per_ui=args.samples_per_ui,
                                                   span_s=d.span_s,
                                                   guard_s=d.guard_samples * d.dt_s, **through))
        except ValueError as exc:
            raise ValueError(f"--xtalk {xpath}: {exc}") from None
        aggressors.append(Aggressor(q.pulse, synchronous=args.xtalk_sync,
                                    offset_ui=args.xtalk_offset if args.xtalk_sync else 0.0))
    times["pulse_s"] = clock() - start

    # One lattice for every candidate and the winner's eye (--bin-mv, default
    # the smallest received peak / 1000), unless --search-bin-mv gives the
    # search its own.
    final_bin = (_default_bin(response, settings, args.samples_per_ui) if args.bin_mv is None
                 else args.bin_mv * 1e-3)
    search_bin = final_bin if args.search_bin_mv is None else args.search_bin_mv * 1e-3
    start = clock()
    result = search_equalizer(
        response, levels=values["levels"], target_ber=values["target_ber"], ctle=settings,
        ffe=vectors, ffe_main=ffe_main, dfe=dfe, crosstalk=aggressors,
        noise_rms=values["noise_rms_v"], dj_ui=values["dj_ui"], rj_ui=values["rj_ui"],
        bin_v=search_bin, threads=args.threads,
        progress=Progress("search", "CTLE settings") if search_progress else None)
    times["search_s"] = clock() - start

    start = clock()
    eye = dataclasses.replace(result, bin_v=final_bin).winner_eye(response, threads=args.threads)
    readout = eye.readout(values["target_ber"])
    times["final_eye_s"] = clock() - start

    inputs = {
        "thru": args.thru, "thru_file": path, "xtalk_files": list(args.xtalk),
        "xtalk_synchronous": bool(args.xtalk_sync),
        "xtalk_offset_ui": args.xtalk_offset if args.xtalk_sync else None,
        **values, "samples_per_ui": args.samples_per_ui,
        "port_map": args.port_map, "order": order,
        "ctle": ctle_text, "ffe": _DEFAULT_FFE if args.ffe is None else args.ffe,
        "ffe_main": ffe_main, "dfe": dfe.as_dict(), "eh_min_v": args.eh_min * 1e-3,
        "search_bin_v": search_bin, "final_bin_v": eye.bin_v, "threads": args.threads,
    }
    return LinkRun(inputs=inputs, network=network, channel_path=path, through=through,
                   response=response, aggressors=tuple(aggressors), search=result, eye=eye,
                   readout=readout, eh_min_v=args.eh_min * 1e-3, search_bin_v=search_bin,
                   timings_s=times)


def _default_bin(response, settings, ns: int) -> float:
    """The smallest max |pulse| of the received pulses (after each CTLE,
    before the Tx FFE) / 1000: the statistical eye's default step for the
    weakest of them, so that no candidate is read on a coarser lattice than
    its own default."""
    import numpy as np

    from .pulse_eq import apply_ctle
    from .stat_eye import _BINS_PER_PEAK

    pulses = [response.pulse] if not settings else [
        apply_ctle(response.pulse, baud_hz=response.baud_hz, samples_per_ui=ns, **s.as_dict())
        for s in settings]
    peak = min(float(np.max(np.abs(p))) for p in pulses)
    if peak == 0.0:
        raise ValueError("the received pulse is all zeros: no eye")
    return peak / _BINS_PER_PEAK


# ---------------------------------------------------------------------------
# Reports
# ---------------------------------------------------------------------------

def _loss_at_nyquist(run: LinkRun):
    import numpy as np

    from .pulse import two_port_of

    two = two_port_of(run.network, **run.through)
    nyquist = run.response.baud_hz / 2
    f = two.f
    if not f[0] <= nyquist <= f[-1]:
        return nyquist, None
    # |S21| in dB at the two grid points around Nyquist, by scalar calls:
    # numpy's vector |z| of a complex array rounds some elements differently
    # depending on where its output buffer happens to be aligned, and a
    # reported figure must be the same bits in every run.
    j = min(int(np.searchsorted(f, nyquist, side="right")) - 1, max(f.size - 2, 0))

    def db(k: int) -> float:
        magnitude = abs(complex(two.s[k, 1, 0]))
        return 20.0 * math.log10(magnitude) if magnitude > 0.0 else -math.inf

    if f[j] == nyquist or f.size == 1:
        return nyquist, db(j)
    t = (nyquist - f[j]) / (f[j + 1] - f[j])
    return nyquist, db(j) + t * (db(j + 1) - db(j))


def _margins(run: LinkRun) -> list[float]:
    return [f.height_best_v - run.eh_min_v for f in run.readout.eyes]


def _finite(value):
    """The report with NaN and infinities as None (JSON has no such numbers)."""
    if isinstance(value, float):
        return value if math.isfinite(value) else None
    if isinstance(value, dict):
        return {k: _finite(v) for k, v in value.items()}
    if isinstance(value, (list, tuple)):
        return [_finite(v) for v in value]
    return value


def link_report(run: LinkRun, plots: dict | None = None) -> dict:
    """Every figure of a run, units in the key names (NaN as None)."""
    return _finite(_report(run, plots))


def _report(run: LinkRun, plots: dict | None) -> dict:
    from .stat_eye import CONVENTIONS

    nyquist, loss = _loss_at_nyquist(run)
    margins = _margins(run)
    eyes = []
    for f, margin in zip(run.readout.eyes, margins):
        row = dataclasses.asdict(f)
        row["margin_v"] = margin
        eyes.append({k: (None if isinstance(v, float) and not math.isfinite(v) else v)
                     for k, v in row.items()})
    d = run.response.diagnostics
    search = run.search.as_dict()
    search["candidates"] = int(run.search.scores.size)
    search["bin_v"] = run.search_bin_v
    if run.search_bin_v != run.eye.bin_v:
        search["note"] = ("candidates scored on the lattice bin_v; the winner's eye is "
                          "recomputed on inputs.final_bin_v, so its worst eye height differs "
                          "from the winner's score")
    return {
        "command": "link",
        "conventions": {
            "eye": CONVENTIONS,
            "ber": BER_DEFINITION,
            "margin": MARGIN_DEFINITION,
            "search": "score = the smallest best-phase eye height over the eyes at the target "
                      "BER; the winner has the highest score (ties: the first candidate)",
            "pulse": "V per V of source EMF, response to a 1-UI rectangle; symbols of amplitude "
                     "1 (the levels span -1 .. 1)",
            "units": "key suffixes: _v volts, _ui unit intervals, _hz hertz, _db decibels, "
                     "_s seconds; BER values are probabilities",
        },
        "inputs": run.inputs,
        "channel": {
            "file": run.channel_path,
            "ports": run.network.nports,
            "through": {k: v for k, v in run.through.items() if v is not None},
            "nyquist_hz": nyquist,
            "loss_at_nyquist_db": loss,
            "band_start_hz": float(run.network.f[0]),
            "band_edge_hz": float(run.network.f[-1]),
        },
        "pulse": {
            "baud_hz": run.response.baud_hz,
            "samples_per_ui": run.response.samples_per_ui,
            "peak_v": float(run.response.pulse.max()),
            "diagnostics": d.as_dict(),
            "warnings": d.warnings(),
        },
        "search": search,
        "winner": search["winner"],
        "runner_up": search["runner_up"],
        "eye": run.eye.as_dict(),
        "readout": run.readout.as_dict(),
        "eyes": eyes,
        "worst_eye": int(min(range(len(margins)), key=lambda i: margins[i])),
        "margin_v": min(margins),
        "eh_min_v": run.eh_min_v,
        "timings_s": run.timings_s,
        "plots": plots,
    }


def _describe_ctle(c) -> str:
    if c is None:
        return "no CTLE"
    return (f"CTLE {c.dc_gain_db:g} dB (zero {c.zero_hz / 1e9:.4g}, poles "
            f"{c.pole1_hz / 1e9:.4g} and {c.pole2_hz / 1e9:.4g} GHz)")


def _describe(candidate) -> str:
    ffe = ("no FFE" if not candidate.ffe
           else "FFE (" + ", ".join(f"{c:.4g}" for c in candidate.ffe) + ")")
    return f"{_describe_ctle(candidate.ctle)}, {ffe}: worst eye {candidate.score_v * 1e3:.3f} mV"


def _describe_dfe(dfe) -> str:
    parts = [f"{dfe.fixed_taps} fixed tap{'' if dfe.fixed_taps == 1 else 's'}"]
    if dfe.floating_groups:
        parts.append(f"{dfe.floating_groups} floating group(s) of {dfe.taps_per_group}")
    return "DFE " + ", ".join(parts) + f" (limit {dfe.limit:g})"


def _print(run: LinkRun, plots: dict | None, json_path: str | None) -> None:
    i = run.inputs
    name = "default channel" if i["thru"] == "default" else "channel"
    through = run.through
    if through["order"] is not None:
        kind = f"differential through, order {through['order']}"
    elif through["pairs"] is not None:
        kind = f"differential through, pairs {through['pairs']}"
    else:
        kind = f"through ports {through['ports'] or (1, 2)}"
    nyquist, loss = _loss_at_nyquist(run)
    print(f"{name}: {run.channel_path} ({kind})")
    print(f"  loss at Nyquist {nyquist / 1e9:.6g} GHz: "
          + ("outside the data" if loss is None else f"{loss:.2f} dB"))
    print(f"link: {i['baud_hz'] / 1e9:.6g} GBd, {i['levels']}-PAM, target BER "
          f"{i['target_ber']:.3g}; noise {i['noise_rms_v'] * 1e3:.4g} mV rms, "
          f"DJ {i['dj_ui']:.4g} UI, RJ {i['rj_ui']:.4g} UI; {i['samples_per_ui']} samples/UI; "
          f"{len(run.aggressors)} aggressor(s)"
          + ((" synchronous" if i["xtalk_synchronous"] else " asynchronous")
             if run.aggressors else ""))
    s = run.search
    print(f"search: {len(s.ctle) or 1} CTLE x {len(s.ffe) or 1} FFE = {s.scores.size} "
          f"candidates, {_describe_dfe(s.dfe)}, lattice {run.search_bin_v * 1e3:.4g} mV")
    print(f"  winner     {_describe(s.winner)}")
    if s.runner_up is not None:
        print(f"  runner-up  {_describe(s.runner_up)}")
    same = ("the search's lattice" if run.eye.bin_v == run.search_bin_v
            else f"a {run.eye.bin_v * 1e3:.4g} mV lattice (the search's was coarser)")
    print(f"winner's eye on {same}, at BER {run.readout.target_ber:.3g}:")
    print(f"  {'eye':>3} {'EH centre (mV)':>15} {'EH best (mV)':>13} {'best phase (UI)':>16} "
          f"{'EW (UI)':>8} {'margin (mV)':>12}")
    for f, margin in zip(run.readout.eyes, _margins(run)):
        print(f"  {f.eye:>3} {f.height_centre_v * 1e3:>15.3f} {f.height_best_v * 1e3:>13.3f} "
              f"{f.best_phase_ui:>16.4f} {f.width_ui:>8.4f} {margin * 1e3:>12.3f}")
    margins = _margins(run)
    worst = min(range(len(margins)), key=lambda k: margins[k])
    print(f"link margin {margins[worst] * 1e3:.3f} mV (eye {worst}); margin = EH at the best "
          f"phase at the target BER - --eh-min ({run.eh_min_v * 1e3:g} mV)")
    print(f"conventions: {SHORT_CONVENTIONS}")
    for line in run.response.diagnostics.warnings():
        print(f"warning: {line}")
    if plots:
        for key in ("eye", "bathtubs", "pulse", "loss"):
            print(f"plot ({key}): {plots[key]}")
    if json_path:
        print(f"json: {json_path}")
    t = run.timings_s
    print("times: " + ", ".join(f"{k[:-2].replace('_', ' ')} {v:.2f} s" for k, v in t.items()))


def _plot(run: LinkRun, directory: str) -> dict:
    import numpy as np

    from .equalized import EqualizedPulse
    from .plots_eye import save_link_plots
    from .pulse_eq import apply_dfe, sample_cursors

    s = run.search
    wave = s.winner_pulse(run.response)
    response = run.response
    if wave.size > response.pulse.size:
        # The search pads every pulse to the longest aggressor.
        extra = wave.size - response.pulse.size
        dt = response.diagnostics.dt_s
        t = np.concatenate([response.t, response.t[-1] + dt * np.arange(1, extra + 1)])
        response = dataclasses.replace(response, t=t,
                                       pulse=np.concatenate([response.pulse, np.zeros(extra)]))
    cursors = sample_cursors(wave, samples_per_ui=s.samples_per_ui, method="peak")
    dfe = s.winner_dfe(wave) or apply_dfe(cursors, taps=0)
    equalized = EqualizedPulse(t=response.t, pulse=wave, cursors=cursors, dfe=dfe,
                               ctle=s.winner.ctle, ffe_taps=tuple(s.winner.ffe),
                               ffe_main=s.winner.ffe_main)
    return save_link_plots(directory, eye=run.eye, target_ber=run.readout.target_ber,
                           response=response, equalized=equalized, network=run.network,
                           readout=run.readout, **run.through)


# ---------------------------------------------------------------------------
# The command
# ---------------------------------------------------------------------------

def _options(parser: argparse.ArgumentParser) -> None:
    parser.add_argument("thru", metavar="THRU",
                        help="Touchstone file of the channel, or 'default' for the channel "
                             "shipped with the package (a 4-port, 1-3/2-4, made for 53.125 GBd "
                             "PAM4 at BER 1e-6)")
    parser.add_argument("--xtalk", action="append", default=[], metavar="FILE",
                        help="crosstalk aggressor channel (repeatable); its through is taken "
                             "with the same --port-map/--order as THRU, its pulse on the same "
                             "time grid")
    parser.add_argument("--xtalk-sync", action="store_true",
                        help="synchronous aggressors at --xtalk-offset (default: asynchronous, "
                             "the mixture over every phase of one UI)")
    parser.add_argument("--xtalk-offset", type=float, default=0.0, metavar="UI",
                        help="phase of synchronous aggressors, UI (default: 0)")
    parser.add_argument("--baud", default=None, metavar="HZ",
                        help="symbol rate, Hz or with a unit (53.125e9, 53.125GHz); required "
                             "unless THRU is default (then 53.125e9)")
    parser.add_argument("--levels", type=int, default=None, metavar="M",
                        help="signal levels, 2 (NRZ) .. 64 (default: 4 for THRU default, else 2)")
    parser.add_argument("--target-ber", type=float, default=None, metavar="P",
                        help="BER at which eyes are read (default: 1e-6 for THRU default, "
                             "else 1e-12)")
    parser.add_argument("--samples-per-ui", type=int, default=_DEFAULT_SAMPLES_PER_UI,
                        metavar="N", help=f"time samples per UI, the eye's phases "
                                          f"(default: {_DEFAULT_SAMPLES_PER_UI})")
    parser.add_argument("--port-map", default=None, metavar="MAP",
                        help="the through: IN,OUT (single-ended) or P,N:P,N (differential "
                             "pairs in:out); default 1,2 for a 2-port")
    parser.add_argument("--order", choices=("1-3/2-4", "1-2/3-4"), default=None,
                        help="differential through of a 4-port by its numbering (THRU default: "
                             "1-3/2-4)")
    parser.add_argument("--ctle", default=None, metavar="FAMILY",
                        help="Rx CTLE settings searched: DC_DB[:DC_TO:STEP],ZERO,POLE1,POLE2 "
                             "(gain at 0 Hz in dB; frequencies in Hz or with units), or none "
                             "(default: 0:-15:1,baud/2.5,baud/2.5,baud)")
    parser.add_argument("--ffe", default=None, metavar="GRID",
                        help="Tx FFE searched: pre=FROM:TO:STEP,post=FROM:TO:STEP (one item per "
                             "tap; main tap 1 - sum |others|), a tap list C,C,..., or none "
                             f"(default: {_DEFAULT_FFE})")
    parser.add_argument("--ffe-main", type=int, default=None, metavar="I",
                        help="index of the main tap of an --ffe tap list (default: the largest)")
    dfe_options(parser, default_taps=2)
    parser.add_argument("--noise-rms", type=float, default=None, metavar="V",
                        help="Gaussian noise at the slicer, V rms (default: 0.5e-3 for THRU "
                             "default, else 0)")
    parser.add_argument("--dj", type=float, default=None, metavar="UI",
                        help="dual-Dirac deterministic jitter, peak to peak, UI (default: 0.02 "
                             "for THRU default, else 0)")
    parser.add_argument("--rj", type=float, default=None, metavar="UI",
                        help="random jitter, rms, UI (default: 0.01 for THRU default, else 0)")
    parser.add_argument("--eh-min", type=float, default=0.0, metavar="MV",
                        help="required eye height, mV: margin = EH - EH_MIN (default: 0)")
    parser.add_argument("--bin-mv", type=float, default=None, metavar="MV",
                        help="amplitude lattice of the search and the winner's eye, mV "
                             "(default: the smallest peak of the received pulses over the CTLE "
                             "settings / 1000)")
    parser.add_argument("--search-bin-mv", type=float, default=None, metavar="MV",
                        help="a lattice of the search's own, mV (e.g. coarser for a large "
                             "grid; the winner's eye is then recomputed on --bin-mv) "
                             "(default: --bin-mv)")
    parser.add_argument("--threads", type=int, default=0, metavar="N",
                        help="worker threads (default: 0, one per core)")
    parser.add_argument("--json", default=None, metavar="OUT",
                        help="write every figure, with units and conventions, to this JSON file")
    parser.add_argument("--plots", default=None, metavar="DIR",
                        help="write eye_statistical.png, eye_bathtubs.png, eye_pulse.png and "
                             "eye_loss.png into this folder (made if missing)")


@command("link", "statistical eye of a link after an equaliser search: eye heights, widths "
                 "and margins", _options)
def _link(args) -> int:
    run = run_link(args)
    plots = None
    if args.plots:
        start = time.perf_counter()
        plots = _plot(run, args.plots)
        run.timings_s["plots_s"] = time.perf_counter() - start
    if args.json:
        from ._files import atomic_write_text

        start = time.perf_counter()
        text = json.dumps(link_report(run, plots), indent=2, allow_nan=False) + "\n"
        atomic_write_text(args.json, text)
        run.timings_s["json_s"] = time.perf_counter() - start
    _print(run, plots, args.json)
    return EXIT_OK
