"""``zefra-tdr pulse``: a channel's equalised pulse response, its cursors
and the diagnostics of the pipeline (docs/pulse.md)."""

from __future__ import annotations

import argparse
import json
import math

from .cli import EXIT_OK, _frequency, command

# Cursors printed around the main one (the JSON holds them all).
_SHOWN_PRE, _SHOWN_POST = 3, 12


def _numbers(text: str, option: str, count: int | None = None) -> list[float]:
    try:
        values = [float(v) for v in text.split(",") if v.strip()]
    except ValueError:
        raise ValueError(f"{option} {text!r}: expected comma-separated numbers") from None
    if not values or (count is not None and len(values) != count):
        size = f"{count} " if count is not None else ""
        raise ValueError(f"{option} {text!r}: expected {size}comma-separated numbers")
    return values


def port_map(text: str):
    """--port-map: "I,O" (a single-ended through from port I to port O) or
    "P,N:P,N" (a differential through from the input pair to the output
    pair); returns (ports, pairs)."""
    try:
        if ":" in text:
            into, out = text.split(":")
            pairs = tuple(tuple(int(p) for p in side.split(",")) for side in (into, out))
            if any(len(pair) != 2 for pair in pairs):
                raise ValueError
            return None, pairs
        ports = tuple(int(p) for p in text.split(","))
        if len(ports) != 2:
            raise ValueError
        return ports, None
    except ValueError:
        raise ValueError(f"--port-map {text!r}: expected IN,OUT (single-ended, e.g. 1,2) or "
                         "P,N:P,N (differential pairs, e.g. 1,2:3,4)") from None


def ctle_option(text: str):
    """--ctle DC_DB,ZERO,POLE1,POLE2 (frequencies in Hz or with a unit)."""
    from .equalized import CtleSetting

    parts = text.split(",")
    try:
        if len(parts) != 4:
            raise ValueError
        return CtleSetting(float(parts[0]), *(_frequency(p) for p in parts[1:]))
    except ValueError:
        raise ValueError(f"--ctle {text!r}: expected DC_GAIN_DB,ZERO,POLE1,POLE2 such as "
                         "-6,8GHz,26GHz,60GHz") from None


def _dc_option(text: str):
    if text in ("auto", "data", "extrapolate", "ac"):
        return text
    try:
        return float(text)
    except ValueError:
        raise ValueError(f"--dc {text!r}: expected auto, data, extrapolate, ac or the value of "
                         "H(0)") from None


