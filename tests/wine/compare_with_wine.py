#!/usr/bin/env python3
"""Checks the Windows DLLs against the Linux build, under Wine.

1. Export table of Zefra_TDR_Helpers.dll: exactly the names of the module
   definition, undecorated.  Import table: interp_Sparam.dll with
   zefra_interp_Sparam_C, otherwise only Windows system DLLs (no MinGW
   runtime DLL).  interp_Sparam.dll exports only zefra_interp_Sparam_C.
2. The host program, built for Windows and run under Wine, calls every
   export on fixed inputs; its output is compared with the Linux build's:
   identical bits for routines that call no C-library transcendental
   function, and at most MAX_ULPS units in the last place of the output
   array's largest magnitude for those that do (exp, log, pow, sin, cos,
   atan2 differ between C runtimes).
3. Without interp_Sparam.dll beside it, Zefra_TDR_Helpers.dll fails to load.
4. zefra_toolkit.dll exports only its C API (the zefra_tk_ functions,
   undecorated) and imports only Windows system DLLs and, for the pulse
   response's resampling, zefra_interp_Sparam_C from interp_Sparam.dll
   (shipped beside it).
5. Touchstone files read under Wine give the bits the Linux build gives:
   an RI file of several chunks and many batches (the file reading, the
   worker threads and the page blocks of the Windows code), and a file
   with an error deep in its data (the same message and line).
"""
import argparse
import math
import os
import re
import shutil
import struct
import subprocess
import sys
import tempfile

# Outputs computed through exp, log, pow, sin, cos or atan2, with the
# largest error allowed, in units in the last place of the largest
# magnitude of the output array (docs/windows.md gives the measured figures).
TRANSCENDENTAL = {
    "erfcinv": 4,
    "Butterworth_TF": 4,
    "GetButterworthTF": 4,
    "interp_Sparam": 4,
    "synth_tline": 4,
    "makePackage": 4,
    "td_ctle": 4,
}
SYSTEM_DLLS = {"kernel32.dll", "msvcrt.dll", "user32.dll", "advapi32.dll", "ntdll.dll"}
FORBIDDEN_DLLS = ("libstdc++", "libgcc", "libwinpthread")


def objdump(tool, dll):
    return subprocess.run([tool, "-p", dll], check=True, capture_output=True, text=True).stdout


def export_names(dump):
    section = dump.split("[Ordinal/Name Pointer] Table", 1)
    if len(section) < 2:
        return []
    return re.findall(r"^\s+\[\s*\d+\]\s+(\S+)\s*$", section[1], re.M)


def imported(dump):
    """{dll name: [function names]} from the import tables."""
    result, current = {}, None
    for line in dump.splitlines():
        match = re.match(r"\s+DLL Name: (\S+)", line)
        if match:
            current = match.group(1)
            result[current] = []
            continue
        match = re.match(r"\s+[0-9a-f]+\s+\d+\s+(\w+)", line)
        if current and match:
            result[current].append(match.group(1))
    return result


def def_exports(path):
    names, inside = [], False
    for line in open(path, encoding="utf-8"):
        line = line.split(";")[0].strip()
        if line.upper() == "EXPORTS":
            inside = True
        elif inside and line:
            names.append(line.split()[0])
    return names


def parse(output):
    values = {}
    for line in output.splitlines():
        parts = line.split()
        if len(parts) == 3 and re.fullmatch(r"[0-9a-f]{16}", parts[2]):
            key = (parts[0], int(parts[1]))
            values.setdefault(key, []).append(int(parts[2], 16))
    return values


def as_double(bits):
    return struct.unpack("<d", struct.pack("<Q", bits))[0]


def ulp(value):
    """Spacing of doubles at |value| (the smallest subnormal at 0)."""
    return math.ulp(value) if math.isfinite(value) else 5e-324


