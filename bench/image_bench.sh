#!/usr/bin/env bash
# Image-stack benchmark: a stack of RGB PNG slices converted with korin, beside
# the time to decode the same files with QImage alone, and the peak memory.
#   bash bench/image_bench.sh [BUILD_DIR] [WORK_DIR] [COUNT] [SIZE]
set -euo pipefail
build=$(realpath "${1:-build}")
work=${2:-bench-images}
count=${3:-256}
size=${4:-1024}
mkdir -p "$work/stack"
work=$(realpath "$work")
here=$(dirname "$(realpath "$0")")

measure() {
  "$build/run_measured" "$@" 2>&1 >/dev/null | sed -n 's/^seconds=\([0-9.]*\) peak_mib=\([0-9]*\) status=0$/\1 \2/p' | tail -1
}

"$build/make_image_stack" "$work/stack" "$count" "$size" "$size" png rgb
files=("$work"/stack/slice*.png)
read -r decode_s decode_peak < <(measure "$build/decode_images" "${files[@]}")
read -r conv_s conv_peak < <(measure "$build/korin" "$here/convert_images.tcl" "$work/out" 1 "${files[@]}")
chunk_mib=$(( size * size * 64 / 1048576 ))
printf "%d RGB PNG slices of %d x %d: decode alone %.2f s, conversion %.2f s, ratio %.2f (aim <= 1.4)\n" \
  "$count" "$size" "$size" "$decode_s" "$conv_s" "$(awk -v a="$conv_s" -v b="$decode_s" 'BEGIN { print a / b }')"
printf "peak resident memory: conversion %s MiB, decode alone %s MiB (one chunk is %d MiB)\n" \
  "$conv_peak" "$decode_peak" "$chunk_mib"
rm -rf "$work/stack" "$work"/out.km*
