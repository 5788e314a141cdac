#!/usr/bin/env bash
# Sets everything up, then runs the main job on embedded default data.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
mkdir -p build/main-job
./build/blockstore_demo build/main-job
