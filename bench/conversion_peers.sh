#!/usr/bin/env bash
# Raw conversion beside its peers, measured side by side in one run: a generated
# 1024 x 1024 x Z uint16 volume (1 and 4 GiB) converted with korin into disk
# data with all levels (durable: data synced before the flags, the flags
# synced), beside an HDF5 chunked write of the same input (64^3 chunks, no
# levels) and cp of it, each followed by a sync of the file it wrote; the conversion's system calls counted with
# strace -f -c (in a run of their own); peak resident memory of each. The three
# take turns ROUNDS times (default 3) and each keeps its best time: on a shared
# virtual machine a write that meets memory the host took back runs several
# times slower, whoever makes it.
# Installs libhdf5-dev and strace with apt when missing (not build dependencies).
#   bash bench/conversion_peers.sh [BUILD_DIR] [WORK_DIR] [SIZES_MIB...]
set -euo pipefail
build=$(realpath "${1:-build}")
work=${2:-bench-data}
shift $(( $# > 2 ? 2 : $# )) || true
sizes=("$@")
[ ${#sizes[@]} -gt 0 ] || sizes=(1024 4096)
here=$(dirname "$(realpath "$0")")
mkdir -p "$work"
work=$(realpath "$work")

missing=()
for p in libhdf5-dev strace; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  SUDO=""; [ "$(id -u)" -eq 0 ] || SUDO="sudo"
  $SUDO apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
fi
if [ ! -x "$build/hdf5_chunked_write" ]; then
  cmake -S "$here/.." -B "$build" >/dev/null
  cmake --build "$build" -j2 --target hdf5_chunked_write >/dev/null
fi

measure() {  # prints "seconds peak_mib"
  "$build/run_measured" "$@" 2>&1 >/dev/null | sed -n 's/^seconds=\([0-9.]*\) peak_mib=\([0-9]*\) status=0$/\1 \2/p' | tail -1
}
ratio() { awk -v a="$1" -v b="$2" 'BEGIN { printf "%.2f", a / b }'; }
best() { awk -v a="$1" -v b="$2" 'BEGIN { print (b == "" || a < b) ? a : b }'; }
rounds=${ROUNDS:-3}

printf "%-8s %6s %7s %9s %10s %9s %9s %13s %12s\n" size "cp+sync" "hdf5+sync" "convert s" "conv/hdf5" "conv/cp" "calls" "calls per GiB" "peak MiB"
for mib in "${sizes[@]}"; do
  nz=$(( mib / 2 ))
  raw="$work/volume.raw"
  "$build/make_phantom" "$raw" 1024 1024 "$nz" >/dev/null
  rm -rf "$work"/out* "$work/copy.raw"
  cp_s="" h5_s="" conv_s=""
  for _ in $(seq "$rounds"); do
    sync
    read -r t _ < <(measure sh -c 'cp "$1" "$2" && sync "$2"' cp "$raw" "$work/copy.raw"); cp_s=$(best "$t" "$cp_s")
    rm -f "$work/copy.raw"; sync
    read -r t _ < <(measure sh -c '"$1" "$2" 1024 1024 "$3" "$4" && sync "$4"' h5 "$build/hdf5_chunked_write" "$raw" "$nz" "$work/out.h5"); h5_s=$(best "$t" "$h5_s")
    rm -f "$work/out.h5"; sync
    read -r t peak < <(measure "$build/korin" "$here/convert_raw.tcl" "$work/out" 1024 1024 "$nz" "$raw"); conv_s=$(best "$t" "$conv_s")
    rm -f "$work"/out.km*
  done
  sync
  strace -f -c -o "$work/calls.txt" "$build/korin" "$here/convert_raw.tcl" "$work/out" 1024 1024 "$nz" "$raw" >/dev/null
  calls=$(awk '$NF == "total" { print $4 }' "$work/calls.txt")
  per_gib=$(awk -v c="$calls" -v m="$mib" 'BEGIN { printf "%d", c * 1024 / m }')
  printf "%-8s %6.2f %7.2f %9.2f %10s %9s %9s %13s %12s\n" "${mib}MiB" "$cp_s" "$h5_s" "$conv_s" \
    "$(ratio "$conv_s" "$h5_s")" "$(ratio "$conv_s" "$cp_s")" "$calls" "$per_gib" "$peak"
  rm -rf "$work"/out* "$raw" "$work/calls.txt"
done
echo "aims: conv/cp <= 1.5, conv/hdf5 <= 1, calls per GiB <= 30000, peak MiB flat in the size"
