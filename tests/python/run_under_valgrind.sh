#!/usr/bin/env bash
# Runs the output-guard property tests once under valgrind memcheck: every
# wrapper is called with a few hypothesis examples (the "valgrind" profile)
# plus the explicit examples, and any invalid read or write, in the library
# or in the wrappers' buffers, fails the run.
#
# Usage: run_under_valgrind.sh /path/to/libZefra_TDR_Helpers.so
#   PYTHON    interpreter (default /usr/bin/python3)
#   VALGRIND  valgrind executable (default: valgrind on PATH)
#
# PYTHONMALLOC=malloc makes every Python object a malloc block valgrind can
# see.  Leaks are not checked: the interpreter keeps much of its memory until
# exit.  The interpreter, numpy and hypothesis run clean under memcheck here;
# the only suppression is the dynamic loader's (tests/valgrind/loader.supp).
# Exit status: 0 only when the tests pass and valgrind reports no error.
set -euo pipefail

if [ $# -ne 1 ]; then
  echo "usage: $0 /path/to/libZefra_TDR_Helpers.so" >&2
  exit 2
fi
here=$(cd "$(dirname "$0")" && pwd)
repo=$(cd "$here/../.." && pwd)

export ZEFRA_TDR_LIB=$1
export PYTHONPATH="$repo/python${PYTHONPATH:+:$PYTHONPATH}"
export PYTHONMALLOC=malloc
export PYTHONDONTWRITEBYTECODE=1
export ZEFRA_HYPOTHESIS_PROFILE=valgrind

exec "${VALGRIND:-valgrind}" --tool=memcheck --error-exitcode=97 --leak-check=no \
  --num-callers=40 \
  --suppressions="$repo/tests/valgrind/loader.supp" \
  "${PYTHON:-/usr/bin/python3}" -m pytest -q -p no:cacheprovider \
  "$here/test_output_guards.py"
