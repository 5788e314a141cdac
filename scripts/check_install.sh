#!/usr/bin/env bash
# Installs the build into a scratch prefix and builds examples/blockstore_demo.cpp
# against the installed headers and libraries alone, as a user of the package would.
# Usage: scripts/check_install.sh [BUILD_DIR]
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build}
prefix=$(mktemp -d)
trap 'rm -rf "$prefix"' EXIT
cmake --install "$build" --prefix "$prefix" >/dev/null
libdir=$(find "$prefix" -name 'libuxdiskdata.so' -printf '%h\n' | head -1)
g++ -std=c++17 -Wall -Wextra -I"$prefix/include/uxdiskdata" examples/blockstore_demo.cpp \
  -L"$libdir" -Wl,-rpath,"$libdir" -luxdiskdata -lkorinhost -o "$prefix/blockstore_demo"
"$prefix/blockstore_demo" "$prefix/demo-data" >/dev/null
echo "installed headers and libraries build and run examples/blockstore_demo.cpp"
