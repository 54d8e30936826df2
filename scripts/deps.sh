#!/usr/bin/env bash
# Installs the Debian packages the project builds, tests and runs with, when any is missing.
# Extra package names given as arguments are installed too (the benchmarks ask for valgrind).
set -euo pipefail

packages=(
  build-essential cmake ninja-build pkg-config
  qt6-base-dev qt6-base-dev-tools qt6-httpserver-dev qt6-websockets-dev
  qt6-svg-dev libqt6svg6 qt6-qpa-plugins libgl-dev
  dbus dbus-daemon dbus-bin libglib2.0-bin
  libbenchmark-dev
  clang libclang-rt-14-dev clang-format
  xvfb xauth libxcb1-dev
  desktop-file-utils appstream
  "$@"
)

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$p")
  fi
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "Installing: ${missing[*]}"
sudo=""
[ "$(id -u)" -ne 0 ] && sudo="sudo"
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -qq
$sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
