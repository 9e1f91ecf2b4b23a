#!/bin/sh
# Builds the library, the oxel command, the Python package and the tests, and runs the tests.
#
#   ./test.sh [CMAKE_ARGUMENT ...]
#
# CXX and CC choose the compilers, BUILD_DIR the build folder (build/test).
set -eu
cd "$(dirname "$0")"
build=${BUILD_DIR:-build/test}

scripts/install-packages.sh g++ cmake make pkg-config libgtest-dev \
    libvips-dev libcli11-dev libseccomp-dev nlohmann-json3-dev libqhull-dev zlib1g-dev \
    python3-numpy python3-pil python3-distributed zsh fish

echo "Building in $build"
cmake -S . -B "$build" -DOXEL_BUILD_TESTS=ON -DOXEL_BUILD_TOOLS=ON -DOXEL_BUILD_STATIC=ON \
    -DOXEL_BUILD_PYTHON=ON "$@" >/dev/null
cmake --build "$build" --parallel "$(nproc)"
ctest --test-dir "$build" --output-on-failure --parallel "$(nproc)"
