#!/usr/bin/env bash
# Raw conversion benchmark: converts generated uint16 volumes of 0.5, 1 and 2 GiB
# (one file, and one file per slice) with korin, and prints side by side the
# conversion time over the time of cp of the same input, the time per GiB and
# the peak resident memory.
#   bash bench/convert_bench.sh [BUILD_DIR] [WORK_DIR] [SIZES_MIB...]
set -euo pipefail
build=$(realpath "${1:-build}")
work=${2:-bench-data}
shift $(( $# > 2 ? 2 : $# )) || true
sizes=("$@")
[ ${#sizes[@]} -gt 0 ] || sizes=(512 1024 2048)
mkdir -p "$work"
work=$(realpath "$work")
here=$(dirname "$(realpath "$0")")

measure() {  # prints "seconds peak_mib"
  "$build/run_measured" "$@" 2>&1 >/dev/null | sed -n 's/^seconds=\([0-9.]*\) peak_mib=\([0-9]*\) status=0$/\1 \2/p' | tail -1
}

printf "%-10s %-14s %8s %10s %7s %9s %9s\n" size input "cp s" "convert s" ratio "s/GiB" "peak MiB"
for mib in "${sizes[@]}"; do
  nz=$(( mib / 2 ))
  raw="$work/volume.raw"
  "$build/make_phantom" "$raw" 1024 1024 "$nz"
  rm -rf "$work/slices"; mkdir -p "$work/slices"
  (cd "$work/slices" && split -b $((1024 * 1024 * 2)) -d -a 5 "$raw" slice-)
  for layout in one-file per-slice; do
    if [ $layout = one-file ]; then inputs=("$raw"); source="$raw"; else inputs=("$work"/slices/slice-*); source="$work/slices"; fi
    sync
    read -r cp_s _ < <(measure cp -r "$source" "$work/copy-target")
    rm -rf "$work/copy-target" "$work"/out.km*
    sync
    read -r conv_s peak < <(measure "$build/korin" "$here/convert_raw.tcl" "$work/out" 1024 1024 "$nz" "${inputs[@]}")
    ratio=$(awk -v a="$conv_s" -v b="$cp_s" 'BEGIN { printf "%.2f", a / b }')
    per=$(awk -v a="$conv_s" -v m="$mib" 'BEGIN { printf "%.2f", a / (m / 1024) }')
    printf "%-10s %-14s %8.2f %10.2f %7s %9s %9s\n" "${mib}MiB" "$layout" "$cp_s" "$conv_s" "$ratio" "$per" "$peak"
    rm -rf "$work"/out.km*
  done
  rm -rf "$work/slices" "$raw"
done
