#!/usr/bin/env bash
# Sets everything up, then runs every test: the C++ programs, then the Python
# tests (Debian's python3 with numpy, zarr and pytest) against the same build.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
BUILD_DIR=${BUILD_DIR:-build}
ctest --test-dir "$BUILD_DIR" --output-on-failure -j"$(nproc)"
KORIN_BUILD_DIR=$(realpath "$BUILD_DIR") PYTHONPATH=$PWD/python \
  /usr/bin/python3 -m pytest -q -p no:cacheprovider tests/python
