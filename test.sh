#!/bin/sh
# Builds the library, the oxel command, the Python package and the tests, and runs the tests.
#
#   ./test.sh [CMAKE_ARGUMENT ...]
#
# CXX and CC choose the compilers, BUILD_DIR the build folder (build/test). It needs Debian 12 or 13.
# What is missing it installs from Debian's packages, as root or with sudo: on an empty system that is
# some 220 MB to fetch and 920 MB on the disk. Compiling then takes three to five minutes on two cores and
# 40 MB, the tests about three.
set -eu
cd "$(dirname "$(readlink -f "$0")")"
build=${BUILD_DIR:-build/test}

case ${1-} in
-h | --help) sed -n '2,/^set/ { /^set/d; s/^# \{0,1\}//; p; }' test.sh && exit ;;
esac

scripts/install-packages.sh g++ cmake make pkg-config libgtest-dev \
    libvips-dev libcli11-dev libseccomp-dev nlohmann-json3-dev zlib1g-dev \
    libmicrohttpd-dev libtomlplusplus-dev libgnutls28-dev curl libcurl4-openssl-dev tzdata \
    python3-numpy python3-pil python3-distributed zsh fish

echo "Compiling takes three to five minutes on two cores, and 40 MB in $build; the tests then about three"
cmake -S . -B "$build" -DOXEL_BUILD_TESTS=ON -DOXEL_BUILD_TOOLS=ON -DOXEL_BUILD_STATIC=ON \
    -DOXEL_BUILD_PYTHON=ON "$@" >/dev/null
cmake --build "$build" --parallel "$(nproc)"
ctest --test-dir "$build" --output-on-failure --parallel "$(nproc)"
[ $# -gt 0 ] || web/scripts/test.sh "$build/oxel" # the same whatever CMake is told
