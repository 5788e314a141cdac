#!/usr/bin/env bash
# lda benchmark: the generated uint16 phantom (1024 x 1024 x 512, 1 GiB) into an
# lda store with all levels by korin, beside zarr-python writing level 0 alone
# with the same codec and 128^3 chunks, for zstd and lz4, in one run. Prints the
# times, their ratio (korin / zarr-python), the peak resident memory and the
# stored sizes; then korin alone on half the depth, to show memory is flat.
#   bash bench/lda_bench.sh [BUILD_DIR] [WORK_DIR]
set -euo pipefail
build=$(realpath "${1:-build}")
work=${2:-bench-data}
mkdir -p "$work"
work=$(realpath "$work")
here=$(dirname "$(realpath "$0")")
export QT_QPA_PLATFORM=offscreen

measure() {  # prints "seconds peak_mib"
  "$build/run_measured" "$@" 2>&1 >/dev/null | sed -n 's/^seconds=\([0-9.]*\) peak_mib=\([0-9]*\) status=0$/\1 \2/p' | tail -1
}
mib() { du -sm "$1" | cut -f1; }

printf "%-7s %-6s %9s %9s %7s %10s %10s %9s %9s\n" size codec "korin s" "zarr s" ratio \
  "korin MiB" "zarr MiB" "lda MiB" "zarr MiB"
for nz in 512 256; do
  raw="$work/phantom.raw"
  "$build/make_phantom" "$raw" 1024 1024 "$nz"
  codecs=(zstd lz4)
  [ "$nz" -eq 512 ] || codecs=(zstd)
  for codec in "${codecs[@]}"; do
    rm -rf "$work/out.lda" "$work/out.zarr"; sync
    read -r ours ours_peak < <(measure "$build/korin" "$here/lda_convert.tcl" "$work/out" "$codec" 1024 1024 "$nz" "$raw")
    sync
    read -r theirs theirs_peak < <(measure /usr/bin/python3 "$here/zarr_write.py" "$raw" "$work/out.zarr" "$codec" 1024 1024 "$nz")
    ratio=$(awk -v a="$ours" -v b="$theirs" 'BEGIN { printf "%.2f", a / b }')
    printf "%-7s %-6s %9.2f %9.2f %7s %10s %10s %9s %9s\n" "$((nz * 2))MiB" "$codec" "$ours" "$theirs" \
      "$ratio" "$ours_peak" "$theirs_peak" "$(mib "$work/out.lda")" "$(mib "$work/out.zarr")"
  done
  rm -rf "$work/out.lda" "$work/out.zarr" "$raw"
done
