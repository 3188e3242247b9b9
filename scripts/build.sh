#!/bin/sh
# The main job: installs what is missing, builds the plug-in tirnvision.so
# into build/visionsrc/.
set -eu
cd "$(dirname "$0")/.."
./scripts/install-deps.sh
./scripts/configure.sh build -DCMAKE_BUILD_TYPE=Release
cmake --build build --target tirnvision -j2
echo "built: $(pwd)/build/visionsrc/tirnvision.so"
