#!/bin/sh
# Builds the library twice, in folders of different names, and compares the bytes; then compares
# its interface with the checked-in one:  abi.sh [--accept]
set -eu
cd "$(dirname "$0")/../.."
library=libOxel_Morvel6_render_x86_64.so
for copy in build/abi/one build/abi/another-one; do
    rm -rf "$copy"
    mkdir -p "$copy"
    cp -R CMakeLists.txt cmake include src "$copy"
    cmake -S "$copy" -B "$copy/build" -DOXEL_BUILD_STATIC=ON \
        -DCMAKE_CXX_FLAGS="-g -ffile-prefix-map=$PWD/$copy=." >/dev/null
    cmake --build "$copy/build" --parallel >/dev/null
done
for file in "$library" "${library%.so}.a"; do
    cmp "build/abi/one/build/$file" "build/abi/another-one/build/$file"
    echo "$file: the same bytes from both folders"
done
interface=tests/records/abi-x86_64.xml
if [ "${1-}" = --accept ]; then
    abidw --no-corpus-path --no-comp-dir-path --no-show-locs --exported-interfaces-only \
        --drop-private-types --no-elf-needed --headers-dir include \
        --out-file "$interface" "build/abi/one/build/$library"
fi
abidiff --headers-dir2 include "$interface" "build/abi/one/build/$library"
echo "$library: the interface as recorded"
