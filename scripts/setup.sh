#!/usr/bin/env bash
# Installs what a fresh Debian 12 machine lacks (Debian's packages only) and
# builds the project into build/. Safe to run again: it installs nothing that is
# already there and rebuilds only what changed.
set -euo pipefail
cd "$(dirname "$0")/.."

PACKAGES=(build-essential cmake pkg-config qt6-base-dev qt6-image-formats-plugins libcoin-dev
  tcl-dev zlib1g-dev libzstd-dev liblz4-dev libblosc-dev libtiff-dev libtiff-tools nlohmann-json3-dev libgtest-dev libgmock-dev
  python3 python3-numpy python3-zarr python3-pytest)

missing=()
for p in "${PACKAGES[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "installing: ${missing[*]}"
  SUDO=""
  [ "$(id -u)" -eq 0 ] || SUDO="sudo"
  $SUDO apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
fi

BUILD_DIR=${BUILD_DIR:-build}
cmake -S . -B "$BUILD_DIR" ${CMAKE_ARGS:-} >/dev/null
cmake --build "$BUILD_DIR" -j"$(nproc)"
