#!/bin/sh
# Installs a build into an empty root, and builds and runs hosts in C with what is there.
set -eu
build=$1
cd "$(dirname "$0")"
root=$(mktemp -d)
trap 'rm -rf "$root"' EXIT
cmake --install "$build" --prefix "$root/usr" >"$root/log"

PKG_CONFIG_PATH=$(dirname "$(find "$root" -name '*.pc')")
export PKG_CONFIG_PATH
libraries=$(pkg-config --variable=libdir Oxel_Morvel6_render)
# shellcheck disable=SC2046,SC2086 # flags are words
${CC:-cc} ${CFLAGS-} host.c $(pkg-config --cflags --libs Oxel_Morvel6_render) "-Wl,-rpath,$libraries" -o "$root/host"
"$root/host"

"$root/usr/bin/oxel" --version >"$root/log"

# What pip does with a clone.
(
    unset CFLAGS CXXFLAGS LDFLAGS
    PYTHONPATH=../../../python /usr/bin/python3 -c 'import sys, wheel_backend; wheel_backend.build_wheel(sys.argv[1])' \
        "$root" >"$root/log"
    /usr/bin/python3 -m zipfile -e "$root"/*.whl "$root/wheel"
    PYTHONPATH=$root/wheel /usr/bin/python3 -c 'import oxel; assert oxel.Panel.builtin().colours == 6'
)

for kind in shared static subdirectory; do
    cmake -S . -B "$root/$kind" -DKIND=$kind -DCMAKE_PREFIX_PATH="$root/usr" >"$root/log"
    cmake --build "$root/$kind" >"$root/log"
    "$root/$kind/host"
done
