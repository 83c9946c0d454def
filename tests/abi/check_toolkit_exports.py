#!/usr/bin/env python3
"""Checks the toolkit library's dynamic symbol table against its header.

Every function the header declares with ZEFRA_TK_API is exported unmangled,
and the library defines no other symbol of its own (the kernels it links
stay hidden), and every export carries the toolkit's prefix zefra_tk_.

usage: check_toolkit_exports.py LIBRARY HEADER
"""
import re
import subprocess
import sys


def header_functions(path):
    text = open(path, encoding="utf-8").read()
    return re.findall(r"ZEFRA_TK_API\s+[\w\s\*]+?\b(\w+)\s*\(", text)


def dynamic_symbols(library):
    out = subprocess.run(["nm", "-D", "--defined-only", library],
                         check=True, capture_output=True, text=True).stdout
    return [line.split()[-1] for line in out.splitlines() if line.strip()]


def main():
    library, header = sys.argv[1:3]
    declared = header_functions(header)
    symbols = dynamic_symbols(library)
    failures = []
    if not declared:
        failures.append(f"{header} declares no ZEFRA_TK_API function")
    if sorted(symbols) != sorted(declared):
        failures.append(f"library exports extra {sorted(set(symbols) - set(declared))}, "
                        f"misses {sorted(set(declared) - set(symbols))}")
    unprefixed = [name for name in declared if not name.startswith("zefra_tk_")]
    if unprefixed:
        failures.append(f"functions without the zefra_tk_ prefix: {unprefixed}")
    for failure in failures:
        print("FAIL:", failure)
    print(f"{len(declared)} toolkit functions checked: {', '.join(declared)}")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