def _options(parser: argparse.ArgumentParser) -> None:
    parser.add_argument("file", metavar="FILE", help="Touchstone file of the channel")
    parser.add_argument("--baud", required=True, type=float, metavar="HZ",
                        help="symbol rate, Hz (e.g. 53.125e9)")
    parser.add_argument("--samples-per-ui", type=int, default=32, metavar="N",
                        help="time samples per UI (default: 32)")
    parser.add_argument("--port-map", default=None, metavar="MAP",
                        help="the through: IN,OUT (single-ended, e.g. 1,2) or P,N:P,N "
                             "(differential pairs in:out, e.g. 1,2:3,4); default 1,2 for a "
                             "2-port")
    parser.add_argument("--order", choices=("1-3/2-4", "1-2/3-4"), default=None,
                        help="differential through of a 4-port by its numbering: 1-3/2-4 "
                             "(lines 1 to 3 and 2 to 4) or 1-2/3-4")
    parser.add_argument("--zs", type=float, default=None, metavar="OHM",
                        help="source resistance (default: the port's reference, 2 z0 for a "
                             "differential through)")
    parser.add_argument("--zl", type=float, default=None, metavar="OHM",
                        help="load resistance, or inf for an open load (default: the "
                             "reference)")
    parser.add_argument("--cs", type=float, default=0.0, metavar="F",
                        help="source pad capacitance, F (default: 0)")
    parser.add_argument("--cl", type=float, default=0.0, metavar="F",
                        help="load pad capacitance, F (default: 0)")
    parser.add_argument("--dc", default="auto", metavar="POLICY",
                        help="H(0): auto, data, extrapolate, ac, or a number (default: auto)")
    parser.add_argument("--dc-resistance", type=float, default=None, metavar="OHM",
                        help="H(0) from the channel's series DC resistance, ohms")
    parser.add_argument("--span", type=float, default=None, metavar="NS",
                        help="response length, ns (default: 1 / the data's frequency step)")
    parser.add_argument("--window", choices=("none", "raised-cosine", "kaiser"), default="none",
                        help="window over the spectrum (default: none)")
    parser.add_argument("--rx", default=None, metavar="ORDER,BW",
                        help="receiver Butterworth low-pass: order and -3 dB frequency "
                             "(e.g. 4,40GHz)")
    parser.add_argument("--ctle", default=None, metavar="DC_DB,FZ,FP1,FP2",
                        help="CTLE: gain at 0 Hz (dB), zero and two poles (e.g. "
                             "-6,8GHz,26GHz,60GHz)")
    parser.add_argument("--ffe", default=None, metavar="C,C,...",
                        help="Tx FFE taps, one per UI (main tap: the largest, or --ffe-main)")
    parser.add_argument("--ffe-main", type=int, default=None, metavar="I",
                        help="index of the FFE's main tap (from 0)")
    parser.add_argument("--sampling", choices=("peak", "hula-hoop"), default="peak",
                        help="how the sampling centre is chosen (default: peak)")
    dfe_options(parser, default_taps=0)
    parser.add_argument("--json", default=None, metavar="OUT",
                        help="write every figure, with units, to this JSON file")
    parser.add_argument("--plot", default=None, metavar="OUT",
                        help="write the pulse with its cursors to this image (.png, .svg)")


def dfe_options(parser: argparse.ArgumentParser, *, default_taps: int) -> None:
    """--dfe, --dfe-floating and --dfe-limit (shared with zefra-tdr link)."""
    parser.add_argument("--dfe", type=int, default=default_taps, metavar="N",
                        help=f"fixed DFE taps on post-cursors 1..N (default: {default_taps})")
    parser.add_argument("--dfe-floating", default=None, metavar="G,L,START,END",
                        help="floating DFE: G groups of L taps placed in post-cursors "
                             "START..END (default: none)")
    parser.add_argument("--dfe-limit", type=float, default=1.0, metavar="R",
                        help="largest DFE tap as a fraction of the main cursor (default: 1)")


def floating_option(text: str | None):
    """--dfe-floating G,L,START,END as a dict of whole numbers (None: absent)."""
    if text is None:
        return None
    values = _numbers(text, "--dfe-floating", 4)
    if not all(v.is_integer() for v in values):
        raise ValueError(f"--dfe-floating {text!r}: expected four whole numbers "
                         "G,L,START,END")
    g, l_, start, end = (int(v) for v in values)
    return {"groups": g, "taps_per_group": l_, "search_start": start, "search_end": end}


def _rx(text: str | None):
    if text is None:
        return 0, None
    parts = text.split(",")
    try:
        if len(parts) != 2:
            raise ValueError
        return int(parts[0]), _frequency(parts[1])
    except ValueError:
        raise ValueError(f"--rx {text!r}: expected ORDER,BANDWIDTH such as 4,40GHz") from None


def run_pulse(args):
    """The pulse response and equalised cursors the options ask for."""
    from .equalized import equalize
    from .pulse import pulse_response
    from .touchstone import read_touchstone

    # Every option is checked before the file is read.
    ports, pairs = port_map(args.port_map) if args.port_map is not None else (None, None)
    rx_order, rx_bw = _rx(args.rx)
    ctle = ctle_option(args.ctle) if args.ctle is not None else None
    ffe = _numbers(args.ffe, "--ffe") if args.ffe is not None else None
    floating = floating_option(args.dfe_floating)
    dc = _dc_option(args.dc)
    network = read_touchstone(args.file)
    response = pulse_response(
        network, baud_hz=args.baud, samples_per_ui=args.samples_per_ui, ports=ports,
        pairs=pairs, order=args.order, source_ohm=args.zs, load_ohm=args.zl,
        source_pad_f=args.cs, load_pad_f=args.cl, dc=dc,
        dc_resistance_ohm=args.dc_resistance,
        span_s=None if args.span is None else args.span * 1e-9, window=args.window,
        rx_order=rx_order, rx_bandwidth_hz=rx_bw)
    eq = equalize(response, ctle=ctle, ffe=ffe, ffe_main=args.ffe_main,
                  sampling=args.sampling, dfe_taps=args.dfe, dfe_floating=floating,
                  dfe_limit=args.dfe_limit)
    return network, response, eq


