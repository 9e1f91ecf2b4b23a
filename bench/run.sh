#!/bin/sh
# Times the library beside the yardstick and writes tables of ratios to docs/measurements/speed.md.
#
#   bench/run.sh [--quick] [PHOTO ...]
#
# Each PHOTO and the project's own scene are cut to 800x480, 1600x1200 and 3200x1800. Their tables
# are followed by those of pictures that are the worst, above all for serpentine order. --quick takes
# one size and few rounds, to see that all results are right rather than how soon they come, and
# prints the tables alone.
# BUILD_DIR chooses the build folder (build/bench).
set -eu
here=$(cd "$(dirname "$0")/.." && pwd)
build=${BUILD_DIR:-$here/build/bench}
sizes="800x480 1600x1200 3200x1800"
worst_size="1600 1200"
rounds="--benchmark_repetitions=7"
record=$here/docs/measurements/speed.md
if [ "${1:-}" = --quick ]; then
    shift
    sizes=800x480
    record=
    worst_size="800 480"
    rounds="--benchmark_repetitions=2 --benchmark_min_time=0.001"
fi

fail() {
    echo "$0: $*" >&2
    exit 2
}
for photo in "$@"; do
    case $photo in -*) fail "$photo: no such option" ;; esac
    [ -f "$photo" ] || fail "$photo: no such file"
done

"$here/scripts/install-packages.sh" g++ cmake make pkg-config libbenchmark-dev \
    libvips-dev libvips-tools libcli11-dev libseccomp-dev nlohmann-json3-dev zlib1g-dev \
    libmicrohttpd-dev libtomlplusplus-dev libgnutls28-dev \
    fonts-dejavu-core
echo "Building in $build"
cmake -S "$here" -B "$build" -DCMAKE_BUILD_TYPE=Release -DOXEL_BUILD_TOOLS=ON \
    -DOXEL_BUILD_BENCH=ON >/dev/null
cmake --build "$build" --parallel "$(nproc)" --target oxel speed worst_cases >/dev/null

inputs=$build/inputs
rm -rf "$inputs"
mkdir -p "$inputs"
"$build/oxel" package build "$here/tools/panels/six-colour.json" -o "$inputs/panel.lut" >/dev/null

number=0
for photo in "$@" "$here/examples/scene.svg"; do
    number=$((number + 1))
    name=$(basename "${photo%.*}")
    for size in $sizes; do
        "$here/bench/cut.sh" "$photo" "$size" "$inputs/$size-$number-$name.ppm"
    done
done
# shellcheck disable=SC2086 # two words
"$build/bench/worst_cases" $worst_size "$inputs"

# compare PACKAGE PICTURE ... [--benchmark_filter=REGEX]
compare() {
    # shellcheck disable=SC2086 # several words
    "$build/bench/speed" "$@" $rounds
}
measure() {
    cat <<END
# How fast: the measurements

Written by bench/run.sh on $(date +'%-d %B %Y'): $(lscpu | sed -n 's/^Model name: *//p'), $(nproc) processors, load
average $(cut -d ' ' -f 1 /proc/loadavg). [What was measured and how](../performance.md#what-was-measured).
Pictures: $(for photo in "$@" scene; do basename "${photo%.*}"; done | paste -s -d, | sed 's/,/, /g').
END
    compare "$inputs/panel.lut" "$inputs"/*x*.ppm
    renders="--benchmark_filter=render (floyd|jjn|stucki)"
    for package in panel random; do
        for picture in noise grey; do
            printf '\n## The worst pictures: package %s, picture %s\n' "$package" "$picture"
            compare "$inputs/$package.lut" "$inputs/$picture.ppm" "$renders"
        done
    done
}
if [ -n "$record" ]; then
    measure "$@" >"$inputs/speed.md"
    mv "$inputs/speed.md" "$record"
    cat "$record"
else
    measure "$@"
fi
