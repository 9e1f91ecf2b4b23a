#!/bin/sh
# Makes the pictures of colour.md: the built-in scene as general tools and the intents render it.
set -eu
cd "$(dirname "$0")/.."
scripts/install-packages.sh g++ cmake make pkg-config \
    libvips-dev libcli11-dev libseccomp-dev nlohmann-json3-dev zlib1g-dev \
    libmicrohttpd-dev libtomlplusplus-dev libgnutls28-dev libbenchmark-dev \
    fonts-dejavu-core
build=${BUILD_DIR:-build/bench}
cmake -S . -B "$build" -DOXEL_BUILD_TOOLS=ON -DOXEL_BUILD_BENCH=ON >/dev/null
cmake --build "$build" --parallel "$(nproc)" --target colour_quality >/dev/null
"$build/bench/colour_quality" --pictures docs/pictures tools/panels/six-colour.json \
    examples/scene.svg
