#!/usr/bin/env bash
# Installs the Debian 12 packages the build and the tests need, skipping the
# ones already present.  Needs root (or sudo) only when something is missing.
set -euo pipefail
packages=(
  cmake make g++ gcc pkg-config binutils valgrind
  libgtest-dev libbenchmark-dev
  python3 python3-numpy python3-scipy python3-pytest
  python3-venv python3-pip python3-setuptools python3-wheel git
  python3-hypothesis python3-matplotlib python3-scikit-rf
  python3-yaml python3-distributed python3-psutil
  g++-mingw-w64-x86-64 wine64 binutils-mingw-w64-x86-64
  clang-14 libclang-rt-14-dev
  libkissfft-dev
)
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "installing: ${missing[*]}"
  sudo_cmd=()
  [ "$(id -u)" -eq 0 ] || sudo_cmd=(sudo)
  "${sudo_cmd[@]}" apt-get update -qq
  DEBIAN_FRONTEND=noninteractive "${sudo_cmd[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi
