#!/usr/bin/env bash
# Every test: installs what is missing, then configures, builds and runs the
# whole suite (unit, export, ABI, host, install and Python tests) in the
# release and the sanitize (ASan + UBSan) builds, the concurrency test under
# ThreadSanitizer, valgrind memcheck in the release build, the Windows DLLs
# checked under Wine against the release build, and a short libFuzzer smoke
# (about 10 s per target plus the regression inputs).
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install_deps.sh
jobs=$(nproc 2>/dev/null || echo 2)
for preset in release sanitize tsan windows fuzz; do
  echo "==== $preset"
  cmake --preset "$preset" > /dev/null
  cmake --build --preset "$preset" -j "$jobs"
  ctest --preset "$preset" -j "$jobs"
done
