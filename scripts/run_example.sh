#!/usr/bin/env bash
# The main job: installs what is missing, builds the release library and runs
# the example host program, which loads the library by name and prints the
# results of real calls.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install_deps.sh
cmake --preset release > /dev/null
cmake --build --preset release -j "$(nproc 2>/dev/null || echo 2)" --target zefra_host_demo Zefra_TDR_Helpers
LD_LIBRARY_PATH="$PWD/build/release/lib${LD_LIBRARY_PATH:+:$LD_LIBRARY_PATH}" build/release/bin/zefra_host_demo