def report(response, eq) -> dict:
    """Every figure of a run, with units in the key names."""
    d = response.diagnostics
    before, after = eq.dfe.before, eq.dfe.after
    return {
        "baud_hz": response.baud_hz,
        "samples_per_ui": response.samples_per_ui,
        "sampling": {"method": before.method, "main_index": before.main_index,
                     "centre_ui": before.centre_ui, "threshold_v": before.threshold},
        "cursors_before_dfe_v": {"pre": before.pre, "values": before.values.tolist()},
        "cursors_after_dfe_v": {"pre": after.pre, "values": after.values.tolist()},
        "dfe": {"positions": [int(p) for p in eq.dfe.positions],
                "weights": [float(w) for w in eq.dfe.weights]},
        "ctle": eq.ctle.as_dict() if eq.ctle is not None else None,
        "ffe_taps": list(eq.ffe_taps),
        "diagnostics": d.as_dict(),
        "warnings": d.warnings(),
        "conventions": {
            "pulse": "V per V of source EMF, response to a 1-UI rectangle starting at t = 0",
            "cursors": "h_k = pulse(t_c + k UI), k from -pre; ideal DFE, error propagation "
                       "ignored",
        },
    }


def _print(response, eq) -> None:
    d = response.diagnostics
    before, after = eq.dfe.before, eq.dfe.after
    print(f"sampling: {before.method}, centre at {before.centre_ui:.4f} UI "
          f"(t = {response.t[before.main_index] * 1e9:.4f} ns)")
    print(f"{'cursor':>7} {'before DFE (V)':>15} {'after DFE (V)':>15}")
    for k in range(-min(before.pre, _SHOWN_PRE), min(before.post, _SHOWN_POST) + 1):
        print(f"{k:>7} {before.values[before.pre + k]:>15.6g} "
              f"{after.values[after.pre + k]:>15.6g}")
    print(f"DC: H(0) = {d.dc_value:.6g} ({d.dc_policy}); bulk delay {d.bulk_delay_s * 1e9:.4g} ns")
    print(f"band: {d.band_start_hz / 1e9:.4g} to {d.band_edge_hz / 1e9:.4g} GHz, roll-off "
          f"{d.rolloff_hz / 1e9:.4g} GHz, extrapolated {d.extrapolated_fraction:.3g} of the energy")
    span = "default: 1 / data step" if d.span_is_default else "given"
    print(f"span {d.span_s * 1e9:.4g} ns ({span}), {d.fft_size} samples of "
          f"{d.dt_s * 1e12:.4g} ps; window {d.window}")
    print(f"non-causal energy {d.noncausal_fraction:.3g}; energy at the window's end "
          f"{d.tail_fraction:.3g}; sigma_max {d.sigma_max:.6g}")
    for line in d.warnings():
        print(f"warning: {line}")


@command("pulse", "equalised pulse response of a channel: cursors and diagnostics", _options)
def _pulse(args) -> int:
    if not (args.baud > 0 and math.isfinite(args.baud)):
        raise ValueError(f"--baud {args.baud!r}: expected a symbol rate > 0 Hz")
    _, response, eq = run_pulse(args)
    _print(response, eq)
    if args.json:
        from ._files import atomic_write_text

        atomic_write_text(args.json, json.dumps(report(response, eq), indent=2) + "\n")
        print(f"{args.json}: written")
    if args.plot:
        from .plots_time import save_pulse_plot

        save_pulse_plot(response, eq, args.plot)
        print(f"{args.plot}: written")
    return EXIT_OK
