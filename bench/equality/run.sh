#!/usr/bin/env bash
# Bit-equality check of two builds of libZefra_TDR_Helpers (+ libinterp_Sparam).
#
#   bench/equality/run.sh BEFORE_LIB_DIR AFTER_LIB_DIR [CASES]
#
# Each directory holds libZefra_TDR_Helpers.so and libinterp_Sparam.so.
# Builds the harness (standalone CMake project, build dir $EQ_BUILD_DIR,
# default build/equality), dumps CASES cases per export (default 100000) from
# each library in its own process (both at once), compares the dumps and
# prints one row per export.  Exit status: 0 when every hash is equal, 1 on a
# mismatch, 2 on a usage or build error.
set -euo pipefail

if [[ $# -lt 2 || $# -gt 3 ]]; then
  echo "usage: $0 BEFORE_LIB_DIR AFTER_LIB_DIR [CASES]" >&2
  exit 2
fi
before=$(cd "$1" && pwd)
after=$(cd "$2" && pwd)
cases=${3:-100000}
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
root=$(cd "$here/../.." && pwd)
build=${EQ_BUILD_DIR:-$root/build/equality}
out=${EQ_OUT_DIR:-$build/dumps}

for dir in "$before" "$after"; do
  for lib in libZefra_TDR_Helpers.so libinterp_Sparam.so; do
    if [[ ! -f $dir/$lib ]]; then
      echo "missing $dir/$lib" >&2
      exit 2
    fi
  done
done

cmake -S "$here" -B "$build" -DCMAKE_BUILD_TYPE=Release >/dev/null || exit 2
cmake --build "$build" >/dev/null || exit 2
mkdir -p "$out"

# The sibling is loaded by path first, so neither run path nor
# LD_LIBRARY_PATH can substitute another copy; unset it all the same.
dump() {
  env -u LD_LIBRARY_PATH "$build/zefra_equality" dump \
    "$1/libZefra_TDR_Helpers.so" "$1/libinterp_Sparam.so" "$2" --cases "$cases"
}
start=$(date +%s.%N)
dump "$before" "$out/before.bin" 2>"$out/before.log" &
pid_before=$!
dump "$after" "$out/after.bin" 2>"$out/after.log" &
pid_after=$!
status=0
wait "$pid_before" || status=$?
wait "$pid_after" || status=$?
end=$(date +%s.%N)
if [[ $status -ne 0 ]]; then
  echo "a dump failed (status $status); see $out/before.log and $out/after.log" >&2
  cat "$out/before.log" "$out/after.log" >&2
  exit 2
fi
printf 'before: %s\nafter:  %s\ncases per export: %s; both dumps took %.1f s (%s, %s)\n\n' \
  "$before" "$after" "$cases" "$(awk -v a="$start" -v b="$end" 'BEGIN { print b - a }')" \
  "$(tail -n 1 "$out/before.log")" "$(tail -n 1 "$out/after.log")"

"$build/zefra_equality" compare "$out/before.bin" "$out/after.bin"
