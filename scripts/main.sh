#!/usr/bin/env bash
# Sets everything up, then runs the main job on embedded default data: a
# generated phantom volume converted, reopened and read at four subsamplings.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
out=build/main-job
mkdir -p "$out"
./build/make_phantom "$out/phantom.raw" 256 256 128
./build/korin scripts/main.tcl "$out" "$out/phantom.raw" 256 256 128