def run_wine(wine, exe, args, folder):
    env = dict(os.environ)
    env.setdefault("WINEDEBUG", "-all")
    env.setdefault("WINEPREFIX", os.path.join(os.path.dirname(exe), "..", "wineprefix"))
    return subprocess.run([wine, exe] + args, cwd=folder, capture_output=True, text=True,
                          env=env, timeout=300)


def main():
    ap = argparse.ArgumentParser()
    for name in ("wine", "objdump", "windows-host", "windows-dll", "sibling-dll", "def",
                 "native-host", "native-lib-dir", "toolkit-dll", "windows-touchstone-host",
                 "native-touchstone-host"):
        ap.add_argument("--" + name, required=True)
    a = ap.parse_args()
    failures, passed = [], 0

    def check(condition, message):
        nonlocal passed
        if condition:
            passed += 1
        else:
            failures.append(message)

    # 1. Export and import tables.
    dump = objdump(a.objdump, a.windows_dll)
    expected = def_exports(getattr(a, "def"))
    names = export_names(dump)
    check(sorted(names) == sorted(expected),
          f"DLL exports {sorted(set(names) ^ set(expected))} differ from the module definition")
    check(all(re.fullmatch(r"[A-Za-z_][A-Za-z0-9_]*", n) for n in names), f"decorated names: {names}")
    imports = imported(dump)
    check("zefra_interp_Sparam_C" in imports.get("interp_Sparam.dll", []),
          f"no import of zefra_interp_Sparam_C from interp_Sparam.dll: {imports}")
    others = {d.lower() for d in imports} - {"interp_sparam.dll"}
    check(others <= SYSTEM_DLLS, f"imports beyond the system DLLs: {sorted(others - SYSTEM_DLLS)}")
    check(not any(d.lower().startswith(FORBIDDEN_DLLS) for d in imports),
          f"MinGW runtime DLL imported: {sorted(imports)}")
    sibling = objdump(a.objdump, a.sibling_dll)
    check(export_names(sibling) == ["zefra_interp_Sparam_C"],
          f"interp_Sparam.dll exports {export_names(sibling)}")
    sibling_imports = {d.lower() for d in imported(sibling)}
    check(sibling_imports <= SYSTEM_DLLS, f"interp_Sparam.dll imports {sorted(sibling_imports)}")
    toolkit = objdump(a.objdump, a.toolkit_dll)
    toolkit_names = export_names(toolkit)
    check(toolkit_names and all(re.fullmatch(r"zefra_tk_[a-z0-9_]+", n) for n in toolkit_names),
          f"zefra_toolkit.dll exports {toolkit_names}")
    toolkit_imported = imported(toolkit)
    toolkit_imports = {d.lower() for d in toolkit_imported} - {"interp_sparam.dll"}
    check(toolkit_imports <= SYSTEM_DLLS, f"zefra_toolkit.dll imports {sorted(toolkit_imports)}")
    check(set(toolkit_imported.get("interp_Sparam.dll", [])) <= {"zefra_interp_Sparam_C"},
          f"zefra_toolkit.dll imports from interp_Sparam.dll: {toolkit_imported}")

    # 2. Every export under Wine against the Linux build.
    folder = os.path.dirname(os.path.abspath(a.windows_host))
    env = dict(os.environ, LD_LIBRARY_PATH=a.native_lib_dir)
    native = subprocess.run([a.native_host, "libZefra_TDR_Helpers.so"], capture_output=True,
                            text=True, env=env, timeout=300)
    check(native.returncode == 0, f"native host failed: {native.stdout[-500:]}{native.stderr[-500:]}")
    windows = run_wine(a.wine, os.path.abspath(a.windows_host), ["Zefra_TDR_Helpers.dll"], folder)
    check(windows.returncode == 0 and "done 0 missing" in windows.stdout,
          f"Windows host failed under Wine: {windows.stdout[-500:]}{windows.stderr[-500:]}")
    ours, theirs = parse(native.stdout), parse(windows.stdout)
    check(set(ours) == set(theirs), "the two hosts printed different outputs")
    exports_called = {key[0] for key in ours}
    worst = {}
    by_array = {}
    for key, bits in ours.items():
        by_array.setdefault(key[0], []).extend(bits)
    for key in sorted(ours):
        if key not in theirs:
            continue
        name = key[0]
        base = next((t for t in TRANSCENDENTAL if name.startswith(t)), None)
        for mine, other in zip(ours[key], theirs[key]):
            if base is None:
                if mine != other:
                    failures.append(f"{name}[{key[1]}]: {as_double(mine)!r} (Linux) vs {as_double(other)!r} (Windows)")
                continue
            x, y = as_double(mine), as_double(other)
            if mine == other or (x != x and y != y):
                continue
            scale = max(abs(as_double(b)) for b in by_array[name] if as_double(b) == as_double(b))
            error = abs(x - y) / ulp(scale)
            worst[base] = max(worst.get(base, 0.0), error)
            if not error <= TRANSCENDENTAL[base]:
                failures.append(f"{name}[{key[1]}]: {x!r} vs {y!r} is {error:.2f} ulp of {scale:g}")
    passed += 1
    print(f"outputs compared: {sum(len(v) for v in ours.values())} values from "
          f"{len(exports_called)} calls")
    for base in sorted(TRANSCENDENTAL):
        print(f"  {base}: worst {worst.get(base, 0.0):.2f} ulp (bound {TRANSCENDENTAL[base]})")

    # 3. Without the sibling the library does not load.
    with tempfile.TemporaryDirectory() as alone:
        for path in (a.windows_host, a.windows_dll):
            shutil.copy2(path, alone)
        result = run_wine(a.wine, os.path.join(alone, os.path.basename(a.windows_host)),
                          ["Zefra_TDR_Helpers.dll", "--expect-load-failure"], alone)
        check(result.returncode == 0, f"DLL loaded without interp_Sparam.dll: {result.stdout}")

    # 5. Touchstone reading under Wine against the Linux build.
    import random
    rng = random.Random(16)
    lines = ["! cross check: 4-port RI, 4000 points", "# GHz S RI R 50"]
    for k in range(4000):
        values = [repr(rng.uniform(-1, 1)) for _ in range(32)]
        rows = [" ".join(values[8 * r:8 * r + 8]) for r in range(4)]
        lines.append(repr((k + 1) * 0.0125) + " " + rows[0])
        lines.extend("  " + row for row in rows[1:])
    good = "\r\n".join(lines) + "\r\n"
    bad_lines = list(lines)
    bad_lines[12001] = bad_lines[12001].replace(" ", " 0x1 ", 1)
    bad = "\n".join(bad_lines) + "\n"
    with tempfile.TemporaryDirectory() as files:
        for name, text in (("good.s4p", good), ("bad.s4p", bad)):
            with open(os.path.join(files, name), "w", newline="") as out:
                out.write(text)
            native = subprocess.run([a.native_touchstone_host, name], capture_output=True,
                                    text=True, env=env, cwd=files, timeout=300)
            shutil.copy2(a.windows_touchstone_host, files)
            shutil.copy2(a.toolkit_dll, files)
            shutil.copy2(a.sibling_dll, files)  # the toolkit imports its resampler
            windows = run_wine(a.wine, os.path.join(files, os.path.basename(
                a.windows_touchstone_host)), [name], files)
            check(native.returncode == 0 and windows.returncode == 0,
                  f"touchstone host failed on {name}: {native.stderr[-300:]} {windows.stderr[-300:]}")
            check(native.stdout == windows.stdout and native.stdout.strip(),
                  f"{name}: Linux printed {native.stdout[:300]!r}, Windows {windows.stdout[:300]!r}")
            print(f"touchstone {name}: " + native.stdout.splitlines()[-1 if name == 'bad.s4p' else 2])

    for failure in failures[:40]:
        print("FAIL:", failure)
    print(f"{passed} passed, {len(failures)} failed")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
