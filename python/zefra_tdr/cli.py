"""The ``zefra-tdr`` command: a thin layer over the Python API.

Every command is a function of the package that can be called from Python;
this module only parses options, prints and maps errors to exit statuses:

* 0: success;
* 2: bad input (a bad file, option or value) or a library that cannot be
  loaded: one line on stderr, a traceback only with ``--debug``.

Commands register themselves in :data:`COMMANDS` with :func:`command`.
"""

from __future__ import annotations

import argparse
import json
import sys
from collections.abc import Callable

from . import _library

__all__ = ["COMMANDS", "command", "main", "parse_command"]

#: name -> (help line, function adding the options, function running it).
COMMANDS: dict[str, tuple[str, Callable, Callable]] = {}

EXIT_OK = 0
EXIT_BAD_INPUT = 2


def command(name: str, help_line: str, add_options: Callable):
    """Register ``run(args) -> int | None`` as the command ``name``."""

    def register(run: Callable) -> Callable:
        COMMANDS[name] = (help_line, add_options, run)
        return run

    return register


def _version_options(parser: argparse.ArgumentParser) -> None:
    parser.add_argument("--json", action="store_true",
                        help="print a JSON object instead of text (default: text)")


@command("version", "print the version and the libraries in use", _version_options)
def _version(args) -> int:
    from . import __version__

    info = {
        "version": __version__,
        "toolkit_library": _library.TOOLKIT.load()._name,
        "helpers_library": _library.HELPERS.load()._name,
    }
    if args.json:
        print(json.dumps(info, indent=2))
    else:
        print(f"zefra-tdr {info['version']}")
        print(f"toolkit library: {info['toolkit_library']}")
        print(f"helpers library: {info['helpers_library']}")
    return EXIT_OK


def _error_line(exc: BaseException) -> str:
    return f"zefra-tdr: error: {exc}".splitlines()[0]


def _info_options(parser: argparse.ArgumentParser) -> None:
    parser.add_argument("files", nargs="+", metavar="FILE",
                        help="Touchstone files (.sNp, .ts; versions 1 and 2)")
    parser.add_argument("--json", action="store_true",
                        help="print a JSON list with one object per file instead of text "
                             "(default: text); frequencies in Hz (keys ending in _hz), "
                             "references in ohms (_ohm)")


def _ghz(f_hz: float | None) -> str:
    return "-" if f_hz is None else f"{f_hz / 1e9:.9g} GHz"


def _info_text(facts: dict) -> str:
    z0 = facts["z0_ohm"]
    references = (f"{z0[0]:.12g} ohm, every port" if len(set(z0)) == 1
                  else ", ".join(f"{r:.12g}" for r in z0) + " ohm")
    sigma, asymmetry = facts["max_singular_value"], facts["reciprocity_error"]
    lines = [
        facts["file"],
        f"  file:        version {facts['file_version']}, {facts['file_parameter']} parameters, "
        f"{facts['file_format']}, {facts['file_unit']}",
        f"  ports:       {facts['ports']}",
        f"  points:      {facts['points']}, {_ghz(facts['f_start_hz'])} .. "
        f"{_ghz(facts['f_stop_hz'])}",
        f"  references:  {references}",
        f"  noise:       {facts['noise_points']} points",
    ]
    if facts["mixed_mode_order"]:
        lines.append(f"  mixed mode:  {' '.join(facts['mixed_mode_order'])}")
    lines += [
        "  passivity:   largest singular value of S "
        + ("-" if sigma is None else f"{sigma:.6g} at {_ghz(facts['max_singular_value_f_hz'])}")
        + " (at most 1 for a passive network)",
        "  reciprocity: max |S - S^T| "
        + ("-" if asymmetry is None
           else f"{asymmetry:.3g} at {_ghz(facts['reciprocity_error_f_hz'])}")
        + " (0 for a reciprocal network)",
        f"  warnings:    {len(facts['warnings'])}",
        *[f"    {w}" for w in facts["warnings"]],
    ]
    return "\n".join(lines)


