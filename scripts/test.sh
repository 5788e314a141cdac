#!/usr/bin/env bash
# Sets everything up, then runs every test: the C++ programs, then the Python
# tests (Debian's python3 with numpy, zarr and pytest) against the same build.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
# zarrita (npm), the independent reader of Zarr version 3 the Python tests call through node.
if ! command -v node >/dev/null || ! command -v npm >/dev/null; then
  SUDO=""
  [ "$(id -u)" -eq 0 ] || SUDO="sudo"
  $SUDO apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq --no-install-recommends nodejs npm >/dev/null
fi
[ -d tests/js/node_modules/zarrita ] || (cd tests/js && npm ci --no-audit --no-fund --loglevel=error >/dev/null)
BUILD_DIR=${BUILD_DIR:-build}
ctest --test-dir "$BUILD_DIR" --output-on-failure -j"$(nproc)"
KORIN_BUILD_DIR=$(realpath "$BUILD_DIR") PYTHONPATH=$PWD/python \
  /usr/bin/python3 -m pytest -q -p no:cacheprovider tests/python
