#!/usr/bin/env bash
# Installs everything the project needs on a fresh Debian 12 machine.
# Safe to run again: apt-get skips what is already there.
set -euo pipefail
export DEBIAN_FRONTEND=noninteractive
SUDO=""
if [ "$(id -u)" != 0 ]; then SUDO=sudo; fi
PACKAGES=(
  build-essential cmake ninja-build pkg-config
  zlib1g-dev libpng-dev libcli11-dev
  libgtest-dev libgmock-dev libbenchmark-dev
  g++-mingw-w64-x86-64 libz-mingw-w64-dev
  wine64 xvfb
  clang-format clang-14 libclang-rt-14-dev
  libfftw3-dev libisal-dev
  python3 python3-dev pybind11-dev python3-numpy python3-pytest
  parallel help2man bash-completion zsh man-db
)
missing=()
for p in "${PACKAGES[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ "${#missing[@]}" -gt 0 ]; then
  $SUDO apt-get update -qq
  $SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
fi
echo "setup: all packages present"
