#!/bin/sh
# CI's fuzz step: builds every fuzz target with clang and runs each for a
# short bounded time (TIRN_FUZZ_SECONDS, default 20) as a regression check.
# The long runs are done by hand with fuzz.sh.
set -eu
cd "$(dirname "$0")/.."
TIRN_WITH_FUZZ=1 ./scripts/install-deps.sh
seconds=${TIRN_FUZZ_SECONDS:-20}
# A fixed seed makes the run a regression check: the same mutations every
# time, so a red run is a change in the code, not luck. Other seeds are for
# the long runs by hand.
seed=${TIRN_FUZZ_SEED:-1}
for target in fuzz_mtx fuzz_mtx_gzip fuzz_gipl fuzz_gipl_z fuzz_lan fuzz_tiff \
              fuzz_magick fuzz_selection fuzz_prototype fuzz_dialog; do
    echo "fuzz-ci: $target, $seconds s"
    mkdir -p build-fuzz/fuzz
    log=build-fuzz/fuzz/$target.log
    if ! ./scripts/fuzz.sh "$target" "$seconds" -seed="$seed" >"$log" 2>&1; then
        tail -n 60 "$log"
        echo "fuzz-ci: $target failed; the input is in build-fuzz/fuzz/crashes/" >&2
        exit 1
    fi
    tail -n 12 "$log"
done