@command("info", "describe Touchstone files: size, band, references, passivity, reciprocity",
         _info_options)
def _info(args) -> int:
    from .touchstone import info

    described, status = [], EXIT_OK
    for path in args.files:
        try:
            described.append(info(path))
        except (ValueError, OSError) as exc:
            if args.debug:
                raise
            print(_error_line(exc), file=sys.stderr)
            status = EXIT_BAD_INPUT
    if args.json:
        print(json.dumps(described, indent=2))
    elif described:
        print("\n\n".join(_info_text(facts) for facts in described))
    return status


def _convert_options(parser: argparse.ArgumentParser) -> None:
    parser.add_argument("source", metavar="IN", help="Touchstone file to read")
    parser.add_argument("target", metavar="OUT",
                        help="Touchstone file to write (replaced in one step if it exists); "
                             "a name ending in .sNp must carry the port count")
    parser.add_argument("--fmt", choices=("ri", "ma", "db"), default="ri",
                        help="number format: ri real/imaginary, ma magnitude/angle in degrees, "
                             "db 20 log10|S| in dB/angle in degrees (default: ri)")
    parser.add_argument("--unit", choices=("hz", "khz", "mhz", "ghz"), default="ghz",
                        help="frequency unit (default: ghz); frequencies always read back "
                             "exactly, so a smaller unit is taken when one of them would not")
    parser.add_argument("--version", type=int, choices=(1, 2), default=None,
                        dest="file_version",
                        help="Touchstone version (default: 1 when every port has the same "
                             "reference and OUT ends in .sNp, else 2)")
    parser.add_argument("--digits", type=int, default=None, metavar="N",
                        help="significant digits of the values, 1 to 17 (default: the "
                             "shortest that read back to the same number, exact for ri)")


@command("convert", "rewrite a Touchstone file in another format, unit or version",
         _convert_options)
def _convert(args) -> int:
    from .touchstone import convert_touchstone

    convert_touchstone(args.source, args.target, fmt=args.fmt, unit=args.unit,
                       version=args.file_version, digits=args.digits)
    return EXIT_OK


_UNITS = {"hz": 1.0, "khz": 1e3, "mhz": 1e6, "ghz": 1e9}


def _frequency(text: str) -> float:
    """A frequency such as 2.5e9, 10MHz or 20 GHz, in Hz."""
    stripped = text.strip()
    lowered = stripped.lower()
    for unit in ("khz", "mhz", "ghz", "hz"):
        if lowered.endswith(unit):
            return float(stripped[:-len(unit)]) * _UNITS[unit]
    return float(stripped)


def grid_option(text: str):
    """The --grid of a command: "common", START:STOP:STEP (Hz, or with a unit:
    10MHz:20GHz:10MHz; STOP included when it falls on the step), or a
    Touchstone file whose frequencies are taken."""
    if text == "common":
        return "common"
    if text.count(":") == 2:
        try:
            start, stop, step = (_frequency(part) for part in text.split(":"))
        except ValueError:
            raise ValueError(f"--grid {text!r}: expected START:STOP:STEP frequencies such as "
                             "10MHz:20GHz:10MHz") from None
        if not (step > 0 and stop >= start >= 0):
            raise ValueError(f"--grid {text!r}: expected 0 <= START <= STOP and STEP > 0")
        import numpy as np

        count = int(np.floor((stop - start) / step + 1e-9)) + 1
        return start + step * np.arange(count, dtype=np.float64)
    import os

    if not os.path.isfile(text):
        raise ValueError(f"--grid {text!r}: expected common, START:STOP:STEP or a Touchstone "
                         "file")
    from .touchstone import read_touchstone

    return read_touchstone(text).f


