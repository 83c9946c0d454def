#!/usr/bin/env python3
"""Checks the sibling module and how the main library depends on it.

- the sibling exports exactly the names of its module definition (and its
  version script and header agree);
- the main library imports zefra_interp_Sparam_C and names the sibling as a
  needed library;
- a copy of the main library without the sibling beside it fails to load,
  and loads once the sibling is placed next to it.

usage: check_sibling.py MAIN_LIBRARY SIBLING_LIBRARY SIBLING_DEF SIBLING_MAP SIBLING_HEADER
"""
import os
import re
import shutil
import subprocess
import sys
import tempfile

sys.path.insert(0, os.path.dirname(__file__))
from check_exports import (  # noqa: E402
    def_exports,
    dynamic_symbols,
    header_exports,
    version_script_exports,
)


def undefined_symbols(library):
    out = subprocess.run(["nm", "-D", "--undefined-only", library],
                         check=True, capture_output=True, text=True).stdout
    return {line.split()[-1].split("@")[0] for line in out.splitlines() if line.strip()}


def needed_libraries(library):
    out = subprocess.run(["readelf", "-d", library], check=True, capture_output=True,
                         text=True).stdout
    return re.findall(r"\(NEEDED\)\s+Shared library: \[([^\]]+)\]", out)


def loads(path):
    # A fresh process, so that nothing already loaded satisfies the import.
    code = f"import ctypes; ctypes.CDLL({path!r})"
    return subprocess.run([sys.executable, "-c", code], capture_output=True, text=True)


def main():
    main_lib, sibling, def_file, map_file, header = sys.argv[1:6]
    failures = []
    expected = def_exports(def_file)
    if expected != ["zefra_interp_Sparam_C"]:
        failures.append(f"module definition lists {expected}")
    for label, names in (("version script", version_script_exports(map_file)),
                         ("header", header_exports(header, "ZEFRA_INTERP_SPARAM_API")),
                         ("sibling symbol table", dynamic_symbols(sibling))):
        if sorted(names) != sorted(expected):
            failures.append(f"{label} lists {sorted(names)}")
    if "zefra_interp_Sparam_C" not in undefined_symbols(main_lib):
        failures.append("main library does not import zefra_interp_Sparam_C")
    sibling_name = os.path.basename(sibling)
    if sibling_name not in needed_libraries(main_lib):
        failures.append(f"main library does not need {sibling_name}")

    with tempfile.TemporaryDirectory() as folder:
        alone = os.path.join(folder, os.path.basename(main_lib))
        shutil.copy2(main_lib, alone)
        result = loads(alone)
        if result.returncode == 0:
            failures.append("main library loaded without its sibling")
        elif sibling_name not in result.stderr:
            failures.append(f"load failure does not name the sibling: {result.stderr.strip()}")
        shutil.copy2(sibling, os.path.join(folder, sibling_name))
        result = loads(alone)
        if result.returncode != 0:
            failures.append(f"main library did not load next to its sibling: {result.stderr}")

    for failure in failures:
        print("FAIL:", failure)
    print("sibling exports zefra_interp_Sparam_C only; the main library needs it to load")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
