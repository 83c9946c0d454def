#!/usr/bin/env bash
# The main job: installs what is missing, builds and installs the Python
# package into .venv (offline: Debian's numpy, no PyPI), then runs
#   - the example host program, which loads the C library by name and
#     prints the results of real calls;
#   - the zefra-tdr command: its version, a Touchstone file described and
#     converted, and the statistical eye of the shipped default channel
#     after the equaliser search (margin table, plots and JSON);
#   - the Python example.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install_deps.sh
jobs=$(nproc 2>/dev/null || echo 2)

echo "==== Python package (.venv)"
/usr/bin/python3 -m venv --system-site-packages .venv
PIP_DISABLE_PIP_VERSION_CHECK=1 .venv/bin/pip install -q --no-build-isolation .

echo "==== C host program"
cmake --preset release > /dev/null
cmake --build --preset release -j "$jobs" --target zefra_host_demo Zefra_TDR_Helpers
LD_LIBRARY_PATH="$PWD/build/release/lib${LD_LIBRARY_PATH:+:$LD_LIBRARY_PATH}" build/release/bin/zefra_host_demo

echo "==== zefra-tdr"
.venv/bin/zefra-tdr version
example=tests/data/touchstone/python/two_port_ma_mhz_noise.s2p
.venv/bin/zefra-tdr info "$example"
converted=$(mktemp -d)/amplifier_ri.s2p
.venv/bin/zefra-tdr convert "$example" "$converted" --fmt ri --unit hz
echo "converted to RI in Hz: $converted"
.venv/bin/zefra-tdr info "$converted" | head -3

echo "==== zefra-tdr link default: statistical eye of the shipped channel"
link_out=$(mktemp -d)
.venv/bin/zefra-tdr link default --plots "$link_out" --json "$link_out/link.json"

echo "==== Python"
.venv/bin/python examples/python_demo.py
