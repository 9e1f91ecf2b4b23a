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

# What pip does with a clone: a source distribution, and of that a wheel.
(
    unset CFLAGS CXXFLAGS LDFLAGS
    hook() { # SOURCES HOOK
        PYTHONPATH=$1/python /usr/bin/python3 -c \
            "import sys, wheel_backend; wheel_backend.$2(sys.argv[1])" "$root" >"$root/log"
    }
    hook ../.. build_sdist
    tar -xzf "$root"/oxel-*.tar.gz -C "$root"
    hook "$root"/oxel-*[0-9] build_wheel
    /usr/bin/python3 -m zipfile -e "$root"/*.whl "$root/wheel"
    PYTHONPATH=$root/wheel /usr/bin/python3 -c 'if True:
        import importlib.metadata, oxel
        assert oxel.Panel.builtin().colours == 6
        assert importlib.metadata.version("oxel") == oxel.__version__'
)

for kind in shared static subdirectory; do
    cmake -S . -B "$root/$kind" -DKIND=$kind -DCMAKE_PREFIX_PATH="$root/usr" >"$root/log"
    cmake --build "$root/$kind" >"$root/log"
    "$root/$kind/host"
done
