#!/bin/sh
# The main job: installs what is missing, builds the plug-in tirnvision.so
# into build/visionsrc/, tirn-inspect, the Python package (build/python) and
# the example pipeline, then runs the pipeline on
# GraphicsMagick's built-in picture, writing its results into out/.
set -eu
cd "$(dirname "$0")/.."
./scripts/install-deps.sh
./scripts/configure.sh build -DCMAKE_BUILD_TYPE=Release
cmake --build build --target tirnvision tirn_example_pipeline tirn-inspect tirnvision_python -j2
echo "built: $(pwd)/build/visionsrc/tirnvision.so"
./build/examples/tirn_example_pipeline
