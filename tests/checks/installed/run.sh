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
# shellcheck disable=SC2046,SC2086
${CC:-cc} ${CFLAGS-} -static host.c $(pkg-config --static --cflags --libs Oxel_Morvel6_render) -o "$root/host"
"$root/host"

# The command finds its decoder.
"$root/usr/bin/oxel" render ../../../examples/scene.svg --panel six-colour --size 40x30 -o "$root/frame" >"$root/log"

# Neither what is built nor what is installed looks for libraries where it happens to be started.
find "$build" "$root" -type f \( -perm -u+x -o -name '*.so*' \) -exec readelf -d {} + 2>"$root/log" |
    sed -n 's/.*runpath: \[\(.*\)\].*/\1/p' | tr : '\n' >"$root/run-paths"
[ -s "$root/run-paths" ]
if grep -v '^[/$]' "$root/run-paths"; then
    echo "a run path has an empty or relative part" >&2
    exit 1
fi

# What pip does with a clone: a source distribution, and of that a wheel, here of what compiles soonest.
(
    unset CFLAGS LDFLAGS
    export CMAKE_ARGS="-DOXEL_FORMS=portable -DOXEL_BUILT_IN_PACKAGES=$build/tools/built_in_packages.cpp"
    hook() { # SOURCES HOOK
        PYTHONPATH=$1/python /usr/bin/python3 -c \
            "import sys, wheel_backend; wheel_backend.$2(sys.argv[1])" "$root" >"$root/log"
    }
    hook ../../.. build_sdist
    tar -xzf "$root"/oxel-*.tar.gz -C "$root"
    hook "$root"/oxel-*[0-9] build_wheel
    /usr/bin/python3 -m zipfile -e "$root"/*.whl "$root/wheel"
    PYTHONPATH=$root/wheel /usr/bin/python3 -c 'if True:
        import importlib.metadata, oxel
        assert oxel.Panel.builtin().colours == 6
        assert importlib.metadata.version("oxel") == oxel.__version__'
)

host() { # FOLDER HOW [CMAKE_ARGUMENT ...]
    folder=$root/$1 how=$2
    shift 2
    cmake -S . -B "$folder" -DHOW="$how" "$@" >"$root/log" 2>&1
    cmake --build "$folder" >"$root/log"
    "$folder/host"
}
for how in shared static target; do
    host $how $how -DCMAKE_PREFIX_PATH="$root/usr"
done
if cmake -S . -B "$root/other" -DHOW=other -DCMAKE_PREFIX_PATH="$root/usr" >"$root/log" 2>&1; then
    echo "there is no component 'other'" >&2
    exit 1
fi

# In a host's tree, which has no build type here: nothing of the library is installed unless the host
# asks for it, and what is then installed serves other hosts.
host subdirectory subdirectory
cmake --install "$root/subdirectory" --prefix "$root/nothing" >"$root/log"
[ ! -e "$root/nothing" ]
host subdirectory subdirectory -DOXEL_INSTALL=ON -DBUILD_SHARED_LIBS=OFF # the same objects
cmake --install "$root/subdirectory" --prefix "$root/some" >"$root/log"
host from-host static -DCMAKE_PREFIX_PATH="$root/some"
