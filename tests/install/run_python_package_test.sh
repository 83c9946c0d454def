#!/usr/bin/env bash
# The Python package as a user gets it, offline: from a copy of the checkout
# (its tracked and untracked, not ignored files, as a clean clone has them),
#   1. `pip install --no-build-isolation .` into a venv that sees Debian's
#      numpy, then, from /, the version, a call, the console script and the
#      whole Python test suite against the installed package;
#   2. `pip wheel` gives a wheel with the same content;
#   3. an editable install uses the checkout's sources and libraries.
#
# usage: run_python_package_test.sh PYTHON SOURCE_DIR VERSION
set -euo pipefail
python=$1
source_dir=$2
version=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export PIP_NO_INDEX=1 PIP_DISABLE_PIP_VERSION_CHECK=1 PYTHONDONTWRITEBYTECODE=1
unset ZEFRA_TDR_LIB ZEFRA_TDR_TOOLKIT_LIB PYTHONPATH

fail() { echo "FAIL: $*" >&2; exit 1; }

"$python" - "$source_dir" "$work/src" <<'PY'
import shutil, subprocess, sys
from pathlib import Path
src, dst = Path(sys.argv[1]), Path(sys.argv[2])
names = subprocess.run(["git", "-C", str(src), "ls-files", "-z", "--cached", "--others",
                        "--exclude-standard"], check=True, capture_output=True).stdout
for name in filter(None, names.decode().split("\0")):
    if (src / name).is_file():
        (dst / name).parent.mkdir(parents=True, exist_ok=True)
        shutil.copy2(src / name, dst / name)
PY

echo "== pip install --no-build-isolation ."
"$python" -m venv --system-site-packages "$work/venv"
(cd "$work/src" && "$work/venv/bin/pip" install -q --no-build-isolation .)
cd /
out=$("$work/venv/bin/python" -c \
  "import zefra_tdr as z; print(z.__version__, z.median([3.0,1.0,2.0]))")
[ "$out" = "$version 2.0" ] || fail "version and median printed '$out'"
"$work/venv/bin/python" - "$version" "$work/venv" <<'PY'
import importlib.metadata, json, subprocess, sys
import zefra_tdr
version, venv = sys.argv[1], sys.argv[2]
assert importlib.metadata.version("zefra-tdr") == version == zefra_tdr.__version__
assert zefra_tdr.__file__.startswith(venv), zefra_tdr.__file__
info = json.loads(subprocess.run([f"{venv}/bin/zefra-tdr", "version", "--json"],
                                 check=True, capture_output=True, text=True).stdout)
assert info["version"] == version, info
for key in ("toolkit_library", "helpers_library"):
    assert info[key].startswith(venv) and "/zefra_tdr/_native/" in info[key], info
PY
[ "$("$work/venv/bin/zefra-tdr" --version)" = "zefra-tdr $version" ] || fail "zefra-tdr --version"
set +e
"$work/venv/bin/zefra-tdr" > /dev/null 2>&1
no_command=$?
ZEFRA_TDR_LIB=/nonexistent/libZefra_TDR_Helpers.so "$work/venv/bin/zefra-tdr" version \
  > "$work/out.txt" 2> "$work/err.txt"
bad_library=$?
set -e
[ "$no_command" -eq 2 ] || fail "zefra-tdr without a command exited $no_command, not 2"
[ "$bad_library" -eq 2 ] || fail "a library that cannot be loaded exited $bad_library, not 2"
[ "$(wc -l < "$work/err.txt")" -eq 1 ] || fail "the error is not one line: $(cat "$work/err.txt")"
grep -q "ZEFRA_TDR_LIB" "$work/err.txt" || fail "the error does not name ZEFRA_TDR_LIB"

echo "== zefra-tdr info and convert, from the installed package, outside the checkout"
mkdir "$work/files"
cp "$source_dir/tests/data/touchstone/python/two_port_ma_mhz_noise.s2p" "$work/files/amp.s2p"
cd "$work/files"
"$work/venv/bin/zefra-tdr" info amp.s2p > info.txt || fail "zefra-tdr info failed"
grep -q "ports: *2" info.txt || fail "zefra-tdr info does not give the port count: $(cat info.txt)"
grep -q "passivity" info.txt || fail "zefra-tdr info does not give the passivity: $(cat info.txt)"
"$work/venv/bin/zefra-tdr" convert amp.s2p amp_ri.s2p --fmt ri --unit hz \
  || fail "zefra-tdr convert failed"
grep -qi "^# *hz s ri r 50" amp_ri.s2p || fail "convert did not write an RI file in Hz: $(head -5 amp_ri.s2p)"
"$work/venv/bin/python" - <<'PY'
import numpy as np, zefra_tdr
a = zefra_tdr.read_touchstone("amp.s2p")
b = zefra_tdr.read_touchstone("amp_ri.s2p")
assert np.array_equal(a.f, b.f) and np.array_equal(a.s, b.s) and np.array_equal(a.z0, b.z0)
assert np.array_equal(a.noise.rn_ohm, b.noise.rn_ohm)
PY
echo "== zefra-tdr pulse, from the installed package"
"$work/venv/bin/python" - <<'PY'
import numpy as np, zefra_tdr
f = np.arange(1, 2001) * 2.5e7
zefra_tdr.write_touchstone(zefra_tdr.line(f, length=50.0, delay_ns_per_unit=0.0066,
                                          loss_np_per_unit=(0.0, 0.002, 0.001)), "line.s2p")
PY
"$work/venv/bin/zefra-tdr" pulse line.s2p --baud 25e9 --samples-per-ui 16 --ffe -0.1,0.8,-0.1 \
  --dfe 2 --json pulse.json > pulse.txt || fail "zefra-tdr pulse failed"
