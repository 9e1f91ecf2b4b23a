#!/bin/bash
# Builds the digest of the library's results for other processors, with other compilers and flags,
# and runs it, emulated where need be, one on each core: processors.sh [NAME ...]
#
# Sources are compiled as those do who take them into a build of their own. A NAME that ends with
# "-packages" builds the packages of the package builder's test, in minutes.
set -euo pipefail
cd "$(dirname "$0")/../.."

# name | compiler and flags | emulator, if any
targets='
x86_64-O0           | g++ -O0
x86_64-O2           | g++ -O2
x86_64-native       | g++ -O3 -march=native
x86_64-unsafe-math  | g++ -O3 -march=native -funsafe-math-optimizations -ffp-contract=fast
x86_64-clang-O0     | clang++ -O0
x86_64-clang-native | clang++ -O3 -march=native
i386                | i686-linux-gnu-g++ -O2
i386-sse2           | i686-linux-gnu-g++ -O2 -msse2 -mfpmath=sse
i386-x87-O0         | i686-linux-gnu-g++ -O0 -march=i686 -mfpmath=387
i386-clang          | clang++ --target=i686-linux-gnu -O2
aarch64             | aarch64-linux-gnu-g++ -O2 | qemu-aarch64
aarch64-O0          | aarch64-linux-gnu-g++ -O0 | qemu-aarch64
aarch64-O3          | aarch64-linux-gnu-g++ -O3 -mcpu=cortex-a76 | qemu-aarch64
aarch64-clang       | clang++ --target=aarch64-linux-gnu -O3 | qemu-aarch64
armhf-neon          | arm-linux-gnueabihf-g++ -O2 -mfpu=neon | qemu-arm
armhf-fma           | arm-linux-gnueabihf-g++ -O3 -mcpu=cortex-a15 -mfpu=neon-vfpv4 | qemu-arm
armhf               | arm-linux-gnueabihf-g++ -O2 | qemu-arm
armhf-clang         | clang++ --target=arm-linux-gnueabihf -mfpu=neon -O2 | qemu-arm
s390x               | s390x-linux-gnu-g++ -O2 | qemu-s390x
s390x-O3            | s390x-linux-gnu-g++ -O3 -march=z13 | qemu-s390x
s390x-clang         | clang++ --target=s390x-linux-gnu -O2 | qemu-s390x
wasm32              | WASM -O2 | node --no-warnings tests/checks/wasi.mjs
wasm32-simd         | WASM -O2 -msimd128 | node --no-warnings tests/checks/wasi.mjs
x86_64-threads      | clang++ -O1 -g -fsanitize=thread
x86_64-memory       | clang++ -O1 -g -fsanitize=memory
i386-packages       | i686-linux-gnu-g++ -O2 -msse2 -mfpmath=sse
arm64-packages      | aarch64-linux-gnu-g++ -O2 -ffp-contract=off | qemu-aarch64
s390x-packages      | s390x-linux-gnu-g++ -O2 -ffp-contract=off | qemu-s390x
'
mapfile -t sources < <(find "$PWD"/src "$PWD"/tests/library/{digest,support}.cpp -name '*.cpp')

run() { # NAME COMPILER EMULATOR
    local folder=build/processors/$1 linking='-static -pthread' threads=0
    [[ $2 != *-fsanitize=* ]] || linking=-pthread
    [[ $2 != *=thread* ]] || threads=4
    if [[ $2 == *WASM* ]]; then
        set -- "$1" "$(web/native/clang.sh) -fexceptions ${2/WASM/}" "$3"
        linking=-Wl,-z,stack-size=1048576
        sources+=("$PWD/web/native/runtime.cpp")
    fi
    mkdir -p "$folder"
    # shellcheck disable=SC2086 # words
    (cd "$folder" && $2 -std=c++20 -I"$OLDPWD"/include -I"$OLDPWD"/src \
        -DOXEL_RECORDS='""' -c "${sources[@]}")
    # A program linked for unsafe maths would take subnormal numbers for 0.
    # shellcheck disable=SC2086
    $2 -fno-unsafe-math-optimizations $linking "$folder"/*.o -o "$folder/digest"
    # shellcheck disable=SC2086
    $3 "$folder/digest" tests/records/digest.txt $threads | sed "s/^/$1, /"
}

run_packages() { # NAME COMPILER EMULATOR
    local folder=$PWD/build/processors/$1 gtest=/usr/src/googletest/googletest
    mkdir -p "$folder"
    # shellcheck disable=SC2086 # words
    (cd "$folder" && $2 -std=c++20 -w -I"$OLDPWD"/{include,src,tools} -I$gtest{,/include} \
        -DGTEST_HAS_PTHREAD=0 -c "$OLDPWD"/{src,src/forms,tools/package_builder}/*.cpp \
        "$OLDPWD/tests/command/package_builder_test.cpp" $gtest/src/gtest{-all,_main}.cc)
    # shellcheck disable=SC2086
    $2 -static -Wl,--no-warnings "$folder"/*.o -o "$folder/tests"
    # shellcheck disable=SC2086
    $3 "$folder/tests" --gtest_brief --gtest_filter=PackageBuilder.MakesTheSameBytesEverywhere |
        sed "s/^/$1, /"
}

if [ $# -ne 1 ]; then
    { [ $# -eq 0 ] && sed -n 's/ *|.*//p' <<<"$targets" || printf '%s\n' "$@"; } |
        xargs -n 1 -P "$(nproc)" tests/checks/processors.sh
    exit
fi
IFS='|' read -r name compiler emulator < <(grep "^$1 " <<<"$targets") ||
    { echo "$0: $1: no such target" >&2 && exit 1; }
name=${name// /}
case $name in
*-packages) run_packages "$name" "$compiler" "$emulator" ;;
*) run "$name" "$compiler" "$emulator" ;;
esac
