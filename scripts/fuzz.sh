#!/usr/bin/env bash
# Fuzzing campaign: builds the `fuzz` preset if needed, then runs every
# libFuzzer target (or the ones named) for SECONDS each, one after the
# other, and prints per target the executions, the coverage (cov / ft of
# the last status line) and the findings.  Exits non-zero when any target
# reports a crash, a sanitizer error, an oracle failure, a leak, a timeout
# or an out-of-memory.
#
#   bash scripts/fuzz.sh SECONDS [TARGET...]     e.g.  bash scripts/fuzz.sh 60
#                                                      bash scripts/fuzz.sh 30 dfe sparam
#
# Corpus:    build/fuzz/corpus/<target>   (kept between runs, not committed)
# Seeds:     fuzz/regressions/<target>    (read-only second corpus)
# Findings:  build/fuzz/artifacts/<target>/crash-* (also leak-, timeout-, oom-)
# Logs:      build/fuzz/logs/<target>.log
# Environment:
#   ZEFRA_FUZZ_TOLERATE=id,...  set aside known findings (see fuzz/README.md)
#   ZEFRA_FUZZ_FLAGS="..."      extra libFuzzer flags
set -euo pipefail
cd "$(dirname "$0")/.."

usage() {
  echo "usage: $0 SECONDS [TARGET...]" >&2
  echo "targets: $(all_targets | tr '\n' ' ')" >&2
  exit 2
}

all_targets() {
  sed -n '/^set(ZEFRA_FUZZ_TARGETS/,/CACHE INTERNAL/p' fuzz/CMakeLists.txt |
    sed -e 's/#.*//' -e 's/set(ZEFRA_FUZZ_TARGETS//' -e 's/CACHE INTERNAL.*//' |
    tr -s ' \t' '\n' | sed '/^$/d'
}

[[ $# -ge 1 && $1 =~ ^[0-9]+$ && $1 -gt 0 ]] || usage
seconds=$1
shift
if [[ $# -gt 0 ]]; then
  targets=("${@#fuzz_}")
else
  mapfile -t targets < <(all_targets)
fi
for t in "${targets[@]}"; do
  all_targets | grep -qx "$t" || { echo "unknown target: $t" >&2; usage; }
done

build=build/fuzz
if [[ ! -f $build/CMakeCache.txt ]]; then
  cmake --preset fuzz
fi
cmake --build --preset fuzz -j "$(nproc 2>/dev/null || echo 2)"

mkdir -p "$build/logs"
declare -a rows=()
status=0
for t in "${targets[@]}"; do
  exe=$build/bin/fuzz_$t
  corpus=$build/corpus/$t
  artifacts=$build/artifacts/$t
  log=$build/logs/$t.log
  mkdir -p "$corpus" "$artifacts"
  dirs=("$corpus")
  [[ -d fuzz/regressions/$t ]] && dirs+=("fuzz/regressions/$t")
  before=$(find "$artifacts" -type f | wc -l)
  echo "==== fuzz_$t: ${seconds}s (corpus $corpus: $(find "$corpus" -type f | wc -l) inputs)"
  set +e
  # shellcheck disable=SC2086
  timeout --kill-after=30 $((seconds * 2 + 300)) "$exe" \
    -max_total_time="$seconds" -max_len=8192 -timeout=25 -rss_limit_mb=2048 \
    -entropic_scale_per_exec_time=1 -print_final_stats=1 \
    -artifact_prefix="$artifacts/" ${ZEFRA_FUZZ_FLAGS:-} "${dirs[@]}" >"$log" 2>&1
  rc=$?
  set -e
  execs=$(grep -oE 'stat::number_of_executed_units: *[0-9]+' "$log" | grep -oE '[0-9]+$' | tail -1 || true)
  last=$(grep -E '^#[0-9]+.*cov: [0-9]+ ft: [0-9]+' "$log" | tail -1 || true)
  cov=$(sed -nE 's/.*cov: ([0-9]+).*/\1/p' <<<"$last")
  ft=$(sed -nE 's/.*ft: ([0-9]+).*/\1/p' <<<"$last")
  if [[ -z $execs ]]; then  # no final stats after a crash: the last status line
    execs=$(sed -nE 's/^#([0-9]+).*/\1/p' <<<"$last")
  fi
  after=$(find "$artifacts" -type f | wc -l)
  result=ok
  if [[ $rc -ne 0 || $after -ne $before ]]; then
    status=1
    what=$(grep -m1 -E '==ZEFRA-FUZZ==|^SUMMARY: |runtime error|ERROR: libFuzzer' "$log" || true)
    unit=$(sed -nE 's/.*Test unit written to (.*)$/\1/p' "$log" | tail -1)
    result="FINDING (exit $rc): ${what:-see $log}; input: ${unit:-none}"
  fi
  echo "     executions ${execs:-?}, cov ${cov:-?}, ft ${ft:-?}: $result"
  rows+=("$(printf '%-12s %12s %6s %7s  %s' "$t" "${execs:-?}" "${cov:-?}" "${ft:-?}" "$result")")
done

echo
printf '%-12s %12s %6s %7s  %s\n' target executions cov ft result
for r in "${rows[@]}"; do
  echo "$r"
done
exit $status
