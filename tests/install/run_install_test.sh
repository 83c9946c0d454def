#!/usr/bin/env bash
# Consumers of the C libraries, none of which may need GoogleTest or Google
# Benchmark (both are hidden from CMake here):
#   1. an installed tree used through find_package and through pkg-config;
#   2. a project that includes the source tree with add_subdirectory;
#   3. a plain top-level configure and build of the source tree.
# Each checks the one version number: header macros, zefra_tk_version(), the
# CMake package version and the pkg-config versions.
#
# usage: run_install_test.sh BUILD_DIR SOURCE_DIR VERSION
set -euo pipefail
build_dir=$1
source_dir=$2
version=$3
tests=$source_dir/tests/install
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
no_frameworks=(-DCMAKE_DISABLE_FIND_PACKAGE_GTest=ON -DCMAKE_DISABLE_FIND_PACKAGE_benchmark=ON)
jobs=$(nproc 2>/dev/null || echo 2)

expect_line() {  # expect_line FILE TEXT: FILE has a line containing TEXT
  grep -qF -- "$2" "$1" || { echo "expected '$2' in $1:"; cat "$1"; exit 1; }
}

cmake --install "$build_dir" --prefix "$work/prefix" > "$work/install.log"
for header in tdr_helpers.h interp_sparam.h toolkit.h version.h; do
  test -f "$work/prefix/include/zefra/$header"
done
# The pages the headers refer to are installed with them.
test -f "$work/prefix/share/doc/Zefra_TDR_Helpers/behaviour.md"
test -f "$work/prefix/share/doc/Zefra_TDR_Helpers/interp_sparam.md"
# The sibling module and the toolkit are installed next to the library.
main_lib=$(find "$work/prefix" -name 'libZefra_TDR_Helpers.so' | head -n 1)
test -f "$(dirname "$main_lib")/libinterp_Sparam.so"
test -f "$(dirname "$main_lib")/libzefra_toolkit.so"

echo "== find_package(Zefra_TDR_Helpers)"
cmake -S "$tests/consumer" -B "$work/cmake-consumer" -DCMAKE_PREFIX_PATH="$work/prefix" \
  -DCMAKE_BUILD_TYPE=Release "${no_frameworks[@]}" > "$work/configure.log"
expect_line "$work/configure.log" "Zefra_TDR_Helpers version: $version"
cmake --build "$work/cmake-consumer" > "$work/build.log"
"$work/cmake-consumer/consumer" | tee "$work/run.log"
expect_line "$work/run.log" "version = $version (header $version"

echo "== pkg-config zefra_tdr_helpers zefra_toolkit"
pc_file=$(find "$work/prefix" -name zefra_tdr_helpers.pc | head -n 1)
export PKG_CONFIG_PATH
PKG_CONFIG_PATH=$(dirname "$pc_file")
for pc in zefra_tdr_helpers zefra_toolkit; do
  test "$(pkg-config --modversion "$pc")" = "$version"
done
libdir=$(pkg-config --variable=libdir zefra_tdr_helpers)
# shellcheck disable=SC2046
cc -std=c11 -Wall -Werror "$tests/consumer/consumer.c" -o "$work/pc-consumer" \
  $(pkg-config --cflags --libs zefra_tdr_helpers zefra_toolkit)
LD_LIBRARY_PATH="$libdir" "$work/pc-consumer"

echo "== add_subdirectory, without GoogleTest and Google Benchmark"
cmake -S "$tests/subdir_consumer" -B "$work/subdir" -DZEFRA_SOURCE_DIR="$source_dir" \
  -DCMAKE_BUILD_TYPE=Release "${no_frameworks[@]}" > "$work/subdir-configure.log"
cmake --build "$work/subdir" -j "$jobs" > "$work/subdir-build.log"
"$work/subdir/consumer"

echo "== top-level build, without GoogleTest and Google Benchmark"
cmake -S "$source_dir" -B "$work/plain" "${no_frameworks[@]}" > "$work/plain-configure.log"
cmake --build "$work/plain" -j "$jobs" > "$work/plain-build.log"
test -f "$work/plain/lib/libzefra_toolkit.so"
test ! -e "$work/plain/bin/zefra_unit_tests"
echo "installed, embedded and plain builds usable, version $version everywhere"
