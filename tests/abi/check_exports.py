#!/usr/bin/env python3
"""Checks the shared library's dynamic symbol table against the export list.

The Windows module-definition file is the list of exports.  The Linux version
script, the public header and the library's real symbol table (nm -D
--defined-only) must name exactly the same functions, unmangled, and the
library must define no other symbol of its own.

usage: check_exports.py LIBRARY DEF_FILE VERSION_SCRIPT HEADER
"""
import re
import subprocess
import sys


def def_exports(path):
    names, in_exports = [], False
    for line in open(path, encoding="utf-8"):
        line = line.split(";")[0].strip()
        if not line:
            continue
        if line.upper() == "EXPORTS":
            in_exports = True
        elif in_exports:
            names.append(line.split()[0])
    return names


def version_script_exports(path):
    text = open(path, encoding="utf-8").read()
    body = text.split("global:")[1].split("local:")[0]
    return [n.strip() for n in body.split(";") if n.strip()]


def header_exports(path, macro="ZEFRA_API"):
    """Names of the functions a header declares with the export macro."""
    text = open(path, encoding="utf-8").read()
    return re.findall(macro + r"\s+[\w\s\*]+?\b(\w+)\s*\(", text)


def dynamic_symbols(library):
    out = subprocess.run(["nm", "-D", "--defined-only", library],
                         check=True, capture_output=True, text=True).stdout
    return [line.split()[-1] for line in out.splitlines() if line.strip()]


def main():
    library, def_file, version_script, header = sys.argv[1:5]
    expected = def_exports(def_file)
    failures = []
    if len(set(expected)) != len(expected):
        failures.append(f"duplicate names in {def_file}")
    for label, names in (("version script", version_script_exports(version_script)),
                         ("public header", header_exports(header))):
        if sorted(names) != sorted(expected):
            failures.append(f"{label} lists {sorted(names)}, module definition {sorted(expected)}")
    symbols = dynamic_symbols(library)
    if sorted(symbols) != sorted(expected):
        extra = sorted(set(symbols) - set(expected))
        missing = sorted(set(expected) - set(symbols))
        failures.append(f"library exports extra {extra}, misses {missing}")
    mangled = [s for s in symbols if s.startswith("_Z") or "@" in s]
    if mangled:
        failures.append(f"decorated or mangled symbols: {mangled}")
    for failure in failures:
        print("FAIL:", failure)
    print(f"{len(expected)} exports checked: {', '.join(expected)}")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
