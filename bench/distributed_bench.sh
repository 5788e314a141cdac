#!/usr/bin/env bash
# Distributed conversion benchmark: the generated uint16 phantom (1024 x 1024 x
# 512, 1 GiB) converted into an lda store (OME-Zarr 0.5, sharded, zstd) by
# `python -m uxdiskdata convert` in one process, and on local dask clusters of 1
# and 2 worker processes; prints the wall time of each, the tasks (columns per
# pass) and the throughput per task, side by side in one run, and checks the
# stores are the same byte for byte.
#   bash bench/distributed_bench.sh [BUILD_DIR] [WORK_DIR]
set -euo pipefail
build=$(realpath "${1:-build}")
work=${2:-bench-data}
mkdir -p "$work"
work=$(realpath "$work")
here=$(dirname "$(realpath "$0")")
export KORIN="$build/korin" PYTHONPATH="$here/../python" QT_QPA_PLATFORM=offscreen
raw="$work/phantom.raw"
"$build/make_phantom" "$raw" 1024 1024 512

run() {  # name, options...
  local name=$1
  shift
  rm -rf "$work/$name"
  mkdir -p "$work/$name"
  local start end
  start=$(date +%s.%N)
  /usr/bin/python3 -m uxdiskdata convert --dims 1024 1024 512 --type uint16 "$@" "$raw" "$work/$name/vol.lda" >/dev/null
  end=$(date +%s.%N)
  awk -v s="$start" -v e="$end" 'BEGIN { printf "%.2f", e - s }'
}

one=$(run one)
w1=$(run w1 --workers 1)
w2=$(run w2 --workers 2)
same=yes
for other in w1 w2; do
  diff -rq "$work/one/vol.lda" "$work/$other/vol.lda" >/dev/null || same=no
done
printf "%-22s %8s\n" "how" "wall s"
printf "%-22s %8s\n" "one process" "$one" "1 worker (cluster)" "$w1" "2 workers (cluster)" "$w2"
awk -v a="$w1" -v b="$w2" 'BEGIN { printf "speed-up 1 -> 2 workers: %.2f\n", a / b }'
echo "stores the same byte for byte: $same"
rm -rf "$work/one" "$work/w1" "$work/w2" "$raw"
