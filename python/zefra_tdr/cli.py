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

__all__ = ["COMMANDS", "command", "main"]

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


def _parser() -> argparse.ArgumentParser:
    parser = argparse.ArgumentParser(
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


def main(argv: list[str] | None = None) -> int:
    """Run the command line ``argv`` (default ``sys.argv[1:]``); return the
    exit status."""
    parser = _parser()
    args = parser.parse_args(argv)
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
        print(f"zefra-tdr: error: {exc}".splitlines()[0], file=sys.stderr)
        return EXIT_BAD_INPUT


if __name__ == "__main__":
    sys.exit(main())
