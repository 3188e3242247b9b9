#!/bin/sh
# Runs one fuzz target for a bounded time:
#   fuzz.sh TARGET SECONDS [more libFuzzer options]
# Builds (once, with clang) in build-fuzz/, writes the seed corpora, then
# fuzzes from the seeds and from what earlier runs found. New inputs are
# kept in build-fuzz/fuzz/found/TARGET/, crashing ones in
# build-fuzz/fuzz/crashes/. Exits non-zero on a finding.
set -eu
cd "$(dirname "$0")/.."
target=$1
seconds=$2
shift 2

dir=build-fuzz
if [ ! -f "$dir/CMakeCache.txt" ]; then
    CC=clang-14 CXX=clang++-14 cmake -S . -B "$dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
        -DTIRN_BUILD_FUZZ=ON -DTIRN_BUILD_TESTS=OFF -DTIRN_BUILD_BENCH=OFF
fi
cmake --build "$dir" -j2 --target "$target" fuzz_seeds

found=$dir/fuzz/found/$target
crashes=$dir/fuzz/crashes
mkdir -p "$found" "$crashes"
export ASAN_OPTIONS="abort_on_error=0:halt_on_error=1:detect_leaks=1"
export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"
# The targets set a 16 MiB image budget: any single allocation beyond it
# plus a margin, or a process beyond 2 GiB, is a finding. 20 s for one
# input is far more than a second per megabyte of any input allowed here.
exec "$dir/fuzz/$target" -max_total_time="$seconds" -malloc_limit_mb=40 \
    -rss_limit_mb=2048 -timeout=20 -print_final_stats=1 \
    -artifact_prefix="$crashes/$target-" "$@" "$found" "$dir/fuzz/corpus/$target"
