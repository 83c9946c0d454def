#!/usr/bin/env bash
# Installs a built tree into a temporary prefix, then builds and runs a small
# C program against the installed files only: once through find_package and
# once through pkg-config.
#
# usage: run_install_test.sh BUILD_DIR CONSUMER_SOURCE_DIR
set -euo pipefail
build_dir=$1
consumer_dir=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cmake --install "$build_dir" --prefix "$work/prefix" > "$work/install.log"
test -f "$work/prefix/include/zefra/tdr_helpers.h"
test -f "$work/prefix/include/zefra/interp_sparam.h"
# The sibling module is installed next to the library that needs it.
main_lib=$(find "$work/prefix" -name 'libZefra_TDR_Helpers.so' | head -n 1)
test -f "$(dirname "$main_lib")/libinterp_Sparam.so"

echo "== find_package(Zefra_TDR_Helpers)"
cmake -S "$consumer_dir" -B "$work/cmake-consumer" -DCMAKE_PREFIX_PATH="$work/prefix" \
  -DCMAKE_BUILD_TYPE=Release > "$work/configure.log"
cmake --build "$work/cmake-consumer" > "$work/build.log"
"$work/cmake-consumer/consumer"

echo "== pkg-config zefra_tdr_helpers"
pc_file=$(find "$work/prefix" -name zefra_tdr_helpers.pc | head -n 1)
export PKG_CONFIG_PATH
PKG_CONFIG_PATH=$(dirname "$pc_file")
libdir=$(pkg-config --variable=libdir zefra_tdr_helpers)
# shellcheck disable=SC2046
cc -std=c11 -Wall -Werror "$consumer_dir/consumer.c" -o "$work/pc-consumer" \
  $(pkg-config --cflags --libs zefra_tdr_helpers)
LD_LIBRARY_PATH="$libdir" "$work/pc-consumer"
echo "installed library usable through find_package and pkg-config"