def _cascade_options(parser: argparse.ArgumentParser) -> None:
    parser.add_argument("files", nargs="+", metavar="FILE",
                        help="Touchstone files of 2N-ports, left to right: ports N+1..2N of "
                             "each joined to ports 1..N of the next (2-ports: port 2 to port 1)")
    parser.add_argument("-o", "--output", required=True, metavar="OUT",
                        help="Touchstone file to write (replaced in one step if it exists)")
    parser.add_argument("--grid", default="common", metavar="GRID",
                        help="frequencies of the result when the files' grids differ: "
                             "'common' (default: the intersection of the bands at the finest "
                             "step), START:STOP:STEP (Hz, or with units: 10MHz:20GHz:10MHz), "
                             "or a Touchstone file whose frequencies are taken")
    parser.add_argument("--extrapolate", action="store_true",
                        help="allow grid points outside a file's band (default: an error)")
    parser.add_argument("--fmt", choices=("ri", "ma", "db"), default="ri",
                        help="number format of OUT (default: ri)")


@command("cascade", "cascade Touchstone files left to right into one", _cascade_options)
def _cascade(args) -> int:
    from .cascading import cascade
    from .touchstone import read_touchstone, write_touchstone

    if len(args.files) < 2:
        raise ValueError(f"cascade needs at least two files, got {len(args.files)}")
    networks = [read_touchstone(path) for path in args.files]
    result = cascade(*networks, grid=grid_option(args.grid), extrapolate=args.extrapolate)
    write_touchstone(result, args.output, fmt=args.fmt)
    print(f"{args.output}: {result.nports} ports, {result.nfreq} points, "
          f"{result.f[0] / 1e9:.6g} to {result.f[-1] / 1e9:.6g} GHz")
    return EXIT_OK


def _model_grid_options(parser: argparse.ArgumentParser) -> None:
    parser.add_argument("-o", "--output", required=True, metavar="OUT",
                        help="Touchstone file to write (.s2p)")
    parser.add_argument("--grid", default="0:50GHz:50MHz", metavar="START:STOP:STEP",
                        help="frequencies, Hz or with units (default: 0:50GHz:50MHz), or a "
                             "Touchstone file whose frequencies are taken")
    parser.add_argument("--z-ref", type=float, default=50.0, metavar="OHM",
                        help="reference of both ports, ohms (default: 50)")
    parser.add_argument("--z-line", type=float, default=50.0, metavar="OHM",
                        help="the line's characteristic impedance, ohms (default: 50)")
    parser.add_argument("--delay", type=float, default=0.0667, metavar="NS",
                        help="delay per unit length, ns (default: 0.0667, about 6.7 ps/mm "
                             "of a stripline)")
    parser.add_argument("--loss", type=float, nargs=3, default=(0.0, 0.0, 0.0),
                        metavar=("A0", "A1", "A2"),
                        help="loss per unit length, nepers: constant, per sqrt(GHz), per GHz "
                             "(default: 0 0 0)")


def _grid_of(text: str):
    grid = grid_option(text)
    if isinstance(grid, str):
        raise ValueError("--grid 'common' needs files to cascade; give START:STOP:STEP")
    return grid


def _tline_options(parser: argparse.ArgumentParser) -> None:
    parser.add_argument("--length", type=float, required=True,
                        help="line length, in the unit of --delay and --loss")
    _model_grid_options(parser)


@command("tline", "write the 2-port of a lossy transmission line", _tline_options)
def _tline(args) -> int:
    from .builders import line
    from .touchstone import write_touchstone

    net = line(_grid_of(args.grid), length=args.length, delay_ns_per_unit=args.delay,
               z_line_ohm=args.z_line, z_ref_ohm=args.z_ref, loss_np_per_unit=args.loss)
    write_touchstone(net, args.output)
    print(f"{args.output}: line of {args.length:g} units, {net.nfreq} points")
    return EXIT_OK


def _package_options(parser: argparse.ArgumentParser) -> None:
    parser.add_argument("--c-in", type=float, default=0.2e-12, metavar="F",
                        help="input shunt capacitance, F (default: 0.2e-12)")
    parser.add_argument("--c-out", type=float, default=0.2e-12, metavar="F",
                        help="output shunt capacitance, F (default: 0.2e-12)")
    parser.add_argument("--l-series", type=float, default=0.0, metavar="H",
                        help="series inductance, H (default: 0, left out)")
    parser.add_argument("--c-mid", type=float, default=0.0, metavar="F",
                        help="middle shunt capacitance, F (default: 0, left out)")
    parser.add_argument("--length", type=float, default=1.0,
                        help="package trace length, in the unit of --delay (default: 1)")
    _model_grid_options(parser)


