#!/bin/sh
# Lines of tests against lines of code, blank and comment lines included.
#   tests: the C++ and Python tests, everything under tests/ and
#          python/tests/ (.cpp .h .py .sh)
#   code:  the library (visionsrc/, .cpp .h), the host emulator (host/), the
#          tools (tools/), the Python bridge and package (python/_core.cpp,
#          python/tirnvision/*.py)
#
#   scripts/test-ratio.sh [--max PERCENT]
#
# Prints e.g. "tests 11735 lines, code 18317 lines: 64.1%". With --max the
# exit status is 1 when the ratio lies above PERCENT.
set -eu
cd "$(dirname "$0")/.."

max=
while [ $# -gt 0 ]; do
    case $1 in
    --max)
        [ $# -ge 2 ] || { echo "test-ratio.sh: --max needs a percentage" >&2; exit 2; }
        max=$2
        shift 2
        ;;
    --max=*)
        max=${1#--max=}
        shift
        ;;
    *)
        echo "usage: scripts/test-ratio.sh [--max PERCENT]" >&2
        exit 2
        ;;
    esac
done
if [ -n "$max" ] && ! printf '%s\n' "$max" | grep -Eq '^[0-9]+([.][0-9]+)?$'; then
    echo "test-ratio.sh: --max takes a number, not '$max'" >&2
    exit 2
fi

# Lines of the files find selects (a last line without its newline counts).
lines() {
    find "$@" -type f -exec awk 'END { print NR }' {} + | awk '{ n += $1 } END { print n + 0 }'
}

tests=$(lines tests python/tests \( -name '*.cpp' -o -name '*.h' -o -name '*.py' -o -name '*.sh' \))
code=$(( $(lines visionsrc host tools \( -name '*.cpp' -o -name '*.h' \)) + \
         $(lines python/_core.cpp python/tirnvision -maxdepth 1 \( -name '*.py' -o -name '_core.cpp' \)) ))

awk -v t="$tests" -v c="$code" -v max="$max" 'BEGIN {
    if (c == 0) { print "test-ratio.sh: no code found" > "/dev/stderr"; exit 2 }
    ratio = 100 * t / c
    printf "tests %d lines, code %d lines: %.1f%%\n", t, c, ratio
    if (max != "" && ratio > max + 0) {
        printf "above the maximum of %s%%\n", max > "/dev/stderr"
        exit 1
    }
}'