grep -q "non-causal" pulse.txt || fail "zefra-tdr pulse printed no diagnostics: $(cat pulse.txt)"
"$work/venv/bin/python" - <<'PY'
import json
report = json.load(open("pulse.json"))
assert report["dfe"]["positions"] == [1, 2], report["dfe"]
assert report["diagnostics"]["dc_policy"] == "extrapolate", report["diagnostics"]
assert report["warnings"] == [], report["warnings"]
PY
echo "== zefra-tdr link default, from the installed package (its shipped channel)"
"$work/venv/bin/zefra-tdr" link default --ctle=-12:-13:1,21.25GHz,21.25GHz,53.125GHz \
  --ffe pre=-0.1:0:0.1 --json link.json > link.txt || fail "zefra-tdr link default failed"
grep -q "margin (mV)" link.txt || fail "zefra-tdr link printed no margin table: $(cat link.txt)"
"$work/venv/bin/python" - "$work/venv" <<'PY'
import json, sys
venv = sys.argv[1]
report = json.load(open("link.json"))
assert report["inputs"]["thru_file"].startswith(venv), report["inputs"]["thru_file"]
assert report["inputs"]["thru_file"].endswith("/zefra_tdr/data/default_channel.s4p")
assert report["inputs"]["levels"] == 4 and report["inputs"]["target_ber"] == 1e-6
assert len(report["eyes"]) == 3 and report["margin_v"] > 0, report["eyes"]
assert report["winner"]["score_v"] >= report["runner_up"]["score_v"]
assert "(1/M)" in report["conventions"]["ber"]
PY
echo "== zefra-tdr sweep, from the installed package: a TOML plan on a process pool"
cp link.json link_alone.json
cat > sweep.toml <<'TOML'
[[channels]]
thru = "default"
[settings]
ctle = "-12:-13:1,21.25GHz,21.25GHz,53.125GHz"
ffe = "pre=-0.1:0:0.1"
dfe = [1, 2]
[outputs]
jsonl = "rows.jsonl"
csv = "rows.csv"
TOML
"$work/venv/bin/zefra-tdr" sweep sweep.toml --workers 2 > sweep.txt \
  || fail "zefra-tdr sweep failed: $(cat sweep.txt)"
grep -q "2 case(s): 2 ok, 0 error(s)" sweep.txt || fail "sweep summary: $(cat sweep.txt)"
"$work/venv/bin/python" - <<'PY'
import json
rows = [json.loads(line) for line in open("rows.jsonl")]
alone = json.load(open("link_alone.json"))
# The dfe = 2 case is the link run above: the same figures, bit for bit.
row = rows[1]
assert row["setting"] == {"ctle": "-12:-13:1,21.25GHz,21.25GHz,53.125GHz",
                          "ffe": "pre=-0.1:0:0.1", "dfe": 2}, row["setting"]
for key in ("readout", "eyes", "search", "channel", "pulse", "margin_v"):
    assert json.dumps(row[key], sort_keys=True) == json.dumps(alone[key], sort_keys=True), key
assert len(open("rows.csv").read().splitlines()) == 3
PY
printf '# GHz S RI R 50\n1 0.5 0.1\n0.5 0.2 0.1\n' > unordered.s1p
set +e
"$work/venv/bin/zefra-tdr" info unordered.s1p > out.txt 2> err.txt
bad_file=$?
set -e
[ "$bad_file" -eq 2 ] || fail "zefra-tdr info on a bad file exited $bad_file, not 2"
[ "$(wc -l < err.txt)" -eq 1 ] || fail "the error is not one line: $(cat err.txt)"
grep -q "unordered.s1p:3: expected frequencies that increase" err.txt \
  || fail "the error does not name the file and line: $(cat err.txt)"
cd /

echo "== the Python test suite against the installed package"
"$work/venv/bin/python" -m pytest -q -p no:cacheprovider "$source_dir/tests/python"

echo "== pip wheel"
(cd "$work/src" && "$work/venv/bin/pip" wheel -q --no-build-isolation --no-deps . -w "$work/dist")
"$python" - "$work/dist" <<'PY'
import sys, zipfile
from pathlib import Path
wheels = list(Path(sys.argv[1]).glob("zefra_tdr-*-py3-none-*.whl"))
assert len(wheels) == 1, wheels
names = set(zipfile.ZipFile(wheels[0]).namelist())
for lib in ("libZefra_TDR_Helpers.so", "libinterp_Sparam.so", "libzefra_toolkit.so"):
    assert f"zefra_tdr/_native/{lib}" in names, (lib, sorted(names))
assert "zefra_tdr/cli.py" in names
assert "zefra_tdr/data/default_channel.s4p" in names, "the default channel is not in the wheel"
assert any(n.endswith("entry_points.txt") for n in names)
PY

echo "== editable install"
"$python" -m venv --system-site-packages "$work/dev"
(cd "$work/src" && "$work/dev/bin/pip" install -q --no-build-isolation -e .)
"$work/dev/bin/python" - "$work/src" <<'PY'
import sys
import zefra_tdr
from zefra_tdr import _library
src = sys.argv[1]
assert zefra_tdr.__file__.startswith(f"{src}/python/zefra_tdr/"), zefra_tdr.__file__
assert _library.HELPERS.load()._name.startswith(f"{src}/python/zefra_tdr/_native/")
assert zefra_tdr.median([4.0, 1.0, 3.0, 2.0]) == 2.5
PY
echo "package installed, built as a wheel and installed editable: version $version"