@command("package", "write the 2-port of an IC package path", _package_options)
def _package(args) -> int:
    from .builders import package
    from .touchstone import write_touchstone

    net = package(_grid_of(args.grid), c_in_f=args.c_in, c_out_f=args.c_out,
                  line_length=args.length, delay_ns_per_unit=args.delay,
                  z_line_ohm=args.z_line, z_ref_ohm=args.z_ref, loss_np_per_unit=args.loss,
                  l_series_h=args.l_series, c_mid_f=args.c_mid)
    write_touchstone(net, args.output)
    print(f"{args.output}: package, {net.nfreq} points")
    return EXIT_OK


def _mixed_mode_options(parser: argparse.ArgumentParser) -> None:
    parser.add_argument("source", metavar="IN", help="Touchstone file of a single-ended 2N-port")
    parser.add_argument("-o", "--output", required=True, metavar="OUT",
                        help="Touchstone file to write: ports 1..N the differential modes, "
                             "N+1..2N the common modes, on references 2 z0 and z0/2")
    parser.add_argument("--order", choices=("1-3/2-4", "1-2/3-4"), default=None,
                        help="numbering of a 4-port: 1-3/2-4 (lines 1 to 3 and 2 to 4: pairs "
                             "(1,2) and (3,4)) or 1-2/3-4 (lines 1 to 2 and 3 to 4: pairs (1,3) "
                             "and (2,4)); required unless --pairs is given")
    parser.add_argument("--pairs", default=None, metavar="P,N;P,N...",
                        help="the pairs explicitly, positive port first: 1,2;3,4")
    parser.add_argument("--fmt", choices=("ri", "ma", "db"), default="ri",
                        help="number format of OUT (default: ri)")


@command("mixed-mode", "convert a single-ended Touchstone file to mixed-mode S-parameters",
         _mixed_mode_options)
def _mixed_mode(args) -> int:
    from .touchstone import read_touchstone, write_touchstone

    pairs = None
    if args.pairs is not None:
        try:
            pairs = [tuple(int(p) for p in pair.split(",")) for pair in args.pairs.split(";")]
        except ValueError:
            raise ValueError(f"--pairs {args.pairs!r}: expected P,N;P,N... port numbers") \
                from None
    mixed = read_touchstone(args.source).to_mixed_mode(pairs=pairs, order=args.order)
    modes = [f"D{k + 1}=({p},{n})" for k, (p, n) in enumerate(mixed.pairs)]
    modes += [f"C{k + 1}=({p},{n})" for k, (p, n) in enumerate(mixed.pairs)]
    network = mixed.to_network(
        comments=["mixed-mode S-parameters; ports in order: " + " ".join(modes)])
    write_touchstone(network, args.output, fmt=args.fmt,
                     version=2 if not args.output.lower().endswith(".ts") else None)
    print(f"{args.output}: {' '.join(modes)}")
    return EXIT_OK


def _plot_options(parser: argparse.ArgumentParser) -> None:
    parser.add_argument("files", nargs="+", metavar="FILE", help="Touchstone files")
    parser.add_argument("--params", default="S21", metavar="LIST",
                        help="parameters by name, comma-separated: S21,S11 (ports from 1), "
                             "or SDD21,SDD11 for mixed mode (default: S21)")
    parser.add_argument("--kind", default="db", metavar="LIST",
                        help="panels, comma-separated: db (20 log10|S|), phase (degrees), "
                             "delay (group delay, ns) (default: db)")
    parser.add_argument("--order", choices=("1-3/2-4", "1-2/3-4"), default=None,
                        help="port numbering of single-ended 4-ports for mixed-mode names: "
                             "1-3/2-4 means lines 1 to 3 and 2 to 4")
    parser.add_argument("--size", default="1200x800", metavar="WxH",
                        help="image size in pixels (default: 1200x800)")
    parser.add_argument("-o", "--output", required=True, metavar="OUT",
                        help="image to write: .png, .svg or .pdf")


