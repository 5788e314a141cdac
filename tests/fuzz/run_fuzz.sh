#!/usr/bin/env bash
# Fuzzes the description reader, the opening of a set and the reading of an
# OME-Zarr store with libFuzzer (clang
# with its runtime, Debian's clang and libclang-rt-dev), starting from the
# committed corpus. New inputs go to a scratch copy; add the ones worth keeping
# to tests/fuzz/corpus/ by hand (test_fuzz replays that folder in every run).
#   bash tests/fuzz/run_fuzz.sh [SECONDS_PER_TARGET] [BUILD_DIR]
set -euo pipefail
cd "$(dirname "$0")/../.."
seconds=${1:-60}
build=${2:-build-fuzz}
clang=$(command -v clang++ || ls /usr/bin/clang++-* 2>/dev/null | sort -V | tail -1 || true)
if [ -z "$clang" ]; then
  echo "no clang++ here: the corpus is still replayed by test_fuzz with the default compiler"
  exit 0
fi
cc=${clang/clang++/clang}
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Debug -DUXDD_FUZZ=ON -DUXDD_BENCH=OFF \
  -DCMAKE_C_COMPILER="$cc" -DCMAKE_CXX_COMPILER="$clang" ${CMAKE_ARGS:-} >/dev/null
cmake --build "$build" -j2 --target fuzz_description fuzz_set_opening fuzz_lda_store
export ASAN_OPTIONS=detect_leaks=1 LSAN_OPTIONS=suppressions=$PWD/tests/lsan.supp
for target in description set_opening lda_store; do
  corpus=tests/fuzz/corpus/${target%_opening}
  corpus=${corpus%_store}
  scratch="$build/corpus-$target"
  mkdir -p "$scratch"
  cp -n "$corpus"/* "$scratch"/
  echo "== $target, $seconds s"
  # The console lines of the opened sets go to standard output; libFuzzer reports on standard error.
  "$build/fuzz_$target" -max_total_time="$seconds" -max_len=65536 -timeout=10 "$scratch" >/dev/null
done
