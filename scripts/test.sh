#!/usr/bin/env bash
# Sets everything up, then runs every test.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
BUILD_DIR=${BUILD_DIR:-build}
ctest --test-dir "$BUILD_DIR" --output-on-failure -j"$(nproc)"