@command("plot", "plot S-parameters of Touchstone files against frequency", _plot_options)
def _plot(args) -> int:
    from .plots import save_plot
    from .touchstone import read_touchstone

    try:
        width, height = (int(v) for v in args.size.lower().split("x"))
    except ValueError:
        raise ValueError(f"--size {args.size!r}: expected WIDTHxHEIGHT in pixels") from None
    networks = [read_touchstone(path) for path in args.files]
    save_plot(networks, [p for p in args.params.split(",") if p], args.output,
              kinds=[k for k in args.kind.split(",") if k], order=args.order,
              size_px=(width, height))
    print(f"{args.output}: {args.params} of {len(networks)} file(s)")
    return EXIT_OK


# Commands kept in modules of their own register themselves on import.
from . import cli_pulse  # noqa: E402,F401  (zefra-tdr pulse)
from . import cli_link  # noqa: E402,F401  (zefra-tdr link)
from . import cli_sweep  # noqa: E402,F401  (zefra-tdr sweep)


class _RaisingParser(argparse.ArgumentParser):
    """A parser whose errors are ValueErrors (for command lines built by a
    program, such as a sweep's cases)."""

    def error(self, message):
        raise ValueError(f"{self.prog}: {message}")


def parse_command(argv: list[str]) -> argparse.Namespace:
    """The options of the command line ``argv`` (without the program name),
    as ``zefra-tdr`` parses them; a bad line raises ValueError."""
    return _parser(_RaisingParser).parse_args(_attach_negative_values(list(argv)))


def _parser(parser_class=argparse.ArgumentParser) -> argparse.ArgumentParser:
    parser = parser_class(
        prog="zefra-tdr",
        description="Signal-integrity and TDR analysis from the shell.",
        epilog="Exit status: 0 on success, 2 on bad input. "
               "'zefra-tdr COMMAND --help' describes each command.")
    parser.add_argument("--version", action="store_true",
                        help="print the version and exit")
    parser.add_argument("--debug", action="store_true",
                        help="show the full traceback of an error (default: one line)")
    commands = parser.add_subparsers(dest="command", metavar="COMMAND")
    for name, (help_line, add_options, _) in COMMANDS.items():
        sub = commands.add_parser(name, help=help_line, description=help_line[:1].upper()
                                  + help_line[1:] + ".")
        add_options(sub)
    return parser


def _attach_negative_values(argv: list[str]) -> list[str]:
    """"--ffe -0.1,0.8,-0.1" as "--ffe=-0.1,0.8,-0.1": argparse would take a
    value that starts with '-' and is not a plain number for an option.  No
    option of the command starts with '-' and a digit or a dot."""
    out: list[str] = []
    for word in argv:
        if (out and out[-1].startswith("--") and "=" not in out[-1] and len(word) > 1
                and word[0] == "-" and (word[1].isdigit() or word[1] == ".")):
            out[-1] = f"{out[-1]}={word}"
        else:
            out.append(word)
    return out


def main(argv: list[str] | None = None) -> int:
    """Run the command line ``argv`` (default ``sys.argv[1:]``); return the
    exit status."""
    parser = _parser()
    args = parser.parse_args(_attach_negative_values(sys.argv[1:] if argv is None else argv))
    try:
        if args.version:
            from . import __version__

            print(f"zefra-tdr {__version__}")
            return EXIT_OK
        if args.command is None:
            parser.print_help(sys.stderr)
            return EXIT_BAD_INPUT
        status = COMMANDS[args.command][2](args)
        return EXIT_OK if status is None else int(status)
    except (ValueError, OSError) as exc:
        if args.debug:
            raise
        print(_error_line(exc), file=sys.stderr)
        return EXIT_BAD_INPUT


if __name__ == "__main__":
    sys.exit(main())
