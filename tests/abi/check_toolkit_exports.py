#!/usr/bin/env python3
"""Checks the toolkit library's dynamic symbol table against its header.

Every function the header declares with ZEFRA_TK_API is exported unmangled,
and the library defines no other symbol of its own (the kernels it links
stay hidden), and every export carries the toolkit's prefix zefra_tk_.

usage: check_toolkit_exports.py LIBRARY HEADER...
"""
import os
import sys

sys.path.insert(0, os.path.dirname(__file__))
from check_exports import dynamic_symbols, header_exports  # noqa: E402


def main():
    library, headers = sys.argv[1], sys.argv[2:]
    declared = [name for header in headers for name in header_exports(header, "ZEFRA_TK_API")]
    symbols = dynamic_symbols(library)
    failures = []
    if not declared:
        failures.append(f"{headers} declare no ZEFRA_TK_API function")
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
