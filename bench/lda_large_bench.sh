#!/usr/bin/env bash
# Large lda conversions within the default memory budget: sparse raw volumes
# of 8192 x 8192 x 256 uint8 (16 GiB) and 16384 x 16384 x 64 uint16 (32 GiB),
# cheap to make (a sparse file, with patterned regions written into it), each
# converted by korin with zstd, printing the wall and processor time, the
# peak resident memory and the plan the converter chose; then zarr-python
# checks the store against the raw file (bench/lda_check.py). Last, Ctrl-C
# sent 3 s into a 1 GiB zlib conversion, and the time korin takes to end.
#   bash bench/lda_large_bench.sh [BUILD_DIR] [WORK_DIR]
set -euo pipefail
build=$(realpath "${1:-build}")
work=${2:-bench-data}
mkdir -p "$work"
work=$(realpath "$work")
here=$(dirname "$(realpath "$0")")
export QT_QPA_PLATFORM=offscreen

printf "%-22s %8s %8s %10s  %s\n" volume "wall s" "cpu s" "peak MiB" "plan, check"
for shape in "8192 8192 256 uint8" "16384 16384 64 uint16"; do
  read -r nx ny nz type <<<"$shape"
  raw="$work/sparse.raw"
  rm -rf "$raw" "$work/large.lda"
  /usr/bin/python3 "$here/lda_check.py" make "$raw" "$type" "$nx" "$ny" "$nz"
  log="$work/large.log"
  /usr/bin/time -f "%e %U %S %M" -o "$work/time.txt" \
    "$build/korin" -q "$here/lda_convert.tcl" "$work/large" zstd "$nx" "$ny" "$nz" "$raw" "$type" >"$log"
  read -r wall user sys peak <"$work/time.txt"
  plan=$(grep -o "in [0-9]* columns of [0-9]* x [0-9]* samples" "$log" || echo "one column")
  check=$(/usr/bin/python3 "$here/lda_check.py" check "$raw" "$type" "$nx" "$ny" "$nz" "$work/large.lda")
  printf "%-22s %8s %8s %10s  %s; %s\n" "${nx}x${ny}x${nz} $type" "$wall" \
    "$(awk -v u="$user" -v s="$sys" 'BEGIN { printf "%.1f", u + s }')" "$((peak / 1024))" "$plan" "$check"
  rm -rf "$raw" "$work/large.lda"
done

raw="$work/phantom.raw"
"$build/make_phantom" "$raw" 1024 1024 512
rm -rf "$work/stopped.lda"
start=$(date +%s.%N)
"$build/korin" -q "$here/lda_convert.tcl" "$work/stopped" zlib 1024 1024 512 "$raw" >/dev/null &
pid=$!
sleep 3
sent=$(date +%s.%N)
kill -INT "$pid"
wait "$pid" || true
ended=$(date +%s.%N)
left=$(ls "$work" | grep -c "stopped" || true)
awk -v s="$start" -v k="$sent" -v e="$ended" -v l="$left" \
  'BEGIN { printf "Ctrl-C at %.1f s into a 1 GiB zlib conversion: ended %.2f s later, %d partial stores left\n", k - s, e - k, l }'
rm -f "$raw"
