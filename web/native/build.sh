#!/bin/bash
# Compiles the modules of the npm package from the library's and the tools' sources:
#
#   build.sh FOLDER
#
#   oxel.wasm, oxel-simd.wasm  renders, adjustment, layouts and the preparation of pictures
#   frames.wasm                frames' files
#   builder.wasm               panel descriptions and their packages
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
folder=$(mkdir -p "$1" && cd "$1" && pwd)
cd "$here/../.."
read -ra clang < <(web/native/clang.sh)
! command -v ccache >/dev/null || cached=ccache
objects=build/web
mkdir -p "$objects/include"
ln -sfn /usr/include/nlohmann "$objects/include/nlohmann" # nothing else of the host's

# Nothing catches: see runtime.cpp.
flags=(-DNDEBUG -fexceptions -fvisibility=hidden -ffunction-sections -fdata-sections -fno-c++-static-destructors
    -ftls-model=local-exec -mbulk-memory -mnontrapping-fptoint -Iinclude -Isrc -Itools -isystem "$objects/include"
    -DJSON_HAS_FILESYSTEM=0 -DJSON_HAS_EXPERIMENTAL_FILESYSTEM=0 -w)
# shellcheck disable=SC2054 # the linker's own commas
link=(-mexec-model=reactor -Wl,--gc-sections -Wl,--strip-all -Wl,-z,stack-size=1048576
    -Wl,--export={malloc,free,oxel_reason})

compile() { # MODULE FLAGS -- SOURCES
    local module=$objects/$1 own=()
    shift
    while [ "$1" != -- ]; do own+=("$1") && shift; done
    shift
    rm -rf "$module" && mkdir "$module"
    for source in "$@"; do
        printf '%s\0-o\0%s\0' "$source" "$module/${source//\//_}.o"
    done | xargs -0 -n 3 -P "$(nproc)" ${cached:+"$cached"} "${clang[@]}" "${flags[@]}" "${own[@]}" -c
}

mapfile -t exports < <(sed -nE 's/^OXEL_EXPORT [a-z0-9_]+ \*?([A-Za-z0-9_]+)\(.*/-Wl,--export=\1/p' \
    include/Oxel_Morvel6_render.h)

# What is compiled for size is optimised once more when all of it is known, a tenth off. -Os would make
# the wide kernels' inner loop fifty times as slow, and loops that clang makes vectors of are no faster
# here. What is linked copies only small functions to where they are called: the inner loops are whole before.
# Nothing here throws but for want of memory, which ends the call anyway.
render() { # MODULE FLAG ...
    local module=$1 own=(-flto -fno-exceptions "${@:2}")
    mapfile -t sources < <(find src -name '*.cpp' -not -name vector128.cpp)
    compile "$module" -Oz "${own[@]}" -- "${sources[@]}" \
        tools/preparation/{exact_colours,preroll,preparation,page,ink_colours,inks,pixel_marks}.cpp \
        tools/panels/{picture_needs,table_lookup}.cpp tools/package_builder/{package_file,noted_options}.cpp \
        tools/render/line_pairs.cpp web/native/{runtime,guard,preparation}.cpp
    compile "$module+" -Os "${own[@]}" -- \
        tools/preparation/{blur,development,light}.cpp web/native/{display,developed}.cpp
    compile "$module++" -O2 -fno-vectorize -fno-slp-vectorize "${own[@]}" -- \
        tools/preparation/{grid,ink_runs}.cpp web/native/{pixels,same_bytes,draft}.cpp
    compile "$module-" -O3 -fno-vectorize "${own[@]}" -fno-lto -- src/forms/vector128.cpp
    "${clang[@]}" "${link[@]}" -flto -Wl,-mllvm,-inline-threshold=20 "$objects/$module"{,-,+,++}/*.o "$objects/heap/"*.o -o "$folder/$module.wasm" \
        "${exports[@]}" -Wl,--export={EO_RGB_color,TCON_INDEX_TABLE} \
        -Wl,--export=oxel_{prepare,prepare_draft,put_together,render_undiffused,preroll_rows,rgb_from_rgba,rgba_from_rgb,reduce,measure}
}
compile heap -Os -fno-builtin -- web/native/heap.cpp
render oxel &
render oxel-simd -msimd128 &
wait

link_tools() { # MODULE EXPORT ...
    local module=$1 names=("${@:2}")
    "${clang[@]}" "${link[@]}" "$objects/$module"{,+}/*.o -o "$folder/$module.wasm" \
        "${names[@]/#/-Wl,--export=oxel_}"
}
mapfile -t frames < <(find tools/frames -name '*.cpp' -not -name deflate.cpp)
compile frames -Oz -- "${frames[@]}"
compile frames+ -Oz -- tools/render/panel_codes.cpp tools/package_builder/package_file.cpp \
    web/native/{runtime,deflate,frames}.cpp
cp "$objects/heap/"*.o "$objects/frames+"
link_tools frames result result_size format_name format_suffix crc encode_frame
compile builder -O2 -msimd128 -- tools/package_builder/*.cpp web/native/{runtime,builder}.cpp
compile builder+ -Oz -- tools/panels/panel_description.cpp tools/base/{failure,suggestion}.cpp
link_tools builder result result_size describe described name build
