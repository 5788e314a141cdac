#!/usr/bin/env bash
# lda benchmark: the generated uint16 phantom (1024 x 1024 x 512, 1 GiB) into an
# lda store with all levels by korin, beside zarr-python writing level 0 alone
# with the same codec and 128^3 chunks, for zstd and lz4, in one run. Prints the
# wall times and their ratio (korin / zarr-python), the processor time (user +
# system, all threads: on a shared machine the fairer measure of work), the
# peak resident memory and the stored sizes; then both again on half the
# depth, to show memory is flat.
#   bash bench/lda_bench.sh [BUILD_DIR] [WORK_DIR]
set -euo pipefail
build=$(realpath "${1:-build}")
work=${2:-bench-data}
mkdir -p "$work"
work=$(realpath "$work")
here=$(dirname "$(realpath "$0")")
export QT_QPA_PLATFORM=offscreen

measure() {  # prints "wall_seconds cpu_seconds peak_mib"
  /usr/bin/python3 - "$@" <<'PY'
import resource, subprocess, sys, time
start = time.monotonic()
subprocess.run(sys.argv[1:], check=True, stdout=subprocess.DEVNULL)
wall = time.monotonic() - start
used = resource.getrusage(resource.RUSAGE_CHILDREN)
print(f"{wall:.2f} {used.ru_utime + used.ru_stime:.2f} {used.ru_maxrss // 1024}")
PY
}
mib() { du -sm "$1" | cut -f1; }

printf "%-7s %-5s %8s %8s %6s %10s %10s %6s %10s %10s %8s %8s\n" size codec "korin s" "zarr s" \
  ratio "korin cpu" "zarr cpu" ratio "korin peak" "zarr peak" "lda MiB" "zarr MiB"
for nz in 512 256; do
  raw="$work/phantom.raw"
  "$build/make_phantom" "$raw" 1024 1024 "$nz"
  for codec in zstd lz4; do
    rm -rf "$work/out.lda" "$work/out.zarr"; sync
    read -r ours ours_cpu ours_peak < <(measure "$build/korin" "$here/lda_convert.tcl" "$work/out" "$codec" 1024 1024 "$nz" "$raw")
    sync
    read -r theirs theirs_cpu theirs_peak < <(measure /usr/bin/python3 "$here/zarr_write.py" "$raw" "$work/out.zarr" "$codec" 1024 1024 "$nz")
    ratio=$(awk -v a="$ours" -v b="$theirs" 'BEGIN { printf "%.2f", a / b }')
    cpu_ratio=$(awk -v a="$ours_cpu" -v b="$theirs_cpu" 'BEGIN { printf "%.2f", a / b }')
    printf "%-7s %-5s %8s %8s %6s %10s %10s %6s %10s %10s %8s %8s\n" "$((nz * 2))MiB" "$codec" "$ours" \
      "$theirs" "$ratio" "$ours_cpu" "$theirs_cpu" "$cpu_ratio" "$ours_peak" "$theirs_peak" \
      "$(mib "$work/out.lda")" "$(mib "$work/out.zarr")"
  done
  rm -rf "$work/out.lda" "$work/out.zarr" "$raw"
done
