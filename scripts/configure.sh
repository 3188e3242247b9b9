#!/bin/sh
# Configures (once) a build directory: configure.sh DIR [cmake options...]
set -eu
dir=$1; shift
if [ ! -f "$dir/CMakeCache.txt" ]; then
    cmake -S "$(dirname "$0")/.." -B "$dir" "$@"
fi
