#!/bin/sh
# Installs the build tree into a temporary prefix and uses it from outside as
# the README shows: its C++ example built through pkg-config and through
# find_package, tirn-inspect, and its two Python examples.
#   check_install.sh BUILD_DIR SOURCE_DIR CXX PYTHON PYTHON_INSTALL_DIR
set -eu
build=$1 src=$2 cxx=$3 python=$4 pydir=$5
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
prefix=$tmp/prefix
cmake --install "$build" --prefix "$prefix" > /dev/null

# The fenced block after the line "<!-- tested: NAME -->".
extract() {
    awk -v mark="<!-- tested: $1 -->" '
        $0 == mark { found = 1; next }
        found && /^```/ { if (inside) exit; inside = 1; next }
        found && inside { print }' "$src/README.md" > "$tmp/proj/$1"
    if [ ! -s "$tmp/proj/$1" ]; then
        echo "README.md has no block marked $1" >&2
        exit 1
    fi
}
expect() {
    if [ "$1" != "$2" ]; then
        echo "expected '$2', got '$1'" >&2
        exit 1
    fi
}

mkdir "$tmp/proj"
extract example.cpp
extract CMakeLists.txt
# shellcheck disable=SC2046
"$cxx" -std=c++17 "$tmp/proj/example.cpp" \
    $(PKG_CONFIG_PATH="$prefix/lib/pkgconfig" pkg-config --cflags --libs tirnvision) \
    -o "$tmp/by_pkg_config"
expect "$("$tmp/by_pkg_config")" "pixel 7"
cmake -S "$tmp/proj" -B "$tmp/proj/build" -DCMAKE_PREFIX_PATH="$prefix" > /dev/null
cmake --build "$tmp/proj/build" > /dev/null
expect "$("$tmp/proj/build/example")" "pixel 7"

expect "$("$prefix/bin/tirn-inspect" CGaussFilter | sed -n 1p)" \
    "CGaussFilter: Gaussian smoothing of the selected channels"

if [ -n "$pydir" ]; then
    extract example.py
    extract example_numpy.py
    cd "$tmp/proj"
    PYTHONPATH=$prefix/$pydir "$python" example.py > /dev/null
    test -s edges.png
    # the Gaussian prints one empty line per mask row first
    expect "$(PYTHONPATH=$prefix/$pydir "$python" example_numpy.py | tail -n 1)" "(240, 320, 3) float32"
fi
echo "installed tree usable from outside"
