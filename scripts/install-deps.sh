#!/bin/sh
# Installs the Debian packages the build, the tests and the benchmarks need.
# Idempotent: does nothing (and needs no network) when everything is there.
set -eu

PACKAGES="build-essential cmake ccache pkg-config
zlib1g-dev libtiff-dev libgraphicsmagick++1-dev libv4l-dev libhwy-dev
googletest libgtest-dev libbenchmark-dev ncompress
python3 python3-dev pybind11-dev python3-numpy python3-pytest"

# OpenCV is only the yardstick of the benchmarks; install it on request.
if [ "${TIRN_WITH_OPENCV:-0}" = 1 ]; then
    PACKAGES="$PACKAGES libopencv-dev"
fi

# clang's libFuzzer for the fuzz targets (scripts/fuzz.sh, CI's fuzz step);
# the normal builds use GCC and do not need it.
if [ "${TIRN_WITH_FUZZ:-0}" = 1 ]; then
    PACKAGES="$PACKAGES clang-14 libclang-rt-14-dev"
fi

missing=""
for p in $PACKAGES; do
    if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
        missing="$missing $p"
    fi
done

if [ -n "$missing" ]; then
    echo "install-deps: installing$missing"
    if [ "$(id -u)" != 0 ]; then
        echo "install-deps: must run as root to install packages" >&2
        exit 1
    fi
    export DEBIAN_FRONTEND=noninteractive
    apt-get update
    # shellcheck disable=SC2086
    apt-get install -y --no-install-recommends $missing
fi
